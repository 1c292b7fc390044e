// Reading the INI dialect: section scoping, key matching, escapes and quotes, odd input.

#include <gtest/gtest.h>

#include <string>

#include "registers/clsINIFile.h"
#include "tests/support/temp_dir.h"

namespace {

using test_support::TempDir;
using KeyList = std::vector<std::pair<std::string, std::string>>;

std::string Get(clsINIFile& ini, const std::string& section, const std::string& key, bool* found = nullptr) {
  std::string value;
  bool was_found = ini.GetKeyValue(key, value, "<default>", section);
  if (found != nullptr) *found = was_found;
  return value;
}

TEST(IniRead, KeysIgnoreCaseAndValuesLoseEscapesThenQuotes) {
  TempDir dir;
  clsINIFile ini(dir.WriteFile("a.ini",
                               "[General]\n"
                               "  mode   =   \"x\"  \n"
                               "lead = \"x\n"
                               "trail = x\"\n"
                               "inner = a\"b\"c\n"
                               "lone = \"\n"
                               "esc = \"a\\tb\\Nc\\\\n\\x\\\"\n"));
  for (const char* key : {"MODE", "mode", "Mode"}) EXPECT_EQ(Get(ini, "general", key), "x") << key;
  EXPECT_EQ(Get(ini, "General", "lead"), "x");
  EXPECT_EQ(Get(ini, "General", "trail"), "x");
  EXPECT_EQ(Get(ini, "General", "inner"), "a\"b\"c");
  EXPECT_EQ(Get(ini, "General", "lone"), "");
  // Left to right: \t, \N, then "\\" before "n", an unknown pair kept, and the quotes stripped last.
  EXPECT_EQ(Get(ini, "General", "esc"), "a\tb\r\nc\\n\\x\\");
}

TEST(IniRead, LookUpsStayInTheFirstSectionOfTheirNameAndTheFirstKeyWins) {
  TempDir dir;
  clsINIFile ini(dir.WriteFile("s.ini",
                               "top = before any header\n"
                               "[One]\n"
                               "key = 1\n"
                               "Key = 2\n"
                               "only1 = yes\n"
                               "[Two]\n"
                               "key = 3\n"
                               "[One]\n"
                               "late = never reached\n"));
  bool found = true;
  EXPECT_EQ(Get(ini, "One", "KEY"), "1");
  EXPECT_EQ(Get(ini, "Two", "key"), "3");
  EXPECT_EQ(Get(ini, "Two", "only1", &found), "<default>");
  EXPECT_FALSE(found);
  EXPECT_EQ(Get(ini, "One", "late", &found), "<default>");
  EXPECT_FALSE(found);
  EXPECT_EQ(Get(ini, "", "top", &found), "<default>");
  EXPECT_FALSE(found);
  // Going back to a section after another one was cached.
  EXPECT_EQ(Get(ini, "One", "only1"), "yes");

  EXPECT_EQ(ini.GetSectionNames(), (std::vector<std::string>{"One", "Two", "One"}));
  EXPECT_EQ(ini.EnumSectionKeys("one"), (KeyList{{"key", "1"}, {"Key", "2"}, {"only1", "yes"}}));
}

TEST(IniRead, SemicolonLinesWithEqualsAreKeysAndHeadersNeedBothBrackets) {
  TempDir dir;
  clsINIFile ini(dir.WriteFile("c.ini",
                               "[S]\r\n"
                               "; note = looks like a comment\r\n"
                               ";plain comment without equals\r\n"
                               "[broken = 5\r\n"
                               " [Indented]\r\n"
                               "after = 6\r\n"
                               "[Named] trailing text = ignored\r\n"
                               "Version = \"2.1\"\r\n"
                               "last = no newline"));
  EXPECT_EQ(Get(ini, "S", "; note"), "looks like a comment");
  EXPECT_EQ(Get(ini, "S", "[broken"), "5");
  EXPECT_EQ(Get(ini, "S", "after"), "6");  // " [Indented]" does not start a section
  EXPECT_EQ(Get(ini, "Named", "last"), "no newline");
  EXPECT_EQ(ini.GetSectionNames(), (std::vector<std::string>{"S", "Named"}));
  EXPECT_EQ(ini.FindVersion(), "2.1");
  EXPECT_FALSE(ini.FindVersionKey("S"));

  ASSERT_TRUE(ini.OpenINIFile());
  std::string line;
  std::vector<std::string> lines;
  while (ini.ReadLine(line)) lines.push_back(line);
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[1], "; note = looks like a comment");  // CR LF gone, nothing else touched
  EXPECT_EQ(lines[8], "last = no newline");
}

TEST(IniRead, MissingFileSectionOrKeyGivesTheDefaultAndCreatesNothing) {
  TempDir dir;
  clsINIFile ini(dir.File("sub/none.ini"));
  bool found = true;
  EXPECT_EQ(Get(ini, "S", "k", &found), "<default>");
  EXPECT_FALSE(found);
  EXPECT_FALSE(ini.OpenINIFile());
  EXPECT_TRUE(ini.EnumSectionKeys("S").empty());
  EXPECT_FALSE(ini.DeleteKey("k", "S"));
  EXPECT_FALSE(ini.DeleteSection("S"));
  EXPECT_TRUE(dir.List().empty());

  clsINIFile present(dir.WriteFile("p.ini", "[S]\nk = v\n"));
  for (auto [section, key] : {std::pair{"T", "k"}, {"S", "other"}, {"S", ""}}) {
    EXPECT_EQ(Get(present, section, key, &found), "<default>");
    EXPECT_FALSE(found);
  }
}

TEST(IniRead, AChangeOnDiskIsSeenByTheNextLookUp) {
  TempDir dir;
  clsINIFile ini(dir.WriteFile("d.ini", "[S]\nk = old\n"));
  EXPECT_EQ(Get(ini, "S", "k"), "old");
  dir.WriteFile("d.ini", "[S]\nk = newer\n");  // edited in place by another program
  EXPECT_EQ(Get(ini, "S", "k"), "newer");
  ASSERT_TRUE(clsINIFile(dir.File("d.ini")).SetKeyValue("k", "later", "S"));  // replaced by another object
  EXPECT_EQ(Get(ini, "S", "k"), "later");
}

TEST(IniRead, OddInputNeverBreaksTheReader) {
  TempDir dir;
  std::string garbage;
  for (int i = 0; i < 4096; ++i) garbage += static_cast<char>((i * 7919) & 0xFF);
  std::string huge(200000, 'v');
  std::string nuls(3, '\0');
  clsINIFile ini(dir.WriteFile("odd.ini", garbage + "\n[S]\n=\n==\n[\n]\nbig = " + huge +
                                              "\n\xFF\xFE = \x80\\\n" + nuls + "=z\n[]\nx=y"));
  EXPECT_EQ(Get(ini, "S", "big"), huge);
  EXPECT_EQ(Get(ini, "S", "\xFF\xFE"), "\x80\\");  // bytes pass through untouched
  // Lines of "=" name no key; a key of NUL bytes is still a key; "[]" ends the section.
  EXPECT_EQ(ini.EnumSectionKeys("S"), (KeyList{{"big", huge}, {"\xFF\xFE", "\x80\\"}, {nuls, "z"}}));
  EXPECT_TRUE(ini.EnumSectionKeys("").empty());
  ASSERT_TRUE(ini.SetKeyValue("added", "1", "S"));
  EXPECT_EQ(Get(ini, "S", "added"), "1");
  EXPECT_EQ(Get(ini, "S", "big"), huge);
}

}  // namespace
