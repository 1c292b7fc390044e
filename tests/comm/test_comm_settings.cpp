// Settings strings: the full-string check that guards the device, the read-back, the partial update
// through Settings, and what numbers written as text mean.
#include <gtest/gtest.h>

#include <cerrno>

#include "comm/comm_settings.h"
#include "comm/comm_value.h"
#include "platform/clock.h"
#include "tests/comm/serial_port_fixture.h"

namespace {

using platform::CommState;

struct SetCase {
  const char* settings;
  const char* outcome;  // what the device then holds, or the trace text of the failed check
};

TEST_F(SerialPortTest, SetCOMMSettingsWritesOnlyWhatPassesEveryCheck) {
  const SetCase cases[] = {
      {"9600,n,8,1", "9600,N,8,1"},
      {"19200,E,7,1.5", "19200,E,7,1.5"},
      {"56000,m,5,2", "56000,M,5,2"},
      {"1050,N,8,1", "1050,N,8,1"},  // a multiple of 150
      {"abc,N,8,1", "0,N,8,1"},      // left for the device to refuse
      {"9600,N,8", "SetCOMMSettings - Param Count Error"},
      {"9600,N,8,1,", "SetCOMMSettings - Param Count Error"},
      {"1000,N,8,1", "SetCOMMSettings - BaudRate Error"},
      {"9600, N,8,1", "SetCOMMSettings - Parity Error"},
      {"9600,N,9,1", "SetCOMMSettings - ByteSize Error"},
      {"9600,N,3,1", "SetCOMMSettings - ByteSize Error"},
      {"9600,N,8,3", "SetCOMMSettings - Stop Bits Error"},
      {"9600,X,9,3", "SetCOMMSettings - Parity Error"},  // the first failed check is the one named
  };
  OpenWith("2400,O,6,2");
  for (const SetCase& c : cases) {
    SCOPED_TRACE(c.settings);
    control_.DeviceState() = CommState{2400, 6, platform::kParityOdd, platform::kStopBitsTwo};
    traces_.clear();
    const bool ok = serial_.SetCOMMSettings(control_.CommID(), c.settings);
    const bool rejected = std::string(c.outcome).find("Error") != std::string::npos;
    EXPECT_EQ(ok, !rejected);
    EXPECT_EQ(traces_, rejected ? std::vector<std::string>{c.outcome} : std::vector<std::string>{});
    EXPECT_EQ(serial_.GetCOMMSettings(control_.CommID()), rejected ? "2400,O,6,2" : c.outcome);
  }
}

TEST_F(SerialPortTest, SystemFailuresAreTracedWithTheirCode) {
  OpenWith("9600,N,8,1");
  control_.FailSetCommState(EINVAL);  // e.g. a rate the device cannot do
  EXPECT_FALSE(serial_.SetCOMMSettings(control_.CommID(), "0,N,8,1"));
  control_.FailSetCommState(0);
  control_.FailGetCommState(EIO);
  EXPECT_FALSE(serial_.SetCOMMSettings(control_.CommID(), "9600,N,8,1"));
  EXPECT_EQ(serial_.GetCOMMSettings(control_.CommID()), "");
  ASSERT_EQ(traces_.size(), 3u);
  EXPECT_EQ(traces_[0], "SetCOMMSettings - Invalid argument(0x16)");
  EXPECT_EQ(traces_[1], "SetCOMMSettings - Input/output error(0x5)");
  EXPECT_EQ(traces_[2], "GetCOMMSettings - Input/output error(0x5)");
  EXPECT_FALSE(serial_.SetCOMMSettings(-1, "9600,N,8,1")) << "a closed port has no device to write";
}

TEST_F(SerialPortTest, GetCOMMSettingsRunsEveryCheckBeforeGivingUp) {
  const std::pair<CommState, const char*> cases[] = {
      {{19200, 7, platform::kParityEven, platform::kStopBitsOneAndHalf}, "19200,E,7,1.5"},
      {{115200, 4, platform::kParitySpace, platform::kStopBitsTwo}, "115200,S,4,2"},
      {{9600, 9, 5, 3}, "Parity Error|ByteSize Error|Stop Bits Error"},
      {{9600, 3, platform::kParityNone, platform::kStopBitsOne}, "ByteSize Error"},
  };
  OpenWith("9600,N,8,1");
  for (const auto& [state, expected] : cases) {
    control_.DeviceState() = state;
    traces_.clear();
    const std::string text = serial_.GetCOMMSettings(control_.CommID());
    std::string errors;
    for (const std::string& trace : traces_) {
      EXPECT_EQ(trace.rfind("GetCOMMSettings - ", 0), 0u) << trace;
      errors += (errors.empty() ? "" : "|") + trace.substr(18);
    }
    EXPECT_EQ(text.empty() ? errors : text, expected);
    EXPECT_TRUE(text.empty() || traces_.empty()) << text;
  }
}

struct MergeCase {
  const char* value;
  const char* result;  // nullptr: nothing changes
};

TEST_F(SerialPortTest, SettingsMergeReplacesOnlyTheNamedFields) {
  const MergeCase cases[] = {
      {"E,7", "9600,E,7,1"},
      {"1.5", "9600,N,8,1.5"},
      {" 19200 ", "19200,N,8,1"},
      {"9600", "9600,N,8,1"},
      {"O,2,38400,5", "38400,O,5,2"},
      {"E,O", "9600,O,8,1"},  // a later token of the same kind wins
      {"1,2", "9600,N,8,2"},
      {"e", "9600,e,8,1"},  // the letter is kept as written
      {"8,4", "9600,N,4,1"},
      {"x", nullptr},
      {"0", nullptr},
      {"", nullptr},
      {"   ", nullptr},
  };
  for (const MergeCase& c : cases) {
    SCOPED_TRACE(c.value);
    ASSERT_TRUE(control_.SetSettings("9600,N,8,1"));
    serial_.AttachCommObject(&owner_, &control_);  // caches "9600,N,8,1"
    const size_t log_before = control_.Log().size();
    serial_.SetSettings(c.value);
    EXPECT_EQ(control_.Log().size() - log_before, c.result ? 1u : 0u)
        << "written only when something changed";
    const std::string expected = c.result ? c.result : "9600,N,8,1";
    EXPECT_EQ(control_.Settings(), expected);
    EXPECT_EQ(serial_.CachedSettings(), expected);
    EXPECT_EQ(serial_.Settings(), expected);
  }
}

TEST_F(SerialPortTest, SettingsMergeWhileOpenWorksOnTheDeviceAndRetriesOnce) {
  OpenWith("9600,N,8,1");
  serial_.SetSettings("E,7");
  EXPECT_EQ(serial_.Settings(), "9600,E,7,1") << "read live from the device";
  EXPECT_EQ(control_.Settings(), "9600,N,8,1") << "the control's own string is not touched while open";
  EXPECT_EQ(serial_.CachedSettings(), "9600,E,7,1");
  EXPECT_EQ(control_.SetCommStateCalls(), 1) << "read-back matched: no retry";

  // A device that falls back to no parity when asked for mark parity: one retry, 50 ms later.
  control_.SetStoreFilter([](const CommState& state) {
    CommState stored = state;
    if (stored.Parity == platform::kParityMark) stored.Parity = platform::kParityNone;
    return stored;
  });
  const int64_t start = platform::MonotonicMs();
  serial_.SetSettings("M");
  EXPECT_GE(platform::MonotonicMs() - start, 50);
  EXPECT_EQ(control_.SetCommStateCalls(), 3);
  EXPECT_EQ(serial_.CachedSettings(), "9600,M,7,1") << "the cache keeps what was asked for";
  EXPECT_EQ(serial_.Settings(), "9600,N,7,1");

  // The current settings cannot be read: the merge has nothing to work on.
  control_.FailGetCommState(EIO);
  serial_.SetSettings("19200");
  EXPECT_EQ(control_.SetCommStateCalls(), 3);
  EXPECT_EQ(serial_.CachedSettings(), "9600,M,7,1");
}

TEST(CommSettingsText, MergeNeedsFourCurrentFields) {
  EXPECT_EQ(comm::MergeSettingsText("9600,N,8", "E"), std::nullopt);
  EXPECT_EQ(comm::MergeSettingsText("", "9600,N,8,1"), std::nullopt);
  EXPECT_EQ(comm::MergeSettingsText("a,b,c,d", "7"), "a,b,7,d");
  // Baud rates that look like data or stop bits cannot be set this way.
  EXPECT_EQ(comm::MergeSettingsText("9600,N,8,1", "2"), "9600,N,8,2");
  EXPECT_EQ(comm::MergeSettingsText("9600,N,8,1", "-5"), "-5,N,8,1");
}

TEST(CommValue, LeadingNumberReadsWhatATextStartsWith) {
  EXPECT_EQ(comm::LeadingNumber("1.5"), 1.5);
  EXPECT_EQ(comm::LeadingNumber(" 7"), 7);
  EXPECT_EQ(comm::LeadingNumber("1 2"), 12);  // blanks inside a number are skipped
  EXPECT_EQ(comm::LeadingNumber("12abc"), 12);
  EXPECT_EQ(comm::LeadingNumber("1e3"), 1000);
  EXPECT_EQ(comm::LeadingNumber("2e"), 2);
  EXPECT_EQ(comm::LeadingNumber("5."), 5);
  EXPECT_EQ(comm::LeadingNumber(".5"), 0.5);
  EXPECT_EQ(comm::LeadingNumber("abc"), 0);
  EXPECT_EQ(comm::LeadingNumber("."), 0);
}

TEST(CommValue, NumericTextMustBeOneWholeNumber) {
  EXPECT_EQ(comm::NumericValue(" 3 "), 3);
  EXPECT_EQ(comm::NumericValue("1.5e1"), 15);
  EXPECT_EQ(comm::NumericValue("&H1F"), 31);
  EXPECT_EQ(comm::NumericValue("3x"), std::nullopt);
  EXPECT_EQ(comm::NumericValue("COM3"), std::nullopt);
  EXPECT_EQ(comm::NumericValue("1e"), std::nullopt);
  EXPECT_EQ(comm::NumericValue("&H"), std::nullopt);
}

TEST(CommValue, RoundingIsHalfToEvenAndChecksTheRange) {
  EXPECT_EQ(comm::RoundToInt16(2.5), 2);
  EXPECT_EQ(comm::RoundToInt16(3.5), 4);
  EXPECT_EQ(comm::RoundToInt16(32768), std::nullopt);
  EXPECT_EQ(comm::RoundToInt32(3e9), std::nullopt);
}

}  // namespace
