#pragma once
// The one line of a benchmark that bench/run reads, printed after the figures for people:
//
//   RESULT operation="256 GetRegister" time_ms=893.1 line_ms=1600.0 mandated_ms=0.0 ratio=0.558 note="..."
//
// time_ms is what was measured; line_ms what the bytes of both directions need on the line (10 bits a
// byte at 19200 baud); mandated_ms the time-outs and quiet periods the protocol itself imposes; ratio the
// benchmark's own comparison of the two. Texts must not hold double quotes.

#include <cstdio>
#include <string>

namespace bench {

inline void PrintResult(const std::string& operation, double time_ms, double line_ms, double mandated_ms,
                        double ratio, const std::string& note = "") {
  std::printf("RESULT operation=\"%s\" time_ms=%.3f line_ms=%.3f mandated_ms=%.3f ratio=%.3f note=\"%s\"\n",
              operation.c_str(), time_ms, line_ms, mandated_ms, ratio, note.c_str());
  std::fflush(stdout);
}

}  // namespace bench
