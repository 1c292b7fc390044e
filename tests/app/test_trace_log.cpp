// The trace file's CSV: column order, quoting, and the file a production run starts and appends to.
#include "app/trace_log.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace {

TraceRecord Sample() {
  TraceRecord r;
  r.utc_time = "2026-11-24T21:41:17Z";
  r.host = "station-2";
  r.port = "COM5";
  r.device = "/dev/ttyUSB0";
  r.adapter_serial = "A50285BI";
  r.identification = "KRD36AR,3TRACK,UART";
  r.serial_number = "00123456";
  r.firmware = "V1.05";
  r.file = "/srv/cfg/KRD36AR.cfg";
  r.image_sha256 = "3d6876a0146de8576eb2395a858de1213d1b92c65b779df3a331cfd5a4584546";
  r.alias = "Gate";
  r.registers_written = 42;
  r.result = 0;
  r.result_text = "written and checked";
  r.seconds = 4.3;
  return r;
}

// The sample's row up to its alias.
const std::string kRowHead =
    "2026-11-24T21:41:17Z,station-2,COM5,/dev/ttyUSB0,A50285BI,\"KRD36AR,3TRACK,UART\",00123456,V1.05,"
    "/srv/cfg/KRD36AR.cfg,3d6876a0146de8576eb2395a858de1213d1b92c65b779df3a331cfd5a4584546,";

TEST(TraceLog, HeaderAndRowColumns) {
  EXPECT_EQ(
      TraceHeader(),
      "utc_time,host,port,device,adapter_serial,identification,serial_number,firmware,file,sha256,alias,"
      "registers_written,result,result_text,seconds\n");
  EXPECT_EQ(TraceRow(Sample()), kRowHead + "Gate,42,0,written and checked,4.3\n");
}

TEST(TraceLog, QuotesFieldsAndRoundsSeconds) {
  struct Case {
    std::string alias;
    double seconds;
    const char* tail;  // the row from its alias on
  };
  const Case cases[] = {
      {"plain text", 0, "plain text,42,0,written and checked,0.0\n"},
      {"", 12.96, ",42,0,written and checked,13.0\n"},
      {"a,b", 0.04, "\"a,b\",42,0,written and checked,0.0\n"},
      {"say \"hi\"", 1, "\"say \"\"hi\"\"\",42,0,written and checked,1.0\n"},
      {"\"", 1, "\"\"\"\",42,0,written and checked,1.0\n"},
      {"two\nlines", 1, "\"two\nlines\",42,0,written and checked,1.0\n"},
      {"cr\r", 1, "\"cr\r\",42,0,written and checked,1.0\n"},
      {"'single' ;semi", 1, "'single' ;semi,42,0,written and checked,1.0\n"},
  };
  for (const Case& c : cases) {
    TraceRecord record = Sample();
    record.alias = c.alias;
    record.seconds = c.seconds;
    EXPECT_EQ(TraceRow(record), kRowHead + c.tail);
  }
}

TEST(TraceLog, PreparedFileTakesRowsBelowOneHeader) {
  test_support::TempDir dir("trace");
  const std::string path = dir.File("trace.csv");
  ASSERT_TRUE(PrepareTraceFile(path));
  EXPECT_EQ(dir.ReadFile("trace.csv"), TraceHeader());
  ASSERT_TRUE(PrepareTraceFile(path));
  ASSERT_TRUE(AppendTraceRecord(path, Sample()));
  EXPECT_EQ(dir.ReadFile("trace.csv"), TraceHeader() + TraceRow(Sample()));
}

}  // namespace
