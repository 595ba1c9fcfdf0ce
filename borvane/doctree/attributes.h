// Attributes: the ordered list of a DocNode's name and value pairs, without keys.
#ifndef BORVANE_DOCTREE_ATTRIBUTES_H_
#define BORVANE_DOCTREE_ATTRIBUTES_H_

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "borvane/automation/slab_pool.h"

#include "borvane/automation/collection.h"
#include "borvane/doctree/attribute_obj.h"

namespace borvane {

class AttributesSlot;

// The pairs of one Attributes in order, as plain pointers: the collection holds the references.
// Up to four stand in the object itself, as most lists have no more, so that the writer reaches
// a pair in one step from its list.
class AttributePairList {
 public:
  AttributePairList() = default;
  AttributePairList(const AttributePairList&) = delete;
  AttributePairList& operator=(const AttributePairList&) = delete;
  ~AttributePairList() {
    if (data_ != inline_) delete[] data_;
  }

  int32_t size() const { return size_; }
  // The pair at `index`, from 0.
  const AttributeObj& operator[](int32_t index) const { return *data_[index]; }
  AttributeObj* at(int32_t index) const { return data_[index]; }
  void push_back(AttributeObj* pair) {
    if (size_ == capacity_) Grow();
    data_[size_++] = pair;
  }
  void pop_back() { --size_; }
  void clear() { size_ = 0; }

 private:
  static constexpr int32_t kInline = 4;
  void Grow();

  AttributeObj** data_ = inline_;
  int32_t size_ = 0;
  int32_t capacity_ = kInline;
  AttributeObj* inline_[kInline];
};

// A text in one block of the slab pool, grown by doubling: the texts of lists built together
// stand together in memory, in the order in which the writer reads them, where heap blocks
// would be scattered over the holes that other blocks left.
class PooledText {
 public:
  PooledText() = default;
  PooledText(const PooledText&) = delete;
  PooledText& operator=(const PooledText&) = delete;
  ~PooledText() { Free(); }

  // The size stands here, not in the block, so that measuring does not reach the block.
  size_t size() const { return size_; }
  std::u16string_view view() const {
    return std::u16string_view(block_ ? Units(block_) : nullptr, size_);
  }
  void clear() { size_ = 0; }
  // Throws std::bad_alloc when it cannot grow, with the text as it was.
  void append(std::u16string_view text) {
    if (!block_ || block_->capacity - size_ < text.size()) Grow(size_ + text.size());
    std::copy(text.begin(), text.end(), Units(block_) + size_);
    size_ += static_cast<uint32_t>(text.size());
  }

 private:
  // The block's head; its `capacity` units follow it.
  struct Block {
    uint64_t capacity;
  };
  static char16_t* Units(Block* block) { return reinterpret_cast<char16_t*>(block + 1); }
  void Grow(size_t needed);
  void Free() noexcept;

  Block* block_ = nullptr;
  uint32_t size_ = 0;
};

// Made with every node that has attributes: from the slab pool, like the nodes.
class Attributes : public Dispatchable<Attributes>, public Pooled {
 public:
  static constexpr const char* kClassName = "Attributes";
  static void Describe(ClassBuilder<Attributes>& b);

  Attributes();
  ~Attributes() override;

  // Appends a new pair (guarded: "Attributes:Add Method"). A missing Value is stored as the
  // missing marker.
  Ref<AttributeObj> Add(String& Name, Variant& Value);
  // The pair at a position from 1; the Collection's own errors pass through (a text fails:
  // entries have no keys).
  Ref<AttributeObj> Item(Variant& vntIndexKey);
  Ref<AttributeObj> Item(const Variant& vntIndexKey);
  int32_t Count() const { return pairs_.size(); }
  void Remove(Variant& vntIndexKey);
  Ref<Enumerator> NewEnum() { return mcolAttributes->NewEnum(); }
  void Clear();

  // Library-internal: the same as Clear, for DocNode.RemoveNode.
  void ClearAll() { Clear(); }
  // Library-internal: the pairs' text forms joined by one space; empty when there are none.
  String ToAttributeString() const;
  void AppendAttributeString(std::u16string& out) const;
  // The same text, given to put(std::u16string_view) in pieces.
  template <class Put>
  void PutAttributeString(Put&& put) const {
    const int32_t count = Count();
    for (int32_t i = 0; i < count; ++i) {
      if (i > 0) put(std::u16string_view(u" "));
      pairs_[i].PutAttributeText(put);
    }
  }
  // Characters of the attribute text at most, the text being written with `decimal` as the
  // thread's decimal point. Makes the list's text again when a change left it stale.
  size_t TextBound(char16_t decimal) const {
    return text_decimal_ == decimal ? text_.size() : StaleTextBound(decimal);
  }
  // The attribute text as PutAttributeString gives it, kept since the list was built or last
  // measured: true when nothing has changed it since and it was made with `decimal`.
  bool FreshText(char16_t decimal, std::u16string_view& text) const {
    text = text_.view();
    return text_decimal_ == decimal;
  }
  // Library-internal: a pair of this list has changed, or is about to.
  void PairChanged() const { text_decimal_ = 0; }
  // Library-internal: replaces all pairs by those in `Text`, which is stored back trimmed and
  // with the spaces inside quotes marked.
  void FromAttributeString(String& Text);
  // Library-internal: the same for a text that is not stored back.
  void ReadAttributeString(std::u16string_view text);

