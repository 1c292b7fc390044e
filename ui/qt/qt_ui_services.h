#pragma once
// Message boxes, file dialogs and the mouse pointer of the window, for the forms' UiServices calls.

#include "platform/ui_services.h"

namespace ui_qt {

class QtUiServices final : public platform::UiServices {
 public:
  ~QtUiServices() override;

  int MousePointer() const override { return pointer_; }
  // Any code but 0 overrides every widget's pointer (11: the hourglass during a register dump); 0 gives
  // the widgets their own pointers back. Codes are not stacked: the last one set holds.
  void SetMousePointer(int code) override;
  int MessageBox(const std::string& text, int style, const std::string& title) override;
  std::string ShowOpenDialog(const std::string& filter, const std::string& title) override;
  std::string ShowSaveDialog(const std::string& filter, const std::string& title,
                             const std::string& suggested_name) override;

 private:
  int pointer_ = platform::kPointerDefault;
  bool overriding_ = false;
};

}  // namespace ui_qt
