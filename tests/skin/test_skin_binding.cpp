// Binding a skin form's controls to registers by their "Item:" tags.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "registers/clsRegister.h"
#include "skin/skin_binding.h"
#include "skin/skin_form.h"
#include "tests/support/temp_dir.h"

namespace {

using ::testing::ElementsAre;

TEST(ParseItemTag, TheNameRunsFromItemToTheNextBlank) {
  // A tag with text after the name, and one without the marker, are among the controls bound below.
  EXPECT_EQ(ParseItemTag("main Item:Baud"), "Baud");
  EXPECT_EQ(ParseItemTag(""), "");
  EXPECT_EQ(ParseItemTag("Item:"), "");
  EXPECT_EQ(ParseItemTag("Item: Baud"), "");
  EXPECT_EQ(ParseItemTag("item:Baud"), "") << "the marker is written exactly so";
}

TEST(BindSkinForm, MakesARegisterOfEveryTaggedEditControlAndResetsTheSetFirst) {
  const MsrSkinControl controls[] = {
      {.kind = "ComboBox", .name = "cboBaud", .tag = "Item:Baud"},
      {.kind = "CheckBox", .name = "chkBeep", .tag = "Item:Beep x"},
      {.kind = "TextBox", .name = "txtFree", .tag = "Baud"},
      {.kind = "Label", .name = "labBaud", .caption = "Baud", .tag = "Item:Baud"},
      {.kind = "Frame", .name = "fraBox"},
      {.kind = "TextBox", .name = "txtName", .tag = "Item:Name", .frame = "fraBox"},
  };
  const MsrSkinForm description = {.name = "Main", .controls = controls, .control_count = 6};
  auto form = BuildSkinForm(description);

  test_support::TempDir dir("skin-binding");
  const std::string file =
      dir.WriteFile("Test.ini",
                    "[Baud]\nRegister = 0x01\nRegisterCount = 1\nControlType = ComboBox\n"
                    "DataType = Byte\nList = 3=9600,4=19200\n"
                    "[Beep]\nRegister = 0x14\nRegisterBit = 5\nControlType = CheckBox\n"
                    "DataType = Bit\nList = 1=TRUE,0=FALSE\n"
                    "[Name]\nRegister = 0x80\nRegisterCount = 8\nControlType = TextBox\n"
                    "DataType = String\n");
  clsRegisters registers;
  std::vector<std::string> status;
  const auto bound =
      BindSkinForm(*form, registers, file, [&status](const std::string& text) { status.push_back(text); });
  EXPECT_THAT(bound, ElementsAre("Baud", "Beep", "Name"));
  EXPECT_THAT(status, ElementsAre("Load skin...", "Load skin finish"));
  ASSERT_EQ(registers.RegisterObjectCount(), 3);
  EXPECT_EQ(registers.INIFile().FullFileName(), file);

  auto* baud = dynamic_cast<platform::ComboBox*>(form->Find("cboBaud"));
  EXPECT_EQ(baud->ListCount(), 2) << "filled from the definition's list";
  EXPECT_EQ(registers.FindRegister("Beep")->FMTCheckBox(), form->Find("chkBeep"));
  EXPECT_EQ(registers.FindRegister("Name")->FMTTextBox(), form->Find("txtName")) << "inside a frame too";

  // The mask is exactly what the registers claim: the set's default mask is gone.
  EXPECT_EQ(registers.UseMask(0x01), 0xFF);
  EXPECT_EQ(registers.UseMask(0x14), 0x20);
  EXPECT_EQ(registers.UseMask(0x87), 0xFF);
  EXPECT_EQ(registers.UseMask(0x00), 0x00);

  // Binding again starts from an empty set.
  BindSkinForm(*form, registers, file);
  EXPECT_EQ(registers.RegisterObjectCount(), 3);
}

}  // namespace
