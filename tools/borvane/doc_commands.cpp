// borvane doc format | select | find | export | import
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>

#include <strings.h>

#include "borvane/doctree/doc_node.h"
#include "tools/borvane/exchange.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kDocUsage =
    "usage: borvane doc format FILE\n"
    "       borvane doc select FILE EXPRESSION\n"
    "       borvane doc find FILE NAME\n"
    "       borvane doc export FILE --xml|--json\n"
    "       borvane doc import FILE [--xml|--json]\n"
    "\n"
    "Reads a document of the library's XML dialect (FILE may be - for standard input). A file\n"
    "that is valid UTF-8 is read as UTF-8, any other as Windows-1252; format and find write in\n"
    "the file's own encoding.\n"
    "  format   writes the first tree back, indented with tabs\n"
    "  select   prints the path of each node whose path holds EXPRESSION (exact case;\n"
    "           paths use \"//\" between names)\n"
    "  find     prints the subtree of the first node named NAME (any case), searching the\n"
    "           first tree depth first\n"
    "  export   prints the document as standard XML or JSON (UTF-8), for xmllint, XSLT or\n"
    "           jq: the tree as the library writes and reads it back, with every type kept\n"
    "  import   reads such an XML or JSON file (by its extension or first character) and\n"
    "           prints the document in the dialect, in a new file's encoding. It refuses\n"
    "           what the dialect would not give back exactly, naming the node\n"
    "\n"
    "JSON: the root node as an object {\"name\": TEXT, \"value\": VALUE, \"attributes\":\n"
    "[{\"name\": TEXT, \"value\": VALUE}, ...], \"children\": [NODE, ...]}. A node's value is a\n"
    "string, a number or a Boolean; a node with children has none (the dialect keeps none),\n"
    "and one without \"value\" has the empty text. An attribute's value is a string, a\n"
    "Boolean, or null for an attribute without a value (written name=); attributes and\n"
    "children are left out when there are none.\n"
    "XML: <document> holding one <node name=\"...\" type=\"...\" value=\"...\">, which holds\n"
    "<attribute name=\"...\" type=\"...\" value=\"...\"/> elements, then its child <node>\n"
    "elements. type is string (the default, left out), number or boolean (value true or\n"
    "false); an attribute without value= has no value, a node without one the empty text.";

// A node of the document as the exchange forms describe it: what the dialect carries.
struct Attr {
  String name;
  Variant value;  // a String, a Boolean, or the missing marker for none
};

struct Node {
  String name;
  Variant value;  // a String, a Boolean or a Double; the empty String for a node with children
  std::vector<Attr> attributes;
  std::vector<Node> children;
};

// --- From and to a Doc, through its members --------------------------------------------------

Node Describe(const Object& node) {
  Node d;
  d.name = CStr(CallByName(node, "Name", VbGet));
  d.value = CallByName(node, "Value", VbGet);
  Object attributes = CallByName(node, "Attributes", VbGet).ToObject();
  int32_t count = CLng(CallByName(attributes, "Count", VbGet));
  for (int32_t i = 1; i <= count; ++i) {
    Object a = CallByName(attributes, "Item", VbGet, {Variant(i)}).ToObject();
    d.attributes.push_back({CStr(CallByName(a, "Name", VbGet)), CallByName(a, "Value", VbGet)});
  }
  for (Object child = CallByName(node, "Child", VbGet).ToObject(); child;
       child = CallByName(child, "NextSibling", VbGet).ToObject())
    d.children.push_back(Describe(child));
  return d;
}

// A new Doc with the dialect text read into it, and its first tree described.
Node Read(const String& text, const std::string& shown) {
  Object doc = CreateObject("Borvane.Doc");
  std::vector<Variant> args = {Variant(text)};
  CallByName(doc, "ReadXML", VbMethod, args);
  if (CLng(CallByName(doc, "Count", VbGet)) == 0)
    throw ToolError{shown + ": the file holds no document"};
  Node root = Describe(CallByName(doc, "Item", VbGet, {Variant(int32_t{1})}).ToObject());
  CallByName(doc, "Clear", VbMethod);
  return root;
}

void Build(const Object& doc, const Node& node, const Variant& parent_key) {
  Variant value = node.children.empty() ? node.value : Variant(String(""));
  Object made =
      CallByName(doc, "Add", VbMethod,
                 {parent_key, parent_key.IsMissing() ? Variant::Missing() : Variant(int32_t{4}),
                  Variant::Missing(), Variant(node.name), value})
          .ToObject();
  Object attributes = CallByName(made, "Attributes", VbGet).ToObject();
  for (const Attr& a : node.attributes)
    CallByName(attributes, "Add", VbMethod, {Variant(a.name), a.value});
  Variant key = CallByName(made, "Key", VbGet);
  for (const Node& child : node.children) Build(doc, child, key);
}

