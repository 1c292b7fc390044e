// Start-up and close of the window: switches, Trakset.ini, the per-user settings, the caption, the skins,
// the port list and the first scan; and what is saved when the window goes.
#include "app/app_settings.h"
#include "app/frmMain.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/ui_services.h"
#include "skin/load_plugin_skin.h"

namespace {

// The first scan waits until the window is up; a reader plugged back in gets time to power up.
constexpr int kFirstScanDelayMs = 100;

}  // namespace

void frmMain::Form_Load() {
  Trap("Form_Load", [this] {
    const app_settings::CommandLineSwitches switches = app_settings::ParseSwitches(command_line_);
    test_all_ = switches.test_all;
    port_sel_box_ = switches.port_sel_box;

    const app_settings::ProductSettings product = app_settings::ReadProductSettings(form_.Caption());
    title_ = product.title;
    default_auto_interface_ = product.default_auto_interface;
    form_.SetCaption(app_settings::WindowCaption(title_));

    ResetDeviceInformation();
    // The engine attaches its HID port object itself, beside the serial one. There is no keyboard-port
    // object: every branch below that names "PS/2" never matches.

    const app_settings::UserSettings user = app_settings::ReadUserSettings(port_sel_box_);
    port_ = user.port;
    baudrate_ = user.baudrate;
    chkCacheMode.SetValue(user.cache ? platform::CheckBox::kChecked : platform::CheckBox::kUnchecked);
    // Nothing to show before the first transfer: the bar stays hidden.
    ShowProgress(0, 0);

    const PluginSkinResult skins = LoadPluginSkin(platform::SkinLibraryDir(), m_oPlugins, m_oSkinQuery);
    for (const std::string& line : skins.skipped) ShowMsg(line, terminal_colour::kRed);

    save_eeprom_ = switches.save_eeprom;
    cmdSaveHex.SetVisible(save_eeprom_);

    RefillPortList();
    if (cboPort.ListCount() > 0) {
      const bool in_list = user.scan_port >= 0 && user.scan_port < cboPort.ListCount();
      cboPort.SetListIndex(in_list ? user.scan_port : 0);
    }
    for (int i = 0; i < cboPort.ListCount(); ++i) {
      if (cboPort.List(i) == port_) {
        cboPort.SetListIndex(i);
        break;
      }
    }
    if (port_sel_box_) {
      // In line with the test-mode box, as high as the buttons below it.
      cboPort.Move(cboPort.Left(), chkTestMode.Top() + (chkTestMode.Height() - cmdDefault.Height()) / 2,
                   cboPort.Width(), cmdDefault.Height());
      cboPort.SetVisible(true);
    }

    current_comm_settings_ = app_settings::kDefaultCommSettings;
    scan_comm_settings_ = app_settings::kDefaultCommSettings;
    m_oFrameErrorRecovery.SetPrimary(current_comm_settings_);
    m_oFrameErrorRecovery.SetAlternative(scan_comm_settings_);
    start_tick_ = platform::GetTickCount();

    if (port_.rfind("COM", 0) == 0 && cboPort.Text() == port_) {
      TimerAutoScan.SetEnabled(false);
      TimerAutoScan.SetInterval(kFirstScanDelayMs);
      TimerAutoScan.SetEnabled(true);
    }
  });
}

void frmMain::Form_Unload(bool& cancel) {
  if (Busy()) {
    // Closing now would pull the engine out from under a transfer: ask it to stop, stay open.
    ucGNet.SetGNetCancel(true);
    ucGNetB.SetGNetCancel(true);
    user_cancel_ = true;
    cancel = true;
    return;
  }
  Trap("Form_Unload", [this] {
    TimerAutoScan.SetEnabled(false);
    // The keyboard hook of the keyboard port would be switched off here.
    for (::ucGNet* engine : {&ucGNet, &ucGNetB}) {
      if (engine->PortOpen()) engine->SetPortOpen(false);
    }
    app_settings::UserSettings user;
    user.cache = chkCacheMode.Value() == platform::CheckBox::kChecked;
    user.port = port_;
    user.baudrate = baudrate_;
    user.scan_port = cboPort.ListIndex();
    std::string error;
    if (!app_settings::SaveUserSettings(user, &error)) {
      // The terminal view goes with the window: the box is what the person will actually see.
      ReportError("Form_Unload", "settings not saved: " + error);
      platform::CurrentUi().MessageBox("The settings could not be saved:\n" + error, platform::kMbExclamation,
                                       form_.Caption());
    }
  });
}

void frmMain::cmdExit_Click() {
  if (Busy()) {
    ucGNet.SetGNetCancel(true);
    ucGNetB.SetGNetCancel(true);
    user_cancel_ = true;
    return;
  }
  form_.RequestClose();
}

void frmMain::cmdCancel_Click() {
  ucGNet.SetGNetCancel(true);
  // The test-mode scan runs on the second engine.
  ucGNetB.SetGNetCancel(true);
  user_cancel_ = true;
}

void frmMain::ResetDeviceInformation() {
  labROMSN.SetCaption("");
  labROMVersion.SetCaption("");
  labProduct.SetCaption("");
  Terminal.ClearMsg();
  if (cboAliasName.Visible()) cboAliasName.SetVisible(false);
  if (cmdAliasName.Visible()) cmdAliasName.SetVisible(false);
}

void frmMain::ShowProgress(int value, int maximum) {
  if (maximum <= 0) {
    ProgressBar.SetVisible(false);
    return;
  }
  if (!ProgressBar.Visible()) ProgressBar.SetVisible(true);
  ProgressBar.SetRange(0, maximum);
  ProgressBar.SetValue(value);
}
