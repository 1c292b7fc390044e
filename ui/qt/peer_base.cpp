#include "ui/qt/peer_base.h"

#include "ui/qt/placement.h"

namespace ui_qt {

using platform::ControlProperty;

PeerBase::PeerBase(platform::Control& control, QWidget& widget) : control_(&control), widget_(widget) {
  control.AttachPeer(this);
}

PeerBase::~PeerBase() {
  if (control_ && control_->Peer() == this) control_->AttachPeer(nullptr);
}

PeerBase* PeerOf(const platform::Control& control) {
  return dynamic_cast<PeerBase*>(control.Peer());
}

QWidget& PeerBase::ChildArea(const platform::Control&) {
  return widget_;
}

void PeerBase::MirrorAll() {
  // Lists before selections and ranges before values: a selection refers to the items already shown.
  for (ControlProperty what : {ControlProperty::kCaption, ControlProperty::kItems, ControlProperty::kTabs,
                               ControlProperty::kRange, ControlProperty::kText, ControlProperty::kSelection,
                               ControlProperty::kValue, ControlProperty::kAppended, ControlProperty::kEnabled,
                               ControlProperty::kGeometry, ControlProperty::kVisible}) {
    ModelChanged(what);
  }
}

void PeerBase::ModelChanged(ControlProperty what) {
  if (!control_ || Mirror(what)) return;
  switch (what) {
    case ControlProperty::kEnabled:
      widget_.setEnabled(control_->Enabled());
      break;
    case ControlProperty::kVisible:
      widget_.setVisible(control_->Visible());
      break;
    case ControlProperty::kGeometry:
      Place();
      break;
    case ControlProperty::kFocus:
      if (control_->HasFocus()) widget_.setFocus(Qt::OtherFocusReason);
      break;
    case ControlProperty::kZOrder:
      widget_.raise();
      break;
    default:
      break;
  }
}

void PeerBase::ControlDestroyed() {
  control_ = nullptr;
  widget_.hide();
  // Not at once: the control may be going away inside a handler of this very widget (a click that
  // replaces the skin), and Qt is still using the widget further up the stack.
  widget_.deleteLater();
}

void PeerBase::FocusChanged(const QFocusEvent& event, bool gained) {
  // Switching to another window or opening a drop-down list does not move the focus between controls.
  if (!control_ || event.reason() == Qt::ActiveWindowFocusReason || event.reason() == Qt::PopupFocusReason) {
    return;
  }
  if (gained) {
    control_->UserEnter();
  } else {
    control_->UserLeave();
  }
}

void PeerBase::Place() {
  if (HasPlacement(*control_)) {
    PlaceAbsolute(widget_, *control_);
  } else {
    PlaceInRows(widget_, control_->Kind());
  }
}

}  // namespace ui_qt
