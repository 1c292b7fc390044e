#pragma once
// Unix sockets of type seqpacket: one packet per write and per read, with its bounds kept. An emulated HID
// bridge listens on one, and the configuration utility talks to it exactly as to a hidraw node, where one
// read gives one input report and one write sends one output report.

#include <string>

namespace platform {

// A listening socket bound to `path`. A stale socket file left there is replaced; any other file, or a
// socket that a running program still listens on, is not.
// Non-blocking. Returns the descriptor, or -1 with a message in `error`.
int ListenSeqpacket(const std::string& path, std::string& error);
// The next waiting connection on `listen_fd`, non-blocking; a negative errno value when there is none:
// -EAGAIN when none waits, another value when the system cannot take one now (out of descriptors).
int AcceptSeqpacket(int listen_fd);
// Connects to the socket at `path`, non-blocking. Returns the descriptor, or a negative errno value.
int ConnectSeqpacket(const std::string& path);
// True when `path` names a socket file (an emulated bridge), directly or through links; false for anything
// else or nothing.
bool IsSocketFile(const std::string& path);
// Removes the socket file at `path`, only when it still is a socket.
void RemoveSocketFile(const std::string& path);

}  // namespace platform
