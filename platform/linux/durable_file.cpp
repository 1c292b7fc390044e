// The durable replace, the locked rewrite built on it, and the removal of what killed writers left.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/file_system.h"
#include "platform/linux/file_internal.h"
#include "platform/paths.h"
#include "platform/system_error.h"
#include "platform/text.h"

namespace platform {
namespace {

// The step that failed, its path and the system's code: the public calls word it their own way.
struct Failure {
  const char* step = "";
  std::string path;
  int code = 0;
};

bool Failed(Failure& failure, const char* step, const std::string& path, int code) {
  failure = Failure{step, path, code};
  return false;
}

// Off only where tests ask for the named way.
bool g_unnamed_temp_files = true;

// The named way creates its file with the sticky bit, which means nothing on a regular file here and which
// nobody sets on one, and gives it its real bits only once the mark is on: what a kill leaves in between,
// an empty file of this mode, is then still known as ours.
constexpr mode_t kFreshNamedMode = S_ISVTX | 0600;

bool SameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The file a write through `path` replaces: the end of its chain of symbolic links, so that a link stays a
// link. A link that leads nowhere gets its file created.
std::string FinalTarget(const std::string& path) {
  std::string current = path;
  for (int hops = 0; hops < 40; ++hops) {  // the kernel's own limit for one path
    struct stat st;
    if (lstat(current.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return current;
    std::string link(static_cast<size_t>(st.st_size) + 1, '\0');
    ssize_t n = readlink(current.c_str(), link.data(), link.size());
    if (n <= 0) return current;
    link.resize(static_cast<size_t>(n));
    current = Join(DirName(current), link);  // Join keeps an absolute link as it is
  }
  return current;
}

// The permission bits that open(..., 0666) would give a new file. /proc tells the umask without changing
// it; umask() would change it for a moment in which other threads could create files with a wrong one.
mode_t NewFileMode() {
  std::string status;
  const size_t at =
      ReadContent("/proc/self/status", status) == 0 ? status.find("\nUmask:") : std::string::npos;
  if (at == std::string::npos) return 0644;
  return 0666 & ~static_cast<mode_t>(std::strtoul(status.c_str() + at + 7, nullptr, 8));
}

// The mark carries the temporary name, so a replaced file, which keeps it for a moment after its rename
// under another name, is never taken for a temporary file. A file system without extended attributes
// takes no mark: what a kill leaves there stays for good, since a file that may be the user's is never
// deleted on a guess.
void Mark(int fd, const std::string& temp_path) {
  const std::string name = BaseName(temp_path);
  fsetxattr(fd, kTemporaryFileMark, name.data(), name.size(), 0);
}

// Whether the file `fd`, found under `path`, is a temporary file that this program left there.
bool MarkedAs(int fd, const struct stat& st, const std::string& path) {
  const std::string name = BaseName(path);
  char value[256];
  const ssize_t n = fgetxattr(fd, kTemporaryFileMark, value, sizeof value);
  if (n >= 0) return name.compare(0, std::string::npos, value, static_cast<size_t>(n)) == 0;
  // The named way's file before its mark; only where the file system could have taken the mark.
  return errno == ENODATA && st.st_size == 0 && (st.st_mode & 07777) == kFreshNamedMode;
}

// Gives the new file its permission bits (when `mode` is given) and content and waits until both are on
// the disk. Returns the step that failed (errno tells why), or nullptr.
const char* FillAndSync(int fd, const mode_t* mode, const std::string& content) {
  if (mode != nullptr && fchmod(fd, *mode) != 0) return "chmod";
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

// A rename is only durable once the folder that holds the name has reached the disk too.
void SyncFolderOf(const std::string& path) {
  Fd dir(open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() >= 0) fsync(dir.get());
}

// The last step of both ways: the locked, complete, marked temporary file `fd` replaces the target. The
// caller keeps the descriptor (and so the lock) open until this has returned.
bool RenameOver(int fd, const std::string& temp_path, const std::string& target, Failure& failure) {
  if (rename(temp_path.c_str(), target.c_str()) != 0) {
    int code = errno;
    unlink(temp_path.c_str());
    return Failed(failure, "rename", temp_path, code);
  }
  fremovexattr(fd, kTemporaryFileMark);
  // The new content is in place; a failed folder flush only weakens the crash guarantee, so it is not
  // reported as a failed write.
  SyncFolderOf(target);
  return true;
}

// The way for file systems without unnamed files: the temporary name exists from the start, so a crash
// can leave it half-written; its lock and mark tell it as abandoned then.
bool ReplaceThroughNamedFile(const std::string& temp_path, const std::string& target,
                             const struct stat* replaced, const std::string& content, Failure& failure,
                             bool& name_taken) {
  // A cleaner that opened the fresh file in the moment before it was locked may take it for abandoned and
  // remove it; the name is then created again. A few rounds are plenty: the window is a few instructions.
  for (int round = 0; round < 3; ++round) {
    Fd fd(open(temp_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFreshNamedMode));
    if (fd.get() < 0) {
      name_taken = errno == EEXIST;
      return Failed(failure, "create", temp_path, errno);
    }
    flock(fd.get(), LOCK_EX);
    struct stat opened, named;
    if (fstat(fd.get(), &opened) != 0 || lstat(temp_path.c_str(), &named) != 0 || !SameFile(opened, named)) {
      continue;
    }
    Mark(fd.get(), temp_path);
    const mode_t mode = replaced != nullptr ? replaced->st_mode & 07777 : NewFileMode();
    if (const char* step = FillAndSync(fd.get(), &mode, content)) {
      int code = errno;
      unlink(temp_path.c_str());
      return Failed(failure, step, temp_path, code);
    }
    return RenameOver(fd.get(), temp_path, target, failure);
  }
  name_taken = true;
  return Failed(failure, "create", temp_path, EAGAIN);
}

bool ReplaceFile(const std::string& temp_path, const std::string& target, const std::string& content,
                 Failure& failure, bool& name_taken) {
  struct stat target_stat;
  const struct stat* replaced = stat(target.c_str(), &target_stat) == 0 ? &target_stat : nullptr;
  if (!g_unnamed_temp_files)
    return ReplaceThroughNamedFile(temp_path, target, replaced, content, failure, name_taken);

  // Written unnamed, the file cannot be seen half-written by anyone, nor left behind by a crash before it
  // is complete; it is marked before it has a name. Where the file system refuses, the named way runs and
  // reports any real problem.
  Fd fd(open(FolderOf(temp_path).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
  if (fd.get() < 0) return ReplaceThroughNamedFile(temp_path, target, replaced, content, failure, name_taken);
  Mark(fd.get(), temp_path);
  // Nobody else can reach the file yet; the lock goes with it when it gets its name.
  flock(fd.get(), LOCK_EX);
  const mode_t mode = replaced != nullptr ? replaced->st_mode & 07777 : 0;
  if (const char* step = FillAndSync(fd.get(), replaced != nullptr ? &mode : nullptr, content)) {
    return Failed(failure, step, temp_path, errno);
  }
  int code = NameUnnamedFile(fd.get(), temp_path);
  if (code == EEXIST) {
    name_taken = true;
    return Failed(failure, "create", temp_path, code);
  }
  if (code != 0) return ReplaceThroughNamedFile(temp_path, target, replaced, content, failure, name_taken);
  return RenameOver(fd.get(), temp_path, target, failure);
}

bool Rewrite(const std::string& path, const ContentChange& change, const TemporaryNames& names, bool& written,
             Failure& failure) {
  const std::string target = FinalTarget(path);
  const std::string folder = FolderOf(target);
  std::string new_content;
  if (!DirectoryExists(folder)) {
    // No folder, no file: a change that writes nothing into an empty file creates nothing either.
    if (!change("", new_content)) return true;
    if (int code = MakeFolders(folder)) return Failed(failure, "mkdir", folder, code);
  }
  // The folder, not the file, is locked: the rename puts a new file under the name, and a lock on the old
  // one would keep nobody out any more. Where the file system refuses locks on folders (NFS grants them
  // only to descriptors open for writing, which a folder cannot have) the rewrite runs unlocked, as it
  // always did, rather than not at all.
  Fd lock(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (lock.get() < 0) return Failed(failure, "open", folder, errno);
  while (flock(lock.get(), LOCK_EX) != 0 && errno == EINTR) {
  }

  std::string content;
  struct stat st;
  if (stat(target.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) return Failed(failure, "open", target, EISDIR);
    // No write bit at all means read-only even for root, who could write it: a shipped file stays as it is.
    if ((st.st_mode & 0222) == 0) return Failed(failure, "open", target, EACCES);
    if (access(target.c_str(), W_OK) != 0) return Failed(failure, "open", target, errno);
    if (int code = ReadContent(target, content)) return Failed(failure, "read", target, code);
  } else if (errno != ENOENT) {
    return Failed(failure, "stat", target, errno);
  }
  if (!change(content, new_content)) return true;

  const std::string own_name = BaseName(target);
  RemoveAbandonedFiles(
      folder, [&](const std::string& name) { return name != own_name && names.is_temporary(target, name); });
  for (int n = 1; n <= names.max_tries; ++n) {
    const std::string temp = names.name(target, n);
    struct stat existing;
    if (lstat(temp.c_str(), &existing) == 0) continue;
    bool taken = false;
    if (ReplaceFile(temp, target, new_content, failure, taken)) {
      written = true;
      return true;
    }
    // Another writer took this name between the check and the exclusive create: try the next one. Any
    // other failure ends the attempt.
    if (!taken) return false;
  }
  return Failed(failure, "create", names.name(target, names.max_tries), EEXIST);
}

}  // namespace

bool ReplaceFileDurably(const std::string& temp_path, const std::string& target, const std::string& content,
                        std::string* error, bool* name_taken) {
  Failure failure;
  bool taken = false;
  const bool replaced = ReplaceFile(temp_path, target, content, failure, taken);
  if (name_taken != nullptr) *name_taken = taken;
  return replaced || Fail(error, failure.step, failure.path, failure.code);
}

bool WriteFileDurably(const std::string& path, const std::string& content, std::string* error) {
  const std::string target = FinalTarget(path);
  // "<name>.part<pid>-<n>": killed writers of this target leave such files; clear them out first.
  const std::string prefix = BaseName(target) + ".part";
  RemoveAbandonedFiles(FolderOf(target), [&prefix](const std::string& name) {
    if (name.compare(0, prefix.size(), prefix) != 0) return false;
    const std::string rest = name.substr(prefix.size());
    const size_t dash = rest.find('-');
    return dash != std::string::npos && text::AllDigits(rest.substr(0, dash)) &&
           text::AllDigits(rest.substr(dash + 1));
  });

  std::string base = target + ".part" + std::to_string(getpid()) + "-";
  for (int n = 1; n < 1000; ++n) {
    std::string temp = base + std::to_string(n);
    if (GetFileAttributes(temp).exists) continue;
    return ReplaceFileDurably(temp, target, content, error);
  }
  return Fail(error, "create", base + "*", EEXIST);
}

bool RewriteFile(const std::string& path, const ContentChange& change, const TemporaryNames& names,
                 bool& written, std::string* reason) {
  written = false;
  Failure failure;
  if (Rewrite(path, change, names, written, failure)) return true;
  if (reason != nullptr) *reason = GetSystemErrorText(failure.code);
  return false;
}

bool RemoveAbandonedFile(const std::string& path) {
  Fd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat opened, named;
  if (fd.get() < 0 || fstat(fd.get(), &opened) != 0 || !S_ISREG(opened.st_mode) ||
      !MarkedAs(fd.get(), opened, path)) {
    return false;
  }
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

}  // namespace platform
