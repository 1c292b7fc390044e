#pragma once
// The user's HID bridge map: section HIDPorts of the per-user settings file (UserSettingsPath()), lines
// such as "HID1 = /run/user/1000/msrsim-4711-1.hid", which the emulator writes so the program finds its
// bridge's socket.

#include <string>

// Adds or replaces the line `hid_name` = `device` in HIDPorts. False when the file cannot be written.
bool RegisterUserHidPort(const std::string& hid_name, const std::string& device);
// Removes the `hid_name` line, but only while it still names `device` (checked in the same rewrite), so a
// program that ends does not remove the line another one wrote since. True when the line was removed.
bool UnregisterUserHidPort(const std::string& hid_name, const std::string& device);
