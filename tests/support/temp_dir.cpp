#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/file_system.h"

namespace test_support {

TempDir::TempDir(const std::string& prefix) {
  std::string error;
  path_ = platform::MakeUniqueDirectory("/tmp", "msr-" + prefix + "-", &error);
  if (path_.empty()) ADD_FAILURE() << "cannot create a temporary folder: " << error;
}

TempDir::~TempDir() {
  std::string error;
  if (!path_.empty() && !platform::RemoveTree(path_, &error))
    ADD_FAILURE() << "cannot remove " << path_ << ": " << error;
}

std::string TempDir::WriteFile(const std::string& name, const std::string& content) const {
  const std::string path = File(name);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!(out << content)) ADD_FAILURE() << "cannot write " << path;
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
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(path_, error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

ScopedEnv::ScopedEnv(const std::string& name, const std::string& value) : name_(name) {
  if (const char* old = getenv(name.c_str())) old_value_ = old;
  setenv(name.c_str(), value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
  if (old_value_) {
    setenv(name_.c_str(), old_value_->c_str(), 1);
  } else {
    unsetenv(name_.c_str());
  }
}

}  // namespace test_support
