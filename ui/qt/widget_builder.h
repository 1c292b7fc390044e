#pragma once
// Builds the widgets of a form, or of controls added to a form later (skin pages placed into the skin
// area at run time). Each control gets its peer; from then on the control's changes show on screen and the
// person's actions reach the control. The widgets belong to the controls: destroying a control deletes
// its widgets, and a top-level window goes with its form.

#include <QWidget>

#include "platform/controls.h"

namespace ui_qt {

// Builds the window of `form` and the widgets of all its controls. It shows when the form is shown.
QWidget* BuildWindow(platform::Form& form);

// Builds the widgets of `control` and everything below it, inside the widgets of its parent, which must
// have been built. Controls that have widgets already are left as they are. nullptr when the parent has
// no widget.
QWidget* BuildWidgets(platform::Control& control);

// The widget of a control, or nullptr when none was built.
QWidget* WidgetOf(const platform::Control& control);

}  // namespace ui_qt
