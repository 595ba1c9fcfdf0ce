#include "borvane/automation/typeinfo.h"

#include "borvane/automation/error.h"
#include "borvane/automation/text.h"

namespace borvane {

Variant TypeRef::TypedVariant() const {
  if (desc) {
    switch (desc->Kind()) {
      case TKIND_ENUM:
        return Variant(int32_t{0});
      case TKIND_ALIAS:
        return desc->Aliased().TypedVariant();
      case TKIND_DISPATCH:
      case TKIND_INTERFACE:
      case TKIND_COCLASS:
        return Variant::Nothing();
      default:
        return Variant();
    }
  }
  if (vartype & vbArray) return Variant(Array(vartype & ~vbArray, {}));
  if (vartype == vbNull) return Variant::Null();
  // A type without a zero value of its own (a record, an unknown number) reads as Empty.
  try {
    return Variant::ZeroOf(vartype);
  } catch (const Error&) {
    return Variant();
  }
}

std::unique_ptr<TypeDesc> TypeDesc::Enum(String name, std::vector<ConstantInfo> constants) {
  auto d = std::make_unique<TypeDesc>();
  d->name_ = std::move(name);
  d->kind_ = TKIND_ENUM;
  d->constants_ = std::move(constants);
  return d;
}

std::unique_ptr<TypeDesc> TypeDesc::Alias(String name, TypeRef aliased) {
  auto d = std::make_unique<TypeDesc>();
  d->name_ = std::move(name);
  d->kind_ = TKIND_ALIAS;
  d->aliased_ = aliased;
  return d;
}

std::unique_ptr<TypeDesc> TypeDesc::Dispatch(String name, const InterfaceInfo* iface) {
  auto d = std::make_unique<TypeDesc>();
  d->name_ = std::move(name);
  d->kind_ = TKIND_DISPATCH;
  d->iface_ = iface;
  return d;
}

std::unique_ptr<TypeDesc> TypeDesc::Record(String name) {
  auto d = std::make_unique<TypeDesc>();
  d->name_ = std::move(name);
  d->kind_ = TKIND_RECORD;
  return d;
}

const String& TypeDesc::Name() const {
  return iface_ ? iface_->name : name_;
}

bool MemberInfo::HasAttribute(std::u16string_view attribute) const {
  for (const String& a : attributes)
    if (EqualsNoCase(a.view(), attribute)) return true;
  return false;
}

size_t InterfaceInfo::NoCaseHash::operator()(std::u16string_view s) const {
  return HashNoCase(s);
}
bool InterfaceInfo::NoCaseEq::operator()(std::u16string_view a, std::u16string_view b) const {
  return EqualsNoCase(a, b);
}

const std::vector<const MemberInfo*>& InterfaceInfo::Find(std::u16string_view name) const {
  static const std::vector<const MemberInfo*> kNone;
  auto it = index_.find(name);
  return it == index_.end() ? kNone : it->second;
}

const MemberInfo* InterfaceInfo::FindById(int32_t memid, int32_t invoke_kind) const {
  for (const MemberInfo& m : members)
    if (m.memid == memid && (m.invoke_kind & invoke_kind)) return &m;
  return nullptr;
}

void InterfaceInfo::Seal() {
  index_.clear();
  for (const MemberInfo& m : members) index_[m.name.str()].push_back(&m);
}

const TypeDesc& ClassInfo::AsType() const {
  if (!as_type_) as_type_ = TypeDesc::Dispatch(default_interface.name, &default_interface);
  return *as_type_;
}

const TypeDesc& OleColorType() {
  static const std::unique_ptr<TypeDesc> desc =
      TypeDesc::Alias("OLE_COLOR", TypeRef::Builtin(vbLong));
  return *desc;
}

}  // namespace borvane
