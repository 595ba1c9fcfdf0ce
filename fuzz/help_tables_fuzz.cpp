// The readers of a compiled help file's tables over arbitrary bytes: the settings, the context
// map (the first byte splits the input into its two tables), the sitemaps, the popup texts, the
// associative link names and the full-text index. Answers or none, never a crash or a read
// outside the bytes; a sitemap read in pieces (the first byte sets their size) gives what it
// gives whole, and a full-text index that reads gives a search index that loads.
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "borvane/platform/help/help_fulltext.h"
#include "borvane/platform/help/help_search.h"
#include "borvane/platform/help/help_tables.h"

using namespace borvane::platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  ParseHelpSystem(bytes);
  size_t split = size ? data[0] % (size + 1) : 0;
  ParseContextMap(bytes.substr(0, split), bytes.substr(split));
  const std::vector<SitemapEntry> whole = ParseSitemap(bytes);
  std::vector<SitemapEntry> pieces;
  SitemapReader reader([&](SitemapEntry&& e) { pieces.push_back(std::move(e)); });
  const size_t step = size ? data[0] % 97 + 1 : 1;
  for (size_t at = 0; at < size; at += step) reader.Feed(bytes.substr(at, step));
  reader.Finish();
  if (pieces != whole) __builtin_trap();
  const Sitemap kept(whole);
  for (size_t i = 0; i < whole.size(); ++i)
    if (kept.name(i) != whole[i].name || kept.local(i) != whole[i].local) __builtin_trap();
  const std::string stored =
      SearchIndexFromFulltext({bytes, bytes.substr(split), bytes.substr(0, split), bytes, bytes});
  if (!stored.empty() && !SearchIndex().Load(stored)) __builtin_trap();
  ParsePopupTexts(bytes);
  ParseALinkNames(bytes);
  DecodeHtmlText(bytes);
  return 0;
}
