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
  String expr = "Font";
  EXPECT_EQ(Keys(*doc->SelectNodes(expr)), "N2 N3 N4 N5 N6 ");
  expr = "Settings//Font";
  EXPECT_EQ(Keys(*doc->SelectNodes(expr)), "N2 N3 N4 ");
  expr = "font";
  EXPECT_EQ(doc->SelectNodes(expr)->Count(), 0);  // with case
  expr = "nt//Si";
  EXPECT_EQ(Keys(*doc->SelectNodes(expr)), "N3 ");  // may begin and end inside names
  expr = "";
  EXPECT_EQ(doc->SelectNodes(expr)->Count(), 7);
  expr = "nowhere";
  EXPECT_EQ(doc->SelectNodes(expr)->Count(), 0);
  // The separator is "//" for the search, whatever was set, and stays so.
  doc->SetPathSeparator("/");
  expr = "Font/Size";
  EXPECT_EQ(doc->SelectNodes(expr)->Count(), 0);
  EXPECT_EQ(U8(doc->PathSeparator()), "//");
  // Unlinked nodes match by their name; an empty name has an empty path.
  AddNode(*doc, "", "Fontless");
  AddNode(*doc, "", "");
  expr = "Font";
  EXPECT_EQ(Keys(*doc->SelectNodes(expr)), "N2 N3 N4 N5 N6 N8 ");
  expr = "";
  EXPECT_EQ(doc->SelectNodes(expr)->Count(), 8);
}

TEST(SelectTest, SelectionSharesTheNodes) {
  Ref<Doc> doc = Sample();
  String expr = "Font";
  Ref<Doc> sel = doc->SelectNodes(expr);
  EXPECT_EQ(At(*sel, "N2"), At(*doc, "N2"));
  EXPECT_EQ(U8(sel->CreateKey()), "N1");  // its own counter
  // Its WriteXML writes the first selected node's subtree through the shared links.
  EXPECT_EQ(U8(Write(*sel)), "<Font>\n<Size>\n1\n</Size>\n<Name>\n\"a\"\n</Name>\n</Font>\n");
  // Removing through the selection unlinks the shared tree; the source still lists the nodes.
  Variant key = "N2";
  sel->Remove(key);
  EXPECT_EQ(sel->Count(), 2);
  EXPECT_EQ(doc->Count(), 7);
  EXPECT_EQ(U8(At(*doc, "N1")->Child()->Name()), "MyFonts");
  // A descendant that the selection does not hold makes its removal fail at that key.
  Ref<Doc> only_top = MakeRef<Doc>();
  Ref<DocNode> my_fonts = At(*doc, "N5");
  only_top->AddExistingNode(my_fonts);
  Variant top = "N5";
  EXPECT_TRUE(IsGuarded(Raised([&] { only_top->Remove(top); }), "Doc:Remove Method"));
  EXPECT_EQ(only_top->Count(), 1);
  EXPECT_TRUE(my_fonts->Child().IsNothing());
}

TEST(SelectTest, SelectSingleNodeIgnoresCaseAndSearchesDepthFirst) {
  Ref<Doc> doc = Sample();
  Ref<DocNode> settings = At(*doc, "N1");
  bool deep = false;
  String name = "SETTINGS";
  EXPECT_EQ(settings->SelectSingleNode(name, deep), settings);
  name = "size";
  EXPECT_EQ(U8(settings->SelectSingleNode(name, deep)->Key()), "N7");  // direct children only
  deep = true;
  EXPECT_EQ(U8(settings->SelectSingleNode(name, deep)->Key()), "N3");  // earlier subtree first
  name = "x";
  EXPECT_EQ(U8(settings->SelectSingleNode(name, deep)->Key()), "N6");
  deep = false;
  EXPECT_TRUE(settings->SelectSingleNode(name, deep).IsNothing());
  // The node's own name wins over a child of the same name.
  Ref<Doc> twice = MakeRef<Doc>();
  Read(*twice, "<a><A></A><a></a></a>");
  name = "a";
  EXPECT_EQ(U8(At(*twice, "N2")->SelectSingleNode(name, deep)->Key()), "N2");
  EXPECT_EQ(U8(At(*twice, "N1")->SelectSingleNode(name, deep)->Key()), "N1");
}

}  // namespace
}  // namespace borvane::testing
