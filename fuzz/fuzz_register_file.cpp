// A .cfg register file of any content opened into a register set, and the texts such files carry: the
// "Registers" image, mask texts and definition numbers. Whatever the file holds, an opened image must
// save and open again unchanged, and a refused one must leave the set as it was.

#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "platform/file_system.h"
#include "platform/text.h"
#include "registers/clsRegisters.h"
#include "registers/number_text.h"
#include "registers/register_files.h"

namespace {

void CheckInfoFile(const std::string& content) {
  const std::string path = fuzz::WriteScratchFile("fuzz.cfg", content);
  clsRegisters registers;
  const std::vector<uint8_t> before = registers.Registers();
  register_files::InfoFileFields fields;
  std::string error;
  if (!register_files::OpenInfoFile(path, registers, &fields, &error)) {
    fuzz::Check(!error.empty(), "a refused file without a reason");
    fuzz::Check(registers.Registers() == before, "a refused file changed the register buffer");
    return;
  }

  const std::string copy = fuzz::ScratchFolder() + "/copy.cfg";
  platform::DeleteFile(copy);
  const std::string module = fuzz::CarriedValue(fields.module);
  const std::string alias = fuzz::CarriedValue(fields.alias);
  fuzz::Check(register_files::SaveInfoFile(copy, registers.Registers(), module, alias, &error),
              "cannot save an opened image: " + error);
  clsRegisters reopened;
  register_files::InfoFileFields copy_fields;
  fuzz::Check(register_files::OpenInfoFile(copy, reopened, &copy_fields, &error),
              "a saved image does not open: " + error);
  fuzz::Check(reopened.Registers() == registers.Registers(), "a saved image reads back changed");
  fuzz::Check(copy_fields.module == (module.empty() ? register_files::kUnknownModule : module),
              "the module reads back changed");
  fuzz::Check(copy_fields.alias == alias, "the alias reads back changed");
}

void CheckHexText(const std::string& text) {
  std::vector<uint8_t> bytes = {1, 2, 3};
  std::string error;
  if (!register_files::HexToBytes(text, bytes, &error)) {
    fuzz::Check(bytes == std::vector<uint8_t>{1, 2, 3}, "a refused text changed the bytes");
    fuzz::Check(!error.empty(), "a refused text without a reason");
    return;
  }
  // Written again, the image is the text's digits, upper-cased, without the blanks.
  std::string digits;
  for (char c : text) {
    if (c != ' ' && c != '\t') digits += static_cast<char>(c >= 'a' && c <= 'f' ? c - 'a' + 'A' : c);
  }
  fuzz::Check(register_files::BytesToHex(bytes) == digits, "a hexadecimal image does not write back as read");
}

void CheckMaskText(const std::string& text) {
  clsRegisters registers;
  registers.SetValidMask(text);
  const std::string mask = registers.ValidMask();
  fuzz::Check(mask.size() == 2 * clsRegisters::kRegisterSpace, "a mask text of the wrong length");
  std::vector<uint8_t> flags;
  for (int a = 0; a < registers.RegisterCount(); ++a) flags.push_back(registers.Flags(a));
  // The mask as written reads back with the same masks and marks.
  registers.SetValidMask(mask);
  fuzz::Check(registers.ValidMask() == mask, "a mask text does not read back as written");
  for (int a = 0; a < registers.RegisterCount(); ++a) {
    fuzz::Check(registers.Flags(a) == flags[static_cast<size_t>(a)], "the marks changed through a mask text");
  }
}

void CheckNumberText(const std::string& text) {
  const int64_t value = register_text::NumberOf(text);
  const std::string normal = register_text::NormaliseNumber(text);
  if (platform::text::AllDigits(normal) && normal.size() <= 18) {
    int64_t expected = 0;
    std::from_chars(normal.data(), normal.data() + normal.size(), expected);
    fuzz::Check(register_text::IsNumber(text) && value == expected, "a decimal number reads wrong: " + text);
  }
  fuzz::Check(platform::text::Join(platform::text::Split(text, ','), ",") == text, "split and join differ");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CheckInfoFile(text);
  // The same bytes as the texts that a .cfg file or a definition holds: its last line, or all of it.
  const size_t line_start = text.rfind('\n');
  const std::string last_line = line_start == std::string::npos ? text : text.substr(line_start + 1);
  const size_t equals = last_line.find('=');
  const std::string value = equals == std::string::npos ? last_line : last_line.substr(equals + 1);
  CheckHexText(value);
  CheckMaskText(value);
  CheckNumberText(value);
  return 0;
}
