// The registry store: keys with named text values, as the platform's registry holds them.
//
// Key paths use "\" between names and begin with the root ("HKEY_CLASSES_ROOT\CLSID\{...}").
// Names compare without regard to case. The real store keeps its keys in a file of the
// user's data folder ($XDG_DATA_HOME/borvane/registry, else ~/.local/share/borvane/registry),
// since Linux has no registry of its own; the memory store is for tests.
#ifndef BORVANE_PLATFORM_REGISTRY_H_
#define BORVANE_PLATFORM_REGISTRY_H_

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/platform/service.h"

namespace borvane::platform {

class RegistryStore {
 public:
  virtual ~RegistryStore() = default;
  // Sets a value ("" names the key's default value), creating the key and its parents.
  virtual bool SetValue(const String& key, const String& name, const String& value) = 0;
  virtual std::optional<String> GetValue(const String& key, const String& name) = 0;
  virtual bool KeyExists(const String& key) = 0;
  // Deletes the key with its values and every key below it; false when it was not there.
  virtual bool DeleteTree(const String& key) = 0;
  // Names of the keys directly below `key`.
  virtual std::vector<String> SubKeys(const String& key) = 0;

  static RegistryStore& Real();
};

// A registry held in memory, optionally loaded from and saved to a file.
class MemoryRegistry : public RegistryStore {
 public:
  MemoryRegistry() = default;
  bool SetValue(const String& key, const String& name, const String& value) override;
  std::optional<String> GetValue(const String& key, const String& name) override;
  bool KeyExists(const String& key) override;
  bool DeleteTree(const String& key) override;
  std::vector<String> SubKeys(const String& key) override;

  // The text form: a "[key]" line per key, then "name=value" lines (UTF-8, "@" for the
  // default value); lines that do not parse are passed over.
  std::string Serialize() const;
  void Deserialize(const std::string& text);

 protected:
  // Keys by their upper-cased path; each holds its spelling and values by upper-cased name.
  struct Key {
    String path;
    std::map<std::u16string, std::pair<String, String>> values;
  };
  std::map<std::u16string, Key> keys_;
};

inline RegistryStore& Registry() {
  return Current<RegistryStore>::Get();
}

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_REGISTRY_H_
