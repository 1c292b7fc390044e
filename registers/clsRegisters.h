#pragma once
// The program's image of a reader's configuration register space: 256 one-byte registers with their
// defaults, the map of bits the current skin uses, and the register objects that edit them.
//
// The set never talks to the reader. Every device access is handed to its owner through the On...
// members (the main window answers them with the protocol engine); the set decides the order, the
// retries, the snapshot comparison and the progress.
//
// Per address the set keeps:
//   register byte  what the controls show and what is written;
//   default byte   written into the bits that no register owns, and used by a return to defaults;
//   mask byte      bit n set: bit n of the register belongs to the skin; 0 means never read or written;
//   flags byte     bit 0: the snapshot holds what the reader has (read from it, or written to it since);
//                  bit 7: the mask was given as lower-case "ff" (callers may leave such addresses out
//                  of a bulk write);
//   snapshot byte  what the reader held when last read or written, for the cached write;
//   origin byte    bit n set: bit n of the register byte came from the reader in front of the program
//                  (read from it) or was set by the person, a file or the defaults. A bulk write sends
//                  only such bits; the others keep the reader's own value.
//
// Multi-byte numbers (RegisterLong) are stored most significant byte first, at the lowest address. So a
// number reads the same in the hexadecimal image of a .cfg file or the terminal view as in its text box:
// 9600 over two bytes is "2580".
//
// Everything runs on the user-interface thread; bulk operations let the interface process its events
// between bytes and attempts, and refuse to start while another bulk operation of the set is running.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "registers/clsINIFile.h"

namespace platform {
class Control;
}
class clsRegister;

class clsRegisters {
 public:
  static constexpr int kRegisterSpace = 256;
  // Attempts per byte before a read or write counts as failed.
  static constexpr int kAttempts = 3;
  static constexpr uint8_t kReadFlag = 0x01;
  static constexpr uint8_t kMarkedFlag = 0x80;

  // Sized for the whole register space, with the default mask.
  clsRegisters();
  ~clsRegisters();
  clsRegisters(const clsRegisters&) = delete;
  clsRegisters& operator=(const clsRegisters&) = delete;

  // ---- buffers ----
  // Sizes every buffer for `count` addresses, zero-filled; the mask map and flags start at 0.
  void CreateRegisterBuffer(int count);
  void ClearRegisterBuffer();
  int RegisterCount() const { return static_cast<int>(buffer_.size()); }

  // One byte of the register buffer; 0 outside the buffer. Writing outside the buffer does nothing.
  uint8_t Register(int32_t address) const;
  void SetRegister(int32_t address, uint8_t value);
  bool RegisterBit(int32_t address, int bit) const;
  void SetRegisterBit(int32_t address, int bit, bool set);
  // The `count` bytes from `address` as one unsigned number, most significant byte first. Runs longer
  // than 8 bytes keep their last 8 in the number; bytes outside the buffer read as 0 and are not written.
  uint64_t RegisterLong(int32_t address, int count) const;
  void SetRegisterLong(int32_t address, int count, uint64_t value);
  // The run as text: its bytes up to the first 0x00 or 0xFF. Written text is cut to the run and the rest
  // of the run filled with 0xFF, the value of an erased cell, as the reader's alias area does.
  std::string RegisterString(int32_t address, int count) const;
  void SetRegisterString(int32_t address, int count, const std::string& text);

  // The whole buffer. Setting it takes exactly RegisterCount() bytes; false (and nothing changed) else.
  const std::vector<uint8_t>& Registers() const { return buffer_; }
  bool SetRegisters(const std::vector<uint8_t>& bytes);
  const std::vector<uint8_t>& DefaultBuffer() const { return defaults_; }
  bool SetDefaultBuffer(const std::vector<uint8_t>& bytes);
  uint8_t DefaultRegister(int32_t address) const;
  // What the reader held at the last read or write; meaningful where the read flag is set.
  uint8_t SnapshotRegister(int32_t address) const;

  // ---- mask map and flags ----
  // The mask map as text, two hexadecimal digits per address; a marked address whose mask is 0xFF is
  // written "ff" so that the text reads back with the same marks.
  std::string ValidMask() const;
  // Replaces the whole map: characters other than hexadecimal digits are skipped, digits are taken two at
  // a time from address 0 (a lone last digit counts as "0" and the digit), and addresses the text does
  // not reach are unused. A pair written exactly "ff" marks its address (flags bit 7); "FF" does not.
  void SetValidMask(const std::string& text);
  static std::string GetDefaultMask();
  uint8_t UseMask(int32_t address) const;
  void SetUseMask(int32_t address, uint8_t mask);
  bool UseMaskBit(int32_t address, int bit) const;
  void SetUseMaskBit(int32_t address, int bit, bool used);
  bool IsRegValid(int32_t address) const { return UseMask(address) != 0; }
  bool IsRegValidBit(int32_t address, int bit) const { return UseMaskBit(address, bit); }
  void ClearMaskMap();
  uint8_t Flags(int32_t address) const;
  void ClearReadFlags();
  // The bits of `address` that a write may send (see the origin byte above).
  uint8_t Origin(int32_t address) const;
  // Another reader may be in front of the program now: nothing in the buffer stands for it any more, so
  // no write sends a byte of it until the byte is read, set or loaded again.
  void ForgetBuffer();
  // The bytes of display-only registers keep the reader's own value in the next write, whatever a file
  // put there: they describe the line the reader is attached by, and writing another one can cut it off.
  void ForgetDisplayOnly();

