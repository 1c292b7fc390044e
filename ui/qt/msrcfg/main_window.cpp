#include "ui/qt/msrcfg/main_window.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QScrollBar>
#include <QShortcut>
#include <QStyle>

#include "ui/qt/embedded_form.h"
#include "ui/qt/item_details.h"
#include "ui/qt/widget_builder.h"

namespace msrcfg_window {

// A control that follows the window's size: where it sits in the form's own layout, and which of its
// edges move when the window grows.
struct MainWindow::Stretch {
  platform::Control* control;
  QRect design;
  bool wider;
  bool taller;
  bool keep_right;  // stays at the right edge instead of getting wider
};

class MainWindow::ResizeFilter final : public QObject {
 public:
  ResizeFilter(MainWindow& owner, QWidget& window) : QObject(&window), owner_(owner) {}
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Resize) owner_.FollowWindowSize();
    return false;
  }

 private:
  MainWindow& owner_;
};

MainWindow::MainWindow(frmMain& form) : form_(form) {
  platform::Form& main = form_.Form();
  design_size_ = QSize(main.Width(), main.Height());
  for (const auto& [control, wider, taller, keep_right] :
       {std::tuple<platform::Control*, bool, bool, bool>{&form_.txtView, true, true, false},
        {&form_.picBack, true, false, false},
        {&form_.ProgressBar, true, false, false},
        {&form_.labAliasName, true, false, false},
        {&form_.cmdExit, false, false, true}}) {
    stretches_.push_back(Stretch{control,
                                 QRect(control->Left(), control->Top(), control->Width(), control->Height()),
                                 wider, taller, keep_right});
  }

  window_ = ui_qt::BuildWindow(main);
  window_->installEventFilter(new ResizeFilter(*this, *window_));
  // Pages taller than the skin area (many settings on one tab) scroll inside it.
  skin_area_ = new QScrollArea(ui_qt::WidgetOf(form_.picBack));
  skin_area_->setFrameShape(QFrame::NoFrame);
  skin_area_->setFocusPolicy(Qt::NoFocus);  // Tab goes through the fields, not the area around them
  skin_area_->setGeometry(skin_area_->parentWidget()->rect());

  // The dialog that edits an alias keeps the main window waiting until it is answered.
  frmAliasName& dialog = form_.m_oAliasNames.Dialog();
  dialog.SetModal(true);
  ui_qt::BuildWindow(dialog);

  // The list's entries stay "COM3": the program compares them. The person also sees the device.
  ui_qt::ShowItemDetails(form_.cboPort, [this](int index) { return form_.PortDescription(index); });

  // Cancel stands over the port list while a scan runs; Escape presses it.
  auto* escape = new QShortcut(QKeySequence(Qt::Key_Escape), window_);
  QObject::connect(escape, &QShortcut::activated, [this] {
    if (form_.cmdCancel.Visible()) form_.cmdCancel.UserClick();
  });

  form_.OnSkinFormLoaded = [this](SkinForm& skin) { ShowSkinPages(skin); };
  WireClose();
  SetTabOrder();
}

MainWindow::~MainWindow() {
  form_.OnSkinFormLoaded = nullptr;
  // The skin outlives this window when the program unloads it later; it must not call back into us then.
  if (SkinForm* skin = form_.SkinObject()) skin->OnOwnerChanged = nullptr;
  monitor_.reset();
  hid_monitor_.reset();
}

void MainWindow::WireClose() {
  platform::Form& main = form_.Form();
  main.OnUnload = [this, unload = std::move(main.OnUnload)](bool& cancel) {
    if (unload) unload(cancel);
    if (cancel) return;
    // A maximised or minimised window keeps the place it had before.
    if (window_->isVisible() && !(window_->windowState() & (Qt::WindowMaximized | Qt::WindowMinimized))) {
      SaveWindowGeometry(CurrentGeometry());
    }
    if (OnClosed) OnClosed();
  };
}

std::vector<QRect> MainWindow::ScreenAreas() {
  std::vector<QRect> areas;
  const QScreen* primary = QGuiApplication::primaryScreen();
  if (primary != nullptr) areas.push_back(primary->availableGeometry());
  for (const QScreen* screen : QGuiApplication::screens()) {
    if (screen != primary) areas.push_back(screen->availableGeometry());
  }
  return areas;
}

void MainWindow::LoadAndShow(const std::vector<QRect>& screens) {
  form_.Form_Load();
  if (const std::optional<WindowGeometry> saved = LoadWindowGeometry()) {
    const WindowGeometry fit = FitOnScreens(*saved, screens, window_->minimumSize());
    form_.Form().Move(fit.left, fit.top, fit.width, fit.height);
  }
  form_.Form().Show();
}

void MainWindow::FollowDevices(std::unique_ptr<platform::DeviceEventSource> source) {
  monitor_ = std::make_unique<platform::HotplugMonitor>(std::move(source));
  monitor_->OnArrival = [this](const std::string& name) { form_.OnSerialDeviceArrival(name); };
  monitor_->OnRemoval = [this](const std::string& name) { form_.OnSerialDeviceRemoval(name); };
}

