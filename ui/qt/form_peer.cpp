// The top-level window of a form. Closing it asks the form (its Unload handler may refuse, say while a
// transfer runs); the window shows while the form is shown.

#include <QCloseEvent>

#include "ui/qt/peers.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

using platform::ControlProperty;

class FormPeer final : public PeerWidget<QWidget> {
 public:
  explicit FormPeer(platform::Form& form) : PeerWidget(form, nullptr) {}

 protected:
  void closeEvent(QCloseEvent* event) override {
    auto* form = ModelAs<platform::Form>();
    if (form && form->Shown() && !form->RequestClose()) {
      event->ignore();
      return;
    }
    event->accept();
  }

 private:
  bool Mirror(ControlProperty what) override {
    const auto* form = ModelAs<platform::Form>();
    switch (what) {
      case ControlProperty::kCaption:
        setWindowTitle(ToQt(form->Caption()));
        return true;
      case ControlProperty::kGeometry:
        if (form->Width() > 0 && form->Height() > 0) resize(form->Width(), form->Height());
        if (form->Left() != 0 || form->Top() != 0) move(form->Left(), form->Top());
        return true;
      case ControlProperty::kVisible:
        if (form->Shown() && form->Visible()) {
          // A form without a size of its own gets the size its controls need.
          if (!isVisible() && (form->Width() <= 0 || form->Height() <= 0)) adjustSize();
          show();
        } else {
          hide();
        }
        return true;
      default:
        return false;
    }
  }
};

}  // namespace

PeerBase* CreateFormPeer(platform::Form& form) {
  return new FormPeer(form);
}

}  // namespace ui_qt
