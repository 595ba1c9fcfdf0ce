// The attribute text form and the Attributes list.
#include <gtest/gtest.h>

#include "doctree_test_util.h"

namespace borvane::testing {
namespace {

Ref<Attributes> Parse(const char* text) {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<Attributes> attrs = AddNode(*doc, "", "n")->Attributes();
  String t = text;
  attrs->FromAttributeString(t);
  return attrs;
}

std::string Reparse(const char* text) {
  return U8(Parse(text)->ToAttributeString());
}

TEST(AttributesTest, TextFormByValueType) {
  Ref<Attributes> attrs = Parse("");
  EXPECT_EQ(attrs->Count(), 0);
  EXPECT_EQ(U8(attrs->ToAttributeString()), "");
  String n = "a";
  Variant values[] = {
      int16_t{-3},     int32_t{2},      1.5f,    0.25,      "q\"uote", true, false, Variant(),
      Variant::Null(), Currency{10000}, Date{1}, uint8_t{7}};
  for (Variant& v : values) attrs->Add(n, v);
  String none;
  Variant missing = Variant::Missing();
  attrs->Add(none, missing);
  EXPECT_EQ(U8(attrs->ToAttributeString()),
            "a=-3 a=2 a=1.5 a=0.25 a=\"q\"uote\" a=TRUE a=FALSE a= a= a= a= a= =");
}

TEST(AttributesTest, ParsingKeepsItsQuirks) {
  EXPECT_EQ(Reparse("Version=2 Title=\"Main font\" Active=TRUE"),
            "Version=\"2\" Title=\"Main font\" Active=TRUE");
  EXPECT_EQ(Reparse("Active=True b=true c=abc d=\"\""), "Active= b= c= d=\"\"");
  EXPECT_EQ(Reparse("Note=\"a=b\" x  y"), "Note=\"a=b\" = = =");
  EXPECT_EQ(Reparse("v=\"a|_b\" w=\"c d\""), "v=\"a b\" w=\"c d\"");  // "|_" reads as a space
  EXPECT_EQ(Reparse("s='a b'"), "s= =");                              // single quotes do not quote
  EXPECT_EQ(Reparse("n=1,5 h=&H10 e= "), "n=\"1,5\" h=\"&H10\" e=");
  EXPECT_EQ(Reparse("odd=\"a b c=1"), "odd= = c=\"1\"");  // one quote: nothing is protected
  Ref<Attributes> same = Parse("k=1 k=2");
  EXPECT_EQ(same->Count(), 2);
  // The text argument comes back trimmed, with the spaces inside quotes marked.
  Ref<Attributes> attrs = Parse("x=1");
  String text = "  a=\"b c\" d=\"e f\"  ";
  attrs->FromAttributeString(text);
  EXPECT_EQ(U8(text), "a=\"b|_c\" d=\"e|_f\"");
  EXPECT_EQ(attrs->Count(), 2);  // what was there is gone
  // A value part of one quote fails with the platform's error, after the Add.
  String bad = "a=\"";
  EXPECT_EQ(Raised([&] { attrs->FromAttributeString(bad); }).Number(), 5);
  EXPECT_EQ(attrs->Count(), 1);
}

TEST(AttributesTest, FromAttributeTextReadsOnePieceInPlace) {
  Ref<AttributeObj> attr = Parse("keep=TRUE")->Item(Variant(int32_t{1}));
  String no_equals = "plain";
  attr->FromAttributeText(no_equals);
  EXPECT_EQ(U8(attr->Name()), "keep");
  String unreadable = "other=abc";
  attr->FromAttributeText(unreadable);
  EXPECT_EQ(U8(attr->Name()), "other");
  EXPECT_EQ(attr->Value(), Variant(true));  // the value is left as it was
}

TEST(AttributesTest, ListMembersAndTheirErrors) {
  Ref<Attributes> attrs = Parse("Version=2 b=TRUE");
  Variant by_name = "Version";
  EXPECT_EQ(Raised([&] { attrs->Item(by_name); }).Number(), 5);  // entries have no keys
  EXPECT_EQ(Raised([&] { attrs->Item(Variant(int32_t{3})); }).Number(), 9);
  Variant first = int32_t{1};
  attrs->Remove(first);
  EXPECT_EQ(U8(attrs->ToAttributeString()), "b=TRUE");
  String name = "o";
  Variant nothing = Variant::Nothing();
  EXPECT_TRUE(IsGuarded(Raised([&] { attrs->Add(name, nothing); }), "Attributes:Add Method"));
  attrs->Clear();
  EXPECT_EQ(attrs->Count(), 0);
  Ref<AttributeObj> a = Parse("x=1")->Item(Variant(int32_t{1}));
  a->SetName("with space");  // no test of any kind
  EXPECT_EQ(U8(a->ToAttributeText()), "with space=\"1\"");
}

TEST(AttributesTest, TheWrittenListFollowsAddRemoveAndClear) {
  Ref<Attributes> attrs = Parse("a=1 b=2 c=3 d=4 e=5");  // past the pairs held inline
  String name = "f";
  Variant six = 6.5;
  attrs->Add(name, six);
  // Indexes read by the collection's own rules: a text is a key, which no pair has.
  Variant by_double = 2.0, by_text = "3", third = int32_t{2};
  attrs->Remove(by_double);
  EXPECT_EQ(Raised([&] { attrs->Remove(by_text); }).Number(), 5);
  attrs->Remove(third);
  EXPECT_EQ(U8(attrs->ToAttributeString()), "a=\"1\" d=\"4\" e=\"5\" f=6.5");
  EXPECT_EQ(attrs->Count(), 4);
  Ref<AttributeObj> kept = attrs->Item(Variant(int32_t{2}));
  attrs->Clear();
  attrs->Add(name, six);
  EXPECT_EQ(U8(attrs->ToAttributeString()), "f=6.5");
  EXPECT_EQ(U8(kept->ToAttributeText()), "d=\"4\"");  // a pair let go stays usable
}

// The writer keeps each built list's text from Add on: every way a pair can change after that
// must show in the next writing, and a pair that outlives its list must not reach back to it.
TEST(AttributesTest, TheWrittenTextFollowsChangesToHeldPairs) {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<DocNode> node = AddNode(*doc, "", "n");
  Ref<Attributes> attrs = node->Attributes();
  auto add = [&](const char* name, Variant value) {
    String n = name;
    return attrs->Add(n, value);
  };
  auto tag = [&] {
    const std::string text = U8(Write(*doc));
    return text.substr(0, text.find('\n'));
  };
  Ref<AttributeObj> a = add("a", int32_t{1});
  Ref<AttributeObj> b = add("b", 0.5);
  for (int i = 0; i < 12; ++i) add("long_name", String("a value past the first block"));
  Ref<AttributeObj> last = add("z", true);
  const std::string tail(" long_name=\"a value past the first block\"");
  std::string middle;
  for (int i = 0; i < 12; ++i) middle += tail;
  EXPECT_EQ(tag(), "<n a=1 b=0.5" + middle + " z=TRUE>");
  a->SetValue(Variant(String("x y")));
  b->SetName("c");
  String piece = "z=FALSE";
  last->FromAttributeText(piece);
  EXPECT_EQ(tag(), "<n a=\"x y\" c=0.5" + middle + " z=FALSE>");
  // The decimal point the text was made with is the writing thread's no longer.
  const LocaleInfo us = ThreadLocale();
  LocaleInfo german = us;
  german.decimal = u',';
  SetThreadLocale(german);
  EXPECT_EQ(tag(), "<n a=\"x y\" c=0,5" + middle + " z=FALSE>");
  SetThreadLocale(us);
  Variant first = int32_t{1};
  attrs->Remove(first);
  a->SetValue(Variant(int32_t{7}));  // removed: no longer the list's
  EXPECT_EQ(tag(), "<n c=0.5" + middle + " z=FALSE>");
  attrs->Clear();
  EXPECT_EQ(tag(), "<n>");
  add("d", 2.25);
  EXPECT_EQ(tag(), "<n d=2.25>");
  // A pair held past its list, its node and its document.
  Ref<AttributeObj> held = attrs->Item(Variant(int32_t{1}));
  attrs = Ref<Attributes>();
  node = Ref<DocNode>();
  doc = MakeRef<Doc>();
  held->SetValue(Variant(int32_t{3}));
  EXPECT_EQ(U8(held->ToAttributeText()), "d=3");
}

}  // namespace
}  // namespace borvane::testing
