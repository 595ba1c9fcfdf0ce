// The first place of one code unit in a text, eight units at a time where SSE2 is there: the
// readers and writers of the text forms look for quotes and braces in long values.
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

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_UNIT_SEARCH_H_
