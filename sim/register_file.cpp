#include "sim/register_file.h"

#include <algorithm>
#include <vector>

#include "platform/file_system.h"
#include "platform/paths.h"
#include "registers/clsINIFile.h"
#include "registers/register_files.h"
#include "sim/frame.h"

namespace msrsim {

bool ParseRegisterHex(const std::string& hex, RegisterImage& image, std::string& error) {
  std::string digits;
  for (const char c : hex) {
    if (c == ' ' || c == '\t') continue;
    digits.push_back(c);
  }
  if (digits.size() % 2 != 0) {
    error = "odd number of hexadecimal digits (" + std::to_string(digits.size()) + ")";
    return false;
  }
  if (digits.size() != 2 * image.size()) {
    error = "holds " + std::to_string(digits.size() / 2) + " bytes, a register image has " +
            std::to_string(image.size());
    return false;
  }
  RegisterImage parsed{};
  for (size_t i = 0; i < parsed.size(); ++i) {
    const auto byte = ParseHexByte(std::string_view(digits).substr(2 * i, 2));
    if (!byte) {
      error = "\"" + digits.substr(2 * i, 2) + "\" at register " + std::to_string(i) + " is not hexadecimal";
      return false;
    }
    parsed[i] = *byte;
  }
  image = parsed;
  return true;
}

std::string FindFactoryImage(const std::string& folder, const std::string& model) {
  const auto upper = [](std::string text) {
    for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    return text;
  };
  if (model.empty()) return {};
  std::vector<std::string> files;
  for (const char* pattern : {"*.ini", "*.inf", "*.cfg"}) {
    for (std::string& name : platform::ListDirectory(folder, pattern)) files.push_back(std::move(name));
  }
  std::sort(files.begin(), files.end());
  for (const std::string& name : files) {
    clsINIFile file(platform::Join(folder, name));
    std::string module = file.GetKeyValue("Module", "", "MSRRegister");
    module.erase(0, module.find_first_not_of(" \t"));
    module.erase(module.find_last_not_of(" \t") + 1);
    if (upper(module) == upper(model)) return file.FullFileName();
  }
  return {};
}

bool LoadRegisterFile(const std::string& path, RegisterImage& image, std::string& error) {
  if (!platform::FileExists(path)) {
    error = path + ": no such file";
    return false;
  }
  clsINIFile file(path);
  std::string hex;
  if (!file.GetKeyValue("Registers", hex, "", "MSRRegister")) {
    error = path + ": no key Registers in section [MSRRegister]";
    return false;
  }
  std::string problem;
  if (!ParseRegisterHex(hex, image, problem)) {
    error = path + ": Registers " + problem;
    return false;
  }
  return true;
}

bool SaveRegisterFile(const std::string& path, const RegisterImage& image, const std::string& model,
                      std::string& error) {
  // Control bytes in the alias area (a line break) would break the AliasName line; Registers keeps them.
  std::string alias = GetAlias(image);
  const bool printable =
      std::all_of(alias.begin(), alias.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
  if (!printable) alias.clear();
  std::string problem;
  if (!register_files::SaveInfoFile(path, {image.begin(), image.end()}, model, alias, &problem)) {
    error = problem.empty() ? "cannot write " + path : problem;
    return false;
  }
  return true;
}

}  // namespace msrsim
