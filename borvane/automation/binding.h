// Declaring a class's interface once, for typed C++ calls and late-bound calls alike.
//
// A class derives from Dispatchable<Self> and defines
//     static void Describe(ClassBuilder<Self>& b);
// which lists the members of its default interface in interface order, each bound to a C++
// member function. The parameter types of that function decide how late-bound arguments are
// converted, and a non-const lvalue reference parameter is a by-reference parameter whose
// change is written back into the caller's argument. BORVANE_REGISTER_CLASS(Self) puts the
// class into the class table, so that CreateObject finds it by its ProgID.
#ifndef BORVANE_AUTOMATION_BINDING_H_
#define BORVANE_AUTOMATION_BINDING_H_

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/object.h"
#include "borvane/automation/record.h"
#include "borvane/automation/typeinfo.h"
#include "borvane/automation/variant.h"

namespace borvane {

template <class T>
struct IsRef : std::false_type {};
template <class T>
struct IsRef<Ref<T>> : std::true_type {};

// How a C++ parameter or result type maps to the automation types.
template <class T, class Enable = void>
struct ArgTraits;

#define BORVANE_SIMPLE_ARG(Type, VT, Conv)                  \
  template <>                                               \
  struct ArgTraits<Type> {                                  \
    static TypeRef Type_() { return TypeRef::Builtin(VT); } \
    static Type From(const Variant& v) { return Conv(v); }  \
    static Variant To(const Type& x) { return Variant(x); } \
    static Type Zero() { return Type{}; }                   \
  };
BORVANE_SIMPLE_ARG(String, vbString, CStr)
BORVANE_SIMPLE_ARG(int16_t, vbInteger, CInt)
BORVANE_SIMPLE_ARG(int32_t, vbLong, CLng)
BORVANE_SIMPLE_ARG(float, vbSingle, CSng)
BORVANE_SIMPLE_ARG(double, vbDouble, CDbl)
BORVANE_SIMPLE_ARG(bool, vbBoolean, CBool)
BORVANE_SIMPLE_ARG(uint8_t, vbByte, CByte)
BORVANE_SIMPLE_ARG(Currency, vbCurrency, CCur)
BORVANE_SIMPLE_ARG(Date, vbDate, CDate)
#undef BORVANE_SIMPLE_ARG

template <>
struct ArgTraits<Variant> {
  static TypeRef Type_() { return TypeRef::Builtin(vbVariant); }
  static Variant From(const Variant& v) { return v; }
  static Variant To(const Variant& x) { return x; }
  static Variant Zero() { return Variant(); }
};

template <>
struct ArgTraits<Array> {
  static TypeRef Type_() { return TypeRef::Builtin(vbArray | vbVariant); }
  static Array From(const Variant& v) { return v.ToArray(); }
  static Variant To(const Array& x) { return Variant(x); }
  static Array Zero() { return Array(); }
};

// An object parameter takes an object or Nothing; anything else is a type mismatch.
Object ObjectFromVariant(const Variant& v);

template <class T>
struct ArgTraits<Ref<T>> {
  static TypeRef Type_() {
    if constexpr (requires { T::ClassStorage(); }) {
      return TypeRef::Described(T::ClassStorage().AsType());
    } else {
      return TypeRef::Builtin(vbObject);
    }
  }
  static Ref<T> From(const Variant& v) {
    Object o = ObjectFromVariant(v);
    if constexpr (std::is_same_v<T, ObjectBase>) {
      return o;
    } else {
      if (!o) return Ref<T>();
      Ref<T> r = o.As<T>();
      if (!r) ThrowPlatformError(kErrTypeMismatch);
      return r;
    }
  }
  static Variant To(const Ref<T>& x) { return Variant(Object(x)); }
  static Ref<T> Zero() { return Ref<T>(); }
};

// Enumerations travel as Longs.
template <class E>
struct ArgTraits<E, std::enable_if_t<std::is_enum_v<E>>> {
  static TypeRef Type_() { return TypeRef::Builtin(vbLong); }
  static E From(const Variant& v) { return static_cast<E>(CLng(v)); }
  static Variant To(const E& x) { return Variant(static_cast<int32_t>(x)); }
  static E Zero() { return E{}; }
};

template <class T>
struct RecordTraits;

// Maps a C++ struct to its record type, one member pointer per field.
template <class T, class... F>
class RecordDescription {
 public:
  explicit RecordDescription(const char* name, std::pair<const char*, F T::*>... fields)
      : members_(fields.second...),
        type_(name, {RecordType::Field{fields.first, ArgTraits<F>::Type_().vartype}...}) {}

