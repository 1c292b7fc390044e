#pragma once
// The build folder as tests find it, and program folders laid out from it.

#include <string>

namespace test_support {

// The build folder: MSR_BUILD_DIR, which CTest sets, or else the folder above this test program.
std::string BuildDir();

// Makes `folder` a program folder of the build: links to its skins, copies of its default files,
// "Trakset.ini" and "AliasName.ini", which a test may change without touching the build. A missing piece
// fails the test.
void LayOutProgramFolder(const std::string& folder);

}  // namespace test_support
