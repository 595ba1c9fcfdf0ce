// Attributes: the ordered list of a DocNode's name and value pairs, without keys.
#ifndef BORVANE_DOCTREE_ATTRIBUTES_H_
#define BORVANE_DOCTREE_ATTRIBUTES_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "borvane/automation/slab_pool.h"

#include "borvane/automation/collection.h"
#include "borvane/doctree/attribute_obj.h"

namespace borvane {

class AttributesSlot;

// Made with every node that has attributes: from the slab pool, like the nodes.
class Attributes : public Dispatchable<Attributes>, public Pooled {
 public:
  static constexpr const char* kClassName = "Attributes";
  static void Describe(ClassBuilder<Attributes>& b);

  Attributes();

  // Appends a new pair (guarded: "Attributes:Add Method"). A missing Value is stored as the
  // missing marker.
  Ref<AttributeObj> Add(String& Name, Variant& Value);
  // The pair at a position from 1; the Collection's own errors pass through (a text fails:
  // entries have no keys).
  Ref<AttributeObj> Item(Variant& vntIndexKey);
  Ref<AttributeObj> Item(const Variant& vntIndexKey);
  int32_t Count() const { return mcolAttributes->Count(); }
  void Remove(Variant& vntIndexKey);
  Ref<Enumerator> NewEnum() { return mcolAttributes->NewEnum(); }
  void Clear();

  // Library-internal: the same as Clear, for DocNode.RemoveNode.
  void ClearAll() { Clear(); }
  // Library-internal: the pairs' text forms joined by one space; empty when there are none.
  String ToAttributeString() const;
  void AppendAttributeString(std::u16string& out) const;
  // Characters of the attribute text at most.
  size_t TextBound() const;
  // Library-internal: replaces all pairs by those in `Text`, which is stored back trimmed and
  // with the spaces inside quotes marked.
  void FromAttributeString(String& Text);
  // Library-internal: the same for a text that is not stored back.
  void ReadAttributeString(std::u16string_view text);

  // Stores in `slot` the pairs that ReadAttributeString would make of `text`, packed without
  // making any object (nothing when there are none); false, with `slot` unchanged, when reading
  // the text would fail. The packed form holds the outcome of every test, so that unpacking it
  // later gives the same pairs whatever the thread's locale is by then.
  static bool PackAttributeString(std::u16string_view text, AttributesSlot& slot);
  // Appends the pairs of a packed form.
  void Unpack(std::u16string_view packed);
  // One pair of a packed form: its kind, its name, and for kText its value.
  struct PackedPair {
    AttributePiece::Kind kind;
    std::u16string_view name;
    std::u16string_view value;
  };
  // The first pair of a non-empty packed form, which is moved past it.
  static PackedPair TakePackedPair(std::u16string_view& packed);
  // Calls put(text) with the pieces of the attribute text of a packed form, as
  // AppendAttributeString writes the pairs it unpacks to; the writer reads packed pairs
  // without making their objects.
  template <class Put>
  static void ForEachPackedText(std::u16string_view packed, Put&& put);
  // Characters of that text at most: a pair packs to three units and its name and value, and
  // its text takes at most seven characters more ("=FALSE" and a space).
  static size_t PackedTextBound(std::u16string_view packed) { return packed.size() * 3; }

 private:
  const AttributeObj& PairAt(int32_t position) const;
  // Appends a pair with an empty name and a missing value, and reads `piece` into it.
  void AddPiece(std::u16string_view piece);

  Ref<Collection> mcolAttributes;
};

// A node's attributes in one word: the Attributes object (counted), or the pairs the reader
// packed (Attributes::PackAttributeString) until the object is first needed, or neither. The
// packed pairs are one block of the slab pool, made and freed on the node's thread.
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
  std::u16string_view packed() const {
    const uint64_t* block = PackedBlock();
    return block ? std::u16string_view(reinterpret_cast<const char16_t*>(block + 1), *block)
                 : std::u16string_view();
  }
  // Each replaces what the slot held.
  void SetObject(Ref<Attributes> object) {
    Reset();
    bits_ = reinterpret_cast<uintptr_t>(object.Detach());
  }
  void SetPacked(std::u16string_view packed);
  void Reset();

 private:
  // Set in the address of a packed block: objects and blocks are aligned to 16 bytes.
  static constexpr uintptr_t kPacked = 1;
  // The length, then the units.
  uint64_t* PackedBlock() const {
    return (bits_ & kPacked) ? reinterpret_cast<uint64_t*>(bits_ & ~kPacked) : nullptr;
  }

  uintptr_t bits_ = 0;
};

template <class Put>
void Attributes::ForEachPackedText(std::u16string_view packed, Put&& put) {
  bool first = true;
  while (!packed.empty()) {
    const PackedPair pair = TakePackedPair(packed);
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
  }
}

}  // namespace borvane

#endif  // BORVANE_DOCTREE_ATTRIBUTES_H_
