#pragma once
// One setting of the reader as the person sees it: a definition section of the skin's definition file
// that ties one edit control (text box, combo box or check box) to one or more register addresses, a bit
// of them, or a run of bytes in the register set.
//
// The control edits the set's register buffer; UpdateRegister shows the buffer in the control. Setting a
// control's value from code raises the same event as a person's action, so the register ignores its
// control's events while it loads its definition and while it shows a value: showing never writes back.
//
// Check boxes: a definition's "List" pairs numbers with the labels "1"/"T"/"TRUE" and "0"/"F"/"FALSE"
// (missing pairs are 1 for checked and 0 for cleared). A checked box stores the number of its TRUE
// entry, a cleared one that of its FALSE entry. A bit register stores the bit as set when that number is
// non-zero, and shows the box checked while the bit equals it; so "0=TRUE,1=FALSE" is an inverted box
// both ways. A byte value that the list does not name shows the box greyed.
//
// Lifetime: the register holds plain pointers to its controls and to its set. The set owns the register;
// registers must be dropped (ClearRegisters) before the controls they are bound to are destroyed. Events
// that a control raises after its register is gone are ignored.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {
class Control;
class TextBox;
class ComboBox;
class CheckBox;
}  // namespace platform
class clsRegisters;

class clsRegister {
 public:
  enum DataType : int {
    kDataNone = 0,
    kDataBit = 1,
    kDataByte = 2,
    kDataInteger = 3,
    kDataLong = 4,
    kDataString = 5
  };
  enum FormatType : int { kFormatDecimal = 0, kFormatHex = 1, kFormatString = 2 };

  clsRegister();
  ~clsRegister();
  clsRegister(const clsRegister&) = delete;
  clsRegister& operator=(const clsRegister&) = delete;

  void SetRegisters(clsRegisters* owner) { owner_ = owner; }
  clsRegisters* Registers() const { return owner_; }
  const std::string& RegisterName() const { return name_; }
  void SetRegisterName(std::string name) { name_ = std::move(name); }
  // The control to edit. It is bound when the definition names its kind as the control type ("TEXTBOX"
  // for a "TextBox", ...); a control of another kind stays unbound and the register only claims its bits.
  void SetControl(platform::Control* control);

  // Reads the definition section RegisterName() of the owner's INIFile(), claims the register's bits in
  // the owner's mask map, and binds and fills the control. Nonsense values load without harm: an address
  // that is not a number makes the register invalid (it claims nothing and never writes), numbers that
  // do not read are 0, addresses and bits outside the register space are ignored.
  void LoadDefinition();

  // ---- the definition as loaded ----
  bool IsValid() const { return valid_; }
  // The start address, and every address when the definition lists several (empty for one).
  int32_t Register() const { return start_; }
  const std::vector<int32_t>& AddressList() const { return address_list_; }
  // Addresses the value goes to: the list, or the start address alone.
  std::vector<int32_t> Addresses() const;
  // Calls `visit` for every byte of the owner's buffer that this register owns, with the bits it owns
  // there: its bit for a bit register, the whole byte for the others. A numeric register without a count
  // owns nothing, on purpose; an invalid one owns nothing either.
  void ForEachOwnedByte(const std::function<void(int32_t address, uint8_t bits)>& visit) const;
  int RegisterBit() const { return bit_; }
  int RegisterCount() const { return count_; }
  // "TEXTBOX", "COMBOBOX", "CHECKBOX" or whatever else the definition said, upper-cased.
  const std::string& ControlType() const { return control_type_; }
  int DataType() const { return data_type_; }
  int64_t DefaultValue() const { return default_value_; }
  // "label=number" entries with decimal numbers, joined with ",".
  const std::string& ListEx() const { return list_ex_; }
  // Looks a label up in ListEx() (without regard to case or surrounding blanks).
  bool ListExValue(const std::string& label, int64_t& value) const;
  const std::string& List() const { return list_; }
  bool DisplayOnly() const { return display_only_; }

