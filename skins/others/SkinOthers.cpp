// The generic skin, "Others": the settings that nearly every reader of the supported families has, for
// readers that have no skin of their own.

#include "skin/skin_contract.h"

namespace {

const char* const kTabs[] = {"General", "Tracks"};

const MsrSkinControl kControls[] = {
    {.kind = "Label",
     .name = "labNote",
     .caption = "Settings common to most readers; your model may offer more.",
     .tab = 0},
    {.kind = "ComboBox", .name = "cboInterface", .caption = "Interface", .tag = "Item:Interface", .tab = 0},
    {.kind = "ComboBox", .name = "cboBaudrate", .caption = "Baud rate", .tag = "Item:Baudrate", .tab = 0},
    {.kind = "ComboBox", .name = "cboParity", .caption = "Parity", .tag = "Item:Parity", .tab = 0},
    {.kind = "ComboBox", .name = "cboDataBits", .caption = "Data bits", .tag = "Item:DataBits", .tab = 0},
    {.kind = "ComboBox", .name = "cboStopBits", .caption = "Stop bits", .tag = "Item:StopBits", .tab = 0},
    {.kind = "ComboBox",
     .name = "cboTerminator",
     .caption = "Terminator",
     .tag = "Item:Terminator",
     .tab = 0},
    {.kind = "CheckBox",
     .name = "chkBeeper",
     .caption = "Beep on a good read",
     .tag = "Item:Beeper",
     .tab = 0},
    {.kind = "ComboBox", .name = "cboLED", .caption = "LED", .tag = "Item:LED", .tab = 0},
    {.kind = "CheckBox",
     .name = "chkTrack1",
     .caption = "Read track 1",
     .tag = "Item:Track1Enable",
     .tab = 1},
    {.kind = "CheckBox",
     .name = "chkTrack2",
     .caption = "Read track 2",
     .tag = "Item:Track2Enable",
     .tab = 1},
    {.kind = "CheckBox",
     .name = "chkTrack3",
     .caption = "Read track 3",
     .tag = "Item:Track3Enable",
     .tab = 1},
    {.kind = "TextBox", .name = "txtPrefix", .caption = "Prefix", .tag = "Item:Prefix", .tab = 1},
    {.kind = "TextBox", .name = "txtSuffix", .caption = "Suffix", .tag = "Item:Suffix", .tab = 1},
};

const MsrSkinForm kGenericForm = {
    .name = "Generic",
    .caption = "Reader settings",
    .tab_control_name = "SSTab1",
    .tab_captions = kTabs,
    .tab_count = sizeof kTabs / sizeof kTabs[0],
    .controls = kControls,
    .control_count = sizeof kControls / sizeof kControls[0],
};

const MsrSkinForm* const kForms[] = {&kGenericForm};

}  // namespace

MSR_SKIN_TABLE_ENTRY_POINTS("MSR Skin Others 1.0", kForms)
