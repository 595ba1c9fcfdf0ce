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
//   mixed     three levels, tab indentation, values on their own lines, attribute lists that
//             mix unquoted numbers, Booleans and quoted texts with spaces, as a person writes
//   crlf      the same kind of document with CRLF line ends, two-space indentation, values on
//             the tag's line or on their own, and no attributes on some nodes
//   bare      an outline of names alone, three levels deep with tab indentation: no attributes
//             and no values, as a menu or a tree view's skeleton is kept
//   built     the mixed document built through Add and Attributes.Add with typed values (Long,
//             Double, Boolean, String), as a program builds the document it saves
//   seed-N    a random document from the seed N: shapes drawn per node (attribute count and
//             kinds, indentation, line ends, depth, value kinds and lengths)
// The first six are read from the library's own writing of the tree, as `doc format` leaves
// a document; the others from their text as it stands, as a user hands it over. pugixml reads
// its own writing of the tree, indented by tabs, for the first six and built, and for the
// others the same text in XML: the same white space and lines, the values in XML's form. (Its
// writing has no indentation at all for a deep random document, where the source has up to 256
// characters a line, and puts every value on its tag's line.)
//
// Random documents: each run draws a fresh seed and prints it. BORVANE_BENCH_SEED=N takes N
// instead (to reproduce a run), BORVANE_BENCH_SEEDS=K runs K seeds in a row (from N on when
// both are given), and BORVANE_BENCH_FIXED=0 leaves the fixed shapes out.
// BORVANE_BENCH_REPETITIONS=R times R repetitions instead of nine.
//
// Each benchmark times both sides at both sizes of one shape, in turns (see Measure). The table
// at the end gives each shape's CPU times (medians of nine repetitions), their ratio and the
// growth from the small to the large size for both (medians of the repetitions' own), and the
// memory per read node of both, then the worst shape and the worst seed for each of them, with
// pugixml's worst growth beside ours, and the mean growth of every repetition. Each run shows
// the minor page faults each side took ("faults", "pugi faults"): a ratio taken while one side
// faulted fresh pages in measures the kernel, not the code.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "borvane/automation/slab_pool.h"
#include "borvane/doctree/attribute_obj.h"
#include "borvane/doctree/doc.h"

namespace {

using namespace borvane;

enum Kind {
  kAttrs,
  kTexts,
  kUnquoted,
  kDeep,
  kWide,
  kSettings,
  kMixed,
  kCrlf,
  kBare,
  kBuilt,
  kRandom
};

struct Shape {
  std::string name;
  Kind kind;
  uint64_t seed = 0;
};
std::vector<Shape> g_shapes;

std::string Quoted(size_t length, int seed) {
  std::string s = "\"";
  const char* words[] = {"alpha", "beta", "say ", "line", "{\\34}quoted{\\34}", "gamma"};
  while (s.size() < length) {
    s += words[(seed++) % 6];
    s += (seed % 7 == 0) ? "{\\13}{\\10}" : " ";
  }
  return s + "\"";
}

// A value's text without its quotes in XML: the dialect's "{\NN}" as a character reference,
// and XML's own marks escaped.
std::string XmlValue(std::string_view v) {
  std::string s;
  for (size_t i = 0; i < v.size(); ++i) {
    const size_t close = v.compare(i, 2, "{\\") == 0 ? v.find('}', i) : std::string_view::npos;
    if (close != std::string_view::npos) {
      s += "&#" + std::string(v.substr(i + 2, close - i - 2)) + ';';
      i = close;
    } else if (v[i] == '&') {
      s += "&amp;";
    } else if (v[i] == '<') {
      s += "&lt;";
    } else if (v[i] == '"') {
      s += "&quot;";
    } else {
      s += v[i];
    }
  }
  return s;
}

// A value's text without the quotes it has in the dialect, if any.
std::string_view Unquoted(std::string_view v) {
  return v.size() >= 2 && v[0] == '"' ? v.substr(1, v.size() - 2) : v;
}

// A document's text in the dialect and its twin in XML, made side by side: the same names,
// white space and line ends, and each value in its own form on either side.
struct TwinText {
  std::string dialect;
  std::string xml;

