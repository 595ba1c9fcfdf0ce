#include "borvane/fonts/font_readers.h"

#include <string>

#include "borvane/automation/codepage.h"
#include "borvane/automation/error.h"
#include "borvane/platform/files/file_system.h"

namespace borvane {

namespace {

using View = std::u16string_view;

// Position (from 1) of `what` in `text` at or after `start` (from 1), or 0.
template <class Char>
size_t Find(std::basic_string_view<Char> text, std::basic_string_view<Char> what,
            size_t start = 1) {
  if (start > text.size()) return 0;
  size_t at = text.find(what, start - 1);
  return at == std::basic_string_view<Char>::npos ? 0 : at + 1;
}

// The text from position `start` (from 1) to the end; empty behind the end.
template <class Char>
std::basic_string_view<Char> From(std::basic_string_view<Char> text, size_t start) {
  return start > text.size() ? std::basic_string_view<Char>() : text.substr(start - 1);
}

// The text in front of its first NUL; error 5 when it has none.
template <class Char>
std::basic_string_view<Char> UpToNul(std::basic_string_view<Char> text) {
  size_t nul = text.find(Char(0));
  if (nul == std::basic_string_view<Char>::npos) ThrowPlatformError(kErrInvalidCall);
  return text.substr(0, nul);
}

View TrimBlanks(View text) {
  size_t first = text.find_first_not_of(u' ');
  if (first == View::npos) return View();
  return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

template <class Char>
struct FotMarks;
template <>
struct FotMarks<char16_t> {
  static constexpr std::u16string_view kFontres = u"FONTRES:", kWindows = u"Windows!",
                                       kNul = std::u16string_view(u"\0", 1);
};
template <>
struct FotMarks<char> {
  static constexpr std::string_view kFontres = "FONTRES:", kWindows = "Windows!",
                                    kNul = std::string_view("\0", 1);
};

// The scan of a ".FOT" text up to its name: the name, and in `nul` the position (from 1) of
// the NUL that ends it.
template <class Char>
std::basic_string_view<Char> ScanName(std::basic_string_view<Char> text, size_t& nul) {
  // The position of the name is a 16-bit number.
  size_t p = Find(text, FotMarks<Char>::kFontres) + 8;
  if (p > 32767) ThrowPlatformError(kErrOverflow);
  nul = Find(text, FotMarks<Char>::kNul, p);
  if (nul == 0) ThrowPlatformError(kErrInvalidCall);
  return text.substr(p - 1, nul - p);
}

// The whole scan: the name, and the family and style behind it.
template <class Char>
std::basic_string_view<Char> ScanNames(std::basic_string_view<Char> text,
                                       std::basic_string_view<Char>& family,
                                       std::basic_string_view<Char>& style) {
  size_t nul = 0;
  std::basic_string_view<Char> name = ScanName(text, nul);
  std::basic_string_view<Char> tail = From(text, Find(text, FotMarks<Char>::kWindows, nul) + 108);
  family = UpToNul(tail);
  for (int cut = 0; cut < 2; ++cut) {
    size_t at = tail.find(Char(0));
    if (at != std::basic_string_view<Char>::npos) tail = tail.substr(at + 1);
  }
  style = UpToNul(tail);
  return name;
}

// In Windows-1252 a byte is one character, and only the bytes of the marks and NUL read as
// them: the scan may run over the bytes and convert only what it finds.
bool OneUnitPerByte() {
  return AnsiCodePage() == CodePage::kWindows1252;
}

}  // namespace

String ReadFontFileText(const String& path) {
  std::string bytes;
  if (int32_t e = platform::Files().ReadFile(path, bytes)) ThrowPlatformError(e);
  return FromAnsi(bytes);
}

String ReadFotNames(const String& fot, String& family, String& style) {
  return ScanFotNames(ReadFontFileText(fot), family, style);
}

String ScanFotNames(const String& whole, String& family, String& style) {
  View found_family, found_style;
  View name = ScanNames(whole.view(), found_family, found_style);
  family = String(found_family);
  style = String(found_style);
  return String(name);
}

String ScanFotNameBytes(std::string_view bytes, String& family, String& style) {
  if (!OneUnitPerByte()) return ScanFotNames(FromAnsi(bytes), family, style);
  std::string_view found_family, found_style;
  std::string_view name = ScanNames(bytes, found_family, found_style);
  family = FromAnsi(found_family);
  style = FromAnsi(found_style);
  return FromAnsi(name);
}

String FotFaceName(std::string_view bytes) {
  size_t nul = 0;
  if (OneUnitPerByte()) return FromAnsi(ScanName(bytes, nul));
  String text = FromAnsi(bytes);
  return String(ScanName(text.view(), nul));
}

String ReadBitmapFaceName(const String& dir, const String& file) {
  String whole = ReadFontFileText(AddBackslash(dir) + file);
  View text = From(whole.view(), Find(whole.view(), View(u"FONTRES")) + 7);
  text = From(text, Find(text, View(u":")) + 1);
  return String(TrimBlanks(UpToNul(text)));
}

String AddBackslash(const String& text) {
  View t = TrimBlanks(text.view());
  if (!t.empty() && (t.back() == u'\\' || t.back() == u'/')) return text;
  View v = text.view();
  size_t end = v.find_last_not_of(u' ');
  return String(v.substr(0, end == View::npos ? 0 : end + 1)) + "\\";
}

String TrimAtNul(const String& text) {
  size_t nul = text.view().find(u'\0');
  return nul == View::npos ? text : String(text.view().substr(0, nul));
}

String NumberText(int32_t number) {
  std::string digits = std::to_string(number);
  return String(number >= 0 ? " " + digits : digits);
}

}  // namespace borvane
