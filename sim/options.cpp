#include "sim/options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <type_traits>

#include "sim/register_file.h"

namespace msrsim {

namespace {

// ---- value readers: each returns false for a text that is not a valid value ----

template <typename Int>
bool ReadInt(const std::string& text, std::type_identity_t<Int> min, std::type_identity_t<Int> max,
             Int& value) {
  if (text.empty()) return false;
  int base = 10;
  const char* begin = text.data();
  const char* end = text.data() + text.size();
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    begin += 2;
  }
  const auto [ptr, ec] = std::from_chars(begin, end, value, base);
  return ec == std::errc() && ptr == end && value >= min && value <= max;
}

bool ReadCount(const std::string& text, int& value) {
  long long v = 0;
  if (!ReadInt(text, 0, 1'000'000'000, v)) return false;
  value = static_cast<int>(v);
  return true;
}

bool ReadRegister(const std::string& text, int& value) {
  long long v = 0;
  if (!ReadInt(text, 0, 255, v)) return false;
  value = static_cast<int>(v);
  return true;
}

bool ReadRate(const std::string& text, uint32_t& value) {
  long long v = 0;
  if (!ReadInt(text, 1, 10'000'000, v)) return false;
  value = static_cast<uint32_t>(v);
  return true;
}

// Two hexadecimal digits, or "0x" and up to two.
bool ReadHexByte(const std::string& text, uint8_t& value) {
  std::string digits = text;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X'))
    digits = digits.substr(2);
  if (digits.empty() || digits.size() > 2) return false;
  unsigned v = 0;
  const auto [ptr, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), v, 16);
  if (ec != std::errc() || ptr != digits.data() + digits.size()) return false;
  value = static_cast<uint8_t>(v);
  return true;
}

// "all", or registers separated by commas.
bool ReadRegisterSet(const std::string& text, RegisterSet& set) {
  set = {};
  if (text == "all") {
    set.all = true;
    return true;
  }
  size_t start = 0;
  while (start <= text.size()) {
    const size_t comma = text.find(',', start);
    const std::string item =
        text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
    int reg = 0;
    if (!ReadRegister(item, reg)) return false;
    set.registers.insert(static_cast<uint8_t>(reg));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return true;
}

bool ReadRateList(const std::string& text, std::vector<uint32_t>& rates) {
  rates.clear();
  size_t start = 0;
  while (start <= text.size()) {
    const size_t comma = text.find(',', start);
    uint32_t rate = 0;
    if (!ReadRate(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start), rate)) {
      return false;
    }
    rates.push_back(rate);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return rates.size() <= 256;
}

// A chance in percent, fractions allowed: "5", "0.5".
bool ReadPercent(const std::string& text, double& percent) {
  if (text.empty()) return false;
  double value = 0;
  const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || ptr != text.data() + text.size() || !(value >= 0 && value <= 100)) return false;
  percent = value;
  return true;
}

bool ReadSeed(const std::string& text, uint64_t& seed) {
  return ReadInt(text, 0, std::numeric_limits<uint64_t>::max(), seed);
}

// Seconds, fractions allowed ("0.5"), as milliseconds; at least 1 ms.
bool ReadSeconds(const std::string& text, int& ms) {
  if (text.empty()) return false;
  double seconds = 0;
  const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (ec != std::errc() || ptr != text.data() + text.size()) return false;
  if (!(seconds > 0 && seconds <= 86400)) return false;
  ms = std::max(1, static_cast<int>(std::lround(seconds * 1000)));
  return true;
}

// `kind` ("COM", "HID") and a number from 1 to `highest`, in any letter case; written back upper-case.
bool ReadPortName(const std::string& text, const std::string& kind, int highest, std::string& name) {
  if (text.size() <= kind.size()) return false;
  std::string prefix = text.substr(0, kind.size());
  for (char& c : prefix) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  long long number = 0;
  const std::string digits = text.substr(kind.size());
  if (prefix != kind || !ReadInt(digits, 1, highest, number) || digits[0] == '0') return false;
  name = kind + std::to_string(number);
  return true;
}

// A serial reader answers to a COM name, a reader behind a bridge to a HID name; the later --register wins.
bool ReadRegisterName(const std::string& text, ReaderArgs& reader) {
  std::string name;
  if (ReadPortName(text, "COM", 255, name)) {
    reader.com_name = name;
    reader.hid_name.clear();
  } else if (ReadPortName(text, "HID", 256, name)) {
    reader.hid_name = name;
    reader.com_name.clear();
  } else {
    return false;
  }
  return true;
}

// What one reader's options cannot mean together; empty when they fit.
std::string Conflict(const ReaderArgs& reader) {
  if (reader.config.hid && !reader.config.device.empty()) return "--hid and --device exclude each other";
  if (reader.config.hid && !reader.com_name.empty())
    return "--register " + reader.com_name + " names a serial port; a --hid reader registers as HIDn";
  if (!reader.config.hid && !reader.hid_name.empty())
    return "--register " + reader.hid_name + " needs --hid (a reader behind a USB HID bridge)";
  return {};
}

// ---- the table of reader options ----

using Setter = std::function<bool(ReaderArgs&, const std::string&)>;

struct ReaderOption {
  const char* name;
  const char* value_name;  // nullptr: a switch without value
  Setter set;
};

const std::vector<ReaderOption>& ReaderOptions() {
  static const std::vector<ReaderOption> options = {
      {"--cfg", "FILE", [](ReaderArgs& r, const std::string& v) { return r.cfg_file = v, !v.empty(); }},
      {"--fill", "HEX",
       [](ReaderArgs& r, const std::string& v) {
         uint8_t b = 0;
         return ReadHexByte(v, b) && (r.fill = b, true);
       }},
      {"--alias", "TEXT", [](ReaderArgs& r, const std::string& v) { return r.alias = v, v.size() <= 16; }},
      {"--id", "TEXT", [](ReaderArgs& r, const std::string& v) { return r.config.identification = v, true; }},
      {"--version-text", "TEXT",
       [](ReaderArgs& r, const std::string& v) { return r.config.version_text = v, true; }},
      {"--rate", "N",
       [](ReaderArgs& r, const std::string& v) {
         uint32_t rate = 0;
         return ReadRate(v, rate) && (r.rate = rate, true);
       }},
      {"--baud-register", "REG",
       [](ReaderArgs& r, const std::string& v) {
         if (v == "none") return r.config.serial_map.baud_register = -1, true;
         return ReadRegister(v, r.config.serial_map.baud_register);
       }},
      {"--baud-codes", "RATES",
       [](ReaderArgs& r, const std::string& v) { return ReadRateList(v, r.config.serial_map.baud_codes); }},
      {"--device", "PATH",
       [](ReaderArgs& r, const std::string& v) { return r.config.device = v, !v.empty(); }},
      {"--hid", nullptr, [](ReaderArgs& r, const std::string&) { return r.config.hid = true, true; }},
      {"--hid-socket", "PATH",
       [](ReaderArgs& r, const std::string& v) {
         return r.config.hid = true, r.config.hid_socket = v, !v.empty();
       }},
      {"--register", "COMn|HIDn", [](ReaderArgs& r, const std::string& v) { return ReadRegisterName(v, r); }},
      {"--save-cfg", "FILE", [](ReaderArgs& r, const std::string& v) { return r.save_cfg = v, !v.empty(); }},
      {"--pace", nullptr, [](ReaderArgs& r, const std::string&) { return r.config.pacing = true, true; }},
      {"--latency", "MS",
       [](ReaderArgs& r, const std::string& v) { return ReadCount(v, r.config.latency_ms); }},
      {"--latency-max", "MS",
       [](ReaderArgs& r, const std::string& v) { return ReadCount(v, r.config.latency_max_ms); }},
      {"--drop-every", "N",
       [](ReaderArgs& r, const std::string& v) { return ReadCount(v, r.config.drop_every); }},
      {"--bad-checksum-every", "N",
       [](ReaderArgs& r, const std::string& v) { return ReadCount(v, r.config.bad_checksum_every); }},
      {"--not-ready", "K",
       [](ReaderArgs& r, const std::string& v) { return ReadCount(v, r.config.not_ready_polls); }},
      {"--drop-percent", "P",
       [](ReaderArgs& r, const std::string& v) { return ReadPercent(v, r.config.drop_percent); }},
      {"--bad-checksum-percent", "P",
       [](ReaderArgs& r, const std::string& v) { return ReadPercent(v, r.config.bad_checksum_percent); }},
      {"--not-ready-percent", "P",
       [](ReaderArgs& r, const std::string& v) { return ReadPercent(v, r.config.not_ready_percent); }},
      {"--refuse-writes", "REGS",
       [](ReaderArgs& r, const std::string& v) { return ReadRegisterSet(v, r.config.refused_writes); }},
      {"--refuse-reads", "REGS",
       [](ReaderArgs& r, const std::string& v) { return ReadRegisterSet(v, r.config.refused_reads); }},
      {"--ignore-writes", "REGS",
       [](ReaderArgs& r, const std::string& v) { return ReadRegisterSet(v, r.config.ignored_writes); }},
      {"--dump-bytes", "N",
       [](ReaderArgs& r, const std::string& v) { return ReadCount(v, r.config.dump_bytes); }},
      {"--silent", nullptr, [](ReaderArgs& r, const std::string&) { return r.config.silent = true, true; }},
      {"--close-after", "N",
       [](ReaderArgs& r, const std::string& v) { return ReadCount(v, r.config.close_after); }},
      {"--swipe", "TEXT",
       [](ReaderArgs& r, const std::string& v) { return r.config.swipes_at_start.push_back(v), true; }},
      {"--swipe-text", "TEXT",
       [](ReaderArgs& r, const std::string& v) { return r.config.swipe_text = v, true; }},
      {"--swipe-every", "SECONDS",
       [](ReaderArgs& r, const std::string& v) { return ReadSeconds(v, r.config.swipe_every_ms); }},
  };
  return options;
}

const ReaderOption* FindReaderOption(const std::string& name) {
  for (const ReaderOption& option : ReaderOptions()) {
    if (name == option.name) return &option;
  }
  return nullptr;
}

}  // namespace

bool ParseCommandLine(const std::vector<std::string>& args, ProgramOptions& options, std::string& error) {
  options = {};
  ReaderArgs defaults;
  std::vector<ReaderArgs> readers;
  // Options before the first --reader go to `defaults`; each --reader starts from them.
  ReaderArgs* current = &defaults;
  bool grouped = false;

  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const size_t equals = arg.find('=');
    const std::string name = arg.substr(0, equals);
    std::optional<std::string> inline_value;
    if (equals != std::string::npos) inline_value = arg.substr(equals + 1);

    if (name == "--help" || name == "-h") {
      options.help = true;
      continue;
    }
    if (name == "--log") {
      const std::string target = inline_value.value_or("stderr");
      if (target == "stderr") {
        options.log = LogTarget::kStderr;
      } else if (target == "stdout") {
        options.log = LogTarget::kStdout;
      } else {
        error = "--log takes stderr or stdout, not \"" + target + "\"";
        return false;
      }
      continue;
    }
    // The value of an option that takes one: after "=", or the next argument.
    const auto take_value = [&](const char* value_name, std::string& value) {
      if (inline_value) {
        value = *inline_value;
      } else if (i + 1 < args.size()) {
        value = args[++i];
      } else {
        error = name + " needs a value (" + value_name + ")";
        return false;
      }
      return true;
    };
    if (name == "--seed") {
      std::string value;
      if (!take_value("N", value)) return false;
      uint64_t seed = 0;
      if (!ReadSeed(value, seed)) {
        error = "bad value \"" + value + "\" for --seed N";
        return false;
      }
      options.seed = seed;
      continue;
    }
    if (name == "--reader" && !inline_value) {
      grouped = true;
      readers.push_back(defaults);
      current = &readers.back();
      continue;
    }
    const ReaderOption* option = FindReaderOption(name);
    if (option == nullptr) {
      error = "unknown option \"" + arg + "\"";
      return false;
    }
    std::string value;
    if (option->value_name != nullptr) {
      if (!take_value(option->value_name, value)) return false;
    } else if (inline_value) {
      error = name + " takes no value";
      return false;
    }
    if (!option->set(*current, value)) {
      error = "bad value \"" + value + "\" for " + name + " " + option->value_name;
      return false;
    }
  }
  if (!grouped) readers.push_back(defaults);
  options.readers = std::move(readers);

