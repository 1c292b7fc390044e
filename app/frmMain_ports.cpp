// The port list, and serial devices that come and go while the window is open.
#include <cctype>

#include "app/frmMain.h"
#include "comm/clsGHIDComm.h"
#include "platform/hid_ports.h"
#include "platform/serial_registry.h"
#include "platform/text.h"

namespace {

// A reader plugged back in needs a moment to power up before it answers a poll.
constexpr int kRescanAfterArrivalMs = 1500;

// "COM" and the number that follows it in a device name ("COM3" from "COM3" or "\\.\COM03"); "" when the
// name holds no "COM" followed by a number.
std::string ComNameOf(const std::string& device_name) {
  const std::string upper = platform::text::Upper(device_name);
  const size_t at = upper.find("COM");
  if (at == std::string::npos) return {};
  size_t digit = at + 3;
  while (digit < upper.size() && upper[digit] == '0') ++digit;
  std::string number;
  while (digit < upper.size() && std::isdigit(static_cast<unsigned char>(upper[digit])))
    number += upper[digit++];
  if (number.empty()) {
    // "COM0" and the like: no port of this program.
    return {};
  }
  return "COM" + number;
}

template <typename Port>
std::string DescriptionOf(const Port& port, const std::string& description) {
  if (description.empty()) return port.device;
  return port.device + "  " + description;
}

bool IsHidName(const std::string& name) {
  return platform::text::StartsWithNoCase(name, clsGHIDComm::kPortPrefix);
}

}  // namespace

void frmMain::cboPort_Click() {
  if (refilling_port_list_) return;
  Trap("cboPort_Click", [this] {
    // A reader on the keyboard port cannot announce itself: choosing the port is what starts the test
    // mode there. Only reachable once a keyboard-port object offers "PS/2".
    if (cboPort.Text() != ::ucGNet::kKeyboardPort) return;
    if (chkTestMode.Value() == platform::CheckBox::kChecked) {
      chkTestMode_Click();
    } else {
      chkTestMode.SetValue(platform::CheckBox::kChecked);
    }
  });
}

void frmMain::RefillPortList() {
  // Selecting entries from here must not look like the person's choice.
  refilling_port_list_ = true;
  const std::string remembered = cboPort.Text();
  cboPort.Clear();
  port_descriptions_.clear();
  const int32_t count = ucGNet.GetCommPortCount();
  if (count >= 1) {
    cboPort.AddItem(kAutoEntry);
    port_descriptions_.emplace_back();
    if (remembered == kAutoEntry) cboPort.SetListIndex(0);
  }
  const std::vector<platform::SerialPortInfo> serial_ports = platform::ListSerialPorts();
  const std::vector<platform::HidPortInfo> hid_ports = platform::ListHidPorts();
  for (int32_t i = 0; i < count; ++i) {
    const std::string name = ucGNet.EnumCommPort(i);
    cboPort.AddItem(name);
    std::string description;
    for (const platform::SerialPortInfo& port : serial_ports) {
      if (port.name == name) description = DescriptionOf(port, port.description);
    }
    for (const platform::HidPortInfo& port : hid_ports) {
      if (port.name == name) description = DescriptionOf(port, port.product);
    }
    port_descriptions_.push_back(description);
    if (name == remembered) {
      cboPort.SetListIndex(cboPort.ListCount() - 1);
    } else if (cboPort.ListIndex() < 0 && name == port_) {
      cboPort.SetListIndex(cboPort.ListCount() - 1);
    }
  }
  if (cboPort.ListCount() > 0 && cboPort.ListIndex() < 0) cboPort.SetListIndex(0);
  refilling_port_list_ = false;
}

std::string frmMain::PortDescription(int index) const {
  if (index < 0 || index >= static_cast<int>(port_descriptions_.size())) return {};
  return port_descriptions_[static_cast<size_t>(index)];
}

