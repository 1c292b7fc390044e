#pragma once
// The peer of each control kind, created inside `parent` (nullptr for a form's top-level window).

#include <QWidget>

#include "platform/controls.h"
#include "ui/qt/peer_base.h"

namespace ui_qt {

PeerBase* CreateFormPeer(platform::Form& form);
PeerBase* CreateLabelPeer(platform::Label& label, QWidget* parent);
PeerBase* CreateButtonPeer(platform::Button& button, QWidget* parent);
PeerBase* CreateFramePeer(platform::Frame& frame, QWidget* parent);
PeerBase* CreateContainerPeer(platform::Container& container, QWidget* parent);
PeerBase* CreateProgressBarPeer(platform::ProgressBar& bar, QWidget* parent);
PeerBase* CreateCheckBoxPeer(platform::CheckBox& check, QWidget* parent);
PeerBase* CreateTextBoxPeer(platform::TextBox& box, QWidget* parent);
PeerBase* CreateComboBoxPeer(platform::ComboBox& combo, QWidget* parent);
PeerBase* CreateTabControlPeer(platform::TabControl& tabs, QWidget* parent);
PeerBase* CreateRichTextPeer(platform::RichTextView& view, QWidget* parent);

}  // namespace ui_qt
