// Single console runs with --trace: a write and a read each leave their row, a trace file that cannot be
// written stops the run before the reader is touched, and SIGTERM in the middle of the writes ends the run
// as cancelled, with its row.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/console/background_run.h"
#include "tests/console/console_bench.h"

namespace console_test {
namespace {

using ::testing::HasSubstr;

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
    lines.push_back(text.substr(start, end - start));
  }
  return lines;
}

TEST(ConsoleTrace, WriteAndReadLeaveTheirRowsAndAnUnwritableTraceTouchesNoReader) {
  ConsoleBench bench;
  msrsim::ReaderConfig config = Reader(FactoryImage("SHOP-1"));
  config.version_text = "A7-0042, V2.10";
  msrsim::EmulatedReader* reader = bench.AddReader("COM5", config);
  ASSERT_NE(reader, nullptr);
  const std::string file = bench.WriteCfg("job.cfg", HexOf(Changed(FactoryImage(), {0x10, 0x11})));
  const std::string trace = bench.Work().File("trace.csv");

  EXPECT_EQ(bench.Run({"--write-file", file, "--port", "COM5", "--trace", trace}).exit_code, 0);
  EXPECT_EQ(
      bench.Run({"--read-to", bench.Work().File("saved.cfg"), "--port", "COM5", "--trace", trace}).exit_code,
      0);
  const std::vector<std::string> rows = Lines(bench.Work().ReadFile("trace.csv"));
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_THAT(rows[0], ::testing::StartsWith("utc_time,host,port,"));
  EXPECT_THAT(rows[1],
              HasSubstr(",COM5," + reader->Path() + ",,\"KRD36AR,3TRACK,UART\",A7-0042,V2.10," + file));
  EXPECT_THAT(rows[1], HasSubstr(",SHOP-1,2,0,written and checked,"));
  EXPECT_THAT(rows[2], HasSubstr(",SHOP-1,0,0,read to file,"));

  const RunResult refused =
      bench.Run({"--write-file", file, "--port", "COM5", "--trace", bench.Work().File("no/such/trace.csv")});
  EXPECT_EQ(refused.exit_code, 255);
  EXPECT_THAT(refused.lines.front(), HasSubstr("Can't open trace file"));
  EXPECT_EQ(WriteCount(*reader), 2u);
}

TEST(ConsoleTrace, SigtermDuringTheWritesEndsTheRunAsCancelledAndTracesIt) {
  ConsoleBench bench;
  msrsim::ReaderConfig slow = Reader(FactoryImage());
  slow.latency_ms = 500;  // the four writes take two seconds
  msrsim::EmulatedReader* reader = bench.AddReader("COM5", slow);
  ASSERT_NE(reader, nullptr);
  const std::string file =
      bench.WriteCfg("job.cfg", HexOf(Changed(FactoryImage(), {0x10, 0x20, 0x30, 0x40})));
  BackgroundRun run(bench,
                    {"--write-file", file, "--port", "COM5", "--trace", bench.Work().File("t.csv"), "-q"});
  // The signal goes once the writes have begun; the output's end then says how the run ended.
  ASSERT_TRUE(run.WaitForLines("Begin write registers"));
  const int exit_code = run.Stop();
  std::string output;
  for (const std::string& line : run.Lines()) output += line + "\n";
  EXPECT_EQ(exit_code, 143) << output;
  EXPECT_THAT(output, HasSubstr("Cancelled\nWrite file to device fail\n"));
  EXPECT_LT(WriteCount(*reader), 4u);
  EXPECT_THAT(bench.Work().ReadFile("t.csv"), HasSubstr(",143,cancelled by SIGTERM,"));
}

}  // namespace
}  // namespace console_test
