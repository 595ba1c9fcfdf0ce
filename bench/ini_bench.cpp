// Reading and writing INI files through Inifile, beside inih parsing the same file.
//
// Files: 1,000 and 10,000 sections of 10 keys, about 100 bytes a key line (1 MB and 10 MB).
// The counter "x_inih" is Inifile's time over inih's on the same file in the same run, and
// "sections" the number of sections that reached the tree.
//
// Inifile reads all section names of a file into one buffer of 32767 characters, with a NUL
// behind each name, and names beyond it are not read. So that all 10,000 sections reach the
// tree, the names are one or two characters long (at most 30,000 characters in all), drawn
// from the printable characters of the ANSI code page that differ from each other without
// regard to case.
#include <benchmark/benchmark.h>
#include <ini.h>

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/automation/text.h"
#include "borvane/ini/inifile.h"

namespace {

using borvane::Inifile;
using borvane::MakeRef;
using borvane::String;
// Processor time of this process: the machine may be busy with other work.
struct Clock {
  using duration = std::chrono::nanoseconds;
  static std::chrono::time_point<Clock, duration> now() {
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return std::chrono::time_point<Clock, duration>(
        duration(ts.tv_sec * 1000000000LL + ts.tv_nsec));
  }
};

std::string Folder() {
  static std::string folder = [] {
    std::string f = std::filesystem::temp_directory_path().string() + "/ini_bench";
    std::filesystem::create_directories(f);
    return f;
  }();
  return folder;
}

// The characters a section name may be made of, as ANSI bytes: printable, not "]", and no two
// of them equal without regard to case.
const std::vector<char>& NameBytes() {
  static const std::vector<char> bytes = [] {
    std::vector<char> out;
    std::vector<String> seen;
    for (int b = 0x21; b <= 0xFF; ++b) {
      if (b == ']' || b == 0x7F || (b >= 0x80 && b < 0xA1)) continue;
      String ch = borvane::FromAnsi(std::string(1, static_cast<char>(b)));
      bool same = false;
      for (const String& other : seen) same = same || borvane::EqualsNoCase(ch, other);
      if (same) continue;
      seen.push_back(ch);
      out.push_back(static_cast<char>(b));
    }
    return out;
  }();
  return bytes;
}

// Section s's name: the single characters first, then the pairs.
std::string SectionName(int s) {
  const std::vector<char>& bytes = NameBytes();
  int n = static_cast<int>(bytes.size());
  if (s < n) return std::string(1, bytes[s]);
  s -= n;
  return std::string{bytes[s / n], bytes[s % n]};
}

// The file of `sections` sections, made once per run.
std::string MakeFile(int sections) {
  std::string path = Folder() + "/short" + std::to_string(sections) + ".ini";
  if (std::filesystem::exists(path)) return path;
  std::string text;
  std::string value(88, 'v');
  for (int s = 0; s < sections; ++s) {
    text += "[" + SectionName(s) + "]\r\n";
    for (int k = 0; k < 10; ++k) text += "Key" + std::to_string(k) + "=" + value + "\r\n";
  }
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

int CountHandler(void* user, const char*, const char*, const char*) {
  ++*static_cast<long*>(user);
  return 1;
}

// inih's time for one parse of `path`, the best of a few runs.
double InihSeconds(const std::string& path) {
  double best = 1e9;
  for (int i = 0; i < 5; ++i) {
    long count = 0;
    auto t0 = Clock::now();
    ini_parse(path.c_str(), CountHandler, &count);
    best = std::min(best, std::chrono::duration<double>(Clock::now() - t0).count());
    benchmark::DoNotOptimize(count);
  }
  return best;
}

void BM_InihRead(benchmark::State& state) {
  std::string path = MakeFile(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    long count = 0;
    ini_parse(path.c_str(), CountHandler, &count);
    benchmark::DoNotOptimize(count);
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<int64_t>(std::filesystem::file_size(path)));
}

void BM_InifileRead(benchmark::State& state) {
  std::string file = MakeFile(static_cast<int>(state.range(0)));
  double inih = InihSeconds(file);
  double total = 0;
  int32_t sections = 0;
  for (auto _ : state) {
    auto t0 = Clock::now();
    auto ini = MakeRef<Inifile>();
    String path(file);
    ini->ReadIniFile(path);
    sections = ini->Sections()->Count();
    ini = nullptr;  // the tree's teardown is part of the cost
    total += std::chrono::duration<double>(Clock::now() - t0).count();
  }
  state.counters["x_inih"] = total / static_cast<double>(state.iterations()) / inih;
  state.counters["sections"] = sections;
  state.SetBytesProcessed(state.iterations() *
                          static_cast<int64_t>(std::filesystem::file_size(file)));
}

void BM_InifileWrite(benchmark::State& state) {
  int count = static_cast<int>(state.range(0));
  double inih = InihSeconds(MakeFile(count));
  auto ini = MakeRef<Inifile>();
  String value(std::string(88, 'v'));
  for (int s = 0; s < count; ++s) {
    String section(SectionName(s));
    for (int k = 0; k < 10; ++k) {
      String key("Key" + std::to_string(k));
      ini->WriteKey(section, key, value);
    }
  }
  std::string file = Folder() + "/write" + std::to_string(count) + ".ini";
  std::filesystem::remove(file);
  double total = 0;
  for (auto _ : state) {
    String path(file);
    auto t0 = Clock::now();
    ini->WriteIniFile(path);  // over the previous run's file: copy, delete, write, delete
    total += std::chrono::duration<double>(Clock::now() - t0).count();
  }
  state.counters["x_inih"] = total / static_cast<double>(state.iterations()) / inih;
  state.SetBytesProcessed(state.iterations() *
                          static_cast<int64_t>(std::filesystem::file_size(file)));
}

BENCHMARK(BM_InihRead)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InifileRead)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InifileWrite)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
