// The earlier registry store's text form, imported from arbitrary bytes: no crash, and every
// key it names can be read back whole.
#include <cstddef>
#include <cstdint>
#include <string>

#include "borvane/platform/registry/registry.h"
#include "borvane/platform/testing/registry.h"

using namespace borvane;
using namespace borvane::platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  MemoryRegistry registry;
  registry.ImportText(text);
  ParseRegistryText(text, [&](const String& key, const String* name, const String*) {
    if (RegistryStore::Canonical(key).empty()) return;
    std::vector<RegistryValue> values;
    if (registry.Values(key, values) != 0) __builtin_trap();
    if (name && !registry.GetValue(key, *name).has_value()) __builtin_trap();
  });
  return 0;
}
