// The register set: the default mask and mask texts, reads and writes through the owner's handlers with
// retries and progress, the dump, the merge with defaults, the snapshot and the cached write.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "platform/event_loop.h"
#include "registers/clsRegisters.h"
#include "registers/register_files.h"

namespace {

// The default mask has this many addresses in use (rows of 8, 5, 11, 6, 16, 10, 3 and 5 x 16); of them,
// 0x80-0xCF are marked except every eighth address.
constexpr size_t kDefaultValid = 139;
constexpr size_t kDefaultMarked = 70;

// A reader behind the handlers: it answers from its own image and records every access.
struct FakeReader {
  explicit FakeReader(clsRegisters& set, bool with_dump = false) {
    for (int i = 0; i < 256; ++i) image[static_cast<size_t>(i)] = static_cast<uint8_t>(i ^ 0x5A);
    set.OnReadRegister = [this](uint8_t& value, bool& ok, int32_t address) {
      reads.push_back(address);
      value = image[static_cast<size_t>(address)];
      ok = true;
    };
    set.OnWriteRegister = [this](uint8_t& value, bool& ok, int32_t address) {
      writes[address] = value;
      image[static_cast<size_t>(address)] = value;
      ok = true;
    };
    if (!with_dump) return;
    set.OnDumpRegisters = [this](std::string& data, bool& ok) {
      ++dumps;
      data = register_files::BytesToHex(image);
      ok = true;
    };
  }
  std::vector<uint8_t> image = std::vector<uint8_t>(256);
  std::vector<int32_t> reads;
  std::map<int32_t, uint8_t> writes;
  int dumps = 0;
};

TEST(RegisterSet, DefaultMaskRowsAndMarks) {
  clsRegisters set;
  EXPECT_EQ(set.ValidMask(), clsRegisters::GetDefaultMask());
  size_t valid = 0, marked = 0;
  for (int a = 0; a < 256; ++a) {
    bool never_used = (a >= 0x20 && a <= 0x2F) || a >= 0xD0;
    EXPECT_FALSE(never_used && set.IsRegValid(a)) << a;
    valid += set.IsRegValid(a) ? 1 : 0;
    bool is_marked = (set.Flags(a) & clsRegisters::kMarkedFlag) != 0;
    marked += is_marked ? 1 : 0;
    EXPECT_EQ(is_marked, a >= 0x80 && a <= 0xCF && a % 8 != 0) << a;
  }
  EXPECT_EQ(valid, kDefaultValid);
  EXPECT_EQ(marked, kDefaultMarked);
}

TEST(RegisterSet, MaskTextsSkipNoiseCompleteALoneDigitAndMarkOnlyLowerCaseFf) {
  clsRegisters set;
  set.SetValidMask("F F-0;1 ff fF FF 7");
  // Address 5 gets the lone last digit; the text does not reach address 6 or the marks of the old map.
  EXPECT_EQ(set.ValidMask().substr(0, 14), "FF01ffFFFF0700");
  EXPECT_EQ(set.UseMask(0x33), 0);
  EXPECT_EQ(set.Flags(2) & clsRegisters::kMarkedFlag, clsRegisters::kMarkedFlag);
  for (int a : {3, 4, 0x81}) EXPECT_EQ(set.Flags(a) & clsRegisters::kMarkedFlag, 0) << a;
}

TEST(RegisterSet, BulkReadAndWriteVisitOnlyUsedAddressesInOrderAndFillUnownedBitsWithDefaults) {
  clsRegisters set;
  FakeReader reader(set);
  set.SetRegister(0x20, 0x77);
  ASSERT_TRUE(set.ReadRegisters());
  ASSERT_EQ(reader.reads.size(), kDefaultValid);
  EXPECT_TRUE(std::is_sorted(reader.reads.begin(), reader.reads.end()));
  EXPECT_EQ(set.Register(0x33), 0x33 ^ 0x5A);  // the whole byte, also bits outside its mask
  EXPECT_EQ(set.Register(0x20), 0x77);
  EXPECT_FALSE(set.ReadRegister(0x25));

  ASSERT_TRUE(set.WriteRegisters());
  EXPECT_EQ(reader.writes.size(), kDefaultValid);
  reader.writes.clear();
  ASSERT_TRUE(set.WriteRegisters(/*skip_marked=*/true));
  EXPECT_EQ(reader.writes.size(), kDefaultValid - kDefaultMarked);
  EXPECT_EQ(reader.writes.count(0x80) + reader.writes.count(0x81), 1u);

  ASSERT_TRUE(set.SetDefaultBuffer(std::vector<uint8_t>(256, 0x4A)));
  set.SetRegister(0x33, 0xE5);  // mask 0x1F
  set.SetRegister(0x14, 0x3F);  // mask 0xF0
  ASSERT_TRUE(set.WriteRegisters());
  EXPECT_EQ(reader.writes[0x33], 0x45);
  EXPECT_EQ(reader.writes[0x14], 0x3A);
}

TEST(RegisterSet, ThreeAttemptsWithTheInterfaceServedBetweenThem) {
  clsRegisters set;
  int calls = 0;
  bool event_ran = false, ran_before_second = false;
  set.OnReadRegister = [&](uint8_t&, bool& ok, int32_t) {
    if (++calls == 1) platform::CurrentEventLoop().Post([&] { event_ran = true; });
    if (calls == 2) ran_before_second = event_ran;
    ok = false;
  };
  EXPECT_FALSE(set.ReadRegister(0x10));
  EXPECT_EQ(calls, 3);
  EXPECT_TRUE(ran_before_second);

  calls = 0;
  set.OnWriteRegister = [&](uint8_t& value, bool& ok, int32_t) { ok = value == 0x42 && ++calls == 3; };
  set.SetRegister(0x10, 0x42);
  EXPECT_TRUE(set.WriteRegister(0x10));
  EXPECT_EQ(calls, 3);
}

TEST(RegisterSet, ProgressStartsAtZeroAndEndsAtOneAlsoWhenAByteFails) {
  clsRegisters set;
  FakeReader reader(set);
  std::vector<double> progress;
  set.OnProgress = [&](double f) { progress.push_back(f); };
  ASSERT_TRUE(set.WriteRegisters());
  ASSERT_GE(progress.size(), 2u);
  EXPECT_EQ(progress.front(), 0.0);
  EXPECT_EQ(progress.back(), 1.0);
  EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));

  // A reader that stops answering at 0x40: the read stops there, and the bar still ends.
  progress.clear();
  int32_t last = -1;
  set.OnReadRegister = [&](uint8_t&, bool& ok, int32_t address) {
    ok = address < 0x40;
    last = std::max(last, address);
  };
  EXPECT_FALSE(set.ReadRegisters());
  EXPECT_EQ(last, 0x40);
  EXPECT_EQ(progress.front(), 0.0);
  EXPECT_EQ(progress.back(), 1.0);
  EXPECT_EQ(set.GetProgress(), 1.0);
}

