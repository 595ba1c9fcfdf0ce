// File version records: the fixed version record of an executable file's version resource,
// read from 32- and 64-bit PE files and 16-bit NE files (the platform's GetFileVersionInfoSizeA,
// GetFileVersionInfoA and VerQueryValueA with the sub-block "\").
//
// Only the headers and the resource are read, never the whole file, and every read is checked
// against the file's size: a truncated or hostile file has no record, and never a crash.
#ifndef BORVANE_PLATFORM_FILES_VERSION_INFO_H_
#define BORVANE_PLATFORM_FILES_VERSION_INFO_H_

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "borvane/automation/string.h"
#include "borvane/platform/base/service.h"

namespace borvane::platform {

inline constexpr uint32_t kFixedFileInfoSignature = 0xFEEF04BD;

// The published fixed record: 13 doublewords, 52 bytes.
struct VS_FIXEDFILEINFO {
  uint32_t dwSignature = 0;
  uint32_t dwStrucVersion = 0;
  uint32_t dwFileVersionMS = 0;
  uint32_t dwFileVersionLS = 0;
  uint32_t dwProductVersionMS = 0;
  uint32_t dwProductVersionLS = 0;
  uint32_t dwFileFlagsMask = 0;
  uint32_t dwFileFlags = 0;
  uint32_t dwFileOS = 0;
  uint32_t dwFileType = 0;
  uint32_t dwFileSubtype = 0;
  uint32_t dwFileDateMS = 0;
  uint32_t dwFileDateLS = 0;
};
static_assert(sizeof(VS_FIXEDFILEINFO) == 52);

class VersionRecords {
 public:
  virtual ~VersionRecords() = default;
  // The size of the file's version block: the resource's own size; 0 when the file has none
  // (or is not a PE or NE file, or cannot be read).
  virtual uint32_t BlockSize(const String& path) = 0;
  // The first `size` bytes of the block (fewer when the block is shorter); false when the file
  // has none.
  virtual bool Block(const String& path, uint32_t size, std::string& block) = 0;

  static VersionRecords& Real();
};

inline VersionRecords& Versions() {
  return Current<VersionRecords>::Get();
}

// The fixed record of a version block (VerQueryValueA with "\"): false when the block holds
// none, or one without the signature.
bool QueryFixedRecord(std::string_view block, VS_FIXEDFILEINFO& record);

// The version block of an executable image given by a reader of its bytes: `read(offset,
// length, out)` fills `out` or returns false past the end. Nothing when there is none.
using ByteReader = std::function<bool(uint64_t offset, size_t length, std::string& out)>;
std::optional<std::string> ReadVersionBlock(const ByteReader& read);

// A version block with the given fixed record, as a PE file holds it (for the real service's
// built-in answers and for tests).
std::string MakeVersionBlock(uint32_t file_ms, uint32_t file_ls);

// Tells the real service to answer for the file at `native_path` with this file version, as if
// the file held that record (for a file of the library's own that stands in for a Windows
// component). Process-wide.
void RegisterBuiltInVersion(const std::string& native_path, uint32_t file_ms, uint32_t file_ls);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FILES_VERSION_INFO_H_
