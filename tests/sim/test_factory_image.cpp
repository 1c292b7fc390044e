// A reader started without an image of its own takes its model's factory image, as shipped in Default/.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "sim/options.h"
#include "sim/register_file.h"
#include "tests/support/temp_dir.h"

namespace msrsim {
namespace {

using ::testing::HasSubstr;

// An image whose every byte is `fill`, but for the baud-rate code 3 (9600) in register 1.
std::string Image(const std::string& fill) {
  std::string hex;
  for (int i = 0; i < 256; ++i) hex += i == 1 ? "03" : fill;
  return hex;
}

TEST(FactoryImage, TheModelsFileIsUsedOnlyWhenTheCommandLineGivesNoImage) {
  test_support::TempDir dir("msrsim-factory");
  dir.WriteFile("Others.cfg", "[MSRRegister]\nModule = Others\nRegisters = " + Image("11") + "\n");
  dir.WriteFile("krd.ini", "[MSRRegister]\nModule =  krd36ar \nRegisters = " + Image("22") + "\n");
  dir.WriteFile("QV.cfg", "[MSRRegister]\nModule = QV-R4410-03\nRegisters = 0102\n");
  EXPECT_EQ(FindFactoryImage(dir.path(), "KRD36AR"), dir.File("krd.ini"));
  EXPECT_EQ(FindFactoryImage(dir.path(), "KRD42"), "") << "no fallback to another model's image";
  EXPECT_EQ(FindFactoryImage(dir.path(), ""), "");

  ReaderArgs reader;
  reader.factory_folder = dir.path();
  ReaderConfig config;
  std::string error;
  ASSERT_TRUE(BuildReaderConfig(reader, config, error)) << error;
  EXPECT_EQ(config.registers[0x40], 0x22) << "the default identification's model is KRD36AR";
  EXPECT_EQ(config.line_rate, 9600u) << "the image's baud-rate register sets the line";

  reader.fill = 0x00;
  ASSERT_TRUE(BuildReaderConfig(reader, config, error));
  EXPECT_EQ(config.registers[0x40], 0x00) << "--fill wins";

  reader.fill.reset();
  reader.config.identification = "KRD42XA-9,2TRACK,UART";
  ASSERT_TRUE(BuildReaderConfig(reader, config, error));
  EXPECT_EQ(config.registers[0x40], 0x00) << "a model without an image keeps the built-in one";
  EXPECT_EQ(config.line_rate, 19200u);

  reader.config.identification = "QV-R4410-03";
  EXPECT_FALSE(BuildReaderConfig(reader, config, error)) << "a broken factory image stops the reader";
  EXPECT_THAT(error, HasSubstr("QV.cfg"));
}

}  // namespace
}  // namespace msrsim
