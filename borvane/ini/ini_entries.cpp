#include "borvane/ini/ini_entries.h"

#include <algorithm>
#include <bit>

#include "borvane/automation/collection.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"

namespace borvane {

namespace {

// Up to this many entries a name is found by a scan of the hashes.
constexpr size_t kScanLimit = 16;

uint32_t NameHash(std::u16string_view name) {
  return static_cast<uint32_t>(HashNoCase(name));
}

// The slot where a hash starts its probe in a table of `size` slots (a power of 2). The
// multiplication spreads the hash's high bits into the ones that pick the slot.
size_t HomeSlot(uint32_t hash, size_t size) {
  return static_cast<size_t>((hash * 0x9E3779B97F4A7C15ull) >> (64 - std::countr_zero(size)));
}

}  // namespace

// An enumeration over the entries. It stands either on the entry it gave last (`next_` is the
// position behind it) or, once that entry was removed, on the gap it left (`next_` is the
// position of what followed it). So it goes on as Collection's does: with the entry that
// followed the removed one, and not at all if none followed, even when entries are added later.
class IniEntries::Walk final : public Enumerator {
 public:
  Walk(const Object& owner, IniEntries& list) : owner_(owner), list_(list) {
    list_.walks_.push_back(this);
  }
  ~Walk() override { std::erase(list_.walks_, this); }

  bool Next(Variant& item) override {
    // At the start, or after a removal, the entry at next_ is the one to give.
    if (state_ == kFresh || state_ == kGap) state_ = kOn;
    if (state_ != kOn || next_ >= list_.entries_.size()) {
      state_ = kDone;
      return false;
    }
    item = Variant(list_.entries_[next_++].item);
    return true;
  }

  // The entry at `position` is gone; `count` entries are left.
  void Removed(size_t position, size_t count) {
    if (state_ == kOn && next_ > 0 && position == next_ - 1) {
      --next_;
      state_ = next_ < count ? kGap : kDone;
    } else if (state_ == kGap && position == next_) {
      if (next_ >= count) state_ = kDone;
    } else if ((state_ == kOn || state_ == kGap) && position < next_) {
      --next_;
    }
  }

 private:
  enum State { kFresh, kOn, kGap, kDone };
  Object owner_;  // keeps the list alive as long as the enumeration
  IniEntries& list_;
  size_t next_ = 0;
  State state_ = kFresh;
};

ptrdiff_t IniEntries::Position(std::u16string_view name, uint32_t hash) const {
  if (slots_.empty()) {
    for (size_t i = 0; i < entries_.size(); ++i)
      if (entries_[i].hash == hash && EqualsNoCase(NameOf(i), name))
        return static_cast<ptrdiff_t>(i);
    return -1;
  }
  size_t mask = slots_.size() - 1;
  for (size_t s = HomeSlot(hash, slots_.size());; s = (s + 1) & mask) {
    uint32_t slot = slots_[s];
    if (slot == 0) return -1;
    if (entries_[slot - 1].hash == hash && EqualsNoCase(NameOf(slot - 1), name))
      return static_cast<ptrdiff_t>(slot) - 1;
  }
}

ObjectBase* IniEntries::Find(std::u16string_view name) const {
  ptrdiff_t i = Position(name, NameHash(name));
  return i < 0 ? nullptr : entries_[static_cast<size_t>(i)].item.Get();
}

void IniEntries::Index(size_t position) {
  size_t mask = slots_.size() - 1;
  size_t s = HomeSlot(entries_[position].hash, slots_.size());
  while (slots_[s] != 0) s = (s + 1) & mask;
  slots_[s] = static_cast<uint32_t>(position + 1);
}

void IniEntries::Reindex() {
  // Without slots (also when making them fails) names are found by a scan.
  slots_.clear();
  if (entries_.size() <= kScanLimit) return;
  // At most half the slots in use keeps the probes short.
  slots_.assign(std::bit_ceil(entries_.size() * 2), 0);
  for (size_t i = 0; i < entries_.size(); ++i) Index(i);
}

void IniEntries::Add(Object item, std::u16string_view name) {
  size_t name_end = names_.size() + name.size();
  entries_.push_back(Entry{std::move(item), NameHash(name), static_cast<uint32_t>(name_end)});
  try {
    names_.append(name);
  } catch (...) {
    entries_.pop_back();
    throw;
  }
  if (entries_.size() * 2 > slots_.size()) {
    if (entries_.size() > kScanLimit) Reindex();
  } else {
    Index(entries_.size() - 1);
  }
}

size_t IniEntries::Locate(const Variant& index) const {
  CollectionIndex at(index);
  if (at.by_key) {
    ptrdiff_t i = Position(at.key.view(), NameHash(at.key.view()));
    if (i < 0) ThrowPlatformError(kErrInvalidCall);
    return static_cast<size_t>(i);
  }
  if (at.position < 1 || at.position > Count()) ThrowPlatformError(kErrSubscript);
  return static_cast<size_t>(at.position - 1);
}

Object IniEntries::Item(const Variant& index) const {
  if (index.IsString()) {
    ObjectBase* found = Find(index.StringRef().view());
    if (!found) ThrowPlatformError(kErrInvalidCall);
    return Object(found);
  }
  return entries_[Locate(index)].item;
}

void IniEntries::Remove(const Variant& index) {
  size_t position = Locate(index);
  // The member goes last: its end may run code that looks at this list.
  Object removed = std::move(entries_[position].item);
  std::u16string_view name = NameOf(position);
  size_t begin = static_cast<size_t>(name.data() - names_.data()), length = name.size();
  names_.erase(begin, length);
  for (size_t i = position + 1; i < entries_.size(); ++i)
    entries_[i].name_end -= static_cast<uint32_t>(length);
  entries_.erase(entries_.begin() + static_cast<ptrdiff_t>(position));
  Reindex();
  for (Walk* w : walks_) w->Removed(position, entries_.size());
}

Ref<Enumerator> IniEntries::NewEnum(const Object& owner) {
  return Ref<Enumerator>(new Walk(owner, *this));
}

}  // namespace borvane
