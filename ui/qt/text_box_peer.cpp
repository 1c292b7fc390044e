// The text box: every character the person types goes through the control (KeyPress may change or
// swallow it, Change follows), and the widget then shows the control's text and caret. The widget never
// edits on its own: an edit that slips past the keys (undo) is put back to the control's text.

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>

#include "ui/qt/peers.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

using platform::ControlProperty;

class TextBoxPeer final : public PeerWidget<QLineEdit> {
 public:
  TextBoxPeer(platform::TextBox& box, QWidget* parent) : PeerWidget(box, parent) {
    // Keys must arrive as key presses: an input method would deliver composed text past the key filter.
    setAttribute(Qt::WA_InputMethodEnabled, false);
    setAcceptDrops(false);
    connect(this, &QLineEdit::textEdited, [this] { ShowText(); });
    connect(this, &QLineEdit::selectionChanged, [this] { SelectionMoved(); });
    connect(this, &QLineEdit::cursorPositionChanged, [this] { SelectionMoved(); });
  }

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    auto* box = ModelAs<platform::TextBox>();
    if (!box) return;
    if (event->matches(QKeySequence::Paste)) {
      TypeText(QGuiApplication::clipboard()->text());
    } else if (event->matches(QKeySequence::Cut)) {
      if (hasSelectedText()) {
        copy();
        box->UserDelete();
      }
    } else if (event->key() == Qt::Key_Delete && event->modifiers() == Qt::NoModifier) {
      box->UserDelete();
    } else if (event->key() == Qt::Key_Backspace) {
      box->UserType(8);
    } else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter ||
               event->key() == Qt::Key_Escape) {
      // KeyPress sees Enter and Escape; the dialog's default and cancel buttons still get them.
      box->UserType(event->key() == Qt::Key_Escape ? platform::kKeyEscape : platform::kKeyEnter);
      event->ignore();
    } else if (IsTyping(*event)) {
      TypeText(event->text());
    } else {
      // Moving the caret, selecting and copying are the widget's own; any edit it made is undone.
      QLineEdit::keyPressEvent(event);
      if (text() != ToQt(box->Text())) ShowText();
    }
  }

  void contextMenuEvent(QContextMenuEvent* event) override {
    // A menu of our own: the standard one edits the text directly, past the control.
    const auto* box = ModelAs<platform::TextBox>();
    const bool editable = box && !box->Locked() && box->EffectivelyEnabled();
    const bool selected = hasSelectedText();
    QMenu menu;
    AddMenuAction(menu, tr("Cu&t"), editable && selected, [this] {
      copy();
      if (auto* model = ModelAs<platform::TextBox>()) model->UserDelete();
    });
    AddMenuAction(menu, tr("&Copy"), selected, [this] { copy(); });
    AddMenuAction(menu, tr("&Paste"), editable && !QGuiApplication::clipboard()->text().isEmpty(),
                  [this] { TypeText(QGuiApplication::clipboard()->text()); });
    AddMenuAction(menu, tr("Delete"), editable && selected, [this] {
      if (auto* model = ModelAs<platform::TextBox>()) model->UserDelete();
    });
    menu.addSeparator();
    AddMenuAction(menu, tr("Select All"), !text().isEmpty(), [this] { selectAll(); });
    menu.exec(event->globalPos());
  }

 private:
  bool Mirror(ControlProperty what) override {
    if (what == ControlProperty::kText) {
      ShowText();
    } else if (what == ControlProperty::kSelection) {
      if (!taking_selection_) ShowSelection();
    } else {
      return false;
    }
    return true;
  }

  // Plain characters: with Ctrl or Alt a key is a shortcut (select all, copy, a mnemonic), not typing.
  static bool IsTyping(const QKeyEvent& event) {
    if (event.text().isEmpty()) return false;
    if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
    for (QChar c : event.text()) {
      if (c.unicode() < 32 || c.unicode() == 127) return false;
    }
    return true;
  }

  // Each character is typed on its own, as a person would; one the code page cannot hold is dropped.
  void TypeText(const QString& text) {
    for (QChar c : text) {
      auto* box = ModelAs<platform::TextBox>();
      if (!box) return;  // a handler destroyed the control
      if (c.unicode() >= 32 && c.unicode() <= 255) box->UserType(c.unicode());
    }
  }

  template <typename Action>
  void AddMenuAction(QMenu& menu, const QString& text, bool enabled, Action action) {
    QAction* item = menu.addAction(text);
    item->setEnabled(enabled);
    connect(item, &QAction::triggered, this, action);
  }

  void ShowText() {
    auto* box = ModelAs<platform::TextBox>();
    if (!box) return;
    const QString shown = ToQt(box->Text());
    if (text() != shown) {
      const QSignalBlocker quiet(this);
      setText(shown);
    }
    ShowSelection();
  }

  void ShowSelection() {
    const auto* box = ModelAs<platform::TextBox>();
    const QSignalBlocker quiet(this);
    if (box->SelLength() > 0) {
      setSelection(box->SelStart(), box->SelLength());
    } else {
      setCursorPosition(box->SelStart());
    }
  }

  // The person moved the caret or selected with the mouse or the arrow keys.
  void SelectionMoved() {
    auto* box = ModelAs<platform::TextBox>();
    if (!box) return;
    const int start = hasSelectedText() ? selectionStart() : cursorPosition();
    // The control's own notification must not set the selection back: it would turn a selection made
    // leftwards around and lose the end the person is extending.
    taking_selection_ = true;
    box->SetSelection(start, hasSelectedText() ? static_cast<int>(selectedText().size()) : 0);
    taking_selection_ = false;
  }

  bool taking_selection_ = false;
};

}  // namespace

PeerBase* CreateTextBoxPeer(platform::TextBox& box, QWidget* parent) {
  return new TextBoxPeer(box, parent);
}

}  // namespace ui_qt
