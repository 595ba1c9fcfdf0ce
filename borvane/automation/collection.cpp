#include "borvane/automation/collection.h"

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"

namespace borvane {

void Collection::Describe(ClassBuilder<Collection>& b) {
  b.Method("Add", &Collection::Add, {"Item", Opt("Key"), Opt("Before"), Opt("After")})
      .Method("Count", &Collection::Count)
      .Method("Item", &Collection::Item, {"Index"}, {.id = DISPID_VALUE})
      .Method("Remove", &Collection::Remove, {"Index"})
      .Method("_NewEnum", &Collection::NewEnum, {},
              {.id = DISPID_NEWENUM, .attributes = {"Hidden", "Restricted"}});
}

size_t Collection::KeyHash::operator()(std::u16string_view s) const {
  return HashNoCase(s);
}
bool Collection::KeyEq::operator()(std::u16string_view a, std::u16string_view b) const {
  return EqualsNoCase(a, b);
}

Collection::~Collection() {
  Clear();
}

void Collection::Clear() {
  // Unlink iteratively: a long chain of owning links must not be freed by recursion.
  for (Node* n : order_) n->removed = true;
  // Every entry is marked removed, so an enumeration that holds one of them ends with it.
  while (head_) {
    std::shared_ptr<Node> next = std::move(head_->next);
    head_->prev = nullptr;
    head_ = std::move(next);
  }
  tail_ = nullptr;
  order_.clear();
  keys_.clear();
}

CollectionIndex::CollectionIndex(const Variant& index) {
  if (index.IsObject()) {
    *this = CollectionIndex(DefaultValue(index.ToObject()));
  } else if (index.IsString()) {
    by_key = true;
    key = index.StringRef();
  } else if (index.IsNumber() || index.GetIf<bool>() || index.GetIf<Date>()) {
    position = CLng(index);
  } else {
    ThrowPlatformError(kErrTypeMismatch);
  }
}

size_t Collection::Locate(const Variant& index) const {
  CollectionIndex at(index);
  if (at.by_key) {
    auto it = keys_.find(at.key.view());
    if (it == keys_.end()) ThrowPlatformError(kErrInvalidCall);
    // Keys are few per lookup path; the position comes from a scan only when asked for.
    for (size_t i = 0; i < order_.size(); ++i)
      if (order_[i] == it->second) return i;
    ThrowPlatformError(kErrInvalidCall);
  }
  if (at.position < 1 || at.position > Count()) ThrowPlatformError(kErrSubscript);
  return static_cast<size_t>(at.position - 1);
}

Variant Collection::Item(const Variant& index) const {
  if (index.IsString()) {
    auto it = keys_.find(index.StringRef().view());
    if (it == keys_.end()) ThrowPlatformError(kErrInvalidCall);
    return it->second->item;
  }
  return order_[Locate(index)]->item;
}

bool Collection::Exists(const String& key) const {
  return keys_.count(key.view()) != 0;
}

const Variant* Collection::Find(const String& key) const {
  auto it = keys_.find(key.view());
  return it == keys_.end() ? nullptr : &it->second->item;
}

void Collection::InsertAt(size_t position, std::shared_ptr<Node> node) {
  Node* raw = node.get();
  Node* after = position == 0 ? nullptr : order_[position - 1];
  if (after == nullptr) {
    node->next = head_;
    if (head_) head_->prev = raw;
    head_ = std::move(node);
  } else {
    node->next = after->next;
    if (after->next) after->next->prev = raw;
    node->prev = after;
    after->next = std::move(node);
  }
  if (!raw->next) tail_ = raw;
  order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(position), raw);
}

void Collection::Add(const Variant& item, const Variant& key, const Variant& before,
                     const Variant& after) {
  bool has_before = !before.IsMissing(), has_after = !after.IsMissing();
  if (has_before && has_after) ThrowPlatformError(kErrInvalidCall);
  auto node = std::make_shared<Node>();
  if (!key.IsMissing() && !key.IsEmpty()) {
    if (!key.IsString()) ThrowPlatformError(kErrTypeMismatch);
    node->key = key.StringRef();
    node->has_key = true;
    if (keys_.count(node->key.view())) ThrowPlatformError(kErrKeyAlreadyUsed);
  }
  size_t position = order_.size();
  if (has_before) position = Locate(before);
  if (has_after) position = Locate(after) + 1;
  // An object stays an object; everything else is stored as the value it is.
  node->item = item;
  Node* raw = node.get();
  InsertAt(position, std::move(node));
  if (raw->has_key) keys_.emplace(raw->key.view(), raw);
}

void Collection::Remove(const Variant& index) {
  size_t position = Locate(index);
  Node* n = order_[position];
  order_.erase(order_.begin() + static_cast<std::ptrdiff_t>(position));
  if (n->has_key) {
    auto it = keys_.find(n->key.view());
    if (it != keys_.end()) keys_.erase(it);
  }
  n->removed = true;
  // Keep the node's own forward link, so that an enumeration standing on it goes on.
  std::shared_ptr<Node> self = n->prev ? n->prev->next : head_;
  if (n->next) n->next->prev = n->prev;
  if (n->prev) {
    n->prev->next = n->next;
  } else {
    head_ = n->next;
  }
  if (tail_ == n) tail_ = n->prev;
  n->prev = nullptr;
}

Ref<Enumerator> Collection::NewEnum() {
  Ref<Collection> owner(this);
  auto current = std::make_shared<std::shared_ptr<Node>>();
  auto started = std::make_shared<bool>(false);
  return MakeEnumerator([owner, current, started](Variant& item) {
    std::shared_ptr<Node> candidate;
    if (!*started) {
      *started = true;
      candidate = owner->head_;
    } else if (*current) {
      candidate = (*current)->next;
    }
    while (candidate && candidate->removed) candidate = candidate->next;
    *current = candidate;
    if (!candidate) return false;
    item = candidate->item;
    return true;
  });
}

}  // namespace borvane
