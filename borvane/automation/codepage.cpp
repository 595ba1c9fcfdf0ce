#include "borvane/automation/codepage.h"

#include <cstring>

namespace borvane {

namespace {

thread_local CodePage t_code_page = CodePage::kWindows1252;

// Windows-1252 bytes 0x80..0x9F. The five bytes the code page leaves undefined map to the code
// unit of the same value; every other byte is the code unit of its value.
constexpr char16_t kHigh1252[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 80..87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 88..8F
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 90..97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 98..9F
};

char Byte1252(char16_t ch) {
  if (ch < 0x80 || (ch >= 0xA0 && ch <= 0xFF)) return static_cast<char>(ch);
  for (int i = 0; i < 32; ++i) {
    if (kHigh1252[i] == ch) return static_cast<char>(0x80 + i);
  }
  return '?';
}

}  // namespace

char Windows1252HighByte(char16_t ch) {
  return Byte1252(ch);
}

CodePage AnsiCodePage() {
  return t_code_page;
}
void SetAnsiCodePage(CodePage cp) {
  t_code_page = cp;
}

std::string ToAnsi(const String& text) {
  return ToCodePage(text, t_code_page);
}
String FromAnsi(std::string_view bytes) {
  return FromCodePage(bytes, t_code_page);
}

std::string ToCodePage(const String& text, CodePage cp) {
  std::string out;
  AppendCodePage(text.view(), cp, out);
  return out;
}

void AppendCodePage(std::u16string_view text, CodePage cp, std::string& out) {
  if (cp == CodePage::kUtf8) {
    out += Utf16ToUtf8(text);
    return;
  }
  size_t at = out.size();
  out.resize(at + text.size());
  char* to = out.data() + at;
  size_t i = 0;
  // ASCII, most of any text, in a loop the compiler can widen.
  while (i < text.size() && text[i] < 0x80) {
    to[i] = static_cast<char>(text[i]);
    ++i;
  }
  for (; i < text.size(); ++i) to[i] = Byte1252(text[i]);
}

String FromCodePage(std::string_view bytes, CodePage cp) {
  std::u16string out;
  AssignFromCodePage(bytes, cp, out);
  return String(std::move(out));
}

void AssignFromCodePage(std::string_view bytes, CodePage cp, std::u16string& out) {
  if (cp == CodePage::kUtf8) {
    out = Utf8ToUtf16(bytes);
    return;
  }
  out.resize(bytes.size());
  char16_t* to = out.data();
  size_t i = 0;
  // ASCII, most of any text, eight bytes at a time.
  for (uint64_t w; i + 8 <= bytes.size(); i += 8) {
    std::memcpy(&w, bytes.data() + i, 8);
    if (w & 0x8080808080808080ull) break;
    for (size_t j = 0; j < 8; ++j) to[i + j] = static_cast<unsigned char>(bytes[i + j]);
  }
  for (; i < bytes.size(); ++i) {
    auto b = static_cast<unsigned char>(bytes[i]);
    to[i] = b >= 0x80 && b < 0xA0 ? kHigh1252[b - 0x80] : b;
  }
}

String FromBytesLatin1(std::string_view bytes) {
  std::u16string out;
  out.reserve(bytes.size());
  for (char c : bytes) out.push_back(static_cast<unsigned char>(c));
  return String(std::move(out));
}

std::string ToBytesLatin1(const String& text) {
  std::string out;
  out.reserve(text.size());
  for (char16_t ch : text.view()) out.push_back(static_cast<char>(ch & 0xFF));
  return out;
}

}  // namespace borvane