  // Stores in `slot` the pairs that ReadAttributeString would make of `text`, packed without
  // making any object (nothing when there are none); false, with `slot` unchanged, when reading
  // the text would fail. The packed form holds the outcome of every test, so that unpacking it
  // later gives the same pairs whatever the thread's locale is by then. A list in the form the
  // writer gives (see ForEachRegularPair) is kept as it stands, which is its own packed form.
  static bool PackAttributeString(std::u16string_view text, AttributesSlot& slot);
  // The same, with the decimal separator of the thread's locale as the caller read it: a reader
  // of many lists asks once.
  static bool PackAttributeString(std::u16string_view text, AttributesSlot& slot, char16_t decimal);
  // Appends the pairs waiting in `slot`.
  void Unpack(const AttributesSlot& slot);
  // One pair waiting in a slot: its kind, its name, and for kText its value.
  struct PackedPair {
    AttributePiece::Kind kind;
    std::u16string_view name;
    std::u16string_view value;
  };
  // Calls pair(PackedPair) with each pair waiting in `slot`, in order.
  template <class F>
  static void ForEachPackedPair(const AttributesSlot& slot, F&& pair);
  // Calls put(text) with the pieces of the attribute text of the pairs waiting in `slot`, as
  // AppendAttributeString writes them once unpacked: the writer reads waiting pairs without
  // making their objects.
  template <class Put>
  static void ForEachPackedText(const AttributesSlot& slot, Put&& put);
  // Characters of that text at most.
  static size_t PackedTextBound(const AttributesSlot& slot);
  // Writes the text of the regular list `list` (see ForEachRegularPair) to `out`, which has
  // room for twice its length, and gives the place behind it: the list with its numbers quoted.
  static char16_t* QuoteRegularNumbers(std::u16string_view list, char16_t* out);

 private:
  // Adds `pair` at the end of both the collection and the list, and its text to the list's
  // text `with_text`: a program that adds pairs one by one is building a document to write. A
  // list made from a read one is mostly read, not written: its text is made when it is measured.
  void Append(Ref<AttributeObj> pair, bool with_text);
  // Adds the text of `pair`, just appended, to the list's text; leaves that stale when it
  // cannot.
  void AppendText(const AttributeObj& pair) noexcept;
  // Makes the list's text from its pairs; leaves it stale when it cannot.
  void RemakeText() const noexcept;
  // TextBound when the text is not fresh for `decimal`.
  size_t StaleTextBound(char16_t decimal) const;
  // Names `owner` as the list of every pair in the list.
  void SetOwners(Attributes* owner);
  // The first pair of a non-empty packed form, which is moved past it.
  static PackedPair TakePackedPair(std::u16string_view& packed);
  // Appends a pair with an empty name and a missing value, and reads `piece` into it.
  void AddPiece(std::u16string_view piece);

  Ref<Collection> mcolAttributes;
  // The collection's pairs again, kept in step with it: the collection gives callers its
  // errors and enumeration, the list gives the writer the pairs without its entries.
  AttributePairList pairs_;
  // The pairs' text as the writer writes it, made as pairs are added and again when measured
  // after a change: most lists are written as they were built, and the writer then reads one
  // block instead of every pair. Fresh while text_decimal_ is the decimal point it was made
  // with, which a number's text depends on; 0 when stale.
  mutable PooledText text_;
  mutable char16_t text_decimal_ = 0;
};

// A node's attributes in one word: the Attributes object (counted), or the pairs the reader
// packed (Attributes::PackAttributeString) until the object is first needed, or neither. The
// packed pairs are one block of the slab pool, made and freed on the node's thread: either the
// packed form or, for a regular list, the list's own text.
class AttributesSlot {
 public:
  AttributesSlot() = default;
  AttributesSlot(const AttributesSlot&) = delete;
  AttributesSlot& operator=(const AttributesSlot&) = delete;
  ~AttributesSlot() { Reset(); }

