#pragma once
// Lets GoogleTest print Qt strings as text when a comparison fails.
#include <QString>
#include <ostream>

inline void PrintTo(const QString& text, std::ostream* out) {
  *out << '"' << text.toStdString() << '"';
}
