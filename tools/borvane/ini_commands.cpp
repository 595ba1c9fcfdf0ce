// borvane ini get | set | section | dump
#include <cstdio>
#include <filesystem>

#include "borvane/platform/files/profile.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kIniUsage =
    "usage: borvane ini get FILE SECTION KEY\n"
    "       borvane ini set FILE SECTION KEY VALUE\n"
    "       borvane ini section FILE SECTION [--keyless] [--delimiter TEXT]\n"
    "       borvane ini dump FILE\n"
    "\n"
    "Reads an INI file into an Inifile (FILE may be - for standard input, except for set).\n"
    "  get      prints one value (an empty line when the section or key is missing)\n"
    "  set      changes one value in the file and leaves every other line as it is (the\n"
    "           file is made if missing)\n"
    "  section  prints a whole section as one text, its entries joined by the delimiter\n"
    "           (a line break by default); --keyless leaves the names out\n"
    "  dump     prints every section and key in file order";

Object LoadIni(const std::string& path) {
  Object ini = CreateObject("Borvane.Inifile");
  std::vector<Variant> args = {V(PathFor(path))};
  CallByName(ini, "ReadIniFile", VbMethod, args);
  return ini;
}

}  // namespace

int IniCommand(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(kIniUsage);
    return 0;
  }
  if (args.empty()) throw UsageError{std::string("missing ini command\n") + kIniUsage};
  const std::string& sub = args[0];
  if (sub == "get" && args.size() == 4) {
    Object ini = LoadIni(args[1]);
    PrintLine(CStr(CallByName(ini, "GetKeyValue", VbMethod, {V(args[2]), V(args[3])})));
    return 0;
  }
  if (sub == "set" && args.size() == 5) {
    if (args[1] == "-") throw UsageError{"ini set needs a file, not standard input"};
    // One value through the profile functions, as a program's one-value edit does: every other
    // line of the file (comments, blank lines, order, line ends) stays as it is, and the file
    // is replaced in one step.
    const std::string path = std::filesystem::absolute(args[1]).string();
    if (!platform::Profile().WriteString(String::FromUtf8(args[2]), String::FromUtf8(args[3]),
                                         String::FromUtf8(args[4]), LibraryPath(path)))
      throw ToolError{path + ": the file could not be written"};
    return 0;
  }
  if (sub == "section" && args.size() >= 3) {
    Variant delimiter = Variant::Missing();
    bool keyless = false;
    for (size_t i = 3; i < args.size(); ++i) {
      if (args[i] == "--keyless") {
        keyless = true;
      } else if (args[i] == "--delimiter" && i + 1 < args.size()) {
        delimiter = V(args[++i]);
      } else {
        throw UsageError{"unknown option '" + args[i] + "'\n" + kIniUsage};
      }
    }
    Object ini = LoadIni(args[1]);
    PrintLine(
        CStr(CallByName(ini, "GetSection", VbMethod, {V(args[2]), delimiter, Variant(keyless)})));
    return 0;
  }
  if (sub == "dump" && args.size() == 2) {
    Object ini = LoadIni(args[1]);
    Object sections = CallByName(ini, "Sections", VbGet).ToObject();
    ForEach(sections, [](const Variant& s) {
      Object section = s.ToObject();
      PrintLine(String("[") + CStr(CallByName(section, "SectionName", VbGet)) + String("]"));
      ForEach(CallByName(section, "Keys", VbGet).ToObject(), [](const Variant& k) {
        Object key = k.ToObject();
        PrintLine(CStr(CallByName(key, "KeyName", VbGet)) + String("=") +
                  CStr(CallByName(key, "KeyValue", VbGet)));
      });
    });
    return 0;
  }
  throw UsageError{kIniUsage};
}

}  // namespace borvane::tool
