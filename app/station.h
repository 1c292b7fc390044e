#pragma once
// The production station: msrcfg --station --write-file FILE (or --write-default) [--ports LIST]
// [--trace FILE] [--verbose]. It runs until Ctrl-C or SIGTERM and writes the file into every reader that
// appears on a watched port, each port in a worker process of its own (station_worker.h), so that every
// port works at once and a slow or faulty reader never delays another. For each reader it prints one
// result line (with --verbose also the job's steps), appends its row to the trace file first when there
// is one, and at the end a summary of the readers by result code.
//
// Exit status: 0 when every reader ended with 0 (also when none came); 7 when at least one ended with
// another code or was cancelled; 8 when a row could not be added to the trace file; 255 when the station
// could not start (a file that cannot be read, a trace file that cannot be written, a bad command line).

#include "app/console_command_line.h"

inline constexpr int kStationSomeReaderFailed = 7;

int RunStation(const ConsoleRequest& request);
