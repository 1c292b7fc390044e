// Saves keys into the per-user settings file as the program's settings helpers do, one save per key, so
// that a test can run two of it at once against one file:
//
//   msr_save_keys <section> <key prefix> <count> [--named]
//
// writes "<prefix>0 = 0" to "<prefix><count - 1> = <count - 1>" into <section> of the settings file that
// XDG_CONFIG_HOME leads to. Exit code 0 when every save succeeded. --named writes every temporary file
// under its name from the start, the way of file systems without unnamed files.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/file_system.h"
#include "registers/user_settings.h"

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: msr_save_keys <section> <key prefix> <count> [--named]\n");
    return 2;
  }
  if (argc > 4 && std::strcmp(argv[4], "--named") == 0) platform::SetUnnamedTempFiles(false);
  const int count = std::atoi(argv[3]);
  int failed = 0;
  for (int i = 0; i < count; ++i) {
    std::string error;
    if (!ChangeUserSettings({{argv[1], argv[2] + std::to_string(i), std::to_string(i)}}, &error)) {
      std::fprintf(stderr, "%s\n", error.c_str());
      ++failed;
    }
  }
  return failed == 0 ? 0 : 1;
}
