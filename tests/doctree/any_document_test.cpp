// Documents as people and programs write them, not only as the writer leaves them: mixed
// attribute lists, any indentation, CRLF, many names, long values. The reader has to build what
// its literal steps build, and the writer has to stay within the room it measured.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "doctree_test_util.h"
#include "reference_reader.h"

namespace borvane::testing {
namespace {

// A random document of about `nodes` nodes; each node draws its shape.
std::u16string RandomDocument(uint32_t seed, int nodes) {
  std::mt19937 rng(seed);
  auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<uint32_t>(n)); };
  // More names than the reader keeps, among them names alike in length and in their first,
  // middle and last characters.
  std::vector<std::u16string> names;
  for (int i = 0; i < 90; ++i) {
    std::u16string name = u"n";
    for (int c = 0; c < 1 + i % 5; ++c) name += static_cast<char16_t>(u'a' + (i * 7 + c) % 26);
    names.push_back(name + u"x");
  }
  for (char16_t c = u'a'; c <= u'j'; ++c) names.push_back(std::u16string(u"ab") + c + u"cda");
  const char16_t* const values[] = {u"1",       u"-2.5", u"TRUE", u"FALSE", u"\"a b\"",
                                    u"\"\"",    u"x",    u"True", u"1,5",   u"\"a|_b\"",
                                    u"\"q=r\"", u"&H10", u"1E3",  u"",      u"\"{\\34}\""};
  const char16_t* const eols[] = {u"\n", u"\r\n", u"", u"\n\n"};
  const char16_t* const indents[] = {u"\t", u"  ", u"", u" \t"};
  std::u16string out;
  int depth = 0;
  for (int made = 0; made < nodes; ++made) {
    const std::u16string eol = eols[pick(4)];
    const std::u16string step = indents[pick(4)];
    auto indent = [&] {
      for (int d = 0; d < depth; ++d) out += step;
    };
    indent();
    const std::u16string& name = names[pick(static_cast<int>(names.size()))];
    out += u"<" + name;
    for (int a = pick(6); a > 0; --a) {
      // A tab in a tag goes with the name: only a space ends it.
      out += pick(8) ? u" " : pick(2) ? u"  " : u"\t ";
      if (pick(12)) out += names[pick(20)];
      out += pick(15) ? u"=" : u"";
      out += values[pick(15)];
    }
    out += u">";
    if (pick(3) == 0 && depth < 40) {  // children follow
      out += eol;
      ++depth;
      continue;
    }
    std::u16string value;
    switch (pick(6)) {
      case 0:
        // Braces that are no escape, quotes inside, and an escape cut short by the end.
        value = u"\"" + std::u16string(static_cast<size_t>(pick(300)), u'w') + u" {\\34} \r\n" +
                (pick(2) ? u"{{\\34}} \"in\" {\\3}ww{\\34\"" : u"\"");
        break;
      case 1:
        value = values[pick(15)];
        break;
      case 2:
        value = u"12.75";
        break;
      case 3:
        value = u"\"<not a tag>\"";
        break;
      default:
        value = u"\"short text\"";
        break;
    }
    if (pick(2)) {
      out += value + u"</" + name + u">" + eol;
    } else {
      out += eol;
      indent();
      out += value + eol;
      indent();
      out += u"</" + name + u">" + eol;
    }
    for (int up = pick(3); up > 0 && depth > 0; --up) {
      --depth;
      indent();
      out += u"</x>" + eol;
    }
  }
  return out;
}

TEST(AnyDocumentTest, RandomDocumentsReadAsTheLiteralStepsAndWriteWithinTheirMeasure) {
  for (uint32_t seed = 1; seed <= 120; ++seed) {
    const String text(RandomDocument(seed, 30 + static_cast<int>(seed % 7) * 20));
    Ref<Doc> doc = MakeRef<Doc>();
    ASSERT_EQ(reference::DifferenceFromSteps(*doc, text), nullptr) << "seed " << seed;
    if (doc->Count() == 0) continue;
    for (bool indent : {false, true}) {
      // The pairs the reader packed, as they stand, and then as their objects write them.
      const String packed = Write(*doc, indent);
      EXPECT_LE(packed.size(), At(*doc, int32_t{1})->TextBound(indent)) << "seed " << seed;
      Ref<Doc> again = MakeRef<Doc>();
      EXPECT_EQ(reference::DifferenceFromSteps(*again, packed), nullptr) << "seed " << seed;
      Ref<Doc> unpacked = MakeRef<Doc>();
      Read(*unpacked, text);
      for (int32_t i = 1; i <= unpacked->Count(); ++i) At(*unpacked, i)->Attributes();
      EXPECT_EQ(U8(Write(*unpacked, indent)), U8(packed)) << "seed " << seed;
    }
  }
}

