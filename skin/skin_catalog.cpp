#include "skin/skin_catalog.h"

#include <algorithm>

#include "platform/file_system.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "registers/clsINIFile.h"
#include "registers/register_files.h"

namespace {

bool Fail(std::string& error, std::string* detail, const std::string& cause) {
  error = kReadSettingsError;
  if (detail != nullptr) *detail = cause;
  return false;
}

}  // namespace

std::string AllRegistersHex() {
  return std::string(2 * kRegisterSpace, 'F');
}

std::string FindModuleFile(const std::string& folder, const std::string& name, const std::string& section,
                           const std::vector<std::string>& extensions) {
  const std::string wanted = platform::text::Trim(name);
  if (wanted.empty()) return {};
  std::vector<std::string> files;
  for (const std::string& extension : extensions) {
    for (std::string& file : platform::ListDirectory(folder, "*." + extension))
      files.push_back(std::move(file));
  }
  std::sort(files.begin(), files.end());
  for (const std::string& file : files) {
    clsINIFile ini(platform::Join(folder, file));
    if (platform::text::EqualNoCase(platform::text::Trim(ini.GetKeyValue("Module", "", section)), wanted)) {
      return ini.FullFileName();
    }
  }
  return {};
}

bool RegisterImageFromHex(const std::string& hex, std::vector<uint8_t>& bytes) {
  std::vector<uint8_t> parsed;
  if (!register_files::HexToBytes(hex, parsed) || parsed.size() != static_cast<size_t>(kRegisterSpace)) {
    return false;
  }
  bytes = std::move(parsed);
  return true;
}

bool ReadSkinDefinition(const std::string& skin_folder, const std::string& name, SkinDefinition& definition,
                        std::string& error, std::string* detail) {
  const std::string catalogue = platform::Join(skin_folder, kSkinCatalogueFile);
  if (!platform::FileExists(catalogue)) return Fail(error, detail, "no skin catalogue " + catalogue);
  const std::string file = FindModuleFile(skin_folder, name, kSkinDefinitionSection, {"ini", "inf"});
  if (file.empty()) return Fail(error, detail, "no definition file with Module = " + name);

  clsINIFile ini(file);
  SkinDefinition found;
  found.file = file;
  found.module = platform::text::Trim(ini.GetKeyValue("Module", "", kSkinDefinitionSection));
  found.interface_name = platform::text::Trim(ini.GetKeyValue("Interface", "", kSkinDefinitionSection));
  if (found.interface_name.empty()) found.interface_name = kDefaultInterface;
  found.register_mask = ini.GetKeyValue("RegisterMask", AllRegistersHex(), kSkinDefinitionSection);
  std::vector<uint8_t> mask;
  if (!RegisterImageFromHex(found.register_mask, mask)) {
    return Fail(error, detail, file + ": RegisterMask does not hold 256 hexadecimal bytes");
  }
  const std::string defaults = ini.GetKeyValue("DefaultValue", AllRegistersHex(), kSkinDefinitionSection);
  if (!RegisterImageFromHex(defaults, found.default_value)) {
    return Fail(error, detail, file + ": DefaultValue does not hold 256 hexadecimal bytes");
  }
  definition = std::move(found);
  return true;
}
