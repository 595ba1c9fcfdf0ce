#include "borvane/doctree/node_name.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace borvane {

NodeName::Block* NodeName::NewBlock(std::u16string_view text, bool null) {
  void* memory = std::malloc(offsetof(Block, text) + (text.size() + 1) * sizeof(char16_t));
  if (!memory) throw std::bad_alloc();
  Block* block = static_cast<Block*>(memory);
  block->refs = 1;
  block->size = static_cast<uint32_t>(text.size());
  block->null = null;
  std::copy(text.begin(), text.end(), block->text);
  return block;
}

NodeName::NodeName(const String& name) {
  if (!name.empty() || name.IsNull()) block_ = NewBlock(name.view(), name.IsNull());
}

NodeName::NodeName(std::u16string_view name) {
  if (!name.empty()) block_ = NewBlock(name, false);
}

NodeName NodeName::Shared(const String& name) {
  // A few recent names, each kept by one reference of the thread's own until another name
  // takes its place or the thread ends.
  static constexpr size_t kSlots = 8;
  thread_local NodeName recent[kSlots];
  const std::u16string_view text = name.view();
  if (text.empty()) return NodeName(name);
  NodeName& slot = recent[(text.size() * 31 + text.front() + text.back()) % kSlots];
  if (!slot.block_ || slot.block_->null != name.IsNull() || slot.view() != text)
    slot = NodeName(name);
  return slot;
}

String NodeName::ToString() const {
  if (block_ && block_->null) return String::Null();
  return String(view());
}

}  // namespace borvane
