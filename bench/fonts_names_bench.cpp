// The names of a TrueType font through a scalable font resource: write the ".FOT" in the
// temporary folder, scan it, delete it (what reading a font's names costs each time), beside
// FreeType reading the same three names straight from the font (goal: within 5x of it).
// Shapes: every font that fontconfig lists, the smallest of them, the largest, and the small
// bitmap-only TrueType fonts of Wine.
#include <benchmark/benchmark.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SFNT_NAMES_H

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "borvane/fonts/font_readers.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_resource.h"

namespace {

using borvane::String;
namespace fs = std::filesystem;

std::vector<std::string> InstalledFonts() {
  std::vector<std::string> fonts;
  if (FILE* list = popen("fc-list --format '%{file}\\n' 2>/dev/null", "r")) {
    char line[4096];
    while (fgets(line, sizeof line, list)) {
      std::string path(line);
      path.pop_back();
      std::string ext = fs::path(path).extension().string();
      std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
      if (ext == ".ttf" || ext == ".otf" || ext == ".ttc") fonts.push_back(path);
    }
    pclose(list);
  }
  std::sort(fonts.begin(), fonts.end());
  return fonts;
}

std::vector<std::string> Shape(int shape) {
  static const std::vector<std::string> all = InstalledFonts();
  auto by_size = [](const std::string& a, const std::string& b) {
    return fs::file_size(a) < fs::file_size(b);
  };
  if (all.empty()) return {};
  switch (shape) {
    case 0:
      return all;
    case 1:
      return {*std::min_element(all.begin(), all.end(), by_size)};
    case 2:
      return {*std::max_element(all.begin(), all.end(), by_size)};
    default: {
      std::vector<std::string> wine;
      std::error_code ec;
      for (const auto& e : fs::directory_iterator("/usr/share/wine/fonts", ec))
        if (e.path().extension() == ".ttf") wine.push_back(e.path().string());
      return wine;
    }
  }
}

void Label(benchmark::State& state, const std::vector<std::string>& fonts) {
  static const char* kNames[] = {"all installed", "smallest", "largest", "wine ttf"};
  state.SetLabel(std::string(kNames[state.range(0)]) + ", " + std::to_string(fonts.size()) +
                 " fonts");
  state.counters["per_font"] = benchmark::Counter(
      static_cast<double>(fonts.size()),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_FotNamesCycle(benchmark::State& state) {
  std::vector<std::string> fonts = Shape(static_cast<int>(state.range(0)));
  if (fonts.empty()) return state.SkipWithError("no fonts");
  auto& files = borvane::platform::Files();
  auto& resources = borvane::platform::FontResources();
  String temp = files.TempFolder();
  for (auto _ : state) {
    for (const std::string& path : fonts) {
      fs::path p(path);
      std::string stem = p.filename().string();
      String fot = temp + String(stem.substr(0, stem.size() - 4)) + ".FOT";
      if (files.IsNormalFile(fot)) files.DeleteFile(fot);
      auto r = resources.CreateScalableFontResource(
          0, fot, p.filename().string(), borvane::AddBackslash(p.parent_path().string()));
      if (!r.ok) return state.SkipWithError(("cannot write the .FOT of " + path).c_str());
      String family, style;
      String name = borvane::ReadFotNames(fot, family, style);
      files.DeleteFile(fot);
      benchmark::DoNotOptimize(name);
    }
  }
  Label(state, fonts);
}
BENCHMARK(BM_FotNamesCycle)->DenseRange(0, 3)->Unit(benchmark::kMicrosecond);

void BM_FreeTypeNames(benchmark::State& state) {
  std::vector<std::string> fonts = Shape(static_cast<int>(state.range(0)));
  if (fonts.empty()) return state.SkipWithError("no fonts");
  FT_Library lib;
  FT_Init_FreeType(&lib);
  for (auto _ : state) {
    for (const std::string& path : fonts) {
      FT_Face face;
      if (FT_New_Face(lib, path.c_str(), 0, &face) != 0) continue;
      std::u16string names[3];
      for (FT_UInt i = 0, n = FT_Get_Sfnt_Name_Count(face); i < n; ++i) {
        FT_SfntName r;
        if (FT_Get_Sfnt_Name(face, i, &r) != 0 || r.platform_id != 3 || r.language_id != 0x409)
          continue;
        int k = r.name_id == 1 ? 0 : r.name_id == 2 ? 1 : r.name_id == 4 ? 2 : -1;
        if (k < 0) continue;
        names[k].clear();
        for (FT_UInt j = 0; j + 1 < r.string_len; j += 2)
          names[k] += static_cast<char16_t>(r.string[j] << 8 | r.string[j + 1]);
      }
      FT_Done_Face(face);
      benchmark::DoNotOptimize(names);
    }
  }
  FT_Done_FreeType(lib);
  Label(state, fonts);
}
BENCHMARK(BM_FreeTypeNames)->DenseRange(0, 3)->Unit(benchmark::kMicrosecond);

}  // namespace
BENCHMARK_MAIN();
