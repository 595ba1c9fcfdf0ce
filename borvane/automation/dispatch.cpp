#include "borvane/automation/dispatch.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"

namespace borvane {

// ---- Object lifetime ---------------------------------------------------------------------------

namespace {

// Each thread counts the objects it makes and frees in a counter of its own, which only that
// thread writes, so that making an object costs no locked instruction. The counters are never
// freed: they stay listed here for the sum after their thread has ended, one small block per
// thread that ever made an object.
std::mutex g_counters_mutex;
// Never destroyed, so that the counters stay reachable until the very end of the process.
std::vector<std::atomic<int64_t>*>& Counters() {
  static auto* counters = new std::vector<std::atomic<int64_t>*>;
  return *counters;
}

}  // namespace

namespace object_internal {

constinit thread_local std::atomic<int64_t>* t_live_count = nullptr;

void AdjustLiveObjectCountFirst(int delta) {
  {
    std::lock_guard<std::mutex> lock(g_counters_mutex);
    Counters().push_back(new std::atomic<int64_t>(0));
    t_live_count = Counters().back();
  }
  AdjustLiveObjectCount(delta);
}

}  // namespace object_internal

int64_t LiveObjectCount() {
  std::lock_guard<std::mutex> lock(g_counters_mutex);
  int64_t sum = 0;
  for (const std::atomic<int64_t>* counter : Counters())
    sum += counter->load(std::memory_order_relaxed);
  return sum;
}

// ---- Members called through type information -------------------------------------------------

Variant ObjectBase::Invoke(const String& member, int32_t kind, std::vector<Variant>& args) {
  return InvokeByTypeInfo(*this, member, kind, args);
}

static bool KindMatches(int32_t call_kind, int32_t invoke_kind) {
  switch (call_kind) {
    case VbMethod:
    case VbGet:
    case VbMethod | VbGet:
      return invoke_kind == INVOKE_FUNC || invoke_kind == INVOKE_PROPERTYGET;
    case VbLet:
      return invoke_kind == INVOKE_PROPERTYPUT;
    case VbSet:
      return invoke_kind == INVOKE_PROPERTYPUTREF;
    default:
      return false;
  }
}

Variant InvokeByTypeInfo(ObjectBase& self, const String& member, int32_t kind,
                         std::vector<Variant>& args) {
  const InterfaceInfo& iface = self.GetClassInfo().default_interface;
  for (const MemberInfo* m : iface.Find(member.view())) {
    if (KindMatches(kind, m->invoke_kind) && m->invoke) return m->invoke(self, args);
  }
  ThrowPlatformError(kErrNoSuchMember);
}

Variant CallByName(const Object& obj, const String& member, VbCallType kind,
                   std::vector<Variant>& args) {
  if (!obj) ThrowPlatformError(kErrObjectNotSet);
  return obj->Invoke(member, kind, args);
}

Variant CallByName(const Object& obj, const String& member, VbCallType kind,
                   std::vector<Variant>&& args) {
  return CallByName(obj, member, kind, args);
}

String ClassNameOf(const ObjectBase& obj) {
  return obj.GetClassInfo().name;
}

static Variant InvokeDefault(const Object& obj, std::vector<Variant>& args) {
  const InterfaceInfo& iface = obj->GetClassInfo().default_interface;
  const MemberInfo* m = iface.FindById(DISPID_VALUE, INVOKE_PROPERTYGET | INVOKE_FUNC);
  if (!m || !m->invoke) ThrowPlatformError(kErrNoSuchMember);
  return m->invoke(*obj, args);
}

Variant DefaultValue(const Object& obj) {
  Object current = obj;
  // A default member may itself give an object; follow a bounded number of such steps.
  for (int depth = 0; depth < 32; ++depth) {
    if (!current) ThrowPlatformError(kErrObjectNotSet);
    std::vector<Variant> none;
    Variant v = InvokeDefault(current, none);
    if (!v.IsObject()) return v;
    current = v.ToObject();
  }
  ThrowPlatformError(kErrTypeMismatch);
}

Object ObjectFromVariant(const Variant& v) {
  if (!v.IsObject()) ThrowPlatformError(kErrTypeMismatch);
  return v.ToObject();
}

namespace binding_detail {

const Variant& ArgumentOrDefault(std::vector<Variant>& args, size_t i, const ParamInfo& p,
                                 bool& use_zero) {
  use_zero = false;
  if (i < args.size() && !args[i].IsMissing()) return args[i];
  if (!p.optional) ThrowPlatformError(kErrArgNotOptional);
  // An optional parameter without a default takes its type's zero value, except a Variant,
  // which receives the missing marker for the callee to test.
  if (p.default_value.IsMissing() && p.type.vartype != vbVariant) use_zero = true;
  return p.default_value;
}

void CheckArgCount(size_t given, size_t declared) {
  if (given > declared) ThrowPlatformError(kErrWrongArgCount);
}

}  // namespace binding_detail

// ---- Enumeration -----------------------------------------------------------------------------

namespace {

class FunctionEnumerator : public Enumerator {
 public:
  explicit FunctionEnumerator(std::function<bool(Variant&)> next) : next_(std::move(next)) {}
  bool Next(Variant& item) override { return next_(item); }

