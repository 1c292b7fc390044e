#include "tests/support/program_folder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/paths.h"

namespace test_support {

namespace fs = std::filesystem;

std::string BuildDir() {
  return platform::GetEnvironment("MSR_BUILD_DIR", platform::DirName(platform::ProgramDir()));
}

void LayOutProgramFolder(const std::string& folder) {
  const fs::path build = BuildDir();
  const fs::path here = folder;
  std::error_code error;
  // Skins are linked one by one, so a test can add its own beside them.
  if (fs::create_directory(here / "Skin", error)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(build / "Skin", error)) {
      if (!error) fs::create_symlink(entry.path(), here / "Skin" / entry.path().filename(), error);
    }
  }
  if (!error) fs::copy(build / "Default", here / "Default", fs::copy_options::recursive, error);
  for (const char* name : {"Trakset.ini", "AliasName.ini"}) {
    if (!error) fs::copy_file(build / name, here / name, error);
  }
  if (error) ADD_FAILURE() << "cannot lay out a program folder from " << build << ": " << error.message();
}

}  // namespace test_support
