#include "borvane/doctree/node_name.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
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
  // The empty and the null name hold no text to share.
  if (name.empty() || name.IsNull()) return NodeName(name);
  // Kept until the thread ends, on the heap: the library has initial-exec thread-locals, so when
  // it is loaded at run time (from Python) all of its thread-local block must fit in the small
  // room the loader keeps for that, and the recent names would not.
  thread_local std::unique_ptr<RecentNames> recent;
  if (!recent) recent = std::make_unique<RecentNames>();
  return recent->Share(name.view());
}

String NodeName::ToString() const {
  if (block_ && block_->null) return String::Null();
  return String(view());
}

}  // namespace borvane
