#include "borvane/platform/base/process.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace borvane::platform {

bool SpawnDetached(const std::vector<std::string>& argv) {
  pid_t child = ::fork();
  if (child < 0) return false;
  if (child == 0) {
    ::setsid();
    if (::fork() == 0) {
      std::vector<char*> args;
      for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
      args.push_back(nullptr);
      ::execvp(args[0], args.data());
    }
    ::_exit(0);
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return true;
}

bool HasDisplay() {
  auto set = [](const char* name) {
    const char* v = std::getenv(name);
    return v && *v;
  };
  return set("DISPLAY") || set("WAYLAND_DISPLAY");
}

bool RunInChild(const std::function<bool()>& work) {
  pid_t child = ::fork();
  if (child < 0) return false;
  if (child == 0) ::_exit(work() ? 0 : 1);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void MakeFolders(const std::string& path, unsigned mode) {
  for (size_t i = 1; i <= path.size(); ++i)
    if (i == path.size() || path[i] == '/') ::mkdir(path.substr(0, i).c_str(), mode);
}

}  // namespace borvane::platform
