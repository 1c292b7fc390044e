#include "ui/qt/dialog_mapping.h"

#include <QRegularExpression>
#include <QStringList>
#include <utility>

#include "platform/ui_services.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

using Button = QMessageBox::StandardButton;

// Indexed by style & 7, the classic button sets.
const std::vector<Button> kButtonSets[] = {
    {QMessageBox::Ok},
    {QMessageBox::Ok, QMessageBox::Cancel},
    {QMessageBox::Abort, QMessageBox::Retry, QMessageBox::Ignore},
    {QMessageBox::Yes, QMessageBox::No, QMessageBox::Cancel},
    {QMessageBox::Yes, QMessageBox::No},
    {QMessageBox::Retry, QMessageBox::Cancel},
};

const std::pair<Button, int> kAnswers[] = {
    {QMessageBox::Ok, platform::kMbResultOk},
    {QMessageBox::Cancel, platform::kMbResultCancel},
    {QMessageBox::Abort, 3},
    {QMessageBox::Retry, 4},
    {QMessageBox::Ignore, 5},
    {QMessageBox::Yes, platform::kMbResultYes},
    {QMessageBox::No, platform::kMbResultNo},
};

const std::pair<int, Qt::CursorShape> kPointers[] = {
    {1, Qt::ArrowCursor},      {2, Qt::CrossCursor},    {3, Qt::IBeamCursor},      {5, Qt::SizeAllCursor},
    {6, Qt::SizeBDiagCursor},  {7, Qt::SizeVerCursor},  {8, Qt::SizeFDiagCursor},  {9, Qt::SizeHorCursor},
    {10, Qt::UpArrowCursor},   {11, Qt::WaitCursor},    {12, Qt::ForbiddenCursor}, {13, Qt::BusyCursor},
    {14, Qt::WhatsThisCursor}, {15, Qt::SizeAllCursor},
};

}  // namespace

MessageBoxLook LookOfStyle(int style) {
  MessageBoxLook look;
  const int set = style & 7;
  look.buttons = set < static_cast<int>(std::size(kButtonSets)) ? kButtonSets[set] : kButtonSets[0];
  switch (style & 0x70) {
    case platform::kMbCritical:
      look.icon = QMessageBox::Critical;
      break;
    case platform::kMbQuestion:
      look.icon = QMessageBox::Question;
      break;
    case platform::kMbExclamation:
      look.icon = QMessageBox::Warning;
      break;
    case platform::kMbInformation:
      look.icon = QMessageBox::Information;
      break;
    default:
      break;
  }
  const size_t default_index = static_cast<size_t>((style >> 8) & 3);
  look.default_button = look.buttons[default_index < look.buttons.size() ? default_index : 0];
  return look;
}

int AnswerCode(QMessageBox::StandardButton button) {
  for (const auto& [qt_button, code] : kAnswers) {
    if (qt_button == button) return code;
  }
  return platform::kMbResultCancel;  // closed some other way
}

QString ToQtFilter(const std::string& filter) {
  const QStringList parts = ToQt(filter).split(QLatin1Char('|'));
  static const QRegularExpression kTrailingPatterns(QStringLiteral("\\s*\\([^()]*\\)\\s*$"));
  QStringList entries;
  for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
    QString description = parts[i];
    description.remove(kTrailingPatterns);
    const QString patterns = parts[i + 1].split(QLatin1Char(';'), Qt::SkipEmptyParts).join(QLatin1Char(' '));
    entries << QStringLiteral("%1 (%2)").arg(description.trimmed(), patterns.trimmed());
  }
  return entries.join(QStringLiteral(";;"));
}

QString DefaultSuffixOf(const QString& qt_filter) {
  static const QRegularExpression kFirstExtension(QStringLiteral("\\(\\*\\.([A-Za-z0-9_]+)"));
  const QRegularExpressionMatch match = kFirstExtension.match(qt_filter);
  return match.hasMatch() ? match.captured(1) : QString();
}

std::optional<Qt::CursorShape> CursorOfPointer(int code) {
  for (const auto& [pointer, shape] : kPointers) {
    if (pointer == code) return shape;
  }
  return std::nullopt;
}

}  // namespace ui_qt
