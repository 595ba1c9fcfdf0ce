#include "borvane/platform/registry/registry.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "borvane/automation/text.h"

namespace borvane::platform {

namespace {

constexpr std::u16string_view kClassesRoot = u"HKEY_CLASSES_ROOT";

struct RootName {
  std::u16string_view full;
  std::u16string_view short_name;
};
constexpr RootName kRoots[] = {
    {u"HKEY_CLASSES_ROOT", u"HKCR"},   {u"HKEY_CURRENT_USER", u"HKCU"},
    {u"HKEY_LOCAL_MACHINE", u"HKLM"},  {u"HKEY_USERS", u"HKU"},
    {u"HKEY_CURRENT_CONFIG", u"HKCC"},
};

bool SameNoCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  // The names fold a unit at a time.
  for (size_t i = 0; i < a.size(); ++i)
    if (a[i] != b[i] && UpperChar(a[i]) != UpperChar(b[i])) return false;
  return true;
}

// The part of a canonical path behind its root ("" for the root itself).
std::u16string_view BelowRoot(const String& canonical) {
  std::u16string_view v = canonical.view();
  size_t slash = v.find(u'\\');
  return slash == std::u16string_view::npos ? std::u16string_view() : v.substr(slash + 1);
}

bool IsClassesView(const String& canonical) {
  return canonical.view().substr(0, kClassesRoot.size()) == kClassesRoot;
}

String Join(std::u16string_view a, std::u16string_view b) {
  std::u16string s(a);
  if (!b.empty()) {
    s += u'\\';
    s += b;
  }
  return String(s);
}

}  // namespace

std::u16string FoldRegistryName(const String& name) {
  return UCase(name).str();
}

RegistryValue RegistryValue::Text(String name, const String& text, uint32_t type) {
  RegistryValue v;
  v.name = std::move(name);
  v.type = type;
  std::u16string_view t = text.view();
  v.data.resize((t.size() + (type == REG_MULTI_SZ ? 2 : 1)) * 2, '\0');
  for (size_t i = 0; i < t.size(); ++i) {
    v.data[2 * i] = static_cast<char>(t[i] & 0xFF);
    v.data[2 * i + 1] = static_cast<char>(t[i] >> 8);
  }
  return v;
}

RegistryValue RegistryValue::Dword(String name, uint32_t value) {
  RegistryValue v;
  v.name = std::move(name);
  v.type = REG_DWORD;
  v.data.resize(4);
  std::memcpy(v.data.data(), &value, 4);
  return v;
}

String RegistryValue::AsText() const {
  if (!IsText()) return String();
  std::u16string out;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    char16_t c = static_cast<char16_t>(static_cast<uint8_t>(data[i]) |
                                       static_cast<uint8_t>(data[i + 1]) << 8);
    if (c == 0) break;
    out += c;
  }
  return String(out);
}

String RegistryStore::Canonical(const String& key) {
  std::u16string_view v = key.view();
  while (!v.empty() && v.front() == u'\\') v.remove_prefix(1);
  while (!v.empty() && v.back() == u'\\') v.remove_suffix(1);
  size_t slash = v.find(u'\\');
  std::u16string_view root = v.substr(0, slash);
  for (const RootName& r : kRoots) {
    if (SameNoCase(root, r.full) || SameNoCase(root, r.short_name)) {
      return slash == std::u16string_view::npos ? String(r.full)
                                                : Join(r.full, v.substr(slash + 1));
    }
  }
  return String();
}

String RegistryStore::ReadTarget(const String& canonical) {
  if (!IsClassesView(canonical)) return canonical;
  String user = Join(u"HKEY_CURRENT_USER\\Software\\Classes", BelowRoot(canonical));
  if (StoredKeyExists(user)) return user;
  return Join(u"HKEY_LOCAL_MACHINE\\Software\\Classes", BelowRoot(canonical));
}

String RegistryStore::WriteTarget(const String& canonical) {
  return ReadTarget(canonical);
}

std::vector<std::shared_ptr<ComputedKeys>> RegistryStore::Providers() {
  std::lock_guard<std::mutex> lock(providers_mutex_);
  return providers_;
}

void RegistryStore::AddComputedKeys(std::shared_ptr<ComputedKeys> provider) {
  std::lock_guard<std::mutex> lock(providers_mutex_);
  providers_.push_back(std::move(provider));
}

bool RegistryStore::IsReadOnly(const String& key) {
  String c = Canonical(key);
  if (c.empty()) return false;
  for (auto& p : Providers())
    if (p->ReadOnly(ReadTarget(c))) return true;
  return false;
}

bool RegistryStore::KeyExists(const String& key) {
  String c = Canonical(key);
  if (c.empty()) return false;
  if (BelowRoot(c).empty()) return true;  // a root always exists
  Stamp stamp;
  const bool keep = ReadStamp(c, stamp);
  if (keep) {
    std::lock_guard<std::mutex> lock(snapshots_mutex_);
    auto it = snapshots_.find(c.view());
    if (it != snapshots_.end() && it->second.stamp == stamp && it->second.exists >= 0)
      return it->second.exists != 0;
  }
  const bool exists = ReadKeyExists(c);
  if (keep) Keep(c, stamp, [&](Snapshot& kept) { kept.exists = exists; });
  return exists;
}

