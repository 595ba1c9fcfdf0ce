// SelectNodes by path text and SelectSingleNode by name.
#include <gtest/gtest.h>

#include "doctree_test_util.h"

namespace borvane::testing {
namespace {

Ref<Doc> Sample() {
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc,
       "<Settings><Font><Size>1</Size><Name>\"a\"</Name></Font><MyFonts><x></x></MyFonts>"
       "<size>2</size></Settings>");
  return doc;
}

std::string Keys(Doc& doc) {
  std::string keys;
  for (int32_t i = 1; i <= doc.Count(); ++i) keys += U8(At(doc, i)->Key()) + " ";
  return keys;
}

TEST(SelectTest, SelectNodesMatchesPathTextExactly) {
  Ref<Doc> doc = Sample();
  EXPECT_EQ(Keys(*Select(*doc, "Font")), "N2 N3 N4 N5 N6 ");
  EXPECT_EQ(Keys(*Select(*doc, "Settings//Font")), "N2 N3 N4 ");
  EXPECT_EQ(Select(*doc, "font")->Count(), 0);      // with case
  EXPECT_EQ(Keys(*Select(*doc, "nt//Si")), "N3 ");  // may begin and end inside names
  EXPECT_EQ(Select(*doc, "")->Count(), 7);
  // The separator is "//" for the search, whatever was set, and stays so.
  doc->SetPathSeparator("/");
  EXPECT_EQ(Select(*doc, "Font/Size")->Count(), 0);
  EXPECT_EQ(U8(doc->PathSeparator()), "//");
  // Unlinked nodes match by their name; an empty name has an empty path.
  AddNode(*doc, "", "Fontless");
  AddNode(*doc, "", "");
  EXPECT_EQ(Keys(*Select(*doc, "Font")), "N2 N3 N4 N5 N6 N8 ");
  EXPECT_EQ(Select(*doc, "")->Count(), 8);
}

TEST(SelectTest, SelectionSharesTheNodes) {
  Ref<Doc> doc = Sample();
  Ref<Doc> sel = Select(*doc, "Font");
  EXPECT_EQ(At(*sel, "N2"), At(*doc, "N2"));
  EXPECT_EQ(U8(sel->CreateKey()), "N1");  // its own counter
  // Its WriteXML writes the first selected node's subtree through the shared links.
  EXPECT_EQ(U8(Write(*sel)), "<Font>\n<Size>\n1\n</Size>\n<Name>\n\"a\"\n</Name>\n</Font>\n");
  // Removing through the selection unlinks the shared tree; the source still lists the nodes.
  Remove(*sel, "N2");
  EXPECT_EQ(sel->Count(), 2);
  EXPECT_EQ(doc->Count(), 7);
  EXPECT_EQ(U8(At(*doc, "N1")->Child()->Name()), "MyFonts");
  // A descendant that the selection does not hold makes its removal fail at that key.
  Ref<Doc> only_top = MakeRef<Doc>();
  Ref<DocNode> my_fonts = At(*doc, "N5");
  only_top->AddExistingNode(my_fonts);
  EXPECT_TRUE(IsGuarded(Raised([&] { Remove(*only_top, "N5"); }), "Doc:Remove Method"));
  EXPECT_EQ(only_top->Count(), 1);
  EXPECT_TRUE(my_fonts->Child().IsNothing());
}

TEST(SelectTest, SelectSingleNodeIgnoresCaseAndSearchesDepthFirst) {
  Ref<Doc> doc = Sample();
  Ref<DocNode> settings = At(*doc, "N1");
  EXPECT_EQ(Single(*settings, "SETTINGS", false), settings);
  EXPECT_EQ(U8(Single(*settings, "size", false)->Key()), "N7");  // direct children only
  EXPECT_EQ(U8(Single(*settings, "size", true)->Key()), "N3");   // earlier subtree first
  EXPECT_EQ(U8(Single(*settings, "x", true)->Key()), "N6");
  EXPECT_TRUE(Single(*settings, "x", false).IsNothing());
  // The node's own name wins over a child of the same name.
  Ref<Doc> twice = MakeRef<Doc>();
  Read(*twice, "<a><A></A><a></a></a>");
  EXPECT_EQ(U8(Single(*At(*twice, "N2"), "a", false)->Key()), "N2");
  EXPECT_EQ(U8(Single(*At(*twice, "N1"), "a", false)->Key()), "N1");
}

}  // namespace
}  // namespace borvane::testing
