// Scalable font resource files: written from fonts made here and from every font on the
// system, then read back by the ".FOT" scan.
#include "borvane/platform/fonts/font_resource.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SFNT_NAMES_H

#include <gtest/gtest.h>
#include <iconv.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/platform/base/folder_watch.h"
#include "borvane/platform/fonts/font_resource_file.h"
#include "tests/fonts/fonts_test_support.h"
#include "tests/test_support.h"
#include "tests/tiny_font.h"

namespace borvane::platform {
namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;
using testing::Mac;
using testing::NameRecord;
using testing::TinyFont;
using testing::Utf16Be;
using testing::Win;

// A scratch folder whose files are named by native paths.
struct TempDir : testing::ScratchFolder {
  const std::string path = ScratchFolder::path().string();
  std::string Write(const std::string& name, const std::string& bytes) const {
    return Put(name, bytes).ToUtf8();
  }
};

struct Names {
  String full, family, style;
};

// Writes the ".FOT" for the font at `font` and scans it; the error of the platform call, or 0.
uint32_t RoundTrip(const TempDir& dir, const std::string& font, Names& names,
                   std::string* fot_bytes = nullptr) {
  std::string fot = dir.path + "/A.FOT";
  FontResourceResult r = FontResource::Real().CreateScalableFontResource(0, fot, font, "");
  if (!r.ok) return r.last_error;
  names.full = ReadFotNames(fot, names.family, names.style);
  if (fot_bytes) {
    std::ifstream in(fot, std::ios::binary);
    fot_bytes->assign(std::istreambuf_iterator<char>(in), {});
  }
  fs::remove(fot);
  return 0;
}

TEST(FontResource, NameChoice) {
  TempDir dir;
  Names n;
  auto check = [&](const std::vector<NameRecord>& records, const char* full, const char* family,
                   const char* style) {
    ASSERT_EQ(RoundTrip(dir, dir.Write("f.ttf", TinyFont(records)), n), 0u);
    EXPECT_EQ(n.full, full);
    EXPECT_EQ(n.family, family);
    EXPECT_EQ(n.style, style);
  };
  // US English first, then any Windows language, the symbol encoding, then Mac Roman.
  check({Mac(1, "Mac"), Win(1, u"Deutsch", 0x407), Win(1, u"English"), Win(2, u"Bold", 0x407),
         Mac(2, "Mac Style"), Win(4, u"Sym", 0x409, 0), Mac(4, "MacFull")},
        "Sym", "English", "Bold");
  // The typographic names never count; Mac Roman is decoded; a missing full name is built.
  check({Win(16, u"DejaVu Sans"), Win(17, u"ExtraLight"), Mac(1, "Caf\x8E Light"),
         Win(2, u"Regular")},
        "Caf\xC3\xA9 Light", "Caf\xC3\xA9 Light", "Regular");
  check({Win(1, u"Fam"), Win(2, u"Oblique")}, "Fam Oblique", "Fam", "Oblique");
  // A missing style is "Regular"; what the code page cannot hold is "?"; a name ends at NUL.
  check({Win(4, u"\u540D Sans"), Win(1, u"Fam\0junk"s)}, "? Sans", "Fam", "Regular");
  EXPECT_EQ(RoundTrip(dir, dir.Write("f.ttf", TinyFont({Win(2, u"Bold")})), n), 13u);
}

TEST(FontResource, LayoutFieldByField) {
  TempDir dir;
  std::string font = dir.Write(
      "b.ttf",
      TinyFont({Win(1, u"Fam"), Win(2, u"Bold Italic"), Win(4, u"Fam Bold Italic")}, 700, true));
  std::string fot = dir.path + "/B.FOT";
  ASSERT_TRUE(FontResource::Real().CreateScalableFontResource(1, fot, "b.ttf", dir.path).ok);
  std::ifstream in(fot, std::ios::binary);
  std::string b(std::istreambuf_iterator<char>(in), {});
  auto u16 = [&](size_t at) {
    return static_cast<unsigned char>(b[at]) | static_cast<unsigned char>(b[at + 1]) << 8;
  };
  ASSERT_EQ(b.substr(0, 2), "MZ");
  size_t ne = u16(0x3C);
  ASSERT_EQ(b.substr(ne, 2), "NE");
  size_t nonresident = u16(ne + 0x2C);
  EXPECT_EQ(b.substr(nonresident, 24),
            "\x17"
            "FONTRES:Fam Bold Italic");
  EXPECT_EQ(b.substr(nonresident + 24, 2), "\0\0"s);  // ordinal 0
  // The FONTDIR resource (type 0x8007), found by walking the resource table as a loader does.
  size_t table = ne + u16(ne + 0x24), shift = u16(table), fontdir = 0;
  for (size_t type = table + 2; type + 8 <= b.size() && u16(type) != 0;
       type += 8 + 12 * u16(type + 2)) {
    if (u16(type) == 0x8007) fontdir = u16(type + 8) << shift;
  }
  ASSERT_NE(fontdir, 0u);
  EXPECT_EQ(u16(fontdir), 1);  // one font
  size_t e = fontdir + 4;      // after the count and the font's ordinal
  EXPECT_EQ(u16(e), 0x200);
  EXPECT_EQ(b.substr(e + 6, 8), "Windows!");
  EXPECT_EQ(u16(e + 66), 0x0083);  // scalable, hidden
  EXPECT_EQ(u16(e + 68), 12);
  EXPECT_EQ(u16(e + 70), 96);
  EXPECT_EQ(u16(e + 72), 96);
  EXPECT_EQ(u16(e + 74), 13);  // 800/1000 of 16 pixels
  EXPECT_EQ(b[e + 80], 1);     // italic
  EXPECT_EQ(u16(e + 83), 700);
  EXPECT_EQ(b[e + 85], 0);  // ANSI charset
  EXPECT_EQ(b.substr(e + 113, 33), "\0Fam\0Fam Bold Italic\0Bold Italic\0"s);
  EXPECT_EQ(u16(e + 2), 113 + 33);
  String target;
  EXPECT_EQ(FontResource::Real().ReadFontResourceTarget(fot, target), 0u);
  EXPECT_EQ(target, "b.ttf");
  // In the UTF-8 code page the fixed bytes stay one character each.
  SetAnsiCodePage(CodePage::kUtf8);
  String family, style;
  fs::remove(fot);
  ASSERT_TRUE(FontResource::Real().CreateScalableFontResource(0, fot, font, "").ok);
  EXPECT_EQ(ReadFotNames(fot, family, style), "Fam Bold Italic");
  EXPECT_EQ(style, "Bold Italic");
  SetAnsiCodePage(CodePage::kWindows1252);
}

TEST(FontResource, Failures) {
  TempDir dir;
  FontResource& real = FontResource::Real();
  std::string font = dir.Write("c.ttf", TinyFont({Win(1, u"C")}));
  std::string fot = dir.path + "/C.FOT";
  // The bytes without a file fail as the writing call does, and leave nothing.
  auto error = [&](const std::string& target, const std::string& file, const std::string& folder) {
    std::string bytes;
    bool written = true;
    uint32_t in_memory =
        real.ScalableFontResourceBytes(0, target, file, folder, bytes, written).last_error;
    EXPECT_FALSE(written);
    EXPECT_EQ(in_memory, real.CreateScalableFontResource(0, target, file, folder).last_error);
    return in_memory;
  };
  EXPECT_EQ(error(fot, "nothere.ttf", dir.path), 2u);
  EXPECT_EQ(error(fot, "c.ttf", dir.path + "/no"), 3u);
  EXPECT_EQ(error(dir.path + "/no/C.FOT", font, ""), 3u);
  dir.Write("text.ttf", "not a font at all");
  EXPECT_EQ(error(fot, "text.ttf", dir.path), 13u);
  dir.Write("C.FOT", "mine");
  EXPECT_EQ(error(fot, "c.ttf", dir.path), 80u);
  String target;
  EXPECT_EQ(real.ReadFontResourceTarget(fot, target), 13u);
  fs::create_directory(dir.path + "/ro");
  chmod((dir.path + "/ro").c_str(), 0500);
  if (geteuid() != 0) {
    EXPECT_EQ(error(dir.path + "/ro/C.FOT", font, ""), 5u);
  }
  EXPECT_TRUE(fs::is_empty(dir.path + "/ro"));
  EXPECT_EQ(fs::file_size(fot), 4u);  // the existing file is untouched
}

TEST(FontResource, BytesAreTheFileAndFollowTheFont) {
  TempDir dir;
  FontResource& real = FontResource::Real();
  std::string font = dir.Write("d.ttf", TinyFont({Win(1, u"Old"), Win(2, u"Bold")}));
  Names names;
  std::string file_bytes, bytes;
  bool written = true;
  ASSERT_EQ(RoundTrip(dir, font, names, &file_bytes), 0u);
  ASSERT_TRUE(real.ScalableFontResourceBytes(0, dir.path + "/D.FOT", font, "", bytes, written).ok);
  EXPECT_EQ(bytes, file_bytes);
  EXPECT_FALSE(fs::exists(dir.path + "/D.FOT"));
  // A font replaced under its name is read again.
  std::string renamed = dir.Write("new.ttf", TinyFont({Win(1, u"Newer"), Win(2, u"Bold")}));
  fs::rename(renamed, font);
  ASSERT_TRUE(real.ScalableFontResourceBytes(0, dir.path + "/D.FOT", font, "", bytes, written).ok);
  String family, style;
  EXPECT_EQ(ScanFotNames(FromAnsi(bytes), family, style), "Newer Bold");
  // Where files can be watched, a font rewritten in place to the same size, with its time of
  // change put back, is read again too; within a walk only once the walk is over.
  if (!platform::FolderWatch().WatchFile(font)) return;
  auto rewrite = [&](std::u16string_view name) {
    auto when = fs::last_write_time(font);
    std::ofstream(font, std::ios::binary | std::ios::trunc)
        << TinyFont({Win(1, name), Win(2, u"Bold")});
    fs::last_write_time(font, when);
  };
  auto read = [&] {
    EXPECT_TRUE(
        real.ScalableFontResourceBytes(0, dir.path + "/D.FOT", font, "", bytes, written).ok);
    return ScanFotNames(FromAnsi(bytes), family, style);
  };
  rewrite(u"Older");
  EXPECT_EQ(read(), "Older Bold");
  real.BeginWalk();
  EXPECT_EQ(read(), "Older Bold");
  rewrite(u"Newer");
  EXPECT_EQ(read(), "Older Bold");
  real.EndWalk();
  EXPECT_EQ(read(), "Newer Bold");
  // A target one walk found missing is known missing by the next only while nothing came into
  // its folder; one found there is looked at again on every call, as the caller replaces it.
  auto walk = [&] {
    real.BeginWalk();
    uint32_t e =
        real.ScalableFontResourceBytes(0, dir.path + "/D.FOT", font, "", bytes, written).last_error;
    real.EndWalk();
    return e;
  };
  EXPECT_EQ(walk(), 0u);
  dir.Write("D.FOT", "in the way");
  EXPECT_EQ(walk(), kWinFileExists);
  fs::remove(dir.path + "/D.FOT");
  EXPECT_EQ(walk(), 0u);
}

// The names of a font as FreeType reads name IDs 4, 1 and 2, in the same order of records,
// decoded by iconv and put through the ANSI code page as the ".FOT" does.
bool FreeTypeNames(FT_Library lib, const std::string& path, FT_Long index, Names& out,
                   FT_Long* faces = nullptr) {
  FT_Face face;
  if (FT_New_Face(lib, path.c_str(), index, &face) != 0) return false;
  if (faces) *faces = face->num_faces;
  std::unique_ptr<FT_FaceRec, decltype(&FT_Done_Face)> owner(face, FT_Done_Face);
  if (!FT_IS_SFNT(face)) return false;
  std::string best[5];
  int rank[5] = {9, 9, 9, 9, 9};
  for (FT_UInt i = 0, n = FT_Get_Sfnt_Name_Count(face); i < n; ++i) {
    FT_SfntName r;
    if (FT_Get_Sfnt_Name(face, i, &r) != 0 || r.name_id > 4) continue;
    int k = r.platform_id == 3 && (r.encoding_id == 1 || r.encoding_id == 10)
                ? (r.language_id == 0x409 ? 0 : 1)
            : r.platform_id == 3 && r.encoding_id == 0 ? 2
            : r.platform_id == 1 && r.encoding_id == 0 ? (r.language_id == 0 ? 3 : 4)
            : r.platform_id == 0                       ? 5
                                                       : 9;
    if (k >= rank[r.name_id]) continue;
    iconv_t cd = iconv_open("UTF-8", r.platform_id == 1 ? "MACINTOSH" : "UTF-16BE");
    std::string in(reinterpret_cast<char*>(r.string), r.string_len), utf8(4 * in.size() + 4, 0);
    char *src = in.data(), *dst = utf8.data();
    size_t left = in.size(), room = utf8.size();
    iconv(cd, &src, &left, &dst, &room);
    iconv_close(cd);
    rank[r.name_id] = k;
    best[r.name_id] = utf8.c_str();
  }
  auto ansi = [](const std::string& s) { return FromAnsi(ToAnsi(String(s))); };
  out = {ansi(best[4]), ansi(best[1]), ansi(best[2])};
  return true;
}

// Every font that fontconfig lists, and Wine's TrueType fonts (symbol fonts among them); each
// font of a collection by itself, and the collection as a whole under the names of all its
// fonts.
TEST(FontResource, EveryInstalledFont) {
  FT_Library lib;
  ASSERT_EQ(FT_Init_FreeType(&lib), 0);
  TempDir dir;
  int checked = 0, collections = 0;
  FILE* list = popen(
      "{ fc-list --format '%{file}\\n'; ls /usr/share/wine/fonts/*.ttf; } 2>/dev/null | sort -u",
      "r");
  ASSERT_NE(list, nullptr);
  char line[4096];
  while (fgets(line, sizeof line, list)) {
    std::string path(line);
    path.pop_back();
    Names first, got;
    FT_Long faces = 0;
    if (!FreeTypeNames(lib, path, 0, first, &faces)) continue;
    String all;
    for (FT_Long i = 0; i < faces; ++i) {
      Names expected;
      ASSERT_TRUE(FreeTypeNames(lib, path, i, expected)) << path;
      std::string bytes;
      ASSERT_EQ(FontResource::Real().FaceResourceBytes(path, static_cast<uint32_t>(i), bytes), 0u);
      EXPECT_EQ(ScanFotNames(FromAnsi(bytes), got.family, got.style), expected.full) << path;
      EXPECT_EQ(got.family, expected.family) << path << " " << i;
      EXPECT_EQ(got.style, expected.style) << path << " " << i;
      all = i == 0 ? expected.full : all + " & " + expected.full;
      ++checked;
    }
    uint32_t count = 0;
    EXPECT_EQ(FontResource::Real().FaceCount(path, count), 0u);
    EXPECT_EQ(count, static_cast<uint32_t>(faces)) << path;
    collections += faces > 1;
    ASSERT_EQ(RoundTrip(dir, path, got), 0u) << path;
    EXPECT_EQ(got.full, all) << path;
    EXPECT_EQ(got.family, first.family) << path;
    EXPECT_EQ(got.style, first.style) << path;
  }
  pclose(list);
  FT_Done_FreeType(lib);
  std::printf("fonts checked: %d, collections among their files: %d\n", checked, collections);
  if (checked == 0) GTEST_SKIP() << "fontconfig lists no TrueType font";
}

}  // namespace
}  // namespace borvane::platform
