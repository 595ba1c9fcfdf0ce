// The reader's treatment of values, white space, malformed text and its failures.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "borvane/automation/convert.h"
#include "doctree_test_util.h"
#include "reference_reader.h"

namespace borvane::testing {
namespace {

Variant ValueRead(const char* text) {
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, text);
  return At(*doc, int32_t{1})->Value();
}

TEST(ReaderTest, ValuesAreTypedByTheirForm) {
  EXPECT_EQ(ValueRead("<a>Hello World</a>"), Variant("HelloWorld"));
  EXPECT_EQ(ValueRead("<a>\"Hello World\"</a>"), Variant("Hello World"));
  EXPECT_EQ(ValueRead("<a>12</a>"), Variant(12.0));
  EXPECT_EQ(ValueRead("<a>\"12\"</a>"), Variant("12"));
  EXPECT_EQ(ValueRead("<a>TRUE</a>"), Variant(true));
  EXPECT_EQ(ValueRead("<a>fAlSe</a>"), Variant(false));
  EXPECT_EQ(ValueRead("<a>1,5</a>"), Variant(1.0));  // numeric, but the number stops at ","
  EXPECT_EQ(ValueRead("<a>\"x\" \"y\"</a>"), Variant("x\"\"y"));
  EXPECT_EQ(ValueRead("<a></a>"), Variant(""));
  EXPECT_EQ(ValueRead("<a>&lt;</a>"), Variant("&lt;"));  // no entities
  EXPECT_EQ(ValueRead("<a>\"\"</a>"), Variant(""));
  EXPECT_EQ(ValueRead("<a>\"<b>\"</a>"), Variant("<b>"));  // a "<" in quotes is text
}

// Plain numbers take a short way; they must still give what the numeric test and the
// leading-number conversion give, also where the locale's decimal point is not ".".
TEST(ReaderTest, NumbersFollowTheLocaleAwareTestAndTheLeadingNumber) {
  auto expected = [](const char* text) {
    Variant v{String(text)};
    return IsNumeric(v) ? Variant(Val(v.StringRef())) : v;
  };
  const char* numbers[] = {"12.5", "-0", "-0.25", "007", "1234567890123456", "0.1", "5.", ".5"};
  LocaleInfo us = ThreadLocale();
  LocaleInfo german = us;
  german.decimal = u',';
  german.group = u'.';
  for (const LocaleInfo& locale : {us, german}) {
    SetThreadLocale(locale);
    for (const char* number : numbers) {
      Variant read = ValueRead(("<a>" + std::string(number) + "</a>").c_str());
      EXPECT_EQ(read, expected(number)) << number;
      EXPECT_EQ(read.VarType(), expected(number).VarType()) << number;
    }
  }
  SetThreadLocale(us);
  Variant zero = ValueRead("<a>-0</a>");
  EXPECT_FALSE(std::signbit(*zero.GetIf<double>()));  // Val gives 0, not -0
}

TEST(ReaderTest, WhiteSpaceBetweenTagsDoesNotMatter) {
  Ref<Doc> one = MakeRef<Doc>(), two = MakeRef<Doc>();
  Read(*one, "<a x=1><b></b></a>");
  Read(*two, "\r\n<a x=1>\n\t<b>\n\t</b>\n</a>\n");
  EXPECT_EQ(U8(Write(*one)), U8(Write(*two)));
  EXPECT_EQ(two->Count(), 2);
  String text = "  <a  b=\"x y\">\t1 2 \x01</a> ", empty;
  EXPECT_EQ(U8(one->StripWhitespace(text)), "<a  b=\"x y\">12</a>");
  EXPECT_EQ(U8(one->StripWhitespace(empty)), "");
}

TEST(ReaderTest, LongTagsAndValuesReadWhole) {
  // Pieces far longer than the first ones, with the ">" and the space near their start.
  Ref<Doc> doc = MakeRef<Doc>();
  std::string value(5000, 'y');
  std::string name(3000, 'n');
  Read(*doc, "<a x=1>" + value + "</a><" + name + " k=\"v w\">\"" + value + "\"</x>");
  EXPECT_EQ(U8(At(*doc, "N1")->Value().StringRef()), value);
  EXPECT_EQ(At(*doc, "N1")->Attributes()->Count(), 1);
  Ref<DocNode> second = At(*doc, "N2");
  EXPECT_EQ(U8(second->Name()), name);
  EXPECT_EQ(U8(second->Value().StringRef()), value);
  EXPECT_EQ(U8(second->Attributes()->Item(Variant(int32_t{1}))->Value().StringRef()), "v w");
}

// A text read stays apart from a value set later: whichever came last reads back and is
// written, for short texts and for those long enough that the scanner copies them itself.
TEST(ReaderTest, AReadTextGivesWayToAValueSetLater) {
  Ref<Doc> doc = MakeRef<Doc>();
  const std::string z(100, 'z');
  Read(*doc, "<r><a>\"x{\\34}y\"</a><b>\"" + z + "{\\34}\"</b><c>\"\"</c></r>");
  EXPECT_EQ(At(*doc, "N2")->Value(), Variant("x\"y"));
  EXPECT_EQ(U8(At(*doc, "N3")->Value().StringRef()), z + "\"");
  EXPECT_EQ(At(*doc, "N4")->Value(), Variant(""));
  const std::string c = "<c>\n\"\"\n</c>\n</r>\n";
  EXPECT_EQ(U8(Write(*doc)), "<r>\n<a>\n\"x{\\34}y\"\n</a>\n<b>\n\"" + z + "{\\34}\"\n</b>\n" + c);
  At(*doc, "N2")->SetValue(Variant(int32_t{3}));
  At(*doc, "N3")->SetValue(Variant("w\""));
  EXPECT_EQ(At(*doc, "N2")->Value(), Variant(int32_t{3}));
  EXPECT_EQ(At(*doc, "N3")->Value(), Variant("w\""));
  EXPECT_EQ(U8(Write(*doc)), "<r>\n<a>\n3\n</a>\n<b>\n\"w{\\34}\"\n</b>\n" + c);
}

// The reader as its steps taken literally read the same text; `what` names the case.
void ExpectReadsAsLiteralSteps(const std::u16string& text, const std::string& what) {
  Ref<Doc> doc = MakeRef<Doc>();
  EXPECT_EQ(reference::DifferenceFromSteps(*doc, String(text)), nullptr) << what;
}

TEST(ReaderTest, PiecesThatLeaveTheWrittenFormLateReadByTheSameRules) {
  // An indented text read fast as long as each piece keeps to the written form; a character
  // that breaks it, at every place of a value, an attribute value or a closing tag, must read as
  // anywhere else. Lengths are around those at which a piece no longer fits the reader's look
  // at 64 characters.
  const char16_t breakers[] = {u' ', u'\x01', u'>', u'<', u'"', u'\x1e', u'\t'};
  const std::u16string letters = u"abcdefghijklmnopqrstuvwxyz";
  for (size_t length : {3, 26, 47, 52, 53, 54, 55, 56, 57, 58, 60, 70}) {
    std::u16string base;
    while (base.size() < length) base += letters;
    base.resize(length);
    for (char16_t breaker : breakers) {
      for (size_t at = 0; at <= length; ++at) {
        const std::u16string broken = base.substr(0, at) + breaker + base.substr(at);
        const std::u16string tail = u"\n\t</v>\n\t<w>\n\t1\n\t</w>\n</r>\n";
        const std::string what = "length " + std::to_string(length) + ", code " +
                                 std::to_string(int(breaker)) + " at " + std::to_string(at);
        ExpectReadsAsLiteralSteps(u"<r>\n\t<v>\n\t" + broken + tail, what + ", bare");
        ExpectReadsAsLiteralSteps(u"<r>\n\t<v>\n\t\"" + broken + u"\"" + tail, what + ", quoted");
        ExpectReadsAsLiteralSteps(u"<r>\n\t<v k=\"" + broken + u"\">\n\tx" + tail,
                                  what + ", attribute");
        if (at < 6) {
          // The closing tag behind a short value, which the reader takes from the same look.
          const std::u16string closing = u"/v>\n\t";
          ExpectReadsAsLiteralSteps(u"<r>\n\t<v>\n\t\"" + base + u"\"\n\t<" +
                                        closing.substr(0, at) + breaker + closing.substr(at) +
                                        u"<w>\n\t1\n\t</w>\n</r>\n",
                                    what + ", closing");
        }
      }
    }
  }
  // A long quoted value is copied as it is read, into room that grows: an escape, whole or cut
  // short, at each place around the room's first sizes.
  for (size_t at : {250, 252, 253, 254, 255, 256, 257, 508, 509, 510, 511, 512}) {
    for (const char16_t* tail : {u"{\\34}w", u"{\\34", u"w{\\34}"}) {
      ExpectReadsAsLiteralSteps(u"<r>\n\t<v>\n\t\"" + std::u16string(at, u'w') + tail +
                                    u"\"\n\t</v>\n\t<v>\n\t\"{\\34}\"\n\t</v>\n</r>\n",
                                "escape at " + std::to_string(at));
    }
  }
  // An attribute list in the writer's form, with a character that may break that form at each
  // place: read as it stands or by the general rules, it gives the pairs of the literal steps.
  // A list of three times that, with more text behind it, is looked at 64 characters at a
  // time: quotes, ">", "<" (also one inside quotes) and marks fall on both sides of each
  // window's end.
  const std::u16string list = u"k=\"ab cd\" n=-12 t=TRUE e= q=\"\" r=1.5 f=FALSE";
  const std::u16string more = u"\n\t<w a=\"x y\">\n\t2\n\t</w>\n\t<w>\n\t\"long enough\"\n\t</w>\n";
  for (const std::u16string& tried : {list, list + u" " + list + u" z=\"a<b\" " + list}) {
    for (char16_t breaker : std::u16string(u" \"|=-.x<>\x1e")) {
      for (size_t at = 0; at <= tried.size(); ++at) {
        const std::u16string broken = tried.substr(0, at) + breaker + tried.substr(at);
        ExpectReadsAsLiteralSteps(
            u"<r>\n\t<v " + broken + u">\n\t1\n\t</v>" + more + u"</r>\n",
            "list with code " + std::to_string(int(breaker)) + " at " + std::to_string(at));
      }
    }
  }
  // A tab in a long name stays part of it; the last piece has no tag behind it.
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, "<r>\n\t<long\tname x=1>\n\t\"v\"\n\t</long>\n</r>\n");
  EXPECT_EQ(U8(At(*doc, "N2")->Name()), "long\tname");
  EXPECT_EQ(At(*doc, "N2")->Value(), Variant("v"));
  // Quoted attribute values: with a ">" inside, the head ends there.
  Ref<Doc> attributes = MakeRef<Doc>();
  Read(*attributes, "<r>\n\t<a k=\"v w\" n=TRUE>\n\t2\n\t</a>\n\t<b t=\"x>y\">v</b>\n</r>\n");
  EXPECT_EQ(U8(At(*attributes, "N2")->Attributes()->ToAttributeString()), "k=\"v w\" n=TRUE");
  EXPECT_EQ(At(*attributes, "N2")->Value(), Variant(2.0));
  EXPECT_EQ(U8(At(*attributes, "N3")->Attributes()->ToAttributeString()), "t=");
  EXPECT_EQ(At(*attributes, "N3")->Value(), Variant("y\">v"));
}