// The dialect text of the tree, indented, as `doc format` writes it.
String Write(const Node& root) {
  Object doc = CreateObject("Borvane.Doc");
  Build(doc, root, Variant::Missing());
  String text = CStr(CallByName(doc, "WriteXML", VbMethod, {Variant(true)}));
  CallByName(doc, "Clear", VbMethod);
  return text;
}

// --- Comparing what was asked for with what the dialect gives back ----------------------------

std::string ShownValue(const Variant& v) {
  if (v.IsMissing()) return "no value";
  if (const bool* b = v.GetIf<bool>()) return *b ? "true" : "false";
  if (const double* d = v.GetIf<double>()) return NumberText(*d);
  JsonWriter w;
  w.Text(CStr(v));
  std::string text = w.Finish();
  text.pop_back();
  return (v.IsString() ? "the text " : "") + text;
}

bool Same(const Variant& a, const Variant& b) {
  if (a.IsMissing() || b.IsMissing()) return a.IsMissing() && b.IsMissing();
  if (a.VarType() != b.VarType()) return false;
  if (const double* x = a.GetIf<double>())
    return std::bit_cast<uint64_t>(*x) == std::bit_cast<uint64_t>(*b.GetIf<double>());
  if (const bool* x = a.GetIf<bool>()) return *x == *b.GetIf<bool>();
  return a.IsString() && a.StringRef() == b.StringRef();
}

// The first difference between the tree asked for and the tree read back, or "".
std::string Difference(const Node& want, const Node& got, const std::string& parent) {
  std::string path = (parent.empty() ? "" : parent + "//") + want.name.ToUtf8();
  std::string where = "node " + path + ": ";
  if (want.name != got.name) return where + "its name reads back as \"" + got.name.ToUtf8() + "\"";
  if (!Same(want.value, got.value))
    return where + "its value, " + ShownValue(want.value) + ", reads back as " +
           ShownValue(got.value);
  if (want.attributes.size() != got.attributes.size())
    return where + "its " + std::to_string(want.attributes.size()) + " attributes read back as " +
           std::to_string(got.attributes.size());
  for (size_t i = 0; i < want.attributes.size(); ++i) {
    const Attr& w = want.attributes[i];
    const Attr& g = got.attributes[i];
    std::string which =
        where + "attribute " + std::to_string(i + 1) + " (\"" + w.name.ToUtf8() + "\")";
    if (w.name != g.name) return which + ": its name reads back as \"" + g.name.ToUtf8() + "\"";
    if (!Same(w.value, g.value))
      return which + ": its value, " + ShownValue(w.value) + ", reads back as " +
             ShownValue(g.value);
  }
  if (want.children.size() != got.children.size())
    return where + "its " + std::to_string(want.children.size()) + " children read back as " +
           std::to_string(got.children.size());
  for (size_t i = 0; i < want.children.size(); ++i) {
    std::string d = Difference(want.children[i], got.children[i], path);
    if (!d.empty()) return d;
  }
  return "";
}

// --- The exchange forms ----------------------------------------------------------------------

void CheckValueType(const Variant& v, const std::string& path) {
  if (v.IsString() || v.GetIf<bool>()) return;
  if (const double* d = v.GetIf<double>(); d && std::isfinite(*d)) return;
  throw ToolError{"node " + path + ": a value of type " + TypeName(v).ToUtf8() +
                  " has no exchange form"};
}

void ExportJson(const Node& node, JsonWriter& out, const std::string& parent) {
  const std::string path = (parent.empty() ? "" : parent + "//") + node.name.ToUtf8();
  out.BeginObject();
  out.Key("name");
  out.Text(node.name);
  auto value = [&](const Variant& v) {
    if (v.IsMissing()) {
      out.Null();
    } else if (const bool* b = v.GetIf<bool>()) {
      out.Boolean(*b);
    } else if (const double* d = v.GetIf<double>()) {
      out.Number(*d);
    } else {
      out.Text(v.StringRef());
    }
  };
  if (node.children.empty()) {
    CheckValueType(node.value, path);
    out.Key("value");
    value(node.value);
  }
  if (!node.attributes.empty()) {
    out.Key("attributes");
    out.BeginArray();
    for (const Attr& a : node.attributes) {
      if (!a.value.IsMissing()) CheckValueType(a.value, path);
      out.BeginObject(/*on_one_line=*/true);
      out.Key("name");
      out.Text(a.name);
      out.Key("value");
      value(a.value);
      out.EndObject();
    }
    out.EndArray();
  }
  if (!node.children.empty()) {
    out.Key("children");
    out.BeginArray();
    for (const Node& child : node.children) ExportJson(child, out, path);
    out.EndArray();
  }
  out.EndObject();
}

