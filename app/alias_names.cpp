#include "app/alias_names.h"

#include <algorithm>
#include <cctype>
#include <exception>

#include "app/to_boolean.h"
#include "gnet/ucGNet.h"
#include "platform/file_system.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "registers/clsINIFile.h"
#include "registers/number_text.h"

namespace {

constexpr const char* kSetOk = "Set Alias Name OK!";
constexpr const char* kSetNg = "Set Alias Name NG!";
constexpr const char* kEnableDefault = "FALSE";
constexpr const char* kSelectItemDefault = "-1";
constexpr const char* kDialogProcedure = "cmdAliasName_Click";
// A failed write that gave no reason of its own.
constexpr const char* kNoReason = "the file could not be written";

bool SectionExists(clsINIFile& ini, const std::string& section) {
  const std::vector<std::string> names = ini.GetSectionNames();
  return std::any_of(names.begin(), names.end(),
                     [&](const std::string& name) { return platform::text::EqualNoCase(name, section); });
}

std::vector<std::string> KeysOf(clsINIFile& ini, const std::string& section) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : ini.EnumSectionKeys(section)) keys.push_back(key);
  return keys;
}

int SelectItemOf(clsINIFile& ini, const std::string& section) {
  return static_cast<int>(
      register_text::NumberOf(ini.GetKeyValue(AliasNames::kSelectItemKey, kSelectItemDefault, section)));
}

}  // namespace

AliasNames::AliasNames(platform::ComboBox& cboAliasName, platform::Button& cmdAliasName, TerminalView& view,
                       std::string program_file, std::string user_file, bool program_file_writable)
    : cboAliasName_(cboAliasName),
      cmdAliasName_(cmdAliasName),
      view_(view),
      program_file_(std::move(program_file)),
      user_file_(std::move(user_file)),
      program_file_writable_(program_file_writable) {}

AliasNames::AliasNames(platform::ComboBox& cboAliasName, platform::Button& cmdAliasName, TerminalView& view)
    : AliasNames(cboAliasName, cmdAliasName, view, platform::Join(platform::DataDir(), kFileName),
                 platform::Join(platform::UserConfigDir(), kFileName),
                 !platform::CurrentProgramFolders().installed) {}

// ---- the reader's alias area ----

bool AliasNames::GetAliasName(ucGNet& engine, std::string& alias) {
  std::string text;
  bool ended = false;
  for (int i = 0; i < kAliasLength; ++i) {
    uint8_t value = 0;
    if (!engine.GetRegister(kAliasStart + i, value)) return false;
    // 0xFF is an erased cell; a 0x00 ends the text as well, since no name holds one.
    if (value == kErased || value == 0) ended = true;
    if (!ended) text += static_cast<char>(value);
  }
  alias = text;
  return true;
}

std::vector<uint8_t> AliasNames::AliasAreaBytes(const std::string& alias) {
  std::vector<uint8_t> bytes(kAliasLength, kErased);
  if (alias == kDefaultEntry) return bytes;
  const size_t length = std::min(alias.size(), static_cast<size_t>(kAliasLength));
  std::copy_n(alias.begin(), length, bytes.begin());
  return bytes;
}

bool AliasNames::SetAliasName(ucGNet& engine, const std::string& alias) {
  const std::vector<uint8_t> bytes = AliasAreaBytes(alias);
  for (int i = 0; i < kAliasLength; ++i) {
    if (!engine.SetRegister(kAliasStart + i, bytes[i])) return false;
  }
  return true;
}

// ---- the alias file ----

std::string AliasNames::ReadPath() const {
  return platform::FileExists(user_file_) ? user_file_ : program_file_;
}

bool AliasNames::EnsureUserCopy(std::string& error) const {
  if (platform::FileExists(user_file_)) return true;
  if (!platform::MakeDirectories(platform::DirName(user_file_), &error)) return false;
  if (platform::FileExists(program_file_)) return platform::CopyFile(program_file_, user_file_, &error);
  return platform::CreateEmptyFile(user_file_, &error);
}

bool AliasNames::SetValue(const std::string& key, const std::string& value, const std::string& section,
                          std::string& error) {
  if (!platform::FileExists(user_file_)) {
    clsINIFile program(program_file_);
    if (program_file_writable_ && program.SetKeyValue(key, value, section)) return true;
    if (!EnsureUserCopy(error)) return false;
  }
  clsINIFile user(user_file_);
  if (user.SetKeyValue(key, value, section)) return true;
  error = user.LastError();
  return false;
}

bool AliasNames::DeleteValue(const std::string& key, const std::string& section, std::string& error) {
  if (!platform::FileExists(user_file_)) {
    clsINIFile program(program_file_);
    if (program_file_writable_ && program.DeleteKey(key, section)) return true;
    std::string unused;
    // Nothing to remove is no reason to copy the file.
    if (!program.GetKeyValue(key, unused, "", section)) return true;
    if (!EnsureUserCopy(error)) return false;
  }
  clsINIFile user(user_file_);
  if (user.DeleteKey(key, section)) return true;
  error = user.LastError();
  return false;
}

void AliasNames::ReportNotSaved(const char* procedure, const std::string& what, const std::string& error) {
  view_.ShowMsg(std::string(procedure) + " - " + what + ": " + (error.empty() ? kNoReason : error),
                terminal_colour::kRed);
}

bool AliasNames::Enabled() const {
  clsINIFile ini(ReadPath());
  return ToBoolean(ini.GetKeyValue(kEnableKey, kEnableDefault, kGeneralSection));
}

std::string AliasNames::DeviceAliasForSkin(const std::string& device_alias) const {
  if (device_alias.empty()) return {};
  clsINIFile ini(ReadPath());
  return ini.GetKeyValue(kPrefixKey, "", kGeneralSection) + device_alias;
}

