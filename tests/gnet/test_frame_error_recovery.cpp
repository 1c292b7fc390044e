#include <gtest/gtest.h>

#include <climits>

#include "gnet/frame_error_recovery.h"
#include "gnet/ucGNet.h"
#include "tests/support/fake_serial_control.h"

namespace {

constexpr const char* kPrimary = "19200,N,8,1";
constexpr const char* kAlternative = "9600,N,8,1";

// An engine on an in-process serial control, open on COM1 at the primary settings.
struct Engine {
  Engine() {
    auto owned = std::make_unique<msrtest::FakeSerialControl>();
    control = owned.get();
    gnet = std::make_unique<ucGNet>(std::move(owned));
    gnet->SetSettings(kPrimary);
    gnet->SetPortOpen(true);
  }
  // A framing error at `tick`; returns the settings the port has afterwards.
  std::string ErrorAt(int32_t tick, int32_t& now) {
    now = tick;
    control->RaiseFramingError();
    return gnet->Settings();
  }
  msrtest::FakeSerialControl* control = nullptr;
  std::unique_ptr<ucGNet> gnet;
};

class FrameErrors : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(main.gnet->PortOpen());
    ASSERT_EQ(main.gnet->Settings(), kPrimary);
    recovery.SetPrimary(kPrimary);
    recovery.SetAlternative(kAlternative);
    recovery.Connect(*main.gnet, second.gnet.get());
  }
  int32_t now = 0;
  gnet::FrameErrorRecovery recovery{[this] { return now; }};
  Engine main;
  Engine second;
};

TEST_F(FrameErrors, SettingsFlipOncePerBurstOnTheMainEngine) {
  EXPECT_EQ(main.ErrorAt(1000, now), kAlternative);
  EXPECT_EQ(recovery.LastErrorTick(), 1000);
  // The same burst: nothing changes, and the burst is still measured from its first error.
  EXPECT_EQ(main.ErrorAt(1030, now), kAlternative);
  EXPECT_EQ(main.ErrorAt(1050, now), kAlternative);
  EXPECT_EQ(recovery.LastErrorTick(), 1000);
  EXPECT_EQ(main.ErrorAt(1051, now), kPrimary);
  EXPECT_EQ(recovery.LastErrorTick(), 1051);
  // The port was restarted with what the handler chose, so the choice holds after the error.
  EXPECT_EQ(main.control->DeviceState().BaudRate, 19200u);

  // Settings that are neither text are put back to the primary one.
  main.gnet->SetSettings("4800,E,7,1");
  EXPECT_EQ(main.ErrorAt(2000, now), kPrimary);

  // Across the tick counter's wrap the distance is large: a new burst, not the old one.
  EXPECT_EQ(main.ErrorAt(INT32_MAX - 10, now), kAlternative);
  EXPECT_EQ(main.ErrorAt(INT32_MIN + 10, now), kPrimary);
}

TEST_F(FrameErrors, SecondEngineNeverMovesTheBurstMark) {
  EXPECT_EQ(main.ErrorAt(1000, now), kAlternative);
  EXPECT_EQ(second.ErrorAt(1040, now), kPrimary);  // inside the main engine's burst: left alone
  EXPECT_EQ(second.ErrorAt(1060, now), kAlternative);
  // Every later error on the second engine flips it again, as the mark stays at 1000.
  EXPECT_EQ(second.ErrorAt(1065, now), kPrimary);
  EXPECT_EQ(second.ErrorAt(1070, now), kAlternative);
  EXPECT_EQ(recovery.LastErrorTick(), 1000);
  EXPECT_EQ(main.gnet->Settings(), kAlternative);  // each engine's own port only

  // The main engine moves the mark even when its settings need no change.
  recovery.SetAlternative("N,8,1");  // already part of the primary text
  EXPECT_EQ(main.ErrorAt(2000, now), kPrimary);
  EXPECT_EQ(main.ErrorAt(2100, now), kPrimary);
  EXPECT_EQ(recovery.LastErrorTick(), 2100);
  EXPECT_EQ(second.ErrorAt(2120, now), kAlternative);  // inside the burst the main engine just marked
}

}  // namespace
