#pragma once
// The one place where operating-system error codes become text.

#include <string>

namespace platform {

// The system's message for `code` followed by "(0x", the code in upper-case hexadecimal, ")";
// an empty text when the system has no message for the code.
std::string GetSystemErrorText(int code);

// The error code of the last failed system call on this thread.
int LastSystemError();

}  // namespace platform
