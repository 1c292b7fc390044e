#include "app/console_mode.h"

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "app/app_settings.h"
#include "app/console_batch.h"
#include "app/console_command_line.h"
#include "app/console_output.h"
#include "app/console_trace.h"
#include "app/frmMain.h"
#include "app/station.h"
#include "app/station_worker.h"
#include "app/trace_log.h"
#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/signals.h"
#include "platform/text.h"
#include "registers/user_settings.h"

namespace {

using console_result::kStepFailedStatus;

std::vector<std::string> ArgumentsOf(int argc, char** argv) {
  std::vector<std::string> args;
  for (int i = 1; i < argc; ++i) args.emplace_back(argv[i] != nullptr ? argv[i] : "");
  return args;
}

// The last line of a run, for a result of 0 and for any other.
struct FinalLines {
  const char* ok;
  const char* fail;
};

FinalLines FinalLinesOf(const ConsoleRequest& request) {
  switch (request.action) {
    case ConsoleRequest::Action::kReadTo:
      return {"Read device to file OK", "Read device to file fail"};
    case ConsoleRequest::Action::kExportHex:
      return {"Export HEX file OK", "Export HEX file fail"};
    default:
      return request.dry_run ? FinalLines{"Dry run OK", "Dry run fail"}
                             : FinalLines{"Write file to device OK", "Write file to device fail"};
  }
}

// A run that Ctrl-C or SIGTERM stops ends its job as cancelled, closes its port and keeps its trace row,
// instead of dying between two register writes without a word.
class StopOnSignal {
 public:
  explicit StopOnSignal(ucGNet& engine) {
    const int fd = platform::StopSignalFd();
    if (fd < 0) return;
    watch_ =
        platform::CurrentEventLoop().WatchDescriptor(fd, platform::kIoReadable, [this, &engine](unsigned) {
          signal_ = platform::TakeStopSignal();
          if (signal_ == 0) return;
          engine.SetGNetCancel(true);
          // A second Ctrl-C ends the program at once.
          platform::RestoreDefaultStopSignals();
        });
  }
  const int* Signal() const { return &signal_; }

 private:
  int signal_ = 0;
  std::unique_ptr<platform::LoopWatch> watch_;
};

// Adds the run's row to the trace file; a row that cannot be written turns a success into
// kTraceNotWritten, so a production script notices a reader without its record.
int TraceRun(const ConsoleRequest& request, const std::string& port, const PortIdentity& identity,
             const ConsoleJobRecord& record, int result, double seconds, ConsoleOutput& out) {
  const int status = console_result::ExitStatusOf(result);
  std::string text;
  if (request.dry_run && status == console_result::kOk) text = "dry run, nothing written";
  if (request.action == ConsoleRequest::Action::kReadTo && status == console_result::kOk)
    text = "read to file";
  std::string error;
  if (AppendTraceRecord(request.trace, MakeTraceRecord(port, identity, record, status, seconds, text),
                        &error)) {
    return result;
  }
  out.Note("Can't add the run to the trace file " + request.trace + ": " + error);
  return result == console_result::kOk ? console_result::kTraceNotWritten : result;
}

// The reader's work on the main window, created without being shown. Its own start-up runs (skins,
// port list), but not its first automatic scan: the console decides where to look. The window goes
// without saving the per-user settings, so a run never changes the port the next run remembers.
int RunOnWindow(const ConsoleRequest& request, const std::vector<std::string>& args, ConsoleOutput& out) {
  std::string port = request.port;
  if (!request.port_given) {
    port =
        platform::text::Trim(GetUserSetting(app_settings::kCommSection, "Port", app_settings::kDefaultPort));
    if (port.empty()) port = app_settings::kDefaultPort;
  }
  const bool traced = !request.trace.empty();
  if (traced) {
    std::string error;
    if (!PrepareTraceFile(request.trace, &error)) {
      out.Line("Can't open trace file " + request.trace);
      out.Note(error);
      return console_result::kStepFailed;
    }
  }
  auto window = std::make_unique<frmMain>(JoinCommandLine(args));
  window->Form_Load();
  window->TimerAutoScan.SetEnabled(false);
  StopOnSignal stop(window->ucGNet);
  ConsoleJobRecord record;
  ConsoleJob job;
  job.file_name = request.file_name;
  job.port = port;
  job.port_settings = request.port_settings;
  job.dry_run = request.dry_run;
  job.record = traced ? &record : nullptr;
  job.stop_signal = stop.Signal();
  // An automatic scan names the port only once it has found the reader.
  const bool scan = platform::text::EqualNoCase(port, "AUTO");
  // The port's device and adapter are asked for only when a row will hold them.
  PortIdentity identity = scan || !traced ? PortIdentity{} : LookUpPort(port);
  const int64_t started = platform::MonotonicMs();
  const int result = request.action == ConsoleRequest::Action::kReadTo
                         ? ReadToFile(*window, out, job, request.read_to)
                         : DoConsole(*window, out, job);
  if (!traced) return result;
  const std::string used = scan ? window->ucGNet.CommPort() : port;
  if (scan && !record.identification.empty()) identity = LookUpPort(used);
  return TraceRun(request, record.identification.empty() && scan ? "AUTO" : used, identity, record, result,
                  static_cast<double>(platform::MonotonicMs() - started) / 1000.0, out);
}

}  // namespace

bool IsConsoleCommandLine(int argc, char** argv) {
  return IsConsoleArguments(ArgumentsOf(argc, argv));
}

int RunConsoleMode(int argc, char** argv) {
  const std::vector<std::string> args = ArgumentsOf(argc, argv);
  ConsoleRequest request;
  std::string error;
  if (!ParseConsoleArguments(args, request, error)) {
    ConsoleOutput(false).Note(error + " (msrcfg --help lists the options)");
    return kStepFailedStatus;
  }
  ConsoleOutput out(request.quiet);
  if (request.action == ConsoleRequest::Action::kHelp) {
    out.Line(ConsoleUsageText());
    return 0;
  }
  if (request.action == ConsoleRequest::Action::kVersion) {
    const app_settings::ProgramVersion version = app_settings::Version();
    out.Line("msrcfg " + std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
             std::to_string(version.revision));
    return 0;
  }

  // Whoever reads the lines may go away; the run still finishes and sets its code.
  platform::IgnorePipeAndBackgroundReadSignals();
  InstallUserPortMap();
  const bool station = request.action == ConsoleRequest::Action::kStation ||
                       request.action == ConsoleRequest::Action::kStationWorker;
  int result = console_result::kStepFailed;
  try {
    if (request.action == ConsoleRequest::Action::kStation) return RunStation(request);
    if (request.action == ConsoleRequest::Action::kStationWorker) return RunStationWorker(request);
    result = request.action == ConsoleRequest::Action::kExportHex
                 ? ExportHexFile(out, request.export_cfg, request.export_hex)
                 : RunOnWindow(request, args, out);
  } catch (const std::exception& failure) {
    out.Note(std::string("RunConsoleMode - ") + failure.what());
  } catch (...) {
    out.Note("RunConsoleMode - unknown error");
  }
  // The station has its own summary; a station that failed this way reached no reader's end.
  if (station) return kStepFailedStatus;
  const FinalLines final_lines = FinalLinesOf(request);
  out.Line(result == console_result::kOk ? final_lines.ok : final_lines.fail);
  return console_result::ExitStatusOf(result);
}
