#include "borvane/automation/convert.h"

#include <gtest/gtest.h>

#include "tests/test_support.h"

#include <cfloat>
#include <cmath>
#include <thread>

#include "borvane/automation/error.h"

namespace borvane {
namespace {

using borvane::testing::ErrorOf;

std::string Str(const Variant& v) {
  return CStr(v).ToUtf8();
}

TEST(NumberToText, DoubleSwitchesToExponentAtFifteenDigits) {
  EXPECT_EQ(Str(999999999999999.0), "999999999999999");
  EXPECT_EQ(Str(1e15), "1E+15");
  EXPECT_EQ(Str(1e20), "1E+20");
  EXPECT_EQ(Str(123456789012345678.0), "1.23456789012346E+17");
  EXPECT_EQ(Str(0.00001), "0.00001");
  EXPECT_EQ(Str(1e-15), "0.000000000000001");
  EXPECT_EQ(Str(1e-16), "1E-16");
  EXPECT_EQ(Str(1.0 / 30), "3.33333333333333E-02");
  EXPECT_EQ(Str(0.000123456789012345), "1.23456789012345E-04");
  EXPECT_EQ(Str(12.5), "12.5");
  EXPECT_EQ(Str(-1.5), "-1.5");
  EXPECT_EQ(Str(-0.0), "0");
  EXPECT_EQ(Str(0.1 + 0.2), "0.3");
  EXPECT_EQ(Str(2.0 / 3), "0.666666666666667");
  EXPECT_EQ(Str(DBL_MAX), "1.79769313486232E+308");
  EXPECT_EQ(Str(4.9406564584124654e-324), "4.94065645841247E-324");
}

TEST(NumberToText, ShortDecimalsAtTheirBoundaries) {
  // Integers and values with up to four exact decimals take a short way; all else the general.
  EXPECT_EQ(Str(1200.0), "1200");
  EXPECT_EQ(Str(-2500.0), "-2500");
  EXPECT_EQ(Str(0.0001), "0.0001");
  EXPECT_EQ(Str(0.00005), "0.00005");
  EXPECT_EQ(Str(123456789.1234), "123456789.1234");
  EXPECT_EQ(Str(99999999999.9999), "99999999999.9999");
  EXPECT_EQ(Str(999999999999.9999), "1000000000000");
  EXPECT_EQ(Str(0.1 * 3), "0.3");
  EXPECT_EQ(Str(4503599627370497.0), "4.5035996273705E+15");
}

TEST(NumberToText, TiesInTheExactExpansionGoAwayFromZero) {
  // Exactly representable halves: half-even would keep ...000.
  EXPECT_EQ(Str(100000000000000.5), "100000000000001");
  EXPECT_EQ(Str(-100000000000000.5), "-100000000000001");
  // The carry reaches a new digit and so crosses into exponent form.
  EXPECT_EQ(Str(999999999999999.5), "1E+15");
  // Shortest forms end on a 5 but the exact values lie below and above the half.
  EXPECT_EQ(Str(0.2782412746165175), "0.278241274616517");
  EXPECT_EQ(Str(0.7118196316507015), "0.711819631650702");
}

TEST(NumberToText, SingleUsesSevenDigits) {
  EXPECT_EQ(Str(1e8f), "1E+08");
  EXPECT_EQ(Str(1.5e-7f), "1.5E-07");
  EXPECT_EQ(Str(0.1f), "0.1");
  EXPECT_EQ(Str(1234567.0f), "1234567");
  EXPECT_EQ(Str(16777216.0f), "1.677722E+07");
  EXPECT_EQ(Str(FLT_MAX), "3.402823E+38");
  // The same float as a Double shows its binary error.
  EXPECT_EQ(Str(static_cast<double>(0.1f)), "0.100000001490116");
}

TEST(NumberToText, CurrencyIntegersBooleansAndDates) {
  EXPECT_EQ(Str(Currency::FromRaw(12345679)), "1234.5679");
  EXPECT_EQ(Str(Currency::FromRaw(5000)), "0.5");
  EXPECT_EQ(Str(Currency::FromRaw(10000000000000000)), "1000000000000");
  EXPECT_EQ(Str(Currency::FromRaw(INT64_MAX)), "922337203685477.5807");
  EXPECT_EQ(Str(Currency::FromRaw(INT64_MIN)), "-922337203685477.5808");
  EXPECT_EQ(Str(int16_t{-32768}), "-32768");
  EXPECT_EQ(Str(int32_t{1234567890}), "1234567890");
  EXPECT_EQ(Str(uint8_t{255}), "255");
  EXPECT_EQ(Str(true), "True");
  EXPECT_EQ(Str(false), "False");

  EXPECT_EQ(Str(Date{0}), "12:00:00 AM");
  EXPECT_EQ(Str(Date{0.75}), "6:00:00 PM");
  EXPECT_EQ(Str(Date{1}), "12/31/1899");
  EXPECT_EQ(Str(Date{36526.5}), "1/1/2000 12:00:00 PM");
  EXPECT_EQ(Str(Date{-1.25}), "12/29/1899 6:00:00 AM");
  EXPECT_EQ(Str(Date{2958465.999988426}), "12/31/9999 11:59:59 PM");
  EXPECT_EQ(Str(Date{-657434}), "1/1/0100");
  EXPECT_EQ(ErrorOf([] { CStr(Date{1e300}); }), 6);
}

TEST(TextToDate, AcceptsUsDatesIsoDatesAndTimes) {
  EXPECT_EQ(CDate("1/1/2000").value, 36526);
  EXPECT_EQ(CDate(" 2000-02-29 ").value, 36585);
  EXPECT_EQ(CDate("12/30/1899").value, 0);
  EXPECT_EQ(CDate("1/2/05").value, CDate("2005-01-02").value);
  EXPECT_EQ(CDate("6:00 PM").value, 0.75);
  EXPECT_EQ(CDate("12:00 am").value, 0);
  EXPECT_EQ(CDate("18:00:00").value, 0.75);
  EXPECT_EQ(CDate("12/29/1899 6:00 AM").value, -1.25);
  EXPECT_EQ(Str(CDate("1/1/2000 12:30:15 PM")), "1/1/2000 12:30:15 PM");
  for (const char* bad : {"", "2001-02-29", "13/1/2000", "1/32/2000", "25:00", "1:60", "13:00 PM",
                          "1/1/2000x", "1/1/20001", "2000-1-1 5", "abc", "1.5"}) {
    EXPECT_EQ(ErrorOf([&] { CDate(bad); }), 13) << bad;
  }
  EXPECT_EQ(ErrorOf([] { CDate(3e6); }), 6);
  EXPECT_EQ(CDate(true).value, -1);
}

TEST(TextToNumber, AcceptsSignsSymbolsGroupsAndRadixForms) {
  struct Case {
    const char* text;
    double value;
  };
  for (const Case& c : std::initializer_list<Case>{{" 12 ", 12},
                                                   {"\t12\u00A0", 12},
                                                   {"+5", 5},
                                                   {"- 5", -5},
                                                   {"5-", -5},
                                                   {"(5)", -5},
                                                   {"( 5 )", -5},
                                                   {"$5", 5},
                                                   {"5$", 5},
                                                   {"$7$$", 7},
                                                   {"7$ - $", -7},
                                                   {"-$5", -5},
                                                   {"$-5", -5},
                                                   {"($1,234.50)", -1234.5},
                                                   {"1,5", 15},
                                                   {"1,,5", 15},
                                                   {"1,000.", 1000},
                                                   {"1e3", 1000},
                                                   {"1.5E-2", 0.015},
                                                   {".5", 0.5},
                                                   {"1e-400", 0},
                                                   {"&H10", 16},
                                                   {"&o17", 15},
                                                   {"&HFFFFFFFF", -1},
                                                   {"&h7fffffff", 2147483647}}) {
    EXPECT_EQ(CDbl(c.text), c.value) << c.text;
    EXPECT_TRUE(IsNumeric(c.text)) << c.text;
  }
}

TEST(TextToNumber, RejectsLeftoversAndOverflows) {
  for (const char* bad :
       {"",   "   ", ",5",  ".",     "1.2.3", "1e",  "1e+", "--5", "(-5)",    "5-5", "(5",
        "5)", "&H",  "&HG", "&H1 2", "abc",   "1 2", "$",   "$$7", "1,5.2,1", "+"}) {
    EXPECT_EQ(ErrorOf([&] { CDbl(bad); }), 13) << bad;
    EXPECT_FALSE(IsNumeric(bad)) << bad;
  }
  EXPECT_EQ(ErrorOf([] { CDbl("1e400"); }), 6);
  EXPECT_FALSE(IsNumeric("1e400"));
  EXPECT_EQ(ErrorOf([] { CLng("&H100000000"); }), 6);
  EXPECT_EQ(ErrorOf([] { CInt("32768"); }), 6);
  EXPECT_EQ(ErrorOf([] { CInt("32767.5"); }), 6);  // rounds to 32768
  EXPECT_EQ(CInt("-32768.5"), -32768);             // rounds to even, in range
  EXPECT_EQ(ErrorOf([] { CByte("-1"); }), 6);
  EXPECT_EQ(ErrorOf([] { CByte(true); }), 6);
  EXPECT_EQ(ErrorOf([] { CLng(2147483647.5); }), 6);
  EXPECT_EQ(ErrorOf([] { CCur("1e16"); }), 6);
  EXPECT_EQ(ErrorOf([] { CSng(1e39); }), 6);
}

TEST(TextToNumber, IntegersRoundHalvesToEven) {
  EXPECT_EQ(CInt(2.5), 2);
  EXPECT_EQ(CInt(3.5), 4);
  EXPECT_EQ(CInt(-2.5), -2);
  EXPECT_EQ(CByte(0.5), 0);
  EXPECT_EQ(CByte(1.5), 2);
  EXPECT_EQ(CLng("2.5"), 2);
  EXPECT_EQ(CLng("-3.5"), -4);
  // Text rounds on its exact digits, not on the nearest Double (which is 2.5).
  EXPECT_EQ(CLng("2.5000000000000001"), 3);
  EXPECT_EQ(CInt(Currency::FromRaw(25000)), 2);
  EXPECT_EQ(CInt(Currency::FromRaw(-35000)), -4);
  EXPECT_EQ(CCur("0.00005").raw, 0);
  EXPECT_EQ(CCur("0.00015").raw, 2);
  EXPECT_EQ(CCur("-922337203685477.5808").raw, INT64_MIN);
}

TEST(TextToNumber, RadixTextIsSignedByTarget) {
  EXPECT_EQ(CInt("&HFFFF"), -1);
  EXPECT_EQ(CInt("&H8000"), -32768);
  EXPECT_EQ(CLng("&HFFFF"), 65535);
  EXPECT_EQ(CLng("&HFFFFFFFF"), -1);
  EXPECT_EQ(CLng("&H80000000"), INT32_MIN);
  EXPECT_EQ(CByte("&HFF"), 255);
  EXPECT_EQ(ErrorOf([] { CInt("&H10000"); }), 6);
  EXPECT_EQ(CCur("&HFFFFFFFF").raw, -10000);
}

TEST(TextToNumber, FollowsTheThreadLocale) {
  SetThreadLocale(LocaleInfo{1031, u',', u'.', "€"});
  EXPECT_EQ(Str(1.5), "1,5");
  EXPECT_EQ(Str(Currency::FromRaw(15000)), "1,5");
  EXPECT_EQ(CDbl("1,5"), 1.5);
  EXPECT_EQ(CDbl("1.500 €"), 1500);
  EXPECT_EQ(ErrorOf([] { CDbl("$1"); }), 13);
  std::string other;
  std::thread([&] { other = Str(1.5); }).join();
  EXPECT_EQ(other, "1.5");  // another thread keeps en-US
  SetThreadLocale(LocaleInfo{});
  EXPECT_EQ(Str(1.5), "1.5");
}

TEST(TextToBoolean, NamesThenNumbers) {
  EXPECT_TRUE(CBool("true"));
  EXPECT_FALSE(CBool("FALSE"));
  EXPECT_TRUE(CBool("#TRUE#"));
  EXPECT_FALSE(CBool("#FALSE#"));
  EXPECT_EQ(ErrorOf([] { CBool("#false#"); }), 13);
  EXPECT_EQ(ErrorOf([] { CBool("#True#"); }), 13);
  EXPECT_FALSE(CBool("0.0"));
  EXPECT_TRUE(CBool("-1"));
  EXPECT_TRUE(CBool(" 0.5 "));
  EXPECT_TRUE(CBool(Currency::FromRaw(1)));
  EXPECT_EQ(ErrorOf([] { CBool("yes"); }), 13);
  EXPECT_EQ(ErrorOf([] { CBool(""); }), 13);
}

TEST(ValConversion, ScansItsOwnWay) {
  struct Case {
    const char* text;
    double value;
  };
  // clang-format off
  for (const Case& c : std::initializer_list<Case>{
           {" 2 45 7", 2457}, {"&HFFFF", -1},     {"&H8000", -32768}, {"&H10000", 65536},
           {"&HFFFFFFFF", -1}, {"&O17", 15},      {"&H1Fz", 31},      {"1,5", 1},
           {"$5", 0},          {"12abc", 12},     {"  -3.5e2x", -350}, {"1 e 2", 100},
           {"1D2", 100},       {"1e", 1},         {"1e-", 1},         {"1.2.3", 1.2},
           {".5", 0.5},        {"\t\n5", 5},      {"", 0},            {".", 0},
           {"-", 0},           {"&H", 0},         {"abc", 0},         {"- 0", 0}}) {
    // clang-format on
    EXPECT_EQ(Val(c.text), c.value) << c.text;
  }
  EXPECT_FALSE(std::signbit(Val("-0")));
  EXPECT_EQ(ErrorOf([] { Val("1e400"); }), 6);
  EXPECT_EQ(ErrorOf([] { Val("&H100000000"); }), 6);
  // A type-declaration character behind the number.
  EXPECT_EQ(Val("25%"), 25);
  EXPECT_EQ(Val("2.5!"), 2.5);
  EXPECT_EQ(Val("2.5 #"), 2.5);
  EXPECT_EQ(Val("1.5@"), 1.5);
  EXPECT_EQ(Val("2.0&"), 2);
  EXPECT_EQ(ErrorOf([] { Val("2.5%"); }), 13);
  EXPECT_EQ(ErrorOf([] { Val("2.5&"); }), 13);
}

TEST(Conversions, EmptyNullMissingAndErrors) {
  const Variant empty;
  EXPECT_EQ(Str(empty), "");
  EXPECT_EQ(CLng(empty), 0);
  EXPECT_EQ(CDbl(empty), 0);
  EXPECT_FALSE(CBool(empty));
  EXPECT_EQ(CDate(empty).value, 0);
  EXPECT_TRUE(IsNumeric(empty));

  const Variant null = Variant::Null();
  EXPECT_EQ(ErrorOf([&] { CStr(null); }), 94);
  EXPECT_EQ(ErrorOf([&] { CLng(null); }), 94);
  EXPECT_EQ(ErrorOf([&] { CBool(null); }), 94);
  EXPECT_EQ(ErrorOf([&] { CVarType(null, vbString); }), 94);
  EXPECT_TRUE(CVarType(null, vbVariant).IsNull());
  EXPECT_FALSE(IsNumeric(null));

  EXPECT_EQ(ErrorOf([] { CLng(Variant::Missing()); }), 13);
  EXPECT_EQ(ErrorOf([] { CStr(Variant::Nothing()); }), 91);
  EXPECT_EQ(ErrorOf([] { CDbl(Array::OfVariants({1, 2})); }), 13);
  EXPECT_FALSE(IsNumeric(Date{1}));
  EXPECT_FALSE(IsNumeric(Variant::Nothing()));
  EXPECT_TRUE(IsNumeric(true));
  EXPECT_EQ(CLng(true), -1);
  EXPECT_EQ(CDbl(Date{1.5}), 1.5);
}

TEST(Conversions, CVarTypeGivesTheRequestedType) {
  EXPECT_EQ(CVarType("12", vbInteger).VarType(), vbInteger);
  EXPECT_EQ(CVarType(1.5, vbString), Variant("1.5"));
  EXPECT_EQ(CVarType(int16_t{3}, vbByte), Variant(uint8_t{3}));
  EXPECT_EQ(CVarType("1/1/2000", vbDate), Variant(Date{36526}));
  EXPECT_EQ(CVarType(Variant(), vbEmpty), Variant());
  EXPECT_EQ(ErrorOf([] { CVarType("x", vbObject); }), 13);
  EXPECT_EQ(ErrorOf([] { CVarType(1, vbArray | vbLong); }), 13);
}

TEST(Conversions, TypeNames) {
  EXPECT_EQ(TypeName(Variant()).ToUtf8(), "Empty");
  EXPECT_EQ(TypeName(String::Null()).ToUtf8(), "String");
  EXPECT_EQ(TypeName(Variant::Missing()).ToUtf8(), "Error");
  EXPECT_EQ(TypeName(Variant::Nothing()).ToUtf8(), "Nothing");
  EXPECT_EQ(TypeName(Array(vbString, {{0, 1}})).ToUtf8(), "String()");
  EXPECT_EQ(TypeName(Array::OfVariants({})).ToUtf8(), "Variant()");
}

}  // namespace
}  // namespace borvane