void frmMain::OnSerialDeviceArrival(const std::string& device_name) {
  Trap("OnSerialDeviceArrival", [&] {
    const std::string name = ComNameOf(device_name);
    if (name.empty()) return;
    if (name == hung_up_port_) hung_up_port_.clear();
    ShowMsg(name + " is plus-in!", terminal_colour::kBlue);
    RefillPortList();
    if (name == port_) {
      TimerAutoScan.SetEnabled(false);
      TimerAutoScan.SetInterval(kRescanAfterArrivalMs);
      TimerAutoScan.SetEnabled(true);
    }
  });
}

void frmMain::OnSerialDeviceRemoval(const std::string& device_name) {
  Trap("OnSerialDeviceRemoval", [&] {
    const std::string name = ComNameOf(device_name);
    if (name.empty()) return;
    // An adapter pulled out hangs its line up first; the device manager's notice of it comes after.
    if (name == hung_up_port_) {
      hung_up_port_.clear();
    } else {
      ShowMsg(name + " is removed!", terminal_colour::kRed);
    }
    // The line may already have closed itself on the hang-up; a transfer still running on it must end
    // all the same, as a cancel.
    if (ucGNet.CommPort() == name && (ucGNet.PortOpen() || Busy())) EndUseOfRemovedPort(ucGNet);
    if (ucGNetB.PortOpen() && ucGNetB.CommPort() == name) EndUseOfRemovedPort(ucGNetB);
    RefillPortList();
  });
}

void frmMain::OnPortLost(::ucGNet& engine) {
  Trap("OnPortLost", [&] {
    // A line that hangs up is a device that went away, whether or not a device notice follows (a
    // pseudo-terminal's or an emulated bridge's never does).
    const std::string name = engine.CommPort();
    hung_up_port_ = name;
    EndUseOfRemovedPort(engine);
    if (IsHidName(name)) {
      GHIDIO1_OnDeviceEvent(kHidClosedAndRemoved, name);
    } else {
      ShowMsg(name + " is removed!", terminal_colour::kRed);
    }
  });
}

void frmMain::GHIDIO1_OnDeviceEvent(int code, const std::string& name) {
  Trap("GHIDIO1_OnDeviceEvent", [&] {
    switch (code) {
      case kHidRemoved:
        ShowMsg(name + " is removed!", terminal_colour::kRed);
        break;
      case kHidPlugged:
        ShowMsg(name + " is plus-in!", terminal_colour::kBlue);
        break;
      case kHidClosedAndRemoved:
        ShowMsg(name + " is closed & removed!", terminal_colour::kRed);
        break;
      default:
        return;
    }
    RefillPortList();
  });
}

void frmMain::OnHidDeviceArrival(const std::string& name) {
  if (name == hung_up_port_) hung_up_port_.clear();
  GHIDIO1_OnDeviceEvent(kHidPlugged, name);
}

void frmMain::OnHidDeviceRemoval(const std::string& name) {
  Trap("OnHidDeviceRemoval", [&] {
    // The bridge's descriptor usually reports the loss first; the device manager's notice repeats it.
    if (name == hung_up_port_) {
      hung_up_port_.clear();
      RefillPortList();
      return;
    }
    const bool in_use = ucGNet.CommPort() == name && (ucGNet.PortOpen() || Busy());
    if (in_use) EndUseOfRemovedPort(ucGNet);
    if (ucGNetB.PortOpen() && ucGNetB.CommPort() == name) EndUseOfRemovedPort(ucGNetB);
    GHIDIO1_OnDeviceEvent(in_use ? kHidClosedAndRemoved : kHidRemoved, name);
  });
}

void frmMain::EndUseOfRemovedPort(::ucGNet& engine) {
  engine.SetGNetCancel(true);
  if (engine.PortOpen()) engine.SetPortOpen(false);
  if (&engine != &ucGNet) return;
  unplugged_ = true;
  user_cancel_ = true;
  SetConnectedState(false);
}
