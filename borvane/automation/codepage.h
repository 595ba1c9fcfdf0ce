// Text to bytes and back in the system ANSI code page.
//
// The code page is Windows-1252 unless a caller selects UTF-8. Windows-1252's five undefined
// bytes (0x81, 0x8D, 0x8F, 0x90, 0x9D) map to the code units of the same value, so any byte
// string survives a round trip through a String.
#ifndef BORVANE_AUTOMATION_CODEPAGE_H_
#define BORVANE_AUTOMATION_CODEPAGE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "borvane/automation/string.h"

namespace borvane {

enum class CodePage : int32_t { kWindows1252 = 1252, kUtf8 = 65001 };

// The ANSI code page of the calling thread (Windows-1252 until set).
CodePage AnsiCodePage();
void SetAnsiCodePage(CodePage cp);

// A String as bytes in the ANSI code page; a character that the code page cannot hold becomes
// "?".
std::string ToAnsi(const String& text);
// Bytes in the ANSI code page as a String. Invalid UTF-8 bytes become U+FFFD.
String FromAnsi(std::string_view bytes);
// Both directions with an explicit code page.
std::string ToCodePage(const String& text, CodePage cp);
String FromCodePage(std::string_view bytes, CodePage cp);
// The Windows-1252 byte of a code unit, "?" for one the code page cannot hold.
char Windows1252HighByte(char16_t ch);  // for units from 0x80 on
inline char Windows1252Byte(char16_t ch) {
  return ch < 0x80 ? static_cast<char>(ch) : Windows1252HighByte(ch);
}

// ToCodePage appended to `out`.
void AppendCodePage(std::u16string_view text, CodePage cp, std::string& out);
// FromCodePage into `out`, whose storage is reused.
void AssignFromCodePage(std::string_view bytes, CodePage cp, std::u16string& out);

// One byte, one character: byte b becomes the code unit b, and back (code units above 0xFF
// keep their low byte). The font name readers read their files this way.
String FromBytesLatin1(std::string_view bytes);
std::string ToBytesLatin1(const String& text);

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_CODEPAGE_H_
