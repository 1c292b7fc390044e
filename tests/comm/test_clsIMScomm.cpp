// The serial port object: port naming, opening, the port list, the attach protocol, recovery from
// framing errors and access by name.
#include <gtest/gtest.h>

#include <cerrno>

#include "comm/comm_value.h"
#include "comm/port_names.h"
#include "platform/serial_registry.h"
#include "tests/comm/serial_port_fixture.h"
#include "tests/support/temp_dir.h"

namespace {

using platform::PortResult;

TEST_F(SerialPortTest, CommPortAcceptsNumbersAndUpperCaseComNames) {
  OpenWith("9600,N,8,1");
  EXPECT_EQ(serial_.CommPort(), "COM1");

  serial_.SetCommPort("com3");  // another port object's kind of name, not ours
  EXPECT_EQ(serial_.CommPort(), "COM1");
  serial_.SetCommPort("PS/2");
  EXPECT_EQ(serial_.CommPort(), "COM1");
  EXPECT_TRUE(control_.PortOpen());

  serial_.SetCommPort("3");  // a bare number selects without closing
  EXPECT_EQ(serial_.CommPort(), "COM3");
  EXPECT_TRUE(control_.PortOpen());

  serial_.SetCommPort("COM5");
  EXPECT_EQ(serial_.CommPort(), "COM5");
  EXPECT_FALSE(control_.PortOpen()) << "the open port is closed and not reopened";
  EXPECT_EQ(control_.Log().back(), "close");

  serial_.SetCommPort("2.5");  // rounded half to even
  EXPECT_EQ(control_.CommPort(), 2);
  serial_.SetCommPort("COM12");
  EXPECT_EQ(control_.CommPort(), 12);
  serial_.SetCommPort("99999");  // does not fit a port number: ignored
  EXPECT_EQ(control_.CommPort(), 12);
}

TEST_F(SerialPortTest, FailedOpenLeavesThePortClosedAndTellsTheOwnerWhy) {
  std::vector<std::string> notices;
  owner_.OnEvent = [&notices](const std::string& text) { notices.push_back(text); };

  control_.SetOpenResult(PortResult{false, EBUSY, "/dev/ttyUSB0 is in use by another program"});
  owner_.SetPortOpen(true);
  EXPECT_FALSE(owner_.PortOpen());
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_EQ(notices[0], "PortOpen - /dev/ttyUSB0 is in use by another program");

  control_.SetOpenResult(PortResult{false, EACCES, ""});  // no text from the control: the system's
  owner_.SetPortOpen(true);
  ASSERT_EQ(notices.size(), 2u);
  EXPECT_NE(notices[1].find("(0xD)"), std::string::npos) << notices[1];

  control_.SetOpenResult(PortResult{});
  owner_.SetPortOpen(true);
  EXPECT_TRUE(owner_.PortOpen());
  EXPECT_EQ(notices.size(), 2u) << "success is not announced";
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

  EXPECT_EQ(seen, std::vector<std::string>{"1004 open"});
  EXPECT_EQ(log_when_told, log_before) << "listeners hear of it before the restart";
  const std::vector<std::string> restart(control_.Log().begin() + static_cast<std::ptrdiff_t>(log_before),
                                         control_.Log().end());
  EXPECT_EQ(restart, (std::vector<std::string>{"close", "settings 19200,E,7,1", "open"}));
  EXPECT_TRUE(control_.PortOpen());
  EXPECT_EQ(serial_.Settings(), "19200,E,7,1");

  // Data events and errors on a closed port leave the port alone.
  control_.Receive("x");  // RThreshold is 0: no event
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
  control_.SetOpenResult(PortResult{false, ENODEV, "COM1 is not present"});
  control_.RaiseFramingError();
  EXPECT_FALSE(control_.PortOpen());
  EXPECT_EQ(notices, std::vector<std::string>{"PortOpen - COM1 is not present"});
}

class SerialPortListTest : public SerialPortTest {
 protected:
  void SetUp() override {
    SerialPortTest::SetUp();
    // This machine's own ports must not show up in the list.
    platform::SetSysfsRootForTesting(sysfs_.path());
    platform::SetUserPortMapSource([this] { return map_; });
  }
  void TearDown() override {
    platform::SetUserPortMapSource(nullptr);
    platform::SetSysfsRootForTesting("");
    SerialPortTest::TearDown();
  }

