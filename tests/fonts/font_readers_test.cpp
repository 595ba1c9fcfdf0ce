// The ".FOT" and ".FON" scans, over hand-made bytes and the bitmap fonts of the system.
#include "borvane/fonts/font_readers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "borvane/automation/codepage.h"
#include "borvane/automation/error.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/testing/files.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using platform::MemoryFileSystem;
using namespace std::string_literals;

using testing::ErrorOf;

// A ".FOT"-like text: `head`, then "Windows!" and 100 fillers so that `names` start 108
// characters from the "W".
std::string Fot(const std::string& head, const std::string& names) {
  return head + "Windows!" + std::string(100, 'x') + names;
}

struct FotReader {
  testing::InUse<MemoryFileSystem, platform::FileSystem> files;
  String family = "old", style = "old";
  // Error of reading `bytes`, the names into `name`, family, style.
  int32_t Read(const std::string& bytes, String* name = nullptr) {
    files.Put("/tmp/A.FOT", bytes);
    return ErrorOf([&] {
      String n = ReadFotNames("\\tmp\\A.FOT", family, style);
      if (name) *name = n;
    });
  }
};

TEST(FotScan, ExampleAndFallbacks) {
  FotReader r;
  String name;
  ASSERT_EQ(r.Read(Fot("MZ..FONTRES:Sample Bold\0.."s, "Sample\0Sample Bold\0Bold\0"s), &name), 0);
  EXPECT_EQ(name, "Sample Bold");
  EXPECT_EQ(r.family, "Sample");
  EXPECT_EQ(r.style, "Bold");
  // Without "FONTRES:" the name starts at position 8; without "Windows!" the names at 108.
  std::string plain = "1234567Name\0"s + std::string(95, 'y') + "Fam\0Full\0Sty\0"s;
  ASSERT_EQ(r.Read(plain, &name), 0);
  EXPECT_EQ(name, "Name");
  EXPECT_EQ(r.family, "Fam");
  EXPECT_EQ(r.style, "Sty");
  // An empty name; a "Windows!" inside the name does not count.
  ASSERT_EQ(r.Read(Fot("FONTRES:\0"s, "F\0\0S\0"s), &name), 0);
  EXPECT_EQ(name, "");
  EXPECT_EQ(r.style, "S");
  ASSERT_EQ(r.Read(Fot("FONTRES:Windows!\0"s, "F\0N\0S\0"s), &name), 0);
  EXPECT_EQ(r.family, "F");
}

TEST(FotScan, Errors) {
  FotReader r;
  EXPECT_EQ(r.Read(""), kErrInvalidCall);
  EXPECT_EQ(r.Read("FONTRES:Name without end"), kErrInvalidCall);
  EXPECT_EQ(r.Read(Fot("FONTRES:N\0"s, "Family")), kErrInvalidCall);
  EXPECT_EQ(r.Read(Fot("FONTRES:N\0"s, "Family\0Full\0Style"s)), kErrInvalidCall);
  EXPECT_EQ(r.Read(Fot("FONTRES:N\0"s, "Family\0Full")), kErrInvalidCall);
  EXPECT_EQ(r.family, "old");  // nothing changes on failure
  // "FONTRES:" at position 32759 is the last that fits the 16-bit position.
  std::string names = "F\0N\0S\0"s;
  EXPECT_EQ(r.Read(Fot(std::string(32758, ' ') + "FONTRES:N\0"s, names)), 0);
  EXPECT_EQ(r.Read(Fot(std::string(32759, ' ') + "FONTRES:N\0"s, names)), kErrOverflow);
  r.files.DeleteFile("/tmp/A.FOT");
  EXPECT_EQ(ErrorOf([&] { ReadFotNames("/tmp/A.FOT", r.family, r.style); }), kErrFileNotFound);
}

