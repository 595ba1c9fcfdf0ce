#include "borvane/doctree/tag_window.h"

#include <initializer_list>

#ifdef __SSE2__
#include <immintrin.h>
#endif

namespace borvane {

void ClassifyTagsPlain(const char16_t* p, TagWindow& w) {
  w = TagWindow{};
  for (unsigned i = 0; i < TagWindow::kSize; ++i) {
    const uint64_t bit = uint64_t{1} << i;
    switch (p[i]) {
      case u'<':
        w.lt |= bit;
        break;
      case u'>':
        w.gt |= bit;
        break;
      case u'"':
        w.quote |= bit;
        break;
      case u' ':
      case u'\t':
      case u'\n':
      case u'\r':
        w.white |= bit;
        break;
      case kTagMark:
      case u'\x01':
        w.mark |= bit;
        break;
      default:
        break;
    }
  }
}

namespace {

// Whether an escape "{\34}" starts at `p`, wholly before `end`.
inline bool EscapeAt(const char16_t* p, const char16_t* end) {
  return end - p >= 5 && p[0] == u'{' && p[1] == u'\\' && p[2] == u'3' && p[3] == u'4' &&
         p[4] == u'}';
}

// Moves `p` and `to` on to place `at` of a copier's step, where a stop or what may start an
// escape stands: an escape is copied as a quote, and a brace that starts none as it is. False
// at a stop, where the copy ends.
inline bool PassHit(unsigned at, const char16_t* end, const char16_t*& p, char16_t*& to,
                    uint32_t& escapes) {
  p += at;
  to += at;
  if (*p != u'{') return false;
  if (EscapeAt(p, end)) {
    *to++ = u'"';
    p += 5;
    ++escapes;
  } else {
    *to++ = *p++;
  }
  return true;
}

#ifdef __SSE2__
// Every character sought is below 256 and not 0, so the characters are first packed to bytes
// with unsigned saturation, which turns any other character into 0 or 255, neither of them
// sought: each test then covers sixteen characters.
inline __m128i IsByte(__m128i v, char16_t ch) {
  return _mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(ch)));
}

// 32 characters, as the low (`shift` 0) or high (32) half of each mask.
inline void ClassifyHalf(const char16_t* p, TagWindow& w, int shift) {
  auto load = [p](int at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + at)); };
  const __m128i low = _mm_packus_epi16(load(0), load(8));
  const __m128i high = _mm_packus_epi16(load(16), load(24));
  auto bits = [&](auto&& test) {
    const uint32_t half = static_cast<uint32_t>(_mm_movemask_epi8(test(low))) |
                          static_cast<uint32_t>(_mm_movemask_epi8(test(high))) << 16;
    return uint64_t{half} << shift;
  };
  w.lt |= bits([](__m128i v) { return IsByte(v, u'<'); });
  w.gt |= bits([](__m128i v) { return IsByte(v, u'>'); });
  w.quote |= bits([](__m128i v) { return IsByte(v, u'"'); });
  w.white |= bits([](__m128i v) {
    return _mm_or_si128(_mm_or_si128(IsByte(v, u' '), IsByte(v, u'\t')),
                        _mm_or_si128(IsByte(v, u'\n'), IsByte(v, u'\r')));
  });
  w.mark |= bits([](__m128i v) { return _mm_or_si128(IsByte(v, kTagMark), IsByte(v, 1)); });
}

void ClassifySse2(const char16_t* p, TagWindow& w) {
  w = TagWindow{};
  ClassifyHalf(p, w, 0);
  ClassifyHalf(p + 32, w, 32);
}

// White space sixteen characters a step; the last few by the plain loop.
const char16_t* SkipWhiteSse2(const char16_t* p, const char16_t* end) {
  for (; end - p >= 16; p += 16) {
    const unsigned not_white = ~WhiteOfSixteen(p) & 0xffff;
    if (not_white) return p + __builtin_ctz(not_white);
  }
  return SkipWhitePlain(p, end);
}

