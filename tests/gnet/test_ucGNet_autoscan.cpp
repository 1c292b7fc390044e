// The scan's rules on an in-process serial control, where a reader at another rate shows up the way it
// does on a real UART: as framing errors.
#include <gtest/gtest.h>

#include <map>

#include "gnet/ucGNet.h"
#include "platform/serial_registry.h"
#include "tests/gnet/fake_port.h"
#include "tests/support/fake_serial_control.h"
#include "tests/support/temp_dir.h"

namespace {

// The keyboard port: one name, "PS/2", and a reader behind it when `answer` is set.
class KeyboardPort : public FakePort {
 public:
  using clsMSComm::AttachOrder;
  void AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result) override {
    if (key == "INDEX") {
      // Each port object counts the position down; the one that reaches 0 is meant.
      if (auto* position = std::get_if<int32_t>(&value); position && --*position == 0) result.object = this;
    } else if (key == "COMMPORT") {
      if (const auto* name = std::get_if<std::string>(&value); name && *name == "PS/2") result.object = this;
    }
  }
  std::string EnumCommPort(int32_t index) override { return index == 0 ? "PS/2" : ""; }
};

struct FakeReader {
  uint32_t rate;
  std::string identification;
};

class Scan : public ::testing::Test {
 protected:
  Scan() {
    auto control = std::make_unique<msrtest::FakeSerialControl>();
    serial = control.get();
    gnet = std::make_unique<ucGNet>(std::move(control));
  }
  void SetUp() override {
    platform::SetSysfsRootForTesting(no_hardware.path());
    platform::SetUserPortMapSource([] {
      std::vector<platform::PortMapEntry> map;
      for (int n : {2, 3, 17, 20})
        map.push_back({"COM" + std::to_string(n), "/dev/fake" + std::to_string(n)});
      return map;
    });
    ASSERT_TRUE(gnet->AddPortObject(&keyboard));
    gnet->OnMessage = [this](std::string& type, const std::string& msg) {
      if (type == "Scan") scan_messages.push_back(msg);
    };
    serial->OnOutput = [this](const platform::Bytes& data) {
      if (data.empty() || data.back() != '\r') return;
      const int number = serial->CommPort();
      const uint32_t line_rate = serial->DeviceState().BaudRate;
      polls.push_back("COM" + std::to_string(number) + "@" + std::to_string(line_rate));
      if (cancel_on_poll) gnet->SetGNetCancel(true);
      const auto reader = readers.find(number);
      if (reader == readers.end()) return;
      if (reader->second.rate == line_rate) {
        serial->Receive(Frame("A," + reader->second.identification));
      } else {
        serial->RaiseFramingError();  // the reader's bits at the wrong rate
      }
    };
    keyboard.OnFrame = [this](const std::string&) {
      polls.push_back("PS/2");
      if (!keyboard_answer.empty()) keyboard.Deliver(Frame("A," + keyboard_answer));
    };
  }
  void TearDown() override {
    gnet.reset();
    platform::SetUserPortMapSource(nullptr);
    platform::SetSysfsRootForTesting("");
  }

  bool Run(const std::string& rates, const std::string& names, bool only_this_port = false) {
    found_flag = false;
    const bool result = gnet->AutoScan(module, rates, port, rate, names, only_this_port, found_flag);
    EXPECT_EQ(result, found_flag);
    return result;
  }

  test_support::TempDir no_hardware{"scan"};
  KeyboardPort keyboard;  // outlives the engine
  msrtest::FakeSerialControl* serial = nullptr;
  std::unique_ptr<ucGNet> gnet;
  std::map<int, FakeReader> readers;
  std::string keyboard_answer;
  bool cancel_on_poll = false;
  std::vector<std::string> polls;
  std::vector<std::string> scan_messages;
  std::string module;
  std::string port;
  int32_t rate = 19200;
  bool found_flag = false;
};

