#pragma once
// A file that several programs append rows to at once, such as the trace of a production run: each row
// lands whole, and a row reported as appended survives a crash.

#include <string>

namespace platform {

// Appends `record` (whole lines, each ending in "\n") to the file at `path`, creating it (mode 0644 less
// the umask; missing parent folders are not created) when missing. A file that is new or empty gets
// `header` (also whole lines) first, in the same write. The whole append happens under an exclusive flock
// on the file, as one write of header and record (repeated only for the rest of a short write), followed
// by fdatasync; a newly created file also gets its folder flushed.
// A torn tail, left by a writer killed in the middle of its write or by a power loss (the file does not
// end in "\n"), is cut back to just after its last "\n" before appending: that half row was never reported
// as written. A file that holds nothing but a beginning of `header` was torn in its first write and is
// started afresh. Any other file without a "\n" in its last 64 KiB does not end in rows (a stranger's
// file, given by mistake) and is refused, left as it is, rather than cut; so is anything but a regular file.
// An empty `record` only prepares the file: it is created, given its header and its tail is repaired.
// False with the step, the path and the system's message in `error` on any failure; the file is then as
// it was, or cut back to whole rows (a file this call created may stay, empty).
bool AppendRecord(const std::string& path, const std::string& header, const std::string& record,
                  std::string* error = nullptr);

// The machine's host name, "" when unknown.
std::string HostName();

}  // namespace platform
