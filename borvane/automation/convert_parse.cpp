// Text to number and to date: the locale-aware numeric reading, Val, and date text.
#include <charconv>
#include <cmath>

#include "borvane/automation/convert_detail.h"
#include "borvane/automation/error.h"

namespace borvane {
namespace detail {

namespace {

constexpr int64_t kExponentCap = 100000000;

bool IsBlank(char16_t c) {
  return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\v' || c == u'\f' ||
         c == 0xA0;
}
bool IsDigit(char16_t c) {
  return c >= u'0' && c <= u'9';
}
char16_t Upper(char16_t c) {
  return (c >= u'a' && c <= u'z') ? c - 32 : c;
}

// Value of `c` as a digit of base 16 or 8, or -1.
int RadixDigit(char16_t c, int base) {
  if (c >= u'0' && c <= u'7') return c - u'0';
  if (base == 8) return -1;
  if (c == u'8' || c == u'9') return c - u'0';
  c = Upper(c);
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

class Cursor {
 public:
  explicit Cursor(std::u16string_view s) : s_(s) {}
  bool AtEnd() const { return i_ >= s_.size(); }
  char16_t Peek(size_t ahead = 0) const { return i_ + ahead < s_.size() ? s_[i_ + ahead] : 0; }
  void Advance(size_t n = 1) { i_ += n; }
  size_t Pos() const { return i_; }
  void Seek(size_t pos) { i_ = pos; }
  void SkipBlanks() {
    while (!AtEnd() && IsBlank(s_[i_])) ++i_;
  }
  bool Take(char16_t c) {
    if (AtEnd() || s_[i_] != c) return false;
    ++i_;
    return true;
  }
  bool TakeText(std::u16string_view t) {
    if (t.empty() || s_.substr(i_, t.size()) != t) return false;
    i_ += t.size();
    return true;
  }
  // An unsigned number of 1 to `max_digits` digits.
  bool Number(int& value, int max_digits, int* count = nullptr) {
    int n = 0;
    value = 0;
    while (n < max_digits && IsDigit(Peek())) {
      value = value * 10 + (Peek() - u'0');
      Advance();
      ++n;
    }
    if (count) *count = n;
    return n > 0 && !IsDigit(Peek());
  }

 private:
  std::u16string_view s_;
  size_t i_ = 0;
};

// Makes 0.digits x 10^exponent from the digits as written, `int_count` of them before the
// decimal point, and the written exponent.
void Normalize(std::string digits, int64_t int_count, int64_t exponent, NumberText& out) {
  size_t lead = digits.find_first_not_of('0');
  if (lead == std::string::npos) {
    out.digits.clear();
    out.exponent = 0;
    return;
  }
  digits.erase(digits.find_last_not_of('0') + 1);
  digits.erase(0, lead);
  out.digits = std::move(digits);
  out.exponent = int_count - static_cast<int64_t>(lead) + exponent;
}

// Reads "&H..." or "&O..." at the cursor (which is on the "&"); at most 32 bits.
ReadResult ReadRadix(Cursor& c, NumberText& out) {
  c.Advance();
  char16_t kind = Upper(c.Peek());
  if (kind != u'H' && kind != u'O') return ReadResult::kMismatch;
  const int base = kind == u'H' ? 16 : 8;
  c.Advance();
  uint64_t value = 0;
  bool any = false;
  bool overflow = false;
  for (int d; (d = RadixDigit(c.Peek(), base)) >= 0; c.Advance()) {
    value = value * base + d;
    if (value > 0xFFFFFFFFu) overflow = true, value = 0xFFFFFFFFu;
    any = true;
  }
  c.SkipBlanks();
  if (!any || !c.AtEnd()) return ReadResult::kMismatch;
  if (overflow) return ReadResult::kOverflow;
  out.radix = true;
  out.bits = static_cast<uint32_t>(value);
  return ReadResult::kOk;
}

bool TakeSign(Cursor& c, bool& negative) {
  if (c.Peek() != u'+' && c.Peek() != u'-') return false;
  negative = c.Peek() == u'-';
  c.Advance();
  c.SkipBlanks();
  return true;
}

}  // namespace

ReadResult ReadNumber(std::u16string_view text, const LocaleInfo& locale, NumberText& out) {
  out = NumberText{};
  Cursor c(text);
  c.SkipBlanks();
  if (c.Peek() == u'&') return ReadRadix(c, out);

  bool paren = c.Take(u'(');
  if (paren) c.SkipBlanks();
  bool sign = false;
  bool currency = false;
  // A sign and the currency symbol may come before the number in either order.
  for (int k = 0; k < 2; ++k) {
    if (!sign && TakeSign(c, out.negative)) {
      sign = true;
    } else if (!currency && c.TakeText(locale.currency.view())) {
      currency = true;
      c.SkipBlanks();
    }
  }

  std::string digits;
  int64_t int_count = 0;
  for (; !c.AtEnd(); c.Advance()) {
    char16_t ch = c.Peek();
    if (IsDigit(ch)) {
      digits.push_back(static_cast<char>(ch));
      ++int_count;
    } else if (ch != locale.group || digits.empty()) {
      break;  // group separators count only after the first digit
    }
  }
  if (c.Take(locale.decimal)) {
    for (; IsDigit(c.Peek()); c.Advance()) digits.push_back(static_cast<char>(c.Peek()));
  }
  if (digits.empty()) return ReadResult::kMismatch;

  int64_t exponent = 0;
  if (Upper(c.Peek()) == u'E') {
    c.Advance();
    bool exp_negative = c.Peek() == u'-';
    if (c.Peek() == u'+' || c.Peek() == u'-') c.Advance();
    if (!IsDigit(c.Peek())) return ReadResult::kMismatch;
    for (; IsDigit(c.Peek()); c.Advance()) {
      exponent = std::min(exponent * 10 + (c.Peek() - u'0'), kExponentCap);
    }
    if (exp_negative) exponent = -exponent;
  }

  // Behind the amount the currency symbol may stand more than once ("7$$"), around a sign.
  auto trailing_currency = [&] {
    if (locale.currency.empty()) return;
    while (c.TakeText(locale.currency.view())) c.SkipBlanks();
  };
  c.SkipBlanks();
  trailing_currency();
  if (!sign && c.Take(u'-')) sign = true, out.negative = true, c.SkipBlanks();
  trailing_currency();
  if (paren) {
    if (sign || !c.Take(u')')) return ReadResult::kMismatch;
    out.negative = true;
    c.SkipBlanks();
  }
  if (!c.AtEnd()) return ReadResult::kMismatch;
  Normalize(std::move(digits), int_count, exponent, out);
  return ReadResult::kOk;
}

NumberText ReadNumberOrThrow(std::u16string_view text) {
  NumberText n;
  switch (ReadNumber(text, ThreadLocale(), n)) {
    case ReadResult::kOk:
      return n;
    case ReadResult::kOverflow:
      ThrowPlatformError(kErrOverflow);
    case ReadResult::kMismatch:
      break;
  }
  ThrowPlatformError(kErrTypeMismatch);
}

bool ToDouble(const NumberText& n, double& out) {
  if (n.radix) {
    out = static_cast<int32_t>(n.bits);
    return true;
  }
  out = 0;
  if (n.digits.empty() || n.exponent < -400) return true;
  if (n.exponent > 400) return false;
  std::string text = "0." + n.digits + "e" + std::to_string(n.exponent);
  auto r = std::from_chars(text.data(), text.data() + text.size(), out);
  if (r.ec == std::errc::result_out_of_range) {
    if (n.exponent > 0) return false;
    out = 0;
  }
  if (n.negative) out = -out;
  return true;
}

bool ToScaled(const NumberText& n, int scale, int64_t& out) {
  if (n.radix) {
    out = static_cast<int64_t>(static_cast<int32_t>(n.bits));
    for (int i = 0; i < scale; ++i) out *= 10;
    return true;
  }
  out = 0;
  if (n.digits.empty()) return true;
  const int64_t point = n.exponent + scale;  // digits before the point after scaling
  if (point > 19) return false;
  const int64_t len = static_cast<int64_t>(n.digits.size());
  using Wide = unsigned __int128;
  Wide v = 0;
  for (int64_t k = 0; k < point; ++k) v = v * 10 + (k < len ? n.digits[k] - '0' : 0);
  // Halves go to even. `digits` has no trailing zeros, so any digit after the first one
  // dropped makes the rest more than a half.
  if (point >= 0 && point < len) {
    char first = n.digits[point];
    if (first > '5' || (first == '5' && (point + 1 < len || (v & 1)))) ++v;
  }
  const Wide limit = (Wide{1} << 63) - (n.negative ? 0 : 1);
  if (v > limit) return false;
  out =
      n.negative ? static_cast<int64_t>(-static_cast<int64_t>(v - 1) - 1) : static_cast<int64_t>(v);
  return true;
}

int64_t DayNumber(int64_t y, int m, int d) {
  // Days since 1 March of year 0, shifted to the platform's day 0.
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 693899;  // 693899: day of 1899-12-30 on that count
}

void CivilFromDayNumber(int64_t z, int64_t& y, int& m, int& d) {
  z += 693899;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  y = yoe + era * 400 + (m <= 2);
}

}  // namespace detail

using detail::Cursor;

double ParseDouble(const String& text) {
  double value = 0;
  if (!detail::ToDouble(detail::ReadNumberOrThrow(text.view()), value)) {
    ThrowPlatformError(kErrOverflow);
  }
  return value;
}

double Val(const String& text) {
  std::u16string_view s = text.view();
  size_t i = 0;
  auto skip = [&] {
    while (i < s.size() && (s[i] == u' ' || s[i] == u'\t' || s[i] == u'\n')) ++i;
  };
  auto at = [&](size_t k) -> char16_t { return k < s.size() ? s[k] : 0; };
  skip();
  if (at(i) == u'&') {
    ++i;
    skip();
    char16_t kind = detail::Upper(at(i));
    if (kind != u'H' && kind != u'O') return 0;
    const int base = kind == u'H' ? 16 : 8;
    ++i;
    uint64_t value = 0;
    bool any = false;
    for (;; ++i) {
      skip();
      int d = detail::RadixDigit(at(i), base);
      if (d < 0) break;
      value = value * base + d;
      if (value > 0xFFFFFFFFu) ThrowPlatformError(kErrOverflow);
      any = true;
    }
    if (!any) return 0;
    // As a literal: what fits in 16 bits is an Integer, else a Long.
    if (value <= 0xFFFF) return static_cast<int16_t>(static_cast<uint16_t>(value));
    return static_cast<int32_t>(static_cast<uint32_t>(value));
  }

  bool negative = false;
  if (at(i) == u'+' || at(i) == u'-') negative = s[i++] == u'-';
  std::string digits;
  int64_t int_count = 0;
  bool point = false;
  for (;; ++i) {
    skip();
    char16_t ch = at(i);
    if (detail::IsDigit(ch)) {
      digits.push_back(static_cast<char>(ch));
      if (!point) ++int_count;
    } else if (ch == u'.' && !point) {
      point = true;
    } else {
      break;
    }
  }
  if (digits.empty()) return 0;

  int64_t exponent = 0;
  char16_t e = detail::Upper(at(i));
  if (e == u'E' || e == u'D') {
    ++i;
    skip();
    bool exp_negative = false;
    if (at(i) == u'+' || at(i) == u'-') exp_negative = s[i++] == u'-';
    for (;; ++i) {
      skip();
      if (!detail::IsDigit(at(i))) break;
      exponent = std::min(exponent * 10 + (at(i) - u'0'), detail::kExponentCap);
    }
    if (exp_negative) exponent = -exponent;
  }
  detail::NumberText n;
  detail::Normalize(std::move(digits), int_count, exponent, n);
  n.negative = negative;
  double value = 0;
  if (!detail::ToDouble(n, value)) ThrowPlatformError(kErrOverflow);
  // A type-declaration character may follow, as behind a literal; an Integer (%) or a Long (&)
  // cannot have a fractional part.
  skip();
  char16_t type_char = at(i);
  if ((type_char == u'%' || type_char == u'&') && value != std::trunc(value))
    ThrowPlatformError(kErrTypeMismatch);
  return value == 0 ? 0.0 : value;
}

Date ParseDate(const String& text) {
  Cursor c(text.view());
  c.SkipBlanks();
  bool have_date = false;
  int64_t days = 0;
  const size_t start = c.Pos();
  int a = 0;
  int a_digits = 0;
  if (c.Number(a, 4, &a_digits)) {
    int y = 0, m = 0, d = 0, y_digits = 0;
    if (c.Take(u'/')) {
      m = a;
      if (!c.Number(d, 2) || !c.Take(u'/') || !c.Number(y, 4, &y_digits)) {
        ThrowPlatformError(kErrTypeMismatch);
      }
      if (y_digits <= 2) y += y < 30 ? 2000 : 1900;
    } else if (a_digits == 4 && c.Take(u'-')) {
      y = a;
      if (!c.Number(m, 2) || !c.Take(u'-') || !c.Number(d, 2)) {
        ThrowPlatformError(kErrTypeMismatch);
      }
    } else if (c.Peek() == u':') {
      c.Seek(start);  // a time alone
    } else {
      ThrowPlatformError(kErrTypeMismatch);
    }
    if (c.Pos() != start) {
      if (y < 100 || m < 1 || m > 12 || d < 1) ThrowPlatformError(kErrTypeMismatch);
      days = detail::DayNumber(y, m, d);
      int64_t ny;
      int nm, nd;
      detail::CivilFromDayNumber(days, ny, nm, nd);
      if (nm != m) ThrowPlatformError(kErrTypeMismatch);  // a day past the month's end
      have_date = true;
    }
  }

  double fraction = 0;
  bool have_time = false;
  if (have_date && !c.AtEnd()) {
    if (!detail::IsBlank(c.Peek())) ThrowPlatformError(kErrTypeMismatch);
    c.SkipBlanks();
  }
  if (!c.AtEnd()) {
    int h = 0, mi = 0, sec = 0;
    if (!c.Number(h, 2) || !c.Take(u':') || !c.Number(mi, 2)) ThrowPlatformError(kErrTypeMismatch);
    if (c.Take(u':') && !c.Number(sec, 2)) ThrowPlatformError(kErrTypeMismatch);
    c.SkipBlanks();
    char16_t ap = detail::Upper(c.Peek());
    if (ap == u'A' || ap == u'P') {
      c.Advance();
      if (detail::Upper(c.Peek()) == u'M') c.Advance();
      if (h < 1 || h > 12) ThrowPlatformError(kErrTypeMismatch);
      h = (h % 12) + (ap == u'P' ? 12 : 0);
    }
    if (h > 23 || mi > 59 || sec > 59) ThrowPlatformError(kErrTypeMismatch);
    fraction = (h * 3600 + mi * 60 + sec) / 86400.0;
    have_time = true;
  }
  c.SkipBlanks();
  if (!c.AtEnd() || (!have_date && !have_time)) ThrowPlatformError(kErrTypeMismatch);
  // Before day 0 the fraction still counts forward from the day's midnight.
  return Date{days >= 0 ? static_cast<double>(days) + fraction
                        : static_cast<double>(days) - fraction};
}

}  // namespace borvane
