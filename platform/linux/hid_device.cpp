// A HID bridge over a hidraw node or an emulated bridge's seqpacket socket. Both keep report bounds: one
// read gives one input report, one write sends one output report, so the two differ only in how they open.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "platform/hid_device.h"
#include "platform/linux/open_failure.h"
#include "platform/seqpacket.h"

namespace platform {
namespace {

// Larger than any report, so the kernel never cuts one short.
constexpr size_t kReadBuffer = 4 * kHidReportSize;

std::string OpenFailureMessage(const std::string& path, bool socket, int error) {
  const std::string reason = SystemText(error);
  if (PortFailureOf(error) == PortFailure::kNoPermission) {
    if (socket) {
      return "No permission to connect to the emulated bridge " + path + " (" + reason +
             "): run the emulator as your own user";
    }
    return "No permission to open " + path + " (" + reason + "): copy the udev rule " + kHidUdevRuleFile +
           " to /etc/udev/rules.d, which gives the logged-in user access to the bridge, run "
           "'udevadm control --reload', then unplug the bridge and plug it in again";
  }
  if (error == ECONNREFUSED) return "The emulated bridge " + path + " is not running (" + reason + ")";
  if (error == EBUSY) return path + " is in use by another program (" + reason + ")";
  return "Cannot open " + path + ": " + reason;
}

class LinuxHidDevice final : public HidDevice {
 public:
  explicit LinuxHidDevice(EventLoop* loop) : loop_(loop) {}
  ~LinuxHidDevice() override { Close(); }
  LinuxHidDevice(const LinuxHidDevice&) = delete;
  LinuxHidDevice& operator=(const LinuxHidDevice&) = delete;

  PortResult Open(const std::string& path) override;
  void Close() override {
    watch_.reset();
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }
  bool IsOpen() const override { return fd_ >= 0; }
  int Descriptor() const override { return fd_; }
  const std::string& Path() const override { return path_; }
  bool WriteReport(const std::vector<uint8_t>& report) override;
  void ReadWaiting() override;

 private:
  void OnReady(unsigned conditions);
  // Hands over every report waiting now. False when the device is gone, or when a handler closed,
  // reopened or destroyed it (then `handled_away` is set and nothing here may be touched any more).
  bool ReadReports(bool& handled_away);

  EventLoop* loop_;
  std::string path_;
  int fd_ = -1;
  bool socket_ = false;
  uint64_t generation_ = 0;  // counts opens, so a handler that reopened the device is noticed
  bool in_handler_ = false;  // OnReport runs: the read loop around it hands the next reports over, in order
  std::unique_ptr<LoopWatch> watch_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

PortResult LinuxHidDevice::Open(const std::string& path) {
  Close();
  path_ = path;
  socket_ = IsSocketFile(path);
  int fd = -1;
  int error = 0;
  if (socket_) {
    fd = ConnectSeqpacket(path);
    if (fd < 0) error = -fd;
  } else {
    fd = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) error = errno;
    // hidraw lets any number of programs open a node, and each would take the other's replies; as with a
    // serial port, the first program holds the bridge until it closes it.
    if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) != 0) {
      error = errno == EWOULDBLOCK ? EBUSY : errno;
      close(fd);
      fd = -1;
    }
  }
  if (fd < 0) return PortResult{false, PortFailureOf(error), OpenFailureMessage(path, socket_, error)};
  fd_ = fd;
  ++generation_;
  EventLoop& loop = loop_ ? *loop_ : CurrentEventLoop();
  watch_ = loop.WatchDescriptor(fd_, kIoReadable, [this](unsigned conditions) { OnReady(conditions); });
  return PortResult{};
}

bool LinuxHidDevice::WriteReport(const std::vector<uint8_t>& report) {
  if (fd_ < 0 || report.empty()) return false;
  for (;;) {
    // send() on the socket: a peer that has gone must fail the write, not raise SIGPIPE.
    const ssize_t n = socket_ ? send(fd_, report.data(), report.size(), MSG_NOSIGNAL)
                              : write(fd_, report.data(), report.size());
    if (n < 0 && errno == EINTR) continue;
    return n == static_cast<ssize_t>(report.size());
  }
}

void LinuxHidDevice::ReadWaiting() {
  if (fd_ < 0 || in_handler_) return;
  bool handled_away = false;
  ReadReports(handled_away);
}

void LinuxHidDevice::OnReady(unsigned conditions) {
  bool handled_away = false;
  const bool alive = ReadReports(handled_away);
  if (handled_away) return;
  // Reports that came before a hang-up are delivered first; then the descriptor stays ready for ever.
  if (alive && (conditions & (kIoHangup | kIoError)) == 0) return;
  Close();
  if (OnLost) {
    const std::function<void()> handler = OnLost;  // the handler may destroy this device
    handler();
  }
}

bool LinuxHidDevice::ReadReports(bool& handled_away) {
  const uint64_t generation = generation_;
  const std::weak_ptr<bool> alive = alive_;
  uint8_t buffer[kReadBuffer];
  for (;;) {
    const ssize_t n = read(fd_, buffer, sizeof buffer);
    if (n > 0) {
      if (!OnReport) continue;
      const std::function<void(const std::vector<uint8_t>&)> handler = OnReport;
      const bool outer_handler = in_handler_;  // a handler that ran the loop nests read loops
      in_handler_ = true;
      handler(std::vector<uint8_t>(buffer, buffer + n));
      if (alive.expired()) {
        handled_away = true;
        return false;
      }
      in_handler_ = outer_handler;
      if (fd_ < 0 || generation_ != generation) {
        handled_away = true;
        return false;
      }
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
    // 0 is the socket's end (the emulator ended); ENODEV and EIO a bridge that was unplugged. Any other
    // error would recur on every read, so it ends the device too.
    return false;
  }
}

}  // namespace

std::unique_ptr<HidDevice> CreateHidDevice(EventLoop* loop) {
  return std::make_unique<LinuxHidDevice>(loop);
}

}  // namespace platform