// The end of a quoted text sixteen characters a step, packed to bytes as for white space: a
// character above 255 packs to 255, which is none of the four.
const char16_t* FindQuoteEndSse2(const char16_t* p, const char16_t* end) {
  for (; end - p >= 16; p += 16) {
    const __m128i b = _mm_packus_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                                       _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8)));
    const unsigned stops = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8('"')), _mm_cmpeq_epi8(b, _mm_set1_epi8('>'))),
        _mm_or_si128(_mm_cmpeq_epi8(b, _mm_set1_epi8(static_cast<char>(kTagMark))),
                     _mm_cmpeq_epi8(b, _mm_set1_epi8(1))))));
    if (stops) return p + __builtin_ctz(stops);
  }
  return FindQuoteEndPlain(p, end);
}

// A quoted text copied eight characters a step, each step stored as it is looked at and
// `to` moved on by what stood before the first stop or escape. A brace with "3" and "4" two
// and three on is taken as an escape and looked at whole; ">" and the tag mark differ in bit
// 5 alone.
const char16_t* CopyQuotedTextSse2(const char16_t* p, const char16_t* limit, const char16_t* end,
                                   char16_t*& to, uint32_t& escapes) {
  // Eight places looked at take eleven characters.
  while (limit - p >= 11) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i at3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2));
    const __m128i at4 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 3));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v);
    const __m128i escape = _mm_and_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16(u'{')),
                                         _mm_and_si128(_mm_cmpeq_epi16(at3, _mm_set1_epi16(u'3')),
                                                       _mm_cmpeq_epi16(at4, _mm_set1_epi16(u'4'))));
    const __m128i stop =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16(u'"')),
                                  _mm_cmpeq_epi16(v, _mm_set1_epi16(1))),
                     _mm_cmpeq_epi16(_mm_or_si128(v, _mm_set1_epi16(0x20)), _mm_set1_epi16(u'>')));
    const unsigned hits = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(escape, stop)));
    if (!hits) {
      p += 8;
      to += 8;
      continue;
    }
    if (!PassHit(static_cast<unsigned>(__builtin_ctz(hits)) >> 1, end, p, to, escapes)) return p;
  }
  return CopyQuotedTextPlain(p, limit, end, to, escapes);
}

#if defined(__x86_64__) || defined(__i386__)
#define BORVANE_TAG_WINDOW_AVX2 1
// The same packing, 32 characters per step, on processors that have AVX2. Each byte is given
// its class as one bit from two table lookups, by its low and by its high four bits: a bit is
// set in both entries only for the characters of its class. Written without lambdas, which
// would not take the function's target.
//
// The tables, for the 512-bit classifier too. By low four bits: 0 " ", 1 code 1, 2 quote, 9 A D
// white space, C "<", E ">" and the tag mark. By high four bits: 0 white space and code 1, 1 the
// tag mark, 2 " " and quote, 3 "<" ">".
alignas(16) constexpr uint8_t kClassByLow[16] = {0x40, 0x10, 0x04, 0, 0,    0,    0,    0,
                                                 0,    0x80, 0x80, 0, 0x01, 0x80, 0x22, 0};
alignas(16) constexpr uint8_t kClassByHigh[16] = {0x90, 0x20, 0x44, 0x03, 0, 0, 0, 0,
                                                  0,    0,    0,    0,    0, 0, 0, 0};
inline __m128i LoadTable(const uint8_t (&table)[16]) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(table));
}

__attribute__((target("avx2"))) inline __m256i ClassesOf(__m256i bytes) {
  const __m256i by_low = _mm256_broadcastsi128_si256(LoadTable(kClassByLow));
  const __m256i by_high = _mm256_broadcastsi128_si256(LoadTable(kClassByHigh));
  const __m256i nibble = _mm256_set1_epi8(0x0f);
  const __m256i low = _mm256_shuffle_epi8(by_low, _mm256_and_si256(bytes, nibble));
  const __m256i high =
      _mm256_shuffle_epi8(by_high, _mm256_and_si256(_mm256_srli_epi16(bytes, 4), nibble));
  return _mm256_and_si256(low, high);
}

// The places whose class has bit 7 set, for the 64 characters.
__attribute__((target("avx2"))) inline uint64_t TopBits(__m256i low, __m256i high) {
  return static_cast<uint32_t>(_mm256_movemask_epi8(low)) |
         uint64_t{static_cast<uint32_t>(_mm256_movemask_epi8(high))} << 32;
}