// The type and value attributes of a value in the XML form.
std::vector<std::pair<std::string_view, String>> XmlValue(const Variant& v) {
  if (v.IsMissing()) return {};
  if (const bool* b = v.GetIf<bool>())
    return {{"type", "boolean"}, {"value", *b ? "true" : "false"}};
  if (const double* d = v.GetIf<double>())
    return {{"type", "number"}, {"value", String::FromUtf8(NumberText(*d))}};
  return {{"value", v.StringRef()}};
}

void ExportXml(const Node& node, XmlWriter& out, const std::string& parent) {
  const std::string path = (parent.empty() ? "" : parent + "//") + node.name.ToUtf8();
  std::vector<std::pair<std::string_view, String>> attributes = {{"name", node.name}};
  if (node.children.empty()) {
    CheckValueType(node.value, path);
    for (auto& a : XmlValue(node.value)) attributes.push_back(a);
  }
  const bool empty = node.children.empty() && node.attributes.empty();
  out.Open("node", attributes, empty, "node " + path);
  if (empty) return;
  for (const Attr& a : node.attributes) {
    if (!a.value.IsMissing()) CheckValueType(a.value, path);
    std::vector<std::pair<std::string_view, String>> items = {{"name", a.name}};
    for (auto& v : XmlValue(a.value)) items.push_back(v);
    out.Open("attribute", items, true, "an attribute of node " + path);
  }
  for (const Node& child : node.children) ExportXml(child, out, path);
  out.Close("node");
}

[[noreturn]] void Refuse(size_t line, const std::string& why) {
  throw ExchangeError{line, why};
}

Variant FromJsonValue(const JsonValue& v, bool attribute) {
  switch (v.kind) {
    case JsonValue::kText:
      return Variant(v.text);
    case JsonValue::kBoolean:
      return Variant(v.boolean);
    case JsonValue::kNumber:
      return Variant(v.number);
    case JsonValue::kNull:
      if (attribute) return Variant::Missing();
      Refuse(v.line, "a node's value cannot be null: a node without one has the empty text");
    default:
      Refuse(v.line, "a value must be a string, a number or a Boolean");
  }
}

Node NodeFromJson(const JsonValue& v) {
  if (v.kind != JsonValue::kObject) Refuse(v.line, "a node must be an object");
  Node node;
  node.value = Variant(String(""));
  bool has_value = false;
  for (const auto& [key, member] : v.members) {
    if (key == String("name")) {
      if (member.kind != JsonValue::kText) Refuse(member.line, "a node's name must be a string");
      node.name = member.text;
    } else if (key == String("value")) {
      node.value = FromJsonValue(member, false);
      has_value = true;
    } else if (key == String("attributes")) {
      if (member.kind != JsonValue::kArray) Refuse(member.line, "\"attributes\" must be an array");
      for (const JsonValue& a : member.items) {
        if (a.kind != JsonValue::kObject) Refuse(a.line, "an attribute must be an object");
        Attr attr{String(""), Variant::Missing()};
        for (const auto& [k, m] : a.members) {
          if (k == String("name")) {
            if (m.kind != JsonValue::kText) Refuse(m.line, "an attribute's name must be a string");
            attr.name = m.text;
          } else if (k == String("value")) {
            attr.value = FromJsonValue(m, true);
          } else {
            Refuse(m.line, "an attribute has no \"" + k.ToUtf8() + "\" (only name and value)");
          }
        }
        if (!a.Find(u"name")) Refuse(a.line, "an attribute without \"name\"");
        node.attributes.push_back(std::move(attr));
      }
    } else if (key == String("children")) {
      if (member.kind != JsonValue::kArray) Refuse(member.line, "\"children\" must be an array");
      for (const JsonValue& c : member.items) node.children.push_back(NodeFromJson(c));
    } else {
      Refuse(member.line,
             "a node has no \"" + key.ToUtf8() + "\" (only name, value, attributes and children)");
    }
  }
  if (!v.Find(u"name")) Refuse(v.line, "a node without \"name\"");
  if (has_value && !node.children.empty() &&
      !(node.value.IsString() && node.value.StringRef().empty()))
    Refuse(v.line, "node \"" + node.name.ToUtf8() +
                       "\" has children and a value: the dialect keeps no value beside children");
  return node;
}

