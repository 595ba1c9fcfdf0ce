// The help front end and viewer: one display call of HTMLHelp through the help control's
// double, and the viewer resolving a topic by path, context number and index keyword in a
// 1,000-topic help file compiled here with chmcmd (after the first extraction).
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "borvane/htmlhelp/html_help.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/help/help_viewer.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/testing/files.h"
#include "borvane/platform/testing/help.h"
#include "borvane/platform/testing/session.h"

using namespace borvane;
using namespace borvane::platform;

namespace {

namespace fs = std::filesystem;

// A help project of 1,000 topics with a context number and an index keyword each, compiled
// once; the path of the .chm, or "" without chmcmd.
const std::string& LargeHelpFile() {
  static const std::string path = [] {
    char pattern[] = "/tmp/borvane-help-bench-XXXXXX";
    fs::path dir = ::mkdtemp(pattern);
    ::setenv("XDG_CACHE_HOME", (dir / "cache").c_str(), 1);
    ::unsetenv("DISPLAY");
    ::unsetenv("WAYLAND_DISPLAY");
    ::unsetenv("BORVANE_HELP_BROWSER");
    fs::create_directories(dir / "topics");
    std::ofstream hhp(dir / "big.hhp"), hhc(dir / "big.hhc"), hhk(dir / "big.hhk"),
        map(dir / "map.h");
    hhp << "[OPTIONS]\nCompiled file=big.chm\nContents file=big.hhc\nIndex file=big.hhk\n"
           "Default topic=topics/t0.htm\nTitle=Big\n\n[FILES]\n";
    std::string alias = "[ALIAS]\n";
    hhc << "<html><body><ul>\n";
    hhk << "<html><body><ul>\n";
    for (int i = 0; i < 1000; ++i) {
      std::string t = "topics/t" + std::to_string(i) + ".htm";
      std::ofstream(dir / t) << "<html><head><title>Topic " << i << "</title></head><body><h1>" << i
                             << "</h1><p>Text of topic " << i << ".</p></body></html>\n";
      hhp << t << "\n";
      alias += "IDH_" + std::to_string(i) + "=" + t + "\n";
      map << "#define IDH_" << i << " " << 5000 + i << "\n";
      std::string entry = "<li><object type=\"text/sitemap\"><param name=\"Name\" value=\"k" +
                          std::to_string(i) + "\"><param name=\"Local\" value=\"" + t +
                          "\"></object>\n";
      hhc << entry;
      hhk << entry;
    }
    hhp << "\n" << alias << "\n[MAP]\n#include map.h\n";
    hhc << "</ul></body></html>\n";
    hhk << "</ul></body></html>\n";
    hhp.close(), hhc.close(), hhk.close(), map.close();
    std::string compile =
        "cd '" + dir.string() + "' && chmcmd --verbosity 0 big.hhp >/dev/null 2>&1";
    return std::system(compile.c_str()) == 0 ? (dir / "big.chm").string() : std::string();
  }();
  return path;
}

void Resolve(benchmark::State& state, int32_t command, const HelpData& data) {
  const std::string& chm = LargeHelpFile();
  if (chm.empty()) return state.SkipWithError("chmcmd (Debian fp-utils) is needed");
  HelpViewer viewer;
  if (viewer.HtmlHelp(0, chm, command, data) == 0) return state.SkipWithError("not resolved");
  for (auto _ : state) benchmark::DoNotOptimize(viewer.HtmlHelp(0, chm, command, data));
}

void BM_ViewerTopicPath(benchmark::State& state) {
  Resolve(state, HH_DISPLAY_TOPIC, std::string("topics/t777.htm"));
}
BENCHMARK(BM_ViewerTopicPath)->Unit(benchmark::kMicrosecond);

void BM_ViewerContextNumber(benchmark::State& state) {
  Resolve(state, HH_HELP_CONTEXT, int32_t{5777});
}
BENCHMARK(BM_ViewerContextNumber)->Unit(benchmark::kMicrosecond);

void BM_ViewerIndexKeyword(benchmark::State& state) {
  HH_AKLINK link;
  link.cbStruct = 28;
  link.pszKeywords = "k999";
  Resolve(state, HH_KEYWORD_LOOKUP, link);
}
BENCHMARK(BM_ViewerIndexKeyword)->Unit(benchmark::kMicrosecond);

// HTMLHelp's own work for one display call: checks, target, record, the control's double.
void BM_DisplayThroughDouble(benchmark::State& state) {
  MemoryFileSystem files;
  files.AddFolder("/help/");
  files.Put("/help/Manual.chm", "chm");
  RecordingHelpControl control;
  RecordingMessageBoxes boxes;
  ScopedService<FileSystem> s1(files);
  ScopedService<HelpControl> s2(control);
  ScopedService<MessageBoxes> s3(boxes);
  Ref<HTMLHelp> help = MakeRef<HTMLHelp>();
  help->LetCHMFile("/help\\Manual.chm");
  help->LetHHWindow("main");
  help->LetHHTopicURL("topics/welcome.htm");
  std::optional<int32_t> no_form;
  for (auto _ : state) {
    help->HHDisplayTopicURL(no_form);
    if (control.calls.size() > 4096) control.calls.clear();
  }
}
BENCHMARK(BM_DisplayThroughDouble);

}  // namespace

BENCHMARK_MAIN();
