// The window's wiring: which handler answers which event of the controls, the engines, the register set
// and the skin query, and the frame that keeps a failing handler from taking the window down.
#include "app/frmMain.h"

#include <cmath>

#include "app/trap.h"
#include "registers/clsRegister.h"
#include "registers/number_text.h"

frmMain::~frmMain() {
  // Nothing may answer the engines once the window's parts start to go.
  for (::ucGNet* engine : {&ucGNet, &ucGNetB}) {
    engine->OnMessage = nullptr;
    engine->OnChar = nullptr;
    engine->OnFrameError = nullptr;
    engine->OnPortLost = nullptr;
    if (engine->PortOpen()) engine->SetPortOpen(false);
  }
  // The registers hold the skin form's controls: they go first, then the form.
  m_oRegisters.ClearRegisters();
  m_oSkinQuery.OnUnloading = nullptr;
  m_oSkinQuery.UnLoadSkin();
}

void frmMain::WireEvents() {
  form_.OnUnload = [this](bool& cancel) { Form_Unload(cancel); };
  cmdExit.OnClick = [this] { cmdExit_Click(); };
  cmdCancel.OnClick = [this] { cmdCancel_Click(); };
  cboPort.OnClick = [this] { cboPort_Click(); };
  cmdAutoScan.OnClick = [this] { cmdAutoScan_Click(); };
  chkTestMode.OnClick = [this] { chkTestMode_Click(); };
  cmdRead.OnClick = [this] { cmdRead_Click(); };
  cmdWrite.OnClick = [this] { cmdWrite_Click(); };
  cmdDefault.OnClick = [this] { cmdDefault_Click(); };
  cmdOpen.OnClick = [this] { cmdOpen_Click(); };
  cmdSave.OnClick = [this] { cmdSave_Click(); };
  cmdSaveHex.OnClick = [this] { cmdSaveHex_Click(); };
  cmdAliasName.OnClick = [this] { cmdAliasName_Click(); };
  TimerAutoScan.OnTimer = [this] { TimerAutoScan_Timer(); };

  // Both engines feed the one terminal view.
  for (::ucGNet* engine : {&ucGNet, &ucGNetB}) {
    engine->OnMessage = [this](std::string& type, const std::string& msg) {
      Terminal.OnEngineMessage(type, msg);
    };
    engine->OnChar = [this](uint8_t& data) { Terminal.OnReceivedByte(data); };
    engine->OnPortLost = [this, engine] { OnPortLost(*engine); };
  }
  m_oFrameErrorRecovery.Connect(ucGNet, &ucGNetB);

  Terminal.TestModeFlag = [this] { return test_mode_flag_; };
  Terminal.TestModeChecked = [this] { return chkTestMode.Value() == platform::CheckBox::kChecked; };
  Terminal.TypingSpeed = [this] { return TypingSpeed(); };

  // Registers must let go of a skin form's controls before the form goes.
  m_oSkinQuery.OnUnloading = [this] { m_oRegisters.ClearRegisters(); };
  WireRegisterSet();
}

void frmMain::WireRegisterSet() {
  // The interface the reader is attached by is shown, never written: writing it would cut the line.
  m_oRegisters.SetAllowDisplayOnly(true);
  // The register set asks; the main engine answers, but never in the middle of another transaction of
  // its own (a handler can run inside a wait of the engine).
  m_oRegisters.OnDumpRegisters = [this](std::string& data, bool& ok) {
    ok = false;
    if (ucGNet.IsSendGNetCMD()) return;
    data = ucGNet.RegistersDumpEx(ucGNet.GNetTimeout());
    ok = !data.empty();
  };
  m_oRegisters.OnReadRegister = [this](uint8_t& value, bool& ok, int32_t address) {
    ok = !ucGNet.IsSendGNetCMD() && ucGNet.GetRegister(address, value);
  };
  m_oRegisters.OnWriteRegister = [this](uint8_t& value, bool& ok, int32_t address) {
    ok = !ucGNet.IsSendGNetCMD() && ucGNet.SetRegister(address, value);
  };
  m_oRegisters.OnProgress = [this](double fraction) {
    ShowProgress(static_cast<int>(std::lround(fraction * kProgressSteps)), kProgressSteps);
  };
}

bool frmMain::Busy() const {
  return ucGNet.Busy() || ucGNetB.Busy() || scan_counter_ > 0 || workflows_running_ > 0 ||
         m_oRegisters.Busy();
}

void frmMain::Trap(const char* handler, const std::function<void()>& body) {
  TrapHandler(handler, body,
              [this](const std::string& line) { Terminal.ShowMsg(line, terminal_colour::kRed); });
}

void frmMain::ReportError(const char* handler, const std::string& description) {
  Terminal.ShowMsg(std::string(handler) + " - " + description, terminal_colour::kRed);
}

void frmMain::ShowMsg(const std::string& text, uint32_t colour) {
  Terminal.ShowMsg(text, colour);
}

int frmMain::TypingSpeed() const {
  const clsRegister* speed = m_oRegisters.FindRegister("TypeingSpeed");
  if (speed == nullptr) return 0;
  const int64_t number = register_text::NumberOf(speed->Text());
  return number > 0 && number < INT32_MAX ? static_cast<int>(number) : 0;
}