TEST(RegisterSet, DumpFillsUsedAddressesAndSnapshotWriteSendsOnlyChanges) {
  clsRegisters set;
  FakeReader reader(set, /*with_dump=*/true);
  set.SetRegister(0x20, 0x77);
  ASSERT_TRUE(set.ReadRegisters());
  EXPECT_EQ(reader.dumps, 1);
  EXPECT_TRUE(reader.reads.empty());
  EXPECT_EQ(set.Register(0x05), 0x05 ^ 0x5A);
  EXPECT_EQ(set.Register(0x20), 0x77);  // unused addresses are not taken from the dump

  // Bytes whose owned bits match what was read are skipped, though their other bits (taken from the
  // defaults) differ from the reader's.
  set.SetRegisterSnapshotMode(true);
  set.SetRegister(0x05, 0x00);
  set.SetRegister(0x33, static_cast<uint8_t>(set.Register(0x33) ^ 0xE0));  // only bits it does not own
  ASSERT_TRUE(set.WriteRegisters());
  EXPECT_EQ(reader.writes, (std::map<int32_t, uint8_t>{{0x05, 0x00}}));

  set.SetRegisterSnapshotMode(false);
  reader.writes.clear();
  ASSERT_TRUE(set.WriteRegisters());
  EXPECT_EQ(reader.writes.size(), kDefaultValid);
}

TEST(RegisterSet, CachedWriteFetchesTheImageWithoutTouchingTheBuffer) {
  clsRegisters set;
  FakeReader reader(set, /*with_dump=*/true);
  std::vector<uint8_t> wanted = reader.image;
  wanted[0x00] = 0x01;
  wanted[0x41] = 0x02;
  wanted[0x20] = 0x03;  // not in use: never sent
  ASSERT_TRUE(set.SetRegisters(wanted));
  ASSERT_TRUE(set.SetDefaultBuffer(wanted));

  ASSERT_TRUE(set.WriteRegistersCached());
  EXPECT_EQ(set.Registers(), wanted);
  EXPECT_EQ(reader.writes, (std::map<int32_t, uint8_t>{{0x00, 0x01}, {0x41, 0x02}}));
  // What was written is now known: a second cached write sends nothing and needs no new image.
  reader.writes.clear();
  ASSERT_TRUE(set.WriteRegistersCached());
  EXPECT_EQ(reader.dumps, 1);
  EXPECT_TRUE(reader.writes.empty());
}

TEST(RegisterSet, ABadOrRefusedDumpFallsBackToSingleReads) {
  for (const std::string& bad : std::vector<std::string>{"", std::string(510, '0'), std::string(511, '0'),
                                                         std::string(512, 'G'), "refused"}) {
    clsRegisters set;
    FakeReader reader(set);
    set.OnDumpRegisters = [&](std::string& data, bool& ok) {
      data = bad == "refused" ? std::string(512, '0') : bad;
      ok = bad != "refused";
    };
    ASSERT_TRUE(set.ReadRegisters());
    EXPECT_EQ(reader.reads.size(), kDefaultValid) << bad.size();
    EXPECT_EQ(set.Register(0x05), 0x05 ^ 0x5A);
  }
}

TEST(RegisterSet, ABulkOperationDoesNotStartInsideAnother) {
  clsRegisters set;
  int nested_results = 0;
  set.OnReadRegister = [&](uint8_t&, bool& ok, int32_t) {
    nested_results += set.ReadRegisters() + set.WriteRegisters() + set.WriteRegistersCached();
    ok = true;
  };
  ASSERT_TRUE(set.ReadRegisters());
  EXPECT_EQ(nested_results, 0);
  EXPECT_FALSE(set.Busy());
}

}  // namespace
