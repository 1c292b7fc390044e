#pragma once
// The terminal view of the main window: every byte the reader sends outside a transaction, every key of
// the keyboard port and every message of the protocol engines, appended in colour, with time stamps on
// messages and readable names for control characters. Printable bytes are gathered and written in pieces;
// a quiet spell after a burst of data (a card swipe) is marked with an empty line.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/controls.h"
#include "platform/event_loop.h"

namespace terminal_colour {
// 0xBBGGRR values.
constexpr uint32_t kBlack = 0;
constexpr uint32_t kRed = 255;
constexpr uint32_t kBlue = 0xFF0000;
}  // namespace terminal_colour

// A key reported by the keyboard port, with the bytes its control holds at that moment.
struct KeyboardKeyEvent {
  int virtual_key = 0;
  bool released = false;
  std::string name;  // e.g. "A", "{Print Screen}"
  std::vector<uint8_t> received;
  bool handled = false;  // set to keep the system from acting on the key (Alt)
};

class TerminalView {
 public:
  // The timers' periods: the flush of gathered text, and the check for the end of a burst.
  static constexpr int kReceiveIntervalMs = 10;
  static constexpr int kAutoCrLfIntervalMs = 10;

  explicit TerminalView(platform::RichTextView& view, platform::EventLoop* loop = nullptr);

  // "NUL".."US" for 0-31, "(SP)" for 32, the character for 33-127, "0x80".."0xFE", "" for 255.
  static std::string CharName(uint8_t byte);

  void ShowChar(const std::string& text, uint32_t colour);
  void ShowCharEx(uint8_t byte);
  void ShowMsg(const std::string& text, uint32_t colour);
  void ClearMsg();

  // A byte from a protocol engine's OnChar (both engines of the window use it).
  void OnReceivedByte(uint8_t byte);
  // A protocol engine's OnMessage.
  void OnEngineMessage(const std::string& msg_type, const std::string& msg);
  // A key of the keyboard port (only while key monitoring is on).
  void OnKeyboardKey(KeyboardKeyEvent& key);
  // Bytes of the keyboard port's control that came without a key.
  void OnKeyboardData(const std::vector<uint8_t>& bytes, bool test_mode_flag);

  void TimerReceive_Timer();
  void TimerAutoCrLf_Timer();

  // Window state the view reads: test mode (flag and check box) and the typing speed in ms per character
  // shown by the reader's TypeingSpeed register (0 while no such register is loaded).
  std::function<bool()> TestModeFlag = [] { return false; };
  std::function<bool()> TestModeChecked = [] { return false; };
  std::function<int()> TypingSpeed = [] { return 0; };
  // The time stamp of messages; tests give a fixed one.
  std::function<std::string()> TimeStamp;

  platform::Timer TimerReceive;
  platform::Timer TimerAutoCrLf;

 private:
  void Flush();

  platform::RichTextView& view_;
  std::string text_buffer_;
  bool line_break_pending_ = false;
  bool characters_shown_ = false;
  bool data_arrived_ = false;
  int32_t quiet_countdown_ = 0;
};
