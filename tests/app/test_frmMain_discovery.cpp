// Finding a reader from the window: the scan, the reader's identity, the skin chosen for it and the pages
// filled from it, against emulated readers.
#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/ui_services.h"
#include "registers/clsRegister.h"
#include "tests/app/frmMain_fixture.h"

namespace {

using app_test::FactoryReader;
using terminal_colour::kBlue;
using terminal_colour::kRed;

class Discovery : public app_test::WindowTest {};

TEST_F(Discovery, FindsTheReaderByItsModelAndFillsItsPages) {
  msrsim::ReaderConfig config = FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR");
  config.registers[0x32] = 2;  // LED: flash on read, unlike the factory image
  ASSERT_NE(readers.Add("COM3", config), nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();

  EXPECT_EQ(w.ucGNet.CommPort(), "COM3");
  EXPECT_TRUE(w.ucGNet.PortOpen());
  EXPECT_EQ(w.labProduct.Caption(), "KRD36AR,3TRACK,UART");
  EXPECT_EQ(w.labROMSN.Caption() + "|" + w.labROMVersion.Caption() + "|" + w.labPort.Caption(),
            "12345678|V1.05|COM3");
  EXPECT_EQ(ColourOf("Please waiting for check the device!"), kBlue);
  EXPECT_TRUE(Shows("Found KRD36AR,3TRACK,UART"));
  EXPECT_TRUE(Shows("Update Items Data...") && Shows("Update Items Data OK"));
  ASSERT_NE(w.SkinObject(), nullptr);
  EXPECT_EQ(w.SkinObject()->Owner(), &w.picBack);
  EXPECT_EQ(w.m_oRegisters.FindRegister("LED")->Text(), "Flash on read");
  EXPECT_TRUE(w.cmdWrite.Enabled() && w.cmdAutoScan.Enabled() && !w.cmdCancel.Visible());
  EXPECT_TRUE(platform::HeadlessUi().messages.empty());

  // The same reader again: the skin stays, the pages show what is read from it now.
  w.cmdAutoScan.UserClick();
  EXPECT_EQ(ColourOf("Load skin OK!"), kBlue);
  EXPECT_TRUE(Shows("Update Items Data OK"));
  EXPECT_EQ(w.m_oRegisters.FindRegister("LED")->Text(), "Flash on read");
}

TEST_F(Discovery, AKrdModelWithoutASkinFallsBackToOthersAnotherFamilyDoesNot) {
  ASSERT_NE(readers.Add("COM3", FactoryReader("KRD42XA-9,2TRACK,UART", "Others")), nullptr);
  frmMain& krd = Open();
  krd.cmdAutoScan.UserClick();
  EXPECT_EQ(krd.ModelName(), "KRD42XA-9");
  EXPECT_TRUE(Shows("Update Items Data OK"));
  EXPECT_TRUE(krd.ucGNet.PortOpen() && krd.SkinLoaded());

  // The settings file lets the scan accept another family; no skin knows it.
  program.Write("Trakset.ini", "[General]\nModuleNames = XYZ##*\n");
  ASSERT_NE(readers.Add("COM5", FactoryReader("XYZ12B,1TRACK", "Others")), nullptr);
  frmMain& other = Open();
  other.cmdAutoScan.UserClick();
  EXPECT_TRUE(Shows("Found XYZ12B,1TRACK"));
  EXPECT_EQ(ColourOf("Open Information File NG(Read Settings Error)"), kRed);
  EXPECT_FALSE(other.ucGNet.PortOpen());
  EXPECT_EQ(other.SkinObject(), nullptr);
  EXPECT_FALSE(other.cmdWrite.Enabled());
  EXPECT_TRUE(other.cmdRead.Enabled());  // Read scans again
}

TEST_F(Discovery, AnAliasWithASkinOfItsOwnWinsOverTheModel) {
  std::string definition = program.Read("Skin/KRD36AR.ini");
  definition.replace(definition.find("Module = KRD36AR"), 16, "Module = Shop-7");
  program.Write("Skin/Shop7.ini", definition);
  msrsim::ReaderConfig config = FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR");
  msrsim::SetAlias(config.registers, "Shop-7");
  ASSERT_NE(readers.Add("COM3", config), nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();

  EXPECT_EQ(w.labProduct.Caption(), "Shop-7");
  EXPECT_TRUE(Shows("Found Shop-7"));
  EXPECT_TRUE(Shows("Load skin by alias name: Shop-7"));
  EXPECT_TRUE(Shows("Update Items Data OK"));
  EXPECT_FALSE(Shows("Read Alias Name NG!"));

  // The same reader with an alias it will not give up: its model decides, and the window says why.
  config.refused_reads.registers = {0xE2};
  ASSERT_NE(readers.Add("COM3", config), nullptr);
  w.cmdAutoScan.UserClick();
  EXPECT_EQ(ColourOf("Read Alias Name NG!"), kRed);
  EXPECT_EQ(w.labProduct.Caption(), "KRD36AR,3TRACK,UART");
  EXPECT_TRUE(Shows("Found KRD36AR,3TRACK,UART"));
}

TEST_F(Discovery, CancelDuringTheScanEndsItQuietly) {
  msrsim::ReaderConfig silent = FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR");
  silent.silent = true;
  msrsim::EmulatedReader* reader = readers.Add("COM3", silent);
  ASSERT_NE(reader, nullptr);
  frmMain& w = Open();

  // Cancel sits over the port list; the person presses it once the first poll has gone out.
  platform::Timer press;
  bool over_the_list = false;
  press.OnTimer = [&] {
    if (reader->TransactionCount() == 0) return;
    press.SetEnabled(false);
    over_the_list = w.cmdCancel.Visible() && w.cmdCancel.Left() == w.cboPort.Left() &&
                    w.cmdCancel.Top() == w.cboPort.Top();
    w.cmdCancel.UserClick();
  };
  press.SetInterval(5);
  press.SetEnabled(true);
  const uint32_t start = platform::GetTickCount();
  w.cmdAutoScan.UserClick();

  EXPECT_TRUE(over_the_list);
  EXPECT_LT(platform::GetTickCount() - start, 1000u);  // not three full reply time-outs
  EXPECT_EQ(ColourOf("User Cancel"), kBlue);
  EXPECT_FALSE(Shows("Not Found Reader"));
  EXPECT_TRUE(platform::HeadlessUi().messages.empty());
  EXPECT_FALSE(w.cmdCancel.Visible());
}

}  // namespace
