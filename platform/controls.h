#pragma once
// The controls of the forms (frmMain, the alias dialog, skin pages), written once for every back end.
//
// A control object holds its state (text, items, enabled, ...) and raises its events; the forms and the
// register model only ever talk to these objects. A window back end (Qt) attaches a peer to each control:
// the peer mirrors the state on screen and feeds what the person does back through the `User...` members,
// which behave exactly as a person's action would (key filter first, then the change). Without a peer a
// control is headless: the console mode and the tests run the same forms that way, and a test types, clicks
// and selects through the same `User...` members.
//
// As in the classic control set the forms were designed for, setting a value from code raises the same
// event as the person's action would (TextBox Change, ComboBox Click, CheckBox Click); handlers that must
// not react to their own updates guard with a flag.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {

enum class ControlKind { kForm, kButton, kLabel, kTextBox, kComboBox, kCheckBox, kTabControl, kContainer,
                         kFrame, kProgressBar, kRichText };

// The type name by which forms and skins tell kinds apart: "TextBox", "ComboBox", "CheckBox", "SSTab", ...
const char* TypeNameOf(ControlKind kind);

// What changed, so that a peer updates only that.
enum class ControlProperty { kEnabled, kVisible, kGeometry, kCaption, kText, kSelection, kItems, kValue,
                             kTabs, kAppended, kCleared, kFocus, kZOrder, kRange, kScrolledToEnd };

// Key codes as KeyPress and UserPressKey carry them.
constexpr int kKeyEnter = 13;
constexpr int kKeyEscape = 27;

class Control;

// The on-screen side of a control. Its calls come after the state has changed.
class ControlPeer {
 public:
  virtual ~ControlPeer() = default;
  virtual void ModelChanged(ControlProperty what) = 0;
  // The control is being destroyed (a skin page replaced at run time): the peer must let go of it.
  virtual void ControlDestroyed() {}
};

class Control {
 public:
  Control(ControlKind kind, std::string name);
  virtual ~Control();
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  ControlKind Kind() const { return kind_; }
  const char* TypeName() const { return TypeNameOf(kind_); }
  const std::string& Name() const { return name_; }

  bool Enabled() const { return enabled_; }
  void SetEnabled(bool enabled);
  bool Visible() const { return visible_; }
  void SetVisible(bool visible);
  // Enabled, and so are all its parents: only then does it take the person's input.
  bool EffectivelyEnabled() const;
  int Left() const { return left_; }
  int Top() const { return top_; }
  int Width() const { return width_; }
  int Height() const { return height_; }
  void Move(int left, int top, int width, int height);
  void Move(int left, int top) { Move(left, top, width_, height_); }
  const std::string& Tag() const { return tag_; }
  void SetTag(std::string tag) { tag_ = std::move(tag); }
  // The tab of the parent's tab control that shows this control; -1 when the parent has none.
  int TabPage() const { return tab_page_; }
  void SetTabPage(int page) { tab_page_ = page; }

  // Brings the control in front of its siblings.
  void ZOrder();
  void SetFocus();
  bool HasFocus() const { return has_focus_; }

  Control* Parent() const { return parent_; }
  // Children, in creation order (containers, frames, tab controls and forms hold them).
  const std::vector<std::unique_ptr<Control>>& Children() const { return children_; }
  // Creates a child of type T, owned by this control.
  template <typename T, typename... Args>
  T& Add(Args&&... args) {
    auto child = std::make_unique<T>(std::forward<Args>(args)...);
    T& ref = *child;
    Adopt(std::move(child));
    return ref;
  }
  // This control and every descendant, depth first.
  std::vector<Control*> Descendants();
  // The first descendant called `name`, or nullptr.
  Control* Find(const std::string& name);

  void AttachPeer(ControlPeer* peer) { peer_ = peer; }
  ControlPeer* Peer() const { return peer_; }

  // The person moved the focus away (raises LostFocus) or into the control (GotFocus).
  void UserLeave();
  void UserEnter();

