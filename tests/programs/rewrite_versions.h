#pragma once
// Two versions, A and B, of three files the program rewrites, each written through the program's own save
// path: the per-user settings as the window saves them on close, AliasName.ini through the alias dialog's
// Modify, and a .cfg register file as Save writes it. The .cfg versions differ in every key (B has no
// alias), so a save that is not one write would be caught leaving a mixture.

#include <cstdint>
#include <string>
#include <vector>

#include "app/alias_names.h"
#include "app/app_settings.h"
#include "app/terminal_view.h"
#include "platform/controls.h"
#include "registers/register_files.h"

namespace rewrite_versions {

inline constexpr const char* kModel = "KRD36AR";
// AliasName.ini as an installation ships it, holding the entry that the versions change.
inline constexpr const char* kAliasSeed =
    "[General]\nAliasEnable = TRUE\n[KRD36AR]\nSelectItem = 1\nAlias0 = [DEFAULT]\nAlias1 = Gate A\n";

inline std::vector<uint8_t> Image(char version) {
  std::vector<uint8_t> image(256);
  for (int i = 0; i < 256; ++i) image[i] = static_cast<uint8_t>(version == 'A' ? i : 255 - i);
  return image;
}
inline std::string Port(char version) {
  return version == 'A' ? "COM1" : "COM2";
}
inline std::string Alias(char version) {
  return version == 'A' ? "Gate A" : "Gate B";
}
inline std::string Module(char version) {
  return version == 'A' ? kModel : "KRD320RK";
}

// Works in the program and settings folders that MSRCFG_HOME and XDG_CONFIG_HOME name at construction.
class Writer {
 public:
  explicit Writer(std::string cfg_path) : cfg_path_(std::move(cfg_path)) {}

  bool Settings(char version) {
    app_settings::UserSettings settings;
    settings.port = Port(version);
    return app_settings::SaveUserSettings(settings);
  }
  // The dialog reports nothing back; the caller checks the file.
  bool AliasFile(char version) {
    aliases_.LoadAliasList(kModel, "");
    cboAliasName_.UserSelect(1);
    aliases_.Dialog().OnShown = [version](frmAliasName& dialog) {
      dialog.txtName.SetText(Alias(version));
      dialog.cmdAction[frmAliasName::kModify]->UserClick();
    };
    aliases_.cmdAliasName_Click();
    return cboAliasName_.ListCount() == 2;
  }
  bool Cfg(char version) {
    return register_files::SaveInfoFile(cfg_path_, Image(version), Module(version),
                                        version == 'A' ? Alias('A') : "");
  }

 private:
  std::string cfg_path_;
  platform::RichTextView txtView_{"txtView"};
  TerminalView terminal_{txtView_};
  platform::ComboBox cboAliasName_{"cboAliasName"};
  platform::Button cmdAliasName_{"cmdAliasName"};
  AliasNames aliases_{cboAliasName_, cmdAliasName_, terminal_};
};

}  // namespace rewrite_versions
