#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "platform/fd_io.h"
#include "platform/seqpacket.h"
#include "sim/emulated_reader.h"
#include "sim/frame.h"
#include "sim/hid_bridge.h"
#include "sim/reader_line.h"
#include "tests/support/temp_dir.h"

namespace msrsim {
namespace {

constexpr int kWaitMs = 5000;  // only an upper bound: every wait ends on the awaited event

std::string Framed(const std::string& text) {
  return "\002" + text + "\r";
}

// A program holding the bridge, as msrcfg holds a hidraw node: one report per packet.
class BridgeHost {
 public:
  explicit BridgeHost(const std::string& path) : fd_(platform::ConnectSeqpacket(path)) {}
  ~BridgeHost() { platform::CloseFd(fd_); }
  bool ok() const { return fd_ >= 0; }

  void Request(uint8_t command, Bytes data) {
    data.insert(data.begin(), {HidBridge::kRequestReport, command, static_cast<uint8_t>(data.size())});
    Write(data);
  }
  void SetRate(uint32_t rate) {
    Request(1, {static_cast<uint8_t>(rate), static_cast<uint8_t>(rate >> 8), static_cast<uint8_t>(rate >> 16),
                0});
  }
  void Data(const std::string& bytes) {
    Bytes report{HidBridge::kDataReport, static_cast<uint8_t>(bytes.size())};
    report.insert(report.end(), bytes.begin(), bytes.end());
    Write(report);
  }
  // The next report; empty at end of file, nullopt when nothing came in time.
  std::optional<Bytes> Next() {
    if (platform::WaitReadable(fd_, kWaitMs) != 1) return std::nullopt;
    Bytes report(kHidReportSize);
    const long n = platform::ReadFd(fd_, report.data(), report.size());
    report.resize(n > 0 ? static_cast<size_t>(n) : 0);
    return report;
  }
  // The data of the next report 0x01 as text, or the whole report of another kind in a readable form.
  std::string NextData() {
    const std::optional<Bytes> report = Next();
    if (!report) return "<nothing>";
    if (report->empty()) return "<end of file>";
    if ((*report)[0] != HidBridge::kDataReport) return "<report " + HexByte((*report)[0]) + ">";
    return std::string(report->begin() + 2, report->begin() + 2 + (*report)[1]);
  }
  // Status and data of the next reply to `command`.
  std::string NextReply(uint8_t command) {
    const std::optional<Bytes> report = Next();
    if (!report || report->size() < 4 || (*report)[0] != HidBridge::kReplyReport || (*report)[1] != command)
      return "<not a reply to " + std::to_string(command) + ">";
    std::string text = std::to_string((*report)[2]);
    for (int i = 0; i < (*report)[3]; ++i) text += " " + HexByte((*report)[4 + i]);
    return text;
  }
  void Close() {
    platform::CloseFd(fd_);
    fd_ = -1;
  }

