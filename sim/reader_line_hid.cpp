// A reader behind an emulated USB HID bridge. msrsim listens on a seqpacket socket, which keeps packet
// bounds as a hidraw node keeps report bounds, and plays the bridge (HidBridge) to one host at a time.
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>

#include "platform/fd_io.h"
#include "platform/file_system.h"
#include "platform/paths.h"
#include "platform/seqpacket.h"
#include "platform/signals.h"
#include "sim/hid_bridge.h"
#include "sim/line_noise.h"
#include "sim/reader_line.h"

namespace msrsim {

namespace {

// How long listening pauses when a waiting host cannot be taken (the process is out of descriptors).
constexpr int kResumeListeningMs = 100;

class HidBridgeLine final : public ReaderLine {
 public:
  HidBridgeLine(int listen_fd, std::string path, platform::EventLoop& loop)
      : listen_fd_(listen_fd), path_(std::move(path)), loop_(loop) {}
  ~HidBridgeLine() override { Close(); }

  void Attach(std::function<void(const uint8_t*, size_t)> on_receive,
              std::function<void()> on_lost) override {
    on_receive_ = std::move(on_receive);
    on_lost_ = std::move(on_lost);
    listen_watch_ = loop_.WatchDescriptor(listen_fd_, platform::kIoReadable,
                                          [this](unsigned conditions) { OnConnect(conditions); });
  }
  void SetLog(std::function<void(const std::string&)> on_log) override { on_log_ = std::move(on_log); }
  bool IsOpen() const override { return listen_fd_ >= 0; }
  const std::string& Path() const override { return path_; }
  uint32_t HostRate() const override { return bridge_.Rate(); }
  long Write(const uint8_t* data, size_t size) override {
    if (!IsOpen()) return -1;
    // Without a host nobody polls the bridge: what the reader sends meanwhile is lost, as it overflows a
    // real bridge's small buffer. Otherwise it waits in the bridge until the socket takes it.
    if (host_fd_ >= 0) {
      bridge_.TakeReaderBytes(data, size);
      Flush();
    }
    return static_cast<long>(size);
  }
  bool SetReaderRate(uint32_t rate) override {
    reader_rate_ = rate;
    return true;
  }
  // Written bytes reach the host at once; pacing has already spaced them at the reader's rate.
  bool SendsAtLineRate() const override { return false; }
  void Close() override {
    DropHost();
    listen_watch_.reset();  // before the descriptor goes: a watch on a closed descriptor would spin
    if (listen_fd_ < 0) return;
    platform::CloseFd(listen_fd_);
    listen_fd_ = -1;
    platform::RemoveSocketFile(path_);
  }

 private:
  void Log(const std::string& text) const {
    if (on_log_) on_log_(text);
  }

  void OnConnect(unsigned conditions) {
    int fd = -1;
    for (; (fd = platform::AcceptSeqpacket(listen_fd_)) >= 0;) {
      if (host_fd_ >= 0) {
        // One program at a time holds a bridge; the second one finds it gone at once.
        platform::CloseFd(fd);
        Log("bridge busy: a second host was turned away");
        continue;
      }
      host_fd_ = fd;
      host_watch_ = loop_.WatchDescriptor(fd, platform::kIoReadable,
                                          [this](unsigned host_conditions) { OnHost(host_conditions); });
      Log("host connected");
    }
    if (fd != -EAGAIN && fd != -EINTR && fd != -ECONNABORTED) {
      // A connection waits that cannot be taken now (out of descriptors): the socket stays readable, so
      // listening pauses for a moment instead of spinning on it.
      Log("cannot take a host now: " + std::to_string(-fd));
      listen_watch_->SetConditions(0);
      if (!resume_timer_) {
        resume_timer_ = loop_.CreateTimer([this] {
          resume_timer_->Stop();
          if (listen_watch_) listen_watch_->SetConditions(platform::kIoReadable);
        });
      }
      resume_timer_->Start(kResumeListeningMs);
    }
    if (conditions & platform::kIoError) {
      Log("the listening socket failed");
      on_lost_();
    }
  }

