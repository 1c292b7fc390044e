#include "sim/reader_line.h"

#include <cerrno>

#include "platform/comm_state.h"
#include "platform/fd_io.h"
#include "platform/pty.h"

namespace msrsim {

namespace {

class PtyLine final : public ReaderLine {
 public:
  PtyLine(const platform::PtyPair& pair, platform::EventLoop& loop)
      : pair_(pair), path_(pair.slave_path), loop_(loop) {}
  ~PtyLine() override { Close(); }

  void Attach(std::function<void(const uint8_t*, size_t)> on_receive,
              std::function<void()> on_lost) override {
    on_receive_ = std::move(on_receive);
    on_lost_ = std::move(on_lost);
    watch_ =
        loop_.WatchDescriptor(pair_.master_fd, platform::kIoReadable, [this](unsigned c) { OnReady(c); });
  }
  bool IsOpen() const override { return pair_.master_fd >= 0; }
  const std::string& Path() const override { return path_; }
  uint32_t HostRate() const override {
    platform::CommState state;
    if (pair_.slave_fd < 0 || platform::ReadCommState(pair_.slave_fd, state) != 0) return 0;
    return state.BaudRate;
  }
  long Write(const uint8_t* data, size_t size) override {
    if (!IsOpen()) return -1;
    const long n = platform::WriteFd(pair_.master_fd, data, size);
    if (n >= 0) return n;
    return n == -EAGAIN || n == -EWOULDBLOCK ? 0 : -1;  // a full buffer: the host is not reading yet
  }
  bool SetReaderRate(uint32_t) override { return true; }
  bool SendsAtLineRate() const override { return false; }
  void Close() override {
    watch_.reset();  // before the descriptor goes: a watch on a closed descriptor would spin
    platform::ClosePty(pair_);
  }

 private:
  void OnReady(unsigned conditions) {
    uint8_t buffer[1024];
    for (;;) {
      const long n = platform::ReadFd(pair_.master_fd, buffer, sizeof buffer);
      if (n > 0) {
        on_receive_(buffer, static_cast<size_t>(n));
        if (!IsOpen()) return;  // closed while serving
        continue;
      }
      // The slave end is held open here, so a hang-up means the line itself failed.
      if (n != -EAGAIN && n != -EWOULDBLOCK && (conditions & (platform::kIoHangup | platform::kIoError))) {
        on_lost_();
      }
      return;
    }
  }

  platform::PtyPair pair_;
  std::string path_;
  platform::EventLoop& loop_;
  std::unique_ptr<platform::LoopWatch> watch_;
  std::function<void(const uint8_t*, size_t)> on_receive_;
  std::function<void()> on_lost_;
};

}  // namespace

std::unique_ptr<ReaderLine> OpenPtyLine(platform::EventLoop& loop, std::string& error) {
  platform::PtyPair pair;
  if (!platform::OpenPty(pair, error)) return nullptr;
  return std::make_unique<PtyLine>(pair, loop);
}

}  // namespace msrsim
