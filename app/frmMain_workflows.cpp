// The register workflows: Read, Write and Default, with the frame they share, the serial settings the
// window follows, and the register-file and alias buttons.
#include <algorithm>
#include <cstdlib>
#include <optional>

#include "app/app_settings.h"
#include "app/frmMain.h"
#include "comm/clsGHIDComm.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "registers/clsINIFile.h"
#include "registers/clsRegister.h"
#include "registers/register_files.h"

namespace {

using terminal_colour::kBlue;
using terminal_colour::kRed;

// The alias a KRD300 gets from Default when the person chose none: this product's own name.
constexpr const char* kProductAlias = "zk4100_MSR";

constexpr const char* kReadNg = "Read NG!";
constexpr const char* kWriteNg = "Write NG!";
constexpr const char* kDefaultNg = "Set Default NG!";

// A number as the settings text wants it, from the text a list shows ("9600", "1.5"): its leading
// number, written without a fraction when it has none.
std::string NumberText(const std::string& shown) {
  const double value = std::strtod(shown.c_str(), nullptr);
  if (value == static_cast<double>(static_cast<int64_t>(value)))
    return std::to_string(static_cast<int64_t>(value));
  std::string text = std::to_string(value);
  text.erase(text.find_last_not_of('0') + 1);
  return text;
}

// The entry of the skin's interface list that names the connection in use. Default puts it back after
// loading the factory image, so that the reader is never switched away from the line it answers on.
class InterfaceChoice {
 public:
  // `reader_behind_bridge`: the HID port reports the reader as its own, reached through its UART.
  InterfaceChoice(clsRegisters& registers, const std::string& port, bool reader_behind_bridge) {
    reg_ = registers.FindRegister("Interface");
    platform::ComboBox* list = reg_ != nullptr ? reg_->FMTComboBox() : nullptr;
    if (list == nullptr) return;
    const bool uart = platform::text::StartsWithNoCase(port, "COM") || reader_behind_bridge;
    const std::string name = uart ? "UART" : "PS/2";
    for (int i = 0; i < list->ListCount(); ++i) {
      if (platform::text::ContainsNoCase(list->List(i), name)) {
        list->SetListIndex(i);
        value_ = static_cast<uint8_t>(list->ItemData(i));
        found_ = true;
        return;
      }
    }
  }

  // Puts the chosen interface into the register buffer. The register is display-only, so its list
  // cannot do that itself.
  void Apply(clsRegisters& registers) const {
    if (!found_) return;
    for (int32_t address : reg_->Addresses())
      registers.SetRegisterLong(address, std::max(1, reg_->RegisterCount()), value_);
  }

 private:
  clsRegister* reg_ = nullptr;
  bool found_ = false;
  uint8_t value_ = 0;
};

}  // namespace

void frmMain::LockButtons() {
  ++workflows_running_;
  for (platform::Control* control : std::initializer_list<platform::Control*>{
           &cmdRead, &cmdWrite, &cmdDefault, &cmdOpen, &cmdSave, &cmdSaveHex, &cmdAutoScan, &chkTestMode,
           &cboAliasName, &cmdAliasName}) {
    control->SetEnabled(false);
  }
  ShowCancelOverPortList();
}

void frmMain::UnlockButtons() {
  --workflows_running_;
  cmdCancel.SetVisible(false);
  RestoreButtons();
}

void frmMain::RunWorkflow(const char* handler, const char* start_line, const char* ng_line, WorkflowKind kind,
                          const std::function<void()>& own_steps) {
  // The buttons are off while one runs; a click that slipped through is dropped.
  if (workflows_running_ > 0 || scan_counter_ > 0) return;
  Trap(handler, [&] {
    if (!ucGNet.PortOpen()) {
      cmdAutoScan_Click();
      // Discovery has said why already. A Cancel (or a close) pressed while it ran was meant for the
      // whole request, not only for the scan part of it.
      if (!ucGNet.PortOpen()) return;
      if (user_cancel_) {
        ReportResult(false, "", ng_line);
        return;
      }
    }
    WorkflowLock lock(*this);
    ShowMsg(start_line);
    chkTestMode.SetValue(platform::CheckBox::kUnchecked);
    // Before a write the pages may already show the line settings the reader is about to get (a new
    // baud rate chosen, a file opened, the defaults): the write must still reach the reader at the rate
    // it listens at now, so the program follows only afterwards. A read shows what the reader has.
    if (kind == WorkflowKind::kRead) ApplySerialSettings();
    ShowProgress(0, kProgressSteps);
    ucGNet.SetGNetCancel(false);
    user_cancel_ = false;
    own_steps();
    // A write may have changed the reader's own line settings: follow them.
    ApplySerialSettings();
  });
}

void frmMain::ReportResult(bool ok, const char* ok_line, const char* ng_line) {
  // One result line, also for a cancelled run: a cancel is a failure of what was asked for, and a port
  // pulled out has already said so in its own line.
  ShowMsg(ok ? ok_line : ng_line, ok ? kBlue : kRed);
}

void frmMain::cmdRead_Click() {
  RunWorkflow("cmdRead_Click", "Begin Read Register...", kReadNg, WorkflowKind::kRead, [this] {
    const bool ok = m_oRegisters.ReadRegisters();
    m_oRegisters.Refresh();
    ReportResult(ok, "Read OK!", kReadNg);
  });
}

