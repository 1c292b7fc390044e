#include "registers/clsRegister.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "platform/controls.h"
#include "platform/hex_text.h"
#include "platform/text.h"
#include "registers/clsRegisters.h"
#include "registers/number_text.h"

using platform::text::Split;
using platform::text::Trim;
using platform::text::Upper;
using register_text::IsNumber;
using register_text::NumberOf;

namespace {

struct DataTypeWord {
  const char* word;
  int code;
};
constexpr DataTypeWord kDataTypeWords[] = {
    {"BIT", clsRegister::kDataBit},         {"BYTE", clsRegister::kDataByte},
    {"INTEGER", clsRegister::kDataInteger}, {"LONG", clsRegister::kDataLong},
    {"STRING", clsRegister::kDataString},
};

// Names of the control codes in the one-character combo.
constexpr const char* kControlCodeNames[32] = {
    "NUL", "SOH", "STX", "ETX", "EOT", "ENQ", "ACK", "BEL", "BS",  "TAB", "LF",
    "VT",  "FF",  "CR",  "SO",  "SI",  "DLE", "DC1", "DC2", "DC3", "DC4", "NAK",
    "SYN", "ETB", "CAN", "EM",  "SUB", "ESC", "FS",  "GS",  "RS",  "US",
};

// The one-character combo's caption for `code` (0-254).
std::string AsciiCaption(int code) {
  if (code < 32) return kControlCodeNames[code];
  if (code == 32) return "(SP)";
  if (code <= 127) return std::string(1, static_cast<char>(code));
  return platform::hex_text::Byte(static_cast<uint8_t>(code)) + "h";
}

// Code 255 stands for "no character" in these registers.
constexpr int32_t kNoCharacter = 255;

bool IsTrueLabel(const std::string& label) {
  std::string l = Upper(Trim(label));
  return l == "1" || l == "T" || l == "TRUE";
}

bool IsFalseLabel(const std::string& label) {
  std::string l = Upper(Trim(label));
  return l == "0" || l == "F" || l == "FALSE";
}

bool IsYes(const std::string& text) {
  std::string t = Upper(Trim(text));
  return t == "TRUE" || t == "T" || t == "Y" || t == "YES";
}

int32_t ToInt32(int64_t value) {
  return static_cast<int32_t>(
      std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

// A number entry "left=right" of a list, split at its first "=".
bool SplitEntry(const std::string& entry, std::string& left, std::string& right) {
  size_t equals = entry.find('=');
  if (equals == std::string::npos) return false;
  left = Trim(entry.substr(0, equals));
  right = Trim(entry.substr(equals + 1));
  return true;
}

// Combo item data as the number it stands for (negative data stands for all bits set).
uint64_t DataAsNumber(int32_t data) {
  return static_cast<uint64_t>(static_cast<int64_t>(data));
}

// Longest digit texts that still fit the 64-bit number.
constexpr size_t kMaxDecimalDigits = 19;
constexpr size_t kMaxHexDigits = 16;

bool ReadDigits(const std::string& text, bool hex, uint64_t& value) {
  if (!platform::text::AllDigits(text, hex) || text.size() > (hex ? kMaxHexDigits : kMaxDecimalDigits)) {
    return false;
  }
  if (hex) {
    value = platform::hex_text::ValueOf(text);
    return true;
  }
  return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc();
}

// Holds a flag for the lifetime of the object.
class FlagScope {
 public:
  explicit FlagScope(bool& flag) : flag_(flag), old_(flag) { flag_ = true; }
  ~FlagScope() { flag_ = old_; }
  FlagScope(const FlagScope&) = delete;
  FlagScope& operator=(const FlagScope&) = delete;

 private:
  bool& flag_;
  bool old_;
};

}  // namespace

clsRegister::clsRegister() : alive_(std::make_shared<char>()) {}

clsRegister::~clsRegister() = default;

void clsRegister::SetMaxValue(double value) {
  max_value_ = std::round(value * 10000) / 10000;
}
void clsRegister::SetMinValue(double value) {
  min_value_ = std::round(value * 10000) / 10000;
}

void clsRegister::SetControl(platform::Control* control) {
  control_ = control;
  if (loaded_) Bind();
}

void clsRegister::Reset() {
  valid_ = false;
  address_list_.clear();
  start_ = 0;
  bit_ = -1;
  count_ = 0;
  control_type_ = "NOTHING";
  data_type_ = kDataNone;
  default_value_ = 0xFF;
  list_ex_.clear();
  list_.clear();
  display_only_ = false;
}

void clsRegister::LoadDefinition() {
  if (owner_ == nullptr) return;
  FlagScope loading(loading_);
  Reset();
  clsINIFile& ini = owner_->INIFile();
  auto key = [&](const char* name, const char* fallback) { return ini.GetKeyValue(name, fallback, name_); };

  // The addresses: one, or a list whose first item is the start.
  std::vector<std::string> items = Split(key("Register", ""), ',');
  valid_ = std::all_of(items.begin(), items.end(), [](const std::string& item) { return IsNumber(item); });
  if (valid_) {
    std::vector<int32_t> addresses;
    for (const auto& item : items) addresses.push_back(ToInt32(NumberOf(item)));
    start_ = addresses.front();
    if (addresses.size() >= 2) address_list_ = std::move(addresses);
  }

  bit_ = ToInt32(NumberOf(key("RegisterBit", "-1")));
  count_ = ToInt32(NumberOf(key("RegisterCount", "0")));
  control_type_ = Upper(Trim(key("ControlType", "Nothing")));
  std::string word = Upper(Trim(key("DataType", "Null")));
  for (const auto& entry : kDataTypeWords) {
    if (word == entry.word) data_type_ = entry.code;
  }

  ForEachOwnedByte([this](int32_t address, uint8_t bits) {
    owner_->SetUseMask(address, static_cast<uint8_t>(owner_->UseMask(address) | bits));
  });

  if (control_type_ == "TEXTBOX") {
    if (data_type_ == kDataString) {
      fmt_type_ = kFormatString;
      byte_len_ = count_;
    } else if (data_type_ == kDataByte || data_type_ == kDataInteger || data_type_ == kDataLong) {
      // 0..255 for every numeric type; the set fits the wider types afterwards.
      fmt_type_ = kFormatDecimal;
      SetMinValue(0);
      SetMaxValue(255);
    }
  }

  if (data_type_ != kDataString) {
    default_value_ = NumberOf(key("Default", "0xFF"));
    std::string raw_list_ex;
    if (ini.GetKeyValue("ListEx", raw_list_ex, "", name_)) {
      std::vector<std::string> entries = Split(raw_list_ex, ',');
      for (auto& entry : entries) {
        std::string label, number;
        entry =
            SplitEntry(entry, label, number) ? label + "=" + std::to_string(NumberOf(number)) : Trim(entry);
      }
      list_ex_ = platform::text::Join(entries, ",");
    }
    std::string raw_list;
    if (ini.GetKeyValue("List", raw_list, "", name_)) {
      std::vector<std::string> entries = Split(raw_list, ',');
      for (auto& entry : entries) entry = Trim(entry);
      list_ = platform::text::Join(entries, ",");
    }
  }

  // The interface a reader is attached by is shown but, unless the definition says otherwise, never
  // written: changing it would cut the line the program talks over.
  if (valid_ && owner_->AllowDisplayOnly()) {
    display_only_ = IsYes(key("DisplayOnly", Upper(name_) == "INTERFACE" ? "TRUE" : "FALSE"));
  }

  loaded_ = true;
  Bind();
}

void clsRegister::Bind() {
  FlagScope loading(loading_);
  if (control_ == nullptr || Upper(control_->TypeName()) != control_type_) return;
  switch (control_->Kind()) {
    case platform::ControlKind::kTextBox:
      SetFMTTextBox(static_cast<platform::TextBox*>(control_));
      break;
    case platform::ControlKind::kCheckBox:
      SetFMTCheckBox(static_cast<platform::CheckBox*>(control_));
      break;
    case platform::ControlKind::kComboBox: {
      SetFMTComboBox(static_cast<platform::ComboBox*>(control_));
      std::string compact;
      for (char c : Upper(list_)) {
        if (c != ' ' && c != '\t') compact += c;
      }
      if (compact == "ASCIITABLE") {
        IniASCIIChars();
        break;
      }
      combo_box_->Clear();
      for (const auto& entry : Split(list_, ',')) {
        std::string number, caption;
        if (SplitEntry(entry, number, caption) && IsNumber(number)) {
          combo_box_->AddItem(caption, static_cast<int32_t>(NumberOf(number)));
        }
      }
      break;
    }
    default:
      break;
  }
}

void clsRegister::SetFMTTextBox(platform::TextBox* box) {
  text_box_ = box;
  if (box == nullptr) return;
  std::weak_ptr<char> alive = alive_;
  box->OnChange = [this, alive] {
    if (!alive.expired()) OnTextChange();
  };
  box->OnKeyPress = [this, alive](int& key_ascii) {
    if (!alive.expired()) OnTextKeyPress(key_ascii);
  };
  box->OnLostFocus = [this, alive] {
    if (!alive.expired()) OnTextLostFocus();
  };
}

void clsRegister::SetFMTComboBox(platform::ComboBox* box) {
  combo_box_ = box;
  if (box == nullptr) return;
  std::weak_ptr<char> alive = alive_;
  box->OnClick = [this, alive] {
    if (!alive.expired()) OnComboClick();
  };
}

void clsRegister::SetFMTCheckBox(platform::CheckBox* box) {
  check_box_ = box;
  if (box == nullptr) return;
  std::weak_ptr<char> alive = alive_;
  box->OnClick = [this, alive] {
    if (!alive.expired()) OnCheckClick();
  };
}

bool clsRegister::ListExValue(const std::string& label, int64_t& value) const {
  std::string wanted = Upper(Trim(label));
  for (const auto& entry : Split(list_ex_, ',')) {
    std::string left, right;
    if (SplitEntry(entry, left, right) && Upper(left) == wanted) {
      value = NumberOf(right);
      return true;
    }
  }
  return false;
}

// ---- values ----

bool clsRegister::Writable() const {
  return owner_ != nullptr && valid_ && !display_only_;
}

std::vector<int32_t> clsRegister::Addresses() const {
  return address_list_.empty() ? std::vector<int32_t>{start_} : address_list_;
}

void clsRegister::ForEachOwnedByte(const std::function<void(int32_t address, uint8_t bits)>& visit) const {
  if (owner_ == nullptr || !valid_) return;
  for (int32_t address : Addresses()) {
    if (data_type_ == kDataBit) {
      if (bit_ >= 0 && bit_ <= 7 && address >= 0 && address < owner_->RegisterCount())
        visit(address, static_cast<uint8_t>(1u << bit_));
    } else if (data_type_ != kDataNone) {
      const int64_t end = std::min<int64_t>(int64_t{address} + count_, owner_->RegisterCount());
      for (int64_t a = std::max<int64_t>(address, 0); a < end; ++a) visit(static_cast<int32_t>(a), 0xFF);
    }
  }
}

uint64_t clsRegister::CurrentValue() const {
  if (owner_ == nullptr) return 0;
  if (data_type_ == kDataBit) return owner_->RegisterBit(start_, bit_) ? 1 : 0;
  return owner_->RegisterLong(start_, std::max(count_, 1));
}

void clsRegister::StoreNumber(uint64_t value) {
  if (!Writable() || data_type_ == kDataNone || data_type_ == kDataString) return;
  for (int32_t address : Addresses()) {
    if (data_type_ == kDataBit) {
      owner_->SetRegisterBit(address, bit_, value != 0);
    } else {
      owner_->SetRegisterLong(address, count_, value);
    }
  }
  if (owner_->DirectRegister()) WriteBackRegister();
}

void clsRegister::StoreText(const std::string& text) {
  if (!Writable()) return;
  for (int32_t address : Addresses()) owner_->SetRegisterString(address, count_, text);
  if (owner_->DirectRegister()) WriteBackRegister();
}

bool clsRegister::WriteBackRegister() {
  if (!Writable()) return false;
  bool ok = true;
  for (int32_t address : Addresses()) {
    if (data_type_ == kDataBit) {
      ok = owner_->WriteRegister(address) && ok;
      continue;
    }
    for (int i = 0; i < count_ && int64_t{address} + i < owner_->RegisterCount(); ++i) {
      ok = owner_->WriteRegister(address + i) && ok;
    }
  }
  return ok;
}

std::string clsRegister::FormatNumber(uint64_t value) const {
  char digits[24];
  std::snprintf(digits, sizeof digits, fmt_type_ == kFormatHex ? "%llX" : "%llu",
                static_cast<unsigned long long>(value));
  std::string text = digits;
  if (byte_len_ > 0) {
    text = std::string(static_cast<size_t>(byte_len_), '0') + text;
    text = text.substr(text.size() - static_cast<size_t>(byte_len_));
  }
  return text;
}

void clsRegister::SelectByData(uint64_t value) {
  // Compare within the register's width, so item data -1 matches a byte of 255.
  uint64_t mask = ~uint64_t{0};
  if (data_type_ == kDataBit) mask = 1;
  if (data_type_ != kDataBit && count_ >= 1 && count_ < 8) mask = (uint64_t{1} << (8 * count_)) - 1;
  if (count_ < 1 && data_type_ != kDataBit) mask = 0xFF;
  for (int i = 0; i < combo_box_->ListCount(); ++i) {
    if ((DataAsNumber(combo_box_->ItemData(i)) & mask) == (value & mask)) {
      combo_box_->SetListIndex(i);
      return;
    }
  }
  combo_box_->SetListIndex(-1);
}

clsRegister::CheckNumbers clsRegister::CheckBoxNumbers() const {
  CheckNumbers numbers;
  bool have_checked = false, have_cleared = false;
  for (const auto& entry : Split(list_, ',')) {
    std::string number, label;
    if (!SplitEntry(entry, number, label) || !IsNumber(number)) continue;
    if (!have_checked && IsTrueLabel(label)) {
      numbers.checked = NumberOf(number);
      have_checked = true;
    } else if (!have_cleared && IsFalseLabel(label)) {
      numbers.cleared = NumberOf(number);
      have_cleared = true;
    }
  }
  return numbers;
}

// ---- showing ----

void clsRegister::IniASCIIChars() {
  if (combo_box_ == nullptr) return;
  FlagScope updating(updating_);
  combo_box_->Clear();
  combo_box_->AddItem("None", kNoCharacter);
  combo_box_->SetListIndex(0);
  for (int code = 0; code < kNoCharacter; ++code) combo_box_->AddItem(AsciiCaption(code), code);
  uint64_t value = CurrentValue();
  if (value < kNoCharacter) combo_box_->SetListIndex(static_cast<int>(value) + 1);
}

void clsRegister::UpdateRegister() {
  if (owner_ == nullptr) return;
  FlagScope updating(updating_);
  uint64_t value = CurrentValue();
  if (combo_box_ != nullptr && control_type_ == "COMBOBOX") {
    SelectByData(value);
  } else if (check_box_ != nullptr && control_type_ == "CHECKBOX") {
    CheckNumbers numbers = CheckBoxNumbers();
    int state = platform::CheckBox::kGrayed;
    if (data_type_ == kDataBit) {
      state = value == (numbers.checked != 0 ? 1u : 0u) ? platform::CheckBox::kChecked
                                                        : platform::CheckBox::kUnchecked;
    } else if (value == static_cast<uint64_t>(numbers.checked)) {
      state = platform::CheckBox::kChecked;
    } else if (value == static_cast<uint64_t>(numbers.cleared)) {
      state = platform::CheckBox::kUnchecked;
    }
    check_box_->SetValue(state);
  } else if (text_box_ != nullptr && control_type_ == "TEXTBOX") {
    text_box_->SetText(data_type_ == kDataString ? owner_->RegisterString(start_, count_)
                                                 : FormatNumber(value));
  }
}

void clsRegister::EmptyRegister() {
  FlagScope updating(updating_);
  if (combo_box_ != nullptr) combo_box_->SetListIndex(-1);
  if (check_box_ != nullptr) check_box_->SetValue(platform::CheckBox::kUnchecked);
  if (text_box_ != nullptr) text_box_->SetText("");
}

void clsRegister::SaveRegister() {
  if (combo_box_ != nullptr) OnComboClick();
  if (check_box_ != nullptr) OnCheckClick();
  if (text_box_ != nullptr) OnTextChange();
}

bool clsRegister::RegisterEnabled() const {
  if (text_box_ != nullptr) return text_box_->Enabled();
  if (combo_box_ != nullptr) return combo_box_->Enabled();
  if (check_box_ != nullptr) return check_box_->Enabled();
  return control_ != nullptr && control_->Enabled();
}

void clsRegister::SetRegisterEnabled(bool enabled) {
  for (platform::Control* c :
       {static_cast<platform::Control*>(text_box_), static_cast<platform::Control*>(combo_box_),
        static_cast<platform::Control*>(check_box_), control_}) {
    if (c != nullptr) c->SetEnabled(enabled);
  }
}

std::string clsRegister::Text() const {
  if (text_box_ != nullptr) return text_box_->Text();
  if (combo_box_ != nullptr) return combo_box_->Text();
  if (check_box_ != nullptr) return check_box_->Caption();
  return "";
}

void clsRegister::SetText(const std::string& text) {
  if (text_box_ != nullptr) {
    text_box_->SetText(text);
  } else if (combo_box_ != nullptr) {
    for (int i = 0; i < combo_box_->ListCount(); ++i) {
      if (combo_box_->List(i) == text) {
        combo_box_->SetListIndex(i);
        return;
      }
    }
  } else if (check_box_ != nullptr) {
    check_box_->SetCaption(text);
  }
}

// ---- control events ----

void clsRegister::OnCheckClick() {
  if (Quiet() || check_box_ == nullptr) return;
  CheckNumbers numbers = CheckBoxNumbers();
  int state = check_box_->Value();
  if (state == platform::CheckBox::kGrayed) return;  // greyed says nothing about the value
  StoreNumber(
      static_cast<uint64_t>(state == platform::CheckBox::kChecked ? numbers.checked : numbers.cleared));
}

void clsRegister::OnComboClick() {
  if (Quiet() || combo_box_ == nullptr) return;
  int index = combo_box_->ListIndex();
  if (index < 0) return;
  StoreNumber(DataAsNumber(combo_box_->ItemData(index)));
}

void clsRegister::OnTextChange() {
  if (Quiet() || text_box_ == nullptr) return;
  std::string text = text_box_->Text();
  if (text.empty()) return;
  if (data_type_ == kDataString) {
    StoreText(text);
    return;
  }
  if (fmt_type_ != kFormatDecimal && fmt_type_ != kFormatHex) {
    StoreNumber(static_cast<uint64_t>(NumberOf(text)));
    return;
  }
  uint64_t value = 0;
  if (!ReadDigits(text, fmt_type_ == kFormatHex, value)) return;  // not a number: nothing to store
  if (max_value_ > 0) {
    auto low = static_cast<uint64_t>(std::max(0.0, std::ceil(min_value_)));
    auto high = static_cast<uint64_t>(std::floor(max_value_));
    uint64_t clamped = std::clamp(value, low, std::max(low, high));
    if (clamped != value) {
      value = clamped;
      FlagScope updating(updating_);
      text_box_->SetText(FormatNumber(value));
    }
  }
  StoreNumber(value);
}

void clsRegister::OnTextKeyPress(int& key_ascii) {
  if (Quiet() || text_box_ == nullptr) return;
  if (key_ascii < 32) return;  // control keys (backspace, ...) pass
  bool numeric = fmt_type_ == kFormatDecimal || fmt_type_ == kFormatHex;
  if (numeric) {
    if (key_ascii >= 'a' && key_ascii <= 'z') key_ascii -= 'a' - 'A';
    bool digit = key_ascii >= '0' && key_ascii <= '9';
    bool hex_letter = fmt_type_ == kFormatHex && key_ascii >= 'A' && key_ascii <= 'F';
    if (!digit && !hex_letter) {
      key_ascii = 0;
      return;
    }
  }
  const std::string& now = text_box_->Text();
  auto start = static_cast<size_t>(text_box_->SelStart());
  std::string next = now.substr(0, start) + static_cast<char>(key_ascii) +
                     now.substr(std::min(now.size(), start + static_cast<size_t>(text_box_->SelLength())));
  bool accept = true;
  if (numeric) {
    uint64_t value = 0;
    if (!ReadDigits(next, fmt_type_ == kFormatHex, value)) {
      accept = false;
    } else if (max_value_ > 0) {
      auto v = static_cast<double>(value);
      accept = v >= min_value_ && v <= max_value_;
    } else if (byte_len_ > 0) {
      accept = static_cast<int>(next.size()) <= byte_len_;
    }
  } else {
    // One byte per character: the register holds the text's single-byte code.
    accept = static_cast<int>(next.size()) <= byte_len_;
  }
  if (!accept) key_ascii = 0;
}

void clsRegister::OnTextLostFocus() {
  if (Quiet() || text_box_ == nullptr || !have_to_fix_len_ || byte_len_ <= 0) return;
  const std::string& text = text_box_->Text();
  auto len = static_cast<size_t>(byte_len_);
  if (text.size() == len) return;
  std::string padded = std::string(len, '0') + text;
  text_box_->SetText(padded.substr(padded.size() - len));
}
