#include "app/station.h"

#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "app/app_settings.h"
#include "app/console_batch.h"
#include "app/console_output.h"
#include "app/console_trace.h"
#include "app/station_messages.h"
#include "app/trace_log.h"
#include "app/trap.h"
#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/event_loop.h"
#include "platform/fd_io.h"
#include "platform/file_system.h"
#include "platform/folder_watch.h"
#include "platform/hid_ports.h"
#include "platform/hotplug.h"
#include "platform/paths.h"
#include "platform/serial_registry.h"
#include "platform/signals.h"
#include "platform/text.h"

namespace {

using console_result::kOk;

// Ports without device events (pseudo-terminals, adapters in a container without udev) are listed again
// this often; a worker that ended without being asked to is started again after as long.
constexpr int kTickMs = 1000;
// A worker asked to stop ends its job at the next step; one that has not ended after this long is killed.
constexpr int64_t kStopGraceMs = 15000;

std::string Padded(std::string text, size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

// How a process ended, in words: "signal 9", "exit 3".
std::string EndOf(const platform::ChildUsage& usage) {
  return usage.signal != 0 ? "signal " + std::to_string(usage.signal)
                           : "exit " + std::to_string(usage.exit_code);
}

std::string Seconds(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f s", seconds);
  return text;
}

struct Worker {
  platform::PipedChild child;
  std::unique_ptr<platform::LoopWatch> watch;
  std::string pending;  // output read but not yet a whole line
  bool running = false;
  // The job under way: what the worker said when it found the reader, and when.
  bool in_job = false;
  std::string version;
  int64_t job_started_ms = 0;
  int64_t restart_at_ms = 0;
};

class Station {
 public:
  explicit Station(const ConsoleRequest& request) : request_(request) {}

  int Run() {
    if (!CheckFile() || !PrepareTrace()) return console_result::kStepFailedStatus;
    executable_ = platform::OwnExecutablePath();
    platform::EventLoop& loop = platform::CurrentEventLoop();
    const int stop_fd = platform::StopSignalFd();
    if (stop_fd >= 0) {
      stop_watch_ = loop.WatchDescriptor(stop_fd, platform::kIoReadable, [this](unsigned) {
        Trap("OnStopSignal", [this] { OnStopSignal(); });
      });
    }
    FollowDevices();
    tick_ = loop.CreateTimer([this] { Trap("Tick", [this] { Tick(); }); });
    tick_->Start(kTickMs);

    Print("Station: writing " + what_ + " into every reader on " +
          (request_.station_ports.empty() ? std::string("every port") : Joined(request_.station_ports)) +
          (request_.trace.empty() ? "" : "; trace " + request_.trace) + ". Ctrl-C ends.");
    started_ms_ = platform::MonotonicMs();
    StartWorkers();
    const int status = loop.Run();
    PrintSummary();
    return status;
  }

 private:
  static std::string Joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
  }

  // A file that cannot be written into any reader stops the station before the first reader comes.
  bool CheckFile() {
    if (platform::text::EqualNoCase(request_.file_name, ConsoleRequest::kDefaultMarker)) {
      const std::string folder = platform::Join(platform::DataDir(), app_settings::kDefaultFolder);
      if (platform::ListDirectory(folder, "*").empty()) {
        PrintError("no default files in " + folder);
        return false;
      }
      what_ = "each model's default file";
      return true;
    }
    std::error_code ec;
    file_ = std::filesystem::absolute(request_.file_name, ec).lexically_normal().string();
    if (ec) file_ = request_.file_name;
    RegisterFileImage image;
    switch (ReadRegisterFile(file_, image)) {
      case RegisterFileError::kCannotOpen:
        PrintError("Can't open file " + file_);
        return false;
      case RegisterFileError::kNoRegisters:
        PrintError("Can't read registers from the file " + file_);
        return false;
      case RegisterFileError::kNone:
        break;
    }
    what_ = file_;
    return true;
  }

  bool PrepareTrace() {
    if (request_.trace.empty()) return true;
    std::string error;
    if (PrepareTraceFile(request_.trace, &error)) return true;
    PrintError("Can't open trace file " + request_.trace + ": " + error);
    return false;
  }

  // Device events bring a worker to its port at once; settings-file changes (an emulated reader that
  // maps its port, a person who adds one) likewise. Where neither can be had, the tick lists the ports.
  void FollowDevices() {
    for (auto* monitor : {&tty_monitor_, &hid_monitor_}) {
      const bool tty = monitor == &tty_monitor_;
      *monitor = std::make_unique<platform::HotplugMonitor>(
          tty ? platform::OpenTtyEventSource() : platform::OpenHidrawEventSource(),
          tty ? platform::SerialPortNames() : platform::HidPortNames());
      (*monitor)->OnArrival = [this](const std::string& name) {
        Trap("OnArrival", [&] { OnDeviceEvent(name); });
      };
      (*monitor)->OnRemoval = [this](const std::string& name) {
        Trap("OnRemoval", [&] { OnDeviceEvent(name); });
      };
    }
    platform::EnsureUserConfigDir();
    settings_watch_ = platform::WatchFolder(platform::UserConfigDir());
    if (settings_watch_) {
      settings_watch_handle_ = platform::CurrentEventLoop().WatchDescriptor(
          settings_watch_->Descriptor(), platform::kIoReadable,
          [this](unsigned) { Trap("OnSettingsChanged", [this] { OnSettingsChanged(); }); });
    }
  }

  void OnSettingsChanged() {
    if (!settings_watch_->TakeChanges() || stopping_) return;
    StartWorkers();
    for (auto& [name, worker] : workers_) Nudge(worker);
  }

  void OnDeviceEvent(const std::string& name) {
    if (stopping_) return;
    StartWorkers();
    const auto found = workers_.find(name);
    if (found != workers_.end()) Nudge(found->second);
  }

  void Nudge(Worker& worker) {
    if (!worker.running) return;
    const uint8_t line = '\n';
    platform::WriteFd(worker.child.to_child, &line, 1);
  }

  std::vector<std::string> WatchedPorts() const {
    if (!request_.station_ports.empty()) return request_.station_ports;
    std::vector<std::string> names;
    for (const platform::SerialPortInfo& port : platform::ListSerialPorts()) names.push_back(port.name);
    for (const platform::HidPortInfo& port : platform::ListHidPorts()) names.push_back(port.name);
    return names;
  }

  void StartWorkers() {
    const int64_t now = platform::MonotonicMs();
    for (const std::string& name : WatchedPorts()) {
      Worker& worker = workers_[name];
      if (worker.running || now < worker.restart_at_ms) continue;
      StartWorker(name, worker);
    }
  }

  void StartWorker(const std::string& name, Worker& worker) {
    std::vector<std::string> argv = {executable_, "--station-worker", name};
    if (file_.empty()) {
      argv.push_back("--write-default");
    } else {
      argv.insert(argv.end(), {"--write-file", file_});
    }
    std::string error;
    if (!platform::StartPipedChild(argv, worker.child, error)) {
      PrintError(name + ": " + error);
      worker.restart_at_ms = platform::MonotonicMs() + kTickMs;
      return;
    }
    worker.running = true;
    worker.pending.clear();
    worker.in_job = false;
    worker.watch = platform::CurrentEventLoop().WatchDescriptor(
        worker.child.from_child, platform::kIoReadable,
        [this, name](unsigned) { Trap("ReadWorker", [&] { ReadWorker(name); }); });
  }

  void ReadWorker(const std::string& name) {
    Worker& worker = workers_[name];
    uint8_t buffer[4096];
    for (;;) {
      const long n = platform::ReadFd(worker.child.from_child, buffer, sizeof buffer);
      if (n > 0) {
        worker.pending.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(n));
        continue;
      }
      if (n == 0) break;  // the worker has ended
      if (platform::WouldBlock(n)) {
        TakeLines(name, worker);
        return;
      }
      break;
    }
    TakeLines(name, worker);
    WorkerEnded(name, worker);
  }

