#include "tests/support/temp_dir.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "platform/file_system.h"
#include "platform/paths.h"

namespace test_support {

TempDir::TempDir(const std::string& prefix) {
  std::string error;
  path_ = platform::MakeUniqueDirectory("/tmp", "msr-" + prefix + "-", &error);
  if (path_.empty()) ADD_FAILURE() << "cannot create a temporary folder: " << error;
}

TempDir::~TempDir() {
  if (path_.empty()) return;
  std::string error;
  if (!platform::RemoveTree(path_, &error)) ADD_FAILURE() << "cannot remove " << path_ << ": " << error;
}

std::string TempDir::File(const std::string& name) const {
  return platform::Join(path_, name);
}

std::string TempDir::WriteFile(const std::string& name, const std::string& content) const {
  std::string path = File(name);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  if (!out) ADD_FAILURE() << "cannot write " << path;
  return path;
}

std::string TempDir::ReadFile(const std::string& name) const {
  std::ifstream in(File(name), std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

std::vector<std::string> TempDir::List() const {
  std::vector<std::string> names;
  DIR* dir = opendir(path_.c_str());
  if (dir == nullptr) return names;
  while (dirent* entry = readdir(dir)) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

ScopedEnv::ScopedEnv(const std::string& name, const std::string& value) : name_(name) {
  if (const char* old = getenv(name.c_str())) {
    had_value_ = true;
    old_value_ = old;
  }
  setenv(name.c_str(), value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
  if (had_value_) {
    setenv(name_.c_str(), old_value_.c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

}  // namespace test_support
