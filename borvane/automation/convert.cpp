// The conversions between Variant types, and what the runtime says about a Variant's type.
#include "borvane/automation/convert.h"

#include <cfloat>
#include <cmath>

#include "borvane/automation/convert_detail.h"
#include "borvane/automation/error.h"
#include "borvane/automation/record.h"
#include "borvane/automation/text.h"

namespace borvane {

namespace {

thread_local LocaleInfo t_locale;

constexpr int32_t kErrInvalidUseOfNull = 94;

[[noreturn]] void Mismatch() {
  ThrowPlatformError(kErrTypeMismatch);
}
[[noreturn]] void NullUsed() {
  ThrowPlatformError(kErrInvalidUseOfNull);
}

int64_t InRange(int64_t x, int64_t lo, int64_t hi) {
  if (x < lo || x > hi) ThrowPlatformError(kErrOverflow);
  return x;
}

// Rounds half to even (the default rounding mode) and checks the range.
int64_t RoundInRange(double d, int64_t lo, int64_t hi) {
  double r = std::nearbyint(d);
  if (!(r >= static_cast<double>(lo) && r <= static_cast<double>(hi))) {
    ThrowPlatformError(kErrOverflow);
  }
  return static_cast<int64_t>(r);
}

int64_t RoundCurrency(Currency c) {
  int64_t q = c.raw / Currency::kScale;
  int64_t rem = c.raw % Currency::kScale;  // same sign as raw
  int64_t half = Currency::kScale / 2;
  if (rem > half || (rem == half && (q & 1))) ++q;
  if (rem < -half || (rem == -half && (q & 1))) --q;
  return q;
}

// The conversion to Byte, Integer and Long. `sixteen_bit_radix`: an &H/&O text that fits in 16
// bits reads as a signed 16-bit value (so "&HFFFF" is -1 as an Integer).
int64_t ToIntegral(const Variant& v, int64_t lo, int64_t hi, bool sixteen_bit_radix) {
  switch (v.VarType()) {
    case vbEmpty:
      return 0;
    case vbNull:
      NullUsed();
    case vbInteger:
      return InRange(*v.GetIf<int16_t>(), lo, hi);
    case vbLong:
      return InRange(*v.GetIf<int32_t>(), lo, hi);
    case vbByte:
      return InRange(*v.GetIf<uint8_t>(), lo, hi);
    case vbBoolean:
      return InRange(*v.GetIf<bool>() ? -1 : 0, lo, hi);
    case vbSingle:
      return RoundInRange(*v.GetIf<float>(), lo, hi);
    case vbDouble:
      return RoundInRange(*v.GetIf<double>(), lo, hi);
    case vbDate:
      return RoundInRange(v.GetIf<Date>()->value, lo, hi);
    case vbCurrency:
      return InRange(RoundCurrency(*v.GetIf<Currency>()), lo, hi);
    case vbString: {
      detail::NumberText n = detail::ReadNumberOrThrow(v.StringRef().view());
      if (n.radix) {
        int64_t x = sixteen_bit_radix && n.bits <= 0xFFFF
                        ? static_cast<int16_t>(static_cast<uint16_t>(n.bits))
                        : static_cast<int32_t>(n.bits);
        return InRange(x, lo, hi);
      }
      int64_t x = 0;
      if (!detail::ToScaled(n, 0, x)) ThrowPlatformError(kErrOverflow);
      return InRange(x, lo, hi);
    }
    case vbObject:
      return ToIntegral(DefaultValue(v.ToObject()), lo, hi, sixteen_bit_radix);
    default:
      Mismatch();
  }
}

const char* SimpleTypeName(int32_t type) {
  switch (type) {
    case vbEmpty:
      return "Empty";
    case vbNull:
      return "Null";
    case vbInteger:
      return "Integer";
    case vbLong:
      return "Long";
    case vbSingle:
      return "Single";
    case vbDouble:
      return "Double";
    case vbCurrency:
      return "Currency";
    case vbDate:
      return "Date";
    case vbString:
      return "String";
    case vbObject:
      return "Object";
    case vbError:
      return "Error";
    case vbBoolean:
      return "Boolean";
    case vbVariant:
      return "Variant";
    case vbDecimal:
      return "Decimal";
    case vbByte:
      return "Byte";
    default:
      return "Unknown";
  }
}

}  // namespace

const LocaleInfo& ThreadLocale() {
  return t_locale;
}
void SetThreadLocale(const LocaleInfo& locale) {
  t_locale = locale;
}

String CStr(const Variant& v) {
  switch (v.VarType()) {
    case vbEmpty:
      return String();
    case vbNull:
      NullUsed();
    case vbInteger:
      return FormatInteger(*v.GetIf<int16_t>());
    case vbLong:
      return FormatInteger(*v.GetIf<int32_t>());
    case vbByte:
      return FormatInteger(*v.GetIf<uint8_t>());
    case vbSingle:
      return FormatSingle(*v.GetIf<float>());
    case vbDouble:
      return FormatDouble(*v.GetIf<double>());
    case vbCurrency:
      return FormatCurrency(*v.GetIf<Currency>());
    case vbDate:
      return FormatDate(*v.GetIf<Date>());
    case vbBoolean:
      return FormatBoolean(*v.GetIf<bool>());
    case vbString:
      return v.StringRef();
    case vbObject:
      return CStr(DefaultValue(v.ToObject()));
    case vbError: {
      // An error value writes as the runtime's error number; a missing argument is 448.
      int32_t code = v.GetIf<ErrorValue>()->scode;
      return String(u"Error ") + FormatInteger(v.IsMissing() ? 448 : code);
    }
    default:
      Mismatch();
  }
}

int16_t CInt(const Variant& v) {
  return static_cast<int16_t>(ToIntegral(v, INT16_MIN, INT16_MAX, true));
}

int32_t CLng(const Variant& v) {
  return static_cast<int32_t>(ToIntegral(v, INT32_MIN, INT32_MAX, false));
}

uint8_t CByte(const Variant& v) {
  return static_cast<uint8_t>(ToIntegral(v, 0, 255, false));
}

double CDbl(const Variant& v) {
  switch (v.VarType()) {
    case vbEmpty:
      return 0;
    case vbNull:
      NullUsed();
    case vbInteger:
      return *v.GetIf<int16_t>();
    case vbLong:
      return *v.GetIf<int32_t>();
    case vbByte:
      return *v.GetIf<uint8_t>();
    case vbBoolean:
      return *v.GetIf<bool>() ? -1 : 0;
    case vbSingle:
      return *v.GetIf<float>();
    case vbDouble:
      return *v.GetIf<double>();
    case vbDate:
      return v.GetIf<Date>()->value;
    case vbCurrency:
      return v.GetIf<Currency>()->ToDouble();
    case vbString:
      return ParseDouble(v.StringRef());
    case vbObject:
      return CDbl(DefaultValue(v.ToObject()));
    default:
      Mismatch();
  }
}

float CSng(const Variant& v) {
  if (auto* f = v.GetIf<float>()) return *f;
  double d = CDbl(v);
  float f = static_cast<float>(d);
  if (std::isinf(f) && std::isfinite(d)) ThrowPlatformError(kErrOverflow);
  return f;
}

bool CBool(const Variant& v) {
  switch (v.VarType()) {
    case vbEmpty:
      return false;
    case vbNull:
      NullUsed();
    case vbBoolean:
      return *v.GetIf<bool>();
    case vbCurrency:
      return v.GetIf<Currency>()->raw != 0;
    case vbString: {
      std::u16string_view s = v.StringRef().view();
      // The literal forms are read as the runtime writes them, in capitals only.
      if (EqualsNoCase(s, u"True") || s == u"#TRUE#") return true;
      if (EqualsNoCase(s, u"False") || s == u"#FALSE#") return false;
      return ParseDouble(v.StringRef()) != 0;
    }
    case vbObject:
      return CBool(DefaultValue(v.ToObject()));
    default:
      return CDbl(v) != 0;
  }
}

Currency CCur(const Variant& v) {
  switch (v.VarType()) {
    case vbEmpty:
      return Currency{};
    case vbNull:
      NullUsed();
    case vbCurrency:
      return *v.GetIf<Currency>();
    case vbString: {
      int64_t raw = 0;
      if (!detail::ToScaled(detail::ReadNumberOrThrow(v.StringRef().view()), 4, raw)) {
        ThrowPlatformError(kErrOverflow);
      }
      return Currency::FromRaw(raw);
    }
    case vbObject:
      return CCur(DefaultValue(v.ToObject()));
    default:
      return Currency::FromDouble(CDbl(v));
  }
}

Date CDate(const Variant& v) {
  switch (v.VarType()) {
    case vbNull:
      NullUsed();
    case vbDate:
      return *v.GetIf<Date>();
    case vbString:
      return ParseDate(v.StringRef());
    case vbObject:
      return CDate(DefaultValue(v.ToObject()));
    default: {
      // 1 January 100 to 31 December 9999.
      double d = CDbl(v);
      if (!(d > -657435.0 && d < 2958466.0)) ThrowPlatformError(kErrOverflow);
      return Date{d};
    }
  }
}

Variant CVarType(const Variant& v, int32_t vartype) {
  if (vartype == vbEmpty || vartype == vbVariant) return v;
  if (vartype & vbArray) {
    if (v.IsArray() && v.ToArray().ElementType() == (vartype & ~vbArray)) return v;
    Mismatch();
  }
  if (v.IsNull()) {
    if (vartype == vbNull) return v;
    NullUsed();
  }
  switch (vartype) {
    case vbInteger:
      return CInt(v);
    case vbLong:
      return CLng(v);
    case vbSingle:
      return CSng(v);
    case vbDouble:
      return CDbl(v);
    case vbCurrency:
      return CCur(v);
    case vbDate:
      return CDate(v);
    case vbString:
      return CStr(v);
    case vbBoolean:
      return CBool(v);
    case vbByte:
      return CByte(v);
    case vbObject:
    case vbError:
      if (v.VarType() == vartype) return v;
      Mismatch();
    default:
      Mismatch();
  }
}

String TypeName(const Variant& v) {
  int32_t type = v.VarType();
  if (type & vbArray) return String(SimpleTypeName(type & ~vbArray)) + String(u"()");
  if (type == vbObject) {
    Object obj = v.ToObject();
    return obj ? ClassNameOf(*obj) : String("Nothing");
  }
  if (const Record* r = v.GetIf<Record>()) return r->Type().Name();
  return String(SimpleTypeName(type));
}

bool IsNumericText(std::u16string_view text) {
  detail::NumberText n;
  double d = 0;
  return detail::ReadNumber(text, t_locale, n) == detail::ReadResult::kOk && detail::ToDouble(n, d);
}

bool IsNumeric(const Variant& v) {
  switch (v.VarType()) {
    case vbEmpty:
    case vbInteger:
    case vbLong:
    case vbSingle:
    case vbDouble:
    case vbCurrency:
    case vbBoolean:
    case vbByte:
      return true;
    case vbString:
      return IsNumericText(v.StringRef().view());
    case vbObject: {
      try {
        return IsNumeric(DefaultValue(v.ToObject()));
      } catch (const Error&) {
        return false;
      }
    }
    default:
      return false;
  }
}

}  // namespace borvane
