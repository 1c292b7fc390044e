#pragma once
// Emulated readers on pseudo-terminals, listed by the serial port registry under the "COM" names a test
// gives them, and no other serial port: the machine's own ports stay out of the test.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/serial_registry.h"
#include "sim/emulated_reader.h"
#include "tests/support/temp_dir.h"

namespace test_support {

class SimReaders {
 public:
  SimReaders() { platform::SetSysfsRootForTesting(no_hardware_.path()); }
  ~SimReaders() {
    platform::SetUserPortMapSource(nullptr);
    platform::SetSysfsRootForTesting("");
  }
  SimReaders(const SimReaders&) = delete;
  SimReaders& operator=(const SimReaders&) = delete;

  // Called on the reader's thread with the reader and each line of its log.
  using LogHook = std::function<void(msrsim::EmulatedReader& reader, const std::string& line)>;

  // Starts a reader and lists it as `com_name`. Null (and a test failure) when it cannot start.
  msrsim::EmulatedReader* Add(const std::string& com_name, msrsim::ReaderConfig config,
                              LogHook on_log = nullptr) {
    auto reader = std::make_unique<msrsim::EmulatedReader>(std::move(config));
    if (on_log) {
      reader->on_log = [self = reader.get(), on_log](const std::string& line) { on_log(*self, line); };
    }
    std::string error;
    if (!reader->Start(&error)) {
      ADD_FAILURE() << "cannot start a reader for " << com_name << ": " << error;
      return nullptr;
    }
    map_.push_back({com_name, reader->Path()});
    const std::vector<platform::PortMapEntry> map = map_;
    platform::SetUserPortMapSource([map] { return map; });
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
  std::vector<std::unique_ptr<msrsim::EmulatedReader>> readers_;
};

}  // namespace test_support
