#pragma once
// Where the main window was when it last closed, kept in the per-user settings (section "Window"), and
// how that place is made to fit the screens there are now: a window remembered on a monitor that has
// since gone must not open out of reach.

#include <QRect>
#include <QSize>
#include <optional>
#include <vector>

namespace msrcfg_window {

// The window's outer top-left corner and its inner size, in pixels.
struct WindowGeometry {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
  bool operator==(const WindowGeometry&) const = default;
};

// The remembered geometry; nullopt when none was saved or a value is not a number.
std::optional<WindowGeometry> LoadWindowGeometry();
bool SaveWindowGeometry(const WindowGeometry& geometry);

// `geometry` made to fit: no smaller than `minimum`, no larger than the screen it lands on, and moved
// onto that screen when its top edge (where the title bar is grabbed) would not be on any. `screens` are
// the screens' available areas, the primary one first; with none, the geometry is only held to `minimum`.
WindowGeometry FitOnScreens(WindowGeometry geometry, const std::vector<QRect>& screens, QSize minimum);

}  // namespace msrcfg_window
