// Doc.WriteXML and Doc.ReadXML against pugixml on the same trees, balanced and flat, at two
// sizes. Rates count text characters (MB/s as millions of characters per second) and nodes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <sstream>
#include <string>

#include "bench/bench_support.h"
#include "borvane/doctree/doc.h"

namespace {

using namespace borvane;

enum Shape { kBalanced = 0, kFlat = 1 };

// Node i's parent: the tree is filled breadth first with ten children per node (balanced), or
// every node but the first hangs below it (flat).
int ParentOf(int i, Shape shape) {
  return shape == kFlat ? 0 : (i - 1) / 10;
}

// Leaves carry a value that cycles through text, a number and a Boolean; every tenth node has
// an attribute.
struct Tree {
  Ref<Doc> doc;
  pugi::xml_document pugi;
  std::u16string text;    // what Doc.WriteXML gives
  std::string pugi_text;  // what pugixml writes
  int nodes = 0;
  Shape shape = kBalanced;
};

Ref<Doc> BuildDoc(int nodes, Shape shape) {
  Ref<Doc> doc = MakeRef<Doc>();
  std::vector<String> keys(nodes);
  for (int i = 0; i < nodes; ++i) {
    bool leaf = shape == kFlat ? i > 0 : i * 10 + 1 >= nodes;
    Variant value = Variant::Missing();
    if (leaf) {
      switch (i % 3) {
        case 0:
          value = String("text " + std::to_string(i));
          break;
        case 1:
          value = i * 0.5;
          break;
        default:
          value = (i % 2) == 0;
          break;
      }
    }
    String rel = i ? keys[ParentOf(i, shape)] : String();
    enumRelationship how = iagChild;
    String name = "node";
    Ref<DocNode> node = doc->Add(rel, how, keys[i], name, value);
    if (i % 10 == 0) {
      String an = "id";
      Variant av = String(std::to_string(i));
      node->Attributes()->Add(an, av);
    }
  }
  return doc;
}

void BuildPugi(pugi::xml_document& out, int nodes, Shape shape) {
  std::vector<pugi::xml_node> all(nodes);
  for (int i = 0; i < nodes; ++i) {
    pugi::xml_node parent = i ? all[ParentOf(i, shape)] : pugi::xml_node(out);
    all[i] = parent.append_child("node");
    if (i % 10 == 0) all[i].append_attribute("id") = std::to_string(i).c_str();
    bool leaf = shape == kFlat ? i > 0 : i * 10 + 1 >= nodes;
    if (leaf) {
      switch (i % 3) {
        case 0:
          all[i].text() = ("text " + std::to_string(i)).c_str();
          break;
        case 1:
          all[i].text() = i * 0.5;
          break;
        default:
          all[i].text() = (i % 2) == 0;
          break;
      }
    }
  }
}

// Only the tree of the running benchmark is kept, so that a large run does not read into a
// heap already filled by the other trees.
Tree& TreeFor(int nodes, Shape shape) {
  static std::unique_ptr<Tree> tree;
  if (!tree || tree->nodes != nodes || tree->shape != shape) {
    tree.reset();
    tree = std::make_unique<Tree>();
    tree->shape = shape;
  }
  Tree& t = *tree;
  if (!t.doc) {
    t.nodes = nodes;
    t.doc = BuildDoc(nodes, shape);
    bool indent = true;
    String start;
    t.text = t.doc->WriteXML(indent, start).str();
    BuildPugi(t.pugi, nodes, shape);
    std::ostringstream s;
    t.pugi.save(s, "\t", pugi::format_indent);
    t.pugi_text = s.str();
  }
  return t;
}

void SetRates(benchmark::State& state, size_t chars, int nodes) {
  state.counters["MB/s"] = benchmark::Counter(static_cast<double>(chars) * state.iterations() / 1e6,
                                              benchmark::Counter::kIsRate);
  state.counters["nodes/s"] = benchmark::Counter(static_cast<double>(nodes) * state.iterations(),
                                                 benchmark::Counter::kIsRate);
}

void BM_BorvaneWrite(benchmark::State& state, Shape shape, int nodes) {
  Tree& t = TreeFor(nodes, shape);
  size_t chars = 0;
  for (auto _ : state) {
    bool indent = true;
    String start;
    String text = t.doc->WriteXML(indent, start);
    chars = text.size();
    benchmark::DoNotOptimize(text);
  }
  SetRates(state, chars, t.nodes);
}

void BM_PugiWrite(benchmark::State& state, Shape shape, int nodes) {
  Tree& t = TreeFor(nodes, shape);
  size_t chars = 0;
  for (auto _ : state) {
    std::ostringstream s;
    t.pugi.save(s, "\t", pugi::format_indent);
    std::string text = s.str();
    chars = text.size();
    benchmark::DoNotOptimize(text);
  }
  SetRates(state, chars, t.nodes);
}

void BM_BorvaneRead(benchmark::State& state, Shape shape, int nodes) {
  Tree& t = TreeFor(nodes, shape);
  String text(t.text);
  for (auto _ : state) {
    Ref<Doc> doc = MakeRef<Doc>();
    String parent;
    doc->ReadXML(text, parent);
    benchmark::DoNotOptimize(doc->Count());
    state.PauseTiming();  // freeing the document is not part of reading it
    doc.Reset();
    state.ResumeTiming();
  }
  SetRates(state, t.text.size(), t.nodes);
}

void BM_PugiRead(benchmark::State& state, Shape shape, int nodes) {
  Tree& t = TreeFor(nodes, shape);
  for (auto _ : state) {
    auto* doc = new pugi::xml_document;
    doc->load_buffer(t.pugi_text.data(), t.pugi_text.size());
    benchmark::DoNotOptimize(doc->first_child());
    state.PauseTiming();
    delete doc;
    state.ResumeTiming();
  }
  SetRates(state, t.pugi_text.size(), t.nodes);
}

// `doc format` of a chain 16,000 levels deep: its indented text (256 million characters) is
// written out as it is made; the counter is the process's peak memory, which stays far below
// the text's size.
void BM_FormatDeepChain(benchmark::State& state) {
  std::u16string text;
  for (int i = 0; i < 16000; ++i) text += u"<a>";
  text += u"\"v\"";
  Ref<Doc> doc = MakeRef<Doc>();
  String parent;
  String xml(std::move(text));
  doc->ReadXML(xml, parent);
  size_t written = 0;
  for (auto _ : state) {
    written = 0;
    doc->WriteXMLTo([&](std::u16string_view piece) { written += piece.size(); }, true);
  }
  std::FILE* status = std::fopen("/proc/self/status", "r");
  char line[256];
  long peak_kb = 0;
  while (status && std::fgets(line, sizeof line, status))
    if (std::sscanf(line, "VmHWM: %ld", &peak_kb) == 1) break;
  if (status) std::fclose(status);
  state.counters["text_MB"] = static_cast<double>(written) / (1 << 20);
  state.counters["peak_kB"] = static_cast<double>(peak_kb);
}
BENCHMARK(BM_FormatDeepChain)->Unit(benchmark::kMillisecond)->Iterations(2);

// Each tree is built once and used by all four benchmarks before the next is built.
void RegisterAll() {
  const std::pair<Shape, int> sizes[] = {
      {kBalanced, 1000000}, {kBalanced, 100000}, {kFlat, 100000}, {kFlat, 10000}};
  for (auto [shape, nodes] : sizes) {
    std::string args = "/" + std::to_string(shape) + "/" + std::to_string(nodes);
    using Fn = void (*)(benchmark::State&, Shape, int);
    const std::pair<const char*, Fn> runs[] = {{"BM_BorvaneWrite", BM_BorvaneWrite},
                                               {"BM_PugiWrite", BM_PugiWrite},
                                               {"BM_BorvaneRead", BM_BorvaneRead},
                                               {"BM_PugiRead", BM_PugiRead}};
    for (auto [name, fn] : runs)
      benchmark::RegisterBenchmark((name + args).c_str(), fn, shape, nodes)
          ->Unit(benchmark::kMillisecond)
          ->MinTime(1.0)
          ->Repetitions(3);
  }
}

}  // namespace

