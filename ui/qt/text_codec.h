#pragma once
// The controls hold text one byte per character, as the reader and the register files do; on screen every
// byte is the character of the same code in Latin-1. One mapping in one place keeps key codes, selection
// offsets and texts in step: character n of the widget is byte n of the control.

#include <QString>
#include <string>

namespace ui_qt {

inline QString ToQt(const std::string& text) {
  return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::string FromQt(const QString& text) {
  return text.toLatin1().toStdString();
}

}  // namespace ui_qt

namespace ui_qt {

// Text for a view that breaks lines at "\n": "\r\n" and a lone "\r" become one line break each.
// `after_cr` carries a "\r" that ended the previous piece, so "\r" + "\n" in two pieces is one break too.
QString ToViewLines(const std::string& piece, bool& after_cr);

}  // namespace ui_qt
