#pragma once
// How the forms' classic message-box styles, file filters and pointer codes look in Qt. Pure functions,
// so the mapping is tested without opening a modal dialog.

#include <QMessageBox>
#include <QString>
#include <optional>
#include <string>
#include <vector>

namespace ui_qt {

struct MessageBoxLook {
  QMessageBox::Icon icon = QMessageBox::NoIcon;
  std::vector<QMessageBox::StandardButton> buttons;  // left to right
  QMessageBox::StandardButton default_button = QMessageBox::NoButton;
};

// Buttons (style & 7), icon (style & 0x70) and default button (style & 0x300) of a message-box style.
MessageBoxLook LookOfStyle(int style);
// The classic answer code of the button the person pressed (OK 1, Cancel 2, ..., Yes 6, No 7).
int AnswerCode(QMessageBox::StandardButton button);

// "CFG File (*.cfg)|*.cfg|All Files (*.*)|*.*" becomes "CFG File (*.cfg);;All Files (*.*)". The patterns
// after each bar are what counts; Qt reads them from the parentheses, so those are rewritten from them.
QString ToQtFilter(const std::string& filter);
// The extension a saved file gets when the person types none: "cfg" for the pattern "*.cfg".
QString DefaultSuffixOf(const QString& qt_filter);

// The pointer shape of a classic mouse-pointer code; nullopt for 0 (the widgets' own pointers) and for
// codes without a shape of their own (icon, custom).
std::optional<Qt::CursorShape> CursorOfPointer(int code);

}  // namespace ui_qt
