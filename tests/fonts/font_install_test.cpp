// Installing and removing fonts, the installed font lists and shutdown, over the platform's
// doubles (every release of the system) and for real through fontconfig.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "borvane/fonts/font_functions.h"
#include "borvane/fonts/font_system.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/pending_moves.h"
#include "borvane/platform/files/profile.h"
#include "borvane/platform/fonts/font_loader.h"
#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/system.h"
#include "borvane/platform/testing/files.h"
#include "borvane/platform/testing/fonts.h"
#include "borvane/platform/testing/registry.h"
#include "borvane/platform/testing/session.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using namespace platform;
using testing::InUse;

const String kNtFonts = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts";
const String kShellFolders =
    "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

class Installation : public ::testing::Test {
 protected:
  Installation() {
    files_.AddFolder("/src/");
    files_.AddFolder("/fonts/");
    files_.Put("/src/Sample.ttf", "font");
    fonts_.SetNames("/src\\Sample.ttf", "Sample Bold", "Sample", "Bold");
    fonts_.SetNames("/fonts\\Sample.ttf", "Sample Bold", "Sample", "Bold");
    registry_.SetValue(kShellFolders, "Fonts", "/fonts");
  }
  int32_t Install(bool temporary = false) {
    String dir = "/src", file = "Sample.ttf";
    bool show = true;
    return temporary ? f_.InstallTTFontTemporary(dir, file, show)
                     : f_.InstallTTFont(dir, file, show);
  }
  InUse<MemoryFileSystem, FileSystem> files_;
  InUse<FakeFontResource, FontResource> fonts_;
  InUse<RecordingMessageBoxes, MessageBoxes> boxes_;
  InUse<FakeSystem, SystemService> system_;
  InUse<RecordingFontLoader, FontLoader> loader_;
  InUse<MemoryRegistry, RegistryStore> registry_;
  InUse<MemoryProfile, PrivateProfile> profile_;
  FontFunctions f_;
};

TEST_F(Installation, ReleaseNumbersAndWhereTheirFontsLive) {
  struct Row {
    uint32_t platform, major, minor, build;
    int32_t id;
  };
  for (Row r : {Row{1, 4, 0, 950, 1}, Row{1, 4, 10, 1998, 2}, Row{1, 4, 10, 2222, 3},
                Row{1, 4, 90, 3000, 7}, Row{2, 3, 51, 1057, 4}, Row{2, 4, 0, 1381, 5},
                Row{2, 5, 1, 2600, 6}, Row{2, 6, 1, 7600, 0}}) {
    system_.SetVersion(r.platform, r.major, r.minor, r.build);
    EXPECT_EQ(GetOsId(), r.id) << r.platform << "." << r.major << "." << r.minor;
  }
  system_.SetVersion(2, 6, 1, 7600);  // not recognised: the system root, no registry, no shell
  EXPECT_EQ(FindFontsDirectory(), String("/windows\\SYSTEM\\"));
  EXPECT_TRUE(system_.shell_commands.empty());
  system_.SetVersion(2, 5, 1, 2600);
  registry_.DeleteValue(kShellFolders, "Fonts");
  bool show = true;
  EXPECT_EQ(FontsDirectoryOrDefault(show), String("/windows\\FONTS\\"));
  EXPECT_EQ(system_.shell_commands.size(), 2u);  // asked the desktop twice
  EXPECT_EQ(boxes_.boxes.back().text,
            String("Couldn't find the Fonts dir in the registry, /windows\\FONTS\\ will be used "
                   "instead ..."));
}

TEST_F(Installation, InstallThenUpToDateThenUninstall) {
  ASSERT_EQ(Install(), 1);
  EXPECT_EQ(*files_.Get("/fonts/Sample.ttf"), "font");
  EXPECT_EQ(registry_.GetValue(kNtFonts, "Sample Bold (TrueType)"), String("Sample.ttf"));
  EXPECT_EQ(loader_.calls, std::vector<String>{"+/tmp/Sample.FOT"});
  EXPECT_EQ(loader_.broadcasts, 1);
  EXPECT_EQ(files_.Get("/tmp/Sample.FOT"), nullptr);
  EXPECT_EQ(Install(), 2);  // the same date: nothing done
  files_.SetModifiedTime("/src/Sample.ttf", 2000000000);
  EXPECT_EQ(Install(), 1);  // one second newer is enough

  Array list = f_.GetInstalledTTFonts();
  EXPECT_EQ(list.UBound(2), 1);
  EXPECT_EQ(CStr(list.At({1, 0})), String("Sample.ttf"));
  String family = "Sample", style;
  EXPECT_EQ(f_.FontFilename(family, style), String("/fonts\\Sample.ttf"));
  EXPECT_EQ(style, String("Bold"));

  String file = "Sample.ttf", dir;
  bool show = true;
  ASSERT_TRUE(f_.UnInstallTTFont(file, dir, show));
  EXPECT_EQ(dir, String("/fonts\\"));  // the caller's variable holds the fonts folder
  EXPECT_FALSE(registry_.GetValue(kNtFonts, "Sample Bold (TrueType)").has_value());
  EXPECT_EQ(files_.Get("/fonts/Sample.ttf"), nullptr);
  EXPECT_TRUE(boxes_.boxes.empty());
}