  const RecordType& Type() const { return type_; }

  Record ToRecord(const T& x) const {
    Record r(type_);
    Each([&](size_t i, auto member) {
      r.SetField(type_.Fields()[i].name.view(),
                 ArgTraits<std::remove_cvref_t<decltype(x.*member)>>::To(x.*member));
    });
    return r;
  }
  T FromRecord(const Record& r) const {
    T x{};
    Each([&](size_t i, auto member) {
      x.*member = ArgTraits<std::remove_cvref_t<decltype(x.*member)>>::From(r.Fields()[i]);
    });
    return x;
  }

 private:
  template <class Fn>
  void Each(Fn fn) const {
    [&]<size_t... I>(std::index_sequence<I...>) {
      (fn(I, std::get<I>(members_)), ...);
    }
    (std::index_sequence_for<F...>{});
  }
  std::tuple<F T::*...> members_;
  RecordType type_;
};

// Named field for a RecordDescription: {"FontName", &FONTINFO::FontName}.
template <class T, class F>
std::pair<const char*, F T::*> RecordField(const char* name, F T::*member) {
  return {name, member};
}

template <class T>
concept RecordStruct = requires {
  RecordTraits<T>::Description();
};

// A record travels as a record Variant; Empty reads as a zeroed record, a record of another
// type or any other value is a type mismatch.
template <RecordStruct T>
struct ArgTraits<T> {
  static TypeRef Type_() {
    return TypeRef::Described(RecordTraits<T>::Description().Type().AsType());
  }
  static T From(const Variant& v) {
    if (v.IsEmpty()) return T{};
    const Record* r = v.GetIf<Record>();
    if (!r || &r->Type() != &RecordTraits<T>::Description().Type())
      ThrowPlatformError(kErrTypeMismatch);
    return RecordTraits<T>::Description().FromRecord(*r);
  }
  static Variant To(const T& x) { return Variant(RecordTraits<T>::Description().ToRecord(x)); }
  static T Zero() { return T{}; }
};

// An optional parameter that the callee must tell apart from any value it can be given: empty
// when the caller left it off (or passed the missing marker).
template <class T>
struct ArgTraits<std::optional<T>> {
  static TypeRef Type_() { return ArgTraits<T>::Type_(); }
  static std::optional<T> From(const Variant& v) {
    if (v.IsMissing()) return std::nullopt;
    return ArgTraits<T>::From(v);
  }
  static Variant To(const std::optional<T>& x) {
    return x ? ArgTraits<T>::To(*x) : Variant::Missing();
  }
  static std::optional<T> Zero() { return std::nullopt; }
};

// How one parameter is declared beyond its C++ type.
struct Param {
  Param(const char* param_name) : name(param_name) {}  // NOLINT: names read as params
  // An optional parameter; `value` is the default when the caller leaves it off (the missing
  // marker for a Variant that the callee tests itself).
  Param& Optional(Variant value = Variant::Missing()) {
    optional = true;
    default_value = std::move(value);
    return *this;
  }
  // A described type for the parameter (an enumeration, an alias), instead of the C++ one's.
  Param& Type(TypeRef t) {
    type = t;
    has_type = true;
    return *this;
  }
  String name;
  bool optional = false;
  Variant default_value = Variant::Missing();
  TypeRef type;
  bool has_type = false;
};
inline Param Opt(const char* name, Variant value = Variant::Missing()) {
  return Param(name).Optional(std::move(value));
}

// What a member declares besides its name, function and parameters.
struct MemberOptions {
  int32_t id = INT32_MIN;  // INT32_MIN: give it the next free id
  const char* help = "";
  std::vector<const char*> attributes = {};
  TypeRef returns = {};  // a described result type, instead of the C++ one's
  bool has_returns = false;
};
inline MemberOptions Returns(TypeRef t, MemberOptions o = {}) {
  o.returns = t;
  o.has_returns = true;
  return o;
}

namespace binding_detail {

const Variant& ArgumentOrDefault(std::vector<Variant>& args, size_t i, const ParamInfo& p,
                                 bool& use_zero);
void CheckArgCount(size_t given, size_t declared);

template <class A>
using Plain = std::remove_cvref_t<A>;
template <class A>
constexpr bool kByRef =
    std::is_lvalue_reference_v<A> && !std::is_const_v<std::remove_reference_t<A>>;

template <class A>
Plain<A> Convert(std::vector<Variant>& args, size_t i, const ParamInfo& p) {
  bool use_zero = false;
  const Variant& v = ArgumentOrDefault(args, i, p, use_zero);
  if (use_zero) return ArgTraits<Plain<A>>::Zero();
  return ArgTraits<Plain<A>>::From(v);
}

template <class Self, class Fn, class R, class... A>
Variant Call(Fn fn, ObjectBase& self_base, std::vector<Variant>& args,
             const std::vector<ParamInfo>& params) {
  CheckArgCount(args.size(), sizeof...(A));
  Object keep_alive(&self_base);  // a member holds its own object for the length of the call
  Self& self = static_cast<Self&>(self_base);
  return [&]<size_t... I>(std::index_sequence<I...>)->Variant {
    std::tuple<Plain<A>...> locals{Convert<A>(args, I, params[I])...};
    constexpr bool any_by_ref = (kByRef<A> || ...);
    // What a by-reference argument held, to tell whether the callee changed it. A text that
    // the caller passed as text is compared with the caller's own value instead, so that a
    // long text is not copied twice more for the comparison.
    std::conditional_t<any_by_ref, std::tuple<std::optional<Plain<A>>...>, int> before{};
    if constexpr (any_by_ref) {
      (
          [&] {
            if constexpr (kByRef<A>) {
              if (!(std::is_same_v<Plain<A>, String> && I < args.size() && args[I].IsString()))
                std::get<I>(before) = std::get<I>(locals);
            }
          }(),
          ...);
    }
    // Write back what the callee changed, into the arguments the caller passed; also when the
    // callee fails, since a by-reference change made before a failure stays made.
    auto write_back = [&] {
      if constexpr (any_by_ref) {
        (
            [&] {
              if constexpr (kByRef<A>) {
                if (I < args.size() && !args[I].IsMissing()) {
                  const auto& was = std::get<I>(before);
                  if constexpr (std::is_same_v<Plain<A>, String>) {
                    if (!was) {
                      String& now = std::get<I>(locals);
                      const String& given = args[I].StringRef();
                      if (now.IsNull() != given.IsNull() || !SameText(now.view(), given.view()))
                        args[I] = Variant(std::move(now));
                      return;
                    }
                  }
                  Variant after = ArgTraits<Plain<A>>::To(std::get<I>(locals));
                  if (!(after == ArgTraits<Plain<A>>::To(*was))) args[I] = std::move(after);
                }
              }
            }(),
            ...);
      }
    };
    Variant result;
    try {
      if constexpr (std::is_void_v<R>) {
        (self.*fn)(std::get<I>(locals)...);
      } else {
        result = ArgTraits<Plain<R>>::To((self.*fn)(std::get<I>(locals)...));
      }
    } catch (...) {
      write_back();
      throw;
    }
    write_back();
    return result;
  }
  (std::index_sequence_for<A...>{});
}

template <class R>
TypeRef ResultType() {
  if constexpr (std::is_void_v<R>) {
    return TypeRef{};
  } else {
    return ArgTraits<Plain<R>>::Type_();
  }
}

}  // namespace binding_detail

template <class Self>
class ClassBuilder {
 public:
  explicit ClassBuilder(ClassInfo& info) : info_(info) {}