Variant FromXmlValue(const XmlElement& e, bool attribute) {
  const String* type = e.Attribute("type");
  const String* value = e.Attribute("value");
  if (!value) {
    if (type) Refuse(e.line, "type= without value=");
    return attribute ? Variant::Missing() : Variant(String(""));
  }
  if (!type || *type == String("string")) return Variant(*value);
  if (*type == String("boolean")) {
    if (*value == String("true")) return Variant(true);
    if (*value == String("false")) return Variant(false);
    Refuse(e.line, "a Boolean value is true or false, not \"" + value->ToUtf8() + "\"");
  }
  if (*type == String("number")) {
    double d = 0;
    if (!ParseNumber(value->ToUtf8(), d))
      Refuse(e.line, "\"" + value->ToUtf8() + "\" is no finite number in JSON's form");
    return Variant(d);
  }
  Refuse(e.line, "the type \"" + type->ToUtf8() + "\" (string, number or boolean)");
}

void OnlyAttributes(const XmlElement& e, std::initializer_list<std::string_view> allowed) {
  for (const auto& [name, value] : e.attributes) {
    bool known = false;
    for (std::string_view a : allowed) known |= name == a;
    if (!known) Refuse(e.line, "<" + e.name + "> has no attribute " + name);
  }
  if (!e.Attribute("name")) Refuse(e.line, "<" + e.name + "> without name=");
}

Node NodeFromXml(const XmlElement& e) {
  if (e.name != "node") Refuse(e.line, "<" + e.name + "> where a <node> belongs");
  OnlyAttributes(e, {"name", "type", "value"});
  Node node;
  node.name = *e.Attribute("name");
  node.value = FromXmlValue(e, false);
  for (const XmlElement& c : e.children) {
    if (c.name == "attribute") {
      OnlyAttributes(c, {"name", "type", "value"});
      if (!c.children.empty()) Refuse(c.line, "<attribute> holds no elements");
      node.attributes.push_back({*c.Attribute("name"), FromXmlValue(c, true)});
    } else {
      node.children.push_back(NodeFromXml(c));
    }
  }
  if (e.Attribute("value") && !node.children.empty() &&
      !(node.value.IsString() && node.value.StringRef().empty()))
    Refuse(e.line, "node \"" + node.name.ToUtf8() +
                       "\" has children and a value: the dialect keeps no value beside children");
  return node;
}

void CheckNames(const Node& node, const std::string& parent) {
  const std::string path = (parent.empty() ? "" : parent + "//") + node.name.ToUtf8();
  if (node.name.view().find(u' ') != std::u16string_view::npos)
    throw ToolError{"node " + path + ": a node's name cannot hold a space"};
  for (const Node& child : node.children) CheckNames(child, path);
}

std::string Shown(const std::string& path) {
  return path == "-" ? std::string("standard input") : path;
}

// The document of a dialect file; `encoding` receives the file's.
Object LoadDoc(const std::string& path, platform::TextEncoding* encoding = nullptr) {
  Object doc = CreateObject("Borvane.Doc");
  std::vector<Variant> args = {Variant(ReadTextFile(path, encoding))};
  CallByName(doc, "ReadXML", VbMethod, args);
  if (CLng(CallByName(doc, "Count", VbGet)) == 0)
    throw ToolError{Shown(path) + ": the file holds no document"};
  return doc;
}

// Writes the node's subtree, indented, as it is made: a deep tree's indented text grows with
// its depth squared, and is never held whole.
void WriteOut(DocNode* node, const std::string& path, const platform::TextEncoding& encoding) {
  TextPrinter out(encoding);
  try {
    node->WriteNode(out.Sink(), true);
  } catch (const Error& e) {
    if (e.Number() != kErrOverflow) throw;
    throw ToolError{Shown(path) +
                    ": the indented text would be longer than the 2^30 characters a text of "
                    "the library can hold"};
  }
}