  // The object, or nullptr when there is none (packed pairs or nothing).
  Attributes* object() const {
    return (bits_ & kPacked) ? nullptr : reinterpret_cast<Attributes*>(bits_);
  }
  bool has_packed() const { return bits_ & kPacked; }
  // The block of packed pairs: the packed form, or the list's text when regular().
  std::u16string_view packed() const {
    const uint64_t* block = PackedBlock();
    return block ? std::u16string_view(reinterpret_cast<const char16_t*>(block + 1), *block)
                 : std::u16string_view();
  }
  // Packed pairs kept as the list's own text, which is also how the writer writes them when
  // verbatim() (no unquoted number in it).
  bool regular() const { return bits_ & kRegular; }
  bool verbatim() const { return bits_ & kVerbatim; }
  // Each replaces what the slot held.
  void SetObject(Ref<Attributes> object) {
    Reset();
    bits_ = reinterpret_cast<uintptr_t>(object.Detach());
  }
  void SetPacked(std::u16string_view packed) { SetBlock(packed, kPacked); }
  void SetRegular(std::u16string_view text, bool verbatim) {
    SetBlock(text, kPacked | kRegular | (verbatim ? kVerbatim : 0));
  }
  void Reset();

 private:
  // Set in the address of a packed block: objects and blocks are aligned to 16 bytes.
  static constexpr uintptr_t kPacked = 1;
  static constexpr uintptr_t kRegular = 2;
  static constexpr uintptr_t kVerbatim = 4;
  static constexpr uintptr_t kTags = 7;
  void SetBlock(std::u16string_view units, uintptr_t tags);
  // The length, then the units.
  uint64_t* PackedBlock() const {
    return (bits_ & kPacked) ? reinterpret_cast<uint64_t*>(bits_ & ~kTags) : nullptr;
  }

  uintptr_t bits_ = 0;
};

inline size_t Attributes::PackedTextBound(const AttributesSlot& slot) {
  // A verbatim list is its own text. A regular list gains two quotes per number, and each
  // number stands on at least two characters of its own ("=" and a digit). A packed pair takes
  // three units and its name and value, and its text at most seven characters more ("=FALSE"
  // and a space).
  const size_t size = slot.packed().size();
  return slot.verbatim() ? size : slot.regular() ? 2 * size : 3 * size;
}

// The pairs of a regular list: name=value pieces, one space apart, each value quoted (without
// a quote inside), TRUE, FALSE, a plain number or nothing, and no "|" anywhere.
template <class F>
void ForEachRegularPair(std::u16string_view text, F&& pair) {
  while (true) {
    Attributes::PackedPair p{AttributePiece::kText, {}, {}};
    const size_t eq = text.find(u'=');
    p.name = text.substr(0, eq);
    text.remove_prefix(eq + 1);
    size_t end;
    if (!text.empty() && text.front() == u'"') {
      end = text.find(u'"', 1) + 1;
      p.value = text.substr(1, end - 2);
    } else {
      end = std::min(text.find(u' '), text.size());
      p.value = text.substr(0, end);
      if (p.value == u"TRUE") {
        p.kind = AttributePiece::kTrue;
      } else if (p.value == u"FALSE") {
        p.kind = AttributePiece::kFalse;
      } else if (p.value.empty()) {
        p.kind = AttributePiece::kMissing;
      }
    }
    pair(p);
    if (end >= text.size()) return;
    text.remove_prefix(end + 1);
  }
}

template <class F>
void Attributes::ForEachPackedPair(const AttributesSlot& slot, F&& pair) {
  std::u16string_view packed = slot.packed();
  if (packed.empty()) return;
  if (slot.regular()) return ForEachRegularPair(packed, pair);
  while (!packed.empty()) pair(TakePackedPair(packed));
}

template <class Put>
void Attributes::ForEachPackedText(const AttributesSlot& slot, Put&& put) {
  if (slot.verbatim()) return put(slot.packed());
  bool first = true;
  ForEachPackedPair(slot, [&](const PackedPair& pair) {
    if (!first) put(std::u16string_view(u" "));
    first = false;
    put(pair.name);
    switch (pair.kind) {
      case AttributePiece::kTrue:
        put(std::u16string_view(u"=TRUE"));
        break;
      case AttributePiece::kFalse:
        put(std::u16string_view(u"=FALSE"));
        break;
      case AttributePiece::kText:
        put(std::u16string_view(u"=\""));
        put(pair.value);
        put(std::u16string_view(u"\""));
        break;
      default:  // no "=" or no value: an empty name or value has no text
        put(std::u16string_view(u"="));
        break;
    }
  });
}

}  // namespace borvane

#endif  // BORVANE_DOCTREE_ATTRIBUTES_H_
