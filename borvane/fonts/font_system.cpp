#include "borvane/fonts/font_system.h"

#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/fonts/font_functions.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/system.h"

namespace borvane {

int32_t GetOsId() {
  platform::OsVersionInfo v = platform::System().Version();
  if (v.dwPlatformId == 1) {
    if (v.dwMinorVersion == 0) return 1;
    if (v.dwMinorVersion == 10) return v.dwBuildNumber == 2222 ? 3 : 2;
    if (v.dwMinorVersion == 90) return 7;
    return 0;
  }
  if (v.dwPlatformId == 2) {
    if (v.dwMajorVersion == 3) return 4;
    if (v.dwMajorVersion == 4) return 5;
    if (v.dwMajorVersion == 5) return 6;
  }
  return 0;
}

String ReadShellFontsFolder() {
  using namespace platform;
  HKEY key = 0;
  if (RegOpenKeyExA(HKEY_CURRENT_USER,
                    "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders", 0,
                    0x20007, &key) != 0)
    return String();
  uint32_t longest_name = 0, longest_data = 0;
  RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longest_name,
                   &longest_data);
  String result;
  for (uint32_t index = 0;; ++index) {
    std::vector<char> name(longest_name + 1, ' ');
    std::vector<uint8_t> data(longest_data + 2, 0);
    uint32_t name_length = longest_name + 1, data_length = longest_data + 1, type = 0;
    int32_t r =
        RegEnumValueA(key, index, name.data(), &name_length, &type, data.data(), &data_length);
    if (r == kRegNoMoreItems) break;
    if (std::string(name.data(), name_length).find("Fonts") != std::string::npos) {
      result = AddBackslash(TrimAtNul(
          FromAnsi(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()))));
      break;
    }
  }
  RegCloseKey(key);
  return result;
}

String FindFontsDirectory() {
  int32_t id = GetOsId();
  String dir;
  for (int pass = 0; pass < 2; ++pass) {
    bool shell_folders = id == 1 || id == 2 || id == 3 || id == 5 || id == 6 || id == 7;
    dir = shell_folders ? ReadShellFontsFolder()
                        : FontFunctions::GetWindowsFolder() + String("SYSTEM\\");
    if (!dir.empty()) return dir;
    if (id != 7) platform::System().Shell(platform::kFontsFolderCommand, 0);
  }
  return dir;
}

String FontsDirectoryOrDefault(bool show) {
  String dir = FindFontsDirectory();
  if (dir.empty()) {
    dir = FontFunctions::GetWindowsFolder() + String("FONTS\\");
    if (show) {
      platform::Boxes().Show({String("Couldn't find the Fonts dir in the registry, ") + dir +
                                  String(" will be used instead ..."),
                              std::nullopt, platform::MB_OK});
    }
  }
  return dir;
}

const char* FontsKeyPath() {
  int32_t id = GetOsId();
  return id == 1 || id == 2 || id == 3 || id == 7
             ? "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Fonts"
             : "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts";
}

platform::HKEY OpenFontsKey() {
  platform::HKEY key = 0;
  platform::RegCreateKeyExA(platform::HKEY_LOCAL_MACHINE, FontsKeyPath(), 0, "1", 0, 0xF003F, &key,
                            nullptr);
  return key;
}

}  // namespace borvane
