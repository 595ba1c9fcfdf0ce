// The file form of a scalable font resource (".FOT"): a 16-bit New Executable module that
// holds no code, only a font directory that describes one TrueType font and a font resource
// that names the font's file.
//
// Layout (byte offsets):
//   0x00  DOS header ("MZ"), new header at 0x80; a DOS stub that says what the file is
//   0x80  NE header; then the resource table (shift 4: resources on 16-byte boundaries) with
//         one FONTDIR (0x8007) and one FONT (0x8008) resource; the resident name table
//         ("FONTRES"); an empty module reference table, imported names and entry table
//         then the non-resident name table: the module description "FONTRES:" + full name
//         (at most 255 bytes), ordinal 0, end
//   FONTDIR  count 1, ordinal 1, then the 113 fixed bytes of the entry: version 0x200,
//         size, the 60-byte copyright field "Windows! Windows! Windows!" (NUL-padded), type,
//         points, resolution, ascent, leadings, italic, underline, strike-out, weight,
//         charset, pixel sizes, pitch and family (TrueType bit for TrueType outlines only), widths,
//         characters, device, face offset (114), reserved; an empty device name; family, full name
//         and style, each NUL-ended
//   FONT  the font file argument as given, NUL-ended
// Texts are in the ANSI code page. Every fixed byte behind the copyright field is either
// below 0x80 or a byte that cannot start a valid UTF-8 sequence with its successor, so that in
// the UTF-8 code page too each of those bytes reads as one character.
#ifndef BORVANE_PLATFORM_FONTS_FONT_RESOURCE_FILE_H_
#define BORVANE_PLATFORM_FONTS_FONT_RESOURCE_FILE_H_

#include <optional>
#include <string>
#include <string_view>

#include "borvane/automation/string.h"
#include "borvane/platform/fonts/sfnt_names.h"

namespace borvane::platform {

// dfType of the font directory entry: a scalable font, 0x80 added when it is hidden.
inline constexpr uint16_t kFontTypeScalable = 0x0003;
inline constexpr uint16_t kFontTypeHidden = 0x0080;
// Offset of the font directory entry (its dfVersion) in the FONTDIR resource.
inline constexpr size_t kFontDirEntryOffset = 4;

// The bytes of a ".FOT" for `face`, naming `font_file`. Names are cut at their first NUL. The
// module description is `description` when given (a collection is described by the names of
// all its fonts), else the face's full name.
std::string BuildFontResourceFile(const SfntFace& face, bool hidden, const String& font_file,
                                  const String* description = nullptr);

// Whether the font a ".FOT" describes has TrueType outlines (the TrueType bit of its pitch and
// family), as against the PostScript outlines of an OpenType font; false when `bytes` are not a
// ".FOT".
bool FontResourceIsTrueType(std::string_view bytes);

// The font file argument recorded in a ".FOT", or nothing when `bytes` are not one.
std::optional<String> FontResourceTarget(std::string_view bytes);

// Offset of the FONTDIR resource data in a ".FOT", or nothing.
std::optional<size_t> FontDirectoryOffset(std::string_view bytes);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FONTS_FONT_RESOURCE_FILE_H_
