#include "borvane/automation/text.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>

#include "borvane/automation/error.h"

namespace borvane {

namespace {

// The locale whose tables give the Unicode case mappings; made once, never freed. Null when the
// system has no UTF-8 locale, and then only ASCII letters change case.
locale_t CaseLocale() {
  static const locale_t loc = [] {
    locale_t l = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(0));
    if (!l) l = newlocale(LC_CTYPE_MASK, "C.utf8", locale_t(0));
    return l;
  }();
  return loc;
}

bool IsSurrogate(char16_t ch) {
  return ch >= 0xD800 && ch <= 0xDFFF;
}

char16_t MapNonAscii(char16_t ch, bool upper) {
  locale_t loc = CaseLocale();
  if (!loc || IsSurrogate(ch)) return ch;
  wint_t r = upper ? towupper_l(ch, loc) : towlower_l(ch, loc);
  // A mapping out of the BMP cannot replace one code unit.
  return r > 0xFFFF ? ch : static_cast<char16_t>(r);
}

bool SameChar(char16_t a, char16_t b, VbCompareMethod compare) {
  return a == b || (compare == vbTextCompare && UpperChar(a) == UpperChar(b));
}

bool MatchAt(std::u16string_view text, size_t pos, std::u16string_view find,
             VbCompareMethod compare) {
  for (size_t i = 0; i < find.size(); ++i) {
    if (!SameChar(text[pos + i], find[i], compare)) return false;
  }
  return true;
}

// First index at or after `from` where `find` (not empty) starts, or npos.
size_t FindFrom(std::u16string_view text, std::u16string_view find, size_t from,
                VbCompareMethod compare) {
  if (compare == vbBinaryCompare) return text.find(find, from);
  if (find.size() > text.size()) return std::u16string_view::npos;
  for (size_t i = from; i + find.size() <= text.size(); ++i) {
    if (MatchAt(text, i, find, compare)) return i;
  }
  return std::u16string_view::npos;
}

}  // namespace

char16_t UpperChar(char16_t ch) {
  if (ch < 0x80) return (ch >= u'a' && ch <= u'z') ? static_cast<char16_t>(ch - 32) : ch;
  return MapNonAscii(ch, true);
}

char16_t LowerChar(char16_t ch) {
  if (ch < 0x80) return (ch >= u'A' && ch <= u'Z') ? static_cast<char16_t>(ch + 32) : ch;
  return MapNonAscii(ch, false);
}

String UCase(const String& text) {
  std::u16string out(text.view());
  for (char16_t& ch : out) ch = UpperChar(ch);
  return String(std::move(out));
}

String LCase(const String& text) {
  std::u16string out(text.view());
  for (char16_t& ch : out) ch = LowerChar(ch);
  return String(std::move(out));
}

std::vector<String> Split(const String& text, const String& delimiter, int32_t limit,
                          VbCompareMethod compare) {
  if (limit < -1) ThrowPlatformError(kErrInvalidCall);
  std::vector<String> pieces;
  std::u16string_view t = text.view();
  if (t.empty() || limit == 0) return pieces;
  std::u16string_view d = delimiter.view();
  if (d.empty()) {
    pieces.emplace_back(t);
    return pieces;
  }
  size_t start = 0;
  while (limit == -1 || static_cast<int32_t>(pieces.size()) < limit - 1) {
    size_t hit = FindFrom(t, d, start, compare);
    if (hit == std::u16string_view::npos) break;
    pieces.emplace_back(t.substr(start, hit - start));
    start = hit + d.size();
  }
  pieces.emplace_back(t.substr(start));
  return pieces;
}

String Join(const std::vector<String>& pieces, const String& delimiter) {
  std::u16string out;
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (i) out += delimiter.view();
    out += pieces[i].view();
  }
  return String(std::move(out));
}

String LTrim(const String& text) {
  std::u16string_view t = text.view();
  size_t b = t.find_first_not_of(u' ');
  return String(b == std::u16string_view::npos ? std::u16string_view() : t.substr(b));
}

String RTrim(const String& text) {
  std::u16string_view t = text.view();
  size_t e = t.find_last_not_of(u' ');
  return String(e == std::u16string_view::npos ? std::u16string_view() : t.substr(0, e + 1));
}

String Trim(const String& text) {
  return LTrim(RTrim(text));
}

