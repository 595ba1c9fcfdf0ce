#include "borvane/automation/string.h"

namespace borvane {

String::String(const char* utf8) : null_(utf8 == nullptr) {
  if (utf8) text_ = Utf8ToUtf16(utf8);
}

String::String(const std::string& utf8) : text_(Utf8ToUtf16(utf8)) {}

String String::FromUtf8(std::string_view utf8) {
  return String(Utf8ToUtf16(utf8));
}

std::string String::ToUtf8() const {
  return Utf16ToUtf8(text_);
}

std::u16string Utf8ToUtf16(std::string_view in) {
  std::u16string out;
  out.reserve(in.size());
  size_t i = 0;
  const size_t n = in.size();
  while (i < n) {
    unsigned char c = static_cast<unsigned char>(in[i]);
    if (c < 0x80) {
      out.push_back(c);
      ++i;
      continue;
    }
    int extra = 0;
    char32_t cp = 0;
    char32_t min = 0;
    if ((c & 0xE0) == 0xC0) {
      extra = 1, cp = c & 0x1F, min = 0x80;
    } else if ((c & 0xF0) == 0xE0) {
      extra = 2, cp = c & 0x0F, min = 0x800;
    } else if ((c & 0xF8) == 0xF0) {
      extra = 3, cp = c & 0x07, min = 0x10000;
    } else {
      out.push_back(0xFFFD);
      ++i;
      continue;
    }
    bool ok = true;
    size_t j = 1;
    for (; ok && j <= static_cast<size_t>(extra); ++j) {
      if (i + j >= n) {
        ok = false;
        break;
      }
      unsigned char cc = static_cast<unsigned char>(in[i + j]);
      if ((cc & 0xC0) != 0x80) {
        ok = false;
        break;
      }
      cp = (cp << 6) | (cc & 0x3F);
    }
    if (!ok || cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      out.push_back(0xFFFD);
      i += (j > 1 ? j : 1);
      continue;
    }
    i += extra + 1;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
  }
  return out;
}

std::string Utf16ToUtf8(std::u16string_view in) {
  // The ASCII part in front, a byte a unit, is the whole of most texts.
  size_t ascii = 0;
  while (ascii < in.size() && in[ascii] < 0x80) ++ascii;
  std::string out(ascii, '\0');
  for (size_t i = 0; i < ascii; ++i) out[i] = static_cast<char>(in[i]);
  if (ascii == in.size()) return out;
  out.reserve(in.size() + in.size() / 2);
  for (size_t i = ascii; i < in.size(); ++i) {
    char32_t cp = in[i];
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < in.size() && in[i + 1] >= 0xDC00 &&
        in[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (in[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      cp = 0xFFFD;
    }
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
  }
  return out;
}

}  // namespace borvane
