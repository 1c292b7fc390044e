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
  std::string current;
  if (!file.GetKeyValue(com_name, current, "", kPortMapSection) || current != device) return false;
  return file.DeleteKey(com_name, kPortMapSection);
}

std::string GetUserSetting(const std::string& section, const std::string& key,
                           const std::string& default_value) {
  clsINIFile file(UserSettingsPath());
  return file.GetKeyValue(key, default_value, section);
}

bool SaveUserSetting(const std::string& section, const std::string& key, const std::string& value) {
  clsINIFile file(UserSettingsPath());
  return file.SetKeyValue(key, value, section);
}
