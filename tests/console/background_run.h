#pragma once
// msrcfg started in the background in a console bench's folders (a production station, or a single run a
// test signals in the middle), its standard output read line by line as it comes.

#include <string>
#include <vector>

#include "platform/child_process.h"
#include "tests/console/console_bench.h"

namespace console_test {

class BackgroundRun {
 public:
  BackgroundRun(const ConsoleBench& bench, const std::vector<std::string>& args);
  // Kills the program (a station's workers then end too) when a test left it running.
  ~BackgroundRun();
  BackgroundRun(const BackgroundRun&) = delete;
  BackgroundRun& operator=(const BackgroundRun&) = delete;

  // Waits until `count` lines holding `text` have come; false when the program ended or 60 s passed first.
  bool WaitForLines(const std::string& text, size_t count = 1);
  // SIGTERM, then reads the rest of the output and waits until the program has ended; its exit status, -1
  // when a signal ended it.
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