  for (const ReaderArgs& reader : options.readers) {
    error = Conflict(reader);
    if (!error.empty()) return false;
  }
  // Two readers cannot answer to one port name, listen on one socket, nor save their images into one file.
  for (size_t a = 0; a < options.readers.size(); ++a) {
    for (size_t b = a + 1; b < options.readers.size(); ++b) {
      const ReaderArgs& first = options.readers[a];
      const ReaderArgs& second = options.readers[b];
      const auto clash = [&](const std::string& mine, const std::string& theirs, const char* what) {
        if (mine.empty() || mine != theirs) return false;
        error = "two readers cannot both " + std::string(what) + mine;
        return true;
      };
      if (clash(first.com_name, second.com_name, "be ") || clash(first.hid_name, second.hid_name, "be ") ||
          clash(first.config.hid_socket, second.config.hid_socket, "listen on ") ||
          clash(first.save_cfg, second.save_cfg, "save to ")) {
        return false;
      }
    }
  }
  return true;
}

bool BuildReaderConfig(const ReaderArgs& reader, ReaderConfig& config, std::string& error) {
  config = reader.config;
  const SerialRegisterMap& map = config.serial_map;
  std::optional<std::string> image_file = reader.cfg_file;
  if (!image_file && !reader.fill && !reader.factory_folder.empty()) {
    const std::string model = config.identification.substr(0, config.identification.find(','));
    const std::string found = FindFactoryImage(reader.factory_folder, model);
    if (!found.empty()) image_file = found;
  }
  if (image_file) {
    if (!LoadRegisterFile(*image_file, config.registers, error)) return false;
  } else {
    config.registers = DefaultImage(reader.fill.value_or(0x00), reader.rate.value_or(kDefaultLineRate), map);
  }
  if (reader.rate) {
    config.line_rate = *reader.rate;
  } else {
    // A loaded image brings its own line settings: the reader starts at the rate its register says.
    std::optional<uint32_t> rate;
    if (map.baud_register >= 0)
      rate = map.RateForCode(config.registers[static_cast<size_t>(map.baud_register)]);
    config.line_rate = rate.value_or(kDefaultLineRate);
  }
  if (reader.alias) SetAlias(config.registers, *reader.alias);
  return true;
}

