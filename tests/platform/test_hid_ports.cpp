// The numbers HID bridges answer to: the user's map first, then the node's own number, then the lowest free.
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/hid_ports.h"
#include "platform/seqpacket.h"
#include "tests/support/temp_dir.h"

namespace platform {
namespace {

// "HID1=hidraw0 'A' #S0;" per port (product, serial), with the map and emulated marks, so that a row reads
// as the list.
std::string Render(const std::vector<HidPortInfo>& ports) {
  std::string text;
  for (const HidPortInfo& port : ports) {
    text += port.name + "=" + port.device.substr(port.device.rfind('/') + 1) +
            (port.from_user_map ? " map" : "") + (port.emulated ? " emulated" : "") +
            (port.product.empty() ? "" : " '" + port.product + "'") +
            (port.serial.empty() ? "" : " #" + port.serial) + ";";
  }
  return text;
}

TEST(HidPorts, TheMapWinsThenEachNodeKeepsItsOwnNumberThenTheLowestFree) {
  test_support::TempDir dir("hid-ports");
  std::string error;
  const std::string socket = dir.File("bridge.sock");
  const int listener = ListenSeqpacket(socket, error);
  ASSERT_GE(listener, 0) << error;
  const std::string plain = dir.WriteFile("hidraw9", "");  // exists, but no bridge udev knows of
  const FoundHidDevice raw0{"/dev/hidraw0", "A", "S0"};
  const FoundHidDevice raw3{"/dev/hidraw3", "B", ""};
  const FoundHidDevice raw300{"/dev/hidraw300", "C", ""};

  struct Case {
    const char* what;
    std::vector<FoundHidDevice> devices;
    std::vector<PortMapEntry> map;
    std::string expected;
  };
  const Case cases[] = {
      {"own numbers", {raw3, raw0}, {}, "HID1=hidraw0 'A' #S0;HID4=hidraw3 'B';"},
      {"node without a number of its own", {raw300, raw0}, {}, "HID1=hidraw0 'A' #S0;HID2=hidraw300 'C';"},
      {"the map takes number and node; the displaced node takes the lowest free",
       {raw0, raw3},
       {{" hid1 ", socket}, {"Hid2", "/dev/hidraw3"}},
       "HID1=bridge.sock map emulated 'msrsim bridge';HID2=hidraw3 map 'B';HID3=hidraw0 'A' #S0;"},
      {"displaced nodes in node order, whatever udev's order",
       {raw3, raw0},
       {{"HID1", socket}, {"HID4", plain}},
       "HID1=bridge.sock map emulated 'msrsim bridge';HID2=hidraw0 'A' #S0;HID3=hidraw3 'B';"
       "HID4=hidraw9 map;"},
      {"bad, repeated and dangling lines count for nothing",
       {raw0},
       {{"HID0", socket},
        {"HID257", socket},
        {"HIDx", socket},
        {"COM2", socket},
        {"HID3", ""},
        {"HID1", dir.File("gone.sock")},
        {"HID5", plain},
        {"HID6", plain},
        {"HID5", socket}},
       "HID1=hidraw0 'A' #S0;HID5=hidraw9 map;"},
  };
  for (const Case& c : cases) EXPECT_EQ(Render(AssignHidNumbers(c.devices, c.map)), c.expected) << c.what;
  close(listener);
}

TEST(HidPorts, BridgeIdentityIsVendorAndProductOfUdevsHidId) {
  for (const char* id : {"0003:00002A7C:00000005", "0005:00002a7c:00000005"})
    EXPECT_TRUE(IsHidBridgeId(id)) << id;
  for (const char* id :
       {"0003:00002A7C:00000006", "0003:00002A7D:00000005", "0003:00002A7C", "0003:00002A7C:00000005:1",
        "0003:100002A7C:00000005", "0003:00002A7C:0000000G", ""}) {
    EXPECT_FALSE(IsHidBridgeId(id)) << id;
  }
}

}  // namespace
}  // namespace platform
