// borvane doc format | select | find
#include <cstdio>

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

}  // namespace

int DocCommand(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(kDocUsage);
    return 0;
  }
  if (args.empty()) throw UsageError{std::string("missing doc command\n") + kDocUsage};
  const std::string& sub = args[0];
  if (sub == "format" && args.size() == 2) {
    Object doc = LoadDoc(args[1]);
    Print(CStr(CallByName(doc, "WriteXML", VbMethod, {Variant(true)})));
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
    std::vector<Variant> write_args = {Variant(String()), Variant(true)};
    CallByName(found, "WriteXMLNode", VbMethod, write_args);
    Print(CStr(write_args[0]));
    return 0;
  }
  throw UsageError{kDocUsage};
}

}  // namespace borvane::tool
