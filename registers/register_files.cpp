#include "registers/register_files.h"

#include <algorithm>

#include "platform/file_system.h"
#include "platform/hex_text.h"
#include "registers/clsINIFile.h"
#include "registers/clsRegisters.h"

namespace register_files {

namespace {

void SetError(std::string* error, const std::string& text) {
  if (error != nullptr) *error = text;
}

// A character as a person can read it in a message.
std::string Shown(char c) {
  auto code = static_cast<unsigned char>(c);
  if (code >= 0x21 && code < 0x7F) return std::string("\"") + c + "\"";
  return "the byte 0x" + platform::hex_text::Byte(code);
}

constexpr int kHexRecordLength = 16;
constexpr const char* kEndRecord = ":00000001FF";

}  // namespace

std::string BytesToHex(const std::vector<uint8_t>& bytes, const std::string& separator) {
  std::string text;
  text.reserve(bytes.size() * (2 + separator.size()));
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0) text += separator;
    text += platform::hex_text::Byte(bytes[i]);
  }
  return text;
}

bool HexToBytes(const std::string& text, std::vector<uint8_t>& bytes, std::string* error) {
  std::string digits;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == ' ' || c == '\t') continue;
    if (!platform::hex_text::IsDigit(c)) {
      SetError(error,
               Shown(c) + " at position " + std::to_string(i + 1) + ", which is not a hexadecimal digit");
      return false;
    }
    digits += c;
  }
  if (digits.size() % 2 != 0) {
    SetError(error,
             std::to_string(digits.size()) + " hexadecimal digits, an odd number; every byte needs two");
    return false;
  }
  std::vector<uint8_t> result;
  result.reserve(digits.size() / 2);
  for (size_t i = 0; i < digits.size(); i += 2) {
    result.push_back(static_cast<uint8_t>(platform::hex_text::ValueOf(digits.substr(i, 2))));
  }
  bytes = std::move(result);
  return true;
}

bool SaveInfoFile(const std::string& path, const std::vector<uint8_t>& image, const std::string& module,
                  const std::string& alias, std::string* error) {
  // One rewrite: a failure part-way must not leave a file whose image belongs to another module or alias.
  clsINIFile ini(path);
  std::optional<std::string> alias_value;
  if (!alias.empty()) alias_value = alias;
  if (ini.ChangeKeys({{kSection, kModuleKey, module.empty() ? kUnknownModule : module},
                      {kSection, kAliasKey, alias_value},
                      {kSection, kRegistersKey, BytesToHex(image)}})) {
    return true;
  }
  SetError(error, ini.LastError());
  return false;
}

bool OpenInfoFile(const std::string& path, clsRegisters& registers, InfoFileFields* fields,
                  std::string* error) {
  clsINIFile ini(path);
  if (!ini.FindINIFile() || !ini.OpenINIFile()) {
    SetError(error, "cannot read " + path);
    return false;
  }
  ini.CloseFile();
  std::string text;
  if (!ini.GetKeyValue(kRegistersKey, text, "", kSection)) {
    SetError(error, std::string("the file has no ") + kRegistersKey + " key in section [" + kSection + "]");
    return false;
  }
  std::vector<uint8_t> image;
  std::string why;
  if (!HexToBytes(text, image, &why)) {
    SetError(error, std::string(kRegistersKey) + " holds " + why);
    return false;
  }
  if (image.size() != static_cast<size_t>(registers.RegisterCount())) {
    SetError(error, std::string(kRegistersKey) + " holds " + std::to_string(image.size() * 2) +
                        " hexadecimal digits; " + std::to_string(registers.RegisterCount() * 2) +
                        " are needed");
    return false;
  }
  if (!registers.SetRegisters(image)) {
    SetError(error, "the register buffer did not take the image");
    return false;
  }
  if (fields != nullptr) {
    fields->module = ini.GetKeyValue(kModuleKey, "", kSection);
    fields->alias = ini.GetKeyValue(kAliasKey, "", kSection);
  }
  return true;
}

void PutAliasArea(std::vector<uint8_t>& image, const std::string& alias_entry) {
  if (image.size() < static_cast<size_t>(kAliasStart + kAliasLength)) return;
  bool erase = alias_entry.find("[DEFAULT") != std::string::npos;
  for (int i = 0; i < kAliasLength; ++i) {
    auto at = static_cast<size_t>(i);
    image[static_cast<size_t>(kAliasStart + i)] =
        (!erase && at < alias_entry.size()) ? static_cast<uint8_t>(alias_entry[at]) : uint8_t{0xFF};
  }
}

std::string IntelHexText(const std::vector<uint8_t>& image) {
  std::string text;
  for (size_t address = 0; address < image.size(); address += kHexRecordLength) {
    size_t count = std::min<size_t>(kHexRecordLength, image.size() - address);
    // Byte count, address high and low, record type 00 (data), then the data.
    std::vector<uint8_t> record = {static_cast<uint8_t>(count), static_cast<uint8_t>(address >> 8),
                                   static_cast<uint8_t>(address & 0xFF), 0x00};
    record.insert(record.end(), image.begin() + static_cast<std::ptrdiff_t>(address),
                  image.begin() + static_cast<std::ptrdiff_t>(address + count));
    unsigned sum = 0;
    for (uint8_t b : record) sum += b;
    // The checksum makes the record's bytes add up to 0 modulo 256.
    record.push_back(static_cast<uint8_t>((256 - sum % 256) % 256));
    text += ":" + BytesToHex(record) + "\r\n";
  }
  text += kEndRecord;
  text += "\r\n";
  return text;
}

bool SaveHexFile(const std::string& path, std::vector<uint8_t> image,
                 const std::optional<std::string>& alias_entry, std::string* error) {
  if (alias_entry) PutAliasArea(image, *alias_entry);
  std::string why;
  if (!platform::WriteFileDurably(path, IntelHexText(image), &why)) {
    SetError(error, "cannot write " + path + ": " + why);
    return false;
  }
  return true;
}

}  // namespace register_files
