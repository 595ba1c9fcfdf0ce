// The C++ side of the Python module's benchmark (bench/python_bench.py): Doc::ReadXML of the
// text in the file that BORVANE_BENCH_XML names, into a new document each time, as the Python
// side does it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "borvane/borvane.h"
#include "borvane/doctree/doc.h"

using namespace borvane;

namespace {

void BM_ReadXmlFromFile(benchmark::State& state) {
  const char* path = std::getenv("BORVANE_BENCH_XML");
  if (!path) {
    state.SkipWithError("BORVANE_BENCH_XML names no file (bench/python_bench.py sets it)");
    return;
  }
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  const String text = String::FromUtf8(bytes.str());
  for (auto _ : state) {
    // The member called directly, on a text of the caller's own (the argument is by reference).
    Ref<Doc> doc = MakeRef<Doc>();
    String argument = text, parent;
    doc->ReadXML(argument, parent);
    benchmark::DoNotOptimize(doc);
  }
}
BENCHMARK(BM_ReadXmlFromFile)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
