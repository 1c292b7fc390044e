// The production station (msrcfg --station) as a line runs it: the real program with a worker process per
// port, paced emulated readers at 19200 baud, each made known the way a person or another program does it,
// by one write of the settings file. Three figures:
//
//   one reader alone     from the write that makes a wiped reader appear until its result line
//   eight together       eight such readers in one write, until the last result line; the workers run
//                        side by side, so this should take hardly longer than one reader alone
//   idle                 the CPU of the station and all its workers while they wait with no reader, as a
//                        share of one core
//
// Every reader must end with the image of the default file (the first reader's, which must differ from the
// wiped one); otherwise the benchmark fails with 1.
//
// The station runs in folders of its own: the build folder (MSRCFG_HOME, else the one above bench/) and a
// new settings folder, removed at the end, so nothing of the user's own set-up is read or changed.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/bench_sim_line.h"
#include "bench/result_line.h"
#include "gnet/ucGNet.h"
#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/fd_io.h"
#include "platform/file_system.h"
#include "platform/paths.h"
#include "platform/process_stats.h"
#include "sim/emulated_reader.h"

namespace {

constexpr int kPorts = 8;
constexpr int kFirstPort = 11;
// A wait for the station that takes longer than this is a failure, not a figure.
constexpr int64_t kPatienceMs = 60000;
// How long the idle station is watched. The kernel counts CPU in ticks of 10 ms, so the window must be
// long enough for a share of well under 1 % to show as more than a tick or two.
constexpr int64_t kIdleWindowMs = 10000;
// The workers count as started once the whole tree has used at most one tick in this long.
constexpr int64_t kQuietWindowMs = 500;
constexpr int64_t kQuietCpuMicros = 10000;

std::string PortName(int i) {
  return "COM" + std::to_string(kFirstPort + i);
}

// One line of the station's standard output: "hh:mm:ss  PORT   text".
struct StationLine {
  std::string port;
  std::string text;
  int64_t at_us = 0;  // when the benchmark read it
};

StationLine Parse(const std::string& line, int64_t at_us) {
  StationLine parsed;
  parsed.at_us = at_us;
  if (line.size() < 10 || line[2] != ':' || line[5] != ':') return parsed;
  size_t start = line.find_first_not_of(' ', 8);
  if (start == std::string::npos) return parsed;
  const size_t end = line.find(' ', start);
  if (end == std::string::npos) return parsed;
  parsed.port = line.substr(start, end - start);
  start = line.find_first_not_of(' ', end);
  parsed.text = start == std::string::npos ? "" : line.substr(start);
  return parsed;
}

bool IsResult(const StationLine& line) {
  return line.text.rfind("SN ", 0) == 0;
}
bool IsWrittenAndChecked(const StationLine& line) {
  return IsResult(line) && line.text.find(" 0 written and checked  ") != std::string::npos;
}
bool IsGone(const StationLine& line) {
  return line.text.rfind("reader gone (", 0) == 0;
}
bool IsFound(const StationLine& line) {
  return line.text.rfind("found ", 0) == 0;
}

// The job's own time at the end of a result line ("... 1.3 s"), in seconds; 0 when there is none.
double JobSeconds(const StationLine& line) {
  const size_t gap = line.text.rfind("  ");
  return gap == std::string::npos ? 0 : std::atof(line.text.c_str() + gap + 2);
}

// The station as a child whose standard output is read line by line. Its lines are echoed for people,
// except the step lines of the jobs: eight jobs' steps would bury the figures.
class Station {
 public:
  ~Station() {
    if (child_.pid > 0) {
      platform::KillChild(child_.pid);
      platform::ChildUsage usage;
      platform::WaitChild(child_.pid, usage);
    }
    platform::CloseFd(child_.to_child);
    platform::CloseFd(child_.from_child);
  }

  // The environment is given through env(1), as this process has no other way to hand a child one.
  bool Start(const std::string& home, const std::string& config_home) {
    std::string ports;
    for (int i = 0; i < kPorts; ++i) ports += (i ? "," : "") + PortName(i);
    std::string error;
    if (platform::StartPipedChild(
            {"/usr/bin/env", "MSRCFG_HOME=" + home, "XDG_CONFIG_HOME=" + config_home,
             platform::Join(home, "msrcfg"), "--station", "--write-default", "--ports", ports, "--verbose"},
            child_, error)) {
      return true;
    }
    std::fprintf(stderr, "cannot start the station: %s\n", error.c_str());
    return false;
  }

  int Pid() const { return child_.pid; }

