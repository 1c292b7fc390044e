#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "platform/fd_io.h"
#include "platform/seqpacket.h"
#include "sim/emulated_reader.h"
#include "sim/hid_bridge.h"
#include "tests/support/temp_dir.h"

namespace msrsim {
namespace {

constexpr int kWaitMs = 5000;  // only an upper bound: every wait ends on the awaited event
const Bytes k9600 = {0x80, 0x25, 0, 0};
const Bytes k19200 = {0x00, 0x4B, 0, 0};

std::string Framed(const std::string& text) {
  return "\002" + text + "\r";
}

// A program holding the bridge, one report per packet as on a hidraw node.
struct Host {
  explicit Host(const std::string& path) : fd(platform::ConnectSeqpacket(path)) {}
  ~Host() { platform::CloseFd(fd); }
  void Send(uint8_t id, uint8_t command, const Bytes& data) {
    Bytes report{id, command, static_cast<uint8_t>(data.size())};
    if (id == HidBridge::kDataReport) report.erase(report.begin() + 1);  // data has no command byte
    report.insert(report.end(), data.begin(), data.end());
    report.resize(kHidReportSize);
    EXPECT_EQ(platform::WriteFd(fd, report.data(), report.size()), static_cast<long>(kHidReportSize));
  }
  void Data(const std::string& text) { Send(HidBridge::kDataReport, 0, Bytes(text.begin(), text.end())); }
  // The next report: a data report's bytes as text, a reply as "reply", command, status and data in hex.
  std::string Next() {
    Bytes r(kHidReportSize);
    const long n = platform::WaitReadable(fd, kWaitMs) == 1 ? platform::ReadFd(fd, r.data(), r.size()) : -1;
    if (n <= 0) return n == 0 ? "<end of file>" : "<nothing>";
    if (r[0] == HidBridge::kDataReport) return std::string(r.begin() + 2, r.begin() + 2 + r[1]);
    std::string reply = "reply";
    for (int i = 1; i < 4 + r[3]; ++i) reply += " " + HexByte(r[i]);
    return reply;
  }
  int fd;
};

// The reader's log, and a wait for a line that holds `part`.
struct Log {
  bool WaitFor(const std::string& part) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::milliseconds(kWaitMs),
                            [&] { return text.find(part) != std::string::npos; });
  }
  std::mutex mutex;
  std::condition_variable changed;
  std::string text;
};

TEST(HidBridgeLine, ServesOneHostAtATimeAtTheBridgesRateAndHangsUpWhenClosed) {
  test_support::TempDir dir("hid-line");
  ReaderConfig config;
  config.hid_socket = dir.File("bridge.hid");
  config.hid = true;
  EmulatedReader reader(config);
  Log log;
  reader.on_log = [&log](const std::string& line) {
    std::lock_guard lock(log.mutex);
    log.text += line + "\n";
    log.changed.notify_all();
  };
  std::string error;
  ASSERT_TRUE(reader.Start(&error)) << error;
  const std::string path = reader.Path();
  EXPECT_EQ(path, config.hid_socket);

  Host host(path);
  host.Send(2, 1, k19200);
  EXPECT_EQ(host.Next(), "reply 01 00 00");
  host.Data(Framed("V"));
  EXPECT_EQ(host.Next(), Framed("A,12345678, V1.05"));
  Host second(path);
  EXPECT_EQ(second.Next(), "<end of file>") << "taken and closed at once: the bridge is busy";

  // At another rate than the reader's each side hears noise: a swipe arrives without a frame in it, and a
  // request is never understood, so the next report after it answers the next rate request.
  host.Send(2, 1, k9600);
  EXPECT_EQ(host.Next(), "reply 01 00 00");
  reader.Swipe("%B1^X^1?");
  const std::string noise = host.Next();
  EXPECT_NE(noise, "%B1^X^1?\r\n");
  EXPECT_EQ(noise.find_first_of("\002\r"), std::string::npos) << Printable(noise);
  host.Data(Framed("V"));
  host.Send(2, 1, k19200);
  EXPECT_EQ(host.Next(), "reply 01 00 00") << "nothing came for the V sent at 9600";

  // The reader moves to 9600 after its reply; the host follows it there.
  const std::string write = "C01,03" + HexByte(Checksum("C01,03"));
  host.Data(Framed(write));
  EXPECT_EQ(host.Next(), Framed("A"));
  host.Send(2, 1, k9600);
  EXPECT_EQ(host.Next(), "reply 01 00 00");
  host.Data(Framed("D"));
  EXPECT_EQ(host.Next(), Framed("A,KRD36AR,3TRACK,UART"));
  EXPECT_EQ(reader.Requests(), (std::vector<std::string>{"V", write, "D"}));

  // The next host finds the bridge as the last one left it; a broken report is logged.
  host.Send(2, 10, {0x10, 0x5A});
  EXPECT_EQ(host.Next(), "reply 0A 00 00");
  platform::CloseFd(host.fd);
  host.fd = -1;
  ASSERT_TRUE(log.WaitFor("host disconnected"));
  Host again(path);
  again.Send(2, 9, {0x10});
  EXPECT_EQ(again.Next(), "reply 09 00 02 10 5A");
  again.Data(Framed("V"));
  EXPECT_EQ(again.Next(), Framed("A,12345678, V1.05")) << "still at 9600";
  again.Data(std::string(63, 'x'));
  EXPECT_TRUE(log.WaitFor("bridge dropped report 01 announcing 63 bytes"));

  // A host that does not read for a while loses nothing: what the socket cannot take waits in the bridge.
  const std::string track(40000, '7');
  reader.Swipe(track);
  std::string back;
  for (std::string part; back.size() < track.size() + 2 && (part = again.Next())[0] != '<';) back += part;
  EXPECT_EQ(back, track + "\r\n");

  EmulatedReader rival(config);
  EXPECT_FALSE(rival.Start(&error)) << "a running bridge's socket is not taken over";
  EXPECT_NE(error.find(path), std::string::npos) << error;

  reader.CloseLine();
  EXPECT_EQ(again.Next(), "<end of file>");
  EXPECT_TRUE(reader.WaitForLineClosed(kWaitMs));
  EXPECT_FALSE(platform::IsSocketFile(path));
}

}  // namespace
}  // namespace msrsim
