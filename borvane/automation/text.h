// Text operations with the platform's rules. Positions count from 1.
#ifndef BORVANE_AUTOMATION_TEXT_H_
#define BORVANE_AUTOMATION_TEXT_H_

#include <cstdint>
#include <vector>

#include "borvane/automation/string.h"

namespace borvane {

enum VbCompareMethod : int32_t { vbBinaryCompare = 0, vbTextCompare = 1 };

// Split: the pieces between separators, empty ones included; the empty text gives no pieces.
// With `limit` > 0 at most that many pieces, the last taking the rest; -1 means no limit.
// An empty separator gives the whole text as one piece. Error 5 for a limit below -1.
std::vector<String> Split(const String& text, const String& delimiter = " ", int32_t limit = -1,
                          VbCompareMethod compare = vbBinaryCompare);
String Join(const std::vector<String>& pieces, const String& delimiter = " ");

// Trimming removes spaces (U+0020) only.
String Trim(const String& text);
String LTrim(const String& text);
String RTrim(const String& text);

// InStr(start, text, find): position of `find` at or after `start`, 0 when not found; the empty
// `find` is found at `start` when start <= Len(text). Error 5 when start < 1.
int32_t InStr(int32_t start, const String& text, const String& find,
              VbCompareMethod compare = vbBinaryCompare);
inline int32_t InStr(const String& text, const String& find) {
  return InStr(1, text, find);
}
// InStrRev(text, find, start = -1): the last position at or before `start` (-1: the end).
int32_t InStrRev(const String& text, const String& find, int32_t start = -1,
                 VbCompareMethod compare = vbBinaryCompare);

// Replace(text, find, with, start = 1, count = -1): as the platform, the result begins at
// `start`. An empty `find` gives the text from `start` unchanged.
String Replace(const String& text, const String& find, const String& with, int32_t start = 1,
               int32_t count = -1, VbCompareMethod compare = vbBinaryCompare);

// Left/Right/Mid; Error 5 for a negative length or a start below 1.
String Left(const String& text, int32_t length);
String Right(const String& text, int32_t length);
String Mid(const String& text, int32_t start, int32_t length = -1);

String UCase(const String& text);
String LCase(const String& text);
char16_t UpperChar(char16_t ch);
char16_t LowerChar(char16_t ch);

// StrComp: -1, 0 or 1. Text comparison is case-blind.
int32_t StrComp(const String& a, const String& b, VbCompareMethod compare = vbBinaryCompare);
// Case-blind equality, as the Collection compares keys and the runtime compares member names.
bool EqualsNoCase(std::u16string_view a, std::u16string_view b);
// A hash consistent with EqualsNoCase.
size_t HashNoCase(std::u16string_view text);

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_TEXT_H_
