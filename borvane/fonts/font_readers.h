// The name readers of FontFunctions: they take a font's names from the bytes of a scalable
// font resource (".FOT") or of a bitmap font (".FON"), read as text, without parsing either
// format. Also the small text helpers that all font members share.
#ifndef BORVANE_FONTS_FONT_READERS_H_
#define BORVANE_FONTS_FONT_READERS_H_

#include <cstdint>
#include <string_view>

#include "borvane/automation/string.h"

namespace borvane {

// The whole file at `path` as text in the ANSI code page (one character per byte in a
// single-byte code page). Throws the platform's file error when it cannot be read.
String ReadFontFileText(const String& path);

// The font name that the ".FOT" at `fot` describes; its family and style go to `family` and
// `style`. The scan: the name follows the first "FONTRES:" (or starts at position 8 without
// one) up to a NUL; the family is the first NUL-ended string 108 characters behind the first
// "Windows!" at or behind that NUL (or from position 108 without one), the style the third.
// Throws error 5 when the name, the family or the style has no closing NUL, error 6 when
// "FONTRES:" stands behind position 32759, and the file error when the file cannot be read.
// `family` and `style` are changed only on success.
String ReadFotNames(const String& fot, String& family, String& style);
// The same scan over the text of a ".FOT" already read.
String ScanFotNames(const String& whole, String& family, String& style);
// The same scan over the bytes of a ".FOT", read as text in the ANSI code page.
String ScanFotNameBytes(std::string_view bytes, String& family, String& style);
// The name alone, by the first steps of the same scan (errors 6 and 5 as there): the family
// and style are not looked for.
String FotFaceName(std::string_view bytes);

// The face name of the bitmap font `file` in the folder `dir`: behind the first "FONTRES"
// and the first ":" after it, up to the next NUL, without leading and trailing blanks.
// Throws error 5 when no NUL follows, and the file error when the file cannot be read.
String ReadBitmapFaceName(const String& dir, const String& file);

// `text` closed with a "\": unchanged when, blanks aside, it ends in "\" or "/"; else
// without its trailing blanks and followed by "\" (an empty text gives "\").
String AddBackslash(const String& text);

// The part of `text` in front of its first NUL, or the whole text.
String TrimAtNul(const String& text);

// A number as messages show it: a leading blank for 0 and above, "-" for below (" 5", "-3").
String NumberText(int32_t number);

}  // namespace borvane

#endif  // BORVANE_FONTS_FONT_READERS_H_
