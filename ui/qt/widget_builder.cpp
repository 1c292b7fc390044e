#include "ui/qt/widget_builder.h"

#include "ui/qt/peers.h"

namespace ui_qt {

namespace {

using platform::ControlKind;

PeerBase* CreatePeer(platform::Control& control, QWidget* area) {
  switch (control.Kind()) {
    case ControlKind::kForm:
      return CreateFormPeer(static_cast<platform::Form&>(control));
    case ControlKind::kButton:
      return CreateButtonPeer(static_cast<platform::Button&>(control), area);
    case ControlKind::kLabel:
      return CreateLabelPeer(static_cast<platform::Label&>(control), area);
    case ControlKind::kTextBox:
      return CreateTextBoxPeer(static_cast<platform::TextBox&>(control), area);
    case ControlKind::kComboBox:
      return CreateComboBoxPeer(static_cast<platform::ComboBox&>(control), area);
    case ControlKind::kCheckBox:
      return CreateCheckBoxPeer(static_cast<platform::CheckBox&>(control), area);
    case ControlKind::kTabControl:
      return CreateTabControlPeer(static_cast<platform::TabControl&>(control), area);
    case ControlKind::kContainer:
      return CreateContainerPeer(static_cast<platform::Container&>(control), area);
    case ControlKind::kFrame:
      return CreateFramePeer(static_cast<platform::Frame&>(control), area);
    case ControlKind::kProgressBar:
      return CreateProgressBarPeer(static_cast<platform::ProgressBar&>(control), area);
    case ControlKind::kRichText:
      return CreateRichTextPeer(static_cast<platform::RichTextView&>(control), area);
  }
  return nullptr;
}

// Parents first, so that each control finds its place among the rows of its parent in creation order.
void BuildTree(platform::Control& control, QWidget* area) {
  PeerBase* peer = PeerOf(control);
  if (!peer) {
    peer = CreatePeer(control, area);
    if (!peer) return;
    peer->MirrorAll();
  }
  for (const auto& child : control.Children()) BuildTree(*child, &peer->ChildArea(*child));
}

}  // namespace

QWidget* BuildWindow(platform::Form& form) {
  BuildTree(form, nullptr);
  return WidgetOf(form);
}

QWidget* BuildWidgets(platform::Control& control) {
  if (control.Kind() == ControlKind::kForm) return BuildWindow(static_cast<platform::Form&>(control));
  PeerBase* parent = control.Parent() ? PeerOf(*control.Parent()) : nullptr;
  if (!parent) return nullptr;
  BuildTree(control, &parent->ChildArea(control));
  return WidgetOf(control);
}

QWidget* WidgetOf(const platform::Control& control) {
  PeerBase* peer = PeerOf(control);
  return peer ? &peer->Widget() : nullptr;
}

}  // namespace ui_qt
