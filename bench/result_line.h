#pragma once
// The one line of a benchmark that bench/run reads, printed after the figures for people:
//
//   RESULT operation="256 GetRegister" time_ms=893.1 line_ms=1600.0 mandated_ms=0.0 ratio=0.558 note="..."
//
// time_ms is what was measured; line_ms what the bytes of both directions need on the line (10 bits a
// byte at 19200 baud, LineMs below); mandated_ms the time-outs and quiet periods the protocol itself imposes;
// ratio the benchmark's own comparison of the two. A row without a line time (PrintTimeResult) carries
// time_ms and the note only. Texts must not hold double quotes.

#include <cstdio>
#include <string>

namespace bench {

constexpr double kBaud = 19200;

// Milliseconds that `bytes` take on the line.
inline double LineMs(double bytes) {
  return bytes * 10.0 * 1000.0 / kBaud;
}

// A framed text on the line: STX, the text, CR.
inline double FrameBytes(const std::string& text) {
  return static_cast<double>(text.size()) + 2;
}

inline void PrintResult(const std::string& operation, double time_ms, double line_ms, double mandated_ms,
                        double ratio, const std::string& note = "") {
  std::printf("RESULT operation=\"%s\" time_ms=%.3f line_ms=%.3f mandated_ms=%.3f ratio=%.3f note=\"%s\"\n",
              operation.c_str(), time_ms, line_ms, mandated_ms, ratio, note.c_str());
  std::fflush(stdout);
}

// A time with nothing on a line to compare it with.
inline void PrintTimeResult(const std::string& operation, double time_ms, const std::string& note) {
  std::printf("RESULT operation=\"%s\" time_ms=%.4f note=\"%s\"\n", operation.c_str(), time_ms, note.c_str());
  std::fflush(stdout);
}

// The benchmarks against a paced emulated reader: its pty or its emulated bridge (`carrier`) hands each
// request over at once, so besides the ratio to both directions the one that tells is the ratio to the
// replies alone.
inline void PrintPacedResult(const std::string& operation, double time_ms, double line_ms, double reply_ms,
                             const std::string& carrier) {
  std::printf("  reply direction alone needs %.1f ms on the line: ratio %.3f\n", reply_ms,
              time_ms / reply_ms);
  char note[160];
  std::snprintf(note, sizeof note, "%s passes requests at once: the replies alone need %.1f ms, ratio %.3f",
                carrier.c_str(), reply_ms, time_ms / reply_ms);
  PrintResult(operation, time_ms, line_ms, 0, time_ms / line_ms, note);
}

}  // namespace bench
