// Alias names: the alias file in fresh program and user folders, the dialog, and the reader's alias area
// through the protocol engine against the emulator on a pty.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "app/alias_names.h"
#include "app/to_boolean.h"
#include "gnet/ucGNet.h"
#include "platform/file_system.h"
#include "tests/gnet/sim_readers.h"

namespace {

using Texts = std::vector<std::string>;
const std::string kHead = "[General]\nAliasEnable = TRUE\n[KRD36AR]\nSelectItem = 1\nAlias0 = [DEFAULT]\n";

TEST(ToBoolean, YesWordsAndNonZeroNumbersAreTrue) {
  for (const char* yes : {"true", "T", " Yes ", "y", "1", "-1", "&H10", "0.5"})
    EXPECT_TRUE(ToBoolean(yes)) << yes;
  for (const char* no : {"FALSE", "no", "", "0", "&H0", "YESS", "1a"}) EXPECT_FALSE(ToBoolean(no)) << no;
}

class Aliases : public ::testing::Test {
 protected:
  void Write(const std::string& text) { program.WriteFile("AliasName.ini", text); }
  std::string Read() { return program.ReadFile("AliasName.ini"); }
  Texts Entries() const {
    Texts entries;
    for (int i = 0; i < cboAliasName.ListCount(); ++i) entries.push_back(cboAliasName.List(i));
    return entries;
  }
  // Selects entry `index`, opens the dialog and answers `button` with `name`.
  void Edit(int index, int button, const std::string& name) {
    cboAliasName.UserSelect(index);
    aliases.Dialog().OnShown = [button, name](frmAliasName& dialog) {
      dialog.txtName.SetText(name);
      dialog.cmdAction[button]->UserClick();
      if (dialog.Shown()) dialog.RequestClose();  // a disabled button did nothing: close, which cancels
    };
    aliases.cmdAliasName_Click();
  }
  msrsim::EmulatedReader* StartReader(const std::string& reader_alias) {
    msrsim::ReaderConfig config = test_support::SimReaders::Reader("KRD36AR,3TRACK,UART");
    msrsim::SetAlias(config.registers, reader_alias);
    msrsim::EmulatedReader* reader = readers.Add("COM4", config);
    gnet.SetCommPort("COM4");
    gnet.SetPortOpen(true);
    gnet.SetSettings("19200,N,8,1");
    gnet.SetGNetTimeout(200);
    return reader;
  }
  static std::string Area(const msrsim::EmulatedReader& reader) {
    const msrsim::RegisterImage image = reader.Registers();
    return {image.begin() + 224, image.begin() + 240};
  }

