#pragma once
// The main window: its controls, the protocol engines, the register set, the loaded skin and the terminal
// view, and every handler that ties them together: start-up and close, finding a reader and choosing its
// skin, the test mode, and the Read, Write and Default workflows.
//
// The window is written against the control model of platform/, so it runs the same on screen (a window
// back end attaches peers to its controls) and headless (tests, console mode). Everything runs on the
// event loop's thread. Workflows wait on that loop between transactions, so a click, a timer tick or a
// device notification can arrive in the middle of one: the buttons of a running workflow are disabled,
// and closing the window only asks for cancellation while anything is under way.
//
// The handlers are split by concern: frmMain_layout.cpp (controls and their places), frmMain.cpp (wiring
// of engines, register set and skin), frmMain_startup.cpp (load, close, progress), frmMain_ports.cpp (port
// list, device arrival and removal), frmMain_discovery.cpp (scan and skin choice), frmMain_testmode.cpp,
// frmMain_workflows.cpp (Read, Write, Default and the file buttons).

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "app/alias_names.h"
#include "app/register_file_actions.h"
#include "app/terminal_view.h"
#include "gnet/frame_error_recovery.h"
#include "gnet/ucGNet.h"
#include "platform/controls.h"
#include "platform/event_loop.h"
#include "registers/clsRegisters.h"
#include "skin/clsPlugins.h"
#include "skin/clsSkinQuery.h"
#include "skin/skin_catalog.h"

class frmMain {
 public:
  // The caption the window has before Trakset.ini names the product.
  static constexpr const char* kDesignCaption = "zk4100_MSR";
  // The first entry of the port list when there are ports: scan them all.
  static constexpr const char* kAutoEntry = "Auto";
  // The progress bar counts in these steps.
  static constexpr int kProgressSteps = 100;

  // `command_line`: the whole command line as one text; switches are found in it as substrings.
  // Nothing is read or shown before Form_Load.
  explicit frmMain(std::string command_line = {});
  ~frmMain();
  frmMain(const frmMain&) = delete;
  frmMain& operator=(const frmMain&) = delete;

 private:
  platform::Form form_;

 public:
  platform::Form& Form() { return form_; }

  // ---- controls ----
  platform::ComboBox& cboPort;
  platform::Button& cmdCancel;
  platform::Button& cmdAutoScan;
  platform::CheckBox& chkTestMode;
  platform::CheckBox& chkCacheMode;
  platform::Button& cmdExit;
  platform::Label& labProduct;
  platform::Label& labROMSN;
  platform::Label& labROMVersion;
  platform::Label& labPort;
  platform::ComboBox& cboAliasName;
  platform::Button& cmdAliasName;
  platform::Button& cmdRead;
  platform::Button& cmdWrite;
  platform::Button& cmdDefault;
  platform::Button& cmdOpen;
  platform::Button& cmdSave;
  platform::Button& cmdSaveHex;
  platform::Label& labAliasName;
  // The skin's pages are shown inside this area.
  platform::Container& picBack;
  platform::ProgressBar& ProgressBar;
  platform::RichTextView& txtView;
  platform::Timer TimerAutoScan;

  // ---- the objects the window owns ----
  TerminalView Terminal;
  clsRegisters m_oRegisters;
  clsPlugins m_oPlugins;
  clsSkinQuery m_oSkinQuery;
  gnet::FrameErrorRecovery m_oFrameErrorRecovery;
  // The engine of the register workflows, and the second one that serves the test mode.
  ::ucGNet ucGNet;
  ::ucGNet ucGNetB;
  AliasNames m_oAliasNames;
  RegisterFileActions m_oFileActions;

  // ---- start-up and close ----
  void Form_Load();
  // Refused (`cancel` set) while anything is under way: the running transfer is asked to stop instead.
  void Form_Unload(bool& cancel);
  void cmdExit_Click();
  void cmdCancel_Click();
  // Empties the identity labels and the terminal view and hides the alias list.
  void ResetDeviceInformation();
  // Shows `value` of `maximum` on the progress bar; a maximum of 0 or less hides the bar.
  void ShowProgress(int value, int maximum);

  // ---- ports ----
  void cboPort_Click();
  // Rebuilds the port list from the engine's ports, keeping the selection where it can.
  void RefillPortList();
  // For the window back end: what stands behind list entry `index` ("/dev/ttyUSB0  FTDI FT232R USB
  // UART"); "" for "Auto", an entry without a device, or an index outside the list.
  std::string PortDescription(int index) const;
  // A serial device came or went; `device_name` holds "COM" and the port's number ("COM3"). Names
  // without "COM" are not serial ports of this program and are ignored.
  void OnSerialDeviceArrival(const std::string& device_name);
  void OnSerialDeviceRemoval(const std::string& device_name);
  // The line of `engine`'s port hung up: its device is gone, which a device notice may repeat later.
  void OnPortLost(::ucGNet& engine);
  // The HID bridges' device events: 0 removed, 1 plugged in, 2 removed while open ("closed & removed");
  // other codes are ignored. Each refills the port list.
  enum HidDeviceEvent { kHidRemoved = 0, kHidPlugged = 1, kHidClosedAndRemoved = 2 };
  void GHIDIO1_OnDeviceEvent(int code, const std::string& name);
  // A bridge came or went ("HID2"); a removal of the port in use ends its use first.
  void OnHidDeviceArrival(const std::string& name);
  void OnHidDeviceRemoval(const std::string& name);

  // ---- discovery ----
  void TimerAutoScan_Timer();
  void cmdAutoScan_Click();
  // Loads the skin whose definition names `name` as its Module into picBack, with its register mask and
  // defaults. False with the reason in `error`.
  bool LoadSkin(const std::string& name, std::string& error);
  // Enables or disables, as one group, the register workflow buttons and the skin's tabs.
  void SetConnectedState(bool connected);