  ClassBuilder& Creatable(bool creatable = true) {
    info_.creatable = creatable;
    return *this;
  }
  ClassBuilder& AppObject() {
    info_.app_object = true;
    return *this;
  }
  // Position in the library's class table.
  ClassBuilder& Order(int32_t order) {
    info_.table_order = order;
    return *this;
  }
  ClassBuilder& Ids(const String& clsid, const String& iid) {
    info_.clsid = clsid;
    info_.default_interface.iid = iid;
    return *this;
  }
  ClassBuilder& ProgId(const char* prog_id) {
    info_.prog_id = prog_id;
    return *this;
  }
  ClassBuilder& Help(const char* help) {
    info_.default_interface.help_string = help;
    return *this;
  }
  // An enumeration of the type library that belongs to the class, listed with it whether or
  // not one of its members takes it.
  ClassBuilder& Enumeration(const TypeDesc& enumeration) {
    info_.enumerations.push_back(&enumeration);
    return *this;
  }
  // The outgoing event interface, declared with Event().
  ClassBuilder& Events(const InterfaceInfo& events) {
    info_.events = &events;
    return *this;
  }

  template <class Fn>
  ClassBuilder& Method(const char* name, Fn fn, std::initializer_list<Param> params = {},
                       MemberOptions options = {}) {
    return Add(name, INVOKE_FUNC, fn, params, std::move(options));
  }
  template <class Fn>
  ClassBuilder& Get(const char* name, Fn fn, std::initializer_list<Param> params = {},
                    MemberOptions options = {}) {
    return Add(name, INVOKE_PROPERTYGET, fn, params, std::move(options));
  }
  // Let and Set take the property's index parameters (if any) followed by the value.
  template <class Fn>
  ClassBuilder& Let(const char* name, Fn fn, std::initializer_list<Param> params = {},
                    MemberOptions options = {}) {
    return Add(name, INVOKE_PROPERTYPUT, fn, params, std::move(options));
  }
  template <class Fn>
  ClassBuilder& Set(const char* name, Fn fn, std::initializer_list<Param> params = {},
                    MemberOptions options = {}) {
    return Add(name, INVOKE_PROPERTYPUTREF, fn, params, std::move(options));
  }

