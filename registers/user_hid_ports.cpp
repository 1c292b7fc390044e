#include "registers/user_hid_ports.h"

#include "registers/clsINIFile.h"
#include "registers/user_settings.h"

namespace {
constexpr const char* kHidPortMapSection = "HIDPorts";
}  // namespace

bool RegisterUserHidPort(const std::string& hid_name, const std::string& device) {
  return SaveUserSetting(kHidPortMapSection, hid_name, device);
}

bool UnregisterUserHidPort(const std::string& hid_name, const std::string& device) {
  clsINIFile file(UserSettingsPath());
  bool removed = false;
  return file.ChangeKeys({{kHidPortMapSection, hid_name, std::nullopt, device}}, &removed) && removed;
}
