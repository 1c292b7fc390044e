#pragma once
// What a station's port worker tells the station: one line per message on the worker's standard output,
// a kind word and its fields separated by tabs. A tab, line break or backslash inside a field is written
// as "\t", "\n", "\r" or "\\", so no field can break a message apart.
//
//   found   version text, rate         a reader answered; its job starts
//   step    text                       a step line of the job
//   note    text                       a note for the person (why the port does not open, a rate followed)
//   result  the trace row's fields     the job ended; the row is the station's to keep
//   gone    why                        the reader written last went away

#include <string>
#include <vector>

#include "app/trace_log.h"

struct StationMessage {
  std::string kind;
  std::vector<std::string> fields;
};

inline constexpr const char* kStationFound = "found";
inline constexpr const char* kStationStep = "step";
inline constexpr const char* kStationNote = "note";
inline constexpr const char* kStationResult = "result";
inline constexpr const char* kStationGone = "gone";

// The message as one line, "\n" at its end.
std::string EncodeStationMessage(const StationMessage& message);
// A line without its "\n". False for an empty line.
bool DecodeStationMessage(const std::string& line, StationMessage& message);

// A result message carries a whole trace row.
StationMessage ResultMessage(const TraceRecord& record);
// False when the fields are not a trace row (a worker of another version).
bool RecordOfResult(const StationMessage& message, TraceRecord& record);