  explicit TwinText(size_t reserve) {
    dialect.reserve(reserve);
    xml.reserve(reserve);
  }
  // What both texts hold alike.
  void Both(std::string_view s) {
    dialect += s;
    xml += s;
  }
  // An attribute's value as the dialect has it (quoted or not); always quoted in XML.
  void AttributeValue(std::string_view v) {
    dialect += v;
    xml += '"';
    xml += XmlValue(Unquoted(v));
    xml += '"';
  }
  // A node's value as the dialect has it; its text alone in XML.
  void NodeValue(std::string_view v) {
    dialect += v;
    xml += XmlValue(Unquoted(v));
  }
  // The dialect's text; `xml` receives the twin.
  std::string Take(std::string& xml_out) {
    xml_out = std::move(xml);
    return std::move(dialect);
  }
};

const char* const kWords[] = {"main", "window",   "left pane", "Courier New",      "a b c",
                              "x",    "tool bar", "status",    "last file opened", "recent"};

// The mixed and crlf documents: a root, groups of 20 sections, each of up to 25 items. `xml`
// receives the same document as XML, as for a random document.
std::string PersonText(int nodes, bool crlf, std::string& xml) {
  TwinText text(static_cast<size_t>(nodes) * 90);
  auto both = [&](std::string_view s) { text.Both(s); };
  auto attribute = [&](std::string_view name, const std::string& value) {
    both(" ");
    both(name);
    both("=");
    text.AttributeValue(value);
  };
  const std::string eol = crlf ? "\r\n" : "\n";
  auto indent = [&](int level) {
    both(crlf ? std::string(static_cast<size_t>(level) * 2, ' ')
              : std::string(static_cast<size_t>(level), '\t'));
  };
  both("<config");
  attribute("version", "3");
  attribute("name", "\"Main settings\"");
  attribute("active", "TRUE");
  both(">" + eol);
  int made = 1, group = 0;
  while (made < nodes) {
    ++group;
    indent(1);
    both("<group");
    attribute("id", std::to_string(group));
    attribute("title", "\"Group " + std::to_string(group) + " of many\"");
    attribute("ratio", "0." + std::to_string(group % 100));
    both(">" + eol);
    ++made;
    for (int i = 0; i < 25 && made < nodes; ++i, ++made) {
      const int n = made;
      indent(2);
      both("<item");
      if (!crlf || n % 4 != 0) {
        attribute("n", std::to_string(n));
        attribute("label", "\"" + std::string(kWords[n % 10]) + "\"");
        if (n % 3 == 0) attribute("weight", "-" + std::to_string(n % 17) + ".25");
        if (n % 2 == 0) attribute("on", n % 4 == 0 ? "TRUE" : "FALSE");
        if (n % 5 == 0) attribute("note", "\"\"");
      }
      both(">");
      std::string value;
      switch (n % 4) {
        case 0:
          value = "\"" + std::string(kWords[n % 10]) + " " + std::to_string(n) + "\"";
          break;
        case 1:
          value = std::to_string(n * 7);
          break;
        case 2:
          value = n % 8 == 2 ? "True" : "False";
          break;
        default:
          value = std::to_string(n % 1000) + ".5";
      }
      if (crlf && n % 2 == 0) {
        text.NodeValue(value);
        both("</item>" + eol);
        continue;
      }
      both(eol);
      indent(3);
      text.NodeValue(value);
      both(eol);
      indent(2);
      both("</item>" + eol);
    }
    indent(1);
    both("</group>" + eol);
  }
  both("</config>" + eol);
  return text.Take(xml);
}

// The bare document: menus of up to 25 items under a root. `xml` receives it as XML.
std::string BareText(int nodes, std::string& xml) {
  TwinText text(static_cast<size_t>(nodes) * 20);
  text.Both("<outline>\n");
  int made = 1;
  while (made < nodes) {
    text.Both("\t<menu>\n");
    ++made;
    for (int i = 0; i < 25 && made < nodes; ++i, ++made) text.Both("\t\t<item>\n\t\t</item>\n");
    text.Both("\t</menu>\n");
  }
  text.Both("</outline>\n");
  return text.Take(xml);
}

// The mixed document's tree built through the object model.
Ref<Doc> BuiltDoc(int nodes) {
  Ref<Doc> doc = MakeRef<Doc>();
  auto add = [&](const String& parent, const char* name, Variant value) {
    String rel = parent, key, nm = name;
    enumRelationship how = iagChild;
    return doc->Add(rel, how, key, nm, value);
  };
  auto attr = [](DocNode* node, const char* name, Variant value) {
    String n = name;
    node->Attributes()->Add(n, value);
  };
  Ref<DocNode> root = add(String(), "config", Variant::Missing());
  attr(root.Get(), "version", Variant(int32_t{3}));
  attr(root.Get(), "name", Variant(String("Main settings")));
  attr(root.Get(), "active", Variant(true));
  int made = 1, group = 0;
  while (made < nodes) {
    ++group;
    Ref<DocNode> g = add(root->Key(), "group", Variant::Missing());
    attr(g.Get(), "id", Variant(int32_t{group}));
    attr(g.Get(), "title", Variant(String("Group " + std::to_string(group) + " of many")));
    attr(g.Get(), "ratio", Variant((group % 100) / 100.0));
    ++made;
    for (int i = 0; i < 25 && made < nodes; ++i, ++made) {
      const int n = made;
      Variant value;
      switch (n % 4) {
        case 0:
          value = Variant(String(std::string(kWords[n % 10]) + " " + std::to_string(n)));
          break;
        case 1:
          value = Variant(int32_t{n * 7});
          break;
        case 2:
          value = Variant(n % 8 == 2);
          break;
        default:
          value = Variant(n % 1000 + 0.5);
      }
      Ref<DocNode> item = add(g->Key(), "item", value);
      attr(item.Get(), "n", Variant(int32_t{n}));
      attr(item.Get(), "label", Variant(String(kWords[n % 10])));
      if (n % 3 == 0) attr(item.Get(), "weight", Variant(-(n % 17) - 0.25));
      if (n % 2 == 0) attr(item.Get(), "on", Variant(n % 4 == 0));
      if (n % 5 == 0) attr(item.Get(), "note", Variant(String("")));
    }
  }
  return doc;
}

// A random document of about `nodes` nodes. The seed draws the document's leanings (how deep,
// how indented, which line ends, how many attributes, how long the values), and each node then
// draws its own shape from them. `xml` receives the same document as XML for pugixml, with the
// same white space, names and values: both sides read the same characters outside the values'
// forms (quoted or not, the dialect's escapes or XML's).
std::string RandomText(uint64_t seed, int nodes, bool& indent_written, std::string& xml) {
  std::mt19937_64 rng(seed);
  auto chance = [&](double p) { return std::uniform_real_distribution<double>(0, 1)(rng) < p; };
  auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<uint64_t>(n)); };
  auto between = [&](int lo, int hi) { return lo + pick(hi - lo + 1); };

  // The document's leanings.
  const int depth_kind = pick(10);  // 0: flat, 1-6: shallow, 7-8: medium, 9: deep chains
  const int max_depth = depth_kind == 0   ? 1
                        : depth_kind <= 6 ? between(2, 6)
                        : depth_kind <= 8 ? between(7, 60)
                                          : between(1000, 10000);
  const int max_fanout = depth_kind == 9 ? 2 : between(2, 40);
  const int indent_kind = pick(6);  // tabs, 2 spaces, 4 spaces, none, mixed per line, tabs
  const double crlf = std::vector<double>{0, 0, 1, 0.5}[pick(4)];
  const bool one_line = chance(0.08);  // no line ends at all
  const double inline_value = std::vector<double>{0, 0.3, 1}[pick(3)];
  const int max_attrs = std::vector<int>{0, 2, 4, 8}[pick(4)];
  const double long_value = std::vector<double>{0, 0.01, 0.05}[pick(3)];
  const double double_space = chance(0.1) ? 0.05 : 0;
  indent_written = max_depth <= 200;

  std::vector<std::string> names;
  const int name_count = between(1, 40);
  for (int i = 0; i < name_count; ++i) {
    std::string name;
    const int length = between(1, 16);
    for (int c = 0; c < length; ++c) name += static_cast<char>('a' + pick(26));
    if (chance(0.2)) name[0] = static_cast<char>('A' + pick(26));
    names.push_back(name);
  }
  const char* const attr_names[] = {"id",    "name", "Type",  "visible", "x",    "width",
                                    "Title", "n",    "ratio", "on",      "Dock", "label"};

  TwinText text(static_cast<size_t>(nodes) * 80);
  auto both = [&](std::string_view s) { text.Both(s); };
  auto eol = [&] {
    if (one_line) return;
    both(chance(crlf) ? "\r\n" : "\n");
  };
  auto indent = [&](int level) {
    if (one_line) return;
    level = std::min(level, 64);
    int kind = indent_kind == 4 ? pick(4) : indent_kind;
    switch (kind) {
      case 0:
      case 5:
        both(std::string(static_cast<size_t>(level), '\t'));
        break;
      case 1:
        both(std::string(static_cast<size_t>(level) * 2, ' '));
        break;
      case 2:
        both(std::string(static_cast<size_t>(level) * 4, ' '));
        break;
      default:
        break;
    }
  };
  auto words = [&](int count) {
    std::string s;
    for (int i = 0; i < count; ++i) {
      if (i) s += ' ';
      s += kWords[pick(10)];
    }
    return s;
  };
  auto number = [&] {
    switch (pick(4)) {
      case 0:
        return std::to_string(pick(100));
      case 1:
        return std::to_string(pick(1000000));
      case 2:
        return "-" + std::to_string(pick(1000)) + "." + std::to_string(pick(100));
      default:
        return std::to_string(pick(10000)) + "." + std::to_string(pick(1000));
    }
  };
  auto attributes = [&] {
    const int count = max_attrs ? pick(max_attrs + 1) : 0;
    for (int a = 0; a < count; ++a) {
      both(" ");
      // A nameless attribute has no XML form: pugixml's text keeps the name.
      if (chance(double_space)) text.dialect += ' ';
      both(attr_names[pick(12)]);
      both("=");
      switch (pick(9)) {
        case 0:
        case 1:
          text.AttributeValue('"' + words(between(1, 4)) + '"');
          break;
        case 2:
          text.AttributeValue('"' + std::string(kWords[pick(10)]) + "{\\34}" + '"');
          break;
        case 3:
        case 4:
          text.AttributeValue(number());
          break;
        case 5:
          text.AttributeValue(chance(0.5) ? "TRUE" : "FALSE");
          break;
        case 6:
          text.AttributeValue("\"\"");
          break;
        case 7:
          text.AttributeValue('"' + number() + '"');
          break;
        default:
          text.AttributeValue('"' + std::string(kWords[pick(10)]) + '"');
          break;
      }
    }
  };
  auto value = [&]() -> std::string {
    if (chance(long_value)) {
      std::string s = "\"";
      const size_t length = static_cast<size_t>(between(100, 2000));
      while (s.size() < length) {
        s += words(1);
        s += pick(9) == 0 ? "\r\n" : pick(12) == 0 ? " {\\34}" : " ";
      }
      return s + "\"";
    }
    switch (pick(10)) {
      case 0:
        return "";
      case 1:
      case 2:
        return '"' + words(between(1, 5)) + '"';
      case 3:
        return "\"" + std::string(kWords[pick(10)]) + " {\\34}quoted{\\34}\"";
      case 4:
      case 5:
        return number();
      case 6:
        return std::vector<std::string>{"True", "False", "TRUE", "false"}[pick(4)];
      case 7:
        return std::string(kWords[pick(10) % 2]);  // a bare word
      case 8:
        return "\"\"";
      default:
        return std::to_string(pick(10));
    }
  };

  struct Open {
    const std::string* name;
    int children_left;
  };
  std::vector<Open> stack;
  int made = 0;
  auto open = [&](int level) {
    const std::string& name = names[pick(name_count)];
    indent(level);
    both("<");
    both(name);
    attributes();
    both(">");
    ++made;
    int children = 0;
    if (level < max_depth && made < nodes) {
      if (level == 0) {
        children = nodes;
      } else if (depth_kind == 9) {
        children = level < max_depth ? 1 : 0;
      } else if (chance(0.5)) {
        children = between(1, max_fanout);
      }
    }
    if (children == 0) {
      const std::string v = value();
      if (chance(inline_value)) {
        text.NodeValue(v);
      } else {
        eol();
        indent(level);
        text.NodeValue(v);
        eol();
        indent(level);
      }
      both("</" + name + '>');
      eol();
      return;
    }
    eol();
    stack.push_back({&name, children});
  };
  open(0);
  while (!stack.empty()) {
    Open& top = stack.back();
    const int level = static_cast<int>(stack.size());
    if (top.children_left > 0 && made < nodes) {
      --top.children_left;
      open(level);
      continue;
    }
    indent(level - 1);
    both("</" + *top.name + '>');
    eol();
    stack.pop_back();
  }
  return text.Take(xml);
}

