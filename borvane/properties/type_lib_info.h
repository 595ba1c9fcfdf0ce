// TypeLib Information: answers what Properties.Refresh asks about an object's type, from the
// library's own type information (ClassInfo, MemberInfo, TypeRef, TypeDesc).
//
// The objects here are light views over descriptions that live as long as their classes; they
// are cheap to copy and hold no reference on any automation object. One application object per
// thread carries the ResolveAliases setting.
#ifndef BORVANE_PROPERTIES_TYPE_LIB_INFO_H_
#define BORVANE_PROPERTIES_TYPE_LIB_INFO_H_

#include <cstdint>
#include <vector>

#include "borvane/automation/object.h"
#include "borvane/automation/string.h"
#include "borvane/automation/typeinfo.h"
#include "borvane/automation/variant.h"

namespace borvane::tli {

class TypeInfo;

// The type of a member or of a constant.
class VarTypeInfo {
 public:
  explicit VarTypeInfo(TypeRef type) : type_(type) {}

  // The variant type number; 0 when the type is not built in and TypeInfo describes it. While
  // the thread's ResolveAliases is False an alias reports 0; while True it reports the type the
  // alias stands for.
  int32_t VarType() const;
  // A Variant of the type (its zero value, Nothing for objects), for the platform's type name.
  Variant TypedVariant() const;
  // The description of a type that is not built in (the alias itself, or with ResolveAliases
  // the type it stands for). Error 5 for a built-in type.
  TypeInfo GetTypeInfo() const;

 private:
  TypeRef Effective() const;
  TypeRef type_;
};

// A member of an interface, or a constant of an enumeration.
class MemberInfo {
 public:
  explicit MemberInfo(const borvane::MemberInfo& member) : member_(&member) {}
  explicit MemberInfo(const ConstantInfo& constant) : constant_(&constant) {}

  String Name() const;
  // 1 method, 2 property get, 4 property let, 8 property set; 0 for a constant.
  int32_t InvokeKind() const;
  // The help text, empty when there is none. Only the neutral locale exists.
  String HelpString(int32_t lcid = 0) const;
  // Replaces `names` by the member's attribute names ("NonBrowsable", "Hidden", ...), which the
  // platform numbers from 1: position p is names[p - 1]. Gives the count.
  int16_t AttributeStrings(std::vector<String>& names) const;
  // For a get or a method, its result type. For a let or a set, the type of its value (the last
  // parameter): that is the property's type as a writer sees it, so that a property whose first
  // accessor is a set or let is described by the same type as its get. A constant's type is the
  // type of its value.
  VarTypeInfo ReturnType() const;
  // The value of a constant; Empty for an interface member.
  Variant Value() const;

 private:
  const borvane::MemberInfo* member_ = nullptr;
  const ConstantInfo* constant_ = nullptr;
};

// A type that is not built in.
class TypeInfo {
 public:
  explicit TypeInfo(const TypeDesc& desc) : desc_(&desc) {}

  String Name() const { return desc_->Name(); }
  // 0 enumeration, 1 record, 4 dispatch interface, 6 alias (borvane::TypeKind).
  int32_t TypeKind() const { return desc_->Kind(); }
  // An enumeration's constants in order; a dispatch interface's members when known; else none.
  std::vector<MemberInfo> Members() const;

 private:
  const TypeDesc* desc_;
};

// The default interface of an object's class.
class InterfaceInfo {
 public:
  explicit InterfaceInfo(const borvane::InterfaceInfo& iface) : iface_(&iface) {}

  String Name() const { return iface_->name; }
  // All members in interface order; each accessor of a property is a member of its own.
  std::vector<MemberInfo> Members() const;

 private:
  const borvane::InterfaceInfo* iface_;
};

// The application object: one per thread, made on first use and kept for the thread's life.
class TLIApplication {
 public:
  bool ResolveAliases() const { return resolve_aliases_; }
  void LetResolveAliases(bool value) { resolve_aliases_ = value; }

  // The description of `obj`'s default interface. Error 91 for Nothing. An object whose class
  // describes no member has no type information (it answers calls itself, if at all): error 438.
  InterfaceInfo InterfaceInfoFromObject(const Object& obj) const;

 private:
  bool resolve_aliases_ = false;
};

// This thread's application object.
TLIApplication& Application();

}  // namespace borvane::tli

#endif  // BORVANE_PROPERTIES_TYPE_LIB_INFO_H_
