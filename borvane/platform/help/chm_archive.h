// The contents of a compiled help file (.chm), read through chmlib.
//
// chmlib is loaded when the first help file is opened, not when the library is: a machine
// without it loses help and nothing else. chmlib trusts the file's structures, so a damaged file
// can make it crash or loop: the help server reads archives only in a reader process of its own
// (chm_reader.h), never in a caller's.
#ifndef BORVANE_PLATFORM_HELP_CHM_ARCHIVE_H_
#define BORVANE_PLATFORM_HELP_CHM_ARCHIVE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

struct chmFile;

namespace borvane::platform {

// The Debian package whose absence the messages name.
inline constexpr const char* kChmLibraryPackage = "libchm1";

// Loads chmlib once per process. False, with the reason in `why`, when it cannot be loaded.
bool LoadChmLibrary(std::string* why = nullptr);

class ChmArchive {
 public:
  ~ChmArchive();
  ChmArchive(const ChmArchive&) = delete;
  ChmArchive& operator=(const ChmArchive&) = delete;

  // Opens the file at the native `path`: nullptr, with the reason in `why`, when chmlib is
  // missing or the file is no compiled help file (it has no "#SYSTEM" table).
  static std::unique_ptr<ChmArchive> Open(const std::string& path, std::string* why = nullptr);

  enum class Result { kOk, kMissing, kTooLarge, kDamaged };
  // The stored file `name` ("/dir/page.htm" or "dir/page.htm"; the archive compares names
  // without regard to case). A stored length above `limit` is not read (kTooLarge); a read that
  // ends early is kDamaged.
  Result Read(std::string_view name, std::string& bytes, uint64_t limit);
  // The same in pieces of up to 1 MB, for a reader that passes them on without holding the
  // whole file: `length` first (once the stored length is known and within `limit`), then
  // `piece` for each piece in order. kDamaged after `length` means the pieces ended early.
  Result ReadInPieces(std::string_view name, uint64_t limit,
                      const std::function<void(uint64_t)>& length,
                      const std::function<void(std::string_view)>& piece);

  // Whether the stored file `name` is there (compared as Read compares).
  bool Exists(std::string_view name);

  // Every stored file (not the storage's own "::" entries, not folders), with its length.
  // `visit` returns false to stop.
  void List(const std::function<bool(std::string_view name, uint64_t length)>& visit);

 private:
  ChmArchive(::chmFile* handle, std::string path) : handle_(handle), path_(std::move(path)) {}
  // List by the file's own directory chunks, every one of them: chmlib follows the chain from
  // the header's first listing chunk, which chmcmd gives as its second. False when the
  // directory's headers do not read.
  bool ListChunks(const std::function<bool(std::string_view, uint64_t)>& visit);

  ::chmFile* handle_;
  std::string path_;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_CHM_ARCHIVE_H_
