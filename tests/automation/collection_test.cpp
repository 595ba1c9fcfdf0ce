#include <gtest/gtest.h>

#include "tests/test_support.h"

#include "borvane/borvane.h"

namespace borvane {
namespace {

using borvane::testing::ErrorOf;

TEST(CollectionTest, KeysAreCaseBlindAndUnique) {
  auto c = MakeRef<Collection>();
  c->Add(Variant(int32_t{1}), Variant("Alpha"));
  c->Add(Variant(int32_t{2}), Variant("beta"));
  EXPECT_EQ(CLng(c->Item(Variant("ALPHA"))), 1);
  EXPECT_EQ(CLng(c->Item(Variant("Beta"))), 2);
  EXPECT_EQ(ErrorOf([&] { c->Add(Variant(int32_t{3}), Variant("alpha")); }), 457);
  EXPECT_EQ(c->Count(), 2);  // the failed add left nothing behind
  EXPECT_EQ(ErrorOf([&] { c->Item(Variant("gamma")); }), 5);
  EXPECT_EQ(ErrorOf([&] { c->Item(Variant(int32_t{0})); }), 9);
  EXPECT_EQ(ErrorOf([&] { c->Item(Variant(int32_t{3})); }), 9);
  EXPECT_EQ(ErrorOf([&] { c->Item(Variant::Null()); }), 13);
  EXPECT_EQ(ErrorOf([&] { c->Add(Variant(int32_t{3}), Variant(int32_t{9})); }), 13);
  // A position given as a Double rounds as the platform rounds (half to even).
  EXPECT_EQ(CLng(c->Item(Variant(1.5))), 2);
}

TEST(CollectionTest, BeforeAndAfterPlaceEntries) {
  auto c = MakeRef<Collection>();
  c->Add(Variant("b"), Variant("kb"));
  c->Add(Variant("a"), Variant::Missing(), Variant(int32_t{1}));
  c->Add(Variant("c"), Variant::Missing(), Variant::Missing(), Variant("KB"));
  c->Add(Variant("d"), Variant::Missing(), Variant::Missing(), Variant(int32_t{3}));
  std::u16string order;
  for (int32_t i = 1; i <= c->Count(); ++i) order += c->At(i).StringRef().str();
  EXPECT_EQ(order, u"abcd");
  EXPECT_EQ(ErrorOf([&] {
              c->Add(Variant("x"), Variant::Missing(), Variant(int32_t{1}), Variant(int32_t{1}));
            }),
            5);
  c->Remove(Variant("kB"));
  EXPECT_EQ(c->Count(), 3);
  EXPECT_FALSE(c->Exists("kb"));
  c->Add(Variant("again"), Variant("KB"));  // a removed key is free again
  EXPECT_EQ(c->Item(Variant("kb")).StringRef(), String("again"));
}

TEST(CollectionTest, EnumerationSurvivesRemovalOfEntries) {
  auto c = MakeRef<Collection>();
  for (int32_t i = 1; i <= 6; ++i) c->Add(Variant(i), Variant(CStr(Variant(i))));
  std::vector<int32_t> seen;
  ForEach(Object(c), [&](const Variant& v) {
    int32_t n = CLng(v);
    seen.push_back(n);
    if (n == 2) {
      c->Remove(Variant("2"));  // the entry being visited
      c->Remove(Variant("3"));  // and the next one
    }
    if (n == 4) c->Remove(Variant(int32_t{1}));  // one already passed
  });
  EXPECT_EQ(seen, (std::vector<int32_t>{1, 2, 4, 5, 6}));
  EXPECT_EQ(c->Count(), 3);
  // Removing everything during the walk ends it.
  seen.clear();
  ForEach(Object(c), [&](const Variant& v) {
    seen.push_back(CLng(v));
    while (c->Count()) c->Remove(Variant(int32_t{1}));
  });
  EXPECT_EQ(seen, (std::vector<int32_t>{4}));
}

TEST(CollectionTest, LongCollectionsAreFreedWithoutRecursion) {
  auto c = MakeRef<Collection>();
  for (int32_t i = 0; i < 300000; ++i) c->Add(Variant(i));
  c.Reset();  // must not overflow the stack
  SUCCEED();
}

}  // namespace
}  // namespace borvane
