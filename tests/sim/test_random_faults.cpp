#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "sim/frame.h"
#include "sim/reader_core.h"

namespace msrsim {
namespace {

constexpr uint32_t kRate = 19200;

// What became of `count` requests `text`: the replies' fates and the texts that reached the wire.
struct Outcome {
  std::vector<ReplyFate> fates;
  std::vector<std::string> wire;
  std::vector<int> delays_ms;
};

Outcome Serve(const ReaderConfig& config, const std::string& text, int count) {
  ReaderCore core(config);
  Outcome outcome;
  const std::string frame = "\002" + text + "\r";
  for (int i = 0; i < count; ++i) {
    const FeedResult result = core.Feed(frame, kRate);
    outcome.fates.push_back(result.transactions.at(0).fate);
    std::string bytes;
    for (const LineOutput& output : result.outputs) {
      bytes.append(output.bytes.begin(), output.bytes.end());
      outcome.delays_ms.push_back(output.delay_ms);
    }
    outcome.wire.push_back(bytes);
  }
  return outcome;
}

int CountOf(const std::vector<std::string>& texts, const std::string& text) {
  return static_cast<int>(std::count(texts.begin(), texts.end(), text));
}

// Each random fault strikes about as often as asked, the same seed replays the same places, and another
// seed picks other places.
TEST(RandomFaults, StrikeAtTheirRateAndReplayWithTheSeed) {
  constexpr int kCount = 4000;
  ReaderConfig config;
  config.seed = 42;
  config.drop_percent = 5;
  config.bad_checksum_percent = 2;
  config.not_ready_percent = 10;

  const Outcome reads = Serve(config, "B05", kCount);
  const int dropped =
      static_cast<int>(std::count(reads.fates.begin(), reads.fates.end(), ReplyFate::kDropped));
  EXPECT_GT(dropped, kCount * 4 / 100);
  EXPECT_LT(dropped, kCount * 6 / 100);
  const int good = CountOf(reads.wire, "\002A00A1\r");
  const int spoiled = CountOf(reads.wire, "\002A00A2\r");
  EXPECT_EQ(good + spoiled + dropped, kCount) << "a reply is sent right, sent spoiled or not sent";
  EXPECT_GT(spoiled, kCount * 1 / 100);
  EXPECT_LT(spoiled, kCount * 3 / 100);

  const Outcome polls = Serve(config, "D", kCount);
  const int not_ready = CountOf(polls.wire, "\002N\r");
  EXPECT_GT(not_ready, kCount * 8 / 100);
  EXPECT_LT(not_ready, kCount * 12 / 100);
  EXPECT_EQ(CountOf(polls.wire, "\002A," + std::string(kDefaultIdentification) + "\r") + not_ready +
                CountOf(polls.wire, ""),
            kCount);

  EXPECT_EQ(Serve(config, "B05", kCount).wire, reads.wire) << "the same seed replays the run";
  config.seed = 43;
  EXPECT_NE(Serve(config, "B05", kCount).wire, reads.wire) << "another seed, other places";
}

TEST(RandomFaults, LatencyIsDrawnBetweenTheTwoBounds) {
  ReaderConfig config;
  config.latency_ms = 100;
  config.latency_max_ms = 400;
  const Outcome outcome = Serve(config, "V", 2000);
  ASSERT_EQ(outcome.delays_ms.size(), 2000u);
  const auto [low, high] = std::minmax_element(outcome.delays_ms.begin(), outcome.delays_ms.end());
  EXPECT_GE(*low, 100);
  EXPECT_LT(*low, 110) << "the whole range is used";
  EXPECT_LE(*high, 400);
  EXPECT_GT(*high, 390);

  // A cap at or below the fixed latency leaves the fixed latency.
  config.latency_max_ms = 50;
  const Outcome fixed = Serve(config, "V", 20);
  EXPECT_TRUE(std::all_of(fixed.delays_ms.begin(), fixed.delays_ms.end(), [](int ms) { return ms == 100; }));
}

}  // namespace
}  // namespace msrsim
