// The Python module `borvane`: every class of the library reached as an automation client
// reaches it. An object is created by its ProgID, and its attributes map to its members by
// type information, case-blind: reading is a property get (or a call of a method without
// arguments), assigning is a property let or set, calling is a method call.
#include <pybind11/eval.h>
#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

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
py::handle g_error_type;  // borvane.Error
py::handle g_missing;     // borvane.Missing
py::handle g_decimal;     // decimal.Decimal
py::handle g_datetime;    // datetime.datetime
py::handle g_timedelta;   // datetime.timedelta

// An object of the library, as Python holds it.
struct Dispatch {
  Object object;
};

// A record value (FONTINFO and the like): fields by name.
struct PyRecord {
  Record record;
};

[[noreturn]] void Raise(const Error& e) {
  py::object error = g_error_type(e.Number(), e.Source().ToUtf8(), e.Description().ToUtf8());
  PyErr_SetObject(g_error_type.ptr(), error.ptr());
  throw py::error_already_set();
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

// Calls the member with Python arguments (keywords by parameter name, case-blind). Gives the
// result, or a tuple of the result and the by-reference arguments the caller passed.
py::object Call(const Dispatch& d, const String& name, VbCallType kind, py::args args,
                py::kwargs kwargs) {
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
  // What each text argument held, to tell an argument the callee left alone: the binding
  // replaces an argument only when it changed, and a replaced text has storage of its own.
  std::vector<py::handle> given(values.size());
  std::vector<const char16_t*> storage(values.size(), nullptr);
  for (size_t i = 0; i < args.size(); ++i) given[i] = args[i];
  for (auto [key, value] : kwargs)
    for (size_t i = 0; m && i < m->params.size() && i < values.size(); ++i)
      if (UCase(m->params[i].name) == UCase(Text(key))) given[i] = value;
  for (size_t i = 0; i < values.size(); ++i)
    if (values[i].IsString()) storage[i] = values[i].StringRef().data();
  Variant result = CallByName(d.object, name, kind, values);
  py::list by_ref;
  for (size_t i = 0; m && i < values.size() && i < m->params.size(); ++i) {
    if (!m->params[i].by_ref || values[i].IsMissing()) continue;
    // A short text may sit inside the argument itself, whatever replaced it: only a text with
    // storage of its own can be told unchanged by where it is.
    bool unchanged = storage[i] && values[i].IsString() && values[i].StringRef().size() > 64 &&
                     values[i].StringRef().data() == storage[i] && given[i];
    by_ref.append(unchanged ? py::reinterpret_borrow<py::object>(given[i]) : ToPython(values[i]));
  }
  if (by_ref.empty()) return ToPython(result);
  py::list all;
  all.append(ToPython(result));
  for (py::handle h : by_ref) all.append(h);
  return py::tuple(all);
}

// The member as help() shows it: its name and parameters (optional ones in brackets), then
// its help string.
std::string Signature(const MemberInfo& m) {
  std::string text = m.name.ToUtf8() + "(";
  for (size_t i = 0; i < m.params.size(); ++i) {
    const ParamInfo& p = m.params[i];
    text += (i ? ", " : "") + std::string(p.optional ? "[" : "") + p.name.ToUtf8() +
            (p.optional ? "]" : "");
  }
  text += ")";
  if (!m.help_string.empty()) text += "\n\n" + m.help_string.ToUtf8();
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

py::object GetAttribute(const Dispatch& d, const py::str& name) {
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
    // arguments (an indexed property), which then come in a call. The function bears the
    // member's name and help, for help().
    VbCallType kind = m->invoke_kind == INVOKE_FUNC ? VbMethod : VbGet;
    String member_name = m->name;
    return py::cpp_function(
        [d, member_name, kind](py::args args, py::kwargs kwargs) {
          return Guard([&] { return Call(d, member_name, kind, args, kwargs); });
        },
        py::name(m->name.ToUtf8().c_str()), py::doc(Signature(*m).c_str()));
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

Variant DefaultMember(const Dispatch& d, py::args args) {
  const MemberInfo* m = InterfaceOf(d).FindById(DISPID_VALUE, INVOKE_PROPERTYGET | INVOKE_FUNC);
  if (!m) ThrowPlatformError(kErrNoSuchMember);
  std::vector<Variant> values;
  for (py::handle a : args) values.push_back(FromPython(a));
  return CallByName(d.object, m->name, VbGet, values);
}

// --- Events and the loop ---------------------------------------------------------------------

int32_t Connect(const Dispatch& d, const std::string& event, py::function callback) {
  return ConnectEvents(d.object, String::FromUtf8(event), [callback](std::vector<Variant>& args) {
    py::gil_scoped_acquire gil;
    py::list values;
    for (const Variant& a : args) values.append(ToPython(a));
    callback(*values);
  });
}

// Runs this thread's message loop for `seconds`, delivering timer ticks; a Python error in a
// handler ends the loop and is raised here.
void RunLoop(double seconds) {
  platform::MessageLoop& loop = platform::MessageLoop::ForThread();
  auto deadline = static_cast<int64_t>(seconds * 1000);
  loop.RunUntil([] { return PyErr_CheckSignals() != 0; }, deadline);
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
    return Guard([&] { return GetAttribute(d, py::reinterpret_borrow<py::str>(name)); })
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

  py::dict ns;
  py::exec(R"py(
class Error(Exception):
    """A failure of the library: its error number, Source and description."""
    def __init__(self, number, source, description):
        super().__init__(number, source, description)
        self.number, self.source, self.description = number, source, description
    def __str__(self):
        return f"{self.source}: {self.description} (error {self.number})"

class _MissingType:
    """Passes the missing-argument marker: the parameter takes its default."""
    def __repr__(self):
        return "borvane.Missing"
)py",
           py::globals(), ns);
  g_error_type = py::object(ns["Error"]).release();
  g_error_type.attr("__module__") = "borvane";
  m.attr("Error") = g_error_type;
  g_missing = py::object(ns["_MissingType"]()).release();
  m.attr("Missing") = g_missing;

  py::class_<Dispatch>(m, "Object")
      .def("__setattr__",
           [](const Dispatch& d, const std::string& name, const py::object& value) {
             Guard([&] { SetAttribute(d, name, value); });
           })
      .def("__call__",
           [](const Dispatch& d, py::args args) {
             return Guard([&] { return ToPython(DefaultMember(d, args)); });
           })
      .def("__getitem__",
           [](const Dispatch& d, const py::object& index) {
             return Guard([&] { return ToPython(DefaultMember(d, py::make_tuple(index))); });
           })
      .def(
          "__iter__",
          [](const Dispatch& d) {
            py::list items;
            Guard([&] { ForEach(d.object, [&](const Variant& v) { items.append(ToPython(v)); }); });
            return items.attr("__iter__")();
          })
      .def("__len__",
           [](const Dispatch& d) {
             return Guard([&] {
               std::vector<Variant> none;
               return CLng(CallByName(d.object, "Count", VbGet, none));
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
