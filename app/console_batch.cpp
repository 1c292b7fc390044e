#include "app/console_batch.h"

#include <algorithm>
#include <exception>

#include "app/alias_names.h"
#include "app/app_settings.h"
#include "app/console_command_line.h"
#include "app/console_output.h"
#include "app/console_port_advice.h"
#include "app/frmMain.h"
#include "comm/comm_settings.h"
#include "gnet/like_pattern.h"
#include "gnet/scan_lists.h"
#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/paths.h"
#include "platform/serial_registry.h"
#include "platform/text.h"
#include "registers/clsINIFile.h"
#include "registers/register_files.h"
#include "registers/user_settings.h"
#include "skin/skin_catalog.h"

namespace {

using namespace console_result;

constexpr const char* kAutoPort = "AUTO";
// The step line of a scan that found nothing and of a reader the console mode does not write.
constexpr const char* kNoDeviceLine = "Can't found device";
// The models whose register layout the console mode knows; any other reader is left alone.
constexpr const char* kSupportedPatterns[] = {"KRD##*[AKPR]*", "QV-R###*-*"};
// Extensions of the files in the Default folder, in the order they are looked for.
const std::vector<std::string> kDefaultFileExtensions = {"ini", "inf", "cfg"};
constexpr int kRegisterCount = 256;
// The line settings of the models above, where every shipped definition has them: Parity, DataBits,
// StopBits, Baudrate. The reader switches its line once it has answered such a write, so they go last,
// the rate at the very end, as the window writes them.
constexpr int kLineSettingRegisters[] = {0x02, 0x03, 0x04, 0x01};

// A port closed a moment ago needs time before it opens again; a reader just opened needs a moment
// before it answers a poll.
constexpr int kReopenDelayMs = 200;
constexpr int kSettleDelayMs = 50;

// Waits on the event loop, so the engine's timers and port notifications keep running meanwhile.
void WaitMs(int ms) {
  const int64_t end = platform::MonotonicMs() + ms;
  for (int64_t left = ms; left > 0; left = end - platform::MonotonicMs()) {
    platform::CurrentEventLoop().WaitForEvents(static_cast<int>(left));
  }
}

std::string ModelNameOf(const std::string& identification) {
  const size_t comma = identification.find(',');
  return comma == std::string::npos || comma == 0 ? identification : identification.substr(0, comma);
}

// The text of an alias area: the bytes before the first 0xFF or 0x00.
std::string AliasText(const std::vector<uint8_t>& image) {
  std::string alias;
  for (int i = AliasNames::kAliasStart; i < AliasNames::kAliasStart + AliasNames::kAliasLength; ++i) {
    if (i >= static_cast<int>(image.size()) || image[i] == AliasNames::kErased || image[i] == 0) break;
    alias += static_cast<char>(image[i]);
  }
  return alias;
}

// The 256 bytes of a dump text; empty when the text holds fewer.
std::vector<uint8_t> DeviceImageOf(const std::string& dump) {
  std::vector<uint8_t> bytes;
  if (dump.size() < 2 * kRegisterCount ||
      !register_files::HexToBytes(dump.substr(0, 2 * kRegisterCount), bytes)) {
    return {};
  }
  return bytes;
}

// The registers in which `file` differs from `device`, in the order they are written: rising, the line
// settings last.
std::vector<int> WriteOrder(const std::vector<uint8_t>& file, const std::vector<uint8_t>& device) {
  const auto line_setting = [](int index) {
    return std::find(std::begin(kLineSettingRegisters), std::end(kLineSettingRegisters), index) !=
           std::end(kLineSettingRegisters);
  };
  std::vector<int> order;
  for (int i = 0; i < static_cast<int>(file.size()); ++i) {
    if (file[i] != device[i] && !line_setting(i)) order.push_back(i);
  }
  for (const int index : kLineSettingRegisters) {
    if (file[index] != device[index]) order.push_back(index);
  }
  return order;
}

void PutFileAlias(std::vector<uint8_t>& image, const std::string& alias) {
  const std::vector<uint8_t> area = AliasNames::AliasAreaBytes(alias.substr(0, AliasNames::kAliasLength));
  std::copy(area.begin(), area.end(), image.begin() + AliasNames::kAliasStart);
}

// The full settings text of a value that may name only some fields ("9600" keeps N,8,1); none when a
// field cannot be read. Every field must count: "9600,X,8,1" is a typing error, not "9600,N,8,1".
std::optional<std::string> CompleteSettings(const std::string& value) {
  std::vector<std::string> fields = platform::text::Split(value, ',');
  for (std::string& field : fields) {
    field = platform::text::Trim(field);
    if (!comm::MergeSettingsText(app_settings::kDefaultCommSettings, field)) return std::nullopt;
  }
  const std::optional<std::string> merged =
      comm::MergeSettingsText(app_settings::kDefaultCommSettings, platform::text::Join(fields, ","));
  platform::CommState state;
  if (!merged || !comm::ParseSettingsText(*merged, state).empty()) return std::nullopt;
  return merged;
}

// Reads a register file, or prints the step line that says why it cannot be used.
bool LoadRegisterFile(ConsoleOutput& out, const std::string& path, RegisterFileImage& file) {
  switch (ReadRegisterFile(path, file)) {
    case RegisterFileError::kCannotOpen:
      out.Line("Can't open file");
      return false;
    case RegisterFileError::kNoRegisters:
      out.Line("Can't read registers from the file");
      return false;
    case RegisterFileError::kNone:
      break;
  }
  return true;
}

// One run on a reader: the steps share the window, the output and the result reached so far.
class ConsoleRun {
 public:
  ConsoleRun(frmMain& window, ConsoleOutput& out, const ConsoleJob& job)
      : window_(window), engine_(window.ucGNet), out_(out), job_(job) {}

