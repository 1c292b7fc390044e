#pragma once
// Another program run by a test, which the test may kill at any moment, and a file lock held the way a
// writer holds the lock on its temporary file.

#include <string>
#include <vector>

namespace test_support {

class ChildProcess {
 public:
  // Starts `argv[0]` (a path) with the rest of `argv` as its arguments and the test's environment; its
  // standard output goes to `output_path` (created or emptied) when that is not empty. The test fails when
  // the program cannot be started.
  explicit ChildProcess(const std::vector<std::string>& argv, const std::string& output_path = "");
  // Kills the program if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool Started() const { return pid_ > 0; }
  // SIGKILL, then waits until the process is gone: its files are closed and its locks released then.
  // True when the signal, not an exit of its own, ended it.
  bool Kill();

 private:
  int pid_ = -1;
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

}  // namespace test_support
