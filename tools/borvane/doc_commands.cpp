// borvane doc format | select | find
#include <cstdio>

#include "borvane/doctree/doc_node.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kDocUsage =
    "usage: borvane doc format FILE\n"
    "       borvane doc select FILE EXPRESSION\n"
    "       borvane doc find FILE NAME\n"
    "\n"
    "Reads a document of the library's XML dialect (FILE may be - for standard input).\n"
    "  format   writes the first tree back, indented with tabs\n"
    "  select   prints the path of each node whose path holds EXPRESSION (exact case;\n"
    "           paths use \"//\" between names)\n"
    "  find     prints the subtree of the first node named NAME (any case), searching the\n"
    "           first tree depth first";

Object LoadDoc(const std::string& path) {
  Object doc = CreateObject("Borvane.Doc");
  std::vector<Variant> args = {Variant(ReadTextFile(path))};
  CallByName(doc, "ReadXML", VbMethod, args);
  if (CLng(CallByName(doc, "Count", VbGet)) == 0)
    throw ToolError{(path == "-" ? std::string("standard input") : path) +
                    ": the file holds no document"};
  return doc;
}

// Writes the node's subtree, indented, as it is made: a deep tree's indented text grows with
// its depth squared, and is never held whole.
void WriteOut(DocNode* node, const std::string& path) {
  TextPrinter out;
  try {
    node->WriteNode(out.Sink(), true);
  } catch (const Error& e) {
    if (e.Number() != kErrOverflow) throw;
    throw ToolError{(path == "-" ? std::string("standard input") : path) +
                    ": the indented text would be longer than the 2^30 characters a text of "
                    "the library can hold"};
  }
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
    // Written out as it is made: a deep tree's indented text grows with its depth squared, and
    // is never held whole.
    Object doc = LoadDoc(args[1]);
    Object root = CallByName(doc, "Item", VbGet, {Variant(int32_t{1})}).ToObject();
    WriteOut(static_cast<DocNode*>(root.Get()), args[1]);
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
    Object doc = LoadDoc(args[1]);
    Object root = CallByName(doc, "Item", VbGet, {Variant(int32_t{1})}).ToObject();
    Object found =
        CallByName(root, "SelectSingleNode", VbMethod, {V(args[2]), Variant(true)}).ToObject();
    if (!found) {
      std::fprintf(stderr, "borvane: no node named '%s'\n", args[2].c_str());
      return 1;
    }
    WriteOut(static_cast<DocNode*>(found.Get()), args[1]);
    return 0;
  }
  throw UsageError{kDocUsage};
}

}  // namespace borvane::tool
