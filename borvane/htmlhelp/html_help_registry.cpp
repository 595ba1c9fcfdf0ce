// HTMLHelp: the registered help files, the registry lookups and paths the class shares, and
// its three message boxes.
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/automation/text.h"
#include "borvane/htmlhelp/html_help.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/registry/registry_api.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/system.h"

namespace borvane {

namespace {

using namespace platform;

constexpr const char* kHelpFilesKey = "Software\\Microsoft\\Windows\\HTML Help";
constexpr const char* kCaption = "HTML Help Class";

bool SameText(const String& a, const String& b) {
  return UCase(a) == UCase(b);
}

// Everything after the last backslash.
// "/" separates names as "\\" does, for callers that write Linux paths.
String BareName(const String& name) {
  std::u16string_view v = name.view();
  size_t slash = v.find_last_of(u"\\/");
  return slash == std::u16string_view::npos ? name : String(v.substr(slash + 1));
}

bool HasBackslash(const String& text) {
  return text.view().find_first_of(u"\\/") != std::u16string_view::npos;
}

int32_t ShowBox(const String& text, uint32_t style) {
  return Boxes().Show({text, String(kCaption), style});
}

}  // namespace

Variant HTMLHelp::HHCheckRegistry(String& FileToCheck) {
  if (FileToCheck.empty()) return Variant();
  reg_file_exists_ = false;
  if (!IsValidHelpFile(FileToCheck)) return Variant(false);
  String bare = BareName(FileToCheck);
  RegValueEntry entry = QueryRegValue("HKLM", kHelpFilesKey, bare);
  if (SameText(entry.Name, bare)) {
    reg_file_name_ = entry.Name;
    std::u16string_view value = entry.Value.view();
    size_t equals = value.find(u'=');
    std::u16string_view data =
        equals == std::u16string_view::npos ? std::u16string_view() : value.substr(equals + 1);
    data = data.substr(0, data.size() < 2 ? 0 : data.size() - 2);
    // A folder of the expanding kind comes as a whole buffer: it ends at its NUL.
    String folder(data);
    reg_file_path_ = StripNulls(folder);
    String path = reg_file_path_ + String("\\") + reg_file_name_;
    if (EnsureFileExists(path)) reg_file_exists_ = true;
  } else {
    reg_file_name_ = String();
    reg_file_path_ = String();
  }
  return Variant(false);
}

void HTMLHelp::HHRegister(String& FileToRegister) {
  if (FileToRegister.empty()) return;
  if (!IsValidHelpFile(FileToRegister)) return;
  HHCheckRegistry(FileToRegister);
  if (!reg_file_name_.empty()) {
    ShowInfoMessage(String("The file ") + FileToRegister + String(" is already registered.  ") +
                    String("HHRegister will not be run as no action need be taken."));
    return;
  }
  String noted = FileToRegister;
  if (!EnsureFileExists(FileToRegister)) return;
  if (!HasBackslash(noted)) {
    ShowWarningMessage(String("Cannot register ") + noted +
                       String(" without having a supplied path.") + String("\""));
    return;
  }
  FileToRegister = BareName(FileToRegister);
  String folder(
      noted.view().substr(0, noted.size() - std::min(noted.size(), FileToRegister.size())));
  HKEY key = 0;
  if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, kHelpFilesKey, 0, "", 0,
                      KEY_SET_VALUE | KEY_CREATE_SUB_KEY, &key, nullptr) != 0) {
    ShowWarningMessage(String("HTML Help Class: HHRegister Error"));
    return;
  }
  std::string data = ToAnsi(folder);
  int32_t r =
      RegSetValueExA(key, ToAnsi(FileToRegister), 1, reinterpret_cast<const uint8_t*>(data.c_str()),
                     static_cast<uint32_t>(data.size() + 1));
  RegCloseKey(key);
  if (r != 0) HHCheckRegistry(FileToRegister);
}

void HTMLHelp::HHUnRegister(String& FileToUnRegister) {
  if (FileToUnRegister.empty()) return;
  if (!IsValidHelpFile(FileToUnRegister)) return;
  HHCheckRegistry(FileToUnRegister);
  if (reg_file_name_.empty()) {
    ShowInfoMessage(String("The file ") + FileToUnRegister + String(" is not registered.  ") +
                    String("HHUnRegister will not be run as no action need be taken."));
    return;
  }
  FileToUnRegister = BareName(FileToUnRegister);
  HKEY key = 0;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, kHelpFilesKey, 0, KEY_SET_VALUE, &key) == 0) {
    RegDeleteValueA(key, ToAnsi(FileToUnRegister));
    RegCloseKey(key);
  }
  HHCheckRegistry(FileToUnRegister);
}

