// The help viewer on the help files users have, beside chmlib's own extract_chmLib (Debian
// libchm-bin) on the same file in the same run:
//   generated  a help project of 1,000 topics compiled here with chmcmd
//   real       every .chm under BORVANE_BENCH_CHM (a file or a folder; scripts/bench fetches
//              the Lazarus documentation's 16 MB lcl.chm there), when set
// For each file:
//   Extract      extract_chmLib's full extraction into a fresh folder
//   FirstTopic   a display call on a help server that has never seen the file: the server
//                starts, opens the file, reads its tables, contents and index
//   LaterTopic   another topic of the same file: the contents' topics by path and the index's
//                keywords, in turn
// and the counters: resident memory of the server and its reader after the first topic
// (peak, kB) beside extract_chmLib's peak, and what the help cache grew by over 100 topics.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "borvane/platform/help/help_http.h"
#include "borvane/platform/help/help_server.h"
#include "borvane/platform/help/help_viewer.h"

using namespace borvane::platform;

namespace {

namespace fs = std::filesystem;

fs::path Scratch() {
  static const fs::path dir = [] {
    char pattern[] = "/tmp/borvane-help-bench-XXXXXX";
    fs::path d = ::mkdtemp(pattern);
    ::setenv("BORVANE_HELP_BROWSER", "true", 1);
    ::setenv("BORVANE_HELP_IDLE_SECONDS", "3", 1);
    ::setenv("XDG_RUNTIME_DIR", "", 1);
    return d;
  }();
  return dir;
}

std::string Generated() {
  fs::path dir = Scratch() / "generated";
  fs::create_directories(dir / "topics");
  std::ofstream hhp(dir / "big.hhp"), hhc(dir / "big.hhc"), hhk(dir / "big.hhk"),
      map(dir / "map.h");
  hhp << "[OPTIONS]\nCompiled file=big.chm\nContents file=big.hhc\nIndex file=big.hhk\n"
         "Default topic=topics/t0.htm\nTitle=Big\n\n[FILES]\n";
  std::string alias = "[ALIAS]\n";
  hhc << "<html><body><ul>\n";
  hhk << "<html><body><ul>\n";
  for (int i = 0; i < 1000; ++i) {
    std::string t = "topics/t" + std::to_string(i) + ".htm";
    std::ofstream(dir / t) << "<html><head><title>Topic " << i << "</title></head><body><h1>" << i
                           << "</h1><p>Text of topic " << i << ".</p></body></html>\n";
    hhp << t << "\n";
    alias += "IDH_" + std::to_string(i) + "=" + t + "\n";
    map << "#define IDH_" << i << " " << 5000 + i << "\n";
    std::string entry = "<li><object type=\"text/sitemap\"><param name=\"Name\" value=\"k" +
                        std::to_string(i) + "\"><param name=\"Local\" value=\"" + t +
                        "\"></object>\n";
    hhc << entry;
    hhk << entry;
  }
  hhp << "\n" << alias << "\n[MAP]\n#include map.h\n";
  hhc << "</ul></body></html>\n";
  hhk << "</ul></body></html>\n";
  hhp.close(), hhc.close(), hhk.close(), map.close();
  std::string compile = "cd '" + dir.string() + "' && chmcmd --verbosity 0 big.hhp >/dev/null 2>&1";
  return std::system(compile.c_str()) == 0 ? (dir / "big.chm").string() : std::string();
}

// A fresh cache and runtime folder: the next call starts a server of its own. The server of
// the folder before ends once its folder is gone.
void FreshServer(int n) {
  static fs::path last;
  fs::path cache = Scratch() / ("cache" + std::to_string(n));
  ::setenv("XDG_CACHE_HOME", cache.c_str(), 1);
  if (!last.empty()) fs::remove_all(last);
  last = cache;
}

int64_t PeakKb(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::atoll(line.c_str() + 6);
  return 0;
}

// The peak resident memory of the help server of this run's cache and of its readers.
int64_t ServerPeakKb() {
  std::ifstream rendezvous(HelpRuntimeFolder() + "/help-server");
  int port = 0;
  std::string token;
  pid_t pid = 0;
  rendezvous >> port >> token >> pid;
  int64_t kb = pid ? PeakKb(pid) : 0;
  for (const auto& e : fs::directory_iterator("/proc")) {
    std::ifstream stat(e.path() / "stat");
    std::string pid_text, name, state;
    pid_t parent = 0;
    if (stat >> pid_text >> name >> state >> parent && parent == pid && pid != 0)
      kb += PeakKb(std::atoi(pid_text.c_str()));
  }
  return kb;
}

void Extract(benchmark::State& state, const std::string& chm) {
  if (std::system("command -v extract_chmLib >/dev/null 2>&1") != 0)
    return state.SkipWithError("extract_chmLib (Debian libchm-bin) is needed");
  int64_t peak = 0;
  int n = 0;
  for (auto _ : state) {
    fs::path out = Scratch() / ("extract" + std::to_string(n++));
    pid_t child = ::fork();
    if (child == 0) {
      ::freopen("/dev/null", "w", stdout);
      ::execlp("extract_chmLib", "extract_chmLib", chm.c_str(), out.c_str(), nullptr);
      ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    peak = std::max<int64_t>(peak, usage.ru_maxrss);
    state.PauseTiming();
    fs::remove_all(out);
    state.ResumeTiming();
  }
  state.counters["peak_kB"] = static_cast<double>(peak);
}

void FirstTopic(benchmark::State& state, const std::string& chm) {
  int64_t peak = 0;
  int n = 0;
  for (auto _ : state) {
    state.PauseTiming();
    FreshServer(n++);
    HelpViewer viewer;
    state.ResumeTiming();
    if (viewer.HtmlHelp(0, chm, HH_DISPLAY_TOPIC, int32_t{0}) == 0)
      return state.SkipWithError("no default topic");
    state.PauseTiming();
    peak = std::max(peak, ServerPeakKb());
    state.ResumeTiming();
  }
  state.counters["peak_kB"] = static_cast<double>(peak);
}

// The names and topics of a list the window's page gets ([[depth, "name", "topic"], ...]).
std::vector<std::pair<std::string, std::string>> ListOf(const std::string& json) {
  std::vector<std::pair<std::string, std::string>> out;
  std::vector<std::string> texts;
  for (size_t i = 0; i < json.size(); ++i) {
    if (json[i] == '"') {
      std::string text;
      for (++i; i < json.size() && json[i] != '"'; ++i) {
        if (json[i] == '\\' && i + 1 < json.size()) ++i;
        text += json[i];
      }
      texts.push_back(text);
    } else if (json[i] == ']' && texts.size() == 2) {
      out.emplace_back(texts[0], texts[1]);
      texts.clear();
    }
  }
  return out;
}

void LaterTopic(benchmark::State& state, const std::string& chm) {
  FreshServer(1'000'000);
  HelpViewer viewer;
  const int32_t window = viewer.HtmlHelp(0, chm, HH_DISPLAY_TOPIC, int32_t{0});
  if (window == 0) return state.SkipWithError("no default topic");
  // The contents and the index, as the window's page gets them.
  const std::string address = viewer.WindowAddress(window);
  const int port = std::atoi(address.c_str() + address.find(':', 6) + 1);
  const std::string base = address.substr(address.find('/', 8), 34);
  int status = 0;
  std::string state_json, toc, index;
  HttpCall(port, "GET", base + "w/" + std::to_string(window) + "/state", "", 5000, status,
           state_json);
  const std::string file = state_json.substr(state_json.find("\"file\":\"") + 8, 16);
  HttpCall(port, "GET", base + "d/" + file + "/toc.json", "", 30000, status, toc);
  HttpCall(port, "GET", base + "d/" + file + "/index.json", "", 30000, status, index);
  std::vector<std::string> topics, keywords;
  for (const auto& [name, topic] : ListOf(toc))
    if (!topic.empty()) topics.push_back(topic);
  for (const auto& [name, topic] : ListOf(index)) keywords.push_back(name);
  if (topics.empty() || keywords.empty()) return state.SkipWithError("no contents or index");
  size_t i = 0;
  for (auto _ : state) {
    if (i % 2 == 0) {
      const std::string& topic = topics[(i / 2 * 7919) % topics.size()];
      benchmark::DoNotOptimize(viewer.HtmlHelp(0, chm, HH_DISPLAY_TOPIC, topic));
    } else {
      HH_AKLINK link;
      link.cbStruct = 28;
      link.pszKeywords = keywords[(i / 2 * 7919) % keywords.size()];
      benchmark::DoNotOptimize(viewer.HtmlHelp(0, chm, HH_KEYWORD_LOOKUP, link));
    }
    ++i;
  }
  // What the cache grew by: nothing per topic (only a search index, made on a search).
  uintmax_t bytes = 0;
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(HelpCacheFolder(), ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
    if (it->is_regular_file(ec)) bytes += it->file_size(ec);
  state.counters["cache_bytes"] = static_cast<double>(bytes);
  state.counters["peak_kB"] = static_cast<double>(ServerPeakKb());
}

void Register(const std::string& name, const std::string& chm) {
  benchmark::RegisterBenchmark(("Extract/" + name).c_str(), Extract, chm)
      ->Unit(benchmark::kMillisecond)
      ->Iterations(3);
  benchmark::RegisterBenchmark(("FirstTopic/" + name).c_str(), FirstTopic, chm)
      ->Unit(benchmark::kMillisecond)
      ->Iterations(3);
  benchmark::RegisterBenchmark(("LaterTopic/" + name).c_str(), LaterTopic, chm)
      ->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
  std::string generated = Generated();
  if (!generated.empty()) Register("generated", generated);
  if (const char* real = std::getenv("BORVANE_BENCH_CHM")) {
    std::error_code ec;
    if (fs::is_regular_file(real, ec)) {
      Register(fs::path(real).filename().string(), real);
    } else {
      for (auto it = fs::recursive_directory_iterator(real, ec);
           !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
        if (it->path().extension() == ".chm")
          Register(it->path().filename().string(), it->path().string());
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ignored;
  fs::remove_all(Scratch(), ignored);
  return 0;
}
