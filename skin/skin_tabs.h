#pragma once
// Which tabs of a skin form belong to which connection, and enabling them accordingly.
//
// A tab belongs to a connection when its caption names one; the words are looked for in this order,
// without regard to case, and the first found decides: "RS232", "UART", "COM Port" (serial port),
// "Keyboard", "PS/2" (keyboard port), "HID" (USB HID). A tab that names none ("Tracks", "Communication")
// holds settings of every connection.

#include <string>

#include "platform/controls.h"

enum class SkinConnection { kNone, kSerial, kKeyboard, kHid };

// The connection a tab caption names, kNone for a general tab.
SkinConnection ConnectionOfCaption(const std::string& caption);
// The connection of a port name: "COM"n serial, "PS/2" the keyboard port, "HID"... USB HID.
SkinConnection ConnectionOfPort(const std::string& port);

// For a reader that can be reached in several ways: the tabs of the connection in use (`port`) and the
// general tabs are enabled, the tabs of other connections disabled.
void SSTabEnable(platform::TabControl& tabs, const std::string& port);
// For a reader with a single way in: every tab that belongs to a connection is disabled, the general tabs
// stay enabled. Skins therefore keep what every reader of theirs needs (the serial settings of a serial
// reader too) on general tabs.
void SSTabDisable(platform::TabControl& tabs);
