#include "borvane/platform/session/system.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/platform/base/process.h"
#include "borvane/platform/base/user_folders.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_catalog.h"
#include "borvane/platform/registry/registry.h"

namespace borvane::platform {

String ExpandPercentVariables(
    const String& text, const std::function<std::optional<String>(const std::u16string&)>& lookup) {
  std::u16string_view t = text.view();
  std::u16string out;
  size_t i = 0;
  while (i < t.size()) {
    size_t open = t.find(u'%', i);
    if (open == std::u16string_view::npos) break;
    size_t close = t.find(u'%', open + 1);
    if (close == std::u16string_view::npos) break;
    out.append(t.substr(i, open - i));
    std::u16string name(t.substr(open + 1, close - open - 1));
    std::optional<String> value = name.empty() ? std::nullopt : lookup(name);
    if (value) {
      out += value->str();
      i = close + 1;
    } else {
      // Not a variable: the first "%" stays, and the second may open the next name.
      out += u'%';
      out += name;
      i = close;
    }
  }
  out.append(t.substr(i));
  return String(out);
}

namespace {

std::string Env(const char* name) {
  const char* v = std::getenv(name);
  return v && *v ? std::string(v) : std::string();
}

// A symbol of the library, for finding its file.
void LibraryAnchor() {}

class RealSystem : public SystemService {
 public:
  OsVersionInfo Version() override {
    OsVersionInfo v;
    v.dwMajorVersion = 5;
    v.dwMinorVersion = 1;
    v.dwBuildNumber = 2600;
    v.dwPlatformId = 2;
    return v;
  }

  String WindowsFolder() override {
    std::string folder = XdgFolder("XDG_DATA_HOME", "/.local/share") + "/borvane/windows";
    MakePrivateFolders(folder);
    return String::FromUtf8(folder);
  }

  String TempFolder() override { return Files().TempFolder(); }

  // Found once: the library's file does not move while it is loaded, and the font lists ask
  // for its folder once per installed font.
  String LibraryPath() override {
    static const String path = [] {
      Dl_info info{};
      if (!::dladdr(reinterpret_cast<void*>(&LibraryAnchor), &info) || !info.dli_fname)
        return String();
      char* real = ::realpath(info.dli_fname, nullptr);
      std::string found = real ? real : info.dli_fname;
      std::free(real);
      return String::FromUtf8(found);
    }();
    return path;
  }

  String LibraryFolder() override {
    static const String folder = [this] {
      String path = LibraryPath();
      std::u16string_view p = path.view();
      size_t slash = p.rfind(u'/');
      return slash == std::u16string_view::npos ? String() : String(p.substr(0, slash));
    }();
    return folder;
  }

  String CurrentFolder() override {
    char* cwd = ::getcwd(nullptr, 0);
    String folder = String::FromUtf8(cwd ? cwd : "");
    std::free(cwd);
    return folder;
  }

  String ExpandEnvironmentStrings(const String& text) override {
    return ExpandPercentVariables(text, [](const std::u16string& name) -> std::optional<String> {
      const char* v = std::getenv(String(name).ToUtf8().c_str());
      if (!v) return std::nullopt;
      return String::FromUtf8(v);
    });
  }

  String LongPathName(const String& path) override {
    struct stat st;
    return ::stat(NativePath(path).c_str(), &st) == 0 ? path : String();
  }

  // Reading the pointer needs a connection to the display server, which a library should not
  // open behind its host's back: the position is (0, 0), as without a display.
  std::pair<int32_t, int32_t> CursorPos() override { return {0, 0}; }

  int32_t Shell(const String& command, int32_t) override {
    if (!(UCase(Trim(command)) == UCase(String(kFontsFolderCommand)))) return kErrFileNotFound;
    // As the desktop would: the user's font folder exists, and so the shell folders name it
    // (a value the registry shows while the folder is there, never one stored for good, which
    // would outlive a folder the user removes).
    std::string folder = InstalledFonts().UserFontFolder();
    MakeFolders(folder);
    if (HasDisplay()) SpawnDetached({"xdg-open", folder});
    return 0;
  }

  // Windows here have no system menu and no context help mode that the library could reach:
  // the help viewer's pages live in the desktop's browser.
  void DeleteSystemMenuItem(int32_t, int32_t) override {}
  void DefWindowProc(int32_t, uint32_t, int32_t, int32_t) override {}
  int32_t Privilege(PrivilegeStep) override { return 0; }

  bool ExitWindows(uint32_t flags) override { return SpawnDetached(ExitCommand(flags)); }

  // The library has no string resources of its own.
  std::optional<String> ResourceString(int32_t) override { return std::nullopt; }
};

}  // namespace

SystemService& SystemService::Real() {
  static RealSystem system;
  return system;
}

std::vector<std::string> ExitCommand(uint32_t flags) {
  // A forced end does not wait for programs that hold the end off (logind's inhibitors).
  bool force = flags & EWX_FORCE;
  if (flags & EWX_REBOOT) {
    return force ? std::vector<std::string>{"systemctl", "reboot", "-i"}
                 : std::vector<std::string>{"systemctl", "reboot"};
  }
  // Linux users expect a shut-down machine to be off: both shut down and power off power off.
  if (flags & (EWX_SHUTDOWN | EWX_POWEROFF)) {
    return force ? std::vector<std::string>{"systemctl", "poweroff", "-i"}
                 : std::vector<std::string>{"systemctl", "poweroff"};
  }
  // The end of the logon is the end of this session alone, never of the user's other sessions.
  // Asked politely, the desktop's own logout asks its programs first, as the platform asks its
  // windows, and may be held off by them; without a desktop that takes the request, logind ends
  // the session, and its programs get the signal to end. Forced, logind ends the session at
  // once, without a word to the desktop.
  if (!force) {
    const std::string desktop = Env("XDG_CURRENT_DESKTOP");
    auto is = [&](const char* name) { return desktop.find(name) != std::string::npos; };
    if (is("GNOME") || is("Unity") || is("Budgie"))
      return {"gnome-session-quit", "--logout", "--no-prompt"};
    if (is("X-Cinnamon") || is("Cinnamon"))
      return {"cinnamon-session-quit", "--logout", "--no-prompt"};
    if (is("KDE")) return {"qdbus", "org.kde.ksmserver", "/KSMServer", "logout", "0", "0", "0"};
    if (is("XFCE")) return {"xfce4-session-logout", "--logout"};
    if (is("MATE")) return {"mate-session-save", "--logout"};
    if (is("LXQt")) return {"lxqt-leave", "--logout"};
  }
  // "self" is the session of the caller, for a process started outside one's environment.
  const std::string session = Env("XDG_SESSION_ID");
  return {"loginctl", "terminate-session", session.empty() ? "self" : session};
}

String LoadResString(int32_t id) {
  if (std::optional<String> s = System().ResourceString(id)) return *s;
  ThrowPlatformError(326);
}

}  // namespace borvane::platform