  std::function<void()> OnLostFocus;
  std::function<void()> OnGotFocus;

 protected:
  void Notify(ControlProperty what);

 private:
  void Adopt(std::unique_ptr<Control> child);

  ControlKind kind_;
  std::string name_;
  bool enabled_ = true;
  bool visible_ = true;
  bool has_focus_ = false;
  int left_ = 0, top_ = 0, width_ = 0, height_ = 0;
  std::string tag_;
  int tab_page_ = -1;
  Control* parent_ = nullptr;
  std::vector<std::unique_ptr<Control>> children_;
  ControlPeer* peer_ = nullptr;
};

class Label : public Control {
 public:
  explicit Label(std::string name, std::string caption = {});
  const std::string& Caption() const { return caption_; }
  void SetCaption(std::string caption);

 private:
  std::string caption_;
};

class Button : public Control {
 public:
  explicit Button(std::string name, std::string caption = {});
  const std::string& Caption() const { return caption_; }
  void SetCaption(std::string caption);
  // The person clicked (or pressed it from the keyboard). Nothing happens while disabled or hidden.
  void UserClick();
  // Enter anywhere in the form presses its default button, Escape its cancel button.
  bool IsDefault() const { return default_; }
  void SetDefault(bool is_default) { default_ = is_default; }
  bool IsCancel() const { return cancel_; }
  void SetCancel(bool is_cancel) { cancel_ = is_cancel; }

  std::function<void()> OnClick;

 private:
  std::string caption_;
  bool default_ = false;
  bool cancel_ = false;
};

class TextBox : public Control {
 public:
  explicit TextBox(std::string name);
  const std::string& Text() const { return text_; }
  // Raises Change when the text differs.
  void SetText(std::string text);
  int SelStart() const { return sel_start_; }
  int SelLength() const { return sel_length_; }
  void SetSelection(int start, int length);
  bool Locked() const { return locked_; }
  void SetLocked(bool locked) { locked_ = locked; }
  int MaxLength() const { return max_length_; }
  void SetMaxLength(int length) { max_length_ = length; }

  // The person typed one character (code 8 is backspace): KeyPress first, which may change the code or
  // swallow it by setting 0; then the selection is replaced and Change follows. False when swallowed.
  bool UserType(int key_ascii);
  // The person pressed Delete (or cut): the selection, or the character after the caret, goes. A key
  // that types no character raises no KeyPress, only Change. False when nothing was removed.
  bool UserDelete();
  // Types every character of `text` in turn.
  void UserTypeText(const std::string& text);

  std::function<void()> OnChange;
  std::function<void(int& key_ascii)> OnKeyPress;

 private:
  std::string text_;
  int sel_start_ = 0;
  int sel_length_ = 0;
  bool locked_ = false;
  int max_length_ = 0;
};

class ComboBox : public Control {
 public:
  explicit ComboBox(std::string name);
  void AddItem(std::string text, int32_t item_data = 0);
  void RemoveItem(int index);
  // Removes every item; the selection becomes -1 (without a Click).
  void Clear();
  int ListCount() const { return static_cast<int>(items_.size()); }
  // The item's text, or "" outside the list.
  std::string List(int index) const;
  int32_t ItemData(int index) const;
  void SetItemData(int index, int32_t data);
  int ListIndex() const { return list_index_; }
  // Selects an item (-1: none) and raises Click when the selection changed to an item.
  void SetListIndex(int index);
  // The selected item's text ("" with none).
  std::string Text() const { return List(list_index_); }

  // The person picked an item.
  void UserSelect(int index);

  std::function<void()> OnClick;

 private:
  struct Item {
    std::string text;
    int32_t data = 0;
  };
  std::vector<Item> items_;
  int list_index_ = -1;
};

class CheckBox : public Control {
 public:
  enum : int { kUnchecked = 0, kChecked = 1, kGrayed = 2 };
  explicit CheckBox(std::string name, std::string caption = {});
  const std::string& Caption() const { return caption_; }
  void SetCaption(std::string caption);
  int Value() const { return value_; }
  // Raises Click when the value changed.
  void SetValue(int value);
  // The person clicked: checked becomes unchecked, anything else checked.
  void UserClick();

