#pragma once
// The line an emulated reader talks on, and what it can learn about the host at the other end.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/event_loop.h"

namespace msrsim {

class ReaderLine {
 public:
  virtual ~ReaderLine() = default;

  // Starts handing what the host sends to `on_receive`, and a line that went away to `on_lost`, on the
  // thread that runs `loop` (the loop the line was opened for).
  virtual void Attach(std::function<void(const uint8_t*, size_t)> on_receive,
                      std::function<void()> on_lost) = 0;
  virtual bool IsOpen() const = 0;
  // What a host opens; kept after Close for messages.
  virtual const std::string& Path() const = 0;
  // The host's line speed, or 0 when this line cannot see it.
  virtual uint32_t HostRate() const = 0;
  // Writes what the line takes now without blocking: the count taken, or -1 when the line failed.
  virtual long Write(const uint8_t* data, size_t size) = 0;
  // Moves the line itself to the reader's new rate (a real device); nothing to do on a pseudo-terminal,
  // whose speed is whatever the host set.
  virtual bool SetReaderRate(uint32_t rate) = 0;
  // True when written bytes keep leaving at the line rate after Write returns, so that a rate change
  // must wait for them.
  virtual bool SendsAtLineRate() const = 0;
  // The host sees a hang-up (pseudo-terminal), or the device is released.
  virtual void Close() = 0;
  // Where a line with something to report about itself (a bridge and its host) writes one line of text,
  // on the loop's thread. Lines with nothing to say ignore it.
  virtual void SetLog(std::function<void(const std::string&)>) {}
};

// A new pseudo-terminal pair, watched by `loop`. The emulator keeps the host's end open too, so the line
// survives hosts opening and closing it, and reads the host's speed from it.
std::unique_ptr<ReaderLine> OpenPtyLine(platform::EventLoop& loop, std::string& error);
// An existing serial device at `rate`, 8 data bits, no parity, 1 stop bit, watched by `loop`. The device
// must be one that the machine's serial port list knows (sysfs, or the SerialPorts map of the settings).
std::unique_ptr<ReaderLine> OpenDeviceLine(const std::string& path, uint32_t rate, platform::EventLoop& loop,
                                           std::string& error);
// A reader behind an emulated USB HID bridge: a seqpacket socket listening at `path`, one packet per report,
// watched by `loop`. One host is served at a time; the bridge keeps its state between hosts. The socket
// file is removed on Close. HostRate() is the bridge's rate; SetReaderRate tells it the reader's, and
// while the two differ each side hears noise from the other.
std::unique_ptr<ReaderLine> OpenHidBridgeLine(const std::string& path, platform::EventLoop& loop,
                                              std::string& error);
// Where reader `number` (from 1) of this process listens when no path is given:
// "$XDG_RUNTIME_DIR/msrsim-<pid>-<number>.hid", in /tmp when that variable names no writable folder.
std::string DefaultHidSocketPath(int number);

}  // namespace msrsim