  // ---- text-box format ----
  // Bounds of a numeric text box; a MaxValue of 0 or less switches the bounds check off. Kept to four
  // decimal places; every bound in use is a whole number below 2^53 and exact.
  double MaxValue() const { return max_value_; }
  void SetMaxValue(double value);
  double MinValue() const { return min_value_; }
  void SetMinValue(double value);
  int ByteLen() const { return byte_len_; }
  void SetByteLen(int length) { byte_len_ = length; }
  int FMTType() const { return fmt_type_; }
  void SetFMTType(int type) { fmt_type_ = type; }
  bool HaveToFixLen() const { return have_to_fix_len_; }
  void SetHaveToFixLen(bool fix) { have_to_fix_len_ = fix; }

  // ---- controls ----
  platform::TextBox* FMTTextBox() const { return text_box_; }
  void SetFMTTextBox(platform::TextBox* box);
  platform::ComboBox* FMTComboBox() const { return combo_box_; }
  void SetFMTComboBox(platform::ComboBox* box);
  platform::CheckBox* FMTCheckBox() const { return check_box_; }
  void SetFMTCheckBox(platform::CheckBox* box);

  // Fills the bound combo with "None" (255) and the codes 0-254, and selects the current value.
  void IniASCIIChars();
  // Shows the owner's buffer in the control.
  void UpdateRegister();
  // Stores what the control shows into the owner's buffer, as the control's own event would.
  void SaveRegister();
  // Clears the display: no combo selection, box cleared, text empty. The buffer is not touched.
  void EmptyRegister();
  // Writes the register's bytes to the reader through the owner (WriteRegister per byte). False when
  // any byte fails, or when the register never writes (invalid or display-only).
  bool WriteBackRegister();
  void Disable() { SetRegisterEnabled(false); }
  bool RegisterEnabled() const;
  void SetRegisterEnabled(bool enabled);
  // The text shown: a text box's text, a combo's selected item, a check box's caption. Setting it acts
  // like the person's edit (a text box's change, the combo item of that caption).
  std::string Text() const;
  void SetText(const std::string& text);

 private:
  struct CheckNumbers {
    int64_t checked = 1;
    int64_t cleared = 0;
  };

  void Reset();
  void Bind();
  bool Writable() const;
  bool Quiet() const { return loading_ || updating_; }
  // The register's value in the buffer: a bit register's bit (0 or 1), else the run from the start.
  uint64_t CurrentValue() const;
  // Writes a number to every address (a bit register sets its bit when the number is not 0).
  void StoreNumber(uint64_t value);
  void StoreText(const std::string& text);
  std::string FormatNumber(uint64_t value) const;
  // Selects the combo item whose data is `value`; none when no item has it.
  void SelectByData(uint64_t value);
  CheckNumbers CheckBoxNumbers() const;

  void OnCheckClick();
  void OnComboClick();
  void OnTextChange();
  void OnTextKeyPress(int& key_ascii);
  void OnTextLostFocus();

  clsRegisters* owner_ = nullptr;
  std::string name_;
  platform::Control* control_ = nullptr;
  platform::TextBox* text_box_ = nullptr;
  platform::ComboBox* combo_box_ = nullptr;
  platform::CheckBox* check_box_ = nullptr;

  bool loaded_ = false;
  bool valid_ = false;
  std::vector<int32_t> address_list_;
  int32_t start_ = 0;
  int bit_ = -1;
  int count_ = 0;
  std::string control_type_ = "NOTHING";
  int data_type_ = kDataNone;
  int64_t default_value_ = 0xFF;
  std::string list_ex_;
  std::string list_;
  bool display_only_ = false;

  double max_value_ = 0;
  double min_value_ = 0;
  int byte_len_ = 0;
  int fmt_type_ = kFormatDecimal;
  bool have_to_fix_len_ = false;

  bool loading_ = false;
  bool updating_ = false;
  // Handlers given to controls hold a weak reference to this, so a control that outlives its register
  // raises into nothing.
  std::shared_ptr<char> alive_;
};
