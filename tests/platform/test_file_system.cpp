// Files, folders and paths: the durable replace and the clearing of abandoned temporary files, directory
// listing and the program's folders.

#include "platform/file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>

#include "platform/paths.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::ScopedEnv;
using test_support::TempDir;

// Both ways of the durable replace: through an unnamed file, and named from the start as on file systems
// without unnamed files.
class DurableReplace : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { platform::SetUnnamedTempFiles(GetParam()); }
  void TearDown() override { platform::SetUnnamedTempFiles(true); }
  TempDir dir;
};
INSTANTIATE_TEST_SUITE_P(Unnamed, DurableReplace, ::testing::Values(true));
INSTANTIATE_TEST_SUITE_P(Named, DurableReplace, ::testing::Values(false));

TEST_P(DurableReplace, KeepsModeAndNeverReusesATakenTemporaryName) {
  std::string target = dir.WriteFile("t.ini", "old");
  ASSERT_EQ(chmod(target.c_str(), 0600), 0);
  ASSERT_TRUE(platform::ReplaceFileDurably(dir.File("t.tmp"), target, "new"));
  EXPECT_EQ(dir.ReadFile("t.ini"), "new");
  struct stat st;
  ASSERT_EQ(stat(target.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_EQ(dir.List(), std::vector<std::string>{"t.ini"});
  // The mark of the temporary file does not stay on the file it became.
  EXPECT_LT(getxattr(target.c_str(), platform::kTemporaryFileMark, nullptr, 0), 0);

  dir.WriteFile("t.tmp", "someone else's");
  std::string error;
  bool taken = false;
  EXPECT_FALSE(platform::ReplaceFileDurably(dir.File("t.tmp"), target, "newer", &error, &taken));
  EXPECT_TRUE(taken);
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(dir.ReadFile("t.tmp"), "someone else's");
  EXPECT_EQ(dir.ReadFile("t.ini"), "new");

  // A failure of another kind is no taken name, and leaves nothing behind.
  taken = true;
  EXPECT_FALSE(
      platform::ReplaceFileDurably(dir.File("gone/t.tmp"), dir.File("gone/t.ini"), "x", &error, &taken));
  EXPECT_FALSE(taken);

  ASSERT_TRUE(platform::WriteFileDurably(target, "third"));
  EXPECT_EQ(dir.List(), (std::vector<std::string>{"t.ini", "t.tmp"}));

  // A new file gets what the umask leaves of 0666.
  const mode_t old_mask = umask(027);
  const bool written = platform::ReplaceFileDurably(dir.File("n.tmp"), dir.File("n.ini"), "new");
  umask(old_mask);
  ASSERT_TRUE(written);
  ASSERT_EQ(stat(dir.File("n.ini").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
}

// A writer that was killed leaves "<name>.part<pid>-<n>"; the next write of that name clears it, and
// only it (which files are abandoned at all is RemoveAbandonedFile's business, below).
TEST_P(DurableReplace, WriteClearsAbandonedPartFilesOfItsTargetOnly) {
  const std::vector<std::string> others = {"t.hex.part", "t.hex.part12", "t.hex.partial-1", "u.hex.part12-1"};
  for (const std::string& name : others) test_support::LeaveAbandonedTemporaryFile(dir.File(name));
  test_support::LeaveAbandonedTemporaryFile(dir.File("t.hex.part12-1"), ":1000");
  ASSERT_TRUE(platform::WriteFileDurably(dir.File("t.hex"), ":00000001FF"));
  std::vector<std::string> left = others;
  left.push_back("t.hex");
  std::sort(left.begin(), left.end());
  EXPECT_EQ(dir.List(), left);
  EXPECT_EQ(dir.ReadFile("t.hex"), ":00000001FF");
}

TEST(FileSystem, OnlyMarkedFilesThatNobodyHoldsAreRemovedAsAbandoned) {
  TempDir dir;
  const std::string live = dir.File("live.tmp");
  const std::string dead = dir.File("dead.tmp");
  test_support::LeaveAbandonedTemporaryFile(live);
  test_support::LeaveAbandonedTemporaryFile(dead);
  dir.WriteFile("users.tmp", "");
  // What a kill leaves of the named way in the moment before the mark: empty, with the sticky bit.
  const std::string fresh = dir.WriteFile("fresh.tmp", "");
  const std::string fresh_but_full = dir.WriteFile("full.tmp", "data");
  for (const std::string& path : {fresh, fresh_but_full}) ASSERT_EQ(chmod(path.c_str(), 01600), 0);
  ASSERT_TRUE(platform::MakeDirectories(dir.File("folder.tmp")));
  ASSERT_EQ(symlink(live.c_str(), dir.File("link.tmp").c_str()), 0);
  {
    test_support::HeldFileLock live_writer(live);
    EXPECT_FALSE(platform::RemoveAbandonedFile(live));
    EXPECT_TRUE(platform::RemoveAbandonedFile(dead));
    EXPECT_FALSE(platform::RemoveAbandonedFile(dead));
    EXPECT_TRUE(platform::RemoveAbandonedFile(fresh));
    for (const char* name : {"users.tmp", "full.tmp", "folder.tmp", "link.tmp"})
      EXPECT_FALSE(platform::RemoveAbandonedFile(dir.File(name))) << name;
  }
  EXPECT_EQ(dir.List(),
            (std::vector<std::string>{"folder.tmp", "full.tmp", "link.tmp", "live.tmp", "users.tmp"}));
  EXPECT_TRUE(platform::RemoveAbandonedFile(live));  // its writer is gone
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

// The build names the folders of an installation; only an executable in its program folder reads from them.
TEST(Paths, AnInstalledProgramReadsTheConfiguredFoldersAnyOtherItsOwn) {
  const std::string bin = MSR_INSTALL_FULL_BINDIR;
  const platform::ProgramFolders installed{MSR_INSTALL_FULL_DATADIR, MSR_INSTALL_FULL_SKINDIR, true};
  const struct {
    std::string executable_dir;
    platform::ProgramFolders expected;
  } cases[] = {
      {bin, installed},
      {bin + "/", installed},
      {bin + "/sub", {bin + "/sub", bin + "/sub/Skin", false}},
      {"/home/me/msrcfg/build/", {"/home/me/msrcfg/build", "/home/me/msrcfg/build/Skin", false}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(platform::ProgramFoldersOf(c.executable_dir), c.expected) << c.executable_dir;
}

TEST(Paths, FoldersFollowTheEnvironment) {
  TempDir dir;
  {
    ScopedEnv home("MSRCFG_HOME", dir.path() + "/");
    EXPECT_EQ(platform::ProgramDir(), dir.path());
    EXPECT_EQ(platform::CurrentProgramFolders(),
              (platform::ProgramFolders{dir.path(), dir.File("Skin"), false}));
  }
  {
    ScopedEnv home("MSRCFG_HOME", "");
    EXPECT_TRUE(platform::FileExists(platform::Join(platform::ProgramDir(), "test_platform")));
    EXPECT_EQ(platform::DataDir(), platform::ProgramDir());
    EXPECT_EQ(platform::SkinLibraryDir(), platform::ProgramDir() + "/Skin");
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
