// Arbitrary bytes as a compiled help file, read as the help server reads one: through a reader
// process (chmlib crashes, loops and runs out of memory on hostile files, and the reader takes
// that on itself), with the tables, the contents and index, a topic and the search index of
// what it gives parsed here.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "borvane/platform/help/chm_reader.h"
#include "borvane/platform/help/help_search.h"
#include "borvane/platform/help/help_tables.h"
#include "borvane/platform/help/help_viewer.h"

using namespace borvane::platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string folder = [] {
    char pattern[] = "/tmp/borvane-chm-fuzz-XXXXXX";
    return std::string(::mkdtemp(pattern));
  }();
  // Registered once the folder's name is made, so that it is removed before the name goes.
  static const bool cleaned = std::atexit([] {
                                std::error_code ignored;
                                std::filesystem::remove_all(folder, ignored);
                              }) == 0;
  (void)cleaned;
  static const std::string program = HelpServerProgram();
  if (program.empty()) std::abort();  // the build makes it beside the library
  const std::string path = folder + "/input.chm";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  ReaderLimits limits;
  limits.open_ms = limits.request_ms = limits.pass_ms = 5000;
  std::unique_ptr<ChmReader> reader = ChmReader::Start({program}, path, limits, nullptr);
  if (!reader) return 0;
  std::string system, bytes;
  reader->Read("#SYSTEM", system);
  HelpSystemInfo info = ParseHelpSystem(system);
  for (const std::string& name : {info.contents_file, info.index_file}) {
    if (name.empty() || reader->Read(name, bytes) != ReadStatus::kOk) continue;
    const Sitemap entries(ParseSitemap(bytes));
    for (size_t i : KeywordEntries(entries, "a")) EntryTopic(entries, i);
  }
  if (!info.default_topic.empty() && reader->Read(info.default_topic, bytes) == ReadStatus::kOk)
    PageText(bytes);
  std::string ivb, strings;
  reader->Read("#IVB", ivb);
  reader->Read("#STRINGS", strings);
  ParseContextMap(ivb, strings);
  if (reader->BuildSearchIndex(bytes) == ReadStatus::kOk) {
    SearchIndex index;
    index.Load(bytes);
    index.Find("a b", 10);
  }
  return 0;
}
