// The readers of a compiled help file's tables over arbitrary bytes: the settings, the context
// map (the first byte splits the input into its two tables), the sitemaps, the popup texts and
// the associative link names. Answers or none, never a crash or a read outside the bytes.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "borvane/platform/help/help_tables.h"

using namespace borvane::platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  ParseHelpSystem(bytes);
  size_t split = size ? data[0] % (size + 1) : 0;
  ParseContextMap(bytes.substr(0, split), bytes.substr(split));
  ParseSitemap(bytes);
  ParsePopupTexts(bytes);
  ParseALinkNames(bytes);
  DecodeHtmlText(bytes);
  return 0;
}
