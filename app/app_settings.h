#pragma once
// What the main window starts from and leaves behind: the command-line switches, the product settings of
// Trakset.ini in the program folder (the program only ever reads that file), the scan lists that
// discovery reads from the same file each time it runs, and the per-user settings of sections COMM and
// General. A missing file or key is never an error: every value has its default.

#include <cstdint>
#include <string>

namespace app_settings {

inline constexpr const char* kTraksetFile = "Trakset.ini";
// The folder of the factory register files, beside the program.
inline constexpr const char* kDefaultFolder = "Default";
inline constexpr const char* kGeneralSection = "General";
inline constexpr const char* kCommSection = "COMM";
// The line every scan starts on, and both texts of the frame-error recovery at start.
inline constexpr const char* kDefaultCommSettings = "19200,N,8,1";
inline constexpr const char* kDefaultPort = "COM4";
inline constexpr int32_t kDefaultBaudrate = 19200;

// ---- command line ----
// True when `name` occurs anywhere in `command_line`, case ignored: "/testall" is "/TestAll".
bool HasSwitch(const std::string& command_line, const std::string& name);

struct CommandLineSwitches {
  bool test_all = false;      // "/TestAll"
  bool port_sel_box = false;  // "/PortSelBox": the remembered port counts, the port list moves into view
  bool save_eeprom = false;   // "/SaveEEPROM": the HEX export button is shown
};
CommandLineSwitches ParseSwitches(const std::string& command_line);

// ---- Trakset.ini ----
// Trakset.ini in the program folder.
std::string TraksetPath();

struct ProductSettings {
  std::string title;
  bool default_auto_interface = false;
};
// Title (a value that is blank after trimming gives `design_caption`) and DefaultAutoInterface.
ProductSettings ReadProductSettings(const std::string& design_caption);
// DefaultAutoInterface is on only for "1", "T" or "TRUE" (trimmed, any case). This is narrower than
// ToBoolean on purpose: the key decides whether Default may switch a reader to another interface, and
// installations that wrote "YES" there have always kept their readers' interfaces.
bool DefaultAutoInterfaceOn(const std::string& text);

// The program's own version, as the build gives it.
struct ProgramVersion {
  int major = 0;
  int minor = 0;
  int revision = 0;
};
ProgramVersion Version();
// `title` & " V" & major & "." & minor & "R" & revision: "zk4100_MSR V1.2R3".
std::string WindowCaption(const std::string& title);

// The lists a scan works with, trimmed; an empty or missing value takes its default.
struct ScanSettings {
  std::string module_names;
  std::string baud_rates;
  std::string multiple_interfaces;
};
inline constexpr const char* kDefaultModuleNames = "KRD31/36,KRD300/350,QV-R4410-03,KRD##*[AKPR]*,QV-R###*-*";
inline constexpr const char* kDefaultBaudrates = "19200,9600";
// The test-mode scan looks for fewer models on more rates: it serves a bench where a reader of a known
// family may sit at any rate its firmware supports.
inline constexpr const char* kTestModeModuleNames = "KRD31/36,KRD300/350,QV-R4410-03";
inline constexpr const char* kTestModeBaudrates = "150,300,600,2400,4800,9600,14400,19200";
inline constexpr const char* kDefaultMultipleInterfaces = "KRD320RK";
ScanSettings ReadScanSettings(bool test_mode);

// ---- per-user settings ----
struct UserSettings {
  std::string port = kDefaultPort;      // COMM/Port
  int32_t baudrate = kDefaultBaudrate;  // COMM/Baudrate
  int32_t scan_port = 0;                // COMM/ScanPort: the selected index of the port list
  bool cache = true;                    // General/Cache
};
// Reads the per-user settings. Without "/PortSelBox" the stored port is ignored and "COM4" used: the
// remembered port only counts where the person can see and change the port selector.
UserSettings ReadUserSettings(bool port_sel_box);
// Writes all four in one rewrite; false with the reason in `error` ("<full path>: <system message>") when
// the settings file cannot be written.
bool SaveUserSettings(const UserSettings& settings, std::string* error = nullptr);
// A stored baud rate read as a number (its leading digits); 0, a negative or a non-number gives 19200.
int32_t BaudrateOf(const std::string& text);

}  // namespace app_settings