__attribute__((target("avx2"))) void ClassifyAvx2(const char16_t* p, TagWindow& w) {
  const __m256i* at = reinterpret_cast<const __m256i*>(p);
  // Packing works within each 128-bit lane, which leaves the four groups of eight characters
  // in the order 0, 2, 1, 3; the permutation puts them back.
  const __m256i low = ClassesOf(_mm256_permute4x64_epi64(
      _mm256_packus_epi16(_mm256_loadu_si256(at), _mm256_loadu_si256(at + 1)), 0xd8));
  const __m256i high = ClassesOf(_mm256_permute4x64_epi64(
      _mm256_packus_epi16(_mm256_loadu_si256(at + 2), _mm256_loadu_si256(at + 3)), 0xd8));
  // A character has one class bit at most: "<" 0x01, ">" 0x02, quote 0x04, code 1 0x10, the
  // tag mark 0x20, white space 0x40 (" ") or 0x80. Shifts and saturating adds bring the bits of
  // each mask to bit 7. (A 16-bit shift by up to 7 moves no bit into the top of the other byte.)
  w.lt = TopBits(_mm256_slli_epi16(low, 7), _mm256_slli_epi16(high, 7));
  w.gt = TopBits(_mm256_slli_epi16(low, 6), _mm256_slli_epi16(high, 6));
  w.quote = TopBits(_mm256_slli_epi16(low, 5), _mm256_slli_epi16(high, 5));
  const __m256i white_to_top = _mm256_set1_epi8(0x40);
  w.white = TopBits(_mm256_adds_epu8(low, white_to_top), _mm256_adds_epu8(high, white_to_top));
  const __m256i mark_bits = _mm256_set1_epi8(0x30);
  const __m256i mark_to_top = _mm256_set1_epi8(0x70);
  w.mark = TopBits(_mm256_adds_epu8(_mm256_and_si256(low, mark_bits), mark_to_top),
                   _mm256_adds_epu8(_mm256_and_si256(high, mark_bits), mark_to_top));
}

// The same classes for all 64 characters in one 512-bit register, each mask read straight from
// a bit test. Only on processors with VBMI as well (Ice Lake and later), which run 512-bit
// integer work without the clock drop that earlier AVX-512 processors took for it.
#define BORVANE_TAG_WINDOW_AVX512 1
__attribute__((target("avx512f,avx512bw"))) inline uint64_t ClassBits(__m512i classes, char bits) {
  return _mm512_test_epi8_mask(classes, _mm512_set1_epi8(bits));
}

__attribute__((target("avx512f,avx512bw"))) void ClassifyAvx512(const char16_t* p, TagWindow& w) {
  const __m512i* at = reinterpret_cast<const __m512i*>(p);
  // The order table in memory, and masked forms: GCC 12 warns wrongly on the header's
  // undefined registers otherwise.
  alignas(64) static constexpr int64_t kOrder[8] = {0, 2, 4, 6, 1, 3, 5, 7};
  // Packing works within each 128-bit lane: the permutation puts the eight groups of eight
  // characters back in order.
  const __m512i bytes = _mm512_maskz_permutexvar_epi64(
      0xff, _mm512_load_si512(kOrder),
      _mm512_packus_epi16(_mm512_loadu_si512(at), _mm512_loadu_si512(at + 1)));
  const __m512i by_low = _mm512_maskz_broadcast_i32x4(0xffff, LoadTable(kClassByLow));
  const __m512i by_high = _mm512_maskz_broadcast_i32x4(0xffff, LoadTable(kClassByHigh));
  const __m512i nibble = _mm512_set1_epi8(0x0f);
  const __m512i classes = _mm512_and_si512(
      _mm512_shuffle_epi8(by_low, _mm512_and_si512(bytes, nibble)),
      _mm512_shuffle_epi8(by_high, _mm512_and_si512(_mm512_srli_epi16(bytes, 4), nibble)));
  w.lt = ClassBits(classes, 0x01);
  w.gt = ClassBits(classes, 0x02);
  w.quote = ClassBits(classes, 0x04);
  w.white = ClassBits(classes, static_cast<char>(0xc0));
  w.mark = ClassBits(classes, 0x30);
}

