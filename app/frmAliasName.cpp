#include "app/frmAliasName.h"

#include "platform/event_loop.h"

namespace {

constexpr std::array<const char*, frmAliasName::kActionCount> kActionCaptions = {"&Cancel", "&Add New",
                                                                                 "&Modify", "&Delete"};
constexpr const char* kCaptionText = "Alias name (up to 16 characters):";
constexpr const char* kDefaultCaptionText =
    "[DEFAULT] stands for no alias; it cannot be modified or deleted.";

// How long one wait for the person's answer may block before the loop looks at the form again.
constexpr int kWaitSliceMs = 50;

// Layout in pixels: caption, text box, and a row of four buttons.
constexpr int kMargin = 8;
constexpr int kButtonWidth = 80;
constexpr int kButtonHeight = 26;
constexpr int kRowWidth =
    frmAliasName::kActionCount * kButtonWidth + (frmAliasName::kActionCount - 1) * kMargin;

}  // namespace

frmAliasName::frmAliasName()
    : platform::Form("frmAliasName", "Alias Name"),
      labCaption(Add<platform::Label>("labCaption", kCaptionText)),
      txtName(Add<platform::TextBox>("txtName")),
      cmdAction{} {
  labCaption.Move(kMargin, kMargin, kRowWidth, 20);
  txtName.Move(kMargin, 32, kRowWidth, 24);
  txtName.SetMaxLength(kMaxNameLength);
  for (int i = 0; i < kActionCount; ++i) {
    // One control array: every button shares the name, the index tells them apart.
    cmdAction[i] = &Add<platform::Button>("cmdAction(" + std::to_string(i) + ")", kActionCaptions[i]);
    cmdAction[i]->Move(kMargin + i * (kButtonWidth + kMargin), 66, kButtonWidth, kButtonHeight);
    cmdAction[i]->OnClick = [this, i] { cmdAction_Click(i); };
  }
  // Enter adds the name typed: of the four actions it is the one that never overwrites or removes an
  // entry, so a hasty Enter loses nothing. Escape leaves the list as it was.
  cmdAction[kAddNew]->SetDefault(true);
  cmdAction[kCancel]->SetCancel(true);
  Move(0, 0, kRowWidth + 2 * kMargin, 66 + kButtonHeight + kMargin);
  Hide();
}

frmAliasName::Result frmAliasName::Show(const std::string& text) {
  answered_ = false;
  answer_ = kCancel;
  const bool is_default = text == kDefaultEntry;
  labCaption.SetCaption(is_default ? kDefaultCaptionText : kCaptionText);
  cmdAction[kModify]->SetEnabled(!is_default);
  cmdAction[kDelete]->SetEnabled(!is_default);
  txtName.SetText(text);
  txtName.SetSelection(0, static_cast<int>(text.size()));

  platform::Form::Show();
  txtName.SetFocus();
  if (OnShown) OnShown(*this);
  platform::EventLoop& loop = platform::CurrentEventLoop();
  while (!answered_ && Shown()) loop.WaitForEvents(kWaitSliceMs);
  if (Shown()) Hide();
  return {answered_ ? answer_ : static_cast<int>(kCancel), txtName.Text()};
}

void frmAliasName::cmdAction_Click(int index) {
  answer_ = index;
  answered_ = true;
  Hide();
}
