#pragma once
// A second, dimmed text beside the items of a drop-down list: the port list's items are names the
// program compares ("COM3"), while the person wants to see where each one leads ("/dev/ttyUSB0  FTDI
// FT232R USB UART"). The control's items and the widget's item texts stay as they are.

#include <functional>
#include <string>

#include "platform/controls.h"

namespace ui_qt {

// The detail of item `index`; "" for none. Asked each time an item is drawn, so it never goes stale.
using ItemDetail = std::function<std::string(int index)>;

// Shows the details of `combo` (whose widget must have been built) after each item of the open list,
// after the selected item in the closed box, and as tooltips. A new call replaces the detail source.
void ShowItemDetails(platform::ComboBox& combo, ItemDetail detail);

}  // namespace ui_qt
