// Number, date and Boolean to text, as CStr writes them.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <type_traits>

#include "borvane/automation/convert_detail.h"
#include "borvane/automation/error.h"

namespace borvane {

namespace {

// Significant decimal digits of a positive value: d1.d2d3... x 10^exponent.
struct Digits {
  char d[24];
  int count = 0;
  int exponent = 0;
};

// Splits to_chars' scientific form "d.ddde+XX" into digits and exponent.
void ReadScientific(const char* first, const char* last, Digits& out) {
  out.count = 0;
  const char* p = first;
  for (; p < last && *p != 'e'; ++p) {
    if (*p != '.' && out.count < static_cast<int>(sizeof out.d)) out.d[out.count++] = *p;
  }
  std::from_chars(p + 1 + (p[1] == '+'), last, out.exponent);
}

// Rounds `value` (positive, finite) to `sig` significant digits, a tie in its exact decimal
// expansion going away from zero, and drops trailing zeros.
template <class F>
Digits RoundSignificant(F value, int sig) {
  char buf[840];
  Digits r;
  auto end = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::scientific).ptr;
  ReadScientific(buf, end, r);  // the shortest digits that read back as `value`
  // A normal value's shortest digits decide the rounding, unless they end on the half. A
  // subnormal one has few bits, and its shortest digits can be far from its exact expansion.
  bool exact = value < std::numeric_limits<F>::min();
  bool up = false;
  if (!exact) {
    if (r.count <= sig) return r;
    up = r.d[sig] > '5' || (r.d[sig] == '5' && r.count > sig + 1);
    exact = r.d[sig] == '5' && r.count == sig + 1;
  }
  if (exact) {
    end = std::to_chars(buf, buf + sizeof buf, static_cast<double>(value),
                        std::chars_format::scientific, 800)
              .ptr;
    ReadScientific(buf, end, r);
    while (r.count > 1 && r.d[r.count - 1] == '0') --r.count;
    if (r.count <= sig) return r;
    up = r.d[sig] >= '5';
  }
  r.count = sig;
  if (up) {
    int i = sig - 1;
    while (i >= 0 && r.d[i] == '9') r.d[i--] = '0';
    if (i >= 0) {
      ++r.d[i];
    } else {
      r.d[0] = '1';
      r.count = 1;
      ++r.exponent;
    }
  }
  while (r.count > 1 && r.d[r.count - 1] == '0') --r.count;
  return r;
}

// The digits of a positive double that is an integer below 10^15, or such a number over 10,
// 100, 1000 or 10000, with nothing lost: the common values, which then need no search for
// their shortest digits. A decimal of at most 15 digits that reads back as the double is what
// rounding to 15 digits gives, since the double's spacing is far below the 15-digit one.
bool ShortDecimal(double value, Digits& r) {
  static constexpr double kScale[] = {1, 10, 100, 1000, 10000};
  for (int k = 0; k < 5; ++k) {
    double scaled = value * kScale[k];
    if (scaled >= 1e15) return false;
    if (scaled != std::floor(scaled)) continue;
    if (scaled / kScale[k] != value) return false;
    char buf[24];
    char* end = std::to_chars(buf, buf + sizeof buf, static_cast<int64_t>(scaled)).ptr;
    int length = static_cast<int>(end - buf);
    r.exponent = length - 1 - k;
    while (length > 1 && buf[length - 1] == '0') --length;
    std::copy(buf, buf + length, r.d);
    r.count = length;
    return true;
  }
  return false;
}

// Writes the text of `value` to `out`, which has room for kNumberTextMax characters, and gives
// its length.
template <class F>
size_t FormatFloatInto(F value, int sig, char16_t* out) {
  char16_t* at = out;
  auto put = [&at](std::string_view text) {
    for (char ch : text) *at++ = static_cast<char16_t>(ch);
  };
  if (std::isnan(value)) {
    put("-1.#IND");
  } else if (std::isinf(value)) {
    put(value < 0 ? "-1.#INF" : "1.#INF");
  } else if (value == 0) {
    put("0");  // negative zero too
  } else {
    const char16_t point = ThreadLocale().decimal;
    Digits r;
    if (!(std::is_same_v<F, double> && sig == 15 && ShortDecimal(std::fabs(value), r)))
      r = RoundSignificant(std::fabs(value), sig);
    const std::string_view digits(r.d, static_cast<size_t>(r.count));
    if (value < 0) *at++ = u'-';
    const int decimals = std::max(0, r.count - 1 - r.exponent);
    if (r.exponent < sig && decimals <= sig) {
      if (r.exponent < 0) {
        *at++ = u'0';
        *at++ = point;
        for (int i = -r.exponent - 1; i > 0; --i) *at++ = u'0';
        put(digits);
      } else {
        for (int i = 0; i <= r.exponent; ++i) *at++ = i < r.count ? r.d[i] : u'0';
        if (r.count > r.exponent + 1) {
          *at++ = point;
          put(digits.substr(static_cast<size_t>(r.exponent) + 1));
        }
      }
    } else {
      *at++ = r.d[0];
      if (r.count > 1) {
        *at++ = point;
        put(digits.substr(1));
      }
      put(r.exponent < 0 ? "E-" : "E+");
      int e = std::abs(r.exponent);
      if (e < 10) *at++ = u'0';
      char buf[8];
      put(std::string_view(buf,
                           static_cast<size_t>(std::to_chars(buf, buf + sizeof buf, e).ptr - buf)));
    }
  }
  return static_cast<size_t>(at - out);
}

template <class F>
String FormatFloat(F value, int sig) {
  char16_t text[kNumberTextMax];
  return String(std::u16string_view(text, FormatFloatInto(value, sig, text)));
}

void AppendNumber(std::u16string& out, int64_t value, int min_digits = 1) {
  char buf[24];
  char* end = std::to_chars(buf, buf + sizeof buf, value).ptr;
  for (int64_t n = end - buf; n < min_digits; ++n) out += u'0';
  out.append(buf, end);
}

}  // namespace

