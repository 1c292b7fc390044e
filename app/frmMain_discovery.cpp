// Finding a reader: the scan of ports and rates, the reader's identity, the choice of its skin, the
// register pages filled from the reader, and the window left in the state that fits what was found.
#include "app/app_settings.h"
#include "app/device_list.h"
#include "app/frmMain.h"

#include "app/console_trace.h"
#include "comm/clsGHIDComm.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "platform/ui_services.h"
#include "registers/clsRegister.h"
#include "skin/skin_binding.h"
#include "skin/skin_tabs.h"

namespace {

using terminal_colour::kBlue;
using terminal_colour::kRed;

constexpr const char* kOthersSkin = "Others";
constexpr const char* kNotFound = "Not Found Reader";

// The model part of an identification ("KRD36AR" of "KRD36AR,3TRACK,UART"); all of it when it holds no
// "," or starts with one.
std::string ModelNameOf(const std::string& identification) {
  const size_t comma = identification.find(',');
  return comma == std::string::npos || comma == 0 ? identification : identification.substr(0, comma);
}

// An alias is cut before its first "," unless the text starts with one.
std::string AliasForSkin(const std::string& alias) {
  const size_t comma = alias.find(',');
  return comma == std::string::npos || comma == 0 ? alias : alias.substr(0, comma);
}

// Only readers of the families the generic skin was made for may fall back to it; showing another
// family's registers on generic pages would invite writing nonsense into it.
bool MayUseOthersSkin(const std::string& alias, const std::string& model) {
  return !alias.empty() || platform::text::ContainsNoCase(model, "KRD") ||
         platform::text::ContainsNoCase(model, "QV-R");
}

}  // namespace

void frmMain::TimerAutoScan_Timer() {
  // A scan or workflow under way: the timer stays armed and tries again at its next tick.
  if (scan_counter_ > 0 || workflows_running_ > 0 || ucGNetB.Busy()) return;
  ++scan_counter_;
  TimerAutoScan.SetEnabled(false);
  if (!ucGNet.PortOpen()) cmdAutoScan_Click();
  --scan_counter_;
}

void frmMain::cmdAutoScan_Click() {
  ++scan_counter_;
  bool found = false;
  constexpr const char* kHandler = "cmdAutoScan_Click";
  Trap(kHandler, [&] { found = RunScan(); });
  // The window must come back to life whatever happened above.
  Trap(kHandler, [&] { FinishScan(found); });
  --scan_counter_;
}

bool frmMain::RunScan() {
  ResetDeviceInformation();
  ShowMsg("Please waiting for check the device!", kBlue);
  chkTestMode.SetValue(platform::CheckBox::kUnchecked);
  SetConnectedState(false);
  for (platform::Button* button : {&cmdWrite, &cmdSave, &cmdOpen, &cmdDefault, &cmdRead})
    button->SetEnabled(false);
  multiple_interfaces_ = false;
  const app_settings::ScanSettings lists = app_settings::ReadScanSettings(false);

  chkTestMode.SetEnabled(false);
  cmdAutoScan.SetEnabled(false);
  // The alias dialog is modal: opened now it would wait inside the scan's transaction.
  cboAliasName.SetEnabled(false);
  cmdAliasName.SetEnabled(false);
  // The pages keep their registers (a second scan of the same model reuses them) but show nothing until
  // the reader has been read again, and nothing they held may reach the reader now in front of the
  // program: it may be another unit.
  m_oRegisters.ClearReadFlags();
  m_oRegisters.ForgetBuffer();
  m_oRegisters.EmptyRegisters();
  ucGNet.SetGNetCancel(false);
  user_cancel_ = false;
  labAliasName.SetCaption("");
  ShowCancelOverPortList();

  // Adapters plugged in since the list was filled, and COM names mapped in the settings file meanwhile
  // (a pseudo-terminal announces nothing), are listed and scanned from now on.
  RefillPortList();
  const bool fixed_port = cboPort.ListIndex() >= 1;
  std::string scan_port = fixed_port ? cboPort.Text() : port_;
  // The engine has no keep-alive switch of the keyboard port to clear: it serves no keyboard port yet.
  ucGNet.SetSettings(app_settings::kDefaultCommSettings);
  std::string identification;
  int32_t rate = baudrate_;
  bool found = false;
  ucGNet.AutoScan(identification, lists.baud_rates, scan_port, rate, lists.module_names, fixed_port, found);
  if (found) {
    port_ = scan_port;
    baudrate_ = rate;
    unplugged_ = false;
    hung_up_port_.clear();
    ReaderFound(identification, lists.multiple_interfaces);
    return true;
  }
  if (user_cancel_) {
    ShowMsg("User Cancel", kBlue);
  } else {
    ShowMsg(kNotFound, kRed);
    platform::CurrentUi().MessageBox(kNotFound, platform::kMbCritical, form_.Caption());
  }
  return false;
}