void PrintBytes(const std::string& bytes) {
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

int Export(const std::string& path, bool json) {
  // The tree as the library writes it and reads it back, which the dialect keeps from then on:
  // so that importing the export gives exactly what `doc format` writes.
  Node read = Read(ReadTextFile(path), Shown(path));
  Node tree = Read(Write(read), Shown(path));
  if (json) {
    JsonWriter out;
    ExportJson(tree, out, "");
    PrintBytes(out.Finish());
    return 0;
  }
  XmlWriter out;
  out.Open("document", {}, false, "");
  try {
    ExportXml(tree, out, "");
  } catch (const ExchangeError& e) {
    throw ToolError{Shown(path) + ": " + e.message};
  }
  out.Close("document");
  PrintBytes(out.Finish());
  return 0;
}

int Import(const std::string& path, const std::string& form) {
  std::string bytes = ReadBytes(path);
  bool json;
  if (form == "--json" || form == "--xml") {
    json = form == "--json";
  } else {
    auto ends = [&](const char* ext) {
      size_t n = std::strlen(ext);
      return path.size() >= n && strcasecmp(path.c_str() + path.size() - n, ext) == 0;
    };
    if (ends(".json")) {
      json = true;
    } else if (ends(".xml")) {
      json = false;
    } else {
      size_t first = bytes.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
      json = first != std::string::npos && (bytes[first] == '{' || bytes[first] == '[');
    }
  }
  Node root;
  try {
    if (json) {
      root = NodeFromJson(ParseJson(bytes));
    } else {
      XmlElement document = ParseXml(bytes);
      if (document.name != "document") Refuse(document.line, "the root element is not <document>");
      if (!document.attributes.empty()) Refuse(document.line, "<document> has no attributes");
      if (document.children.size() != 1)
        Refuse(document.line, "<document> holds one <node>, not " +
                                  std::to_string(document.children.size()) + " elements");
      root = NodeFromXml(document.children[0]);
    }
  } catch (const ExchangeError& e) {
    throw ToolError{Shown(path) + ":" + std::to_string(e.line) + ": " + e.message};
  }
  CheckNames(root, "");
  // The text as a new file holds it, read back as a file is read: what it would give is
  // compared with what was asked for, so that nothing is lost on the way unsaid.
  const platform::TextEncoding encoding{platform::NewFileCodePage(), false};
  std::string out = platform::EncodeText(Write(root), encoding);
  std::string difference = Difference(root, Read(platform::DecodeText(out), Shown(path)), "");
  if (!difference.empty())
    throw ToolError{Shown(path) + ": the dialect cannot keep this: " + difference};
  PrintBytes(out);
  return 0;
}

}  // namespace

int DocCommand(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(kDocUsage);
    return 0;
  }
  if (args.empty()) throw UsageError{std::string("missing doc command\n") + kDocUsage};
  const std::string& sub = args[0];
  if (sub == "format" && args.size() == 2) {
    platform::TextEncoding encoding;
    Object doc = LoadDoc(args[1], &encoding);
    Object root = CallByName(doc, "Item", VbGet, {Variant(int32_t{1})}).ToObject();
    WriteOut(static_cast<DocNode*>(root.Get()), args[1], encoding);
    return 0;
  }
  if (sub == "select" && args.size() == 3) {
    Object doc = LoadDoc(args[1]);
    Object selection = CallByName(doc, "SelectNodes", VbMethod, {V(args[2])}).ToObject();
    ForEach(selection, [](const Variant& node) {
      PrintLine(CStr(CallByName(node.ToObject(), "Path", VbMethod)));
    });
    return 0;
  }
  if (sub == "find" && args.size() == 3) {
    platform::TextEncoding encoding;
    Object doc = LoadDoc(args[1], &encoding);
    Object root = CallByName(doc, "Item", VbGet, {Variant(int32_t{1})}).ToObject();
    Object found =
        CallByName(root, "SelectSingleNode", VbMethod, {V(args[2]), Variant(true)}).ToObject();
    if (!found) {
      std::fprintf(stderr, "borvane: no node named '%s'\n", args[2].c_str());
      return 1;
    }
    WriteOut(static_cast<DocNode*>(found.Get()), args[1], encoding);
    return 0;
  }
  if (sub == "export" && args.size() == 3 && (args[2] == "--xml" || args[2] == "--json"))
    return Export(args[1], args[2] == "--json");
  if (sub == "import" &&
      (args.size() == 2 || (args.size() == 3 && (args[2] == "--xml" || args[2] == "--json"))))
    return Import(args[1], args.size() == 3 ? args[2] : "");
  throw UsageError{kDocUsage};
}

}  // namespace borvane::tool
