// A register and its control: what clicks, picks and typing store in the buffer, how values are shown
// without being written back, the key filter and the padding when the focus leaves.

#include <gtest/gtest.h>

#include "tests/registers/register_fixture.h"

namespace {

using platform::CheckBox;
using platform::ComboBox;
using platform::TextBox;
using register_tests::RegisterFixture;
using Bytes2 = std::vector<uint8_t>;

TEST_F(RegisterFixture, AsciiTableWhateverTheCaseAndBlanks) {
  Define(
      "[EndChar]\nRegister = 0x40\nRegisterCount = 1\nDataType = BYTE\nControlType = ComboBox\n"
      "List = ascii Table\n");
  set.SetRegister(0x40, 0x0D);
  ComboBox* combo = nullptr;
  Bind("EndChar", combo);
  ASSERT_EQ(combo->ListCount(), 256);
  EXPECT_EQ(combo->ItemData(0), 255);
  EXPECT_EQ(combo->Text(), "CR");  // the current value is selected
  std::string captions;
  for (int code : {-1, 0, 9, 31, 32, 65, 126, 127, 128, 171, 254}) captions += combo->List(code + 1) + " ";
  EXPECT_EQ(captions, "None NUL TAB US (SP) A ~ \x7F 80h ABh FEh ");
  EXPECT_EQ(set.Register(0x40), 0x0D);  // filling and selecting wrote nothing

  combo->UserSelect(33 + 1);
  EXPECT_EQ(set.Register(0x40), '!');
  Show(0x40, 255);
  EXPECT_EQ(combo->Text(), "None");
}

TEST_F(RegisterFixture, ComboPicksWriteTheItemDataOverTheRunAtEveryAddress) {
  Define(
      "[Baud]\nRegister = 0x10, 0x20\nRegisterCount = 2\nDataType = INTEGER\nControlType = COMBOBOX\n"
      "List = 9600=9600 , 0x4B00 = 19200, x=Bad, 300\n");
  ComboBox* combo = nullptr;
  Bind("Baud", combo);
  ASSERT_EQ(combo->ListCount(), 2);  // entries without a number are left out
  combo->UserSelect(1);
  EXPECT_EQ(Bytes(0x10, 2), (Bytes2{0x4B, 0x00}));  // most significant byte first
  EXPECT_EQ(Bytes(0x20, 2), (Bytes2{0x4B, 0x00}));

  Show(0x10, 9600, 2);
  EXPECT_EQ(combo->Text(), "9600");
  EXPECT_EQ(Bytes(0x20, 2), (Bytes2{0x4B, 0x00}));  // showing wrote nothing back
  Show(0x10, 1234, 2);
  EXPECT_EQ(combo->ListIndex(), -1);
}

TEST_F(RegisterFixture, CheckBoxesOfBitsAndOfBytes) {
  Define(
      "[Beep]\nRegister = 0x10, 0x11\nRegisterBit = 3\nDataType = BIT\nControlType = CHECKBOX\n"
      "List = 1=True,0=False\n"
      "[Quiet]\nRegister = 0x12\nRegisterBit = 0\nDataType = BIT\nControlType = CHECKBOX\nList = 0=T, 1=F\n"
      "[Mode]\nRegister = 0x30\nRegisterCount = 1\nDataType = BYTE\nControlType = CHECKBOX\nList = "
      "5=T,2=F\n");
  set.SetRegister(0x10, 0xA1);
  CheckBox *beep = nullptr, *quiet = nullptr, *mode = nullptr;
  Bind("Beep", beep);
  Bind("Quiet", quiet);
  Bind("Mode", mode);

  beep->UserClick();
  EXPECT_EQ(Bytes(0x10, 2), (Bytes2{0xA9, 0x08}));
  beep->UserClick();
  EXPECT_EQ(Bytes(0x10, 2), (Bytes2{0xA1, 0x00}));
  Show(0x10, 0x08);
  EXPECT_EQ(beep->Value(), CheckBox::kChecked);
  EXPECT_EQ(set.Register(0x11), 0x00);  // showing is no click

  // A list that pairs 0 with TRUE turns the box round, both when shown and when clicked.
  Show(0x12, 0xFE);
  EXPECT_EQ(quiet->Value(), CheckBox::kChecked);
  quiet->UserClick();
  EXPECT_EQ(set.Register(0x12), 0xFF);

  // A byte register stores the listed numbers; a value the list does not name shows grey.
  Show(0x30, 7);
  EXPECT_EQ(mode->Value(), CheckBox::kGrayed);
  mode->UserClick();
  EXPECT_EQ(set.Register(0x30), 5);
  mode->UserClick();
  EXPECT_EQ(set.Register(0x30), 2);
}

TEST_F(RegisterFixture, KeyFilterOfHexDecimalAndStringBoxes) {
  Define(
      "[Hex]\nRegister = 0x40\nRegisterCount = 1\nDataType = BYTE\nControlType = TEXTBOX\n"
      "[Dec]\nRegister = 0x41\nRegisterCount = 1\nDataType = BYTE\nControlType = TEXTBOX\n"
      "[Str]\nRegister = 0x50\nRegisterCount = 4\nDataType = STRING\nControlType = TEXTBOX\n");
  TextBox *hex = nullptr, *dec = nullptr, *str = nullptr;
  Bind("Hex", hex).SetFMTType(clsRegister::kFormatHex);
  Bind("Dec", dec);
  Bind("Str", str);

  hex->UserTypeText("fgf");
  EXPECT_EQ(hex->Text(), "FF");      // upper-cased; G is no hexadecimal digit
  EXPECT_FALSE(hex->UserType('0'));  // a third digit would make 0xFF0, above 255
  EXPECT_EQ(set.Register(0x40), 0xFF);
  hex->SetSelection(0, 1);  // replacing a digit stays within the bounds
  EXPECT_TRUE(hex->UserType('1'));
  EXPECT_TRUE(hex->UserType(8));  // control keys pass
  EXPECT_EQ(hex->Text(), "F");
  EXPECT_EQ(set.Register(0x40), 0x0F);

  dec->UserTypeText("2A5-6");
  EXPECT_EQ(dec->Text(), "25");  // no letters, no signs; 256 is out of bounds

  str->UserTypeText("abcde");
  EXPECT_EQ(str->Text(), "abcd");  // four bytes at most
  str->SetSelection(1, 3);
  str->UserType(8);
  EXPECT_EQ(Bytes(0x50, 4), (Bytes2{'a', 0xFF, 0xFF, 0xFF}));
  set.SetRegisterString(0x50, 4, "OK");
  set.UpdateRegisters();
  EXPECT_EQ(str->Text(), "OK");
}

TEST_F(RegisterFixture, WideNumbersAreClampedPaddedAndStoredMostSignificantFirst) {
  Define(
      "[Speed]\nRegister = 0x60\nRegisterCount = 2\nDataType = INTEGER\nControlType = TEXTBOX\n"
      "[Serial]\nRegister = 0x70\nRegisterCount = 4\nDataType = LONG\nControlType = TEXTBOX\n"
      "[Code]\nRegister = 0x44\nRegisterCount = 1\nDataType = BYTE\nControlType = TEXTBOX\n");
  TextBox *speed = nullptr, *serial = nullptr, *code = nullptr;
  clsRegister& speed_reg = Bind("Speed", speed);
  Bind("Serial", serial);
  clsRegister& code_reg = Bind("Code", code);

  speed->UserTypeText("9600");
  EXPECT_EQ(Bytes(0x60, 2), (Bytes2{0x25, 0x80}));
  serial->UserTypeText("4294967295");
  EXPECT_EQ(Bytes(0x70, 4), (Bytes2{0xFF, 0xFF, 0xFF, 0xFF}));
  serial->SetText("429496729");
  EXPECT_FALSE(serial->UserType('6'));  // 4294967296 does not fit

  // Text set from code is clamped into the bounds; not a number stores nothing.
  speed_reg.SetMaxValue(1000);
  speed->SetText("5000");
  EXPECT_EQ(speed->Text(), "1000");
  speed->SetText("12x");
  EXPECT_EQ(set.RegisterLong(0x60, 2), 1000u);
  // Showing a value outside the bounds shows it as it is and leaves the buffer alone.
  Show(0x60, 5000, 2);
  EXPECT_EQ(speed->Text(), "5000");
  EXPECT_EQ(set.RegisterLong(0x60, 2), 5000u);

  code_reg.SetFMTType(clsRegister::kFormatHex);
  code_reg.SetByteLen(2);
  code_reg.SetHaveToFixLen(true);
  code->SetText("");
  code->SetFocus();
  code->UserTypeText("a");
  code->UserLeave();
  EXPECT_EQ(code->Text(), "0A");
  EXPECT_EQ(set.Register(0x44), 0x0A);
}

TEST_F(RegisterFixture, EmptySaveDirectModeAndARegisterThatIsGone) {
  Define(
      "[Mode]\nRegister = 0x30\nRegisterCount = 1\nDataType = BYTE\nControlType = COMBOBOX\nList = "
      "1=One,2=Two\n"
      "[Level]\nRegister = 0x31\nRegisterCount = 1\nDataType = BYTE\nControlType = TEXTBOX\n");
  ComboBox* combo = nullptr;
  TextBox* box = nullptr;
  Bind("Mode", combo);
  Bind("Level", box);
  set.SetRegister(0x30, 2);
  set.SetRegister(0x31, 42);
  set.EmptyRegisters();
  EXPECT_EQ(combo->ListIndex(), -1);
  EXPECT_EQ(box->Text(), "");
  EXPECT_EQ(Bytes(0x30, 2), (Bytes2{2, 42}));

  // SaveRegister stores what the control shows, as its own event would.
  set.UpdateRegisters();
  set.SetRegisterLong(0x30, 2, 0);
  set.SaveRegisters();
  EXPECT_EQ(Bytes(0x30, 2), (Bytes2{2, 42}));

  // In direct mode a pick goes to the reader at once.
  std::vector<std::pair<int32_t, uint8_t>> sent;
  set.OnWriteRegister = [&](uint8_t& value, bool& ok, int32_t address) {
    sent.emplace_back(address, value);
    ok = true;
  };
  set.SetDirectRegister(true);
  combo->UserSelect(0);
  EXPECT_EQ(sent, (std::vector<std::pair<int32_t, uint8_t>>{{0x30, 1}}));

  // Controls outlive dropped registers; their events then change nothing.
  set.ClearRegisters();
  combo->UserSelect(1);
  box->SetText("7");
  EXPECT_EQ(Bytes(0x30, 2), (Bytes2{1, 42}));
}

}  // namespace