void frmMain::ReaderFound(const std::string& identification, const std::string& multiple_interfaces) {
  current_comm_settings_ = ucGNet.Settings();
  identification_ = identification;
  model_name_ = ModelNameOf(identification);
  std::string device_alias;
  if (!AliasNames::GetAliasName(ucGNet, device_alias)) {
    // The reader is then shown, skinned and listed by its model; the technician must know that a customer
    // alias it may hold was not seen, before a Write puts the listed alias in its place.
    device_alias.clear();
    ShowMsg("Read Alias Name NG!", kRed);
  }
  m_oAliasNames.LoadAliasList(model_name_, device_alias);
  const std::string version = ucGNet.GetVersion();

  const std::string& shown = device_alias.empty() ? identification : device_alias;
  labProduct.SetCaption(shown);
  ShowMsg("Found " + shown);
  std::string serial_number;
  std::string firmware;
  SplitVersionText(version, serial_number, firmware);
  labROMSN.SetCaption(serial_number);
  labROMVersion.SetCaption(firmware);
  // A bridge's product name tells two HID ports apart where their numbers do not.
  const bool hid = ucGNet.Port().Attached() == &ucGNet.HidPort();
  labPort.SetCaption(hid ? port_ + "(" + ucGNet.HidPort().DeviceName() + ")" : port_);

  const bool alias_chosen = cboAliasName.Visible() && cboAliasName.ListIndex() >= 1;
  const std::string alias =
      AliasForSkin(alias_chosen ? cboAliasName.Text() : m_oAliasNames.DeviceAliasForSkin(device_alias));
  multiple_interfaces_ = (!alias.empty() && IsInDeviceList(multiple_interfaces, alias, ",")) ||
                         IsInDeviceList(multiple_interfaces, model_name_, ",");

  // The skin stays only for the same model under the same alias: an alias written or erased since names
  // another skin (or the model's own again).
  const bool reload = !skin_loaded_ || model_name_ != loaded_skin_model_ || alias != loaded_skin_alias_;
  if (!reload) {
    ShowMsg("Load skin OK!", kBlue);
  } else {
    loaded_skin_alias_ = alias;
    loaded_skin_model_ = model_name_;
    skin_loaded_ = false;
    std::string error;
    const bool loaded = ChooseSkin(alias, model_name_, error);
    if (!loaded || !skin_page_ok_) {
      // The next scan must start from a closed port, not from a reader without pages.
      ucGNet.SetPortOpen(false);
      const std::string line = loaded ? "Load skin NG" : "Open Information File NG";
      ShowMsg(error.empty() ? line : line + "(" + error + ")", kRed);
      return;
    }
    BindLoadedSkin();
    skin_loaded_ = true;
  }
  // The registers are read also when the skin stayed: the reader found may be another unit of the same
  // model, and pages that kept the last unit's values would show them as this one's (and a Write with
  // Cache ticked would put them into it).
  ShowMsg("Update Items Data...");
  if (!ucGNet.GNetCancel()) {
    const bool read = m_oRegisters.ReadRegisters();
    // What did arrive is shown either way.
    m_oRegisters.Refresh();
    ShowMsg(read ? "Update Items Data OK" : "Update Items Data NG", read ? terminal_colour::kBlack : kRed);
  }
  if (platform::TabControl* tabs = SkinObject() ? SkinObject()->SSTab() : nullptr) {
    if (multiple_interfaces_) {
      SSTabEnable(*tabs, port_);
    } else {
      SSTabDisable(*tabs);
    }
  }
}

