#include "borvane/doctree/node_list.h"

#include <algorithm>
#include <utility>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/doctree/doc_node.h"

namespace borvane {

namespace {

// Spreads the case-blind hash over all bits: the table uses the low ones, and keys such as
// "N1" to "N1000000" differ mostly in a few characters.
size_t Spread(std::u16string_view key) {
  uint64_t h = HashNoCase(key);
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdull;
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53ull;
  h ^= h >> 33;
  return static_cast<size_t>(h);
}

}  // namespace

size_t NodeList::Probe(std::u16string_view key, size_t hash) const {
  size_t mask = table_.size() - 1;
  uint32_t tag = static_cast<uint32_t>(hash);
  for (size_t i = hash & mask;; i = (i + 1) & mask) {
    const Cell& cell = table_[i];
    if (cell.slot == kEmpty) return i;
    if (cell.slot != kTombstone && cell.hash == tag &&
        EqualsNoCase(slots_[cell.slot - 1]->mstrKey.Text().view(), key))
      return i;
  }
}

int64_t NodeList::Numbered(std::u16string_view key) const {
  if (key.size() < 2 || key.size() > 10 || (key[0] != u'N' && key[0] != u'n') || key[1] == u'0')
    return -1;
  int64_t number = 0;
  for (size_t i = 1; i < key.size(); ++i) {
    if (key[i] < u'0' || key[i] > u'9') return -1;
    number = number * 10 + (key[i] - u'0');
  }
  return number;
}

int64_t NodeList::NumberOf(const DocNode* node) const {
  uint32_t number = node->mstrKey.Number();
  // The same as Numbered of the key's text, which takes at most nine digits.
  if (number != 0 && number <= 999999999) return number;
  return Numbered(node->mstrKey.Text().view());
}

DocNode* NodeList::Find(std::u16string_view key) const {
  return Find(key, Numbered(key));
}

DocNode* NodeList::Find(std::u16string_view key, int64_t number) const {
  if (number >= 0) {
    if (InIdentity(number)) return slots_[number - 1];
    if (static_cast<size_t>(number) < numbered_.size() && numbered_[number])
      return slots_[numbered_[number] - 1];
    if (numbered_in_table_ == 0) return nullptr;
  }
  if (table_.empty()) return nullptr;
  uint32_t slot = table_[Probe(key, Spread(key))].slot;
  return slot == kEmpty ? nullptr : slots_[slot - 1];
}

void NodeList::Insert(uint32_t slot, size_t hash) {
  size_t mask = table_.size() - 1;
  size_t i = hash & mask;
  while (table_[i].slot != kEmpty && table_[i].slot != kTombstone) i = (i + 1) & mask;
  if (table_[i].slot == kEmpty) ++table_used_;
  table_[i] = Cell{slot + 1, static_cast<uint32_t>(hash)};
}

void NodeList::Index(uint32_t slot, int64_t number) {
  if (number == static_cast<int64_t>(slot) + 1 && identity_ == slot) {
    ++identity_;
    return;
  }
  if (number >= 0) {
    // The index grows with the list; a number far beyond it goes to the table.
    size_t limit = 2 * (slots_.size() + 1024);
    if (static_cast<size_t>(number) < limit) {
      if (static_cast<size_t>(number) >= numbered_.size())
        numbered_.resize(std::max(static_cast<size_t>(number) + 1, numbered_.size() * 2), 0);
      numbered_[number] = slot + 1;
      return;
    }
    ++numbered_in_table_;
  }
  // Keep at least half of the cells empty, so that probes stay short.
  if ((table_used_ + 1) * 2 > table_.size()) {
    Rehash(static_cast<size_t>(Count() + 1) * 4);
    // Rehash placed this slot too, if it was in the table.
    return;
  }
  Insert(slot, Spread(slots_[slot]->mstrKey.Text().view()));
}

void NodeList::Rehash(size_t cells) {
  size_t size = 16;
  while (size < cells) size *= 2;
  table_.assign(size, Cell{kEmpty, 0});
  table_used_ = 0;
  for (size_t i = 0; i < slots_.size(); ++i) {
    if (!slots_[i]) continue;
    int64_t number = NumberOf(slots_[i]);
    if (number >= 0 && static_cast<size_t>(number) < numbered_.size() && numbered_[number] == i + 1)
      continue;
    if (number == static_cast<int64_t>(i) + 1 && i < identity_) continue;
    Insert(static_cast<uint32_t>(i), Spread(slots_[i]->mstrKey.Text().view()));
  }
}

NodeList::~NodeList() {
  while (!slots_.empty()) {
    DocNode* node = slots_.back();
    slots_.pop_back();
    if (node) node->Release();
  }
}

void NodeList::Add(DocNode* node) {
  if (slots_.size() >= kTombstone - 1) ThrowPlatformError(kErrOutOfMemory);
  int64_t number = NumberOf(node);
  // A generated key is found by its number alone unless keys of that form stand in the table;
  // only then is its text made.
  bool used;
  if (number >= 0 && node->mstrKey.Number() != 0 && numbered_in_table_ == 0)
    used =
        InIdentity(number) || (static_cast<size_t>(number) < numbered_.size() && numbered_[number]);
  else
    used = Find(node->mstrKey.Text().view(), number) != nullptr;
  if (used) ThrowPlatformError(kErrKeyAlreadyUsed);
  slots_.push_back(node);
  node->AddRef();
  Index(static_cast<uint32_t>(slots_.size() - 1), number);
}

DocNode* NodeList::At(int32_t position) {
  if (dead_ == 0) return slots_[position - 1];
  if (position == 1) {
    while (!slots_[first_live_]) ++first_live_;
    return slots_[first_live_];
  }
  if (pins_ == 0) {
    Compact();
    return slots_[position - 1];
  }
  for (DocNode* node : slots_)
    if (node && --position == 0) return node;
  return nullptr;
}

DocNode* NodeList::Item(const Variant& index) {
  if (index.IsObject()) return Item(DefaultValue(index.ToObject()));
  if (index.IsString()) {
    DocNode* node = Find(index.StringRef().view());
    if (!node) ThrowPlatformError(kErrInvalidCall);
    return node;
  }
  if (index.IsNumber() || index.GetIf<bool>() || index.GetIf<Date>()) {
    int32_t position = CLng(index);
    if (position < 1 || position > Count()) ThrowPlatformError(kErrSubscript);
    return At(position);
  }
  ThrowPlatformError(kErrTypeMismatch);
}

void NodeList::Remove(std::u16string_view key) {
  size_t slot;
  int64_t number = Numbered(key);
  if (InIdentity(number)) {
    slot = static_cast<size_t>(number) - 1;
  } else if (number >= 0 && static_cast<size_t>(number) < numbered_.size() && numbered_[number]) {
    slot = numbered_[number] - 1;
    numbered_[number] = 0;
  } else {
    if (table_.empty()) ThrowPlatformError(kErrInvalidCall);
    size_t cell = Probe(key, Spread(key));
    if (table_[cell].slot == kEmpty) ThrowPlatformError(kErrInvalidCall);
    slot = table_[cell].slot - 1;
    table_[cell].slot = kTombstone;
    if (number >= 0) --numbered_in_table_;
  }
  // The list's reference goes when the removal is done.
  Ref<DocNode> node(std::exchange(slots_[slot], nullptr));
  node->Release();
  ++dead_;
  // Removed slots are dropped once they are the majority, so that memory follows the count.
  if (pins_ == 0 && dead_ > 64 && dead_ * 2 > slots_.size()) Compact();
}

void NodeList::Compact() {
  size_t kept = 0;
  for (size_t i = 0; i < slots_.size(); ++i)
    if (slots_[i]) slots_[kept++] = slots_[i];
  slots_.resize(kept);
  dead_ = 0;
  first_live_ = 0;
  numbered_.clear();
  numbered_in_table_ = 0;
  identity_ = 0;
  size_t limit = 2 * (kept + 1024);
  for (size_t i = 0; i < kept; ++i) {
    int64_t number = NumberOf(slots_[i]);
    if (number < 0) continue;
    if (static_cast<size_t>(number) >= limit) {
      ++numbered_in_table_;
      continue;
    }
    if (static_cast<size_t>(number) >= numbered_.size())
      numbered_.resize(static_cast<size_t>(number) + 1, 0);
    numbered_[number] = static_cast<uint32_t>(i + 1);
  }
  Rehash(kept * 4);
}

}  // namespace borvane
