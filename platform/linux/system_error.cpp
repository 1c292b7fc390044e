#include "platform/system_error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace platform {

std::string GetSystemErrorText(int code) {
  // glibc invents "Unknown error N" for codes it has no message for; strerrordesc_np tells them apart
  // (it returns null for those) without depending on the language of the message.
  if (strerrordesc_np(code) == nullptr) return {};

  char buffer[512] = {};
  // The GNU strerror_r: returns the message, which may or may not live in `buffer`.
  std::string text = strerror_r(code, buffer, sizeof buffer);
  if (text.empty()) return {};
  size_t end = text.size();
  while (end > 0 && (text[end - 1] == '\n' || text[end - 1] == '\r')) --end;
  // A text of nothing but line breaks is kept as it is rather than emptied.
  if (end > 0) text.resize(end);

  char suffix[16];
  std::snprintf(suffix, sizeof suffix, "(0x%X)", static_cast<unsigned>(code));
  return text + suffix;
}

int LastSystemError() {
  return errno;
}

}  // namespace platform
