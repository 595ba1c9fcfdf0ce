// borvane font names
#include <cstdio>

#include "borvane/fonts/font_functions.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kFontUsage =
    "usage: borvane font names FILE\n"
    "\n"
    "  names    the names of a font file: for a TrueType or OpenType font its font name,\n"
    "           family and style (FontFunctions.GetTTFontInfo), for a bitmap font (.fon) its\n"
    "           face name (GetBitmapFontInfo)";

}  // namespace

int FontCommand(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(kFontUsage);
    return 0;
  }
  if (args.size() != 2 || args[0] != "names") throw UsageError{kFontUsage};
  const std::string& path = args[1];
  PathFor(path);  // a folder is told as such
  size_t slash = path.find_last_of('/');
  Object fonts = CreateObject("Borvane.FontFunctions");
  std::vector<Variant> call = {
      V(slash == std::string::npos ? std::string() : path.substr(0, slash + 1)),
      V(slash == std::string::npos ? path : path.substr(slash + 1)), Variant()};
  auto field = [&](const char* name) {
    return CStr(call[2].GetIf<Record>()->Field(String(name).view()));
  };
  // A file name shorter than an extension is no font file of either kind.
  if (call[1].StringRef().size() >= 4 &&
      CBool(CallByName(fonts, "GetTTFontInfo", VbMethod, call))) {
    PrintLine(String("Font name:   ") + field("FontName"));
    PrintLine(String("Family:      ") + field("FontFamily"));
    PrintLine(String("Style:       ") + field("FontStyle"));
    return 0;
  }
  if (CBool(CallByName(fonts, "GetBitmapFontInfo", VbMethod, call))) {
    PrintLine(String("Face name:   ") + field("FontName"));
    return 0;
  }
  throw ToolError{path + ": not a font file that can be read"};
}

}  // namespace borvane::tool
