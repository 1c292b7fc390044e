// SHA-256 against digests from FIPS 180-4's examples and from sha256sum, across the padding's edges.
#include "app/sha256.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Sha256, KnownDigests) {
  struct Case {
    std::string input;
    const char* digest;
  };
  const Case cases[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      // 56 bytes: the length no longer fits behind the 1 bit, a second block is needed.
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopq"
       "rstnopqrstu",
       "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
      // 55 bytes: the longest message whose padding fits in its one block.
      {std::string(55, 'a'), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
      {std::string(56, 'a'), "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a"},
      // A whole block, then a block of padding alone.
      {std::string(64, 'a'), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Sha256Hex(reinterpret_cast<const uint8_t*>(c.input.data()), c.input.size()), c.digest)
        << c.input.size() << " bytes: " << c.input;
  }
  // A register image of 256 bytes 0xFF: bytes above 0x7F must not be taken as negative.
  EXPECT_EQ(Sha256Hex(std::vector<uint8_t>(256, 0xFF)),
            "3d6876a0146de8576eb2395a858de1213d1b92c65b779df3a331cfd5a4584546");
}

}  // namespace
