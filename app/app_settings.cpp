#include "app/app_settings.h"

#include "platform/paths.h"
#include "platform/text.h"
#include "registers/clsINIFile.h"
#include "registers/number_text.h"
#include "registers/user_settings.h"

namespace app_settings {

namespace {

std::string TraksetValue(clsINIFile& file, const char* key, const std::string& fallback) {
  const std::string value = platform::text::Trim(file.GetKeyValue(key, "", kGeneralSection));
  return value.empty() ? fallback : value;
}

int32_t NumberOrZero(const std::string& text) {
  const int64_t number = register_text::NumberOf(text);
  return number > INT32_MAX || number < INT32_MIN ? 0 : static_cast<int32_t>(number);
}

}  // namespace

bool HasSwitch(const std::string& command_line, const std::string& name) {
  return platform::text::ContainsNoCase(command_line, name);
}

CommandLineSwitches ParseSwitches(const std::string& command_line) {
  CommandLineSwitches switches;
  switches.test_all = HasSwitch(command_line, "/TestAll");
  switches.port_sel_box = HasSwitch(command_line, "/PortSelBox");
  switches.save_eeprom = HasSwitch(command_line, "/SaveEEPROM");
  return switches;
}

std::string TraksetPath() {
  return platform::Join(platform::DataDir(), kTraksetFile);
}

ProductSettings ReadProductSettings(const std::string& design_caption) {
  clsINIFile file(TraksetPath());
  ProductSettings settings;
  settings.title = TraksetValue(file, "Title", design_caption);
  settings.default_auto_interface =
      DefaultAutoInterfaceOn(file.GetKeyValue("DefaultAutoInterface", "FALSE", kGeneralSection));
  return settings;
}

bool DefaultAutoInterfaceOn(const std::string& text) {
  const std::string value = platform::text::Upper(platform::text::Trim(text));
  return value == "1" || value == "T" || value == "TRUE";
}

ProgramVersion Version() {
  return {MSRCFG_VERSION_MAJOR, MSRCFG_VERSION_MINOR, MSRCFG_VERSION_PATCH};
}

std::string WindowCaption(const std::string& title) {
  const ProgramVersion version = Version();
  return title + " V" + std::to_string(version.major) + "." + std::to_string(version.minor) + "R" +
         std::to_string(version.revision);
}

ScanSettings ReadScanSettings(bool test_mode) {
  clsINIFile file(TraksetPath());
  ScanSettings settings;
  settings.module_names =
      TraksetValue(file, "ModuleNames", test_mode ? kTestModeModuleNames : kDefaultModuleNames);
  settings.baud_rates = TraksetValue(file, "Baudrates", test_mode ? kTestModeBaudrates : kDefaultBaudrates);
  settings.multiple_interfaces = TraksetValue(file, "MultipleInterfaces", kDefaultMultipleInterfaces);
  return settings;
}

UserSettings ReadUserSettings(bool port_sel_box) {
  UserSettings settings;
  const std::string port = GetUserSetting(kCommSection, "Port", kDefaultPort);
  settings.port = port.empty() || !port_sel_box ? kDefaultPort : port;
  settings.baudrate = BaudrateOf(GetUserSetting(kCommSection, "Baudrate", std::to_string(kDefaultBaudrate)));
  settings.scan_port = NumberOrZero(GetUserSetting(kCommSection, "ScanPort", "0"));
  settings.cache = platform::text::Upper(GetUserSetting(kGeneralSection, "Cache", "TRUE")) == "TRUE";
  return settings;
}

bool SaveUserSettings(const UserSettings& settings, std::string* error) {
  return ChangeUserSettings({{kGeneralSection, "Cache", settings.cache ? "TRUE" : "FALSE"},
                             {kCommSection, "Port", settings.port},
                             {kCommSection, "Baudrate", std::to_string(settings.baudrate)},
                             {kCommSection, "ScanPort", std::to_string(settings.scan_port)}},
                            error);
}

int32_t BaudrateOf(const std::string& text) {
  const int32_t rate = NumberOrZero(text);
  return rate > 0 ? rate : kDefaultBaudrate;
}

}  // namespace app_settings