  // The next line, waiting until `deadline_us` at most; nothing at the deadline or at the end of the output.
  std::optional<std::string> NextLine(int64_t deadline_us) {
    for (;;) {
      const size_t end = pending_.find('\n');
      if (end != std::string::npos) {
        std::string line = pending_.substr(0, end);
        pending_.erase(0, end + 1);
        Echo(line);
        return line;
      }
      if (ended_) return std::nullopt;
      const int64_t left_us = deadline_us - platform::MonotonicMicros();
      if (left_us <= 0) return std::nullopt;
      if (platform::WaitReadable(child_.from_child, static_cast<int>((left_us + 999) / 1000)) <= 0) continue;
      uint8_t buffer[4096];
      const long n = platform::ReadFd(child_.from_child, buffer, sizeof buffer);
      if (n > 0) {
        pending_.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(n));
      } else if (n == 0 || !platform::WouldBlock(n)) {
        ended_ = true;
      }
    }
  }

  // Reads lines until one passes `wanted`; that line, parsed. Nothing after `patience_ms` or at the end.
  template <typename Wanted>
  std::optional<StationLine> WaitFor(Wanted wanted, int64_t patience_ms = kPatienceMs) {
    const int64_t deadline = platform::MonotonicMicros() + patience_ms * 1000;
    while (const std::optional<std::string> line = NextLine(deadline)) {
      const StationLine parsed = Parse(*line, platform::MonotonicMicros());
      if (wanted(*line, parsed)) return parsed;
    }
    return std::nullopt;
  }

  // Lets the lines that come within `ms` pass.
  void Drain(int64_t ms) {
    const int64_t deadline = platform::MonotonicMicros() + ms * 1000;
    while (NextLine(deadline)) {
    }
  }

  // SIGTERM, the rest of the output (the summary), and the exit status; -1 when a signal ended it.
  int Stop() {
    platform::AskChildToStop(child_.pid);
    const int64_t deadline = platform::MonotonicMicros() + kPatienceMs * 1000;
    while (NextLine(deadline)) {
    }
    if (!ended_) platform::KillChild(child_.pid);
    platform::ChildUsage usage;
    platform::WaitChild(child_.pid, usage);
    child_.pid = -1;
    return usage.exit_code;
  }

 private:
  void Echo(const std::string& line) {
    const StationLine parsed = Parse(line, 0);
    if (!parsed.port.empty() && !IsFound(parsed) && !IsResult(parsed) && !IsGone(parsed)) return;
    std::printf("  | %s\n", line.c_str());
    std::fflush(stdout);
  }

  platform::PipedChild child_;
  std::string pending_;
  bool ended_ = false;
};

// The station's settings file, always replaced whole through a temporary file and a rename, as programs
// that share it do: the station sees one change, never half a file.
class SettingsFile {
 public:
  explicit SettingsFile(const std::string& config_home)
      : folder_(platform::Join(config_home, "zk4100_MSR")), path_(platform::Join(folder_, "settings.ini")) {}

  bool Write(const std::map<std::string, std::string>& ports) {
    std::string content = "[SerialPorts]\n";
    for (const auto& [name, path] : ports) content += name + " = " + path + "\n";
    std::string error;
    if (!platform::MakeDirectories(folder_, &error) ||
        !platform::ReplaceFileDurably(path_ + ".bench" + std::to_string(++writes_), path_, content, &error)) {
      std::fprintf(stderr, "cannot write %s: %s\n", path_.c_str(), error.c_str());
      return false;
    }
    return true;
  }

 private:
  std::string folder_;
  std::string path_;
  int writes_ = 0;
};

// What one reader's job put on its line, from the reader's own record of it: bytes of both directions
// (framed texts with STX and CR, raw dumps by their size) at the rate the reader was on, and the waits.
struct LineUse {
  double line_ms = 0;
  double reply_ms = 0;  // the reader's direction alone: a pty hands the requests over at once
  double waits_ms = 0;
  size_t transactions = 0;
  int dumps = 0;
};

LineUse LineUseOf(const msrsim::EmulatedReader& reader) {
  LineUse use;
  for (const msrsim::Transaction& t : reader.Transactions()) {
    double reply_bytes = 0;
    if (t.fate == msrsim::ReplyFate::kSent || t.fate == msrsim::ReplyFate::kGarbled) {
      int dump_bytes = 0;
      if (std::sscanf(t.reply.c_str(), "<dump of %d bytes>", &dump_bytes) == 1) {
        reply_bytes = dump_bytes;
        ++use.dumps;
      } else {
        reply_bytes = bench::FrameBytes(t.reply);
      }
    }
    const double ms_per_byte = 10.0 * 1000.0 / (t.reader_rate > 0 ? t.reader_rate : bench::kBaud);
    use.line_ms += (bench::FrameBytes(t.request) + reply_bytes) * ms_per_byte;
    use.reply_ms += reply_bytes * ms_per_byte;
    ++use.transactions;
  }
  // The 250 ms of quiet that ends each raw dump: the only wait the job may not shorten. The job runs on
  // the line its worker has just polled the reader on, so it has no wait before its first poll.
  use.waits_ms = use.dumps * static_cast<double>(ucGNet::kDumpTailMs);
  return use;
}