TEST(ReaderTest, TextWithoutTagsAddsNothing) {
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, "", "no such key");  // an empty text does not even look at ParentKey
  Read(*doc, " \r\n\t ");
  Read(*doc, "plain text > no tags");
  EXPECT_EQ(doc->Count(), 0);
}

TEST(ReaderTest, MalformedTextReadsWithoutFailing) {
  Ref<Doc> doc = MakeRef<Doc>();
  // Mismatched closing names close all the same; a second top element becomes a child.
  Read(*doc, "junk<a><b></x><c>v</c></a>after<d></d>");
  ASSERT_EQ(doc->Count(), 4);
  EXPECT_EQ(U8(At(*doc, "N3")->Path()), "a//c");
  EXPECT_EQ(U8(At(*doc, "N4")->Path()), "a//d");

  Ref<Doc> odd = MakeRef<Doc>();
  // Self-closing and declarations stay current; "<>" and a tag without ">" are skipped.
  Read(*odd, "<?xml version=\"1.0\"?><a/><><b<c>1</c>");
  ASSERT_EQ(odd->Count(), 3);
  EXPECT_EQ(U8(At(*odd, "N1")->Name()), "?xml");
  EXPECT_EQ(U8(At(*odd, "N1")->Attributes()->ToAttributeString()), "version=");
  EXPECT_EQ(U8(At(*odd, "N3")->Path()), "?xml//a///c");

  Ref<Doc> comment = MakeRef<Doc>();
  Read(*comment, "<!-- a note --><x\tb=1>");
  EXPECT_EQ(U8(At(*comment, "N1")->Name()), "!--");
  EXPECT_EQ(U8(At(*comment, "N1")->Attributes()->ToAttributeString()), "= = =");
  EXPECT_EQ(U8(At(*comment, "N2")->Name()), "x\tb=1");  // a tab is no separator

  Ref<Doc> quotes = MakeRef<Doc>();
  // After an odd quote everything is quoted; a ">" in a quoted attribute ends the head.
  Read(*quotes, "<a t=\"x>y\">v</a><b>\"open<c></c>");
  ASSERT_EQ(quotes->Count(), 2);
  EXPECT_EQ(U8(At(*quotes, "N1")->Attributes()->ToAttributeString()), "t=");
  EXPECT_EQ(At(*quotes, "N1")->Value(), Variant("y\">v"));
  EXPECT_EQ(At(*quotes, "N2")->Value(), Variant("\"open<c></c>"));

  Ref<Doc> mark = MakeRef<Doc>();
  Read(*mark,
       "<a>\"x\x1e"
       "b>y\"");  // code 30 cuts even inside quotes
  ASSERT_EQ(mark->Count(), 2);
  EXPECT_EQ(U8(At(*mark, "N2")->Name()), "b");
}

