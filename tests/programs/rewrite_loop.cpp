// Rewrites the settings, alias and register files through the program's save paths, each file alternating
// between versions A and B, until it is killed. Before each save it prints "<file> <version>", after it
// "done" (or "failed"), flushed at once, so whoever kills it can tell which save the kill interrupted.
//
//   msr_rewrite_loop <cfg path> <first versions of settings, alias and cfg: three of A or B> [--named]
//                    [--report-fd=<n>]
//
// Each save changes its file: the alias dialog writes nothing when the name stays the same.
//
// The program and settings folders come from MSRCFG_HOME and XDG_CONFIG_HOME. --named writes every
// temporary file under its name from the start, the way of file systems without unnamed files.
// --report-fd writes one byte to descriptor <n> at the end of each of the first two rounds of saves, so
// that whoever kills the program knows when its loop runs, and how long one round takes.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <utility>

#include "platform/fd_io.h"
#include "platform/file_system.h"
#include "tests/programs/rewrite_versions.h"

namespace {

void Save(const char* file, char version, const std::function<bool(char)>& save) {
  std::printf("%s %c\n", file, version);
  std::fflush(stdout);
  std::printf(save(version) ? "done\n" : "failed\n");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || std::strlen(argv[2]) != 3 || std::strspn(argv[2], "AB") != 3) {
    std::fprintf(stderr, "usage: msr_rewrite_loop <cfg path> <three of A|B> [--named] [--report-fd=<n>]\n");
    return 2;
  }
  int report_fd = -1;
  for (int i = 3; i < argc; ++i) {
    if (std::strcmp(argv[i], "--named") == 0) platform::SetUnnamedTempFiles(false);
    if (std::strncmp(argv[i], "--report-fd=", 12) == 0) report_fd = std::atoi(argv[i] + 12);
  }
  rewrite_versions::Writer writer(argv[1]);
  char settings = argv[2][0], alias = argv[2][1], cfg = argv[2][2];
  auto next = [](char& version) { return std::exchange(version, version == 'A' ? 'B' : 'A'); };
  for (int round = 1;; ++round) {
    Save("settings", next(settings), [&](char v) { return writer.Settings(v); });
    Save("alias", next(alias), [&](char v) { return writer.AliasFile(v); });
    Save("cfg", next(cfg), [&](char v) { return writer.Cfg(v); });
    const uint8_t byte = 1;
    if (round <= 2 && report_fd >= 0) platform::WriteFd(report_fd, &byte, 1);
  }
}
