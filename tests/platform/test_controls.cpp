#include <gtest/gtest.h>

#include "platform/controls.h"

namespace {

using namespace platform;

TEST(Controls, TypingGoesThroughTheKeyFilterThenChange) {
  TextBox box("txtValue");
  std::vector<std::string> changes;
  box.OnChange = [&] { changes.push_back(box.Text()); };
  box.OnKeyPress = [](int& key) {
    if (key >= 'a' && key <= 'z') key -= 32;  // upper-case letters
    if (key == 'X') key = 0;                  // and swallow X
  };
  box.UserTypeText("abx1");
  EXPECT_EQ(box.Text(), "AB1");
  EXPECT_EQ(changes, (std::vector<std::string>{"A", "AB", "AB1"}));

  // Typing replaces the selection; backspace removes the character before the caret.
  box.SetSelection(0, 2);
  box.UserType('7');
  EXPECT_EQ(box.Text(), "71");
  box.UserType(8);
  EXPECT_EQ(box.Text(), "1");

  // Setting the text from code raises Change too, but only when it differs.
  changes.clear();
  box.SetText("1");
  box.SetText("22");
  EXPECT_EQ(changes, std::vector<std::string>{"22"});
}

TEST(Controls, ComboAndCheckBoxRaiseClickForChangesFromCodeAndFromThePerson) {
  ComboBox combo("cboBaud");
  int clicks = 0;
  combo.OnClick = [&] { ++clicks; };
  combo.AddItem("9600", 3);
  combo.AddItem("19200", 4);
  combo.SetListIndex(1);
  EXPECT_EQ(combo.Text(), "19200");
  EXPECT_EQ(combo.ItemData(combo.ListIndex()), 4);
  combo.SetListIndex(1);  // no change, no click
  combo.UserSelect(0);
  EXPECT_EQ(clicks, 2);
  combo.Clear();  // clearing is silent and leaves nothing selected
  EXPECT_EQ(clicks, 2);
  EXPECT_EQ(combo.ListIndex(), -1);
  EXPECT_EQ(combo.Text(), "");

  CheckBox check("chkBeep");
  int check_clicks = 0;
  check.OnClick = [&] { ++check_clicks; };
  check.UserClick();
  EXPECT_EQ(check.Value(), CheckBox::kChecked);
  check.SetValue(CheckBox::kUnchecked);
  EXPECT_EQ(check_clicks, 2);
}

TEST(Controls, ADisabledContainerKeepsThePersonsInputFromItsChildren) {
  Form form("frmMain");
  auto& back = form.Add<Container>("picBack");
  auto& box = back.Add<TextBox>("txtPrefix");
  auto& button = form.Add<Button>("cmdRead", "&Read");
  int clicks = 0;
  button.OnClick = [&] { ++clicks; };
  back.SetEnabled(false);
  box.UserTypeText("abc");
  EXPECT_EQ(box.Text(), "");
  box.SetText("code");  // code still works
  EXPECT_EQ(box.Text(), "code");
  button.SetVisible(false);
  button.UserClick();
  button.SetVisible(true);
  button.UserClick();
  EXPECT_EQ(clicks, 1);
  EXPECT_EQ(form.Find("txtPrefix"), &box);
}

TEST(Controls, ADisabledTabCannotBePickedAndAChangeTellsThePreviousTab) {
  TabControl tabs("SSTab1");
  tabs.SetTabs(3);
  int previous = -1;
  tabs.OnClick = [&](int p) { previous = p; };
  tabs.SetTabEnabled(2, false);
  tabs.UserSelectTab(2);  // a disabled tab cannot be picked
  EXPECT_EQ(tabs.Tab(), 0);
  tabs.SetTab(1);
  EXPECT_EQ(previous, 0);
}

TEST(Controls, DeleteRemovesTheSelectionOrTheNextCharacterWithoutKeyPress) {
  TextBox box("txtValue");
  int key_presses = 0;
  std::vector<std::string> changes;
  box.OnKeyPress = [&](int&) { ++key_presses; };
  box.OnChange = [&] { changes.push_back(box.Text()); };
  box.SetText("abcd");
  box.SetSelection(1, 2);
  EXPECT_TRUE(box.UserDelete());
  EXPECT_EQ(box.Text(), "ad");
  EXPECT_EQ(box.SelStart(), 1);
  EXPECT_TRUE(box.UserDelete());  // no selection: the character after the caret
  EXPECT_EQ(box.Text(), "a");
  EXPECT_FALSE(box.UserDelete());  // nothing after the caret
  box.SetSelection(0, 1);
  box.SetLocked(true);
  EXPECT_FALSE(box.UserDelete());
  EXPECT_EQ(box.Text(), "a");
  EXPECT_EQ(key_presses, 0);
  EXPECT_EQ(changes, (std::vector<std::string>{"abcd", "ad", "a"}));
}

TEST(Controls, APeerHearsWhatChangedAndIsToldWhenItsControlGoes) {
  std::vector<std::string> log;
  struct RecordingPeer : ControlPeer {
    RecordingPeer(std::vector<std::string>& l, std::string n) : log(l), name(std::move(n)) {}
    void ModelChanged(ControlProperty what) override { seen.push_back(what); }
    void ControlDestroyed() override { log.push_back(name); }
    std::vector<std::string>& log;
    std::string name;
    std::vector<ControlProperty> seen;
  };
  RecordingPeer form_peer(log, "frmMain");
  RecordingPeer view_peer(log, "txtView");
  auto form = std::make_unique<Form>("frmMain");
  auto& view = form->Add<RichTextView>("txtView");
  form->AttachPeer(&form_peer);
  view.AttachPeer(&view_peer);
  // Scrolling to the end is not a focus change: a window back end must tell the two apart.
  view.ScrollToEnd();
  view.SetFocus();
  EXPECT_EQ(view_peer.seen,
            (std::vector<ControlProperty>{ControlProperty::kScrolledToEnd, ControlProperty::kFocus}));
  // The parent hears it first, so a back end can drop a whole subtree of widgets at once.
  form.reset();
  EXPECT_EQ(log, (std::vector<std::string>{"frmMain", "txtView"}));
}

}  // namespace
