#include "borvane/automation/codepage.h"

#include <gtest/gtest.h>

#include <thread>

namespace borvane {
namespace {

TEST(CodePage, EveryByteSurvivesWindows1252) {
  std::string all;
  for (int b = 0; b < 256; ++b) all.push_back(static_cast<char>(b));
  String text = FromCodePage(all, CodePage::kWindows1252);
  ASSERT_EQ(text.size(), 256u);
  EXPECT_EQ(text[0x80], 0x20AC);
  EXPECT_EQ(text[0x8C], 0x0152);
  EXPECT_EQ(text[0x9F], 0x0178);
  for (int b : {0x81, 0x8D, 0x8F, 0x90, 0x9D, 0xA0, 0xFF}) EXPECT_EQ(text[b], b);
  EXPECT_EQ(ToCodePage(text, CodePage::kWindows1252), all);
}

TEST(CodePage, UnmappableCharactersBecomeQuestionMarks) {
  EXPECT_EQ(ToCodePage(String("a中€"), CodePage::kWindows1252), "a?\x80");
  // U+0080 has no byte of its own: 0x80 is the euro sign.
  EXPECT_EQ(ToCodePage(String(u"\u0080"), CodePage::kWindows1252), "?");
  EXPECT_EQ(ToCodePage(String(u"\u0100"), CodePage::kWindows1252), "?");
}

TEST(CodePage, Utf8IsSelectablePerThread) {
  EXPECT_EQ(AnsiCodePage(), CodePage::kWindows1252);
  EXPECT_EQ(ToAnsi("é"), "\xE9");
  SetAnsiCodePage(CodePage::kUtf8);
  EXPECT_EQ(ToAnsi("é"), "\xC3\xA9");
  EXPECT_EQ(FromAnsi("\xC3\xA9").ToUtf8(), "é");
  EXPECT_EQ(FromAnsi("a\xFF").str(), u"a\uFFFD");
  std::string other;
  std::thread([&] { other = ToAnsi("é"); }).join();
  EXPECT_EQ(other, "\xE9");
  SetAnsiCodePage(CodePage::kWindows1252);
  EXPECT_EQ(FromAnsi("\xE9").ToUtf8(), "é");
}

TEST(CodePage, Latin1IsOneByteOneCharacter) {
  EXPECT_EQ(FromBytesLatin1(std::string_view("\x80\xFF\x00z", 4)).str(),
            std::u16string(u"\u0080\u00FF\0z", 4));
  EXPECT_EQ(ToBytesLatin1(String(u"\u0141\u00E9")), "\x41\xE9");
}

}  // namespace
}  // namespace borvane
