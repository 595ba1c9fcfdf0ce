// Loading fonts into the system's font table (the platform's AddFontResourceA and
// RemoveFontResourceA) and telling everyone that the fonts changed.
//
// On Linux a loaded font is an application font of fontconfig: usable in this process at once,
// and gone with it. A font that must outlive the process is a file in the user's font folder;
// the "fonts changed" broadcast rescans that folder and refreshes fontconfig's caches, so that
// every other program sees it. A ".FOT" is loaded as the font file it names. Every change to
// fontconfig's configuration goes through one lock (fontconfig_state.h), so several threads may
// load, unload and broadcast at once.
#ifndef BORVANE_PLATFORM_FONTS_FONT_LOADER_H_
#define BORVANE_PLATFORM_FONTS_FONT_LOADER_H_

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/platform/base/service.h"

namespace borvane::platform {

class FontLoader {
 public:
  virtual ~FontLoader() = default;
  // Loads the font at `path`: a full path, a bare file name in the user's font folder, or a
  // ".FOT" that names its font. The number of fonts loaded, 0 on failure.
  virtual int32_t AddFontResource(const String& path) = 0;
  // Unloads the font at `path` (as AddFontResource takes it): nonzero when it was loaded or
  // is there to be found.
  virtual int32_t RemoveFontResource(const String& path) = 0;
  // Whether RemoveFontResource would succeed for `path`; changes nothing.
  virtual bool CanRemoveFontResource(const String& path) = 0;
  // The "fonts changed" broadcast: nonzero when it went out. On Linux it rescans the user's font
  // folder into fontconfig's caches at once, so that a program started from then on lists the
  // folder's fonts as they are, and reads this process's configuration anew.
  virtual int32_t BroadcastFontChange() = 0;
  // Whether the file at `path` (as AddFontResource takes it, no ".FOT") is a font that could be
  // loaded: asked before a font is copied anywhere, so that a file that is no font never is.
  virtual bool IsFontFile(const String& path) = 0;

  static FontLoader& Real();
};

inline FontLoader& FontLoading() {
  return Current<FontLoader>::Get();
}

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FONTS_FONT_LOADER_H_
