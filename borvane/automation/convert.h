// The platform's conversions between Variant types, with its rounding and its errors.
//
// Conversions raise Error 13 (type mismatch) for a value that cannot be read as the target type
// and Error 6 (overflow) for one out of its range. An object converts through the value of its
// default member.
#ifndef BORVANE_AUTOMATION_CONVERT_H_
#define BORVANE_AUTOMATION_CONVERT_H_

#include <cstdint>
#include <string_view>

#include "borvane/automation/string.h"
#include "borvane/automation/variant.h"

namespace borvane {

// Number formats of one locale.
struct LocaleInfo {
  int32_t lcid = 1033;
  char16_t decimal = u'.';
  char16_t group = u',';
  String currency = "$";
};

// The locale of the calling thread; en-US (1033) until set.
const LocaleInfo& ThreadLocale();
void SetThreadLocale(const LocaleInfo& locale);

// Conversions of a Variant, as the platform's CStr, CInt, CLng, ...
String CStr(const Variant& v);
int16_t CInt(const Variant& v);
int32_t CLng(const Variant& v);
float CSng(const Variant& v);
double CDbl(const Variant& v);
bool CBool(const Variant& v);
uint8_t CByte(const Variant& v);
Currency CCur(const Variant& v);
Date CDate(const Variant& v);
// Converts `v` to the Variant type `vartype` (a VbVarType without the array flag); vbVariant and
// vbEmpty give `v` unchanged. Objects convert through their default member.
Variant CVarType(const Variant& v, int32_t vartype);

// The platform's TypeName: "Long", "String", "String()", the class name of an object, ...
String TypeName(const Variant& v);
// True for Empty, numbers and Booleans, and for text that CDbl reads without error; false for
// the empty text, Null, a Date, an error value and arrays.
bool IsNumeric(const Variant& v);
// The same for a text, without a String made of it.
bool IsNumericText(std::u16string_view text);
// The leading-number conversion (Val).
double Val(const String& text);

// Number to text, as CStr gives it.
String FormatInteger(int64_t value);
String FormatDouble(double value);
// Characters of a number's text at most.
inline constexpr size_t kNumberTextMax = 64;
// FormatDouble's text written to `out` (room for kNumberTextMax characters); gives its length.
size_t FormatDoubleInto(double value, char16_t* out);
String FormatSingle(float value);
String FormatCurrency(Currency value);
String FormatDate(Date value);
// "True" or "False".
String FormatBoolean(bool value);

// Text to number, with the locale-aware rules of CDbl; Error 13 when the text is not a number.
double ParseDouble(const String& text);
// Date text, as CDate reads it: "M/D/YYYY" (a two-digit year is 1930-2029), "YYYY-MM-DD", the
// time "h:mm[:ss]" with an optional AM or PM, or a date followed by a time. Error 13 otherwise.
Date ParseDate(const String& text);

// Converts an object reference to the value of its default member (member id 0), repeatedly
// while that value is itself an object. Error 91 for Nothing, 438 when it has no default member.
Variant DefaultValue(const Object& obj);

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_CONVERT_H_
