#pragma once
// Alias names: a customer's own product name of up to 16 characters, kept in the reader's registers
// 224-239 and chosen from a per-model list in AliasName.ini, which stands for the model name when the
// window picks a skin or a default file.
//
// The window owns one AliasNames with its alias list cboAliasName and the button cmdAliasName. The
// object reads and writes the reader's alias area through the protocol engine, fills the list from the
// alias file, writes the chosen entry, and runs the dialog that edits the list.
//
// AliasName.ini sits in the data folder. A read-only folder cannot take the file's changes, and an
// installed program never writes there (the package owns the file, even when root runs the program), so
// such a change goes to a copy in the user's settings folder, and from then on that copy is the one read:
// each user keeps an alias list of their own.

#include <cstdint>
#include <string>
#include <vector>

#include "app/frmAliasName.h"
#include "app/terminal_view.h"
#include "platform/controls.h"

class ucGNet;

class AliasNames {
 public:
  static constexpr const char* kFileName = "AliasName.ini";
  static constexpr const char* kGeneralSection = "General";
  static constexpr const char* kEnableKey = "AliasEnable";
  static constexpr const char* kSelectItemKey = "SelectItem";
  static constexpr const char* kAliasKeyPrefix = "Alias";
  // Text put in front of an alias read from a reader before it names a skin; empty when the file has none.
  static constexpr const char* kPrefixKey = "AliasPrefix";
  static constexpr const char* kDefaultEntry = frmAliasName::kDefaultEntry;
  // The alias area of the reader's registers; 16 bytes of 0xFF mean no alias.
  static constexpr int kAliasStart = 224;
  static constexpr int kAliasLength = 16;
  static constexpr uint8_t kErased = 0xFF;

  // `program_file`: AliasName.ini in the data folder; `user_file`: where its copy goes when the data
  // folder cannot be written. Without `program_file_writable` every change goes to the copy.
  AliasNames(platform::ComboBox& cboAliasName, platform::Button& cmdAliasName, TerminalView& view,
             std::string program_file, std::string user_file, bool program_file_writable = true);
  // The same with DataDir() and UserConfigDir(), the data folder's file being writable unless installed
  // (worked out now: set MSRCFG_HOME and XDG_CONFIG_HOME before constructing in tests).
  AliasNames(platform::ComboBox& cboAliasName, platform::Button& cmdAliasName, TerminalView& view);

  // ---- the reader's alias area ----
  // Reads registers 224-239 one by one; `alias` gets their text up to the first 0xFF (or 0x00), so an
  // erased area gives "". False, with `alias` untouched, when a register cannot be read.
  static bool GetAliasName(ucGNet& engine, std::string& alias);
  // Writes `alias` cut to 16 characters and filled up with 0xFF; the entry "[DEFAULT]" (and "") writes
  // 16 bytes of 0xFF. Stops at the first register that fails; true when all 16 were written.
  static bool SetAliasName(ucGNet& engine, const std::string& alias);
  // The 16 bytes SetAliasName writes for `alias`.
  static std::vector<uint8_t> AliasAreaBytes(const std::string& alias);

  // ---- the list ----
  // Fills cboAliasName for `model` after a reader was found, `device_alias` being what it holds: hides
  // list and button, and stops there when the alias file does not enable the feature; creates the model's
  // section (SelectItem -1, Alias0 [DEFAULT]) when it is new; lists every "Alias..." key of the section in
  // file order; selects the first entry that occurs in the device alias (case ignored), else the entry of
  // SelectItem; shows list and button. An empty model leaves the feature hidden.
  void LoadAliasList(const std::string& model, const std::string& device_alias);
  // AliasEnable of the alias file, read now (a missing file or key is false).
  bool Enabled() const;
  // The list is shown and one of its entries selected: the write and default workflows write that entry.
  bool EntrySelected() const;
  // The selected entry's text ("" with none) and its key ("Alias3").
  std::string SelectedEntry() const;
  std::string SelectedKey() const;

  // Writes the selected entry into the reader ("[DEFAULT]" erases the alias) and reports
  // "Set Alias Name OK!" (blue) or "Set Alias Name NG!" (red); after success the selected index is stored
  // as the model's SelectItem when it differs. False without a message when no entry is selected.
  bool WriteSelectedAlias(ucGNet& engine);
  // Writes `alias` into the reader and reports "Set Alias Name OK!" (blue) or "Set Alias Name NG!" (red).
  bool WriteAliasWithReport(ucGNet& engine, const std::string& alias);

  // The alias that names a skin for a reader that holds `device_alias`: the file's AliasPrefix (none by
  // default) followed by the device alias; "" when the reader has no alias.
  std::string DeviceAliasForSkin(const std::string& device_alias) const;

  // The button's handler: opens the dialog on the selected entry and applies its answer to the alias file
  // (Add New: a new key one above the highest "Alias" number; Modify: the entry's key; Delete: the key
  // goes; Cancel, or an unchanged name: nothing), then loads the list again. The default entry is never
  // modified or deleted. A run-time error is reported in red as "cmdAliasName_Click - <description>".
  void cmdAliasName_Click();

  // The dialog the button opens (for the window back end, and for tests to answer it).
  frmAliasName& Dialog() { return dialog_; }

  // The file read now: the per-user copy when there is one, else the program folder's file.
  std::string ReadPath() const;
  // Highest number among the keys "Alias<number>" of `keys`; -1 when there is none.
  static int HighestAliasNumber(const std::vector<std::string>& keys);

 private:
  // Writes key = value into `section`, falling back to the per-user copy when the data folder's file
  // cannot or may not be written. True when the value landed in one of them; else false with the reason in
  // `error`.
  bool SetValue(const std::string& key, const std::string& value, const std::string& section,
                std::string& error);
  // Removes the key the same way; a key that is not there counts as removed.
  bool DeleteValue(const std::string& key, const std::string& section, std::string& error);
  // Makes the per-user copy (from the program folder's file) unless it exists; true when it does afterwards.
  bool EnsureUserCopy(std::string& error) const;
  // A red "<procedure> - <what>: <reason>" line: the person's change did not reach the file.
  void ReportNotSaved(const char* procedure, const std::string& what, const std::string& error);
  void ApplyDialogResult(const frmAliasName::Result& result, const std::string& opened_text,
                         const std::string& key);

  platform::ComboBox& cboAliasName_;
  platform::Button& cmdAliasName_;
  TerminalView& view_;
  std::string program_file_;
  std::string user_file_;
  bool program_file_writable_;
  frmAliasName dialog_;

  // What the last LoadAliasList was for, and the key behind each list entry.
  std::string model_;
  std::string device_alias_;
  std::vector<std::string> keys_;
};
