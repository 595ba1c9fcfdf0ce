// TagWindow: where the characters that cut a document's text stand among 64 of its
// characters, a bit per character, so that the reader can find a piece of the writer's form
// with bit searches instead of a scan.
#ifndef BORVANE_DOCTREE_TAG_WINDOW_H_
#define BORVANE_DOCTREE_TAG_WINDOW_H_

#include <cstddef>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace borvane {

// The character of code 30, which cuts a text like a tag start.
constexpr char16_t kTagMark = u'\x1e';

struct TagWindow {
  static constexpr size_t kSize = 64;

  // Bit i stands for the character at place i.
  uint64_t lt;     // "<"
  uint64_t gt;     // ">"
  uint64_t quote;  // '"'
  uint64_t white;  // space, tab, line feed or carriage return
  uint64_t mark;   // the tag mark or code 1

  // The places from `i` on, and those behind `i`; `i` is below 64.
  static uint64_t From(unsigned i) { return ~uint64_t{0} << i; }
  static uint64_t Behind(unsigned i) { return From(i) << 1; }
  static bool Has(uint64_t bits, unsigned i) { return (bits >> i) & 1; }
};

// Fills a window from the 64 characters at `p`.
using TagClassifier = void (*)(const char16_t* p, TagWindow& window);

// The fastest classifier this processor runs, chosen once.
TagClassifier PickTagClassifier();

// Each classifier there is, so that tests can hold them to the plain one: the plain one runs
// everywhere; the others are nullptr where this build or processor lacks what they need.
void ClassifyTagsPlain(const char16_t* p, TagWindow& window);
TagClassifier Sse2TagClassifier();
TagClassifier Avx2TagClassifier();
TagClassifier Avx512TagClassifier();

// The first character from `p` on that is not white space (space, tab, line feed or carriage
// return), or `end`. For the long runs of a deeply indented text.
using WhiteSkipper = const char16_t* (*)(const char16_t* p, const char16_t* end);

#ifdef __SSE2__
// The white space among the 16 characters at `p`, a bit per character. They are packed to bytes
// with unsigned saturation, which turns no other character into white space.
inline unsigned WhiteOfSixteen(const char16_t* p) {
  const __m128i b = _mm_packus_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8)));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(
      _mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8(' ')), _mm_cmpeq_epi8(b, _mm_set1_epi8('\t'))),
      _mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8('\n')),
                   _mm_cmpeq_epi8(b, _mm_set1_epi8('\r'))))));
}
#endif

// The fastest skipper this processor runs, chosen once; the others as for the classifiers.
WhiteSkipper PickWhiteSkipper();
const char16_t* SkipWhitePlain(const char16_t* p, const char16_t* end);
WhiteSkipper Sse2WhiteSkipper();
WhiteSkipper Avx2WhiteSkipper();

// The first character from `p` on that ends a quoted text (a quote, ">", the tag mark or code
// 1), or `end`. For long values, which are most of a text of long quoted values.
using QuoteEndFinder = const char16_t* (*)(const char16_t* p, const char16_t* end);

// The fastest finder this processor runs, chosen once; the others as for the classifiers.
QuoteEndFinder PickQuoteEndFinder();
const char16_t* FindQuoteEndPlain(const char16_t* p, const char16_t* end);
QuoteEndFinder Sse2QuoteEndFinder();
QuoteEndFinder Avx2QuoteEndFinder();

// Copies a quoted text from `p` on to `to`, each escape "{\34}" as a quote, up to the first
// character that ends a quoted text (as for QuoteEndFinder) or `limit`, and returns where it
// stopped; `to` moves on as far, and `escapes` counts the escapes copied. An escape that starts
// before `limit` is read whole, up to `end`, so the place returned may lie past `limit`; a
// brace that starts no escape is copied as it is. The units at `to` must have room for
// `limit - p`: the copy never grows, and it writes only within that room.
using QuotedTextCopier = const char16_t* (*)(const char16_t* p, const char16_t* limit,
                                             const char16_t* end, char16_t*& to, uint32_t& escapes);

// The fastest copier this processor runs, chosen once; the others as for the classifiers.
QuotedTextCopier PickQuotedTextCopier();
const char16_t* CopyQuotedTextPlain(const char16_t* p, const char16_t* limit, const char16_t* end,
                                    char16_t*& to, uint32_t& escapes);
QuotedTextCopier Sse2QuotedTextCopier();
QuotedTextCopier Avx2QuotedTextCopier();

}  // namespace borvane

#endif  // BORVANE_DOCTREE_TAG_WINDOW_H_