  // ---- modes ----
  // The bulk write skips bytes whose owned bits already hold, in the reader, what would be sent.
  bool RegisterSnapshotMode() const { return snapshot_mode_; }
  void SetRegisterSnapshotMode(bool on) { snapshot_mode_ = on; }
  // Registers may be display-only (they show their value but never change the buffer).
  bool AllowDisplayOnly() const { return allow_display_only_; }
  void SetAllowDisplayOnly(bool allow) { allow_display_only_ = allow; }
  // Every change a register's control makes is written to the reader at once (WriteBackRegister).
  bool DirectRegister() const { return direct_register_; }
  void SetDirectRegister(bool direct) { direct_register_ = direct; }

  // The skin's register definitions.
  clsINIFile& INIFile() { return ini_file_; }
  void SetINIFile(const std::string& full_file_name) { ini_file_.SetFullFileName(full_file_name); }

  // ---- device access ----
  // One byte through OnReadRegister into the buffer and the snapshot. Only for an address with a mask;
  // kAttempts tries with the interface's events processed between them.
  bool ReadRegister(int32_t address);
  // The buffer's byte through OnWriteRegister, the same way.
  bool WriteRegister(int32_t address);
  // Every address with a mask. First asks OnDumpRegisters for the whole space at once; when that does
  // not deliver, reads byte by byte and stops at the first byte that fails. OnProgress 0 first, 1 last.
  bool ReadRegisters();
  // Every address with a mask, in ascending order (the write-last addresses at the end): owned bits from
  // the buffer, the others from the defaults. Owned bits without origin keep the reader's value (fetched
  // first when not known); an address none of whose owned bits has an origin is not sent at all.
  // `skip_marked` leaves marked addresses out. Stops at the first byte that fails.
  bool WriteRegisters(bool skip_marked = false);
  // The cached write: makes sure the snapshot holds the reader's image (fetching it when any address
  // with a mask has not been read, without touching the buffer) and then writes only what differs.
  bool WriteRegistersCached(bool skip_marked = false);
  // Addresses that bulk writes send after every other one, in this order. The reader applies a new line
  // setting (its baud rate) as soon as that register is written, so those go last: everything before them
  // still travels at the rate the program uses.
  void SetWriteLast(std::vector<int32_t> addresses) { write_last_ = std::move(addresses); }

  // The fraction done of the bulk operation in progress (or of the last one).
  double GetProgress() const { return progress_; }
  bool Busy() const { return busy_; }

  // `data`: the reader's whole register space as hexadecimal text, two digits per byte, address 0 first.
  std::function<void(std::string& data, bool& ok)> OnDumpRegisters;
  std::function<void(uint8_t& value, bool& ok, int32_t address)> OnReadRegister;
  std::function<void(uint8_t& value, bool& ok, int32_t address)> OnWriteRegister;
  std::function<void(double fraction)> OnProgress;

  // ---- register objects ----
  // Creates a register for `control`, bound to the definition section `name` of INIFile(), loads it and
  // fits its text-box bounds to its data type. The set owns it.
  clsRegister& AddRegister(const std::string& name, platform::Control* control);
  // Takes a register that was set up elsewhere.
  clsRegister& AddRegister(std::unique_ptr<clsRegister> reg);
  int RegisterObjectCount() const { return static_cast<int>(registers_.size()); }
  // nullptr outside the list.
  clsRegister* GetRegisterObject(int index) const;
  // The first register of that name (compared without regard to case), or nullptr.
  clsRegister* FindRegister(const std::string& name) const;
  void ClearRegisters();

  void SaveRegisters();
  void UpdateRegisters();
  void EmptyRegisters();
  void DisableAll();
  void EnabledAll();
  // Shows the buffer again in every control.
  void Refresh() { UpdateRegisters(); }

 private:
  bool InRange(int32_t address) const { return address >= 0 && address < RegisterCount(); }
  bool Attempt(const std::function<void(uint8_t&, bool&, int32_t)>& handler, uint8_t& value, int32_t address);
  bool FetchByte(int32_t address, uint8_t& value);
  bool SendByte(int32_t address, uint8_t value);
  // The reader's image into the snapshot (and into the buffer when `into_buffer`); progress is reported
  // on the part [from, to] of the bar.
  bool FetchImage(bool into_buffer, double from, double to);
  bool TakeDump(const std::string& data, bool into_buffer);
  bool WriteAll(bool skip_marked, bool snapshot_mode, double from, double to);
  // Reads the reader's value of every address that a write must merge with it (some owned bits without
  // origin) and whose value is not known yet.
  bool FetchMergeBytes(bool skip_marked);
  void SetOrigin(int32_t address, uint8_t bits);
  std::vector<int32_t> ValidAddresses() const;
  // ValidAddresses with the write-last addresses moved to the end.
  std::vector<int32_t> WriteOrder() const;
  void Progress(double fraction);

  std::vector<uint8_t> buffer_;
  std::vector<uint8_t> defaults_;
  std::vector<uint8_t> mask_;
  std::vector<uint8_t> flags_;
  std::vector<uint8_t> snapshot_;
  std::vector<uint8_t> origin_;
  bool snapshot_mode_ = false;
  bool allow_display_only_ = false;
  bool direct_register_ = false;
  bool busy_ = false;
  double progress_ = 0;
  std::vector<int32_t> write_last_;
  clsINIFile ini_file_;
  std::vector<std::unique_ptr<clsRegister>> registers_;
};
