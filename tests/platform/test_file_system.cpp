// Files, folders and paths: the durable replace, directory listing and the program's folders.

#include "platform/file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/paths.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::ScopedEnv;
using test_support::TempDir;

TEST(FileSystem, DurableReplaceKeepsModeAndNeverReusesATakenTemporaryName) {
  TempDir dir;
  std::string target = dir.WriteFile("t.ini", "old");
  ASSERT_EQ(chmod(target.c_str(), 0600), 0);
  ASSERT_TRUE(platform::ReplaceFileDurably(dir.File("t.tmp"), target, "new"));
  EXPECT_EQ(dir.ReadFile("t.ini"), "new");
  struct stat st;
  ASSERT_EQ(stat(target.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);

  dir.WriteFile("t.tmp", "someone else's");
  std::string error;
  EXPECT_FALSE(platform::ReplaceFileDurably(dir.File("t.tmp"), target, "newer", &error));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(dir.ReadFile("t.tmp"), "someone else's");
  EXPECT_EQ(dir.ReadFile("t.ini"), "new");

  ASSERT_TRUE(platform::WriteFileDurably(target, "third"));
  EXPECT_EQ(dir.List(), (std::vector<std::string>{"t.ini", "t.tmp"}));
}

TEST(FileSystem, FoldersAreMadeListedAndRemoved) {
  TempDir dir;
  ASSERT_TRUE(platform::MakeDirectories(dir.File("a/b/c")));
  EXPECT_TRUE(platform::DirectoryExists(dir.File("a/b/c")));
  dir.WriteFile("a/Skin1.SO", "");
  dir.WriteFile("a/skin2.so", "");
  dir.WriteFile("a/notes.txt", "");
  ASSERT_TRUE(platform::MakeDirectories(dir.File("a/dir.so")));
  EXPECT_EQ(platform::ListDirectory(dir.File("a"), "*.so"),
            (std::vector<std::string>{"Skin1.SO", "skin2.so"}));
  EXPECT_TRUE(platform::ListDirectory(dir.File("missing"), "*").empty());
  EXPECT_FALSE(platform::MakeDirectories(dir.File("a/notes.txt/x")));

  ASSERT_TRUE(platform::RemoveTree(dir.File("a")));
  EXPECT_FALSE(platform::GetFileAttributes(dir.File("a")).exists);
  EXPECT_TRUE(platform::RemoveTree(dir.File("a")));  // already gone counts as removed
}

TEST(Paths, FoldersFollowTheEnvironment) {
  TempDir dir;
  {
    ScopedEnv home("MSRCFG_HOME", dir.path() + "/");
    EXPECT_EQ(platform::ProgramDir(), dir.path());
  }
  {
    ScopedEnv home("MSRCFG_HOME", "");
    EXPECT_TRUE(platform::FileExists(platform::Join(platform::ProgramDir(), "test_platform")));
  }
  ScopedEnv home("HOME", dir.path());
  {
    ScopedEnv xdg("XDG_CONFIG_HOME", "relative/ignored");
    EXPECT_EQ(platform::UserConfigDir(), dir.File(".config/zk4100_MSR"));
  }
  ScopedEnv xdg("XDG_CONFIG_HOME", dir.File("cfg"));
  EXPECT_EQ(platform::UserConfigDir(), dir.File("cfg/zk4100_MSR"));
  ASSERT_TRUE(platform::EnsureUserConfigDir());
  EXPECT_TRUE(platform::DirectoryExists(dir.File("cfg/zk4100_MSR")));

  EXPECT_EQ(platform::Join("/a/", "b"), "/a/b");
  EXPECT_EQ(platform::Join("/a", "/abs"), "/abs");
  EXPECT_EQ(platform::DirName("/x"), "/");
  EXPECT_EQ(platform::DirName("x"), "");
  EXPECT_EQ(platform::BaseName("/a/b.ini"), "b.ini");
}

}  // namespace
