// FontFamilyname, which walks every installed font and reads each one's names through a ".FOT"
// file, beside fontconfig answering the same question (the family and style of a full name)
// with FcFontList: over the fonts installed here, and over 500 installed fonts, listed either
// as the system's fonts in the user's registry database or as values of a registry in memory,
// and with the temporary folder changing between calls.
#include <benchmark/benchmark.h>
#include <fontconfig/fontconfig.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "borvane/fonts/font_functions.h"
#include "borvane/platform/fonts/font_catalog.h"
#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/registry/registry_sqlite.h"
#include "borvane/platform/testing/fonts.h"
#include "borvane/platform/testing/registry.h"
#include "tests/tiny_font.h"

using namespace borvane;

namespace {

const char* kDejaVu[] = {"DejaVuSans.ttf", "DejaVuSans-Bold.ttf", "DejaVuSerif.ttf",
                         "DejaVuSerif-Bold.ttf", "DejaVuSansMono.ttf"};
const std::string kDejaVuFolder = "/usr/share/fonts/truetype/dejavu/";

// 500 fonts in a folder of their own (links to the DejaVu files), listed in a registry in
// memory and in a catalog of the system's fonts, which a registry database of its own shows;
// the one asked for is the last.
struct FiveHundred {
  std::string folder;
  platform::MemoryRegistry registry;
  platform::MemoryFontCatalog catalog;
  std::unique_ptr<platform::SqliteRegistry> database;
  FiveHundred() {
    char pattern[] = "/tmp/borvane-fonts-bench-XXXXXX";
    folder = mkdtemp(pattern);
    const String key = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts";
    for (int i = 0; i < 500; ++i) {
      std::string file = "f" + std::to_string(i) + ".ttf";
      std::filesystem::create_symlink(kDejaVuFolder + kDejaVu[i % 5], folder + "/" + file);
      std::string path = folder + "/" + file;
      String name = ("Font " + std::to_string(i)).c_str();
      catalog.fonts.push_back({name, path});
      for (char& c : path)
        if (c == '/') c = '\\';
      registry.SetValue(key, name + String(" (TrueType)"), String::FromUtf8(path));
    }
    catalog.version = 1;
    database = std::make_unique<platform::SqliteRegistry>(folder + "/registry.db");
    platform::AddSystemComputedKeys(*database);
  }
  ~FiveHundred() { std::filesystem::remove_all(folder); }
};

// 500 fonts made here, each a family of its own in one of four styles, in a folder of their
// own, shown as the system's fonts by a registry database of its own; the one asked for is the
// last, and the only one of its name.
struct Generated {
  std::string folder;
  platform::MemoryFontCatalog catalog;
  std::unique_ptr<platform::SqliteRegistry> database;
  Generated() {
    char pattern[] = "/tmp/borvane-fonts-bench-XXXXXX";
    folder = mkdtemp(pattern);
    const char16_t* styles[] = {u"Regular", u"Bold", u"Italic", u"Bold Italic"};
    for (int i = 0; i < 500; ++i) {
      std::u16string family =
          u"Generated Sans " + std::u16string(String(std::to_string(i).c_str()).view());
      std::u16string style = styles[i % 4];
      std::u16string full = family + u" " + style;
      std::string path = folder + "/g" + std::to_string(i) + ".ttf";
      std::ofstream(path, std::ios::binary) << testing::TinyFont(
          {testing::Win(1, family), testing::Win(2, style), testing::Win(4, full)},
          i % 4 % 2 ? 700 : 400, i % 4 >= 2);
      catalog.fonts.push_back({String(full), path});
    }
    catalog.version = 1;
    database = std::make_unique<platform::SqliteRegistry>(folder + "/registry.db");
    platform::AddSystemComputedKeys(*database);
  }
  ~Generated() { std::filesystem::remove_all(folder); }
};

Generated& Generated500() {
  static Generated fonts;
  return fonts;
}

FiveHundred& Fonts500() {
  static FiveHundred fonts;
  return fonts;
}

void BM_FontFamilynameInstalled(benchmark::State& state) {
  FontFunctions f;
  for (auto _ : state) {
    String face = "DejaVu Serif Bold", style;
    benchmark::DoNotOptimize(f.FontFamilyname(face, style));
  }
}
BENCHMARK(BM_FontFamilynameInstalled)->Unit(benchmark::kMicrosecond);

void BM_FontFamilyname500(benchmark::State& state) {
  platform::ScopedService<platform::FontCatalog> catalog(Fonts500().catalog);
  platform::ScopedService<platform::RegistryStore> store(*Fonts500().database);
  FontFunctions f;
  for (auto _ : state) {
    String face = "DejaVu Sans Mono", style;
    benchmark::DoNotOptimize(f.FontFamilyname(face, style));
  }
}
BENCHMARK(BM_FontFamilyname500)->Unit(benchmark::kMicrosecond);

void BM_FontFamilynameGenerated500(benchmark::State& state) {
  platform::ScopedService<platform::FontCatalog> catalog(Generated500().catalog);
  platform::ScopedService<platform::RegistryStore> store(*Generated500().database);
  FontFunctions f;
  for (auto _ : state) {
    String face = "Generated Sans 499 Bold Italic", style;
    benchmark::DoNotOptimize(f.FontFamilyname(face, style));
  }
}
BENCHMARK(BM_FontFamilynameGenerated500)->Unit(benchmark::kMicrosecond);

// The same while other programs use the temporary folder, which holds the fonts, the registry
// and the ".FOT" targets: every call finds the folder changed since the last.
void BM_FontFamilyname500BusyTemp(benchmark::State& state) {
  platform::ScopedService<platform::FontCatalog> catalog(Fonts500().catalog);
  platform::ScopedService<platform::RegistryStore> store(*Fonts500().database);
  FontFunctions f;
  const std::string other = Fonts500().folder + ".other";
  for (auto _ : state) {
    state.PauseTiming();
    std::ofstream(other) << "x";
    std::filesystem::remove(other);
    state.ResumeTiming();
    String face = "DejaVu Sans Mono", style;
    benchmark::DoNotOptimize(f.FontFamilyname(face, style));
  }
}
BENCHMARK(BM_FontFamilyname500BusyTemp)->Unit(benchmark::kMicrosecond);

void BM_FontFamilyname500InMemory(benchmark::State& state) {
  platform::ScopedService<platform::RegistryStore> scope(Fonts500().registry);
  FontFunctions f;
  for (auto _ : state) {
    String face = "DejaVu Sans Mono", style;
    benchmark::DoNotOptimize(f.FontFamilyname(face, style));
  }
}
BENCHMARK(BM_FontFamilyname500InMemory)->Unit(benchmark::kMicrosecond);

void BM_List500(benchmark::State& state) {
  platform::ScopedService<platform::RegistryStore> scope(Fonts500().registry);
  FontFunctions f;
  for (auto _ : state) benchmark::DoNotOptimize(f.GetInstalledTTFonts());
}
BENCHMARK(BM_List500)->Unit(benchmark::kMicrosecond);
void BM_ListInstalled(benchmark::State& state) {
  FontFunctions f;
  for (auto _ : state) benchmark::DoNotOptimize(f.GetInstalledTTFonts());
}
BENCHMARK(BM_ListInstalled)->Unit(benchmark::kMicrosecond);
void BM_Friendly(benchmark::State& state) {
  FontFunctions f;
  String p = "\\usr\\share\\fonts\\truetype\\dejavu\\DejaVuSans.ttf";
  platform::FontResourceWalk walk;
  for (auto _ : state) benchmark::DoNotOptimize(f.GetFontFriedlyName(p));
}
BENCHMARK(BM_Friendly)->Unit(benchmark::kMicrosecond);
void BM_Info(benchmark::State& state) {
  FontFunctions f;
  String d = "\\usr\\share\\fonts\\truetype\\dejavu\\", n = "DejaVuSans.ttf";
  platform::FontResourceWalk walk;
  FONTINFO info;
  bool q = false;
  for (auto _ : state) benchmark::DoNotOptimize(f.GetTTFontInfo(d, n, info, q));
}
BENCHMARK(BM_Info)->Unit(benchmark::kMicrosecond);

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
BENCHMARK(BM_FcFontListInstalled)->Unit(benchmark::kMicrosecond);

void BM_FcFontListGenerated500(benchmark::State& state) {
  static FcConfig* config = [] {
    FcConfig* c = FcConfigCreate();
    FcConfigAppFontAddDir(c, reinterpret_cast<const FcChar8*>(Generated500().folder.c_str()));
    return c;
  }();
  Fontconfig(state, config, "Generated Sans 499 Bold Italic");
}
BENCHMARK(BM_FcFontListGenerated500)->Unit(benchmark::kMicrosecond);

void BM_FcFontList500(benchmark::State& state) {
  static FcConfig* config = [] {
    FcConfig* c = FcConfigCreate();
    FcConfigAppFontAddDir(c, reinterpret_cast<const FcChar8*>(Fonts500().folder.c_str()));
    return c;
  }();
  Fontconfig(state, config, "DejaVu Sans Mono");
}
BENCHMARK(BM_FcFontList500)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
