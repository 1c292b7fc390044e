#pragma once
// Tells when the files of a folder change: a settings file rewritten by another program (an emulated reader
// that adds its port, a person who maps a new adapter) is noticed at once instead of at the next poll.

#include <memory>
#include <string>

namespace platform {

class FolderWatch {
 public:
  virtual ~FolderWatch() = default;
  // Turns readable when something in the folder was created, written, renamed or removed.
  virtual int Descriptor() const = 0;
  // Consumes the waiting notices; true when there were any. Never blocks.
  virtual bool TakeChanges() = 0;
};

// Watches `folder` (not its subfolders). nullptr, with the reason in `why`, when the folder cannot be
// watched (it does not exist, or the system's limit of watches is reached): the caller then polls.
std::unique_ptr<FolderWatch> WatchFolder(const std::string& folder, std::string* why = nullptr);

}  // namespace platform