TEST(ReaderTest, FailuresAreGuardedAndKeepWhatWasRead) {
  Ref<Doc> doc = MakeRef<Doc>();
  EXPECT_TRUE(IsGuarded(Raised([&] { Read(*doc, "<a></a></a>"); }), "Doc:ReadXML Method"));
  EXPECT_EQ(doc->Count(), 1);  // nothing is rolled back
  EXPECT_TRUE(IsGuarded(Raised([&] { Read(*doc, "<b>", "N9"); }), "Doc:ReadXML Method"));
  EXPECT_TRUE(IsGuarded(Raised([&] { Read(*doc, "<c>\""); }), "Doc:ReadXML Method"));
  EXPECT_TRUE(IsGuarded(Raised([&] { Read(*doc, "<d x=1 a=\">"); }), "Doc:ReadXML Method"));
  EXPECT_EQ(doc->Count(), 2);  // the node was added before its attribute failed
  // ... with the pairs before the failing one, and the failing one nameless and missing.
  EXPECT_EQ(U8(At(*doc, "N2")->Attributes()->ToAttributeString()), "x=\"1\" =");
  Ref<Doc> fresh = MakeRef<Doc>();
  EXPECT_TRUE(IsGuarded(Raised([&] { Read(*fresh, "</a><b></b>"); }), "Doc:ReadXML Method"));
  // A generated key that a caller used already fails the Add inside the reader.
  AddNode(*fresh, "", "x", Variant::Missing(), "n2");
  EXPECT_TRUE(IsGuarded(Raised([&] { Read(*fresh, "<a></a><b></b>"); }), "Doc:ReadXML Method"));
  EXPECT_EQ(fresh->Count(), 2);
}

