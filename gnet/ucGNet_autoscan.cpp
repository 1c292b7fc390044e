// Finding a reader: every port the port objects offer, every rate of the list, a poll, a name check.
#include <algorithm>

#include "comm/port_names.h"
#include "gnet/busy_scope.h"
#include "gnet/scan_lists.h"
#include "gnet/ucGNet.h"
#include "platform/clock.h"

namespace {

// The scan never looks beyond COM16: higher numbers are modems and virtual ports that answer slowly
// or not at all, and USB adapters are numbered below 17.
constexpr double kHighestScannedCom = 16;
// A closed port needs a moment before the next open; a freshly set line a moment before the first poll.
constexpr int kAfterCloseMs = 50;
constexpr int kAfterSettingsMs = 20;

}  // namespace

std::vector<std::string> ucGNet::ScanPortList(const std::string& preferred, bool only_this_port) {
  std::vector<std::string> ports;
  bool preferred_offered = false;
  const int32_t count = GetCommPortCount();
  for (int32_t i = 0; i < count; ++i) {
    const std::string name = EnumCommPort(i);
    const std::optional<double> number = comm::SerialPortNumber(name);
    if (number && (*number < 1 || *number > kHighestScannedCom)) continue;
    if (name == preferred) {
      preferred_offered = true;
      ports.insert(ports.begin(), name);
    } else {
      ports.push_back(name);
    }
  }
  if (only_this_port)
    return preferred_offered ? std::vector<std::string>{preferred} : std::vector<std::string>{};
  return ports;
}

bool ucGNet::OpenForScan(const std::string& name) {
  if (PortOpen()) {
    SetPortOpen(false);
    platform::SleepMs(kAfterCloseMs);
  }
  SetCommPort(name);
  SetPortOpen(true);
  SetRThreshold(1);
  return PortOpen();
}

bool ucGNet::AutoScan(std::string& module_name, const std::string& baud_rates, std::string& port,
                      int32_t& baud_rate, const std::string& module_names, bool only_this_port, bool& found) {
  gnet::BusyScope busy(busy_count_);
  found = false;
  const std::vector<std::string> rates = gnet::ScanRateList(baud_rates, baud_rate);
  const std::vector<std::string> patterns = gnet::ScanModulePatterns(module_names);
  port = gnet::NormalizeScanPort(port);
  const std::vector<std::string> ports = ScanPortList(port, only_this_port);

  bool keyboard_answered = false;
  for (const std::string& name : ports) {
    const bool keyboard = name == kKeyboardPort;
    gnet_timeout_ = keyboard ? kKeyboardScanTimeoutMs : kScanTimeoutMs;
    if (!OpenForScan(name)) continue;
    // Some readers draw their power from the handshake lines. The keyboard port has no line settings.
    if (!keyboard) {
      SetRTSEnable(true);
      SetDTREnable(true);
    }
    for (const std::string& rate : rates) {
      if (keyboard) {
        RaiseMessage(kMessageScan, "Scan " + name);
      } else {
        SetSettings(rate);
        RaiseMessage(kMessageScan, "Scan " + name + ", BaudRate=" + rate);
      }
      platform::SleepMs(kAfterSettingsMs);
      if (!PortOpen()) break;
      const std::string answer = Polling(0);
      if (gnet::MatchesModule(answer, patterns)) {
        module_name = answer;
        port = name;
        RaiseMessage(kMessageScan, std::string(kScanFound) + " " + answer);
        if (!keyboard) {
          baud_rate = gnet::RateOfEntry(rate);
          found = true;
        } else if (only_this_port) {
          found = true;
        } else {
          // A serial or HID reader found later is the one the user means: the keyboard port only counts
          // when nothing else answers.
          keyboard_answered = true;
        }
        break;
      }
      if (keyboard || gnet_cancel_) break;
    }
    if (keyboard && KeyboardPortError) {
      const auto [number, text] = KeyboardPortError();
      if (number != 0) RaiseMessage(kMessageScan, "Scan PS/2 Error - " + text);
    }
    if (!found && PortOpen()) SetPortOpen(false);
    if (found || gnet_cancel_) break;
  }

  if (!found && keyboard_answered) {
    found = true;
    SetCommPort(kKeyboardPort);
    if (!PortOpen()) SetPortOpen(true);
  }
  return found;
}
