// The engine's receive routine fed arbitrary bytes in arbitrary chunks, through an in-process port, both
// outside a transaction (the receive timer's path, bytes going to OnChar) and while a transaction waits
// for its reply.
//
// Input: a script of steps. A step's first byte says what happens: its two high bits the kind (00 and 01
// bytes outside a transaction, 10 a transaction whose reply arrives in its chunk and the byte steps that
// follow, 11 a framing error), its low bits the length of the chunk that follows.

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "comm/clsMSComm.h"
#include "fuzz/fuzz_support.h"
#include "gnet/ucGNet.h"
#include "platform/event_loop.h"

namespace {

constexpr uint8_t kStx = 0x02;
constexpr uint8_t kCr = 0x0D;

// A port object serving the name "FUZZ": every CommInput hands over the next chunk only, so a waiting
// transaction sees the reply arrive piece by piece. When the last chunk is gone it asks the loop to end
// the transaction, which would otherwise wait out its time-out for bytes that never come.
class ChunkPort : public clsMSComm {
 public:
  using clsMSComm::AttachOrder;
  void AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) override {
    const auto* name = std::get_if<std::string>(&value);
    if (key == "COMMPORT" && name && *name == "FUZZ") result.object = this;
  }
  void AttachCommObject(clsMSComm* owner, platform::SerialControl*) override { owner_ = owner; }
  std::string CommPort() const override { return "FUZZ"; }
  bool PortOpen() const override { return open_; }
  void SetPortOpen(bool open) override { open_ = open; }
  bool RTSEnable() const override { return true; }
  int32_t CommEvent() const override { return event_; }
  int32_t InBufferCount() const override {
    return chunks_.empty() ? 0 : static_cast<int32_t>(chunks_.front().size());
  }
  void SetInBufferCount(int32_t count) override {
    if (count == 0) chunks_.clear();
  }
  Bytes CommInput() override {
    if (chunks_.empty()) return {};
    Bytes chunk = std::move(chunks_.front());
    chunks_.pop_front();
    // A waiting transaction blocks on the loop: the next chunk's arrival wakes it, as data on a real
    // line does.
    if (!chunks_.empty()) platform::CurrentEventLoop().Post([this] { Raise(platform::kCommEvReceive); });
    if (chunks_.empty() && OnDrained) platform::CurrentEventLoop().Post(OnDrained);
    return chunk;
  }
  void CommOutput(const Bytes&) override {}

  void Queue(Bytes chunk) {
    if (!chunk.empty()) chunks_.push_back(std::move(chunk));
  }
  void Raise(int32_t event) {
    event_ = event;
    if (owner_) owner_->RaiseOnComm();
  }

  std::function<void()> OnDrained;

 private:
  clsMSComm* owner_ = nullptr;
  std::deque<Bytes> chunks_;
  bool open_ = false;
  int32_t event_ = 0;
};

void CheckPackage(int32_t length, const Bytes& package) {
  fuzz::Check(length >= 1 && length <= ucGNet::kReceiveBufferSize, "package length out of range");
  fuzz::Check(package.size() >= static_cast<size_t>(length), "package shorter than its length");
  // The frame's own bytes never reach the payload: STX inside a frame is dropped, CR ends it.
  fuzz::Check(std::none_of(package.begin(), package.begin() + length,
                           [](uint8_t b) { return b == kStx || b == kCr; }),
              "STX or CR inside a package");
}

struct Engine {
  Engine() {
    fuzz::Check(gnet.AddPortObject(&port), "cannot add the port object");
    gnet.SetCommPort("FUZZ");
    gnet.SetPortOpen(true);
    fuzz::Check(gnet.PortOpen(), "the port does not open");
    gnet.OnPackage = [](int32_t length, Bytes& package) { CheckPackage(length, package); };
    gnet.OnChar = [this](uint8_t&) { ++chars; };
    gnet.OnFrameError = [this] { ++frame_errors; };
    gnet.OnMessage = [](std::string&, const std::string&) {};
    port.OnDrained = [this] {
      if (gnet.IsSendGNetCMD()) gnet.SetGNetCancel(true);
    };
  }

  ChunkPort port;  // outlives the engine, which closes it on destruction
  ucGNet gnet;
  size_t chars = 0;
  size_t frame_errors = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A fresh engine per input, so that a saved input replays what it found. Half-received frames and the
  // like still meet later steps of the same input.
  auto engine = std::make_unique<Engine>();
  ucGNet& gnet = engine->gnet;
  ChunkPort& port = engine->port;

  size_t at = 0;
  while (at < size) {
    const uint8_t step = data[at++];
    const size_t length = std::min<size_t>(step & ((step >> 6) == 2 ? 0x1F : 0x3F), size - at);
    Bytes chunk(data + at, data + at + length);
    at += length;
    switch (step >> 6) {
      case 0:
      case 1: {
        // Outside a transaction every byte goes to OnChar.
        const size_t chars_before = engine->chars;
        port.Queue(std::move(chunk));
        port.Raise(platform::kCommEvReceive);
        gnet.TimerReceive_Timer();
        fuzz::Check(engine->chars - chars_before == length, "a byte outside a transaction missed OnChar");
        break;
      }
      case 2: {
        // A transaction. Its reply is this chunk and the byte steps that follow, up to the next step of
        // another kind; bit 5 of the step asks for checksums both ways.
        port.Queue(std::move(chunk));
        while (at < size && (data[at] >> 6) < 2) {
          const size_t part = std::min<size_t>(data[at] & 0x3F, size - at - 1);
          port.Queue(Bytes(data + at + 1, data + at + 1 + part));
          at += 1 + part;
        }
        // Calls left over from earlier steps run now, not inside the wait.
        platform::CurrentEventLoop().ProcessPendingEvents();
        if (port.InBufferCount() == 0) platform::CurrentEventLoop().Post(port.OnDrained);
        const bool checksum = (step & 0x20) != 0;
        const std::string reply = gnet.SendGNetCMD("D", checksum, checksum);
        fuzz::Check(reply.size() <= ucGNet::kReceiveBufferSize, "reply longer than the receive buffer");
        fuzz::Check(!gnet.IsSendGNetCMD() && !gnet.Busy(), "the transaction did not end");
        // A cancel posted after the reply came must not reach the next transaction.
        platform::CurrentEventLoop().ProcessPendingEvents();
        gnet.SetGNetCancel(false);
        port.SetInBufferCount(0);
        break;
      }
      default: {
        const size_t errors_before = engine->frame_errors;
        port.Raise(platform::kCommEventFrame);
        fuzz::Check(engine->frame_errors == errors_before + 1,
                    "a framing error outside a transaction was lost");
        break;
      }
    }
  }
  // Calls posted by this input point into its engine: none may be left when the engine goes.
  platform::CurrentEventLoop().ProcessPendingEvents();
  return 0;
}
