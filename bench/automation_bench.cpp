// Keyed Collection lookup against std::unordered_map, and a late-bound property get against
// the direct C++ call.
#include <benchmark/benchmark.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "borvane/borvane.h"
#include "borvane/frame/string_builder.h"

namespace borvane {
namespace {

constexpr int kKeys = 1000000;

std::vector<String> MakeKeys() {
  std::vector<String> keys;
  keys.reserve(kKeys);
  for (int i = 0; i < kKeys; ++i) keys.push_back(String("Key" + std::to_string(int64_t{i} * 7919)));
  return keys;
}

const std::vector<String>& Keys() {
  static const std::vector<String> keys = MakeKeys();
  return keys;
}

void BM_CollectionKeyLookup(benchmark::State& state) {
  auto c = MakeRef<Collection>();
  for (int i = 0; i < kKeys; ++i) c->Add(Variant(int32_t{i}), Variant(Keys()[i]));
  std::vector<Variant> probes;
  for (int i = 0; i < 4096; ++i) probes.emplace_back(Keys()[(int64_t{i} * 104729) % kKeys]);
  size_t n = 0;
  for (auto _ : state) benchmark::DoNotOptimize(c->Item(probes[n++ & 4095]));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CollectionKeyLookup);

void BM_UnorderedMapKeyLookup(benchmark::State& state) {
  std::unordered_map<std::u16string, Variant> m;
  for (int i = 0; i < kKeys; ++i) m.emplace(Keys()[i].str(), Variant(int32_t{i}));
  std::vector<std::u16string> probes;
  for (int i = 0; i < 4096; ++i) probes.push_back(Keys()[(int64_t{i} * 104729) % kKeys].str());
  size_t n = 0;
  for (auto _ : state) benchmark::DoNotOptimize(m.find(probes[n++ & 4095])->second);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UnorderedMapKeyLookup);

void BM_CollectionPositionLookup(benchmark::State& state) {
  auto c = MakeRef<Collection>();
  for (int i = 0; i < kKeys; ++i) c->Add(Variant(int32_t{i}));
  int32_t n = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(c->Item(Variant(int32_t{n % kKeys + 1})));
    n += 7919;
  }
}
BENCHMARK(BM_CollectionPositionLookup);

// A property get: the builder's Capacity, then its ToString on a short text.
void BM_DirectGet(benchmark::State& state) {
  auto b = MakeRef<CStringBuilder>();
  String text = "sixteen chars!!!";
  b->Append(text);
  CStringBuilder* raw = b.Get();
  for (auto _ : state) benchmark::DoNotOptimize(raw->ToString());
}
BENCHMARK(BM_DirectGet);

void BM_LateBoundGet(benchmark::State& state) {
  Object b = CreateObject("Borvane.CStringBuilder");
  CallByName(b, "Append", VbMethod, {Variant("sixteen chars!!!")});
  String member = "ToString";
  std::vector<Variant> args;
  for (auto _ : state) benchmark::DoNotOptimize(CallByName(b, member, VbGet, args));
}
BENCHMARK(BM_LateBoundGet);

}  // namespace
}  // namespace borvane

BENCHMARK_MAIN();
