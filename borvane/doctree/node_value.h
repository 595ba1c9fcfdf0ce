// NodeValue: the value of a document node, in two words where a Variant takes six.
//
// A document holds a value per node by the hundred thousand, and most are texts, numbers or
// Booleans: those stand in place. A text stands in a block of its length beside its length,
// so that the writer's measure need not reach it: one the reader found in a block of the slab
// pool, which like the node that holds it is freed on the thread that made it; one set through
// SetValue in a heap block, as it may be set on any thread. Numbers, Booleans, dates, currency,
// error values, Empty and Null keep their bits in the first word. Any other value (an object,
// an array, the null String) stands in a Variant of its own on the heap.
#ifndef BORVANE_DOCTREE_NODE_VALUE_H_
#define BORVANE_DOCTREE_NODE_VALUE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "borvane/automation/slab_pool.h"
#include "borvane/automation/unit_copy.h"
#include "borvane/automation/variant.h"

namespace borvane {

class NodeValue {
 public:
  NodeValue() = default;
  NodeValue(const NodeValue&) = delete;
  NodeValue& operator=(const NodeValue&) = delete;
  ~NodeValue() { Reset(); }

  // Holds a copy of `units` as a String value, in a block of the pool (none for the empty
  // text).
  void SetReadText(std::u16string_view units) {
    void* block = nullptr;
    if (!units.empty()) {
      block = PoolAllocateInline(units.size() * sizeof(char16_t));
      // Most texts are a few dozen units: fixed moves cost less than the call a block copy
      // makes.
      CopyUnits(static_cast<char16_t*>(block), units.data(), units.size());
    }
    Reset();
    word_ = reinterpret_cast<uintptr_t>(block);
    tag_ = units.size();
  }
  // Holds a Double or a Boolean, the numbers and flags the reader finds.
  void SetDouble(double value) { SetScalar(value, vbDouble); }
  void SetBoolean(bool value) { SetScalar(value, vbBoolean); }
  // Holds any value.
  void Set(Variant value);
  void Reset() noexcept {
    if (tag_ < kHeapText) {
      if (word_) PoolFree(reinterpret_cast<void*>(word_), tag_ * sizeof(char16_t));
    } else if (tag_ < kKindBase) {
      delete[] reinterpret_cast<char16_t*>(word_);
    } else if (tag_ == kBoxed) {
      delete reinterpret_cast<Variant*>(word_);
    }
    word_ = 0;
    tag_ = kKindBase + vbEmpty;
  }

  // A String value held as its units, Text().
  bool IsText() const { return tag_ < kKindBase; }
  std::u16string_view Text() const {
    return std::u16string_view(reinterpret_cast<const char16_t*>(word_), tag_ & ~kHeapText);
  }
  // The Variant a value of its own stands in; nullptr for a text and for a value held in
  // place.
  const Variant* Boxed() const {
    return tag_ == kBoxed ? reinterpret_cast<const Variant*>(word_) : nullptr;
  }
  // Whether the value is a Double, or a Boolean; the value then in `out`. Inline, for the
  // writer's sake: the reader gives most numbers and flags these types.
  bool GetDouble(double& out) const { return GetScalar(vbDouble, out); }
  bool GetBoolean(bool& out) const { return GetScalar(vbBoolean, out); }
  // The marker that an omitted argument holds, set as a value.
  bool IsMissing() const {
    return tag_ == kKindBase + vbError && Scalar<ErrorValue>().scode == kParamNotFound;
  }
  // The value, as a Variant of its own.
  Variant Get() const;

 private:
  // tag_ below kHeapText: a text of tag_ units in the pool block at word_ (nullptr when
  // empty). kHeapText + n: a text of n units in the heap block at word_. kKindBase + a
  // VarType: a value of that type, its bits in word_. kBoxed: a Variant at word_.
  static constexpr uint64_t kHeapText = uint64_t{1} << 62;
  static constexpr uint64_t kKindBase = uint64_t{1} << 63;
  static constexpr uint64_t kBoxed = ~uint64_t{0};

  template <class T>
  void SetScalar(T value, int32_t type) {
    static_assert(sizeof(T) <= sizeof(uint64_t) && std::is_trivially_copyable_v<T>);
    Reset();
    std::memcpy(&word_, &value, sizeof(T));
    tag_ = kKindBase + static_cast<uint64_t>(type);
  }
  template <class T>
  bool GetScalar(int32_t type, T& out) const {
    if (tag_ != kKindBase + static_cast<uint64_t>(type)) return false;
    out = Scalar<T>();
    return true;
  }
  template <class T>
  T Scalar() const {
    T value;
    std::memcpy(static_cast<void*>(&value), &word_, sizeof(T));
    return value;
  }

  uint64_t word_ = 0;
  uint64_t tag_ = kKindBase + vbEmpty;
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_NODE_VALUE_H_
