// Installing and removing fonts, the installed font lists and shutdown, over the platform's
// doubles (every release of the system) and for real through fontconfig.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

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
#include "tests/fonts/fonts_test_support.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using namespace platform;
using namespace std::string_literals;
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

// The names in a folder of the memory file system, in order.
std::vector<String> FilesIn(const char* folder) {
  std::vector<String> names;
  Files().FindFiles(String(folder) + "*", names);
  return names;
}

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
  // The ".FOT" loaded is the call's own, under a name no other caller uses, and it is gone.
  ASSERT_EQ(loader_.calls.size(), 1u);
  const std::string loaded = testing::U8(loader_.calls[0]);
  EXPECT_EQ(loaded.rfind("+/tmp/Sample.", 0), 0u) << loaded;
  EXPECT_EQ(loaded.substr(loaded.size() - 4), ".FOT");
  EXPECT_NE(loaded, "+/tmp/Sample.FOT");
  EXPECT_EQ(loader_.broadcasts, 1);
  EXPECT_TRUE(FilesIn("/tmp/").empty());
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
  // An uninstall keeps its ".FOT" in the temporary folder, under the font's name alone.
  EXPECT_EQ(FilesIn("/tmp/"), std::vector<String>{"Sample.FOT"});
}

TEST_F(Installation, FailuresGiveZeroAndSpeakOnlyWhenAsked) {
  String dir = "/src", file = "Sample.ttf";
  for (bool show : {true, false}) {
    boxes_.boxes.clear();
    files_.DeleteFile("/fonts/Sample.ttf");
    fonts_.Fail(2, 5);  // the ".FOT" cannot be made (the first call looks at the source)
    EXPECT_EQ(f_.InstallTTFont(dir, file, show), 0);
    files_.DeleteFile("/fonts/Sample.ttf");
    loader_.refuse_loads = true;  // the font cannot be loaded: its ".FOT" stays
    EXPECT_EQ(f_.InstallTTFont(dir, file, show), 0);
    EXPECT_EQ(FilesIn("/tmp/"), std::vector<String>{"Sample.FOT"});
    loader_.refuse_loads = false;
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

TEST_F(Installation, AFileThatIsNoFontIsRefusedBeforeItIsCopied) {
  fonts_.Fail(1, 13);  // the source is no TrueType or OpenType font
  EXPECT_EQ(Install(), 0);
  fonts_.Fail(1, 13);
  EXPECT_EQ(Install(true), 0);
  EXPECT_EQ(boxes_.boxes.back().text, String("Error  13"));
  EXPECT_EQ(files_.Get("/fonts/Sample.ttf"), nullptr);
  EXPECT_TRUE(FilesIn("/tmp/").empty());
  // A bitmap font without a description raises the reader's error; one the platform would not
  // load gives 0; neither is copied anywhere.
  files_.Put("/src/plain.fon", "no description");
  files_.Put("/src/image.fon", "\x89PNG\0FONTRES:x\0"s);
  loader_.not_fonts.insert(u"/src\\image.fon");
  String dir = "/src", plain = "plain.fon", image = "image.fon";
  bool show = true;
  EXPECT_EQ(testing::ErrorOf([&] { f_.InstallBitmapFont(dir, plain, show); }), 5);
  EXPECT_EQ(f_.InstallBitmapFont(dir, image, show), 0);
  EXPECT_EQ(f_.InstallBitmapFontTemporary(dir, image, show), 0);
  EXPECT_EQ(boxes_.boxes.back().text, String("DLL-Error  13"));
  EXPECT_TRUE(FilesIn("/fonts/").empty());
  EXPECT_TRUE(FilesIn("/tmp/").empty());
}

TEST_F(Installation, AnUninstallTouchesNothingOfAFileItDidNotInstall) {
  ASSERT_EQ(Install(), 1);
  // The source folder names the user's own file: neither it nor the installed font's
  // registration is touched.
  loader_.refused.insert(u"/src\\Sample.ttf");
  String file = "Sample.ttf", dir = "/src";
  bool show = true;
  EXPECT_FALSE(f_.UnInstallTTFont(file, dir, show));
  EXPECT_EQ(boxes_.boxes.back().text, String("Error removing font resource : Sample Bold"));
  EXPECT_TRUE(registry_.GetValue(kNtFonts, "Sample Bold (TrueType)").has_value());
  EXPECT_NE(files_.Get("/src/Sample.ttf"), nullptr);
  EXPECT_NE(files_.Get("/fonts/Sample.ttf"), nullptr);
}

// OpenType fonts and collections are listed beside TrueType fonts, and the walks look at each
// font of a collection.
TEST_F(Installation, CollectionsAndOpenTypeFontsAreListedAndFoundFontByFont) {
  SfntFace a, b, cff;
  a.full_name = "Pair", a.family = "Pair", a.style = "Regular";
  b.full_name = "Pair Mono Bold", b.family = "Pair Mono", b.style = "Bold";
  cff.full_name = "Curve", cff.family = "Curve", cff.style = "Italic", cff.truetype = false;
  fonts_.SetFaces("/fonts\\pair.ttc", {a, b});
  fonts_.SetFace("/fonts\\curve.otf", cff);
  fonts_.SetFace("/src\\curve.otf", cff);
  files_.Put("/src/curve.otf", "cff");
  registry_.SetValue(kNtFonts, "Pair & Pair Mono Bold (TrueType)", "pair.ttc");
  String dir = "/src", file = "curve.otf";
  bool show = true;
  ASSERT_EQ(f_.InstallTTFont(dir, file, show), 1);
  EXPECT_EQ(registry_.GetValue(kNtFonts, "Curve (OpenType)"), String("curve.otf"));
  Array list = f_.GetInstalledTTFonts();
  ASSERT_EQ(list.UBound(2), 2);
  EXPECT_EQ(CStr(list.At({1, 0})), String("pair.ttc"));
  EXPECT_EQ(CStr(list.At({1, 1})), String("curve.otf"));
  String family = "Pair Mono", style;
  EXPECT_EQ(f_.FontFilename(family, style), String("/fonts\\pair.ttc"));
  EXPECT_EQ(style, String("Bold"));
  String face = "Pair Mono Bold", face_style;
  EXPECT_EQ(f_.FontFamilyname(face, face_style), String("Pair Mono"));
  EXPECT_EQ(face_style, String("Bold"));
  family = "Curve", style = "Italic";
  EXPECT_EQ(f_.FontFilename(family, style), String("/fonts\\curve.otf"));
  String path = "/fonts/pair.ttc";
  fonts_.SetFaces("/fonts/pair.ttc", {a, b});
  EXPECT_EQ(f_.GetFontName(path), String("Pair & Pair Mono Bold"));
  String bold = "-", italic = "-";
  f_.GetFontStylename(bold, italic);
  EXPECT_EQ(bold, String("-"));  // Regular, Bold and Italic: no combined style
  String fonts_dir;
  ASSERT_TRUE(f_.UnInstallTTFont(file, fonts_dir, show));
  EXPECT_FALSE(registry_.GetValue(kNtFonts, "Curve (OpenType)").has_value());
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
  // Paths with "\\" or "/" alike.
  for (const char* path : {"\\usr\\share\\fonts\\truetype\\dejavu\\DejaVuSerif.ttf",
                           "/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf"}) {
    String p = path;
    EXPECT_EQ(f.GetFontName(p), String("DejaVu Serif")) << path;
    EXPECT_EQ(f.GetFontFriedlyName(p), String("DejaVu Serif")) << path;
  }
}

namespace fs = std::filesystem;

// A real install in the test's own XDG folders: the font files to install, copied under names of
// the test's own into a source folder; the user's font folder and the temporary folder.
class RealInstall : public ::testing::Test {
 protected:
  // A temporary folder of the test's own, so that what it leaves there is told apart.
  RealInstall() {
    unsetenv("DISPLAY");
    const char* temp = std::getenv("TMPDIR");
    saved_temp_ = temp ? temp : "";
    setenv("TMPDIR", temp_.path().c_str(), 1);
  }
  ~RealInstall() override {
    if (saved_temp_.empty())
      unsetenv("TMPDIR");
    else
      setenv("TMPDIR", saved_temp_.c_str(), 1);
  }
  // Copies `from` into the source folder as `name`; false when the package is missing.
  bool Source(const char* from, const std::string& name) {
    if (!fs::exists(from)) return false;
    fs::copy_file(from, source_ / name, fs::copy_options::overwrite_existing);
    return true;
  }
  // The source folder as a Linux caller writes it, with "/".
  String Dir() const { return String::FromUtf8(source_.path().string() + "/"); }
  fs::path Fonts() { return NativePath(f_.GetRegFontsPath()); }
  static fs::path Temp() { return NativePath(Files().TempFolder()); }
  // The files in the temporary folder whose names begin with `prefix` (each test names its
  // files with a prefix of its own).
  static std::vector<std::string> TempFiles(const std::string& prefix) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(Temp()))
      if (e.path().filename().string().rfind(prefix, 0) == 0) names.push_back(e.path().filename());
    return names;
  }
  // The names of the installed scalable fonts' values whose data names `file`.
  std::vector<String> ListedAs(const std::string& file) {
    std::vector<String> names;
    Array list = f_.GetInstalledTTFonts();
    for (int32_t i = 0; i <= list.UBound(2); ++i) {
      const std::string data = CStr(list.At({1, i})).ToUtf8();
      if (data.size() >= file.size() && data.substr(data.size() - file.size()) == file)
        names.push_back(CStr(list.At({0, i})));
    }
    return names;
  }
  int32_t Install(const std::string& file, bool temporary = false) {
    String dir = Dir(), name = String::FromUtf8(file);
    bool quiet = false;
    return temporary ? f_.InstallTTFontTemporary(dir, name, quiet)
                     : f_.InstallTTFont(dir, name, quiet);
  }
  bool Uninstall(const std::string& file) {
    String name = String::FromUtf8(file), fonts;
    bool quiet = false;
    return f_.UnInstallTTFont(name, fonts, quiet);
  }

  testing::ScratchFolder source_, temp_;
  std::string saved_temp_;
  FontFunctions f_;
};

