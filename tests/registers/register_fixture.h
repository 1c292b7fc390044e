#pragma once
// A register set bound to a definition file in a fresh folder, and a form to hold the controls that
// registers bind to.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/controls.h"
#include "platform/file_system.h"
#include "platform/paths.h"
#include "registers/clsRegister.h"
#include "registers/clsRegisters.h"
#include "tests/support/temp_dir.h"

namespace register_tests {

class RegisterFixture : public ::testing::Test {
 protected:
  // Writes the definition file and hands it to the set.
  void Define(const std::string& ini_text) { set.SetINIFile(dir.WriteFile("skin.ini", ini_text)); }

  // A register for a new control of type T, loaded from section `name`.
  template <typename T>
  clsRegister& Bind(const std::string& name, T*& control) {
    control = &form.Add<T>("ctl" + name);
    return set.AddRegister(name, control);
  }

  // Puts `value` into `count` bytes of the buffer and shows the buffer in the controls.
  void Show(int32_t address, uint64_t value, int32_t count = 1) {
    set.SetRegisterLong(address, count, value);
    set.UpdateRegisters();
  }

  std::vector<int> UsedAddresses() const {
    std::vector<int> used;
    for (int a = 0; a < 256; ++a) {
      if (set.IsRegValid(a)) used.push_back(a);
    }
    return used;
  }

  std::vector<uint8_t> Bytes(int32_t from, int count) const {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < count; ++i) bytes.push_back(set.Register(from + i));
    return bytes;
  }

  test_support::TempDir dir{"registers"};
  // Declared before the set: registers go before the controls they are bound to.
  platform::Form form{"frmSkin"};
  clsRegisters set;
};

// The content of a file in tests/registers/golden.
inline std::string Golden(const std::string& name) {
  const char* root = std::getenv("MSR_TEST_SOURCE_DIR");
  const std::string dir = root != nullptr && *root != '\0' ? std::string(root) + "/registers/golden"
                                                           : platform::DirName(__FILE__) + "/golden";
  std::string content;
  EXPECT_TRUE(platform::ReadWholeFile(dir + "/" + name, content)) << name;
  return content;
}

}  // namespace register_tests
