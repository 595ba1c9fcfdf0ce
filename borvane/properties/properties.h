// Properties: a keyed, ordered collection of Property descriptors, and Refresh, which makes
// descriptors for any object from its type information.
#ifndef BORVANE_PROPERTIES_PROPERTIES_H_
#define BORVANE_PROPERTIES_PROPERTIES_H_

#include <cstdint>

#include "borvane/automation/binding.h"
#include "borvane/automation/collection.h"
#include "borvane/automation/dispatch.h"
#include "borvane/properties/property.h"

namespace borvane {

class Properties : public Dispatchable<Properties> {
 public:
  static constexpr const char* kClassName = "Properties";
  static void Describe(ClassBuilder<Properties>& b);

  Properties() : mcolProperties(MakeRef<Collection>()) {}

  // Adds one descriptor per property of AnyObj's default interface, in interface order, to what
  // is already here; further accessors of a name only add their kind to the stored descriptor.
  // Members named "Properties" (exactly) and methods are passed over. Descriptors hold AnyObj
  // without a count. Fails as "Properties:Enumerate method" (0x8004C3B5) when the object has no
  // type information or a step fails; what was added before stays.
  void Refresh(Object& AnyObj);
  // Appends a descriptor under sKey, or under its Name when sKey is empty. 457 for a used key
  // (case-blind), 91 for Nothing.
  void Add(Ref<Property>& objNewMember, String& sKey);
  // By position (from 1) or key: 9 or 5 when there is none.
  Ref<Property> Item(Variant& vntIndexKey) const;
  int32_t Count() const { return mcolProperties->Count(); }
  void Remove(Variant& vntIndexKey);
  Ref<Enumerator> NewEnum() { return mcolProperties->NewEnum(); }

  // Typed helpers for library code: the descriptor at a position from 1 (unchecked), or under a
  // name (nullptr when there is none).
  Property& At(int32_t position) const;
  Property* Find(const String& name) const;

 private:
  Ref<Collection> mcolProperties;
};

}  // namespace borvane

#endif  // BORVANE_PROPERTIES_PROPERTIES_H_
