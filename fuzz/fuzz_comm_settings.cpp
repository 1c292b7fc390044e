// Settings strings of any content: parsed and written back, merged into the current settings as a partial
// update, and applied to the serial port implementation over an in-process serial control, open and
// closed. Input: settings strings, one per line; the first byte of a line picks what happens to it.

#include <cstdint>
#include <string>
#include <vector>

#include "comm/clsIMScomm.h"
#include "comm/comm_settings.h"
#include "fuzz/fuzz_support.h"
#include "platform/comm_state.h"
#include "platform/line_settings.h"
#include "platform/text.h"
#include "tests/support/fake_serial_control.h"

namespace {

bool SameState(const platform::CommState& a, const platform::CommState& b) {
  return a.BaudRate == b.BaudRate && a.Parity == b.Parity && a.ByteSize == b.ByteSize &&
         a.StopBits == b.StopBits;
}

// The settings text as the device reads it back, or empty when it does not parse.
std::string Canonical(const std::string& settings) {
  platform::CommState state;
  if (!comm::ParseSettingsText(settings, state).empty()) return {};
  std::vector<std::string> errors;
  return comm::FormatSettingsText(state, errors);
}

void CheckParse(const std::string& settings) {
  platform::CommState state;
  state.BaudRate = 1234;
  const platform::CommState untouched = state;
  const std::string failed = comm::ParseSettingsText(settings, state);
  if (!failed.empty()) {
    fuzz::Check(SameState(state, untouched), "a refused settings string changed the state: " + failed);
    return;
  }
  std::vector<std::string> errors;
  const std::string text = comm::FormatSettingsText(state, errors);
  fuzz::Check(errors.empty() && !text.empty(), "parsed settings do not format: " + settings);
  // Negative rates pass the check on purpose (the device refuses them); every other one must read back.
  if (static_cast<int32_t>(state.BaudRate) < 0) return;
  platform::CommState again;
  fuzz::Check(comm::ParseSettingsText(text, again).empty() && SameState(again, state),
              "formatted settings do not parse back: " + settings + " -> " + text);
}

void CheckMerge(const std::string& current, const std::string& value) {
  const auto merged = comm::MergeSettingsText(current, value);
  if (!merged) return;
  fuzz::Check(platform::text::Split(*merged, ',').size() == 4, "a merge without four fields: " + *merged);
  // The same update twice changes nothing more.
  const auto twice = comm::MergeSettingsText(*merged, value);
  fuzz::Check(twice && *twice == *merged, "merging the same update twice differs: " + value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  msrtest::FakeSerialControl control;
  clsIMScomm port;
  port.AttachCommObject(nullptr, &control);

  for (const std::string& line : fuzz::SplitInput(input, '\n', 16)) {
    const uint8_t pick = line.empty() ? 0 : static_cast<uint8_t>(line[0]);
    const std::string settings = line.empty() ? line : line.substr(1);
    CheckParse(settings);
    CheckMerge(port.Settings(), settings);
    CheckMerge("19200,N,8,1", settings);

    if (pick & 1) {
      // The framing-error restart: closed, set back to the settings last chosen, reopened.
      control.RaiseFramingError();
    }
    const bool open = (pick & 2) != 0;
    if (port.PortOpen() != open) port.SetPortOpen(open);
    fuzz::Check(port.PortOpen() == open, "the port did not follow SetPortOpen");

    const std::string before = port.Settings();
    const auto merged = comm::MergeSettingsText(before, settings);
    if (open) {
      // A merge the device reads back differently is written a second time 50 ms later, a pause the
      // fuzzer cannot afford on every run: those go through the closed port below instead.
      if (merged && Canonical(*merged) != *merged) continue;
      port.SetSettings(settings);
      const std::string after = port.Settings();
      if (merged && !Canonical(*merged).empty()) {
        fuzz::Check(after == *merged, "the device did not take " + *merged + ", it holds " + after);
      } else {
        fuzz::Check(after == before, "refused settings changed the device: " + before + " -> " + after);
      }
    } else {
      port.SetSettings(settings);
      const std::string after = port.Settings();
      if (merged) fuzz::Check(port.CachedSettings() == *merged, "the settings last chosen were not kept");
      const bool control_takes = merged && platform::ParseLineSettings(*merged).has_value();
      fuzz::Check(after == (control_takes ? *merged : before), "the closed port holds " + after);
    }
    // Written directly, a full settings string takes exactly when it parses.
    if (port.PortOpen()) {
      platform::CommState state;
      const bool valid = comm::ParseSettingsText(settings, state).empty();
      fuzz::Check(port.SetCOMMSettings(control.CommID(), settings) == valid,
                  "SetCOMMSettings disagrees with the settings check: " + settings);
    }
  }
  return 0;
}
