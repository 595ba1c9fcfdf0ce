// Fontobj: the XML text of its settings both ways, what SetXML reads and passes over, its
// failures and what stays set, the shared font object, and late-bound use.
#include <gtest/gtest.h>

#include <functional>

#include "borvane/borvane.h"
#include "borvane/fonts/fontobj.h"
#include "borvane/frame/error_handling.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

void ExpectGuarded(const std::function<void()>& body, const char* source) {
  EXPECT_TRUE(testing::IsGuarded(testing::CaughtError(body), source));
}

constexpr const char* kSetSource = "CodeMaxSettings:SetXML prperty";
constexpr const char* kGetSource = "CodeMaxSettings:GetXML prperty";

struct Settings {
  String name;
  int64_t size;
  bool italic, bold, strike, underline;
  int16_t weight, charset;
  bool operator==(const Settings&) const = default;
};

Settings Of(const Fontobj& f) {
  return {f.FontName(),          f.FontSize().raw,  f.FontItalic(), f.FontBold(),
          f.FontStrikethrough(), f.FontUnderline(), f.FontWeight(), f.FontCharset()};
}

void Load(Fontobj& f, const char* text) {
  String t(text);
  f.SetXML(t);
}

TEST(FontobjTest, NewFontobjWritesItsFirstValues) {
  auto f = MakeRef<Fontobj>();
  const char* expected =
      "<Font Type=\"Font\">\n"
      "\t<FontObject Type=\"Font\">\n"
      "\t\"Sans\"\n"
      "\t</FontObject>\n"
      "\t<FontName Type=\"String\">\n"
      "\t\"Sans\"\n"
      "\t</FontName>\n"
      "\t<FontSize Type=\"Currency\">\n"
      "\t10\n"
      "\t</FontSize>\n"
      "\t<FontItalic Type=\"Boolean\">\n"
      "\tFalse\n"
      "\t</FontItalic>\n"
      "\t<FontBold Type=\"Boolean\">\n"
      "\tFalse\n"
      "\t</FontBold>\n"
      "\t<FontStrikethrough Type=\"Boolean\">\n"
      "\tFalse\n"
      "\t</FontStrikethrough>\n"
      "\t<FontUnderline Type=\"Boolean\">\n"
      "\tFalse\n"
      "\t</FontUnderline>\n"
      "\t<FontWeight Type=\"Integer\">\n"
      "\t400\n"
      "\t</FontWeight>\n"
      "\t<FontCharset Type=\"Integer\">\n"
      "\t0\n"
      "\t</FontCharset>\n"
      "</Font>\n";
  EXPECT_EQ(f->GetXML().ToUtf8(), expected);
  // A second call uses the same descriptors and gives the same text.
  Ref<Properties> props = f->GetFontProperties();
  EXPECT_EQ(f->GetXML().ToUtf8(), expected);
  EXPECT_EQ(f->GetFontProperties(), props);
  EXPECT_EQ(props->Count(), 9);
}

TEST(FontobjTest, TextReadsBackIntoEqualSettings) {
  auto a = MakeRef<Fontobj>();
  a->LetFontName("Times \"New\" <Roman> & Co");
  a->LetFontSize(Currency::FromRaw(82500));
  a->LetFontItalic(true);
  a->LetFontUnderline(true);
  a->LetFontStrikethrough(true);
  a->LetFontWeight(600);  // bold, but not the standard bold weight
  a->LetFontCharset(238);
  String text = a->GetXML();
  auto b = MakeRef<Fontobj>();
  b->SetXML(text);
  EXPECT_EQ(Of(*b), Of(*a));
  EXPECT_EQ(b->FontWeight(), 600);  // FontWeight comes after FontBold and wins
  EXPECT_EQ(b->GetXML(), text);
}

TEST(FontobjTest, SetXmlReadsChildrenOfAnyFontParentByCaseBlindName) {
  auto f = MakeRef<Fontobj>();
  Load(*f,
       "<FONT><fontname>\"Mono\"</fontname><FONTSIZE>12</FONTSIZE>"
       "<FontWeight Type=\"String\">300</FontWeight>"  // Type is not read
       "<FontWeight>500</FontWeight></FONT>");         // the later one wins
  // Any depth counts; nodes under another parent are passed over.
  Load(*f,
       "<Settings><Other><FontItalic>True</FontItalic></Other>"
       "<font><FontCharset>2</FontCharset></font></Settings>");
  EXPECT_EQ(f->FontName(), String("Mono"));
  EXPECT_EQ(f->FontSize().raw, 120000);
  EXPECT_FALSE(f->FontItalic());
  EXPECT_EQ(f->FontCharset(), 2);
  EXPECT_EQ(f->FontWeight(), 500);

  // The root itself is passed over, whatever its name; empty text sets nothing.
  Load(*f, "<FontName>\"Root\"</FontName>");
  Load(*f, "");
  Load(*f, "no tags at all");
  EXPECT_EQ(f->FontName(), String("Mono"));
}

