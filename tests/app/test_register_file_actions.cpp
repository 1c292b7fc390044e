// Open, Save and Save HEX of the window, with the file dialogs answered by the headless UI services.
#include <gtest/gtest.h>

#include <cerrno>

#include "app/register_file_actions.h"
#include "platform/system_error.h"
#include "platform/ui_services.h"
#include "registers/clsRegisters.h"
#include "registers/register_files.h"
#include "tests/support/temp_dir.h"

namespace {

using Texts = std::vector<std::string>;
using register_files::BytesToHex;

class FileActions : public ::testing::Test {
 protected:
  FileActions() {
    terminal.TimeStamp = [] { return std::string("T"); };
    ui.dialog_filters.clear();
    for (int i = 0; i < 256; ++i) image.push_back(static_cast<uint8_t>(i));
    registers.SetRegisters(image);
  }
  ~FileActions() override { ui.dialog_answers.clear(); }
  // The terminal's text, each run led by [B] (blue) or [R] (red).
  std::string Shown() const {
    std::string text;
    for (const auto& run : txtView.Runs())
      text += (run.colour == terminal_colour::kBlue ? "[B]" : "[R]") + run.text;
    return text;
  }

  platform::HeadlessUiServices& ui = platform::HeadlessUi();
  test_support::TempDir dir{"file-actions"};
  platform::RichTextView txtView{"txtView"};
  TerminalView terminal{txtView};
  platform::Label labAliasName{"labAliasName"};
  RegisterFileActions actions{terminal, labAliasName};
  platform::Form form{"frmSkin"};
  clsRegisters registers;
  std::vector<uint8_t> image;
};

TEST_F(FileActions, OpenTakesAGoodFileAndRefusesABadOne) {
  registers.SetINIFile(
      dir.WriteFile("skin.ini", "[Speed]\nRegister = 0x20\nDataType = BYTE\nControlType = TextBox\n"));
  auto& txtSpeed = form.Add<platform::TextBox>("txtSpeed");
  registers.AddRegister("Speed", &txtSpeed);
  std::vector<uint8_t> opened(256, 0x11);
  opened[0x20] = 42;
  ui.dialog_answers = {
      dir.WriteFile("good.cfg", "[MSRRegister]\nAliasName = Bank\nRegisters = " + BytesToHex(opened) + "\n"),
      dir.WriteFile("bad.cfg", "[MSRRegister]\nRegisters = " + BytesToHex(image).substr(1) + "\n"), "",
      dir.WriteFile("plain.cfg", "[MSRRegister]\nRegisters = " + BytesToHex(image, " ") + "\n")};

  EXPECT_TRUE(actions.Open(registers));
  EXPECT_EQ(txtSpeed.Text(), "42");  // the controls show the opened image
  EXPECT_EQ(labAliasName.Caption(), "Write Alias = Bank");
  EXPECT_FALSE(actions.Open(registers));
  EXPECT_EQ(registers.Registers(), opened);
  EXPECT_FALSE(actions.Open(registers));  // cancelled: nothing is said
  EXPECT_TRUE(actions.Open(registers));
  EXPECT_EQ(registers.Registers(), image);
  EXPECT_EQ(labAliasName.Caption(), "");
  EXPECT_EQ(Shown(),
            "[B]T - Open File OK!\r\n[R]T - Open File NG!\r\nT - Registers holds 511 hexadecimal "
            "digits, an odd number; every byte needs two\r\n[B]T - Open File OK!\r\n");
  EXPECT_EQ(ui.dialog_filters, Texts(4, "CFG File (*.cfg)|*.cfg"));
}

TEST_F(FileActions, SaveWritesImageModuleAndAlias) {
  dir.WriteFile("blocked", "a file, not a folder");
  ui.dialog_answers = {dir.File("reader1"), dir.File("dflt.cfg"), dir.File("blocked/x.cfg")};
  EXPECT_TRUE(actions.Save(registers, "KRD36AR", "Bank"));
  EXPECT_EQ(dir.ReadFile("reader1.cfg"),
            "[MSRRegister]\nModule = KRD36AR\nAliasName = Bank\nRegisters = " + BytesToHex(image) + "\n");
  EXPECT_TRUE(actions.Save(registers, "", "[DEFAULT]"));  // the default entry is no alias
  EXPECT_EQ(dir.ReadFile("dflt.cfg"),
            "[MSRRegister]\nModule = Unknown\nRegisters = " + BytesToHex(image) + "\n");
  EXPECT_FALSE(actions.Save(registers, "KRD36AR", ""));
  EXPECT_EQ(Shown(), "[B]T - Save File OK!\r\nT - Save File OK!\r\n[R]T - Save File NG!\r\nT - " +
                         dir.File("blocked/x.cfg") + ": " + platform::GetSystemErrorText(ENOTDIR) + "\r\n");
  EXPECT_EQ(ui.dialog_filters, Texts(3, "CFG File (*.cfg)|*.cfg"));
}

// What the alias entry "[DEFAULT]" puts into the image is the register files' business, tested there.
TEST_F(FileActions, SaveHexPutsTheAliasEntryIntoTheImage) {
  ui.dialog_answers = {dir.File("plain.hex"), dir.File("alias")};
  EXPECT_TRUE(actions.SaveHex(registers, std::nullopt));
  EXPECT_TRUE(actions.SaveHex(registers, std::string("Bank")));
  EXPECT_EQ(Shown(), "[B]T - Save Hex File OK!\r\nT - Save Hex File OK!\r\n");
  EXPECT_EQ(ui.dialog_filters, Texts(2, "Hex File (*.hex)|*.hex"));
  EXPECT_EQ(registers.Registers(), image);  // only the file gets the alias

  EXPECT_EQ(dir.ReadFile("plain.hex"), register_files::IntelHexText(image));
  // "Bank" and 12 bytes of 0xFF at 0x00E0; checksum 0xA0 brings the record's byte sum to 0 modulo 256.
  const std::string alias = dir.ReadFile("alias.hex");
  EXPECT_NE(alias.find(":1000E000" + BytesToHex({'B', 'a', 'n', 'k'}) + std::string(24, 'F') + "A0\r\n"),
            std::string::npos);
  EXPECT_EQ(alias.substr(alias.size() - 13), ":00000001FF\r\n");
}

}  // namespace
