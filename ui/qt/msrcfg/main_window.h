#pragma once
// The main form on screen. Builds the window of frmMain and of its alias dialog, opens the window where
// it was last closed and lets its log and skin area grow with it, shows the skin's pages inside the skin
// area, shows where each port of the port list leads, makes every control reachable from the keyboard,
// and passes serial devices that come and go on to the form.

#include <QRect>
#include <QScrollArea>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

#include "app/frmMain.h"
#include "platform/hotplug.h"
#include "ui/qt/msrcfg/window_geometry.h"

namespace msrcfg_window {

class MainWindow {
 public:
  // `form` must outlive this object. Its window is built at once and shows with LoadAndShow.
  explicit MainWindow(frmMain& form);
  ~MainWindow();
  MainWindow(const MainWindow&) = delete;
  MainWindow& operator=(const MainWindow&) = delete;

  QWidget& Widget() const { return *window_; }

  // The available areas of the desktop's screens, the primary one first.
  static std::vector<QRect> ScreenAreas();
  // Runs Form_Load, puts the window where it was last closed, fitted to `screens`, and shows it.
  void LoadAndShow(const std::vector<QRect>& screens = ScreenAreas());
  // Reports devices from `source` to the form's arrival and removal handlers; nullptr follows none.
  void FollowDevices(std::unique_ptr<platform::DeviceEventSource> source);
  // The same for HID bridges, from hidraw events.
  void FollowHidDevices(std::unique_ptr<platform::DeviceEventSource> source);
  bool FollowsDevices() const { return monitor_ && monitor_->Active(); }

  // The form agreed to close (it refuses while a transfer runs): the window's place is saved by then.
  std::function<void()> OnClosed;

 private:
  struct Stretch;
  class ResizeFilter;

  void WireClose();
  void ShowSkinPages(SkinForm& skin);
  void PlaceSkinPages(SkinForm& skin);
  // The pages fill the skin area; taller ones scroll in it.
  void FitSkinPages();
  void SetTabOrder();
  // Controls that follow the window's size: the log, the skin area, the progress bar, Exit.
  void FollowWindowSize();
  WindowGeometry CurrentGeometry() const;

  frmMain& form_;
  QWidget* window_ = nullptr;
  QSize design_size_;
  std::vector<Stretch> stretches_;
  QScrollArea* skin_area_ = nullptr;
  // The size the skin laid its pages out in, before they were made to fill the area.
  QSize laid_out_size_;
  std::unique_ptr<platform::HotplugMonitor> monitor_;
  std::unique_ptr<platform::HotplugMonitor> hid_monitor_;
};

}  // namespace msrcfg_window
