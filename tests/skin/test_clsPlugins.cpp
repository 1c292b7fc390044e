// Taking up skin libraries: good ones once each, broken and foreign ones left out with a reason.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "skin/clsPlugins.h"
#include "skin/load_plugin_skin.h"
#include "tests/skin/skin_test_support.h"

namespace {

using skin_test::Watched;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

TEST(clsPlugins, LoadsALibraryOnceAndKeepsItLoadedWhileItsQueryLives) {
  skin_test::SkinFolder folder;
  const std::string path = folder.AddPlugin("good", "Skin1.so");
  auto skin = std::make_unique<Watched>(path);
  clsPlugins plugins;
  ASSERT_TRUE(plugins.RegisterServer(path));
  ASSERT_TRUE(plugins.RegisterServer(path)) << "registering again is allowed";
  EXPECT_EQ(plugins.LoadedCount(), 1u);
  EXPECT_EQ(skin->Registered(), 2);

  auto query = plugins.CreateQuery("skin1.QUERY");
  ASSERT_TRUE(query) << "identifiers compare without regard to case";
  std::string reason;
  EXPECT_FALSE(plugins.CreateQuery("Skin2.Query", &reason));
  EXPECT_THAT(reason, HasSubstr("Skin2.Query"));

  // Unregistering forgets the identifier; only the query object holds the library now. Were it unloaded,
  // the calls below would land in unmapped code.
  skin.reset();
  ASSERT_TRUE(plugins.UnRegisterServer(path));
  EXPECT_FALSE(plugins.IsLoaded(path));
  EXPECT_FALSE(plugins.CreateQuery("Skin1.Query"));
  EXPECT_EQ(query->Query().QueryObjectCount(), 2);
  skin = std::make_unique<Watched>(path);
  EXPECT_EQ(skin->Unregistered(), 1) << "the same library, still in memory";
  query.reset();
  EXPECT_EQ(skin->LiveQueries(), 0) << "released through the skin's own function";
}

TEST(clsPlugins, LeavesOutLibrariesItCannotUseAndSaysWhy) {
  skin_test::SkinFolder folder;
  const std::string good = folder.AddPlugin("good", "Good.so");
  std::string image;
  ASSERT_TRUE(platform::ReadWholeFile(good, image));
  const std::string text = folder.Write("Text.so", "not a library\n");
  struct Case {
    std::string path;
    const char* reason;
  };
  const Case cases[] = {
      {"Good.so", "absolute path"},
      {folder.File("Missing.so"), "Missing.so"},
      {text, "Text.so"},
      {folder.AddPlugin("no_contract", "NoContract.so"), "not a skin library"},
      {folder.AddPlugin("no_register", "NoRegister.so"), "no DllRegisterServer"},
      {folder.AddPlugin("wrong_version", "Wrong.so"),
       "skin contract version 2, this program needs version 1"},
  };
  const Watched wrong(folder.File("Wrong.so"));
  clsPlugins plugins;
  for (const Case& c : cases) {
    std::string reason;
    EXPECT_FALSE(plugins.RegisterServer(c.path, &reason)) << c.path;
    EXPECT_THAT(reason, HasSubstr(c.reason)) << c.path;
  }
  // A copy cut short anywhere in the parts the loader maps is refused before the loader touches it.
  for (const size_t size : {40, 200, 3000, 9000}) {
    const std::string name = "Cut" + std::to_string(size) + ".so";
    std::string reason;
    EXPECT_FALSE(plugins.RegisterServer(folder.Write(name, image.substr(0, size)), &reason)) << name;
    EXPECT_THAT(reason, HasSubstr(name)) << name;
  }
  EXPECT_EQ(plugins.LoadedCount(), 0u) << "refused libraries are not kept";
  EXPECT_EQ(wrong.Registered(), 0) << "a library of another contract version is never called";
}

TEST(LoadPluginSkin, KeepsTheSkinsOfAFolderAndUnregistersTheRest) {
  skin_test::SkinFolder folder;
  folder.AddPlugin("good", "Skin1.so");
  folder.AddPlugin("good", "Skin2.so");
  folder.AddPlugin("not_a_skin", "Toolbox.so");
  folder.AddPlugin("refuses_query", "Shy.so");
  std::string image;
  ASSERT_TRUE(platform::ReadWholeFile(folder.File("Skin1.so"), image));
  folder.Write("Broken.so", image.substr(0, 200));
  folder.Write("readme.txt", "not a candidate\n");
  const Watched skin1(folder.File("Skin1.so"));
  const Watched toolbox(folder.File("Toolbox.so"));

  clsPlugins plugins;
  clsSkinQuery query(plugins);
  const PluginSkinResult first = LoadPluginSkin(folder.path(), plugins, query);
  EXPECT_THAT(first.skins, ElementsAre("Skin1", "Skin2"));
  // Libraries that clsPlugins refuses (each way is tried above) are skipped with its reason.
  ASSERT_THAT(first.skipped, SizeIs(3));
  EXPECT_THAT(first.skipped[0], HasSubstr("Broken.so: file cut short"));
  EXPECT_THAT(first.skipped[1], HasSubstr("Shy.so: OpenQuery - "));
  EXPECT_THAT(first.skipped[2], HasSubstr("Toolbox.so: not an MSR skin (\"Barcode Scanner Driver 2.3\")"));
  EXPECT_EQ(toolbox.Unregistered(), 1);
  EXPECT_FALSE(plugins.IsLoaded(folder.File("Toolbox.so")));
  EXPECT_FALSE(query.OpenQuery("Toolbox")) << "a library that is no skin answers no later open";
  EXPECT_EQ(plugins.LoadedCount(), 2u);

  // The same folder written with blanks and a trailing separator finds the same skins, loaded not twice.
  const PluginSkinResult second = LoadPluginSkin("  " + folder.path() + "/ ", plugins, query);
  EXPECT_EQ(second.skins, first.skins);
  EXPECT_EQ(plugins.LoadedCount(), 2u);
  EXPECT_EQ(skin1.Registered(), 2);
}

}  // namespace