std::string HelpText() {
  return R"(Usage: msrsim [OPTION]... [--reader [OPTION]...]...

Emulates magnetic-stripe card readers on pseudo-terminals (or serial devices, or behind emulated USB HID
bridges), so the configuration utility can be shown, taught and tested without hardware. For each reader
it prints one line on standard output: the port path (a bridge's socket), and the COM or HID name when
--register is given. It runs until interrupted (Ctrl-C,
SIGTERM) or until every reader's line has closed.

Readers
  --reader              start another reader. Options before the first --reader apply to every reader,
                        options after a --reader to that reader only. Without --reader: one reader.

Identity and registers
  --id TEXT             identification sent for "D" (default "KRD36AR,3TRACK,UART"; the model is the
                        part before the first comma)
  --version-text TEXT   version sent for "V" (default "12345678, V1.05": serial number, version)
  --cfg FILE            load the 256-byte register image from a .cfg file ([MSRRegister] Registers=)
  --fill HEX            fill byte of the default image (default 00); the alias area stays FF and the
                        serial settings registers describe the line. Without --cfg and --fill the
                        reader starts from its model's factory image in the Default folder beside
                        msrsim ([MSRRegister] Module = the model), when there is one
  --alias TEXT          alias name (up to 16 characters) in registers 224-239
  --rate N              the reader's line rate in bit/s (default 19200, or what the .cfg image's
                        baud-rate register says)
  --baud-register REG   register that holds the baud-rate code (default 0x01; "none": no such register)
  --baud-codes RATES    rates of codes 0, 1, ... (default 1200,2400,4800,9600,19200,38400,57600,115200)

Line
  --device PATH         play the reader on an existing serial device instead of a new pseudo-terminal
  --hid                 put the reader behind an emulated USB HID bridge (docs/hid-bridge.md) that
                        listens on a Unix seqpacket socket, one report per packet, one host at a time
  --hid-socket PATH     the bridge's socket (implies --hid; default
                        $XDG_RUNTIME_DIR/msrsim-<pid>-<n>.hid, or /tmp/..., n = reader number from 1)
  --register COMn       add "COMn = <path>" to [SerialPorts] of the user's settings.ini while running
  --register HIDn       for a --hid reader: add "HIDn = <socket>" to [HIDPorts] instead
  --save-cfg FILE       when msrsim ends, save the reader's register image in FILE (a .cfg file that
                        --cfg loads)
  --pace                send replies at the line's byte time (10 bits per byte)
  --latency MS          wait MS milliseconds before each reply
  --latency-max MS      wait a random time from --latency (default 0) up to MS milliseconds before
                        each reply

