// The Python module `borvane`: every class of the library reached as an automation client
// reaches it. An object is created by its ProgID, and its attributes map to its members by
// type information, case-blind: reading is a property get (or a call of a method without
// arguments), assigning is a property let or set, calling is a method call.
#include <pybind11/eval.h>
#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "borvane/borvane.h"
#include "borvane/platform/session/message_loop.h"

namespace py = pybind11;
using namespace borvane;

namespace {

// --- Values ----------------------------------------------------------------------------------

// Held for the life of the process (never released: the interpreter may be gone when static
// objects are destroyed).
py::handle g_error_type;   // borvane.Error
py::handle g_key_error;    // borvane.KeyNotFound: also a KeyError
py::handle g_index_error;  // borvane.IndexOutOfRange: also an IndexError
py::handle g_missing;      // borvane.Missing
py::handle g_member;       // borvane._member: makes the function of one member
py::handle g_call;         // borvane._call: what that function calls
py::handle g_decimal;      // decimal.Decimal
py::handle g_datetime;     // datetime.datetime
py::handle g_timedelta;    // datetime.timedelta

// An object of the library, as Python holds it.
struct Dispatch {
  Object object;
};

// A record value (FONTINFO and the like): fields by name.
struct PyRecord {
  Record record;
};

[[noreturn]] void RaiseAs(py::handle type, const Error& e) {
  py::object error = type(e.Number(), e.Source().ToUtf8(), e.Description().ToUtf8());
  PyErr_SetObject(type.ptr(), error.ptr());
  throw py::error_already_set();
}

[[noreturn]] void Raise(const Error& e) {
  RaiseAs(g_error_type, e);
}

// A failed lookup of an item, as Python's protocols name it: a missing key (5) is a KeyError,
// a position out of range (9) an IndexError, and both stay borvane.Error with the number.
[[noreturn]] void RaiseItemError(const Error& e) {
  if (e.Number() == kErrInvalidCall) RaiseAs(g_key_error, e);
  if (e.Number() == kErrSubscript) RaiseAs(g_index_error, e);
  Raise(e);
}

template <class F>
decltype(auto) Guard(F&& body) {
  try {
    return body();
  } catch (const Error& e) {
    Raise(e);
  }
}

py::object ToPython(const Variant& v);
Variant FromPython(const py::handle& h);

// Python text to a String, straight from the string's own storage (UTF-16 with surrogate
// pairs beyond the first plane).
String Text(const py::handle& h) {
  PyObject* o = h.ptr();
  if (!PyUnicode_Check(o)) throw py::type_error("a str is needed");
  Py_ssize_t n = PyUnicode_GET_LENGTH(o);
  const void* data = PyUnicode_DATA(o);
  std::u16string out;
  switch (PyUnicode_KIND(o)) {
    case PyUnicode_1BYTE_KIND: {
      auto* p = static_cast<const Py_UCS1*>(data);
      out.assign(p, p + n);
      break;
    }
    case PyUnicode_2BYTE_KIND: {
      auto* p = static_cast<const Py_UCS2*>(data);
      out.assign(p, p + n);
      break;
    }
    default: {
      auto* p = static_cast<const Py_UCS4*>(data);
      out.reserve(static_cast<size_t>(n));
      for (Py_ssize_t i = 0; i < n; ++i) {
        Py_UCS4 c = p[i];
        if (c < 0x10000) {
          out.push_back(static_cast<char16_t>(c));
        } else {
          out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
          out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
        }
      }
    }
  }
  return String(std::move(out));
}

// A String as Python text; a lone surrogate stays one code point.
py::object PyText(const String& s) {
  int byte_order = -1;  // little-endian, as the String holds its units here
  PyObject* o =
      PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(s.data()),
                            static_cast<Py_ssize_t>(s.size() * 2), "surrogatepass", &byte_order);
  if (!o) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(o);
}

// Dates are days since 30 December 1899; the fraction is the time of day whatever the sign.
py::object DateToPython(Date d) {
  double days = std::trunc(d.value);
  double fraction = std::fabs(d.value - days);
  int64_t ms = static_cast<int64_t>(std::llround(fraction * 86400000.0));
  return g_datetime(1899, 12, 30) +
         g_timedelta(py::arg("days") = static_cast<int64_t>(days), py::arg("milliseconds") = ms);
}

