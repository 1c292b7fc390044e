#pragma once
// What the console mode shows: its step lines on standard output, one per line, flushed as they happen,
// for the script that runs it; and a progress line on standard error during long steps, for the person
// watching. On a terminal the progress line is redrawn in place ("\r"); into a file or a pipe each
// progress text is a line of its own, so a log keeps it readable.
//
// Lines end in "\n" alone: the scripts that read them on Linux split lines at LF, and a CR left at the
// end of each line would make every comparison of a line fail.

#include <functional>
#include <string>

class ConsoleOutput {
 public:
  using Sink = std::function<void(const std::string&)>;

  // Standard output and standard error of the process.
  explicit ConsoleOutput(bool quiet);
  // For tests: where lines and progress go, and whether the progress sink is a terminal.
  ConsoleOutput(Sink lines, Sink progress, bool progress_on_terminal, bool quiet);
  ~ConsoleOutput();
  ConsoleOutput(const ConsoleOutput&) = delete;
  ConsoleOutput& operator=(const ConsoleOutput&) = delete;

  // One step line.
  void Line(const std::string& text);
  // The progress text of a long step; nothing when quiet.
  void Progress(const std::string& text);
  // A redrawn line costs nothing, a line in a log does: a step of many parts shows each of them only
  // on a terminal, and every tenth (with the first and the last) elsewhere.
  bool ShowsPart(int done, int total) const {
    return on_terminal_ || done == 1 || done % 10 == 0 || done == total;
  }
  // Takes a progress line off the terminal once the step is done.
  void EndProgress();
  // A note for the person on standard error ("msrcfg: " and the text), shown even when quiet.
  void Note(const std::string& text);

 private:
  Sink lines_;
  Sink progress_;
  bool on_terminal_;
  bool quiet_;
  // Length of the progress text standing on the terminal now; 0 when none.
  size_t shown_ = 0;
};
