#pragma once
// The two files a register image is kept in:
//   .cfg  an INI file (the program's dialect) with one section "MSRRegister": "Module", "AliasName" and
//         "Registers", the image as two upper-case hexadecimal digits per byte on one line;
//   .hex  Intel HEX for programming tools: 16-byte data records from address 0, then ":00000001FF".

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class clsRegisters;

namespace register_files {

inline constexpr const char* kSection = "MSRRegister";
inline constexpr const char* kModuleKey = "Module";
inline constexpr const char* kAliasKey = "AliasName";
inline constexpr const char* kRegistersKey = "Registers";
// Written as the module when the reader's model is not known.
inline constexpr const char* kUnknownModule = "Unknown";
// The reader keeps its alias name in these bytes; 16 bytes of 0xFF mean no alias.
inline constexpr int kAliasStart = 224;
inline constexpr int kAliasLength = 16;

// Two upper-case digits per byte, address 0 first, `separator` between pairs.
std::string BytesToHex(const std::vector<uint8_t>& bytes, const std::string& separator = "");
// The reverse: blanks (spaces and tabs) are ignored, every other character must be a hexadecimal digit
// of either case, and the digits must pair up. On failure `bytes` is untouched and `error` (when given)
// says what is wrong in words that follow the key's name: "511 hexadecimal digits, an odd number; ...".
bool HexToBytes(const std::string& text, std::vector<uint8_t>& bytes, std::string* error = nullptr);

// What a .cfg file holds besides the image.
struct InfoFileFields {
  std::string module;
  std::string alias;
};

// Writes module (kUnknownModule when empty), the alias (its key is removed when empty, so an old alias
// does not linger in an overwritten file) and the image into section kSection of `path`, in one rewrite
// through clsINIFile; other sections and keys of an existing file are kept. On failure `error` gets
// clsINIFile::LastError(), "<full path>: <system message>".
bool SaveInfoFile(const std::string& path, const std::vector<uint8_t>& image, const std::string& module,
                  const std::string& alias, std::string* error = nullptr);
// Reads `path` and replaces the set's whole register buffer with its image. The image must hold exactly
// as many bytes as the buffer; a missing file or key, an odd digit count, a character that is not a
// hexadecimal digit or a wrong length leave the buffer unchanged and give a technician's explanation in
// `error`, for example "Registers holds 510 hexadecimal digits; 512 are needed".
bool OpenInfoFile(const std::string& path, clsRegisters& registers, InfoFileFields* fields = nullptr,
                  std::string* error = nullptr);

// Overwrites the alias area of `image` for an alias-list entry: 16 bytes of 0xFF for an entry holding
// "[DEFAULT", otherwise the entry's text followed by 0xFF, cut to 16 bytes. Images too short for the
// area are left alone.
void PutAliasArea(std::vector<uint8_t>& image, const std::string& alias_entry);
// The Intel HEX text of `image`: CR LF after every record, the last one ":00000001FF".
std::string IntelHexText(const std::vector<uint8_t>& image);
// Writes IntelHexText to `path`, after PutAliasArea when an alias entry is selected.
bool SaveHexFile(const std::string& path, std::vector<uint8_t> image,
                 const std::optional<std::string>& alias_entry, std::string* error = nullptr);

}  // namespace register_files
