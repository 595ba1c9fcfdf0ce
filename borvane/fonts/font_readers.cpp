#include "borvane/fonts/font_readers.h"

#include <string>

#include "borvane/automation/codepage.h"
#include "borvane/automation/error.h"
#include "borvane/platform/file_system.h"

namespace borvane {

namespace {

using View = std::u16string_view;

// Position (from 1) of `what` in `text` at or after `start` (from 1), or 0.
size_t Find(View text, View what, size_t start = 1) {
  if (start > text.size()) return 0;
  size_t at = text.find(what, start - 1);
  return at == View::npos ? 0 : at + 1;
}

// The text from position `start` (from 1) to the end; empty behind the end.
View From(View text, size_t start) {
  return start > text.size() ? View() : text.substr(start - 1);
}

// The text in front of its first NUL; error 5 when it has none.
View UpToNul(View text) {
  size_t nul = text.find(u'\0');
  if (nul == View::npos) ThrowPlatformError(kErrInvalidCall);
  return text.substr(0, nul);
}

View TrimBlanks(View text) {
  size_t first = text.find_first_not_of(u' ');
  if (first == View::npos) return View();
  return text.substr(first, text.find_last_not_of(u' ') - first + 1);
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
  View text = whole.view();
  // The position of the name is a 16-bit number.
  size_t p = Find(text, u"FONTRES:") + 8;
  if (p > 32767) ThrowPlatformError(kErrOverflow);
  size_t nul = Find(text, View(u"\0", 1), p);
  if (nul == 0) ThrowPlatformError(kErrInvalidCall);
  View name = text.substr(p - 1, nul - p);
  View tail = From(text, Find(text, u"Windows!", nul) + 108);
  View found_family = UpToNul(tail);
  for (int cut = 0; cut < 2; ++cut) {
    size_t at = tail.find(u'\0');
    if (at != View::npos) tail = tail.substr(at + 1);
  }
  View found_style = UpToNul(tail);
  family = String(found_family);
  style = String(found_style);
  return String(name);
}

String ReadBitmapFaceName(const String& dir, const String& file) {
  String whole = ReadFontFileText(AddBackslash(dir) + file);
  View text = From(whole.view(), Find(whole.view(), u"FONTRES") + 7);
  text = From(text, Find(text, u":") + 1);
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
