#include "borvane/properties/type_lib_info.h"

#include "borvane/automation/error.h"

namespace borvane::tli {

TLIApplication& Application() {
  thread_local TLIApplication app;
  return app;
}

InterfaceInfo TLIApplication::InterfaceInfoFromObject(const Object& obj) const {
  if (!obj) ThrowPlatformError(kErrObjectNotSet);
  const borvane::InterfaceInfo& iface = obj->GetClassInfo().default_interface;
  if (iface.members.empty()) ThrowPlatformError(kErrNoSuchMember);
  return InterfaceInfo(iface);
}

std::vector<MemberInfo> InterfaceInfo::Members() const {
  std::vector<MemberInfo> out;
  out.reserve(iface_->members.size());
  for (const borvane::MemberInfo& m : iface_->members) out.emplace_back(m);
  return out;
}

std::vector<MemberInfo> TypeInfo::Members() const {
  std::vector<MemberInfo> out;
  if (desc_->Kind() == TKIND_ENUM) {
    for (const ConstantInfo& c : desc_->Constants()) out.emplace_back(c);
  } else if (desc_->Kind() == TKIND_DISPATCH && desc_->Interface()) {
    for (const borvane::MemberInfo& m : desc_->Interface()->members) out.emplace_back(m);
  }
  return out;
}

String MemberInfo::Name() const {
  return member_ ? member_->name : constant_->name;
}

int32_t MemberInfo::InvokeKind() const {
  return member_ ? member_->invoke_kind : 0;
}

String MemberInfo::HelpString(int32_t lcid) const {
  (void)lcid;
  return member_ ? member_->help_string : constant_->help;
}

int16_t MemberInfo::AttributeStrings(std::vector<String>& names) const {
  names.clear();
  if (member_) names = member_->attributes;
  return static_cast<int16_t>(names.size());
}

VarTypeInfo MemberInfo::ReturnType() const {
  if (constant_) return VarTypeInfo(TypeRef::Builtin(constant_->value.VarType()));
  bool writes =
      member_->invoke_kind == INVOKE_PROPERTYPUT || member_->invoke_kind == INVOKE_PROPERTYPUTREF;
  if (writes && !member_->params.empty()) return VarTypeInfo(member_->params.back().type);
  return VarTypeInfo(member_->return_type);
}

Variant MemberInfo::Value() const {
  return constant_ ? constant_->value : Variant();
}

TypeRef VarTypeInfo::Effective() const {
  TypeRef t = type_;
  if (!Application().ResolveAliases()) return t;
  // Follow a chain of aliases to the first type that is not one (bounded against a cycle).
  for (int depth = 0; depth < 64 && t.desc && t.desc->Kind() == TKIND_ALIAS; ++depth)
    t = t.desc->Aliased();
  return t;
}

int32_t VarTypeInfo::VarType() const {
  TypeRef t = Effective();
  return t.desc ? vbEmpty : t.vartype;
}

Variant VarTypeInfo::TypedVariant() const {
  return Effective().TypedVariant();
}

TypeInfo VarTypeInfo::GetTypeInfo() const {
  TypeRef t = Effective();
  if (!t.desc) ThrowPlatformError(kErrInvalidCall);
  return TypeInfo(*t.desc);
}

}  // namespace borvane::tli
