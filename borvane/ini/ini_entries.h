// IniEntries: the members of IniFileKeys or IniFileSections in order, under case-blind names.
//
// It behaves as the Collection these classes would otherwise hold, for the uses they make of
// one: entries added at the end under a new name, looked up by name, by position (from 1) or by
// an index that Item and Remove read as Collection reads it, with Collection's errors (5 for an
// unknown name, 9 for a position out of range, 13 for an index of another type), and an
// enumeration that survives the removal of entries in the same way. It is no object of its own:
// a tree of 100,000 keys is read and freed faster when each key costs an IniFileKey, its value
// and 16 bytes here, with no list node and map node beside them.
#ifndef BORVANE_INI_INI_ENTRIES_H_
#define BORVANE_INI_INI_ENTRIES_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "borvane/automation/dispatch.h"
#include "borvane/automation/variant.h"

namespace borvane {

class IniEntries {
 public:
  IniEntries() = default;
  IniEntries(const IniEntries&) = delete;
  IniEntries& operator=(const IniEntries&) = delete;

  int32_t Count() const { return static_cast<int32_t>(entries_.size()); }
  // The member under `name`, or nullptr.
  ObjectBase* Find(std::u16string_view name) const;
  // Adds `item` at the end under `name`, which must not be in use.
  void Add(Object item, std::u16string_view name);
  // Makes room for `count` more members whose names have `name_length` characters in all, for
  // a caller that knows what will come.
  void Reserve(size_t count, size_t name_length) {
    entries_.reserve(entries_.size() + count);
    names_.reserve(names_.size() + name_length);
  }
  // The member at `position` (1 to Count), unchecked.
  ObjectBase& At(int32_t position) const { return *entries_[position - 1].item; }
  // The member that `index` names; raises as Collection.Item does.
  Object Item(const Variant& index) const;
  // Removes the member that `index` names; raises as Collection.Remove does.
  void Remove(const Variant& index);
  // An enumeration of the members that keeps `owner` (the holder of this list) alive.
  Ref<Enumerator> NewEnum(const Object& owner);

 private:
  class Walk;
  struct Entry {
    Object item;
    uint32_t hash;      // of the name, case-blind
    uint32_t name_end;  // where the entry's name ends in names_
  };

  // The name entry `i` was added under, whatever the member is called later.
  std::u16string_view NameOf(size_t i) const {
    size_t begin = i == 0 ? 0 : entries_[i - 1].name_end;
    return std::u16string_view(names_).substr(begin, entries_[i].name_end - begin);
  }
  // Position (from 0) of the entry under `name`, or -1.
  ptrdiff_t Position(std::u16string_view name, uint32_t hash) const;
  size_t Locate(const Variant& index) const;
  void Index(size_t position);
  void Reindex();

  std::vector<Entry> entries_;
  std::u16string names_;  // the entries' names, one after the other
  // Entry positions + 1 by hash, open addressing; 0 marks a free slot. Few entries go without:
  // a scan of their hashes is as fast and costs no table.
  std::vector<uint32_t> slots_;
  // Enumerations under way, told of every removal.
  std::vector<Walk*> walks_;
};

}  // namespace borvane

#endif  // BORVANE_INI_INI_ENTRIES_H_