 private:
  std::function<bool(Variant&)> next_;
};

const ClassInfo& EnumeratorClassInfo() {
  static const ClassInfo& info = []() -> const ClassInfo& {
    static ClassInfo ci;
    ci.name = "IEnumVARIANT";
    ci.default_interface.name = "IEnumVARIANT";
    ci.default_interface.Seal();
    return ci;
  }();
  return info;
}

}  // namespace

const ClassInfo& Enumerator::GetClassInfo() const {
  return EnumeratorClassInfo();
}

Ref<Enumerator> MakeEnumerator(std::function<bool(Variant&)> next) {
  return Ref<Enumerator>(new FunctionEnumerator(std::move(next)));
}

void ForEach(const Object& collection, const std::function<void(const Variant&)>& body) {
  if (!collection) ThrowPlatformError(kErrObjectNotSet);
  // An enumerator enumerates itself; a collection gives one through its NewEnum member.
  Object enumerator_object = collection;
  if (!dynamic_cast<Enumerator*>(collection.Get())) {
    const InterfaceInfo& iface = collection->GetClassInfo().default_interface;
    const MemberInfo* m = iface.FindById(DISPID_NEWENUM, INVOKE_FUNC | INVOKE_PROPERTYGET);
    if (!m || !m->invoke) ThrowPlatformError(kErrNoSuchMember);
    std::vector<Variant> none;
    enumerator_object = m->invoke(*collection, none).ToObject();
  }
  auto* e = dynamic_cast<Enumerator*>(enumerator_object.Get());
  if (!e) ThrowPlatformError(kErrNoSuchMember);
  Variant item;
  while (e->Next(item)) body(item);
}

// ---- Events ----------------------------------------------------------------------------------

int32_t EventSource::Connect(const String& event, Callback callback) {
  auto c = std::make_shared<Connection>();
  c->cookie = next_cookie_++;
  c->event = event;
  c->callback = std::move(callback);
  connections_.push_back(std::move(c));
  return connections_.back()->cookie;
}

int32_t EventSource::Connect(Object sink) {
  if (!sink) ThrowPlatformError(kErrObjectNotSet);
  auto c = std::make_shared<Connection>();
  c->cookie = next_cookie_++;
  c->sink = std::move(sink);
  connections_.push_back(std::move(c));
  return connections_.back()->cookie;
}

void EventSource::Disconnect(int32_t cookie) {
  std::erase_if(connections_, [cookie](const auto& c) { return c->cookie == cookie; });
}

void EventSource::Raise(const String& event, std::vector<Variant>& args) {
  // Work on a snapshot, so that a handler may connect or disconnect while the event runs.
  std::vector<std::shared_ptr<Connection>> snapshot = connections_;
  for (const auto& c : snapshot) {
    bool still_connected = std::any_of(connections_.begin(), connections_.end(),
                                       [&](const auto& x) { return x == c; });
    if (!still_connected) continue;
    if (c->callback) {
      if (EqualsNoCase(c->event.view(), event.view())) c->callback(args);
      continue;
    }
    Object sink = c->sink;
    // A sink described by type information gets only the events it has a method for; a sink
    // without a description answers calls itself and gets every event.
    const InterfaceInfo& iface = sink->GetClassInfo().default_interface;
    bool handles = iface.members.empty();
    for (const MemberInfo* m : iface.Find(event.view()))
      handles = handles || m->invoke_kind == INVOKE_FUNC;
    if (handles) sink->Invoke(event, VbMethod, args);
  }
}

static EventSource& SourceOf(const Object& source) {
  if (!source) ThrowPlatformError(kErrObjectNotSet);
  EventSource* es = source->GetEventSource();
  if (!es) ThrowPlatformError(kErrNoSuchMember);
  return *es;
}

int32_t ConnectEvents(const Object& source, const String& event, EventSource::Callback callback) {
  return SourceOf(source).Connect(event, std::move(callback));
}

int32_t ConnectEvents(const Object& source, Object sink) {
  return SourceOf(source).Connect(std::move(sink));
}

void DisconnectEvents(const Object& source, int32_t cookie) {
  SourceOf(source).Disconnect(cookie);
}

// ---- Class registry --------------------------------------------------------------------------

namespace {

struct Registry {
  std::mutex mutex;
  std::vector<const ClassInfo& (*)()> getters;
};

Registry& TheRegistry() {
  static Registry r;
  return r;
}

}  // namespace

void RegisterClassInfo(const ClassInfo& (*get)()) {
  Registry& r = TheRegistry();
  std::lock_guard<std::mutex> lock(r.mutex);
  if (std::find(r.getters.begin(), r.getters.end(), get) == r.getters.end())
    r.getters.push_back(get);
}

std::vector<const ClassInfo*> RegisteredClasses() {
  std::vector<const ClassInfo& (*)()> getters;
  {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    getters = r.getters;
  }
  std::vector<const ClassInfo*> classes;
  for (auto get : getters) classes.push_back(&get());
  std::stable_sort(classes.begin(), classes.end(), [](const ClassInfo* a, const ClassInfo* b) {
    return a->table_order < b->table_order;
  });
  return classes;
}

const ClassInfo* FindClassByProgId(const String& prog_id) {
  for (const ClassInfo* c : RegisteredClasses())
    if (EqualsNoCase(c->prog_id.view(), prog_id.view())) return c;
  return nullptr;
}

const ClassInfo* FindClassById(const String& clsid) {
  for (const ClassInfo* c : RegisteredClasses())
    if (!c->clsid.empty() && EqualsNoCase(c->clsid.view(), clsid.view())) return c;
  return nullptr;
}

Object CreateObject(const String& prog_id) {
  const ClassInfo* c = FindClassByProgId(prog_id);
  if (!c || !c->creatable || !c->factory) ThrowPlatformError(kErrCantCreateObject);
  Object o = c->factory();
  if (!o) ThrowPlatformError(kErrCantCreateObject);
  return o;
}

}  // namespace borvane
