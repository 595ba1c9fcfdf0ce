#include "borvane/platform/registry/registry_api.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/platform/registry/registry.h"

namespace borvane::platform {

namespace {

constexpr int32_t kInvalidHandle = 6;
constexpr uint32_t kWriteAccess = KEY_SET_VALUE | KEY_CREATE_SUB_KEY | 0x00010000 /* DELETE */ |
                                  0x00040000 /* WRITE_DAC */ | 0x00080000 /* WRITE_OWNER */;

struct OpenKey {
  String path;
  uint32_t access = 0;
  // The values as they stood at the enumeration's first call, so that a walk over n values
  // reads the store once, not n times.
  RegistryStore::ValueSnapshot enumerated;
  bool enumerating = false;
};

// Keys stay on the thread that opened them, as the library's objects do.
struct HandleTable {
  std::map<HKEY, OpenKey> keys;
  HKEY next = 0x1000;
};
HandleTable& Handles() {
  thread_local HandleTable table;
  return table;
}

String RootPath(HKEY key) {
  switch (key) {
    case HKEY_CLASSES_ROOT:
      return "HKEY_CLASSES_ROOT";
    case HKEY_CURRENT_USER:
      return "HKEY_CURRENT_USER";
    case HKEY_LOCAL_MACHINE:
      return "HKEY_LOCAL_MACHINE";
    case HKEY_USERS:
      return "HKEY_USERS";
    case HKEY_CURRENT_CONFIG:
      return "HKEY_CURRENT_CONFIG";
    default:
      return String();
  }
}

// The path of an open key or a root; nullptr for an unknown handle.
const OpenKey* Find(HKEY key, OpenKey& root) {
  String r = RootPath(key);
  if (!r.empty()) {
    root.path = r;
    root.access = KEY_ALL_ACCESS;
    return &root;
  }
  auto& keys = Handles().keys;
  auto it = keys.find(key);
  return it == keys.end() ? nullptr : &it->second;
}

String Below(const String& parent, const std::string& sub_key) {
  if (sub_key.empty()) return parent;
  return parent + String(u"\\") + FromAnsi(sub_key);
}

HKEY NewHandle(String path, uint32_t access) {
  HandleTable& t = Handles();
  HKEY h = t.next++;
  t.keys[h] = OpenKey{std::move(path), access, nullptr, false};
  return h;
}

// The code units of a text value up to its closing NULs.
size_t TextUnits(const RegistryValue& v) {
  size_t units = v.data.size() / 2;
  while (units > 0 && v.data[2 * units - 2] == 0 && v.data[2 * units - 1] == 0) --units;
  return units;
}

// The value's data as the single-byte calls give it: text in the ANSI code page with its NUL.
std::string AnsiData(const RegistryValue& v) {
  if (!v.IsText()) return v.data;
  // The text up to its closing NUL (both NULs of a list), converted as a whole.
  std::u16string units(v.data.size() / 2, u'\0');
  for (size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<char16_t>(static_cast<uint8_t>(v.data[2 * i]) |
                                     static_cast<uint8_t>(v.data[2 * i + 1]) << 8);
  while (!units.empty() && units.back() == 0) units.pop_back();
  std::string out;
  out.reserve(units.size() + 2);
  AppendCodePage(units, AnsiCodePage(), out);
  out.append(v.type == REG_MULTI_SZ ? 2 : 1, '\0');
  return out;
}

// AnsiData(v).size() and ToAnsi(v.name).size(), without the conversion where the code page
// gives one byte per code unit.
uint32_t AnsiDataSize(const RegistryValue& v) {
  if (!v.IsText() || AnsiCodePage() != CodePage::kWindows1252)
    return static_cast<uint32_t>(AnsiData(v).size());
  return static_cast<uint32_t>(TextUnits(v) + (v.type == REG_MULTI_SZ ? 2 : 1));
}
uint32_t AnsiNameSize(const String& name) {
  if (AnsiCodePage() == CodePage::kWindows1252) return static_cast<uint32_t>(name.size());
  return static_cast<uint32_t>(ToAnsi(name).size());
}

// Copies `bytes` into a caller's buffer of `*length` bytes: 234 when it does not fit. The
// length needed is reported either way.
int32_t CopyOut(const std::string& bytes, uint8_t* buffer, uint32_t* length) {
  if (!length) return buffer ? kRegInvalidParameter : kRegOk;
  uint32_t room = *length;
  *length = static_cast<uint32_t>(bytes.size());
  if (!buffer) return kRegOk;
  if (bytes.size() > room) return kRegMoreData;
  std::memcpy(buffer, bytes.data(), bytes.size());
  return kRegOk;
}

// CopyOut(AnsiData(v), ...) in Windows-1252, where a code unit is a byte: converted straight into
// the buffer.
int32_t CopyOutData(const RegistryValue& v, uint8_t* buffer, uint32_t* length) {
  if (!v.IsText() || !length || !buffer) return CopyOut(AnsiData(v), buffer, length);
  const size_t units = TextUnits(v), nuls = v.type == REG_MULTI_SZ ? 2 : 1;
  uint32_t room = *length;
  *length = static_cast<uint32_t>(units + nuls);
  if (units + nuls > room) return kRegMoreData;
  size_t i = 0;
  // ASCII, most of any text, four units at a time: each is its low byte (the data are
  // little-endian, as is the machine this part is for).
  for (uint64_t w; std::endian::native == std::endian::little && i + 4 <= units; i += 4) {
    std::memcpy(&w, v.data.data() + 2 * i, 8);
    if (w & 0xFF80FF80FF80FF80ull) break;
    for (size_t j = 0; j < 4; ++j) buffer[i + j] = static_cast<uint8_t>(w >> (16 * j));
  }
  for (; i < units; ++i)
    buffer[i] = static_cast<uint8_t>(Windows1252Byte(static_cast<char16_t>(
        static_cast<uint8_t>(v.data[2 * i]) | static_cast<uint8_t>(v.data[2 * i + 1]) << 8)));
  std::memset(buffer + units, 0, nuls);
  return kRegOk;
}

}  // namespace

namespace {

// Opens `sub_key` below `key` with `access`, making it first when `create`: 0 and the handle, or
// the error.
int32_t OpenOrCreate(HKEY key, const std::string& sub_key, uint32_t access, bool create,
                     HKEY* result, uint32_t* disposition) {
  if (!result) return kRegInvalidParameter;
  *result = 0;
  OpenKey root;
  const OpenKey* parent = Find(key, root);
  if (!parent) return kInvalidHandle;
  String path = Below(parent->path, sub_key);
  RegistryStore& store = Registry();
  bool existed = store.KeyExists(path);
  if (!existed && !create) return kRegNotFound;
  if ((access & kWriteAccess) && store.IsReadOnly(path)) return kRegAccessDenied;
  if (!existed) {
    if (int32_t e = store.CreateKey(path)) return e;
  }
  if (disposition) *disposition = existed ? REG_OPENED_EXISTING_KEY : REG_CREATED_NEW_KEY;
  *result = NewHandle(RegistryStore::Canonical(path), access);
  return kRegOk;
}

}  // namespace

int32_t RegOpenKeyExA(HKEY key, const std::string& sub_key, uint32_t, uint32_t access,
                      HKEY* result) {
  return OpenOrCreate(key, sub_key, access, false, result, nullptr);
}

int32_t RegCreateKeyExA(HKEY key, const std::string& sub_key, uint32_t, const std::string&,
                        uint32_t, uint32_t access, HKEY* result, uint32_t* disposition) {
  return OpenOrCreate(key, sub_key, access, true, result, disposition);
}

int32_t RegCloseKey(HKEY key) {
  if (!RootPath(key).empty()) return kRegOk;
  return Handles().keys.erase(key) ? kRegOk : kInvalidHandle;
}

int32_t RegQueryInfoKeyA(HKEY key, char* key_class, uint32_t* class_length, uint32_t* subkeys,
                         uint32_t* longest_subkey, uint32_t* longest_class, uint32_t* values,
                         uint32_t* longest_value_name, uint32_t* longest_value_data) {
  OpenKey root;
  const OpenKey* k = Find(key, root);
  if (!k) return kInvalidHandle;
  RegistryStore& store = Registry();
  RegistryStore::ValueSnapshot snapshot;
  RegistryStore::SubKeySnapshot names;
  if (int32_t e = store.ValueList(k->path, snapshot, &names)) return e;
  const std::vector<RegistryValue>& all = *snapshot;
  RegistryKeyInfo info;
  for (const String& s : *names) {
    ++info.subkeys;
    info.longest_subkey = std::max(info.longest_subkey, static_cast<uint32_t>(s.size()));
  }
  // The single-byte calls measure names and text in the ANSI code page.
  uint32_t name_max = 0, data_max = 0;
  for (const RegistryValue& v : all) {
    name_max = std::max(name_max, AnsiNameSize(v.name));
    data_max = std::max(data_max, AnsiDataSize(v));
  }
  if (class_length) {
    if (key_class && *class_length > 0) key_class[0] = '\0';
    *class_length = 0;
  }
  if (subkeys) *subkeys = info.subkeys;
  if (longest_subkey) *longest_subkey = info.longest_subkey;
  if (longest_class) *longest_class = 0;
  if (values) *values = static_cast<uint32_t>(all.size());
  if (longest_value_name) *longest_value_name = name_max;
  if (longest_value_data) *longest_value_data = data_max;
  return kRegOk;
}

int32_t RegEnumValueA(HKEY key, uint32_t index, char* name, uint32_t* name_length, uint32_t* type,
                      uint8_t* data, uint32_t* data_length) {
  if (!name || !name_length) return kRegInvalidParameter;
  OpenKey* k = nullptr;
  OpenKey root;
  auto& keys = Handles().keys;
  auto it = keys.find(key);
  if (it != keys.end()) {
    k = &it->second;
  } else if (Find(key, root)) {
    k = &root;
  } else {
    return kInvalidHandle;
  }
  if (index == 0 || !k->enumerating) {
    if (int32_t e = Registry().ValueList(k->path, k->enumerated)) return e;
    k->enumerating = true;
  }
  if (index >= k->enumerated->size()) return kRegNoMoreItems;
  const RegistryValue& v = (*k->enumerated)[index];
  const bool one_byte_per_unit = AnsiCodePage() == CodePage::kWindows1252;
  if (one_byte_per_unit) {
    const std::u16string_view n = v.name.view();
    if (n.size() + 1 > *name_length) return kRegMoreData;
    for (size_t i = 0; i < n.size(); ++i) name[i] = Windows1252Byte(n[i]);
    name[n.size()] = '\0';
    *name_length = static_cast<uint32_t>(n.size());
  } else {
    std::string n = ToAnsi(v.name);
    if (n.size() + 1 > *name_length) return kRegMoreData;
    std::memcpy(name, n.c_str(), n.size() + 1);
    *name_length = static_cast<uint32_t>(n.size());
  }
  if (type) *type = v.type;
  return one_byte_per_unit ? CopyOutData(v, data, data_length)
                           : CopyOut(AnsiData(v), data, data_length);
}

int32_t RegQueryValueExA(HKEY key, const std::string& name, uint32_t* type, uint8_t* data,
                         uint32_t* data_length) {
  OpenKey root;
  const OpenKey* k = Find(key, root);
  if (!k) return kInvalidHandle;
  RegistryValue v;
  if (int32_t e = Registry().Query(k->path, FromAnsi(name), v)) return e;
  if (type) *type = v.type;
  return CopyOut(AnsiData(v), data, data_length);
}

int32_t RegSetValueExA(HKEY key, const std::string& name, uint32_t type, const uint8_t* data,
                       uint32_t length) {
  OpenKey root;
  const OpenKey* k = Find(key, root);
  if (!k) return kInvalidHandle;
  if (!data && length) return kRegInvalidParameter;
  std::string bytes(reinterpret_cast<const char*>(data), data ? length : 0);
  RegistryValue v;
  v.name = FromAnsi(name);
  v.type = type;
  if (v.IsText()) {
    // The text up to its first NUL (a list: up to its double NUL), in the store's form.
    size_t end = type == REG_MULTI_SZ ? bytes.find(std::string("\0\0", 2)) : bytes.find('\0');
    if (end != std::string::npos) bytes.resize(end);
    v = RegistryValue::Text(v.name, FromAnsi(bytes), type);
  } else {
    v.data = std::move(bytes);
  }
  return Registry().Set(k->path, v);
}

int32_t RegDeleteValueA(HKEY key, const std::string& name) {
  OpenKey root;
  const OpenKey* k = Find(key, root);
  if (!k) return kInvalidHandle;
  return Registry().DeleteValue(k->path, FromAnsi(name));
}

}  // namespace borvane::platform
