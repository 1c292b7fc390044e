// A program that rewrites the per-user settings, AliasName.ini and a .cfg register file through the
// program's own save paths is killed at random moments of its save loop, again and again. After every kill
// each file must read as the old or the new version, byte for byte, and a temporary file may only be one
// that the killed save left; the next save of that file must clear it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/file_system.h"
#include "platform/paths.h"
#include "registers/clsINIFile.h"
#include "registers/clsRegisters.h"
#include "tests/programs/rewrite_versions.h"
#include "tests/support/child_process.h"
#include "tests/support/program_folder.h"
#include "tests/support/temp_dir.h"

namespace {

namespace rv = rewrite_versions;
using test_support::ChildProcess;
using test_support::ScopedEnv;
using test_support::TempDir;

char Other(char version) {
  return version == 'A' ? 'B' : 'A';
}

// One of the three files, alone in its folder.
struct Watched {
  std::string name;  // as the rewriting program logs it
  std::string folder;
  std::string file;
  std::function<bool(char)> save;
  // Whether the file, known to hold `version`, reads as that version through the program's readers.
  std::function<bool(const std::string& path, char version)> reads_as;
  std::string text[2];  // versions A and B as the save path writes them
  char on_disk = 'A';

  std::string Path() const { return folder + "/" + file; }
  std::string OnlyTempName() const { return clsINIFile::TempFileName(Path(), 1); }
};

// What the killed program's log says about one file.
struct LogState {
  char finished = 0;     // version of the last save that ended
  char interrupted = 0;  // version of the save under way at the kill
};

// False when the log reports a save that failed.
bool ReadLog(const std::string& path, std::map<std::string, LogState>& states) {
  std::vector<std::string> lines;
  platform::ReadLines(path, lines);
  std::string current;
  for (const std::string& line : lines) {
    if (line == "failed") return false;
    if (line == "done") {
      states[current].finished = states[current].interrupted;
      states[current].interrupted = 0;
    } else if (line.size() > 2) {
      current = line.substr(0, line.size() - 2);
      states[current].interrupted = line.back();
    }
  }
  return true;
}

class CrashSafety : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(platform::MakeDirectories(root.File("program")));
    ASSERT_TRUE(platform::MakeDirectories(root.File("files")));
    root.WriteFile("program/AliasName.ini", rv::kAliasSeed);
    files = {
        {"settings",
         root.File("config/zk4100_MSR"),
         "settings.ini",
         [this](char v) { return writer.Settings(v); },
         [](const std::string& path, char v) {
           return clsINIFile(path).GetKeyValue("Port", "", "COMM") == rv::Port(v);
         },
         {}},
        {"alias",
         root.File("program"),
         "AliasName.ini",
         [this](char v) { return writer.AliasFile(v); },
         [](const std::string& path, char v) {
           return clsINIFile(path).GetKeyValue("Alias1", "", rv::kModel) == rv::Alias(v);
         },
         {}},
        {"cfg",
         root.File("files"),
         "reader.cfg",
         [this](char v) { return writer.Cfg(v); },
         [](const std::string& path, char v) {
           clsRegisters set;
           register_files::InfoFileFields fields;
           return register_files::OpenInfoFile(path, set, &fields) && set.Registers() == rv::Image(v) &&
                  fields.module == rv::Module(v) && fields.alias == (v == 'A' ? rv::Alias(v) : "");
         },
         {}},
    };
    // The versions as the save paths write them; A stays on disk to start from.
    for (char version : {'B', 'A'}) {
      for (Watched& f : files) {
        ASSERT_TRUE(f.save(version)) << f.name;
        ASSERT_TRUE(platform::ReadWholeFile(f.Path(), f.text[version - 'A'])) << f.name;
        ASSERT_TRUE(f.reads_as(f.Path(), version)) << f.name;
      }
    }
  }

  // The program starts each file on the version that it does not hold, so every save changes its file.
  std::vector<std::string> Arguments() const {
    std::string first;
    for (const Watched& f : files) first += Other(f.on_disk);
    std::vector<std::string> argv = {helper, root.File("files/reader.cfg"), first};
    if (named) argv.push_back("--named");
    return argv;
  }

  // Microseconds of one round of saves, between the program's reports of its first and second rounds.
  int64_t RoundMicros() {
    ChildProcess child(Arguments(), log, true);
    EXPECT_TRUE(child.WaitReport()) << "no round of saves ended";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(child.WaitReport()) << "no second round of saves ended";
    const auto took = std::chrono::steady_clock::now() - start;
    child.Kill();
    // The kill may have cut into the next round: put version A back.
    for (Watched& f : files) {
      if (!f.save('B') || !f.save('A')) ADD_FAILURE() << f.name;
    }
    return std::chrono::duration_cast<std::chrono::microseconds>(took).count();
  }

  void KillAtRandom(int iterations) {
    const char* fixed = std::getenv("MSR_CRASH_SEED");
    const unsigned seed = fixed != nullptr ? std::stoul(fixed) : std::random_device{}();
    SCOPED_TRACE("MSR_CRASH_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    // Kills are timed from the end of the program's first round, when its loop runs, however long a busy
    // machine took to start it; any moment of a round is then inside a save or between two. A slow disk
    // makes rounds long; the cap keeps the test short.
    std::uniform_int_distribution<int64_t> wait_us(0, std::min<int64_t>(RoundMicros(), 40000));

    int interrupted = 0;
    int changed = 0;
    int temps_seen = 0;
    for (int kill = 0; kill < iterations; ++kill) {
      ChildProcess child(Arguments(), log, true);
      ASSERT_TRUE(child.WaitReport()) << "the rewriting program ended no round of saves";
      std::this_thread::sleep_for(std::chrono::microseconds(wait_us(random)));
      ASSERT_TRUE(child.Kill()) << "the rewriting program ended by itself";
      std::map<std::string, LogState> states;
      ASSERT_TRUE(ReadLog(log, states)) << "a save failed before kill " << kill;

      bool any_interrupted = false;
      bool any_changed = false;
      for (Watched& f : files) {
        const LogState state = states[f.name];
        any_interrupted = any_interrupted || state.interrupted != 0;
        std::string content;
        ASSERT_TRUE(platform::ReadWholeFile(f.Path(), content)) << f.file << " is gone after kill " << kill;
        const char now = content == f.text[0] ? 'A' : content == f.text[1] ? 'B' : 0;
        ASSERT_NE(now, 0) << f.file << " holds neither version after kill " << kill << ":\n" << content;
        const char before = state.finished ? state.finished : f.on_disk;
        if (state.interrupted) {
          EXPECT_TRUE(now == before || now == state.interrupted) << f.file << " after kill " << kill;
        } else {
          EXPECT_EQ(now, before) << f.file << " after kill " << kill;
        }
        any_changed = any_changed || now != f.on_disk;
        f.on_disk = now;

        // Only the interrupted save's temporary file may be left, and it takes the first name because every
        // save clears the abandoned ones before it picks a name. A save that ended cleared it.
        for (const std::string& name : platform::ListDirectory(f.folder, "*")) {
          if (name == f.file) continue;
          ++temps_seen;
          EXPECT_EQ(platform::Join(f.folder, name), f.OnlyTempName()) << "after kill " << kill;
          EXPECT_TRUE(state.interrupted || !state.finished)
              << name << " outlived a complete save of " << f.file << " before kill " << kill;
        }
      }
      interrupted += any_interrupted ? 1 : 0;
      changed += any_changed ? 1 : 0;
      if (HasFailure()) return;
    }

    // One complete save of each file clears what the last kill left.
    for (Watched& f : files) {
      ASSERT_TRUE(f.save(Other(f.on_disk))) << f.name;
      EXPECT_EQ(platform::ListDirectory(f.folder, "*"), std::vector<std::string>{f.file});
    }
    std::cout << iterations << " kills: " << interrupted << " in the middle of a save, " << changed
              << " after a file changed; " << temps_seen << " temporary files found after a kill\n";
    // The loop is nearly all saves: kills that miss them would mean the timing is off.
    EXPECT_GE(interrupted, iterations / 2);
  }

  // Where CTest puts the test programs; computed before MSRCFG_HOME moves the program folder.
  const std::string helper = test_support::BuildDir() + "/tests/msr_rewrite_loop";
  TempDir root{"crash"};
  ScopedEnv program_home{"MSRCFG_HOME", root.File("program")};
  ScopedEnv config_home{"XDG_CONFIG_HOME", root.File("config")};
  const std::string log = root.File("log.txt");
  rv::Writer writer{root.File("files/reader.cfg")};
  std::vector<Watched> files;
  bool named = false;
};

TEST_F(CrashSafety, KilledSavesLeaveOldOrNewFilesAndNoTemporaryFiles) {
  KillAtRandom(200);
}

// File systems without unnamed files: the temporary file is half-written while the save runs.
TEST_F(CrashSafety, KilledSavesThroughNamedTemporaryFilesLeaveNoJunk) {
  named = true;
  KillAtRandom(100);
}

}  // namespace
