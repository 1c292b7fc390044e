#include "app/console_command_line.h"

#include <algorithm>
#include <optional>

#include "platform/text.h"

namespace {

constexpr const char* kWriteFileSwitch = "/WriteFile:";
constexpr const char* kWriteDefaultSwitch = "/WriteDefault";
constexpr const char* kPortSwitch = "/Port:";

enum class OptionKind {
  kWriteFile,
  kWriteDefault,
  kPort,
  kDryRun,
  kReadTo,
  kExportHex,
  kQuiet,
  kHelp,
  kVersion,
  kTrace,
  kStation,
  kPorts,
  kVerbose,
  kStationWorker
};

struct LongOption {
  const char* name;
  OptionKind kind;
  int values;  // how many arguments follow it
};

constexpr LongOption kLongOptions[] = {
    {"--write-file", OptionKind::kWriteFile, 1},
    {"--write-default", OptionKind::kWriteDefault, 0},
    {"--port", OptionKind::kPort, 1},
    {"--dry-run", OptionKind::kDryRun, 0},
    {"--read-to", OptionKind::kReadTo, 1},
    {"--export-hex", OptionKind::kExportHex, 2},
    {"--quiet", OptionKind::kQuiet, 0},
    {"-q", OptionKind::kQuiet, 0},
    {"--help", OptionKind::kHelp, 0},
    {"-h", OptionKind::kHelp, 0},
    {"--version", OptionKind::kVersion, 0},
    {"--trace", OptionKind::kTrace, 1},
    {"--station", OptionKind::kStation, 0},
    {"--ports", OptionKind::kPorts, 1},
    {"--verbose", OptionKind::kVerbose, 0},
    {"-v", OptionKind::kVerbose, 0},
    {"--station-worker", OptionKind::kStationWorker, 1},
};

// "COM3" or "HID1": the names ports go by. The station watches ports by name, so a name that can never
// be a port is a typing error, not a port that has not come yet.
bool IsPortName(const std::string& name) {
  for (const std::string prefix : {"COM", "HID"}) {
    if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0) continue;
    const std::string digits = name.substr(prefix.size());
    if (digits.size() > 3 || digits[0] == '0') return false;
    for (const char c : digits) {
      if (c < '0' || c > '9') return false;
    }
    return true;
  }
  return false;
}

bool ReadPortList(const std::string& value, std::vector<std::string>& ports, std::string& error) {
  for (const std::string& field : platform::text::Split(value, ',')) {
    const std::string name = platform::text::Upper(platform::text::Trim(field));
    if (name.empty()) continue;
    if (!IsPortName(name)) {
      error = "--ports: \"" + name + "\" is no COM or HID port name";
      return false;
    }
    if (std::find(ports.begin(), ports.end(), name) == ports.end()) ports.push_back(name);
  }
  if (ports.empty()) {
    error = "--ports needs at least one port name";
    return false;
  }
  return true;
}

// The option `arg` spells, with the value it carries after "=" (only options that take values may).
const LongOption* FindLongOption(const std::string& arg, std::optional<std::string>& inline_value) {
  for (const LongOption& option : kLongOptions) {
    const std::string name = option.name;
    if (arg == name) {
      inline_value.reset();
      return &option;
    }
    if (option.values > 0 && arg.size() > name.size() && arg.compare(0, name.size(), name) == 0 &&
        arg[name.size()] == '=') {
      inline_value = arg.substr(name.size() + 1);
      return &option;
    }
  }
  return nullptr;
}

bool IsLongOptionLike(const std::string& arg) {
  return arg.size() > 2 && arg.compare(0, 2, "--") == 0;
}

// Where `name` starts in `command_line`, case ignored.
size_t FindSwitch(const std::string& command_line, const std::string& name) {
  return platform::text::Upper(command_line).find(platform::text::Upper(name));
}

}  // namespace

std::string JoinCommandLine(const std::vector<std::string>& args) {
  std::string line;
  for (const std::string& arg : args) {
    if (!line.empty()) line += ' ';
    if (arg.find('"') != std::string::npos) {
      line += arg;
      continue;
    }
    // Each blank in quotes of its own: it stays part of the value wherever the value starts.
    for (const char c : arg) {
      if (c == ' ') {
        line += "\" \"";
      } else {
        line += c;
      }
    }
  }
  return line;
}

std::string ReadSwitchValue(const std::string& command_line, size_t start) {
  std::string value;
  bool quoted = false;
  for (size_t i = start; i < command_line.size(); ++i) {
    const char c = command_line[i];
    if (c == '"') {
      quoted = !quoted;
    } else if (c == ' ' && !quoted) {
      break;
    } else {
      value += c;
    }
  }
  return value;
}

