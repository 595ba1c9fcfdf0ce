// The file system as the library's classes see it: whole-file reads and writes, copies,
// deletions and temporary files.
//
// Paths are Strings as the library builds them. A "\" in a path is a separator, so it becomes
// "/" when a path reaches the file system; the text goes to the system as UTF-8. Operations
// that can fail return 0 or the number of the platform's file error (53 file not found, 70
// permission denied, 76 path not found, 61 disk full, 75 path/file access error, 57 device
// I/O error), which the caller may raise with ThrowPlatformError.
#ifndef BORVANE_PLATFORM_FILES_FILE_SYSTEM_H_
#define BORVANE_PLATFORM_FILES_FILE_SYSTEM_H_

#include <cstdint>
#include <ctime>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/platform/base/service.h"

namespace borvane::platform {

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // The folder for temporary files, ending in "/": $TMPDIR if set and not empty, else /tmp.
  virtual String TempFolder() = 0;
  // Creates a new, empty file in `folder` whose name begins with `prefix`, and returns its
  // full path; the empty String when no file could be made.
  virtual String CreateTempFile(const String& folder, const String& prefix) = 0;
  // True for a normal file: not a folder, and not hidden (on Linux a name that begins with
  // ".").
  virtual bool IsNormalFile(const String& path) = 0;
  // Copies `from` over `to` (created or replaced, as WriteFile does); the copy keeps the
  // source's time of last change.
  virtual int32_t CopyFile(const String& from, const String& to) = 0;
  virtual int32_t DeleteFile(const String& path) = 0;
  // The whole content of the file into `bytes`.
  virtual int32_t ReadFile(const String& path, std::string& bytes) = 0;
  // Replaces the content of the file (created if missing; its folder must exist), as
  // ReplaceFileContent does: never a moment without the old or the new content.
  virtual int32_t WriteFile(const String& path, std::string_view bytes) = 0;

  // --- Search, dates and names, as the font and help classes ask for them. These report the
  // platform's last-error numbers: 2 file not found, 3 path not found, 5 access denied, 80 the
  // file exists.

  // The names (without folder) in the folder of `pattern` that match its last part, where "*"
  // stands for any run of characters and "?" for one, compared without regard to case as on
  // Windows: the exact spelling first, then every other match in its stored spelling, in
  // order of their names. 0, 2 when nothing matches, 3 when the folder is missing.
  virtual int32_t FindFiles(const String& pattern, std::vector<String>& names) = 0;
  // The time the file was last written, in seconds since 1970 (UTC): 0 or 2/3.
  virtual int32_t ModifiedTime(const String& path, int64_t& seconds) = 0;
  // Renames a file or folder; an existing target is refused (80). 0 or 2/3/5/80.
  virtual int32_t RenameFile(const String& from, const String& to) = 0;
  // Makes a new empty file; a file already there is left alone (80). 0 or 3/5/80.
  virtual int32_t CreateNewFile(const String& path) = 0;

  static FileSystem& Real();
};

// The first name that FindFiles gives for `path` (its spelling on disk), or the empty String:
// the existence test of the platform's file search.
String FindFirstFile(const String& path);

// Whether `name` matches `pattern` ("*" any run, "?" one character), without regard to case.
bool MatchesWildcard(std::u16string_view name, std::u16string_view pattern);

inline FileSystem& Files() {
  return Current<FileSystem>::Get();
}

// A native path in the form the library's Strings use: "/" written as "\".
String BackslashPath(const std::string& native);

// Whether the file at the native `path` counts as hidden: its name begins with ".", the Linux
// form of the platform's hidden attribute.
bool IsHiddenName(const std::string& path);

// The matches of `pattern` among the names `found` (sorted in place) into `names`: the exact
// spelling first, then the others in order. 0, or 2 when nothing matched (FindFiles' result).
int32_t OrderMatches(const String& pattern, std::vector<String>& found, std::vector<String>& names);

// The path as the system takes it: "\" turned into "/", UTF-8.
std::string NativePath(const String& path);

// The whole file at the native `path`, as bytes; empty when it cannot be read.
std::string ReadNativeFile(const std::string& path);

// Replaces the content of the file at the native `path` so that a crash at any moment leaves
// either the old or the new content there: the bytes go to a new file beside it, which is
// synced and renamed over it, and the folder is synced. A link is followed; the file keeps its
// permissions. A folder that refuses new files refuses the replacement too (70), and so does
// a file that nobody may write (a read-only file, as on Windows). 0 or the
// platform's file error.
// A new file is written unnamed and named when complete, so that not even a partial temporary
// file is left behind. With `times` (as futimens takes them), the new content gets those times.
int32_t ReplaceFileContent(const std::string& path, std::string_view bytes);
int32_t ReplaceFileContent(const std::string& path, std::string_view bytes,
                           const struct timespec* times);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FILES_FILE_SYSTEM_H_