// Attributes read are made into objects only when first asked for; what they read as is
// settled at reading all the same, also where the numeric test depends on the thread's locale.
TEST(ReaderTest, AttributesReadAsAtReadingWhenFirstAskedForLater) {
  struct RestoreLocale {
    LocaleInfo saved = ThreadLocale();
    ~RestoreLocale() { SetThreadLocale(saved); }
  } restore;
  LocaleInfo french;
  french.lcid = 1036;
  french.decimal = u',';
  french.group = u' ';
  const String text = "<a n=1.5 q=\"p q\" t=TRUE f=FALSE e= bare><b m=1.5></b><c k=1.5></c></a>";
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, text);
  SetThreadLocale(french);
  // "1.5" is a number only with "." as the decimal point.
  Ref<Doc> read_in_french = MakeRef<Doc>();
  Read(*read_in_french, text);
  EXPECT_TRUE(
      At(*read_in_french, "N1")->Attributes()->Item(Variant(int32_t{1}))->Value().IsMissing());

  // The writer writes packed pairs as their objects write them.
  const std::string packed = U8(Write(*doc));
  EXPECT_NE(packed.find("<a n=\"1.5\" q=\"p q\" t=TRUE f=FALSE e= =>"), std::string::npos);
  // Without "=" name and value stay as a new pair has them: nameless and missing.
  Ref<Attributes> a = At(*doc, "N1")->Attributes();
  EXPECT_EQ(U8(a->ToAttributeString()), "n=\"1.5\" q=\"p q\" t=TRUE f=FALSE e= =");
  EXPECT_TRUE(a->Item(Variant(int32_t{6}))->Value().IsMissing());
  EXPECT_EQ(At(*doc, "N2")->Attributes()->Count(), 1);
  EXPECT_EQ(U8(Write(*doc)), packed);
  // A node taken out before anybody asked has none left.
  Ref<DocNode> c = At(*doc, "N3");
  Remove(*doc, "N3");
  EXPECT_EQ(c->Attributes()->Count(), 0);
}

TEST(ReaderTest, ReadsBelowAParentAndInAddition) {
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, "<r><p></p></r>");
  // Below N2; the extra closing tag moves on up, so <y> hangs below N1.
  Read(*doc, "<x>1</x></p><y></y>", "N2");
  EXPECT_EQ(U8(At(*doc, "N3")->Path()), "r//p//x");
  EXPECT_EQ(U8(At(*doc, "N4")->Path()), "r//y");
  // Without ParentKey a Doc with nodes gets a new, unlinked top node.
  Read(*doc, "<z><w></w></z>");
  EXPECT_TRUE(At(*doc, "N5")->Parent().IsNothing());
  EXPECT_EQ(U8(At(*doc, "N5")->Root()->Key()), "N1");
  EXPECT_EQ(U8(At(*doc, "N6")->Path()), "z//w");
  EXPECT_EQ(doc->Count(), 6);
}

}  // namespace
}  // namespace borvane::testing
