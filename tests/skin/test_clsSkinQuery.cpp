// The query object of a skin library and the skin form loaded from it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "skin/clsSkinQuery.h"
#include "tests/skin/skin_test_support.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// "Skin1.Main" and "Skin1" are opened below.
TEST(clsSkinQuery, QueryIdentifiersComeFromTheLibraryPartOfTheName) {
  EXPECT_EQ(clsSkinQuery::QueryIdentifier("Skin1.Main.Extra"), "Skin1.Query");
  EXPECT_EQ(clsSkinQuery::FormName("Skin1.Main.Extra"), "Main.Extra");
  EXPECT_EQ(clsSkinQuery::FormName("Skin1"), "");
}

class SkinQueryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(plugins_.RegisterServer(folder_.AddPlugin("good", "Skin1.so")));
    ASSERT_TRUE(plugins_.RegisterServer(folder_.AddPlugin("good", "Skin2.so")));
    skin1_ = std::make_unique<skin_test::Watched>(folder_.File("Skin1.so"));
  }

  skin_test::SkinFolder folder_;
  std::unique_ptr<skin_test::Watched> skin1_;
  clsPlugins plugins_;
  clsSkinQuery query_{plugins_};
  platform::Container owner_{"picBack"};
};

TEST_F(SkinQueryTest, OpenQueryCreatesAnObjectOnlyForANewIdentifier) {
  ASSERT_TRUE(query_.OpenQuery("Skin1.Main"));
  EXPECT_EQ(query_.Identifier(), "Skin1.Query");
  EXPECT_EQ(query_.SkinVersion(), "Test msr skin 1.0");
  EXPECT_EQ(query_.QueryObjectCount(), 2);
  EXPECT_EQ(query_.QueryObjectName(1), "Second");
  EXPECT_EQ(query_.QueryObjectName(2), "");

  EXPECT_EQ(skin1_->CreatedQueries(), 1);
  ASSERT_TRUE(query_.OpenQuery("Skin1"));
  ASSERT_TRUE(query_.OpenQuery("SKIN1.Second"));
  EXPECT_EQ(skin1_->CreatedQueries(), 1) << "the same identifier keeps its query object";

  EXPECT_FALSE(query_.OpenQuery("Skin9.Main"));
  EXPECT_THAT(query_.LastError(), StartsWith("OpenQuery - "));
  EXPECT_THAT(query_.LastError(), HasSubstr("Skin9.Query"));
  EXPECT_FALSE(query_.HasQuery());
  EXPECT_EQ(skin1_->LiveQueries(), 0) << "a failed open drops the old query object";
  EXPECT_EQ(query_.SkinVersion(), "");
  EXPECT_EQ(query_.QueryObjectCount(), 0);
}

TEST_F(SkinQueryTest, LoadSkinBuildsTheFormIntoItsOwnerAndKeepsItWhileTheNameStaysTheSame) {
  ASSERT_TRUE(query_.LoadSkin("Skin1.Main", nullptr));
  SkinForm* form = query_.GetSkinObj();
  ASSERT_NE(form, nullptr);
  EXPECT_FALSE(form->Shown()) << "without an owner the form stays hidden";
  EXPECT_NE(form->Find("cboBaud"), nullptr);

  form->Move(5, 7);
  ASSERT_TRUE(query_.LoadSkin("Skin1.main", &owner_));
  EXPECT_EQ(query_.GetSkinObj(), form) << "the same form is not built again, only given its owner";
  EXPECT_EQ(form->Owner(), &owner_);
  EXPECT_TRUE(form->Shown());
  EXPECT_EQ(form->Left() + form->Top(), 0) << "always at the owner's top-left corner";

  bool released = false;
  form->OnOwnerChanged = [&released, form] { released = form->Owner() == nullptr; };

  // Another library with a form of the same name is another skin.
  ASSERT_TRUE(query_.LoadSkin("Skin2.Main", &owner_));
  EXPECT_TRUE(released) << "the old form was taken from its owner";
  EXPECT_EQ(query_.Identifier(), "Skin2.Query");

  ASSERT_TRUE(query_.LoadSkin("Skin2.Second", &owner_));
  EXPECT_EQ(query_.SkinName(), "Second");
  EXPECT_NE(query_.GetSkinObj()->Find("txtName"), nullptr);

  EXPECT_TRUE(query_.UnLoadSkin());
  EXPECT_EQ(query_.GetSkinObj(), nullptr);
  EXPECT_EQ(query_.SkinName(), "");
}

TEST_F(SkinQueryTest, FailuresReportTheirMemberAndLeaveNoForm) {
  EXPECT_FALSE(query_.LoadSkin("Skin9.Main", &owner_));
  EXPECT_EQ(query_.LastError(), "LoadSkin - UnLoadSkin Error");
  EXPECT_THAT(query_.LastErrorDetail(), StartsWith("OpenQuery - "));

  ASSERT_TRUE(query_.LoadSkin("Skin1.Main", &owner_));
  EXPECT_FALSE(query_.LoadSkin("Skin1.Missing", &owner_));
  EXPECT_EQ(query_.LastError(), "LoadSkin - UnLoadSkin Error");
  EXPECT_THAT(query_.LastErrorDetail(), StartsWith("GetObjects - "));
  EXPECT_EQ(query_.GetSkinObj(), nullptr) << "the old form is unloaded before the new one is asked for";

  EXPECT_FALSE(query_.SetSkinOwner(nullptr, &owner_));
  EXPECT_THAT(query_.LastError(), StartsWith("SetSkinOwner - "));
}

}  // namespace
