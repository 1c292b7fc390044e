#include "app/terminal_view.h"

#include <array>

#include "gnet/ucGNet.h"
#include "platform/clock.h"
#include "platform/hex_text.h"
#include "platform/text.h"

namespace {

constexpr std::array<const char*, 32> kControlNames = {
    "NUL", "SOH", "STX", "ETX", "EOT", "ENQ", "ACK", "BEL", "BS",  "TAB", "LF", "VT",  "FF", "CR", "SO", "SI",
    "DLE", "DC1", "DC2", "DC3", "DC4", "NAK", "SYN", "ETB", "CAN", "EM",  "SUB", "ESC", "FS", "GS", "RS", "US"};

constexpr uint8_t kLF = 10;
constexpr uint8_t kCR = 13;
constexpr int kAltLeft = 164;
constexpr int kAltRight = 165;

// How a received data byte reads in the view. Bytes above 127 are shown by value: the view holds UTF-8
// text, where a lone high byte is no character, and the value is what a technician needs anyway.
std::string DataText(uint8_t byte) { return byte == ' ' ? std::string(" ") : TerminalView::CharName(byte); }

}  // namespace

TerminalView::TerminalView(platform::RichTextView& view, platform::EventLoop* loop)
    : TimerReceive(loop), TimerAutoCrLf(loop), view_(view) {
  TimerReceive.SetInterval(kReceiveIntervalMs);
  TimerReceive.OnTimer = [this] { TimerReceive_Timer(); };
  TimerAutoCrLf.SetInterval(kAutoCrLfIntervalMs);
  TimerAutoCrLf.OnTimer = [this] { TimerAutoCrLf_Timer(); };
  // A key typed into the view is dropped: the log is read-only for the person.
  view_.OnKeyPress = [](int& key) { key = 0; };
}

std::string TerminalView::CharName(uint8_t byte) {
  if (byte < 32) return kControlNames[byte];
  if (byte == 32) return "(SP)";
  if (byte <= 127) return std::string(1, static_cast<char>(byte));
  if (byte < 255) return "0x" + platform::hex_text::Byte(byte);
  return {};  // 255 has no name on purpose: it is the erased-memory value, not data
}

void TerminalView::ShowChar(const std::string& text, uint32_t colour) {
  if (line_break_pending_) {
    line_break_pending_ = false;
    view_.Append("\r\n", colour);
  }
  view_.Append(text, colour);
  characters_shown_ = true;
}

void TerminalView::ShowCharEx(uint8_t byte) {
  using namespace terminal_colour;
  if (byte == 0) return;  // NUL bytes are line noise
  if (byte == kLF) {
    // A lone LF after text stays on the text's line; the next data starts a new one.
    line_break_pending_ = false;
    ShowChar("<LF>", kBlue);
    line_break_pending_ = true;
  } else if (byte == kCR) {
    ShowChar("<CR>", kBlue);
    line_break_pending_ = true;
  } else if (byte < 32) {
    ShowChar("<" + CharName(byte) + ">", kBlue);
  } else {
    ShowChar(DataText(byte), kBlack);
  }
}

void TerminalView::ShowMsg(const std::string& text, uint32_t colour) {
  if (characters_shown_) {
    characters_shown_ = false;
    view_.Append("\r\n", colour);
  }
  const std::string stamp = TimeStamp ? TimeStamp() : platform::LocalTimeHms();
  view_.Append(stamp + " - " + text + "\r\n", colour);
}

void TerminalView::ClearMsg() { view_.Clear(); }

void TerminalView::Flush() {
  if (text_buffer_.empty()) return;
  ShowChar(text_buffer_, terminal_colour::kBlack);
  text_buffer_.clear();
}

void TerminalView::OnReceivedByte(uint8_t byte) {
  if (TestModeFlag() && !TestModeChecked()) return;
  if (byte >= 32) {
    text_buffer_ += DataText(byte);
  } else {
    Flush();
    ShowCharEx(byte);
  }
  TimerReceive.SetEnabled(true);
  data_arrived_ = true;
  // A keyboard-wedge reader types at its own speed; wait for three characters' time before calling the
  // burst over, and never less than 100 ms.
  const int speed = TypingSpeed();
  quiet_countdown_ = speed >= 30 ? 3 * speed + 10 : 100;
  TimerAutoCrLf.SetEnabled(true);
}

void TerminalView::TimerReceive_Timer() {
  TimerReceive.SetEnabled(false);
  Flush();
}

void TerminalView::TimerAutoCrLf_Timer() {
  if (data_arrived_) {
    data_arrived_ = false;
    return;
  }
  const int interval = TimerAutoCrLf.Interval();
  if (quiet_countdown_ > interval) {
    quiet_countdown_ -= interval;
    return;
  }
  quiet_countdown_ = 0;
  TimerAutoCrLf.SetEnabled(false);
  Flush();
  line_break_pending_ = false;
  // One empty line after every burst, so swipes stand apart.
  view_.Append("\r\n\r\n", terminal_colour::kBlack);
}

void TerminalView::OnEngineMessage(const std::string& msg_type, const std::string& msg) {
  using namespace terminal_colour;
  using platform::text::ContainsNoCase;
  if (ContainsNoCase(msg_type, ucGNet::kMessageError)) {
    ShowMsg(msg, kRed);
  } else if (!ContainsNoCase(msg_type, ucGNet::kMessageScan)) {
    ShowMsg(msg, kBlack);
  } else if (!ContainsNoCase(msg, ucGNet::kScanFound)) {
    // The scan reports its own finding; only its progress is shown from here.
    ShowMsg(msg, kBlack);
  }
}

void TerminalView::OnKeyboardKey(KeyboardKeyEvent& key) {
  const bool alt = key.virtual_key == kAltLeft || key.virtual_key == kAltRight;
  if (key.released) {
    // Alt alone would open the window's menu and steal the focus from the reader's keystrokes.
    if (alt) key.handled = true;
    return;
  }
  for (uint8_t byte : key.received) OnReceivedByte(byte);
  Flush();
  const std::string& name = key.name;
  const bool braced = name.size() >= 2 && name.front() == '{' && name.back() == '}';
  if (braced && std::string("{Enter}{Shift}{Ctrl}").find(name) == std::string::npos) {
    ShowChar("<" + name.substr(1, name.size() - 2) + ">", terminal_colour::kBlue);
  }
  if (alt) key.handled = true;
}

void TerminalView::OnKeyboardData(const std::vector<uint8_t>& bytes, bool test_mode_flag) {
  if (test_mode_flag) return;
  for (uint8_t byte : bytes) OnReceivedByte(byte);
}
