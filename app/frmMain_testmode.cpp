// The test mode: a monitor of what a reader sends, served by the second engine so that the register
// pages and their engine stay as they are. A bench technician swipes cards and watches the terminal view.
#include "app/app_settings.h"
#include "app/frmMain.h"

void frmMain::chkTestMode_Click() {
  Trap("chkTestMode_Click", [this] {
    TimerAutoScan.SetEnabled(false);
    if (chkTestMode.Value() != platform::CheckBox::kChecked) {
      if (ucGNetB.PortOpen()) ucGNetB.SetPortOpen(false);
      // The keyboard port's key hook would be switched off here.
      picBack.SetEnabled(true);
      test_mode_flag_ = false;
      return;
    }
    test_mode_flag_ = true;
    ApplySerialSettings();
    const std::string listed = cboPort.Text();
    // The keyboard port is never listed until a keyboard-port object serves "PS/2".
    const bool keyboard_listed = listed == ::ucGNet::kKeyboardPort;
    // With a reader connected on a serial port its own engine already shows what it sends.
    if ((!ucGNet.PortOpen() && (listed == kAutoEntry || keyboard_listed)) ||
        ucGNet.CommPort() == ::ucGNet::kKeyboardPort) {
      ShowMsg("Auto Scan for Test...");
      const app_settings::ScanSettings lists = app_settings::ReadScanSettings(true);
      // Cancel over the port list; nothing else may start a scan meanwhile.
      WorkflowLock lock(*this);
      std::string scan_port = keyboard_listed ? std::string() : port_;
      ucGNetB.SetSettings(app_settings::kDefaultCommSettings);
      ucGNetB.SetGNetCancel(false);
      std::string identification;
      int32_t rate = baudrate_;
      bool found = false;
      ucGNetB.AutoScan(identification, lists.baud_rates, scan_port, rate, lists.module_names, false, found);
      if (found) {
        port_ = scan_port;
        ShowMsg("Found Device on " + scan_port);
      }
    }
    picBack.SetEnabled(false);
    Terminal.TimerAutoCrLf.SetEnabled(true);
    txtView.ScrollToEnd();
  });
}
