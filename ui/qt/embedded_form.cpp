#include "ui/qt/embedded_form.h"

#include "ui/qt/peers.h"
#include "ui/qt/widget_builder.h"

namespace ui_qt {

QWidget* EmbedForm(platform::Form& form, QWidget& area) {
  PeerBase* peer = PeerOf(form);
  if (peer == nullptr) {
    peer = CreateFormPeer(form);
    if (peer == nullptr) return nullptr;
    // Into the area before it shows anything: the form never flashes up as a window of its own.
    peer->Widget().setParent(&area, Qt::Widget);
    peer->MirrorAll();
  } else if (peer->Widget().parentWidget() != &area) {
    // Reparenting hides the widget and drops its frame; place and visibility come from the form again.
    peer->Widget().setParent(&area, Qt::Widget);
    peer->MirrorAll();
  }
  for (const auto& child : form.Children()) BuildWidgets(*child);
  return &peer->Widget();
}

QWidget* EmbedForm(platform::Form& form, const platform::Control& owner) {
  QWidget* area = WidgetOf(owner);
  return area != nullptr ? EmbedForm(form, *area) : nullptr;
}

void ReleaseForm(const platform::Form& form) {
  if (QWidget* window = WidgetOf(form)) window->hide();
}

}  // namespace ui_qt
