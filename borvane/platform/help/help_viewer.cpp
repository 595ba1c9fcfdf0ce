#include "borvane/platform/help/help_viewer.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <map>
#include <mutex>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/automation/error.h"
#include "borvane/platform/base/process.h"
#include "borvane/platform/base/user_folders.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/help/help_http.h"
#include "borvane/platform/help/help_server.h"
#include "borvane/platform/help/help_tables.h"
#include "borvane/platform/session/message_box.h"

#ifndef BORVANE_LIBEXEC_DIR
#define BORVANE_LIBEXEC_DIR "/usr/local/libexec/borvane"
#endif

namespace borvane::platform {

namespace {

// The platform's error for a control that cannot be loaded.
constexpr int32_t kErrLoadingDll = 48;
constexpr int kShowTimeoutMs = 180'000;  // a lookup may wait for a help file's search index
constexpr int kStartTimeoutMs = 10'000;

struct ServerAddress {
  int port = 0;
  std::string token;
};

// Held only to read or change the two below, never across a call of the server, a box or a
// child process.
std::mutex g_mutex;
ServerAddress g_server;
std::map<int32_t, std::string> g_windows;  // this process's windows: handle, address

int64_t NowMs() {
  timespec ts;
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return int64_t{ts.tv_sec} * 1000 + ts.tv_nsec / 1'000'000;
}

bool Executable(const std::string& path) {
  struct stat st;
  return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

bool ReadRendezvous(ServerAddress& a) {
  std::string text = ReadNativeFile(HelpRuntimeFolder() + "/help-server");
  size_t space = text.find(' ');
  if (space == std::string::npos) return false;
  a.port = std::atoi(text.c_str());
  size_t end = text.find(' ', space + 1);
  a.token = text.substr(space + 1, end == std::string::npos ? std::string::npos : end - space - 1);
  return a.port > 0 && a.port < 65536 && a.token.size() == 32;
}

bool Ping(const ServerAddress& a) {
  int status = 0;
  std::string answer;
  return HttpCall(a.port, "GET", "/" + a.token + "/api/ping", "", 3000, status, answer) &&
         status == 200 && answer == "borvane-help";
}

// Starts the server program detached from the caller, so that it outlives the caller and
// never holds a caller's pipe open.
bool SpawnServer(const std::string& program) {
  // A name without "/" is the one in the current folder, not one found on PATH.
  return SpawnDetached(
      {program.find('/') == std::string::npos ? "./" + program : program, "--serve"});
}

[[noreturn]] void Unavailable(const std::string& why) {
  throw Error(kErrLoadingDll, String(kPlatformSource),
              String::FromUtf8("Error in loading DLL: the help viewer cannot run (" + why + ")"));
}

// The address of a running server of this user, started when none answers. Throws the
// platform's error 48 when none can be started.
ServerAddress EnsureServer(bool fresh) {
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (!fresh && g_server.port) return g_server;
  }
  ServerAddress a;
  if (!(ReadRendezvous(a) && Ping(a))) {
    const std::string folder = HelpRuntimeFolder();
    if (!MakePrivateFolders(folder)) Unavailable("cannot make " + folder);
    const std::string program = HelpServerProgram();
    if (program.empty()) Unavailable("the program borvane-helpd is missing");
    // One process starts the server; the others wait for it and use it.
    int lock = ::open((folder + "/help-server.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const int64_t deadline = NowMs() + kStartTimeoutMs;
    while (lock >= 0 && ::flock(lock, LOCK_EX | LOCK_NB) != 0 && NowMs() < deadline)
      ::usleep(10'000);
    bool up = ReadRendezvous(a) && Ping(a);
    if (!up && SpawnServer(program)) {
      while (!up && NowMs() < deadline) {
        ::usleep(5'000);
        up = ReadRendezvous(a) && Ping(a);
      }
    }
    if (lock >= 0) ::close(lock);
    if (!up) Unavailable("the help server did not start");
  }
  std::lock_guard<std::mutex> lock(g_mutex);
  g_server = a;
  return a;
}

// A call of the server's interface; the server is started, and started again once when the
// one known has gone.
Form CallServer(const std::string& what,
                const std::vector<std::pair<std::string, std::string>>& fields) {
  const std::string body = EncodeForm(fields);
  for (int attempt = 0; attempt < 2; ++attempt) {
    ServerAddress a = EnsureServer(attempt > 0);
    int status = 0;
    std::string answer;
    if (HttpCall(a.port, "POST", "/" + a.token + "/api/" + what, body, kShowTimeoutMs, status,
                 answer) &&
        status == 200)
      return ParseForm(answer);
  }
  Unavailable("the help server does not answer");
}

// Text the caller passed (ANSI) as UTF-8, with "\" as "/".
std::string Utf8Path(const std::string& ansi) {
  std::string text = FromAnsi(ansi).ToUtf8();
  for (char& c : text)
    if (c == '\\') c = '/';
  return text;
}

// The parts of a file argument: "file.chm", "file.chm>window" or "file.chm::/inner/path". A
// relative file is one in the current folder, which the server (another process) needs whole.
struct FileArgument {
  std::string chm;
  std::string window;
  std::string inner;
};

FileArgument ParseFile(const AnsiText& file) {
  FileArgument a;
  if (!file) return a;
  std::string text = Utf8Path(*file);
  size_t inner = text.find("::");
  if (inner != std::string::npos) {
    a.inner = text.substr(inner + 2);
    text.resize(inner);
  }
  size_t window = text.find('>');
  if (window != std::string::npos) {
    a.window = text.substr(window + 1);
    text.resize(window);
  }
  a.chm = std::string(TrimSpaces(text));
  if (!a.chm.empty() && a.chm.front() != '/') {
    char* cwd = ::getcwd(nullptr, 0);
    if (cwd) a.chm = std::string(cwd) + "/" + a.chm;
    std::free(cwd);
  }
  return a;
}

void OpenInBrowser(const std::string& address) {
  const char* browser = std::getenv("BORVANE_HELP_BROWSER");
  if (browser && *browser) {
    SpawnDetached({browser, address});
  } else if (HasDisplay()) {
    SpawnDetached({"xdg-open", address});
  }
}

int32_t ShowPopup(const AnsiText& file, const HH_POPUP& popup) {
  String text;
  if (popup.idString != 0) {
    FileArgument a = ParseFile(file);
    if (a.chm.empty()) return 0;
    Form answer = CallServer(
        "popup", {{"file", a.chm}, {"inner", a.inner}, {"id", std::to_string(popup.idString)}});
    if (answer["result"] == "unavailable") Unavailable(answer["why"]);
    if (answer["result"] != "ok") return 0;
    text = FromAnsi(answer["text"]);
  } else if (popup.pszText) {
    text = FromAnsi(*popup.pszText);
  } else {
    return 0;
  }
  Boxes().Show({text, std::nullopt, MB_OK});
  return 1;
}

}  // namespace

std::string HelpServerProgram() {
  const char* set = std::getenv("BORVANE_HELP_SERVER");
  if (set && *set) return Executable(set) ? set : std::string();
  Dl_info info;
  if (::dladdr(reinterpret_cast<void*>(&HelpServerProgram), &info) && info.dli_fname) {
    std::string library = info.dli_fname;
    size_t slash = library.rfind('/');
    std::string beside =
        (slash == std::string::npos ? std::string(".") : library.substr(0, slash)) +
        "/borvane-helpd";
    if (Executable(beside)) return beside;
  }
  const std::string installed = std::string(BORVANE_LIBEXEC_DIR) + "/borvane-helpd";
  return Executable(installed) ? installed : std::string();
}

std::string HelpViewer::WindowAddress(int32_t window) {
  std::lock_guard<std::mutex> lock(g_mutex);
  auto it = g_windows.find(window);
  return it == g_windows.end() ? std::string() : it->second;
}

int32_t HelpViewer::HtmlHelp(int32_t, const AnsiText& file, int32_t command, const HelpData& data) {
  if (command == HH_CLOSE_ALL) {
    // The server closes this process's windows (their pages say so); nothing is started for
    // it.
    std::string handles;
    ServerAddress a;
    {
      std::lock_guard<std::mutex> lock(g_mutex);
      for (const auto& [handle, address] : g_windows)
        handles += (handles.empty() ? "" : ",") + std::to_string(handle);
      g_windows.clear();
      a = g_server;
    }
    if (a.port && !handles.empty()) {
      int status = 0;
      std::string answer;
      HttpCall(a.port, "POST", "/" + a.token + "/api/close", EncodeForm({{"windows", handles}}),
               3000, status, answer);
    }
    return 0;
  }
  if (command == HH_DISPLAY_TEXT_POPUP) {
    const auto* popup = std::get_if<HH_POPUP>(&data);
    return popup ? ShowPopup(file, *popup) : 0;
  }
  FileArgument a = ParseFile(file);
  if (a.chm.empty()) return 0;
  std::vector<std::pair<std::string, std::string>> fields = {
      {"file", a.chm}, {"window", a.window}, {"command", std::to_string(command)}};
  if (!a.inner.empty()) fields.emplace_back("inner", a.inner);
  const HH_AKLINK* link = std::get_if<HH_AKLINK>(&data);
  switch (command) {
    case HH_DISPLAY_TOPIC:
      if (const auto* text = std::get_if<std::string>(&data))
        fields.emplace_back("topic", Utf8Path(*text));
      break;
    case HH_HELP_CONTEXT:
      if (const auto* id = std::get_if<int32_t>(&data))
        fields.emplace_back("id", std::to_string(static_cast<uint32_t>(*id)));
      break;
    case HH_DISPLAY_TOC:
    case HH_DISPLAY_INDEX:
    case HH_DISPLAY_SEARCH:
      break;
    case HH_KEYWORD_LOOKUP:
    case HH_ALINK_LOOKUP:
      if (!link) return 0;
      if (link->pszKeywords) fields.emplace_back("keywords", FromAnsi(*link->pszKeywords).ToUtf8());
      if (link->pszUrl) fields.emplace_back("url", Utf8Path(*link->pszUrl));
      // The record names the window of a lookup.
      fields[1].second = link->pszWindow ? FromAnsi(*link->pszWindow).ToUtf8() : std::string();
      break;
    default:
      return 0;
  }
  Form answer = CallServer("show", fields);
  const std::string& result = answer["result"];
  if (result == "unavailable") Unavailable(answer["why"]);
  if (result == "notfound" && link && link->pszMsgText) {
    std::optional<String> title;
    if (link->pszMsgTitle) title = FromAnsi(*link->pszMsgTitle);
    Boxes().Show({FromAnsi(*link->pszMsgText), title, MB_OK});
  }
  if (result != "ok") return 0;
  const int32_t handle = std::atoi(answer["window"].c_str());
  const std::string& address = answer["address"];
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_windows[handle] = address;
  }
  if (answer["open"] == "1") OpenInBrowser(address);
  return handle;
}

}  // namespace borvane::platform