TEST_F(Scan, PreferredPortFirstHighPortsNeverAndTheRateThatAnswers) {
  readers[2] = {19200, "KRD12,2TRACK,UART"};
  readers[3] = {38400, "KRD36AR,3TRACK,UART"};
  readers[17] = {19200, "KRD36AR,3TRACK,UART"};
  port = " com03 ";
  ASSERT_TRUE(Run(",9600,38400", "XYZ,KRD36*"));
  EXPECT_EQ(port, "COM3");
  EXPECT_EQ(rate, 38400);
  EXPECT_EQ(module, "KRD36AR,3TRACK,UART");
  EXPECT_TRUE(gnet->PortOpen());
  EXPECT_EQ(gnet->CommPort(), "COM3");
  EXPECT_EQ(gnet->GNetTimeout(), ucGNet::kScanTimeoutMs);
  // Three sends at a rate that only gives framing errors, then the rate that works.
  EXPECT_EQ(polls, (std::vector<std::string>{"COM3@19200", "COM3@19200", "COM3@19200", "COM3@9600",
                                             "COM3@9600", "COM3@9600", "COM3@38400"}));
  EXPECT_EQ(scan_messages,
            (std::vector<std::string>{"Scan COM3, BaudRate=19200", "Scan COM3, BaudRate=9600",
                                      "Scan COM3, BaudRate=38400", "Found KRD36AR,3TRACK,UART"}));
  EXPECT_TRUE(serial->RTSEnable());
  EXPECT_TRUE(serial->DTREnable());

  // Preferred or not, COM17 and COM20 are left out; an answer that matches no pattern is passed by.
  polls.clear();
  scan_messages.clear();
  readers[3].rate = 9600;
  keyboard_answer = "KRD12,2TRACK,PS2";
  port = "COM17";
  rate = 19200;
  EXPECT_FALSE(Run("19200", "KRD36AR"));
  EXPECT_EQ(polls,
            (std::vector<std::string>{"COM2@19200", "COM3@19200", "COM3@19200", "COM3@19200", "PS/2"}));
  EXPECT_FALSE(gnet->PortOpen());
  EXPECT_FALSE(keyboard.PortOpen());
  EXPECT_EQ(gnet->GNetTimeout(), ucGNet::kKeyboardScanTimeoutMs);  // the last port's time-out stays set
  EXPECT_EQ(port, "COM17");
  EXPECT_EQ(module, "KRD36AR,3TRACK,UART");  // from the first scan: only a find sets it
}

TEST_F(Scan, KeyboardPortCountsOnlyWhenNoOtherReaderAnswers) {
  keyboard_answer = "KRD36AR,3TRACK,PS2";
  readers[2] = {19200, "KRD36AR,3TRACK,UART"};
  port = "PS/2";  // scanned first, and still passed over for the serial reader
  ASSERT_TRUE(Run("19200", "KRD36AR"));
  EXPECT_EQ(port, "COM2");
  EXPECT_EQ(module, "KRD36AR,3TRACK,UART");
  EXPECT_EQ(polls, (std::vector<std::string>{"PS/2", "COM2@19200"}));
  EXPECT_FALSE(keyboard.PortOpen());

  // Alone it is the one found, and it is left open.
  readers[2] = {19200, "KRD12,2TRACK,UART"};
  readers[3] = {19200, "KRD12,2TRACK,UART"};
  polls.clear();
  port = "PS/2";
  rate = 19200;
  ASSERT_TRUE(Run("19200", "KRD36AR"));
  EXPECT_EQ(port, "PS/2");
  EXPECT_EQ(rate, 19200);
  EXPECT_EQ(module, "KRD36AR,3TRACK,PS2");
  EXPECT_EQ(gnet->CommPort(), "PS/2");
  EXPECT_TRUE(keyboard.PortOpen());
  EXPECT_EQ(polls, (std::vector<std::string>{"PS/2", "COM2@19200", "COM3@19200"}));

  // With OnlyThisPort the keyboard port's answer ends the scan at once; its error number is reported.
  polls.clear();
  scan_messages.clear();
  gnet->KeyboardPortError = [] { return std::pair<int, std::string>{5, "no controller"}; };
  ASSERT_TRUE(Run("19200", "KRD36AR", true));
  EXPECT_EQ(polls, std::vector<std::string>{"PS/2"});
  EXPECT_EQ(scan_messages, (std::vector<std::string>{"Scan PS/2", "Found KRD36AR,3TRACK,PS2",
                                                     "Scan PS/2 Error - no controller"}));
  EXPECT_EQ(gnet->GNetTimeout(), ucGNet::kKeyboardScanTimeoutMs);
}

TEST_F(Scan, NothingToScanNothingToMatchOrCancelled) {
  readers[2] = {9600, "KRD36AR"};
  port = "COM9";  // not offered
  EXPECT_FALSE(Run("19200", "KRD36AR", true));
  EXPECT_TRUE(polls.empty());
  EXPECT_TRUE(scan_messages.empty());

  port = "COM2";
  EXPECT_FALSE(Run(",9600", "", true));  // no patterns: no answer can match
  // Three sends at a rate that only gives framing errors; the empty last entry keeps the rate before it.
  EXPECT_EQ(polls,
            (std::vector<std::string>{"COM2@19200", "COM2@19200", "COM2@19200", "COM2@9600", "COM2@9600"}));
  // Without a leading comma only the preferred rate is tried.
  polls.clear();
  EXPECT_FALSE(Run("19200,9600", "KRD36AR", true));
  EXPECT_EQ(polls, (std::vector<std::string>(3, "COM2@19200")));
  EXPECT_FALSE(gnet->PortOpen());
  EXPECT_TRUE(module.empty());

  // A cancel during a poll ends the whole scan after it.
  polls.clear();
  scan_messages.clear();
  cancel_on_poll = true;
  EXPECT_FALSE(Run(",9600", "KRD36AR"));
  gnet->SetGNetCancel(false);
  EXPECT_EQ(polls, std::vector<std::string>{"COM2@19200"});
  EXPECT_EQ(scan_messages, std::vector<std::string>{"Scan COM2, BaudRate=19200"});
  EXPECT_FALSE(gnet->PortOpen());
  EXPECT_FALSE(gnet->Busy());
}

}  // namespace
