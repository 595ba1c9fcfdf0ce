#include "borvane/platform/base/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace borvane::platform {

bool SpawnDetached(const std::vector<std::string>& argv) {
  if (argv.empty()) return false;
  // Made before the fork: a child of a process with threads may only make system calls.
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  pid_t child = ::fork();
  if (child < 0) return false;
  if (child == 0) {
    ::setsid();
    if (::fork() == 0) {
      int null = ::open("/dev/null", O_RDWR);
      if (null >= 0) {
        ::dup2(null, 0);
        ::dup2(null, 1);
        ::dup2(null, 2);
      }
      ::close_range(3, ~0U, 0);
      // A host that ignores SIGPIPE would pass that on through exec.
      ::signal(SIGPIPE, SIG_DFL);
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

void MakeFolders(const std::string& path, unsigned mode) {
  for (size_t i = 1; i <= path.size(); ++i)
    if (i == path.size() || path[i] == '/') ::mkdir(path.substr(0, i).c_str(), mode);
}

}  // namespace borvane::platform
