#include "tests/ui_qt/msrcfg_fixture.h"

#include <QCoreApplication>
#include <QPlainTextEdit>
#include <cstdlib>
#include <filesystem>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "ui/qt/text_codec.h"

namespace msrcfg_test {

namespace fs = std::filesystem;

MsrcfgWindowTest::MsrcfgWindowTest() {
  const char* build_dir = std::getenv("MSR_BUILD_DIR");
  if (build_dir == nullptr || *build_dir == '\0') {
    ADD_FAILURE() << "MSR_BUILD_DIR is not set; run the tests through CTest";
    return;
  }
  const fs::path build = build_dir;
  const fs::path here = program.path();
  std::error_code error;
  fs::create_directory(here / "Skin", error);
  for (const fs::directory_entry& entry : fs::directory_iterator(build / "Skin", error)) {
    fs::create_symlink(entry.path(), here / "Skin" / entry.path().filename(), error);
  }
  fs::copy(build / "Default", here / "Default", fs::copy_options::recursive, error);
  fs::copy_file(build / "Trakset.ini", here / "Trakset.ini", error);
  program.WriteFile("AliasName.ini", "[General]\nAliasEnable = TRUE\n");
  platform::SetCurrentEventLoop(&loop);
}

MsrcfgWindowTest::~MsrcfgWindowTest() {
  window.reset();
  form.reset();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  platform::SetCurrentEventLoop(nullptr);
}

msrcfg_window::MainWindow& MsrcfgWindowTest::Open(const std::string& command_line) {
  Close();
  form = std::make_unique<frmMain>(command_line);
  window = std::make_unique<msrcfg_window::MainWindow>(*form);
  window->LoadAndShow({QRect(0, 0, 2560, 1440)});
  return *window;
}

void MsrcfgWindowTest::Close() {
  window.reset();
  form.reset();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool MsrcfgWindowTest::PumpUntil(const std::function<bool()>& done, int timeout_ms) {
  const uint32_t start = platform::GetTickCount();
  while (!done()) {
    if (platform::GetTickCount() - start > static_cast<uint32_t>(timeout_ms)) return done();
    platform::CurrentEventLoop().WaitForEvents(5);
  }
  return true;
}

std::string MsrcfgWindowTest::ScreenLog() const {
  auto* view = form ? Widget<QPlainTextEdit>(form->txtView) : nullptr;
  return view ? ui_qt::FromQt(view->toPlainText()) : std::string();
}

}  // namespace msrcfg_test