bool RegistryStore::ReadKeyExists(const String& c) {
  if (BelowRoot(c).empty()) return true;  // a root always exists
  String target = ReadTarget(c);
  if (StoredKeyExists(target)) return true;
  for (auto& p : Providers())
    if (p->HasKey(target)) return true;
  return false;
}

int32_t RegistryStore::CreateKey(const String& key) {
  String c = Canonical(key);
  if (c.empty()) return kRegInvalidParameter;
  String target = WriteTarget(c);
  if (IsReadOnly(c)) return StoredKeyExists(target) || KeyExists(c) ? kRegOk : kRegAccessDenied;
  if (BelowRoot(target).empty()) return kRegOk;
  const bool done = StoredCreateKey(target);
  Wrote();
  return done ? kRegOk : kRegIoFailed;
}

bool RegistryStore::DeleteTree(const String& key) {
  String c = Canonical(key);
  if (c.empty() || BelowRoot(c).empty() || IsReadOnly(c)) return false;
  const bool done = StoredDeleteTree(WriteTarget(c));
  Wrote();
  return done;
}

std::vector<String> RegistryStore::SubKeys(const String& key) {
  SubKeySnapshot list;
  SubKeyList(key, list);
  return *list;
}

void RegistryStore::SubKeyList(const String& key, SubKeySnapshot& names) {
  String c = Canonical(key);
  Stamp stamp;
  const bool keep = !c.empty() && ReadStamp(c, stamp);
  if (keep) {
    std::lock_guard<std::mutex> lock(snapshots_mutex_);
    auto it = snapshots_.find(c.view());
    if (it != snapshots_.end() && it->second.stamp == stamp && it->second.subkeys) {
      names = it->second.subkeys;
      return;
    }
  }
  names = std::make_shared<const std::vector<String>>(ReadSubKeys(c));
  if (keep) Keep(c, stamp, [&](Snapshot& kept) { kept.subkeys = names; });
}

std::vector<String> RegistryStore::ReadSubKeys(const String& c) {
  if (c.empty()) return {};
  String target = ReadTarget(c);
  std::vector<String> names = StoredSubKeys(target);
  if (IsClassesView(c)) {
    // The view lists the keys of both sides.
    String machine = Join(u"HKEY_LOCAL_MACHINE\\Software\\Classes", BelowRoot(c));
    if (!(machine == target)) {
      for (String& n : StoredSubKeys(machine)) names.push_back(std::move(n));
    }
  }
  for (auto& p : Providers())
    for (String& n : p->SubKeys(target)) names.push_back(std::move(n));
  std::vector<String> unique;
  std::vector<std::u16string> seen;
  for (String& n : names) {
    std::u16string f = FoldRegistryName(n);
    if (std::find(seen.begin(), seen.end(), f) != seen.end()) continue;
    seen.push_back(std::move(f));
    unique.push_back(std::move(n));
  }
  return unique;
}

int32_t RegistryStore::Values(const String& key, std::vector<RegistryValue>& values) {
  values.clear();
  String c = Canonical(key);
  if (c.empty() || !KeyExists(c)) return kRegNotFound;
  String target = ReadTarget(c);
  values = StoredValues(target);
  auto providers = Providers();
  if (providers.empty()) return kRegOk;
  std::vector<std::u16string> stored;
  for (const RegistryValue& v : values) stored.push_back(FoldRegistryName(v.name));
  std::sort(stored.begin(), stored.end());
  for (auto& p : providers) {
    for (RegistryValue& v : p->Values(target)) {
      // A stored value hides a computed one of the same name.
      if (!stored.empty() &&
          std::binary_search(stored.begin(), stored.end(), FoldRegistryName(v.name)))
        continue;
      values.push_back(std::move(v));
    }
  }
  return kRegOk;
}

bool RegistryStore::ReadStamp(const String& canonical, Stamp& stamp) {
  // Taken before the read it stands for: a change while that is read leaves it unkept.
  stamp.writes = Writes();
  stamp.outside = OutsideVersion();
  if (stamp.outside == 0) return false;
  const String target = ReadTarget(canonical);
  for (auto& p : Providers()) {
    stamp.versions.push_back(p->Version(target));
    if (stamp.versions.back() == 0) return false;
  }
  return true;
}

void RegistryStore::Keep(const String& canonical, const Stamp& stamp,
                         const std::function<void(Snapshot&)>& fill) {
  std::lock_guard<std::mutex> lock(snapshots_mutex_);
  auto it = snapshots_.find(canonical.view());
  if (it == snapshots_.end()) {
    // A bound on the keys kept: a caller walking the whole store does not fill memory.
    if (snapshots_.size() >= 64) snapshots_.clear();
    it = snapshots_.emplace(std::u16string(canonical.view()), Snapshot{}).first;
  }
  if (!(it->second.stamp == stamp)) {
    it->second = Snapshot();
    it->second.stamp = stamp;
  }
  fill(it->second);
}

