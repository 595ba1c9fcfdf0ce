// NodeKey: a DocNode's key, kept small. The keys a Doc generates, "N" and a number, are held as
// the number and made into text only when asked for; any other key is held as its text.
#ifndef BORVANE_DOCTREE_NODE_KEY_H_
#define BORVANE_DOCTREE_NODE_KEY_H_

#include <cstdint>
#include <memory>
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

  bool empty() const { return number_ == 0 && !text_; }
  // The k of a key "N<k>" (capital N, no leading zero, k from 1 to 4294967295); 0 for any other.
  uint32_t Number() const { return number_; }
  void SetNumber(uint32_t number) {
    number_ = number;
    text_.reset();
  }
  void Set(const String& key);
  String ToString() const;
  KeyText Text() const;
  // Exact comparison, with case.
  friend bool operator==(const NodeKey& a, const NodeKey& b) {
    if (a.number_ != b.number_ || !a.text_ != !b.text_) return false;
    return !a.text_ || *a.text_ == *b.text_;
  }

 private:
  uint32_t number_ = 0;
  std::unique_ptr<String> text_;
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_NODE_KEY_H_
