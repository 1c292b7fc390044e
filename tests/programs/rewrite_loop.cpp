// Rewrites the settings, alias and register files through the program's save paths, each file alternating
// between versions A and B, until it is killed. Before each save it prints "<file> <version>", after it
// "done" (or "failed"), flushed at once, so whoever kills it can tell which save the kill interrupted.
//
//   msr_rewrite_loop <cfg path> <first versions of settings, alias and cfg: three of A or B> [--named]
//
// Each save changes its file: the alias dialog writes nothing when the name stays the same.
//
// The program and settings folders come from MSRCFG_HOME and XDG_CONFIG_HOME. --named writes every
// temporary file under its name from the start, the way of file systems without unnamed files.

#include <cstdio>
#include <cstring>
#include <functional>
#include <utility>

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
    std::fprintf(stderr, "usage: msr_rewrite_loop <cfg path> <three of A|B> [--named]\n");
    return 2;
  }
  if (argc > 3 && std::strcmp(argv[3], "--named") == 0) platform::SetUnnamedTempFiles(false);
  rewrite_versions::Writer writer(argv[1]);
  char settings = argv[2][0], alias = argv[2][1], cfg = argv[2][2];
  auto next = [](char& version) { return std::exchange(version, version == 'A' ? 'B' : 'A'); };
  for (;;) {
    Save("settings", next(settings), [&](char v) { return writer.Settings(v); });
    Save("alias", next(alias), [&](char v) { return writer.AliasFile(v); });
    Save("cfg", next(cfg), [&](char v) { return writer.Cfg(v); });
  }
}
