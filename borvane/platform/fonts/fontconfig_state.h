// The process's fontconfig configuration, which the font catalog reads and the font loader
// changes: the system's font table of this process.
//
// fontconfig keeps one current configuration for the whole process, shared by every thread and
// by any other user of fontconfig in the host. Every change made here to it (fonts loaded for
// this process, a configuration read anew) goes through one lock, and a configuration read anew
// gets this process's loaded fonts before it replaces the old one, so that a refresh never
// drops them.
#ifndef BORVANE_PLATFORM_FONTS_FONTCONFIG_STATE_H_
#define BORVANE_PLATFORM_FONTS_FONTCONFIG_STATE_H_

#include <cstdint>
#include <functional>
#include <string>

struct _FcConfig;

namespace borvane::platform::fontconfig {

// Runs `read` under the lock with the current configuration, which is not replaced meanwhile.
void Read(const std::function<void(_FcConfig*)>& read);

// Loads the font file at the native `file` for this process (an application font): false when
// fontconfig refuses it.
bool AddAppFont(const std::string& file);
// Unloads it: false when this process had not loaded it.
bool RemoveAppFont(const std::string& file);
// Whether this process loaded it.
bool IsAppFont(const std::string& file);

// Scans the font folder `folder` and writes fontconfig's cache of it, so that every program that
// reads the caches from now on (another process's fc-list) sees its fonts as they are now, then
// reads this process's configuration anew. Only this folder is scanned, and there is no wait for
// its time stamp to move on. False when the cache could not be written or the configuration not
// read.
bool RescanFolder(const std::string& folder);

// Reads this process's configuration anew (files, font folders and their caches, which
// fontconfig checks against the folders): after a change on disk that fontconfig's own
// up-to-date check, which goes by whole seconds, may not see yet.
bool Reload();

// Whether fontconfig's own check finds the configuration up to date (read under the lock, as
// the check writes the time of its last look into the configuration).
bool UpToDate();

// Whether fontconfig reads the native `file` as a font (of any kind it loads); changes nothing.
bool IsFontFile(const std::string& file);

// A number that moves on whenever the configuration was read anew.
uint64_t Generation();

}  // namespace borvane::platform::fontconfig

#endif  // BORVANE_PLATFORM_FONTS_FONTCONFIG_STATE_H_
