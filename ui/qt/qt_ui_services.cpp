#include "ui/qt/qt_ui_services.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

#include "ui/qt/dialog_mapping.h"
#include "ui/qt/text_codec.h"

namespace ui_qt {

namespace {

// An empty title shows the program's name, as the classic message box did.
QString TitleOrAppName(const std::string& title) {
  return title.empty() ? QGuiApplication::applicationDisplayName() : ToQt(title);
}

// Runs a file dialog and returns the chosen path in the file system's encoding, or "" when cancelled.
std::string RunFileDialog(QFileDialog& dialog) {
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return {};
  return QFile::encodeName(dialog.selectedFiles().constFirst()).toStdString();
}

}  // namespace

QtUiServices::~QtUiServices() {
  if (overriding_) QGuiApplication::restoreOverrideCursor();
}

void QtUiServices::SetMousePointer(int code) {
  pointer_ = code;
  const std::optional<Qt::CursorShape> shape = CursorOfPointer(code);
  if (!shape) {
    if (overriding_) QGuiApplication::restoreOverrideCursor();
    overriding_ = false;
  } else if (overriding_) {
    QGuiApplication::changeOverrideCursor(QCursor(*shape));
  } else {
    QGuiApplication::setOverrideCursor(QCursor(*shape));
    overriding_ = true;
  }
}

int QtUiServices::MessageBox(const std::string& text, int style, const std::string& title) {
  const MessageBoxLook look = LookOfStyle(style);
  QMessageBox box(look.icon, TitleOrAppName(title), ToQt(text), QMessageBox::NoButton,
                  QApplication::activeWindow());
  for (QMessageBox::StandardButton button : look.buttons) box.addButton(button);
  box.setDefaultButton(look.default_button);
  // A hourglass set for a long operation must not hide the arrow the person needs to answer.
  if (overriding_) QGuiApplication::setOverrideCursor(QCursor(Qt::ArrowCursor));
  box.exec();
  if (overriding_) QGuiApplication::restoreOverrideCursor();
  return AnswerCode(box.standardButton(box.clickedButton()));
}

std::string QtUiServices::ShowOpenDialog(const std::string& filter, const std::string& title) {
  QFileDialog dialog(QApplication::activeWindow(), TitleOrAppName(title), QString(), ToQtFilter(filter));
  dialog.setAcceptMode(QFileDialog::AcceptOpen);
  dialog.setFileMode(QFileDialog::ExistingFile);
  return RunFileDialog(dialog);
}

std::string QtUiServices::ShowSaveDialog(const std::string& filter, const std::string& title,
                                         const std::string& suggested_name) {
  QFileDialog dialog(QApplication::activeWindow(), TitleOrAppName(title), QString(), ToQtFilter(filter));
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setFileMode(QFileDialog::AnyFile);
  if (!suggested_name.empty()) dialog.selectFile(QFile::decodeName(suggested_name.c_str()));
  // A name typed without an extension gets the one of the chosen filter, as in the classic dialog.
  dialog.setDefaultSuffix(DefaultSuffixOf(dialog.selectedNameFilter()));
  QObject::connect(&dialog, &QFileDialog::filterSelected,
                   [&dialog](const QString& chosen) { dialog.setDefaultSuffix(DefaultSuffixOf(chosen)); });
  return RunFileDialog(dialog);
}

}  // namespace ui_qt
