// Appending rows: the header of a new file, the repair of a torn tail, refusals, and writers that race.
#include "platform/record_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <latch>
#include <map>
#include <optional>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::TempDir;

TEST(AppendRecord, GivesANewFileItsHeaderOnce) {
  TempDir dir("record");
  ASSERT_TRUE(platform::AppendRecord(dir.File("t.csv"), "h\n", ""));  // no record: only the header
  ASSERT_TRUE(platform::AppendRecord(dir.File("t.csv"), "h\n", ""));
  ASSERT_TRUE(platform::AppendRecord(dir.File("t.csv"), "h\n", "r1\n"));
  EXPECT_EQ(dir.ReadFile("t.csv"), "h\nr1\n");
}

TEST(AppendRecord, HeadsAnEmptyFileCutsATornTailAndRefusesAStrangersFile) {
  struct Case {
    const char* what;
    std::string before;
    std::string record;
    bool appended;
    std::string after;
  };
  const std::string header = "head,er\n";
  const std::string long_line(70 * 1024, 'x');
  const Case cases[] = {
      {"an empty file", "", "r1\n", true, header + "r1\n"},
      {"half a row", header + "r1\nr2,ha", "r3\n", true, header + "r1\nr3\n"},
      {"zeros a power loss left", header + "r1\n" + std::string(5, '\0'), "r3\n", true, header + "r1\nr3\n"},
      {"a torn header", "head,", "r1\n", true, header + "r1\n"},
      {"repaired without a record", header + "r1\nr2", "", true, header + "r1\n"},
      {"no line break at all", "someone's notes", "r1\n", false, "someone's notes"},
      {"no line break near the end", "a\n" + long_line, "r1\n", false, "a\n" + long_line},
  };
  for (const Case& c : cases) {
    TempDir dir("record");
    const std::string path = dir.WriteFile("t.csv", c.before);
    std::string error;
    EXPECT_EQ(platform::AppendRecord(path, header, c.record, &error), c.appended) << c.what;
    EXPECT_EQ(error.empty(), c.appended) << c.what << ": " << error;
    EXPECT_TRUE(dir.ReadFile("t.csv") == c.after) << c.what;
  }
}

TEST(AppendRecord, FailsWithTheSystemsMessage) {
  TempDir dir("record");
  std::string error;
  EXPECT_FALSE(platform::AppendRecord(dir.File("missing/t.csv"), "h\n", "r\n", &error));
  EXPECT_NE(error.find(dir.File("missing/t.csv")), std::string::npos) << error;
  EXPECT_NE(error.find("(0x2)"), std::string::npos) << error;  // ENOENT: the folder is not created
  EXPECT_FALSE(platform::DirectoryExists(dir.File("missing")));
}

TEST(AppendRecord, WaitsForTheLockOfAnotherWriter) {
  TempDir dir("record");
  const std::string path = dir.WriteFile("t.csv", "h\n");
  std::optional<test_support::HeldFileLock> lock(path);
  std::thread writer([&path] { EXPECT_TRUE(platform::AppendRecord(path, "h\n", "r\n")); });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(dir.ReadFile("t.csv"), "h\n") << "appended past a held lock";
  lock.reset();
  writer.join();
  EXPECT_EQ(dir.ReadFile("t.csv"), "h\nr\n");
}

// Writers that start together on a file that does not exist yet: one header, every row whole, none lost.
// Each writer opens the file itself, as separate programs do, so the lock works between them as it does
// between processes.
// Rows of different lengths, long enough that a mixed write would show.
std::string Payload(int writer, int row) {
  return std::string(static_cast<size_t>(50 + (row * 7 + writer) % 150), static_cast<char>('a' + writer));
}

TEST(AppendRecord, ConcurrentWritersKeepEveryRowWhole) {
  TempDir dir("record");
  const std::string path = dir.File("t.csv");
  constexpr int kWriters = 3;
  constexpr int kRows = 200;
  std::latch start(kWriters);
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([&, w] {
      start.arrive_and_wait();
      for (int n = 0; n < kRows; ++n) {
        const std::string row =
            "w" + std::to_string(w) + "," + std::to_string(n) + "," + Payload(w, n) + "\n";
        ASSERT_TRUE(platform::AppendRecord(path, "writer,row,payload\n", row));
      }
    });
  }
  for (std::thread& writer : writers) writer.join();

  const std::vector<std::string> lines = platform::SplitLines(dir.ReadFile("t.csv"));
  ASSERT_EQ(lines.size(), 1u + kWriters * kRows);
  EXPECT_EQ(lines[0], "writer,row,payload");
  std::map<int, int> next_row;  // each writer's rows, whole and in its own order
  for (size_t i = 1; i < lines.size(); ++i) {
    int w = -1, n = -1, consumed = 0;
    ASSERT_EQ(std::sscanf(lines[i].c_str(), "w%d,%d,%n", &w, &n, &consumed), 2) << lines[i];
    ASSERT_TRUE(w >= 0 && w < kWriters) << lines[i];
    EXPECT_EQ(n, next_row[w]++) << lines[i];
    EXPECT_EQ(lines[i].substr(static_cast<size_t>(consumed)), Payload(w, n)) << lines[i];
  }
}

TEST(RecordFields, HostNameAndUtcTime) {
  std::string kernel_name;
  ASSERT_TRUE(platform::ReadWholeFile("/proc/sys/kernel/hostname", kernel_name));
  EXPECT_EQ(platform::HostName() + "\n", kernel_name);

  // "2026-11-24T21:41:17Z", and UTC rather than local time: it reads back as now through timegm.
  const time_t before = time(nullptr);
  const std::string stamp = platform::UtcTimeIso8601();
  tm parsed{};
  ASSERT_EQ(stamp.size(), 20u) << stamp;
  ASSERT_NE(strptime(stamp.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parsed), nullptr) << stamp;
  EXPECT_LE(before, timegm(&parsed)) << stamp;
  EXPECT_LE(timegm(&parsed), time(nullptr)) << stamp;
}

}  // namespace
