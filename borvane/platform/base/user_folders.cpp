#include "borvane/platform/base/user_folders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace borvane::platform {

std::string UserHome() {
  const char* home = std::getenv("HOME");
  if (home && home[0] == '/') return home;
  std::vector<char> buffer(16384);
  passwd entry;
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir && found->pw_dir[0] == '/')
    return found->pw_dir;
  return "/";
}

std::string XdgFolder(const char* variable, const char* below_home) {
  const char* value = std::getenv(variable);
  if (value && value[0] == '/') return value;
  std::string home = UserHome();
  if (home == "/") home.clear();
  return home + below_home;
}

bool MakePrivateFolders(const std::string& path) {
  for (size_t i = 1; i <= path.size(); ++i)
    if (i == path.size() || path[i] == '/') ::mkdir(path.substr(0, i).c_str(), 0700);
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace borvane::platform