TEST_F(Installation, FailuresGiveZeroAndSpeakOnlyWhenAsked) {
  String dir = "/src", file = "Sample.ttf";
  for (bool show : {true, false}) {
    boxes_.boxes.clear();
    files_.DeleteFile("/fonts/Sample.ttf");
    fonts_.Fail(1, 5);  // the ".FOT" cannot be made
    EXPECT_EQ(f_.InstallTTFont(dir, file, show), 0);
    files_.DeleteFile("/fonts/Sample.ttf");
    loader_.refused.insert(u"/tmp/Sample.FOT");  // the font cannot be loaded
    EXPECT_EQ(f_.InstallTTFont(dir, file, show), 0);
    loader_.refused.clear();
    if (show) {
      ASSERT_EQ(boxes_.boxes.size(), 2u);
      EXPECT_EQ(boxes_.boxes[0].text, String("Error  5"));
      EXPECT_EQ(boxes_.boxes[1].text, String("DLL-Error  0"));  // no last error on this system
    } else {
      EXPECT_TRUE(boxes_.boxes.empty());
    }
  }
  // Names with "=" and with characters outside the code page are stored as the ".FOT" has them.
  for (const char16_t* full : {u"A=B Bold", u"\u540D Sans"}) {
    files_.DeleteFile("/fonts/Sample.ttf");
    fonts_.SetNames("/fonts\\Sample.ttf", String(std::u16string(full)), "A", "Bold");
    bool show = true;
    EXPECT_EQ(f_.InstallTTFont(dir, file, show), 1);
  }
  EXPECT_EQ(registry_.GetValue(kNtFonts, "A=B Bold (TrueType)"), String("Sample.ttf"));
  EXPECT_EQ(registry_.GetValue(kNtFonts, "? Sans (TrueType)"), String("Sample.ttf"));
}

TEST_F(Installation, AFileInUseIsReplacedAtTheNextStartOfTheSystem) {
  files_.Put("/fonts/Sample.ttf", "old");
  files_.SetModifiedTime("/fonts/Sample.ttf", 1);
  files_.SetReadOnly("/fonts/");  // the copy is refused both times
  EXPECT_EQ(Install(), 3);
  EXPECT_EQ(*files_.Get("/fonts/Sample.ttf"), "old");  // not the library's: never removed
  ASSERT_EQ(PendingMoves().size(), 1u);
  EXPECT_EQ(PendingMoves()[0].to, String("/fonts\\Sample.ttf"));
  EXPECT_EQ(PendingMoves()[0].from, String("/tmp/Sample.ttf"));
  EXPECT_EQ(boxes_.boxes.back().caption, std::optional<String>(String("Font installation")));
  EXPECT_EQ(boxes_.boxes.back().style, MB_ICONEXCLAMATION);
  // Windows 98 keeps the replacement in WININIT.INI instead.
  system_.SetVersion(1, 4, 10, 1998);
  registry_.SetValue("HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Fonts", "x", "x.fon");
  bool quiet = false;
  String dir = "/src", file = "Sample.ttf";
  EXPECT_EQ(f_.InstallTTFont(dir, file, quiet), 3);
  ASSERT_NE(profile_.File("/windows\\WININIT.INI"), nullptr);
  EXPECT_NE(profile_.File("/windows\\WININIT.INI")
                ->find("[Rename]\r\n/fonts\\Sample.ttf=/tmp/Sample.ttf"),
            std::string::npos);
}

TEST_F(Installation, ListsKeepEverySlotAndGrowTenBehind) {
  for (int i = 0; i < 12; ++i)
    registry_.SetValue(kNtFonts, String(("F" + std::to_string(i)).c_str()),
                       i == 3 ? "small.fon" : "f.TTF");
  Array list = f_.GetInstalledTTFonts();
  EXPECT_EQ(list.UBound(1), 1);
  EXPECT_EQ(list.UBound(2), 12);
  EXPECT_TRUE(CStr(list.At({0, 3})).empty());  // the bitmap font's slot stays empty
  EXPECT_EQ(CStr(list.At({0, 11})), String("F11"));
  EXPECT_TRUE(CStr(list.At({0, 12})).empty());
  Array bitmaps = f_.GetInstalledBitmapFonts();
  EXPECT_EQ(bitmaps.UBound(2), 12);
  EXPECT_EQ(CStr(bitmaps.At({1, 3})), String("small.fon"));
}

