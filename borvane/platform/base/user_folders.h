// The user's folders, as the XDG base directory rules name them: a variable that holds an
// absolute path wins, a relative one is ignored, and the fallback lies below the user's home.
// The home is $HOME when that is an absolute path, else the one the password database gives:
// never a folder other users share.
#ifndef BORVANE_PLATFORM_BASE_USER_FOLDERS_H_
#define BORVANE_PLATFORM_BASE_USER_FOLDERS_H_

#include <string>

namespace borvane::platform {

// The user's home folder (no closing "/"); "/" itself only when neither source knows one.
std::string UserHome();

// $`variable` when it is an absolute path, else the home followed by `below_home`
// ("XDG_CACHE_HOME", "/.cache" gives ~/.cache).
std::string XdgFolder(const char* variable, const char* below_home);

// Makes `path` and the folders on its way that are missing, the new ones readable by the user
// alone (0700). False when `path` is not a folder afterwards.
bool MakePrivateFolders(const std::string& path);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_BASE_USER_FOLDERS_H_