int32_t RegistryStore::ValueList(const String& key, ValueSnapshot& values, SubKeySnapshot* names) {
  String c = Canonical(key);
  Stamp stamp;
  const bool keep = !c.empty() && ReadStamp(c, stamp);
  bool have_values = false, have_names = names == nullptr;
  int32_t error = 0;
  if (keep) {
    std::lock_guard<std::mutex> lock(snapshots_mutex_);
    auto it = snapshots_.find(c.view());
    if (it != snapshots_.end() && it->second.stamp == stamp) {
      if (it->second.values) {
        values = it->second.values;
        error = it->second.error;
        have_values = true;
      }
      if (names && it->second.subkeys) {
        *names = it->second.subkeys;
        have_names = true;
      }
    }
  }
  if (have_values && have_names) return error;
  if (!have_values) {
    auto list = std::make_shared<std::vector<RegistryValue>>();
    error = Values(key, *list);
    values = list;
  }
  if (!have_names) *names = std::make_shared<const std::vector<String>>(ReadSubKeys(c));
  if (keep) {
    Keep(c, stamp, [&](Snapshot& kept) {
      kept.values = values;
      kept.error = error;
      if (names) kept.subkeys = *names;
    });
  }
  return error;
}

int32_t RegistryStore::QueryInfo(const String& key, RegistryKeyInfo& info) {
  info = RegistryKeyInfo{};
  std::vector<RegistryValue> values;
  if (int32_t e = Values(key, values)) return e;
  std::vector<String> subkeys = SubKeys(key);
  info.subkeys = static_cast<uint32_t>(subkeys.size());
  for (const String& s : subkeys)
    info.longest_subkey = std::max(info.longest_subkey, static_cast<uint32_t>(s.size()));
  info.values = static_cast<uint32_t>(values.size());
  for (const RegistryValue& v : values) {
    info.longest_value_name =
        std::max(info.longest_value_name, static_cast<uint32_t>(v.name.size()));
    info.longest_value_data =
        std::max(info.longest_value_data, static_cast<uint32_t>(v.data.size()));
  }
  return kRegOk;
}

int32_t RegistryStore::Query(const String& key, const String& name, RegistryValue& value) {
  String c = Canonical(key);
  if (c.empty()) return kRegNotFound;
  String target = ReadTarget(c);
  if (auto v = StoredValue(target, name)) {
    value = std::move(*v);
    return kRegOk;
  }
  std::u16string folded = FoldRegistryName(name);
  for (auto& p : Providers()) {
    for (RegistryValue& v : p->Values(target)) {
      if (FoldRegistryName(v.name) == folded) {
        value = std::move(v);
        return kRegOk;
      }
    }
  }
  return kRegNotFound;
}

int32_t RegistryStore::Set(const String& key, const RegistryValue& value) {
  String c = Canonical(key);
  // A root holds values too, as HKEY_CURRENT_USER does on Windows.
  if (c.empty()) return kRegInvalidParameter;
  if (IsReadOnly(c)) return kRegAccessDenied;
  // Counted once written, so that a reader that saw the old count read the old values.
  const bool done = StoredSet(WriteTarget(c), value);
  Wrote();
  return done ? kRegOk : kRegIoFailed;
}

int32_t RegistryStore::DeleteValue(const String& key, const String& name) {
  String c = Canonical(key);
  if (c.empty()) return kRegNotFound;
  if (IsReadOnly(c)) return kRegAccessDenied;
  const bool done = StoredDeleteValue(WriteTarget(c), name);
  Wrote();
  return done ? kRegOk : kRegNotFound;
}

bool RegistryStore::SetValue(const String& key, const String& name, const String& value) {
  return Set(key, RegistryValue::Text(name, value)) == kRegOk;
}

std::optional<String> RegistryStore::GetValue(const String& key, const String& name) {
  RegistryValue v;
  if (Query(key, name, v) != kRegOk || !v.IsText()) return std::nullopt;
  return v.AsText();
}

void ParseRegistryText(
    const std::string& text,
    const std::function<void(const String& key, const String* name, const String* value)>& visit) {
  std::istringstream in(text);
  std::string line;
  String current;
  while (std::getline(in, line)) {
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
      current = String::FromUtf8(line.substr(1, line.size() - 2));
      visit(current, nullptr, nullptr);
      continue;
    }
    size_t eq = line.find('=');
    if (eq == std::string::npos || current.empty()) continue;
    std::string raw = line.substr(0, eq);
    String name = raw == "@" ? String() : String::FromUtf8(raw);
    String value = String::FromUtf8(line.substr(eq + 1));
    visit(current, &name, &value);
  }
}

}  // namespace borvane::platform