  void TakeLines(const std::string& name, Worker& worker) {
    for (size_t end; (end = worker.pending.find('\n')) != std::string::npos;) {
      const std::string line = worker.pending.substr(0, end);
      worker.pending.erase(0, end + 1);
      StationMessage message;
      if (DecodeStationMessage(line, message)) Handle(name, worker, message);
    }
  }

  void Handle(const std::string& name, Worker& worker, const StationMessage& message) {
    const std::string field = message.fields.empty() ? "" : message.fields[0];
    const std::string head = platform::LocalTimeHms() + "  " + Padded(name, 6) + " ";
    if (message.kind == kStationFound) {
      worker.in_job = true;
      worker.version = field;
      worker.job_started_ms = platform::MonotonicMs();
      if (request_.verbose) {
        Print(head + "found a reader" + (field.empty() ? "" : " (" + field + ")") +
              (message.fields.size() > 1 ? " at " + message.fields[1] : std::string()) + ", writing");
      }
    } else if (message.kind == kStationStep) {
      if (request_.verbose) Print(head + "  " + field);
    } else if (message.kind == kStationNote) {
      Print(head + "note: " + field);
    } else if (message.kind == kStationGone) {
      if (request_.verbose) Print(head + "reader gone (" + field + ")");
    } else if (message.kind == kStationResult) {
      TraceRecord record;
      if (!RecordOfResult(message, record)) return;
      worker.in_job = false;
      Finish(record);
    }
  }