Date DateFromPython(const py::handle& h) {
  py::object delta = h - g_datetime(1899, 12, 30);
  int64_t days = delta.attr("days").cast<int64_t>();
  double seconds =
      delta.attr("seconds").cast<double>() + delta.attr("microseconds").cast<double>() / 1e6;
  double fraction = seconds / 86400.0;
  // Before the epoch the whole days count back and the time of day still counts forward.
  return Date{days < 0 ? static_cast<double>(days) - fraction
                       : static_cast<double>(days) + fraction};
}

py::object ArrayToPython(const Array& a, int dim, std::vector<int32_t>& at) {
  py::list out;
  for (int32_t i = a.LBound(dim); i <= a.UBound(dim); ++i) {
    at[static_cast<size_t>(dim - 1)] = i;
    out.append(dim == a.Dimensions() ? ToPython(a.At(at)) : ArrayToPython(a, dim + 1, at));
  }
  return out;
}

py::object ToPython(const Variant& v) {
  switch (v.VarType()) {
    case vbEmpty:
    case vbNull:
      return py::none();
    case vbInteger:
      return py::int_(*v.GetIf<int16_t>());
    case vbLong:
      return py::int_(*v.GetIf<int32_t>());
    case vbByte:
      return py::int_(*v.GetIf<uint8_t>());
    case vbSingle:
      return py::float_(*v.GetIf<float>());
    case vbDouble:
      return py::float_(*v.GetIf<double>());
    case vbBoolean:
      return py::bool_(*v.GetIf<bool>());
    case vbString:
      // A null String, which the library keeps apart from an empty one (an INI key without a
      // value, a lookup text left out), is None; every other String is a str.
      if (v.StringRef().IsNull()) return py::none();
      return PyText(v.StringRef());
    case vbCurrency:
      return g_decimal(v.GetIf<Currency>()->raw).attr("scaleb")(-4);
    case vbDate:
      return DateToPython(*v.GetIf<Date>());
    case vbObject: {
      Object o = v.ToObject();
      if (!o) return py::none();
      return py::cast(Dispatch{o});
    }
    case vbUserDefinedType:
      return py::cast(PyRecord{*v.GetIf<Record>()});
    case vbError:
      if (v.IsMissing()) return py::reinterpret_borrow<py::object>(g_missing);
      break;
    default:
      break;
  }
  if (v.IsArray()) {
    const Array& a = v.ToArray();
    if (a.Dimensions() == 0) return py::list();
    std::vector<int32_t> at(static_cast<size_t>(a.Dimensions()));
    return ArrayToPython(a, 1, at);
  }
  ThrowPlatformError(kErrTypeMismatch);
}

Variant FromPython(const py::handle& h) {
  if (h.is_none()) return Variant();
  if (h.is(g_missing)) return Variant::Missing();
  if (py::isinstance<py::bool_>(h)) return Variant(h.cast<bool>());
  if (py::isinstance<py::int_>(h)) {
    // A Long, or Overflow beyond it (an Integer parameter narrows it further when called).
    int overflow = 0;
    long long n = PyLong_AsLongLongAndOverflow(h.ptr(), &overflow);
    if (overflow || n < INT32_MIN || n > INT32_MAX) ThrowPlatformError(kErrOverflow);
    return Variant(static_cast<int32_t>(n));
  }
  if (py::isinstance<py::float_>(h)) return Variant(h.cast<double>());
  if (py::isinstance<py::str>(h)) return Variant(Text(h));
  if (py::isinstance<Dispatch>(h)) return Variant(h.cast<Dispatch&>().object);
  if (py::isinstance<PyRecord>(h)) return Variant(h.cast<PyRecord&>().record);
  if (py::isinstance(h, py::reinterpret_borrow<py::object>(g_decimal))) {
    py::object scaled = (h * py::int_(10000)).attr("to_integral_value")();
    int overflow = 0;
    long long raw = PyLong_AsLongLongAndOverflow(py::int_(scaled).ptr(), &overflow);
    if (overflow) ThrowPlatformError(kErrOverflow);
    return Variant(Currency::FromRaw(raw));
  }
  if (py::isinstance(h, py::reinterpret_borrow<py::object>(g_datetime)))
    return Variant(DateFromPython(h));
  if (py::isinstance<py::list>(h) || py::isinstance<py::tuple>(h)) {
    std::vector<Variant> items;
    for (py::handle item : h) items.push_back(FromPython(item));
    return Variant(Array::OfVariants(std::move(items)));
  }
  ThrowPlatformError(kErrTypeMismatch);
}

// --- Calls -----------------------------------------------------------------------------------

