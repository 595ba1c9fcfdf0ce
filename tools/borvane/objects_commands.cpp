// borvane classes | inspect | call
#include <cstdio>

#include "borvane/frame/class_table.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

// A value as the tool shows it: objects by class, Null and arrays spelt out.
String Show(const Variant& v) {
  if (v.IsObject()) {
    Object o = v.ToObject();
    return o ? String("<") + ClassNameOf(*o) + String(">") : String("Nothing");
  }
  if (v.IsNull()) return "Null";
  if (v.IsArray()) {
    std::vector<String> items;
    for (const Variant& item : v.ToArray().Items()) items.push_back(Show(item));
    return String("(") + Join(items, ", ") + String(")");
  }
  if (v.IsMissing()) return "Missing";
  return CStr(v);
}

}  // namespace

int Classes(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(
        "usage: borvane classes\n\nThe library's class table: class, whether callers may "
        "create it, ProgID, class identifier.");
    return 0;
  }
  if (!args.empty()) throw UsageError{"classes takes no arguments"};
  std::printf("%-18s %-9s %-26s %s\n", "CLASS", "CREATABLE", "PROGID", "CLASS ID");
  for (const ClassInfo* c : LibraryClasses()) {
    std::printf("%-18s %-9s %-26s %s\n", c->name.ToUtf8().c_str(),
                c->creatable ? (c->app_object ? "Yes, app" : "Yes") : "No",
                c->prog_id.ToUtf8().c_str(), c->clsid.ToUtf8().c_str());
  }
  return 0;
}

int Inspect(const Args& args) {
  if (WantsHelp(args) || args.size() != 1) {
    if (!WantsHelp(args)) throw UsageError{"usage: borvane inspect PROGID"};
    std::puts(
        "usage: borvane inspect PROGID\n\nCreates the object by name and lists the "
        "property descriptors that Properties.Refresh finds on it.");
    return 0;
  }
  Object obj = CreateObject(String::FromUtf8(args[0]));
  Object props = CreateObject("Borvane.Properties");
  CallByName(props, "Refresh", VbMethod, {Variant(obj)});
  std::printf("%-18s %-10s %-9s %-20s %-30s %s\n", "NAME", "TYPE", "READONLY", "FRIENDLY NAME",
              "DESCRIPTION", "OPTIONS");
  ForEach(props, [](const Variant& item) {
    Object p = item.ToObject();
    auto get = [&](const char* member) { return CallByName(p, member, VbGet); };
    std::vector<String> options;
    ForEach(get("EnumeratedOptions").ToObject(),
            [&](const Variant& o) { options.push_back(CStr(o)); });
    std::printf("%-18s %-10s %-9s %-20s %-30s %s\n", CStr(get("Name")).ToUtf8().c_str(),
                CStr(get("TypeName")).ToUtf8().c_str(), CBool(get("ReadOnly")) ? "Yes" : "No",
                CStr(get("FriendlyName")).ToUtf8().c_str(),
                CStr(get("Description")).ToUtf8().c_str(), Join(options, ", ").ToUtf8().c_str());
  });
  return 0;
}

int Call(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(
        "usage: borvane call PROGID MEMBER [ARG...]\n\nCreates the object and calls one "
        "member by name: a get when there are no arguments, else a method call (or a "
        "property let when the object has no such method). Arguments are passed as "
        "text and converted to the member's parameter types. Prints the result and its "
        "TypeName.");
    return 0;
  }
  if (args.size() < 2) throw UsageError{"usage: borvane call PROGID MEMBER [ARG...]"};
  Object obj = CreateObject(String::FromUtf8(args[0]));
  String member = String::FromUtf8(args[1]);
  std::vector<Variant> call_args;
  for (size_t i = 2; i < args.size(); ++i) call_args.push_back(V(args[i]));
  Variant result;
  if (call_args.empty()) {
    result = CallByName(obj, member, VbGet, call_args);
  } else {
    try {
      result = CallByName(obj, member, VbMethod, call_args);
    } catch (const Error& e) {
      // A property that takes no arguments on its get is set instead.
      if (e.Number() != kErrNoSuchMember && e.Number() != kErrWrongArgCount) throw;
      result = CallByName(obj, member, VbLet, call_args);
    }
  }
  PrintLine(Show(result));
  PrintLine(String("TypeName: ") + TypeName(result));
  return 0;
}

}  // namespace borvane::tool
