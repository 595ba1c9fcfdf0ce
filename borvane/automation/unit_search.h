// The first place of a code unit in a text, and the count of one, eight units at a time where
// SSE2 is there: the readers and writers of the text forms look for quotes and braces in long
// values.
#ifndef BORVANE_AUTOMATION_UNIT_SEARCH_H_
#define BORVANE_AUTOMATION_UNIT_SEARCH_H_

#include <cstddef>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace borvane {

// The place of the first `ch` in `text`, or npos.
inline size_t FindUnit(std::u16string_view text, char16_t ch) {
  size_t i = 0;
#ifdef __SSE2__
  const __m128i wanted = _mm_set1_epi16(static_cast<short>(ch));
  for (; i + 8 <= text.size(); i += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
    if (const unsigned hits = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(v, wanted))))
      return i + (static_cast<unsigned>(__builtin_ctz(hits)) >> 1);
  }
#endif
  for (; i < text.size(); ++i)
    if (text[i] == ch) return i;
  return std::u16string_view::npos;
}

// The place of the first `a` or `b` in `text`, or npos.
inline size_t FindEitherUnit(std::u16string_view text, char16_t a, char16_t b) {
  size_t i = 0;
#ifdef __SSE2__
  const __m128i wanted_a = _mm_set1_epi16(static_cast<short>(a));
  const __m128i wanted_b = _mm_set1_epi16(static_cast<short>(b));
  for (; i + 8 <= text.size(); i += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
    const __m128i hit = _mm_or_si128(_mm_cmpeq_epi16(v, wanted_a), _mm_cmpeq_epi16(v, wanted_b));
    if (const unsigned hits = static_cast<unsigned>(_mm_movemask_epi8(hit)))
      return i + (static_cast<unsigned>(__builtin_ctz(hits)) >> 1);
  }
#endif
  for (; i < text.size(); ++i)
    if (text[i] == a || text[i] == b) return i;
  return std::u16string_view::npos;
}

// The number of `ch` in `text`.
inline size_t CountUnit(std::u16string_view text, char16_t ch) {
  size_t count = 0, i = 0;
#ifdef __SSE2__
  // Each match is -1 in its lane; the lanes add up a block at a time, before they could wrap.
  const __m128i wanted = _mm_set1_epi16(static_cast<short>(ch));
  while (i + 8 <= text.size()) {
    __m128i sums = _mm_setzero_si128();
    for (size_t block = 0; block < 4096 && i + 8 <= text.size(); ++block, i += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
      sums = _mm_sub_epi16(sums, _mm_cmpeq_epi16(v, wanted));
    }
    // The eight lane sums, each below 2^16, added in pairs to 32-bit lanes.
    const __m128i pairs = _mm_madd_epi16(sums, _mm_set1_epi16(1));
    alignas(16) unsigned lanes[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(lanes), pairs);
    count += size_t{lanes[0]} + lanes[1] + lanes[2] + lanes[3];
  }
#endif
  for (; i < text.size(); ++i) count += text[i] == ch;
  return count;
}

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_UNIT_SEARCH_H_
