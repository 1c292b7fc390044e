// A skin's register definition file of any content, loaded section by section into register objects
// bound to text boxes, combo boxes and check boxes, then shown, edited as a person would and written to an
// in-process reader. Whatever the definitions say:
//   - showing the buffer never changes it;
//   - a register that is invalid or display-only never changes the buffer through its control;
//   - the reader is only asked for addresses of the register space that a register claimed;
//   - after a cached write the reader holds every claimed bit as the buffer does.
//
// Input: the definition file, then (taken from the end) a flags byte and a seed for the person's actions.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "platform/controls.h"
#include "platform/hex_text.h"
#include "registers/clsRegister.h"
#include "registers/clsRegisters.h"

namespace {

constexpr size_t kMaxRegisters = 48;
constexpr int kMaxActions = 24;

// The reader's side of the register set's device requests.
struct Reader {
  explicit Reader(clsRegisters& set) : registers(set) {}

  void Attach() {
    registers.OnReadRegister = [this](uint8_t& value, bool& ok, int32_t address) {
      CheckAsked(address);
      value = image[static_cast<size_t>(address)];
      ok = true;
    };
    registers.OnWriteRegister = [this](uint8_t& value, bool& ok, int32_t address) {
      CheckAsked(address);
      image[static_cast<size_t>(address)] = value;
      ok = true;
    };
    registers.OnDumpRegisters = [this](std::string& data, bool& ok) {
      data.clear();
      for (uint8_t byte : image) data += platform::hex_text::Byte(byte);
      ok = true;
    };
  }

  void CheckAsked(int32_t address) const {
    fuzz::Check(address >= 0 && address < clsRegisters::kRegisterSpace,
                "the reader was asked for address " + std::to_string(address));
    fuzz::Check(registers.IsRegValid(address), "the reader was asked for an unclaimed address");
  }

  clsRegisters& registers;
  std::vector<uint8_t> image = std::vector<uint8_t>(clsRegisters::kRegisterSpace, 0);
};

std::unique_ptr<platform::Control> MakeControl(int kind, const std::string& name) {
  switch (kind) {
    case 0:
      return std::make_unique<platform::TextBox>(name);
    case 1:
      return std::make_unique<platform::ComboBox>(name);
    case 2:
      return std::make_unique<platform::CheckBox>(name);
    case 3:
      return std::make_unique<platform::Label>(name);
    default:
      return nullptr;
  }
}

// One thing a person does to the register's control.
void Act(clsRegister& reg, std::minstd_rand& random, const std::string& typed) {
  if (platform::TextBox* box = reg.FMTTextBox()) {
    const int length = static_cast<int>(box->Text().size());
    box->SetSelection(static_cast<int>(random() % static_cast<unsigned>(length + 1)),
                      static_cast<int>(random() % 3));
    switch (random() % 4) {
      case 0:
        box->UserTypeText(typed);
        break;
      case 1:
        box->UserType(static_cast<int>(random() % 256));
        break;
      case 2:
        box->UserDelete();
        break;
      default:
        box->UserLeave();
        break;
    }
  } else if (platform::ComboBox* combo = reg.FMTComboBox()) {
    combo->UserSelect(static_cast<int>(random() % static_cast<unsigned>(combo->ListCount() + 1)) - 1);
  } else if (platform::CheckBox* check = reg.FMTCheckBox()) {
    check->UserClick();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  const auto flags = in.ConsumeIntegral<uint8_t>();
  std::minstd_rand random(in.ConsumeIntegral<uint32_t>());
  const std::string content = in.ConsumeRemainingBytesAsString();
  const std::string path = fuzz::WriteScratchFile("definitions.ini", content);

  // The controls outlive the register set, which must drop its registers before them.
  std::vector<std::unique_ptr<platform::Control>> controls;
  clsRegisters registers;
  Reader reader(registers);
  reader.Attach();
  registers.SetINIFile(path);
  registers.SetAllowDisplayOnly(flags & 1);
  registers.SetDirectRegister(flags & 2);
  registers.SetRegisterSnapshotMode(flags & 4);
  // A skin's mask replaces the default one; the registers' claims then add their bits.
  if (flags & 8) registers.ClearMaskMap();

  const std::vector<std::string> sections = registers.INIFile().GetSectionNames();
  for (size_t i = 0; i < sections.size() && i < kMaxRegisters; ++i) {
    controls.push_back(MakeControl(static_cast<int>(random() % 5), sections[i]));
    registers.AddRegister(sections[i], controls.back().get());
  }

  // The buffer and the reader start from bytes of the input.
  std::vector<uint8_t> image(clsRegisters::kRegisterSpace, 0);
  for (size_t a = 0; a < image.size() && !content.empty(); ++a) {
    image[a] = static_cast<uint8_t>(content[(a * 7) % content.size()]);
    reader.image[a] = static_cast<uint8_t>(content[(a * 13) % content.size()]);
  }
  fuzz::Check(registers.SetRegisters(image), "the buffer does not take a whole image");

  registers.UpdateRegisters();
  fuzz::Check(registers.Registers() == image, "showing the buffer changed it");

  const std::string typed = content.substr(0, std::min<size_t>(content.size(), 12));
  for (int n = 0; n < kMaxActions && registers.RegisterObjectCount() > 0; ++n) {
    clsRegister& reg = *registers.GetRegisterObject(
        static_cast<int>(random() % static_cast<unsigned>(registers.RegisterObjectCount())));
    const std::vector<uint8_t> before = registers.Registers();
    Act(reg, random, typed);
    if (!reg.IsValid() || reg.DisplayOnly()) {
      fuzz::Check(registers.Registers() == before,
                  "register " + reg.RegisterName() + " changed the buffer though it must not");
    }
  }
  registers.SaveRegisters();

  if (registers.WriteRegistersCached((flags & 16) != 0)) {
    for (int a = 0; a < registers.RegisterCount(); ++a) {
      const auto i = static_cast<size_t>(a);
      if ((flags & 16) && (registers.Flags(a) & clsRegisters::kMarkedFlag)) continue;
      const uint8_t mask = registers.UseMask(a);
      fuzz::Check((reader.image[i] & mask) == (registers.Register(a) & mask),
                  "after a write the reader differs at address " + std::to_string(a));
    }
  }
  registers.ReadRegisters();
  registers.ClearRegisters();
  return 0;
}
