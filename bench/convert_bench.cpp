// Number to text and back, against the standard library's to_chars/from_chars in the same run.
#include <benchmark/benchmark.h>

#include <charconv>
#include <random>
#include <vector>

#include "borvane/automation/convert.h"

namespace {

// A mix of magnitudes: integers, fractions, and values that need exponent form.
std::vector<double> Doubles() {
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> mantissa(1.0, 10.0);
  std::uniform_int_distribution<int> exponent(-20, 20);
  std::vector<double> values;
  for (int i = 0; i < 4096; ++i) {
    double v = mantissa(rng);
    for (int e = exponent(rng); e != 0; e += e > 0 ? -1 : 1) v = e > 0 ? v * 10 : v / 10;
    values.push_back(i % 4 == 0 ? static_cast<double>(static_cast<int64_t>(v)) : v);
  }
  return values;
}

void BM_FormatDouble(benchmark::State& state) {
  const std::vector<double> values = Doubles();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(borvane::FormatDouble(values[i++ & 4095]));
  }
}
BENCHMARK(BM_FormatDouble);

void BM_ToCharsShortest(benchmark::State& state) {
  const std::vector<double> values = Doubles();
  char buf[64];
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::to_chars(buf, buf + sizeof buf, values[i++ & 4095]).ptr);
  }
}
BENCHMARK(BM_ToCharsShortest);

void BM_ToChars15Digits(benchmark::State& state) {
  const std::vector<double> values = Doubles();
  char buf[64];
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        std::to_chars(buf, buf + sizeof buf, values[i++ & 4095], std::chars_format::general, 15)
            .ptr);
  }
}
BENCHMARK(BM_ToChars15Digits);

void BM_ParseDouble(benchmark::State& state) {
  std::vector<borvane::String> texts;
  for (double v : Doubles()) texts.push_back(borvane::FormatDouble(v));
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(borvane::ParseDouble(texts[i++ & 4095]));
}
BENCHMARK(BM_ParseDouble);

void BM_FromChars(benchmark::State& state) {
  std::vector<std::string> texts;
  for (double v : Doubles()) texts.push_back(borvane::FormatDouble(v).ToUtf8());
  size_t i = 0;
  double out = 0;
  for (auto _ : state) {
    const std::string& t = texts[i++ & 4095];
    benchmark::DoNotOptimize(std::from_chars(t.data(), t.data() + t.size(), out).ptr);
  }
}
BENCHMARK(BM_FromChars);

}  // namespace

BENCHMARK_MAIN();
