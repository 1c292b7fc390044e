// The serial port object: port naming, opening, the port list, the attach protocol, recovery from
// framing errors and access by name.
#include <gtest/gtest.h>

#include <functional>

#include "comm/comm_value.h"
#include "comm/port_names.h"
#include "platform/serial_registry.h"
#include "platform/text.h"
#include "tests/comm/serial_port_fixture.h"
#include "tests/support/temp_dir.h"

namespace {

using platform::PortFailure;
using platform::PortResult;
using S = std::string;

TEST_F(SerialPortTest, CommPortAcceptsNumbersAndUpperCaseComNames) {
  struct Case {
    const char* name;
    const char* port;  // CommPort afterwards
    bool open;
  };
  const Case cases[] = {
      {"com3", "COM1", true},   // another port object's kind of name, not ours
      {"PS/2", "COM1", true},   //
      {"3", "COM3", true},      // a bare number selects without closing
      {"COM5", "COM5", false},  // a name closes the open port and does not reopen it
      {"2.5", "COM2", false},   // rounded half to even
      {"COM12", "COM12", false}, {"99999", "COM12", false},  // does not fit a port number
  };
  OpenWith("9600,N,8,1");
  for (const Case& c : cases) {
    serial_.SetCommPort(c.name);
    EXPECT_EQ(serial_.CommPort(), c.port) << c.name;
    EXPECT_EQ(control_.PortOpen(), c.open) << c.name;
  }
}

TEST_F(SerialPortTest, FailedOpenLeavesThePortClosedAndTellsTheOwnerWhy) {
  std::vector<std::string> notices;
  owner_.OnEvent = [&notices](const std::string& text) { notices.push_back(text); };
  control_.SetOpenResult(PortResult{false, PortFailure::kInUse, "/dev/ttyUSB0 is in use by another program"});
  owner_.SetPortOpen(true);
  EXPECT_FALSE(owner_.PortOpen());
  EXPECT_EQ(serial_.LastOpenResult().failure, PortFailure::kInUse);
  control_.SetOpenResult(PortResult{});
  owner_.SetPortOpen(true);
  EXPECT_TRUE(owner_.PortOpen());
  EXPECT_TRUE(serial_.LastOpenResult().ok);
  EXPECT_EQ(notices, std::vector<std::string>{"PortOpen - /dev/ttyUSB0 is in use by another program"})
      << "success is not announced";
}

TEST_F(SerialPortTest, FramingErrorRestartsThePortWithTheLastSettingsChosen) {
  OpenWith("9600,N,8,1");
  serial_.SetSettings("19200,E,7");
  // The line drifted, e.g. the device was switched to another rate behind our back.
  control_.DeviceState() = platform::CommState{2400, 8, platform::kParityNone, platform::kStopBitsOne};
  std::vector<std::string> seen;  // what the owner's listeners saw when told
  size_t log_when_told = 0;
  owner_.OnComm = [&] {
    seen.push_back(std::to_string(owner_.CommEvent()) + (control_.PortOpen() ? " open" : " closed"));
    log_when_told = control_.Log().size();
  };
  const size_t log_before = control_.Log().size();
  control_.RaiseFramingError();
  EXPECT_EQ(log_when_told, log_before) << "listeners hear of it before the restart";
  EXPECT_EQ(std::vector<std::string>(control_.Log().begin() + static_cast<std::ptrdiff_t>(log_before),
                                     control_.Log().end()),
            (std::vector<std::string>{"close", "settings 19200,E,7,1", "open"}));
  EXPECT_EQ(serial_.Settings(), "19200,E,7,1");

  // Data events and errors on a closed port leave the port alone.
  control_.SetRThreshold(1);
  control_.Receive("y");
  serial_.SetPortOpen(false);
  const size_t log_closed = control_.Log().size();
  control_.RaiseCommEvent(platform::kCommEventFrame);
  EXPECT_EQ(seen, (std::vector<std::string>{"1004 open", "2 open", "1004 closed"}));
  EXPECT_EQ(control_.Log().size(), log_closed);

  // A restart whose reopen fails ends with the port closed and the reason told.
  std::vector<std::string> notices;
  owner_.OnEvent = [&notices](const std::string& text) { notices.push_back(text); };
  serial_.SetPortOpen(true);
  control_.SetOpenResult(PortResult{false, PortFailure::kNotPresent, "COM1 is not present"});
  control_.RaiseFramingError();
  EXPECT_FALSE(control_.PortOpen());
  EXPECT_EQ(notices, std::vector<std::string>{"PortOpen - COM1 is not present"});
}

TEST_F(SerialPortTest, PortListIsKeptOnceFoundAndRebuiltWhenCounted) {
  test_support::TempDir sysfs("comm-sysfs");  // this machine's own ports stay out of the list
  platform::SetSysfsRootForTesting(sysfs.path());
  std::vector<platform::PortMapEntry> map;
  platform::SetUserPortMapSource([&map] { return map; });
  EXPECT_EQ(serial_.EnumCommPort(0), "") << "no ports at all";
  map = {{"COM10", "/dev/pts/10"}, {"COM2", "/dev/pts/2"}, {"COM1", "/dev/pts/1"}};
  // Nothing was found before, so the first name asked for lists the ports again.
  EXPECT_EQ(serial_.EnumCommPort(2), "COM10");
  EXPECT_EQ(serial_.EnumCommPort(0), "COM1");
  EXPECT_EQ(serial_.EnumCommPort(3), "");
  EXPECT_EQ(serial_.EnumCommPort(-1), "");

  map = {{"COM4", "/dev/pts/4"}};
  EXPECT_EQ(serial_.EnumCommPort(0), "COM1") << "the list is not rebuilt behind the caller's back";
  EXPECT_EQ(serial_.GetCommPortCount(), 1);
  EXPECT_EQ(serial_.EnumCommPort(0), "COM4");
  map.clear();
  EXPECT_EQ(serial_.GetCommPortCount(), 0);
  map = {{"COM6", "/dev/pts/6"}};
  EXPECT_EQ(serial_.EnumCommPort(0), "") << "once ports were found, an empty list stays until counted";
  platform::SetUserPortMapSource(nullptr);
  platform::SetSysfsRootForTesting("");
}

TEST(SerialPortNames, KeepsComNamesWithinTheOldBoundsSortedByNumber) {
  auto names = [](std::initializer_list<const char*> list) {
    std::vector<platform::SerialPortInfo> ports;
    for (const char* name : list) ports.push_back({0, name, "", "", false});
    return comm::SerialPortNames(ports);
  };
  EXPECT_EQ(names({"COM10", "COM2", "LPT1", "com7", "COM1", "COM9"}),
            (std::vector<std::string>{"COM1", "COM2", "COM9", "COM10"}));
  EXPECT_EQ(names({"COM3", "COM1000", "COM12345", "COM2"}), (std::vector<std::string>{"COM3", "COM1000"}))
      << "a name longer than seven characters ends the list: COM2 after it is not seen";

  std::vector<platform::SerialPortInfo> many;
  for (int n = 300; n >= 1; --n) many.push_back({n, "COM" + std::to_string(n), "", "", false});
  const std::vector<std::string> first256 = comm::SerialPortNames(many);
  ASSERT_EQ(first256.size(), 256u);
  EXPECT_EQ(first256.front(), "COM45");
  EXPECT_EQ(first256.back(), "COM300");
}

TEST_F(SerialPortTest, AnswersIndexAndPortNumberQuestions) {
  auto answers = [this](CommValue value) {
    AttachAnswer answer;
    serial_.AttachOrder("CommPort", value, answer);
    return answer.object == &serial_;
  };
  for (const CommValue& value : {CommValue(1), CommValue(256), CommValue(S("COM256")), CommValue(S("com3")),
                                 CommValue(S("7")), CommValue(S("COM 4"))}) {
    EXPECT_TRUE(answers(value)) << comm::AsText(value).value_or("?");
  }
  for (const CommValue& value :
       {CommValue(257), CommValue(2.5), CommValue(0), CommValue(S("COM3.5")), CommValue(S("COM257")),
        CommValue(S("PS/2")), CommValue(S("HID1")), CommValue()}) {
    EXPECT_FALSE(answers(value)) << comm::AsText(value).value_or("?");
  }

  // The container counts down through its objects; the one that reaches 0 is the one asked for.
  CommValue position = int32_t{2};
  AttachAnswer answer;
  serial_.AttachOrder("index", position, answer);
  EXPECT_EQ(position, CommValue(int32_t{1}));
  EXPECT_EQ(answer.object, nullptr);
  serial_.AttachOrder("INDEX", position, answer);
  EXPECT_EQ(position, CommValue(int32_t{0}));
  EXPECT_EQ(answer.object, &serial_);

  CommValue name = S("COM1");
  AttachAnswer untouched;
  serial_.AttachOrder("INDEX", name, untouched);
  serial_.AttachOrder("SOMETHING", name, untouched);
  EXPECT_EQ(name, CommValue(S("COM1")));
  EXPECT_EQ(untouched.object, nullptr);
}

TEST_F(SerialPortTest, ReattachFollowsTheSignAndActsOncePerPass) {
  const std::pair<const char*, bool> cases[] = {
      {"-IMSComm", true},  {"+IMSComm", false}, {"+KeybdIO", true},  {"-KeybdIO", false},
      {"IMSComm-", false}, {"", false},         {"-imscomm", false},
  };
  for (const auto& [order_text, attached] : cases) {
    owner_.Attach(nullptr);
    CommValue order = S(order_text);
    AttachAnswer answer;
    answer.handled = S("\0KeybdIO", 8);
    serial_.AttachOrder("REATTACH", order, answer);
    EXPECT_EQ(owner_.Attached(), attached ? &serial_ : nullptr) << order_text;
    EXPECT_EQ(answer.handled, S("\0KeybdIO\0IMSComm", 16)) << order_text;
  }
  owner_.Attach(nullptr);
  CommValue order = S("-IMSComm");
  AttachAnswer answer;
  answer.handled = S("\0IMSComm", 8);
  serial_.AttachOrder("REATTACH", order, answer);
  EXPECT_EQ(owner_.Attached(), nullptr) << "an object acts once per pass";
  EXPECT_EQ(answer.handled, S("\0IMSComm", 8));
}

// Writes `a` through the owner's member and `b` by name in another case: the control must get each, and
// the owner's member and the member of that name must read it back.
class SerialPortMembers : public SerialPortTest {
 protected:
  template <typename T, typename Arg>
  void CheckMember(const char* name, T a, T b, void (clsMSComm::*set)(Arg), T (clsMSComm::*get)() const,
                   T (platform::SerialControl::*on_control)() const) {
    (owner_.*set)(a);
    EXPECT_EQ((control_.*on_control)(), a) << name;
    EXPECT_EQ((owner_.*get)(), a) << name;
    EXPECT_TRUE(owner_.SetProperties(platform::text::Upper(name), b)) << name;
    EXPECT_EQ((control_.*on_control)(), b) << name;
    EXPECT_EQ(owner_.Properties(name), CommValue(b)) << name;
  }
};

TEST_F(SerialPortMembers, EveryMemberReachesTheControlThroughTheOwnerAndByName) {
  OpenWith("9600,N,8,1");
  using C = clsMSComm;
  using D = platform::SerialControl;
  CheckMember("Break", true, false, &C::SetBreak, &C::Break, &D::Break);
  CheckMember("DTREnable", false, true, &C::SetDTREnable, &C::DTREnable, &D::DTREnable);
  CheckMember("RTSEnable", false, true, &C::SetRTSEnable, &C::RTSEnable, &D::RTSEnable);
  CheckMember("EOFEnable", true, false, &C::SetEOFEnable, &C::EOFEnable, &D::EOFEnable);
  CheckMember("NullDiscard", true, false, &C::SetNullDiscard, &C::NullDiscard, &D::NullDiscard);
  CheckMember("HandShaking", 2, 1, &C::SetHandShaking, &C::HandShaking, &D::HandShaking);
  CheckMember("InBufferSize", 4096, 2000, &C::SetInBufferSize, &C::InBufferSize, &D::InBufferSize);
  CheckMember("OutBufferSize", 2048, 100, &C::SetOutBufferSize, &C::OutBufferSize, &D::OutBufferSize);
  CheckMember("InputMode", 1, 0, &C::SetInputMode, &C::InputMode, &D::InputMode);
  CheckMember("RThreshold", 5, 6, &C::SetRThreshold, &C::RThreshold, &D::RThreshold);
  CheckMember("SThreshold", 7, 8, &C::SetSThreshold, &C::SThreshold, &D::SThreshold);
  CheckMember("InputLen", 4, 3, &C::SetInputLen, &C::InputLen, &D::InputLen);
  CheckMember("ParityReplace", S("#"), S("*"), &C::SetParityReplace, &C::ParityReplace, &D::ParityReplace);
  EXPECT_EQ(serial_.Properties("clsMSComm_PortOpen"), CommValue(true));
  EXPECT_TRUE(serial_.SetProperties("CLSMSCOMM_commport", int32_t{3}));
  EXPECT_EQ(serial_.Properties("CommPort"), CommValue(S("COM3")));
  EXPECT_TRUE(serial_.SetProperties("SThreshold", S("4")));  // numbers may come as text
  EXPECT_EQ(control_.SThreshold(), 4);
  EXPECT_TRUE(serial_.SetProperties("settings", S("E,7")));  // a partial value
  EXPECT_EQ(serial_.Properties("Settings"), CommValue(S("9600,E,7,1")));

  control_.SetLines(/*cts=*/false, /*dsr=*/true, /*cd=*/true);
  EXPECT_EQ(owner_.Properties("CTSHolding"), CommValue(false));
  EXPECT_EQ(owner_.Properties("DSRHolding"), CommValue(true));
  EXPECT_EQ(owner_.Properties("CDHolding"), CommValue(true));
  EXPECT_EQ(owner_.Properties("CommID"), CommValue(msrtest::FakeSerialControl::kOpenHandle));
  owner_.SetNullDiscard(true);
  control_.Receive(S("ab\0cdef", 7));  // the zero byte is dropped by the control
  EXPECT_EQ(owner_.Properties("InBufferCount"), CommValue(int32_t{6}));
  EXPECT_EQ(owner_.Properties("CommInput"), CommValue(Bytes{'a', 'b', 'c'}));
  owner_.SetInBufferCount(0);
  EXPECT_EQ(owner_.InBufferCount(), 0);
  EXPECT_EQ(owner_.CommEvent(), platform::kCommEvReceive);
  owner_.CommOutput("V");
  EXPECT_TRUE(serial_.SetProperties("CommOutput", S("V56")));
  EXPECT_EQ(control_.Writes(), (std::vector<Bytes>{{'V'}, {'V', '5', '6'}}));

  EXPECT_EQ(serial_.Properties("NoSuchMember"), CommValue());
  EXPECT_EQ(serial_.Properties("CommOutput"), CommValue()) << "write-only";
  EXPECT_FALSE(serial_.SetProperties("NoSuchMember", int32_t{1}));
  EXPECT_FALSE(serial_.SetProperties("CDHolding", true)) << "read-only";
  EXPECT_FALSE(serial_.SetProperties("InputLen", S("many")));
  EXPECT_EQ(control_.InputLen(), 3);
}

}  // namespace
