#include <gtest/gtest.h>

#include "borvane/borvane.h"
#include "borvane/frame/string_builder.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using testing::CaughtError;

TEST(StringBuilderTest, CapacityGrowsInSteps) {
  auto b = MakeRef<CStringBuilder>();
  EXPECT_EQ(b->Length(), 0);
  EXPECT_EQ(b->Capacity(), 2048);
  EXPECT_EQ(b->BufferBump(), 2048);
  b->SetBufferBump(7);
  EXPECT_EQ(b->BufferBump(), 8);
  b->SetBufferBump(0);
  b->SetBufferBump(-4);
  EXPECT_EQ(b->BufferBump(), 8);
  b->SetBufferBump(2048);
  b->SetCapacity(1);
  EXPECT_EQ(b->Capacity(), 2048);
  b->SetCapacity(2049);
  EXPECT_EQ(b->Capacity(), 4096);
  b->SetBufferBump(16);
  b->SetCapacity(20);
  EXPECT_EQ(b->Capacity(), 32);
  EXPECT_EQ(b->EnsureCapacity(0), 32);
  String text = String::Repeat(u'x', 20);
  b->Append(text);  // 40 bytes: one more step
  EXPECT_EQ(b->Capacity(), 48);
}

TEST(StringBuilderTest, CapacityBelowTheTextCutsIt) {
  auto b = MakeRef<CStringBuilder>();
  b->SetBufferBump(1024);
  String text = String::Repeat(u'a', 1500);
  b->Append(text);
  b->SetCapacity(2000);
  EXPECT_EQ(b->Capacity(), 2048);
  EXPECT_EQ(b->Length(), 1024);
}

TEST(StringBuilderTest, LengthCutsAndRevealsOldText) {
  auto b = MakeRef<CStringBuilder>();
  String text = "abcde";
  b->Append(text);
  b->SetLength(3);
  EXPECT_EQ(b->ToString(), String("abc"));
  b->SetLength(5);
  EXPECT_EQ(b->ToString(), String("abcde"));
  b->SetLength(-1);
  EXPECT_EQ(b->Length(), 5);
  b->SetLength(7);  // never-used space reads as zero code units
  EXPECT_EQ(b->ToString().str(), std::u16string(u"abcde\0\0", 7));
}

TEST(StringBuilderTest, InsertRemoveAndCharsBoundaries) {
  auto b = MakeRef<CStringBuilder>();
  String empty, abc = "abc", xy = "xy", z = "Z";
  EXPECT_EQ(b->Append(empty).Get(), b.Get());
  EXPECT_EQ(b->Length(), 0);
  EXPECT_EQ(CaughtError([&] { b->Chars(0); }).Description(),
            String("Tried reading character past end of buffer."));
  b->Append(abc);
  b->Insert(3, xy);  // at Length works like Append
  b->Insert(0, z);
  EXPECT_EQ(b->ToString(), String("Zabcxy"));
  // A bad position fails even for empty text.
  EXPECT_TRUE(testing::IsError(CaughtError([&] { b->Insert(7, empty); }), kStringBuilderError,
                               "CStringBuilder.Insert", "Argument(s) out of range."));
  b->Remove(0, 1);
  b->Remove(2, 0);
  b->Remove(3, 2);  // to the exact end
  EXPECT_EQ(b->ToString(), String("abc"));
  EXPECT_EQ(CaughtError([&] { b->Remove(2, 2); }).Source(), String("CStringBuilder.Remove"));
  EXPECT_EQ(CaughtError([&] { b->Remove(-1, 0); }).Number(), kStringBuilderError);
  EXPECT_EQ(b->Chars(2), String("c"));
  EXPECT_EQ(CaughtError([&] { b->Chars(3); }).Number(), kStringBuilderError);
  String q = "QRS";
  b->SetChars(1, q);
  EXPECT_EQ(b->ToString(), String("aQc"));
  EXPECT_EQ(CaughtError([&] { b->SetChars(1, empty); }).Number(), 5);
  EXPECT_EQ(CaughtError([&] { b->SetChars(3, q); }).Description(),
            String("Tried assigning character past end of buffer."));
  EXPECT_EQ(b->ToString(), String("aQc"));
}

TEST(StringBuilderTest, LateBoundChainingAndOptionalPosition) {
  Object b = CreateObject("Borvane.CStringBuilder");
  Object same = CallByName(b, "Append", VbMethod, {Variant("hello")}).ToObject();
  EXPECT_EQ(same.Get(), b.Get());
  CallByName(b, "Chars", VbLet, {Variant("J")});  // Position left off: 0
  CallByName(b, "Chars", VbLet, {Variant(int32_t{4}), Variant("y")});
  EXPECT_EQ(CallByName(b, "Chars", VbGet).StringRef(), String("J"));
  CallByName(b, "Remove", VbMethod, {Variant(int32_t{0})});  // Length defaults to 1
  EXPECT_EQ(CallByName(b, "ToString", VbMethod).StringRef(), String("elly"));
}

}  // namespace
}  // namespace borvane