  // ---- test mode ----
  void chkTestMode_Click();

  // ---- register workflows ----
  void cmdRead_Click();
  void cmdWrite_Click();
  void cmdDefault_Click();
  void cmdOpen_Click();
  void cmdSave_Click();
  void cmdSaveHex_Click();
  void cmdAliasName_Click();
  // Makes the engine follow the serial settings that the skin's Baudrate, Parity, DataBits and StopBits
  // show, on a "COM" port. Used before and after every workflow.
  void ApplySerialSettings();
  // The settings text those four registers describe ("9600,N,8,1"); "19200,N,8,1" when none is loaded.
  std::string SerialSettingsFromRegisters() const;

  // ---- state for the back end and for tests ----
  // A scan, a workflow or an engine transaction is under way.
  bool Busy() const;
  bool TestAll() const { return test_all_; }
  bool PortSelBox() const { return port_sel_box_; }
  bool SaveEEPROM() const { return save_eeprom_; }
  const std::string& Title() const { return title_; }
  bool DefaultAutoInterface() const { return default_auto_interface_; }
  const std::string& Port() const { return port_; }
  int32_t Baudrate() const { return baudrate_; }
  const std::string& CurrentCommSettings() const { return current_comm_settings_; }
  const std::string& ScanCommSettings() const { return scan_comm_settings_; }
  uint32_t StartTick() const { return start_tick_; }
  bool Unplugged() const { return unplugged_; }
  bool SkinLoaded() const { return skin_loaded_; }
  bool MultipleInterfaces() const { return multiple_interfaces_; }
  // What the last scan found: the identification ("KRD36AR,3TRACK,UART") and its model part.
  const std::string& Identification() const { return identification_; }
  const std::string& ModelName() const { return model_name_; }
  // The skin form shown in picBack, or nullptr.
  SkinForm* SkinObject() const { return m_oSkinQuery.GetSkinObj(); }
  // Called after a skin form was loaded into picBack, so that a window back end can show its controls.
  std::function<void(SkinForm&)> OnSkinFormLoaded;

 private:
  // Keeps the buttons off while a workflow or a test-mode scan runs, and puts them back as the connection
  // allows however it ends.
  class WorkflowLock {
   public:
    explicit WorkflowLock(frmMain& window) : window_(window) { window_.LockButtons(); }
    ~WorkflowLock() { window_.UnlockButtons(); }
    WorkflowLock(const WorkflowLock&) = delete;
    WorkflowLock& operator=(const WorkflowLock&) = delete;

   private:
    frmMain& window_;
  };

  // frmMain_layout.cpp
  void LayOutControls();
  // frmMain.cpp
  void WireEvents();
  void WireRegisterSet();
  // Runs `body`; a failure inside is reported as "<handler> - <description>" in red.
  void Trap(const char* handler, const std::function<void()>& body);
  void ReportError(const char* handler, const std::string& description);
  void ShowMsg(const std::string& text, uint32_t colour = terminal_colour::kBlack);
  // The number the reader's TypeingSpeed register shows, 0 without one.
  int TypingSpeed() const;
  // frmMain_discovery.cpp
  bool RunScan();
  void ReaderFound(const std::string& identification, const std::string& multiple_interfaces);
  bool ChooseSkin(const std::string& alias, const std::string& model, std::string& error);
  void BindLoadedSkin();
  void ApplySkinMasks();
  void FinishScan(bool found);
  // The buttons as the connection and the loaded skin allow, after a scan or a workflow.
  void RestoreButtons();
  void ShowCancelOverPortList();
  // The identity labels after a write: identification and alias asked for again.
  void RefreshIdentity();
  // frmMain_ports.cpp
  // Whatever runs on `engine` ends as cancelled and its port stays closed; on the main engine the pages
  // wait for a reader again.
  void EndUseOfRemovedPort(::ucGNet& engine);
  // frmMain_workflows.cpp
  void LockButtons();
  void UnlockButtons();
  enum class WorkflowKind { kRead, kWrite };
  // The frame every workflow shares; `ng_line` is its result when it is cancelled before its own steps.
  void RunWorkflow(const char* handler, const char* start_line, const char* ng_line, WorkflowKind kind,
                   const std::function<void()>& own_steps);
  std::string FindDefaultFile() const;
  // The workflow's one result line.
  void ReportResult(bool ok, const char* ok_line, const char* ng_line);

  // Switches and settings.
  std::string command_line_;
  bool test_all_ = false;
  bool port_sel_box_ = false;
  bool save_eeprom_ = false;
  std::string title_;
  bool default_auto_interface_ = false;
  std::string port_;
  int32_t baudrate_ = 0;
  std::string current_comm_settings_;
  std::string scan_comm_settings_;
  uint32_t start_tick_ = 0;

  // The port list's entries and what stands behind each.
  std::vector<std::string> port_descriptions_;
  bool refilling_port_list_ = false;

  // Discovery.
  int16_t scan_counter_ = 0;
  bool user_cancel_ = false;
  bool unplugged_ = false;
  // The port whose removal its own line's hang-up reported, until the device manager's notice comes.
  std::string hung_up_port_;
  bool multiple_interfaces_ = false;
  std::string identification_;
  std::string model_name_;
  std::string loaded_skin_model_;
  std::string loaded_skin_alias_;
  bool skin_loaded_ = false;
  // The last LoadSkin found a definition, and its skin library built the form it names.
  bool skin_page_ok_ = false;
  SkinDefinition skin_definition_;

  // Workflows.
  bool test_mode_flag_ = false;
  int workflows_running_ = 0;
};