int main(int argc, char** argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  borvane::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const char* shapes[] = {"balanced", "flat"};
  std::printf("\n%-6s %-9s %8s %12s %12s %8s\n", "op", "shape", "nodes", "borvane ms", "pugixml ms",
              "ratio");
  for (const char* op : {"Write", "Read"}) {
    for (int shape : {0, 1}) {
      double small = 0, large = 0;
      for (int nodes :
           shape == 0 ? std::vector<int>{100000, 1000000} : std::vector<int>{10000, 100000}) {
        std::string args = "/" + std::to_string(shape) + "/" + std::to_string(nodes);
        auto ours = reporter.times.find(std::string("BM_Borvane") + op + args);
        auto theirs = reporter.times.find(std::string("BM_Pugi") + op + args);
        if (ours == reporter.times.end() || theirs == reporter.times.end()) continue;
        std::printf("%-6s %-9s %8d %12.2f %12.2f %7.2fx\n", op, shapes[shape], nodes, ours->second,
                    theirs->second, ours->second / theirs->second);
        (small == 0 ? small : large) = ours->second;
      }
      if (small > 0 && large > 0)
        std::printf("%-6s %-9s 10x nodes cost %.2fx the time\n", op, shapes[shape], large / small);
    }
  }
  benchmark::Shutdown();
  return 0;
}
