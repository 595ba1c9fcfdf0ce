// Doc.ReadXML and Doc.WriteXML over a corpus that stands for the documents users keep, each
// shape at 100,000 and 1,000,000 nodes, beside pugixml on the same logical tree in the same
// run:
//   attrs     two to four attributes on every node: numbers, Booleans, texts with spaces
//   texts     long quoted texts (200-2,000 characters) with quotes and line breaks; at
//             1,000,000 nodes the text is past the 2^30 characters WriteXML can give, so that
//             size is read from the generated text and not written
//   unquoted  attribute values without quotes and numbers as values, as older writers left them
//   deep      one chain of 10,000 levels, repeated under the root (written without indentation
//             by both, since tabs by level make an indented chain grow with its square)
//   wide      one parent with every other node as its child
//   settings  the tool's `doc format` of examples/settings.xml, repeated under one root
// The table at the end gives each shape's times, their ratio to pugixml, the growth from the
// small to the large size, and the memory per read node of both.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <sstream>
#include <string>

#include "bench/bench_support.h"
#include "borvane/doctree/attribute_obj.h"
#include "borvane/doctree/doc.h"

namespace {

using namespace borvane;

const char* const kShapes[] = {"attrs", "texts", "unquoted", "deep", "wide", "settings"};
constexpr int kShapeCount = 6;

std::string Quoted(size_t length, int seed) {
  std::string s = "\"";
  const char* words[] = {"alpha", "beta", "say ", "line", "{\\34}quoted{\\34}", "gamma"};
  while (s.size() < length) {
    s += words[(seed++) % 6];
    s += (seed % 7 == 0) ? "{\\13}{\\10}" : " ";
  }
  return s + "\"";
}

// The shape's document in the library's dialect, with about `nodes` nodes.
std::string DialectText(int shape, int nodes) {
  std::string out;
  out.reserve(static_cast<size_t>(nodes) * 60);
  auto leaf = [&](int i, const std::string& attrs, const std::string& value) {
    out += "<item" + attrs + ">\n" + value + "\n</item>\n";
    (void)i;
  };
  switch (shape) {
    case 0:  // attrs
      out += "<settings>\n";
      for (int i = 1; i < nodes; ++i) {
        std::string attrs =
            " n=\"" + std::to_string(i) + "\" name=\"leaf " + std::to_string(i) + "\"";
        if (i % 2) attrs += " on=\"" + std::string(i % 4 == 1 ? "True" : "False") + "\"";
        if (i % 3 == 0) attrs += " size=\"" + std::to_string(i % 97) + ".5\"";
        leaf(i, attrs, "\"leaf " + std::to_string(i) + "\"");
      }
      out += "</settings>\n";
      break;
    case 1:  // texts
      out += "<notes>\n";
      for (int i = 1; i < nodes; ++i) leaf(i, "", Quoted(200 + (i * 37) % 1800, i));
      out += "</notes>\n";
      break;
    case 2:  // unquoted
      out += "<settings>\n";
      for (int i = 1; i < nodes; ++i)
        leaf(i, " n=" + std::to_string(i) + " ratio=" + std::to_string(i % 13) + ".25",
             std::to_string(i * 3));
      out += "</settings>\n";
      break;
    case 3: {  // deep: chains of 10,000 levels
      out += "<root>\n";
      int made = 1;
      while (made < nodes) {
        int depth = std::min(10000, nodes - made);
        for (int d = 0; d < depth; ++d) out += "<level n=\"" + std::to_string(d) + "\">\n";
        out += "1\n";
        for (int d = 0; d < depth; ++d) out += "</level>\n";
        made += depth;
      }
      out += "</root>\n";
      break;
    }
    case 4:  // wide
      out += "<list>\n";
      for (int i = 1; i < nodes; ++i) leaf(i, "", std::to_string(i));
      out += "</list>\n";
      break;
    default: {  // settings, as `doc format` writes it
      std::ifstream in(std::string(BORVANE_SOURCE_DIR) + "/examples/settings.xml");
      std::stringstream ss;
      ss << in.rdbuf();
      Ref<Doc> one = MakeRef<Doc>();
      String text = String::FromUtf8(ss.str()), parent;
      one->ReadXML(text, parent);
      bool indent = true;
      String start;
      std::string formatted = one->WriteXML(indent, start).ToUtf8();
      int per = std::max(1, one->Count());
      out += "<all>\n";
      for (int made = 1; made < nodes; made += per) out += formatted;
      out += "</all>\n";
    }
  }
  return out;
}

// The same logical tree for pugixml: names, attributes and values as text.
void CopyInto(pugi::xml_node parent, DocNode* node) {
  for (; node; node = node->NextSibling().Get()) {
    pugi::xml_node n = parent.append_child(node->Name().ToUtf8().c_str());
    Ref<borvane::Attributes> attrs = node->Attributes();
    for (int32_t a = 1; a <= attrs->Count(); ++a) {
      Ref<AttributeObj> at = attrs->Item(Variant(a));
      n.append_attribute(at->Name().ToUtf8().c_str()) = CStr(at->Value()).ToUtf8().c_str();
    }
    Variant v = node->Value();
    if (!v.IsEmpty() && !v.IsMissing() && !v.IsNull()) n.text() = CStr(v).ToUtf8().c_str();
    if (node->Child()) CopyInto(n, node->Child().Get());
  }
}

struct Corpus {
  int shape = -1, nodes = 0;
  std::string failure;        // why the tree could not be made, if it could not
  std::string write_failure;  // why it could not be written: it is then read from its source
  std::u16string text;        // the library's writing of the tree
  std::string pugi_text;
  Ref<Doc> doc;
  pugi::xml_document pugi;
};

// One corpus entry at a time, so that a large one does not read into a heap the others filled.
Corpus& CorpusFor(int shape, int nodes) {
  static std::unique_ptr<Corpus> c;
  if (c && c->shape == shape && c->nodes == nodes) return *c;
  c.reset();
  c = std::make_unique<Corpus>();
  c->shape = shape;
  c->nodes = nodes;
  Ref<Doc> source = MakeRef<Doc>();
  String text, parent;
  try {
    text = String::FromUtf8(DialectText(shape, nodes));
    source->ReadXML(text, parent);
  } catch (const Error& e) {
    c->failure = e.what();
    return *c;
  }
  try {
    bool indent = shape != 3;
    String start;
    c->text = source->WriteXML(indent, start).str();
    // The tree written is one just read, as `doc format` writes it: the copy for pugixml below
    // asks every node for its attributes, which a reader of a document rarely does.
    c->doc = MakeRef<Doc>();
    String written(c->text);
    c->doc->ReadXML(written, parent);
  } catch (const Error& e) {
    // A text past what WriteXML can give (2^30 characters): the read takes the source.
    c->write_failure = e.what();
    c->doc = Ref<Doc>();
    c->text = text.str();
  }
  CopyInto(c->pugi, source->Count() ? source->Item(Variant(1)).Get() : nullptr);
  source = Ref<Doc>();
  std::ostringstream s;
  c->pugi.save(s, "\t", shape != 3 ? pugi::format_indent : pugi::format_raw);
  c->pugi_text = s.str();
  return *c;
}

std::string Name(const char* who, const char* op, int shape, int nodes) {
  return std::string(who) + op + "/" + kShapes[shape] + "/" + std::to_string(nodes);
}

std::map<std::string, double> g_memory;  // bytes per read node, by benchmark name

size_t HeapInUse() {
  struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

void Read(benchmark::State& state, int shape, int nodes, bool ours) {
  Corpus& c = CorpusFor(shape, nodes);
  if (!c.failure.empty()) return state.SkipWithError(c.failure.c_str());
  double per_node = 0;
  for (auto _ : state) {
    // The text is the caller's own (ReadXML takes it by reference): its copy is not the read's.
    // The heap is measured outside the time: the walk of its bins costs as much as a read.
    state.PauseTiming();
    String text(ours ? c.text : std::u16string()), parent;
    size_t before = HeapInUse();
    state.ResumeTiming();
    if (ours) {
      Ref<Doc> doc = MakeRef<Doc>();
      doc->ReadXML(text, parent);
      state.PauseTiming();
      per_node = static_cast<double>(HeapInUse() - before) / nodes;
      doc = Ref<Doc>();
      state.ResumeTiming();
    } else {
      auto* doc = new pugi::xml_document;
      doc->load_buffer(c.pugi_text.data(), c.pugi_text.size());
      state.PauseTiming();
      per_node = static_cast<double>(HeapInUse() - before) / nodes;
      delete doc;
      state.ResumeTiming();
    }
  }
  state.counters["bytes/node"] = per_node;
  g_memory[Name(ours ? "Borvane" : "Pugi", "Read", shape, nodes)] = per_node;
}

void Write(benchmark::State& state, int shape, int nodes, bool ours) {
  Corpus& c = CorpusFor(shape, nodes);
  if (!c.failure.empty()) return state.SkipWithError(c.failure.c_str());
  if (!c.write_failure.empty()) return state.SkipWithError(c.write_failure.c_str());
  for (auto _ : state) {
    if (ours) {
      bool indent = shape != 3;
      String start;
      benchmark::DoNotOptimize(c.doc->WriteXML(indent, start));
    } else {
      std::ostringstream s;
      c.pugi.save(s, "\t", shape != 3 ? pugi::format_indent : pugi::format_raw);
      benchmark::DoNotOptimize(s.str());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  for (int shape = 0; shape < kShapeCount; ++shape)
    for (int nodes : {100000, 1000000})
      for (const char* op : {"Read", "Write"})
        for (bool ours : {true, false})
          benchmark::RegisterBenchmark(
              Name(ours ? "Borvane" : "Pugi", op, shape, nodes).c_str(),
              [=](benchmark::State& s) { (op[0] == 'R' ? Read : Write)(s, shape, nodes, ours); })
              ->Unit(benchmark::kMillisecond)
              ->MinTime(0.5)
              ->Repetitions(3);
  benchmark::Initialize(&argc, argv);
  borvane::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n%-6s %-9s %8s %11s %11s %7s %7s %11s %11s\n", "op", "shape", "nodes", "borvane ms",
              "pugixml ms", "ratio", "10x->", "B/node", "pugi B/node");
  for (const char* op : {"Read", "Write"})
    for (int shape = 0; shape < kShapeCount; ++shape) {
      double small = 0;
      for (int nodes : {100000, 1000000}) {
        auto ours = reporter.times.find(Name("Borvane", op, shape, nodes));
        auto theirs = reporter.times.find(Name("Pugi", op, shape, nodes));
        if (ours == reporter.times.end() || theirs == reporter.times.end()) continue;
        std::string growth = small > 0 ? std::to_string(ours->second / small).substr(0, 5) : "";
        std::printf("%-6s %-9s %8d %11.1f %11.1f %6.2fx %7s", op, kShapes[shape], nodes,
                    ours->second, theirs->second, ours->second / theirs->second, growth.c_str());
        if (op[0] == 'R')
          std::printf(" %11.0f %11.0f", g_memory[Name("Borvane", op, shape, nodes)],
                      g_memory[Name("Pugi", op, shape, nodes)]);
        std::printf("\n");
        small = ours->second;
      }
    }
  return 0;
}
