#include "tests/console/console_bench.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "registers/register_files.h"
#include "sim/register_file.h"
#include "tests/support/program_folder.h"

namespace console_test {

using test_support::BuildDir;

namespace fs = std::filesystem;

namespace {

std::string ShellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

}  // namespace

ConsoleBench::ConsoleBench() {
  test_support::LayOutProgramFolder(program_.path());
  WriteSettings();
}

msrsim::EmulatedReader* ConsoleBench::AddReader(const std::string& com_name, msrsim::ReaderConfig config) {
  if (com_name.rfind("HID", 0) == 0) {
    config.hid = true;
    config.hid_socket = work_.File(com_name + "-" + std::to_string(readers_.size()) + ".hid");
  }
  auto reader = std::make_unique<msrsim::EmulatedReader>(std::move(config));
  std::string error;
  if (!reader->Start(&error)) {
    ADD_FAILURE() << "cannot start a reader: " << error;
    return nullptr;
  }
  std::erase_if(ports_, [&](const auto& port) { return port.first == com_name; });
  ports_.emplace_back(com_name, reader->Path());
  readers_.push_back(std::move(reader));
  WriteSettings();
  return readers_.back().get();
}

void ConsoleBench::SetRememberedPort(const std::string& port) {
  remembered_port_ = port;
  WriteSettings();
}

void ConsoleBench::WriteSettings() {
  std::string serial;
  std::string hid;
  for (const auto& [name, device] : ports_)
    (name.rfind("HID", 0) == 0 ? hid : serial) += name + " = " + device + "\r\n";
  fs::create_directories(config_.File("zk4100_MSR"));
  config_.WriteFile("zk4100_MSR/settings.ini", "[SerialPorts]\r\n" + serial + "[HIDPorts]\r\n" + hid +
                                                   "[COMM]\r\nPort = " + remembered_port_ + "\r\n");
}

std::string ConsoleBench::WriteCfg(const std::string& name, const std::string& registers,
                                   const std::string& alias, const std::string& module) {
  const test_support::TempDir& folder = name.rfind("Default/", 0) == 0 ? program_ : work_;
  fs::create_directories(fs::path(folder.File(name)).parent_path());
  const std::string alias_line = alias.empty() ? "" : "AliasName = " + alias + "\r\n";
  return folder.WriteFile(name, "[MSRRegister]\r\nModule = " + module + "\r\n" + alias_line +
                                    "Registers = " + registers + "\r\n");
}

RunResult ConsoleBench::Run(const std::vector<std::string>& args) {
  // No display: the console mode must not need one.
  std::string command = "env -u DISPLAY -u WAYLAND_DISPLAY MSRCFG_HOME=" + ShellQuoted(program_.path()) +
                        " XDG_CONFIG_HOME=" + ShellQuoted(config_.path()) + " " +
                        ShellQuoted(BuildDir() + "/msrcfg");
  for (const std::string& arg : args) command += " " + ShellQuoted(arg);
  command += " </dev/null >" + ShellQuoted(work_.File("stdout")) + " 2>" + ShellQuoted(work_.File("stderr"));
  RunResult result;
  const int status = std::system(command.c_str());
  if (status == -1 || !WIFEXITED(status)) {
    ADD_FAILURE() << "msrcfg did not end normally (status " << status << ")";
  } else {
    result.exit_code = WEXITSTATUS(status);
  }
  std::istringstream out(work_.ReadFile("stdout"));
  for (std::string line; std::getline(out, line);) result.lines.push_back(line);
  result.errors = work_.ReadFile("stderr");
  return result;
}

std::vector<std::string> ConsoleBench::Command(const std::vector<std::string>& args) const {
  std::vector<std::string> command = {"/usr/bin/env",
                                      "-u",
                                      "DISPLAY",
                                      "-u",
                                      "WAYLAND_DISPLAY",
                                      "MSRCFG_HOME=" + program_.path(),
                                      "XDG_CONFIG_HOME=" + config_.path(),
                                      BuildDir() + "/msrcfg"};
  command.insert(command.end(), args.begin(), args.end());
  return command;
}

msrsim::ReaderConfig Reader(const msrsim::RegisterImage& image, const std::string& identification) {
  msrsim::ReaderConfig config;
  config.identification = identification;
  config.registers = image;
  return config;
}

msrsim::RegisterImage FactoryImage(const std::string& alias) {
  msrsim::RegisterImage image{};
  std::string error;
  if (!msrsim::LoadRegisterFile(BuildDir() + "/Default/KRD36AR.cfg", image, error)) ADD_FAILURE() << error;
  msrsim::SetAlias(image, alias);
  return image;
}

msrsim::RegisterImage Changed(msrsim::RegisterImage image, std::initializer_list<uint8_t> registers) {
  for (const uint8_t reg : registers) image[reg] ^= 0xA5;
  return image;
}

std::string HexOf(const msrsim::RegisterImage& image) {
  return register_files::BytesToHex(std::vector<uint8_t>(image.begin(), image.end()));
}

size_t WriteCount(const msrsim::EmulatedReader& reader) {
  size_t writes = 0;
  for (const std::string& request : reader.Requests()) writes += request.rfind('C', 0) == 0 ? 1 : 0;
  return writes;
}

}  // namespace console_test
