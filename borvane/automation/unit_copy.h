// Copies and compares of short runs of code units by a few moves of fixed size that overlap,
// instead of a loop per unit. Names, keys and attribute lists are a few units of any length:
// a loop pays per unit and for the branch that ends it, which the length of the next run makes
// hard to foresee, and a library call costs more than the work.
#ifndef BORVANE_AUTOMATION_UNIT_COPY_H_
#define BORVANE_AUTOMATION_UNIT_COPY_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace borvane {

// Moves `bytes` bytes, a size the compiler knows, as one load and one store.
template <size_t bytes>
[[gnu::always_inline]] inline void MoveFixed(char16_t* to, const char16_t* from) {
  char buffer[bytes];
  std::memcpy(buffer, from, bytes);
  std::memcpy(to, buffer, bytes);
}

// Copies `n` units, at most 32, as two moves that overlap in the middle.
[[gnu::always_inline]] inline void CopyShort(char16_t* to, const char16_t* from, size_t n) {
  if (n >= 8) {
    if (n <= 16) {
      MoveFixed<16>(to, from);
      MoveFixed<16>(to + n - 8, from + n - 8);
    } else {
      MoveFixed<32>(to, from);
      MoveFixed<32>(to + n - 16, from + n - 16);
    }
  } else if (n >= 4) {
    MoveFixed<8>(to, from);
    MoveFixed<8>(to + n - 4, from + n - 4);
  } else if (n >= 2) {
    MoveFixed<4>(to, from);
    MoveFixed<4>(to + n - 2, from + n - 2);
  } else if (n == 1) {
    *to = *from;
  }
}

// Copies `n` units of any count; `to` and `from` do not overlap. Past 32 units it moves 32 at a
// time and ends with 32 that reach the last unit.
[[gnu::always_inline]] inline void CopyUnits(char16_t* to, const char16_t* from, size_t n) {
  if (n <= 32) return CopyShort(to, from, n);
  for (size_t i = 0; i + 32 < n; i += 32) MoveFixed<64>(to + i, from + i);
  MoveFixed<64>(to + n - 32, from + n - 32);
}

// The units at `at` as one word of their size: two units as uint32_t, four as uint64_t.
template <typename Word>
[[gnu::always_inline]] inline Word LoadUnits(const char16_t* at) {
  Word word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

// Whether the `n` units at `a` and at `b` are the same, for `n` up to 16, by loads that overlap
// and without a branch inside a length class.
[[gnu::always_inline]] inline bool SameShortUnits(const char16_t* a, const char16_t* b, size_t n) {
  if (n >= 4) {
    uint64_t differ = (LoadUnits<uint64_t>(a) ^ LoadUnits<uint64_t>(b)) |
                      (LoadUnits<uint64_t>(a + n - 4) ^ LoadUnits<uint64_t>(b + n - 4));
    if (n > 8) {
      differ |= (LoadUnits<uint64_t>(a + 4) ^ LoadUnits<uint64_t>(b + 4)) |
                (LoadUnits<uint64_t>(a + n - 8) ^ LoadUnits<uint64_t>(b + n - 8));
    }
    return differ == 0;
  }
  if (n >= 2) {
    return ((LoadUnits<uint32_t>(a) ^ LoadUnits<uint32_t>(b)) |
            (LoadUnits<uint32_t>(a + n - 2) ^ LoadUnits<uint32_t>(b + n - 2))) == 0;
  }
  return n == 0 || *a == *b;
}

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_UNIT_COPY_H_
