#include "ui/qt/text_codec.h"

namespace ui_qt {

QString ToViewLines(const std::string& piece, bool& after_cr) {
  QString lines;
  lines.reserve(static_cast<qsizetype>(piece.size()));
  for (const char c : piece) {
    if (c == '\n' && after_cr) {
      after_cr = false;  // the break was made at the "\r"
      continue;
    }
    after_cr = c == '\r';
    lines += after_cr ? QChar(u'\n') : QChar(static_cast<char16_t>(static_cast<unsigned char>(c)));
  }
  return lines;
}

}  // namespace ui_qt
