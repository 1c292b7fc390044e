#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "app/terminal_view.h"
#include "platform/clock.h"

namespace {

using namespace terminal_colour;

// The view's runs as text, each run tagged with its colour ([K] black, [B] blue, [R] red) and each
// "\r\n" written as a real line break, so a golden file reads like the screen. A line break written
// ahead of data takes the data's colour, so a tag may stand alone at the end of a line.
std::string Render(const platform::RichTextView& view) {
  std::string out;
  for (const auto& run : view.Runs()) {
    out += run.colour == kBlack ? "[K]" : run.colour == kBlue ? "[B]" : run.colour == kRed ? "[R]" : "[?]";
    std::string text = run.text;
    for (size_t at; (at = text.find("\r\n")) != std::string::npos;) text.replace(at, 2, "\n");
    out += text;
  }
  return out;
}

std::string ReadGolden(const std::string& name) {
  const char* dir = std::getenv("MSR_TEST_SOURCE_DIR");
  std::ifstream in(std::string(dir ? dir : "tests") + "/app/golden/" + name);
  std::stringstream text;
  text << in.rdbuf();
  std::string golden = text.str();
  if (!golden.empty() && golden.back() == '\n') golden.pop_back();  // the file's own last line end
  return golden;
}

class Terminal : public ::testing::Test {
 protected:
  Terminal() {
    terminal.TimeStamp = [] { return std::string("12:34:56"); };
  }
  void Receive(const std::string& bytes) {
    for (unsigned char b : bytes) terminal.OnReceivedByte(b);
  }
  // Runs the loop until the burst separator has been written, or `limit_ms` passed; returns the time
  // it took from now.
  int64_t WaitForSeparator(int limit_ms) {
    const int64_t start = platform::MonotonicMs();
    while (view.Text().find("\r\n\r\n") == std::string::npos && platform::MonotonicMs() - start < limit_ms) {
      platform::CurrentEventLoop().WaitForEvents(5);
    }
    return platform::MonotonicMs() - start;
  }

  platform::RichTextView view{"txtView"};
  TerminalView terminal{view};
};

// The edges of each range of names; the transcript below shows more of them in place.
TEST(TerminalCharName, NamesEveryByte) {
  EXPECT_EQ(TerminalView::CharName(31), "US");
  EXPECT_EQ(TerminalView::CharName(32), "(SP)");
  EXPECT_EQ(TerminalView::CharName(127), "\x7f");
  EXPECT_EQ(TerminalView::CharName(254), "0xFE");
  EXPECT_EQ(TerminalView::CharName(255), "");
}

TEST_F(Terminal, SessionTranscriptMatchesTheGoldenFile) {
  // A frame seen outside a transaction, then a card swipe, then messages of every kind.
  Receive(std::string(1, '\x02') + "AB\x03\r\n");
  Receive("%B4111^DOE/JOHN^25?");
  Receive(std::string("\0 \x80\xff;41=25?\r\n", 13));
  terminal.OnEngineMessage("General", "SendGNetCMD - Cancel!");
  terminal.OnEngineMessage("Error", "SendGNetCMD - Port is Close!");
  terminal.OnEngineMessage("Scan", "Scan COM3, BaudRate=19200");
  terminal.OnEngineMessage("Scan", "found KRD36AR");  // reported by the scan itself, not here
  terminal.OnEngineMessage("Error", "Found nothing");
  Receive("x\n");
  terminal.TimerReceive_Timer();
  EXPECT_EQ(Render(view), ReadGolden("terminal_session.txt"));
}

TEST_F(Terminal, PrintableBytesWaitForTheReceiveTimerControlBytesFlushAtOnce) {
  Receive("AB");
  EXPECT_EQ(view.Text(), "");
  EXPECT_TRUE(terminal.TimerReceive.Enabled());
  terminal.TimerReceive_Timer();
  EXPECT_EQ(view.Text(), "AB");
  Receive("C\x02");
  EXPECT_EQ(Render(view), "[K]ABC[B]<STX>");
}

TEST_F(Terminal, BurstSeparatorFollowsTheTypingSpeed) {
  terminal.TypingSpeed = [] { return 20; };  // fast reader: at least 100 ms of quiet
  Receive("%B1?");
  int64_t waited = WaitForSeparator(1000);
  EXPECT_GE(waited, 100);
  EXPECT_LT(waited, 400);
  EXPECT_EQ(view.Text(), "%B1?\r\n\r\n");
  EXPECT_FALSE(terminal.TimerAutoCrLf.Enabled());

  view.Clear();
  terminal.TypingSpeed = [] { return 40; };  // slow keyboard wedge: 3 x 40 + 10 ms
  Receive(";1?");
  waited = WaitForSeparator(1000);
  EXPECT_GE(waited, 130);
  EXPECT_LT(waited, 450);
}

TEST_F(Terminal, TestModeFlagIgnoresBytesUnlessTheBoxIsChecked) {
  bool flag = true;
  bool checked = false;
  terminal.TestModeFlag = [&] { return flag; };
  terminal.TestModeChecked = [&] { return checked; };
  Receive("\x02no");
  terminal.TimerReceive_Timer();
  EXPECT_EQ(view.Text(), "");
  checked = true;
  Receive("\x02yes");
  terminal.TimerReceive_Timer();
  EXPECT_EQ(view.Text(), "<STX>yes");
}

TEST_F(Terminal, KeyboardKeysShowTheirNamesAndAltIsKeptFromTheSystem) {
  KeyboardKeyEvent print{44, false, "{Print Screen}", {'a'}, false};
  terminal.OnKeyboardKey(print);
  KeyboardKeyEvent enter{13, false, "{Enter}", {}, false};
  terminal.OnKeyboardKey(enter);
  KeyboardKeyEvent alt_up{164, true, "{Alt}", {}, false};
  terminal.OnKeyboardKey(alt_up);
  EXPECT_EQ(Render(view), "[K]a[B]<Print Screen>");
  EXPECT_FALSE(print.handled);
  EXPECT_TRUE(alt_up.handled);
}

}  // namespace