  int result = kStepFailed;

  // True once a signal asked the run to stop; the run then goes no further.
  bool Stopping() const { return job_.stop_signal != nullptr && *job_.stop_signal != 0; }

  // A stopped run ends as cancelled unless the reader was done already.
  void EndStopped() {
    if (Stopping() && result != kOk) {
      result = kCancelledBase + *job_.stop_signal;
      out_.Line("Cancelled");
    }
  }

  // Opens the port or scans for a reader and checks that it is a supported model. True when the run
  // may go on; `result` holds the code otherwise.
  bool Connect(std::string port, const std::string& settings) {
    port = platform::text::Upper(port);
    bool open_tried = false;
    if (port == kAutoPort) {
      out_.Line("Auto scan ports...");
      // Every port, not the one the window's list happens to show.
      if (window_.cboPort.ListCount() > 0) window_.cboPort.SetListIndex(0);
      window_.cmdAutoScan_Click();
      if (engine_.PortOpen()) {
        port = engine_.CommPort();
        out_.Line("Found a device at " + port);
      }
    } else if (job_.use_open_port && engine_.PortOpen() &&
               platform::text::EqualNoCase(engine_.CommPort(), port)) {
      open_tried = true;
    } else {
      if (engine_.PortOpen()) {
        engine_.SetPortOpen(false);
        WaitMs(kReopenDelayMs);
      }
      // Settings that the line cannot take would leave it at others than the person asked for.
      const std::optional<std::string> line_settings = CompleteSettings(settings);
      if (!line_settings) {
        out_.Note("\"" + settings + "\" are no serial settings");
      } else {
        engine_.SetCommPort(port);
        engine_.SetSettings(*line_settings);
        engine_.SetPortOpen(true);
        open_tried = true;
      }
    }
    if (!engine_.PortOpen()) {
      if (port == kAutoPort) {
        result = kNoReaderFound;
        out_.Line(kNoDeviceLine);
      } else {
        result = kPortNotOpen;
        out_.Line("Can't open " + port);
        // The step line stays as scripts know it; the person reads on standard error why.
        if (open_tried) {
          for (const std::string& line :
               PortOpenAdvice(port, engine_.LastOpenResult(), platform::ListSerialPorts(),
                              platform::ListHidPorts(), UserSettingsPath())) {
            out_.Note(line);
          }
        }
      }
      return false;
    }

    if (!job_.use_open_port) WaitMs(kSettleDelayMs);
    identification_ = StripAcknowledge(engine_.Polling(0));
    if (Stopping()) return false;
    if (job_.record != nullptr) job_.record->identification = identification_;
    if (!IsSupportedIdentification(identification_)) {
      result = kUnsupportedReader;
      out_.Line(kNoDeviceLine);
      return false;
    }
    // The version text carries the unit's serial number, which the trace file keeps.
    if (job_.record != nullptr) job_.record->version_text = engine_.GetVersion();
    return !Stopping();
  }

