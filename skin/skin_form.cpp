#include "skin/skin_form.h"

#include <algorithm>
#include <map>

namespace {

std::string TextOf(const char* text) {
  return text != nullptr ? text : std::string();
}

void Note(std::vector<std::string>* problems, const std::string& text) {
  if (problems != nullptr) problems->push_back(text);
}

// Controls created for one tab or one frame, in description order, and where the next row goes.
struct Column {
  platform::Control* parent = nullptr;
  std::vector<platform::Control*> rows;  // the main control of each auto-placed row
  std::map<platform::Control*, platform::Control*> labels;
};

platform::Control* CreateControl(platform::Control& parent, const std::string& kind, const std::string& name,
                                 const std::string& caption) {
  if (kind == "TextBox") return &parent.Add<platform::TextBox>(name);
  if (kind == "ComboBox") return &parent.Add<platform::ComboBox>(name);
  if (kind == "CheckBox") return &parent.Add<platform::CheckBox>(name, caption);
  if (kind == "Label") return &parent.Add<platform::Label>(name, caption);
  if (kind == "Frame") return &parent.Add<platform::Frame>(name, caption);
  return nullptr;
}

// Lays out the rows of `column` from `top`; returns the bottom of the last row. Frames hold their own
// column and grow to fit it.
int LayOut(Column& column, int top, std::map<platform::Control*, Column>& frames) {
  using L = SkinLayout;
  int y = top;
  for (platform::Control* control : column.rows) {
    if (control->Kind() == platform::ControlKind::kFrame) {
      Column& inner = frames[control];
      const int bottom = LayOut(inner, L::kFrameCaption, frames);
      const int width = L::kLabelWidth + L::kControlWidth + 3 * L::kMargin;
      control->Move(L::kMargin, y, width, bottom + L::kMargin);
      y += bottom + 2 * L::kMargin;
      continue;
    }
    const auto label = column.labels.find(control);
    if (label != column.labels.end()) {
      label->second->Move(L::kMargin, y + 3, L::kLabelWidth, L::kControlHeight);
      control->Move(L::kMargin + L::kLabelWidth + L::kMargin, y, L::kControlWidth, L::kControlHeight);
    } else {
      control->Move(L::kMargin, y, L::kLabelWidth + L::kMargin + L::kControlWidth, L::kControlHeight);
    }
    y += L::kRowHeight;
  }
  return y;
}

}  // namespace

platform::TabControl* SkinForm::SSTab() {
  for (platform::Control* control : Descendants()) {
    if (control->Kind() == platform::ControlKind::kTabControl)
      return static_cast<platform::TabControl*>(control);
  }
  return nullptr;
}

std::unique_ptr<SkinForm> BuildSkinForm(const MsrSkinForm& description, std::vector<std::string>* problems) {
  using L = SkinLayout;
  auto form = std::make_unique<SkinForm>(TextOf(description.name), TextOf(description.caption));
  std::string tab_name = TextOf(description.tab_control_name);
  if (tab_name.empty()) tab_name = "SSTab1";
  platform::TabControl& tabs = form->Add<platform::TabControl>(tab_name);
  const int tab_count = description.tab_captions != nullptr ? std::max(description.tab_count, 0) : 0;
  tabs.SetTabs(std::max(tab_count, 1));
  for (int i = 0; i < tab_count; ++i) tabs.SetTabCaption(i, TextOf(description.tab_captions[i]));

  std::vector<Column> pages(static_cast<size_t>(tabs.Tabs()));
  for (Column& page : pages) page.parent = &tabs;
  std::map<platform::Control*, Column> frames;
  std::vector<std::string> names;

  const int count = description.controls != nullptr ? std::max(description.control_count, 0) : 0;
  for (int i = 0; i < count; ++i) {
    const MsrSkinControl& item = description.controls[i];
    const std::string kind = TextOf(item.kind);
    const std::string name = TextOf(item.name);
    const std::string caption = TextOf(item.caption);
    if (name.empty() || std::find(names.begin(), names.end(), name) != names.end()) {
      Note(problems, "control " + std::to_string(i) + ": missing or repeated name \"" + name + "\"");
      continue;
    }
    if (item.tab < 0 || item.tab >= tabs.Tabs()) {
      Note(problems, name + ": no tab " + std::to_string(item.tab));
      continue;
    }
    Column* column = &pages[static_cast<size_t>(item.tab)];
    if (item.frame != nullptr && *item.frame != '\0') {
      platform::Control* frame = form->Find(item.frame);
      if (frame == nullptr || frame->Kind() != platform::ControlKind::kFrame ||
          frame->TabPage() != item.tab) {
        Note(problems, name + ": no frame \"" + TextOf(item.frame) + "\" on tab " + std::to_string(item.tab));
        continue;
      }
      column = &frames[frame];
      column->parent = frame;
    }
    platform::Control* control = CreateControl(*column->parent, kind, name, caption);
    if (control == nullptr) {
      Note(problems, name + ": unknown kind \"" + kind + "\"");
      continue;
    }
    names.push_back(name);
    control->SetTag(TextOf(item.tag));
    if (column->parent == &tabs) control->SetTabPage(item.tab);
    const platform::ControlKind made = control->Kind();
    if (made == platform::ControlKind::kComboBox && item.items != nullptr) {
      auto& combo = static_cast<platform::ComboBox&>(*control);
      for (int k = 0; k < item.item_count; ++k) combo.AddItem(TextOf(item.items[k].text), item.items[k].data);
    }
    platform::Control* label = nullptr;
    if ((made == platform::ControlKind::kTextBox || made == platform::ControlKind::kComboBox) &&
        !caption.empty()) {
      label = &column->parent->Add<platform::Label>("lbl" + name, caption);
      if (column->parent == &tabs) label->SetTabPage(item.tab);
    }
    if (item.width > 0 && item.height > 0) {
      control->Move(item.left, item.top, item.width, item.height);
      if (label != nullptr)
        label->Move(item.left - L::kLabelWidth - L::kMargin, item.top + 3, L::kLabelWidth, L::kControlHeight);
    } else {
      column->rows.push_back(control);
      if (label != nullptr) column->labels[control] = label;
    }
  }

  // Pages share the tab control, so it is as large as the largest page.
  int width = L::kLabelWidth + L::kControlWidth + 5 * L::kMargin;
  int height = 0;
  for (Column& page : pages) height = std::max(height, LayOut(page, L::kMargin, frames));
  for (const auto& control : tabs.Children()) {
    width = std::max(width, control->Left() + control->Width() + L::kMargin);
    height = std::max(height, control->Top() + control->Height());
  }
  tabs.Move(0, 0, width, L::kTabHeader + height + L::kMargin);
  form->Move(0, 0, tabs.Width(), tabs.Height());
  return form;
}
