#include "borvane/platform/testing/registry.h"

#include "borvane/automation/error.h"

namespace borvane::platform {

namespace {

bool IsBelow(const std::u16string& path, const std::u16string& parent) {
  return path.size() > parent.size() && path.compare(0, parent.size(), parent) == 0 &&
         path[parent.size()] == u'\\';
}

}  // namespace

bool MemoryRegistry::StoredKeyExists(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  return keys_.count(FoldRegistryName(key)) != 0;
}

bool MemoryRegistry::StoredCreateKey(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::u16string_view v = key.view();
  size_t first = v.find(u'\\');
  if (first == std::u16string_view::npos) first = v.size();  // a root
  for (size_t i = first; i <= v.size(); ++i) {
    if (i == v.size() || v[i] == u'\\') {
      String part(v.substr(0, i));
      Key& k = keys_[FoldRegistryName(part)];
      if (k.path.empty()) k.path = part;
    }
  }
  return true;
}

bool MemoryRegistry::StoredDeleteTree(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::u16string folded = FoldRegistryName(key);
  bool existed = keys_.erase(folded) != 0;
  for (auto it = keys_.begin(); it != keys_.end();) {
    if (IsBelow(it->first, folded)) {
      it = keys_.erase(it);
      existed = true;
    } else {
      ++it;
    }
  }
  return existed;
}

std::vector<String> MemoryRegistry::StoredSubKeys(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::u16string folded = FoldRegistryName(key);
  std::vector<String> out;
  for (auto it = keys_.upper_bound(folded); it != keys_.end() && IsBelow(it->first, folded); ++it) {
    if (it->first.find(u'\\', folded.size() + 1) == std::u16string::npos)
      out.push_back(String(it->second.path.view().substr(folded.size() + 1)));
  }
  return out;
}

std::vector<RegistryValue> MemoryRegistry::StoredValues(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = keys_.find(FoldRegistryName(key));
  return it == keys_.end() ? std::vector<RegistryValue>() : it->second.values;
}

std::optional<RegistryValue> MemoryRegistry::StoredValue(const String& key, const String& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = keys_.find(FoldRegistryName(key));
  if (it == keys_.end()) return std::nullopt;
  std::u16string folded = FoldRegistryName(name);
  for (const RegistryValue& v : it->second.values)
    if (FoldRegistryName(v.name) == folded) return v;
  return std::nullopt;
}

bool MemoryRegistry::StoredSet(const String& key, const RegistryValue& value) {
  StoredCreateKey(key);
  std::lock_guard<std::mutex> lock(mutex_);
  Key& k = keys_[FoldRegistryName(key)];
  std::u16string folded = FoldRegistryName(value.name);
  for (RegistryValue& v : k.values) {
    if (FoldRegistryName(v.name) == folded) {
      v.type = value.type;
      v.data = value.data;
      return true;
    }
  }
  k.values.push_back(value);
  return true;
}

bool MemoryRegistry::StoredDeleteValue(const String& key, const String& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = keys_.find(FoldRegistryName(key));
  if (it == keys_.end()) return false;
  std::u16string folded = FoldRegistryName(name);
  auto& values = it->second.values;
  for (auto v = values.begin(); v != values.end(); ++v) {
    if (FoldRegistryName(v->name) == folded) {
      values.erase(v);
      return true;
    }
  }
  return false;
}

void MemoryRegistry::ImportText(const std::string& text) {
  ParseRegistryText(text, [&](const String& key, const String* name, const String* value) {
    if (Canonical(key).empty()) return;
    if (!name) {
      CreateKey(key);
    } else {
      Set(key, RegistryValue::Text(*name, *value));
    }
  });
}

}  // namespace borvane::platform
