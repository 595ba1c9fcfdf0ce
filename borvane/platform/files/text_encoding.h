// The ANSI code page of a text file, decided file by file.
//
// The library's single-byte calls hand text to a file in the system's ANSI code page. On
// Windows that is one code page for the whole system; on Linux text files are UTF-8, while a
// file made on Windows is Windows-1252 and almost never valid UTF-8. So the ANSI code page in
// force for a file's content is the file's own, and a file keeps it when written back:
//
// - A file that begins with the UTF-8 byte-order mark, or whose bytes are valid UTF-8 and hold
//   a byte above 0x7F, is UTF-8; the mark, where there is one, stays in front of the text.
// - Any other file with a byte above 0x7F is Windows-1252. Every byte survives a round trip
//   through it, so such a file comes back byte for byte whatever it holds.
// - A file of ASCII bytes alone reads the same in both. Like a file that does not exist yet,
//   it takes the code page of a new file once text beyond ASCII is written into it.
//
// A new file's code page is the one named by BORVANE_CODEPAGE ("1252", or "utf-8", "utf8",
// "65001"; other values are not looked at), else UTF-8 when the locale's character set is
// UTF-8 (the first of LC_ALL, LC_CTYPE and LANG that is set, as the C library takes them),
// else Windows-1252.
//
// File names are not file content: the file system takes them as UTF-8, so a path that
// crosses to a single-byte call keeps every character.
#ifndef BORVANE_PLATFORM_FILES_TEXT_ENCODING_H_
#define BORVANE_PLATFORM_FILES_TEXT_ENCODING_H_

#include <string>
#include <string_view>

#include "borvane/automation/codepage.h"
#include "borvane/automation/string.h"

namespace borvane::platform {

inline constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";

struct TextEncoding {
  CodePage code_page = CodePage::kWindows1252;
  bool bom = false;  // UTF-8 behind a byte-order mark
  bool operator==(const TextEncoding&) const = default;
};

// The encoding of a file's bytes by the rules above (an ASCII file gets a new file's).
TextEncoding DetectEncoding(std::string_view bytes);
// The code page a new file takes.
CodePage NewFileCodePage();
// Whether the bytes are valid UTF-8 (no overlong forms, no surrogates, nothing beyond
// U+10FFFF), and whether any of them is above 0x7F.
bool IsValidUtf8(std::string_view bytes, bool* non_ascii = nullptr);

// A file's text: its bytes without the byte-order mark, in its code page. `found`, when
// given, receives the encoding.
String DecodeText(std::string_view bytes, TextEncoding* found = nullptr);
// Text as a file in that encoding holds it (with the byte-order mark when it has one).
std::string EncodeText(const String& text, const TextEncoding& encoding);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FILES_TEXT_ENCODING_H_
