#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QTabWidget>
#include <QTest>
#include <memory>

#include "platform/controls.h"
#include "tests/ui_qt/qt_printers.h"
#include "ui/qt/text_codec.h"
#include "ui/qt/widget_builder.h"

namespace {

using namespace platform;
using ui_qt::WidgetOf;

// A form with one control of every kind: rows without coordinates, a container with placed children.
struct TestForm {
  std::unique_ptr<Form> form = std::make_unique<Form>("frmTest", "Reader set-up");
  Label& lab_baud = form->Add<Label>("labBaud", "&Baud rate");
  ComboBox& cbo_baud = form->Add<ComboBox>("cboBaud");
  Label& lab_prefix = form->Add<Label>("labPrefix", "Prefix");
  TextBox& txt_prefix = form->Add<TextBox>("txtPrefix");
  CheckBox& chk_cache = form->Add<CheckBox>("chkCache", "Cache");
  ProgressBar& bar = form->Add<ProgressBar>("pgbRead");
  Frame& frame = form->Add<Frame>("fraTracks", "Tracks");
  TabControl& tabs = frame.Add<TabControl>("SSTab1");
  TextBox& txt_suffix = tabs.Add<TextBox>("txtSuffix");
  Container& back = form->Add<Container>("picBack");
  Button& cmd_read = back.Add<Button>("cmdRead", "&Read");
  Label& lab_status = back.Add<Label>("labStatus", "&Status: R && W");
  RichTextView& view = form->Add<RichTextView>("txtView");

  TestForm() {
    tabs.SetTabs(2);
    tabs.SetTabCaption(0, "General");
    tabs.SetTabCaption(1, "Track 1");
    txt_suffix.SetTabPage(1);
    cmd_read.Move(10, 20, 90, 28);
    lab_status.Move(10, 60, 0, 0);
  }

