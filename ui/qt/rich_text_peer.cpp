// The terminal view: coloured text appended at the end, whatever the person selected or where the caret
// is, scrolled along while the person watches the end and left alone while they read further up.

#include <QFontDatabase>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>

#include "ui/qt/peers.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

using platform::ControlProperty;

// Colours are 0xBBGGRR: red in the low byte.
QColor ColourOf(uint32_t bgr) {
  return QColor(bgr & 0xFF, (bgr >> 8) & 0xFF, (bgr >> 16) & 0xFF);
}

// The character code a key types, or 0 for keys that move or select.
int TypedCode(const QKeyEvent& event) {
  if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return 0;
  switch (event.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
      return 13;
    case Qt::Key_Backspace:
      return 8;
    case Qt::Key_Escape:
      return 27;
    default:
      break;
  }
  const QString text = event.text();
  return text.size() == 1 && text[0].unicode() >= 32 && text[0].unicode() <= 255 ? text[0].unicode() : 0;
}

class RichTextPeer final : public PeerWidget<QPlainTextEdit> {
 public:
  RichTextPeer(platform::RichTextView& view, QWidget* parent) : PeerWidget(view, parent) {
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setAttribute(Qt::WA_InputMethodEnabled, false);
    // Received data lines up in columns only in a fixed font.
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  }

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    auto* view = ModelAs<platform::RichTextView>();
    if (const int code = TypedCode(*event); view && code != 0) {
      view->UserType(code);  // offered to KeyPress, never inserted
      return;
    }
    QPlainTextEdit::keyPressEvent(event);  // moving, selecting and copying stay possible
  }

 private:
  bool Mirror(ControlProperty what) override {
    switch (what) {
      case ControlProperty::kAppended:
        ShowAppended();
        return true;
      case ControlProperty::kCleared:
        clear();
        shown_runs_ = 0;
        shown_chars_ = 0;
        after_cr_ = false;
        return true;
      case ControlProperty::kScrolledToEnd:
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
        return true;
      default:
        return false;
    }
  }

  // The control merges appends of one colour into its last run, so what is new is the rest of the run
  // shown last plus every run after it.
  void ShowAppended() {
    const auto& runs = ModelAs<platform::RichTextView>()->Runs();
    QScrollBar& bar = *verticalScrollBar();
    const bool at_end = bar.value() >= bar.maximum();
    const int scrolled_to = bar.value();
    const QTextCursor person = textCursor();
    const int anchor = person.anchor();
    const int position = person.position();

    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    for (size_t i = shown_runs_ > 0 ? shown_runs_ - 1 : 0; i < runs.size(); ++i) {
      const size_t from = i + 1 == shown_runs_ ? shown_chars_ : 0;
      if (from >= runs[i].text.size()) continue;
      QTextCharFormat format;
      format.setForeground(ColourOf(runs[i].colour));
      end.insertText(ToViewLines(runs[i].text.substr(from), after_cr_), format);
    }
    shown_runs_ = runs.size();
    shown_chars_ = runs.empty() ? 0 : runs.back().text.size();

    // A caret or selection that touched the end was carried along by the insert; put it back.
    if (textCursor().anchor() != anchor || textCursor().position() != position) {
      QTextCursor restored(document());
      restored.setPosition(anchor);
      restored.setPosition(position, QTextCursor::KeepAnchor);
      setTextCursor(restored);
    }
    bar.setValue(at_end ? bar.maximum() : scrolled_to);
  }

  size_t shown_runs_ = 0;   // runs of the control that are on screen, the last one maybe in part
  size_t shown_chars_ = 0;  // characters of that last run on screen
  bool after_cr_ = false;
};

}  // namespace

PeerBase* CreateRichTextPeer(platform::RichTextView& view, QWidget* parent) {
  return new RichTextPeer(view, parent);
}

}  // namespace ui_qt