void frmMain::cmdWrite_Click() {
  RunWorkflow("cmdWrite_Click", "Begin Write Register...", kWriteNg, WorkflowKind::kWrite, [this] {
    // The interface register describes the line the reader answers on now; a file opened from a reader on
    // another line must not move this one off it.
    m_oRegisters.ForgetDisplayOnly();
    // The cached write sends only what differs from the reader's image, fetching that image first when
    // it is not at hand.
    const bool cached = chkCacheMode.Value() == platform::CheckBox::kChecked;
    const bool ok = cached ? m_oRegisters.WriteRegistersCached() : m_oRegisters.WriteRegisters();
    m_oRegisters.Refresh();
    // The line settings went last; the alias and the identity that follow travel at the new ones.
    ApplySerialSettings();
    if (ok) m_oAliasNames.WriteSelectedAlias(ucGNet);
    ReportResult(ok, "Write OK!", kWriteNg);
    if (ucGNet.PortOpen()) RefreshIdentity();
  });
}

void frmMain::cmdDefault_Click() {
  RunWorkflow("cmdDefault_Click", "Begin Write Register...", kDefaultNg, WorkflowKind::kWrite, [this] {
    const bool bridge = ucGNet.Port().Attached() == &ucGNet.HidPort() && ucGNet.HidPort().ReaderIsOwn();
    const InterfaceChoice interface_choice(m_oRegisters, ucGNet.CommPort(), bridge);
    const std::string file = FindDefaultFile();
    bool ok = false;
    std::vector<uint8_t> image;
    clsINIFile defaults(file);
    if (!file.empty() &&
        RegisterImageFromHex(
            defaults.GetKeyValue(register_files::kRegistersKey, "", register_files::kSection), image) &&
        m_oRegisters.SetRegisters(image)) {
      // Only a single-interface model may take the factory file's interface, and only when the
      // installation asks for it.
      if (!default_auto_interface_ || multiple_interfaces_) interface_choice.Apply(m_oRegisters);
      m_oRegisters.Refresh();
      if (!ucGNet.PortOpen()) ucGNet.SetPortOpen(true);
      ucGNet.SetGNetCancel(false);
      ok = m_oRegisters.WriteRegisters();
      ApplySerialSettings();
    }
    if (!user_cancel_) {
      if (m_oAliasNames.EntrySelected()) {
        m_oAliasNames.WriteSelectedAlias(ucGNet);
      } else if (platform::text::ContainsNoCase(model_name_, "KRD300")) {
        // KRD300 readers of this product always carry its name.
        std::string alias;
        if (!AliasNames::GetAliasName(ucGNet, alias) || alias != kProductAlias)
          m_oAliasNames.WriteAliasWithReport(ucGNet, kProductAlias);
      }
      RefreshIdentity();
    }
    ReportResult(ok, "Set Default OK!", kDefaultNg);
  });
}

std::string frmMain::FindDefaultFile() const {
  const std::string folder = platform::Join(platform::DataDir(), app_settings::kDefaultFolder);
  const std::vector<std::string> extensions = {"ini", "inf", "cfg"};
  for (const std::string& name : {loaded_skin_alias_, loaded_skin_model_, std::string("Others")}) {
    if (name.empty()) continue;
    std::string file = FindModuleFile(folder, name, register_files::kSection, extensions);
    if (!file.empty()) return file;
  }
  return {};
}

void frmMain::ApplySerialSettings() {
  // A reader behind a HID bridge moves to its new rate as one on a serial line does; the bridge follows it
  // (its UART has no other settings to change).
  const std::string port = ucGNet.CommPort();
  if (!platform::text::StartsWithNoCase(port, "COM") &&
      !platform::text::StartsWithNoCase(port, clsGHIDComm::kPortPrefix))
    return;
  const std::string wanted = SerialSettingsFromRegisters();
  if (ucGNet.Settings().find(wanted) == std::string::npos) ucGNet.SetSettings(wanted);
}

std::string frmMain::SerialSettingsFromRegisters() const {
  const auto shown = [this](const char* name) -> std::string {
    const clsRegister* reg = m_oRegisters.FindRegister(name);
    return reg == nullptr ? std::string() : platform::text::Trim(reg->Text());
  };
  std::string text;
  if (const std::string baud = shown("Baudrate"); !baud.empty()) text += NumberText(baud);
  if (const std::string parity = shown("Parity"); !parity.empty())
    text += "," + platform::text::Upper(parity.substr(0, 1));
  if (const std::string data_bits = shown("DataBits"); !data_bits.empty())
    text += "," + NumberText(data_bits);
  if (const std::string stop_bits = shown("StopBits"); !stop_bits.empty())
    text += "," + NumberText(stop_bits);
  return text.empty() ? app_settings::kDefaultCommSettings : text;
}

void frmMain::cmdOpen_Click() {
  Trap("cmdOpen_Click", [this] { m_oFileActions.Open(m_oRegisters); });
}

void frmMain::cmdSave_Click() {
  Trap("cmdSave_Click", [this] {
    m_oFileActions.Save(m_oRegisters, model_name_,
                        m_oAliasNames.EntrySelected() ? m_oAliasNames.SelectedEntry() : std::string());
  });
}

void frmMain::cmdSaveHex_Click() {
  Trap("cmdSaveHex_Click", [this] {
    std::optional<std::string> alias_entry;
    if (m_oAliasNames.EntrySelected()) alias_entry = m_oAliasNames.SelectedEntry();
    m_oFileActions.SaveHex(m_oRegisters, alias_entry, model_name_);
  });
}

void frmMain::cmdAliasName_Click() {
  // The button is off while anything runs; a click that slipped through must not open a modal dialog
  // inside a transaction's wait.
  if (Busy()) return;
  m_oAliasNames.cmdAliasName_Click();
}