const InterfaceInfo& InterfaceOf(const Dispatch& d) {
  if (!d.object) ThrowPlatformError(kErrObjectNotSet);
  return d.object->GetClassInfo().default_interface;
}

// The parameters of the member that a call of this kind reaches, or nullptr.
const MemberInfo* MemberFor(const Dispatch& d, const String& name, bool get) {
  for (const MemberInfo* m : InterfaceOf(d).Find(name.view()))
    if (get ? (m->invoke_kind == INVOKE_FUNC || m->invoke_kind == INVOKE_PROPERTYGET)
            : m->invoke_kind != INVOKE_FUNC)
      return m;
  return nullptr;
}

// The by-reference parameters that a member writes back as part of its job, by class and
// member: a call of one of these gives its result and what it wrote, every other call its
// plain result. Other by-reference parameters are by reference only as the interface
// declares them; what the callee may leave in them is not part of the answer.
struct WritesBack {
  const char16_t* cls;
  const char16_t* member;
  std::vector<const char16_t*> params;
};

const std::vector<WritesBack>& WritesBackTable() {
  static const std::vector<WritesBack> table = {
      {u"Doc", u"Add", {u"Key"}},                          // the key it generates
      {u"DocNode", u"WriteXMLNode", {u"XMLText"}},         // the text of the subtree
      {u"FontFunctions", u"GetTTFontInfo", {u"TTFInfo"}},  // the names found
      {u"FontFunctions", u"GetBitmapFontInfo", {u"BitmapInfo"}},
      {u"FontFunctions", u"FontFamilyname", {u"sStyle"}},
      {u"FontFunctions", u"FontFilename", {u"sFontStyle"}},  // in and out
      {u"FontFunctions", u"GetFontStylename", {u"sBold", u"sItalic"}},
      {u"FontFunctions", u"UnInstallBitmapFont", {u"strSourcePath"}},  // the folder it used
      {u"FontFunctions", u"UnInstallTTFont", {u"strSourcePath"}},
      {u"HTMLHelp", u"EnsureFileExists", {u"FileToFind"}},  // the full path found
  };
  return table;
}

// The positions of the parameters of `m`, a member of `cls`, that it writes back.
const std::vector<size_t>& WrittenBack(const ClassInfo& cls, const MemberInfo& m) {
  static std::unordered_map<const MemberInfo*, std::vector<size_t>> cache;
  auto found = cache.find(&m);
  if (found != cache.end()) return found->second;
  std::vector<size_t> positions;
  for (const WritesBack& w : WritesBackTable()) {
    if (UCase(cls.name) != UCase(String(w.cls)) || UCase(m.name) != UCase(String(w.member)))
      continue;
    for (const char16_t* name : w.params)
      for (size_t i = 0; i < m.params.size(); ++i)
        if (m.params[i].by_ref && UCase(m.params[i].name) == UCase(String(name)))
          positions.push_back(i);
  }
  return cache.emplace(&m, std::move(positions)).first->second;
}

// Calls the member with Python arguments (keywords by parameter name, case-blind). Gives the
// plain result, or, for a member that writes arguments back, the result and what it wrote.
py::object Call(const Dispatch& d, const String& name, VbCallType kind, const py::tuple& args,
                const py::dict& kwargs) {
  const MemberInfo* m = MemberFor(d, name, kind != VbLet && kind != VbSet);
  std::vector<Variant> values;
  for (py::handle a : args) values.push_back(FromPython(a));
  for (auto [key, value] : kwargs) {
    String wanted = Text(key);
    size_t at = SIZE_MAX;
    for (size_t i = 0; m && i < m->params.size(); ++i)
      if (UCase(m->params[i].name) == UCase(wanted)) at = i;
    if (at == SIZE_MAX)
      throw py::type_error(name.ToUtf8() + "() has no parameter " + wanted.ToUtf8());
    if (values.size() <= at) values.resize(at + 1, Variant::Missing());
    if (!values[at].IsMissing()) throw py::type_error(wanted.ToUtf8() + " given twice");
    values[at] = FromPython(value);
  }
  static const std::vector<size_t> kNone;
  const std::vector<size_t>& outs = m ? WrittenBack(d.object->GetClassInfo(), *m) : kNone;
  // What a member writes back need not be given: it starts out empty.
  for (size_t i : outs) {
    if (values.size() <= i) values.resize(i + 1, Variant::Missing());
    if (values[i].IsMissing()) values[i] = Variant();
  }
  Variant result;
  try {
    result = CallByName(d.object, name, kind, values);
  } catch (const Error& e) {
    if (m && m->memid == DISPID_VALUE) RaiseItemError(e);
    throw;
  }
  if (outs.empty()) return ToPython(result);
  py::list all;
  if (!m->return_type.IsVoid()) all.append(ToPython(result));
  for (size_t i : outs) all.append(ToPython(values[i]));
  if (all.size() == 1) return all[0];
  return py::tuple(all);
}

