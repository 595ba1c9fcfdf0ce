// Child processes: programs started for the user and left running, and work done in a child
// so that a fault in it cannot take the caller down.
#ifndef BORVANE_PLATFORM_BASE_PROCESS_H_
#define BORVANE_PLATFORM_BASE_PROCESS_H_

#include <functional>
#include <string>
#include <vector>

namespace borvane::platform {

// Starts a program that outlives the call and is never waited for: a grandchild, in a session
// of its own, so that it leaves no zombie and no terminal signal reaches it. False when no
// process could be made (a program that cannot be run is not seen here).
bool SpawnDetached(const std::vector<std::string>& argv);

// True when a graphical session is there to show windows in.
bool HasDisplay();

// Runs `work` in a child process and waits for it: true when it returned true, false when it
// returned false, crashed or could not be started. The child shares nothing with the caller
// afterwards; what it leaves is what it wrote to files.
bool RunInChild(const std::function<bool()>& work);

// Makes the folder at the native `path` and every folder on its way (with `mode`, before the
// umask); folders already there are left alone.
void MakeFolders(const std::string& path, unsigned mode = 0755);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_BASE_PROCESS_H_
