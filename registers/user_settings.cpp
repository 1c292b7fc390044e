#include "registers/user_settings.h"

#include "platform/paths.h"
#include "platform/serial_registry.h"
#include "registers/clsINIFile.h"

namespace {
constexpr const char* kSettingsFileName = "settings.ini";
constexpr const char* kPortMapSection = "SerialPorts";
}  // namespace

std::string UserSettingsPath() {
  return platform::Join(platform::UserConfigDir(), kSettingsFileName);
}

void InstallUserPortMap() {
  platform::SetUserPortMapSource([] {
    std::vector<platform::PortMapEntry> entries;
    clsINIFile file(UserSettingsPath());
    for (auto& [name, device] : file.EnumSectionKeys(kPortMapSection)) {
      entries.push_back(platform::PortMapEntry{name, device});
    }
    return entries;
  });
}

bool RegisterUserPort(const std::string& com_name, const std::string& device) {
  return SaveUserSetting(kPortMapSection, com_name, device);
}

bool UnregisterUserPort(const std::string& com_name, const std::string& device) {
  clsINIFile file(UserSettingsPath());
  bool removed = false;
  return file.ChangeKeys({{kPortMapSection, com_name, std::nullopt, device}}, &removed) && removed;
}

std::string GetUserSetting(const std::string& section, const std::string& key,
                           const std::string& default_value) {
  clsINIFile file(UserSettingsPath());
  return file.GetKeyValue(key, default_value, section);
}

bool SaveUserSetting(const std::string& section, const std::string& key, const std::string& value) {
  return ChangeUserSettings({{section, key, value}});
}

bool ChangeUserSettings(const std::vector<clsINIFile::KeyChange>& changes, std::string* error) {
  clsINIFile file(UserSettingsPath());
  if (file.ChangeKeys(changes)) return true;
  if (error != nullptr) *error = file.LastError();
  return false;
}
