// The registry store: keys with named, typed values, as the platform's registry holds them.
//
// Key paths use "\" between names and begin with a root, by its full or short name
// ("HKEY_LOCAL_MACHINE\SOFTWARE\...", "HKLM\SOFTWARE\..."). Key and value names compare without
// regard to case and keep the spelling they were made with. Values enumerate in the order they
// were made; setting a value again keeps its place.
//
// HKEY_CLASSES_ROOT is not a store of its own but a view: a key under it is the user's
// "HKEY_CURRENT_USER\Software\Classes" key of that name where there is one, else the
// machine's "HKEY_LOCAL_MACHINE\Software\Classes" key. A write through it goes to the user's key
// when that exists, else to the machine's, as on Windows.
//
// Besides what callers stored, a store shows computed content (what the system already knows,
// such as its installed fonts): ComputedKeys providers add keys and values that are made when
// read. Stored values of the same name win over computed ones. A key that a provider holds
// read-only refuses every change (5).
//
// Results are the platform's error numbers: 0 success, 2 no such key or value, 5 access denied,
// 259 no more items, 1016 when the store could not be written.
#ifndef BORVANE_PLATFORM_REGISTRY_REGISTRY_H_
#define BORVANE_PLATFORM_REGISTRY_REGISTRY_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/platform/base/service.h"

namespace borvane::platform {

enum RegistryType : uint32_t {
  REG_NONE = 0,
  REG_SZ = 1,
  REG_EXPAND_SZ = 2,
  REG_BINARY = 3,
  REG_DWORD = 4,
  REG_MULTI_SZ = 7,
};

inline constexpr int32_t kRegOk = 0;
inline constexpr int32_t kRegNotFound = 2;
inline constexpr int32_t kRegAccessDenied = 5;
inline constexpr int32_t kRegInvalidParameter = 87;
inline constexpr int32_t kRegMoreData = 234;
inline constexpr int32_t kRegIoFailed = 1016;
inline constexpr int32_t kRegNoMoreItems = 259;

// One value: its name ("" for the key's default value), its type and its data. Text types hold
// their text as UTF-16 code units with the closing NUL (two for REG_MULTI_SZ), as the platform
// keeps them; their size therefore counts the NUL.
struct RegistryValue {
  String name;
  uint32_t type = REG_SZ;
  std::string data;

  static RegistryValue Text(String name, const String& text, uint32_t type = REG_SZ);
  static RegistryValue Dword(String name, uint32_t value);
  // The text of a text value, up to its first NUL; the empty String for other types.
  String AsText() const;
  bool IsText() const { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }
};

// What a key tells of itself. Lengths count characters without a closing NUL (names) and bytes
// of the data as the platform keeps it.
struct RegistryKeyInfo {
  uint32_t subkeys = 0;
  uint32_t longest_subkey = 0;
  uint32_t values = 0;
  uint32_t longest_value_name = 0;
  uint32_t longest_value_data = 0;
};

// Content made when read. Paths given to a provider are canonical: full root name, no "\" at
// either end, in the caller's spelling.
class ComputedKeys {
 public:
  virtual ~ComputedKeys() = default;
  // The computed values of `key`, in their order (empty for a key the provider does not know).
  virtual std::vector<RegistryValue> Values(const String& key) = 0;
  // Names of computed keys directly below `key`.
  virtual std::vector<String> SubKeys(const String& key) = 0;
  // True when the provider makes `key` (so that it exists even with nothing stored).
  virtual bool HasKey(const String& key) = 0;
  // True when `key` may not be changed by callers.
  virtual bool ReadOnly(const String& key) { return (void)key, false; }
  // A number that moves on whenever Values(key) would give another list; 0 when the provider
  // cannot tell, and its values are made on every read.
  virtual uint64_t Version(const String& key) { return (void)key, 0; }
};

class RegistryStore {
 public:
  virtual ~RegistryStore() = default;

  // --- Text values, for callers that need nothing more (REG_SZ).
  // Sets a value ("" names the key's default value), creating the key and its parents.
  bool SetValue(const String& key, const String& name, const String& value);
  // The text of a text value; nothing for a missing key, a missing value or another type.
  std::optional<String> GetValue(const String& key, const String& name);

  // --- Keys.
  bool KeyExists(const String& key);
  // Makes the key and its parents: 0, or 5 for a read-only key, 87 for a path without a root.
  int32_t CreateKey(const String& key);
  // Deletes the key with its values and every key below it; false when it was not there.
  bool DeleteTree(const String& key);
  // Names of the keys directly below `key`, stored ones first in order of their names.
  std::vector<String> SubKeys(const String& key);
  int32_t QueryInfo(const String& key, RegistryKeyInfo& info);
  bool IsReadOnly(const String& key);

