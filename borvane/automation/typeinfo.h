// Type information: one description per class of its default interface, which drives both the
// late-bound calls and the inspection of objects by Properties.Refresh.
#ifndef BORVANE_AUTOMATION_TYPEINFO_H_
#define BORVANE_AUTOMATION_TYPEINFO_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "borvane/automation/object.h"
#include "borvane/automation/string.h"
#include "borvane/automation/variant.h"

namespace borvane {

// How a member is called: the platform's invoke kinds.
enum InvokeKind : int32_t {
  INVOKE_FUNC = 1,
  INVOKE_PROPERTYGET = 2,
  INVOKE_PROPERTYPUT = 4,
  INVOKE_PROPERTYPUTREF = 8,
};

// Kinds of type description, as the platform numbers them.
enum TypeKind : int32_t {
  TKIND_ENUM = 0,
  TKIND_RECORD = 1,
  TKIND_MODULE = 2,
  TKIND_INTERFACE = 3,
  TKIND_DISPATCH = 4,
  TKIND_COCLASS = 5,
  TKIND_ALIAS = 6,
  TKIND_UNION = 7,
};

// Member ids with a meaning of their own.
inline constexpr int32_t DISPID_VALUE = 0;
inline constexpr int32_t DISPID_NEWENUM = -4;

class TypeDesc;

// The type of a member, a parameter or a constant: a built-in Variant type (`vartype` above 0,
// vbObject for a plain object, vbVariant for a Variant) or a described type (`vartype` 0 and
// `desc` set).
struct TypeRef {
  int32_t vartype = vbEmpty;
  const TypeDesc* desc = nullptr;

  static TypeRef Builtin(int32_t vt) { return TypeRef{vt, nullptr}; }
  static TypeRef Described(const TypeDesc& d) { return TypeRef{vbEmpty, &d}; }
  bool IsVoid() const { return vartype == vbEmpty && desc == nullptr; }
  // A Variant of this type, holding the type's zero value (Nothing for object types): the
  // platform's type name of it names the type.
  Variant TypedVariant() const;
};

// One constant of an enumeration.
struct ConstantInfo {
  String name;
  Variant value;  // a Long for the library's enumerations
  String help = {};
};

struct InterfaceInfo;

// A type that is not built in: an enumeration, a dispatch interface, an alias or a record.
class TypeDesc {
 public:
  static std::unique_ptr<TypeDesc> Enum(String name, std::vector<ConstantInfo> constants);
  static std::unique_ptr<TypeDesc> Alias(String name, TypeRef aliased);
  static std::unique_ptr<TypeDesc> Dispatch(String name, const InterfaceInfo* iface = nullptr);
  static std::unique_ptr<TypeDesc> Record(String name);

  // A dispatch type that describes an interface bears that interface's name.
  const String& Name() const;
  int32_t Kind() const { return kind_; }
  const std::vector<ConstantInfo>& Constants() const { return constants_; }
  TypeRef Aliased() const { return aliased_; }
  // For a dispatch type, its members when known (nullptr otherwise).
  const InterfaceInfo* Interface() const { return iface_; }

 private:
  String name_;
  int32_t kind_ = TKIND_ENUM;
  std::vector<ConstantInfo> constants_;
  TypeRef aliased_;
  const InterfaceInfo* iface_ = nullptr;
};

// One parameter of a member.
struct ParamInfo {
  String name;
  TypeRef type;
  bool by_ref = false;
  bool optional = false;
  Variant default_value = Variant::Missing();
};

// Calls one member on an object with the caller's arguments (by-reference ones written back).
using Invoker = std::function<Variant(ObjectBase& self, std::vector<Variant>& args)>;

// One member of an interface. A property with a get and a let is two members of one name.
struct MemberInfo {
  String name;
  int32_t memid = 0;
  int32_t invoke_kind = INVOKE_FUNC;
  std::vector<ParamInfo> params;
  TypeRef return_type;
  String help_string;
  std::vector<String> attributes;  // "NonBrowsable", "Hidden", ...
  Invoker invoke;

  bool HasAttribute(std::u16string_view attribute) const;
};

// An interface: its members in interface order, with a case-blind index by name.
struct InterfaceInfo {
  String name;
  String iid;
  String help_string;
  std::vector<MemberInfo> members;

  // The members of that name (case-blind), in interface order; empty when there are none.
  const std::vector<const MemberInfo*>& Find(std::u16string_view name) const;
  // The member with that member id and invoke kind, or nullptr.
  const MemberInfo* FindById(int32_t memid, int32_t invoke_kind) const;
  // Builds the name index; called once the members are complete.
  void Seal();

 private:
  struct NoCaseHash {
    using is_transparent = void;
    size_t operator()(std::u16string_view s) const;
  };
  struct NoCaseEq {
    using is_transparent = void;
    bool operator()(std::u16string_view a, std::u16string_view b) const;
  };
  std::unordered_map<std::u16string, std::vector<const MemberInfo*>, NoCaseHash, NoCaseEq> index_;
};

// A class: its name, identity, default interface, events, and how it is created.
class ClassInfo {
 public:
  using Factory = std::function<Object()>;

  String name;
  String clsid;
  String prog_id;  // "Borvane.Doc"
  bool creatable = false;
  bool app_object = false;
  int32_t table_order = 1000;  // position in the library's class table; callers' classes last
  InterfaceInfo default_interface;
  // The outgoing event interface ("__Property"), or nullptr.
  const InterfaceInfo* events = nullptr;
  // Enumerations that belong to the class beside those its members take.
  std::vector<const TypeDesc*> enumerations;
  Factory factory;
  // The description of the default interface as a type ("_Doc", a dispatch interface).
  const TypeDesc& AsType() const;

  const String& Name() const { return name; }

 private:
  mutable std::unique_ptr<TypeDesc> as_type_;
};

// The platform's colour type: an alias of Long named "OLE_COLOR", for colour properties, which
// Properties.Refresh then describes with the TypeName "OLE_COLOR".
const TypeDesc& OleColorType();

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_TYPEINFO_H_