  std::function<void()> OnClick;

 private:
  std::string caption_;
  int value_ = kUnchecked;
};

// A tabbed page set (the skins' "SSTab"): its children sit on the tab given by their TabPage.
class TabControl : public Control {
 public:
  explicit TabControl(std::string name);
  int Tabs() const { return static_cast<int>(tabs_.size()); }
  void SetTabs(int count);
  std::string TabCaption(int index) const;
  void SetTabCaption(int index, std::string caption);
  bool TabEnabled(int index) const;
  void SetTabEnabled(int index, bool enabled);
  bool TabVisible(int index) const;
  void SetTabVisible(int index, bool visible);
  // The selected tab.
  int Tab() const { return tab_; }
  // Selects a tab and raises Click with the previous one when it changed.
  void SetTab(int index);
  void UserSelectTab(int index);

  std::function<void(int previous_tab)> OnClick;

 private:
  struct Page {
    std::string caption;
    bool enabled = true;
    bool visible = true;
  };
  std::vector<Page> tabs_;
  int tab_ = 0;
};

// A plain holder of other controls (the skin area "picBack"); disabling it disables what it holds.
class Container : public Control {
 public:
  explicit Container(std::string name);
};

// A captioned group of controls on a page.
class Frame : public Control {
 public:
  explicit Frame(std::string name, std::string caption = {});
  const std::string& Caption() const { return caption_; }
  void SetCaption(std::string caption);

 private:
  std::string caption_;
};

class ProgressBar : public Control {
 public:
  explicit ProgressBar(std::string name);
  int Min() const { return min_; }
  int Max() const { return max_; }
  int Value() const { return value_; }
  void SetRange(int min, int max);
  // Clamped to the range.
  void SetValue(int value);

 private:
  int min_ = 0;
  int max_ = 100;
  int value_ = 0;
};

// A read-only coloured text log. Colours are 0xBBGGRR values (255 red, 0xFF0000 blue, 0 black).
class RichTextView : public Control {
 public:
  struct Run {
    std::string text;
    uint32_t colour = 0;
  };
  explicit RichTextView(std::string name);
  // Appends at the end in `colour`, wherever the person's selection is.
  void Append(const std::string& text, uint32_t colour);
  void Clear();
  // The whole text.
  std::string Text() const;
  // The text as coloured runs; adjacent appends of one colour are merged.
  const std::vector<Run>& Runs() const { return runs_; }
  // Scrolls the view so the end is visible.
  void ScrollToEnd() { Notify(ControlProperty::kScrolledToEnd); }
  // The person pressed a key in the view; it is offered to KeyPress and then discarded.
  void UserType(int key_ascii);

  std::function<void(int& key_ascii)> OnKeyPress;

 private:
  std::vector<Run> runs_;
};

// A top-level window. Its children are the form's controls.
class Form : public Control {
 public:
  explicit Form(std::string name, std::string caption = {});
  const std::string& Caption() const { return caption_; }
  void SetCaption(std::string caption);
  bool Shown() const { return shown_; }
  void Show();
  void Hide();
  // The person (or the program) asks to close: QueryUnload decides; true when the form closed.
  bool RequestClose();
  // A modal form takes all of the person's input while it is shown (a dialog over the main window). It
  // counts from the next Show. Show itself never waits: the form's own code runs the loop until answered.
  bool Modal() const { return modal_; }
  void SetModal(bool modal) { modal_ = modal; }
  // The person pressed Enter (13) or Escape (27) in the form, and no control took the key: the form's
  // default or cancel button is pressed. False when the form has no such button.
  bool UserPressKey(int key_ascii);

  // Set `cancel` to true to refuse closing.
  std::function<void(bool& cancel)> OnUnload;

 private:
  std::string caption_;
  bool shown_ = false;
  bool modal_ = false;
};

}  // namespace platform
