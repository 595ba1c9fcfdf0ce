// The registry store held in memory. For tests and benchmarks only: built as the borvane_testing
// library, never part of libborvane or its installed headers.
#ifndef BORVANE_PLATFORM_TESTING_REGISTRY_H_
#define BORVANE_PLATFORM_TESTING_REGISTRY_H_

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "borvane/platform/registry/registry.h"

namespace borvane::platform {

// A registry held in memory, for tests.
class MemoryRegistry : public RegistryStore {
 public:
  // The text form of the library's earlier store: a "[key]" line per key, then "name=value"
  // lines (UTF-8, "@" for the default value); lines that do not parse are passed over. Keys of
  // HKEY_CLASSES_ROOT land where a write through that view goes.
  void ImportText(const std::string& text);

 protected:
  bool StoredKeyExists(const String& key) override;
  bool StoredCreateKey(const String& key) override;
  bool StoredDeleteTree(const String& key) override;
  std::vector<String> StoredSubKeys(const String& key) override;
  std::vector<RegistryValue> StoredValues(const String& key) override;
  std::optional<RegistryValue> StoredValue(const String& key, const String& name) override;
  bool StoredSet(const String& key, const RegistryValue& value) override;
  bool StoredDeleteValue(const String& key, const String& name) override;
  // Only this process reaches the store.
  uint64_t OutsideVersion() override { return 1; }

 private:
  struct Key {
    String path;
    std::vector<RegistryValue> values;  // in order of creation
  };
  std::mutex mutex_;
  std::map<std::u16string, Key> keys_;  // by upper-cased path
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_TESTING_REGISTRY_H_
