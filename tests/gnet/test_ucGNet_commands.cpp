#include <gtest/gtest.h>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/ui_services.h"
#include "tests/gnet/fake_port.h"

namespace {

// A reply with its checksum digits, as register reads carry them.
std::string Checked(const std::string& text) {
  return Frame(text + ucGNet::HexByte(ucGNet::CalcChkSum(text)));
}

std::string Table(size_t bytes, uint8_t first = 0) {
  std::string table;
  for (size_t i = 0; i < bytes; ++i) table += static_cast<char>(static_cast<uint8_t>(first + i));
  return table;
}

class Commands : public FakePortEngine {
 protected:
  void SetUp() override {
    FakePortEngine::SetUp();
    gnet.SetGNetTimeout(40);
    port.OnFrame = [this](const std::string& frame) {
      if (frame == Frame("Y")) {
        ++dumps;
        if (!tables.empty()) {
          port.Deliver(tables.front());
          if (tables.size() > 1) tables.erase(tables.begin());
        }
        return;
      }
      if (replies.empty()) return;
      const std::string reply = replies.front();
      replies.erase(replies.begin());
      if (!reply.empty()) port.Deliver(reply);
    };
  }

  std::vector<std::string> replies;  // one per framed request, in order; "" stays silent
  std::vector<std::string> tables;   // one per dump request; the last one repeats
  int dumps = 0;
};

TEST_F(Commands, RegisterReadsTakeTheLowByteAndOnlyRetryWhenNothingCame) {
  const struct {
    std::vector<std::string> replies;
    int32_t reg;
    int value;  // -1: the read fails and leaves the value alone
    size_t sends;
    const char* message;
  } cases[] = {
      {{Checked("A7F")}, 0x12, 0x7F, 1, nullptr},
      {{Checked("A")}, 5, 0, 1, nullptr},                                    // no digits: the value is 0
      {{Checked("E1")}, 300, -1, 1, "Error: GetRegister - Reg=44, Err=E1"},  // an error reply ends it at once
      {{Frame("A7F00"), Checked("A33")}, 1, 0x33, 2, nullptr},         // a bad checksum counts as no reply
      {{Checked("A1FF")}, 1, -1, 1, "Error: GetRegister - Overflow"},  // more than a byte holds
      {{}, 1, -1, 6, nullptr},  // silence: two tries of three sends each, and no message from the command
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reg);
    port.frames.clear();
    messages.clear();
    replies = c.replies;
    uint8_t value = 0x99;
    EXPECT_EQ(gnet.GetRegister(c.reg, value), c.value >= 0);
    EXPECT_EQ(value, c.value >= 0 ? c.value : 0x99);
    EXPECT_EQ(port.frames, std::vector<std::string>(c.sends, Frame("B" + ucGNet::HexByte(c.reg & 0xFF))));
    EXPECT_EQ(messages, c.message ? std::vector<std::string>{c.message} : std::vector<std::string>{});
  }
  EXPECT_FALSE(gnet.Busy());
}

TEST_F(Commands, RegisterWritesAreCheckedAndRetriedAfterAnErrorReply) {
  replies = {Frame("A")};
  EXPECT_TRUE(gnet.SetRegister(0x12, 0x5A));
  EXPECT_EQ(port.frames, std::vector<std::string>{Frame("C12,5A48")});

  replies = {Frame("E3"), Frame("A")};  // refused once, taken the second time
  EXPECT_TRUE(gnet.SetRegister(0x112, 0x0A));
  EXPECT_EQ(port.frames.back(), Frame("C12,0A43"));  // the register number is taken modulo 256
  replies = {Frame("E3"), Frame("E3")};
  EXPECT_FALSE(gnet.SetRegister(0x30, 1));
  EXPECT_EQ(messages, std::vector<std::string>({"Error: SetRegister - Reg=18, Err=E3",
                                                "Error: SetRegister - Reg=48, Err=E3",
                                                "Error: SetRegister - Reg=48, Err=E3"}));
  replies = {Frame("AA")};  // only exactly "A" acknowledges a write
  EXPECT_FALSE(gnet.SetRegister(1, 2));
}

