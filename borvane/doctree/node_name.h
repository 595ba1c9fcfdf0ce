// NodeName: a DocNode's name in one pointer. Copies share the text, so that the nodes read
// from one document share the name they repeat instead of each holding a String of it.
#ifndef BORVANE_DOCTREE_NODE_NAME_H_
#define BORVANE_DOCTREE_NODE_NAME_H_

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "borvane/automation/string.h"

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
// thread. A hash has two places: a dozen names in 64 places collide more often than not, and
// two that did would take each other's place on every node.
class RecentNames {
 public:
  // A name with the text `name`: one kept under its hash when that has the same text, else a
  // new one that takes the first place, whose name moves to the second.
  const NodeName& Share(std::u16string_view name) {
    const size_t slot = Slot(name);
    NodeName& first = names_[slot];
    if (SameText(name, first.view())) return first;
    NodeName& second = names_[slot ^ 1];
    if (SameText(name, second.view())) return second;
    second = std::move(first);
    first = NodeName(name);
    return first;
  }

 private:
  static constexpr size_t kSlots = 64;
  static size_t Slot(std::u16string_view name) {
    if (name.empty()) return 0;
    const size_t mixed = name.size() * 0x9e37u ^ name.front() * 31u ^ name.back() * 131u ^
                         name[name.size() / 2] * 7u;
    return (mixed ^ (mixed >> 6)) % kSlots;
  }

  NodeName names_[kSlots];
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_NODE_NAME_H_