  // The register file to write: the job's file, or the model's default file.
  bool FindFile(const std::string& file_name, std::string& path) {
    if (!platform::text::EqualNoCase(file_name, ConsoleRequest::kDefaultMarker)) {
      path = file_name;
      return true;
    }
    const std::string folder = platform::Join(platform::DataDir(), app_settings::kDefaultFolder);
    std::string alias;
    // Without the alias the model's file would be a guess, and a customer's reader would silently get
    // the factory configuration; an unattended run stops instead, as when the registers cannot be read.
    if (!AliasNames::GetAliasName(engine_, alias)) {
      result = kReadFailed;
      out_.Line("Read alias name fail");
      return false;
    }
    // The alias names a customer's own configuration; then the whole identification, then its model part,
    // since a reader reports further fields after the model ("KRD36AR,3TRACK,UART").
    for (const std::string& name : {alias, identification_, ModelNameOf(identification_)}) {
      if (name.empty()) continue;
      path = FindModuleFile(folder, name, register_files::kSection, kDefaultFileExtensions);
      if (!path.empty()) return true;
    }
    out_.Line("Can't open DEFAULT file");
    return false;
  }

  // The reader's 256 registers; empty (with the result and its line) when the dump fails.
  std::vector<uint8_t> ReadDevice() {
    out_.Line("Read registers from the device...");
    out_.Progress("Reading registers...");
    std::vector<uint8_t> device = DeviceImageOf(engine_.RegistersDumpEx(engine_.GNetTimeout()));
    if (device.empty()) {
      result = kReadFailed;
      out_.Line("Read registers fail");
      return {};
    }
    out_.Line("Read registers OK");
    return device;
  }

  // Writes the registers in which `file` differs from `device` (WriteOrder), stopping at the first that
  // fails. Returns how many differed.
  int WriteDifferences(const std::vector<uint8_t>& file, const std::vector<uint8_t>& device, bool dry_run) {
    const std::vector<int> differing = WriteOrder(file, device);
    if (differing.empty()) return 0;
    if (dry_run) {
      out_.Line("Registers that would be written (dry run, nothing is written):");
      for (const int index : differing) {
        out_.Line("Would write 0x" + ucGNet::HexByte(static_cast<uint8_t>(index)) +
                  " registers: " + ucGNet::HexByte(device[index]) + " -> " + ucGNet::HexByte(file[index]));
      }
      result = kOk;
      return static_cast<int>(differing.size());
    }
    out_.Line("Begin write registers");
    int done = 0;
    for (const int index : differing) {
      if (Stopping()) return static_cast<int>(differing.size());
      const int total = static_cast<int>(differing.size());
      if (out_.ShowsPart(++done, total)) {
        out_.Progress("Writing " + std::to_string(done) + "/" + std::to_string(total) + " registers...");
      }
      const bool ok = engine_.SetRegister(index, file[index]);
      const std::string line = "Write 0x" + ucGNet::HexByte(static_cast<uint8_t>(index)) + " registers ";
      if (!ok) {
        result = kWriteFailed;
        out_.Line(line + "fail");
        return static_cast<int>(differing.size());
      }
      if (job_.record != nullptr) ++job_.record->registers_written;
      out_.Line(line + "OK");
    }
    return static_cast<int>(differing.size());
  }

  // Reads the registers back and compares them with the file's image.
  void Check(const std::vector<uint8_t>& file, bool file_has_alias) {
    out_.Line("Check registers...");
    out_.Progress("Checking registers...");
    std::string wanted = register_files::BytesToHex(file);
    std::string found = engine_.RegistersDumpEx(engine_.GNetTimeout());
    // Silence after a write that moved the reader's line: the check goes on where it answers now.
    if (found.empty() && FindReaderAgain()) found = engine_.RegistersDumpEx(engine_.GNetTimeout());
    found = found.substr(0, wanted.size());
    if (!file_has_alias) {
      wanted = BlankAliasDigits(wanted);
      found = BlankAliasDigits(found);
    }
    if (found == wanted) {
      result = kOk;
      out_.Line("Check registers OK");
    } else {
      result = kCheckFailed;
      out_.Line("Check registers fail");
    }
  }

