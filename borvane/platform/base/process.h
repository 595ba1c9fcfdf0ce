// Child processes: programs started for the user and left running.
#ifndef BORVANE_PLATFORM_BASE_PROCESS_H_
#define BORVANE_PLATFORM_BASE_PROCESS_H_

#include <string>
#include <vector>

namespace borvane::platform {

// Starts a program that outlives the call and is never waited for: a grandchild, in a session
// of its own, so that it leaves no zombie and no terminal signal reaches it, with nothing of the
// caller's open (its standard streams are /dev/null), so that it holds no pipe of the caller's
// open after the caller has gone. False when no process could be made (a program that cannot be
// run is not seen here).
bool SpawnDetached(const std::vector<std::string>& argv);

// True when a graphical session is there to show windows in.
bool HasDisplay();

// Makes the folder at the native `path` and every folder on its way (with `mode`, before the
// umask); folders already there are left alone.
void MakeFolders(const std::string& path, unsigned mode = 0755);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_BASE_PROCESS_H_