int AliasNames::HighestAliasNumber(const std::vector<std::string>& keys) {
  const std::string prefix = kAliasKeyPrefix;
  int highest = -1;
  for (const std::string& key : keys) {
    if (!platform::text::StartsWithNoCase(key, prefix)) continue;
    const std::string number = key.substr(prefix.size());
    if (!platform::text::AllDigits(number, false) || number.size() > 9) continue;
    highest = std::max(highest, std::stoi(number));
  }
  return highest;
}

// ---- the list ----

void AliasNames::LoadAliasList(const std::string& model, const std::string& device_alias) {
  model_ = model;
  device_alias_ = device_alias;
  if (cboAliasName_.Visible()) cboAliasName_.SetVisible(false);
  if (cmdAliasName_.Visible()) cmdAliasName_.SetVisible(false);
  if (!Enabled() || model.empty()) return;

  {
    clsINIFile ini(ReadPath());
    if (!SectionExists(ini, model)) {
      std::string error;
      if (!SetValue(kSelectItemKey, kSelectItemDefault, model, error) ||
          !SetValue(std::string(kAliasKeyPrefix) + "0", kDefaultEntry, model, error)) {
        ReportNotSaved("LoadAliasList", "the alias list of " + model + " is not saved", error);
      }
    }
  }
  clsINIFile ini(ReadPath());  // the section may have gone to the per-user copy
  const int select_item = SelectItemOf(ini, model);

  cboAliasName_.Clear();
  keys_.clear();
  for (const auto& [key, value] : ini.EnumSectionKeys(model)) {
    if (!platform::text::StartsWithNoCase(key, kAliasKeyPrefix)) continue;
    cboAliasName_.AddItem(value);
    keys_.push_back(key);
  }

  int chosen = -1;
  for (int i = 0; i < cboAliasName_.ListCount() && chosen < 0; ++i) {
    const std::string entry = cboAliasName_.List(i);
    if (!entry.empty() && platform::text::ContainsNoCase(device_alias, entry)) chosen = i;
  }
  if (chosen < 0 && select_item >= 0 && select_item < cboAliasName_.ListCount()) chosen = select_item;
  cboAliasName_.SetListIndex(chosen);

  cboAliasName_.SetVisible(true);
  cmdAliasName_.SetVisible(true);
}

bool AliasNames::EntrySelected() const {
  return cboAliasName_.Visible() && cboAliasName_.ListIndex() >= 0 &&
         cboAliasName_.ListIndex() < static_cast<int>(keys_.size());
}

std::string AliasNames::SelectedEntry() const {
  return EntrySelected() ? cboAliasName_.Text() : std::string();
}

std::string AliasNames::SelectedKey() const {
  return EntrySelected() ? keys_[cboAliasName_.ListIndex()] : std::string();
}

bool AliasNames::WriteSelectedAlias(ucGNet& engine) {
  if (!EntrySelected()) return false;
  const int index = cboAliasName_.ListIndex();
  if (!WriteAliasWithReport(engine, cboAliasName_.Text())) return false;
  clsINIFile ini(ReadPath());
  std::string error;
  if (SelectItemOf(ini, model_) != index && !SetValue(kSelectItemKey, std::to_string(index), model_, error))
    ReportNotSaved("WriteSelectedAlias", "the choice of \"" + cboAliasName_.Text() + "\" is not remembered",
                   error);
  return true;
}

bool AliasNames::WriteAliasWithReport(ucGNet& engine, const std::string& alias) {
  const bool ok = SetAliasName(engine, alias);
  view_.ShowMsg(ok ? kSetOk : kSetNg, ok ? terminal_colour::kBlue : terminal_colour::kRed);
  return ok;
}

// ---- the dialog ----

void AliasNames::cmdAliasName_Click() {
  try {
    // The dialog is modal: a second click while it waits would open it inside itself.
    if (!EntrySelected() || dialog_.Shown()) return;
    const std::string text = SelectedEntry();
    const std::string key = SelectedKey();
    const frmAliasName::Result result = dialog_.Show(text);
    ApplyDialogResult(result, text, key);
    const std::string model = model_;
    const std::string device_alias = device_alias_;
    LoadAliasList(model, device_alias);
  } catch (const std::exception& error) {
    view_.ShowMsg(std::string(kDialogProcedure) + " - " + error.what(), terminal_colour::kRed);
  }
}

void AliasNames::ApplyDialogResult(const frmAliasName::Result& result, const std::string& opened_text,
                                   const std::string& key) {
  // The reader holds 16 characters; a longer entry would never match the alias read back from it.
  const std::string name = platform::text::Trim(result.text).substr(0, kAliasLength);
  const bool is_default = opened_text == kDefaultEntry;
  const bool unchanged = name.empty() || name == opened_text;
  std::string error;
  switch (result.button) {
    case frmAliasName::kAddNew: {
      if (unchanged) return;
      clsINIFile ini(ReadPath());
      const int number = HighestAliasNumber(KeysOf(ini, model_)) + 1;
      if (!SetValue(kAliasKeyPrefix + std::to_string(number), name, model_, error))
        ReportNotSaved(kDialogProcedure, "alias \"" + name + "\" is not added", error);
      return;
    }
    case frmAliasName::kModify:
      if (!is_default && !unchanged && !SetValue(key, name, model_, error))
        ReportNotSaved(kDialogProcedure, "alias \"" + opened_text + "\" is not changed to \"" + name + "\"",
                       error);
      return;
    case frmAliasName::kDelete:
      if (!is_default && !DeleteValue(key, model_, error))
        ReportNotSaved(kDialogProcedure, "alias \"" + opened_text + "\" is not deleted", error);
      return;
    default:
      return;
  }
}
