// The system as the font and help classes ask it: its version record, its folders, the
// environment, the pointer, the desktop's shell calls, the process's privileges and the end of
// the session or of the machine.
//
// Linux answers as the NT line of releases does (platform 2, version 5.1, build 2600), so the
// classes take their NT rows; a double reaches every other row. Folders are native paths.
#ifndef BORVANE_PLATFORM_SESSION_SYSTEM_H_
#define BORVANE_PLATFORM_SESSION_SYSTEM_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/platform/base/service.h"

namespace borvane::platform {

// The version record (the fields the classes read).
struct OsVersionInfo {
  uint32_t dwOSVersionInfoSize = 148;
  uint32_t dwMajorVersion = 0;
  uint32_t dwMinorVersion = 0;
  uint32_t dwBuildNumber = 0;
  uint32_t dwPlatformId = 0;
  String szCSDVersion;
};

// Flags of the end of a session, as the platform numbers them.
inline constexpr uint32_t EWX_LOGOFF = 0;
inline constexpr uint32_t EWX_SHUTDOWN = 1;
inline constexpr uint32_t EWX_REBOOT = 2;
inline constexpr uint32_t EWX_FORCE = 4;
inline constexpr uint32_t EWX_POWEROFF = 8;

// The steps that enable a privilege of the process, each followed by a read of the last error.
enum class PrivilegeStep {
  kGetCurrentProcess,
  kOpenProcessToken,
  kLookupPrivilegeValue,
  kAdjustTokenPrivileges
};

// The shell command that opens the fonts folder.
inline constexpr const char* kFontsFolderCommand =
    "rundll32.exe SHELL32.DLL,SHHelpShortcuts_RunDLL FontsFolder";

class SystemService {
 public:
  virtual ~SystemService() = default;

  virtual OsVersionInfo Version() = 0;
  // The system's root folder: $XDG_DATA_HOME/borvane/windows (else
  // ~/.local/share/borvane/windows), made on first use; no closing "/".
  virtual String WindowsFolder() = 0;
  // The folder for temporary files, with its closing "/" (the file service's).
  virtual String TempFolder() = 0;
  // The library's own file, and its folder without a closing "/".
  virtual String LibraryPath() = 0;
  virtual String LibraryFolder() = 0;
  // The process's current folder, without a closing separator.
  virtual String CurrentFolder() = 0;
  // "%NAME%" replaced by the variable's value; an unknown name and a lone "%" stay as written.
  virtual String ExpandEnvironmentStrings(const String& text) = 0;
  // The long form of an existing path: the path itself (Linux names have one form); the empty
  // String for a path that does not exist.
  virtual String LongPathName(const String& path) = 0;
  // The pointer's position on the screen; (0, 0) without a display.
  virtual std::pair<int32_t, int32_t> CursorPos() = 0;
  // The runtime's shell call: starts the command and does not wait. Knows the fonts-folder
  // command, which makes the user's font folder and its shell-folder value and shows the
  // folder in the desktop's file manager where there is a display. 0, or 53 for a command it
  // cannot start.
  virtual int32_t Shell(const String& command, int32_t window_style) = 0;
  // Window menus and procedures of windows the library does not own: nothing to do on Linux.
  virtual void DeleteSystemMenuItem(int32_t window, int32_t command) = 0;
  // The default handling of a window message (DefWindowProcA); its result is not kept.
  virtual void DefWindowProc(int32_t window, uint32_t message, int32_t wparam, int32_t lparam) = 0;
  // One privilege step: the last error after it (0: done).
  virtual int32_t Privilege(PrivilegeStep step) = 0;
  // Ends the session or the machine as `flags` say; false when it could not be asked.
  virtual bool ExitWindows(uint32_t flags) = 0;
  // The library's string resource `id`, if it has one.
  virtual std::optional<String> ResourceString(int32_t id) = 0;

  static SystemService& Real();
};

// `text` with every "%name%" whose name `lookup` knows replaced by its value, as the platform's
// ExpandEnvironmentStrings does; an unknown name stays as it stands, "%" signs included.
String ExpandPercentVariables(
    const String& text, const std::function<std::optional<String>(const std::u16string&)>& lookup);

inline SystemService& System() {
  return Current<SystemService>::Get();
}

// The command line that ends the session or the machine on Linux for the flags: systemd's
// reboot or poweroff (ignoring inhibitors when forced); for a logoff the desktop's own logout
// request (XDG_CURRENT_DESKTOP), or, when forced or without such a desktop, logind's end of this
// session (XDG_SESSION_ID, else the caller's own): never the user's other sessions.
std::vector<std::string> ExitCommand(uint32_t flags);

// The string resource, or the platform's error 326 when the library has none of that id.
String LoadResString(int32_t id);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_SESSION_SYSTEM_H_
