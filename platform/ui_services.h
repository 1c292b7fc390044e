#pragma once
// Services of the desktop that the forms use besides their controls: message boxes, file dialogs and the
// mouse pointer. The window's back end installs its own; until then a headless one answers, which records
// what a person would have seen and gives the answers a test prepared.

#include <deque>
#include <string>
#include <vector>

namespace platform {

// Mouse pointer codes, as the forms use them.
enum MousePointerCode : int { kPointerDefault = 0, kPointerHourglass = 11 };

// Message box buttons and icons, combined as in the classic message box style value.
enum MessageBoxStyle : int {
  kMbOkOnly = 0,
  kMbOkCancel = 1,
  kMbYesNo = 4,
  kMbCritical = 16,
  kMbQuestion = 32,
  kMbExclamation = 48,
  kMbInformation = 64,
};
// What the user answered.
enum MessageBoxResult : int { kMbResultOk = 1, kMbResultCancel = 2, kMbResultYes = 6, kMbResultNo = 7 };

class UiServices {
 public:
  virtual ~UiServices() = default;

  virtual int MousePointer() const = 0;
  virtual void SetMousePointer(int code) = 0;

  // Shows a modal message and returns the answer.
  virtual int MessageBox(const std::string& text, int style, const std::string& title) = 0;

  // `filter` is "Description (*.ext)|*.ext[|...]". Returns the chosen path, or "" when cancelled.
  virtual std::string ShowOpenDialog(const std::string& filter, const std::string& title) = 0;
  virtual std::string ShowSaveDialog(const std::string& filter, const std::string& title,
                                     const std::string& suggested_name) = 0;
};

// The headless services: they keep the pointer, record every message box and dialog, and answer from
// queues a test fills (an empty queue answers OK / cancel).
class HeadlessUiServices final : public UiServices {
 public:
  struct ShownMessage {
    std::string text;
    int style = 0;
    std::string title;
  };

  int MousePointer() const override { return pointer_; }
  void SetMousePointer(int code) override {
    pointer_ = code;
    pointer_history.push_back(code);
  }
  int MessageBox(const std::string& text, int style, const std::string& title) override;
  std::string ShowOpenDialog(const std::string& filter, const std::string& title) override;
  std::string ShowSaveDialog(const std::string& filter, const std::string& title,
                             const std::string& suggested_name) override;

  std::vector<ShownMessage> messages;
  std::vector<int> pointer_history;
  std::vector<std::string> dialog_filters;
  std::deque<int> message_answers;
  std::deque<std::string> dialog_answers;

 private:
  int pointer_ = kPointerDefault;
};

// The services in use; the headless ones until a back end installs others (not owned; nullptr restores).
UiServices& CurrentUi();
void SetCurrentUi(UiServices* services);
HeadlessUiServices& HeadlessUi();

}  // namespace platform
