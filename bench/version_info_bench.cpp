// The version record of executable files: a 10 MB PE file (only its headers and resource are
// read), a small PE file and an NE file.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "borvane/platform/files/version_info.h"
#include "tests/platform/executable_images.h"

using namespace borvane;
using namespace borvane::platform;

namespace {

String Write(const char* name, const std::string& bytes) {
  static std::string folder = [] {
    char pattern[] = "/tmp/borvane-version-bench-XXXXXX";
    return std::string(mkdtemp(pattern));
  }();
  std::string path = folder + "/" + name;
  std::ofstream(path, std::ios::binary) << bytes;
  return String::FromUtf8(path);
}

void Read(benchmark::State& state, const String& path) {
  for (auto _ : state) {
    std::string block;
    VS_FIXEDFILEINFO r;
    uint32_t size = Versions().BlockSize(path);
    Versions().Block(path, size, block);
    benchmark::DoNotOptimize(QueryFixedRecord(block, r));
  }
}

void BM_Pe10MB(benchmark::State& state) {
  static String path =
      Write("big.dll", testing_images::PeImage(true, MakeVersionBlock(5, 6), 10u << 20));
  Read(state, path);
}
BENCHMARK(BM_Pe10MB);

void BM_PeSmall(benchmark::State& state) {
  static String path = Write("small.dll", testing_images::PeImage(false, MakeVersionBlock(5, 6)));
  Read(state, path);
}
BENCHMARK(BM_PeSmall);

void BM_Ne(benchmark::State& state) {
  static String path = Write("font.fon", testing_images::NeImage(5, 6));
  Read(state, path);
}
BENCHMARK(BM_Ne);

}  // namespace

BENCHMARK_MAIN();
