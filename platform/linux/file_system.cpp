#include "platform/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/paths.h"
#include "platform/system_error.h"

namespace platform {
namespace {

// Records "<what> <path> - <system message>" when the caller wants it; always returns false.
bool Fail(std::string* error, const char* what, const std::string& path, int code) {
  if (error != nullptr) *error = std::string(what) + " " + path + " - " + GetSystemErrorText(code);
  return false;
}

// Closes on every path out of a function.
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

bool WriteAll(int fd, const std::string& content) {
  size_t done = 0;
  while (done < content.size()) {
    ssize_t n = write(fd, content.data() + done, content.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

// A rename is only durable once the folder that holds the name has reached the disk too.
bool SyncFolderOf(const std::string& path) {
  std::string folder = DirName(path);
  if (folder.empty()) folder = ".";
  Fd dir(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() < 0) return false;
  return fsync(dir.get()) == 0;
}

bool StatOf(const std::string& path, struct stat& st) {
  return stat(path.c_str(), &st) == 0;
}

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Off only where tests ask for the named way.
bool g_unnamed_temp_files = true;

bool AllDigits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

std::string FolderOf(const std::string& path) {
  std::string folder = DirName(path);
  return folder.empty() ? "." : folder;
}

// Gives the new file its permission bits and content and waits until both are on the disk. Returns the
// step that failed (errno tells why), or nullptr.
const char* FillAndSync(int fd, const struct stat* replaced, const std::string& content) {
  if (replaced != nullptr && fchmod(fd, replaced->st_mode & 07777) != 0) return "chmod";
  if (!WriteAll(fd, content)) return "write";
  if (fsync(fd) != 0) return "fsync";
  return nullptr;
}

// Gives the unnamed file `fd` the name `path`; 0 or the errno. Linking a descriptor directly needs a
// privilege that ordinary users lack; its /proc link does the same for everyone.
int NameUnnamedFile(int fd, const std::string& path) {
  if (linkat(fd, "", AT_FDCWD, path.c_str(), AT_EMPTY_PATH) == 0) return 0;
  if (errno == EEXIST) return EEXIST;
  std::string link = "/proc/self/fd/" + std::to_string(fd);
  if (linkat(AT_FDCWD, link.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) return 0;
  return errno;
}

// The last step of both ways: the locked, complete temporary file replaces the target. The caller keeps
// the descriptor (and so the lock) open until this has returned.
bool RenameOver(const std::string& temp_path, const std::string& target, std::string* error) {
  if (rename(temp_path.c_str(), target.c_str()) != 0) {
    int code = errno;
    unlink(temp_path.c_str());
    return Fail(error, "rename", temp_path, code);
  }
  // The new content is in place; a failed folder flush only weakens the crash guarantee, so it is not
  // reported as a failed write.
  SyncFolderOf(target);
  return true;
}

// The way for file systems without unnamed files: the temporary name exists from the start, so a crash
// can leave it half-written; its lock marks it as abandoned then.
bool ReplaceThroughNamedFile(const std::string& temp_path, const std::string& target,
                             const struct stat* replaced, const std::string& content, std::string* error,
                             bool& name_taken) {
  // A cleaner that opened the fresh file in the moment before it was locked may take it for abandoned and
  // remove it; the name is then created again. A few rounds are plenty: the window is a few instructions.
  for (int round = 0; round < 3; ++round) {
    Fd fd(open(temp_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (fd.get() < 0) {
      name_taken = errno == EEXIST;
      return Fail(error, "create", temp_path, errno);
    }
    flock(fd.get(), LOCK_EX);
    struct stat opened, named;
    if (fstat(fd.get(), &opened) != 0 || lstat(temp_path.c_str(), &named) != 0 || !SameFile(opened, named)) {
      continue;
    }
    if (const char* step = FillAndSync(fd.get(), replaced, content)) {
      int code = errno;
      unlink(temp_path.c_str());
      return Fail(error, step, temp_path, code);
    }
    return RenameOver(temp_path, target, error);
  }
  name_taken = true;
  return Fail(error, "create", temp_path, EAGAIN);
}

bool ReplaceFile(const std::string& temp_path, const std::string& target, const std::string& content,
                 std::string* error, bool& name_taken) {
  struct stat target_stat;
  const struct stat* replaced = StatOf(target, target_stat) ? &target_stat : nullptr;
  if (!g_unnamed_temp_files)
    return ReplaceThroughNamedFile(temp_path, target, replaced, content, error, name_taken);

  // Written unnamed, the file cannot be seen half-written by anyone, nor left behind by a crash before it
  // is complete. Where the file system refuses, the named way runs and reports any real problem.
  Fd fd(open(FolderOf(temp_path).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
  if (fd.get() < 0) return ReplaceThroughNamedFile(temp_path, target, replaced, content, error, name_taken);
  // Nobody else can reach the file yet; the lock goes with it when it gets its name.
  flock(fd.get(), LOCK_EX);
  if (const char* step = FillAndSync(fd.get(), replaced, content)) return Fail(error, step, temp_path, errno);
  int code = NameUnnamedFile(fd.get(), temp_path);
  if (code == EEXIST) {
    name_taken = true;
    return Fail(error, "create", temp_path, code);
  }
  if (code != 0) return ReplaceThroughNamedFile(temp_path, target, replaced, content, error, name_taken);
  return RenameOver(temp_path, target, error);
}

}  // namespace

bool ReadWholeFile(const std::string& path, std::string& content, std::string* error) {
  content.clear();
  Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return Fail(error, "open", path, errno);
  char buffer[65536];
  for (;;) {
    ssize_t n = read(fd.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      int code = errno;
      content.clear();
      return Fail(error, "read", path, code);
    }
    if (n == 0) break;
    content.append(buffer, static_cast<size_t>(n));
  }
  return true;
}

std::vector<std::string> SplitLines(const std::string& content) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < content.size()) {
    size_t lf = content.find('\n', start);
    size_t end = lf == std::string::npos ? content.size() : lf;
    size_t stop = end;
    if (lf != std::string::npos && stop > start && content[stop - 1] == '\r') --stop;
    lines.emplace_back(content, start, stop - start);
    if (lf == std::string::npos) break;
    start = lf + 1;
  }
  return lines;
}

bool ReadLines(const std::string& path, std::vector<std::string>& lines, std::string* error) {
  std::string content;
  if (!ReadWholeFile(path, content, error)) {
    lines.clear();
    return false;
  }
  lines = SplitLines(content);
  return true;
}

bool FileExists(const std::string& path) {
  struct stat st;
  return StatOf(path, st) && S_ISREG(st.st_mode);
}

bool DirectoryExists(const std::string& path) {
  struct stat st;
  return StatOf(path, st) && S_ISDIR(st.st_mode);
}

FileAttributes GetFileAttributes(const std::string& path) {
  FileAttributes attributes;
  struct stat st;
  if (!StatOf(path, st)) return attributes;
  attributes.exists = true;
  attributes.is_directory = S_ISDIR(st.st_mode);
  // A file without any write bit counts as read-only even for root, like the read-only attribute of
  // systems where administrators respect it too: a shipped settings file stays unchanged.
  attributes.read_only = (st.st_mode & 0222) == 0 || access(path.c_str(), W_OK) != 0;
  attributes.size = static_cast<uint64_t>(st.st_size);
  return attributes;
}

FileStamp GetFileStamp(const std::string& path) {
  FileStamp stamp;
  struct stat st;
  if (!StatOf(path, st)) return stamp;
  stamp.exists = true;
  stamp.device = static_cast<uint64_t>(st.st_dev);
  stamp.inode = static_cast<uint64_t>(st.st_ino);
  stamp.size = static_cast<uint64_t>(st.st_size);
  stamp.mtime_ns = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
  stamp.ctime_ns = static_cast<int64_t>(st.st_ctim.tv_sec) * 1000000000 + st.st_ctim.tv_nsec;
  return stamp;
}

bool CreateEmptyFile(const std::string& path, std::string* error) {
  Fd fd(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (fd.get() >= 0) return true;
  if (errno == EEXIST && FileExists(path)) return true;
  return Fail(error, "create", path, errno);
}

bool CopyFile(const std::string& source, const std::string& destination, std::string* error) {
  std::string content;
  if (!ReadWholeFile(source, content, error)) return false;
  return WriteFileDurably(destination, content, error);
}

bool DeleteFile(const std::string& path, std::string* error) {
  if (unlink(path.c_str()) == 0) return true;
  return Fail(error, "delete", path, errno);
}

bool RenameFile(const std::string& from, const std::string& to, std::string* error) {
  if (rename(from.c_str(), to.c_str()) == 0) return true;
  return Fail(error, "rename", from, errno);
}

bool MakeDirectories(const std::string& path, std::string* error) {
  if (path.empty()) return true;
  if (DirectoryExists(path)) return true;
  // Create each missing prefix in turn; a parallel creator winning the race (EEXIST) is fine.
  size_t pos = 0;
  for (;;) {
    pos = path.find('/', pos + 1);
    std::string prefix = path.substr(0, pos);
    if (!prefix.empty() && mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) {
      return Fail(error, "mkdir", prefix, errno);
    }
    if (pos == std::string::npos) break;
  }
  if (DirectoryExists(path)) return true;
  return Fail(error, "mkdir", path, ENOTDIR);
}

bool RemoveTree(const std::string& path, std::string* error) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return errno == ENOENT ? true : Fail(error, "stat", path, errno);
  if (S_ISDIR(st.st_mode)) {
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) return Fail(error, "opendir", path, errno);
    std::vector<std::string> names;
    while (dirent* entry = readdir(dir)) {
      std::string name = entry->d_name;
      if (name != "." && name != "..") names.push_back(name);
    }
    closedir(dir);
    bool ok = true;
    for (const std::string& name : names) ok = RemoveTree(Join(path, name), error) && ok;
    if (!ok) return false;
    if (rmdir(path.c_str()) != 0) return Fail(error, "rmdir", path, errno);
    return true;
  }
  if (unlink(path.c_str()) != 0 && errno != ENOENT) return Fail(error, "delete", path, errno);
  return true;
}

std::vector<std::string> ListDirectory(const std::string& folder, const std::string& pattern) {
  std::vector<std::string> names;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return names;
  while (dirent* entry = readdir(dir)) {
    std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (fnmatch(pattern.c_str(), name.c_str(), FNM_CASEFOLD) != 0) continue;
    if (FileExists(Join(folder, name))) names.push_back(name);
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

bool ReplaceFileDurably(const std::string& temp_path, const std::string& target, const std::string& content,
                        std::string* error, bool* name_taken) {
  bool taken = false;
  bool replaced = ReplaceFile(temp_path, target, content, error, taken);
  if (name_taken != nullptr) *name_taken = taken;
  return replaced;
}

bool WriteFileDurably(const std::string& target, const std::string& content, std::string* error) {
  // "<name>.part<pid>-<n>": killed writers of this target leave such files; clear them out first.
  const std::string prefix = BaseName(target) + ".part";
  RemoveAbandonedFiles(FolderOf(target), [&prefix](const std::string& name) {
    if (name.compare(0, prefix.size(), prefix) != 0) return false;
    const std::string rest = name.substr(prefix.size());
    const size_t dash = rest.find('-');
    return dash != std::string::npos && AllDigits(rest.substr(0, dash)) && AllDigits(rest.substr(dash + 1));
  });

  std::string base = target + ".part" + std::to_string(getpid()) + "-";
  for (int n = 1; n < 1000; ++n) {
    std::string temp = base + std::to_string(n);
    if (GetFileAttributes(temp).exists) continue;
    return ReplaceFileDurably(temp, target, content, error);
  }
  return Fail(error, "create", base + "*", EEXIST);
}

bool RemoveAbandonedFile(const std::string& path) {
  Fd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (fd.get() < 0) return false;
  struct stat opened, named;
  if (fstat(fd.get(), &opened) != 0 || !S_ISREG(opened.st_mode)) return false;
  // A live writer holds the lock until its rename.
  if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) return false;
  // The name must still be the file that is now locked: its writer may have renamed it away meanwhile and
  // another writer given the name to a new file. While the lock is held, nobody else can take this name.
  if (lstat(path.c_str(), &named) != 0 || !SameFile(opened, named)) return false;
  return unlink(path.c_str()) == 0;
}

void RemoveAbandonedFiles(const std::string& folder,
                          const std::function<bool(const std::string& name)>& is_temporary_name) {
  // Every save runs this, in whatever folder the user saves into: only the names are looked at, so a large
  // folder costs no stat per file. RemoveAbandonedFile refuses whatever is not a regular file.
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return;
  std::vector<std::string> names;
  while (dirent* entry = readdir(dir)) {
    if (is_temporary_name(entry->d_name)) names.push_back(entry->d_name);
  }
  closedir(dir);
  for (const std::string& name : names) RemoveAbandonedFile(Join(folder, name));
}

void SetUnnamedTempFiles(bool allowed) {
  g_unnamed_temp_files = allowed;
}

std::string MakeUniqueDirectory(const std::string& parent, const std::string& prefix, std::string* error) {
  std::string templ = Join(parent, prefix + "XXXXXX");
  std::vector<char> buffer(templ.begin(), templ.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) == nullptr) {
    Fail(error, "mkdtemp", templ, errno);
    return {};
  }
  return std::string(buffer.data());
}

}  // namespace platform