Faults
  --drop-every N        leave out every Nth reply
  --bad-checksum-every N  spoil the checksum digits of every Nth reply that carries them ("B")
  --not-ready K         answer "N" to the first K polls ("D")
  --refuse-writes REGS  answer "E3" to writes of these registers (comma list or "all")
  --refuse-reads REGS   answer "E3" to reads of these registers ("B")
  --ignore-writes REGS  answer "A" to writes of these registers but keep the old value
  --dump-bytes N        send only the first N bytes of the dump ("Y")
  --silent              answer nothing at all
  --close-after N       close the line after the Nth transaction (the host sees a hang-up)
  --drop-percent P      leave out each reply with a chance of P percent (fractions allowed)
  --bad-checksum-percent P  spoil the checksum digits of a reply that carries them with a chance of
                        P percent
  --not-ready-percent P answer "N" to a poll ("D") with a chance of P percent
  --seed N              seed of the random faults and latencies (default: from the clock); reader n
                        (from 0) uses N + n, so a run can be played again. --log prints it

Card swipes (track data followed by CR LF, sent outside transactions)
  --swipe TEXT          send TEXT once when the line opens (repeatable)
  --swipe-text TEXT     track data for key presses and the timer
                        (default "%B4111111111111111^DOE/JOHN^2512101?;4111111111111111=2512101?")
  --swipe-every SECONDS send the swipe text periodically
  Pressing Enter on standard input swipes every reader; a number and Enter swipes that reader
  (1 = the first); any other text and Enter swipes that text on every reader.

Other
  --log[=stderr|stdout] print each transaction and swipe (default stderr)
  -h, --help            show this help and exit

Error replies: "E1" checksum wrong or missing, "E2" unknown command or malformed request,
"E3" access refused.

Registers and numbers: decimal or 0x-prefixed hexadecimal (REG, REGS, N); HEX is hexadecimal.
Every option also takes its value as --option=value.

Examples
  msrsim --register COM5 --log
  msrsim --hid --register HID1 --id "KRD36AR,3TRACK,UART" --pace
  msrsim --cfg reader.cfg --alias "SHOP-1" --rate 9600
  msrsim --reader --id "KRD36AR,3TRACK,UART" --reader --id "KRD12,2TRACK,UART" --not-ready 1
)";
}

}  // namespace msrsim