  void OnHost(unsigned conditions) {
    if (conditions & platform::kIoWritable) Flush();
    if (host_fd_ < 0) return;
    // One byte more than a report: a longer packet then shows as longer instead of being cut to size.
    uint8_t packet[kHidReportSize + 1];
    const int fd = host_fd_;
    while (host_fd_ == fd) {
      const long n = platform::ReadFd(fd, packet, sizeof packet);
      if (n == -EAGAIN || n == -EWOULDBLOCK) return;
      // A read of 0 is the host's end of file or a packet without bytes; only the hang-up tells which.
      if (n < 0 || (n == 0 && (conditions & (platform::kIoHangup | platform::kIoError)))) {
        Log("host disconnected");
        DropHost();
        return;
      }
      Take(packet, static_cast<size_t>(n));
      if (n == 0) return;  // the next poll tells whether the host is still there
    }
  }

  void Take(const uint8_t* packet, size_t size) {
    HidBridge::Output output = bridge_.TakeOutputReport(packet, size);
    if (!output.log.empty()) Log(output.log);
    Flush();
    if (output.to_reader.empty()) return;
    // The bridge's UART talks at the bridge's rate; a reader at another rate hears noise, as on a wire.
    if (reader_rate_ != 0 && reader_rate_ != bridge_.Rate()) {
      Log("reader heard noise: bridge at " + std::to_string(bridge_.Rate()) + ", reader at " +
          std::to_string(reader_rate_));
      output.to_reader = Garble(output.to_reader, bridge_.Rate(), reader_rate_, noise_seed_++);
    }
    on_receive_(output.to_reader.data(), output.to_reader.size());
  }

  // Hands the waiting input reports to the socket; what it cannot take now waits until it turns writable.
  void Flush() {
    while (host_fd_ >= 0 && bridge_.HasInput()) {
      const HidReport& report = bridge_.FrontInput();
      const long n = platform::WriteFd(host_fd_, report.data(), report.size());
      if (n == -EAGAIN || n == -EWOULDBLOCK) break;
      if (n < 0) {
        Log("host lost");
        DropHost();
        return;
      }
      bridge_.PopInput();
    }
    if (host_watch_) {
      host_watch_->SetConditions(platform::kIoReadable | (bridge_.HasInput() ? platform::kIoWritable : 0u));
    }
  }

  // The bridge keeps its rate, mode and registers for the next host, as it stays powered when a program
  // lets go of it; only the reports meant for this host go.
  void DropHost() {
    host_watch_.reset();
    if (host_fd_ >= 0) platform::CloseFd(host_fd_);
    host_fd_ = -1;
    bridge_.ClearInput();
  }

  int listen_fd_;
  int host_fd_ = -1;
  std::string path_;
  platform::EventLoop& loop_;
  std::unique_ptr<platform::LoopWatch> listen_watch_;
  std::unique_ptr<platform::LoopTimer> resume_timer_;
  std::unique_ptr<platform::LoopWatch> host_watch_;
  HidBridge bridge_;
  uint32_t reader_rate_ = 0;  // 0 until the reader says: no noise
  uint32_t noise_seed_ = 1;
  std::function<void(const uint8_t*, size_t)> on_receive_;
  std::function<void()> on_lost_;
  std::function<void(const std::string&)> on_log_;
};

// This process's id: the first field of /proc/self/stat (read as a file, so no system call sits here).
// 0 when it cannot be read, which still gives a usable name.
long ProcessId() {
  std::string stat;
  if (!platform::ReadWholeFile("/proc/self/stat", stat)) return 0;
  return std::strtol(stat.c_str(), nullptr, 10);
}

}  // namespace

std::unique_ptr<ReaderLine> OpenHidBridgeLine(const std::string& path, platform::EventLoop& loop,
                                              std::string& error) {
  // A host that goes away between a poll and a write must cost that write an error, not end the process.
  platform::IgnorePipeAndBackgroundReadSignals();
  const int fd = platform::ListenSeqpacket(path, error);
  if (fd < 0) return nullptr;
  return std::make_unique<HidBridgeLine>(fd, path, loop);
}

std::string DefaultHidSocketPath(int number) {
  std::string folder = platform::GetEnvironment("XDG_RUNTIME_DIR");
  const platform::FileAttributes attributes = platform::GetFileAttributes(folder);
  if (folder.empty() || !attributes.is_directory || attributes.read_only) folder = "/tmp";
  return platform::Join(folder,
                        "msrsim-" + std::to_string(ProcessId()) + "-" + std::to_string(number) + ".hid");
}

}  // namespace msrsim
