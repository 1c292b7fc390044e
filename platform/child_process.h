#pragma once
// Child processes for measuring programs from outside (the benchmark runner): start one, wait for it or
// stop it, and learn what it used. The figures come from the kernel's accounting of the ended child, so
// they cover the whole program, every thread included.

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// What an ended child used.
struct ChildUsage {
  int exit_code = -1;           // the child's exit status; -1 when a signal ended it
  int signal = 0;               // the signal that ended it, 0 when it exited
  int64_t cpu_micros = 0;       // user plus system CPU time
  int64_t max_resident_kb = 0;  // peak resident memory
};

// Starts `argv` (argv[0] looked up in PATH), sharing this process's standard streams; its standard output
// goes to `output_path` instead (created or emptied) when that is not empty. The child's id, or -1 with
// `error` set when it could not be started.
int StartChild(const std::vector<std::string>& argv, std::string& error, const std::string& output_path = "");
// Waits until the child `pid` ends. False when there is no such child of this process.
bool WaitChild(int pid, ChildUsage& usage);
// Like WaitChild, but returns false at once while the child still runs.
bool TryWaitChild(int pid, ChildUsage& usage);
// Ends the child at once (SIGKILL): nothing it does after this moment counts. WaitChild must follow.
void KillChild(int pid);

// A child that talks with its parent over two pipes: the parent writes to `to_child` (the child's
// standard input) and reads `from_child` (the child's standard output); both are the parent's ends,
// non-blocking and closed on exec. The child's standard error stays the parent's.
struct PipedChild {
  int pid = -1;
  int to_child = -1;
  int from_child = -1;
};
// Starts `argv` (argv[0] a path) that way. False with `error` when it could not be started; no
// descriptor is left open then.
bool StartPipedChild(const std::vector<std::string>& argv, PipedChild& child, std::string& error);
// Asks the child to stop (SIGTERM), as a service manager would: it may finish what it must first.
void AskChildToStop(int pid);

// The running program's own executable, for starting another copy of it.
std::string OwnExecutablePath();

}  // namespace platform
