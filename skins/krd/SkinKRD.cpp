// The skin of the KRD reader family: one form, "KRD", with every setting of the family's register map.
// The keyboard-port settings sit on their own tab, which the program enables only when a reader with
// several interfaces is attached through the keyboard port.

#include "skin/skin_contract.h"

namespace {

const char* const kTabs[] = {"Communication", "Reader", "Tracks", "Prefix / Suffix", "PS/2 Keyboard"};

const MsrSkinControl kControls[] = {
    // Communication
    {.kind = "ComboBox", .name = "cboInterface", .caption = "Interface", .tag = "Item:Interface", .tab = 0},
    {.kind = "ComboBox", .name = "cboBaudrate", .caption = "Baud rate", .tag = "Item:Baudrate", .tab = 0},
    {.kind = "ComboBox", .name = "cboParity", .caption = "Parity", .tag = "Item:Parity", .tab = 0},
    {.kind = "ComboBox", .name = "cboDataBits", .caption = "Data bits", .tag = "Item:DataBits", .tab = 0},
    {.kind = "ComboBox", .name = "cboStopBits", .caption = "Stop bits", .tag = "Item:StopBits", .tab = 0},
    {.kind = "ComboBox", .name = "cboHandshake", .caption = "Handshake", .tag = "Item:Handshake", .tab = 0},
    {.kind = "ComboBox",
     .name = "cboTerminator",
     .caption = "Terminator",
     .tag = "Item:Terminator",
     .tab = 0},
    {.kind = "ComboBox",
     .name = "cboTrackSeparator",
     .caption = "Track separator",
     .tag = "Item:TrackSeparator",
     .tab = 0},
    // Reader
    {.kind = "CheckBox",
     .name = "chkBeeper",
     .caption = "Beep on a good read",
     .tag = "Item:Beeper",
     .tab = 1},
    {.kind = "ComboBox", .name = "cboBeepTone", .caption = "Beep tone", .tag = "Item:BeepTone", .tab = 1},
    {.kind = "CheckBox",
     .name = "chkPowerOnBeep",
     .caption = "Beep at power-on",
     .tag = "Item:PowerOnBeep",
     .tab = 1},
    {.kind = "CheckBox",
     .name = "chkBadReadBeep",
     .caption = "Beep twice on a bad read",
     .tag = "Item:BadReadBeep",
     .tab = 1},
    {.kind = "ComboBox", .name = "cboLED", .caption = "LED", .tag = "Item:LED", .tab = 1},
    {.kind = "ComboBox",
     .name = "cboLetterCase",
     .caption = "Letter case",
     .tag = "Item:LetterCase",
     .tab = 1},
    {.kind = "ComboBox",
     .name = "cboReadDirection",
     .caption = "Swipe direction",
     .tag = "Item:ReadDirection",
     .tab = 1},
    // Tracks
    {.kind = "CheckBox",
     .name = "chkTrack1",
     .caption = "Read track 1",
     .tag = "Item:Track1Enable",
     .tab = 2},
    {.kind = "CheckBox",
     .name = "chkTrack2",
     .caption = "Read track 2",
     .tag = "Item:Track2Enable",
     .tab = 2},
    {.kind = "CheckBox",
     .name = "chkTrack3",
     .caption = "Read track 3",
     .tag = "Item:Track3Enable",
     .tab = 2},
    {.kind = "ComboBox",
     .name = "cboSentinels",
     .caption = "Start and end sentinels",
     .tag = "Item:SentinelOutput",
     .tab = 2},
    {.kind = "CheckBox",
     .name = "chkSendLRC",
     .caption = "Send the LRC character",
     .tag = "Item:SendLRC",
     .tab = 2},
    {.kind = "CheckBox",
     .name = "chkSendErrorTrack",
     .caption = "Send \"E\" for a track that failed",
     .tag = "Item:SendErrorTrack",
     .tab = 2},
    {.kind = "TextBox",
     .name = "txtErrorText",
     .caption = "Text for an unreadable card",
     .tag = "Item:ErrorText",
     .tab = 2},
    // Prefix / Suffix
    {.kind = "TextBox",
     .name = "txtPrefix",
     .caption = "Prefix of every card",
     .tag = "Item:Prefix",
     .tab = 3},
    {.kind = "TextBox",
     .name = "txtSuffix",
     .caption = "Suffix of every card",
     .tag = "Item:Suffix",
     .tab = 3},
    {.kind = "TextBox",
     .name = "txtTrack1Prefix",
     .caption = "Track 1 prefix",
     .tag = "Item:Track1Prefix",
     .tab = 3},
    {.kind = "TextBox",
     .name = "txtTrack1Suffix",
     .caption = "Track 1 suffix",
     .tag = "Item:Track1Suffix",
     .tab = 3},
    {.kind = "TextBox",
     .name = "txtTrack2Prefix",
     .caption = "Track 2 prefix",
     .tag = "Item:Track2Prefix",
     .tab = 3},
    {.kind = "TextBox",
     .name = "txtTrack2Suffix",
     .caption = "Track 2 suffix",
     .tag = "Item:Track2Suffix",
     .tab = 3},
    {.kind = "TextBox",
     .name = "txtTrack3Prefix",
     .caption = "Track 3 prefix",
     .tag = "Item:Track3Prefix",
     .tab = 3},
    {.kind = "TextBox",
     .name = "txtTrack3Suffix",
     .caption = "Track 3 suffix",
     .tag = "Item:Track3Suffix",
     .tab = 3},
    // PS/2 Keyboard
    {.kind = "ComboBox",
     .name = "cboTypeingSpeed",
     .caption = "Typing speed (ms per character)",
     .tag = "Item:TypeingSpeed",
     .tab = 4},
    {.kind = "ComboBox",
     .name = "cboKeyboardLanguage",
     .caption = "Keyboard layout",
     .tag = "Item:KeyboardLanguage",
     .tab = 4},
    {.kind = "ComboBox", .name = "cboCapsLock", .caption = "Caps Lock", .tag = "Item:CapsLock", .tab = 4},
};

const MsrSkinForm kKrdForm = {
    .name = "KRD",
    .caption = "KRD reader settings",
    .tab_control_name = "SSTab1",
    .tab_captions = kTabs,
    .tab_count = sizeof kTabs / sizeof kTabs[0],
    .controls = kControls,
    .control_count = sizeof kControls / sizeof kControls[0],
};

const MsrSkinForm* const kForms[] = {&kKrdForm};

}  // namespace

// Nothing to record: the program keeps its own table of the skins it has taken up.
MSR_SKIN_EXPORT int DllRegisterServer(void) {
  return 0;
}
MSR_SKIN_EXPORT int DllUnregisterServer(void) {
  return 0;
}
MSR_SKIN_EXPORT int MsrSkinContractVersion(void) {
  return kMsrSkinContractVersion;
}

MSR_SKIN_EXPORT MsrSkinQuery* MsrSkinCreateQuery(int host_contract_version) {
  if (host_contract_version != kMsrSkinContractVersion) return nullptr;
  return new MsrSkinTableQuery("MSR Skin KRD 1.0", kForms, 1);
}

MSR_SKIN_EXPORT void MsrSkinReleaseQuery(MsrSkinQuery* query) {
  delete static_cast<MsrSkinTableQuery*>(query);
}