msrsim::ReaderConfig WipedReader() {
  msrsim::ReaderConfig config = bench::PacedReader();
  config.registers = msrsim::DefaultImage(0x00, 19200, {});
  return config;
}

// Two kinds of RESULT line that result_line.h has no printer for, in its format. A ratio to another
// measured time rather than to a line time carries no line_ms, and bench/run shows the ratio alone; a
// row whose CPU share is measured over part of the program's run carries its own cpu_ms and wall_ms,
// which bench/run takes instead of the whole program's.
void PrintRatioResult(const std::string& operation, double time_ms, double ratio, const std::string& note) {
  std::printf("RESULT operation=\"%s\" time_ms=%.3f ratio=%.3f note=\"%s\"\n", operation.c_str(), time_ms,
              ratio, note.c_str());
  std::fflush(stdout);
}

void PrintCpuResult(const std::string& operation, double wall_ms, double cpu_ms, const std::string& note) {
  std::printf("RESULT operation=\"%s\" time_ms=%.3f cpu_ms=%.3f wall_ms=%.3f note=\"%s\"\n",
              operation.c_str(), wall_ms, cpu_ms, wall_ms, note.c_str());
  std::fflush(stdout);
}

double Ms(int64_t from_us, int64_t to_us) {
  return static_cast<double>(to_us - from_us) / 1000.0;
}

// Waits until the station has its workers up and quiet: the station and one process per port, and the
// whole tree idle over kQuietWindowMs. The workers load the program's files when they start, all at once
// on the cores there are; a figure taken before they have done so would measure their start.
bool WaitUntilSettled(Station& station) {
  const int64_t deadline = platform::MonotonicMs() + kPatienceMs;
  int64_t window_start = platform::MonotonicMs();
  int64_t cpu_start = platform::ProcessTreeCpuMicros(station.Pid());
  while (platform::MonotonicMs() < deadline) {
    station.Drain(100);
    const int64_t cpu = platform::ProcessTreeCpuMicros(station.Pid());
    if (cpu < 0) return false;
    if (platform::ProcessTreeSize(station.Pid()) != 1 + kPorts || cpu - cpu_start > kQuietCpuMicros) {
      window_start = platform::MonotonicMs();
      cpu_start = cpu;
    } else if (platform::MonotonicMs() - window_start >= kQuietWindowMs) {
      return true;
    }
  }
  return false;
}

struct Idle {
  double wall_ms = 0;
  double cpu_ms = 0;
  double Share() const { return 100.0 * cpu_ms / wall_ms; }
};

std::optional<Idle> MeasureIdle(Station& station) {
  const int64_t cpu_start = platform::ProcessTreeCpuMicros(station.Pid());
  const int64_t start = platform::MonotonicMicros();
  station.Drain(kIdleWindowMs);
  const int64_t cpu_end = platform::ProcessTreeCpuMicros(station.Pid());
  const int64_t end = platform::MonotonicMicros();
  if (cpu_start < 0 || cpu_end < 0 || platform::ProcessTreeSize(station.Pid()) != 1 + kPorts) {
    std::fprintf(stderr, "the station or one of its workers ended while it was idle\n");
    return std::nullopt;
  }
  return Idle{Ms(start, end), static_cast<double>(cpu_end - cpu_start) / 1000.0};
}

// One round: readers on the first `count` ports appear in one write; each must be written and checked.
struct Round {
  double total_ms = 0;            // from the write to the last result line
  std::vector<double> found_ms;   // per reader: when the station said it found it
  std::vector<double> result_ms;  // ... and when its result line came
  std::vector<double> job_s;      // ... and the job's own time on that line
  std::vector<LineUse> line;      // what each job put on its line
  std::vector<msrsim::RegisterImage> images;
  // CPU over the round, up to the last result line: the station with its workers, and this process, whose
  // threads are the emulated readers pacing their replies.
  double station_cpu_ms = 0;
  double readers_cpu_ms = 0;
};