// The shape's document in the library's dialect, with about `nodes` nodes; for one that is read
// from this text (mixed, crlf, bare, random), `xml` receives the same document as XML (else it is
// left empty).
std::string DialectText(const Shape& shape, int nodes, bool& indent_written, std::string& xml) {
  std::string out;
  out.reserve(static_cast<size_t>(nodes) * 60);
  indent_written = shape.kind != kDeep;
  auto leaf = [&](const std::string& attrs, const std::string& value) {
    out += "<item" + attrs + ">\n" + value + "\n</item>\n";
  };
  switch (shape.kind) {
    case kAttrs:
      out += "<settings>\n";
      for (int i = 1; i < nodes; ++i) {
        std::string attrs =
            " n=\"" + std::to_string(i) + "\" name=\"leaf " + std::to_string(i) + "\"";
        if (i % 2) attrs += " on=\"" + std::string(i % 4 == 1 ? "True" : "False") + "\"";
        if (i % 3 == 0) attrs += " size=\"" + std::to_string(i % 97) + ".5\"";
        leaf(attrs, "\"leaf " + std::to_string(i) + "\"");
      }
      out += "</settings>\n";
      break;
    case kTexts:
      out += "<notes>\n";
      for (int i = 1; i < nodes; ++i) leaf("", Quoted(200 + (i * 37) % 1800, i));
      out += "</notes>\n";
      break;
    case kUnquoted:
      out += "<settings>\n";
      for (int i = 1; i < nodes; ++i)
        leaf(" n=" + std::to_string(i) + " ratio=" + std::to_string(i % 13) + ".25",
             std::to_string(i * 3));
      out += "</settings>\n";
      break;
    case kDeep: {  // chains of 10,000 levels
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
    case kWide:
      out += "<list>\n";
      for (int i = 1; i < nodes; ++i) leaf("", std::to_string(i));
      out += "</list>\n";
      break;
    case kSettings: {  // as `doc format` writes it
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
      break;
    }
    case kMixed:
      out = PersonText(nodes, false, xml);
      break;
    case kBuilt: {  // read from the library's writing: pugixml reads its own
      std::string unused;
      out = PersonText(nodes, false, unused);
      break;
    }
    case kCrlf:
      out = PersonText(nodes, true, xml);
      break;
    case kBare:
      out = BareText(nodes, xml);
      break;
    case kRandom:
      out = RandomText(shape.seed, nodes, indent_written, xml);
      break;
  }
  return out;
}

// The same logical tree for pugixml: names, attributes and values as text. Attributes without
// a name (two spaces in a row) have no XML form and are left out.
void CopyInto(pugi::xml_node parent, DocNode* node) {
  for (; node; node = node->NextSibling().Get()) {
    pugi::xml_node n = parent.append_child(node->Name().ToUtf8().c_str());
    Ref<borvane::Attributes> attrs = node->Attributes();
    for (int32_t a = 1; a <= attrs->Count(); ++a) {
      Ref<AttributeObj> at = attrs->Item(Variant(a));
      if (at->Name().empty()) continue;
      n.append_attribute(at->Name().ToUtf8().c_str()) = CStr(at->Value()).ToUtf8().c_str();
    }
    Variant v = node->Value();
    if (!v.IsEmpty() && !v.IsMissing() && !v.IsNull()) n.text() = CStr(v).ToUtf8().c_str();
    if (node->Child()) CopyInto(n, node->Child().Get());
  }
}

// The elements and attributes of a pugixml tree, counted: what a twin text must agree on.
std::pair<size_t, size_t> TreeSize(pugi::xml_document& doc) {
  struct Counter : pugi::xml_tree_walker {
    std::pair<size_t, size_t> counts;
    bool for_each(pugi::xml_node& n) override {
      if (n.type() == pugi::node_element) {
        ++counts.first;
        for (pugi::xml_attribute a : n.attributes()) (void)a, ++counts.second;
      }
      return true;
    }
  } counter;
  doc.traverse(counter);
  return counter.counts;
}

struct Corpus {
  int shape = -1, nodes = 0;
  bool indent = true;
  std::string failure;        // why the tree could not be made, if it could not
  std::string write_failure;  // why it could not be written: it is then read from its source
  std::u16string text;        // the text read: the library's writing of the tree, or the source
  std::string pugi_text;      // what pugixml reads: its own writing of the tree, or the XML twin
  Ref<Doc> doc;               // the tree written
  pugi::xml_document pugi;
};

// Whether the shape is read from its text as it stands rather than from the library's writing.
bool ReadsSource(Kind kind) {
  return kind == kMixed || kind == kCrlf || kind == kBare || kind == kRandom;
}

// The corpus entries of one shape at a time, of both sizes (Measure runs them in turns). Those of
// the shape before are let go first, so that a large one does not read into a heap the others
// filled.
Corpus& CorpusFor(int shape, int nodes) {
  static std::vector<std::unique_ptr<Corpus>> kept;
  for (auto& k : kept)
    if (k->shape == shape && k->nodes == nodes) return *k;
  if (!kept.empty() && kept.front()->shape != shape) kept.clear();
  Corpus* c = kept.emplace_back(std::make_unique<Corpus>()).get();
  c->shape = shape;
  c->nodes = nodes;
  const Kind kind = g_shapes[shape].kind;
  Ref<Doc> source = MakeRef<Doc>();
  String text, parent;
  std::string xml;
  try {
    text = String::FromUtf8(DialectText(g_shapes[shape], nodes, c->indent, xml));
    source->ReadXML(text, parent);
  } catch (const Error& e) {
    c->failure = e.what();
    return *c;
  }
  try {
    String start;
    if (kind == kBuilt) {
      c->doc = BuiltDoc(nodes);
      c->text = c->doc->WriteXML(c->indent, start).str();
    } else if (ReadsSource(kind)) {
      c->text = text.str();
      c->doc = source;
    } else {
      c->text = source->WriteXML(c->indent, start).str();
      // The tree written is one just read, as `doc format` writes it: the copy for pugixml
      // below asks every node for its attributes, which a reader of a document rarely does.
      c->doc = MakeRef<Doc>();
      String written(c->text);
      c->doc->ReadXML(written, parent);
    }
  } catch (const Error& e) {
    // A text past what WriteXML can give (2^30 characters): the read takes the source.
    c->write_failure = e.what();
    c->doc = Ref<Doc>();
    c->text = text.str();
  }
  if (c->doc == source) {
    // The copy for pugixml asks for every node's attributes: it is taken from a tree of its
    // own, so that the tree written keeps the pairs as the reader left them.
    source = MakeRef<Doc>();
    source->ReadXML(text, parent);
  }
  CopyInto(c->pugi, source->Count() ? source->Item(Variant(1)).Get() : nullptr);
  source = Ref<Doc>();
  std::ostringstream s;
  c->pugi.save(s, "\t", c->indent ? pugi::format_indent : pugi::format_raw);
  c->pugi_text = s.str();
  // A document read from its source is read by pugixml from the same text in XML, not from
  // pugixml's own writing, whose white space and lines are others.
  if (!xml.empty()) {
    pugi::xml_document check;
    if (check.load_buffer(xml.data(), xml.size()) && TreeSize(check) == TreeSize(c->pugi))
      c->pugi_text = std::move(xml);
    else
      std::fprintf(stderr, "%s: the XML twin is not the tree read; pugixml reads its own writing\n",
                   g_shapes[shape].name.c_str());
  }
  return *c;
}

std::string Name(const char* op, int shape) {
  return std::string(op) + "/" + g_shapes[shape].name;
}

// Heap in use, with the slabs that the pool keeps for later counted as free: a read that takes
// them uses them as much as fresh heap.
double HeapInUse() {
  struct mallinfo2 m = mallinfo2();
  return static_cast<double>(m.uordblks + m.hblkhd) -
         static_cast<double>(std::max(0L, PoolCachedSlabCount())) * 32768.0;
}

// Minor page faults of the process so far.
long PageFaults() {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_minflt;
}

// CPU time of this thread in milliseconds: the machines these run on are shared, and both
// readers and writers run on one thread. BORVANE_BENCH_WALL=1 takes the wall-clock time.
bool g_wall_clock = false;
double NowMs() {
  timespec t;
  clock_gettime(g_wall_clock ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

// What one side took over the runs of one repetition.
struct Side {
  double ms = 0;
  long faults = 0;
  double per_node = 0;  // heap per read node, of the last read
};

// One read by one side, timed into `side`. The text is the caller's own (ReadXML takes it by
// reference): its copy and its release are not the read's, nor is the walk of the heap's bins
// that measures memory, which costs as much as a read.
void ReadOnce(Corpus& c, bool ours, Side& side) {
  String text(ours ? c.text : std::u16string()), parent;
  const double before = HeapInUse();
  const long faults_before = PageFaults();
  double ms;
  if (ours) {
    const double t0 = NowMs();
    Ref<Doc> doc = MakeRef<Doc>();
    doc->ReadXML(text, parent);
    ms = NowMs() - t0;
    side.faults += PageFaults() - faults_before;
    side.per_node = (HeapInUse() - before) / c.nodes;
  } else {
    const double t0 = NowMs();
    auto* doc = new pugi::xml_document;
    doc->load_buffer(c.pugi_text.data(), c.pugi_text.size());
    ms = NowMs() - t0;
    side.faults += PageFaults() - faults_before;
    side.per_node = (HeapInUse() - before) / c.nodes;
    delete doc;
  }
  side.ms += ms;
}

// One write by one side, timed into `side`. Each side's text, and pugixml's stream, are given
// back untimed, as the reader's input is: freeing a text is the caller's cost.
void WriteOnce(Corpus& c, bool ours, Side& side) {
  const long faults_before = PageFaults();
  if (ours) {
    bool indent = c.indent;
    String start;
    const double t0 = NowMs();
    String text = c.doc->WriteXML(indent, start);
    side.ms += NowMs() - t0;
    benchmark::DoNotOptimize(text);
  } else {
    const double t0 = NowMs();
    std::ostringstream s;
    c.pugi.save(s, "\t", c.indent ? pugi::format_indent : pugi::format_raw);
    std::string text = s.str();
    side.ms += NowMs() - t0;
    benchmark::DoNotOptimize(text);
  }
  side.faults += PageFaults() - faults_before;
}

constexpr int kSmall = 100000, kLarge = 1000000;

// Both sides and both sizes take turns within each repetition, the first place going to each
// side in turn, so that ratios and growths compare runs that minutes cannot part: this
// machine's speed moves by half over minutes. Each side reads or writes each size once before
// it is timed. Pages fresh from the system cost far more than the work on some machines (a
// virtual one here took 12.7 microseconds per page), and whether one side gets them depends
// on what the other left: a run that catches them measures the kernel. The heap keeps what is
// freed (see main), so that the warm-up leaves the timed runs the pages they need. The faults
// per run are shown beside the time.
void Measure(benchmark::State& state, int shape, bool write) {
  Corpus* sizes[2] = {&CorpusFor(shape, kSmall), &CorpusFor(shape, kLarge)};
  auto usable = [&](const Corpus& c) {
    return c.failure.empty() && (!write || c.write_failure.empty());
  };
  if (!usable(*sizes[0])) {
    const Corpus& c = *sizes[0];
    return state.SkipWithError((c.failure.empty() ? c.write_failure : c.failure).c_str());
  }
  // The large size of a shape whose text is too long to write is only read.
  const int count = usable(*sizes[1]) ? 2 : 1;
  Side sides[2][2];  // by size, then ours and pugixml's
  auto once = [&](int size, bool ours) {
    Side& side = sides[size][ours ? 0 : 1];
    write ? WriteOnce(*sizes[size], ours, side) : ReadOnce(*sizes[size], ours, side);
  };
  for (int size = 0; size < count; ++size)
    for (bool ours : {true, false}) once(size, ours);
  for (auto& size : sides) size[0] = size[1] = Side();
  int64_t runs = 0;
  auto total = [&] { return sides[0][0].ms + sides[0][1].ms + sides[1][0].ms + sides[1][1].ms; };
  // The small size runs several times to a large run, which takes ten times as long: some
  // before it and the rest behind it, so that a growth compares runs as close in time as they
  // can be.
  constexpr int kSmallRuns = 5;
  for (auto _ : state) {
    const double before = total();
    for (int k = 0; k < kSmallRuns + 1; ++k) {
      const int size = k == kSmallRuns / 2 ? 1 : 0;
      if (size >= count) continue;
      const bool ours_first = (runs + k) % 2 == 0;
      once(size, ours_first);
      once(size, !ours_first);
    }
    state.SetIterationTime((total() - before) / 1e3);
    ++runs;
  }
  for (int size = 0; size < count; ++size) {
    Side& ours = sides[size][0];
    Side& pugi = sides[size][1];
    const int64_t each = runs * (size ? 1 : kSmallRuns);
    for (Side* side : {&ours, &pugi}) {
      side->ms /= static_cast<double>(each);
      side->faults /= each;
    }
    const std::string at = size ? " large" : "";
    state.counters["borvane ms" + at] = ours.ms;
    state.counters["pugixml ms" + at] = pugi.ms;
    state.counters["ratio" + at] = ours.ms / pugi.ms;
    state.counters["faults" + at] = static_cast<double>(ours.faults);
    state.counters["pugi faults" + at] = static_cast<double>(pugi.faults);
    if (!write) {
      state.counters["B/node" + at] = ours.per_node;
      state.counters["pugi B" + at] = pugi.per_node;
    }
  }
  if (count == 2) {
    state.counters["growth"] = sides[1][0].ms / sides[0][0].ms;
    state.counters["pugi growth"] = sides[1][1].ms / sides[0][1].ms;
  }
}

// Keeps the counters of each repetition (not of the runs that size one), by benchmark name.
class PairReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      auto& kept = repetitions[run.run_name.function_name];
      for (const auto& [name, counter] : run.counters) kept[name].push_back(counter.value);
    }
    ConsoleReporter::ReportRuns(runs);
  }
  // Counter name to its value in each repetition.
  std::map<std::string, std::map<std::string, std::vector<double>>> repetitions;
};

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