// TrueType, OpenType (CFF) and a collection: each seen by another process's fc-list as soon as
// the install returns, listed as the system lists it, found font by font, and gone after the
// uninstall. A temporary install is seen by this process alone.
TEST_F(RealInstall, EveryKindIsSeenByAnotherProcessAtOnceAndGoesAgain) {
  ASSERT_TRUE(Source("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf", "BvKindsMono.ttf"));
  struct Kind {
    const char* from;
    std::string file, listed;
  };
  std::vector<Kind> kinds = {{"", "BvKindsMono.ttf", "DejaVu Sans Mono (TrueType)"},
                             {"/usr/share/fonts/truetype/inconsolata/Inconsolata.otf",
                              "BvKindsCff.otf", "Inconsolata (OpenType)"},
                             {"/usr/share/fonts/truetype/wqy/wqy-microhei.ttc", "BvKindsPair.ttc",
                              "WenQuanYi Micro Hei & WenQuanYi Micro Hei Mono (TrueType)"}};
  for (const Kind& k : kinds) {
    if (*k.from && !Source(k.from, k.file)) {
      ADD_FAILURE() << k.from << " is missing: scripts/deps installs it";
      continue;
    }
    ASSERT_EQ(Install(k.file), 1) << k.file;
    EXPECT_NE(testing::FcList().find(k.file), std::string::npos) << k.file;
    EXPECT_EQ(ListedAs(k.file), std::vector<String>{String::FromUtf8(k.listed)});
    EXPECT_TRUE(TempFiles("BvKinds").empty());
  }
  // The second font of the collection is found by its own family and full name.
  String family = "WenQuanYi Micro Hei Mono", style, face = family, face_style;
  const std::string pair = f_.FontFilename(family, style).ToUtf8();
  EXPECT_EQ(pair.substr(pair.size() - 4), ".ttc") << pair;
  EXPECT_EQ(f_.FontFamilyname(face, face_style), family);
  for (const Kind& k : kinds) {
    if (!fs::exists(Fonts() / k.file)) continue;
    EXPECT_TRUE(Uninstall(k.file)) << k.file;
    EXPECT_EQ(testing::FcList().find(k.file), std::string::npos) << k.file;
    EXPECT_TRUE(ListedAs(k.file).empty());
    EXPECT_TRUE(fs::exists(source_ / k.file));
  }
  // An uninstall keeps its ".FOT" under the font's name, in the temporary folder alone.
  for (const std::string& name : TempFiles("BvKinds"))
    EXPECT_EQ(name.substr(name.size() - 4), ".FOT") << name;
  EXPECT_EQ(Install("BvKindsMono.ttf", true), 1);
  EXPECT_EQ(testing::FcList().find("BvKindsMono.ttf"), std::string::npos);
  EXPECT_TRUE(fs::exists(Temp() / "BvKindsMono.ttf"));  // the font that is loaded
}