// The name of a parameter's or a result's type, as the type information gives it.
std::string TypeNameOf(const TypeRef& t) {
  if (t.desc) {
    // An object type bears its interface's name: the class's, behind an underscore.
    std::string name = t.desc->Name().ToUtf8();
    if (t.desc->Kind() == TKIND_DISPATCH && name.size() > 1 && name[0] == '_') name.erase(0, 1);
    return name;
  }
  if (t.vartype == vbVariant) return "Variant";
  if (t.vartype == vbObject) return "Object";
  return TypeName(t.TypedVariant()).ToUtf8();
}

// The member's help text: its help string, its parameters with their types, and what a call
// gives.
std::string Help(const ClassInfo& cls, const MemberInfo& m) {
  std::string text = m.help_string.ToUtf8();
  if (!text.empty()) text += "\n\n";
  const std::vector<size_t>& outs = WrittenBack(cls, m);
  for (size_t i = 0; i < m.params.size(); ++i) {
    const ParamInfo& p = m.params[i];
    text += p.name.ToUtf8() + ": " + TypeNameOf(p.type);
    if (p.optional) text += ", optional";
    if (std::find(outs.begin(), outs.end(), i) != outs.end()) text += ", written back";
    text += "\n";
  }
  std::string result = m.return_type.IsVoid() ? "" : TypeNameOf(m.return_type);
  if (outs.empty()) {
    text += result.empty() ? "Gives None." : "Gives a " + result + ".";
  } else {
    std::vector<std::string> parts;
    if (!result.empty()) parts.push_back("the " + result);
    for (size_t i : outs) parts.push_back(m.params[i].name.ToUtf8());
    std::string list;
    for (size_t i = 0; i < parts.size(); ++i) list += (i ? ", " : "") + parts[i];
    text += parts.size() == 1 ? "Gives " + list + " as the call left it."
                              : "Gives a tuple: " + list + ", as the call left them.";
  }
  return text;
}

bool NeedsArguments(const MemberInfo& m) {
  for (const ParamInfo& p : m.params)
    if (!p.optional) return true;
  return false;
}

// What reading an attribute of a class's objects does, found once per class and name.
struct Lookup {
  const MemberInfo* member = nullptr;  // the get or method; nullptr when there is none
  bool call_later = false;             // a method, or a property that needs arguments
  bool write_only = false;
};

struct LookupKey {
  const ClassInfo* cls;
  PyObject* name;  // the attribute's str, held for as long as the entry lives
  bool operator==(const LookupKey&) const = default;
};

struct LookupHash {
  size_t operator()(const LookupKey& k) const {
    return std::hash<const void*>()(k.cls) * 31 + std::hash<const void*>()(k.name);
  }
};

// Names in code are interned, so one str object stands for one name; a name made anew each
// time only misses the cache, and the cache starts over beyond its bound.
const Lookup& FindLookup(const Dispatch& d, PyObject* name) {
  static std::unordered_map<LookupKey, Lookup, LookupHash> cache;
  const ClassInfo& cls = d.object->GetClassInfo();
  auto it = cache.find({&cls, name});
  if (it != cache.end()) return it->second;
  if (cache.size() >= 4096) {
    for (auto& entry : cache) Py_DECREF(entry.first.name);
    cache.clear();
  }
  String member = Text(name);
  Lookup lookup;
  lookup.member = MemberFor(d, member, true);
  lookup.write_only = !lookup.member && MemberFor(d, member, false);
  lookup.call_later = lookup.member &&
                      (lookup.member->invoke_kind == INVOKE_FUNC || NeedsArguments(*lookup.member));
  Py_INCREF(name);
  return cache.emplace(LookupKey{&cls, name}, lookup).first->second;
}

