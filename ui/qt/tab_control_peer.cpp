// The tabbed page set: one page per tab of the control, each child on the page its TabPage names. The
// person's tab change goes to the control, which may refuse it (a disabled tab or control).

#include <QTabWidget>
#include <algorithm>
#include <vector>

#include "ui/qt/peers.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

using platform::ControlProperty;

class TabControlPeer final : public PeerWidget<QTabWidget> {
 public:
  TabControlPeer(platform::TabControl& tabs, QWidget* parent) : PeerWidget(tabs, parent) {
    connect(this, &QTabWidget::currentChanged, [this](int index) {
      auto* model = ModelAs<platform::TabControl>();
      if (!model || index < 0) return;
      model->UserSelectTab(index);
      if (ModelAs<platform::TabControl>() && model->Tab() != currentIndex()) ShowSelection();
    });
  }

  QWidget& ChildArea(const platform::Control& child) override {
    const int tabs = ModelAs<platform::TabControl>()->Tabs();
    // A child without a page, or with one beyond the last tab, goes on the first page.
    const int page = child.TabPage() >= 0 && child.TabPage() < tabs ? child.TabPage() : 0;
    return PageAt(page);
  }

 private:
  bool Mirror(ControlProperty what) override {
    if (what == ControlProperty::kTabs) {
      ShowTabs();
      ShowSelection();
    } else if (what == ControlProperty::kSelection) {
      ShowSelection();
    } else {
      return false;
    }
    return true;
  }

  // Pages outlive their tabs: a tab count that shrinks and grows again must not take children with it.
  QWidget& PageAt(int index) {
    while (static_cast<int>(pages_.size()) <= index) {
      pages_.push_back(new QWidget(this));
      pages_.back()->hide();  // until it becomes a tab; shown now it would cover the tab bar
    }
    return *pages_[static_cast<size_t>(index)];
  }

  void ShowTabs() {
    const auto* model = ModelAs<platform::TabControl>();
    const QSignalBlocker quiet(this);
    while (count() > model->Tabs()) removeTab(count() - 1);
    while (count() < model->Tabs()) addTab(&PageAt(count()), QString());
    for (int i = 0; i < count(); ++i) {
      setTabText(i, ToQt(model->TabCaption(i)));
      setTabEnabled(i, model->TabEnabled(i));
      setTabVisible(i, model->TabVisible(i));
    }
    for (size_t i = static_cast<size_t>(count()); i < pages_.size(); ++i) pages_[i]->hide();
  }

  void ShowSelection() {
    const QSignalBlocker quiet(this);
    setCurrentIndex(ModelAs<platform::TabControl>()->Tab());
  }

  std::vector<QWidget*> pages_;  // children of this widget
};

}  // namespace

PeerBase* CreateTabControlPeer(platform::TabControl& tabs, QWidget* parent) {
  return new TabControlPeer(tabs, parent);
}

}  // namespace ui_qt
