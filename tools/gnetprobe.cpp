// gnetprobe: asks a reader on a COM port for its version, identification and first registers, and shows
// every exchange. A quick check that a port, its line settings and a reader work together.

#include <cstdio>
#include <string>

#include "gnet/ucGNet.h"
#include "platform/serial_registry.h"
#include "registers/user_settings.h"

namespace {

void PrintUsage() {
  std::puts(
      "Usage: gnetprobe PORT [SETTINGS]\n"
      "  PORT      a COM name, e.g. COM3 (see ~/.config/zk4100_MSR/settings.ini, section SerialPorts)\n"
      "  SETTINGS  line settings, default 19200,N,8,1\n"
      "Exit codes: 0 the reader answered, 1 bad arguments, 2 the port did not open, 3 no answer.");
}

std::string Printable(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (c >= 32 && c < 127) {
      out += static_cast<char>(c);
    } else {
      char buf[8];
      std::snprintf(buf, sizeof buf, "<%02X>", c);
      out += buf;
    }
  }
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3 || std::string(argv[1]) == "--help") {
    PrintUsage();
    return argc == 2 ? 0 : 1;
  }
  InstallUserPortMap();
  const std::string port = argv[1];
  const std::string settings = argc == 3 ? argv[2] : "19200,N,8,1";

  ucGNet gnet;
  gnet.OnMessage = [](std::string& type, const std::string& msg) {
    std::printf("  [%s] %s\n", type.c_str(), msg.c_str());
  };
  gnet.SetCommPort(port);
  gnet.SetPortOpen(true);
  if (!gnet.PortOpen()) {
    std::printf("%s did not open.\n", port.c_str());
    return 2;
  }
  gnet.SetSettings(settings);
  std::string device = "?";
  if (auto info = platform::FindSerialPort(std::stoi(port.substr(3)))) device = info->device;
  std::printf("%s (%s) open at %s\n", port.c_str(), device.c_str(), gnet.Settings().c_str());

  auto exchange = [&](const std::string& cmd, bool use_chksum, bool check_chksum) {
    const std::string reply = gnet.SendGNetCMD(cmd, use_chksum, check_chksum);
    std::printf("  > %-8s < %s\n", cmd.c_str(), reply.empty() ? "(no reply)" : Printable(reply).c_str());
    return reply;
  };
  const std::string version = exchange("V", false, false);
  const std::string identification = exchange("D", false, false);
  std::string registers;
  for (int reg = 0; reg < 8; ++reg) {
    const std::string reply = exchange("B" + ucGNet::HexByte(static_cast<uint8_t>(reg)), false, true);
    registers += reply.size() >= 3 && reply[0] == 'A' ? reply.substr(1) + " " : "?? ";
  }
  std::printf("Registers 00-07: %s\n", registers.c_str());
  gnet.SetPortOpen(false);
  if (version.empty() && identification.empty()) {
    std::printf("No reader answered on %s at %s.\n", port.c_str(), settings.c_str());
    return 3;
  }
  std::printf("Reader answered: %s\n", Printable(identification).c_str());
  return 0;
}
