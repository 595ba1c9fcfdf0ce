// The name-table reader on collections and on fonts whose tables lie about their sizes.
#include "borvane/platform/fonts/sfnt_names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tiny_font.h"

namespace borvane::platform {
namespace {

using namespace std::string_literals;
using testing::Be16;
using testing::Be32;
using testing::TinyFont;
using testing::Win;

uint32_t Get32(const std::string& s, size_t at) {
  uint32_t v = 0;
  for (size_t i = 0; i < 4; ++i) v = v << 8 | static_cast<unsigned char>(s[at + i]);
  return v;
}

void Put32(std::string& s, size_t at, uint32_t v) {
  for (size_t i = 0; i < 4; ++i) s[at + i] = static_cast<char>(v >> (24 - 8 * i));
}

// A collection of `fonts`: each font's table offsets moved to where the font now lies.
std::string Collection(const std::vector<std::string>& fonts) {
  std::string out = "ttcf";
  Be32(out, 0x00010000);
  Be32(out, static_cast<uint32_t>(fonts.size()));
  size_t at = out.size() + 4 * fonts.size();
  std::string body;
  for (std::string font : fonts) {
    Be32(out, static_cast<uint32_t>(at + body.size()));
    const size_t tables = static_cast<unsigned char>(font[5]);
    for (size_t t = 0; t < tables; ++t) {
      const size_t field = 12 + 16 * t + 8;
      Put32(font, field, Get32(font, field) + static_cast<uint32_t>(at + body.size()));
    }
    body += font;
  }
  return out + body;
}

// The offset of the name table's directory entry in a font TinyFont made.
size_t NameEntry(const std::string& font) {
  for (size_t at = 12; at + 16 <= font.size(); at += 16)
    if (font.compare(at, 4, "name") == 0) return at;
  return 0;
}

TEST(SfntNames, CollectionsFaceByFace) {
  const std::string ttc = Collection(
      {TinyFont({Win(1, u"Alpha"), Win(2, u"Bold")}, 700), TinyFont({Win(4, u"Beta Light")}, 300)});
  ASSERT_TRUE(IsSfntCollection(ttc));
  EXPECT_EQ(SfntFaceCount(ttc), 2u);
  std::vector<SfntFace> faces;
  ASSERT_EQ(ReadSfntFaces(ttc, faces), 0u);
  ASSERT_EQ(faces.size(), 2u);
  EXPECT_EQ(faces[0].full_name, "Alpha Bold");
  EXPECT_EQ(faces[0].weight, 700);
  EXPECT_EQ(faces[1].family, "Beta Light");  // a missing family is the full name
  EXPECT_EQ(faces[1].style, "Regular");
  EXPECT_EQ(SfntListName(faces), "Alpha Bold & Beta Light");
  SfntFace face;
  EXPECT_EQ(ReadSfntFace(ttc, face, 2), 13u);  // no third face
  // A collection that claims more fonts than its bytes can hold has none.
  std::string lying = ttc;
  Put32(lying, 8, 0xFFFFFFFF);
  EXPECT_EQ(SfntFaceCount(lying), 0u);
  EXPECT_EQ(ReadSfntFaces(lying, faces), 13u);
}

TEST(SfntNames, TablesThatLieAreNoFontAndNeverReadPastTheBytes) {
  const std::string font = TinyFont({Win(1, u"Fam"), Win(2, u"Italic")});
  const size_t entry = NameEntry(font);
  ASSERT_NE(entry, 0u);
  const size_t name = Get32(font, entry + 8);
  SfntFace face;
  ASSERT_EQ(ReadSfntFace(font, face), 0u);
  EXPECT_EQ(face.full_name, "Fam Italic");

  auto refused = [&](std::string bytes, const char* what) {
    // Copied into a buffer of its own size, so that ASan sees a read past the end.
    EXPECT_EQ(ReadSfntFace(std::string_view(bytes), face), 13u) << what;
  };
  std::string bad = font;
  Put32(bad, entry + 8, static_cast<uint32_t>(font.size()));  // the table starts at the end
  refused(bad, "table past the end");
  bad = font;
  Put32(bad, entry + 12, 0xFFFFFFF0);  // offset + length wraps
  refused(bad, "table length wraps");
  bad = font;
  bad[name + 2] = '\xFF', bad[name + 3] = '\xFF';  // 65,535 records
  refused(bad, "more records than the table holds");
  refused(font.substr(0, 11), "header cut");
  refused(font.substr(0, name + 8), "records cut");

  // A record whose text lies past the table is skipped, not read: the other names stay.
  bad = font;
  const size_t second = name + 6 + 12;  // the style's record
  bad[second + 10] = '\x7F', bad[second + 11] = '\xFF';
  ASSERT_EQ(ReadSfntFace(bad, face), 0u);
  EXPECT_EQ(face.family, "Fam");
  EXPECT_EQ(face.style, "Regular");
}

TEST(SfntNames, Decoders) {
  EXPECT_EQ(DecodeUtf16Be("\0A\0B\0"s), "AB");  // an odd last byte is dropped
  EXPECT_EQ(DecodeUtf16Be("\xD8\x3D\xDE\x00"s), String::FromUtf8("\xF0\x9F\x98\x80"));
  EXPECT_EQ(DecodeMacRoman("Caf\x8E \xA5"s), String::FromUtf8("Caf\xC3\xA9 \xE2\x80\xA2"));
  EXPECT_EQ(DecodeUtf16Be(""), "");
}

}  // namespace
}  // namespace borvane::platform
