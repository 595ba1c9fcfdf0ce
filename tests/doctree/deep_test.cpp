// Very deep and wide trees, and what stays of nodes once their Doc has gone.
#include <gtest/gtest.h>

#include "doctree_test_util.h"

namespace borvane::testing {
namespace {

constexpr int kDepth = 1000000;

TEST(DeepTest, MillionLevelsReadWriteSelectAndRemove) {
  std::u16string text;
  for (int i = 0; i < kDepth; ++i) text += u"<a>";
  text += u"\"v\"";
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, String(std::move(text)));
  ASSERT_EQ(doc->Count(), kDepth);
  Ref<DocNode> deepest = At(*doc, kDepth);
  EXPECT_EQ(deepest->Level(), kDepth - 1);
  EXPECT_EQ(deepest->Value(), Variant("v"));
  String out = Write(*doc, false);
  EXPECT_EQ(out.size(), static_cast<size_t>(kDepth) * 9 + 4);  // "<a>\n", "</a>\n", value
  // The same text from the node, which sizes a long text by a walk rather than by the Doc's
  // count (whose estimate falls short here: the closing tags all come last).
  String from_node;
  bool no_indent = false;
  At(*doc, int32_t{1})->WriteXMLNode(from_node, no_indent);
  EXPECT_EQ(from_node, out);
  EXPECT_EQ(Select(*doc, "a//a")->Count(), kDepth - 1);
  EXPECT_TRUE(Single(*At(*doc, int32_t{1}), "b", true).IsNothing());
  Remove(*doc, kDepth / 2);
  EXPECT_EQ(doc->Count(), kDepth / 2 - 1);
  EXPECT_TRUE(deepest->Parent().IsNothing());
  doc->Clear();
  EXPECT_EQ(doc->Count(), 0);
}

TEST(DeepTest, AnIndentedTextComesOutInPiecesAsWhole) {
  // Indented, a chain's text grows with its depth squared: the pieces are that text, a bounded
  // piece at a time.
  std::u16string text;
  for (int i = 0; i < 2000; ++i) text += u"<a>";
  text += u"1.5";
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, String(std::move(text)));
  std::u16string pieces;
  size_t largest = 0;
  doc->WriteXMLTo(
      [&](std::u16string_view piece) {
        pieces += piece;
        largest = std::max(largest, piece.size());
      },
      true);
  EXPECT_EQ(String(pieces), Write(*doc, true));
  EXPECT_GT(pieces.size(), size_t{4'000'000});
  EXPECT_LE(largest, size_t{64 * 1024 + 64});
}

TEST(DeepTest, ReleasedDocFreesItsTreeButHeldNodesStayUsable) {
  int64_t before = LiveObjectCount();
  Ref<DocNode> held_top, held_mid;
  {
    std::u16string text;
    for (int i = 0; i < kDepth; ++i) text += u"<a>";
    Ref<Doc> doc = MakeRef<Doc>();
    Read(*doc, String(std::move(text)));
    held_mid = At(*doc, 10);
    Read(*doc, "<top><x><y></y></x><z></z></top>");
    held_top = At(*doc, "N1000001");
  }
  // The node a caller holds keeps its subtree; what no one holds went with the Doc.
  EXPECT_TRUE(held_mid->Parent().IsNothing());
  EXPECT_TRUE(held_mid->Root().IsNothing());
  EXPECT_EQ(held_mid->Child()->Child()->Level(), 2);
  EXPECT_EQ(held_top->Children(), 2);
  EXPECT_EQ(U8(held_top->Child()->Child()->Path()), "top//x//y");
  bool indent = true;
  String text;
  held_top->WriteXMLNode(text, indent);
  EXPECT_EQ(U8(text),
            "<top>\n\t<x>\n\t\t<y>\n\t\t\"\"\n\t\t</y>\n\t</x>\n\t<z>\n\t\"\"\n\t</z>\n</top>\n");
  held_mid.Reset();
  held_top.Reset();
  EXPECT_EQ(LiveObjectCount(), before);
}

TEST(DeepTest, HeldSiblingOutlivesItsParentWithTheSiblingsBehindIt) {
  int64_t before = LiveObjectCount();
  Ref<DocNode> held;
  {
    Ref<Doc> doc = MakeRef<Doc>();
    Read(*doc, "<r><a></a><b><b1></b1></b><c><c1></c1></c><d></d></r>");
    held = At(*doc, "N3");  // b, behind a, which goes with the Doc
  }
  // b keeps c and d, which it links to; none of them names the parent that went.
  EXPECT_TRUE(held->Parent().IsNothing());
  EXPECT_TRUE(held->PreviousSibling().IsNothing());
  Ref<DocNode> c = held->NextSibling();
  EXPECT_EQ(U8(c->Name()), "c");
  EXPECT_TRUE(c->Parent().IsNothing());
  EXPECT_EQ(c->PreviousSibling(), held);
  EXPECT_TRUE(c->NextSibling()->Parent().IsNothing());
  EXPECT_EQ(held->Child()->Parent(), held);
  EXPECT_EQ(U8(c->Child()->Path()), "c//c1");
  EXPECT_EQ(c->Child()->Level(), 1);
  c.Reset();
  held.Reset();
  EXPECT_EQ(LiveObjectCount(), before);
}

TEST(DeepTest, ManyChildrenAddInConstantTime) {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<DocNode> root = AddNode(*doc, "", "r");
  for (int i = 0; i < 200000; ++i) AddNode(*doc, "N1", "c");
  EXPECT_EQ(root->Children(), 200000);
  EXPECT_EQ(root->Child()->LastSibling(), At(*doc, doc->Count()));
  Remove(*doc, doc->Count());
  AddNode(*doc, "N1", "after");
  EXPECT_EQ(U8(root->Child()->LastSibling()->Name()), "after");
  EXPECT_EQ(root->Children(), 200000);
  // A text long enough to be sized from the Doc's count part way reads the same as the node's
  // own, which is collected whole first.
  String from_node;
  bool indent = true;
  root->WriteXMLNode(from_node, indent);
  EXPECT_EQ(Write(*doc, true), from_node);
}

TEST(DeepTest, SameKeyUnderASharedParentIsSafe) {
  // A selection has its own key counter, so a node it adds below a shared node can carry the
  // key of the parent's first child. Removing it moves the parent's Child by key.
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, "<p><a></a><b></b></p>");  // p N1, a N2, b N3
  Ref<DocNode> p = At(*doc, "N1");
  Ref<Doc> sel = MakeRef<Doc>();
  sel->AddExistingNode(p);
  sel->CreateKey();
  String rel = "N1", key, name = "c";
  enumRelationship how = iagChild;
  Variant value = Variant::Missing();
  Ref<DocNode> c = sel->Add(rel, how, key, name, value);  // key "N2", like a
  EXPECT_EQ(U8(c->Key()), "N2");
  EXPECT_EQ(p->Children(), 3);
  Ref<DocNode> a = At(*doc, "N2");
  Remove(*sel, "N2");
  EXPECT_TRUE(p->Child().IsNothing());  // Child moved to c's next sibling: nothing
  EXPECT_EQ(a->Parent(), p);
  EXPECT_EQ(U8(a->NextSibling()->Name()), "b");
  sel.Reset();
  p.Reset();
  doc.Reset();
  // a still names its parent, which stays alive for it.
  EXPECT_EQ(U8(a->Parent()->Name()), "p");
  EXPECT_EQ(Single(*a->NextSibling(), "B", false)->Key(), String("N3"));
}

}  // namespace
}  // namespace borvane::testing
