// The worked example of the text form, written and read, and what a round trip keeps.
#include <gtest/gtest.h>

#include "borvane/automation/convert.h"
#include "doctree_test_util.h"

namespace borvane::testing {
namespace {

Ref<Doc> MakeExample() {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<DocNode> settings = AddNode(*doc, "", "Settings");
  AddAttribute(*settings, "Version", int32_t{2});
  AddAttribute(*settings, "Title", "Main font");
  AddAttribute(*settings, "Active", true);
  AddNode(*doc, settings->Key(), "Size", 12.5);
  AddNode(*doc, settings->Key(), "Face", "Arial \"Bold\"");
  Ref<DocNode> flags = AddNode(*doc, settings->Key(), "Flags");
  AddNode(*doc, flags->Key(), "Bold", true);
  return doc;
}

const char16_t kIndented[] =
    u"<Settings Version=2 Title=\"Main font\" Active=TRUE>\n"
    u"\t<Size>\n\t12.5\n\t</Size>\n"
    u"\t<Face>\n\t\"Arial {\\34}Bold{\\34}\"\n\t</Face>\n"
    u"\t<Flags>\n\t\t<Bold>\n\t\tTrue\n\t\t</Bold>\n\t</Flags>\n"
    u"</Settings>\n";

TEST(ExampleTest, ReadsBackAsFiveNodesWithTypedValues) {
  // The first writing, with tabs or without; the number attribute still bare.
  std::u16string flat(kIndented);
  std::erase(flat, u'\t');
  EXPECT_EQ(U8(Write(*MakeExample(), true)), U8(kIndented));
  EXPECT_EQ(U8(Write(*MakeExample(), false)), U8(String(flat)));
  for (bool indent : {true, false}) {
    Ref<Doc> doc = MakeRef<Doc>();
    Read(*doc, Write(*MakeExample(), indent));
    ASSERT_EQ(doc->Count(), 5);
    Ref<DocNode> settings = At(*doc, "N1");
    EXPECT_EQ(U8(settings->Name()), "Settings");
    EXPECT_TRUE(settings->Value().IsString());  // a node with children reads an empty String
    // A number comes back as text.
    EXPECT_EQ(U8(settings->Attributes()->ToAttributeString()),
              "Version=\"2\" Title=\"Main font\" Active=TRUE");
    EXPECT_EQ(settings->Attributes()->Item(Variant(int32_t{3}))->Value(), Variant(true));
    EXPECT_EQ(At(*doc, "N2")->Value(), Variant(12.5));
    EXPECT_EQ(At(*doc, "N3")->Value(), Variant("Arial \"Bold\""));
    EXPECT_EQ(At(*doc, "N4")->Value(), Variant(""));
    Ref<DocNode> bold = At(*doc, "N5");
    EXPECT_EQ(bold->Value(), Variant(true));
    EXPECT_EQ(U8(bold->Parent()->Name()), "Flags");
    EXPECT_EQ(U8(bold->Path()), "Settings//Flags//Bold");
    EXPECT_EQ(settings->Children(), 3);
    // The second writing quotes the number attribute; nothing else changes.
    std::u16string second(kIndented);
    second.replace(second.find(u"Version=2"), 9, u"Version=\"2\"");
    EXPECT_EQ(U8(Write(*doc, true)), U8(String(second)));
  }
}

TEST(ExampleTest, RoundTripFieldByField) {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<DocNode> top = AddNode(*doc, "", "Top");
  AddNode(*doc, "N1", "Text", "  two\tlines\n<&> {\\34} \"q\"");
  AddNode(*doc, "N1", "Count", int32_t{7});
  AddNode(*doc, "N1", "Missing");
  AddNode(*doc, "N1", "Empty", Variant());
  AddNode(*doc, "N1", "Null", Variant::Null());
  AddNode(*doc, "N1", "When", Date{36526.5});
  AddNode(*doc, "N1", "Flag", false);
  top->SetValue("lost");
  AddAttribute(*top, "s", "a b");
  AddAttribute(*top, "n", 3.5);
  AddAttribute(*top, "b", false);
  AddAttribute(*top, "o", Currency{1});

  Ref<Doc> back = MakeRef<Doc>();
  Read(*back, Write(*doc, true));
  ASSERT_EQ(back->Count(), 8);
  EXPECT_EQ(U8(At(*back, "N1")->Key()), "N1");
  EXPECT_EQ(At(*back, "N1")->Value(), Variant(""));  // a value beside children is lost
  EXPECT_EQ(At(*back, "N2")->Value(), Variant("  two\tlines\n<&> \" \"q\""));
  EXPECT_EQ(At(*back, "N3")->Value(), Variant(7.0));  // the type becomes Double
  for (const char* key : {"N4", "N5", "N6"})          // missing, Empty and Null: ""
    EXPECT_EQ(At(*back, key)->Value(), Variant("")) << key;
  Variant when = At(*back, "N7")->Value();
  ASSERT_TRUE(when.IsString());  // a date comes back as text without its spaces
  EXPECT_EQ(when.StringRef().view().find(u' '), std::u16string_view::npos);
  EXPECT_EQ(At(*back, "N8")->Value(), Variant(false));
  Ref<Attributes> read = At(*back, "N1")->Attributes();
  EXPECT_EQ(read->Item(Variant(int32_t{3}))->Value(), Variant(false));
  EXPECT_TRUE(read->Item(Variant(int32_t{4}))->Value().IsMissing());
  EXPECT_EQ(U8(read->ToAttributeString()), "s=\"a b\" n=\"3.5\" b=FALSE o=");
  // The missing value is now an empty String, written as "".
  EXPECT_NE(U8(Write(*back)).find("<Missing>\n\"\"\n</Missing>"), std::string::npos);
}

}  // namespace
}  // namespace borvane::testing
