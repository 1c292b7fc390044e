#pragma once
// What every peer shares. A peer is the widget of one control: it mirrors the control's state on screen
// and hands the person's actions to the control's `User...` members; the behaviour stays in the control.
// The peer lives exactly as long as its widget. The control may go first (a skin page replaced at run
// time): the peer then lets go of it and the widget is deleted when the loop next runs.

#include <QFocusEvent>
#include <QWidget>

#include "platform/controls.h"

namespace ui_qt {

class PeerBase : public platform::ControlPeer {
 public:
  PeerBase(platform::Control& control, QWidget& widget);
  ~PeerBase() override;
  PeerBase(const PeerBase&) = delete;
  PeerBase& operator=(const PeerBase&) = delete;

  QWidget& Widget() const { return widget_; }
  // The control, or nullptr once it was destroyed.
  platform::Control* Model() const { return control_; }
  // Where the widgets of `child` go: this widget, or the page of a tab control.
  virtual QWidget& ChildArea(const platform::Control& child);
  // Brings every property on screen; called once the widget exists in its parent.
  void MirrorAll();

  void ModelChanged(platform::ControlProperty what) final;
  void ControlDestroyed() final;

 protected:
  template <typename T>
  T* ModelAs() const {
    return static_cast<T*>(control_);
  }
  // The kind's own mirroring; true when `what` is done, false to leave it to the shared handling.
  virtual bool Mirror(platform::ControlProperty what) = 0;
  // Focus moves that the person made inside the window reach the control's GotFocus and LostFocus.
  void FocusChanged(const QFocusEvent& event, bool gained);

 private:
  void Place();

  platform::Control* control_;
  QWidget& widget_;
};

// A Qt widget that is its control's peer; `QtWidget` is the widget class that shows the kind.
template <typename QtWidget>
class PeerWidget : public QtWidget, public PeerBase {
 public:
  PeerWidget(platform::Control& control, QWidget* parent) : QtWidget(parent), PeerBase(control, *this) {}

 protected:
  void focusInEvent(QFocusEvent* event) override {
    QtWidget::focusInEvent(event);
    FocusChanged(*event, true);
  }
  void focusOutEvent(QFocusEvent* event) override {
    QtWidget::focusOutEvent(event);
    FocusChanged(*event, false);
  }
};

// The peer of a control, or nullptr when it has none from this back end.
PeerBase* PeerOf(const platform::Control& control);

}  // namespace ui_qt