std::optional<Round> RunRound(Station& station, SettingsFile& settings, int count) {
  std::vector<std::unique_ptr<msrsim::EmulatedReader>> readers;
  std::map<std::string, std::string> ports;
  for (int i = 0; i < count; ++i) {
    readers.push_back(std::make_unique<msrsim::EmulatedReader>(WipedReader()));
    std::string error;
    if (!readers.back()->Start(&error)) {
      std::fprintf(stderr, "cannot start a reader: %s\n", error.c_str());
      return std::nullopt;
    }
    ports[PortName(i)] = readers.back()->Path();
  }
  Round round;
  round.found_ms.assign(count, -1);
  round.result_ms.assign(count, -1);
  round.job_s.assign(count, 0);
  round.line.resize(count);
  round.images.resize(count);
  const int64_t station_cpu = platform::ProcessTreeCpuMicros(station.Pid());
  const int64_t readers_cpu = platform::ProcessCpuMicros();
  const int64_t start = platform::MonotonicMicros();
  if (!settings.Write(ports)) return std::nullopt;
  int results = 0;
  bool failed = false;
  while (results < count) {
    const std::optional<StationLine> line = station.WaitFor(
        [](const std::string&, const StationLine& parsed) { return IsFound(parsed) || IsResult(parsed); });
    if (!line) {
      std::fprintf(stderr, "the station gave %d of %d result lines in time\n", results, count);
      return std::nullopt;
    }
    const int index = line->port.size() > 3 ? std::atoi(line->port.c_str() + 3) - kFirstPort : -1;
    if (index < 0 || index >= count) continue;
    if (IsFound(*line)) {
      round.found_ms[index] = Ms(start, line->at_us);
      continue;
    }
    ++results;
    round.result_ms[index] = Ms(start, line->at_us);
    round.job_s[index] = JobSeconds(*line);
    round.total_ms = Ms(start, line->at_us);
    // Taken at once: the worker looks at its reader again a second after the job, and those polls are
    // no part of it.
    round.line[index] = LineUseOf(*readers[index]);
    round.images[index] = readers[index]->Registers();
    if (!IsWrittenAndChecked(*line)) {
      std::fprintf(stderr, "%s was not written and checked\n", line->port.c_str());
      failed = true;
    }
  }
  round.station_cpu_ms =
      static_cast<double>(platform::ProcessTreeCpuMicros(station.Pid()) - station_cpu) / 1000.0;
  round.readers_cpu_ms = static_cast<double>(platform::ProcessCpuMicros() - readers_cpu) / 1000.0;
  // The readers go the way they came: their lines hang up, and they leave the settings file.
  for (const auto& reader : readers) reader->Stop();
  if (!settings.Write({})) return std::nullopt;
  for (int gone = 0; gone < count; ++gone) {
    if (!station.WaitFor([](const std::string&, const StationLine& parsed) { return IsGone(parsed); })) {
      std::fprintf(stderr, "the station did not notice every reader go\n");
      return std::nullopt;
    }
  }
  if (failed) return std::nullopt;
  return round;
}

void PrintRound(const char* title, const Round& round) {
  std::printf(
      "%s: %.1f ms to the last result line; CPU meanwhile: station and workers %.0f ms, emulated "
      "readers %.0f ms\n",
      title, round.total_ms, round.station_cpu_ms, round.readers_cpu_ms);
  for (size_t i = 0; i < round.result_ms.size(); ++i) {
    std::printf(
        "  %-6s found after %7.1f ms, result after %7.1f ms (job %.1f s); its line: %zu transactions, "
        "%.1f ms + %.0f ms waits\n",
        PortName(static_cast<int>(i)).c_str(), round.found_ms[i], round.result_ms[i], round.job_s[i],
        round.line[i].transactions, round.line[i].line_ms, round.line[i].waits_ms);
  }
}

bool CheckImages(const Round& alone, const Round& together) {
  const msrsim::RegisterImage& reference = alone.images[0];
  if (reference == WipedReader().registers) {
    std::fprintf(stderr, "the reader alone was left as wiped: the default file wrote nothing\n");
    return false;
  }
  bool same = true;
  for (size_t i = 0; i < together.images.size(); ++i) {
    for (size_t reg = 0; reg < reference.size(); ++reg) {
      if (together.images[i][reg] != reference[reg]) {
        std::fprintf(stderr, "%s: register %zu is %02X, the default file's is %02X\n",
                     PortName(static_cast<int>(i)).c_str(), reg, together.images[i][reg], reference[reg]);
        same = false;
        break;
      }
    }
  }
  return same;
}

