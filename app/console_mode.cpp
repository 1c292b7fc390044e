#include "app/console_mode.h"

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "app/app_settings.h"
#include "app/console_batch.h"
#include "app/console_command_line.h"
#include "app/console_output.h"
#include "app/frmMain.h"
#include "platform/signals.h"
#include "platform/text.h"
#include "registers/user_settings.h"

namespace {

// What a shell sees for the result code -1.
constexpr int kStepFailedStatus = 255;

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
  auto window = std::make_unique<frmMain>(JoinCommandLine(args));
  window->Form_Load();
  window->TimerAutoScan.SetEnabled(false);
  if (request.action == ConsoleRequest::Action::kReadTo) {
    return ReadToFile(*window, out, port, request.port_settings, request.read_to);
  }
  ConsoleJob job;
  job.file_name = request.file_name;
  job.port = port;
  job.port_settings = request.port_settings;
  job.dry_run = request.dry_run;
  return DoConsole(*window, out, job);
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
  int result = console_result::kStepFailed;
  try {
    result = request.action == ConsoleRequest::Action::kExportHex
                 ? ExportHexFile(out, request.export_cfg, request.export_hex)
                 : RunOnWindow(request, args, out);
  } catch (const std::exception& failure) {
    out.Note(std::string("RunConsoleMode - ") + failure.what());
  } catch (...) {
    out.Note("RunConsoleMode - unknown error");
  }
  const FinalLines final_lines = FinalLinesOf(request);
  out.Line(result == console_result::kOk ? final_lines.ok : final_lines.fail);
  return result < 0 ? kStepFailedStatus : result;
}
