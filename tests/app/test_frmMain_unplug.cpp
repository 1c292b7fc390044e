// The reader's line goes away in the middle of the window's work: the scan, a Read register by register,
// the dump a Read starts with, a Write. Each ends within its time-out (and a second of slack) as a
// removal of the port in use, leaves the port closed and the pages waiting, and the next scan finds the
// reader plugged in again. With a real adapter the device manager reports the removal a moment after the
// line hung up; that second notice must not change the outcome.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "platform/clock.h"
#include "platform/ui_services.h"
#include "tests/app/frmMain_fixture.h"

namespace {

using app_test::FactoryReader;
using terminal_colour::kBlue;
using terminal_colour::kRed;

constexpr const char* kModel = "KRD36AR,3TRACK,UART";
constexpr int64_t kSlackMs = 1000;

enum class Step { kScan, kRead, kDump, kWrite };

struct UnplugCase {
  const char* name;
  Step step;
  // The result line of the workflow; none for the scan, which ends with "User Cancel" alone.
  const char* result_line;
  // The device manager's removal notice follows the hang-up.
  bool removal_notice = false;
};

void PrintTo(const UnplugCase& c, std::ostream* os) {
  *os << c.name;
}

class UnplugBench : public app_test::WindowTest {
 protected:
  // A reader whose line the test can close. During the scan its reply comes late, so the poll is still
  // waiting when the line goes; for a Read it cuts its dump short, so the read goes register by
  // register; for the dump it sends the table at the line's pace.
  msrsim::EmulatedReader* PlugIn(Step step) {
    msrsim::ReaderConfig config = FactoryReader(kModel, "KRD36AR");
    if (step == Step::kScan) config.latency_ms = 300;
    if (step == Step::kRead) config.dump_bytes = 10;
    if (step == Step::kDump) config.pacing = true;
    return readers.Add("COM3", config);
  }
  void CloseLine(msrsim::EmulatedReader& reader) {
    if (closed_at_ >= 0) return;
    closed_at_ = platform::MonotonicMs();
    reader.CloseLine();
  }
  // Closes the line from the event loop, inside whatever wait the window is in `after_ms` from now.
  void CloseLineAfter(msrsim::EmulatedReader& reader, int after_ms) {
    timer_.SetInterval(after_ms);
    timer_.OnTimer = [this, &reader] {
      timer_.SetEnabled(false);
      CloseLine(reader);
    };
    timer_.SetEnabled(true);
  }
  // Closes the line between two registers of the next register-by-register transfer.
  void CloseLineDuringTransfer(msrsim::EmulatedReader& reader) {
    auto calls = std::make_shared<int>(0);
    window->m_oRegisters.OnProgress = [this, progress = window->m_oRegisters.OnProgress, &reader,
                                       calls](double done) {
      progress(done);
      if (++*calls == 5) CloseLine(reader);
    };
  }
  size_t Count(const std::string& text) const {
    const std::string& shown = window->txtView.Text();
    size_t count = 0;
    for (size_t at = shown.find(text); at != std::string::npos; at = shown.find(text, at + 1)) ++count;
    return count;
  }