// The scans over a ".FOT"'s bytes give what the scans over its text give, failures included, in
// both code pages.
TEST(FotScan, BytesReadAsTheirText) {
  const std::string cases[] = {
      Fot("MZ\x80\x9D..FONTRES:Caf\xE9 \x80 Bold\0.."s, "Fam\x81ly\0Full\0St\xFFyle\0"s),
      "1234567Name\0"s + std::string(95, 'y') + "Fam\0Full\0Sty\0"s,
      "FONTRES:Name without end",
      "",
      Fot(std::string(32759, '\x90') + "FONTRES:N\0"s, "F\0N\0S\0"s),
      Fot("\xC3\xA9\xE2\x82"
          "FONTRES:\xC3\xA9t\xC3\0"s,
          "F\xC3\xA9\0N\0S"s),
  };
  // The name as the friendly-name lookup takes it from the text.
  auto name_of_text = [](const String& text) {
    std::u16string_view t = text.view();
    size_t marker = t.find(u"FONTRES:");
    size_t p = marker == std::u16string_view::npos ? 7 : marker + 8;
    if (p > 32766) ThrowPlatformError(kErrOverflow);
    size_t nul = t.find(u'\0', p);
    if (nul == std::u16string_view::npos) ThrowPlatformError(kErrInvalidCall);
    return String(t.substr(p, nul - p));
  };
  for (CodePage cp : {CodePage::kWindows1252, CodePage::kUtf8}) {
    SetAnsiCodePage(cp);
    for (const std::string& bytes : cases) {
      String f1 = "-", s1 = "-", f2 = "-", s2 = "-", n1, n2, m1, m2;
      EXPECT_EQ(ErrorOf([&] { n1 = ScanFotNames(FromAnsi(bytes), f1, s1); }),
                ErrorOf([&] { n2 = ScanFotNameBytes(bytes, f2, s2); }));
      EXPECT_EQ(n1, n2);
      EXPECT_EQ(f1, f2);
      EXPECT_EQ(s1, s2);
      EXPECT_EQ(ErrorOf([&] { m1 = name_of_text(FromAnsi(bytes)); }),
                ErrorOf([&] { m2 = FotFaceName(bytes); }));
      EXPECT_EQ(m1, m2);
    }
  }
  SetAnsiCodePage(CodePage::kWindows1252);
}

TEST(TextHelpers, AddBackslashTrimAtNulNumberText) {
  EXPECT_EQ(AddBackslash(""), "\\");
  EXPECT_EQ(AddBackslash("   "), "\\");
  EXPECT_EQ(AddBackslash("C:\\Fonts  "), "C:\\Fonts\\");
  EXPECT_EQ(AddBackslash("  dir"), "  dir\\");
  EXPECT_EQ(AddBackslash("/usr/share/"), "/usr/share/");
  EXPECT_EQ(AddBackslash("C:\\Fonts\\  "), "C:\\Fonts\\  ");
  EXPECT_EQ(AddBackslash("a\t"), "a\t\\");
  EXPECT_EQ(TrimAtNul(String(u"ab\0cd\0"s)), "ab");
  EXPECT_EQ(TrimAtNul("abc"), "abc");
  EXPECT_EQ(NumberText(5), " 5");
  EXPECT_EQ(NumberText(0), " 0");
  EXPECT_EQ(NumberText(-80), "-80");
}

TEST(FonScan, HandMade) {
  testing::InUse<MemoryFileSystem, platform::FileSystem> files;
  auto read = [&](const std::string& bytes, String* name) {
    files.Put("/f/x.fon", bytes);
    return ErrorOf([&] { *name = ReadBitmapFaceName("/f", "x.fon"); });
  };
  String name;
  ASSERT_EQ(read("MZ\0FONTRES 100,96,96 : Sample 8,10\0FONTRES 1,1,1:Other\0"s, &name), 0);
  EXPECT_EQ(name, "Sample 8,10");
  ASSERT_EQ(read("MZ\0FONTRES:\0"s, &name), 0);  // colon right before the NUL
  EXPECT_EQ(name, "");
  ASSERT_EQ(read("FONTRES No colon \0tail"s, &name), 0);
  EXPECT_EQ(name, "No colon");
  ASSERT_EQ(read("FONTRES Before\0behind: Later\0"s, &name), 0);  // colon behind the NUL
  EXPECT_EQ(name, "Later");
  ASSERT_EQ(read("123456\tfontres:x\0"s, &name), 0);  // no marker: from position 7
  EXPECT_EQ(name, "x");
  EXPECT_EQ(read("FONTRES 1,1,1: No end", &name), kErrInvalidCall);
  EXPECT_EQ(read("", &name), kErrInvalidCall);
  EXPECT_EQ(ErrorOf([&] { ReadBitmapFaceName("/f", "missing.fon"); }), kErrFileNotFound);
}

TEST(FonScan, SystemBitmapFonts) {
  const std::filesystem::path dir = "/usr/share/wine/fonts";
  if (!std::filesystem::exists(dir / "vgasys.fon")) GTEST_SKIP() << "fonts-wine is missing";
  EXPECT_EQ(ReadBitmapFaceName(dir.string(), "vgasys.fon"), "System 10 (VGA res)");
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().extension() != ".fon") continue;
    String name = ReadBitmapFaceName(dir.string() + "/", entry.path().filename().string());
    EXPECT_FALSE(name.empty()) << entry.path();
    ++count;
  }
  EXPECT_GT(count, 10);
}

}  // namespace
}  // namespace borvane
