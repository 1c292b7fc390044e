// Building a skin form from its description.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "skin/skin_form.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const char* const kTabs[] = {"Communication", "Tracks"};
const MsrSkinListItem kModes[] = {{"Off", 0}, {"On", 1}};

template <typename T>
T& Get(SkinForm& form, const char* name) {
  auto* control = dynamic_cast<T*>(form.Find(name));
  if (control == nullptr) throw std::runtime_error(std::string("no control ") + name);
  return *control;
}

TEST(BuildSkinForm, PutsEachControlOnItsTabWithItsLabelAndLaysOutRowsInOrder) {
  const MsrSkinControl controls[] = {
      {.kind = "ComboBox", .name = "cboBaud", .caption = "Baud rate", .tag = "Item:Baudrate", .tab = 0},
      {.kind = "TextBox", .name = "txtPrefix", .caption = "Prefix", .tag = "Item:Prefix", .tab = 1},
      {.kind = "CheckBox", .name = "chkTrack1", .caption = "Track 1", .tab = 1},
      {.kind = "ComboBox", .name = "cboMode", .tab = 0, .items = kModes, .item_count = 2},
      {.kind = "Label", .name = "labNote", .caption = "Note", .tab = 0},
  };
  const MsrSkinForm description = {
      .name = "Main", .tab_captions = kTabs, .tab_count = 2, .controls = controls, .control_count = 5};
  std::vector<std::string> problems;
  auto form = BuildSkinForm(description, &problems);
  EXPECT_THAT(problems, IsEmpty());
  platform::TabControl* tabs = form->SSTab();
  ASSERT_NE(tabs, nullptr);
  EXPECT_EQ(tabs->Name(), "SSTab1") << "a tab control without a name gets the usual one";
  EXPECT_EQ(tabs->TabCaption(1), "Tracks");

  auto& baud = Get<platform::ComboBox>(*form, "cboBaud");
  auto& label = Get<platform::Label>(*form, "lblcboBaud");
  auto& prefix = Get<platform::TextBox>(*form, "txtPrefix");
  auto& track = Get<platform::CheckBox>(*form, "chkTrack1");
  auto& mode = Get<platform::ComboBox>(*form, "cboMode");
  auto& note = Get<platform::Label>(*form, "labNote");
  EXPECT_EQ(baud.Tag(), "Item:Baudrate");
  EXPECT_EQ(label.Caption(), "Baud rate");
  EXPECT_EQ(label.TabPage(), 0);
  EXPECT_EQ(prefix.TabPage(), 1);
  EXPECT_EQ(track.Caption(), "Track 1");
  EXPECT_EQ(form->Find("lblchkTrack1"), nullptr) << "a check box carries its own caption";
  EXPECT_EQ(form->Find("lblcboMode"), nullptr) << "no caption, no label";
  ASSERT_EQ(mode.ListCount(), 2);
  EXPECT_EQ(mode.ItemData(1), 1);

  EXPECT_LT(label.Left() + label.Width(), baud.Left()) << "the label stands in front";
  EXPECT_LT(baud.Top(), mode.Top());
  EXPECT_LT(mode.Top(), note.Top());
  EXPECT_EQ(prefix.Top(), baud.Top()) << "each page starts at the top";
  EXPECT_LT(prefix.Top(), track.Top());
  EXPECT_GE(tabs->Height(), note.Top() + note.Height());
}

TEST(BuildSkinForm, FramesHoldTheirControlsAndGivenGeometryIsKept) {
  const MsrSkinControl controls[] = {
      {.kind = "Frame", .name = "fraLine", .caption = "Serial line", .tab = 1},
      {.kind = "ComboBox", .name = "cboBaud", .caption = "Baud", .tab = 1, .frame = "fraLine"},
      {.kind = "ComboBox", .name = "cboParity", .caption = "Parity", .tab = 1, .frame = "fraLine"},
      {.kind = "CheckBox", .name = "chkAfter", .caption = "After the frame", .tab = 1},
      {.kind = "TextBox", .name = "txtPlaced", .tab = 0, .left = 300, .top = 40, .width = 90, .height = 20},
  };
  const MsrSkinForm description = {
      .tab_captions = kTabs, .tab_count = 2, .controls = controls, .control_count = 5};
  auto form = BuildSkinForm(description);
  platform::Control* frame = form->Find("fraLine");
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->TabPage(), 1);
  ASSERT_THAT(frame->Children(), SizeIs(4)) << "two combo boxes and their labels";
  platform::Control* parity = form->Find("cboParity");
  EXPECT_EQ(parity->Parent(), frame);
  EXPECT_LE(parity->Top() + parity->Height(), frame->Height()) << "the frame grows to hold its rows";
  EXPECT_GE(form->Find("chkAfter")->Top(), frame->Top() + frame->Height());

  platform::Control* placed = form->Find("txtPlaced");
  EXPECT_EQ(placed->Left(), 300);
  EXPECT_EQ(placed->Top(), 40);
  EXPECT_GE(form->SSTab()->Width(), 390 + SkinLayout::kMargin) << "the tab control covers placed controls";
}

TEST(BuildSkinForm, LeavesOutWhatCannotBeBuiltAndSaysWhy) {
  const MsrSkinControl controls[] = {
      {.kind = "Slider", .name = "sldVolume", .tab = 0},
      {.kind = "TextBox", .name = "txtFar", .tab = 5},
      {.kind = "TextBox", .name = "txtLost", .tab = 0, .frame = "fraNone"},
      {.kind = "TextBox", .name = "txtA", .tab = 0},
      {.kind = "TextBox", .name = "txtA", .tab = 0},
      {.kind = nullptr, .name = nullptr},
      {.kind = "Frame", .name = "fraOther", .tab = 1},
      {.kind = "TextBox", .name = "txtWrongTab", .tab = 0, .frame = "fraOther"},
  };
  const MsrSkinForm description = {
      .tab_captions = kTabs, .tab_count = 2, .controls = controls, .control_count = 8};
  std::vector<std::string> problems;
  auto form = BuildSkinForm(description, &problems);
  EXPECT_THAT(problems, ElementsAre(HasSubstr("unknown kind \"Slider\""), HasSubstr("txtFar: no tab 5"),
                                    HasSubstr("no frame \"fraNone\""), HasSubstr("repeated name \"txtA\""),
                                    HasSubstr("missing or repeated name"),
                                    HasSubstr("no frame \"fraOther\" on tab 0")));
  EXPECT_NE(form->Find("txtA"), nullptr);

  // A description with nothing in it still gives a tab control with one page.
  auto bare = BuildSkinForm(MsrSkinForm{});
  ASSERT_NE(bare->SSTab(), nullptr);
  EXPECT_EQ(bare->SSTab()->Tabs(), 1);
}

}  // namespace