 private:
  void Write(Bytes report) {
    report.resize(kHidReportSize);
    EXPECT_EQ(platform::WriteFd(fd_, report.data(), report.size()), static_cast<long>(kHidReportSize));
  }
  int fd_;
};

// The reader's log lines, and a wait for one of them.
class Log {
 public:
  std::function<void(const std::string&)> Sink() {
    return [this](const std::string& line) {
      std::lock_guard lock(mutex_);
      lines_.push_back(line);
      changed_.notify_all();
    };
  }
  bool WaitFor(const std::string& part) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(kWaitMs), [&] {
      for (const std::string& line : lines_) {
        if (line.find(part) != std::string::npos) return true;
      }
      return false;
    });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
};

TEST(HidBridgeLine, ServesOneHostAtATimeAtTheBridgesRateAndHangsUpWhenClosed) {
  test_support::TempDir dir("hid-line");
  ReaderConfig config;
  config.hid = true;
  config.hid_socket = dir.File("bridge.hid");
  EmulatedReader reader(config);
  Log log;
  reader.on_log = log.Sink();
  std::string error;
  ASSERT_TRUE(reader.Start(&error)) << error;
  const std::string path = reader.Path();
  EXPECT_EQ(path, config.hid_socket);
  EXPECT_TRUE(platform::IsSocketFile(path));

  BridgeHost host(path);
  ASSERT_TRUE(host.ok());
  host.SetRate(19200);
  EXPECT_EQ(host.NextReply(1), "0");
  host.Data(Framed("V"));
  EXPECT_EQ(host.NextData(), Framed("A,12345678, V1.05"));
  BridgeHost second(path);
  ASSERT_TRUE(second.ok()) << "the connection is taken";
  EXPECT_EQ(second.NextData(), "<end of file>") << "and closed at once: the bridge is busy";

  // At another rate than the reader's each side hears noise: a swipe arrives as bytes without a frame in
  // them, and a request is never understood, so the next report after it answers the next rate request.
  host.SetRate(9600);
  EXPECT_EQ(host.NextReply(1), "0");
  reader.Swipe("%B1^X^1?");
  const std::optional<Bytes> swiped = host.Next();
  ASSERT_TRUE(swiped && swiped->size() > 2 && swiped->at(0) == HidBridge::kDataReport);
  const std::string noise(swiped->begin() + 2, swiped->begin() + 2 + swiped->at(1));
  EXPECT_NE(noise, "%B1^X^1?\r\n");
  EXPECT_FALSE(noise.empty());
  EXPECT_EQ(noise.find_first_of("\002\r"), std::string::npos) << Printable(noise);
  host.Data(Framed("V"));
  host.SetRate(19200);
  EXPECT_EQ(host.NextReply(1), "0") << "nothing came for the V sent at 9600";
  EXPECT_TRUE(log.WaitFor("reader heard noise: bridge at 9600, reader at 19200"));

  // The reader moves to 9600 after its reply; the host follows it there.
  const std::string write = "C01,03" + HexByte(Checksum("C01,03"));
  host.Data(Framed(write));
  EXPECT_EQ(host.NextData(), Framed("A"));
  host.SetRate(9600);
  EXPECT_EQ(host.NextReply(1), "0");
  host.Data(Framed("D"));
  EXPECT_EQ(host.NextData(), Framed("A,KRD36AR,3TRACK,UART"));
  EXPECT_EQ(reader.Requests(), (std::vector<std::string>{"V", write, "D"}));

  // The next host finds the bridge as the last one left it, and a broken report is logged.
  host.Request(10, {0x10, 0x5A});
  EXPECT_EQ(host.NextReply(10), "0");
  host.Close();
  ASSERT_TRUE(log.WaitFor("host disconnected"));
  BridgeHost again(path);
  ASSERT_TRUE(again.ok());
  again.Request(9, {0x10});
  EXPECT_EQ(again.NextReply(9), "0 10 5A");
  again.Data(Framed("V"));
  EXPECT_EQ(again.NextData(), Framed("A,12345678, V1.05")) << "still at 9600";
  again.Data(std::string(63, 'x'));
  EXPECT_TRUE(log.WaitFor("bridge dropped report 01 announcing 63 bytes"));

  // A host that does not read for a while loses nothing: what the socket cannot take waits in the bridge.
  const std::string track(40000, '7');
  reader.Swipe(track);
  ASSERT_TRUE(log.WaitFor("swipe 7777"));
  std::string back;
  for (std::string part; back.size() < track.size() + 2 && (part = again.NextData())[0] != '<';) back += part;
  EXPECT_EQ(back, track + "\r\n");

  // A second emulator cannot take the socket of a running one.
  EmulatedReader rival(config);
  EXPECT_FALSE(rival.Start(&error));
  EXPECT_NE(error.find(path), std::string::npos) << error;

  reader.CloseLine();
  EXPECT_EQ(again.NextData(), "<end of file>");
  EXPECT_TRUE(reader.WaitForLineClosed(kWaitMs));
  EXPECT_FALSE(platform::IsSocketFile(path));
}

TEST(HidBridgeLine, DefaultSocketIsInTheRuntimeFolderOrElseInTmp) {
  test_support::TempDir dir("hid-runtime");
  const struct {
    std::string runtime_dir;
    std::string folder;
  } cases[] = {{dir.path(), dir.path()}, {"", "/tmp"}, {dir.File("missing"), "/tmp"}};
  for (const auto& c : cases) {
    test_support::ScopedEnv env("XDG_RUNTIME_DIR", c.runtime_dir);
    EXPECT_TRUE(
        std::regex_match(DefaultHidSocketPath(3), std::regex(c.folder + "/msrsim-[1-9][0-9]*-3\\.hid")))
        << c.runtime_dir << ": " << DefaultHidSocketPath(3);
  }
}

}  // namespace
}  // namespace msrsim
