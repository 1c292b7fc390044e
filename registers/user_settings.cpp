#include "registers/user_settings.h"

#include "platform/hid_ports.h"
#include "platform/paths.h"
#include "platform/serial_registry.h"
#include "registers/clsINIFile.h"

namespace {

constexpr const char* kSettingsFileName = "settings.ini";
constexpr const char* kPortMapSection = "SerialPorts";
constexpr const char* kHidPortMapSection = "HIDPorts";

// The lines of a port map section, read afresh on every call so that an emulator's new line counts at once.
platform::PortMapSource PortMapOf(const char* section) {
  return [section] {
    std::vector<platform::PortMapEntry> entries;
    clsINIFile file(UserSettingsPath());
    for (auto& [name, device] : file.EnumSectionKeys(section)) {
      entries.push_back(platform::PortMapEntry{name, device});
    }
    return entries;
  };
}

bool UnregisterMapLine(const char* section, const std::string& name, const std::string& device) {
  clsINIFile file(UserSettingsPath());
  bool removed = false;
  return file.ChangeKeys({{section, name, std::nullopt, device}}, &removed) && removed;
}

}  // namespace

std::string UserSettingsPath() {
  return platform::Join(platform::UserConfigDir(), kSettingsFileName);
}

void InstallUserPortMap() {
  platform::SetUserPortMapSource(PortMapOf(kPortMapSection));
  platform::SetUserHidPortMapSource(PortMapOf(kHidPortMapSection));
}

bool RegisterUserPort(const std::string& com_name, const std::string& device) {
  return SaveUserSetting(kPortMapSection, com_name, device);
}

bool UnregisterUserPort(const std::string& com_name, const std::string& device) {
  return UnregisterMapLine(kPortMapSection, com_name, device);
}

bool RegisterUserHidPort(const std::string& hid_name, const std::string& path) {
  return SaveUserSetting(kHidPortMapSection, hid_name, path);
}

bool UnregisterUserHidPort(const std::string& hid_name, const std::string& path) {
  return UnregisterMapLine(kHidPortMapSection, hid_name, path);
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
