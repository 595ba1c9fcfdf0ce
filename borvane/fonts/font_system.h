// What the font members ask of the system: its release, where its fonts live and where the
// registry lists them.
#ifndef BORVANE_FONTS_FONT_SYSTEM_H_
#define BORVANE_FONTS_FONT_SYSTEM_H_

#include <cstdint>

#include "borvane/automation/string.h"
#include "borvane/platform/registry/registry_api.h"

namespace borvane {

// The release of the system by its version record: 1 Windows 95, 2 98, 3 98 SE, 7 Me, 4 NT 3,
// 5 NT 4, 6 2000 and XP, 0 any other (Linux reports itself as 6).
int32_t GetOsId();

// The "Fonts" value of the user's shell folders, closed with a separator; empty without one.
String ReadShellFontsFolder();

// The fonts folder for the release, asking the desktop to open (and so make) the fonts folder
// once when the first look finds none; empty when the second look finds none either.
String FindFontsDirectory();

// FindFontsDirectory, else the Windows folder's "FONTS\" (saying so when `show`).
String FontsDirectoryOrDefault(bool show);

// The key of the installed fonts for the release, below HKEY_LOCAL_MACHINE.
const char* FontsKeyPath();

// The registry key of the installed fonts for the release, opened (made when missing) under
// HKEY_LOCAL_MACHINE; the caller closes it.
platform::HKEY OpenFontsKey();

}  // namespace borvane

#endif  // BORVANE_FONTS_FONT_SYSTEM_H_
