// Installing fonts for real, and the rescan that shows them to every other program, beside
// `fc-cache -f` on the same folder: an install with its uninstall of a TrueType font, an
// OpenType (CFF) font and a 5 MB collection; the time until another process's fc-list lists a
// font just installed; and the rescan of the user's font folder alone (the broadcast) over a
// folder of 1, 50 and 200 fonts, beside fc-cache -f on that folder. Everything happens in
// folders of the benchmark's own (XDG_DATA_HOME, XDG_CACHE_HOME, the registry and TMPDIR), never
// in the user's.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include "borvane/fonts/font_functions.h"
#include "borvane/platform/fonts/font_loader.h"

using namespace borvane;
namespace fs = std::filesystem;

namespace {

struct Home {
  fs::path root, source, fonts;
  Home() {
    char pattern[] = "/tmp/borvane-install-bench-XXXXXX";
    root = mkdtemp(pattern);
    source = root / "src";
    fonts = root / "data/fonts";
    fs::create_directories(source);
    fs::create_directories(root / "tmp");
    setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
    setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
    setenv("BORVANE_REGISTRY", (root / "registry.db").c_str(), 1);
    setenv("TMPDIR", (root / "tmp").c_str(), 1);
    unsetenv("DISPLAY");
  }
  ~Home() { fs::remove_all(root); }
};

Home& TheHome() {
  static Home home;
  return home;
}

const char* const kFonts[] = {"/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf",
                              "/usr/share/fonts/truetype/inconsolata/Inconsolata.otf",
                              "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc"};
const char* const kNames[] = {"BenchMono.ttf", "BenchCff.otf", "BenchPair.ttc"};

int Run(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str());
}

// Install and uninstall, each with its broadcast.
void BM_InstallUninstall(benchmark::State& state) {
  Home& home = TheHome();
  const int kind = static_cast<int>(state.range(0));
  if (!fs::exists(kFonts[kind])) return state.SkipWithError("the font package is missing");
  fs::copy_file(kFonts[kind], home.source / kNames[kind], fs::copy_options::overwrite_existing);
  FontFunctions f;
  for (auto _ : state) {
    String dir = String::FromUtf8(home.source.string()), file = kNames[kind], none;
    bool quiet = false;
    if (f.InstallTTFont(dir, file, quiet) != 1) return state.SkipWithError("install failed");
    if (!f.UnInstallTTFont(file, none, quiet)) return state.SkipWithError("uninstall failed");
  }
  state.SetLabel(kNames[kind]);
}
BENCHMARK(BM_InstallUninstall)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

// From the start of an install to the first run of fc-list in another process that lists the
// font: the install, then fc-list (about 10 ms of its own) until it does.
void BM_SeenByAnotherProcess(benchmark::State& state) {
  Home& home = TheHome();
  fs::copy_file(kFonts[0], home.source / kNames[0], fs::copy_options::overwrite_existing);
  FontFunctions f;
  int tries = 0;
  for (auto _ : state) {
    String dir = String::FromUtf8(home.source.string()), file = kNames[0], none;
    bool quiet = false;
    f.InstallTTFont(dir, file, quiet);
    while (Run("fc-list : file | grep -q BenchMono") != 0 && tries < 1000) ++tries;
    state.PauseTiming();
    f.UnInstallTTFont(file, none, quiet);
    state.ResumeTiming();
  }
  state.counters["extra fc-list runs"] = tries;
}
BENCHMARK(BM_SeenByAnotherProcess)->Unit(benchmark::kMillisecond);

// A font folder of `count` fonts (links to the DejaVu files).
void FillFolder(int count) {
  Home& home = TheHome();
  fs::remove_all(home.fonts);
  fs::create_directories(home.fonts);
  const char* dejavu[] = {"DejaVuSans.ttf", "DejaVuSans-Bold.ttf", "DejaVuSerif.ttf",
                          "DejaVuSerif-Bold.ttf", "DejaVuSansMono.ttf"};
  for (int i = 0; i < count; ++i)
    fs::create_symlink(std::string("/usr/share/fonts/truetype/dejavu/") + dejavu[i % 5],
                       home.fonts / ("f" + std::to_string(i) + ".ttf"));
}

// The change both rescans follow: a font added to the folder, or taken away again.
void ToggleExtraFont(const fs::path& extra) {
  if (fs::exists(extra))
    fs::remove(extra);
  else
    fs::create_symlink("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", extra);
}

// The broadcast after a change to the folder: this folder rescanned into fontconfig's caches,
// and this process's configuration read anew.
void BM_Broadcast(benchmark::State& state) {
  FillFolder(static_cast<int>(state.range(0)));
  const fs::path extra = TheHome().fonts / "extra.ttf";
  for (auto _ : state) {
    state.PauseTiming();
    ToggleExtraFont(extra);
    state.ResumeTiming();
    if (platform::FontLoading().BroadcastFontChange() == 0)
      return state.SkipWithError("the broadcast failed");
  }
}
BENCHMARK(BM_Broadcast)->Arg(1)->Arg(50)->Arg(200)->Unit(benchmark::kMillisecond);

// fc-cache -f on the same folder after the same change, as the broadcast did before.
void BM_FcCacheForce(benchmark::State& state) {
  FillFolder(static_cast<int>(state.range(0)));
  const fs::path extra = TheHome().fonts / "extra.ttf";
  const std::string command = "fc-cache -f '" + TheHome().fonts.string() + "'";
  for (auto _ : state) {
    state.PauseTiming();
    ToggleExtraFont(extra);
    state.ResumeTiming();
    if (Run(command) != 0) return state.SkipWithError("fc-cache failed");
  }
}
BENCHMARK(BM_FcCacheForce)->Arg(1)->Arg(50)->Arg(200)->Iterations(1)->Unit(benchmark::kMillisecond);

// Keeps the median time of each shape (its full name, arguments included) for the ratios.
class Medians : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
        times[run.run_name.function_name + "/" + run.run_name.args] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char** argv) {
  TheHome();  // before fontconfig reads its configuration
  benchmark::Initialize(&argc, argv);
  Medians reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (const char* n : {"1", "50", "200"}) {
    auto ours = reporter.times.find(std::string("BM_Broadcast/") + n);
    auto theirs = reporter.times.find(std::string("BM_FcCacheForce/") + n);
    if (ours != reporter.times.end() && theirs != reporter.times.end() && ours->second > 0)
      std::printf("%s fonts: fc-cache -f takes %.1fx the broadcast's time\n", n,
                  theirs->second / ours->second);
  }
  benchmark::Shutdown();
  return 0;
}
