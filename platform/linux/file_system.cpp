#include "platform/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/linux/file_internal.h"
#include "platform/paths.h"
#include "platform/system_error.h"

namespace platform {
namespace {

bool StatOf(const std::string& path, struct stat& st) {
  return stat(path.c_str(), &st) == 0;
}

}  // namespace

bool Fail(std::string* error, const char* what, const std::string& path, int code) {
  if (error != nullptr) *error = std::string(what) + " " + path + " - " + GetSystemErrorText(code);
  return false;
}

bool WriteAll(int fd, const std::string& content) {
  size_t done = 0;
  while (done < content.size()) {
    const ssize_t n = write(fd, content.data() + done, content.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

std::string FolderOf(const std::string& path) {
  std::string folder = DirName(path);
  return folder.empty() ? "." : folder;
}

int ReadContent(const std::string& path, std::string& content) {
  content.clear();
  Fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return errno;
  char buffer[65536];
  for (;;) {
    ssize_t n = read(fd.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      content.clear();
      return errno;
    }
    if (n == 0) return 0;
    content.append(buffer, static_cast<size_t>(n));
  }
}

bool ReadWholeFile(const std::string& path, std::string& content, std::string* error) {
  const int code = ReadContent(path, content);
  return code == 0 || Fail(error, "read", path, code);
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

int MakeFolders(const std::string& path) {
  if (path.empty() || DirectoryExists(path)) return 0;
  // Create each missing prefix in turn; a parallel creator winning the race (EEXIST) is fine.
  size_t pos = 0;
  for (;;) {
    pos = path.find('/', pos + 1);
    std::string prefix = path.substr(0, pos);
    if (!prefix.empty() && mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) return errno;
    if (pos == std::string::npos) break;
  }
  return DirectoryExists(path) ? 0 : ENOTDIR;
}

bool MakeDirectories(const std::string& path, std::string* error) {
  const int code = MakeFolders(path);
  return code == 0 || Fail(error, "mkdir", path, code);
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