uint64_t EnvNumber(const char* name, uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text && *text ? std::strtoull(text, nullptr, 10) : otherwise;
}

// The worst of a column over the fixed shapes or over the seeds.
struct Worst {
  double value = 0;
  std::string shape;
  int nodes = 0;
  void Take(double v, const std::string& s, int n) {
    if (v > value) {
      value = v;
      shape = s;
      nodes = n;
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  // Every block from the heap, kept by the heap when freed: glibc maps each block past its
  // threshold (32 MB at most) afresh and unmaps it when freed, so without this a writing that
  // passes 32 MB takes fresh pages on every run while a smaller one reuses the heap's, and
  // which side passes it depends on its encoding (UTF-16 here, UTF-8 for pugixml), not on its
  // work. The warm-up run of each side and size then leaves the memory the timed runs take.
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  if (EnvNumber("BORVANE_BENCH_FIXED", 1)) {
    const char* fixed[] = {"attrs",    "texts", "unquoted", "deep", "wide",
                           "settings", "mixed", "crlf",     "bare", "built"};
    for (int k = kAttrs; k <= kBuilt; ++k) g_shapes.push_back({fixed[k], Kind(k)});
  }
  const uint64_t first_seed = EnvNumber("BORVANE_BENCH_SEED", std::random_device{}() % 1000000000);
  const uint64_t seeds = EnvNumber("BORVANE_BENCH_SEEDS", 1);
  for (uint64_t i = 0; i < seeds; ++i) {
    const uint64_t seed = first_seed + i;
    g_shapes.push_back({"seed-" + std::to_string(seed), kRandom, seed});
  }
  std::printf("random documents from seed %llu on, %llu in a row (BORVANE_BENCH_SEED=%llu)\n",
              static_cast<unsigned long long>(first_seed), static_cast<unsigned long long>(seeds),
              static_cast<unsigned long long>(first_seed));
  const int shapes = static_cast<int>(g_shapes.size());
  for (int shape = 0; shape < shapes; ++shape)
    for (const char* op : {"Read", "Write"})
      benchmark::RegisterBenchmark(Name(op, shape).c_str(),
                                   [=](benchmark::State& s) { Measure(s, shape, op[0] == 'W'); })
          ->Unit(benchmark::kMillisecond)
          ->UseManualTime()
          ->MinTime(0.5)
          // Nine: on a shared machine one repetition's growth moves by a tenth either way, in
          // spells longer than a repetition, and a median of five then lands 9% above the
          // mean for about one seed in seventeen, for pugixml's linear reader as for ours.
          ->Repetitions(static_cast<int>(EnvNumber("BORVANE_BENCH_REPETITIONS", 9)));
  benchmark::Initialize(&argc, argv);
  g_wall_clock = EnvNumber("BORVANE_BENCH_WALL", 0) != 0;
  PairReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  // Medians over the repetitions; a ratio or a growth is the median of the repetitions' own.
  std::printf("\n%-6s %-16s %8s %11s %11s %7s %7s %7s %9s %9s %6s\n", "op", "shape", "nodes",
              "borvane ms", "pugixml ms", "ratio", "10x->", "pugi", "B/node", "pugi B", "B x");
  // Worst ratio, growth and memory ratio, over the fixed shapes [0] and the seeds [1].
  // pugixml's own worst growth stands beside ours: it shows how far this machine alone moves a
  // growth in the run.
  Worst worst_ratio[2][2], worst_growth[2][2], worst_pugi_growth[2][2], worst_memory[2];
  // The growth of every repetition, ours and pugixml's, as logarithms: their mean is the growth
  // the medians scatter around.
  std::vector<double> log_growths[2][2][2];
  for (const char* op : {"Read", "Write"})
    for (int shape = 0; shape < shapes; ++shape) {
      auto found = reporter.repetitions.find(Name(op, shape));
      if (found == reporter.repetitions.end()) continue;
      auto& counters = found->second;
      const int w = op[0] == 'W';
      const int group = g_shapes[shape].kind == kRandom;
      const std::string& name = g_shapes[shape].name;
      for (int size = 0; size < 2; ++size) {
        const std::string at = size ? " large" : "";
        if (!counters.count("ratio" + at)) continue;
        const int nodes = size ? kLarge : kSmall;
        const double ratio = Median(counters["ratio" + at]);
        worst_ratio[group][w].Take(ratio, name, nodes);
        std::string growth, pugi_growth;
        if (size && counters.count("growth")) {
          const double g = Median(counters["growth"]);
          const double pugi_g = Median(counters["pugi growth"]);
          growth = std::to_string(g).substr(0, 5);
          pugi_growth = std::to_string(pugi_g).substr(0, 5);
          worst_growth[group][w].Take(g, name, nodes);
          worst_pugi_growth[group][w].Take(pugi_g, name, nodes);
          for (int side = 0; side < 2; ++side)
            for (double each : counters[side ? "pugi growth" : "growth"])
              log_growths[group][w][side].push_back(std::log(each));
        }
        std::printf("%-6s %-16s %8d %11.1f %11.1f %6.2fx %7s %7s", op, name.c_str(), nodes,
                    Median(counters["borvane ms" + at]), Median(counters["pugixml ms" + at]), ratio,
                    growth.c_str(), pugi_growth.c_str());
        if (!w) {
          const double mine = Median(counters["B/node" + at]);
          const double theirs = Median(counters["pugi B" + at]);
          std::printf(" %9.0f %9.0f %5.2fx", mine, theirs, mine / theirs);
          worst_memory[group].Take(mine / theirs, name, nodes);
        }
        std::printf("\n");
      }
    }
  std::printf("\n");
  for (int group = 0; group < 2; ++group) {
    const char* what = group ? "seed" : "shape";
    for (int w = 0; w < 2; ++w) {
      const char* op = w ? "Write" : "Read";
      const Worst& r = worst_ratio[group][w];
      const Worst& g = worst_growth[group][w];
      if (!r.shape.empty())
        std::printf("worst %-5s %-5s ratio  %5.2fx  %s/%d\n", what, op, r.value, r.shape.c_str(),
                    r.nodes);
      const Worst& pg = worst_pugi_growth[group][w];
      if (!g.shape.empty())
        std::printf("worst %-5s %-5s growth %5.2fx  %s  (pugixml's worst %.2fx  %s)\n", what, op,
                    g.value, g.shape.c_str(), pg.value, pg.shape.c_str());
      const auto& logs = log_growths[group][w];
      if (!logs[0].empty()) {
        auto mean = [](const std::vector<double>& v) {
          double sum = 0;
          for (double x : v) sum += x;
          return std::exp(sum / static_cast<double>(v.size()));
        };
        std::printf("mean  %-5s %-5s growth %5.2fx  (pugixml's %.2fx)  over %zu repetitions\n",
                    what, op, mean(logs[0]), mean(logs[1]), logs[0].size());
      }
    }
    const Worst& m = worst_memory[group];
    if (!m.shape.empty())
      std::printf("worst %-5s Read  memory %5.2fx  %s/%d\n", what, m.value, m.shape.c_str(),
                  m.nodes);
  }
  return 0;
}
