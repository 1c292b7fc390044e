#include "platform/controls.h"

#include <algorithm>

namespace platform {

const char* TypeNameOf(ControlKind kind) {
  switch (kind) {
    case ControlKind::kForm: return "Form";
    case ControlKind::kButton: return "CommandButton";
    case ControlKind::kLabel: return "Label";
    case ControlKind::kTextBox: return "TextBox";
    case ControlKind::kComboBox: return "ComboBox";
    case ControlKind::kCheckBox: return "CheckBox";
    case ControlKind::kTabControl: return "SSTab";
    case ControlKind::kContainer: return "PictureBox";
    case ControlKind::kFrame: return "Frame";
    case ControlKind::kProgressBar: return "ProgressBar";
    case ControlKind::kRichText: return "RichTextBox";
  }
  return "";
}

// ---- Control ----

Control::Control(ControlKind kind, std::string name) : kind_(kind), name_(std::move(name)) {}

Control::~Control() {
  // Before the children go, so a window back end can drop the whole widget subtree at once.
  if (peer_) peer_->ControlDestroyed();
}

void Control::Notify(ControlProperty what) {
  if (peer_) peer_->ModelChanged(what);
}

void Control::SetEnabled(bool enabled) {
  if (enabled_ == enabled) return;
  enabled_ = enabled;
  Notify(ControlProperty::kEnabled);
}

void Control::SetVisible(bool visible) {
  if (visible_ == visible) return;
  visible_ = visible;
  Notify(ControlProperty::kVisible);
}

bool Control::EffectivelyEnabled() const {
  for (const Control* c = this; c; c = c->parent_) {
    if (!c->enabled_ || !c->visible_) return false;
  }
  return true;
}

void Control::Move(int left, int top, int width, int height) {
  left_ = left;
  top_ = top;
  width_ = width;
  height_ = height;
  Notify(ControlProperty::kGeometry);
}

void Control::ZOrder() {
  if (parent_) {
    // The last child is drawn last, in front of its siblings.
    auto& siblings = parent_->children_;
    auto it = std::find_if(siblings.begin(), siblings.end(), [this](const auto& c) { return c.get() == this; });
    if (it != siblings.end()) std::rotate(it, it + 1, siblings.end());
  }
  Notify(ControlProperty::kZOrder);
}

void Control::SetFocus() {
  UserEnter();
  Notify(ControlProperty::kFocus);
}

void Control::UserEnter() {
  if (has_focus_) return;
  has_focus_ = true;
  if (OnGotFocus) OnGotFocus();
}

void Control::UserLeave() {
  if (!has_focus_) return;
  has_focus_ = false;
  if (OnLostFocus) OnLostFocus();
}

void Control::Adopt(std::unique_ptr<Control> child) {
  child->parent_ = this;
  children_.push_back(std::move(child));
}

std::vector<Control*> Control::Descendants() {
  std::vector<Control*> all{this};
  for (size_t i = 0; i < all.size(); ++i) {
    // Depth first: insert each control's children right after it.
    std::vector<Control*> kids;
    for (const auto& c : all[i]->children_) kids.push_back(c.get());
    all.insert(all.begin() + static_cast<std::ptrdiff_t>(i) + 1, kids.begin(), kids.end());
  }
  return all;
}

Control* Control::Find(const std::string& name) {
  for (Control* c : Descendants()) {
    if (c->name_ == name) return c;
  }
  return nullptr;
}

// ---- Label, Button, Frame ----

Label::Label(std::string name, std::string caption)
    : Control(ControlKind::kLabel, std::move(name)), caption_(std::move(caption)) {}

void Label::SetCaption(std::string caption) {
  caption_ = std::move(caption);
  Notify(ControlProperty::kCaption);
}

Button::Button(std::string name, std::string caption)
    : Control(ControlKind::kButton, std::move(name)), caption_(std::move(caption)) {}

void Button::SetCaption(std::string caption) {
  caption_ = std::move(caption);
  Notify(ControlProperty::kCaption);
}

void Button::UserClick() {
  if (EffectivelyEnabled() && OnClick) OnClick();
}

Frame::Frame(std::string name, std::string caption)
    : Control(ControlKind::kFrame, std::move(name)), caption_(std::move(caption)) {}

void Frame::SetCaption(std::string caption) {
  caption_ = std::move(caption);
  Notify(ControlProperty::kCaption);
}

Container::Container(std::string name) : Control(ControlKind::kContainer, std::move(name)) {}

// ---- TextBox ----

TextBox::TextBox(std::string name) : Control(ControlKind::kTextBox, std::move(name)) {}

void TextBox::SetText(std::string text) {
  if (text == text_) return;
  text_ = std::move(text);
  sel_start_ = std::min<int>(sel_start_, static_cast<int>(text_.size()));
  sel_length_ = 0;
  Notify(ControlProperty::kText);
  if (OnChange) OnChange();
}

void TextBox::SetSelection(int start, int length) {
  const int size = static_cast<int>(text_.size());
  sel_start_ = std::clamp(start, 0, size);
  sel_length_ = std::clamp(length, 0, size - sel_start_);
  Notify(ControlProperty::kSelection);
}

bool TextBox::UserType(int key_ascii) {
  if (!EffectivelyEnabled()) return false;
  if (OnKeyPress) OnKeyPress(key_ascii);
  if (key_ascii == 0 || locked_) return false;
  std::string next = text_;
  int caret = sel_start_;
  if (key_ascii == 8) {  // backspace: the selection, or the character before the caret
    if (sel_length_ > 0) {
      next.erase(static_cast<size_t>(sel_start_), static_cast<size_t>(sel_length_));
    } else if (caret > 0) {
      next.erase(static_cast<size_t>(--caret), 1);
    }
  } else if (key_ascii >= 32 && key_ascii <= 255) {
    next.replace(static_cast<size_t>(sel_start_), static_cast<size_t>(sel_length_), 1,
                 static_cast<char>(static_cast<unsigned char>(key_ascii)));
    ++caret;
    if (max_length_ > 0 && static_cast<int>(next.size()) > max_length_) return false;
  } else {
    return false;  // other control keys do not edit
  }
  sel_start_ = caret;
  sel_length_ = 0;
  if (next != text_) {
    text_ = std::move(next);
    Notify(ControlProperty::kText);
    if (OnChange) OnChange();
  }
  sel_start_ = std::min<int>(caret, static_cast<int>(text_.size()));
  Notify(ControlProperty::kSelection);
  return true;
}

bool TextBox::UserDelete() {
  if (!EffectivelyEnabled() || locked_) return false;
  const int size = static_cast<int>(text_.size());
  const int count = sel_length_ > 0 ? sel_length_ : (sel_start_ < size ? 1 : 0);
  if (count == 0) return false;
  text_.erase(static_cast<size_t>(sel_start_), static_cast<size_t>(count));
  sel_length_ = 0;
  Notify(ControlProperty::kText);
  if (OnChange) OnChange();
  Notify(ControlProperty::kSelection);
  return true;
}

void TextBox::UserTypeText(const std::string& text) {
  for (unsigned char c : text) UserType(c);
}

// ---- ComboBox ----

ComboBox::ComboBox(std::string name) : Control(ControlKind::kComboBox, std::move(name)) {}

void ComboBox::AddItem(std::string text, int32_t item_data) {
  items_.push_back({std::move(text), item_data});
  Notify(ControlProperty::kItems);
}

void ComboBox::RemoveItem(int index) {
  if (index < 0 || index >= ListCount()) return;
  items_.erase(items_.begin() + index);
  if (list_index_ == index) {
    list_index_ = -1;
  } else if (list_index_ > index) {
    --list_index_;
  }
  Notify(ControlProperty::kItems);
}

void ComboBox::Clear() {
  items_.clear();
  list_index_ = -1;
  Notify(ControlProperty::kItems);
}

std::string ComboBox::List(int index) const {
  return index >= 0 && index < ListCount() ? items_[static_cast<size_t>(index)].text : std::string();
}

int32_t ComboBox::ItemData(int index) const {
  return index >= 0 && index < ListCount() ? items_[static_cast<size_t>(index)].data : 0;
}

void ComboBox::SetItemData(int index, int32_t data) {
  if (index >= 0 && index < ListCount()) items_[static_cast<size_t>(index)].data = data;
}

void ComboBox::SetListIndex(int index) {
  if (index < -1 || index >= ListCount()) return;
  if (index == list_index_) return;
  list_index_ = index;
  Notify(ControlProperty::kSelection);
  if (index >= 0 && OnClick) OnClick();
}

void ComboBox::UserSelect(int index) {
  if (EffectivelyEnabled()) SetListIndex(index);
}

// ---- CheckBox ----

CheckBox::CheckBox(std::string name, std::string caption)
    : Control(ControlKind::kCheckBox, std::move(name)), caption_(std::move(caption)) {}

void CheckBox::SetCaption(std::string caption) {
  caption_ = std::move(caption);
  Notify(ControlProperty::kCaption);
}

void CheckBox::SetValue(int value) {
  if (value == value_ || value < kUnchecked || value > kGrayed) return;
  value_ = value;
  Notify(ControlProperty::kValue);
  if (OnClick) OnClick();
}

void CheckBox::UserClick() {
  if (EffectivelyEnabled()) SetValue(value_ == kChecked ? kUnchecked : kChecked);
}

// ---- TabControl ----

TabControl::TabControl(std::string name) : Control(ControlKind::kTabControl, std::move(name)) {}

void TabControl::SetTabs(int count) {
  tabs_.resize(static_cast<size_t>(std::max(count, 0)));
  if (tab_ >= Tabs()) tab_ = std::max(Tabs() - 1, 0);
  Notify(ControlProperty::kTabs);
}

std::string TabControl::TabCaption(int index) const {
  return index >= 0 && index < Tabs() ? tabs_[static_cast<size_t>(index)].caption : std::string();
}

void TabControl::SetTabCaption(int index, std::string caption) {
  if (index < 0 || index >= Tabs()) return;
  tabs_[static_cast<size_t>(index)].caption = std::move(caption);
  Notify(ControlProperty::kTabs);
}

bool TabControl::TabEnabled(int index) const {
  return index >= 0 && index < Tabs() && tabs_[static_cast<size_t>(index)].enabled;
}

void TabControl::SetTabEnabled(int index, bool enabled) {
  if (index < 0 || index >= Tabs()) return;
  tabs_[static_cast<size_t>(index)].enabled = enabled;
  Notify(ControlProperty::kTabs);
}

bool TabControl::TabVisible(int index) const {
  return index >= 0 && index < Tabs() && tabs_[static_cast<size_t>(index)].visible;
}

void TabControl::SetTabVisible(int index, bool visible) {
  if (index < 0 || index >= Tabs()) return;
  tabs_[static_cast<size_t>(index)].visible = visible;
  Notify(ControlProperty::kTabs);
}

void TabControl::SetTab(int index) {
  if (index < 0 || index >= Tabs() || index == tab_) return;
  const int previous = tab_;
  tab_ = index;
  Notify(ControlProperty::kSelection);
  if (OnClick) OnClick(previous);
}

void TabControl::UserSelectTab(int index) {
  if (EffectivelyEnabled() && TabEnabled(index) && TabVisible(index)) SetTab(index);
}

// ---- ProgressBar ----

ProgressBar::ProgressBar(std::string name) : Control(ControlKind::kProgressBar, std::move(name)) {}

void ProgressBar::SetRange(int min, int max) {
  min_ = min;
  max_ = std::max(min, max);
  value_ = std::clamp(value_, min_, max_);
  Notify(ControlProperty::kRange);
}

void ProgressBar::SetValue(int value) {
  value_ = std::clamp(value, min_, max_);
  Notify(ControlProperty::kValue);
}

// ---- RichTextView ----

RichTextView::RichTextView(std::string name) : Control(ControlKind::kRichText, std::move(name)) {}

void RichTextView::Append(const std::string& text, uint32_t colour) {
  if (text.empty()) return;
  if (!runs_.empty() && runs_.back().colour == colour) {
    runs_.back().text += text;
  } else {
    runs_.push_back({text, colour});
  }
  Notify(ControlProperty::kAppended);
}

void RichTextView::Clear() {
  runs_.clear();
  Notify(ControlProperty::kCleared);
}

std::string RichTextView::Text() const {
  std::string all;
  for (const auto& run : runs_) all += run.text;
  return all;
}

void RichTextView::UserType(int key_ascii) {
  if (OnKeyPress) OnKeyPress(key_ascii);
}

// ---- Form ----

Form::Form(std::string name, std::string caption)
    : Control(ControlKind::kForm, std::move(name)), caption_(std::move(caption)) {}

void Form::SetCaption(std::string caption) {
  caption_ = std::move(caption);
  Notify(ControlProperty::kCaption);
}

void Form::Show() {
  shown_ = true;
  SetVisible(true);
  Notify(ControlProperty::kVisible);
}

void Form::Hide() {
  shown_ = false;
  SetVisible(false);
}

bool Form::UserPressKey(int key_ascii) {
  if (key_ascii != kKeyEnter && key_ascii != kKeyEscape) return false;
  for (const auto& child : Children()) {
    if (child->Kind() != ControlKind::kButton) continue;
    auto& button = static_cast<Button&>(*child);
    if (key_ascii == kKeyEnter ? button.IsDefault() : button.IsCancel()) {
      button.UserClick();
      return true;
    }
  }
  return false;
}

bool Form::RequestClose() {
  bool cancel = false;
  if (OnUnload) OnUnload(cancel);
  if (cancel) return false;
  Hide();
  return true;
}

}  // namespace platform
