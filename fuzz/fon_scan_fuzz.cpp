// The ".FON" scan over arbitrary bytes: a face name without outer blanks, or error 5.
#include <cstdlib>

#include "borvane/automation/error.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/testing/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace borvane;
  platform::MemoryFileSystem files;
  platform::ScopedService<platform::FileSystem> scope(files);
  files.Put("/f/X.FON", std::string(reinterpret_cast<const char*>(data), size));
  try {
    String name = ReadBitmapFaceName("/f", "X.FON");
    if (!name.empty() && (name[0] == u' ' || name[name.size() - 1] == u' ')) std::abort();
    if (name.view().find(u'\0') != std::u16string_view::npos) std::abort();
  } catch (const Error& e) {
    if (e.Number() != kErrInvalidCall) std::abort();
  }
  return 0;
}
