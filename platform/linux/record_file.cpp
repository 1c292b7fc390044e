// Appending rows under a lock, and repairing what a killed writer left at the end of the file.
#include "platform/record_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "platform/linux/file_internal.h"
#include "platform/system_error.h"

namespace platform {
namespace {

// No row comes near this length. A file whose last line break lies further back than this from its end
// does not end in a torn row but is something else, and is not cut.
constexpr off_t kLongestTornTail = 64 * 1024;

// A file that this call will not touch; the system has no message for why.
bool Refuse(std::string* error, const std::string& path, const char* why) {
  if (error != nullptr) *error = "append " + path + " - " + why + ", left as it is";
  return false;
}

// Reads `size` bytes at `offset`; 0 or the errno (EIO when the file is shorter than it said).
int ReadAt(int fd, off_t offset, size_t size, std::string& bytes) {
  bytes.assign(size, '\0');
  size_t done = 0;
  while (done < size) {
    const ssize_t n = pread(fd, bytes.data() + done, size - done, offset + static_cast<off_t>(done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return errno;
    if (n == 0) return EIO;
    done += static_cast<size_t>(n);
  }
  return 0;
}

// Where the whole rows of a file of `size` bytes end: just after its last "\n", or -1 when there is
// none within kLongestTornTail of its end. 0 or the errno of a failed read.
int WholeRowsEnd(int fd, off_t size, off_t& end) {
  end = -1;
  const off_t from = size > kLongestTornTail ? size - kLongestTornTail : 0;
  std::string tail;
  if (int code = ReadAt(fd, from, static_cast<size_t>(size - from), tail)) return code;
  const size_t newline = tail.rfind('\n');
  if (newline != std::string::npos) end = from + static_cast<off_t>(newline) + 1;
  return 0;
}

// Whether the whole file of `size` bytes is a beginning of `header`: the first write into the file was
// torn, and the file holds no row yet.
bool IsTornHeader(int fd, off_t size, const std::string& header) {
  if (size >= static_cast<off_t>(header.size())) return false;
  std::string content;
  return ReadAt(fd, 0, static_cast<size_t>(size), content) == 0 &&
         header.compare(0, content.size(), content) == 0;
}

// Takes back what a failed append put into the file. Should even this fail, the rows that got in stay
// as a torn tail, which the next writer cuts.
void CutBack(int fd, off_t rows_end) {
  while (ftruncate(fd, rows_end) != 0 && errno == EINTR) {
  }
}

// A new file's name is only on the disk once its folder is; 0 or the errno.
int SyncFolderOf(const std::string& path) {
  Fd dir(open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (dir.get() < 0 || fsync(dir.get()) != 0) return errno;
  return 0;
}

}  // namespace

bool AppendRecord(const std::string& path, const std::string& header, const std::string& record,
                  std::string* error) {
  // O_APPEND: each write lands at the end even if the lock is not honoured (NFS without lock support).
  Fd fd(open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0644));
  if (fd.get() < 0) return Fail(error, "open", path, errno);
  while (flock(fd.get(), LOCK_EX) != 0) {
    if (errno != EINTR) return Fail(error, "lock", path, errno);
  }
  struct stat st;
  if (fstat(fd.get(), &st) != 0) return Fail(error, "stat", path, errno);
  // A pipe or a device has no end to repair and cannot be cut back after a failed write.
  if (!S_ISREG(st.st_mode)) return Refuse(error, path, "not a regular file");

  // Everything up to `rows_end` is whole rows (or nothing); the rest is what a killed writer left.
  off_t rows_end = st.st_size;
  if (rows_end > 0) {
    if (IsTornHeader(fd.get(), st.st_size, header)) {
      rows_end = 0;
    } else {
      if (int code = WholeRowsEnd(fd.get(), st.st_size, rows_end)) return Fail(error, "read", path, code);
      // A file that does not end in rows is cut only where a row of ours was torn, never to nothing.
      if (rows_end < 0) return Refuse(error, path, "not a file of rows (no line break near its end)");
    }
  }
  if (rows_end != st.st_size && ftruncate(fd.get(), rows_end) != 0) {
    return Fail(error, "truncate", path, errno);
  }

  const std::string content = rows_end == 0 ? header + record : record;
  if (content.empty()) return true;
  // An empty file may be one that this or another writer has just created.
  if (rows_end == 0) {
    if (int code = SyncFolderOf(path)) return Fail(error, "fsync", FolderOf(path), code);
  }
  // One write, so that a reader without the lock (or a writer that ignores it) never sees rows mixed. A
  // failed write or flush takes back whatever part of the rows got in: they are not reported as written.
  if (!WriteAll(fd.get(), content)) {
    const int code = errno;
    CutBack(fd.get(), rows_end);
    return Fail(error, "write", path, code);
  }
  if (fdatasync(fd.get()) != 0) {
    const int code = errno;
    CutBack(fd.get(), rows_end);
    return Fail(error, "fdatasync", path, code);
  }
  return true;
}

std::string HostName() {
  char name[HOST_NAME_MAX + 1] = {};
  // gethostname does not promise a terminating NUL when it has to cut the name.
  if (gethostname(name, sizeof name - 1) != 0) return {};
  return name;
}

}  // namespace platform