int32_t InStr(int32_t start, const String& text, const String& find, VbCompareMethod compare) {
  if (start < 1) ThrowPlatformError(kErrInvalidCall);
  if (start > text.Len()) return 0;
  if (find.empty()) return start;
  size_t hit = FindFrom(text.view(), find.view(), static_cast<size_t>(start - 1), compare);
  return hit == std::u16string_view::npos ? 0 : static_cast<int32_t>(hit + 1);
}

int32_t InStrRev(const String& text, const String& find, int32_t start, VbCompareMethod compare) {
  if (start == 0 || start < -1) ThrowPlatformError(kErrInvalidCall);
  const int32_t len = text.Len();
  if (start == -1) start = len;
  if (len == 0 || start > len) return 0;
  if (find.empty()) return start;
  std::u16string_view t = text.view();
  std::u16string_view f = find.view();
  // The match must end at or before `start`.
  for (int64_t pos = static_cast<int64_t>(start) - f.size(); pos >= 0; --pos) {
    if (MatchAt(t, static_cast<size_t>(pos), f, compare)) return static_cast<int32_t>(pos + 1);
  }
  return 0;
}

String Replace(const String& text, const String& find, const String& with, int32_t start,
               int32_t count, VbCompareMethod compare) {
  if (start < 1 || count < -1) ThrowPlatformError(kErrInvalidCall);
  if (start > text.Len()) return String();
  std::u16string_view t = text.view().substr(static_cast<size_t>(start - 1));
  std::u16string_view f = find.view();
  if (f.empty() || count == 0) return String(t);
  std::u16string out;
  size_t pos = 0;
  for (int32_t done = 0; count == -1 || done < count; ++done) {
    size_t hit = FindFrom(t, f, pos, compare);
    if (hit == std::u16string_view::npos) break;
    out.append(t.substr(pos, hit - pos));
    out.append(with.view());
    pos = hit + f.size();
  }
  out.append(t.substr(pos));
  return String(std::move(out));
}

String Left(const String& text, int32_t length) {
  if (length < 0) ThrowPlatformError(kErrInvalidCall);
  return String(text.view().substr(0, static_cast<size_t>(length)));
}

String Right(const String& text, int32_t length) {
  if (length < 0) ThrowPlatformError(kErrInvalidCall);
  std::u16string_view t = text.view();
  size_t n = std::min(t.size(), static_cast<size_t>(length));
  return String(t.substr(t.size() - n));
}

String Mid(const String& text, int32_t start, int32_t length) {
  if (start < 1 || length < -1) ThrowPlatformError(kErrInvalidCall);
  std::u16string_view t = text.view();
  if (static_cast<size_t>(start) > t.size()) return String();
  size_t n = length == -1 ? std::u16string_view::npos : static_cast<size_t>(length);
  return String(t.substr(static_cast<size_t>(start - 1), n));
}

int32_t StrComp(const String& a, const String& b, VbCompareMethod compare) {
  std::u16string_view x = a.view();
  std::u16string_view y = b.view();
  size_t n = std::min(x.size(), y.size());
  for (size_t i = 0; i < n; ++i) {
    char16_t p = x[i];
    char16_t q = y[i];
    if (compare == vbTextCompare) {
      p = UpperChar(p);
      q = UpperChar(q);
      if (p == q) continue;
      // Order case-blind text as lower case does, so that "_" sorts before letters.
      char16_t lp = LowerChar(p);
      char16_t lq = LowerChar(q);
      if (lp != lq) return lp < lq ? -1 : 1;
    }
    if (p != q) return p < q ? -1 : 1;
  }
  if (x.size() == y.size()) return 0;
  return x.size() < y.size() ? -1 : 1;
}

bool EqualsNoCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char16_t p = a[i];
    char16_t q = b[i];
    if (p == q) continue;
    if ((p | q) < 0x80) {
      // Two different ASCII code units match only as the two cases of one letter.
      if ((p ^ q) != 0x20) return false;
      char16_t l = p | 0x20;
      if (l < u'a' || l > u'z') return false;
      continue;
    }
    if (UpperChar(p) != UpperChar(q)) return false;
  }
  return true;
}

size_t HashNoCase(std::u16string_view text) {
  // FNV-1a over the upper-cased code units.
  uint64_t h = 14695981039346656037ull;
  for (char16_t ch : text) {
    h ^= UpperChar(ch);
    h *= 1099511628211ull;
  }
  return static_cast<size_t>(h);
}

}  // namespace borvane
