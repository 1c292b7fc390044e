#include "platform/linux/open_failure.h"

#include <cerrno>

#include "platform/system_error.h"

namespace platform {

PortFailure PortFailureOf(int error) {
  switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case ECONNREFUSED:  // a socket file whose emulator has ended
      return PortFailure::kNotPresent;
    case EACCES:
    case EPERM:
      return PortFailure::kNoPermission;
    case EBUSY:
    case EWOULDBLOCK:
      return PortFailure::kInUse;
    default:
      return PortFailure::kOther;
  }
}

std::string SystemText(int error) {
  const std::string text = GetSystemErrorText(error);
  return text.empty() ? "error " + std::to_string(error) : text;
}

}  // namespace platform
