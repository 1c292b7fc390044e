// The window's controls, their captions and their places. The window is about 900 by 640 pixels:
// the port row at the top, the reader's identity below it, the workflow buttons, the skin's pages in the
// middle, the progress bar, and the terminal view at the bottom.
#include "app/frmMain.h"

namespace {

constexpr int kWindowWidth = 900;
constexpr int kWindowHeight = 640;
constexpr int kMargin = 8;
constexpr int kGap = 8;
constexpr int kButtonHeight = 28;
constexpr int kRowHeight = 24;

// Rows, from the top.
constexpr int kPortRowTop = kMargin;
constexpr int kCaptionRowTop = 44;
constexpr int kIdentityRowTop = 62;
constexpr int kButtonRowTop = 96;
constexpr int kSkinTop = 132;
constexpr int kSkinHeight = 324;
constexpr int kProgressTop = kSkinTop + kSkinHeight + kGap;
constexpr int kProgressHeight = 16;
constexpr int kViewTop = kProgressTop + kProgressHeight + kGap;
constexpr int kInnerWidth = kWindowWidth - 2 * kMargin;

// The identity row: a small caption above each value, so a technician knows what each number is.
struct IdentityColumn {
  const char* caption_name;
  const char* caption;
  int left;
  int width;
};
constexpr IdentityColumn kProductColumn = {"lblProductCaption", "Product", kMargin, 230};
// The port column is the widest after the product's: a bridge's port shows its product name too.
constexpr IdentityColumn kSerialColumn = {"lblROMSNCaption", "Serial number", 246, 130};
constexpr IdentityColumn kVersionColumn = {"lblROMVersionCaption", "Firmware", 384, 90};
constexpr IdentityColumn kPortColumn = {"lblPortCaption", "Port", 482, 140};
constexpr IdentityColumn kAliasColumn = {"lblAliasCaption", "Alias name", 630, 170};

}  // namespace

frmMain::frmMain(std::string command_line)
    : form_("frmMain", kDesignCaption),
      cboPort(form_.Add<platform::ComboBox>("cboPort")),
      cmdCancel(form_.Add<platform::Button>("cmdCancel", "Cancel")),
      cmdAutoScan(form_.Add<platform::Button>("cmdAutoScan", "&Auto Scan")),
      chkTestMode(form_.Add<platform::CheckBox>("chkTestMode", "&Test mode")),
      chkCacheMode(form_.Add<platform::CheckBox>("chkCacheMode", "&Cache")),
      cmdExit(form_.Add<platform::Button>("cmdExit", "E&xit")),
      labProduct(form_.Add<platform::Label>("labProduct")),
      labROMSN(form_.Add<platform::Label>("labROMSN")),
      labROMVersion(form_.Add<platform::Label>("labROMVersion")),
      labPort(form_.Add<platform::Label>("labPort")),
      cboAliasName(form_.Add<platform::ComboBox>("cboAliasName")),
      cmdAliasName(form_.Add<platform::Button>("cmdAliasName", "A&lias...")),
      cmdRead(form_.Add<platform::Button>("cmdRead", "&Read")),
      cmdWrite(form_.Add<platform::Button>("cmdWrite", "&Write")),
      cmdDefault(form_.Add<platform::Button>("cmdDefault", "&Default")),
      cmdOpen(form_.Add<platform::Button>("cmdOpen", "&Open...")),
      cmdSave(form_.Add<platform::Button>("cmdSave", "&Save...")),
      cmdSaveHex(form_.Add<platform::Button>("cmdSaveHex", "Save &HEX...")),
      labAliasName(form_.Add<platform::Label>("labAliasName")),
      picBack(form_.Add<platform::Container>("picBack")),
      ProgressBar(form_.Add<platform::ProgressBar>("ProgressBar")),
      txtView(form_.Add<platform::RichTextView>("txtView")),
      Terminal(txtView),
      m_oSkinQuery(m_oPlugins),
      m_oAliasNames(cboAliasName, cmdAliasName, Terminal),
      m_oFileActions(Terminal, labAliasName),
      command_line_(std::move(command_line)) {
  LayOutControls();
  WireEvents();
}

void frmMain::LayOutControls() {
  form_.Move(0, 0, kWindowWidth, kWindowHeight);

  // The port row. Cancel takes the port list's place while a scan runs, so it has the list's size.
  cboPort.Move(kMargin, kPortRowTop, 300, kRowHeight);
  cmdCancel.Move(kMargin, kPortRowTop, 300, kRowHeight);
  cmdCancel.SetVisible(false);
  cmdAutoScan.Move(316, kPortRowTop, 110, kButtonHeight);
  chkTestMode.Move(440, kPortRowTop + 2, 110, kRowHeight);
  chkCacheMode.Move(556, kPortRowTop + 2, 90, kRowHeight);
  cmdExit.Move(kWindowWidth - kMargin - 92, kPortRowTop, 92, kButtonHeight);

  // The reader's identity.
  for (const IdentityColumn& column :
       {kProductColumn, kSerialColumn, kVersionColumn, kPortColumn, kAliasColumn}) {
    form_.Add<platform::Label>(column.caption_name, column.caption)
        .Move(column.left, kCaptionRowTop, column.width, 16);
  }
  labProduct.Move(kProductColumn.left, kIdentityRowTop, kProductColumn.width, 20);
  labROMSN.Move(kSerialColumn.left, kIdentityRowTop, kSerialColumn.width, 20);
  labROMVersion.Move(kVersionColumn.left, kIdentityRowTop, kVersionColumn.width, 20);
  labPort.Move(kPortColumn.left, kIdentityRowTop, kPortColumn.width, 20);
  cboAliasName.Move(kAliasColumn.left, kIdentityRowTop - 2, kAliasColumn.width, kRowHeight);
  cmdAliasName.Move(kAliasColumn.left + kAliasColumn.width + 6, kIdentityRowTop - 4, 86, kButtonHeight);
  // Hidden until the alias file enables alias names and a reader was found.
  cboAliasName.SetVisible(false);
  cmdAliasName.SetVisible(false);

  // The workflow buttons, and the alias a register file carries.
  int left = kMargin;
  for (platform::Button* button : {&cmdRead, &cmdWrite, &cmdDefault, &cmdOpen, &cmdSave, &cmdSaveHex}) {
    button->Move(left, kButtonRowTop, 96, kButtonHeight);
    left += 96 + 6;
  }
  labAliasName.Move(left + kGap, kButtonRowTop + 6, kWindowWidth - kMargin - left - kGap, 20);

  picBack.Move(kMargin, kSkinTop, kInnerWidth, kSkinHeight);
  ProgressBar.Move(kMargin, kProgressTop, kInnerWidth, kProgressHeight);
  txtView.Move(kMargin, kViewTop, kInnerWidth, kWindowHeight - kMargin - kViewTop);
}

void frmMain::ShowCancelOverPortList() {
  cmdCancel.Move(cboPort.Left(), cboPort.Top());
  cmdCancel.SetVisible(true);
  cmdCancel.ZOrder();
}