String FormatInteger(int64_t value) {
  std::u16string out;
  AppendNumber(out, value);
  return String(std::move(out));
}

size_t FormatDoubleInto(double value, char16_t* out) {
  // Whole numbers below 10^15, the most common values, are their digits: no rounding to
  // fifteen digits changes them and none takes the exponent form.
  if (value > -1e15 && value < 1e15 && value != 0 && value == std::trunc(value)) {
    char digits[24];
    const char* const end =
        std::to_chars(digits, digits + sizeof digits, static_cast<int64_t>(value)).ptr;
    for (const char* p = digits; p != end; ++p) *out++ = static_cast<char16_t>(*p);
    return static_cast<size_t>(end - digits);
  }
  return FormatFloatInto(value, 15, out);
}

String FormatDouble(double value) {
  char16_t text[kNumberTextMax];
  return String(std::u16string_view(text, FormatDoubleInto(value, text)));
}
String FormatSingle(float value) {
  return FormatFloat(value, 7);
}

String FormatCurrency(Currency value) {
  const bool negative = value.raw < 0;
  const uint64_t magnitude =
      negative ? ~static_cast<uint64_t>(value.raw) + 1 : static_cast<uint64_t>(value.raw);
  std::u16string out;
  if (negative) out += u'-';
  char buf[24];
  out.append(buf, std::to_chars(buf, buf + sizeof buf, magnitude / Currency::kScale).ptr);
  uint64_t fraction = magnitude % Currency::kScale;
  if (fraction) {
    out += ThreadLocale().decimal;
    for (uint64_t unit = Currency::kScale / 10; fraction; unit /= 10) {
      out += static_cast<char16_t>(u'0' + fraction / unit);
      fraction %= unit;
    }
  }
  return String(std::move(out));
}

String FormatDate(Date value) {
  // Only 1 January 100 to 31 December 9999 has a text form.
  if (!(value.value > -657435.0 && value.value < 2958466.0)) ThrowPlatformError(kErrOverflow);
  // Before day 0 the fraction still counts forward from the day's midnight, so the moment in
  // days is the whole part plus the fraction's magnitude.
  const double whole = std::trunc(value.value);
  const double moment = whole + std::fabs(value.value - whole);
  const int64_t seconds = std::llround(moment * 86400.0);
  int64_t day = seconds / 86400;
  int64_t second = seconds % 86400;
  if (second < 0) second += 86400, --day;

  std::u16string out;
  if (day != 0) {
    int64_t y;
    int m, d;
    detail::CivilFromDayNumber(day, y, m, d);
    AppendNumber(out, m);
    out += u'/';
    AppendNumber(out, d);
    out += u'/';
    AppendNumber(out, y, 4);
  }
  if (second != 0 || day == 0) {
    if (!out.empty()) out += u' ';
    const int64_t h = second / 3600;
    AppendNumber(out, h % 12 == 0 ? 12 : h % 12);
    out += u':';
    AppendNumber(out, second / 60 % 60, 2);
    out += u':';
    AppendNumber(out, second % 60, 2);
    out += h < 12 ? u" AM" : u" PM";
  }
  return String(std::move(out));
}

String FormatBoolean(bool value) {
  return value ? "True" : "False";
}

}  // namespace borvane
