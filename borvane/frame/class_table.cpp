#include "borvane/frame/class_table.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "borvane/automation/dispatch.h"
#include "borvane/platform/registry/registry.h"

namespace borvane {

namespace {

// Identifiers follow one pattern: the class, its default interface and its event interface
// differ in the first group; the last group is the class's position.
std::string IdFor(int32_t order, char kind) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "{B0A7A1E%c-0000-4B00-8000-0000000000%02X}", kind,
                static_cast<unsigned>(order & 0xFF));
  return buffer;
}

}  // namespace

std::string ClassId(int32_t order) {
  return IdFor(order, '0');
}
std::string InterfaceId(int32_t order) {
  return IdFor(order, '1');
}
std::string EventInterfaceId(int32_t order) {
  return IdFor(order, '2');
}

std::vector<const ClassInfo*> LibraryClasses() {
  std::vector<const ClassInfo*> out;
  for (const ClassInfo* c : RegisteredClasses())
    if (c->table_order >= kOrderAttributeObj && c->table_order <= kOrderIStatusCallBack)
      out.push_back(c);
  return out;
}

std::vector<const TypeDesc*> LibraryEnumerations() {
  std::vector<const TypeDesc*> out;
  auto add = [&](const TypeDesc* t) {
    if (t && t->Kind() == TKIND_ENUM && std::find(out.begin(), out.end(), t) == out.end())
      out.push_back(t);
  };
  for (const ClassInfo* c : LibraryClasses()) {
    for (const MemberInfo& m : c->default_interface.members) {
      add(m.return_type.desc);
      for (const ParamInfo& p : m.params) add(p.type.desc);
    }
    for (const TypeDesc* t : c->enumerations) add(t);
  }
  return out;
}

}  // namespace borvane

using borvane::ClassInfo;
using borvane::String;

extern "C" {

int32_t DllCanUnloadNow(void) {
  return borvane::LiveObjectCount() == 0 ? 0 : 1;
}

int32_t DllGetClassObject(const char* clsid, void** object) {
  constexpr int32_t kClassNotAvailable = static_cast<int32_t>(0x80040111);
  constexpr int32_t kInvalidArg = static_cast<int32_t>(0x80070057);
  if (!clsid || !object) return kInvalidArg;
  *object = nullptr;
  const ClassInfo* c = borvane::FindClassById(String(clsid));
  if (!c || !c->creatable || !c->factory) return kClassNotAvailable;
  try {
    borvane::Object o = c->factory();
    *object = o.Detach();
    return *object ? 0 : kClassNotAvailable;
  } catch (...) {
    return kClassNotAvailable;
  }
}

int32_t DllRegisterServer(void) {
  auto& reg = borvane::platform::Registry();
  bool ok = true;
  for (const ClassInfo* c : borvane::LibraryClasses()) {
    if (!c->creatable) continue;
    String key = String("HKEY_CLASSES_ROOT\\CLSID\\") + c->clsid;
    ok &= reg.SetValue(key, "", c->name);
    ok &= reg.SetValue(key + String("\\ProgID"), "", c->prog_id);
    ok &= reg.SetValue(key + String("\\InprocServer32"), "", "libborvane.so");
    ok &= reg.SetValue(key + String("\\InprocServer32"), "ThreadingModel", "Apartment");
    ok &=
        reg.SetValue(String("HKEY_CLASSES_ROOT\\") + c->prog_id + String("\\CLSID"), "", c->clsid);
  }
  return ok ? 0 : static_cast<int32_t>(0x80004005);
}

int32_t DllUnregisterServer(void) {
  auto& reg = borvane::platform::Registry();
  for (const ClassInfo* c : borvane::LibraryClasses()) {
    if (!c->creatable) continue;
    reg.DeleteTree(String("HKEY_CLASSES_ROOT\\CLSID\\") + c->clsid);
    reg.DeleteTree(String("HKEY_CLASSES_ROOT\\") + c->prog_id);
  }
  return 0;
}

}  // extern "C"
