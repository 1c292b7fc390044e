#pragma once
// A production station (msrcfg --station) started in the background in a console bench's folders, its
// standard output read line by line as it comes.

#include <string>
#include <vector>

#include "platform/child_process.h"
#include "tests/console/console_bench.h"

namespace console_test {

class StationRun {
 public:
  StationRun(const ConsoleBench& bench, const std::vector<std::string>& args);
  // Kills the station (and so ends its workers) when a test left it running.
  ~StationRun();
  StationRun(const StationRun&) = delete;
  StationRun& operator=(const StationRun&) = delete;

  // Waits until `count` lines holding `text` have come; false when the station ended or 60 s passed first.
  bool WaitForLines(const std::string& text, size_t count = 1);
  // SIGTERM, then waits until the station has ended; its exit status, -1 when a signal ended it.
  int Stop();
  // Lines holding `text`, of those read so far.
  std::vector<std::string> LinesWith(const std::string& text) const;
  const std::vector<std::string>& Lines() const { return lines_; }

 private:
  // Reads what is there, waiting at most `wait_ms`; false at the end of the output.
  bool ReadSome(int wait_ms);

  platform::PipedChild child_;
  std::string pending_;
  std::vector<std::string> lines_;
  bool ended_ = false;
};

}  // namespace console_test
