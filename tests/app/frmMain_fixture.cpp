#include "tests/app/frmMain_fixture.h"

#include <filesystem>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/ui_services.h"
#include "sim/register_file.h"
#include "tests/support/program_folder.h"

namespace app_test {

namespace fs = std::filesystem;

using test_support::BuildDir;

ProgramFolder::ProgramFolder() {
  test_support::LayOutProgramFolder(path());
  Write("AliasName.ini", "[General]\nAliasEnable = TRUE\n");
}

void ProgramFolder::Write(const std::string& relative_path, const std::string& content) const {
  std::error_code error;
  fs::remove(fs::path(path()) / relative_path, error);
  dir_.WriteFile(relative_path, content);
}

msrsim::ReaderConfig FactoryReader(const std::string& identification, const std::string& image_model) {
  msrsim::ReaderConfig config = test_support::SimReaders::Reader(identification);
  std::string error;
  const fs::path file = fs::path(BuildDir()) / "Default" / (image_model + ".cfg");
  if (!msrsim::LoadRegisterFile(file.string(), config.registers, error)) ADD_FAILURE() << error;
  return config;
}

WindowTest::WindowTest() {
  platform::HeadlessUi().messages.clear();
  platform::HeadlessUi().message_answers.clear();
}

frmMain& WindowTest::Open(const std::string& command_line) {
  window.reset();
  window = std::make_unique<frmMain>(command_line);
  window->Form_Load();
  window->Form().Show();
  return *window;
}

int64_t WindowTest::ColourOf(const std::string& text) const {
  for (const platform::RichTextView::Run& run : window->txtView.Runs()) {
    if (run.text.find(text) != std::string::npos) return run.colour;
  }
  return -1;
}

int WindowTest::CountOf(const std::string& text) const {
  int count = 0;
  for (const platform::RichTextView::Run& run : window->txtView.Runs()) {
    if (run.text.find(text) != std::string::npos) ++count;
  }
  return count;
}

void WindowTest::DuringTransfer(std::function<void()> act) {
  // The set calls a copy of its handler, so the count lives outside it.
  auto calls = std::make_shared<int>(0);
  window->m_oRegisters.OnProgress = [progress = window->m_oRegisters.OnProgress, act, calls](double done) {
    progress(done);
    if (++*calls == 5) act();
  };
}

bool WindowTest::PumpUntil(const std::function<bool()>& done, int timeout_ms) {
  const uint32_t start = platform::GetTickCount();
  while (!done() && platform::GetTickCount() - start < static_cast<uint32_t>(timeout_ms)) {
    platform::CurrentEventLoop().WaitForEvents(5);
  }
  return done();
}

}  // namespace app_test