  test_support::TempDir sysfs_{"comm-sysfs"};
  std::vector<platform::PortMapEntry> map_;
};

TEST_F(SerialPortListTest, PortsAreListedByNumberAndTheListIsKeptOnceFound) {
  EXPECT_EQ(serial_.EnumCommPort(0), "") << "no ports at all";
  map_ = {{"COM10", "/dev/pts/10"}, {"COM2", "/dev/pts/2"}, {"COM1", "/dev/pts/1"}};
  // Nothing was found before, so the first name asked for lists the ports again.
  EXPECT_EQ(serial_.EnumCommPort(2), "COM10");
  EXPECT_EQ(serial_.EnumCommPort(0), "COM1");
  EXPECT_EQ(serial_.EnumCommPort(1), "COM2");
  EXPECT_EQ(serial_.EnumCommPort(3), "");
  EXPECT_EQ(serial_.EnumCommPort(-1), "");

  map_ = {{"COM4", "/dev/pts/4"}};
  EXPECT_EQ(serial_.EnumCommPort(0), "COM1") << "the list is not rebuilt behind the caller's back";
  EXPECT_EQ(serial_.GetCommPortCount(), 1);
  EXPECT_EQ(serial_.EnumCommPort(0), "COM4");

  map_.clear();
  EXPECT_EQ(serial_.GetCommPortCount(), 0);
  map_ = {{"COM6", "/dev/pts/6"}};
  EXPECT_EQ(serial_.EnumCommPort(0), "") << "once ports were found, an empty list stays until asked afresh";
}

TEST(SerialPortNames, KeepsComNamesWithinTheOldBoundsSortedByNumber) {
  auto ports = [](std::initializer_list<const char*> names) {
    std::vector<platform::SerialPortInfo> list;
    for (const char* name : names) list.push_back({0, name, "", "", false});
    return list;
  };
  EXPECT_EQ(comm::SerialPortNames(ports({"COM10", "COM2", "LPT1", "com7", "COM1", "COM9"})),
            (std::vector<std::string>{"COM1", "COM2", "COM9", "COM10"}));
  EXPECT_EQ(comm::SerialPortNames(ports({"COM3", "COM1000", "COM12345", "COM2"})),
            (std::vector<std::string>{"COM3", "COM1000"}))
      << "a name longer than seven characters ends the list: COM2 after it is not seen";

  std::vector<platform::SerialPortInfo> many;
  for (int n = 300; n >= 1; --n) many.push_back({n, "COM" + std::to_string(n), "", "", false});
  const std::vector<std::string> names = comm::SerialPortNames(many);
  ASSERT_EQ(names.size(), 256u);
  EXPECT_EQ(names.front(), "COM45");
  EXPECT_EQ(names.back(), "COM300");
}

TEST_F(SerialPortTest, AnswersIndexAndPortNumberQuestions) {
  auto answers = [this](CommValue value) {
    AttachAnswer answer;
    serial_.AttachOrder("CommPort", value, answer);
    return answer.object == &serial_;
  };
  using S = std::string;
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

  CommValue name = std::string("COM1");
  AttachAnswer untouched;
  serial_.AttachOrder("INDEX", name, untouched);
  EXPECT_EQ(name, CommValue(std::string("COM1")));
  serial_.AttachOrder("SOMETHING", name, untouched);
  EXPECT_EQ(untouched.object, nullptr);
}

TEST_F(SerialPortTest, ReattachFollowsTheSignAndMarksEachPass) {
  struct ReattachCase {
    const char* order;
    bool attached;
  };
  const ReattachCase cases[] = {
      {"-IMSComm", true},  {"+IMSComm", false}, {"+KeybdIO", true},  {"-KeybdIO", false},
      {"IMSComm-", false}, {"", false},         {"-imscomm", false},
  };
  for (const ReattachCase& c : cases) {
    SCOPED_TRACE(c.order);
    owner_.Attach(nullptr);
    CommValue order = std::string(c.order);
    AttachAnswer answer;
    answer.handled = std::string("\0KeybdIO", 8);
    serial_.AttachOrder("REATTACH", order, answer);
    EXPECT_EQ(owner_.Attached(), c.attached ? &serial_ : nullptr);
    EXPECT_EQ(answer.handled, std::string("\0KeybdIO\0IMSComm", 16));
  }

  owner_.Attach(nullptr);
  CommValue order = std::string("-IMSComm");
  AttachAnswer answer;
  answer.handled = std::string("\0IMSComm", 8);
  serial_.AttachOrder("REATTACH", order, answer);
  EXPECT_EQ(owner_.Attached(), nullptr) << "an object acts once per pass";
  EXPECT_EQ(answer.handled, std::string("\0IMSComm", 8));
}

TEST_F(SerialPortTest, EveryMemberReachesTheControlThroughTheOwner) {
  OpenWith("9600,N,8,1");
  owner_.SetBreak(true);
  owner_.SetDTREnable(false);
  owner_.SetRTSEnable(false);
  owner_.SetEOFEnable(true);
  owner_.SetNullDiscard(true);
  owner_.SetHandShaking(2);
  owner_.SetInBufferSize(4096);
  owner_.SetOutBufferSize(2048);
  owner_.SetInputLen(3);
  owner_.SetInputMode(platform::kInputModeBinary);
  owner_.SetRThreshold(5);
  owner_.SetSThreshold(7);
  owner_.SetParityReplace("#");
  EXPECT_TRUE(control_.Break());
  EXPECT_FALSE(control_.DTREnable());
  EXPECT_FALSE(control_.RTSEnable());
  EXPECT_TRUE(control_.EOFEnable());
  EXPECT_TRUE(control_.NullDiscard());
  EXPECT_EQ(control_.HandShaking(), 2);
  EXPECT_EQ(control_.InBufferSize(), 4096);
  EXPECT_EQ(control_.OutBufferSize(), 2048);
  EXPECT_EQ(control_.InputLen(), 3);
  EXPECT_EQ(control_.InputMode(), platform::kInputModeBinary);
  EXPECT_EQ(control_.RThreshold(), 5);
  EXPECT_EQ(control_.SThreshold(), 7);
  EXPECT_EQ(control_.ParityReplace(), "#");
  EXPECT_TRUE(owner_.Break());
  EXPECT_FALSE(owner_.DTREnable());
  EXPECT_FALSE(owner_.RTSEnable());
  EXPECT_EQ(owner_.HandShaking(), 2);
  EXPECT_EQ(owner_.InputLen(), 3);
  EXPECT_EQ(owner_.RThreshold(), 5);
  EXPECT_EQ(owner_.SThreshold(), 7);
  EXPECT_EQ(owner_.ParityReplace(), "#");

  control_.SetLines(/*cts=*/false, /*dsr=*/true, /*cd=*/true);
  EXPECT_FALSE(owner_.CTSHolding());
  EXPECT_TRUE(owner_.DSRHolding());
  EXPECT_TRUE(owner_.CDHolding());
  EXPECT_EQ(owner_.CommID(), msrtest::FakeSerialControl::kOpenHandle);

  control_.Receive(std::string("ab\0cdef", 7));  // the zero byte is dropped by the control
  EXPECT_EQ(owner_.InBufferCount(), 6);
  EXPECT_EQ(owner_.CommInput(), Bytes({'a', 'b', 'c'}));
  owner_.SetInBufferCount(0);
  EXPECT_EQ(owner_.InBufferCount(), 0);
  EXPECT_EQ(owner_.CommEvent(), platform::kCommEvReceive);

  owner_.CommOutput("V");
  owner_.CommOutput(Bytes{0x02, 0x0D});
  EXPECT_EQ(control_.Writes(), (std::vector<Bytes>{{'V'}, {0x02, 0x0D}}));
}

TEST_F(SerialPortTest, PropertiesByNameFindTheMembersInAnyCase) {
  EXPECT_EQ(serial_.Properties("portopen"), CommValue(false));
  EXPECT_TRUE(serial_.SetProperties("PortOpen", true));
  EXPECT_TRUE(control_.PortOpen());
  EXPECT_EQ(serial_.Properties("clsMSComm_PortOpen"), CommValue(true));
  EXPECT_EQ(serial_.Properties("CLSMSCOMM_commport"), CommValue(std::string("COM1")));

  EXPECT_TRUE(serial_.SetProperties("CommPort", int32_t{3}));
  EXPECT_EQ(control_.CommPort(), 3);
  EXPECT_TRUE(serial_.SetProperties("settings", std::string("E,7")));
  EXPECT_EQ(serial_.Properties("Settings"), CommValue(std::string("9600,E,7,1")));
  EXPECT_TRUE(serial_.SetProperties("RThreshold", std::string("4")));
  EXPECT_EQ(serial_.Properties("rthreshold"), CommValue(int32_t{4}));
  EXPECT_TRUE(serial_.SetProperties("CommOutput", std::string("V56")));
  EXPECT_EQ(control_.WrittenText(), "V56");

  // Read through the owner, as the engine does.
  control_.Receive("OK");
  EXPECT_EQ(owner_.Properties("InBufferCount"), CommValue(int32_t{2}));
  EXPECT_EQ(owner_.Properties("CommInput"), CommValue(Bytes{'O', 'K'}));

  EXPECT_EQ(serial_.Properties("NoSuchMember"), CommValue());
  EXPECT_EQ(serial_.Properties("CommOutput"), CommValue()) << "write-only";
  EXPECT_FALSE(serial_.SetProperties("NoSuchMember", int32_t{1}));
  EXPECT_FALSE(serial_.SetProperties("CDHolding", true)) << "read-only";
  EXPECT_FALSE(serial_.SetProperties("InputLen", std::string("many")));
  EXPECT_EQ(control_.InputLen(), 0);
}

}  // namespace
