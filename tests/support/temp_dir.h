#pragma once
// A fresh folder under /tmp for one test, removed with everything in it when the object goes away.

#include <string>
#include <vector>

namespace test_support {

class TempDir {
 public:
  // Creates "/tmp/msr-<prefix>-XXXXXX". A test that cannot get a folder fails (ADD_FAILURE) rather than
  // writing somewhere unexpected; path() is then empty.
  explicit TempDir(const std::string& prefix = "test");
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // path() + "/" + name.
  std::string File(const std::string& name) const;
  // Writes `content` to File(name) as it stands (bytes, no line-end conversion) and returns that path.
  std::string WriteFile(const std::string& name, const std::string& content) const;
  // The content of File(name), or an empty text when it cannot be read.
  std::string ReadFile(const std::string& name) const;
  // Names of the entries of the folder, sorted.
  std::vector<std::string> List() const;

 private:
  std::string path_;
};

// Sets an environment variable for the lifetime of the object and restores the earlier state afterwards.
class ScopedEnv {
 public:
  ScopedEnv(const std::string& name, const std::string& value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  bool had_value_ = false;
  std::string old_value_;
};

}  // namespace test_support
