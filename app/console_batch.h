#pragma once
// The console mode's work on a reader: DoConsole writes a register file into it, ReadToFile saves its
// registers, ExportHexFile turns a register file into Intel HEX without any reader.
//
// DoConsole runs on the main window, created without being shown: the automatic scan is the window's
// own discovery, and the window's engine talks to the reader. Each step prints its line; the first step
// that fails prints its own line and ends the run, and the result code tells the caller what happened.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class ConsoleOutput;
class frmMain;

// The result codes, which are also the process's exit codes.
namespace console_result {
inline constexpr int kOk = 0;
inline constexpr int kUnsupportedReader = 1;
inline constexpr int kNoReaderFound = 2;
inline constexpr int kPortNotOpen = 3;
inline constexpr int kReadFailed = 4;
inline constexpr int kWriteFailed = 5;
inline constexpr int kCheckFailed = 6;
// A step before the reader's registers were touched ended the run: a file missing or unreadable, no
// default file for the model.
inline constexpr int kStepFailed = -1;
// What a shell sees for kStepFailed.
inline constexpr int kStepFailedStatus = 255;
// A run stopped by a signal ends with this plus the signal's number, the status a shell gives a program
// that a signal ended (130 for Ctrl-C, 143 for SIGTERM), so scripts that knew those before still do.
inline constexpr int kCancelledBase = 128;
// The reader was written and checked, but its row could not be added to the trace file.
inline constexpr int kTraceNotWritten = 8;

// The exit status of a result code: kStepFailed becomes 255, the rest stay.
int ExitStatusOf(int result);
// The meaning of an exit status in a few words, for result lines and the trace file ("written and
// checked"). `registers_written` tells a 0 that wrote from one that found nothing to write.
std::string MeaningOf(int status, int registers_written);
}  // namespace console_result

// What a run learnt about the reader and the file, for the trace file. Fields stay empty as far as the
// run did not get.
struct ConsoleJobRecord {
  std::string identification;
  std::string version_text;
  // The register file written (or, for a read, saved).
  std::string file;
  // The 256 registers the reader was to hold after the write (the file's, with the alias area as
  // written), or the registers read.
  std::vector<uint8_t> image;
  std::string alias;
  int registers_written = 0;
  // The line settings the port had when the run closed it: where the reader answered last, which is the
  // file's rate after a write that moved the reader.
  std::string line_settings;
};

struct ConsoleJob {
  // A register file, or "<Default>" (any case) for the model's default file.
  std::string file_name;
  // A COM name, or "AUTO" (any case) to scan every port.
  std::string port;
  std::string port_settings;
  // Compare and tell what would be written; write nothing.
  bool dry_run = false;
  // The caller has the port open, at the settings where the reader has just answered (a station's
  // worker): the run goes on on that line instead of closing it and waiting to open it again, and leaves
  // it open for the caller at its end.
  bool use_open_port = false;
  // Filled in as the run goes, when given; the run then also asks the reader for its version text.
  ConsoleJobRecord* record = nullptr;
  // The number of a signal that asked the run to stop, 0 while none did; the caller sets it (and the
  // engine's cancel flag, which ends a wait at once). The run then stops at its next step or register
  // and ends with kCancelledBase plus the signal, unless the reader was done already.
  const int* stop_signal = nullptr;
};

int DoConsole(frmMain& window, ConsoleOutput& out, const ConsoleJob& job);

// Connects as DoConsole does (the job's port, settings, record and stop signal; its file is ignored) and
// saves the reader's registers as a .cfg file at `path`, with the model and the reader's alias. 0 when
// the file was written; the connection and read codes of DoConsole; -1 when the file cannot be written.
int ReadToFile(frmMain& window, ConsoleOutput& out, const ConsoleJob& job, const std::string& path);

// Writes the Intel HEX image of the register file `cfg_path` to `hex_path`; a file alias goes into the
// image's alias area first, as it would into a reader. 0 or -1.
int ExportHexFile(ConsoleOutput& out, const std::string& cfg_path, const std::string& hex_path);

// ---- the rules, on their own ----
// The identification a poll gave, without a leading "A," or else a leading "A": some firmware puts its
// acknowledgement in front of the identification once more.
std::string StripAcknowledge(const std::string& identification);
// True for the models the console mode writes: "KRD" with two digits and an A, K, P or R later on, or
// "QV-R" with three digits and a "-" later on.
bool IsSupportedIdentification(const std::string& identification);
// Hexadecimal image text with the alias area's 32 digits (bytes 224-239) blanked, for a comparison that
// leaves the alias out. Texts too short for the area are returned as they are.
std::string BlankAliasDigits(std::string hex);

// A register file's image: Registers of section MSRRegister as exactly 256 bytes, and its AliasName.
struct RegisterFileImage {
  std::vector<uint8_t> image;
  std::string alias;
};
enum class RegisterFileError { kNone, kCannotOpen, kNoRegisters };
RegisterFileError ReadRegisterFile(const std::string& path, RegisterFileImage& file);
