#include "ui/qt/msrcfg/window_geometry.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "registers/user_settings.h"

namespace msrcfg_window {

namespace {

constexpr const char* kSection = "Window";
constexpr const char* kLeft = "Left";
constexpr const char* kTop = "Top";
constexpr const char* kWidth = "Width";
constexpr const char* kHeight = "Height";

std::optional<int> NumberSetting(const char* key) {
  const std::string text = GetUserSetting(kSection, key, "");
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// The strip along the window's top edge that a person grabs to move it.
QRect TitleStrip(const WindowGeometry& geometry) {
  constexpr int kStripHeight = 24;
  return QRect(geometry.left, geometry.top, geometry.width, kStripHeight);
}

}  // namespace

std::optional<WindowGeometry> LoadWindowGeometry() {
  const auto left = NumberSetting(kLeft);
  const auto top = NumberSetting(kTop);
  const auto width = NumberSetting(kWidth);
  const auto height = NumberSetting(kHeight);
  if (!left || !top || !width || !height) return std::nullopt;
  return WindowGeometry{*left, *top, *width, *height};
}

bool SaveWindowGeometry(const WindowGeometry& geometry) {
  // One rewrite of the settings file for all four, not one each.
  return ChangeUserSettings({{kSection, kLeft, std::to_string(geometry.left)},
                             {kSection, kTop, std::to_string(geometry.top)},
                             {kSection, kWidth, std::to_string(geometry.width)},
                             {kSection, kHeight, std::to_string(geometry.height)}});
}

WindowGeometry FitOnScreens(WindowGeometry geometry, const std::vector<QRect>& screens, QSize minimum) {
  geometry.width = std::max(geometry.width, minimum.width());
  geometry.height = std::max(geometry.height, minimum.height());
  if (screens.empty()) return geometry;
  const QRect strip = TitleStrip(geometry);
  const auto home = std::find_if(screens.begin(), screens.end(), [&](const QRect& screen) {
    // Enough of the top edge to grab: a quarter of it, or 100 pixels.
    const QRect common = screen.intersected(strip);
    return common.width() >= std::min(100, strip.width() / 4) && common.height() > 0;
  });
  const QRect screen = home != screens.end() ? *home : screens.front();
  geometry.width = std::clamp(geometry.width, std::min(minimum.width(), screen.width()), screen.width());
  geometry.height = std::clamp(geometry.height, std::min(minimum.height(), screen.height()), screen.height());
  if (home == screens.end()) {
    geometry.left = screen.left() + (screen.width() - geometry.width) / 2;
    geometry.top = screen.top() + (screen.height() - geometry.height) / 2;
  }
  // Wholly on its screen where it fits.
  geometry.left = std::clamp(geometry.left, screen.left(), screen.left() + screen.width() - geometry.width);
  geometry.top = std::clamp(geometry.top, screen.top(), screen.top() + screen.height() - geometry.height);
  return geometry;
}

}  // namespace msrcfg_window
