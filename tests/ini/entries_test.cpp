// The lists behind IniFileKeys and IniFileSections against the Collection they stand in for:
// the same index rules and errors, and the same course of an enumeration while entries go.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/test_support.h"

#include "borvane/automation/collection.h"
#include "borvane/automation/convert.h"
#include "borvane/automation/text.h"
#include "borvane/fonts/std_font.h"
#include "borvane/ini/ini_file_keys.h"

namespace borvane {
namespace {

using borvane::testing::ErrorOf;

// A name for each of `count` keys; "k3" and "K3" are one key.
String NameOf(int i) {
  return String("k" + std::to_string(i));
}

// The name of what an enumeration gave: a key of the list, or the String the Collection holds.
String NameIn(const Variant& item) {
  if (item.IsString()) return item.StringRef();
  return item.ToObject().As<IniFileKey>()->KeyName();
}

TEST(IniEntries, IndexesReadAndFailAsInACollection) {
  auto font = MakeRef<StdFont>();
  font->LetName("K2");                    // an object stands for its default value, here a key
  auto unnamed = MakeRef<IniFileKeys>();  // an object without a default value
  const Variant indexes[] = {
      Variant("k2"),
      Variant("K3"),
      Variant("zz"),
      Variant(""),
      Variant(int32_t{0}),
      Variant(int32_t{1}),
      Variant(int32_t{3}),
      Variant(int32_t{4}),
      Variant(int32_t{-1}),
      Variant(int16_t{2}),
      Variant(uint8_t{3}),
      Variant(1.5),
      Variant(2.5),
      Variant(3.6),
      Variant(1e10),
      Variant(true),
      Variant(false),
      Variant(Date{2.0}),
      Variant(Currency::FromRaw(20000)),
      Variant::Null(),
      Variant(),
      Variant::Missing(),
      Variant(Object(font)),
      Variant(Object(unnamed)),
      Variant(Object()),
  };
  for (size_t n = 0; n < std::size(indexes); ++n) {
    const Variant& index = indexes[n];
    std::string label = "index " + std::to_string(n) + ", " + TypeName(index).ToUtf8();
    auto collection = MakeRef<Collection>();
    auto keys = MakeRef<IniFileKeys>();
    for (int i = 1; i <= 3; ++i) {
      collection->Add(Variant(NameOf(i)), Variant(NameOf(i)));
      keys->Add(NameOf(i), "v");
    }
    // Item: the same entry, or the same error (an unknown key gives Nothing here).
    int32_t expected = ErrorOf([&] { collection->Item(index); });
    Variant copy = index;
    if (expected == 0) {
      EXPECT_EQ(keys->Item(copy)->KeyName(), collection->Item(index).StringRef()) << label;
    } else if (expected == kErrInvalidCall) {
      EXPECT_FALSE(keys->Item(copy)) << label;
    } else {
      EXPECT_EQ(ErrorOf([&] { keys->Item(copy); }), expected) << label;
    }
    // Remove: the same error, or the same entries left.
    EXPECT_EQ(ErrorOf([&] { keys->Remove(copy); }), ErrorOf([&] { collection->Remove(index); }))
        << label;
    ASSERT_EQ(keys->Count(), collection->Count()) << label;
    for (int32_t i = 1; i <= keys->Count(); ++i)
      EXPECT_EQ(keys->At(i).KeyName(), collection->At(i).StringRef()) << label;
  }
}

TEST(IniEntries, EnumerationsGoOnAsInACollectionWhileEntriesComeAndGo) {
  // Random adds at the end, removals by name and by position, and steps of three enumerations
  // started at random times, on a Collection and on IniFileKeys alike; both must give the same.
  std::mt19937 random(6);
  auto collection = MakeRef<Collection>();
  auto keys = MakeRef<IniFileKeys>();
  std::vector<Ref<Enumerator>> on_collection(3), on_keys(3);
  int next_name = 0, steps = 0;
  for (int step = 0; step < 20000; ++step) {
    int what = static_cast<int>(random() % 10);
    int32_t count = keys->Count();
    if (what < 3 || count == 0) {
      // Mostly new names; now and then a removed one again, in another case.
      int n =
          random() % 4 == 0 && next_name > 0 ? static_cast<int>(random() % next_name) : next_name++;
      String name = NameOf(n);
      Variant index(name);
      if (keys->Item(index)) continue;
      collection->Add(Variant(name), Variant(name));
      keys->Add(random() % 2 ? name : UCase(name), "v");
    } else if (what < 5) {
      Variant position(static_cast<int32_t>(random() % count) + 1);
      collection->Remove(position);
      keys->Remove(position);
    } else if (what < 6) {
      String name = keys->At(static_cast<int32_t>(random() % count) + 1).KeyName();
      Variant by_name(LCase(name));
      collection->Remove(by_name);
      keys->Remove(by_name);
    } else {
      size_t e = random() % 3;
      if (!on_keys[e] || random() % 8 == 0) {
        on_collection[e] = collection->NewEnum();
        on_keys[e] = keys->NewEnum();
      }
      Variant a, b;
      bool more = on_collection[e]->Next(a);
      ASSERT_EQ(on_keys[e]->Next(b), more) << "step " << step;
      if (more) {
        ASSERT_EQ(UCase(NameIn(b)).ToUtf8(), UCase(NameIn(a)).ToUtf8()) << "step " << step;
        ++steps;
      }
    }
  }
  EXPECT_GT(steps, 1000);
}

TEST(IniEntries, LongListsFindEveryNameAfterRemovals) {
  // Past a few entries the names are indexed; removals must leave the index right.
  auto keys = MakeRef<IniFileKeys>();
  for (int i = 0; i < 300; ++i) keys->Add(NameOf(i), String(std::to_string(i)));
  for (int i = 0; i < 300; i += 3) {
    Variant name(NameOf(i));
    keys->Remove(name);
  }
  Variant first(int32_t{1});
  keys->Remove(first);  // "k1", by position
  EXPECT_EQ(keys->Count(), 199);
  for (int i = 0; i < 300; ++i) {
    Variant name(UCase(NameOf(i)));
    Ref<IniFileKey> key = keys->Item(name);
    if (i % 3 == 0 || i == 1) {
      EXPECT_FALSE(key) << i;
    } else {
      ASSERT_TRUE(key) << i;
      EXPECT_EQ(key->KeyValue(), String(std::to_string(i)));
    }
  }
  // A removed name is free again and comes at the end.
  keys->Add("K1", "again");
  EXPECT_EQ(keys->At(keys->Count()).KeyName(), String("K1"));
}

}  // namespace
}  // namespace borvane
