#include "borvane/automation/text.h"

#include <gtest/gtest.h>

#include "tests/test_support.h"

#include "borvane/automation/error.h"

namespace borvane {
namespace {

using borvane::testing::ErrorOf;

std::vector<std::string> Utf8(const std::vector<String>& pieces) {
  std::vector<std::string> out;
  for (const String& p : pieces) out.push_back(p.ToUtf8());
  return out;
}

using Pieces = std::vector<std::string>;

// Short texts are compared by loads that overlap: a unit that differs anywhere, at any length,
// must tell them apart.
TEST(Text, SameTextSeesEveryUnitAtEveryLength) {
  for (size_t n = 0; n <= 40; ++n) {
    const std::u16string a(n, u'a');
    EXPECT_TRUE(SameText(a, std::u16string(a))) << n;
    EXPECT_FALSE(SameText(a, std::u16string(n + 1, u'a'))) << n;
    for (size_t at = 0; at < n; ++at) {
      std::u16string b = a;
      b[at] = u'\x0161';  // differs in the high byte only
      EXPECT_FALSE(SameText(a, b)) << n << " " << at;
    }
  }
}

TEST(Text, SplitBoundaries) {
  EXPECT_TRUE(Split("", ",").empty());
  EXPECT_TRUE(Split(String::Null(), ",").empty());
  EXPECT_EQ(Utf8(Split("a,,b", ",")), (Pieces{"a", "", "b"}));
  EXPECT_EQ(Utf8(Split(",", ",")), (Pieces{"", ""}));
  EXPECT_EQ(Utf8(Split("a b")), (Pieces{"a", "b"}));
  EXPECT_EQ(Utf8(Split("a::b::", "::")), (Pieces{"a", "b", ""}));
  EXPECT_EQ(Utf8(Split("a,b,c", ",", 2)), (Pieces{"a", "b,c"}));
  EXPECT_EQ(Utf8(Split("a,b,c", ",", 1)), (Pieces{"a,b,c"}));
  EXPECT_EQ(Utf8(Split("a,b", ",", 5)), (Pieces{"a", "b"}));
  EXPECT_TRUE(Split("a,b", ",", 0).empty());
  EXPECT_EQ(Utf8(Split("a,b", "")), (Pieces{"a,b"}));
  EXPECT_EQ(Utf8(Split("aXbxc", "x", -1, vbTextCompare)), (Pieces{"a", "b", "c"}));
  EXPECT_EQ(Utf8(Split("aXbxc", "x")), (Pieces{"aXb", "c"}));
  EXPECT_EQ(ErrorOf([] { Split("a", ",", -2); }), 5);
  EXPECT_EQ(Join({"a", "", "b"}, ",").ToUtf8(), "a,,b");
  EXPECT_EQ(Join({}, ",").ToUtf8(), "");
}

TEST(Text, TrimRemovesSpacesOnly) {
  EXPECT_EQ(Trim(" \ta\t ").ToUtf8(), "\ta\t");
  EXPECT_EQ(LTrim("  a ").ToUtf8(), "a ");
  EXPECT_EQ(RTrim("  a ").ToUtf8(), "  a");
  EXPECT_EQ(Trim("   ").ToUtf8(), "");
  EXPECT_EQ(Trim("\u00A0a").ToUtf8(), "\u00A0a");
}

TEST(Text, InStrBoundaries) {
  EXPECT_EQ(InStr("abc", ""), 1);
  EXPECT_EQ(InStr("", ""), 0);
  EXPECT_EQ(InStr("", "a"), 0);
  EXPECT_EQ(InStr(3, "abc", ""), 3);
  EXPECT_EQ(InStr(4, "abc", ""), 0);
  EXPECT_EQ(InStr(2, "abab", "ab"), 3);
  EXPECT_EQ(InStr("abc", "abcd"), 0);
  EXPECT_EQ(InStr(1, "ABC", "bc", vbTextCompare), 2);
  EXPECT_EQ(InStr(1, "ABC", "bc", vbBinaryCompare), 0);
  EXPECT_EQ(ErrorOf([] { InStr(0, "abc", "a"); }), 5);

  EXPECT_EQ(InStrRev("abab", "ab"), 3);
  EXPECT_EQ(InStrRev("abab", "ab", 3), 1);
  EXPECT_EQ(InStrRev("abab", "ab", 4), 3);
  EXPECT_EQ(InStrRev("abab", "ab", 1), 0);
  EXPECT_EQ(InStrRev("abc", ""), 3);
  EXPECT_EQ(InStrRev("abc", "", 2), 2);
  EXPECT_EQ(InStrRev("abc", "c", 5), 0);
  EXPECT_EQ(InStrRev("", "a"), 0);
  EXPECT_EQ(InStrRev("xAbab", "AB", -1, vbTextCompare), 4);
  EXPECT_EQ(ErrorOf([] { InStrRev("abc", "a", 0); }), 5);
  EXPECT_EQ(ErrorOf([] { InStrRev("abc", "a", -2); }), 5);
}

TEST(Text, ReplaceStartsTheResultAtStart) {
  EXPECT_EQ(Replace("abcabc", "b", "X").ToUtf8(), "aXcaXc");
  EXPECT_EQ(Replace("abcabc", "b", "X", 3).ToUtf8(), "caXc");
  EXPECT_EQ(Replace("abcabc", "b", "X", 1, 1).ToUtf8(), "aXcabc");
  EXPECT_EQ(Replace("abcabc", "b", "X", 1, 0).ToUtf8(), "abcabc");
  EXPECT_EQ(Replace("abc", "", "X", 2).ToUtf8(), "bc");
  EXPECT_EQ(Replace("abc", "b", "X", 4).ToUtf8(), "");
  EXPECT_EQ(Replace("aaa", "aa", "a").ToUtf8(), "aa");
  EXPECT_EQ(Replace("aBcb", "b", "", 1, -1, vbTextCompare).ToUtf8(), "ac");
  EXPECT_EQ(ErrorOf([] { Replace("a", "a", "b", 0); }), 5);
  EXPECT_EQ(ErrorOf([] { Replace("a", "a", "b", 1, -2); }), 5);
}

TEST(Text, LeftRightMid) {
  EXPECT_EQ(Left("abc", 5).ToUtf8(), "abc");
  EXPECT_EQ(Left("abc", 0).ToUtf8(), "");
  EXPECT_EQ(Right("abc", 2).ToUtf8(), "bc");
  EXPECT_EQ(Right("abc", 9).ToUtf8(), "abc");
  EXPECT_EQ(Mid("abc", 2).ToUtf8(), "bc");
  EXPECT_EQ(Mid("abc", 2, 1).ToUtf8(), "b");
  EXPECT_EQ(Mid("abc", 3, 9).ToUtf8(), "c");
  EXPECT_EQ(Mid("abc", 4).ToUtf8(), "");
  EXPECT_EQ(ErrorOf([] { Left("abc", -1); }), 5);
  EXPECT_EQ(ErrorOf([] { Right("abc", -1); }), 5);
  EXPECT_EQ(ErrorOf([] { Mid("abc", 0); }), 5);
  EXPECT_EQ(ErrorOf([] { Mid("abc", 1, -2); }), 5);
}

TEST(Text, CaseMappingCoversTheBmp) {
  EXPECT_EQ(UCase("abc xyz 123").ToUtf8(), "ABC XYZ 123");
  EXPECT_EQ(UCase("äöüéÿ").ToUtf8(), "ÄÖÜÉŸ");
  EXPECT_EQ(LCase("ÄÖÜΣЖ").ToUtf8(), "äöüσж");
  EXPECT_EQ(UCase("ß").ToUtf8(), "ß");   // no one-unit upper case
  EXPECT_EQ(UpperChar(0xD835), 0xD835);  // surrogates stay
  EXPECT_EQ(UCase("@[`{").ToUtf8(), "@[`{");
}

TEST(Text, CaseBlindEqualityHashAndComparison) {
  EXPECT_TRUE(EqualsNoCase(u"Key", u"kEY"));
  EXPECT_TRUE(EqualsNoCase(u"Été", u"éTÉ"));
  EXPECT_FALSE(EqualsNoCase(u"@", u"`"));  // differ by the case bit but are not letters
  EXPECT_FALSE(EqualsNoCase(u"[", u"{"));
  EXPECT_FALSE(EqualsNoCase(u"ab", u"abc"));
  EXPECT_EQ(HashNoCase(u"Key"), HashNoCase(u"kEY"));
  EXPECT_EQ(HashNoCase(u"Été"), HashNoCase(u"éTÉ"));
  EXPECT_NE(HashNoCase(u"ab"), HashNoCase(u"ba"));

  EXPECT_EQ(StrComp("a", "B"), 1);
  EXPECT_EQ(StrComp("a", "B", vbTextCompare), -1);
  EXPECT_EQ(StrComp("abc", "ABC", vbTextCompare), 0);
  EXPECT_EQ(StrComp("_", "a", vbTextCompare), -1);
  EXPECT_EQ(StrComp("ab", "abc"), -1);
  EXPECT_EQ(StrComp(String::Null(), ""), 0);
}

}  // namespace
}  // namespace borvane
