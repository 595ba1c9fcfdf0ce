// Internal to the conversions: text read as a number before it becomes a particular type.
#ifndef BORVANE_AUTOMATION_CONVERT_DETAIL_H_
#define BORVANE_AUTOMATION_CONVERT_DETAIL_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "borvane/automation/convert.h"

namespace borvane::detail {

// A number read from text, exactly as written.
struct NumberText {
  bool negative = false;
  // &H or &O form: `bits` holds the value (at most 32 bits) and the other fields are unused.
  bool radix = false;
  uint32_t bits = 0;
  // Decimal form: value = 0.digits x 10^exponent. No leading or trailing zeros; empty for zero.
  std::string digits;
  int64_t exponent = 0;
};

enum class ReadResult { kOk, kMismatch, kOverflow };

// Reads `text` with the locale-aware rules of the numeric conversions.
ReadResult ReadNumber(std::u16string_view text, const LocaleInfo& locale, NumberText& out);
// As ReadNumber, raising Error 13 or 6.
NumberText ReadNumberOrThrow(std::u16string_view text);

// The nearest Double; false on overflow (underflow gives 0).
bool ToDouble(const NumberText& n, double& out);
// value x 10^scale rounded half to even; false when it does not fit in 64 bits.
bool ToScaled(const NumberText& n, int scale, int64_t& out);

// The day number of the proleptic Gregorian date y-m-d, counted from the platform's day 0
// (30 December 1899), and back.
int64_t DayNumber(int64_t year, int month, int day);
void CivilFromDayNumber(int64_t day_number, int64_t& year, int& month, int& day);

}  // namespace borvane::detail

#endif  // BORVANE_AUTOMATION_CONVERT_DETAIL_H_
