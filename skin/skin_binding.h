#pragma once
// Binding a skin form's controls to the register set by their "Item:" tags.

#include <functional>
#include <string>
#include <vector>

#include "platform/controls.h"
#include "registers/clsRegisters.h"

// The register a control's tag names: the text after "Item:" up to the next blank ("Item:Baud x" gives
// "Baud"); "" when the tag holds no "Item:" or nothing follows it.
std::string ParseItemTag(const std::string& tag);

// True for the kinds of control a register can edit: text box, combo box, check box.
bool IsRegisterControl(const platform::Control& control);

// Resets `registers` (register objects and mask map), gives it the definition file `definition_file`,
// and makes a register of every text box, combo box and check box of `form` whose tag names one; each
// loads its definition from the section of that name and claims its bits in the mask. `status` hears
// "Load skin..." first and "Load skin finish" last (the window shows them and lets pending events run).
// Returns the names bound, in control order.
std::vector<std::string> BindSkinForm(platform::Control& form, clsRegisters& registers,
                                      const std::string& definition_file,
                                      const std::function<void(const std::string&)>& status = {});
