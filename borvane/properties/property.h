// Property: the descriptor of one property of one automation object (its host), and a live
// handle on it. Value holds nothing of its own: it calls the host's property by name.
#ifndef BORVANE_PROPERTIES_PROPERTY_H_
#define BORVANE_PROPERTIES_PROPERTY_H_

#include <cstdint>

#include "borvane/automation/binding.h"
#include "borvane/automation/collection.h"
#include "borvane/automation/dispatch.h"

namespace borvane {

enum EnumPropertyCategory : int32_t {
  MISC_PROPERTYCATEGORY = 0,
};

// The enumeration EnumPropertyCategory as a type, the declared type of Property.Category.
const TypeDesc& EnumPropertyCategoryType();

class Property : public Dispatchable<Property> {
 public:
  static constexpr const char* kClassName = "Property";
  static void Describe(ClassBuilder<Property>& b);

  Property();
  EventSource* GetEventSource() override { return &events_; }

  String Name() const { return mstrName; }
  String FriendlyName() const { return mstrFriendlyName; }
  void LetFriendlyName(const String& value) { mstrFriendlyName = value; }
  String Description() const { return mstrDescription; }
  void LetDescription(const String& value) { mstrDescription = value; }
  // Selects the conversion that a write of Value makes (compared exactly, case included).
  String TypeName() const { return mstrTypeName; }
  void LetTypeName(const String& value) { mstrTypeName = value; }
  // Advisory only: Value does not look at it.
  bool ReadOnly() const { return mbolReadOnly; }
  void LetReadOnly(bool value) { mbolReadOnly = value; }
  bool NonBrowsable() const { return mbolNonBrowsable; }
  void LetNonBrowsable(bool value) { mbolNonBrowsable = value; }
  String AttributeString() const { return mstrAttributeString; }
  void LetAttributeString(const String& value) { mstrAttributeString = value; }

  // Reads the host's property by name. With TypeName "Font" the result must be an object (13
  // otherwise); else it is handed on as the host gave it. 91 without a host; the host's errors
  // come through unchanged.
  Variant Value() const;
  // Converts vData by TypeName ("Long"/"OLE_COLOR", "String", "Boolean", "Double"), or passes
  // it as given, and lets the host's property by name; "Font" uses a set call instead. The
  // conversion's error (13, 6) comes before any call on the host. Raises no event.
  void LetValue(const Variant& vData);

  // The stored collection itself: entries "NAME;value" from Refresh.
  Ref<Collection> EnumeratedOptions() const { return mcolEnumeratedOptions; }
  EnumPropertyCategory Category() const { return static_cast<EnumPropertyCategory>(mlngCategory); }
  // Any Long is stored without a check.
  void LetCategory(EnumPropertyCategory value) { mlngCategory = value; }
  // A new counted reference to the host, or Nothing.
  Object HostObj() const;
  Ref<Collection> CollectionType() const { return mcolCollectionType; }
  void SetCollectionType(const Ref<Collection>& value) { mcolCollectionType = value; }

  // Library-internal, for Properties.Refresh.
  void SetName(const String& name) { mstrName = name; }
  int32_t InvokeKinds() const { return mlngInvokeKinds; }
  // Stores the sum of accessor kinds and recomputes ReadOnly: True without a let (4) or set (8).
  void SetInvokeKinds(int32_t value);
  // Keeps the host's address only: the descriptor does not keep its host alive.
  void SetHostObj(const Object& host);

 private:
  bool mbolReadOnly = false;
  String mstrName;
  String mstrTypeName;
  int32_t mlngCategory = MISC_PROPERTYCATEGORY;
  Ref<Collection> mcolCollectionType;
  int32_t mlngInvokeKinds = 0;
  Ref<Collection> mcolEnumeratedOptions;
  ObjectBase* mlngHostObj = nullptr;
  String mstrFriendlyName;
  String mstrDescription;
  bool mbolNonBrowsable = false;
  String mstrAttributeString;
  EventSource events_;
};

// The outgoing interface __Property: the one event IsChanged, declared and never raised.
const InterfaceInfo& PropertyEventInterface();

}  // namespace borvane

#endif  // BORVANE_PROPERTIES_PROPERTY_H_