// White space 32 characters a step, the packed bytes put back in order so that the first
// character that is not white is found in the step that meets it: one loop, left once, where a
// run of random length would otherwise be left twice (here, then by SkipWhiteSse2).
__attribute__((target("avx2"))) const char16_t* SkipWhiteAvx2(const char16_t* p,
                                                              const char16_t* end) {
  const __m256i space = _mm256_set1_epi8(' '), tab = _mm256_set1_epi8('\t');
  const __m256i lf = _mm256_set1_epi8('\n'), cr = _mm256_set1_epi8('\r');
  for (; end - p >= 32; p += 32) {
    const __m256i* at = reinterpret_cast<const __m256i*>(p);
    const __m256i b = _mm256_permute4x64_epi64(
        _mm256_packus_epi16(_mm256_loadu_si256(at), _mm256_loadu_si256(at + 1)), 0xd8);
    const __m256i white =
        _mm256_or_si256(_mm256_or_si256(_mm256_cmpeq_epi8(b, space), _mm256_cmpeq_epi8(b, tab)),
                        _mm256_or_si256(_mm256_cmpeq_epi8(b, lf), _mm256_cmpeq_epi8(b, cr)));
    const uint32_t not_white = ~static_cast<uint32_t>(_mm256_movemask_epi8(white));
    if (not_white) return p + __builtin_ctz(not_white);
  }
  return SkipWhiteSse2(p, end);
}

// The same, 32 characters a step, in order as for white space.
__attribute__((target("avx2"))) const char16_t* FindQuoteEndAvx2(const char16_t* p,
                                                                 const char16_t* end) {
  const __m256i quote = _mm256_set1_epi8('"'), gt = _mm256_set1_epi8('>');
  const __m256i mark = _mm256_set1_epi8(static_cast<char>(kTagMark)), one = _mm256_set1_epi8(1);
  for (; end - p >= 32; p += 32) {
    const __m256i* at = reinterpret_cast<const __m256i*>(p);
    const __m256i b = _mm256_permute4x64_epi64(
        _mm256_packus_epi16(_mm256_loadu_si256(at), _mm256_loadu_si256(at + 1)), 0xd8);
    const __m256i hits =
        _mm256_or_si256(_mm256_or_si256(_mm256_cmpeq_epi8(b, quote), _mm256_cmpeq_epi8(b, gt)),
                        _mm256_or_si256(_mm256_cmpeq_epi8(b, mark), _mm256_cmpeq_epi8(b, one)));
    if (const uint32_t stops = static_cast<uint32_t>(_mm256_movemask_epi8(hits)))
      return p + __builtin_ctz(stops);
  }
  return FindQuoteEndSse2(p, end);
}

// The same, sixteen characters a step.
__attribute__((target("avx2"))) const char16_t* CopyQuotedTextAvx2(const char16_t* p,
                                                                   const char16_t* limit,
                                                                   const char16_t* end,
                                                                   char16_t*& to,
                                                                   uint32_t& escapes) {
  while (limit - p >= 19) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    const __m256i at3 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 2));
    const __m256i at4 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 3));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), v);
    const __m256i escape =
        _mm256_and_si256(_mm256_cmpeq_epi16(v, _mm256_set1_epi16(u'{')),
                         _mm256_and_si256(_mm256_cmpeq_epi16(at3, _mm256_set1_epi16(u'3')),
                                          _mm256_cmpeq_epi16(at4, _mm256_set1_epi16(u'4'))));
    const __m256i stop = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpeq_epi16(v, _mm256_set1_epi16(u'"')),
                        _mm256_cmpeq_epi16(v, _mm256_set1_epi16(1))),
        _mm256_cmpeq_epi16(_mm256_or_si256(v, _mm256_set1_epi16(0x20)), _mm256_set1_epi16(u'>')));
    const unsigned hits =
        static_cast<unsigned>(_mm256_movemask_epi8(_mm256_or_si256(escape, stop)));
    if (!hits) {
      p += 16;
      to += 16;
      continue;
    }
    if (!PassHit(static_cast<unsigned>(__builtin_ctz(hits)) >> 1, end, p, to, escapes)) return p;
  }
  return CopyQuotedTextSse2(p, limit, end, to, escapes);
}

#endif  // x86
#endif  // __SSE2__

// The first of `candidates` that this build has and this processor runs (not nullptr), fastest
// first; the last, the plain one, runs everywhere.
template <class Fn>
Fn FirstThatRuns(std::initializer_list<Fn> candidates) {
  for (Fn candidate : candidates)
    if (candidate) return candidate;
  return nullptr;
}

}  // namespace