 private:
  template <class Fn>
  ClassBuilder& Add(const char* name, int32_t kind, Fn fn, std::initializer_list<Param> declared,
                    MemberOptions options) {
    AddMember(name, kind, fn, declared, std::move(options));
    return *this;
  }

  template <class R, class C, class... A>
  void AddMember(const char* name, int32_t kind, R (C::*fn)(A...),
                 std::initializer_list<Param> declared, MemberOptions options) {
    AddTyped<R, A...>(name, kind, fn, declared, std::move(options));
  }
  template <class R, class C, class... A>
  void AddMember(const char* name, int32_t kind, R (C::*fn)(A...) const,
                 std::initializer_list<Param> declared, MemberOptions options) {
    AddTyped<R, A...>(name, kind, fn, declared, std::move(options));
  }

  template <class R, class... A, class Fn>
  void AddTyped(const char* name, int32_t kind, Fn fn, std::initializer_list<Param> declared,
                MemberOptions options) {
    MemberInfo m;
    m.name = name;
    m.invoke_kind = kind;
    m.memid = options.id != INT32_MIN ? options.id : IdFor(m.name);
    m.help_string = options.help;
    for (const char* a : options.attributes) m.attributes.emplace_back(a);
    m.return_type = options.has_returns ? options.returns : binding_detail::ResultType<R>();
    std::vector<TypeRef> types = {ArgTraits<binding_detail::Plain<A>>::Type_()...};
    std::vector<bool> by_ref = {binding_detail::kByRef<A>...};
    std::vector<Param> spec_list(declared);
    for (size_t i = 0; i < types.size(); ++i) {
      ParamInfo p;
      p.name = i < spec_list.size() ? spec_list[i].name : String("arg" + std::to_string(i + 1));
      p.type = (i < spec_list.size() && spec_list[i].has_type) ? spec_list[i].type : types[i];
      p.by_ref = by_ref[i];
      if (i < spec_list.size()) {
        p.optional = spec_list[i].optional;
        p.default_value = spec_list[i].default_value;
      }
      m.params.push_back(std::move(p));
    }
    Invoker call = [fn, params = m.params](ObjectBase& self, std::vector<Variant>& args) {
      return binding_detail::Call<Self, Fn, R, A...>(fn, self, args, params);
    };
    if ((kind == INVOKE_PROPERTYPUT || kind == INVOKE_PROPERTYPUTREF) && sizeof...(A) > 1) {
      // The value of a let or set is the caller's last argument; optional index parameters
      // that the caller left off stand before it.
      m.invoke = [call, n = sizeof...(A)](ObjectBase& self, std::vector<Variant>& args) {
        if (args.empty() || args.size() >= n) return call(self, args);
        std::vector<Variant> full(args.begin(), args.end() - 1);
        full.resize(n - 1, Variant::Missing());
        full.push_back(args.back());
        Variant result = call(self, full);
        for (size_t i = 0; i + 1 < args.size(); ++i) args[i] = full[i];
        args.back() = full.back();
        return result;
      };
    } else {
      m.invoke = std::move(call);
    }
    info_.default_interface.members.push_back(std::move(m));
  }

