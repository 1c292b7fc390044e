// Read, Write and Default from the window against emulated readers, and what ends them early: a reader
// that is unplugged, a window that is closed.
#include <gtest/gtest.h>

#include <memory>

#include "platform/ui_services.h"
#include "registers/clsRegister.h"
#include "registers/user_settings.h"
#include "tests/app/frmMain_fixture.h"

namespace {

using app_test::FactoryReader;
using terminal_colour::kBlue;
using terminal_colour::kRed;

constexpr uint8_t kInterface = 0x00;
constexpr uint8_t kBeeper = 0x30;
constexpr uint8_t kLed = 0x32;

class Workflows : public app_test::WindowTest {
 protected:
  // A reader found by a scan, whose dump stops short so that a read goes register by register.
  msrsim::EmulatedReader* FoundSlowReader() {
    msrsim::ReaderConfig config = FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR");
    config.dump_bytes = 10;
    msrsim::EmulatedReader* reader = readers.Add("COM3", config);
    Open().cmdAutoScan.UserClick();
    EXPECT_TRUE(window->ucGNet.PortOpen());
    return reader;
  }
  // The register writes ("C" requests, their first `width` characters) since request `from`.
  static std::vector<std::string> WritesSince(const msrsim::EmulatedReader& reader, size_t from,
                                              size_t width) {
    std::vector<std::string> writes;
    const std::vector<std::string> requests = reader.Requests();
    for (size_t i = from; i < requests.size(); ++i) {
      if (requests[i][0] == 'C') writes.push_back(requests[i].substr(0, width));
    }
    return writes;
  }
};

TEST_F(Workflows, ReadFindsTheReaderFirstAndWriteInCacheModeSendsOnlyWhatChanged) {
  msrsim::EmulatedReader* reader = readers.Add("COM3", FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR"));
  ASSERT_NE(reader, nullptr);
  frmMain& w = Open();
  w.cmdRead.UserClick();
  EXPECT_TRUE(Shows("Found KRD36AR,3TRACK,UART") && Shows("Begin Read Register..."));
  EXPECT_EQ(ColourOf("Read OK!"), kBlue);
  EXPECT_EQ(w.m_oRegisters.FindRegister("LED")->Text(), "On while ready");

  platform::ComboBox* led = w.m_oRegisters.FindRegister("LED")->FMTComboBox();
  led->UserSelect(2);                                               // "Flash on read"
  ASSERT_EQ(w.chkCacheMode.Value(), platform::CheckBox::kChecked);  // the default
  const size_t before = reader->TransactionCount();
  w.cmdWrite.UserClick();
  EXPECT_EQ(ColourOf("Write OK!"), kBlue);
  EXPECT_EQ(WritesSince(*reader, before, 6), std::vector<std::string>{"C32,02"});
  EXPECT_EQ(reader->Register(kLed), 2);
}

TEST_F(Workflows, ANewBaudRateIsWrittenLastAndTheProgramFollowsTheReader) {
  msrsim::EmulatedReader* reader = readers.Add("COM3", FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR"));
  frmMain& w = Open();
  w.cmdRead.UserClick();
  ASSERT_EQ(ColourOf("Read OK!"), kBlue);

  platform::ComboBox* baud = w.m_oRegisters.FindRegister("Baudrate")->FMTComboBox();
  for (int i = 0; i < baud->ListCount(); ++i) {
    if (baud->List(i) == "9600") baud->UserSelect(i);
  }
  ASSERT_EQ(baud->Text(), "9600");
  w.m_oRegisters.FindRegister("LED")->FMTComboBox()->UserSelect(2);  // a register above the baud rate
  const size_t before = reader->TransactionCount();
  w.cmdWrite.UserClick();
  EXPECT_EQ(ColourOf("Write OK!"), kBlue) << w.txtView.Text();
  EXPECT_EQ(WritesSince(*reader, before, 3), (std::vector<std::string>{"C32", "C01"}));  // line setting last
  EXPECT_EQ(reader->Register(kLed), 2);
  EXPECT_EQ(reader->LineRate(), 9600);
  EXPECT_EQ(w.ucGNet.Settings().rfind("9600,", 0), 0u) << w.ucGNet.Settings();

  // The next read works at the new rate.
  w.txtView.Clear();
  w.cmdRead.UserClick();
  EXPECT_EQ(ColourOf("Read OK!"), kBlue);
}

TEST_F(Workflows, ReadWithoutAReaderShowsOnlyWhatTheScanFound) {
  frmMain& w = Open();
  w.cmdRead.UserClick();
  EXPECT_EQ(ColourOf("Not Found Reader"), kRed);
  ASSERT_EQ(platform::HeadlessUi().messages.size(), 1u);
  EXPECT_EQ(platform::HeadlessUi().messages[0].text, "Not Found Reader");
  EXPECT_EQ(platform::HeadlessUi().messages[0].style, platform::kMbCritical);
  EXPECT_FALSE(Shows("Begin Read Register") || Shows("Read NG!"));
  EXPECT_TRUE(w.cmdRead.Enabled() && w.cmdAutoScan.Enabled() && w.chkTestMode.Enabled());
}

TEST_F(Workflows, DefaultKeepsTheInterfaceUnlessTheInstallationLetsTheFileChooseIt) {
  // A factory file that would switch the reader to the keyboard port, and silence it.
  std::string factory = program.Read("Default/KRD36AR.cfg");
  const size_t image = factory.find("Registers = ") + 12;
  factory.replace(image + 2 * kInterface, 2, "01");
  factory.replace(image + 2 * kBeeper, 2, "00");
  program.Write("Default/KRD36AR.cfg", factory);
  msrsim::EmulatedReader* reader = readers.Add("COM3", FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR"));
  ASSERT_NE(reader, nullptr);

  Open().cmdDefault.UserClick();
  EXPECT_EQ(ColourOf("Set Default OK!"), kBlue);
  EXPECT_EQ(reader->Register(kBeeper), 0);
  EXPECT_EQ(reader->Register(kInterface), 0);
  EXPECT_EQ(window->m_oRegisters.FindRegister("Interface")->Text(), "UART");
  EXPECT_FALSE(Shows("Set Alias Name"));  // no alias chosen, and no KRD300

  program.Write("Trakset.ini", "[General]\nDefaultAutoInterface = TRUE\n");
  Open().cmdDefault.UserClick();
  EXPECT_TRUE(Shows("Set Default OK!"));
  EXPECT_EQ(reader->Register(kInterface), 1);
}

TEST_F(Workflows, DefaultOnAKrd300WithoutItsOwnFileUsesOthersAndNamesTheReader) {
  msrsim::EmulatedReader* reader = readers.Add("COM3", FactoryReader("KRD300AR,3TRACK,UART", "Others"));
  ASSERT_NE(reader, nullptr);
  reader->SetRegister(kLed, 0);
  frmMain& w = Open();
  w.cmdDefault.UserClick();
  EXPECT_EQ(ColourOf("Set Alias Name OK!"), kBlue);
  EXPECT_EQ(ColourOf("Set Default OK!"), kBlue);
  EXPECT_EQ(msrsim::GetAlias(reader->Registers()), "zk4100_MSR");
  EXPECT_EQ(w.labProduct.Caption(), "zk4100_MSR");
  EXPECT_EQ(reader->Register(kLed), 1);  // from Others.cfg
}

TEST_F(Workflows, ACancelledOrUnpluggedReadEndsWithOneResultLine) {
  for (const bool unplug : {false, true}) {
    SCOPED_TRACE(unplug ? "unplugged" : "cancelled");
    msrsim::EmulatedReader* reader = FoundSlowReader();
    ASSERT_NE(reader, nullptr);
    frmMain& w = *window;
    w.txtView.Clear();
    DuringTransfer([&] {
      if (!unplug) return w.cmdCancel.UserClick();
      reader->CloseLine();
      w.OnSerialDeviceRemoval("COM3");
    });
    w.cmdRead.UserClick();

    EXPECT_EQ(CountOf("Read NG!"), 1);
    EXPECT_EQ(ColourOf("Read NG!"), kRed);
    EXPECT_FALSE(Shows("User Cancel") || Shows("Read OK!"));
    EXPECT_EQ(ColourOf("COM3 is removed!"), unplug ? int64_t{kRed} : int64_t{-1});
    EXPECT_EQ(w.Unplugged(), unplug);
    EXPECT_EQ(w.ucGNet.PortOpen(), !unplug);
    EXPECT_EQ(w.SkinObject()->SSTab()->Enabled(), !unplug);  // the pages wait for the reader
    EXPECT_TRUE(w.cmdRead.Enabled() && !w.cmdCancel.Visible());
  }
}

TEST_F(Workflows, CancelDuringTheScanPartOfAReadEndsTheWholeRead) {
  msrsim::ReaderConfig config = FactoryReader("KRD36AR,3TRACK,UART", "KRD36AR");
  config.dump_bytes = 10;  // discovery then reads register by register, long enough to press Cancel
  readers.Add("COM3", config);
  frmMain& w = Open();
  DuringTransfer([&] { w.cmdCancel.UserClick(); });
  w.cmdRead.UserClick();
  EXPECT_EQ(CountOf("Read NG!"), 1);
  EXPECT_FALSE(Shows("Begin Read Register..."));
}

TEST_F(Workflows, ClosingTheWindowDuringATransferOnlyCancelsIt) {
  msrsim::EmulatedReader* reader = FoundSlowReader();
  ASSERT_NE(reader, nullptr);
  frmMain& w = *window;
  std::vector<bool> closed;
  size_t transactions_at_close = 0;
  DuringTransfer([&] {
    w.cmdExit.UserClick();
    closed.push_back(w.Form().RequestClose());
    transactions_at_close = reader->TransactionCount();
  });
  w.cmdRead.UserClick();
  EXPECT_EQ(closed, std::vector<bool>{false});
  EXPECT_TRUE(w.Form().Shown());
  EXPECT_TRUE(Shows("Read NG!"));
  EXPECT_EQ(reader->TransactionCount(), transactions_at_close);  // not one request after the close

  // Once the transfer has ended the window closes and remembers where the reader was.
  w.chkCacheMode.UserClick();
  w.cboPort.UserSelect(1);
  EXPECT_TRUE(w.Form().RequestClose());
  EXPECT_FALSE(w.ucGNet.PortOpen());
  EXPECT_EQ(GetUserSetting("COMM", "Port", "") + "," + GetUserSetting("COMM", "Baudrate", ""), "COM3,19200");
  EXPECT_EQ(GetUserSetting("COMM", "ScanPort", "") + "," + GetUserSetting("General", "Cache", ""), "1,FALSE");
}

}  // namespace
