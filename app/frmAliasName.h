#pragma once
// The small dialog that edits one entry of the alias list: a caption, the name, and four buttons.
//
// Show is modal. It shows the form and runs the current event loop until a button is pressed or the form
// is closed (closing counts as Cancel), so it never blocks a headless program: a test presses a button
// from a timer or from OnShown. A window back end shows the form as a modal window when its peer hears
// that the form became visible, and its buttons set the result through UserClick like any other.

#include <array>
#include <functional>
#include <string>

#include "platform/controls.h"

class frmAliasName : public platform::Form {
 public:
  // The buttons of the control array cmdAction, by index.
  enum Action : int { kCancel = 0, kAddNew = 1, kModify = 2, kDelete = 3 };
  static constexpr int kActionCount = 4;
  // The reader keeps an alias in 16 bytes; the text box takes no more.
  static constexpr int kMaxNameLength = 16;
  // The entry every model section keeps, which names no alias and so cannot be changed or removed.
  static constexpr const char* kDefaultEntry = "[DEFAULT]";

  struct Result {
    int button = kCancel;
    std::string text;
  };

  frmAliasName();

  // Shows `text` in txtName, waits for the answer and hides the form again. Opened on the default entry,
  // Modify and Delete are disabled and the caption says why.
  Result Show(const std::string& text);
  using platform::Form::Show;

  // Called once the form is shown and before the wait begins: a scripted answer for tests.
  std::function<void(frmAliasName&)> OnShown;

  platform::Label& labCaption;
  platform::TextBox& txtName;
  std::array<platform::Button*, kActionCount> cmdAction;

 private:
  void cmdAction_Click(int index);

  bool answered_ = false;
  int answer_ = kCancel;
};
