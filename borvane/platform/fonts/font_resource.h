// Scalable font resources: the platform's call that writes a ".FOT" file for a TrueType or
// OpenType font (see font_resource_file.h for its form), and the reading back of the font file
// that a ".FOT" names.
//
// Errors are Windows last-error codes, as the callers read them: 2 the font file is missing,
// 3 a folder on the way to the font or to the target is missing, 5 access denied (the font
// cannot be read or the target cannot be written), 13 not a TrueType/OpenType font, 80 the
// target exists, 112 the disk is full.
#ifndef BORVANE_PLATFORM_FONTS_FONT_RESOURCE_H_
#define BORVANE_PLATFORM_FONTS_FONT_RESOURCE_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/platform/base/folder_watch.h"
#include "borvane/platform/base/service.h"
#include "borvane/platform/fonts/sfnt_names.h"

namespace borvane::platform {

inline constexpr uint32_t kWinFileNotFound = 2;
inline constexpr uint32_t kWinPathNotFound = 3;
inline constexpr uint32_t kWinAccessDenied = 5;
inline constexpr uint32_t kWinInvalidData = 13;
inline constexpr uint32_t kWinFileExists = 80;
inline constexpr uint32_t kWinDiskFull = 112;

struct FontResourceResult {
  bool ok = false;
  uint32_t last_error = 0;  // 0 when ok
};

// A files-service error in Windows terms, as the font resource calls report it.
uint32_t FromFileError(int32_t e);

class FontResource {
 public:
  virtual ~FontResource() = default;

  // Writes the ".FOT" `fot_path` for the font `font_file` in `directory`. With a null or
  // empty `directory`, `font_file` is the full path of the font. The ".FOT" records
  // `font_file` as given, and names from the font's own name table (of a collection: its first
  // font, and the full names of all its fonts joined by " & " as the description); `hidden`
  // (nonzero) marks the font as one that font lists do not show. Never replaces a file: an
  // existing target gives 80, and a failure leaves no file under the target's name.
  virtual FontResourceResult CreateScalableFontResource(uint32_t hidden, const String& fot_path,
                                                        const String& font_file,
                                                        const String& directory) = 0;

  // The font file argument that the ".FOT" at `fot_path` records, into `target`. Returns 0,
  // 2 or 3 when the file is missing, 5 when it cannot be read, 13 when it is not a ".FOT".
  virtual uint32_t ReadFontResourceTarget(const String& fot_path, String& target) = 0;

  // For callers that write a ".FOT" only to read it back and delete it: the bytes that
  // CreateScalableFontResource would write at `fot_path`, with the result that call would give
  // (80 for an existing target, 3 or 5 for a missing or closed folder). `written` tells whether a
  // file was left at `fot_path` for the caller to delete. This default makes the file and reads it
  // through Files(); the real service answers from memory and leaves nothing.
  virtual FontResourceResult ScalableFontResourceBytes(uint32_t hidden, const String& fot_path,
                                                       const String& font_file,
                                                       const String& directory, std::string& bytes,
                                                       bool& written);

  // The count of fonts in the font file at `font_path` (a collection holds several, any other
  // font one) into `count`: 0, or the error as CreateScalableFontResource gives it.
  virtual uint32_t FaceCount(const String& font_path, uint32_t& count) = 0;
  // The bytes of a ".FOT" that describes font `face` of the file at `font_path` alone (its own
  // full name as the description), naming `font_path`: 0, or the error as
  // CreateScalableFontResource gives it (13 for a face the file does not have). Nothing is
  // written.
  virtual uint32_t FaceResourceBytes(const String& font_path, uint32_t face,
                                     std::string& bytes) = 0;

  // A walk over many fonts on this thread begins or ends; walks nest. Within a walk the real
  // service checks a target once, and asks once whether any font file changed: the walk reads
  // the fonts as they stood when it began. A target it found missing is not looked at again by
  // later walks while nothing of that name, or on its way, changed.
  virtual void BeginWalk() {}
  virtual void EndWalk() {}

  static FontResource& Real();
};

inline FontResource& FontResources() {
  return Current<FontResource>::Get();
}

// A walk over many fonts for as long as this lives. The folder watches behind the platform's
// caches (fonts, the registry, the font catalog) are read once for all of it.
class FontResourceWalk {
 public:
  FontResourceWalk() : service_(FontResources()) { service_.BeginWalk(); }
  ~FontResourceWalk() { service_.EndWalk(); }
  FontResourceWalk(const FontResourceWalk&) = delete;
  FontResourceWalk& operator=(const FontResourceWalk&) = delete;

 private:
  FolderWatch::OneLook one_look_;
  FontResource& service_;
};

// `fot` (a ".FOT" path) with a mark before its extension that no other call, thread or process
// uses: "<name>.<process>-<count>.FOT". The ".FOT" a caller writes only for itself goes there,
// so that no one else reading or installing the same font replaces or deletes it meanwhile.
String UniqueFontResourcePath(const String& fot);

// The path of the font that CreateScalableFontResource reads: `font_file` alone when
// `directory` is empty, else `directory`, a "\" unless it ends in one (or in "/"), and
// `font_file`.
String FontFilePath(const String& font_file, const String& directory);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FONTS_FONT_RESOURCE_H_
