// The fonts the system knows, as fontconfig lists them, and the user's font folder.
#ifndef BORVANE_PLATFORM_FONTS_FONT_CATALOG_H_
#define BORVANE_PLATFORM_FONTS_FONT_CATALOG_H_

#include <cstdint>
#include <string>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/platform/base/service.h"

namespace borvane::platform {

class RegistryStore;

// One installed font file, as the system's fonts key lists it.
struct InstalledFont {
  // The name it is listed by: the full name of a single font ("DejaVu Sans Bold"); for a
  // collection the full names of its fonts joined by " & ".
  String full_name;
  std::string path;      // the file, as a native path
  bool truetype = true;  // TrueType outlines ("(TrueType)"); else an OpenType font ("(OpenType)")
};

class FontCatalog {
 public:
  virtual ~FontCatalog() = default;
  // The scalable font files installed (TrueType, OpenType, and collections of either), one
  // entry per file, in the order of their paths; fonts loaded for this process alone are not
  // installed. The real catalog reads fontconfig again only when a folder of its fonts or of its
  // configuration changed, or this process read fontconfig's configuration anew.
  virtual std::vector<InstalledFont> Fonts() = 0;
  // A number that moves on whenever Fonts() would give another list; 0 when the catalog cannot
  // tell, and its Fonts() has to be read each time.
  virtual uint64_t Version() { return 0; }
  // The user's font folder, which may not exist yet: $XDG_DATA_HOME/fonts, else
  // ~/.local/share/fonts (native path, no closing "/").
  virtual std::string UserFontFolder() = 0;

  static FontCatalog& Real();
};

inline FontCatalog& InstalledFonts() {
  return Current<FontCatalog>::Get();
}

// Shows in `store` what the system knows already, read-only where the system owns it:
// the installed fonts under both fonts keys of HKEY_LOCAL_MACHINE ("<full name> (TrueType)", or
// "(OpenType)" for PostScript outlines, = the file's path) and the user's "Fonts" shell folder
// under HKEY_CURRENT_USER once the folder exists. The fonts come from the catalog in force when the
// store is read.
void AddSystemComputedKeys(RegistryStore& store);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FONTS_FONT_CATALOG_H_
