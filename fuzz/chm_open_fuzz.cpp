// Arbitrary bytes as a compiled help file, read as the help server's reader process reads one:
// open, the tables, the contents and index, a topic, and the pass of the search index. chmlib
// itself is in the run, so that what it does with a hostile file is found here (the reader
// process contains it for users; see chm_reader.h).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "borvane/platform/help/chm_archive.h"
#include "borvane/platform/help/help_search.h"
#include "borvane/platform/help/help_tables.h"

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
  const std::string path = folder + "/input.chm";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  std::unique_ptr<ChmArchive> archive = ChmArchive::Open(path);
  if (!archive) return 0;
  // The reader's bound: 64 times the file, at least 16 MB.
  const uint64_t bound = std::max<uint64_t>(16 << 20, uint64_t{64} * size);
  std::string system, bytes;
  archive->Read("#SYSTEM", system, bound);
  HelpSystemInfo info = ParseHelpSystem(system);
  for (const std::string& name : {info.contents_file, info.index_file, info.default_topic})
    if (!name.empty() && archive->Read(name, bytes, bound) == ChmArchive::Result::kOk)
      ParseSitemap(bytes);
  std::string ivb, strings;
  archive->Read("#IVB", ivb, bound);
  archive->Read("#STRINGS", strings, bound);
  ParseContextMap(ivb, strings);
  // The listing can loop on a hostile file (the reader's time limit ends that for users): a
  // fuzz run takes a bounded part of it.
  int listed = 0;
  archive->List([&](std::string_view, uint64_t) { return ++listed < 10'000; });
  SearchIndex index;
  index.Load(MakeSearchIndex(*archive, bound));
  index.Find("a b", 10);
  return 0;
}
