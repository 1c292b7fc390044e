#pragma once
// The window's register-file buttons: open a .cfg file into the register buffer, save the buffer as a
// .cfg file, and export it as Intel HEX for programming tools. Each asks for the file through the current
// UI services' file dialog and reports its result in the terminal view; a cancelled dialog does nothing
// and reports nothing.

#include <optional>
#include <string>

#include "app/terminal_view.h"
#include "platform/controls.h"

class clsRegisters;

class RegisterFileActions {
 public:
  static constexpr const char* kCfgFilter = "CFG File (*.cfg)|*.cfg";
  static constexpr const char* kHexFilter = "Hex File (*.hex)|*.hex";

  // `labAliasName` is the window's status label for the alias a file carries.
  RegisterFileActions(TerminalView& view, platform::Label& labAliasName);

  // Asks for a .cfg file and replaces the register buffer with its image, then shows the buffer in the
  // controls. "Open File OK!" in blue; the label then shows "Write Alias = " and the file's alias, or is
  // emptied when the file has none. "Open File NG!" in red followed by the reason in red, the buffer
  // unchanged. True when a file was opened.
  bool Open(clsRegisters& registers);

  // Asks for a file name and writes the buffer as a .cfg file with `module` ("Unknown" when empty) and
  // `alias` (none when empty or the default entry). "Save File OK!" / "Save File NG!" and the reason.
  bool Save(const clsRegisters& registers, const std::string& module, const std::string& alias);

  // Asks for a file name and writes the buffer as Intel HEX; with an alias entry selected, that entry is
  // put into the image's alias area first ("[DEFAULT]" erases it). "Save Hex File OK!" /
  // "Save Hex File NG!" and the reason.
  bool SaveHex(const clsRegisters& registers, const std::optional<std::string>& alias_entry,
               const std::string& module = "");

 private:
  void ReportFailure(const char* result_line, const std::string& reason);

  TerminalView& view_;
  platform::Label& labAliasName_;
};
