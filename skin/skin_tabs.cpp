#include "skin/skin_tabs.h"

#include "platform/text.h"

namespace {

struct CaptionWord {
  const char* word;
  SkinConnection connection;
};

// In this order: the first word found in a caption decides.
constexpr CaptionWord kCaptionWords[] = {
    {"RS232", SkinConnection::kSerial},    {"UART", SkinConnection::kSerial},
    {"COM Port", SkinConnection::kSerial}, {"Keyboard", SkinConnection::kKeyboard},
    {"PS/2", SkinConnection::kKeyboard},   {"HID", SkinConnection::kHid},
};

// Enables the tabs `enabled` says, then moves the selection off a tab that became disabled.
template <typename Rule>
void ApplyTabs(platform::TabControl& tabs, Rule enabled) {
  for (int i = 0; i < tabs.Tabs(); ++i)
    tabs.SetTabEnabled(i, enabled(ConnectionOfCaption(tabs.TabCaption(i))));
  if (tabs.TabEnabled(tabs.Tab())) return;
  for (int i = 0; i < tabs.Tabs(); ++i) {
    if (tabs.TabEnabled(i) && tabs.TabVisible(i)) {
      tabs.SetTab(i);
      return;
    }
  }
}

}  // namespace

SkinConnection ConnectionOfCaption(const std::string& caption) {
  for (const CaptionWord& entry : kCaptionWords) {
    if (platform::text::ContainsNoCase(caption, entry.word)) return entry.connection;
  }
  return SkinConnection::kNone;
}

SkinConnection ConnectionOfPort(const std::string& port) {
  const std::string name = platform::text::Trim(port);
  if (platform::text::StartsWithNoCase(name, "COM")) return SkinConnection::kSerial;
  if (platform::text::EqualNoCase(name, "PS/2")) return SkinConnection::kKeyboard;
  if (platform::text::StartsWithNoCase(name, "HID")) return SkinConnection::kHid;
  return SkinConnection::kNone;
}

void SSTabEnable(platform::TabControl& tabs, const std::string& port) {
  const SkinConnection in_use = ConnectionOfPort(port);
  ApplyTabs(tabs, [in_use](SkinConnection tab) { return tab == SkinConnection::kNone || tab == in_use; });
}

void SSTabDisable(platform::TabControl& tabs) {
  ApplyTabs(tabs, [](SkinConnection tab) { return tab == SkinConnection::kNone; });
}
