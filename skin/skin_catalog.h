#pragma once
// The skin catalogue: the Skin folder's index file "All.in_" and its definition files, each naming in
// [General] Module the reader model (or alias) it describes, the skin form that shows it (Interface), the
// register mask (RegisterMask) and the default register image (DefaultValue). The same look-up by Module
// serves the factory default files of the Default folder (section MSRRegister).

#include <cstdint>
#include <string>
#include <vector>

#include "registers/clsRegisters.h"

inline constexpr const char* kSkinCatalogueFile = "All.in_";
inline constexpr const char* kSkinDefinitionSection = "General";
inline constexpr const char* kDefaultInterface = "Default.A";
// The text of every failure of the look-up below, as the terminal view shows it.
inline constexpr const char* kReadSettingsError = "Read Settings Error";
inline constexpr int kRegisterSpace = clsRegisters::kRegisterSpace;

// 512 "F": every bit of every register, the value of a missing RegisterMask or DefaultValue.
std::string AllRegistersHex();

// The first file of `folder` (in name order) with one of `extensions` ("ini", "inf") whose key Module in
// `section` equals `name` (without regard to case, after trimming). Empty when there is none.
std::string FindModuleFile(const std::string& folder, const std::string& name, const std::string& section,
                           const std::vector<std::string>& extensions);

// Exactly `kRegisterSpace` bytes from hexadecimal text (two digits per byte, blanks ignored). False for
// anything else: a default image with a byte missing would silently shift every register after it.
bool RegisterImageFromHex(const std::string& hex, std::vector<uint8_t>& bytes);

struct SkinDefinition {
  std::string file;                    // full path of the definition file
  std::string module;                  // [General] Module
  std::string interface_name;          // [General] Interface: "<library>.<form>", "Default.A" when absent
  std::string register_mask;           // [General] RegisterMask as written, 512 "F" when absent
  std::vector<uint8_t> default_value;  // [General] DefaultValue, 256 bytes of 0xFF when absent
};

// Finds the definition of `name` in `skin_folder`: the catalogue must be there, and a definition file
// (".ini" or ".inf") whose Module is `name`. Missing keys take their defaults; a RegisterMask or
// DefaultValue that does not hold 256 bytes of hexadecimal fails. False with kReadSettingsError in `error`
// and the cause in `detail`.
bool ReadSkinDefinition(const std::string& skin_folder, const std::string& name, SkinDefinition& definition,
                        std::string& error, std::string* detail = nullptr);
