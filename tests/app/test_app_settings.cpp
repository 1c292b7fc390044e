// The scan lists of the settings file and the device-list test that reads them; the reason of a failed
// save of the per-user settings.
#include <gtest/gtest.h>

#include <cerrno>

#include "app/app_settings.h"
#include "app/device_list.h"
#include "platform/file_system.h"
#include "platform/system_error.h"
#include "registers/user_settings.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(AppSettings, ScanListsTakeTheirOwnDefaultsInTestMode) {
  test_support::TempDir program("app-settings");
  test_support::ScopedEnv home("MSRCFG_HOME", program.path());
  program.WriteFile("Trakset.ini", "[General]\nBaudrates =   \nMultipleInterfaces = \" KRD9 \"\n");

  const app_settings::ScanSettings scan = app_settings::ReadScanSettings(false);
  EXPECT_EQ(scan.module_names, "KRD31/36,KRD300/350,QV-R4410-03,KRD##*[AKPR]*,QV-R###*-*");
  EXPECT_EQ(scan.baud_rates, "19200,9600");
  EXPECT_EQ(scan.multiple_interfaces, "KRD9");
  const app_settings::ScanSettings test = app_settings::ReadScanSettings(true);
  EXPECT_EQ(test.module_names, "KRD31/36,KRD300/350,QV-R4410-03");
  EXPECT_EQ(test.baud_rates, "150,300,600,2400,4800,9600,14400,19200");
}

TEST(AppSettings, AFailedSaveOfTheUserSettingsSaysWhy) {
  test_support::TempDir config("app-settings");
  test_support::ScopedEnv xdg("XDG_CONFIG_HOME", config.path());
  ASSERT_TRUE(platform::MakeDirectories(UserSettingsPath()));  // a folder where the file should be
  std::string error;
  EXPECT_FALSE(app_settings::SaveUserSettings(app_settings::UserSettings{}, &error));
  EXPECT_EQ(error, UserSettingsPath() + ": " + platform::GetSystemErrorText(EISDIR));
}

TEST(DeviceList, NamesAndPatternsOfTheSettingsFile) {
  const std::string modules = "KRD31/36,KRD300/350,QV-R4410-03,KRD##*[AKPR]*,QV-R###*-*";
  EXPECT_TRUE(IsInDeviceList(modules, "krd31/36", ","));
  EXPECT_TRUE(IsInDeviceList(modules, "KRD42XA-9", ","));
  EXPECT_TRUE(IsInDeviceList(modules, "krd36ar", ","));  // patterns ignore case too
  EXPECT_TRUE(IsInDeviceList(modules, "QV-R123X-7", ","));
  EXPECT_FALSE(IsInDeviceList(modules, "KRD31", ","));  // a whole item, not a part of one
  EXPECT_TRUE(IsInDeviceList("KRD320RK;QV-R9", "qv-r9", ";"));
  EXPECT_FALSE(IsInDeviceList("KRD320RK;QV-R9", "QV-R9", ","));
  EXPECT_FALSE(IsInDeviceList("KRD320RK", "", ","));
}

}  // namespace
