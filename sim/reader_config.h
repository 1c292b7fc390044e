#pragma once
// Everything that makes one emulated reader: what it reports, its register image, its line, the faults it
// injects and the card swipes it sends. Plain data; the command line and tests fill it in.

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace msrsim {

using RegisterImage = std::array<uint8_t, 256>;

inline constexpr int kAliasFirst = 224;  // the alias name lives in registers 224..239
inline constexpr int kAliasLength = 16;
inline constexpr uint8_t kNoAliasByte = 0xFF;  // 16 of these mean "no alias"

inline constexpr const char* kDefaultIdentification = "KRD36AR,3TRACK,UART";
inline constexpr const char* kDefaultVersionText = "12345678, V1.05";
inline constexpr const char* kDefaultSwipeText =
    "%B4111111111111111^DOE/JOHN^2512101?;4111111111111111=2512101?";
inline constexpr uint32_t kDefaultLineRate = 19200;

// Where the reader keeps its own serial settings. -1 means the reader has no such register.
// Only the baud rate changes the emulated line: a pty carries neither parity nor data bits.
struct SerialRegisterMap {
  int interface_register = 0x00;  // 0 UART, 1 PS/2, 2 HID
  int baud_register = 0x01;       // a code into baud_codes
  int parity_register = 0x02;     // 0 none, 1 odd, 2 even
  int data_bits_register = 0x03;  // 7 or 8
  int stop_bits_register = 0x04;  // 1 or 2
  std::vector<uint32_t> baud_codes = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};

  // The rate that `code` stands for, if it is in the table.
  std::optional<uint32_t> RateForCode(uint8_t code) const;
  // The code of `rate`, if the table has it.
  std::optional<uint8_t> CodeForRate(uint32_t rate) const;
};

// Every register `fill`, except the alias area (no alias) and the serial settings, which describe the
// line the reader starts on: `rate` (when the table has it), no parity, 8 data bits, 1 stop bit, UART.
RegisterImage DefaultImage(uint8_t fill, uint32_t rate, const SerialRegisterMap& map);
// Puts up to 16 characters of `alias` into the alias area, padded with 0xFF; an empty text erases it.
void SetAlias(RegisterImage& image, const std::string& alias);
// The alias held in the image: the bytes before the first 0xFF (or all 16).
std::string GetAlias(const RegisterImage& image);

// Which registers a fault option applies to: all of them, or the listed ones.
struct RegisterSet {
  bool all = false;
  std::set<uint8_t> registers;
  bool Contains(uint8_t reg) const { return all || registers.count(reg) > 0; }
  bool Empty() const { return !all && registers.empty(); }
};

struct ReaderConfig {
  // What "D" and "V" report. The model is the part of the identification before the first comma.
  std::string identification = kDefaultIdentification;
  std::string version_text = kDefaultVersionText;

  // The register image at start. The baud-rate register is set to the code of `line_rate` when the reader
  // starts, so the two never disagree.
  SerialRegisterMap serial_map;
  RegisterImage registers = DefaultImage(0x00, kDefaultLineRate, SerialRegisterMap{});
  uint32_t line_rate = kDefaultLineRate;

  // Line: a serial device to play the reader on instead of a new pseudo-terminal.
  std::string device;
  // Or an emulated USB HID bridge in front of the reader, listening on the seqpacket socket `hid_socket`
  // (empty: DefaultHidSocketPath).
  bool hid = false;
  std::string hid_socket;
  // Send replies at the line's byte time (10 bits per byte) instead of all at once.
  bool pacing = false;
  // Pause between a request and the start of its reply. With latency_max_ms above latency_ms each reply
  // waits a random time from latency_ms to latency_max_ms instead.
  int latency_ms = 0;
  int latency_max_ms = 0;

  // Faults. A count of 0 switches the fault off.
  int drop_every = 0;          // every Nth reply is not sent
  int bad_checksum_every = 0;  // every Nth reply that carries checksum digits carries wrong ones
  int not_ready_polls = 0;     // the first K polls ("D", "D"xx) are answered "N"
  RegisterSet refused_writes;  // writes answered with the error "E3", value kept
  RegisterSet refused_reads;   // reads answered with the error "E3"
  RegisterSet ignored_writes;  // writes answered "A" but the value is kept
  int dump_bytes = -1;         // the dump stops after this many bytes; -1: the whole image
  bool silent = false;         // no replies at all (the requests are still counted and logged)
  int close_after = 0;         // the line is closed after the Nth transaction's reply

  // Random faults: the chance in percent (fractions allowed) that one strikes; 0 switches it off. They
  // come on top of the counted faults above and draw from one generator seeded with `seed`.
  double drop_percent = 0;          // a reply is not sent
  double bad_checksum_percent = 0;  // a reply that carries checksum digits carries wrong ones
  double not_ready_percent = 0;     // a poll is answered "N"
  uint64_t seed = 1;

  // Card swipes: track data sent outside transactions, followed by CR LF.
  std::string swipe_text = kDefaultSwipeText;
  std::vector<std::string> swipes_at_start;  // each sent once, right after the line opens
  int swipe_every_ms = 0;                    // send swipe_text periodically; 0: never
};

}  // namespace msrsim