void SplitPortValue(const std::string& value, std::string& port, std::string& settings) {
  const size_t comma = value.find(',');
  if (comma == std::string::npos) {
    port = value;
    return;
  }
  port = platform::text::Trim(value.substr(0, comma));
  settings = platform::text::Trim(value.substr(comma + 1));
}

bool IsConsoleArguments(const std::vector<std::string>& args) {
  std::optional<std::string> inline_value;
  for (const std::string& arg : args) {
    if (FindLongOption(arg, inline_value) != nullptr) return true;
  }
  const std::string line = JoinCommandLine(args);
  return platform::text::ContainsNoCase(line, kWriteFileSwitch) ||
         platform::text::ContainsNoCase(line, kWriteDefaultSwitch);
}

bool ParseConsoleArguments(const std::vector<std::string>& args, ConsoleRequest& request,
                           std::string& error) {
  request = ConsoleRequest{};
  // Long options first; everything else is left to the switch search on the joined line.
  std::vector<std::string> rest;
  std::optional<std::string> file_option;
  bool default_option = false;
  std::optional<std::string> port_option;
  int actions = 0;
  bool help = false;
  bool version = false;
  bool station = false;
  bool ports_given = false;
  std::optional<std::string> worker_port;
  for (size_t i = 0; i < args.size(); ++i) {
    std::optional<std::string> inline_value;
    const LongOption* option = FindLongOption(args[i], inline_value);
    if (option == nullptr) {
      if (IsLongOptionLike(args[i])) {
        error = "unknown option " + args[i];
        return false;
      }
      rest.push_back(args[i]);
      continue;
    }
    std::vector<std::string> values;
    if (inline_value) values.push_back(*inline_value);
    while (static_cast<int>(values.size()) < option->values) {
      if (i + 1 >= args.size()) {
        error = std::string(option->name) + " needs " + (option->values == 1 ? "a value" : "two values");
        return false;
      }
      values.push_back(args[++i]);
    }
    switch (option->kind) {
      case OptionKind::kWriteFile:
        file_option = values[0];
        break;
      case OptionKind::kWriteDefault:
        default_option = true;
        break;
      case OptionKind::kPort:
        port_option = values[0];
        break;
      case OptionKind::kDryRun:
        request.dry_run = true;
        break;
      case OptionKind::kReadTo:
        request.read_to = values[0];
        request.action = ConsoleRequest::Action::kReadTo;
        ++actions;
        break;
      case OptionKind::kExportHex:
        request.export_cfg = values[0];
        request.export_hex = values[1];
        request.action = ConsoleRequest::Action::kExportHex;
        ++actions;
        break;
      case OptionKind::kQuiet:
        request.quiet = true;
        break;
      case OptionKind::kHelp:
        help = true;
        break;
      case OptionKind::kVersion:
        version = true;
        break;
      case OptionKind::kTrace:
        request.trace = values[0];
        break;
      case OptionKind::kStation:
        station = true;
        break;
      case OptionKind::kPorts:
        ports_given = true;
        if (!ReadPortList(values[0], request.station_ports, error)) return false;
        break;
      case OptionKind::kVerbose:
        request.verbose = true;
        break;
      case OptionKind::kStationWorker:
        worker_port = platform::text::Upper(values[0]);
        break;
    }
  }
  if (help || version) {
    request.action = help ? ConsoleRequest::Action::kHelp : ConsoleRequest::Action::kVersion;
    return true;
  }

  const std::string line = JoinCommandLine(rest);
  const size_t file_switch = FindSwitch(line, kWriteFileSwitch);
  const bool writes = file_option || default_option || file_switch != std::string::npos ||
                      platform::text::ContainsNoCase(line, kWriteDefaultSwitch);
  if (writes) {
    ++actions;
    request.action = ConsoleRequest::Action::kWriteFile;
    if (file_option) {
      request.file_name = *file_option;
    } else if (file_switch != std::string::npos) {
      request.file_name = ReadSwitchValue(line, file_switch + std::string(kWriteFileSwitch).size());
    } else {
      request.file_name = ConsoleRequest::kDefaultMarker;
    }
  }
  if (actions == 0) {
    error = "nothing to do: give --write-file, --write-default, --read-to or --export-hex";
    return false;
  }
  if (actions > 1) {
    error = "give one of --write-file (or --write-default), --read-to and --export-hex";
    return false;
  }
  if (request.dry_run && request.action != ConsoleRequest::Action::kWriteFile) {
    error = "--dry-run goes with --write-file or --write-default";
    return false;
  }
  if (!request.trace.empty() && request.action == ConsoleRequest::Action::kExportHex) {
    error = "--trace goes with a run on a reader, not with --export-hex";
    return false;
  }
  if (station || worker_port) {
    if (request.action != ConsoleRequest::Action::kWriteFile) {
      error = "--station needs --write-file or --write-default";
      return false;
    }
    if (request.dry_run) {
      error = "--dry-run does not go with --station";
      return false;
    }
    request.action = station ? ConsoleRequest::Action::kStation : ConsoleRequest::Action::kStationWorker;
  }
  if (ports_given && request.action != ConsoleRequest::Action::kStation) {
    error = "--ports goes with --station (a single run takes --port)";
    return false;
  }
  if (request.verbose && request.action != ConsoleRequest::Action::kStation) {
    error = "--verbose goes with --station (a single run prints every step)";
    return false;
  }

  std::optional<std::string> port_value = port_option;
  if (!port_value) {
    if (const size_t at = FindSwitch(line, kPortSwitch); at != std::string::npos) {
      port_value = ReadSwitchValue(line, at + std::string(kPortSwitch).size());
    }
  }
  if (request.action == ConsoleRequest::Action::kStation && port_value) {
    error = "--station watches the ports of --ports (default every port), not --port";
    return false;
  }
  if (worker_port) port_value = *worker_port;
  if (port_value) {
    request.port_given = true;
    SplitPortValue(*port_value, request.port, request.port_settings);
    if (request.port_settings.empty()) request.port_settings = ConsoleRequest::kDefaultSettings;
  }
  return true;
}

