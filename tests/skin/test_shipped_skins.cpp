// The skins, definition files and factory images that ship in the build folder fit together: every model
// of the catalogue loads its skin form, every control binds a valid register that its mask allows, and
// the factory image agrees with the definition.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/file_system.h"
#include "platform/paths.h"
#include "registers/clsRegister.h"
#include "registers/clsRegisters.h"
#include "registers/register_files.h"
#include "skin/load_plugin_skin.h"
#include "skin/skin_binding.h"
#include "skin/skin_catalog.h"
#include "tests/skin/skin_test_support.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string SkinDir() {
  return skin_test::BuildDir() + "/Skin";
}
std::string DefaultDir() {
  return skin_test::BuildDir() + "/Default";
}

std::vector<uint8_t> Bytes(const std::string& hex) {
  std::vector<uint8_t> bytes;
  EXPECT_TRUE(RegisterImageFromHex(hex, bytes)) << hex;
  return bytes;
}

// Models listed in the catalogue, with their definition file names.
std::vector<std::pair<std::string, std::string>> CatalogueEntries() {
  clsINIFile catalogue(SkinDir() + "/" + kSkinCatalogueFile);
  return catalogue.EnumSectionKeys("Skins");
}

TEST(ShippedSkins, EveryLibraryIsASkinAndTheCatalogueListsEveryDefinitionFile) {
  clsPlugins plugins;
  clsSkinQuery query(plugins);
  const PluginSkinResult result = LoadPluginSkin(SkinDir(), plugins, query);
  EXPECT_THAT(result.skins, ElementsAre("SkinKRD", "SkinOthers", "SkinQVR"));
  EXPECT_THAT(result.skipped, IsEmpty());

  std::vector<std::string> files;
  for (const auto& entry : CatalogueEntries()) files.push_back(entry.second);
  std::sort(files.begin(), files.end());
  EXPECT_EQ(files, platform::ListDirectory(SkinDir(), "*.ini"));
  EXPECT_THAT(files, ::testing::IsSupersetOf({"KRD36AR.ini", "Others.ini"}))
      << "the emulator's model, the fallback";
}

class ShippedModel : public ::testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(ShippedModel, LoadsItsFormAndBindsOnlyValidRegistersInsideItsMask) {
  const std::string module = GetParam().first;
  SkinDefinition definition;
  std::string error;
  std::string detail;
  ASSERT_TRUE(ReadSkinDefinition(SkinDir(), module, definition, error, &detail)) << detail;
  EXPECT_EQ(platform::BaseName(definition.file), GetParam().second);

  clsPlugins plugins;
  clsSkinQuery query(plugins);
  LoadPluginSkin(SkinDir(), plugins, query);
  platform::Container owner("picBack");
  ASSERT_TRUE(query.LoadSkin(definition.interface_name, &owner)) << query.LastErrorDetail();
  EXPECT_THAT(query.BuildProblems(), IsEmpty());
  SkinForm& form = *query.GetSkinObj();

  clsRegisters registers;
  registers.SetAllowDisplayOnly(true);
  query.OnUnloading = [&registers] { registers.ClearRegisters(); };
  const std::vector<std::string> bound = BindSkinForm(form, registers, definition.file);
  ASSERT_FALSE(bound.empty());

  // Every register section of the file is shown by some control, and every control finds its section.
  std::vector<std::string> sections = clsINIFile(definition.file).GetSectionNames();
  const auto general = std::find(sections.begin(), sections.end(), "General");
  ASSERT_NE(general, sections.end());
  sections.erase(general);
  std::vector<std::string> sorted_bound = bound;
  std::sort(sorted_bound.begin(), sorted_bound.end());
  std::sort(sections.begin(), sections.end());
  EXPECT_EQ(sorted_bound, sections);

  for (int i = 0; i < registers.RegisterObjectCount(); ++i) {
    const clsRegister& reg = *registers.GetRegisterObject(i);
    EXPECT_TRUE(reg.IsValid()) << reg.RegisterName();
    EXPECT_TRUE(reg.FMTTextBox() || reg.FMTComboBox() || reg.FMTCheckBox()) << reg.RegisterName();
  }
  ASSERT_NE(registers.FindRegister("Interface"), nullptr);
  EXPECT_TRUE(registers.FindRegister("Interface")->DisplayOnly());

  // Claims stay inside the file's mask, and the file's mask inside the program's default mask.
  const std::vector<uint8_t> claimed = Bytes(registers.ValidMask());
  const std::vector<uint8_t> allowed = Bytes(definition.register_mask);
  const std::vector<uint8_t> program = Bytes(clsRegisters::GetDefaultMask());
  for (int address = 0; address < kRegisterSpace; ++address) {
    EXPECT_EQ(claimed[address] & ~allowed[address], 0) << module << " claims outside its mask at " << address;
    EXPECT_EQ(allowed[address] & ~program[address], 0)
        << module << " mask outside the default at " << address;
  }

  // The factory image is the definition's default image, and each register's default matches it.
  const std::string default_file =
      FindModuleFile(DefaultDir(), module, register_files::kSection, {"ini", "inf", "cfg"});
  ASSERT_FALSE(default_file.empty()) << "no factory image of " << module;
  const std::vector<uint8_t> image =
      Bytes(clsINIFile(default_file).GetKeyValue("Registers", "", "MSRRegister"));
  EXPECT_EQ(image, definition.default_value);
  for (int address = 0xE0; address < 0xF0; ++address) EXPECT_EQ(image[address], 0xFF) << "no alias";
  for (int i = 0; i < registers.RegisterObjectCount(); ++i) {
    const clsRegister& reg = *registers.GetRegisterObject(i);
    if (reg.DataType() == clsRegister::kDataBit) {
      EXPECT_EQ((image[reg.Register()] >> reg.RegisterBit()) & 1, reg.DefaultValue() != 0)
          << reg.RegisterName();
    } else if (reg.DataType() == clsRegister::kDataByte) {
      EXPECT_EQ(image[reg.Register()], reg.DefaultValue()) << reg.RegisterName();
    }
  }

  // Shown in the controls, the factory image gives the serial settings the program follows, and a
  // typing speed that is a number.
  ASSERT_TRUE(registers.SetRegisters(image));
  registers.UpdateRegisters();
  std::string settings;
  for (const char* name : {"Baudrate", "Parity", "DataBits", "StopBits"}) {
    const clsRegister* reg = registers.FindRegister(name);
    ASSERT_NE(reg, nullptr) << name;
    ASSERT_NE(reg->FMTComboBox(), nullptr) << name;
    settings += (settings.empty() ? "" : ",") + reg->FMTComboBox()->Text();
  }
  EXPECT_EQ(settings, "19200,None,8,1");
  if (const clsRegister* speed = registers.FindRegister("TypeingSpeed")) {
    const std::string text = speed->FMTComboBox()->Text();
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text.find_first_not_of("0123456789"), std::string::npos) << text;
  }
  query.UnLoadSkin();
  EXPECT_EQ(registers.RegisterObjectCount(), 0) << "the registers let go before the form went";
}

// "QV-R4410-03" as a test name: letters and digits only.
std::string ModelTestName(const ::testing::TestParamInfo<std::pair<std::string, std::string>>& param) {
  std::string name = param.param.first;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return !isalnum(c); }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Catalogue, ShippedModel, ::testing::ValuesIn(CatalogueEntries()), ModelTestName);

}  // namespace