TEST(FontobjTest, SetXmlConvertsUnderEnUsWhateverTheThreadLocale) {
  LocaleInfo saved = ThreadLocale();
  LocaleInfo german;
  german.lcid = 1031;
  german.decimal = u',';
  german.group = u'.';
  SetThreadLocale(german);
  auto f = MakeRef<Fontobj>();
  Load(*f, "<Font><FontSize>\"8.25\"</FontSize><FontBold>\"true\"</FontBold></Font>");
  EXPECT_EQ(f->FontSize().raw, 82500);
  EXPECT_TRUE(f->FontBold());
  EXPECT_EQ(ThreadLocale().lcid, 1031);
  SetThreadLocale(saved);
}

TEST(FontobjTest, FailuresRaiseTheGuardedErrorAndKeepEarlierSettings) {
  auto f = MakeRef<Fontobj>();
  ExpectGuarded(
      [&] {
        Load(*f,
             "<Font><FontName>\"Kept\"</FontName><Colour>1</Colour>"
             "<FontSize>20</FontSize></Font>");
      },
      kSetSource);
  EXPECT_EQ(f->FontName(), String("Kept"));
  EXPECT_EQ(f->FontSize().raw, 100000);
  ExpectGuarded(
      [&] {
        Load(*f,
             "<Font><FontItalic>True</FontItalic><FontWeight>big</FontWeight>"
             "</Font>");
      },
      kSetSource);
  EXPECT_TRUE(f->FontItalic());
  ExpectGuarded([&] { Load(*f, "<Font><FontWeight>70000</FontWeight></Font>"); }, kSetSource);
  ExpectGuarded([&] { Load(*f, "</Font>"); }, kSetSource);  // refused by the reader
  // A read-only member cannot be let either.
  ExpectGuarded([&] { Load(*f, "<Font><GetXML>1</GetXML></Font>"); }, kSetSource);
  EXPECT_EQ(f->FontWeight(), 400);
}

TEST(FontobjTest, FontObjectIsSharedAndNothingStopsEverySetting) {
  auto f = MakeRef<Fontobj>();
  auto font = MakeRef<StdFont>();
  f->SetFontObject(font);
  EXPECT_EQ(f->FontObject(), font);
  f->LetFontBold(true);
  EXPECT_EQ(font->Weight(), 700);
  font->LetName("Shared");
  EXPECT_EQ(f->FontName(), String("Shared"));
  Load(*f, "<Font><FontObject>\"Ignored\"</FontObject><FontSize>9</FontSize></Font>");
  EXPECT_EQ(font->Size().raw, 90000);
  EXPECT_EQ(font->Name(), String("Shared"));

  f->SetFontObject(Ref<StdFont>());
  EXPECT_THROW(
      try { f->FontName(); } catch (const Error& e) {
        EXPECT_EQ(e.Number(), kErrObjectNotSet);
        throw;
      },
      Error);
  ExpectGuarded([&] { f->GetXML(); }, kGetSource);
  ExpectGuarded([&] { Load(*f, "<Font><FontSize>9</FontSize></Font>"); }, kSetSource);
}

TEST(FontobjTest, LateBoundUse) {
  Object f = CreateObject("Borvane.Fontobj");
  Object font = CallByName(f, "FontObject", VbGet).ToObject();
  EXPECT_EQ(TypeName(Variant(font)), String("StdFont"));
  CallByName(f, "fontsize", VbLet, {Variant("11.5")});
  Object g = CreateObject("Borvane.Fontobj");
  CallByName(g, "SetXML", VbMethod, {CallByName(f, "GetXML", VbMethod)});
  EXPECT_TRUE(CallByName(g, "FontSize", VbGet) == Variant(Currency::FromRaw(115000)));
  // FontObject takes only font objects, by set.
  Object other = CreateObject("Borvane.StdFont");
  CallByName(g, "FontObject", VbSet, {Variant(other)});
  EXPECT_EQ(CallByName(g, "FontObject", VbGet).ToObject(), other);
  EXPECT_THROW(CallByName(g, "FontObject", VbSet, {Variant(f)}), Error);
  EXPECT_THROW(CallByName(g, "FontObject", VbLet, {Variant("Sans")}), Error);
  // GetFontProperties is inside the class.
  EXPECT_THROW(CallByName(g, "GetFontProperties", VbMethod), Error);
}

}  // namespace
}  // namespace borvane
