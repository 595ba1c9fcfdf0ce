// FontFamilyname, which walks every installed font and reads each one's names through a ".FOT"
// file, beside fontconfig answering the same question (the family and style of a full name)
// with FcFontList: over the fonts installed here, and over 500 installed fonts.
#include <benchmark/benchmark.h>
#include <fontconfig/fontconfig.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "borvane/fonts/font_functions.h"
#include "borvane/platform/registry.h"

using namespace borvane;

namespace {

const char* kDejaVu[] = {"DejaVuSans.ttf", "DejaVuSans-Bold.ttf", "DejaVuSerif.ttf",
                         "DejaVuSerif-Bold.ttf", "DejaVuSansMono.ttf"};
const std::string kDejaVuFolder = "/usr/share/fonts/truetype/dejavu/";

// 500 fonts in a folder of their own (links to the DejaVu files), listed in a registry of their
// own; the one asked for is the last.
struct FiveHundred {
  std::string folder;
  platform::MemoryRegistry registry;
  FiveHundred() {
    char pattern[] = "/tmp/borvane-fonts-bench-XXXXXX";
    folder = mkdtemp(pattern);
    const String key = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts";
    for (int i = 0; i < 500; ++i) {
      std::string file = "f" + std::to_string(i) + ".ttf";
      std::filesystem::create_symlink(kDejaVuFolder + kDejaVu[i % 5], folder + "/" + file);
      std::string path = folder + "/" + file;
      for (char& c : path)
        if (c == '/') c = '\\';
      registry.SetValue(key, String(("Font " + std::to_string(i) + " (TrueType)").c_str()),
                        String::FromUtf8(path));
    }
  }
};

void BM_FontFamilynameInstalled(benchmark::State& state) {
  FontFunctions f;
  for (auto _ : state) {
    String face = "DejaVu Serif Bold", style;
    benchmark::DoNotOptimize(f.FontFamilyname(face, style));
  }
}
BENCHMARK(BM_FontFamilynameInstalled)->Unit(benchmark::kMillisecond);

void BM_FontFamilyname500(benchmark::State& state) {
  static FiveHundred fonts;
  platform::ScopedService<platform::RegistryStore> scope(fonts.registry);
  FontFunctions f;
  for (auto _ : state) {
    String face = "DejaVu Sans Mono", style;
    benchmark::DoNotOptimize(f.FontFamilyname(face, style));
  }
}
BENCHMARK(BM_FontFamilyname500)->Unit(benchmark::kMillisecond);

void Fontconfig(benchmark::State& state, FcConfig* config, const char* full_name) {
  for (auto _ : state) {
    FcPattern* p = FcPatternCreate();
    FcPatternAddString(p, FC_FULLNAME, reinterpret_cast<const FcChar8*>(full_name));
    FcObjectSet* os = FcObjectSetBuild(FC_FAMILY, FC_STYLE, nullptr);
    FcFontSet* set = FcFontList(config, p, os);
    benchmark::DoNotOptimize(set->nfont);
    FcFontSetDestroy(set);
    FcObjectSetDestroy(os);
    FcPatternDestroy(p);
  }
}

void BM_FcFontListInstalled(benchmark::State& state) {
  Fontconfig(state, nullptr, "DejaVu Serif Bold");
}
BENCHMARK(BM_FcFontListInstalled)->Unit(benchmark::kMillisecond);

void BM_FcFontList500(benchmark::State& state) {
  static FiveHundred* fonts = new FiveHundred();
  static FcConfig* config = [] {
    FcConfig* c = FcConfigCreate();
    FcConfigAppFontAddDir(c, reinterpret_cast<const FcChar8*>(fonts->folder.c_str()));
    return c;
  }();
  Fontconfig(state, config, "DejaVu Sans Mono");
}
BENCHMARK(BM_FcFontList500)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