  int64_t closed_at_ = -1;
  platform::Timer timer_;
};

class Unplug : public UnplugBench, public ::testing::WithParamInterface<UnplugCase> {};

// Nothing runs when the reader goes: the window notices all the same and waits for it.
TEST_F(UnplugBench, AnIdleReaderThatGoesLeavesThePagesWaiting) {
  msrsim::EmulatedReader* reader = readers.Add("COM3", FactoryReader(kModel, "KRD36AR"));
  ASSERT_NE(reader, nullptr);
  frmMain& w = Open();
  w.cmdAutoScan.UserClick();
  ASSERT_TRUE(w.ucGNet.PortOpen() && w.SkinObject() != nullptr);
  ASSERT_TRUE(w.SkinObject()->SSTab()->Enabled() && w.cmdWrite.Enabled());

  reader->CloseLine();
  EXPECT_TRUE(PumpUntil([&] { return Shows("COM3 is removed!"); }, 2000)) << w.txtView.Text();
  w.OnSerialDeviceRemoval("COM3");  // the device manager's notice, a moment later
  EXPECT_EQ(Count("COM3 is removed!"), 1u) << w.txtView.Text();
  EXPECT_TRUE(w.Unplugged());
  EXPECT_FALSE(w.ucGNet.PortOpen());
  EXPECT_FALSE(w.SkinObject()->SSTab()->Enabled() || w.cmdWrite.Enabled() || w.cmdRead.Enabled());
  EXPECT_TRUE(w.cmdAutoScan.Enabled());
}

TEST_P(Unplug, EndsAsARemovalWithinItsTimeoutAndTheReaderIsFoundAgain) {
  const UnplugCase& c = GetParam();
  msrsim::EmulatedReader* reader = PlugIn(c.step);
  ASSERT_NE(reader, nullptr);
  frmMain& w = Open();
  w.TimerAutoScan.SetEnabled(false);
  w.chkCacheMode.SetValue(platform::CheckBox::kUnchecked);  // Write sends every register
  if (c.step != Step::kScan) {
    w.cmdAutoScan.UserClick();
    ASSERT_TRUE(w.ucGNet.PortOpen()) << w.txtView.Text();
    w.txtView.Clear();
  }

  switch (c.step) {
    case Step::kScan:
      CloseLineAfter(*reader, 100);
      w.cmdAutoScan.UserClick();
      break;
    case Step::kDump:
      // Past the time a dump just taken is reused, so the Read asks the reader again.
      PumpUntil([] { return false; }, ucGNet::kDumpTailMs + 50);
      CloseLineAfter(*reader, 50);
      w.cmdRead.UserClick();
      break;
    case Step::kRead:
      CloseLineDuringTransfer(*reader);
      w.cmdRead.UserClick();
      break;
    case Step::kWrite:
      CloseLineDuringTransfer(*reader);
      w.cmdWrite.UserClick();
      break;
  }
  ASSERT_GE(closed_at_, 0) << "the line did not close during the operation";
  const int64_t ended_after = platform::MonotonicMs() - closed_at_;
  EXPECT_LT(ended_after, w.ucGNet.GNetTimeout() + kSlackMs);
  if (c.removal_notice) w.OnSerialDeviceRemoval("COM3");

  EXPECT_EQ(Count("COM3 is removed!"), 1u) << w.txtView.Text();
  EXPECT_EQ(ColourOf("COM3 is removed!"), kRed);
  // A scan ends as cancelled; a workflow with its one result line.
  if (c.result_line[0] == '\0') {
    EXPECT_EQ(ColourOf("User Cancel"), kBlue) << w.txtView.Text();
  } else {
    EXPECT_EQ(ColourOf(c.result_line), kRed) << w.txtView.Text();
    EXPECT_FALSE(Shows("User Cancel"));
  }
  EXPECT_FALSE(Shows("Not Found Reader"));
  EXPECT_TRUE(platform::HeadlessUi().messages.empty());
  EXPECT_TRUE(w.Unplugged());
  EXPECT_FALSE(w.ucGNet.PortOpen());
  EXPECT_FALSE(w.ucGNet.Busy() || w.cmdCancel.Visible());
  EXPECT_TRUE(w.cmdRead.Enabled() && w.cmdAutoScan.Enabled());
  if (w.SkinObject() != nullptr) {
    EXPECT_FALSE(w.SkinObject()->SSTab()->Enabled());
  }

  // Plugged in again under the same name.
  ASSERT_NE(readers.Add("COM3", FactoryReader(kModel, "KRD36AR")), nullptr);
  w.txtView.Clear();
  w.cmdAutoScan.UserClick();
  EXPECT_TRUE(Shows(std::string("Found ") + kModel)) << w.txtView.Text();
  EXPECT_TRUE(w.ucGNet.PortOpen());
  EXPECT_FALSE(w.Unplugged());
  ASSERT_NE(w.SkinObject(), nullptr);
  EXPECT_TRUE(w.SkinObject()->SSTab()->Enabled());
}

const UnplugCase kCases[] = {
    {"Scan", Step::kScan, ""},         {"ScanThenRemovalNotice", Step::kScan, "", true},
    {"Read", Step::kRead, "Read NG!"}, {"ReadThenRemovalNotice", Step::kRead, "Read NG!", true},
    {"Dump", Step::kDump, "Read NG!"}, {"Write", Step::kWrite, "Write NG!"},
};

INSTANTIATE_TEST_SUITE_P(Window, Unplug, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<UnplugCase>& case_info) {
                           return case_info.param.name;
                         });

}  // namespace
