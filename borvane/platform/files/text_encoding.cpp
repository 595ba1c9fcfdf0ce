#include "borvane/platform/files/text_encoding.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace borvane::platform {

namespace {

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char x = a[i], y = b[i];
    if (x >= 'A' && x <= 'Z') x = static_cast<char>(x + 32);
    if (y >= 'A' && y <= 'Z') y = static_cast<char>(y + 32);
    if (x != y) return false;
  }
  return true;
}

bool NamesUtf8(std::string_view charset) {
  return EqualsNoCase(charset, "utf-8") || EqualsNoCase(charset, "utf8");
}

}  // namespace

bool IsValidUtf8(std::string_view bytes, bool* non_ascii) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  const size_t n = bytes.size();
  size_t i = 0;
  bool high = false;
  auto invalid = [&] {
    if (non_ascii) *non_ascii = true;
    return false;
  };
  while (i < n) {
    // ASCII, most of any text, eight bytes at a time.
    if (i + 8 <= n) {
      uint64_t w;
      std::memcpy(&w, p + i, 8);
      if (!(w & 0x8080808080808080ull)) {
        i += 8;
        continue;
      }
    }
    unsigned char c = p[i];
    if (c < 0x80) {
      ++i;
      continue;
    }
    high = true;
    size_t extra;
    unsigned char lo = 0x80, hi = 0xBF;  // the range of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
      extra = 1;
    } else if (c >= 0xE0 && c <= 0xEF) {
      extra = 2;
      if (c == 0xE0) lo = 0xA0;  // no overlong forms
      if (c == 0xED) hi = 0x9F;  // no surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
      extra = 3;
      if (c == 0xF0) lo = 0x90;
      if (c == 0xF4) hi = 0x8F;  // nothing beyond U+10FFFF
    } else {
      return invalid();
    }
    if (i + extra >= n || p[i + 1] < lo || p[i + 1] > hi) return invalid();
    for (size_t k = 2; k <= extra; ++k)
      if ((p[i + k] & 0xC0) != 0x80) return invalid();
    i += extra + 1;
  }
  if (non_ascii) *non_ascii = high;
  return true;
}

CodePage NewFileCodePage() {
  if (const char* named = std::getenv("BORVANE_CODEPAGE"); named && *named) {
    std::string_view v(named);
    if (v == "1252") return CodePage::kWindows1252;
    if (NamesUtf8(v) || v == "65001") return CodePage::kUtf8;
  }
  // The locale as the C library would take it from the environment, without asking the
  // process's locale, which a library must leave to its host.
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(name);
    if (!value || !*value) continue;
    std::string_view locale(value);
    size_t dot = locale.find('.');
    if (dot == std::string_view::npos) return CodePage::kWindows1252;
    std::string_view charset = locale.substr(dot + 1);
    charset = charset.substr(0, charset.find('@'));
    return NamesUtf8(charset) ? CodePage::kUtf8 : CodePage::kWindows1252;
  }
  return CodePage::kWindows1252;
}

TextEncoding DetectEncoding(std::string_view bytes) {
  if (bytes.substr(0, kUtf8Bom.size()) == kUtf8Bom) return {CodePage::kUtf8, true};
  bool non_ascii = false;
  bool utf8 = IsValidUtf8(bytes, &non_ascii);
  if (!non_ascii) return {NewFileCodePage(), false};
  return {utf8 ? CodePage::kUtf8 : CodePage::kWindows1252, false};
}

String DecodeText(std::string_view bytes, TextEncoding* found) {
  TextEncoding encoding = DetectEncoding(bytes);
  if (found) *found = encoding;
  if (encoding.bom) bytes.remove_prefix(kUtf8Bom.size());
  return FromCodePage(bytes, encoding.code_page);
}

std::string EncodeText(const String& text, const TextEncoding& encoding) {
  std::string out;
  if (encoding.bom && encoding.code_page == CodePage::kUtf8) out = kUtf8Bom;
  AppendCodePage(text.view(), encoding.code_page, out);
  return out;
}

}  // namespace borvane::platform
