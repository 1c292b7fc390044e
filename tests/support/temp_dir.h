#pragma once
// A fresh folder under /tmp for one test, removed with everything in it when the object goes away, and an
// environment variable set for the lifetime of an object.

#include <optional>
#include <string>
#include <vector>

namespace test_support {

class TempDir {
 public:
  // Creates "/tmp/msr-<prefix>-XXXXXX"; when it cannot, the test fails and path() is empty.
  explicit TempDir(const std::string& prefix = "test");
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }
  // Writes `content` byte for byte to File(name) and returns that path.
  std::string WriteFile(const std::string& name, const std::string& content) const;
  // The content of File(name), empty when it cannot be read.
  std::string ReadFile(const std::string& name) const;
  // Names of the folder's entries, sorted.
  std::vector<std::string> List() const;

 private:
  std::string path_;
};

class ScopedEnv {
 public:
  ScopedEnv(const std::string& name, const std::string& value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  std::optional<std::string> old_value_;
};

}  // namespace test_support
