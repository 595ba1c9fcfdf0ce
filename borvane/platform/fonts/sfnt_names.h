// The names and style of a TrueType or OpenType font, as Windows reads them from the font's
// own tables: the name table (IDs 1 family, 2 style, 4 full name) and the OS/2 table.
#ifndef BORVANE_PLATFORM_FONTS_SFNT_NAMES_H_
#define BORVANE_PLATFORM_FONTS_SFNT_NAMES_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "borvane/automation/string.h"

namespace borvane::platform {

// What a scalable font resource records of a font. Metrics are for a nominal em of
// kNominalEmPixels pixels.
struct SfntFace {
  String full_name;       // name ID 4
  String family;          // name ID 1, the legacy family (never the typographic ID 16)
  String style;           // name ID 2 (never ID 17)
  uint16_t weight = 400;  // 1..1000
  bool italic = false;
  bool symbol = false;       // the font maps its characters through the symbol encoding
  bool fixed_pitch = false;  // all glyphs have one advance width
  uint8_t family_kind = 0;   // FF_ROMAN 0x10, FF_SWISS 0x20, FF_MODERN 0x30, FF_SCRIPT 0x40,
                             // FF_DECORATIVE 0x50, 0 don't care
  uint16_t ascent = 0;
  uint16_t internal_leading = 0;
  uint16_t avg_width = 0;
  uint16_t max_width = 0;
  bool truetype = true;  // TrueType outlines; false for the PostScript (CFF) outlines of OpenType
};

inline constexpr int kNominalEmPixels = 16;  // 12 points at 96 dots per inch

// Reads face `index` of the font in `bytes` (a single font has face 0 alone; a collection, .ttc
// or .otc, one per font it holds). Returns 0, or the Windows error 13 (ERROR_INVALID_DATA) when
// the bytes are not a TrueType/OpenType font, have no such face, or the face has neither a
// family nor a full name.
//
// Each name is taken from the first record that exists in this order: the Windows platform
// with a Unicode encoding and US English, the Windows platform with a Unicode encoding in any
// language, the Windows symbol encoding, the Macintosh Roman names (English first), and, for
// fonts made for Apple systems only, the Unicode platform. A name ends at its first NUL.
// A missing full name becomes the family, followed by the style unless that is "Regular"; a
// missing family the full name; a missing style "Regular".
uint32_t ReadSfntFace(std::string_view bytes, SfntFace& face, uint32_t index = 0);

// The faces of the font in `bytes`: 1 for a single font, the count of a collection's fonts, 0
// when the bytes are no TrueType/OpenType font.
uint32_t SfntFaceCount(std::string_view bytes);

// Whether `bytes` begin as a collection ("ttcf").
bool IsSfntCollection(std::string_view bytes);

// Every face of the font in `bytes`, in order: 0, or 13 as ReadSfntFace gives for any face.
uint32_t ReadSfntFaces(std::string_view bytes, std::vector<SfntFace>& faces);

// The name a font file goes by in the fonts key, as the system lists it: the full name of a
// single font; for a collection the full names of its fonts joined by " & ".
String SfntListName(const std::vector<SfntFace>& faces);

// Decoding of name records: UTF-16 big-endian (an odd last byte is dropped), Mac Roman.
String DecodeUtf16Be(std::string_view bytes);
String DecodeMacRoman(std::string_view bytes);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FONTS_SFNT_NAMES_H_
