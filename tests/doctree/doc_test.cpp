// Keys, links, removal and the guarded members of Doc and DocNode.
#include <gtest/gtest.h>

#include <thread>

#include "borvane/automation/dispatch.h"
#include "borvane/frame/global.h"
#include "doctree_test_util.h"

namespace borvane::testing {
namespace {

constexpr const char* kAdd = "Doc:Add Method";

TEST(DocTest, KeysAreGeneratedAndCollide) {
  Ref<Doc> doc = MakeRef<Doc>();
  String rel, key, name;
  enumRelationship how = enumRelationship(2);
  Variant value = Variant::Missing();
  Ref<DocNode> first = doc->Add(rel, how, key, name, value);
  EXPECT_EQ(U8(key), "N1");  // written back into the caller's Key
  EXPECT_TRUE(first->Value().IsMissing());
  Ref<DocNode> second = AddNode(*doc, "", "");
  EXPECT_EQ(U8(second->Key()), "N2");
  EXPECT_EQ(second->Root(), first);
  EXPECT_TRUE(second->Parent().IsNothing());
  // Keys compare without case; a caller's key can take a number the counter will reach.
  EXPECT_TRUE(IsGuarded(Raised([&] { AddNode(*doc, "", "x", 1.0, "n1"); }), kAdd));
  AddNode(*doc, "", "mine", Variant::Missing(), "N3");
  EXPECT_TRUE(IsGuarded(Raised([&] { AddNode(*doc, "", "x"); }), kAdd));
  EXPECT_EQ(U8(doc->CreateKey()), "N4");  // N3 was used up by the failed Add
  // A space in the name fails inside Add; the generated key stays used and written back.
  String spaced = "a b", k2;
  Variant v2 = 1.0;
  EXPECT_TRUE(IsGuarded(Raised([&] { doc->Add(rel, how, k2, spaced, v2); }), kAdd));
  EXPECT_EQ(U8(k2), "N5");
  EXPECT_EQ(doc->Count(), 3);
  for (int i = 0; i < 3; ++i) doc->Clear();  // the counter survives Clear
  EXPECT_EQ(doc->Count(), 0);
  EXPECT_EQ(U8(AddNode(*doc, "", "again")->Key()), "N6");
}

TEST(DocTest, KeysLookAlikeOnlyWhenEqualWithoutCase) {
  // Keys of the generated form are found by number; others, and numbers far ahead, by hash.
  Ref<Doc> doc = MakeRef<Doc>();
  for (int i = 0; i < 300; ++i) AddNode(*doc, "", "e");
  AddNode(*doc, "", "a", Variant::Missing(), "N05");
  AddNode(*doc, "", "c", Variant::Missing(), "N2000000000");
  AddNode(*doc, "", "d", Variant::Missing(), "N99999999999");
  EXPECT_TRUE(IsGuarded(Raised([&] { AddNode(*doc, "", "x", 1.0, "n5"); }), kAdd));
  EXPECT_TRUE(IsGuarded(Raised([&] { AddNode(*doc, "", "x", 1.0, "n2000000000"); }), kAdd));
  EXPECT_EQ(U8(At(*doc, "n05")->Name()), "a");
  EXPECT_EQ(U8(At(*doc, "n99999999999")->Name()), "d");
  for (int i = 1; i <= 200; ++i)
    if (i != 5) Remove(*doc, String("N" + std::to_string(i)));
  EXPECT_EQ(doc->Count(), 104);
  EXPECT_EQ(U8(At(*doc, int32_t{3})->Key()), "N202");
  EXPECT_EQ(U8(At(*doc, "N2000000000")->Name()), "c");
  EXPECT_EQ(U8(At(*doc, "n300")->Key()), "N300");
  EXPECT_EQ(U8(At(*doc, "n5")->Key()), "N5");
  EXPECT_EQ(ErrorOf([&] { At(*doc, "N200"); }), 5);
  AddNode(*doc, "", "f", Variant::Missing(), "N200");  // a removed key can be used again
  EXPECT_EQ(U8(At(*doc, int32_t{105})->Name()), "f");
}

TEST(DocTest, KeysOfAReadDocumentComeBackAfterRemoval) {
  // Nodes read into an empty Doc are found by the number of their key alone; a key removed
  // among them can be taken again, in any case, until it is removed once more.
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, "<a><b>1</b><c>2</c></a>");
  Remove(*doc, "N2");
  EXPECT_EQ(ErrorOf([&] { At(*doc, "N2"); }), 5);
  AddNode(*doc, "", "again", Variant::Missing(), "n2");
  EXPECT_EQ(U8(At(*doc, "N2")->Name()), "again");
  EXPECT_TRUE(IsGuarded(Raised([&] { AddNode(*doc, "", "x", 1.0, "N2"); }), kAdd));
  Remove(*doc, "N2");
  EXPECT_EQ(ErrorOf([&] { At(*doc, "n2"); }), 5);
  Read(*doc, "<d>3</d>", "N1");
  EXPECT_EQ(U8(At(*doc, "N4")->Path()), "a//d");
  EXPECT_EQ(doc->Count(), 3);
}

TEST(DocTest, LinksStepByStep) {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<DocNode> n1 = AddNode(*doc, "", "r"), n2 = AddNode(*doc, "N1", "a"),
               n3 = AddNode(*doc, "N1", "b"), n4 = AddNode(*doc, "N2", "c");
  EXPECT_EQ(n1->Child(), n2);
  EXPECT_EQ(n2->NextSibling(), n3);
  EXPECT_EQ(n3->PreviousSibling(), n2);
  EXPECT_EQ(n4->Parent(), n2);
  EXPECT_EQ(n4->Root(), n1);
  EXPECT_EQ(n1->Children(), 2);
  EXPECT_EQ(n2->LastSibling(), n3);
  EXPECT_EQ(n3->FirstSibling(), n2);
  EXPECT_EQ(n4->Level(), 2);
  // FirstSibling calls through an empty parent: platform error 91, not guarded.
  EXPECT_EQ(ErrorOf([&] { n1->FirstSibling(); }), 91);
  // With the default relationship the relative must exist, but no link is made.
  String rel = "N2", key, name = "loose";
  enumRelationship two = enumRelationship(2);
  Variant value = Variant::Missing();
  EXPECT_TRUE(doc->Add(rel, two, key, name, value)->Parent().IsNothing());
  EXPECT_EQ(n2->Children(), 1);
  // A missing relative fails after the node was added.
  EXPECT_TRUE(IsGuarded(Raised([&] { AddNode(*doc, "N99", "x"); }), kAdd));
  EXPECT_TRUE(At(*doc, "N6")->Parent().IsNothing());
  EXPECT_EQ(At(*doc, "N6")->Root(), n1);
  // The collection keeps the order of adding.
  std::vector<std::string> names;
  ForEach(Object(doc),
          [&](const Variant& v) { names.push_back(U8(v.ToObject().As<DocNode>()->Name())); });
  EXPECT_EQ(names, (std::vector<std::string>{"r", "a", "b", "c", "loose", "x"}));
}

TEST(DocTest, ItemAndNameFailuresPassThrough) {
  Ref<Doc> doc = MakeRef<Doc>();
  EXPECT_EQ(ErrorOf([&] { At(*doc, int32_t{1}); }), 9);
  Ref<DocNode> node = AddNode(*doc, "", "a");
  EXPECT_EQ(ErrorOf([&] { At(*doc, "nope"); }), 5);
  EXPECT_EQ(ErrorOf([&] { At(*doc, int32_t{2}); }), 9);
  EXPECT_EQ(At(*doc, "n1"), node);
  EXPECT_EQ(ErrorOf([&] { node->SetName("x y"); }), 102);
  EXPECT_EQ(U8(node->Name()), "a");
  node->SetName("tab\there");  // only the space is refused
  EXPECT_EQ(U8(node->Name()), "tab\there");
  // Removing what is not there changes nothing.
  EXPECT_TRUE(IsGuarded(Raised([&] { Remove(*doc, "N7"); }), "Doc:Remove Method"));
  EXPECT_EQ(doc->Count(), 1);
  EXPECT_TRUE(IsGuarded(Raised([&] { Write(*doc, false, "N9"); }), "Doc:WriteXML Method"));
  EXPECT_TRUE(IsGuarded(Raised([&] { Write(*MakeRef<Doc>()); }), "Doc:WriteXML Method"));
  // A value that cannot become text fails the guarded writer, and passes through WriteXMLNode.
  node->SetValue(Variant(Array::OfVariants({Variant(int32_t{1})})));
  EXPECT_TRUE(IsGuarded(Raised([&] { Write(*doc); }), "Doc:WriteXML Method"));
  String text = "kept";
  bool indent = false;
  EXPECT_EQ(ErrorOf([&] { node->WriteXMLNode(text, indent); }), 13);
  EXPECT_EQ(U8(text), "kept");
}

// A node keeps most values in place of a Variant: each kind must come back exactly, and a
// value replaced by another of a different kind must not leave the old one behind.
TEST(DocTest, ValuesOfEveryKindComeBackAsSet) {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<DocNode> node = AddNode(*doc, "", "v");
  const Variant kinds[] = {Variant(),
                           Variant::Null(),
                           Variant(int16_t{-2}),
                           Variant(int32_t{-70000}),
                           Variant(1.5f),
                           Variant(-0.25),
                           Variant(Currency::FromRaw(123456)),
                           Variant(Date{45000.5}),
                           Variant(ErrorValue{5}),
                           Variant::Missing(),
                           Variant(true),
                           Variant(uint8_t{200}),
                           Variant(String("a \"long\" text past the short form")),
                           Variant(String()),
                           Variant(String(static_cast<const char16_t*>(nullptr))),
                           Variant(Array::OfVariants({Variant(int32_t{1})}))};
  for (const Variant& kind : kinds) {
    node->SetValue(kind);
    EXPECT_TRUE(node->Value() == kind) << U8(TypeName(kind));
  }
  node->SetValue(Variant(int32_t{7}));
  EXPECT_EQ(U8(Write(*doc)), "<v>\n7\n</v>\n");
  node->SetValue(Variant::Null());  // a line with nothing on it
  EXPECT_EQ(U8(Write(*doc)), "<v>\n\n</v>\n");
  node->SetValue(Variant::Missing());  // no value line at all
  EXPECT_EQ(U8(Write(*doc)), "<v>\n</v>\n");
}

TEST(DocTest, RemovalTakesSubtreesInPostOrder) {
  Ref<Doc> doc = MakeRef<Doc>();
  AddNode(*doc, "", "top", Variant::Missing(), "T");
  Ref<DocNode> r = AddNode(*doc, "T", "r", Variant::Missing(), "R");
  Ref<DocNode> a = AddNode(*doc, "R", "a", Variant::Missing(), "A");
  AddNode(*doc, "A", "a1", Variant::Missing(), "A1");
  Ref<DocNode> b = AddNode(*doc, "R", "b", Variant::Missing(), "B");
  AddAttribute(*a, "k", 1.0);
  Ref<Attributes> attrs = a->Attributes();
  String keys;
  r->RemoveNode(keys);
  EXPECT_EQ(U8(keys), "A1,A,B,R");
  EXPECT_EQ(attrs->Count(), 0);  // emptied on the way
  // Free-standing now, with key, name and value kept.
  EXPECT_TRUE(a->Parent().IsNothing() && a->Child().IsNothing() && a->Root().IsNothing());
  EXPECT_TRUE(b->PreviousSibling().IsNothing());
  EXPECT_EQ(U8(a->Path()), "a");
  EXPECT_NE(a->Attributes(), attrs);
  EXPECT_EQ(doc->Count(), 5);  // the list is Doc.Remove's part
  String more = "x";
  a->RemoveNode(more);
  EXPECT_EQ(U8(more), "x,A");
}

TEST(DocTest, RemoveJoinsSiblingsAndDropsKeys) {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<DocNode> n1 = AddNode(*doc, "", "r"), n2 = AddNode(*doc, "N1", "a"),
               n3 = AddNode(*doc, "N1", "b"), n4 = AddNode(*doc, "N2", "c"),
               n5 = AddNode(*doc, "N1", "d");
  Remove(*doc, "N2");
  EXPECT_EQ(doc->Count(), 3);  // the subtree goes as a whole
  EXPECT_EQ(n1->Child(), n3);
  EXPECT_TRUE(n3->PreviousSibling().IsNothing());
  EXPECT_TRUE(n4->Parent().IsNothing());
  EXPECT_EQ(ErrorOf([&] { At(*doc, "N4"); }), 5);
  Remove(*doc, int32_t{2});  // by position: n3
  EXPECT_EQ(n1->Child(), n5);
  EXPECT_EQ(n1->Children(), 1);
  AddNode(*doc, "N1", "e");  // appends after a removal at the end of the list
  EXPECT_EQ(n5->NextSibling()->Name(), String("e"));
  Remove(*doc, "N6");
  Remove(*doc, "N5");
  EXPECT_TRUE(n1->Child().IsNothing());
  EXPECT_EQ(n1->Children(), 0);
  AddNode(*doc, "N1", "f");
  EXPECT_EQ(U8(n1->Child()->Name()), "f");
  // An enumeration under way survives the removal of entries.
  AddNode(*doc, "", "g");
  AddNode(*doc, "", "h");
  Ref<Enumerator> e = doc->NewEnum();
  Variant item;
  ASSERT_TRUE(e->Next(item));
  Remove(*doc, "N8");
  std::string rest;
  while (e->Next(item)) rest += U8(item.ToObject().As<DocNode>()->Name());
  EXPECT_EQ(rest, "fh");
}

TEST(DocTest, ClearRemovesOnlyTheFirstTree) {
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, "<a><b></b></a>");
  AddNode(*doc, "", "loose1");
  AddNode(*doc, "", "loose2");
  doc->Clear();
  EXPECT_EQ(doc->Count(), 2);
  EXPECT_EQ(U8(At(*doc, int32_t{1})->Name()), "loose1");
  // A key with a comma is unlinked, then fails to leave the list.
  Ref<Doc> comma = MakeRef<Doc>();
  AddNode(*comma, "", "p", Variant::Missing(), "a,b");
  AddNode(*comma, "a,b", "c");
  EXPECT_TRUE(IsGuarded(Raised([&] { comma->Clear(); }), "Doc:Remove Method"));
  EXPECT_EQ(comma->Count(), 1);  // the child's key, listed first, did go
  EXPECT_TRUE(At(*comma, "a,b")->Child().IsNothing());
}

