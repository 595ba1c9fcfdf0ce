// PooledUnits: a text of 16-bit units held in a block of the slab pool, for the texts a read
// document holds by the hundred thousand.
//
// The block is made at the text's length and never grown. Like the nodes that hold such texts,
// it is freed on the thread that made it. The length stands beside the pointer, so that a
// measure of many texts does not reach their blocks.
#ifndef BORVANE_DOCTREE_POOLED_UNITS_H_
#define BORVANE_DOCTREE_POOLED_UNITS_H_

#include <cstddef>
#include <string_view>

#include "borvane/automation/slab_pool.h"
#include "borvane/automation/unit_copy.h"

namespace borvane {

class PooledUnits {
 public:
  PooledUnits() = default;
  PooledUnits(const PooledUnits&) = delete;
  PooledUnits& operator=(const PooledUnits&) = delete;
  ~PooledUnits() { Reset(); }

  // Holds a copy of `units` in place of any text held.
  void Set(std::u16string_view units) {
    auto* block = static_cast<char16_t*>(PoolAllocateInline(BytesFor(units.size())));
    // Most texts are a few dozen units: fixed moves cost less than the call a block copy makes.
    CopyUnits(block, units.data(), units.size());
    Reset();
    units_ = block;
    size_ = units.size();
  }
  void Reset() noexcept {
    if (units_) PoolFree(units_, BytesFor(size_));
    units_ = nullptr;
    size_ = 0;
  }
  explicit operator bool() const { return units_ != nullptr; }
  size_t size() const { return size_; }
  // The text held; empty when there is none.
  std::u16string_view view() const { return std::u16string_view(units_, size_); }

 private:
  // The empty text takes a block too, so that it is told from none.
  static size_t BytesFor(size_t units) { return (units ? units : 1) * sizeof(char16_t); }

  char16_t* units_ = nullptr;
  // A whole word, as the pointer's alignment leaves room for it anyway: no text is cut short.
  size_t size_ = 0;
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_POOLED_UNITS_H_
