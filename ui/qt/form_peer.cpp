// The top-level window of a form. Closing it asks the form (its Unload handler may refuse, say while a
// transfer runs); the window shows while the form is shown.

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>

#include "ui/qt/peers.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

using platform::ControlProperty;

class FormPeer final : public PeerWidget<QWidget> {
 public:
  explicit FormPeer(platform::Form& form) : PeerWidget(form, nullptr) {}

 protected:
  // Enter and Escape that no control took reach the form: its default or cancel button answers them.
  void keyPressEvent(QKeyEvent* event) override {
    auto* form = ModelAs<platform::Form>();
    int key = 0;
    if (event->key() == Qt::Key_Escape) key = platform::kKeyEscape;
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) key = platform::kKeyEnter;
    if (form && key != 0 && event->modifiers() == Qt::NoModifier && form->UserPressKey(key)) return;
    QWidget::keyPressEvent(event);
  }

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
          if (!isVisible()) ShowAsDialogIfModal(*form);
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

  // A window of the program that is on screen, when none has the focus (a desktop without a window manager).
  QWidget* SomeOtherWindow() const {
    for (QWidget* window : QApplication::topLevelWidgets()) {
      if (window != this && window->isVisible() && dynamic_cast<PeerBase*>(window) != nullptr) return window;
    }
    return nullptr;
  }

  // A modal form is a dialog of the window the person is working in: it stays above that window, opens
  // over its middle, and the window takes no input until the dialog is answered.
  void ShowAsDialogIfModal(const platform::Form& form) {
    const Qt::WindowModality wanted = form.Modal() ? Qt::ApplicationModal : Qt::NonModal;
    if (windowModality() != wanted) setWindowModality(wanted);
    if (!form.Modal()) return;
    QWidget* owner = QApplication::activeWindow();
    if (owner == nullptr || owner == this) owner = parentWidget();
    if (owner == nullptr) owner = SomeOtherWindow();
    if (owner && owner != parentWidget()) setParent(owner, Qt::Dialog);
    if (owner && form.Left() == 0 && form.Top() == 0) {
      const QSize size = (form.Width() > 0 && form.Height() > 0) ? this->size() : sizeHint();
      move(owner->geometry().center() - QPoint(size.width() / 2, size.height() / 2));
    }
  }
};

}  // namespace

PeerBase* CreateFormPeer(platform::Form& form) {
  return new FormPeer(form);
}

}  // namespace ui_qt
