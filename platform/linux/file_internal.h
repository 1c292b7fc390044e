#pragma once
// What the file sources of this platform share: a descriptor closed on every way out of a function, and
// the basic steps that report their failure as the system's error code, so that callers can word it.

#include <unistd.h>

#include <string>

namespace platform {

class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() {
    if (fd_ >= 0) close(fd_);
  }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

// Each returns 0 or the error code of the step that failed.
int ReadContent(const std::string& path, std::string& content);
int MakeFolders(const std::string& path);

// "<what> <path> - <system message>" into `error` when the caller wants it; always false.
bool Fail(std::string* error, const char* what, const std::string& path, int code);

// Writes all of `content`, going on after short writes and interrupts; false with errno set.
bool WriteAll(int fd, const std::string& content);
// The folder of `path`, "." for a bare name.
std::string FolderOf(const std::string& path);

}  // namespace platform
