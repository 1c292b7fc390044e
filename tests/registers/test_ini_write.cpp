// Writing the INI dialect: where SetKeyValue puts a line, deletions, escapes on the way out, the rewrite
// through a temporary file, the clearing of abandoned ones, two programs rewriting one file, the reasons of
// failed writes, and a golden rewrite of a realistic file.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/file_system.h"
#include "platform/system_error.h"
#include "registers/clsINIFile.h"
#include "registers/user_settings.h"
#include "tests/registers/register_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/program_folder.h"

namespace {

using test_support::ScopedEnv;
using test_support::TempDir;

TEST(IniWrite, TabsAndLineBreaksAreEscapedButBackslashesAreNot) {
  TempDir dir;
  clsINIFile ini(dir.File("t.ini"));
  ASSERT_TRUE(ini.SetKeyValue("tab", "a\tb", "S"));
  ASSERT_TRUE(ini.SetKeyValue("path", "C:\\new\rx\ny", "S"));
  EXPECT_EQ(dir.ReadFile("t.ini"), "[S]\ntab = a\\tb\npath = C:\\new\\nx\\ny\n");
  EXPECT_EQ(ini.GetKeyValue("tab", "", "S"), "a\tb");
  // The backslash is not doubled, so "\n" that was text comes back as a line break.
  EXPECT_EQ(ini.GetKeyValue("path", "", "S"), "C:\r\new\r\nx\r\ny");
}

TEST(IniWrite, TheFirstOfTwoEqualKeysIsReplacedAndDeleted) {
  TempDir dir;
  clsINIFile ini(dir.WriteFile("s.ini", "[A]\nk = 1\nK = 2\n[B]\nk = 3\n"));
  ASSERT_TRUE(ini.SetKeyValue("k", "new", "a"));
  EXPECT_EQ(dir.ReadFile("s.ini"), "[A]\nk = new\nK = 2\n[B]\nk = 3\n");
  ASSERT_TRUE(ini.DeleteKey("K", "A"));
  EXPECT_EQ(ini.GetKeyValue("k", "", "A"), "2");
  EXPECT_FALSE(ini.DeleteKey("missing", "A"));
  EXPECT_FALSE(ini.DeleteSection("C"));
  EXPECT_EQ(dir.ReadFile("s.ini"), "[A]\nK = 2\n[B]\nk = 3\n");

  // Names that would not read back as the same key or section are refused, and the file is left alone.
  for (const char* key : {"a=b", "a\nb", "", "[x]"}) EXPECT_FALSE(ini.SetKeyValue(key, "v", "A")) << key;
  // So is a key line that would read back as a section header.
  EXPECT_FALSE(ini.SetKeyValue("[x", "a]b", "A"));
  EXPECT_FALSE(ini.SetKeyValue("k", "v", "A]x"));
  EXPECT_FALSE(ini.SetKeyValue("k", "v", ""));
  // One name that cannot be written refuses the whole set of changes.
  EXPECT_FALSE(ini.ChangeKeys({{"A", "fine", "1"}, {"A", "a=b", "2"}}));
  EXPECT_EQ(ini.LastError(), dir.File("s.ini") + ": \"a=b\" cannot be written as a key");
  EXPECT_EQ(dir.ReadFile("s.ini"), "[A]\nK = 2\n[B]\nk = 3\n");
}

TEST(IniWrite, RewritesClearOnlyTheProgramsAbandonedTemporaryFiles) {
  TempDir dir;
  clsINIFile ini(dir.File("x.ini"));
  // A live writer's x(1).tmp (it holds the lock) stays and the rewrite goes through x(2).tmp. Temporary
  // files that killed writers of x.ini, x.cfg or x(3).ini left (marked, nobody holds them) are cleared.
  // The user's own files stay: other names, names like ours without the mark, and a marked file that was
  // renamed, so that its mark names another file.
  const std::vector<std::string> others = {"x(1).tmp.bak", "x(a).tmp", "x().tmp",
                                           "xy(1).tmp",    "y(1).tmp", "x(9).tmp"};
  for (const std::string& name : others) dir.WriteFile(name, "");
  test_support::LeaveAbandonedTemporaryFile(dir.File("x(1).tmp"), "live");
  test_support::LeaveAbandonedTemporaryFile(dir.File("x(2).tmp"), "[S]\nhalf");
  test_support::LeaveAbandonedTemporaryFile(dir.File("x(4).tmp"));
  ASSERT_EQ(rename(dir.File("x(4).tmp").c_str(), dir.File("x(8).tmp").c_str()), 0);
  {
    test_support::HeldFileLock live_writer(dir.File("x(1).tmp"));
    ASSERT_TRUE(ini.SetKeyValue("k9", "v", "S"));
  }
  EXPECT_EQ(dir.ReadFile("x(1).tmp"), "live");
  std::vector<std::string> left = others;
  left.insert(left.end(), {"x(1).tmp", "x(8).tmp", "x.ini"});
  std::sort(left.begin(), left.end());
  EXPECT_EQ(dir.List(), left);
  EXPECT_EQ(ini.GetKeyValue("k9", "", "S"), "v");

  // Once its writer is gone, the next rewrite clears it too; a file named like a temporary one is never
  // taken for its own temporary file.
  clsINIFile look_alike(dir.WriteFile("x(5).tmp", "[S]\n"));
  ASSERT_TRUE(look_alike.SetKeyValue("k", "v", "S"));
  EXPECT_FALSE(platform::FileExists(dir.File("x(1).tmp")));
  EXPECT_EQ(dir.ReadFile("x(5).tmp"), "[S]\nk = v\n");
}

// The emulator adds its port while the window saves its settings: two programs each save their own keys
// into one settings file, with temporary files unnamed while they are written or named from the start.
// A rewrite that read the file before the other program's rename would drop that program's key.
TEST(IniWrite, TwoProgramsSavingIntoOneSettingsFileLoseNoKey) {
  constexpr int kSaves = 200;
  const std::string program = test_support::BuildDir() + "/tests/msr_save_keys";
  for (const char* way : {"--unnamed", "--named"}) {
    TempDir dir;
    ScopedEnv xdg("XDG_CONFIG_HOME", dir.path());
    {
      test_support::ChildProcess ports({program, "SerialPorts", "COM", std::to_string(kSaves), way});
      test_support::ChildProcess window({program, "COMM", "Key", std::to_string(kSaves), way});
      EXPECT_TRUE(ports.Finish()) << way;
      EXPECT_TRUE(window.Finish()) << way;
    }
    clsINIFile settings(UserSettingsPath());
    EXPECT_EQ(settings.EnumSectionKeys("SerialPorts").size(), size_t{kSaves}) << way;
    EXPECT_EQ(settings.EnumSectionKeys("COMM").size(), size_t{kSaves}) << way;
    EXPECT_EQ(platform::ListDirectory(dir.File("zk4100_MSR"), "*"), std::vector<std::string>{"settings.ini"});
  }
}

// A settings file that is a symbolic link into another folder stays a link; the file it leads to gets the
// change, and no temporary file is left in either folder.
TEST(IniWrite, ALinkStaysALinkAndItsFileIsRewritten) {
  TempDir dir;
  dir.WriteFile("real.ini", "[S]\nk = 1\n");
  ASSERT_TRUE(platform::MakeDirectories(dir.File("config")));
  ASSERT_EQ(symlink("../real.ini", dir.File("config/settings.ini").c_str()), 0);
  clsINIFile ini(dir.File("config/settings.ini"));
  ASSERT_TRUE(ini.SetKeyValue("k", "2", "S"));
  EXPECT_TRUE(std::filesystem::is_symlink(dir.File("config/settings.ini")));
  EXPECT_EQ(dir.ReadFile("real.ini"), "[S]\nk = 2\n");
  EXPECT_EQ(dir.List(), (std::vector<std::string>{"config", "real.ini"}));
  EXPECT_EQ(platform::ListDirectory(dir.File("config"), "*"), std::vector<std::string>{"settings.ini"});
}

// A write that cannot be made changes nothing and says why: a file without write bits (refused even for
// root, who could write it), a file where a folder should be, a folder where the file should be.
TEST(IniWrite, AWriteThatCannotBeMadeChangesNothingAndLastErrorSaysWhy) {
  TempDir dir;
  const std::string read_only = dir.WriteFile("r.ini", "[S]\nk = 1\n");
  ASSERT_EQ(chmod(read_only.c_str(), 0444), 0);
  ASSERT_TRUE(platform::MakeDirectories(dir.File("folder.ini")));
  const std::pair<std::string, int> cases[] = {
      {read_only, EACCES}, {dir.File("r.ini/x.ini"), ENOTDIR}, {dir.File("folder.ini"), EISDIR}};
  for (const auto& [path, code] : cases) {
    clsINIFile ini(path);
    EXPECT_FALSE(ini.SetKeyValue("k", "2", "S"));
    EXPECT_EQ(ini.LastError(), path + ": " + platform::GetSystemErrorText(code));
  }
  EXPECT_EQ(dir.ReadFile("r.ini"), "[S]\nk = 1\n");
  EXPECT_EQ(dir.List(), (std::vector<std::string>{"folder.ini", "r.ini"}));

  clsINIFile ini(read_only);
  EXPECT_TRUE(ini.FileAttributes().read_only);
  EXPECT_FALSE(ini.DeleteSection("S"));
  ASSERT_EQ(chmod(read_only.c_str(), 0644), 0);
  EXPECT_TRUE(ini.DeleteSection("S"));
  EXPECT_EQ(ini.LastError(), "");
}

TEST(IniWrite, MissingFilesAndFoldersAreCreatedByWritesOnly) {
  TempDir dir;
  clsINIFile ini(dir.File("a/b/new.ini"));
  ASSERT_TRUE(ini.SetKeyValue("Port", "COM3", "COMM"));
  EXPECT_EQ(dir.ReadFile("a/b/new.ini"), "[COMM]\nPort = COM3\n");

  clsINIFile empty(dir.File("c/f.ini"));
  ASSERT_TRUE(empty.CreateFile());
  EXPECT_EQ(dir.ReadFile("c/f.ini"), "");
  ASSERT_TRUE(empty.WriteLine("[S]"));
  ASSERT_TRUE(empty.WriteLine("k = a\tb"));
  ASSERT_TRUE(empty.CreateFile());  // an existing file is kept
  ASSERT_TRUE(empty.CopyFile(dir.File("copy.ini")));
  EXPECT_EQ(dir.ReadFile("copy.ini"), "[S]\nk = a\\tb\n");
}

// A hand-edited settings file brought over from Windows (CR LF, odd spacing, a ";" key, quotes, no final
// line break) goes through every kind of change. The expected result was read line by line once; it guards
// spacing, placement of new lines, escapes and line ends.
TEST(IniWrite, RewriteOfARealisticFileMatchesGolden) {
  TempDir dir;
  clsINIFile ini(dir.WriteFile("Trakset.ini", register_tests::Golden("rewrite_input.ini")));
  ASSERT_TRUE(ini.SetKeyValue("title", "Card Reader Setup", "general"));
  ASSERT_TRUE(ini.SetKeyValue("Baudrates", "19200,9600,4800", "General"));
  ASSERT_TRUE(ini.SetKeyValue("Banner", "line one\r\nline two\tend", "General"));
  ASSERT_TRUE(ini.SetKeyValue("SelectItem", "2", "KRD300/350"));
  ASSERT_TRUE(ini.SetKeyValue("Alias1", "Gate \"B\"", "KRD300/350"));
  ASSERT_TRUE(ini.DeleteKey("Alias0", "KRD300/350"));
  ASSERT_TRUE(ini.DeleteSection("Obsolete"));
  ASSERT_TRUE(ini.SetKeyValue("Port", "COM3", "COMM"));
  EXPECT_EQ(dir.ReadFile("Trakset.ini"), register_tests::Golden("rewrite_expected.ini"));
  EXPECT_EQ(dir.List(), std::vector<std::string>{"Trakset.ini"});
}

}  // namespace
