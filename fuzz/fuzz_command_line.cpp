// The console command line: arguments of any content (the input split at NUL bytes). Whatever they are,
// a command line that parses as a console request must also be recognised as one, so the program never
// opens the window for it; and a file named by "/WriteFile:" in one argument, blanks included, must come
// out as that argument named it, whatever other arguments stand around it.

#include <cstdint>
#include <string>
#include <vector>

#include "app/console_command_line.h"
#include "fuzz/fuzz_support.h"
#include "platform/text.h"

namespace {

constexpr size_t kMaxArguments = 24;

void CheckParse(const std::vector<std::string>& args) {
  ConsoleRequest request;
  std::string error;
  const bool parsed = ParseConsoleArguments(args, request, error);
  fuzz::Check(parsed || !error.empty(), "a refused command line without a reason");
  if (!parsed) return;
  fuzz::Check(IsConsoleArguments(args),
              "a console request that does not start the console mode: " + JoinCommandLine(args));
  if (request.port_given) fuzz::Check(!request.port_settings.empty(), "a port without settings");
}

// An argument that neither is an option nor holds the file switch.
bool Neutral(const std::string& arg) {
  return !arg.empty() && arg[0] != '-' && !platform::text::ContainsNoCase(arg, "/WriteFile:");
}

void CheckFileSwitch(const std::vector<std::string>& args, const std::string& file) {
  // Quotes in the argument are the person's own quoting; without them the argument is taken as it stands.
  if (file.find('"') != std::string::npos) return;
  std::vector<std::string> line;
  for (size_t i = 0; i + 1 < args.size(); ++i) {
    if (Neutral(args[i])) line.push_back(args[i]);
  }
  line.insert(line.begin() + static_cast<std::ptrdiff_t>(line.size() / 2), "/WriteFile:" + file);
  ConsoleRequest request;
  std::string error;
  fuzz::Check(ParseConsoleArguments(line, request, error), "a file switch was refused: " + error);
  fuzz::Check(request.action == ConsoleRequest::Action::kWriteFile && request.file_name == file,
              "/WriteFile:" + file + " names \"" + request.file_name + "\" in " + JoinCommandLine(line));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> args = fuzz::SplitInput(input, '\0', kMaxArguments);
  CheckParse(args);
  CheckFileSwitch(args, args.back());

  std::string port, settings;
  SplitPortValue(args.front(), port, settings);
  ReadSwitchValue(input, size / 2);
  return 0;
}
