// Where the nodes of a document live: slabs that go back to the heap with the tree, and keys
// held as numbers that still read and compare as their text.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "borvane/automation/slab_pool.h"
#include "borvane/doctree/node_name.h"
#include "doctree_test_util.h"

namespace borvane::testing {
namespace {

String BigText(int nodes) {
  std::string text = "<root>";
  for (int i = 0; i < nodes; ++i) text += "<n a=\"x y\">" + std::to_string(i) + "</n>";
  return String(text + "</root>");
}

TEST(DocMemoryTest, ReleasedTreesGiveTheirSlabsBack) {
  if (PoolSlabCount() < 0) GTEST_SKIP() << "objects are plain heap blocks in this build";
  // Warm up: the thread's current slabs stay with it, one for each size of object, so the
  // attributes read are made too (they are made when first asked for).
  {
    Ref<Doc> doc = MakeRef<Doc>();
    Read(*doc, BigText(10));
    EXPECT_EQ(At(*doc, "N2")->Attributes()->Count(), 1);
  }
  const long before = PoolSlabCount();
  Ref<DocNode> kept;
  {
    Ref<Doc> doc = MakeRef<Doc>();
    Read(*doc, BigText(20000));
    EXPECT_GT(PoolSlabCount(), before + 50);
    kept = At(*doc, "N20001");  // the last child: it holds no siblings behind it
  }
  // The held node keeps its slab, and those of its attributes, and no others; the thread keeps
  // some of the others for its next objects, within its bound.
  EXPECT_LE(PoolSlabCount(), before + 3);
  const long cached = PoolCachedSlabCount();
  EXPECT_GT(cached, 0);
  EXPECT_LE(cached, static_cast<long>(kMaxCachedSlabs));
  EXPECT_EQ(U8(kept->Key()), "N20001");
  EXPECT_EQ(U8(kept->Name()), "n");
  EXPECT_EQ(U8(kept->Attributes()->Item(Variant(int32_t{1}))->Value().StringRef()), "x y");
  EXPECT_TRUE(kept->Parent().IsNothing());
  kept.Reset();
  EXPECT_LE(PoolSlabCount(), before + 1);

  // A thread's slabs go back when the thread ends, also those of a tree it freed and those it
  // kept; a tree read again takes the kept ones first.
  std::thread([cached] {
    Read(*MakeRef<Doc>(), BigText(5000));
    const long kept_here = PoolCachedSlabCount();
    Read(*MakeRef<Doc>(), BigText(5000));
    EXPECT_EQ(PoolCachedSlabCount(), kept_here);
    // A tree of more slabs than the bound leaves the thread no more than the bound.
    Read(*MakeRef<Doc>(), BigText(240000));
    EXPECT_EQ(PoolCachedSlabCount() - cached, static_cast<long>(kMaxCachedSlabs));
  }).join();
  EXPECT_LE(PoolSlabCount(), before + 1);
  EXPECT_EQ(PoolCachedSlabCount(), cached);
}

// The writer's walk finds the next nodes at fixed distances: nodes added one by one stand side
// by side, though their attributes and texts, some of a node's own size, are made between them.
TEST(DocMemoryTest, NodesAddedStandTogetherBesideWhatTheyHold) {
  if (PoolSlabCount() < 0) GTEST_SKIP() << "objects are plain heap blocks in this build";
  Ref<Doc> doc = MakeRef<Doc>();
  AddNode(*doc, "", "r", Variant::Missing(), "R");
  std::vector<const char*> nodes;
  for (int i = 0; i < 60; ++i) {
    Ref<DocNode> n = AddNode(*doc, "R", "item", Variant(String(std::u16string(i, u'x'))));
    AddAttribute(*n, "k", Variant(String("a b")));
    nodes.push_back(reinterpret_cast<const char*>(n.Get()));
  }
  int apart = 0;  // a new slab, at most once
  for (size_t i = 1; i < nodes.size(); ++i) apart += nodes[i] - nodes[i - 1] != sizeof(DocNode);
  EXPECT_LE(apart, 1);
}

TEST(DocMemoryTest, KeysOfTheGeneratedFormReadAsTheirText) {
  Ref<Doc> doc = MakeRef<Doc>();
  // Only "N", then digits without a leading zero, is the generated form; others keep their text.
  const char* keys[] = {"N4294967295", "N4294967296", "N0", "N007", "n8", "N", "N12a", "K1"};
  for (const char* key : keys) AddNode(*doc, "", "x", Variant::Missing(), key);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(U8(At(*doc, int32_t{i + 1})->Key()), keys[i]);
  EXPECT_EQ(U8(At(*doc, "n4294967295")->Key()), "N4294967295");
  EXPECT_EQ(U8(At(*doc, "N8")->Key()), "n8");
  // The removal's key list carries each key's own text.
  Ref<DocNode> top = AddNode(*doc, "", "top", Variant::Missing(), "N9");
  AddNode(*doc, "N9", "a", Variant::Missing(), "n10");
  AddNode(*doc, "N9", "b", Variant::Missing(), "N0011");
  String list;
  top->RemoveNode(list);
  EXPECT_EQ(U8(list), "n10,N0011,N9");
}

TEST(DocMemoryTest, NamesReadTogetherStayApart) {
  Ref<Doc> doc = MakeRef<Doc>();
  Read(*doc, "<a><b></b><b></b><b></b></a>");
  At(*doc, "N3")->SetName("c");
  EXPECT_EQ(U8(Write(*doc)), "<a>\n<b>\n\"\"\n</b>\n<c>\n\"\"\n</c>\n<b>\n\"\"\n</b>\n</a>\n");
  // A null name stays null, and the empty name is not null.
  Ref<DocNode> unnamed = AddNode(*doc, "", String::Null());
  EXPECT_TRUE(unnamed->Name().IsNull());
  unnamed->SetName("");
  EXPECT_FALSE(unnamed->Name().IsNull());
}

// The reader's recent names give nodes named alike one text, however many names a document has
// and in whatever order they come: names that hash alike, or next to each other, must not keep
// taking each other's place, nor names that differ in one digit.
TEST(DocMemoryTest, RecentNamesKeepEachOfFortyNames) {
  RecentNames names;
  std::vector<std::u16string> texts;
  for (int i = 0; i < 40; ++i) texts.push_back(u"item" + String(std::to_string(i)).str());
  std::vector<const char16_t*> first;
  for (const std::u16string& text : texts) first.push_back(names.Share(text).view().data());
  for (int round = 0; round < 2; ++round)
    for (size_t i = 0; i < texts.size(); ++i) {
      const NodeName& shared = names.Share(texts[i]);
      EXPECT_EQ(shared.view(), texts[i]);
      EXPECT_EQ(shared.view().data(), first[i]) << i;
    }
}

}  // namespace
}  // namespace borvane::testing