bool frmMain::ChooseSkin(const std::string& alias, const std::string& model, std::string& error) {
  if (!alias.empty() && LoadSkin(alias, error)) {
    ShowMsg("Load skin by alias name: " + alias);
    return true;
  }
  if (!model.empty()) {
    if (LoadSkin(model, error)) return true;
  } else if (alias.empty()) {
    error = "Unknown skin module";
  }
  return MayUseOthersSkin(alias, model) && LoadSkin(kOthersSkin, error);
}

bool frmMain::LoadSkin(const std::string& name, std::string& error) {
  try {
    SkinDefinition definition;
    if (!ReadSkinDefinition(platform::Join(platform::DataDir(), "Skin"), name, definition, error)) {
      error = kReadSettingsError;
      return false;
    }
    skin_page_ok_ = m_oSkinQuery.LoadSkin(definition.interface_name, &picBack);
    if (!skin_page_ok_) {
      error =
          m_oSkinQuery.LastErrorDetail().empty() ? m_oSkinQuery.LastError() : m_oSkinQuery.LastErrorDetail();
    }
    m_oRegisters.SetValidMask(definition.register_mask);
    m_oRegisters.SetDefaultBuffer(definition.default_value);
    skin_definition_ = std::move(definition);
    return true;
  } catch (const std::exception& failure) {
    error = std::string("LoadSkin ") + failure.what() + " fail";
    return false;
  }
}

void frmMain::BindLoadedSkin() {
  SkinForm* form = SkinObject();
  BindSkinForm(*form, m_oRegisters, skin_definition_.file, [this](const std::string& line) {
    ShowMsg(line);
    platform::CurrentEventLoop().ProcessPendingEvents();
  });
  // Binding starts the mask map afresh from what the registers claim; the skin's own mask and defaults
  // are what reads and writes go by.
  ApplySkinMasks();
  if (OnSkinFormLoaded) OnSkinFormLoaded(*form);
}

void frmMain::ApplySkinMasks() {
  m_oRegisters.SetValidMask(skin_definition_.register_mask);
  m_oRegisters.SetDefaultBuffer(skin_definition_.default_value);
  // The reader switches its line as soon as one of these is written: they go last in a write, and the
  // serial-settings follow-up then moves the program after it.
  std::vector<int32_t> line_settings;
  for (const char* name : {"Parity", "DataBits", "StopBits", "Baudrate"}) {
    if (const clsRegister* reg = m_oRegisters.FindRegister(name)) line_settings.push_back(reg->Register());
  }
  m_oRegisters.SetWriteLast(std::move(line_settings));
}

void frmMain::FinishScan(bool found) {
  if (skin_loaded_) ApplySkinMasks();
  cmdCancel.SetVisible(false);
  RestoreButtons();
  if (found) txtView.ScrollToEnd();
}

void frmMain::RestoreButtons() {
  SetConnectedState(ucGNet.PortOpen() && skin_loaded_);
  // Read and Default find a reader first when none is connected; the file buttons need only the pages.
  for (platform::Control* control : std::initializer_list<platform::Control*>{
           &cmdAutoScan, &chkTestMode, &cmdDefault, &cmdRead, &cboAliasName, &cmdAliasName}) {
    control->SetEnabled(true);
  }
  if (skin_loaded_) {
    for (platform::Button* button : {&cmdOpen, &cmdSave, &cmdSaveHex, &cmdWrite}) button->SetEnabled(true);
  }
}

void frmMain::SetConnectedState(bool connected) {
  for (platform::Button* button : {&cmdRead, &cmdWrite, &cmdDefault, &cmdOpen, &cmdSave, &cmdSaveHex}) {
    button->SetEnabled(connected);
  }
  platform::TabControl* tabs = SkinObject() ? SkinObject()->SSTab() : nullptr;
  if (tabs == nullptr) return;
  tabs->SetEnabled(connected);
  if (!connected) return;
  if (multiple_interfaces_) {
    SSTabEnable(*tabs, port_);
  } else {
    SSTabDisable(*tabs);
  }
}

void frmMain::RefreshIdentity() {
  const std::string identification = ucGNet.Polling(0);
  std::string alias;
  if (!AliasNames::GetAliasName(ucGNet, alias)) alias.clear();
  if (!alias.empty()) {
    labProduct.SetCaption(alias);
  } else if (!identification.empty()) {
    labProduct.SetCaption(identification);
  }
}
