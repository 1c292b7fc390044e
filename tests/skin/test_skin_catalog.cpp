// Finding a model's skin definition and default file by their Module key.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "registers/register_files.h"
#include "skin/skin_catalog.h"
#include "tests/support/temp_dir.h"

namespace {

using ::testing::HasSubstr;

std::string Hex(const std::string& pair) {
  std::string text;
  for (int i = 0; i < kRegisterSpace; ++i) text += pair;
  return text;
}

TEST(SkinCatalog, FindsTheDefinitionByModuleAndFillsMissingKeysWithDefaults) {
  test_support::TempDir dir("skin-catalog");
  dir.WriteFile("All.in_", "[Skins]\n");
  dir.WriteFile("A.ini", "[General]\nModule = KRD36AR\nInterface = SkinKRD.KRD\nRegisterMask = " + Hex("0f") +
                             "\nDefaultValue = " + Hex("12") + "\n");
  dir.WriteFile("B.inf", "[General]\nModule =  qv-r4410-03 \n");
  dir.WriteFile("C.txt", "[General]\nModule = Others\n");

  SkinDefinition definition;
  std::string error;
  ASSERT_TRUE(ReadSkinDefinition(dir.path(), "KRD36AR", definition, error)) << error;
  EXPECT_EQ(definition.file, dir.File("A.ini"));
  EXPECT_EQ(definition.interface_name, "SkinKRD.KRD");
  EXPECT_EQ(definition.register_mask, Hex("0f")) << "the mask is handed on as written";
  ASSERT_EQ(definition.default_value.size(), 256u);
  EXPECT_EQ(definition.default_value[255], 0x12);

  ASSERT_TRUE(ReadSkinDefinition(dir.path(), "QV-R4410-03", definition, error));
  EXPECT_EQ(definition.file, dir.File("B.inf"));
  EXPECT_EQ(definition.module, "qv-r4410-03");
  EXPECT_EQ(definition.interface_name, "Default.A");
  EXPECT_EQ(definition.register_mask, AllRegistersHex());
  EXPECT_EQ(definition.default_value, std::vector<uint8_t>(256, 0xFF));

  std::string detail;
  EXPECT_FALSE(ReadSkinDefinition(dir.path(), "Others", definition, error, &detail))
      << "only .ini and .inf files are definitions";
  EXPECT_EQ(error, "Read Settings Error");
  EXPECT_THAT(detail, HasSubstr("Module = Others"));
  EXPECT_FALSE(ReadSkinDefinition(dir.path(), "", definition, error));
}

TEST(SkinCatalog, ABrokenDefinitionOrAMissingCatalogueIsAReadSettingsError) {
  test_support::TempDir dir("skin-catalog");
  dir.WriteFile("Short.ini", "[General]\nModule = Short\nDefaultValue = " + Hex("00").substr(2) + "\n");
  dir.WriteFile("Bad.ini", "[General]\nModule = Bad\nRegisterMask = " + Hex("GG") + "\n");
  SkinDefinition definition;
  definition.module = "untouched";
  std::string error;
  std::string detail;
  EXPECT_FALSE(ReadSkinDefinition(dir.path(), "Short", definition, error, &detail));
  EXPECT_THAT(detail, HasSubstr("no skin catalogue"));

  dir.WriteFile("All.in_", "");
  EXPECT_FALSE(ReadSkinDefinition(dir.path(), "Short", definition, error, &detail));
  EXPECT_EQ(error, "Read Settings Error");
  EXPECT_THAT(detail, HasSubstr("DefaultValue"));
  EXPECT_FALSE(ReadSkinDefinition(dir.path(), "Bad", definition, error, &detail));
  EXPECT_THAT(detail, HasSubstr("RegisterMask"));
  EXPECT_EQ(definition.module, "untouched") << "a failed look-up changes nothing";
}

// Blanks, digit case, odd digits and other characters are the register layer's hexadecimal reader's.
TEST(SkinCatalog, RegisterImagesMustHoldExactly256Bytes) {
  std::vector<uint8_t> bytes;
  EXPECT_TRUE(RegisterImageFromHex("01" + Hex("aB").substr(2), bytes));
  EXPECT_EQ(bytes[1], 0xAB);
  for (const std::string& bad : {std::string(" "), Hex("00") + "00", Hex("00").substr(2)}) {
    EXPECT_FALSE(RegisterImageFromHex(bad, bytes)) << bad.size();
  }
  EXPECT_EQ(bytes[0], 0x01) << "a failed conversion changes nothing";
}

TEST(SkinCatalog, DefaultFilesAreFoundByTheirModuleInSectionMSRRegister) {
  test_support::TempDir dir("default-files");
  dir.WriteFile("b.cfg", "[MSRRegister]\nModule = KRD36AR\n");
  dir.WriteFile("a.ini", "[General]\nModule = KRD36AR\n");
  dir.WriteFile("c.inf", "[MSRRegister]\nModule = Others\n");
  EXPECT_EQ(FindModuleFile(dir.path(), "krd36ar", register_files::kSection, {"ini", "inf", "cfg"}),
            dir.File("b.cfg"));
  EXPECT_EQ(FindModuleFile(dir.path(), "Others", register_files::kSection, {"ini", "inf", "cfg"}),
            dir.File("c.inf"));
  EXPECT_EQ(FindModuleFile(dir.path(), "Others", register_files::kSection, {"cfg"}), "");
  EXPECT_EQ(FindModuleFile(dir.path() + "/none", "Others", register_files::kSection, {"inf"}), "");
}

}  // namespace