  // The end of one reader's job: its row goes into the trace file, made durable, before its line is
  // printed, so every line a person saw has its row.
  void Finish(const TraceRecord& record) {
    std::string trace_note;
    if (!request_.trace.empty()) {
      std::string error;
      if (!AppendTraceRecord(request_.trace, record, &error)) {
        trace_failed_ = true;
        trace_note = "  NOT TRACED: " + error;
      }
    }
    ++readers_;
    ++by_status_[record.result];
    if (record.result != kOk) some_failed_ = true;
    const std::string line = platform::LocalTimeHms() + "  " + Padded(record.port, 6) + " SN " +
                             Padded(record.serial_number.empty() ? "-" : record.serial_number, 12) + " " +
                             Padded(record.identification.empty() ? "-" : record.identification, 22) + " " +
                             std::to_string(record.result) + " " + record.result_text + "  " +
                             Seconds(record.seconds) + trace_note;
    // At the line a glance must tell a good reader from a bad one; a log file or a pipe gets the plain text.
    if (colour_) {
      Print((record.result == kOk && trace_note.empty() ? "\033[32m" : "\033[1;31m") + line + "\033[0m");
    } else {
      Print(line);
    }
  }

  void WorkerEnded(const std::string& name, Worker& worker) {
    worker.watch.reset();
    platform::CloseFd(worker.child.from_child);
    platform::CloseFd(worker.child.to_child);
    platform::ChildUsage usage;
    platform::WaitChild(worker.child.pid, usage);
    worker.running = false;
    if (worker.in_job) {
      // A worker that died in the middle of a job leaves no result of its own: the reader still gets
      // its line and its row, for it may hold half the file.
      worker.in_job = false;
      ConsoleJobRecord job;
      job.version_text = worker.version;
      TraceRecord record =
          MakeTraceRecord(name, {}, job, console_result::kStepFailedStatus,
                          static_cast<double>(platform::MonotonicMs() - worker.job_started_ms) / 1000.0,
                          "the job ended abnormally (" + EndOf(usage) + ")");
      Finish(record);
    } else if (!stopping_ && usage.exit_code != 0) {
      PrintError(name + ": the port's worker ended (" + EndOf(usage) + "); it starts again");
    }
    worker.restart_at_ms = platform::MonotonicMs() + kTickMs;
    if (stopping_ && RunningWorkers() == 0) platform::CurrentEventLoop().Quit(ExitStatus());
  }

