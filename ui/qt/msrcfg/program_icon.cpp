#include "ui/qt/msrcfg/program_icon.h"

#include <QFile>

#include "platform/file_system.h"
#include "platform/paths.h"

namespace msrcfg_window {

QIcon ProgramIcon() {
  const std::string path = platform::Join(platform::DataDir(), "icons/msrcfg.svg");
  // QIcon keeps a missing file's name and stays non-null: look first, so "no icon" is a null one.
  if (!platform::FileExists(path)) return QIcon();
  return QIcon(QFile::decodeName(path.c_str()));
}

}  // namespace msrcfg_window
