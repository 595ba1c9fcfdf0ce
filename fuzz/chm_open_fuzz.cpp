// The help viewer over arbitrary bytes as a compiled help file: every command gives a window
// or 0, never a crash of the caller (chmlib itself runs in a child process).
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "borvane/platform/help/help_viewer.h"

using namespace borvane::platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string folder = [] {
    char pattern[] = "/tmp/borvane-chm-fuzz-XXXXXX";
    std::string f = ::mkdtemp(pattern);
    ::setenv("XDG_CACHE_HOME", (f + "/cache").c_str(), 1);
    ::setenv("BORVANE_HELP_BROWSER", "true", 1);
    return f;
  }();
  // Registered once the folder's name is made, so that it is removed before the name goes.
  static const bool cleaned = std::atexit([] {
                                std::error_code ignored;
                                std::filesystem::remove_all(folder, ignored);
                              }) == 0;
  (void)cleaned;
  std::string path = folder + "/input.chm";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  HelpViewer viewer;
  viewer.HtmlHelp(0, path, HH_DISPLAY_TOPIC, int32_t{0});
  viewer.HtmlHelp(0, path, HH_HELP_CONTEXT, int32_t{1});
  HH_AKLINK link;
  link.pszKeywords = "a;b";
  viewer.HtmlHelp(0, path, HH_KEYWORD_LOOKUP, link);
  return 0;
}
