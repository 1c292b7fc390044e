#include "platform/folder_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>

#include "platform/system_error.h"

namespace platform {
namespace {

class InotifyFolderWatch final : public FolderWatch {
 public:
  explicit InotifyFolderWatch(int fd) : fd_(fd) {}
  ~InotifyFolderWatch() override { close(fd_); }
  InotifyFolderWatch(const InotifyFolderWatch&) = delete;
  InotifyFolderWatch& operator=(const InotifyFolderWatch&) = delete;

  int Descriptor() const override { return fd_; }

  bool TakeChanges() override {
    bool any = false;
    alignas(inotify_event) char buffer[4096];
    for (;;) {
      const ssize_t n = read(fd_, buffer, sizeof buffer);
      if (n > 0) {
        any = true;
        continue;
      }
      if (n < 0 && errno == EINTR) continue;
      return any;
    }
  }

 private:
  int fd_;
};

}  // namespace

std::unique_ptr<FolderWatch> WatchFolder(const std::string& folder, std::string* why) {
  const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (fd < 0) {
    if (why != nullptr) *why = "inotify - " + GetSystemErrorText(errno);
    return nullptr;
  }
  // Files here are replaced through a rename, so a finished rewrite shows as a move into the folder.
  const uint32_t mask = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE;
  if (inotify_add_watch(fd, folder.c_str(), mask) < 0) {
    if (why != nullptr) *why = folder + " - " + GetSystemErrorText(errno);
    close(fd);
    return nullptr;
  }
  return std::make_unique<InotifyFolderWatch>(fd);
}

}  // namespace platform
