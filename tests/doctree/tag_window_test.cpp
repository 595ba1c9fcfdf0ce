// The reader's classifiers of 64 characters and its white space skippers: each one this
// processor runs must find what the plain one finds, for every code unit.
#include "borvane/doctree/tag_window.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace borvane {
namespace {

void ExpectSameAsPlain(TagClassifier classify, const char16_t* units) {
  TagWindow plain, fast;
  ClassifyTagsPlain(units, plain);
  classify(units, fast);
  EXPECT_EQ(fast.lt, plain.lt);
  EXPECT_EQ(fast.gt, plain.gt);
  EXPECT_EQ(fast.quote, plain.quote);
  EXPECT_EQ(fast.white, plain.white);
  EXPECT_EQ(fast.mark, plain.mark);
}

TEST(TagWindowTest, ClassifiersMarkWhatThePlainOneMarks) {
  std::vector<TagClassifier> classifiers;
  for (TagClassifier c : {Sse2TagClassifier(), Avx2TagClassifier(), Avx512TagClassifier()})
    if (c) classifiers.push_back(c);
  if (classifiers.empty()) GTEST_SKIP() << "only the plain classifier runs here";
  ASSERT_NE(PickTagClassifier(), nullptr);
  // Every code unit at every place: a unit whose low byte is sought but whose high byte is not
  // 0 (code 0x13C) must not count, nor may code 0.
  char16_t units[TagWindow::kSize];
  for (uint32_t base = 0; base < 0x10000; base += TagWindow::kSize) {
    for (unsigned shift = 0; shift < TagWindow::kSize; shift += 13) {
      for (unsigned i = 0; i < TagWindow::kSize; ++i)
        units[i] = static_cast<char16_t>(base + (i + shift) % TagWindow::kSize);
      for (TagClassifier c : classifiers) ExpectSameAsPlain(c, units);
    }
  }
  // Dense mixes of the sought characters and their near misses.
  const char16_t alphabet[] = {u'<',    u'>',    u'"',    u' ',    u'\t',    u'\n',     u'\r',
                               u'\x1e', u'\x01', u'\0',   u'a',    u'\x13c', u'\x3c00', u'\xff3e',
                               u'\x0e', u'\x2e', u'\x3e', u'\x1c', u'\xff'};
  std::mt19937 random(7);
  std::uniform_int_distribution<size_t> pick(0, std::size(alphabet) - 1);
  for (int round = 0; round < 2000; ++round) {
    for (char16_t& unit : units) unit = alphabet[pick(random)];
    for (TagClassifier c : classifiers) ExpectSameAsPlain(c, units);
  }
}

TEST(TagWindowTest, WhiteSkippersStopWhereThePlainOneStops) {
  std::vector<WhiteSkipper> skippers{PickWhiteSkipper(), &SkipWhitePlain};
  for (WhiteSkipper s : {Sse2WhiteSkipper(), Avx2WhiteSkipper()})
    if (s) skippers.push_back(s);
  // Runs of every length up to past two wide steps, ended at each place by a near miss (its low
  // byte white, or code 0, which packing also makes), or by nothing.
  const char16_t white[] = {u' ', u'\t', u'\n', u'\r'};
  const char16_t stops[] = {u'<', u'\0', u'\x0b', u'\x120', u'\x2009', u'\xff20', u'\x8009'};
  std::u16string text;
  for (size_t length = 0; length <= 70; ++length) {
    for (char16_t stop : stops) {
      for (int last = 0; last < 2; ++last) {
        text.clear();
        for (size_t i = 0; i < length; ++i) text += white[(i * 7 + length) % 4];
        if (last == 0) text += stop;
        text += u"  ";  // beyond the end given
        const char16_t* end = text.data() + length + (last == 0 ? 1 : 0);
        for (WhiteSkipper s : skippers)
          EXPECT_EQ(s(text.data(), end) - text.data(), static_cast<ptrdiff_t>(length))
              << "length " << length << " stop " << int{stop};
      }
    }
  }
}

TEST(TagWindowTest, QuoteEndFindersStopWhereThePlainOneStops) {
  std::vector<QuoteEndFinder> finders{PickQuoteEndFinder(), &FindQuoteEndPlain};
  for (QuoteEndFinder f : {Sse2QuoteEndFinder(), Avx2QuoteEndFinder()})
    if (f) finders.push_back(f);
  // Runs with near misses (a stop's code in the low byte, "<", white space), each length up to
  // past two wide steps, ended by each stop or by nothing.
  const char16_t others[] = {u'a', u'\x122', u'<', u'\x13e', u' ', u'\x11e', u'{', u'\x101'};
  const char16_t stops[] = {u'"', u'>', kTagMark, u'\x01'};
  std::u16string text;
  for (size_t length = 0; length <= 70; ++length) {
    for (int stop = 0; stop <= 4; ++stop) {
      text.clear();
      for (size_t i = 0; i < length; ++i) text += others[(i * 5 + length) % 8];
      if (stop < 4) text += stops[stop];
      text += u"\"\"";  // beyond the end given
      const char16_t* end = text.data() + length + (stop < 4 ? 1 : 0);
      for (QuoteEndFinder f : finders)
        EXPECT_EQ(f(text.data(), end) - text.data(), static_cast<ptrdiff_t>(length))
            << "length " << length << " stop " << stop;
    }
  }
}

TEST(TagWindowTest, QuotedTextCopiersCopyAsThePlainOneCopies) {
  std::vector<QuotedTextCopier> copiers{PickQuotedTextCopier()};
  for (QuotedTextCopier c : {Sse2QuotedTextCopier(), Avx2QuotedTextCopier()})
    if (c) copiers.push_back(c);
  // Escapes, braces that start none (also one cut short by the end), and stops, at every place
  // around the steps, read up to limits on both sides of an escape.
  const std::u16string pieces[] = {u"{\\34}", u"{\\35}", u"{{\\34}}", u"\x13e", u"{",
                                   u"\"",     u">",      u"\x1e",     u"\x01",  u"{\\34"};
  std::mt19937 rng(7);
  for (int round = 0; round < 3000; ++round) {
    std::u16string text(rng() % 40, u'a');
    for (int n = rng() % 4; n >= 0; --n)
      text += pieces[rng() % 10] + std::u16string(rng() % 20, static_cast<char16_t>(u'b' + n));
    const char16_t* const end = text.data() + text.size();
    const char16_t* const limit = text.data() + rng() % (text.size() + 1);
    std::u16string plain(text.size(), u'\0');
    char16_t* plain_to = plain.data();
    uint32_t plain_escapes = 0;
    const char16_t* plain_stop =
        CopyQuotedTextPlain(text.data(), limit, end, plain_to, plain_escapes);
    plain.resize(static_cast<size_t>(plain_to - plain.data()));
    for (QuotedTextCopier copy : copiers) {
      // Room for the units before the limit only: a copy past it would show here.
      std::u16string copied(static_cast<size_t>(limit - text.data()), u'\0');
      copied += u"zzzzz";
      char16_t* to = copied.data();
      uint32_t escapes = 0;
      EXPECT_EQ(copy(text.data(), limit, end, to, escapes), plain_stop) << "round " << round;
      EXPECT_EQ(escapes, plain_escapes) << "round " << round;
      EXPECT_EQ(copied.substr(static_cast<size_t>(limit - text.data())), u"zzzzz");
      copied.resize(static_cast<size_t>(to - copied.data()));
      EXPECT_EQ(copied, plain) << "round " << round;
    }
  }
}

}  // namespace
}  // namespace borvane