// The Python function of a member of a class's objects, made at its first use.
py::handle MemberFunction(const ClassInfo& cls, const MemberInfo& m) {
  static std::unordered_map<const MemberInfo*, py::handle> functions;  // held for the process
  auto found = functions.find(&m);
  if (found != functions.end()) return found->second;
  py::list params;
  for (const ParamInfo& p : m.params) {
    if (!p.optional) {
      params.append(py::make_tuple(p.name.ToUtf8()));
      continue;
    }
    py::object fallback = py::reinterpret_borrow<py::object>(g_missing);
    try {
      if (!p.default_value.IsMissing()) fallback = ToPython(p.default_value);
    } catch (const Error&) {
    }
    params.append(py::make_tuple(p.name.ToUtf8(), fallback));
  }
  VbCallType kind = m.invoke_kind == INVOKE_FUNC ? VbMethod : VbGet;
  py::object function =
      g_member(g_call, m.name.ToUtf8(), static_cast<int>(kind), Help(cls, m), params);
  return functions.emplace(&m, function.release()).first->second;
}

py::object GetAttribute(py::handle self, const Dispatch& d, const py::str& name) {
  if (!d.object) ThrowPlatformError(kErrObjectNotSet);
  const Lookup& lookup = FindLookup(d, name.ptr());
  const MemberInfo* m = lookup.member;
  if (!m) {
    std::string text = name.cast<std::string>();
    if (lookup.write_only) throw py::attribute_error(text + " can only be assigned");
    throw py::attribute_error(d.object->GetClassInfo().name.ToUtf8() + " has no member " + text);
  }
  if (lookup.call_later) {
    // A method is a function to call, as an automation client in Python gives it: reading
    // `doc.Clear` must not clear the document. A property is read at once unless it needs
    // arguments (an indexed property), which then come in a call. The function is made once
    // per member, with the member's name, parameters and help for help() and inspect, and
    // bound to the object here.
    PyObject* method = PyMethod_New(MemberFunction(d.object->GetClassInfo(), *m).ptr(), self.ptr());
    if (!method) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(method);
  }
  std::vector<Variant> none;
  Object keep = d.object;
  return ToPython(m->invoke(*keep, none));
}

void SetAttribute(const Dispatch& d, const std::string& name, const py::object& value) {
  String member = String::FromUtf8(name);
  Variant v = FromPython(value);
  bool has_set = false, has_let = false;
  for (const MemberInfo* m : InterfaceOf(d).Find(member.view())) {
    has_set |= m->invoke_kind == INVOKE_PROPERTYPUTREF;
    has_let |= m->invoke_kind == INVOKE_PROPERTYPUT;
  }
  if (!has_set && !has_let) throw py::attribute_error(name + " cannot be assigned");
  std::vector<Variant> args{v};
  CallByName(d.object, member, has_set && (v.IsObject() || !has_let) ? VbSet : VbLet, args);
}

Variant DefaultMember(const Dispatch& d, const py::tuple& args) {
  const MemberInfo* m = InterfaceOf(d).FindById(DISPID_VALUE, INVOKE_PROPERTYGET | INVOKE_FUNC);
  if (!m) ThrowPlatformError(kErrNoSuchMember);
  std::vector<Variant> values;
  for (py::handle a : args) values.push_back(FromPython(a));
  return CallByName(d.object, m->name, VbGet, values);
}

// Which of Python's protocols a class's objects have, from their members.
struct Protocols {
  bool len = false;          // a Count to read
  bool iterate = false;      // an enumerator
  bool subscript = false;    // a default member that takes an index
  bool call = false;         // a default member
  bool object_item = false;  // the default member gives an object, so no object means none
};

const Protocols& ProtocolsOf(const Dispatch& d) {
  static std::unordered_map<const ClassInfo*, Protocols> cache;
  const ClassInfo& cls = d.object->GetClassInfo();
  auto found = cache.find(&cls);
  if (found != cache.end()) return found->second;
  const InterfaceInfo& iface = cls.default_interface;
  Protocols p;
  for (const MemberInfo* m : iface.Find(u"Count"))
    p.len |= (m->invoke_kind == INVOKE_PROPERTYGET || m->invoke_kind == INVOKE_FUNC) &&
             !NeedsArguments(*m);
  p.iterate = iface.FindById(DISPID_NEWENUM, INVOKE_PROPERTYGET | INVOKE_FUNC) != nullptr;
  if (const MemberInfo* m = iface.FindById(DISPID_VALUE, INVOKE_PROPERTYGET | INVOKE_FUNC)) {
    p.call = true;
    p.subscript = !m->params.empty();
    const TypeRef& r = m->return_type;
    p.object_item = r.vartype == vbObject || (r.desc && r.desc->Kind() == TKIND_DISPATCH);
  }
  return cache.emplace(&cls, p).first->second;
}

