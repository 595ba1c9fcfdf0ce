// NodeKey: a DocNode's key, kept small. The keys a Doc generates, "N" and a number, are held as
// the number and made into text only when asked for; any other key is held as its text.
#ifndef BORVANE_DOCTREE_NODE_KEY_H_
#define BORVANE_DOCTREE_NODE_KEY_H_

#include <cstdint>
#include <string_view>

#include "borvane/automation/string.h"

namespace borvane {

// The text of a key, held where the caller can see it for as long as it needs a view.
class KeyText {
 public:
  std::u16string_view view() const {
    return text_ ? text_->view() : std::u16string_view(buf_, size_);
  }

 private:
  friend class NodeKey;
  const String* text_ = nullptr;
  char16_t buf_[11];
  uint8_t size_ = 0;
};

class NodeKey {
 public:
  NodeKey() = default;
  NodeKey(const NodeKey&) = delete;
  NodeKey& operator=(const NodeKey&) = delete;
  ~NodeKey() { Reset(); }

  bool empty() const { return bits_ == 0; }
  // The k of a key "N<k>" (capital N, no leading zero, k from 1 to 4294967295); 0 for any other.
  uint32_t Number() const { return (bits_ & 1) ? static_cast<uint32_t>(bits_ >> 1) : 0; }
  void SetNumber(uint32_t number) {
    Reset();
    if (number) bits_ = static_cast<uintptr_t>(number) << 1 | 1;
  }
  void Set(const String& key);
  String ToString() const;
  KeyText Text() const;
  // Exact comparison, with case.
  friend bool operator==(const NodeKey& a, const NodeKey& b) {
    if (a.bits_ == b.bits_) return true;
    const String* x = a.text();
    const String* y = b.text();
    return x && y && *x == *y;
  }

 private:
  // The text of a key of any other form; nullptr for a number or no key.
  const String* text() const {
    return (bits_ & 1) ? nullptr : reinterpret_cast<const String*>(bits_);
  }
  void Reset() {
    delete text();
    bits_ = 0;
  }

  // One word, so that a node carries no more for its key than a pointer: the number shifted
  // left with the low bit set, or the address of the text (a String is aligned, its low bit
  // clear), or 0 for no key.
  uintptr_t bits_ = 0;
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_NODE_KEY_H_
