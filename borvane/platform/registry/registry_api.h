// The registry calls in the platform's single-byte form, over the registry store in force on
// the calling thread, so that the font and help classes read as the platform's callers do:
// handles, buffer lengths passed in and out, names and text data in the ANSI code page.
//
// Every call returns the platform's error number: 0, 2 no such key or value, 5 access denied
// (a write access asked of a key the store holds read-only), 6 invalid handle, 87 invalid
// parameter, 234 a buffer too short (its length is set to the length needed), 259 no more
// values.
#ifndef BORVANE_PLATFORM_REGISTRY_REGISTRY_API_H_
#define BORVANE_PLATFORM_REGISTRY_REGISTRY_API_H_

#include <cstdint>
#include <string>

namespace borvane::platform {

using HKEY = uintptr_t;
inline constexpr HKEY HKEY_CLASSES_ROOT = 0x80000000u;
inline constexpr HKEY HKEY_CURRENT_USER = 0x80000001u;
inline constexpr HKEY HKEY_LOCAL_MACHINE = 0x80000002u;
inline constexpr HKEY HKEY_USERS = 0x80000003u;
inline constexpr HKEY HKEY_CURRENT_CONFIG = 0x80000005u;

// Access rights.
inline constexpr uint32_t KEY_QUERY_VALUE = 0x0001;
inline constexpr uint32_t KEY_SET_VALUE = 0x0002;
inline constexpr uint32_t KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr uint32_t KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr uint32_t KEY_READ = 0x20019;
inline constexpr uint32_t KEY_WRITE = 0x20006;
inline constexpr uint32_t KEY_ALL_ACCESS = 0xF003F;

inline constexpr uint32_t REG_CREATED_NEW_KEY = 1;
inline constexpr uint32_t REG_OPENED_EXISTING_KEY = 2;

// Opens `sub_key` (ANSI; empty opens the key itself again) below `key`.
int32_t RegOpenKeyExA(HKEY key, const std::string& sub_key, uint32_t options, uint32_t access,
                      HKEY* result);
// Opens `sub_key`, making it (and its parents) when missing. `disposition` may be null.
int32_t RegCreateKeyExA(HKEY key, const std::string& sub_key, uint32_t reserved,
                        const std::string& key_class, uint32_t options, uint32_t access,
                        HKEY* result, uint32_t* disposition);
int32_t RegCloseKey(HKEY key);

// What a key tells of itself; any out argument may be null. `key_class` gets the empty class.
// Name lengths count characters without the closing NUL; data lengths count bytes as the
// platform reports them (text with its closing NUL).
int32_t RegQueryInfoKeyA(HKEY key, char* key_class, uint32_t* class_length, uint32_t* subkeys,
                         uint32_t* longest_subkey, uint32_t* longest_class, uint32_t* values,
                         uint32_t* longest_value_name, uint32_t* longest_value_data);

// The value at `index` (0 first, in the order the values were made). `name_length` is the
// buffer's size in characters on the way in and the name's length without NUL on the way out;
// `data_length` the buffer's size in bytes, then the data's (text with its NUL). `type`, `data`
// and `data_length` may be null.
int32_t RegEnumValueA(HKEY key, uint32_t index, char* name, uint32_t* name_length, uint32_t* type,
                      uint8_t* data, uint32_t* data_length);
// One value by name (empty: the default value), with the same buffer rules.
int32_t RegQueryValueExA(HKEY key, const std::string& name, uint32_t* type, uint8_t* data,
                         uint32_t* data_length);
// Sets a value. Text types take ANSI bytes; a closing NUL is added when `length` leaves it out.
int32_t RegSetValueExA(HKEY key, const std::string& name, uint32_t type, const uint8_t* data,
                       uint32_t length);
// 0 deleted, 2 no such value.
int32_t RegDeleteValueA(HKEY key, const std::string& name);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_REGISTRY_REGISTRY_API_H_
