// Fontobj: one GetXML followed by SetXML of that text on the same object (goal: under 20
// microseconds per round trip), and each half on its own.
#include <benchmark/benchmark.h>

#include "borvane/fonts/fontobj.h"

namespace {

using borvane::Fontobj;
using borvane::MakeRef;
using borvane::String;

void BM_FontobjRoundTrip(benchmark::State& state) {
  auto f = MakeRef<Fontobj>();
  f->LetFontName("DejaVu Sans Mono");
  f->LetFontBold(true);
  for (auto _ : state) {
    String text = f->GetXML();
    f->SetXML(text);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_FontobjRoundTrip)->Unit(benchmark::kMicrosecond);

void BM_FontobjGetXML(benchmark::State& state) {
  auto f = MakeRef<Fontobj>();
  for (auto _ : state) benchmark::DoNotOptimize(f->GetXML());
}
BENCHMARK(BM_FontobjGetXML)->Unit(benchmark::kMicrosecond);

void BM_FontobjSetXML(benchmark::State& state) {
  auto f = MakeRef<Fontobj>();
  String text = f->GetXML();
  for (auto _ : state) f->SetXML(text);
}
BENCHMARK(BM_FontobjSetXML)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