  int RunningWorkers() const {
    int running = 0;
    for (const auto& [name, worker] : workers_) running += worker.running ? 1 : 0;
    return running;
  }

  void Tick() {
    if (!stopping_) {
      StartWorkers();
      return;
    }
    if (platform::MonotonicMs() - stop_asked_ms_ < kStopGraceMs) return;
    for (auto& [name, worker] : workers_) {
      if (worker.running) platform::KillChild(worker.child.pid);
    }
  }

  void OnStopSignal() {
    if (platform::TakeStopSignal() == 0 || stopping_) return;
    stopping_ = true;
    stop_asked_ms_ = platform::MonotonicMs();
    // A second Ctrl-C ends the station at once.
    platform::RestoreDefaultStopSignals();
    for (auto& [name, worker] : workers_) {
      if (worker.running) platform::AskChildToStop(worker.child.pid);
    }
    if (RunningWorkers() == 0) platform::CurrentEventLoop().Quit(ExitStatus());
  }

  int ExitStatus() const {
    if (trace_failed_) return console_result::kTraceNotWritten;
    return some_failed_ ? kStationSomeReaderFailed : kOk;
  }

  // "1 h 5 min", "12 min 3 s", "40 s": how long the station ran.
  static std::string Duration(int64_t ms) {
    const int64_t s = ms / 1000;
    if (s >= 3600) return std::to_string(s / 3600) + " h " + std::to_string(s % 3600 / 60) + " min";
    if (s >= 60) return std::to_string(s / 60) + " min " + std::to_string(s % 60) + " s";
    return std::to_string(s) + " s";
  }

  static std::string Readers(int count) {
    return std::to_string(count) + (count == 1 ? " reader" : " readers");
  }

  void PrintSummary() {
    Print("Station stopped after " + Duration(platform::MonotonicMs() - started_ms_) + ": " +
          Readers(readers_));
    for (const auto& [status, count] : by_status_) {
      const std::string meaning =
          status == kOk ? "written and checked, or nothing to write" : console_result::MeaningOf(status, 0);
      Print("  " + Readers(count) + " ended with " + std::to_string(status) + " (" + meaning + ")");
    }
    if (trace_failed_) Print("  Some readers have no row in the trace file: see the lines marked NOT TRACED");
  }

  // Lines a person reads on standard output, notes on standard error; no progress line.
  void Print(const std::string& line) { out_.Line(line); }
  void PrintError(const std::string& line) { out_.Note(line); }

  // Runs an event handler; a failure inside it is reported and the station goes on with its other ports.
  void Trap(const char* handler, const std::function<void()>& body) {
    TrapHandler(handler, body, [this](const std::string& line) { PrintError(line); });
  }

  const ConsoleRequest& request_;
  ConsoleOutput out_{true};
  // Result lines in green and red: only on a terminal, and not for people who turned colours off.
  const bool colour_ =
      platform::IsTerminal(platform::StandardStream::kOutput) && platform::GetEnvironment("NO_COLOR").empty();
  std::string file_;  // absolute; empty for each model's default file
  std::string what_;
  std::string executable_;
  std::map<std::string, Worker> workers_;
  std::unique_ptr<platform::HotplugMonitor> tty_monitor_;
  std::unique_ptr<platform::HotplugMonitor> hid_monitor_;
  std::unique_ptr<platform::FolderWatch> settings_watch_;
  std::unique_ptr<platform::LoopWatch> settings_watch_handle_;
  std::unique_ptr<platform::LoopWatch> stop_watch_;
  std::unique_ptr<platform::LoopTimer> tick_;
  bool stopping_ = false;
  int64_t stop_asked_ms_ = 0;
  int64_t started_ms_ = 0;
  int readers_ = 0;
  std::map<int, int> by_status_;
  bool some_failed_ = false;
  bool trace_failed_ = false;
};

}  // namespace

int RunStation(const ConsoleRequest& request) {
  platform::IgnorePipeAndBackgroundReadSignals();
  Station station(request);
  return station.Run();
}