TEST_F(Commands, VersionAndPollingDropTheAcknowledgement) {
  replies = {Frame("A,1.23"), Frame("A1.23"), Frame("N")};
  EXPECT_EQ(gnet.GetVersion(), "1.23");
  EXPECT_EQ(gnet.GetVersion(), "1.23");
  EXPECT_EQ(gnet.GetVersion(), "");
  EXPECT_EQ(port.frames.back(), Frame("V"));

  port.frames.clear();
  replies = {Frame("N"), Frame("A,xyz")};
  const int64_t start = platform::MonotonicMs();
  EXPECT_EQ(gnet.Polling(0x07), "xyz");
  EXPECT_GE(platform::MonotonicMs() - start, 100);  // a reader that is not ready gets time to settle
  EXPECT_EQ(port.frames, (std::vector<std::string>{Frame("D"), Frame("D07")}));

  port.frames.clear();
  replies = {Frame("N"), Frame("N")};
  EXPECT_EQ(gnet.Polling(0), "");
  EXPECT_EQ(port.frames.size(), 2u);

  port.frames.clear();
  replies = {Frame("E2")};  // anything but "A" or "N" ends polling at once
  EXPECT_EQ(gnet.Polling(0), "");
  EXPECT_EQ(port.frames.size(), 1u);
  EXPECT_TRUE(messages.empty());
}

TEST_F(Commands, DumpAcceptsOnlyWholeTablesAndRestoresThePointer) {
  platform::HeadlessUi().SetMousePointer(platform::kPointerDefault);
  platform::HeadlessUi().pointer_history.clear();
  bool busy_during_dump = false;
  port.OnFrame = [&](const std::string&) {
    busy_during_dump = gnet.Busy() && gnet.IsSendGNetCMD();
    port.Deliver(tables.front());
  };

  tables = {Table(512, 0xF0)};
  const std::string dump = gnet.RegistersDump(40);
  ASSERT_EQ(dump.size(), 1024u);
  EXPECT_EQ(dump.substr(0, 6), "F0F1F2");
  EXPECT_EQ(dump.substr(1018), "EDEEEF");
  EXPECT_EQ(port.writes.back(), "\x02Y\r");  // one write, no checksum digits
  EXPECT_TRUE(busy_during_dump);
  EXPECT_FALSE(gnet.IsSendGNetCMD());
  EXPECT_EQ(platform::HeadlessUi().pointer_history,
            (std::vector<int>{platform::kPointerHourglass, platform::kPointerDefault}));

  tables = {Table(300)};
  EXPECT_EQ(gnet.RegistersDump(40), "");
  tables = {""};
  EXPECT_EQ(gnet.RegistersDump(40), "");

  // Refused while a transaction runs: nothing is sent, and the pointer still comes back.
  port.writes.clear();
  std::string inner;
  port.OnFrame = [&](const std::string& frame) {
    if (frame != Frame("V")) return;
    inner = gnet.RegistersDump(40) + "(refused)";
    port.Deliver(Frame("A"));
  };
  EXPECT_EQ(gnet.SendGNetCMD("V", false, false), "A");
  EXPECT_EQ(inner, "(refused)");
  EXPECT_EQ(port.writes, std::vector<std::string>{Frame("V")});

  gnet.SetPortOpen(false);
  EXPECT_EQ(gnet.RegistersDump(40), "");
  EXPECT_EQ(platform::HeadlessUi().MousePointer(), platform::kPointerDefault);
  EXPECT_EQ(platform::HeadlessUi().pointer_history.back(), platform::kPointerDefault);
  EXPECT_FALSE(gnet.Busy());
}

TEST_F(Commands, VerifiedDumpNeedsTwoEqualReadsAndIsCachedUntilTheLineChangesOrItAgesOut) {
  tables = {Table(300)};
  EXPECT_EQ(gnet.RegistersDumpEx(30), "");
  EXPECT_EQ(dumps, 1) << "a failed first read is not repeated";
  tables = {Table(256), Table(256, 1)};  // the two reads disagree
  EXPECT_EQ(gnet.RegistersDumpEx(30), "");
  EXPECT_EQ(dumps, 3);

  const std::string image = gnet.RegistersDumpEx(30);
  ASSERT_EQ(image.size(), 512u);
  EXPECT_EQ(image.substr(0, 4), "0102");
  EXPECT_EQ(gnet.RegistersDumpEx(30), image);
  EXPECT_EQ(dumps, 5) << "the second call within the cache time is served from the cache";

  // A write, or writing PortOpen through the engine even unchanged, forgets the cache.
  replies = {Frame("A")};
  ASSERT_TRUE(gnet.SetRegister(0, 0x55));
  EXPECT_FALSE(gnet.RegistersDumpEx(30).empty());
  EXPECT_EQ(dumps, 7);
  gnet.SetPortOpen(true);
  EXPECT_FALSE(gnet.RegistersDumpEx(30).empty());
  EXPECT_EQ(dumps, 9);
  platform::SleepMs(ucGNet::kDumpTailMs + 20);  // the cache ages out
  EXPECT_FALSE(gnet.RegistersDumpEx(30).empty());
  EXPECT_EQ(dumps, 11);
}

}  // namespace