TEST(DocTest, PathSeparatorIsSharedByTheThread) {
  Ref<Doc> one = MakeRef<Doc>();
  EXPECT_EQ(U8(one->PathSeparator()), "//");
  Read(*one, "<a><><b></b></a>");
  Ref<DocNode> b = At(*one, "N2");
  one->SetPathSeparator("/");
  EXPECT_EQ(U8(b->Path()), "a/b");
  {
    // Another Doc sees it; making a Doc sets it back.
    Ref<Doc> two = MakeRef<Doc>();
    EXPECT_EQ(U8(one->PathSeparator()), "//");
    two->SetPathSeparator("");
    EXPECT_EQ(U8(b->Path()), "ab");
  }
  one->SetPathSeparator("//");
  Ref<Doc> empty_top = MakeRef<Doc>();
  AddNode(*empty_top, "", "");
  EXPECT_EQ(U8(AddNode(*empty_top, "N1", "b")->Path()), "//b");
  EXPECT_EQ(U8(At(*empty_top, "N1")->Path()), "");
  // Each thread has its own.
  std::string other;
  one->SetPathSeparator("::");
  std::thread([&] { other = U8(gstrPathSeparator()); }).join();
  EXPECT_EQ(other, "//");
  one->SetPathSeparator("//");
}

}  // namespace
}  // namespace borvane::testing
