// FontFunctions' name readers as callers reach them: typed and late-bound, over the platform's
// doubles and over the real font resource files.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "borvane/automation/dispatch.h"
#include "borvane/fonts/font_functions.h"
#include "borvane/frame/class_table.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/system.h"
#include "borvane/platform/testing/files.h"
#include "borvane/platform/testing/fonts.h"
#include "borvane/platform/testing/session.h"
#include "tests/fonts/fonts_test_support.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using namespace platform;
using testing::ErrorOf;
using testing::InUse;

class NameReaders : public ::testing::Test {
 protected:
  NameReaders() { fonts_.SetNames("\\fonts\\Sample.ttf", "Sample Bold", "Sample", "Bold"); }
  InUse<MemoryFileSystem, FileSystem> files_;
  InUse<FakeFontResource, FontResource> fonts_;
  InUse<RecordingMessageBoxes, MessageBoxes> boxes_;
  InUse<FakeSystem, SystemService> system_;
  FontFunctions f_;
};

TEST_F(NameReaders, TrueTypeNamesComeFromAFotInTheTemporaryFolder) {
  String dir = "\\fonts", file = "Sample.ttf";
  bool show = false;
  FONTINFO info;
  ASSERT_TRUE(f_.GetTTFontInfo(dir, file, info, show));
  EXPECT_EQ(info.FontName, String("Sample Bold"));
  EXPECT_EQ(info.FontFamily, String("Sample"));
  EXPECT_EQ(info.FontStyle, String("Bold"));
  EXPECT_EQ(fonts_.Calls()[0].fot_path, String("/tmp/Sample.FOT"));
  EXPECT_EQ(fonts_.Calls()[0].directory, String("\\fonts\\"));
  EXPECT_EQ(files_.Get("/tmp/Sample.FOT"), nullptr);  // deleted after the read
  // A .FOT of that name already there is replaced without a word.
  files_.Put("/tmp/Sample.FOT", "old");
  EXPECT_TRUE(f_.GetTTFontInfo(dir, file, info, show));
  EXPECT_TRUE(boxes_.boxes.empty());
  // An empty folder reaches the platform as a single backslash; no temporary folder means
  // the Windows folder.
  String empty;
  system_.temp_folder = String();
  f_.GetTTFontInfo(empty, file, info, show);
  EXPECT_EQ(fonts_.Calls().back().directory, String("\\"));
  EXPECT_EQ(fonts_.Calls().back().fot_path, String("/windows\\Sample.FOT"));
  String short_name = "a.f";
  EXPECT_EQ(ErrorOf([&] { f_.GetTTFontInfo(dir, short_name, info, show); }), 5);
}

TEST_F(NameReaders, FailuresOfThePlatformShowTheirCodeOnlyWhenAsked) {
  String dir = "\\fonts", file = "Sample.ttf";
  FONTINFO info{"keep", "keep", "keep"};
  bool quiet = false, show = true;
  for (uint32_t code : {80u, 5u, 0u}) {
    fonts_.Fail(1, code);
    EXPECT_FALSE(f_.GetTTFontInfo(dir, file, info, quiet));
    fonts_.Fail(1, code);
    EXPECT_FALSE(f_.GetTTFontInfo(dir, file, info, show));
  }
  EXPECT_EQ(info.FontName, String("keep"));
  ASSERT_EQ(boxes_.boxes.size(), 2u);
  EXPECT_EQ(boxes_.boxes[0].text, String("Font file Sample.ttf already exists."));
  EXPECT_EQ(boxes_.boxes[1].text, String("Error  5"));
  EXPECT_FALSE(boxes_.boxes[0].caption.has_value());
}

TEST_F(NameReaders, BitmapNamesClearFamilyAndStyleAndFailSilently) {
  files_.Put("/fonts/small.fon", std::string("MZ..FONTRES 100,96,96 : Small 8,10\0more", 40));
  String dir = "\\fonts", file = "small.fon", missing = "none.fon";
  bool show = true;
  FONTINFO info{"a", "b", "c"};
  EXPECT_FALSE(f_.GetBitmapFontInfo(dir, missing, info, show));
  EXPECT_EQ(info.FontFamily, String("b"));
  ASSERT_TRUE(f_.GetBitmapFontInfo(dir, file, info, show));
  EXPECT_EQ(info.FontName, String("Small 8,10"));
  EXPECT_TRUE(info.FontFamily.empty() && info.FontStyle.empty());
  EXPECT_TRUE(boxes_.boxes.empty());
}

TEST(FontFunctionsTest, LateBoundOverTheRealFontResource) {
  testing::ScratchFolder folder;
  setenv("TMPDIR", folder.path().c_str(), 1);
  Object fonts = GlobalFontFunctions();
  std::vector<Variant> args = {Variant("/usr/share/fonts/truetype/dejavu/"),
                               Variant("DejaVuSans-Bold.ttf"), Variant()};
  EXPECT_EQ(CallByName(fonts, "GetTTFontInfo", VbMethod, args), Variant(true));
  const Record* info = args[2].GetIf<Record>();
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->Field(u"FontName"), Variant("DejaVu Sans Bold"));
  EXPECT_EQ(info->Field(u"FontFamily"), Variant("DejaVu Sans"));
  EXPECT_EQ(info->Field(u"FontStyle"), Variant("Bold"));
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  // A ".FOT" of that name left behind is replaced, and then deleted.
  folder.Put("DejaVuSans-Bold.FOT", "stale");
  EXPECT_EQ(CallByName(fonts, "GetTTFontInfo", VbMethod, args), Variant(true));
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  args[1] = Variant("NoSuchFont.ttf");
  EXPECT_EQ(CallByName(fonts, "GetTTFontInfo", VbMethod, args), Variant(false));
  unsetenv("TMPDIR");
  const InterfaceInfo& iface = FontFunctions::StaticClassInfo().default_interface;
  EXPECT_EQ(iface.members.size(), 17u);
  EXPECT_EQ(iface.members[16].name, String("GetFontFriedlyName"));
}

// The type information lists every public enumeration, the end of the session's and the help
// window's tabs among them, though no member takes the latter.
TEST(FontFunctionsTest, TypeInformationListsThePublicEnumerations) {
  std::map<std::string, std::map<std::string, int32_t>> enums;
  for (const TypeDesc* t : LibraryEnumerations())
    for (const ConstantInfo& c : t->Constants())
      enums[t->Name().ToUtf8()][c.name.ToUtf8()] = CLng(c.value);
  EXPECT_EQ(enums["eShutDown"], (std::map<std::string, int32_t>{{"shtLogOff", 0},
                                                                {"shtForceLogOff", 4},
                                                                {"shtShutDown", 1},
                                                                {"shtForceShutDown", 5},
                                                                {"shtReboot", 2},
                                                                {"shtForceReboot", 6},
                                                                {"shtPowerOff", 8},
                                                                {"shtForcePowerOff", 12}}));
  EXPECT_EQ(enums["HHWIN_NAVTAB_"],
            (std::map<std::string, int32_t>{
                {"HHWIN_NAVTAB_TOP", 0}, {"HHWIN_NAVTAB_LEFT", 1}, {"HHWIN_NAVTAB_BOTTOM", 2}}));
  for (const char* name :
       {"enumRelationship", "EnumPropertyCategory", "PopupType", "HHVersion", "IEVersion"})
    EXPECT_EQ(enums.count(name), 1u) << name;
}

}  // namespace
}  // namespace borvane