TEST_F(Installation, ShutdownEnablesThePrivilegeOnlyWhereItMust) {
  for (eShutDown type : {shtLogOff, shtForceLogOff, shtReboot}) f_.ShutdownSystem(type);
  EXPECT_EQ(system_.exits, (std::vector<uint32_t>{0, 4, 2}));
  EXPECT_EQ(system_.privilege_steps.size(), 4u);  // for the reboot alone
  system_.SetVersion(1, 4, 10, 1998);
  eShutDown odd = static_cast<eShutDown>(99);
  f_.ShutdownSystem(odd);
  EXPECT_EQ(system_.exits.back(), 99u);
  EXPECT_EQ(system_.privilege_steps.size(), 4u);
  EXPECT_TRUE(boxes_.boxes.empty());
}

// The names a user expects of the DejaVu fonts that fontconfig lists.
TEST(RealLookups, DejaVuFilesFamiliesAndStyles) {
  if (!std::filesystem::exists("/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf"))
    GTEST_SKIP() << "fonts-dejavu-core is missing";
  FontFunctions f;
  String family = "DejaVu Sans", style = "Bold";
  EXPECT_EQ(f.FontFilename(family, style),
            String("\\usr\\share\\fonts\\truetype\\dejavu\\DejaVuSans-Bold.ttf"));
  String face = "DejaVu Sans Bold", face_style;
  EXPECT_EQ(f.FontFamilyname(face, face_style), String("DejaVu Sans"));
  EXPECT_EQ(face_style, String("Bold"));
  // The last combined style whose two words are styles of their own: "Bold Italic" of the
  // serif faces comes behind "Bold Oblique" of the sans faces (fonts-dejavu-extra); with the
  // core faces alone (Book and Bold) nothing changes.
  String bold = "-", italic = "-";
  f.GetFontStylename(bold, italic);
  bool extra = std::filesystem::exists("/usr/share/fonts/truetype/dejavu/DejaVuSerif-Italic.ttf");
  EXPECT_EQ(bold, String(extra ? "Bold" : "-"));
  EXPECT_EQ(italic, String(extra ? "Italic" : "-"));
  String path = "\\usr\\share\\fonts\\truetype\\dejavu\\DejaVuSerif.ttf";
  EXPECT_EQ(f.GetFontName(path), String("DejaVu Serif"));
}

// For real: a copy of a DejaVu font under a name of its own, visible to fc-list in another
// process after the install and gone after the uninstall. The test's XDG folders are its own.
TEST(RealInstallation, AnotherProcessSeesTheFontComeAndGo) {
  const char* dejavu = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";
  if (!std::filesystem::exists(dejavu)) GTEST_SKIP() << "fonts-dejavu-core is missing";
  testing::ScratchFolder source;
  std::filesystem::copy_file(dejavu, source / "BorvaneTestMono.ttf");
  unsetenv("DISPLAY");
  auto listed = [] {
    FILE* p = popen("fc-list : file", "r");
    std::string out;
    char buffer[4096];
    while (size_t n = fread(buffer, 1, sizeof buffer, p)) out.append(buffer, n);
    pclose(p);
    return out.find("BorvaneTestMono.ttf") != std::string::npos;
  };
  FontFunctions f;
  String dir = String::FromUtf8(source.path().string()), file = "BorvaneTestMono.ttf", none;
  bool quiet = false;
  bool show = true;
  ASSERT_EQ(f.InstallTTFont(dir, file, show), 1);
  EXPECT_TRUE(listed());
  String family = "DejaVu Sans Mono", style = "Book";
  EXPECT_NE(f.FontFilename(family, style).ToUtf8().find("BorvaneTestMono.ttf"), std::string::npos);
  // The source is no installed font: naming it fails and leaves the user's file alone.
  String source_dir = dir;
  EXPECT_FALSE(f.UnInstallTTFont(file, source_dir, quiet));
  EXPECT_TRUE(std::filesystem::exists(source / "BorvaneTestMono.ttf"));
  EXPECT_TRUE(f.UnInstallTTFont(file, none, quiet));
  EXPECT_FALSE(listed());
}

}  // namespace
}  // namespace borvane