  // Polls the reader on its port at the rates a scan tries and leaves the line at the first where it
  // answers. The window follows by the settings its pages show; the console has none, and only an answer
  // proves where the reader went. False when it answers nowhere.
  bool FindReaderAgain() {
    const std::string was = std::to_string(gnet::RateOfEntry(engine_.Settings()));
    std::vector<std::string> rates =
        gnet::ScanRateList(app_settings::ReadScanSettings(false).baud_rates, gnet::RateOfEntry(was));
    // The list starts with the current rate, where the reader has just been silent: it is tried last, in
    // case it was only busy.
    std::rotate(rates.begin(), rates.begin() + 1, rates.end());
    const int32_t timeout = engine_.GNetTimeout();
    // Each wrong rate costs a poll's whole wait: the scan's short one.
    engine_.SetGNetTimeout(ucGNet::kScanTimeoutMs);
    std::string found;
    for (const std::string& rate : rates) {
      // The list's empty entry keeps the line as it is.
      if (rate.empty() || !engine_.PortOpen()) continue;
      engine_.SetSettings(rate);
      WaitMs(kSettleDelayMs);
      if (StripAcknowledge(engine_.Polling(0)) == identification_) {
        found = platform::text::Trim(rate);
        break;
      }
    }
    engine_.SetGNetTimeout(timeout);
    if (found.empty()) return false;
    if (found != was) out_.Note(engine_.CommPort() + " answers at " + found + " now");
    return true;
  }

  void Write() {
    const ConsoleJob& job = job_;
    if (!Connect(job.port, job.port_settings)) return;
    std::string path;
    if (!FindFile(job.file_name, path) || Stopping()) return;
    if (job.record != nullptr) job.record->file = path;
    RegisterFileImage file;
    if (!LoadRegisterFile(out_, path, file)) return;
    const bool file_has_alias = !file.alias.empty();
    if (file_has_alias) PutFileAlias(file.image, file.alias);

    const std::vector<uint8_t> device = ReadDevice();
    if (device.empty() || Stopping()) return;
    // Writing a file must never erase the alias of the reader that receives it.
    if (!file_has_alias) {
      std::copy(device.begin() + AliasNames::kAliasStart,
                device.begin() + AliasNames::kAliasStart + AliasNames::kAliasLength,
                file.image.begin() + AliasNames::kAliasStart);
    }
    if (job.record != nullptr) {
      job.record->image = file.image;
      job.record->alias = AliasText(file.image);
    }

    const int differing = WriteDifferences(file.image, device, job.dry_run);
    if (differing == 0) {
      out_.Line("There is no difference between the device and the file about registers");
      result = kOk;
      return;
    }
    if (!job.dry_run && result != kWriteFailed && !Stopping()) Check(file.image, file_has_alias);
  }

  void ReadTo(const std::string& path) {
    if (!Connect(job_.port, job_.port_settings)) return;
    const std::vector<uint8_t> device = ReadDevice();
    if (device.empty() || Stopping()) return;
    if (job_.record != nullptr) {
      job_.record->file = path;
      job_.record->image = device;
      job_.record->alias = AliasText(device);
    }
    std::string error;
    if (!register_files::SaveInfoFile(path, device, ModelNameOf(identification_), AliasText(device),
                                      &error)) {
      out_.Line("Can't save file " + path);
      out_.Note(error);
      return;
    }
    out_.Line("Save registers to " + path + " OK");
    result = kOk;
  }

  void ClosePort() {
    if (!engine_.PortOpen()) return;
    // Read from the open line: a closed port shows the settings it was opened with.
    if (job_.record != nullptr) job_.record->line_settings = engine_.Settings();
    if (!job_.use_open_port) engine_.SetPortOpen(false);
  }

