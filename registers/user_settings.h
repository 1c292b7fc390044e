#pragma once
// The per-user settings store: one INI file, $XDG_CONFIG_HOME/zk4100_MSR/settings.ini (default
// ~/.config/zk4100_MSR/settings.ini), read and written through clsINIFile. It holds the application's own
// settings (sections COMM and General) and the user's port maps: section SerialPorts ("COM3 = /dev/pts/7")
// and section HIDPorts ("HID1 = /run/user/1000/msrsim.hid"), which the emulator writes so the program
// finds its pseudo-terminal or socket.
//
// The path is worked out on every call, so a test that points XDG_CONFIG_HOME at a temporary folder sees
// its own file.

#include <string>
#include <vector>

#include "registers/clsINIFile.h"

// Full path of the settings file.
std::string UserSettingsPath();

// Makes the platform's serial-port list include the SerialPorts entries of the settings file, and its HID
// bridge list the HIDPorts entries, read afresh every time a list is built.
void InstallUserPortMap();

// Adds or replaces the line `com_name` = `device` in SerialPorts. False when the file cannot be written.
bool RegisterUserPort(const std::string& com_name, const std::string& device);
// Removes the `com_name` line, but only while it still names `device` (checked in the same rewrite), so a
// program that ends does not remove the line another one wrote since. True when the line was removed.
bool UnregisterUserPort(const std::string& com_name, const std::string& device);
// The same for the line `hid_name` = `path` in HIDPorts.
bool RegisterUserHidPort(const std::string& hid_name, const std::string& path);
bool UnregisterUserHidPort(const std::string& hid_name, const std::string& path);

// The value of `key` in `section`, or `default_value` when the file, section or key is missing.
std::string GetUserSetting(const std::string& section, const std::string& key,
                           const std::string& default_value);
// Writes `key` = `value` into `section`, creating file and folder as needed.
bool SaveUserSetting(const std::string& section, const std::string& key, const std::string& value);
// Makes every change in one rewrite of the settings file; false with the reason in `error`
// (clsINIFile::LastError()).
bool ChangeUserSettings(const std::vector<clsINIFile::KeyChange>& changes, std::string* error = nullptr);
