// NodeList: the flat keyed list of a Doc's nodes, with the platform Collection's rules.
//
// Positions count from 1, keys compare without regard to case, a used key fails with 457, a
// missing key with 5, a position out of range with 9, any other index with 13, and an
// enumeration under way survives removals. Unlike the general Collection, adding, finding and
// removing by key take constant time however many nodes there are, so that taking a large
// subtree out costs time in proportion to its size.
#ifndef BORVANE_DOCTREE_NODE_LIST_H_
#define BORVANE_DOCTREE_NODE_LIST_H_

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "borvane/automation/object.h"
#include "borvane/automation/variant.h"
#include "borvane/doctree/doc_node.h"

namespace borvane {

class NodeList {
 public:
  NodeList() = default;
  // Lets go of the nodes, the last added first: a node added later is most often a child of
  // one added before it, and one that goes only after its parent costs no visit of its own.
  ~NodeList();
  NodeList(const NodeList&) = delete;
  NodeList& operator=(const NodeList&) = delete;

  int32_t Count() const { return static_cast<int32_t>(slots_.size() - dead_); }
  // Room for about `more` nodes to come, so that a large read does not move the list as it
  // grows; ReleaseUnusedRoom gives back what stayed unused when that was most of it. The room
  // at least doubles, so that many small reads into a large Doc do not move it each time.
  void Reserve(size_t more) {
    if (slots_.size() + more > slots_.capacity())
      slots_.reserve(std::max(slots_.size() + more, 2 * slots_.capacity()));
  }
  void ReleaseUnusedRoom() {
    if (slots_.capacity() - slots_.size() > std::max(slots_.size(), size_t{1024}))
      slots_.shrink_to_fit();
  }
  // Adds `node` at the end under its own key; 457 when the key is in use.
  void Add(DocNode* node);
  // Add for a node whose key is the generated "N<number>": the reader's many nodes take the
  // number index at once while it has room and no key of that form stands in the table.
  void AddNumbered(DocNode* node, uint32_t number) {
    if (identity_ == slots_.size() && number == slots_.size() + 1 && number <= 999999999) {
      // Every node so far has the key of its place, so no node has this one.
      slots_.push_back(node);
      node->AddRef();
      ++identity_;
      return;
    }
    if (number < numbered_.size() && numbered_in_table_ == 0 && !numbered_[number] &&
        !InIdentity(number) && slots_.size() < kTombstone - 1) {
      slots_.push_back(node);
      node->AddRef();
      numbered_[number] = static_cast<uint32_t>(slots_.size());
      return;
    }
    Add(node);
  }
  // The node under `key`, or nullptr.
  DocNode* Find(std::u16string_view key) const;
  // The node at `position` (from 1, within range).
  DocNode* At(int32_t position);
  // The node that `index` names, as Collection.Item finds it.
  DocNode* Item(const Variant& index);
  // Takes the node under `key` out; 5 when there is none.
  void Remove(std::u16string_view key);

  // Enumeration: slots in order, nullptr where a node was removed. A live enumeration pins the
  // slots in place.
  size_t SlotCount() const { return slots_.size(); }
  DocNode* Slot(size_t i) const { return slots_[i]; }
  void PinSlots() { ++pins_; }
  void UnpinSlots() { --pins_; }

 private:
  static constexpr uint32_t kEmpty = 0;
  static constexpr uint32_t kTombstone = UINT32_MAX;

  struct Cell {
    uint32_t slot;  // slot index + 1, kEmpty or kTombstone
    uint32_t hash;  // low bits of the key's hash, compared before the key itself
  };
  // Index into table_ for `key`: where it stands, or the empty cell that ends its probe.
  size_t Probe(std::u16string_view key, size_t hash) const;
  void Insert(uint32_t slot, size_t hash);
  // Places slot `slot` under its key, whose number (as Numbered gives it) is `number`, in the
  // number index or the table.
  void Index(uint32_t slot, int64_t number);
  // Whether the node at place `number` of the identity prefix is still there: it has that key.
  bool InIdentity(int64_t number) const {
    return number >= 1 && static_cast<size_t>(number) <= identity_ && slots_[number - 1];
  }
  // Find, with the key's number as Numbered gives it.
  DocNode* Find(std::u16string_view key, int64_t number) const;
  // Numbered of a node's key.
  int64_t NumberOf(const DocNode* node) const;
  // The number k of a key "N<k>" (either case, no leading zero) that the number index may
  // hold, or -1.
  int64_t Numbered(std::u16string_view key) const;
  void Rehash(size_t cells);
  // Drops the removed slots, when no enumeration is pinning them.
  void Compact();

  // The nodes in the order of adding, each holding a reference; nullptr where one was removed.
  // Plain pointers, so that growing the list moves them as one block.
  std::vector<DocNode*> slots_;
  size_t dead_ = 0;
  size_t first_live_ = 0;  // no live slot before this one
  int32_t pins_ = 0;
  // Open addressing over slot indices (+1); kTombstone marks a removed key.
  std::vector<Cell> table_;
  size_t table_used_ = 0;  // cells that are not kEmpty
  // Generated keys "N1", "N2", ... stand here by their number (slot index + 1, or 0), so that
  // the common case costs no hashing and no random access.
  std::vector<uint32_t> numbered_;
  size_t numbered_in_table_ = 0;  // keys of that form that stand in the table instead
  // Slots 0 to identity_ - 1 were filled in order by the keys "N1", "N2", ... (as a Doc read into
  // while empty fills them): such a key is found at its place, in neither index. A slot of the
  // prefix emptied by a removal stays empty until the list is compacted, which ends the prefix.
  size_t identity_ = 0;
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_NODE_LIST_H_
