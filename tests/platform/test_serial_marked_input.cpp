#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/marked_input.h"

namespace platform {
namespace {

// Feeds `pieces` one read at a time through one decoder; returns the data and adds up the line errors.
std::string DecodeReads(const std::vector<std::string>& pieces, size_t& errors,
                        const MarkedInputDecoder::Options& options = {}) {
  MarkedInputDecoder decoder;
  std::vector<uint8_t> out;
  errors = 0;
  for (const std::string& piece : pieces) {
    errors += decoder.Decode(reinterpret_cast<const uint8_t*>(piece.data()), piece.size(), options, out);
  }
  return std::string(out.begin(), out.end());
}

TEST(MarkedInput, DecodesDoubledMarksDamagedBytesAndBreaksWhereverAReadEnds) {
  const std::string stream(
      "A\xff\xff"
      "B\xff\x00x"
      "C\xff\x00\x00"
      "D\xff",
      13);
  size_t errors = 0;
  EXPECT_EQ(DecodeReads({stream}, errors),
            "A\xff"
            "BxCD");  // the trailing mark waits for its next byte
  EXPECT_EQ(errors, 2u);
  for (size_t cut = 1; cut < stream.size(); ++cut) {
    size_t split_errors = 0;
    EXPECT_EQ(DecodeReads({stream.substr(0, cut), stream.substr(cut), "\xff"}, split_errors),
              "A\xff"
              "BxCD\xff")
        << "cut at " << cut;
    EXPECT_EQ(split_errors, 2u) << "cut at " << cut;
  }
}

TEST(MarkedInput, ReplacementAndNullDiscard) {
  size_t errors = 0;
  // The replacement stands for a damaged byte and for a break; plain zero bytes are dropped.
  const std::string stream(
      "\x00"
      "a\xff\x00x\x00\xff\x00\x00"
      "b",
      10);
  EXPECT_EQ(DecodeReads({stream}, errors, {'?', true}), "a??b");
  EXPECT_EQ(errors, 2u);
  // Without those a zero data byte is data, a damaged byte stays, and a break leaves nothing.
  EXPECT_EQ(DecodeReads({stream}, errors), std::string("\x00"
                                                       "ax\x00"
                                                       "b",
                                                       5));
}

}  // namespace
}  // namespace platform
