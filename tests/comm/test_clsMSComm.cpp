// The forwarding object: zero values with nothing attached, choosing the port object through the
// container, the port list gathered from every port object, and the events.
#include <gtest/gtest.h>

#include <utility>

#include "comm/clsMSComm.h"
#include "comm/comm_value.h"
#include "tests/comm/serial_port_fixture.h"

namespace {

// A port object that names a fixed set of ports and records how it is asked.
class NamingPort : public clsMSComm {
 public:
  explicit NamingPort(std::vector<std::string> port_names) : names(std::move(port_names)) {}
  std::string EnumCommPort(int32_t index) override {
    asked.push_back(index);
    return index >= 0 && index < static_cast<int32_t>(names.size()) ? names[static_cast<size_t>(index)] : "";
  }
  std::vector<std::string> names;
  std::vector<int32_t> asked;
};

struct RequestLog {
  std::vector<std::string> entries;  // command and first parameter as text
  void Add(const std::string& command, const CommValue& param1) {
    entries.push_back(command + " " + comm::AsText(param1).value_or("?"));
  }
};

TEST(ForwardingPort, ReadsZeroAndIgnoresWritesWithNothingAttached) {
  clsMSComm port;
  port.SetPortOpen(true);
  port.SetSettings("9600,N,8,1");
  port.SetRTSEnable(true);
  EXPECT_FALSE(port.PortOpen());
  EXPECT_EQ(port.Settings(), "");
  EXPECT_FALSE(port.RTSEnable());
  EXPECT_TRUE(port.CommInput().empty());
  EXPECT_EQ(port.Properties("commport"), CommValue(std::string()));
  EXPECT_EQ(port.Properties("InBufferCount"), CommValue(int32_t{0}));
  EXPECT_EQ(port.Properties("Bogus"), CommValue());
  EXPECT_TRUE(port.SetProperties("RThreshold", int32_t{1})) << "a known member takes the write";
  EXPECT_EQ(port.RThreshold(), 0) << "and ignores it";
  EXPECT_FALSE(port.SetProperties("Bogus", int32_t{1}));
}

TEST(ForwardingPort, GathersPortNamesFromEveryPortObjectOnce) {
  NamingPort serial({"COM1", "COM3"});
  NamingPort keyboard({"PS/2"});
  clsMSComm port;
  RequestLog log;
  bool answer = true;
  port.Request = [&](const std::string& command, CommValue& param1, clsMSComm*& param2) {
    log.Add(command, param1);
    if (!answer || command != "Index") return;
    const int32_t i = std::get<int32_t>(param1);
    if (i == 1) param2 = &serial;
    if (i == 2) param2 = &keyboard;
  };

  EXPECT_EQ(port.EnumCommPort(2), "PS/2");  // builds the table on first use
  EXPECT_EQ(log.entries, (std::vector<std::string>{"Index 1", "Index 2", "Index 3"}));
  EXPECT_EQ(serial.asked, (std::vector<int32_t>{0, 1, 2}));
  EXPECT_EQ(keyboard.asked, (std::vector<int32_t>{0, 1}));
  EXPECT_EQ(port.EnumCommPort(0), "COM1");
  EXPECT_EQ(port.EnumCommPort(1), "COM3");
  EXPECT_EQ(port.EnumCommPort(3), "");
  EXPECT_EQ(port.EnumCommPort(-1), "");

  serial.names = {"COM2"};
  EXPECT_EQ(port.EnumCommPort(0), "COM1") << "the table is reused until counted again";
  EXPECT_EQ(port.GetCommPortCount(), 2);
  EXPECT_EQ(port.EnumCommPort(0), "COM2");

  answer = false;
  EXPECT_EQ(port.GetCommPortCount(), 0) << "ports that went away leave the table";
  EXPECT_EQ(port.EnumCommPort(0), "");
}

TEST(ForwardingPort, ContainerWithoutPortObjectsIsAskedOnce) {
  clsMSComm port;
  int requests = 0;
  port.Request = [&requests](const std::string&, CommValue&, clsMSComm*&) { ++requests; };
  EXPECT_EQ(port.EnumCommPort(0), "");
  EXPECT_EQ(port.EnumCommPort(0), "");
  EXPECT_EQ(requests, 1) << "the empty table counts as built";
}

TEST(ForwardingPort, AttachOrderAsksTheContainerByName) {
  clsMSComm port;
  RequestLog log;
  clsMSComm* second = &port;
  port.Request = [&](const std::string& command, CommValue& param1, clsMSComm*& param2) {
    log.Add(command, param1);
    second = param2;
  };
  port.AttachOrder("", true);
  EXPECT_TRUE(log.entries.empty());
  port.AttachOrder("IMSComm", false);
  port.AttachOrder("KeybdIO", true);
  EXPECT_EQ(log.entries, (std::vector<std::string>{"REATTACH IMSComm-", "REATTACH KeybdIO+"}));
  EXPECT_EQ(second, nullptr);
}

TEST_F(SerialPortTest, ChoosingAPortClosesTheOldOneAndLetsTheContainerDecide) {
  owner_.Attach(&serial_);
  OpenWith("9600,N,8,1");
  std::vector<std::string> seen;
  clsMSComm* answer = &serial_;
  owner_.Request = [&](const std::string& command, CommValue& param1, clsMSComm*& param2) {
    seen.push_back(command + " " + std::get<std::string>(param1) +
                   (control_.PortOpen() ? " open" : " closed"));
    if (command != "CommPort") return;
    // The container may rewrite the name it was given.
    if (std::get<std::string>(param1) == "COM03") param1 = std::string("COM3");
    param2 = answer;
  };

  owner_.SetCommPort("COM03");
  EXPECT_EQ(seen, std::vector<std::string>{"CommPort COM03 closed"});
  EXPECT_EQ(owner_.Attached(), &serial_);
  EXPECT_EQ(owner_.CommPort(), "COM3");
  EXPECT_FALSE(owner_.PortOpen()) << "choosing a port does not open it";

  answer = nullptr;
  owner_.SetCommPort("PS/2");
  EXPECT_EQ(owner_.Attached(), nullptr);
  EXPECT_EQ(owner_.CommPort(), "");
  EXPECT_EQ(control_.CommPort(), 3) << "the name went to nobody";
}

}  // namespace
