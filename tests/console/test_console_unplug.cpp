// A reader whose line (a serial line, or the USB HID bridge in front of it) goes away in the middle of a
// batch write: msrcfg ends at once with the write that failed and its result code, and a run after the
// reader is plugged in again under the same name (found by the scan this time) writes the file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "tests/console/console_bench.h"

namespace console_test {
namespace {

constexpr int64_t kSlackMs = 1000;

class ConsoleUnplug : public ::testing::TestWithParam<const char*> {};

TEST_P(ConsoleUnplug, AWriteCutByAHangUpEndsWithinItsTimeoutAndTheNextRunFindsTheReader) {
  const std::string port = GetParam();
  ConsoleBench bench;
  msrsim::ReaderConfig config = Reader(FactoryImage());
  config.close_after = 5;  // a poll, two dumps, two writes: the line goes while the third write waits
  msrsim::EmulatedReader* reader = bench.AddReader(port, config);
  ASSERT_NE(reader, nullptr);
  const msrsim::RegisterImage wanted = Changed(FactoryImage(), {0x10, 0x20, 0x30});
  const std::string file = bench.WriteCfg("job.cfg", HexOf(wanted));

  int64_t closed_at = -1;
  std::thread watch([&] {
    if (reader->WaitForLineClosed(10000)) closed_at = platform::MonotonicMs();
  });
  const RunResult cut = bench.Run({"/WriteFile:" + file, "/Port:" + port});
  const int64_t ended_at = platform::MonotonicMs();
  watch.join();
  ASSERT_GE(closed_at, 0) << "the line did not close";
  // Named directly, the port is used with the engine's own reply time-out.
  EXPECT_LT(ended_at - closed_at, ucGNet::kDefaultTimeoutMs + kSlackMs);
  EXPECT_EQ(cut.exit_code, 5) << cut.errors;
  EXPECT_THAT(cut.lines, ::testing::ElementsAre("Read registers from the device...", "Read registers OK",
                                                "Begin write registers", "Write 0x10 registers OK",
                                                "Write 0x20 registers OK", "Write 0x30 registers fail",
                                                "Write file to device fail"));

  msrsim::EmulatedReader* again = bench.AddReader(port, Reader(reader->Registers()));
  ASSERT_NE(again, nullptr);
  const RunResult rerun = bench.Run({"/WriteFile:" + file, "/Port:AUTO"});
  EXPECT_EQ(rerun.exit_code, 0) << rerun.errors;
  EXPECT_THAT(rerun.lines, ::testing::Contains("Found a device at " + port));
  EXPECT_EQ(again->Registers(), wanted);
}

INSTANTIATE_TEST_SUITE_P(SerialAndHid, ConsoleUnplug, ::testing::Values("COM5", "HID1"));

}  // namespace
}  // namespace console_test
