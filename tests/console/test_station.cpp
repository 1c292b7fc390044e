// The production station against emulated readers: readers that come together and one after another, a
// reader pulled out in the middle of its writes and plugged in again, a faulty reader beside healthy
// ones, SIGTERM while jobs run, and the trace file's rows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "app/sha256.h"
#include "tests/console/background_run.h"
#include "tests/console/console_bench.h"

namespace console_test {
namespace {

using ::testing::HasSubstr;

std::vector<std::vector<std::string>> CsvRows(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    std::vector<std::string> fields;
    std::istringstream row(line);
    // The rows of these tests hold no quoted field apart from the identification, which has commas.
    for (std::string field; std::getline(row, field, ',');) fields.push_back(field);
    rows.push_back(fields);
  }
  return rows;
}

// The trace rows of `port`, as "result,registers_written" texts, oldest first.
std::vector<std::string> TraceResults(const std::string& trace, const std::string& port) {
  std::vector<std::string> results;
  for (const std::string& row : [&] {
         std::vector<std::string> lines;
         std::istringstream in(trace);
         for (std::string line; std::getline(in, line);) lines.push_back(line);
         return lines;
       }()) {
    if (row.find("," + port + ",") == std::string::npos) continue;
    // result and result_text are the last columns but one and two: ...,registers,result,text,seconds
    std::vector<std::string> fields;
    std::istringstream in(row);
    for (std::string field; std::getline(in, field, ',');) fields.push_back(field);
    results.push_back(fields[fields.size() - 3] + "," + fields[fields.size() - 4]);
  }
  return results;
}

msrsim::ReaderConfig Numbered(const msrsim::RegisterImage& image, const std::string& serial) {
  msrsim::ReaderConfig config = Reader(image);
  config.version_text = serial + ", V1.05";
  return config;
}

TEST(Station, ReadersTogetherAndLaterAreEachWrittenOnceAndTraced) {
  ConsoleBench bench;
  const msrsim::RegisterImage wanted = Changed(FactoryImage(), {0x10, 0x20, 0x30});
  const std::string file = bench.WriteCfg("job.cfg", HexOf(wanted));
  const std::string trace = bench.Work().File("trace.csv");
  std::vector<msrsim::EmulatedReader*> readers;
  for (const char* port : {"COM5", "COM6", "HID1"}) {
    readers.push_back(bench.AddReader(port, Numbered(FactoryImage(), std::string("SN-") + port)));
    ASSERT_NE(readers.back(), nullptr);
  }

  BackgroundRun station(
      bench, {"--station", "--write-file", file, "--ports", "com5,COM6,HID1,COM7", "--trace", trace});
  ASSERT_TRUE(station.WaitForLines(" 0 written and checked", 3)) << ::testing::PrintToString(station.Lines());
  for (msrsim::EmulatedReader* reader : readers) EXPECT_EQ(HexOf(reader->Registers()), HexOf(wanted));

  // One more reader later, on a port that had none, at another rate, which the file moves it off: written
  // as well, and looked at on its new rate afterwards; the others, polled meanwhile, are left alone.
  msrsim::ReaderConfig other_rate = Numbered(Changed(wanted, {0x40}), "SN-COM7");
  other_rate.line_rate = 9600;
  msrsim::EmulatedReader* late = bench.AddReader("COM7", other_rate);
  ASSERT_NE(late, nullptr);
  ASSERT_TRUE(station.WaitForLines(" 0 written and checked", 4));
  const size_t polls_before = late->TransactionCount();
  ASSERT_TRUE(late->WaitForTransactions(polls_before + 2, 10000)) << "the station stopped looking";
  const std::vector<msrsim::Transaction> polls = late->Transactions();
  for (size_t i = polls_before; i < polls.size(); ++i)
    EXPECT_EQ(polls[i].host_rate, 19200u) << polls[i].request;
  EXPECT_EQ(HexOf(late->Registers()), HexOf(wanted));
  for (msrsim::EmulatedReader* reader : readers) EXPECT_EQ(WriteCount(*reader), 3u);

  EXPECT_EQ(station.Stop(), 0);
  EXPECT_THAT(station.LinesWith("SN SN-COM7"), ::testing::SizeIs(1));
  EXPECT_THAT(station.Lines().back(), HasSubstr("4 readers ended with 0"));
  const std::vector<std::vector<std::string>> rows = CsvRows(bench.Work().ReadFile("trace.csv"));
  ASSERT_EQ(rows.size(), 5u);
  EXPECT_EQ(rows[0][0], "utc_time");
  for (size_t i = 1; i < rows.size(); ++i) {
    EXPECT_THAT(rows[i][2], ::testing::AnyOf("COM5", "COM6", "HID1", "COM7"));
    EXPECT_EQ(rows[i][8], "SN-" + rows[i][2]) << "serial number column";
    EXPECT_EQ(rows[i][9], "V1.05");
    EXPECT_EQ(rows[i][10], file);
    EXPECT_EQ(rows[i][11], Sha256Hex(std::vector<uint8_t>(wanted.begin(), wanted.end())));
  }
  EXPECT_EQ(TraceResults(bench.Work().ReadFile("trace.csv"), "COM7"), std::vector<std::string>{"0,2"});
}

TEST(Station, AReaderPulledOutMidWriteIsTracedAndWrittenWhenBackWhileAFaultyNeighbourHarmsNoOther) {
  ConsoleBench bench;
  const msrsim::RegisterImage wanted = Changed(FactoryImage(), {0x10, 0x20, 0x30});
  const std::string file = bench.WriteCfg("job.cfg", HexOf(wanted));
  const std::string trace = bench.Work().File("trace.csv");
  msrsim::ReaderConfig pulled = Reader(FactoryImage());
  // The worker's look, then the job's poll, version, two dumps and two writes: the line goes while the
  // third write waits.
  pulled.close_after = 7;
  msrsim::EmulatedReader* first = bench.AddReader("COM5", pulled);
  msrsim::ReaderConfig faulty = Reader(FactoryImage());
  faulty.drop_percent = 30;
  faulty.bad_checksum_percent = 30;
  faulty.seed = 11;
  ASSERT_NE(bench.AddReader("COM6", faulty), nullptr);
  msrsim::EmulatedReader* healthy = bench.AddReader("HID1", Reader(FactoryImage()));
  ASSERT_NE(first, nullptr);
  ASSERT_NE(healthy, nullptr);
  // A reader that answers every poll "not ready": one line and one row, not one a second.
  msrsim::ReaderConfig busy = Reader(FactoryImage());
  busy.not_ready_polls = 1000000;
  msrsim::EmulatedReader* never_ready = bench.AddReader("COM7", busy);
  ASSERT_NE(never_ready, nullptr);

  BackgroundRun station(bench, {"--station", "--write-file", file, "--ports", "COM5,COM6,HID1,COM7",
                                "--trace", trace, "--verbose"});
  ASSERT_TRUE(
      station.WaitForLines("COM5   SN 12345678     KRD36AR,3TRACK,UART    5 writing a register failed"));
  ASSERT_TRUE(station.WaitForLines("HID1   SN 12345678     KRD36AR,3TRACK,UART    0 written and checked"));
  EXPECT_EQ(HexOf(healthy->Registers()), HexOf(wanted));

  // The same unit plugged in again at once, before a look could find its port missing.
  msrsim::EmulatedReader* again = bench.AddReader("COM5", Reader(first->Registers()));
  ASSERT_NE(again, nullptr);
  ASSERT_TRUE(station.WaitForLines("COM5   SN 12345678     KRD36AR,3TRACK,UART    0 written and checked"));
  EXPECT_EQ(HexOf(again->Registers()), HexOf(wanted));
  // Each port's steps stay on their own lines under their own name.
  EXPECT_THAT(station.LinesWith("HID1     Write 0x30 registers OK"), ::testing::SizeIs(1));

  ASSERT_TRUE(station.WaitForLines("COM6   SN"));
  ASSERT_TRUE(station.WaitForLines("COM7   SN 12345678     -                      1 not a supported model"));
  const size_t looks = never_ready->TransactionCount();
  ASSERT_TRUE(never_ready->WaitForTransactions(looks + 2, 10000));
  EXPECT_EQ(station.Stop(), 7);
  EXPECT_THAT(station.LinesWith("COM7   SN"), ::testing::SizeIs(1));
  EXPECT_EQ(TraceResults(bench.Work().ReadFile("trace.csv"), "COM5"),
            (std::vector<std::string>{"5,2", "0,1"}));
  EXPECT_EQ(TraceResults(bench.Work().ReadFile("trace.csv"), "HID1"), std::vector<std::string>{"0,3"});
  EXPECT_THAT(station.LinesWith("ended with 5 (writing a register failed)"), ::testing::SizeIs(1));
}

TEST(Station, SigtermWhileJobsRunCancelsAndTracesThem) {
  ConsoleBench bench;
  const std::string file = bench.WriteCfg("job.cfg", HexOf(Changed(FactoryImage(), {0x10, 0x20, 0x30})));
  const std::string trace = bench.Work().File("trace.csv");
  std::vector<msrsim::EmulatedReader*> readers;
  for (const char* port : {"COM5", "COM6"}) {
    msrsim::ReaderConfig slow = Reader(FactoryImage());
    slow.latency_ms = 300;  // a job of several seconds
    readers.push_back(bench.AddReader(port, slow));
    ASSERT_NE(readers.back(), nullptr);
  }
  BackgroundRun station(
      bench, {"--station", "--write-file", file, "--ports", "COM5,COM6", "--trace", trace, "--verbose"});
  ASSERT_TRUE(station.WaitForLines("Read registers OK", 2));
  EXPECT_EQ(station.Stop(), 7);
  EXPECT_THAT(station.LinesWith("143 cancelled by SIGTERM"), ::testing::SizeIs(2));
  EXPECT_THAT(station.Lines().back(), HasSubstr("2 readers ended with 143 (cancelled by SIGTERM)"));
  for (const char* port : {"COM5", "COM6"}) {
    const std::vector<std::string> results = TraceResults(bench.Work().ReadFile("trace.csv"), port);
    ASSERT_EQ(results.size(), 1u) << port;
    EXPECT_EQ(results[0].substr(0, 4), "143,");
  }
}

TEST(Station, RefusesToStartWithAFileItCannotWrite) {
  ConsoleBench bench;
  const std::string broken = bench.WriteCfg("broken.cfg", "0011");
  for (const std::string& file : {bench.Work().File("missing.cfg"), broken}) {
    const RunResult run = bench.Run({"--station", "--write-file", file, "--ports", "COM5"});
    EXPECT_EQ(run.exit_code, 255) << file;
    EXPECT_THAT(run.errors, HasSubstr(file));
    EXPECT_TRUE(run.lines.empty()) << "the station started";
  }
  EXPECT_EQ(bench.Run({"--station", "--write-file", broken, "--ports", "COM5,LPT1"}).exit_code, 255);
}

}  // namespace
}  // namespace console_test