  // Accessors of one property share their id; other members get the next one.
  int32_t IdFor(const String& name) {
    for (const MemberInfo& m : info_.default_interface.members)
      if (EqualsNoCaseForIds(m.name, name)) return m.memid;
    return 0x60030000 + next_id_++;
  }
  static bool EqualsNoCaseForIds(const String& a, const String& b);

  ClassInfo& info_;
  int32_t next_id_ = 0;
};

template <class Self>
bool ClassBuilder<Self>::EqualsNoCaseForIds(const String& a, const String& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    char16_t x = a[i], y = b[i];
    if (x >= u'a' && x <= u'z') x -= 32;
    if (y >= u'a' && y <= u'z') y -= 32;
    if (x != y) return false;
  }
  return true;
}

// Declares an outgoing event interface ("__TimerEvent") once.
class EventInterfaceBuilder {
 public:
  explicit EventInterfaceBuilder(InterfaceInfo& info, const char* name) : info_(info) {
    info_.name = name;
  }
  EventInterfaceBuilder& Event(const char* name, std::vector<ParamInfo> params = {},
                               const char* help = "") {
    MemberInfo m;
    m.name = name;
    m.memid = static_cast<int32_t>(info_.members.size()) + 1;
    m.params = std::move(params);
    m.help_string = help;
    info_.members.push_back(std::move(m));
    return *this;
  }

 private:
  InterfaceInfo& info_;
};

// Registers a class description in the class table (see frame/class_table.h).
void RegisterClassInfo(const ClassInfo& (*get)());

// Base of every class with type information. Self::Describe fills in the description once.
template <class Self>
class Dispatchable : public ObjectBase {
 public:
  // The class's description, complete with its members.
  static const ClassInfo& StaticClassInfo() {
    static const ClassInfo& info = Build();
    return info;
  }
  // The description while it may still be incomplete: its name and its type are there, its
  // members perhaps not yet. Member types that name a class use this, so that classes whose
  // members refer to each other (or to themselves) can be described.
  static const ClassInfo& ClassStorage() {
    static ClassInfo& info = Storage();
    return info;
  }
  const ClassInfo& GetClassInfo() const override { return StaticClassInfo(); }

 private:
  static ClassInfo& Storage() {
    static ClassInfo info;
    static const bool named = [] {
      info.name = Self::kClassName;
      info.default_interface.name = String(u"_") + info.name;
      info.prog_id = String("Borvane.") + info.name;
      info.AsType();
      return true;
    }();
    (void)named;
    return info;
  }
  static const ClassInfo& Build() {
    ClassInfo& info = Storage();
    ClassBuilder<Self> builder(info);
    Self::Describe(builder);
    info.default_interface.Seal();
    info.factory = [] { return Object(CreateInstance()); };
    return info;
  }
  static ObjectBase* CreateInstance() {
    if constexpr (std::is_default_constructible_v<Self>) {
      return new Self();
    } else {
      return nullptr;
    }
  }
};

#define BORVANE_REGISTER_CLASS(Self)                           \
  namespace {                                                  \
  [[maybe_unused]] const bool borvane_registered_##Self = [] { \
    ::borvane::RegisterClassInfo(&Self::StaticClassInfo);      \
    return true;                                               \
  }();                                                         \
  }

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_BINDING_H_
