#pragma once
// Process signals for programs that run until they are told to stop (the reader emulator): a stop
// request becomes a readable descriptor that an event loop watches, so the program can undo what it set
// up (settings lines, open lines) instead of dying in the middle of it.

namespace platform {

// A descriptor that turns readable when SIGINT, SIGTERM or SIGHUP arrives. The handlers are installed on
// the first call; later calls return the same descriptor. -1 when it cannot be made.
int StopSignalFd();
// Consumes what is waiting on the descriptor; returns the last signal number that arrived, 0 for none.
int TakeStopSignal();

// Puts the default actions of SIGINT, SIGTERM and SIGHUP back: once a program has begun to stop, a second
// Ctrl-C ends it at once instead of waiting for it.
void RestoreDefaultStopSignals();

// Ignores SIGPIPE (whoever reads our standard output may go away; a write then fails instead of killing
// the process) and SIGTTIN (a program put in the background that reads its terminal gets an error
// instead of being stopped).
void IgnorePipeAndBackgroundReadSignals();

}  // namespace platform
