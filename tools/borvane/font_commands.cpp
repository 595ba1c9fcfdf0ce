// borvane font names | list | family | file | styles | install | uninstall
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "borvane/fonts/font_functions.h"
#include "borvane/platform/files/file_system.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kFontUsage =
    "usage: borvane font names FILE\n"
    "       borvane font list [--bitmap]\n"
    "       borvane font family NAME\n"
    "       borvane font file FAMILY [STYLE]\n"
    "       borvane font styles [FAMILY]\n"
    "       borvane font install FILE [--temporary]\n"
    "       borvane font uninstall FILE\n"
    "\n"
    "  names      the names of a font file: for a TrueType or OpenType font its font name,\n"
    "             family and style, for a bitmap font (.fon) its face name\n"
    "  list       the installed TrueType (or bitmap) fonts: name, file and font name\n"
    "  family     the family of the installed font of that full name, and its style\n"
    "  file       the file of the installed font of that family (and style)\n"
    "  styles     the words the installed fonts use for bold and italic; with FAMILY, the\n"
    "             styles of the installed fonts of that family\n"
    "  install    installs the font for the user (for this process only with --temporary);\n"
    "             prints 1 installed, 2 up to date, 3 replaced at the next start, 0 refused\n"
    "  uninstall  removes a font that was installed (FILE: its name in the fonts folder)";

// The folder (with its closing "\") and the file name of a path.
std::pair<Variant, Variant> SplitPath(const std::string& path) {
  size_t slash = path.find_last_of('/');
  return {V(slash == std::string::npos ? std::string() : path.substr(0, slash + 1)),
          V(slash == std::string::npos ? path : path.substr(slash + 1))};
}

// A walk over every installed font can take seconds: say so on a terminal, and take the line
// back when it is done.
class WalkNote {
 public:
  explicit WalkNote(const char* what) : shown_(::isatty(2)) {
    if (shown_) std::fprintf(stderr, "%s...", what);
  }
  ~WalkNote() {
    if (shown_) std::fputs("\r\033[K", stderr);
  }

 private:
  bool shown_;
};

void Progress(int done, int total) {
  if (!::isatty(2) || total == 0) return;
  const int width = 30, filled = done * width / total;
  std::fprintf(stderr, "\r[%.*s%*s] %d/%d", filled, "##############################",
               width - filled, "", done, total);
  if (done == total) std::fputs("\r\033[K", stderr);
}

int List(Object& fonts, bool bitmap) {
  Variant list =
      CallByName(fonts, bitmap ? "GetInstalledBitmapFonts" : "GetInstalledTTFonts", VbMethod);
  const Array& a = list.ToArray();
  int total = a.UBound(2) + 1;
  for (int32_t i = 0; i <= a.UBound(2); ++i) {
    Progress(i + 1, total);
    String name = CStr(a.At({0, i}));
    if (name.empty()) continue;
    String file = CStr(a.At({1, i}));
    PrintLine(name + String("\t") + file);
  }
  return 0;
}

// The styles of the installed TrueType fonts of `family`, in the list's order, each once.
int Styles(Object& fonts, const std::string& family) {
  Variant list = CallByName(fonts, "GetInstalledTTFonts", VbMethod);
  const Array& a = list.ToArray();
  const String wanted = String::FromUtf8(family);
  String fonts_dir;  // for files without a folder, asked for once
  std::vector<String> seen;
  const int total = a.UBound(2) + 1;
  for (int32_t i = 0; i <= a.UBound(2); ++i) {
    Progress(i + 1, total);
    if (CStr(a.At({0, i})).empty()) continue;
    const String path = CStr(a.At({1, i}));
    const size_t slash = path.view().rfind(u'\\');
    if (slash == std::u16string_view::npos && fonts_dir.empty())
      fonts_dir = CStr(CallByName(fonts, "GetRegFontsPath", VbMethod));
    std::vector<Variant> call = {
        Variant(slash == std::u16string_view::npos ? fonts_dir
                                                   : String(path.view().substr(0, slash + 1))),
        Variant(slash == std::u16string_view::npos ? path : String(path.view().substr(slash + 1))),
        Variant()};
    if (!CBool(CallByName(fonts, "GetTTFontInfo", VbMethod, call))) continue;
    const Record* info = call[2].GetIf<Record>();
    if (!info || !(CStr(info->Field(u"FontFamily")) == wanted)) continue;
    const String style = CStr(info->Field(u"FontStyle"));
    if (std::find(seen.begin(), seen.end(), style) != seen.end()) continue;
    seen.push_back(style);
    PrintLine(style);
  }
  if (seen.empty()) throw ToolError{"no installed font of the family '" + family + "'"};
  return 0;
}

}  // namespace