  // --- Typed values.
  // Sets the value, creating the key: 0, 5 for a read-only key, 87 for a path without a root.
  int32_t Set(const String& key, const RegistryValue& value);
  // 0 and the value, or 2.
  int32_t Query(const String& key, const String& name, RegistryValue& value);
  // Every value of the key in order (stored ones, then computed ones not shadowed): 0 or 2.
  int32_t Values(const String& key, std::vector<RegistryValue>& values);
  // The same list, shared and never changed: read again only when something was written
  // through this store, by another process, or by a provider since it was last read.
  // With `names`, the names of its sub-keys too, as SubKeyList gives them.
  using ValueSnapshot = std::shared_ptr<const std::vector<RegistryValue>>;
  using SubKeySnapshot = std::shared_ptr<const std::vector<String>>;
  int32_t ValueList(const String& key, ValueSnapshot& values, SubKeySnapshot* names = nullptr);
  // SubKeys, shared and never changed, read again as the values are.
  void SubKeyList(const String& key, SubKeySnapshot& names);
  // 0 deleted, 2 no such value (or key), 5 read-only.
  int32_t DeleteValue(const String& key, const String& name);

  // A count of the changes made through this store, which moves on with every write: equal
  // counts tell a caller that nothing was written in between.
  uint64_t Writes() const { return writes_.load(std::memory_order_acquire); }

  // Adds a provider of computed content to this store.
  void AddComputedKeys(std::shared_ptr<ComputedKeys> provider);

  // The path with its root's full name and no "\" at either end ("HKLM\A\" gives
  // "HKEY_LOCAL_MACHINE\A"); the empty String when it names no root.
  static String Canonical(const String& key);

  static RegistryStore& Real();

 protected:
  // The stored keys, over canonical paths of the roots that hold data (never
  // HKEY_CLASSES_ROOT). Implementations guard themselves for use from several threads.
  virtual bool StoredKeyExists(const String& key) = 0;
  // False when the store could not be written.
  virtual bool StoredCreateKey(const String& key) = 0;
  virtual bool StoredDeleteTree(const String& key) = 0;
  virtual std::vector<String> StoredSubKeys(const String& key) = 0;
  virtual std::vector<RegistryValue> StoredValues(const String& key) = 0;
  virtual std::optional<RegistryValue> StoredValue(const String& key, const String& name) = 0;
  // Creates the key (and parents) if needed; a value of that name keeps its place.
  virtual bool StoredSet(const String& key, const RegistryValue& value) = 0;
  virtual bool StoredDeleteValue(const String& key, const String& name) = 0;
  // A number that moves on whenever another process changed what is stored; 0 when the store
  // cannot tell, and nothing it holds is kept between reads.
  virtual uint64_t OutsideVersion() { return 0; }

 private:
  // The physical key that a canonical path reads from (HKEY_CLASSES_ROOT resolved).
  String ReadTarget(const String& canonical);
  String WriteTarget(const String& canonical);
  std::vector<std::shared_ptr<ComputedKeys>> Providers();

  void Wrote() { writes_.fetch_add(1, std::memory_order_acq_rel); }

  std::mutex providers_mutex_;
  std::vector<std::shared_ptr<ComputedKeys>> providers_;
  std::atomic<uint64_t> writes_{0};

  // What was read of a key, kept with what it was read under: this store's count of writes,
  // its count of changes by other processes, and each provider's version of the key.
  struct Stamp {
    uint64_t writes = 0, outside = 0;
    std::vector<uint64_t> versions;
    bool operator==(const Stamp&) const = default;
  };
  struct Snapshot {
    Stamp stamp;
    int exists = -1;  // -1 not read yet
    SubKeySnapshot subkeys;
    ValueSnapshot values;
    int32_t error = 0;
  };
  // False when what is read of `canonical` now cannot be kept.
  bool ReadStamp(const String& canonical, Stamp& stamp);
  // Lets `fill` add to the kept reads of `canonical`, emptied first unless they were made under
  // `stamp`.
  void Keep(const String& canonical, const Stamp& stamp,
            const std::function<void(Snapshot&)>& fill);
  bool ReadKeyExists(const String& canonical);
  std::vector<String> ReadSubKeys(const String& canonical);

  std::mutex snapshots_mutex_;
  // By canonical path as the caller spelled it.
  std::map<std::u16string, Snapshot, std::less<>> snapshots_;
};

// Calls `value` for each "[key]" / "name=value" pair of the earlier store's text form.
void ParseRegistryText(
    const std::string& text,
    const std::function<void(const String& key, const String* name, const String* value)>& visit);

// Upper-cased text for case-blind comparison of key and value names.
std::u16string FoldRegistryName(const String& name);

inline RegistryStore& Registry() {
  return Current<RegistryStore>::Get();
}

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_REGISTRY_REGISTRY_H_