RegValueEntry HTMLHelp::QueryRegValue(const String& root, const String& key, const String& name) {
  RegValueEntry entry;
  HKEY handle = 0;
  try {
    HKEY root_key = static_cast<uint32_t>(GetRegRootKey(root));
    if (root_key == 0) return entry;
    if (RegOpenKeyExA(root_key, ToAnsi(key), 0, KEY_QUERY_VALUE, &handle) != 0) return entry;
    for (uint32_t index = 0;; ++index) {
      std::vector<char> value_name(2048, ' ');
      uint32_t name_length = 2048, type = 0, data_length = 2048;
      if (RegEnumValueA(handle, index, value_name.data(), &name_length, &type, nullptr,
                        &data_length) != 0)
        break;
      if (type != 1 && type != 2) continue;
      String found = FromAnsi(std::string_view(value_name.data(), name_length));
      if (!SameText(found, name)) continue;
      entry.Name = name;
      std::vector<uint8_t> data(data_length);
      uint32_t length = data_length;
      int32_t r = RegQueryValueExA(handle, ToAnsi(name), &type, data.data(), &length);
      String text =
          FromAnsi(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
      if (r == 0 && type == 2) {
        // Expanded into a buffer of 2048 blanks, which as a whole is the data.
        std::u16string full(System().ExpandEnvironmentStrings(StripNulls(text)).view());
        full.push_back(u'\0');
        if (full.size() < 2048) full.resize(2048, u' ');
        text = String(full.substr(0, 2048));
      }
      if (r == 0) entry.Value = found + String("=") + text + String(u"\r");
      break;
    }
  } catch (...) {
    // The entry as far as it was filled.
  }
  if (handle) RegCloseKey(handle);
  return entry;
}

bool HTMLHelp::RegKeyExists(const String& key) {
  HKEY handle = 0;
  if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, ToAnsi(key), 0, KEY_ALL_ACCESS, &handle) != 0) return false;
  return RegCloseKey(handle) == 0;
}

int32_t HTMLHelp::GetRegRootKey(const String& name) {
  static constexpr std::pair<const char*, uint32_t> kRoots[] = {
      {"HKCU", 0x80000001u}, {"HKLM", 0x80000002u}, {"HKU", 0x80000003u},
      {"HKDD", 0x80000006u}, {"HKCC", 0x80000005u}, {"HKCR", 0x80000000u}};
  String upper = UCase(name);
  for (auto [root, handle] : kRoots)
    if (upper == String(root)) return static_cast<int32_t>(handle);
  return 0;
}

int32_t HTMLHelp::GetWindowsVersionCode() {
  OsVersionInfo v = System().Version();
  if (v.dwPlatformId == 1) return v.dwMinorVersion == 0 ? 2 : v.dwMinorVersion == 10 ? 4 : 0;
  if (v.dwPlatformId == 2) {
    if (v.dwMajorVersion == 3) return 1;
    if (v.dwMajorVersion == 4) return 3;
    if (v.dwMajorVersion == 5) return 5;
  }
  return 0;
}

String HTMLHelp::GetLongFileName(const String& path) {
  if (path.view().find(u'~') == std::u16string_view::npos) return path;
  try {
    if (GetWindowsVersionCode() >= 4) return System().LongPathName(path);
    std::u16string_view p = path.view();
    if (!p.empty() && p.front() == u'"') p.remove_prefix(1);
    if (!p.empty() && p.back() == u'"') p.remove_suffix(1);
    String root(p.substr(0, 2));
    std::u16string_view rest = p.substr(std::min<size_t>(3, p.size()));
    for (size_t slash; (slash = rest.find(u'\\')) != std::u16string_view::npos;) {
      String found = FindFirstFile(root + String("\\") + String(rest.substr(0, slash)));
      if (found.empty()) return String();
      root = root + String("\\") + StripNulls(found);
      rest.remove_prefix(slash + 1);
    }
    return root + String("\\") + String(rest);
  } catch (const Error& e) {
    if (e.Number() == kErrBadFileName) return String();
    throw;
  }
}

String HTMLHelp::StripNulls(String& text) {
  size_t nul = text.view().find(u'\0');
  if (nul != std::u16string_view::npos) text = String(text.view().substr(0, nul));
  return text;
}

int32_t HTMLHelp::ShowErrorMessage(const String& text) {
  return ShowBox(text, MB_ICONSTOP);
}

int32_t HTMLHelp::ShowWarningMessage(const String& text) {
  return ShowBox(text, MB_ICONEXCLAMATION);
}

int32_t HTMLHelp::ShowInfoMessage(const String& text) {
  return ShowBox(text, MB_ICONINFORMATION);
}

}  // namespace borvane
