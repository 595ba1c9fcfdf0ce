#include "borvane/platform/registry.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "borvane/automation/text.h"

namespace borvane::platform {

namespace {

std::u16string Fold(const String& s) {
  return UCase(s).str();
}

// Trims "\" at both ends, so that "A\B\" and "A\B" name one key.
String NormalizeKey(const String& key) {
  std::u16string_view v = key.view();
  while (!v.empty() && v.front() == u'\\') v.remove_prefix(1);
  while (!v.empty() && v.back() == u'\\') v.remove_suffix(1);
  return String(v);
}

bool IsBelow(const std::u16string& path, const std::u16string& parent) {
  return path.size() > parent.size() && path.compare(0, parent.size(), parent) == 0 &&
         path[parent.size()] == u'\\';
}

// The real store: the memory store kept in a file of the user's data folder, read on first
// use and written after each change.
class FileRegistry : public MemoryRegistry {
 public:
  FileRegistry() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    std::string dir = xdg && *xdg ? std::string(xdg) + "/borvane"
                      : home      ? std::string(home) + "/.local/share/borvane"
                                  : std::string("/tmp/borvane");
    path_ = dir + "/registry";
    dir_ = dir;
    std::ifstream in(path_, std::ios::binary);
    if (in) {
      std::stringstream ss;
      ss << in.rdbuf();
      Deserialize(ss.str());
    }
  }
  bool SetValue(const String& key, const String& name, const String& value) override {
    return MemoryRegistry::SetValue(key, name, value) && Save();
  }
  bool DeleteTree(const String& key) override {
    bool existed = MemoryRegistry::DeleteTree(key);
    return Save() && existed;
  }

 private:
  bool Save() {
    std::string cmd_dir = dir_;
    // Create the folder chain; an existing folder is fine.
    for (size_t i = 1; i <= cmd_dir.size(); ++i) {
      if (i == cmd_dir.size() || cmd_dir[i] == '/') {
        std::string part = cmd_dir.substr(0, i);
        ::mkdir(part.c_str(), 0755);
      }
    }
    std::ofstream out(path_, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out << Serialize();
    return static_cast<bool>(out);
  }
  std::string path_, dir_;
};

}  // namespace

RegistryStore& RegistryStore::Real() {
  thread_local FileRegistry registry;
  return registry;
}

bool MemoryRegistry::SetValue(const String& key_in, const String& name, const String& value) {
  String key = NormalizeKey(key_in);
  if (key.empty()) return false;
  // Create the parents too, so that SubKeys lists them.
  std::u16string_view v = key.view();
  for (size_t i = 0; i <= v.size(); ++i) {
    if (i == v.size() || v[i] == u'\\') {
      String part(v.substr(0, i));
      auto& k = keys_[Fold(part)];
      if (k.path.empty()) k.path = part;
    }
  }
  keys_[Fold(key)].values[Fold(name)] = {name, value};
  return true;
}

std::optional<String> MemoryRegistry::GetValue(const String& key, const String& name) {
  auto it = keys_.find(Fold(NormalizeKey(key)));
  if (it == keys_.end()) return std::nullopt;
  auto v = it->second.values.find(Fold(name));
  if (v == it->second.values.end()) return std::nullopt;
  return v->second.second;
}

bool MemoryRegistry::KeyExists(const String& key) {
  return keys_.count(Fold(NormalizeKey(key))) != 0;
}

bool MemoryRegistry::DeleteTree(const String& key) {
  std::u16string folded = Fold(NormalizeKey(key));
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

std::vector<String> MemoryRegistry::SubKeys(const String& key) {
  std::u16string folded = Fold(NormalizeKey(key));
  std::vector<String> out;
  for (const auto& [path, k] : keys_) {
    if (IsBelow(path, folded) && path.find(u'\\', folded.size() + 1) == std::u16string::npos)
      out.push_back(String(k.path.view().substr(folded.size() + 1)));
  }
  return out;
}

std::string MemoryRegistry::Serialize() const {
  std::string out;
  for (const auto& [path, k] : keys_) {
    out += "[" + k.path.ToUtf8() + "]\n";
    for (const auto& [folded, nv] : k.values)
      out += (nv.first.empty() ? std::string("@") : nv.first.ToUtf8()) + "=" + nv.second.ToUtf8() +
             "\n";
  }
  return out;
}

void MemoryRegistry::Deserialize(const std::string& text) {
  keys_.clear();
  std::istringstream in(text);
  std::string line;
  String current;
  while (std::getline(in, line)) {
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
      current = String::FromUtf8(line.substr(1, line.size() - 2));
      auto& k = keys_[Fold(current)];
      k.path = current;
      continue;
    }
    size_t eq = line.find('=');
    if (eq == std::string::npos || current.empty()) continue;
    std::string name = line.substr(0, eq);
    SetValue(current, name == "@" ? String() : String::FromUtf8(name),
             String::FromUtf8(line.substr(eq + 1)));
  }
}

}  // namespace borvane::platform
