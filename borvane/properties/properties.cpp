#include "borvane/properties/properties.h"

#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/frame/class_table.h"
#include "borvane/frame/error_handling.h"
#include "borvane/properties/type_lib_info.h"

namespace borvane {

void Properties::Describe(ClassBuilder<Properties>& b) {
  b.Creatable()
      .Order(kOrderProperties)
      .Ids(ClassId(kOrderProperties), InterfaceId(kOrderProperties))
      .Method("Refresh", &Properties::Refresh, {"AnyObj"})
      .Method("Add", &Properties::Add, {"objNewMember", Opt("sKey")})
      .Get("Item", &Properties::Item, {"vntIndexKey"}, {.id = DISPID_VALUE})
      .Get("Count", &Properties::Count)
      .Method("Remove", &Properties::Remove, {"vntIndexKey"})
      .Get("NewEnum", &Properties::NewEnum, {}, {.id = DISPID_NEWENUM, .attributes = {"Hidden"}});
}

void Properties::Add(Ref<Property>& objNewMember, String& sKey) {
  if (!objNewMember) ThrowPlatformError(kErrObjectNotSet);
  String key = sKey.empty() ? objNewMember->Name() : sKey;
  mcolProperties->Add(Variant(objNewMember), Variant(key));
}

Ref<Property> Properties::Item(Variant& vntIndexKey) const {
  return mcolProperties->Item(vntIndexKey).ToObject().As<Property>();
}

void Properties::Remove(Variant& vntIndexKey) {
  mcolProperties->Remove(vntIndexKey);
}

Property& Properties::At(int32_t position) const {
  return static_cast<Property&>(*mcolProperties->At(position).ToObject());
}

Property* Properties::Find(const String& name) const {
  const Variant* v = mcolProperties->Find(name);
  return v ? static_cast<Property*>(v->ToObject().Get()) : nullptr;
}

namespace {

// The display texts come from the member's help string: "FriendlyName:Description:Attributes",
// the last piece taking every further ":".
void ApplyHelpString(Property& prop, const String& help) {
  std::vector<String> pieces = Split(help, ":", 3);
  if (pieces.empty()) {
    prop.LetFriendlyName(String());
    prop.LetDescription(String());
    prop.LetAttributeString(String());
    return;
  }
  prop.LetFriendlyName(pieces[0]);
  if (pieces.size() >= 2) prop.LetDescription(pieces[1]);
  if (pieces.size() >= 3) prop.LetAttributeString(pieces[2]);
}

// Each constant of type Long becomes "NAME;value". Aliases are followed only while one
// constant's type is read, so that the member types around stay unresolved.
void AddEnumeratedOptions(Property& prop, const tli::TypeInfo& enumeration) {
  tli::TLIApplication& app = tli::Application();
  Ref<Collection> options = prop.EnumeratedOptions();
  for (const tli::MemberInfo& constant : enumeration.Members()) {
    app.LetResolveAliases(true);
    if (EqualsNoCase(u"Long", TypeName(constant.ReturnType().TypedVariant()).view()))
      options->Add(Variant(constant.Name() + String(";") + CStr(constant.Value())));
    app.LetResolveAliases(false);
  }
}

// Gives the TypeName for a member's type, or false when the type has no descriptor.
bool TypeNameFor(Property& prop, const tli::VarTypeInfo& type) {
  int32_t base = static_cast<int32_t>(static_cast<uint32_t>(type.VarType()) & 0xFFFFCFFFu);
  if (base > 0) {
    prop.LetTypeName(TypeName(type.TypedVariant()));
    return true;
  }
  tli::TypeInfo info = type.GetTypeInfo();
  switch (info.TypeKind()) {
    case TKIND_ENUM:
      prop.LetTypeName("Long");
      AddEnumeratedOptions(prop, info);
      return true;
    case TKIND_DISPATCH:
    case TKIND_ALIAS:
      prop.LetTypeName(info.Name());
      return true;
    default:
      return false;
  }
}

}  // namespace

void Properties::Refresh(Object& AnyObj) {
  tli::TLIApplication& app = tli::Application();
  app.LetResolveAliases(false);
  Guarded("Properties:Enumerate method", [&] {
    tli::InterfaceInfo iface = app.InterfaceInfoFromObject(AnyObj);
    std::vector<String> attributes;
    for (const tli::MemberInfo& member : iface.Members()) {
      String name = member.Name();
      if (name == String("Properties")) continue;
      int32_t kind = member.InvokeKind();
      if (kind != INVOKE_PROPERTYGET && kind != INVOKE_PROPERTYPUT && kind != INVOKE_PROPERTYPUTREF)
        continue;
      Ref<Property> prop = MakeRef<Property>();
      prop->SetHostObj(AnyObj);
      prop->SetName(name);
      prop->SetInvokeKinds(prop->InvokeKinds() + kind);
      ApplyHelpString(*prop, member.HelpString(0));
      int16_t count = member.AttributeStrings(attributes);
      for (int16_t i = 1; i <= count; ++i)
        if (EqualsNoCase(attributes[i - 1].view(), u"NonBrowsable")) prop->LetNonBrowsable(true);
      if (!TypeNameFor(*prop, member.ReturnType())) continue;
      try {
        String no_key;
        Add(prop, no_key);
      } catch (const Error& e) {
        // A later accessor of a name already described: it only adds its kind.
        if (e.Number() != kErrKeyAlreadyUsed) throw;
        Variant key(prop->Name());
        Ref<Property> stored = Item(key);
        stored->SetInvokeKinds(stored->InvokeKinds() + kind);
      }
    }
  });
}

BORVANE_REGISTER_CLASS(Properties)

}  // namespace borvane
