// NodeName: a DocNode's name in one pointer. Copies share the text, so that the nodes read
// from one document share the name they repeat instead of each holding a String of it.
#ifndef BORVANE_DOCTREE_NODE_NAME_H_
#define BORVANE_DOCTREE_NODE_NAME_H_

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "borvane/automation/string.h"
#include "borvane/automation/unit_copy.h"

namespace borvane {

class NodeName {
 public:
  // The empty name.
  NodeName() = default;
  // The text of `name`; a null String stays null.
  explicit NodeName(const String& name);
  explicit NodeName(std::u16string_view name);
  // The same as NodeName(name), sharing the text with a name this thread made lately when it is
  // the same (see RecentNames): a program that builds a document repeats a few names on many
  // nodes, and nodes that share their name's text read it from one place when written.
  static NodeName Shared(const String& name);
  NodeName(const NodeName& other) : block_(other.block_) {
    if (block_) ++block_->refs;
  }
  NodeName(NodeName&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  NodeName& operator=(NodeName other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  // Inline: a reader names every node it makes, and a freed tree drops every name.
  ~NodeName() {
    if (block_ && --block_->refs == 0) std::free(block_);
  }

  std::u16string_view view() const {
    return block_ ? std::u16string_view(block_->text, block_->size) : std::u16string_view();
  }
  size_t size() const { return block_ ? block_->size : 0; }
  String ToString() const;

 private:
  // Names are made and dropped on the thread of their nodes: a plain count will do.
  struct Block {
    uint32_t refs;
    uint32_t size;
    bool null;
    char16_t text[1];
  };
  static Block* NewBlock(std::u16string_view text, bool null);

  Block* block_ = nullptr;
};

// Names seen lately, each kept by a short hash of its text, so that nodes named alike share one
// text however the names alternate: the reader keeps one for each read, NodeName::Shared one per
// thread. A hash has a pair of places of its own: a dozen names collide in one hash more often
// than not, and two that did would take each other's place on every node.
class RecentNames {
 public:
  // A name with the text `name`: one kept in its hash's pair when that has the same text, else a
  // new one that takes the pair's first place, whose name moves to the second.
  const NodeName& Share(std::u16string_view name) {
    NodeName* const pair = names_ + 2 * Hash(name);
    if (SameText(name, pair[0].view())) return pair[0];
    if (SameText(name, pair[1].view())) return pair[1];
    pair[1] = std::move(pair[0]);
    pair[0] = NodeName(name);
    return pair[0];
  }

 private:
  // 4 KB: documents with a few dozen names keep them all, with room enough that three of
  // them rarely share a hash.
  static constexpr size_t kHashes = 256;
  // From every unit of a name up to eight units long, and from its first, middle and last four
  // otherwise: names that differ in one digit ("item12", "item22") must not share a hash.
  static size_t Hash(std::u16string_view name) {
    const size_t n = name.size();
    const char16_t* p = name.data();
    uint64_t mixed = n * 0x9e37u;
    if (n >= 4) {
      mixed ^= LoadUnits<uint64_t>(p) ^ std::rotl(LoadUnits<uint64_t>(p + n - 4), 21) ^
               std::rotl(LoadUnits<uint64_t>(p + (n - 4) / 2), 42);
    } else if (n >= 2) {
      mixed ^= LoadUnits<uint32_t>(p) ^ static_cast<uint64_t>(LoadUnits<uint32_t>(p + n - 2)) << 32;
    } else if (n == 1) {
      mixed ^= p[0];
    }
    mixed ^= mixed >> 32;
    // The high bits of the product depend on every bit of `mixed`.
    return static_cast<size_t>((mixed * 0x9e3779b97f4a7c15u) >> 56);
  }

  NodeName names_[2 * kHashes];
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_NODE_NAME_H_