int FontCommand(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(kFontUsage);
    return 0;
  }
  if (args.empty()) throw UsageError{kFontUsage};
  Object fonts = CreateObject("Borvane.FontFunctions");
  const std::string& sub = args[0];
  if (sub == "list" && (args.size() == 1 || (args.size() == 2 && args[1] == "--bitmap")))
    return List(fonts, args.size() == 2);
  if (sub == "family" && args.size() == 2) {
    WalkNote note("reading the installed fonts");
    std::vector<Variant> call = {V(args[1]), V("")};
    String family = CStr(CallByName(fonts, "FontFamilyname", VbMethod, call));
    PrintLine(family + String("\t") + CStr(call[1]));
    return 0;
  }
  if (sub == "file" && (args.size() == 2 || args.size() == 3)) {
    WalkNote note("reading the installed fonts");
    std::vector<Variant> call = {V(args[1]), V(args.size() == 3 ? args[2] : std::string())};
    String file = CStr(CallByName(fonts, "FontFilename", VbMethod, call));
    if (file.empty()) throw ToolError{"no installed font of the family '" + args[1] + "'"};
    PrintLine(file + String("\t") + CStr(call[1]));
    return 0;
  }
  if (sub == "styles" && args.size() == 2) return Styles(fonts, args[1]);
  if (sub == "styles" && args.size() == 1) {
    WalkNote note("reading the installed fonts");
    std::vector<Variant> call = {V(""), V("")};
    CallByName(fonts, "GetFontStylename", VbMethod, call);
    PrintLine(String("Bold:   ") + CStr(call[0]));
    PrintLine(String("Italic: ") + CStr(call[1]));
    return 0;
  }
  if (sub == "install" && (args.size() == 2 || (args.size() == 3 && args[2] == "--temporary"))) {
    PathFor(args[1]);
    auto [dir, file] = SplitPath(std::filesystem::absolute(args[1]).string());
    bool bitmap = args[1].size() >= 4 && (args[1].substr(args[1].size() - 4) == ".fon" ||
                                          args[1].substr(args[1].size() - 4) == ".FON");
    std::string member = std::string("Install") + (bitmap ? "BitmapFont" : "TTFont") +
                         (args.size() == 3 ? "Temporary" : "");
    std::vector<Variant> call = {Variant(LibraryPath(CStr(dir).ToUtf8())), file, Variant(true)};
    int32_t result = CLng(CallByName(fonts, String::FromUtf8(member), VbMethod, call));
    std::printf("%d\n", result);
    return result == 0 ? 1 : 0;
  }
  if (sub == "uninstall" && args.size() == 2) {
    auto [dir, file] = SplitPath(args[1]);
    // Only an installed font is removed: a path into any other folder names the user's own
    // file, which an uninstall must never delete.
    if (!CStr(dir).empty()) {
      const std::string folder =
          platform::NativePath(CStr(CallByName(fonts, "GetRegFontsPath", VbMethod)));
      std::error_code error;
      if (!std::filesystem::equivalent(CStr(dir).ToUtf8(), folder, error))
        throw ToolError{args[1] + ": not in the font folder " + folder +
                        "; name an installed font by its file name"};
    }
    bool bitmap = args[1].size() >= 4 && (args[1].substr(args[1].size() - 4) == ".fon" ||
                                          args[1].substr(args[1].size() - 4) == ".FON");
    std::vector<Variant> call = {file, Variant(LibraryPath(CStr(dir).ToUtf8())), Variant(true)};
    bool ok = CBool(
        CallByName(fonts, bitmap ? "UnInstallBitmapFont" : "UnInstallTTFont", VbMethod, call));
    return ok ? 0 : 1;
  }
  if (sub != "names" || args.size() != 2) throw UsageError{kFontUsage};
  const std::string& path = args[1];
  PathFor(path);  // a folder is told as such
  auto [dir, file] = SplitPath(path);
  std::vector<Variant> call = {dir, file, Variant()};
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
