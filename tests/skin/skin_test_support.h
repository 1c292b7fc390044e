#pragma once
// Helpers of the skin tests: where the built plug-ins are, and skin folders to copy them into.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/file_system.h"
#include "platform/shared_library.h"
#include "tests/support/program_folder.h"

namespace skin_test {

using test_support::BuildDir;

// A test plug-in ("good", "not_a_skin", "wrong_version", "no_register", "no_contract", "refuses_query").
inline std::string PluginPath(const std::string& variant) {
  return BuildDir() + "/tests/skin_plugins/test_skin_" + variant + ".so";
}

// A fresh skin folder inside the build folder (a temporary folder may be mounted without the right to
// map code from it), removed with everything in it at the end.
class SkinFolder {
 public:
  SkinFolder() {
    path_ = platform::MakeUniqueDirectory(BuildDir() + "/tests", "skin-folder-");
    if (path_.empty()) ADD_FAILURE() << "cannot create a skin folder in " << BuildDir() << "/tests";
  }
  ~SkinFolder() {
    if (!path_.empty()) platform::RemoveTree(path_);
  }
  SkinFolder(const SkinFolder&) = delete;
  SkinFolder& operator=(const SkinFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }

  // Copies test plug-in `variant` in as `name`; returns its path.
  std::string AddPlugin(const std::string& variant, const std::string& name) const {
    EXPECT_TRUE(platform::CopyFile(PluginPath(variant), File(name))) << PluginPath(variant);
    return File(name);
  }
  std::string Write(const std::string& name, const std::string& content) const {
    EXPECT_TRUE(platform::WriteFileDurably(File(name), content));
    return File(name);
  }

 private:
  std::string path_;
};

// A second handle on a test plug-in, taken before the host loads it, so that the library (and its
// counters) stays in memory however often the host loads and drops it.
class Watched {
 public:
  explicit Watched(const std::string& path) : library_(platform::SharedLibrary::Open(path)) {
    EXPECT_TRUE(library_) << path;
  }
  int Count(const char* name) const {
    if (!library_) return -1;
    auto function = reinterpret_cast<int (*)()>(library_->FindFunction(name));
    return function != nullptr ? function() : -1;
  }
  int Registered() const { return Count("TestSkinRegisterCalls"); }
  int Unregistered() const { return Count("TestSkinUnregisterCalls"); }
  int LiveQueries() const { return Count("TestSkinLiveQueries"); }
  int CreatedQueries() const { return Count("TestSkinCreatedQueries"); }

 private:
  std::unique_ptr<platform::SharedLibrary> library_;
};

}  // namespace skin_test