std::string PyName(const Dispatch& d) {
  return d.object ? d.object->GetClassInfo().name.ToUtf8() : std::string("Object");
}

// obj[index]: the default member, whose failed lookups are KeyError and IndexError, as is no
// object from a collection of objects.
py::object GetItem(const Dispatch& d, const py::object& index) {
  if (!d.object || !ProtocolsOf(d).subscript)
    throw py::type_error("'" + PyName(d) + "' object is not subscriptable");
  Variant item;
  try {
    item = DefaultMember(d, py::make_tuple(index));
  } catch (const Error& e) {
    RaiseItemError(e);
  }
  if (ProtocolsOf(d).object_item && item.IsObject() && !item.ToObject()) {
    int32_t number = py::isinstance<py::int_>(index) ? kErrSubscript : kErrInvalidCall;
    RaiseItemError(Error(number, d.object->GetClassInfo().name + String(".Item"),
                         Error::StandardDescription(number)));
  }
  return ToPython(item);
}

// --- Events and the loop ---------------------------------------------------------------------

// A Python error raised by an event handler of this thread, kept for run_loop to raise.
struct PendingError {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
};
thread_local PendingError t_pending;

int32_t Connect(const Dispatch& d, const std::string& event, py::function callback) {
  return ConnectEvents(d.object, String::FromUtf8(event), [callback](std::vector<Variant>& args) {
    py::gil_scoped_acquire gil;
    try {
      py::list values;
      for (const Variant& a : args) values.append(ToPython(a));
      callback(*values);
    } catch (py::error_already_set& e) {
      // The first error ends the loop; later ones of the same run are dropped.
      e.restore();
      PendingError caught;
      PyErr_Fetch(&caught.type, &caught.value, &caught.traceback);
      if (t_pending.type) {
        Py_XDECREF(caught.type);
        Py_XDECREF(caught.value);
        Py_XDECREF(caught.traceback);
      } else {
        t_pending = caught;
      }
    }
  });
}

// Runs this thread's message loop for `seconds`, delivering timer ticks. The interpreter lock
// is let go while the loop waits, so that other Python threads run, and taken for each tick's
// handlers. A Python error in a handler, or a signal such as Ctrl-C, ends the loop and is
// raised here.
void RunLoop(double seconds) {
  platform::MessageLoop& loop = platform::MessageLoop::ForThread();
  auto deadline = static_cast<int64_t>(seconds * 1000);
  {
    py::gil_scoped_release release;
    loop.RunUntil(
        [] {
          py::gil_scoped_acquire gil;
          return t_pending.type != nullptr || PyErr_CheckSignals() != 0;
        },
        deadline);
  }
  if (t_pending.type) {
    PyErr_Restore(t_pending.type, t_pending.value, t_pending.traceback);
    t_pending = PendingError();
  }
  if (PyErr_Occurred()) throw py::error_already_set();
}

// Reading an attribute, as the type's own slot: every read of a member passes here, and the
// slot spares it the general call machinery of a bound method.
PyObject* DispatchGetAttro(PyObject* self, PyObject* name) {
  // Python's own attributes ("__class__", "__doc__", ...) stay Python's.
  if (PyUnicode_Check(name) && PyUnicode_GET_LENGTH(name) > 1 &&
      PyUnicode_READ_CHAR(name, 0) == '_' && PyUnicode_READ_CHAR(name, 1) == '_')
    return PyObject_GenericGetAttr(self, name);
  try {
    const Dispatch& d = py::handle(self).cast<const Dispatch&>();
    return Guard([&] { return GetAttribute(self, d, py::reinterpret_borrow<py::str>(name)); })
        .release()
        .ptr();
  } catch (py::error_already_set& e) {
    e.restore();
  } catch (const py::builtin_exception& e) {
    e.set_error();
  } catch (const std::exception& e) {
    PyErr_SetString(PyExc_RuntimeError, e.what());
  }
  return nullptr;
}

}  // namespace

