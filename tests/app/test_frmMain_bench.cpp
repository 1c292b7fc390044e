// The window on a technician's bench, where things change while it stays open: ports mapped after it
// started, a unit swapped for another of the same model, an alias erased, a reader at the other rate, a
// file taken from a reader on another line.
#include <gtest/gtest.h>

#include "platform/ui_services.h"
#include "registers/clsRegister.h"
#include "registers/register_files.h"
#include "registers/user_settings.h"
#include "tests/app/frmMain_fixture.h"

namespace {

using app_test::FactoryReader;
using terminal_colour::kBlue;
using terminal_colour::kRed;

constexpr int kInterface = 0x00;
constexpr int kBeeper = 0x30;
constexpr int kLed = 0x32;
constexpr const char* kIdentification = "KRD36AR,3TRACK,UART";

class Bench : public app_test::WindowTest {
 protected:
  std::string Led() const { return window->m_oRegisters.FindRegister("LED")->Text(); }
};

TEST_F(Bench, APortMappedInTheSettingsFileAfterStartUpIsFoundAndOneUnmappedLeavesTheList) {
  InstallUserPortMap();  // the settings file's SerialPorts, as the program reads it, not the test's map
  frmMain& w = Open();
  EXPECT_EQ(w.cboPort.ListCount(), 0);

  msrsim::EmulatedReader reader(FactoryReader(kIdentification, "KRD36AR"));
  ASSERT_TRUE(reader.Start());
  ASSERT_TRUE(RegisterUserPort("COM5", reader.Path()));
  w.cmdAutoScan.UserClick();
  EXPECT_TRUE(Shows("Found KRD36AR"));
  EXPECT_EQ(w.ucGNet.CommPort(), "COM5");
  EXPECT_EQ(w.cboPort.ListCount(), 2);  // "Auto" and COM5

  reader.CloseLine();
  ASSERT_TRUE(UnregisterUserPort("COM5", reader.Path()));
  ASSERT_TRUE(PumpUntil([&] { return !w.ucGNet.PortOpen(); }, 5000));
  w.cmdAutoScan.UserClick();
  EXPECT_EQ(w.cboPort.ListCount(), 0);
  EXPECT_FALSE(Shows("COM5"));  // not tried, so no line about it
  EXPECT_EQ(ColourOf("Not Found Reader"), kRed);
}

TEST_F(Bench, AUnitSwappedForAnotherOfTheSameModelKeepsItsOwnRegisters) {
  msrsim::ReaderConfig first = FactoryReader(kIdentification, "KRD36AR");
  first.registers[kLed] = 2;
  first.registers[kBeeper] = 0;
  msrsim::EmulatedReader* unit_a = readers.Add("COM3", first);
  ASSERT_NE(unit_a, nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();
  ASSERT_EQ(Led(), "Flash on read");

  // Unit A is pulled out, unit B of the same model goes on the same adapter, Auto Scan.
  unit_a->CloseLine();
  ASSERT_TRUE(PumpUntil([&] { return !w.ucGNet.PortOpen(); }, 5000));
  msrsim::EmulatedReader* unit_b = readers.Add("COM3", FactoryReader(kIdentification, "KRD36AR"));
  ASSERT_NE(unit_b, nullptr);
  const msrsim::RegisterImage image_b = unit_b->Registers();
  w.cmdAutoScan.UserClick();
  EXPECT_EQ(ColourOf("Load skin OK!"), kBlue);
  EXPECT_EQ(Led(), "On while ready");
  w.cmdWrite.UserClick();  // Cache is ticked
  EXPECT_EQ(ColourOf("Write OK!"), kBlue);
  EXPECT_EQ(unit_b->Registers(), image_b);

  // Unit C, whose read after the scan the person cancels: the pages hold nothing of it, and a Write
  // (with Cache or without) sends nothing of B.
  for (const bool cached : {true, false}) {
    SCOPED_TRACE(cached ? "cached" : "full");
    unit_b->CloseLine();
    ASSERT_TRUE(PumpUntil([&] { return !w.ucGNet.PortOpen(); }, 5000));
    msrsim::ReaderConfig third = first;
    third.dump_bytes = 10;  // read register by register, long enough to press Cancel
    msrsim::EmulatedReader* unit_c = readers.Add("COM3", third);
    ASSERT_NE(unit_c, nullptr);
    const msrsim::RegisterImage image_c = unit_c->Registers();
    DuringTransfer([&] { w.cmdCancel.UserClick(); });
    w.cmdAutoScan.UserClick();
    ASSERT_TRUE(w.ucGNet.PortOpen());
    w.chkCacheMode.SetValue(cached ? platform::CheckBox::kChecked : platform::CheckBox::kUnchecked);
    w.txtView.Clear();
    w.cmdWrite.UserClick();
    EXPECT_EQ(ColourOf("Write OK!"), kBlue);
    EXPECT_EQ(unit_c->Registers(), image_c);
    EXPECT_EQ(Led(), "Flash on read");  // what C holds, shown once known
    unit_b = unit_c;
  }
}

TEST_F(Bench, AnAliasErasedByWriteLetsTheNextScanChooseTheModelsSkinAndTheAliasButtonWaitsForTheScan) {
  std::string definition = program.Read("Skin/KRD36AR.ini");
  definition.replace(definition.find("Module = KRD36AR"), 16, "Module = Shop-7");
  program.Write("Skin/Shop7.ini", definition);
  program.Write(
      "AliasName.ini",
      "[General]\nAliasEnable = TRUE\n[KRD36AR]\nSelectItem = -1\nAlias0 = [DEFAULT]\nAlias1 = Shop-7\n");
  msrsim::ReaderConfig config = FactoryReader(kIdentification, "KRD36AR");
  config.dump_bytes = 10;
  msrsim::SetAlias(config.registers, "Shop-7");
  msrsim::EmulatedReader* reader = readers.Add("COM3", config);
  ASSERT_NE(reader, nullptr);
  frmMain& w = Open();
  bool alias_button_enabled = true;
  bool dialog_opened = false;
  w.m_oAliasNames.Dialog().OnShown = [&](frmAliasName& dialog) {
    dialog_opened = true;
    dialog.cmdAction[frmAliasName::kCancel]->UserClick();
  };
  DuringTransfer([&] {
    alias_button_enabled = w.cmdAliasName.Enabled() || w.cboAliasName.Enabled();
    w.cmdAliasName.OnClick();  // a click that slipped through opens no dialog inside the scan
  });
  w.cmdAutoScan.UserClick();
  EXPECT_FALSE(alias_button_enabled);
  EXPECT_FALSE(dialog_opened);
  EXPECT_TRUE(Shows("Load skin by alias name: Shop-7"));
  EXPECT_TRUE(w.cmdAliasName.Enabled() && w.cboAliasName.Enabled());

  w.cboAliasName.UserSelect(0);  // [DEFAULT]
  w.cmdWrite.UserClick();
  EXPECT_EQ(ColourOf("Set Alias Name OK!"), kBlue);
  EXPECT_EQ(msrsim::GetAlias(reader->Registers()), "");

  w.cmdAutoScan.UserClick();
  EXPECT_FALSE(Shows("Load skin OK!") || Shows("Load skin by alias name"));
  EXPECT_TRUE(Shows("Update Items Data OK"));
  EXPECT_EQ(w.labProduct.Caption(), kIdentification);
}

TEST_F(Bench, AReaderAt9600IsFoundWithTheShippedSettings) {
  msrsim::ReaderConfig config = FactoryReader(kIdentification, "KRD36AR");
  config.line_rate = 9600;
  ASSERT_NE(readers.Add("COM3", config), nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();
  EXPECT_TRUE(Shows("Scan COM3, BaudRate=19200") && Shows("Scan COM3, BaudRate=9600"));
  EXPECT_TRUE(Shows("Update Items Data OK"));
  EXPECT_EQ(w.Baudrate(), 9600);
}

TEST_F(Bench, AFileFromAReaderOnAnotherLineNeverMovesThisReaderOffItsLine) {
  for (const bool cached : {true, false}) {
    SCOPED_TRACE(cached ? "cached" : "full");
    msrsim::EmulatedReader* reader = readers.Add("COM3", FactoryReader(kIdentification, "KRD36AR"));
    ASSERT_NE(reader, nullptr);
    frmMain& w = Open();
    w.cmdAutoScan.UserClick();
    const msrsim::RegisterImage held = reader->Registers();
    std::vector<uint8_t> image(held.begin(), held.end());
    image[kInterface] = 1;  // taken from a reader on the keyboard port
    image[kLed] = 2;
    platform::HeadlessUi().dialog_answers = {user_config.WriteFile(
        "other-line.cfg",
        "[MSRRegister]\nModule = KRD36AR\nRegisters = " + register_files::BytesToHex(image) + "\n")};
    w.cmdOpen.UserClick();
    w.chkCacheMode.SetValue(cached ? platform::CheckBox::kChecked : platform::CheckBox::kUnchecked);
    w.cmdWrite.UserClick();
    EXPECT_EQ(ColourOf("Write OK!"), kBlue);
    EXPECT_EQ(reader->Register(kLed), 2);
    EXPECT_EQ(reader->Register(kInterface), 0);
    EXPECT_EQ(w.m_oRegisters.FindRegister("Interface")->Text(), "UART");
  }
}

TEST_F(Bench, SettingsThatCannotBeSavedAtCloseAreReportedNotDroppedSilently) {
  // A file where the settings folder should be: no process, root included, can write below it.
  const std::string blocked = user_config.WriteFile("not-a-folder", "");
  test_support::ScopedEnv unwritable("XDG_CONFIG_HOME", blocked);
  frmMain& w = Open();
  EXPECT_TRUE(w.Form().RequestClose());
  EXPECT_EQ(ColourOf("Form_Unload - settings not saved: "), kRed);
  ASSERT_EQ(platform::HeadlessUi().messages.size(), 1u);
  EXPECT_NE(platform::HeadlessUi().messages[0].text.find("not-a-folder"), std::string::npos)
      << platform::HeadlessUi().messages[0].text;
}

}  // namespace