  template <typename W>
  W* Widget(const Control& control) {
    return dynamic_cast<W*>(WidgetOf(control));
  }
};

void DeleteLaterNow() {
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

TEST(QtControls, WidgetsShowTheControlsAndFollowChangesFromCode) {
  TestForm t;
  t.cbo_baud.AddItem("9600", 3);
  t.cbo_baud.AddItem("19200", 4);
  QWidget* window = ui_qt::BuildWindow(*t.form);
  ASSERT_NE(window, nullptr);
  EXPECT_FALSE(window->isVisible());  // until the form is shown
  EXPECT_EQ(window->windowTitle(), "Reader set-up");

  // Without coordinates a label and the control after it share a row.
  auto* rows = qobject_cast<QFormLayout*>(window->layout());
  ASSERT_NE(rows, nullptr);
  auto* combo = t.Widget<QComboBox>(t.cbo_baud);
  ASSERT_NE(combo, nullptr);
  EXPECT_EQ(rows->labelForField(combo), WidgetOf(t.lab_baud));
  EXPECT_EQ(rows->labelForField(WidgetOf(t.txt_prefix)), WidgetOf(t.lab_prefix));
  // A label's mnemonic moves to the control beside it; without such a control it is not printed, and
  // captions are plain text ("<STX>" is no markup).
  EXPECT_EQ(t.Widget<QLabel>(t.lab_baud)->buddy(), combo);
  EXPECT_EQ(t.Widget<QLabel>(t.lab_baud)->text(), "&Baud rate");
  EXPECT_EQ(t.Widget<QLabel>(t.lab_status)->text(), "Status: R & W");
  EXPECT_EQ(t.Widget<QLabel>(t.lab_status)->textFormat(), Qt::PlainText);
  // With coordinates a control sits exactly there, and its parent makes room for it.
  auto* button = t.Widget<QPushButton>(t.cmd_read);
  ASSERT_NE(button, nullptr);
  EXPECT_EQ(button->parentWidget(), WidgetOf(t.back));
  EXPECT_EQ(button->geometry(), QRect(10, 20, 90, 28));
  EXPECT_GE(WidgetOf(t.back)->minimumHeight(), 48);
  // The tab control's children sit on their page, inside the frame.
  auto* tab_widget = t.Widget<QTabWidget>(t.tabs);
  ASSERT_NE(tab_widget, nullptr);
  EXPECT_EQ(tab_widget->count(), 2);
  EXPECT_EQ(tab_widget->tabText(1), "Track 1");
  EXPECT_TRUE(tab_widget->widget(1)->isAncestorOf(WidgetOf(t.txt_suffix)));
  EXPECT_TRUE(t.Widget<QGroupBox>(t.frame)->isAncestorOf(tab_widget));

  t.form->Show();
  EXPECT_TRUE(window->isVisible());

  // Changes made by the program show at once.
  EXPECT_EQ(combo->currentIndex(), -1);
  t.cbo_baud.SetListIndex(1);
  EXPECT_EQ(combo->currentText(), "19200");
  t.cbo_baud.AddItem("38400");
  EXPECT_EQ(combo->count(), 3);
  EXPECT_EQ(combo->currentIndex(), 1);
  t.txt_prefix.SetText("%B");
  EXPECT_EQ(t.Widget<QLineEdit>(t.txt_prefix)->text(), "%B");
  t.chk_cache.SetValue(CheckBox::kGrayed);
  EXPECT_EQ(t.Widget<QCheckBox>(t.chk_cache)->checkState(), Qt::PartiallyChecked);
  t.back.SetEnabled(false);
  EXPECT_FALSE(button->isEnabled());  // disabled with its container, as in the control model
  t.back.SetEnabled(true);
  t.tabs.SetTabVisible(1, false);
  EXPECT_FALSE(tab_widget->isTabVisible(1));
  t.chk_cache.SetVisible(false);
  EXPECT_FALSE(WidgetOf(t.chk_cache)->isVisible());
  t.cmd_read.Move(40, 5, 60, 20);
  EXPECT_EQ(button->geometry(), QRect(40, 5, 60, 20));
  // A Latin-1 byte stays one character, so offsets in the widget are offsets in the control.
  t.txt_prefix.SetText(
      "\xB0"
      "C");
  EXPECT_EQ(t.Widget<QLineEdit>(t.txt_prefix)->text(), QString::fromUtf8("\u00B0C"));
}

TEST(QtControls, TypedKeysGoThroughTheControlsKeyFilter) {
  TestForm t;
  ui_qt::BuildWindow(*t.form);
  std::vector<std::string> changes;
  t.txt_prefix.OnChange = [&] { changes.push_back(t.txt_prefix.Text()); };
  t.txt_prefix.OnKeyPress = [](int& key) {
    if (key >= 'a' && key <= 'z') key -= 32;  // upper-case letters
    if (key == 'X') key = 0;                  // and swallow X
  };
  auto* edit = t.Widget<QLineEdit>(t.txt_prefix);
  QTest::keyClicks(edit, "abx1");
  EXPECT_EQ(t.txt_prefix.Text(), "AB1");
  EXPECT_EQ(edit->text(), "AB1");  // the swallowed key shows nowhere
  EXPECT_EQ(edit->cursorPosition(), 3);
  EXPECT_EQ(changes, (std::vector<std::string>{"A", "AB", "AB1"}));

  // A selection the person makes is the control's selection: typing replaces it.
  edit->setSelection(0, 2);
  EXPECT_EQ(t.txt_prefix.SelStart(), 0);
  EXPECT_EQ(t.txt_prefix.SelLength(), 2);
  QTest::keyClick(edit, Qt::Key_7);
  EXPECT_EQ(edit->text(), "71");
  QTest::keyClick(edit, Qt::Key_Backspace);
  EXPECT_EQ(t.txt_prefix.Text(), "1");
  QTest::keyClick(edit, Qt::Key_Home);
  QTest::keyClick(edit, Qt::Key_Delete);
  EXPECT_EQ(t.txt_prefix.Text(), "");
  EXPECT_EQ(edit->text(), "");

  // Pasting types each character: the filter sees them all.
  QGuiApplication::clipboard()->setText("pqx");
  QTest::keyClick(edit, Qt::Key_V, Qt::ControlModifier);
  EXPECT_EQ(t.txt_prefix.Text(), "PQ");
  EXPECT_EQ(edit->text(), "PQ");
  // Undo would edit past the control; the widget keeps showing the control's text.
  QTest::keyClick(edit, Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(edit->text(), "PQ");
  // Enter reaches KeyPress (a form may act on it) but types nothing.
  int enter_seen = 0;
  t.txt_prefix.OnKeyPress = [&](int& key) { enter_seen += key == 13; };
  QTest::keyClick(edit, Qt::Key_Return);
  EXPECT_EQ(enter_seen, 1);
  EXPECT_EQ(edit->text(), "PQ");

  t.txt_prefix.SetLocked(true);
  QTest::keyClicks(edit, "zz");
  EXPECT_EQ(edit->text(), "PQ");
  EXPECT_EQ(changes.back(), "PQ");
}

TEST(QtControls, ThePersonsPicksReachTheControlOnce) {
  TestForm t;
  t.cbo_baud.AddItem("9600");
  t.cbo_baud.AddItem("19200");
  t.cbo_baud.SetListIndex(0);
  ui_qt::BuildWindow(*t.form);
  int combo_clicks = 0;
  t.cbo_baud.OnClick = [&] { ++combo_clicks; };
  auto* combo = t.Widget<QComboBox>(t.cbo_baud);
  QTest::keyClick(combo, Qt::Key_Down);
  EXPECT_EQ(t.cbo_baud.ListIndex(), 1);
  EXPECT_EQ(combo_clicks, 1);
  // A change from code raises Click once in the control and never comes back as the person's pick.
  t.cbo_baud.SetListIndex(0);
  EXPECT_EQ(combo_clicks, 2);
  EXPECT_EQ(combo->currentIndex(), 0);

  int check_clicks = 0;
  t.chk_cache.OnClick = [&] { ++check_clicks; };
  auto* check = t.Widget<QCheckBox>(t.chk_cache);
  QTest::mouseClick(check, Qt::LeftButton, {}, check->rect().center());
  EXPECT_EQ(t.chk_cache.Value(), CheckBox::kChecked);
  EXPECT_EQ(check_clicks, 1);
  // A grayed box turns checked when clicked; the widget shows what the control decided.
  t.chk_cache.SetValue(CheckBox::kGrayed);
  QTest::mouseClick(check, Qt::LeftButton, {}, check->rect().center());
  EXPECT_EQ(t.chk_cache.Value(), CheckBox::kChecked);
  EXPECT_EQ(check->checkState(), Qt::Checked);

  int button_clicks = 0;
  t.cmd_read.OnClick = [&] { ++button_clicks; };
  auto* button = t.Widget<QPushButton>(t.cmd_read);
  QTest::mouseClick(button, Qt::LeftButton);
  QTest::keyClick(button, Qt::Key_Space);  // reachable from the keyboard
  EXPECT_EQ(button_clicks, 2);
  EXPECT_NE(button->focusPolicy() & Qt::TabFocus, 0);

  // A tab the control refuses is not kept.
  int tab_clicks = 0;
  t.tabs.OnClick = [&](int) { ++tab_clicks; };
  auto* tab_widget = t.Widget<QTabWidget>(t.tabs);
  tab_widget->setCurrentIndex(1);
  EXPECT_EQ(t.tabs.Tab(), 1);
  EXPECT_EQ(tab_clicks, 1);
  t.tabs.SetTab(0);
  t.frame.SetEnabled(false);
  t.frame.SetEnabled(true);
  t.tabs.SetVisible(false);  // a hidden tab control takes no pick
  tab_widget->setCurrentIndex(1);
  EXPECT_EQ(t.tabs.Tab(), 0);
  EXPECT_EQ(tab_widget->currentIndex(), 0);
}

TEST(QtControls, TheTerminalViewAppendsAtTheEndInColourWhateverThePersonSelected) {
  TestForm t;
  t.view.Append("<STX>", 0xFF0000);
  ui_qt::BuildWindow(*t.form);
  t.form->Show();
  auto* edit = t.Widget<QPlainTextEdit>(t.view);
  ASSERT_NE(edit, nullptr);
  EXPECT_TRUE(edit->isReadOnly());

  // The person selects the start of the text; output still goes to the end and the selection stays.
  QTextCursor selection(edit->document());
  selection.setPosition(0);
  selection.setPosition(3, QTextCursor::KeepAnchor);
  edit->setTextCursor(selection);
  t.view.Append("AB", 0);
  t.view.Append("C", 0);  // merged into the run shown last: only "C" is new
  t.view.Append("<ETX>", 0xFF0000);
  t.view.Append("\r\n", 0);
  t.view.Append("Read NG!", 255);
  EXPECT_EQ(edit->toPlainText(), "<STX>ABC<ETX>\nRead NG!");
  EXPECT_EQ(edit->textCursor().selectedText(), "<ST");

  // Colours are blue-green-red values: 0xFF0000 is blue, 255 red.
  auto colour_at = [&](int position) {
    QTextCursor c(edit->document());
    c.setPosition(position + 1);  // the format of the character before the cursor
    return c.charFormat().foreground().color();
  };
  EXPECT_EQ(colour_at(0), QColor(0, 0, 255));
  EXPECT_EQ(colour_at(5), QColor(0, 0, 0));
  EXPECT_EQ(colour_at(8), QColor(0, 0, 255));
  EXPECT_EQ(colour_at(14), QColor(255, 0, 0));

  // A selection that reaches the end is not stretched over the output either.
  selection.setPosition(14);
  selection.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
  edit->setTextCursor(selection);
  t.view.Append(" again", 0);
  EXPECT_EQ(edit->textCursor().selectedText(), "Read NG!");
  // Cleared, the view holds only what comes after.
  t.view.Clear();
  t.view.Append("<STX>ABC<ETX>\r\nRead NG!", 0);

  // Keys typed into the view are offered to KeyPress and discarded.
  std::vector<int> keys;
  t.view.OnKeyPress = [&](int& key) { keys.push_back(key); };
  QTest::keyClicks(edit, "q");
  QTest::keyClick(edit, Qt::Key_Return);
  EXPECT_EQ(keys, (std::vector<int>{'q', 13}));
  EXPECT_EQ(edit->toPlainText(), "<STX>ABC<ETX>\nRead NG!");

  // While the person watches the end, the view follows the output; scrolled up, it stays put.
  edit->resize(300, 80);
  for (int i = 0; i < 50; ++i) t.view.Append("line\r\n", 0);
  QScrollBar* bar = edit->verticalScrollBar();
  ASSERT_GT(bar->maximum(), 0);
  EXPECT_EQ(bar->value(), bar->maximum());
  bar->setValue(0);
  for (int i = 0; i < 10; ++i) t.view.Append("more\r\n", 0);
  EXPECT_EQ(bar->value(), 0);
  t.view.ScrollToEnd();
  EXPECT_EQ(bar->value(), bar->maximum());
}

TEST(QtControls, LineBreaksOfTheViewSurviveBeingSplitBetweenAppends) {
  bool after_cr = false;
  EXPECT_EQ(ui_qt::ToViewLines("a\r\nb\rc\nd", after_cr), "a\nb\nc\nd");
  EXPECT_EQ(ui_qt::ToViewLines("e\r", after_cr), "e\n");
  EXPECT_EQ(ui_qt::ToViewLines("\nf", after_cr), "f");
  EXPECT_EQ(ui_qt::ToViewLines("\n", after_cr), "\n");
}

TEST(QtControls, ClosingAsksTheFormAndTheWindowGoesWithTheForm) {
  TestForm t;
  bool busy = true;
  int unloads = 0;
  t.form->OnUnload = [&](bool& cancel) {
    ++unloads;
    cancel = busy;
  };
  QPointer<QWidget> window = ui_qt::BuildWindow(*t.form);
  t.form->Show();
  EXPECT_FALSE(window->close());
  EXPECT_TRUE(window->isVisible());
  EXPECT_TRUE(t.form->Shown());
  busy = false;
  EXPECT_TRUE(window->close());
  EXPECT_FALSE(window->isVisible());
  EXPECT_FALSE(t.form->Shown());
  EXPECT_EQ(unloads, 2);

  // Controls added later (a skin page) get their widgets inside the widgets built before.
  auto& page = t.back.Add<TabControl>("SSTabSkin");
  page.SetTabs(1);
  auto& value = page.Add<TextBox>("txtBeep");
  value.SetTag("Item:Beep");
  QWidget* page_widget = ui_qt::BuildWidgets(page);
  ASSERT_NE(page_widget, nullptr);
  EXPECT_EQ(page_widget->parentWidget(), WidgetOf(t.back));
  ASSERT_NE(WidgetOf(value), nullptr);
  EXPECT_TRUE(page_widget->isAncestorOf(WidgetOf(value)));
  EXPECT_EQ(ui_qt::BuildWidgets(page), page_widget);  // built once

  QPointer<QWidget> edit = WidgetOf(t.txt_prefix);
  t.form.reset();
  DeleteLaterNow();
  EXPECT_TRUE(window.isNull());
  EXPECT_TRUE(edit.isNull());
}

TEST(QtControls, FocusMovesReachTheControls) {
  TestForm t;
  QWidget* window = ui_qt::BuildWindow(*t.form);
  t.form->Show();
  window->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(window));
  int lost = 0;
  int got = 0;
  t.txt_prefix.OnLostFocus = [&] { ++lost; };
  t.cbo_baud.OnGotFocus = [&] { ++got; };
  t.txt_prefix.SetFocus();
  EXPECT_TRUE(WidgetOf(t.txt_prefix)->hasFocus());
  // The person moves on: the control left raises LostFocus, the one entered GotFocus.
  WidgetOf(t.cbo_baud)->setFocus(Qt::TabFocusReason);
  EXPECT_EQ(lost, 1);
  EXPECT_FALSE(t.txt_prefix.HasFocus());
  EXPECT_TRUE(t.cbo_baud.HasFocus());
  EXPECT_EQ(got, 1);
}

}  // namespace
