// Collection: the platform's ordered container with optional case-blind text keys.
//
// Positions count from 1. Adding a used key raises 457, a missing key 5, a position out of range
// 9, and an index that is neither a number nor a text 13. Lookup by key and by position take
// constant time on average. An enumeration under way survives the removal of entries: it goes
// on with the entry that followed the removed one.
#ifndef BORVANE_AUTOMATION_COLLECTION_H_
#define BORVANE_AUTOMATION_COLLECTION_H_

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "borvane/automation/binding.h"
#include "borvane/automation/dispatch.h"
#include "borvane/automation/variant.h"

namespace borvane {

// An index as a Collection reads it: a text names an entry by its key; a number, Boolean or Date
// names one by its position from 1, converted as CLng converts; an object stands for its default
// value. Any other index raises 13.
struct CollectionIndex {
  explicit CollectionIndex(const Variant& index);
  bool by_key = false;
  String key;
  int32_t position = 0;
};

class Collection : public Dispatchable<Collection> {
 public:
  static constexpr const char* kClassName = "Collection";
  static void Describe(ClassBuilder<Collection>& b);

  Collection() = default;
  ~Collection() override;

  // Adds `item` under `key` (a text, or missing for none), at the end or before/after the entry
  // that `before` or `after` names by position or key (at most one of them). Errors: 457 for a
  // used key, 5 for both before and after, 13 for a key that is not a text.
  void Add(const Variant& item, const Variant& key = Variant::Missing(),
           const Variant& before = Variant::Missing(), const Variant& after = Variant::Missing());
  // The entry at a position (a number) or under a key (a text).
  Variant Item(const Variant& index) const;
  int32_t Count() const { return static_cast<int32_t>(order_.size()); }
  void Remove(const Variant& index);
  // Removes every entry.
  void Clear();
  Ref<Enumerator> NewEnum();

  // Typed helpers for library code.
  bool Exists(const String& key) const;
  // The entry under `key`, or nullptr.
  const Variant* Find(const String& key) const;
  // The entry at `position` (from 1), unchecked beyond an assertion of range.
  const Variant& At(int32_t position) const { return order_[position - 1]->item; }

 private:
  struct Node {
    Variant item;
    String key;
    bool has_key = false;
    bool removed = false;
    std::shared_ptr<Node> next;
    Node* prev = nullptr;
  };
  struct KeyHash {
    using is_transparent = void;
    size_t operator()(std::u16string_view s) const;
  };
  struct KeyEq {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const;
  };

  // Position (from 0) of the entry that `index` names; raises the lookup errors.
  size_t Locate(const Variant& index) const;
  void InsertAt(size_t position, std::shared_ptr<Node> node);

  std::shared_ptr<Node> head_;
  Node* tail_ = nullptr;
  std::vector<Node*> order_;  // entries by position
  // Keyed entries by their key, which the entry's own key text holds: it never changes while the
  // entry is in the map.
  std::unordered_map<std::u16string_view, Node*, KeyHash, KeyEq> keys_;
};

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_COLLECTION_H_
