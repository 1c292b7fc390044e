#pragma once
// Another program run by a test, which the test may kill at any moment or wait for, and a file lock held
// the way a writer holds the lock on its temporary file.

#include <string>
#include <vector>

namespace test_support {

class ChildProcess {
 public:
  // Starts `argv[0]` (a path) with the rest of `argv` as its arguments and the test's environment; its
  // standard output goes to `output_path` (created or emptied) when that is not empty. With `report`, the
  // program also gets "--report-fd=<n>", the write end of a pipe that WaitReport reads. The test fails when
  // the program cannot be started.
  explicit ChildProcess(std::vector<std::string> argv, const std::string& output_path = "",
                        bool report = false);
  // Kills the program if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool Started() const { return pid_ > 0; }
  // Waits for one byte on the report pipe: how the program says that it got somewhere. False when it ended
  // first, or said nothing for a minute.
  bool WaitReport();
  // SIGKILL, then waits until the process is gone: its files are closed and its locks released then.
  // True when the signal, not an exit of its own, ended it.
  bool Kill();
  // Waits until the program ends by itself. True when it exited with 0.
  bool Finish();

 private:
  int pid_ = -1;
  int report_fd_ = -1;
};

class HeldFileLock {
 public:
  // Opens `path` and takes an exclusive lock on it; the test fails when it cannot.
  explicit HeldFileLock(const std::string& path);
  ~HeldFileLock();
  HeldFileLock(const HeldFileLock&) = delete;
  HeldFileLock& operator=(const HeldFileLock&) = delete;

 private:
  int fd_ = -1;
};

// Leaves `path` as a killed writer of the program leaves its temporary file: unlocked, with the mark that
// tells it from a user's file of the same name.
void LeaveAbandonedTemporaryFile(const std::string& path, const std::string& content = "");

}  // namespace test_support