std::string ConsoleUsageText() {
  return "Usage: msrcfg [window switches]            the configuration window\n"
         "       msrcfg /WriteFile:FILE [/Port:PORT[,SETTINGS]]\n"
         "       msrcfg /WriteDefault [/Port:PORT[,SETTINGS]]\n"
         "       msrcfg --write-file FILE | --write-default  [--port PORT[,SETTINGS]] [--dry-run] [--quiet]\n"
         "              [--trace FILE]\n"
         "       msrcfg --read-to FILE [--port PORT[,SETTINGS]] [--quiet] [--trace FILE]\n"
         "       msrcfg --export-hex CFG HEX\n"
         "       msrcfg --station --write-file FILE | --write-default [--ports LIST] [--trace FILE] "
         "[--verbose]\n"
         "\n"
         "Writes a register file (.cfg) into a reader without a window: compares the reader's registers\n"
         "with the file, writes the ones that differ and reads them back to check.\n"
         "\n"
         "  /WriteFile:FILE, --write-file FILE   the file to write; \"<Default>\" means the model's default\n"
         "                                       file from the Default folder\n"
         "  /WriteDefault, --write-default       write the model's default file\n"
         "  /Port:PORT[,SETTINGS], --port ...    COM name (\"COM3\"), or AUTO to scan every port;\n"
         "                                       SETTINGS default to 19200,N,8,1. Without it the\n"
         "                                       remembered port (COMM/Port of the settings file)\n"
         "  --dry-run                            report what would be written, write nothing\n"
         "  --read-to FILE                       save the reader's registers as a .cfg file\n"
         "  --export-hex CFG HEX                 turn a .cfg file into its Intel HEX image (no reader)\n"
         "  --trace FILE                         append a row per reader to the CSV file FILE (time, host,\n"
         "                                       port, device, adapter serial, reader, serial number,\n"
         "                                       firmware, file, SHA-256 of the image, alias, registers\n"
         "                                       written, result, seconds)\n"
         "  --station                            a production station: until Ctrl-C or SIGTERM, write the\n"
         "                                       file into every reader that appears on a watched port,\n"
         "                                       all ports at once; a reader is written again only after\n"
         "                                       it went away and came back\n"
         "  --ports LIST                         the station's ports, e.g. COM3,COM4,HID1 (default every "
         "port)\n"
         "  -v, --verbose                        the station also prints every reader's steps\n"
         "  -q, --quiet                          no progress line on standard error\n"
         "  -h, --help                           this text\n"
         "  --version                            the program's version\n"
         "\n"
         "Window switches: /TestAll, /PortSelBox, /SaveEEPROM.\n"
         "A value with blanks goes in double quotes. Steps are printed on standard output, one per line.\n"
         "\n"
         "Exit codes: 0 written and checked, or nothing to write; 1 the reader is not a supported model;\n"
         "2 the automatic scan found no reader; 3 the port could not be opened; 4 reading the reader's\n"
         "registers failed; 5 writing a register failed; 6 the read-back differs from the file;\n"
         "8 written and checked, but the trace row could not be written; 130 or 143 stopped by Ctrl-C or\n"
         "SIGTERM; 255 a file could not be opened, read or written, or the command line is wrong.\n"
         "The station exits with 0 when every reader ended with 0, 7 when one did not, 8 when a trace row\n"
         "could not be written, 255 when it could not start.";
}