PYBIND11_MODULE(borvane, m) {
  m.doc() = "Borvane's automation objects, created by ProgID and called member by member by name.";
  py::module_ decimal = py::module_::import("decimal");
  py::module_ datetime = py::module_::import("datetime");
  g_decimal = py::object(decimal.attr("Decimal")).release();
  g_datetime = py::object(datetime.attr("datetime")).release();
  g_timedelta = py::object(datetime.attr("timedelta")).release();

  // The module's own Python: its errors, the missing marker, and the maker of member functions.
  py::dict ns;
  ns["__builtins__"] = py::module_::import("builtins");
  ns["__name__"] = "borvane";
  py::exec(R"py(
import inspect as _inspect

class Error(Exception):
    """A failure of the library: its error number, Source and description."""
    def __init__(self, number, source, description):
        super().__init__(number, source, description)
        self.number, self.source, self.description = number, source, description
    def __str__(self):
        return f"{self.source}: {self.description} (error {self.number})"

class KeyNotFound(Error, KeyError):
    """A key that a collection does not hold: a borvane.Error that is also a KeyError."""

class IndexOutOfRange(Error, IndexError):
    """A position out of a collection's range: a borvane.Error that is also an IndexError."""

class _MissingType:
    """Passes the missing-argument marker: the parameter takes its default."""
    def __repr__(self):
        return "borvane.Missing"

def _member(call, name, kind, doc, params):
    """The function of one member, with its name, parameters and help."""
    def member(self, *args, **kwargs):
        return call(self, name, kind, args, kwargs)
    member.__name__ = member.__qualname__ = name
    member.__doc__ = doc
    P = _inspect.Parameter
    try:
        member.__signature__ = _inspect.Signature(
            [P("self", P.POSITIONAL_OR_KEYWORD)] +
            [P(p[0], P.POSITIONAL_OR_KEYWORD, **({"default": p[1]} if len(p) > 1 else {}))
             for p in params])
    except (TypeError, ValueError):
        pass  # a parameter name Python cannot take: help() shows (...)
    return member
)py",
           ns, ns);
  g_error_type = py::object(ns["Error"]).release();
  g_key_error = py::object(ns["KeyNotFound"]).release();
  g_index_error = py::object(ns["IndexOutOfRange"]).release();
  m.attr("Error") = g_error_type;
  m.attr("KeyNotFound") = g_key_error;
  m.attr("IndexOutOfRange") = g_index_error;
  g_missing = py::object(ns["_MissingType"]()).release();
  m.attr("Missing") = g_missing;
  g_member = py::object(ns["_member"]).release();

  py::class_<Dispatch>(m, "Object")
      .def("__setattr__",
           [](const Dispatch& d, const std::string& name, const py::object& value) {
             Guard([&] { SetAttribute(d, name, value); });
           })
      .def("__call__",
           [](const Dispatch& d, py::args args) {
             if (!d.object || !ProtocolsOf(d).call)
               throw py::type_error("'" + PyName(d) + "' object is not callable");
             return Guard([&] {
               try {
                 return ToPython(DefaultMember(d, args));
               } catch (const Error& e) {
                 RaiseItemError(e);
               }
             });
           })
      .def("__getitem__",
           [](const Dispatch& d, const py::object& index) {
             return Guard([&] { return GetItem(d, index); });
           })
      .def(
          "__iter__",
          [](const Dispatch& d) {
            if (!d.object || !ProtocolsOf(d).iterate)
              throw py::type_error("'" + PyName(d) + "' object is not iterable");
            py::list items;
            Guard([&] { ForEach(d.object, [&](const Variant& v) { items.append(ToPython(v)); }); });
            return items.attr("__iter__")();
          })
      .def("__len__",
           [](const Dispatch& d) {
             if (!d.object || !ProtocolsOf(d).len)
               throw py::type_error("object of type '" + PyName(d) + "' has no len()");
             return Guard([&] {
               std::vector<Variant> none;
               return CLng(CallByName(d.object, "Count", VbGet, none));
             });
           })
      // An object is true, and a collection while it holds something.
      .def("__bool__",
           [](const Dispatch& d) {
             if (!d.object || !ProtocolsOf(d).len) return true;
             return Guard([&] {
               std::vector<Variant> none;
               return CLng(CallByName(d.object, "Count", VbGet, none)) != 0;
             });
           })
      .def("__dir__",
           [](const Dispatch& d) {
             py::list names;
             for (const MemberInfo& mi : InterfaceOf(d).members) {
               std::string n = mi.name.ToUtf8();
               if (!mi.HasAttribute(u"Hidden") && !names.contains(n)) names.append(n);
             }
             return names;
           })
      .def("__eq__",
           [](const Dispatch& a, const Dispatch& b) { return a.object.Get() == b.object.Get(); })
      .def("__hash__", [](const Dispatch& d) { return std::hash<const void*>()(d.object.Get()); })
      .def("__repr__", [](const Dispatch& d) {
        return "<borvane." + d.object->GetClassInfo().name.ToUtf8() + " object>";
      });

  reinterpret_cast<PyTypeObject*>(m.attr("Object").ptr())->tp_getattro = &DispatchGetAttro;

  py::class_<PyRecord>(m, "Record")
      .def("__getattr__",
           [](const PyRecord& r, const std::string& name) {
             return Guard([&] { return ToPython(r.record.Field(String::FromUtf8(name).view())); });
           })
      .def("__setattr__",
           [](PyRecord& r, const std::string& name, const py::object& value) {
             Guard([&] { r.record.SetField(String::FromUtf8(name).view(), FromPython(value)); });
           })
      .def("__dir__",
           [](const PyRecord& r) {
             py::list names;
             for (const auto& f : r.record.Type().Fields()) names.append(f.name.ToUtf8());
             return names;
           })
      .def("__repr__", [](const PyRecord& r) {
        std::string text = r.record.Type().Name().ToUtf8() + "(";
        bool first = true;
        for (const auto& f : r.record.Type().Fields()) {
          text += (first ? "" : ", ") + f.name.ToUtf8() + "=" +
                  py::repr(ToPython(r.record.Field(f.name.view()))).cast<std::string>();
          first = false;
        }
        return text + ")";
      });

  m.def(
      "_call",
      [](const Dispatch& d, const std::string& name, int kind, const py::tuple& args,
         const py::dict& kwargs) {
        return Guard([&] {
          return Call(d, String::FromUtf8(name), static_cast<VbCallType>(kind), args, kwargs);
        });
      },
      "What a member's function calls: the member by name, with the call's arguments.");
  g_call = py::object(m.attr("_call")).release();
  m.def(
      "_written_back",
      [] {
        // The marks on the parameters that members write back, as the type information has
        // the members: a mark that names nothing there fails here.
        py::list out;
        std::vector<const ClassInfo*> classes = RegisteredClasses();
        // A node comes only out of a document.
        Object doc = CreateObject("Borvane.Doc");
        classes.push_back(&CallByName(doc, "Add", VbMethod).ToObject()->GetClassInfo());
        CallByName(doc, "Clear", VbMethod);
        for (const WritesBack& w : WritesBackTable()) {
          const ClassInfo* cls = nullptr;
          for (const ClassInfo* c : classes)
            if (c->name == String(w.cls)) cls = c;
          if (!cls) throw py::value_error("no class " + String(w.cls).ToUtf8());
          const MemberInfo* member = nullptr;
          for (const MemberInfo* mi : cls->default_interface.Find(w.member))
            if (mi->invoke_kind == INVOKE_FUNC) member = mi;
          if (!member) throw py::value_error("no method " + String(w.member).ToUtf8());
          py::list names;
          for (size_t i : WrittenBack(*cls, *member)) names.append(member->params[i].name.ToUtf8());
          if (names.size() != w.params.size())
            throw py::value_error("a mark of " + String(w.member).ToUtf8() +
                                  " names no by-reference parameter");
          out.append(
              py::make_tuple(cls->name.ToUtf8() + "." + member->name.ToUtf8(), py::tuple(names)));
        }
        return out;
      },
      "The members that give back what they write into arguments, with those parameters.");

  auto create = [](const std::string& prog_id) {
    return Guard([&] { return Dispatch{CreateObject(String::FromUtf8(prog_id))}; });
  };
  m.def("CreateObject", create, py::arg("prog_id"),
        "Creates an object of the class with that ProgID, such as \"Borvane.Doc\".");
  m.def("Dispatch", create, py::arg("prog_id"), "The same as CreateObject.");
  m.def(
      "connect",
      [](const Dispatch& d, const std::string& event, py::function callback) {
        return Guard([&] { return Connect(d, event, std::move(callback)); });
      },
      py::arg("obj"), py::arg("event"), py::arg("callback"),
      "Calls `callback` with the event's arguments whenever `obj` raises `event`; gives a "
      "cookie for disconnect.");
  m.def(
      "disconnect",
      [](const Dispatch& d, int32_t cookie) { Guard([&] { DisconnectEvents(d.object, cookie); }); },
      py::arg("obj"), py::arg("cookie"));
  m.def("run_loop", &RunLoop, py::arg("seconds"),
        "Runs this thread's message loop for `seconds`, so that timers tick.");
}