TEST(AnyDocumentTest, TextsAndIndentationOfEveryShortLengthAreWrittenWhole) {
  // Names and values are moved in overlapping pieces, indentation eight tabs at a time: each
  // length around their steps, at depths on both sides of eight.
  const std::u16string units = u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  auto tabs = [](int n) { return std::u16string(static_cast<size_t>(n), u'\t'); };
  Ref<Doc> doc = MakeRef<Doc>();
  std::u16string expected, closing;
  constexpr int kDepth = 11;
  for (int level = 0; level < kDepth; ++level) {
    const std::u16string name = units.substr(static_cast<size_t>(level), 1 + level * 3);
    AddNode(*doc, level ? String("N" + std::to_string(level)) : String(), String(name));
    expected += tabs(level) + u"<" + name + u">\n";
    closing = tabs(level) + u"</" + name + u">\n" + closing;
  }
  for (size_t n = 0; n <= 40; ++n) {
    const std::u16string name = u"x" + units.substr(n % 20, n), value = units.substr(20, n);
    AddNode(*doc, String("N" + std::to_string(kDepth)), String(name), Variant(String(value)));
    expected += tabs(kDepth) + u"<" + name + u">\n" + tabs(kDepth) + u"\"" + value + u"\"\n" +
                tabs(kDepth) + u"</" + name + u">\n";
  }
  EXPECT_EQ(U8(Write(*doc, true)), U8(String(expected + closing)));
}

TEST(AnyDocumentTest, TheMeasureHoldsForTheLongestForms) {
  Ref<Doc> doc = MakeRef<Doc>();
  Ref<DocNode> top = AddNode(*doc, "", "top");
  const Variant values[] = {-1.23456789012345e-300,
                            -0.000123456789012345,
                            -123456789012345.0,
                            -98765.4321098765,
                            1e20,
                            std::numeric_limits<double>::quiet_NaN(),
                            -std::numeric_limits<double>::infinity(),
                            int32_t{INT32_MIN},
                            int16_t{-32768},
                            -1.17549e-38f,
                            Currency{-9223372036854775807LL},
                            Date{-657434.999},
                            String(std::u16string(40, u'"')),
                            String(),
                            Variant::Null(),
                            true};
  String parent = top->Key();
  for (const Variant& value : values) {
    Ref<DocNode> node = AddNode(*doc, parent, "v", value);
    for (const Variant& attribute : values) AddAttribute(*node, "a", attribute);
    parent = node->Key();  // a chain, so that the indentation grows too
  }
  for (bool indent : {false, true}) {
    const String text = Write(*doc, indent);
    EXPECT_LE(text.size(), top->TextBound(indent));
    // The written text reads back as its literal steps read it, and writes the same again.
    Ref<Doc> again = MakeRef<Doc>();
    ASSERT_EQ(reference::DifferenceFromSteps(*again, text), nullptr);
    const String rewritten = Write(*again, indent);
    EXPECT_LE(rewritten.size(), At(*again, int32_t{1})->TextBound(indent));
  }
  EXPECT_NE(U8(Write(*doc))
                .find("<v a=-1.23456789012345E-300 a=-1.23456789012345E-04 "
                      "a=-123456789012345 a=-98765.4321098765 a=1E+20 "),
            std::string::npos);
  // Quotes the reader finds inside a quoted value, with nothing else in the node to spare.
  Ref<Doc> read = MakeRef<Doc>();
  Read(*read, String(u"<q>\"a\"\"\"\"{\\34}\"\"b\"</q>"));
  EXPECT_EQ(U8(Write(*read)), "<q>\n\"a{\\34}{\\34}{\\34}{\\34}{\\34}{\\34}{\\34}b\"\n</q>\n");
  EXPECT_LE(Write(*read).size(), At(*read, int32_t{1})->TextBound(false));
}

}  // namespace
}  // namespace borvane::testing
