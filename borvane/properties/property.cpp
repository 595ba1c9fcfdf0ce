#include "borvane/properties/property.h"

#include <memory>

#include "borvane/automation/convert.h"
#include "borvane/frame/class_table.h"
#include "borvane/frame/error_handling.h"

namespace borvane {

const TypeDesc& EnumPropertyCategoryType() {
  static const std::unique_ptr<TypeDesc> desc = TypeDesc::Enum(
      "EnumPropertyCategory", {{"MISC_PROPERTYCATEGORY", Variant(int32_t{MISC_PROPERTYCATEGORY})}});
  return *desc;
}

const InterfaceInfo& PropertyEventInterface() {
  static const InterfaceInfo& iface = []() -> const InterfaceInfo& {
    static InterfaceInfo info;
    EventInterfaceBuilder(info, "__Property")
        .Event("IsChanged", {}, "Fired if the Property is changed");
    info.iid = EventInterfaceId(kOrderProperty);
    info.Seal();
    return info;
  }();
  return iface;
}

void Property::Describe(ClassBuilder<Property>& b) {
  const TypeRef category = TypeRef::Described(EnumPropertyCategoryType());
  const char* kCollectionTypeHelp = "A collection of types to choose between";
  b.Creatable()
      .Order(kOrderProperty)
      .Ids(ClassId(kOrderProperty), InterfaceId(kOrderProperty))
      .Events(PropertyEventInterface())
      .Get("Name", &Property::Name)
      .Let("FriendlyName", &Property::LetFriendlyName, {"Value"})
      .Get("FriendlyName", &Property::FriendlyName)
      .Let("Description", &Property::LetDescription, {"Value"})
      .Get("Description", &Property::Description)
      .Let("TypeName", &Property::LetTypeName, {"Value"})
      .Get("TypeName", &Property::TypeName)
      .Let("ReadOnly", &Property::LetReadOnly, {"Value"})
      .Get("ReadOnly", &Property::ReadOnly)
      .Let("NonBrowsable", &Property::LetNonBrowsable, {"Value"})
      .Get("NonBrowsable", &Property::NonBrowsable)
      .Let("AttributeString", &Property::LetAttributeString, {"Value"})
      .Get("AttributeString", &Property::AttributeString)
      .Let("Value", &Property::LetValue, {"vData"}, {.id = DISPID_VALUE})
      .Get("Value", &Property::Value, {}, {.id = DISPID_VALUE})
      .Get("EnumeratedOptions", &Property::EnumeratedOptions)
      .Let("Category", &Property::LetCategory, {Param("Value").Type(category)})
      .Get("Category", &Property::Category, {}, Returns(category))
      .Get("HostObj", &Property::HostObj)
      .Set("CollectionType", &Property::SetCollectionType, {"Value"}, {.help = kCollectionTypeHelp})
      .Get("CollectionType", &Property::CollectionType, {}, {.help = kCollectionTypeHelp});
}

Property::Property()
    : mcolCollectionType(MakeRef<Collection>()), mcolEnumeratedOptions(MakeRef<Collection>()) {}

Variant Property::Value() const {
  Variant result = CallByName(HostObj(), mstrName, VbGet);
  if (mstrTypeName == String("Font")) return Variant(ObjectFromVariant(result));
  return result;
}

void Property::LetValue(const Variant& vData) {
  const String& t = mstrTypeName;
  std::vector<Variant> args;
  VbCallType kind = VbLet;
  if (t == String("Long") || t == String("OLE_COLOR")) {
    args.emplace_back(CLng(vData));
  } else if (t == String("String")) {
    args.emplace_back(CStr(vData));
  } else if (t == String("Boolean")) {
    args.emplace_back(CBool(vData));
  } else if (t == String("Double")) {
    args.emplace_back(CDbl(vData));
  } else if (t == String("Font")) {
    kind = VbSet;
    args.push_back(vData);
  } else {
    args.push_back(vData);
  }
  CallByName(HostObj(), mstrName, kind, args);
}

Object Property::HostObj() const {
  return Guarded("Property:HostObj Property Get", [&] { return Object(mlngHostObj); });
}

void Property::SetHostObj(const Object& host) {
  Guarded("Property:HostObj Property Let", [&] { mlngHostObj = host.Get(); });
}

void Property::SetInvokeKinds(int32_t value) {
  mlngInvokeKinds = value;
  mbolReadOnly = (value & (INVOKE_PROPERTYPUT | INVOKE_PROPERTYPUTREF)) == 0;
}

BORVANE_REGISTER_CLASS(Property)

}  // namespace borvane
