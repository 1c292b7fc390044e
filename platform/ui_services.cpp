#include "platform/ui_services.h"

namespace platform {
namespace {
UiServices* g_current_ui = nullptr;
}  // namespace

int HeadlessUiServices::MessageBox(const std::string& text, int style, const std::string& title) {
  messages.push_back({text, style, title});
  if (message_answers.empty()) return (style & 7) == kMbYesNo ? kMbResultYes : kMbResultOk;
  const int answer = message_answers.front();
  message_answers.pop_front();
  return answer;
}

std::string HeadlessUiServices::ShowOpenDialog(const std::string& filter, const std::string&) {
  dialog_filters.push_back(filter);
  if (dialog_answers.empty()) return {};
  std::string answer = dialog_answers.front();
  dialog_answers.pop_front();
  return answer;
}

std::string HeadlessUiServices::ShowSaveDialog(const std::string& filter, const std::string& title,
                                               const std::string&) {
  return ShowOpenDialog(filter, title);
}

HeadlessUiServices& HeadlessUi() {
  static HeadlessUiServices services;
  return services;
}

UiServices& CurrentUi() { return g_current_ui ? *g_current_ui : HeadlessUi(); }

void SetCurrentUi(UiServices* services) { g_current_ui = services; }

}  // namespace platform
