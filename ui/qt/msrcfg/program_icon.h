#pragma once
// The program's icon: icons/msrcfg.svg of the data folder, the file the desktop entry names too, so the
// window looks like its menu entry. Qt draws it through its SVG icon engine (Debian package libqt6svg6);
// where that is missing the icon stays empty and the window manager shows its own.

#include <QIcon>

namespace msrcfg_window {

// The icon file of the data folder (worked out now); a null icon when the file is missing.
QIcon ProgramIcon();

}  // namespace msrcfg_window