TagClassifier Sse2TagClassifier() {
#ifdef __SSE2__
  return &ClassifySse2;
#else
  return nullptr;
#endif
}

TagClassifier Avx2TagClassifier() {
#ifdef BORVANE_TAG_WINDOW_AVX2
  return __builtin_cpu_supports("avx2") ? &ClassifyAvx2 : nullptr;
#else
  return nullptr;
#endif
}

TagClassifier Avx512TagClassifier() {
#ifdef BORVANE_TAG_WINDOW_AVX512
  return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi")
             ? &ClassifyAvx512
             : nullptr;
#else
  return nullptr;
#endif
}

TagClassifier PickTagClassifier() {
  static const TagClassifier chosen = FirstThatRuns<TagClassifier>(
      {Avx512TagClassifier(), Avx2TagClassifier(), Sse2TagClassifier(), &ClassifyTagsPlain});
  return chosen;
}

const char16_t* SkipWhitePlain(const char16_t* p, const char16_t* end) {
  while (p < end && (*p == u' ' || *p == u'\t' || *p == u'\n' || *p == u'\r')) ++p;
  return p;
}

WhiteSkipper Sse2WhiteSkipper() {
#ifdef __SSE2__
  return &SkipWhiteSse2;
#else
  return nullptr;
#endif
}

WhiteSkipper Avx2WhiteSkipper() {
#ifdef BORVANE_TAG_WINDOW_AVX2
  return __builtin_cpu_supports("avx2") ? &SkipWhiteAvx2 : nullptr;
#else
  return nullptr;
#endif
}

WhiteSkipper PickWhiteSkipper() {
  // No 512-bit skipper: on long runs it measured slower than this one.
  static const WhiteSkipper chosen =
      FirstThatRuns<WhiteSkipper>({Avx2WhiteSkipper(), Sse2WhiteSkipper(), &SkipWhitePlain});
  return chosen;
}

const char16_t* FindQuoteEndPlain(const char16_t* p, const char16_t* end) {
  while (p < end && *p != u'"' && *p != u'>' && *p != kTagMark && *p != u'\x01') ++p;
  return p;
}

QuoteEndFinder Sse2QuoteEndFinder() {
#ifdef __SSE2__
  return &FindQuoteEndSse2;
#else
  return nullptr;
#endif
}

QuoteEndFinder Avx2QuoteEndFinder() {
#ifdef BORVANE_TAG_WINDOW_AVX2
  return __builtin_cpu_supports("avx2") ? &FindQuoteEndAvx2 : nullptr;
#else
  return nullptr;
#endif
}

const char16_t* CopyQuotedTextPlain(const char16_t* p, const char16_t* limit, const char16_t* end,
                                    char16_t*& to, uint32_t& escapes) {
  while (p < limit) {
    const char16_t ch = *p;
    if (ch == u'"' || ch == u'>' || ch == kTagMark || ch == u'\x01') break;
    if (EscapeAt(p, end)) {
      *to++ = u'"';
      p += 5;
      ++escapes;
    } else {
      *to++ = ch;
      ++p;
    }
  }
  return p;
}

QuotedTextCopier Sse2QuotedTextCopier() {
#ifdef __SSE2__
  return &CopyQuotedTextSse2;
#else
  return nullptr;
#endif
}

QuotedTextCopier Avx2QuotedTextCopier() {
#ifdef BORVANE_TAG_WINDOW_AVX2
  return __builtin_cpu_supports("avx2") ? &CopyQuotedTextAvx2 : nullptr;
#else
  return nullptr;
#endif
}

QuotedTextCopier PickQuotedTextCopier() {
  static const QuotedTextCopier chosen = FirstThatRuns<QuotedTextCopier>(
      {Avx2QuotedTextCopier(), Sse2QuotedTextCopier(), &CopyQuotedTextPlain});
  return chosen;
}

QuoteEndFinder PickQuoteEndFinder() {
  static const QuoteEndFinder chosen = FirstThatRuns<QuoteEndFinder>(
      {Avx2QuoteEndFinder(), Sse2QuoteEndFinder(), &FindQuoteEndPlain});
  return chosen;
}

}  // namespace borvane
