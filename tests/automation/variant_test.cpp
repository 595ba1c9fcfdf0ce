#include "borvane/automation/variant.h"

#include <gtest/gtest.h>

#include "tests/test_support.h"

#include <cmath>

#include "borvane/automation/error.h"

namespace borvane {
namespace {

using borvane::testing::ErrorOf;

TEST(Variant, TypeNumbersOfArraysAndMarkers) {
  // The numbers a caller cannot guess from the type's name: arrays carry the array flag, the
  // missing-argument marker is an error value, Nothing is an object.
  EXPECT_EQ(Variant(Array(vbString, {{0, 2}})).VarType(), 8200);
  EXPECT_EQ(Variant(Array::OfVariants({})).VarType(), 8204);
  EXPECT_EQ(Variant::Missing().VarType(), 10);
  EXPECT_EQ(Variant::Nothing().VarType(), 9);
  EXPECT_EQ(Variant(uint8_t{1}).VarType(), 17);

  EXPECT_TRUE(Variant(uint8_t{1}).IsNumber());
  EXPECT_TRUE(Variant(Currency{}).IsNumber());
  EXPECT_FALSE(Variant(true).IsNumber());
  EXPECT_FALSE(Variant(Date{}).IsNumber());
  EXPECT_FALSE(Variant("1").IsNumber());
  EXPECT_TRUE(Variant::Missing().IsMissing());
  EXPECT_FALSE(Variant(ErrorValue{5}).IsMissing());
  EXPECT_TRUE(Variant("x").ToObject().IsNothing());
  EXPECT_EQ(ErrorOf([] { Variant(1).ToArray(); }), 13);
}

TEST(Variant, EqualityIsExactSameness) {
  EXPECT_EQ(Variant(1), Variant(1));
  EXPECT_NE(Variant(int16_t{1}), Variant(1));
  EXPECT_NE(Variant(1.0), Variant(1.0f));
  EXPECT_NE(Variant(String::Null()), Variant(String()));
  EXPECT_EQ(Variant(String::Null()), Variant(String::Null()));
  EXPECT_NE(Variant(), Variant::Null());
  EXPECT_NE(Variant(false), Variant(0));
  EXPECT_EQ(Variant::Nothing(), Variant::Nothing());
  EXPECT_EQ(Variant(Array::OfVariants({1, "a"})), Variant(Array::OfVariants({1, "a"})));
  EXPECT_NE(Variant(Array::OfVariants({1, "a"})), Variant(Array::OfVariants({1, "a"}, 1)));
}

TEST(Variant, CopiesOfArraysAreDeep) {
  Variant inner(Array::OfVariants({1, 2}));
  Variant outer(Array::OfVariants({inner, "x"}));
  Variant copy = outer;
  copy.MutableArray()[0].MutableArray()[1] = 99;
  copy.MutableArray()[1] = "y";
  EXPECT_EQ(outer.ToArray()[0].ToArray()[1], Variant(2));
  EXPECT_EQ(outer.ToArray()[1], Variant("x"));

  Variant assigned;
  assigned = outer;
  assigned = assigned;  // self-assignment keeps the value
  EXPECT_EQ(assigned, outer);
  Variant moved = std::move(assigned);
  EXPECT_EQ(moved, outer);
}

TEST(Array, BoundsAndSubscripts) {
  Array a(vbLong, {{1, 3}, {-1, 0}});
  EXPECT_EQ(a.Dimensions(), 2);
  EXPECT_EQ(a.LBound(), 1);
  EXPECT_EQ(a.UBound(1), 3);
  EXPECT_EQ(a.LBound(2), -1);
  EXPECT_EQ(a.UBound(2), 0);
  EXPECT_EQ(a.ElementCount(), 6);
  EXPECT_EQ(a.At({2, 0}), Variant(0));  // elements start as the type's zero
  EXPECT_EQ(ErrorOf([&] { a.LBound(0); }), 9);
  EXPECT_EQ(ErrorOf([&] { a.UBound(3); }), 9);
  EXPECT_EQ(ErrorOf([&] { a.At({0, 0}); }), 9);
  EXPECT_EQ(ErrorOf([&] { a.At({4, 0}); }), 9);
  EXPECT_EQ(ErrorOf([&] { a.At({1, 1}); }), 9);
  EXPECT_EQ(ErrorOf([&] { a.At({1}); }), 9);

  // The first dimension varies fastest.
  a.Set({2, -1}, 21);
  a.Set({1, 0}, 10);
  EXPECT_EQ(a.Items()[1], Variant(21));
  EXPECT_EQ(a.Items()[3], Variant(10));

  EXPECT_EQ(Array(vbString, {{0, -1}}).ElementCount(), 0);  // empty, not an error
  EXPECT_EQ(ErrorOf([] { Array(vbString, {{0, -2}}); }), 9);
  EXPECT_EQ(Array(vbString, {{0, 0}})[0], Variant(String()));
  EXPECT_EQ(Array(vbObject, {{0, 0}})[0], Variant::Nothing());
  Array v = Array::OfVariants({"a", "b"}, 1);
  EXPECT_EQ(v.LBound(), 1);
  EXPECT_EQ(v.UBound(), 2);
  EXPECT_EQ(v[2], Variant("b"));
}

TEST(Array, SetConvertsToTheElementType) {
  Array longs(vbLong, {{0, 1}});
  longs.Set({0}, "12");
  EXPECT_EQ(longs[0], Variant(12));
  longs.Set({1}, 2.5);
  EXPECT_EQ(longs[1], Variant(2));
  EXPECT_EQ(ErrorOf([&] { longs.Set({0}, "x"); }), 13);
  EXPECT_EQ(ErrorOf([&] { longs.Set({0}, Variant::Null()); }), 94);

  Array texts(vbString, {{0, 0}});
  texts.Set({0}, 1.5);
  EXPECT_EQ(texts[0], Variant("1.5"));

  Array variants = Array::OfVariants({Variant()});
  variants.Set({0}, int16_t{7});
  EXPECT_EQ(variants[0].VarType(), vbInteger);
}

TEST(Array, RedimPreserveGrowsTheLastDimension) {
  Array a(vbLong, {{0, 1}, {0, 1}});
  a.Set({0, 0}, 1);
  a.Set({1, 0}, 2);
  a.Set({0, 1}, 3);
  a.Set({1, 1}, 4);
  a.RedimPreserve(2);
  EXPECT_EQ(a.UBound(2), 2);
  EXPECT_EQ(a.ElementCount(), 6);
  EXPECT_EQ(a.At({1, 0}), Variant(2));
  EXPECT_EQ(a.At({0, 1}), Variant(3));
  EXPECT_EQ(a.At({1, 2}), Variant(0));
  a.RedimPreserve(0);
  EXPECT_EQ(a.ElementCount(), 2);
  EXPECT_EQ(a.At({1, 0}), Variant(2));
  a.RedimPreserve(-1);
  EXPECT_EQ(a.ElementCount(), 0);
  EXPECT_EQ(ErrorOf([&] { a.RedimPreserve(-2); }), 9);

  Array none;
  EXPECT_EQ(ErrorOf([&] { none.RedimPreserve(3); }), 9);
}

TEST(CurrencyValue, FromDoubleRoundsHalfToEvenAndChecksRange) {
  EXPECT_EQ(Currency::FromDouble(1.5).raw, 15000);
  EXPECT_EQ(Currency::FromDouble(0.00005).raw, 0);
  EXPECT_EQ(Currency::FromDouble(-0.00025).raw, -2);
  EXPECT_EQ(Currency::FromDouble(123456789.0).raw, 1234567890000);
  EXPECT_EQ(Currency::FromDouble(-922337203685477.5).raw, -9223372036854774784);
  EXPECT_EQ(ErrorOf([] { Currency::FromDouble(922337203685477.6); }), 6);
  EXPECT_EQ(ErrorOf([] { Currency::FromDouble(1e15); }), 6);
  EXPECT_EQ(ErrorOf([] { Currency::FromDouble(std::nan("")); }), 6);
}

}  // namespace
}  // namespace borvane
