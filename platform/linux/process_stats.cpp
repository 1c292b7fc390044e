#include "platform/process_stats.h"

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace platform {
namespace {

int64_t CpuClockMicros(clockid_t clock) {
  timespec ts{};
  clock_gettime(clock, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1'000'000 + ts.tv_nsec / 1000;
}

struct ProcEntry {
  int ppid = 0;
  int64_t ticks = 0;  // utime + stime + cutime + cstime
};

// One line of /proc/<pid>/stat. The command name in parentheses may hold blanks and parentheses of its
// own, so the fields are counted from the last ')'.
bool ReadStat(int pid, ProcEntry& entry) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const size_t close = text.rfind(')');
  if (close == std::string::npos) return false;
  std::istringstream fields(text.substr(close + 1));
  // From field 3 on: state ppid pgrp session tty_nr tpgid flags minflt cminflt majflt cmajflt utime stime
  // cutime cstime.
  std::string state;
  int64_t skip = 0;
  int64_t utime = 0, stime = 0, cutime = 0, cstime = 0;
  fields >> state >> entry.ppid;
  for (int i = 0; i < 8; ++i) fields >> skip;
  fields >> utime >> stime >> cutime >> cstime;
  if (!fields) return false;
  entry.ticks = utime + stime + cutime + cstime;
  return true;
}

// Every process now in /proc.
std::map<int, ProcEntry> AllProcesses() {
  std::map<int, ProcEntry> processes;
  DIR* dir = opendir("/proc");
  if (dir == nullptr) return processes;
  while (const dirent* item = readdir(dir)) {
    char* end = nullptr;
    const long pid = std::strtol(item->d_name, &end, 10);
    if (end == item->d_name || *end != '\0' || pid <= 0) continue;
    ProcEntry entry;
    // A process may end between the listing and the read; it is simply not counted.
    if (ReadStat(static_cast<int>(pid), entry)) processes[static_cast<int>(pid)] = entry;
  }
  closedir(dir);
  return processes;
}

// `pid` and its descendants, as found now; empty when `pid` is not running.
std::vector<ProcEntry> Tree(int pid) {
  const std::map<int, ProcEntry> processes = AllProcesses();
  if (processes.count(pid) == 0) return {};
  std::multimap<int, int> children;
  for (const auto& [child, entry] : processes) children.emplace(entry.ppid, child);
  std::vector<ProcEntry> tree;
  std::vector<int> pending = {pid};
  while (!pending.empty()) {
    const int next = pending.back();
    pending.pop_back();
    tree.push_back(processes.at(next));
    const auto [first, last] = children.equal_range(next);
    for (auto it = first; it != last; ++it) pending.push_back(it->second);
  }
  return tree;
}

}  // namespace

int64_t ProcessCpuMicros() {
  return CpuClockMicros(CLOCK_PROCESS_CPUTIME_ID);
}

int64_t ThreadCpuMicros() {
  return CpuClockMicros(CLOCK_THREAD_CPUTIME_ID);
}

int64_t PeakResidentKb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

int64_t ProcessTreeCpuMicros(int pid) {
  const std::vector<ProcEntry> tree = Tree(pid);
  if (tree.empty()) return -1;
  int64_t ticks = 0;
  for (const ProcEntry& entry : tree) ticks += entry.ticks;
  return ticks * 1'000'000 / sysconf(_SC_CLK_TCK);
}

int ProcessTreeSize(int pid) {
  return static_cast<int>(Tree(pid).size());
}

}  // namespace platform
