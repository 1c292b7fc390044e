#pragma once
// A register set bound to a definition file in a fresh folder, and a form to hold the controls that
// registers bind to.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/controls.h"
#include "registers/clsRegister.h"
#include "registers/clsRegisters.h"
#include "tests/support/temp_dir.h"

namespace register_tests {

class RegisterFixture : public ::testing::Test {
 protected:
  // Writes the definition file and hands it to the set.
  void Define(const std::string& ini_text) { set.SetINIFile(dir.WriteFile("skin.ini", ini_text)); }

  template <typename T>
  T& NewControl(const std::string& name) {
    return form.Add<T>(name);
  }

  // A register for a new control of type T, loaded from section `name`.
  template <typename T>
  clsRegister& Bind(const std::string& name, T*& control) {
    control = &NewControl<T>("ctl" + name);
    return set.AddRegister(name, control);
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

}  // namespace register_tests