  test_support::TempDir program{"alias-program"};
  test_support::TempDir user{"alias-user"};
  platform::RichTextView txtView{"txtView"};
  TerminalView terminal{txtView};
  platform::ComboBox cboAliasName{"cboAliasName"};
  platform::Button cmdAliasName{"cmdAliasName"};
  AliasNames aliases{cboAliasName, cmdAliasName, terminal, program.File("AliasName.ini"),
                     user.File("zk4100_MSR/AliasName.ini")};
  test_support::SimReaders readers;
  ucGNet gnet;  // closes its port before the readers go
};

TEST_F(Aliases, EnableSwitchNewSectionsAndTheChoiceOfEntry) {
  aliases.LoadAliasList("KRD36AR", "");  // no file: hidden, and no file made by looking
  EXPECT_FALSE(cboAliasName.Visible());
  EXPECT_TRUE(program.List().empty());
  Write("[General]\nAliasEnable = 1\n");
  aliases.LoadAliasList("KRD36AR", "");
  EXPECT_TRUE(cboAliasName.Visible() && cmdAliasName.Visible());
  EXPECT_EQ(Read(), "[General]\nAliasEnable = 1\n[KRD36AR]\nSelectItem = -1\nAlias0 = [DEFAULT]\n");
  EXPECT_FALSE(aliases.EntrySelected());  // SelectItem -1 chooses nothing

  // Only "Alias..." keys, in file order; an entry found in the reader's alias wins over SelectItem.
  Write(
      "[General]\nAliasEnable = yes\n[KRD36AR]\nAlias7 = Shop\nSelectItem = 2\nAlias0 = [DEFAULT]\nalias3 = "
      "bank\n");
  aliases.LoadAliasList("krd36ar", "");
  EXPECT_EQ(Entries(), (Texts{"Shop", "[DEFAULT]", "bank"}));
  EXPECT_EQ(aliases.SelectedKey(), "alias3");
  aliases.LoadAliasList("KRD36AR", "SHOP-7");
  EXPECT_EQ(aliases.SelectedKey(), "Alias7");

  Write("[General]\nTitle = x\n");  // the key missing hides what was shown
  aliases.LoadAliasList("KRD36AR", "");
  EXPECT_FALSE(cboAliasName.Visible() || cmdAliasName.Visible());
  EXPECT_EQ(Read(), "[General]\nTitle = x\n");
}

TEST_F(Aliases, DialogAddsAboveTheHighestKeyModifiesAndDeletesButNeverTheDefault) {
  Write(kHead + "Alias2 = Shop\nAlias5 = Bank\n");
  aliases.LoadAliasList("KRD36AR", "");
  Edit(1, frmAliasName::kDelete, "");
  Edit(1, frmAliasName::kAddNew, "  Hotel-12345678901234 ");  // trimmed and cut to 16
  Edit(1, frmAliasName::kModify, "Bank2");
  const std::string expected = kHead + "Alias5 = Bank2\nAlias6 = Hotel-1234567890\n";
  EXPECT_EQ(Read(), expected);

  // Unchanged or empty names and Cancel change nothing; nor do Modify and Delete of [DEFAULT], whose
  // buttons the dialog disables (and an answer that gets past them is ignored too).
  Edit(1, frmAliasName::kAddNew, "Bank2");
  Edit(1, frmAliasName::kCancel, "Other");
  Edit(0, frmAliasName::kDelete, "Other");
  EXPECT_FALSE(aliases.Dialog().cmdAction[frmAliasName::kModify]->Enabled());
  cboAliasName.UserSelect(0);
  aliases.Dialog().OnShown = [](frmAliasName& dialog) { dialog.cmdAction[frmAliasName::kModify]->OnClick(); };
  aliases.cmdAliasName_Click();
  EXPECT_EQ(Read(), expected);
  EXPECT_EQ(Entries(), (Texts{"[DEFAULT]", "Bank2", "Hotel-1234567890"}));

  // From the keyboard: Escape leaves the list alone, Enter adds the name typed (never overwrites).
  for (const int key : {platform::kKeyEscape, platform::kKeyEnter}) {
    cboAliasName.UserSelect(1);
    aliases.Dialog().OnShown = [key](frmAliasName& dialog) {
      dialog.txtName.SetText("Cafe");
      dialog.UserPressKey(key);
    };
    aliases.cmdAliasName_Click();
  }
  EXPECT_EQ(Entries(), (Texts{"[DEFAULT]", "Bank2", "Hotel-1234567890", "Cafe"}));
}

TEST_F(Aliases, TheDialogWaitsOnTheLoopAndAReadOnlyFileIsCopiedToTheUserFolder) {
  Write(kHead);
  ASSERT_EQ(chmod(program.File("AliasName.ini").c_str(), 0444), 0);
  aliases.LoadAliasList("KRD36AR", "");
  cboAliasName.UserSelect(0);
  platform::Timer person;  // the dialog waits on the loop, where a click from the window system comes from
  person.OnTimer = [&] {
    person.SetEnabled(false);
    aliases.Dialog().txtName.UserTypeText("Shop");  // replaces the selected text
    aliases.Dialog().cmdAction[frmAliasName::kAddNew]->UserClick();
  };
  person.SetInterval(20);
  person.SetEnabled(true);
  aliases.cmdAliasName_Click();
  aliases.LoadAliasList("QV-R4410-03", "");
  EXPECT_EQ(Read(), kHead);
  EXPECT_EQ(user.ReadFile("zk4100_MSR/AliasName.ini"),
            kHead + "Alias1 = Shop\n[QV-R4410-03]\nSelectItem = -1\nAlias0 = [DEFAULT]\n");
  Write("[General]\nAliasEnable = TRUE\nAliasPrefix = ZK-\n");  // the copy hides this file
  EXPECT_EQ(aliases.DeviceAliasForSkin("BANK-7"), "BANK-7");
  user.WriteFile("zk4100_MSR/AliasName.ini", "[General]\nAliasPrefix = ZK-\n");
  EXPECT_EQ(aliases.DeviceAliasForSkin("BANK-7"), "ZK-BANK-7");
  EXPECT_EQ(aliases.DeviceAliasForSkin(""), "");
}

// An installed data folder: the package's, read-only to the people who use it. Each person's aliases go
// to their own folder. Root may write anywhere, so under root the person is "nobody", in a child.
TEST_F(Aliases, AReadOnlyDataFolderStaysAsItIsAndEachUserKeepsTheirOwnList) {
  Write(kHead);
  ASSERT_EQ(chmod(program.path().c_str(), 0555), 0);
  ASSERT_EQ(chmod(user.path().c_str(), 0777), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)) _exit(98);
    aliases.LoadAliasList("KRD36AR", "");
    Edit(0, frmAliasName::kAddNew, "Shop");
    _exit(Entries() == Texts{"[DEFAULT]", "Shop"} ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(program.List(), Texts{"AliasName.ini"});
  EXPECT_EQ(Read(), kHead);
  EXPECT_EQ(user.ReadFile("zk4100_MSR/AliasName.ini"), kHead + "Alias1 = Shop\n");

  // Root can write the folder, but an installed program never does. A second person's alias goes to
  // their own folder, without the first person's.
  ASSERT_EQ(chmod(program.path().c_str(), 0755), 0);
  test_support::TempDir other("alias-other");
  platform::ComboBox cboOther{"cboAliasName"};
  AliasNames theirs{
      cboOther, cmdAliasName, terminal, program.File("AliasName.ini"), other.File("zk4100_MSR/AliasName.ini"),
      false};
  theirs.LoadAliasList("KRD36AR", "");
  cboOther.UserSelect(0);
  theirs.Dialog().OnShown = [](frmAliasName& dialog) {
    dialog.txtName.SetText("Cafe");
    dialog.cmdAction[frmAliasName::kAddNew]->UserClick();
  };
  theirs.cmdAliasName_Click();
  EXPECT_EQ(Read(), kHead);
  EXPECT_EQ(other.ReadFile("zk4100_MSR/AliasName.ini"), kHead + "Alias1 = Cafe\n");
}

TEST_F(Aliases, AnEditThatCannotBeSavedSaysSoWithTheNameAndTheReason) {
  Write(kHead + "Alias1 = Shop\n");
  ASSERT_EQ(chmod(program.File("AliasName.ini").c_str(), 0444), 0);
  user.WriteFile("zk4100_MSR", "a file where the user's folder should be");
  aliases.LoadAliasList("KRD36AR", "");
  Edit(1, frmAliasName::kAddNew, "Cafe");
  Edit(1, frmAliasName::kDelete, "");
  const std::string shown = txtView.Text();
  EXPECT_NE(shown.find("cmdAliasName_Click - alias \"Cafe\" is not added: "), std::string::npos) << shown;
  EXPECT_NE(shown.find("cmdAliasName_Click - alias \"Shop\" is not deleted: "), std::string::npos) << shown;
  EXPECT_NE(shown.find("zk4100_MSR"), std::string::npos) << "the reason names the folder";
  EXPECT_EQ(Entries(), (Texts{"[DEFAULT]", "Shop"}));
  for (const auto& run : txtView.Runs()) EXPECT_EQ(run.colour, terminal_colour::kRed) << run.text;
}

TEST_F(Aliases, ReadsAndWritesTheReadersAliasArea) {
  msrsim::EmulatedReader* reader = StartReader("Shop-7");
  ASSERT_NE(reader, nullptr);
  std::string alias;
  ASSERT_TRUE(AliasNames::GetAliasName(gnet, alias));
  EXPECT_EQ(alias, "Shop-7");
  ASSERT_TRUE(AliasNames::SetAliasName(gnet, "0123456789ABCDEF-cut"));
  ASSERT_TRUE(AliasNames::GetAliasName(gnet, alias));
  EXPECT_EQ(alias, "0123456789ABCDEF");
  ASSERT_TRUE(AliasNames::SetAliasName(gnet, "AB"));  // no trace of the longer name is left
  EXPECT_EQ(Area(*reader), "AB" + std::string(14, '\xFF'));
  ASSERT_TRUE(AliasNames::SetAliasName(gnet, "[DEFAULT]"));
  EXPECT_EQ(Area(*reader), std::string(16, '\xFF'));
  ASSERT_TRUE(AliasNames::GetAliasName(gnet, alias));
  EXPECT_EQ(alias, "");
}

TEST_F(Aliases, WritingTheSelectedEntryReportsAndRemembersIt) {
  Write(kHead + "Alias1 = Bank\n");
  terminal.TimeStamp = [] { return std::string("T"); };
  msrsim::EmulatedReader* reader = StartReader("Z");
  ASSERT_NE(reader, nullptr);
  aliases.LoadAliasList("KRD36AR", "");
  ASSERT_EQ(aliases.SelectedEntry(), "Bank");
  const platform::FileStamp before = platform::GetFileStamp(program.File("AliasName.ini"));
  EXPECT_TRUE(aliases.WriteSelectedAlias(gnet));
  EXPECT_EQ(msrsim::GetAlias(reader->Registers()), "Bank");
  EXPECT_EQ(platform::GetFileStamp(program.File("AliasName.ini")), before);  // SelectItem stays 1: no rewrite
  cboAliasName.UserSelect(0);
  EXPECT_TRUE(aliases.WriteSelectedAlias(gnet));
  EXPECT_EQ(Area(*reader), std::string(16, '\xFF'));
  EXPECT_EQ(Read(),
            "[General]\nAliasEnable = TRUE\n[KRD36AR]\nSelectItem = 0\nAlias0 = [DEFAULT]\nAlias1 = Bank\n");

  reader->CloseLine();  // a reader that has gone: NG, SelectItem kept
  ASSERT_TRUE(reader->WaitForLineClosed(1000));
  cboAliasName.UserSelect(1);
  EXPECT_FALSE(aliases.WriteSelectedAlias(gnet));
  EXPECT_NE(Read().find("SelectItem = 0\n"), std::string::npos);
  ASSERT_EQ(txtView.Runs().size(), 2u);
  EXPECT_EQ(txtView.Runs()[0].text, "T - Set Alias Name OK!\r\nT - Set Alias Name OK!\r\n");
  EXPECT_EQ(txtView.Runs()[0].colour, terminal_colour::kBlue);
  EXPECT_EQ(txtView.Runs()[1].text, "T - Set Alias Name NG!\r\n");
  EXPECT_EQ(txtView.Runs()[1].colour, terminal_colour::kRed);
}

}  // namespace
