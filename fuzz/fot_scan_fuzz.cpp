// The ".FOT" scan over arbitrary bytes: a name or error 5 or 6, never anything else.
#include <cstdlib>

#include "borvane/automation/error.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/testing/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace borvane;
  platform::MemoryFileSystem files;
  platform::ScopedService<platform::FileSystem> scope(files);
  files.Put("/tmp/X.FOT", std::string(reinterpret_cast<const char*>(data), size));
  String family, style;
  try {
    ReadFotNames("\\tmp\\X.FOT", family, style);
  } catch (const Error& e) {
    if (e.Number() != kErrInvalidCall && e.Number() != kErrOverflow) std::abort();
  }
  return 0;
}
