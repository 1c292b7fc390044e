#include "app/register_file_actions.h"

#include <string>
#include <vector>

#include "platform/paths.h"
#include "platform/ui_services.h"
#include "registers/clsRegisters.h"
#include "registers/register_files.h"

namespace {

constexpr const char* kOpenOk = "Open File OK!";
constexpr const char* kOpenNg = "Open File NG!";
constexpr const char* kSaveOk = "Save File OK!";
constexpr const char* kSaveNg = "Save File NG!";
constexpr const char* kSaveHexOk = "Save Hex File OK!";
constexpr const char* kSaveHexNg = "Save Hex File NG!";
constexpr const char* kWriteAlias = "Write Alias = ";

// A save dialog does not add the extension on every desktop; a name typed without one gets the filter's.
std::string WithExtension(const std::string& path, const std::string& extension) {
  return platform::BaseName(path).find('.') == std::string::npos ? path + extension : path;
}

std::string SuggestedName(const std::string& module, const std::string& extension) {
  return (module.empty() ? std::string(register_files::kUnknownModule) : module) + extension;
}

}  // namespace

RegisterFileActions::RegisterFileActions(TerminalView& view, platform::Label& labAliasName)
    : view_(view), labAliasName_(labAliasName) {}

void RegisterFileActions::ReportFailure(const char* result_line, const std::string& reason) {
  view_.ShowMsg(result_line, terminal_colour::kRed);
  if (!reason.empty()) view_.ShowMsg(reason, terminal_colour::kRed);
}

bool RegisterFileActions::Open(clsRegisters& registers) {
  const std::string path = platform::CurrentUi().ShowOpenDialog(kCfgFilter, "Open File");
  if (path.empty()) return false;
  register_files::InfoFileFields fields;
  std::string why;
  if (!register_files::OpenInfoFile(path, registers, &fields, &why)) {
    ReportFailure(kOpenNg, why);
    return false;
  }
  view_.ShowMsg(kOpenOk, terminal_colour::kBlue);
  labAliasName_.SetCaption(fields.alias.empty() ? std::string() : kWriteAlias + fields.alias);
  registers.Refresh();
  return true;
}

bool RegisterFileActions::Save(const clsRegisters& registers, const std::string& module,
                               const std::string& alias) {
  const std::string chosen =
      platform::CurrentUi().ShowSaveDialog(kCfgFilter, "Save File", SuggestedName(module, ".cfg"));
  if (chosen.empty()) return false;
  // The default entry means "no alias"; written into a file it would later become the reader's name.
  const std::string file_alias = alias.find("[DEFAULT") == std::string::npos ? alias : std::string();
  std::string why;
  if (!register_files::SaveInfoFile(WithExtension(chosen, ".cfg"), registers.Registers(), module, file_alias,
                                    &why)) {
    ReportFailure(kSaveNg, why);
    return false;
  }
  view_.ShowMsg(kSaveOk, terminal_colour::kBlue);
  return true;
}

bool RegisterFileActions::SaveHex(const clsRegisters& registers,
                                  const std::optional<std::string>& alias_entry, const std::string& module) {
  const std::string chosen =
      platform::CurrentUi().ShowSaveDialog(kHexFilter, "Save Hex File", SuggestedName(module, ".hex"));
  if (chosen.empty()) return false;
  std::string why;
  if (!register_files::SaveHexFile(WithExtension(chosen, ".hex"), registers.Registers(), alias_entry, &why)) {
    ReportFailure(kSaveHexNg, why);
    return false;
  }
  view_.ShowMsg(kSaveHexOk, terminal_colour::kBlue);
  return true;
}
