#pragma once
// Where a control's widget goes inside its parent. A control with coordinates sits exactly there; skins
// may give none, and those controls are laid out in rows instead: a label and the control after it share
// a row, bigger controls (frames, tab controls, the terminal view) take a row of their own.

#include <QWidget>

#include "platform/controls.h"

namespace ui_qt {

// True when the control has a position or a size of its own.
bool HasPlacement(const platform::Control& control);

// Puts `widget` at the control's coordinates in its parent; a zero width or height takes the widget's
// preferred one. The parent grows to show it.
void PlaceAbsolute(QWidget& widget, const platform::Control& control);

// Appends `widget` to its parent's rows, unless it is there already.
void PlaceInRows(QWidget& widget, platform::ControlKind kind);

}  // namespace ui_qt
