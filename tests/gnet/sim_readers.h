#pragma once
// Emulated readers on pseudo-terminals, listed under the "COM" names a test gives them and as the only
// serial ports, or behind emulated HID bridges listed under "HID" names as the only bridges: the machine's
// own ports stay out of the test.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/hid_ports.h"
#include "platform/serial_registry.h"
#include "sim/emulated_reader.h"
#include "tests/support/temp_dir.h"

namespace test_support {

class SimReaders {
 public:
  SimReaders() {
    platform::SetSysfsRootForTesting(no_hardware_.path());
    platform::SetHidDevicesForTesting(std::vector<platform::FoundHidDevice>{});
  }
  ~SimReaders() {
    platform::SetUserPortMapSource(nullptr);
    platform::SetUserHidPortMapSource(nullptr);
    platform::SetSysfsRootForTesting("");
    platform::SetHidDevicesForTesting(std::nullopt);
  }

  // Starts a reader listed as `com_name` ("HID"n: behind a bridge); null (and a test failure) when it
  // cannot start. A reader added under a name already in use takes it over, as a device plugged in again
  // does.
  msrsim::EmulatedReader* Add(const std::string& com_name, msrsim::ReaderConfig config) {
    const bool hid = com_name.rfind("HID", 0) == 0;
    if (hid) {
      config.hid = true;
      config.hid_socket =
          no_hardware_.path() + "/" + com_name + "-" + std::to_string(readers_.size()) + ".hid";
    }
    auto reader = std::make_unique<msrsim::EmulatedReader>(std::move(config));
    std::string error;
    if (!reader->Start(&error)) {
      ADD_FAILURE() << "cannot start a reader for " << com_name << ": " << error;
      return nullptr;
    }
    std::vector<platform::PortMapEntry>& map = hid ? hid_map_ : map_;
    std::erase_if(map, [&](const platform::PortMapEntry& entry) { return entry.name == com_name; });
    map.push_back({com_name, reader->Path()});
    platform::SetUserPortMapSource([map = map_] { return map; });
    platform::SetUserHidPortMapSource([map = hid_map_] { return map; });
    readers_.push_back(std::move(reader));
    return readers_.back().get();
  }

  static msrsim::ReaderConfig Reader(const std::string& identification, uint32_t rate = 19200) {
    msrsim::ReaderConfig config;
    config.identification = identification;
    config.line_rate = rate;
    return config;
  }

 private:
  TempDir no_hardware_{"sim-readers"};
  std::vector<platform::PortMapEntry> map_;
  std::vector<platform::PortMapEntry> hid_map_;
  std::vector<std::unique_ptr<msrsim::EmulatedReader>> readers_;
};

}  // namespace test_support
