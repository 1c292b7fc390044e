#pragma once
// A form shown inside another window: a skin's pages inside the main window's skin area. The form keeps
// its own controls and peers; only its window moves into the other one's widget.

#include <QWidget>

#include "platform/controls.h"

namespace ui_qt {

// Builds the widgets of `form` where they are missing and puts the form's window into `area`, at the
// form's position. Returns the form's widget (nullptr when it cannot be built).
QWidget* EmbedForm(platform::Form& form, QWidget& area);
// The same inside the widget of `owner`; nullptr when the owner has no widget.
QWidget* EmbedForm(platform::Form& form, const platform::Control& owner);

// Hides the form's window where it is; it goes with the form.
void ReleaseForm(const platform::Form& form);

}  // namespace ui_qt
