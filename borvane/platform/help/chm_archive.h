// The contents of a compiled help file (.chm), through chmlib.
#ifndef BORVANE_PLATFORM_HELP_CHM_ARCHIVE_H_
#define BORVANE_PLATFORM_HELP_CHM_ARCHIVE_H_

#include <string>

namespace borvane::platform {

// Writes every file stored in the compiled help file at `chm` (native path) below `folder`,
// with its folders; the internal tables ("#SYSTEM", "#IVB", ...) too, the storage's own
// entries ("::DataSpace/...") not. A stored name that would leave `folder` is skipped. False
// when the file cannot be opened as a compiled help file or a write fails.
//
// chmlib trusts the file's structures: run this where a damaged file can do no harm (a
// child process; see RunInChild in process.h).
bool ExtractHelpFile(const std::string& chm, const std::string& folder);

// Writes the one stored file at `path` (relative, "/" between names) below `folder`: for a
// file that the whole extraction did not reach. False when the help file has none.
bool ExtractHelpFileEntry(const std::string& chm, const std::string& folder,
                          const std::string& path);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_CHM_ARCHIVE_H_