// A new folder under the temporary folder, removed with the object.
class TempFolder {
 public:
  TempFolder()
      : path_(platform::MakeUniqueDirectory(platform::GetEnvironment("TMPDIR", "/tmp"), "bench_station.")) {}
  ~TempFolder() {
    if (!path_.empty()) platform::RemoveTree(path_);
  }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

int Run() {
  const std::string home = platform::GetEnvironment(
      "MSRCFG_HOME", platform::DirName(platform::DirName(platform::OwnExecutablePath())));
  if (!platform::FileExists(platform::Join(home, "msrcfg"))) {
    std::fprintf(stderr, "no msrcfg in %s: build it, or name its folder in MSRCFG_HOME\n", home.c_str());
    return 1;
  }
  TempFolder config_home;
  if (config_home.Path().empty()) {
    std::fprintf(stderr, "cannot make a settings folder\n");
    return 1;
  }
  SettingsFile settings(config_home.Path());
  if (!settings.Write({})) return 1;

  Station station;
  if (!station.Start(home, config_home.Path())) return 1;
  if (!station.WaitFor(
          [](const std::string& line, const StationLine&) { return line.rfind("Station:", 0) == 0; })) {
    std::fprintf(stderr, "the station did not start\n");
    return 1;
  }
  if (!WaitUntilSettled(station)) {
    std::fprintf(stderr, "the station's %d workers did not start and settle\n", kPorts);
    return 1;
  }

  const std::optional<Idle> idle = MeasureIdle(station);
  if (!idle) return 1;
  std::printf("Idle, %d ports watched: %.1f ms CPU in %.1f s, %.3f %% of one core\n", kPorts, idle->cpu_ms,
              idle->wall_ms / 1000.0, idle->Share());

  const std::optional<Round> alone = RunRound(station, settings, 1);
  if (!alone) return 1;
  PrintRound("One reader alone", *alone);
  const std::optional<Round> together = RunRound(station, settings, kPorts);
  if (!together) return 1;
  PrintRound("Eight readers together", *together);
  const int status = station.Stop();
  if (status != 0) {
    std::fprintf(stderr, "the station ended with %d\n", status);
    return 1;
  }
  if (!CheckImages(*alone, *together)) return 1;

  const double t1 = alone->total_ms;
  const double t8 = together->total_ms;
  const LineUse& use = alone->line[0];
  std::printf("T1 %.1f ms, T8 %.1f ms, T8/T1 %.3f (the aim: at most 1.15)\n", t1, t8, t8 / t1);
  const double reply_ratio = t1 / (use.reply_ms + use.waits_ms);
  std::printf("  one reader's line needs %.1f ms + %.0f ms waits: T1 is %.3f of that\n", use.line_ms,
              use.waits_ms, t1 / (use.line_ms + use.waits_ms));
  std::printf("  its replies alone need %.1f ms + %.0f ms waits: T1 is %.3f of that\n", use.reply_ms,
              use.waits_ms, reply_ratio);

  char note[512];
  std::snprintf(
      note, sizeof note,
      "from the settings-file write that makes a wiped reader appear to its result line, through the "
      "real msrcfg and its port worker: %zu transactions, %d raw dumps; waits: a 250 ms quiet tail "
      "per dump; a pty passes requests at once: the replies alone "
      "need %.1f ms, ratio %.3f with the waits; the job itself %.1f s by the station's line",
      use.transactions, use.dumps, use.reply_ms, reply_ratio, alone->job_s[0]);
  bench::PrintResult("Station: one paced reader alone", t1, use.line_ms, use.waits_ms,
                     t1 / (use.line_ms + use.waits_ms), note);
  const auto [fastest, slowest] = std::minmax_element(together->result_ms.begin(), together->result_ms.end());
  std::snprintf(
      note, sizeof note,
      "ratio to one reader alone (%.1f ms): eight wiped readers at 19200 baud appear in one write, "
      "each on a port worker of its own; first result after %.1f ms, last after %.1f ms; CPU meanwhile: "
      "station and workers %.0f ms, the emulated readers %.0f ms; every image checked against the default "
      "file",
      t1, *fastest, *slowest, together->station_cpu_ms, together->readers_cpu_ms);
  PrintRatioResult("Station: 8 paced readers together vs one alone", t8, t8 / t1, note);
  std::snprintf(note, sizeof note,
                "the station and its %d port workers waiting with no reader, over %.1f s: %.1f ms of CPU, "
                "%.3f %% of one core (the aim: under 1 %%)",
                kPorts, idle->wall_ms / 1000.0, idle->cpu_ms, idle->Share());
  PrintCpuResult("Station idle, 8 ports watched", idle->wall_ms, idle->cpu_ms, note);
  return 0;
}

}  // namespace

int main() {
  return Run();
}