// The installed copy carries the source's time: the same or an older source is up to date, one
// a second newer replaces it.
TEST_F(RealInstall, TheCopyKeepsTheSourceTime) {
  ASSERT_TRUE(Source("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf", "BvTimeMono.ttf"));
  const fs::path src = source_ / "BvTimeMono.ttf";
  const auto when = fs::file_time_type::clock::now() - std::chrono::hours(24 * 400);
  fs::last_write_time(src, when);
  ASSERT_EQ(Install("BvTimeMono.ttf"), 1);
  EXPECT_EQ(fs::last_write_time(Fonts() / "BvTimeMono.ttf"), when);
  EXPECT_EQ(Install("BvTimeMono.ttf"), 2);
  fs::last_write_time(src, when - std::chrono::seconds(10));
  EXPECT_EQ(Install("BvTimeMono.ttf"), 2);
  fs::last_write_time(src, when + std::chrono::seconds(1));
  EXPECT_EQ(Install("BvTimeMono.ttf"), 1);
  EXPECT_EQ(fs::last_write_time(Fonts() / "BvTimeMono.ttf"), when + std::chrono::seconds(1));
  EXPECT_TRUE(Uninstall("BvTimeMono.ttf"));
}

// Files that are no fonts are refused, and nothing is left in the font or temporary folder.
TEST_F(RealInstall, AFileThatIsNoFontLeavesNothingBehind) {
  std::ofstream(source_ / "BvNoFont.ttf") << "just text\n";
  std::ofstream(source_ / "BvNoFont.otf") << "OTTO and then nothing";
  std::ofstream(source_ / "BvNoFont.fon") << "no description at all";
  std::ofstream(source_ / "BvImage.fon", std::ios::binary)
      << "\x89PNG\r\n\x1a\n\0\0\0\rIHDR FONTRES: x\0"s;
  for (const char* file : {"BvNoFont.ttf", "BvNoFont.otf"}) {
    EXPECT_EQ(Install(file), 0) << file;
    EXPECT_EQ(Install(file, true), 0) << file;
  }
  String dir = Dir(), plain = "BvNoFont.fon", image = "BvImage.fon";
  bool quiet = false;
  EXPECT_EQ(testing::ErrorOf([&] { f_.InstallBitmapFont(dir, plain, quiet); }), 5);
  EXPECT_EQ(f_.InstallBitmapFont(dir, image, quiet), 0);
  EXPECT_EQ(f_.InstallBitmapFontTemporary(dir, image, quiet), 0);
  for (const char* file : {"BvNoFont.ttf", "BvNoFont.otf", "BvNoFont.fon", "BvImage.fon"})
    EXPECT_FALSE(fs::exists(Fonts() / file)) << file;
  EXPECT_EQ(TempFiles("BvNoFont"), std::vector<std::string>());
  EXPECT_EQ(TempFiles("BvImage"), std::vector<std::string>());
  // A real bitmap font is installed, listed and removed again.
  if (!Source("/usr/share/wine/fonts/smalle.fon", "BvSmall.fon")) return;
  String small = "BvSmall.fon", none;
  ASSERT_EQ(f_.InstallBitmapFont(dir, small, quiet), 1);
  Array list = f_.GetInstalledBitmapFonts();
  bool listed = false;
  for (int32_t i = 0; i <= list.UBound(2); ++i) listed |= CStr(list.At({1, i})) == small;
  EXPECT_TRUE(listed);
  EXPECT_TRUE(f_.UnInstallBitmapFont(small, none, quiet));
  EXPECT_FALSE(fs::exists(Fonts() / "BvSmall.fon"));
  EXPECT_TRUE(fs::exists(source_ / "BvSmall.fon"));
}

// An uninstall that names the user's own file, outside the font folder, refuses and touches
// nothing: neither that file nor the installed font of the same name.
TEST_F(RealInstall, AnUninstallNeverRemovesTheUsersOwnFile) {
  ASSERT_TRUE(Source("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf", "BvOwnMono.ttf"));
  ASSERT_EQ(Install("BvOwnMono.ttf"), 1);
  String file = "BvOwnMono.ttf", dir = Dir();
  bool quiet = false;
  EXPECT_FALSE(f_.UnInstallTTFont(file, dir, quiet));
  EXPECT_TRUE(fs::exists(source_ / "BvOwnMono.ttf"));
  EXPECT_TRUE(fs::exists(Fonts() / "BvOwnMono.ttf"));
  EXPECT_FALSE(ListedAs("BvOwnMono.ttf").empty());
  EXPECT_TRUE(Uninstall("BvOwnMono.ttf"));
}

}  // namespace
}  // namespace borvane
