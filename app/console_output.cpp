#include "app/console_output.h"

#include "platform/console.h"

ConsoleOutput::ConsoleOutput(bool quiet)
    : ConsoleOutput(
          [](const std::string& text) {
            platform::WriteStandardStream(platform::StandardStream::kOutput, text);
          },
          [](const std::string& text) {
            platform::WriteStandardStream(platform::StandardStream::kError, text);
          },
          platform::IsTerminal(platform::StandardStream::kError), quiet) {}

ConsoleOutput::ConsoleOutput(Sink lines, Sink progress, bool progress_on_terminal, bool quiet)
    : lines_(std::move(lines)),
      progress_(std::move(progress)),
      on_terminal_(progress_on_terminal),
      quiet_(quiet) {}

ConsoleOutput::~ConsoleOutput() {
  EndProgress();
}

void ConsoleOutput::Line(const std::string& text) {
  // Standard output and standard error often share one terminal: a step line must not land in the middle
  // of a progress line.
  EndProgress();
  lines_(text + "\n");
}

void ConsoleOutput::Progress(const std::string& text) {
  if (quiet_) return;
  if (!on_terminal_) {
    progress_(text + "\n");
    return;
  }
  // Blanks over what a longer text before left standing.
  std::string shown = "\r" + text;
  if (text.size() < shown_) shown += std::string(shown_ - text.size(), ' ');
  progress_(shown);
  shown_ = text.size();
}

void ConsoleOutput::EndProgress() {
  if (shown_ == 0) return;
  progress_("\r" + std::string(shown_, ' ') + "\r");
  shown_ = 0;
}

void ConsoleOutput::Note(const std::string& text) {
  EndProgress();
  progress_("msrcfg: " + text + "\n");
}
