#pragma once
// Plain descriptor I/O for code that drives a device or a pty itself (the emulator).
// Every call returns the count done, or a negative errno value; none of them blocks on a
// non-blocking descriptor.

#include <cstddef>
#include <cstdint>

namespace platform {

long ReadFd(int fd, uint8_t* buffer, size_t size);
long WriteFd(int fd, const uint8_t* data, size_t size);
void CloseFd(int fd);
// True for the result of a read or write on a non-blocking descriptor that had nothing to give or no room.
bool WouldBlock(long result);
// Waits until `fd` is readable or `timeout_ms` passed (negative: no limit). 1 readable, 0 time-out, <0 error.
int WaitReadable(int fd, int timeout_ms);

}  // namespace platform
