// Loading register definitions: the number rule, the bits each data type claims, the keys' defaults, list
// normalisation, display-only registers, and definitions full of nonsense.

#include <gtest/gtest.h>

#include "registers/number_text.h"
#include "tests/registers/register_fixture.h"

namespace {

using platform::CheckBox;
using platform::ComboBox;
using platform::TextBox;
using register_tests::RegisterFixture;

TEST(RegisterNumbers, HexPrefixesDecimalAndTheLongestNumericPrefix) {
  using register_text::IsNumber;
  using register_text::NumberOf;
  EXPECT_EQ(NumberOf(" 0Xff "), 255);
  EXPECT_EQ(NumberOf("&hFFFF"), 65535);  // full width, not -1
  EXPECT_EQ(NumberOf("0xFFFFFFFF"), 4294967295);
  EXPECT_EQ(NumberOf("19200baud"), 19200);
  EXPECT_EQ(NumberOf("-3"), -3);
  EXPECT_EQ(NumberOf("baud"), 0);
  EXPECT_EQ(NumberOf("99999999999999999999999"), INT64_MAX);
  EXPECT_TRUE(IsNumber(" 0x1f "));
  EXPECT_TRUE(IsNumber("+12"));
  for (const char* text : {"", "0x", "&H", "0x1G", "12 13", "1.5", "-"}) EXPECT_FALSE(IsNumber(text)) << text;
}

TEST_F(RegisterFixture, EachDataTypeClaimsItsBitsOrBytes) {
  Define(
      "[Beep]\nRegister = 0x10, 0x11\nRegisterBit = 3\nDataType = bit\n"
      "[NoCount]\nRegister = 0x20\nDataType = BYTE\n"
      "[Speed]\nRegister = 64\nRegisterCount = 2\nDataType = Integer\n"
      "[Prefix]\nRegister = 0x50,0x60\nRegisterCount = 3\nDataType = STRING\n"
      "[Broken]\nRegister = 0x70, seventy\nRegisterCount = 1\nDataType = BYTE\n"
      "[Untyped]\nRegister = 0x78\nRegisterCount = 1\n");
  set.ClearMaskMap();
  TextBox* box = nullptr;
  for (const char* name : {"Beep", "NoCount", "Speed", "Prefix", "Broken", "Untyped"}) Bind(name, box);

  EXPECT_EQ(UsedAddresses(), (std::vector<int>{0x10, 0x11, 64, 65, 0x50, 0x51, 0x52, 0x60, 0x61, 0x62}));
  EXPECT_EQ(set.UseMask(0x10), 0x08);
  EXPECT_EQ(set.UseMask(0x11), 0x08);
  EXPECT_EQ(set.UseMask(65), 0xFF);

  const clsRegister& beep = *set.FindRegister("beep");
  EXPECT_EQ(beep.AddressList(), (std::vector<int32_t>{0x10, 0x11}));
  EXPECT_FALSE(set.FindRegister("Broken")->IsValid());
}

TEST_F(RegisterFixture, KeysTakeTheirDefaultsAndListsAreNormalised) {
  Define(
      "[Plain]\nRegister = 5\nControlType = combobox \nDataType = BYTE\nRegisterCount = 1\n"
      "[Lists]\nRegister = 6\nDataType = BYTE\nDefault = 0x20\n"
      "ListEx = Off=0x00, On = 0x80 ,Mode\nList = 0 = Off ,  1=On\n"
      "[Text]\nRegister = 7\nRegisterCount = 4\nDataType = STRING\nControlType = TEXTBOX\nDefault = 5\n"
      "List = 1=A\n");
  ComboBox* combo = nullptr;
  TextBox* text = nullptr;
  const clsRegister& plain = Bind("Plain", combo);
  const clsRegister& lists = Bind("Lists", text);
  const clsRegister& str = Bind("Text", text);

  EXPECT_EQ(plain.DefaultValue(), 255);
  EXPECT_EQ(plain.RegisterBit(), -1);
  EXPECT_EQ(plain.ControlType(), "COMBOBOX");
  EXPECT_EQ(lists.DefaultValue(), 0x20);
  EXPECT_EQ(lists.ListEx(), "Off=0,On=128,Mode");
  EXPECT_EQ(lists.List(), "0 = Off,1=On");
  int64_t value = -1;
  EXPECT_TRUE(lists.ListExValue(" on ", value));
  EXPECT_EQ(value, 128);
  EXPECT_FALSE(lists.ListExValue("Mode", value));
  // A string register reads no default and no lists.
  EXPECT_NE(str.DefaultValue(), 5);
  EXPECT_EQ(str.List(), "");
}

TEST_F(RegisterFixture, DisplayOnlyRegistersAndTheInterfaceSection) {
  Define(
      "[interface]\nRegister = 0x30\nRegisterCount = 1\nDataType = BYTE\nControlType = COMBOBOX\n"
      "List = 0=UART,1=PS/2\n"
      "[Other]\nRegister = 0x31\nDisplayOnly = y\n[Plain]\nRegister = 0x32\nDisplayOnly = maybe\n"
      "[Bad]\nRegister = nowhere\nDisplayOnly = TRUE\n");
  ComboBox* combo = nullptr;
  TextBox* box = nullptr;
  EXPECT_FALSE(Bind("interface", combo).DisplayOnly());  // only when the set allows it

  set.ClearRegisters();
  set.SetAllowDisplayOnly(true);
  EXPECT_TRUE(Bind("interface", combo).DisplayOnly());
  EXPECT_TRUE(Bind("Other", box).DisplayOnly());
  EXPECT_FALSE(Bind("Plain", box).DisplayOnly());
  EXPECT_FALSE(Bind("Bad", box).DisplayOnly());

  // The interface shows the reader's value, but a pick in its list does not change the buffer.
  Show(0x30, 1);
  EXPECT_EQ(combo->Text(), "PS/2");
  combo->UserSelect(0);
  EXPECT_EQ(set.Register(0x30), 1);
}

TEST_F(RegisterFixture, NonsenseDefinitionsLoadWithoutHarm) {
  Define(
      "[Far]\nRegister = 300\nRegisterCount = 4\nDataType = BYTE\nControlType = TEXTBOX\n"
      "[Edge]\nRegister = 254\nRegisterCount = 0x7FFFFFFF\nDataType = LONG\nControlType = TEXTBOX\n"
      "[Negative]\nRegister = -2\nRegisterCount = 4\nDataType = BYTE\n"
      "[BadBit]\nRegister = 0x60\nRegisterBit = 9\nDataType = BIT\nControlType = CHECKBOX\n"
      "[Junk]\nRegister = ,\nRegisterCount = lots\nDataType = FLOAT\nControlType = ComboBox\nDefault = zz\n"
      "List = =,==,5,x=1,=7\nListEx = ,=,a=\n"
      "[Wrong]\nRegister = 0x61\nRegisterCount = 1\nDataType = BYTE\nControlType = COMBOBOX\n");
  set.ClearMaskMap();
  TextBox* box = nullptr;
  CheckBox* check = nullptr;
  ComboBox* combo = nullptr;
  Bind("Far", box);
  clsRegister& edge = Bind("Edge", box);
  Bind("Negative", combo);
  Bind("BadBit", check);
  clsRegister& junk = Bind("Junk", combo);
  clsRegister& wrong = Bind("Wrong", box);  // a text box where the definition wants a combo
  Bind("Missing", box);                     // no section at all

  // Only what lies inside the space is claimed: 254-255 and, from -2, 0-1; and the wrongly bound 0x61.
  EXPECT_EQ(UsedAddresses(), (std::vector<int>{0, 1, 0x61, 254, 255}));
  EXPECT_FALSE(junk.IsValid());
  EXPECT_EQ(junk.DefaultValue(), 0);
  EXPECT_EQ(junk.FMTComboBox(), combo);  // an invalid register still binds its control
  EXPECT_EQ(combo->ListCount(), 0);      // but the junk list names no number
  EXPECT_EQ(wrong.FMTTextBox(), nullptr);

  // Using them does no harm either.
  set.UpdateRegisters();
  check->UserClick();
  edge.SaveRegister();
  EXPECT_EQ(set.Register(0x60), 0);
}

}  // namespace
