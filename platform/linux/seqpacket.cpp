#include "platform/seqpacket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/system_error.h"

namespace platform {
namespace {

// sockaddr_un holds a path of at most 107 bytes; a longer one would be cut and name another file.
bool MakeAddress(const std::string& path, sockaddr_un& address) {
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return true;
}

}  // namespace

bool IsSocketFile(const std::string& path) {
  // Links followed: a user may name the socket through a link, and connect follows it too.
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode);
}

void RemoveSocketFile(const std::string& path) {
  // Not through a link: only the socket itself is ours to remove.
  struct stat info {};
  if (lstat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode)) unlink(path.c_str());
}

int ListenSeqpacket(const std::string& path, std::string& error) {
  sockaddr_un address;
  if (!MakeAddress(path, address)) {
    error = "socket path is empty or longer than 107 bytes: " + path;
    return -1;
  }
  // A socket file outlives the program that made it; one left behind by an emulator that was killed
  // would make the bind fail for good. One that still answers belongs to a running emulator, whose
  // clients would silently reach us instead.
  const int probe = ConnectSeqpacket(path);
  if (probe >= 0) {
    close(probe);
    error = path + " - a running program listens there";
    return -1;
  }
  if (probe == -ECONNREFUSED) RemoveSocketFile(path);
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    error = "socket - " + GetSystemErrorText(errno);
    return -1;
  }
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(fd, 4) != 0) {
    error = path + " - " + GetSystemErrorText(errno);
    close(fd);
    return -1;
  }
  return fd;
}

int AcceptSeqpacket(int listen_fd) {
  const int fd = accept4(listen_fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  return fd >= 0 ? fd : -(errno == EWOULDBLOCK ? EAGAIN : errno);
}

int ConnectSeqpacket(const std::string& path) {
  sockaddr_un address;
  if (!MakeAddress(path, address)) return -ENAMETOOLONG;
  const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return -errno;
  // A Unix socket connects at once or not at all; there is no connection in progress to wait for.
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int code = errno;
    close(fd);
    return -code;
  }
  return fd;
}

}  // namespace platform