 private:
  frmMain& window_;
  ucGNet& engine_;
  ConsoleOutput& out_;
  const ConsoleJob& job_;
  std::string identification_;
};

// Runs `steps`; a failure inside ends them with the result reached so far, and the port is closed in
// any case.
int RunTrapped(ConsoleRun& run, ConsoleOutput& out, const char* name, const std::function<void()>& steps) {
  try {
    steps();
  } catch (const std::exception& error) {
    out.Note(std::string(name) + " - " + error.what());
  } catch (...) {
    out.Note(std::string(name) + " - unknown error");
  }
  out.EndProgress();
  run.EndStopped();
  try {
    run.ClosePort();
  } catch (...) {
    // Closing a port that has gone already: nothing is left to do.
  }
  return run.result;
}

}  // namespace

int DoConsole(frmMain& window, ConsoleOutput& out, const ConsoleJob& job) {
  ConsoleRun run(window, out, job);
  return RunTrapped(run, out, "DoConsole", [&] { run.Write(); });
}

int ReadToFile(frmMain& window, ConsoleOutput& out, const ConsoleJob& job, const std::string& path) {
  ConsoleRun run(window, out, job);
  return RunTrapped(run, out, "ReadToFile", [&] { run.ReadTo(path); });
}

int console_result::ExitStatusOf(int result) {
  return result == kStepFailed ? kStepFailedStatus : result;
}

std::string console_result::MeaningOf(int status, int registers_written) {
  if (status > kCancelledBase && status < kCancelledBase + 65) {
    switch (status - kCancelledBase) {
      case 1:
        return "cancelled by a hang-up";
      case 2:
        return "cancelled by Ctrl-C";
      case 15:
        return "cancelled by SIGTERM";
      default:
        return "cancelled by signal " + std::to_string(status - kCancelledBase);
    }
  }
  switch (status) {
    case kOk:
      return registers_written > 0 ? "written and checked" : "nothing to write";
    case kUnsupportedReader:
      return "not a supported model, or no answer";
    case kNoReaderFound:
      return "no reader found";
    case kPortNotOpen:
      return "the port could not be opened";
    case kReadFailed:
      return "reading the registers failed";
    case kWriteFailed:
      return "writing a register failed";
    case kCheckFailed:
      return "the read-back differs from the file";
    case kTraceNotWritten:
      return "done, but not traced";
    case kStepFailedStatus:
      return "the file is missing or unusable";
    default:
      return "ended without a result";
  }
}

int ExportHexFile(ConsoleOutput& out, const std::string& cfg_path, const std::string& hex_path) {
  RegisterFileImage file;
  if (!LoadRegisterFile(out, cfg_path, file)) return kStepFailed;
  if (!file.alias.empty()) PutFileAlias(file.image, file.alias);
  std::string error;
  if (!register_files::SaveHexFile(hex_path, file.image, std::nullopt, &error)) {
    out.Line("Can't write HEX file " + hex_path);
    out.Note(error);
    return kStepFailed;
  }
  out.Line("Write HEX file " + hex_path + " OK");
  return kOk;
}

std::string StripAcknowledge(const std::string& identification) {
  if (identification.rfind("A,", 0) == 0) return identification.substr(2);
  if (identification.rfind('A', 0) == 0) return identification.substr(1);
  return identification;
}

bool IsSupportedIdentification(const std::string& identification) {
  for (const char* pattern : kSupportedPatterns) {
    if (gnet::MatchLike(identification, pattern)) return true;
  }
  return false;
}

std::string BlankAliasDigits(std::string hex) {
  const size_t start = 2 * AliasNames::kAliasStart;
  const size_t length = 2 * AliasNames::kAliasLength;
  if (hex.size() >= start + length) hex.replace(start, length, length, ' ');
  return hex;
}

RegisterFileError ReadRegisterFile(const std::string& path, RegisterFileImage& file) {
  clsINIFile ini(path);
  if (path.empty() || !ini.FindINIFile() || !ini.OpenINIFile()) return RegisterFileError::kCannotOpen;
  ini.CloseFile();
  const std::string registers = ini.GetKeyValue(register_files::kRegistersKey, "", register_files::kSection);
  file.alias = ini.GetKeyValue(register_files::kAliasKey, "", register_files::kSection);
  // Exactly one byte per register: a file with a byte missing or left over would put every value after
  // it into the wrong register.
  if (!RegisterImageFromHex(registers, file.image)) return RegisterFileError::kNoRegisters;
  return RegisterFileError::kNone;
}
