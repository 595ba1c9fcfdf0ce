#include "borvane/platform/fonts/sfnt_names.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SFNT_NAMES_H
#include FT_TRUETYPE_IDS_H
#include FT_TRUETYPE_TABLES_H

#include <algorithm>

namespace borvane::platform {

namespace {

constexpr uint32_t kErrInvalidData = 13;

// Mac Roman bytes 0x80..0xFF.
constexpr char16_t kMacRomanHigh[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
    0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
    0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
    0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
    0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
    0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};

// One FreeType library per thread, as every object of the library stays on its thread.
class Library {
 public:
  Library() {
    if (FT_Init_FreeType(&lib_) != 0) lib_ = nullptr;
  }
  ~Library() {
    if (lib_) FT_Done_FreeType(lib_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  FT_Library get() const { return lib_; }

 private:
  FT_Library lib_ = nullptr;
};

FT_Library ThreadLibrary() {
  thread_local Library library;
  return library.get();
}

class Face {
 public:
  explicit Face(FT_Face face) : face_(face) {}
  ~Face() {
    if (face_) FT_Done_Face(face_);
  }
  Face(const Face&) = delete;
  Face& operator=(const Face&) = delete;

 private:
  FT_Face face_;
};

// The rank of a name record in the order of preference (lower is better), or -1 when the
// record is of no use.
int Rank(const FT_SfntName& n) {
  if (n.platform_id == TT_PLATFORM_MICROSOFT) {
    if (n.encoding_id == TT_MS_ID_UNICODE_CS || n.encoding_id == TT_MS_ID_UCS_4)
      return n.language_id == TT_MS_LANGID_ENGLISH_UNITED_STATES ? 0 : 1;
    if (n.encoding_id == TT_MS_ID_SYMBOL_CS) return 2;
    return -1;
  }
  if (n.platform_id == TT_PLATFORM_MACINTOSH && n.encoding_id == TT_MAC_ID_ROMAN)
    return n.language_id == TT_MAC_LANGID_ENGLISH ? 3 : 4;
  // Fonts made for Apple systems alone may carry Unicode names only: better than no name.
  if (n.platform_id == TT_PLATFORM_APPLE_UNICODE) return 5;
  return -1;
}

String Decode(const FT_SfntName& n) {
  std::string_view bytes(reinterpret_cast<const char*>(n.string), n.string_len);
  String s = n.platform_id == TT_PLATFORM_MACINTOSH ? DecodeMacRoman(bytes) : DecodeUtf16Be(bytes);
  size_t nul = s.view().find(u'\0');
  if (nul != std::u16string_view::npos) s = String(s.view().substr(0, nul));
  return s;
}

// Pixels of `units` at the nominal em, kept small and >= 0 whatever the font claims.
uint16_t Scale(long units, FT_UShort units_per_em) {
  if (units <= 0 || units_per_em == 0) return 0;
  long px = (units * kNominalEmPixels + units_per_em / 2) / units_per_em;
  return static_cast<uint16_t>(std::min(px, 1023L));
}

uint8_t FamilyKind(const TT_OS2& os2) {
  const FT_Byte* panose = os2.panose;
  switch (panose[0]) {
    case 2:                                                     // Latin text
      if (panose[3] == 9) return 0x30;                          // monospaced: FF_MODERN
      return panose[1] >= 11 && panose[1] <= 13 ? 0x20 : 0x10;  // sans serif: FF_SWISS
    case 3:
      return 0x40;  // FF_SCRIPT
    case 4:
    case 5:
      return 0x50;  // FF_DECORATIVE
    default:
      return 0;
  }
}

void ReadStyle(FT_Face ft, SfntFace& face) {
  auto* os2 = static_cast<TT_OS2*>(FT_Get_Sfnt_Table(ft, FT_SFNT_OS2));
  auto* head = static_cast<TT_Header*>(FT_Get_Sfnt_Table(ft, FT_SFNT_HEAD));
  FT_UShort upem = ft->units_per_EM;
  face.fixed_pitch = FT_IS_FIXED_WIDTH(ft);
  face.max_width = Scale(ft->max_advance_width, upem);
  if (os2 && os2->version != 0xFFFF) {
    unsigned w = os2->usWeightClass;
    if (w >= 1 && w <= 9) w *= 100;  // some old fonts give the weight in hundreds
    face.weight = static_cast<uint16_t>(std::clamp(w, 1u, 1000u));
    face.italic = (os2->fsSelection & 1) != 0;
    face.family_kind = FamilyKind(*os2);
    face.ascent = Scale(os2->usWinAscent, upem);
    long height = static_cast<long>(os2->usWinAscent) + os2->usWinDescent;
    face.internal_leading = Scale(height - upem, upem);
    face.avg_width = Scale(os2->xAvgCharWidth, upem);
  } else if (head) {
    face.weight = (head->Mac_Style & 1) ? 700 : 400;
    face.italic = (head->Mac_Style & 2) != 0;
    face.ascent = Scale(ft->ascender, upem);
  }
  for (int i = 0; i < ft->num_charmaps; ++i)
    if (ft->charmaps[i]->encoding == FT_ENCODING_MS_SYMBOL) face.symbol = true;
}

bool IsSfntTag(std::string_view bytes) {
  if (bytes.size() < 12) return false;
  std::string_view tag = bytes.substr(0, 4);
  return tag == std::string_view("\0\1\0\0", 4) || tag == "OTTO" || tag == "true" || tag == "ttcf";
}

}  // namespace

String DecodeUtf16Be(std::string_view bytes) {
  std::u16string out(bytes.size() / 2, u'\0');
  for (size_t i = 0; i < out.size(); ++i)
    out[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) << 8 |
                                   static_cast<unsigned char>(bytes[2 * i + 1]));
  return String(std::move(out));
}

String DecodeMacRoman(std::string_view bytes) {
  std::u16string out(bytes.size(), u'\0');
  for (size_t i = 0; i < bytes.size(); ++i) {
    auto b = static_cast<unsigned char>(bytes[i]);
    out[i] = b < 0x80 ? b : kMacRomanHigh[b - 0x80];
  }
  return String(std::move(out));
}

bool IsSfntCollection(std::string_view bytes) {
  return bytes.size() >= 12 && bytes.substr(0, 4) == "ttcf";
}

uint32_t SfntFaceCount(std::string_view bytes) {
  if (!IsSfntTag(bytes)) return 0;
  if (!IsSfntCollection(bytes)) return 1;
  // The collection's header: its count of fonts, then one offset each, all within the file.
  auto u32 = [&](size_t at) {
    uint32_t v = 0;
    for (size_t i = 0; i < 4; ++i) v = v << 8 | static_cast<unsigned char>(bytes[at + i]);
    return v;
  };
  const uint32_t count = u32(8);
  if (count == 0 || count > (bytes.size() - 12) / 4) return 0;
  return count;
}

uint32_t ReadSfntFaces(std::string_view bytes, std::vector<SfntFace>& faces) {
  faces.clear();
  const uint32_t count = SfntFaceCount(bytes);
  if (count == 0) return kErrInvalidData;
  faces.resize(count);
  for (uint32_t i = 0; i < count; ++i)
    if (uint32_t e = ReadSfntFace(bytes, faces[i], i)) {
      faces.clear();
      return e;
    }
  return 0;
}

String SfntListName(const std::vector<SfntFace>& faces) {
  String name;
  for (size_t i = 0; i < faces.size(); ++i) {
    if (i > 0) name = name + " & ";
    name = name + faces[i].full_name;
  }
  return name;
}

uint32_t ReadSfntFace(std::string_view bytes, SfntFace& face, uint32_t index) {
  // Only the sfnt forms count as TrueType/OpenType; FreeType would also open Type 1, BDF, PCF
  // and the web font wrappers, which Windows refuses here.
  if (!IsSfntTag(bytes) || index >= SfntFaceCount(bytes)) return kErrInvalidData;
  FT_Library lib = ThreadLibrary();
  FT_Face ft = nullptr;
  if (!lib ||
      FT_New_Memory_Face(lib, reinterpret_cast<const FT_Byte*>(bytes.data()),
                         static_cast<FT_Long>(bytes.size()), static_cast<FT_Long>(index), &ft) != 0)
    return kErrInvalidData;
  Face owner(ft);
  if (!FT_IS_SFNT(ft)) return kErrInvalidData;

  constexpr FT_UShort kIds[3] = {TT_NAME_ID_FONT_FAMILY, TT_NAME_ID_FONT_SUBFAMILY,
                                 TT_NAME_ID_FULL_NAME};
  int best[3] = {-1, -1, -1};
  FT_UInt best_index[3] = {};
  FT_UInt count = FT_Get_Sfnt_Name_Count(ft);
  for (FT_UInt i = 0; i < count; ++i) {
    FT_SfntName n;
    if (FT_Get_Sfnt_Name(ft, i, &n) != 0) continue;
    for (int k = 0; k < 3; ++k) {
      if (n.name_id != kIds[k]) continue;
      int r = Rank(n);
      if (r >= 0 && (best[k] < 0 || r < best[k])) best[k] = r, best_index[k] = i;
    }
  }
  String names[3];
  for (int k = 0; k < 3; ++k) {
    FT_SfntName n;
    if (best[k] >= 0 && FT_Get_Sfnt_Name(ft, best_index[k], &n) == 0) names[k] = Decode(n);
  }
  face = SfntFace();
  face.family = names[0];
  face.style = names[1];
  face.full_name = names[2];
  if (face.family.empty() && face.full_name.empty()) return kErrInvalidData;
  if (face.style.empty()) face.style = "Regular";
  if (face.family.empty()) face.family = face.full_name;
  if (face.full_name.empty())
    face.full_name = face.style == String("Regular") ? face.family : face.family + " " + face.style;
  ReadStyle(ft, face);
  // PostScript outlines make an OpenType font of a font that is no TrueType font.
  FT_ULong length = 0;
  face.truetype =
      FT_Load_Sfnt_Table(ft, FT_MAKE_TAG('C', 'F', 'F', ' '), 0, nullptr, &length) != 0 &&
      FT_Load_Sfnt_Table(ft, FT_MAKE_TAG('C', 'F', 'F', '2'), 0, nullptr, &length) != 0;
  return 0;
}

}  // namespace borvane::platform