void MainWindow::FollowHidDevices(std::unique_ptr<platform::DeviceEventSource> source) {
  hid_monitor_ = std::make_unique<platform::HotplugMonitor>(std::move(source), platform::HidPortNames());
  hid_monitor_->OnArrival = [this](const std::string& name) { form_.OnHidDeviceArrival(name); };
  hid_monitor_->OnRemoval = [this](const std::string& name) { form_.OnHidDeviceRemoval(name); };
}

void MainWindow::ShowSkinPages(SkinForm& skin) {
  PlaceSkinPages(skin);
  skin.OnOwnerChanged = [this, &skin] {
    if (skin.Owner() == &form_.picBack) {
      PlaceSkinPages(skin);
    } else if (skin.Owner() != nullptr) {
      ui_qt::EmbedForm(skin, *skin.Owner());
    } else {
      ui_qt::ReleaseForm(skin);
    }
  };
}

void MainWindow::PlaceSkinPages(SkinForm& skin) {
  QWidget* pages = ui_qt::EmbedForm(skin, *skin_area_->viewport());
  if (pages != nullptr && skin_area_->widget() != pages) {
    // The pages belong to their form: the area must not delete the last ones when it takes new ones.
    skin_area_->takeWidget();
    laid_out_size_ = QSize(skin.Width(), skin.Height());
    skin_area_->setWidget(pages);
  }
  FitSkinPages();
  SetTabOrder();
}

void MainWindow::FitSkinPages() {
  skin_area_->setGeometry(skin_area_->parentWidget()->rect());
  SkinForm* skin = form_.SkinObject();
  if (skin == nullptr || skin->Owner() != &form_.picBack) return;
  const QSize room = skin_area_->maximumViewportSize();
  int width = std::max(laid_out_size_.width(), room.width());
  const int height = std::max(laid_out_size_.height(), room.height());
  // A vertical scroll bar takes its width from the room.
  if (height > room.height()) {
    const int bar = skin_area_->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr,
                                                     skin_area_->verticalScrollBar());
    width = std::max(laid_out_size_.width(), room.width() - bar);
  }
  skin->Move(0, 0, width, height);
  if (platform::TabControl* tabs = skin->SSTab()) tabs->Move(tabs->Left(), tabs->Top(), width, height);
  // Placing the tab control left a margin around it; the pages are exactly as big as the tab control.
  if (QWidget* pages = ui_qt::WidgetOf(*skin)) {
    pages->setMinimumSize(width, height);
    pages->resize(width, height);
  }
}

void MainWindow::SetTabOrder() {
  // Top to bottom as the person reads the window: the port row, the workflow buttons, the alias, the
  // skin's pages, the log, and Exit last.
  std::vector<platform::Control*> order = {&form_.cboPort,      &form_.cmdAutoScan,  &form_.chkTestMode,
                                           &form_.chkCacheMode, &form_.cmdRead,      &form_.cmdWrite,
                                           &form_.cmdDefault,   &form_.cmdOpen,      &form_.cmdSave,
                                           &form_.cmdSaveHex,   &form_.cboAliasName, &form_.cmdAliasName};
  if (SkinForm* skin = form_.SkinObject()) {
    for (platform::Control* control : skin->Descendants()) {
      switch (control->Kind()) {
        case platform::ControlKind::kTabControl:
        case platform::ControlKind::kTextBox:
        case platform::ControlKind::kComboBox:
        case platform::ControlKind::kCheckBox:
        case platform::ControlKind::kButton:
          order.push_back(control);
          break;
        default:
          break;
      }
    }
  }
  order.push_back(&form_.txtView);
  order.push_back(&form_.cmdExit);
  QWidget* previous = nullptr;
  for (const platform::Control* control : order) {
    QWidget* widget = ui_qt::WidgetOf(*control);
    if (widget == nullptr) continue;
    if (previous != nullptr) QWidget::setTabOrder(previous, widget);
    previous = widget;
  }
}

void MainWindow::FollowWindowSize() {
  const int grown_x = std::max(0, window_->width() - design_size_.width());
  const int grown_y = std::max(0, window_->height() - design_size_.height());
  const QSize minimum = window_->minimumSize();
  for (const Stretch& stretch : stretches_) {
    const QRect& at = stretch.design;
    stretch.control->Move(at.left() + (stretch.keep_right ? grown_x : 0), at.top(),
                          at.width() + (stretch.wider ? grown_x : 0),
                          at.height() + (stretch.taller ? grown_y : 0));
  }
  // Placing a control makes its window at least big enough to show it; here the window leads, and it
  // must be able to shrink back.
  window_->setMinimumSize(minimum);
  FitSkinPages();
}

WindowGeometry MainWindow::CurrentGeometry() const {
  return WindowGeometry{window_->x(), window_->y(), window_->width(), window_->height()};
}

}  // namespace msrcfg_window
