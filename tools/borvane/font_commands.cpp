// borvane font names | list | family | file | styles | install | uninstall
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "borvane/fonts/font_functions.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_loader.h"
#include "borvane/platform/fonts/font_resource.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* kFontUsage =
    "usage: borvane font names FILE\n"
    "       borvane font list [--bitmap]\n"
    "       borvane font family NAME\n"
    "       borvane font file FAMILY [STYLE]\n"
    "       borvane font styles [FAMILY]\n"
    "       borvane font install FONTFILE [--temporary]\n"
    "       borvane font uninstall FONTFILE\n"
    "\n"
    "  names      the names of a font file: for a TrueType or OpenType font its font name,\n"
    "             family and style (and those of each font of a collection), for a bitmap\n"
    "             font (.fon) its face name\n"
    "  list       the installed TrueType and OpenType (or bitmap) fonts: name and file\n"
    "  family     the family of the installed font of that full name, and its style\n"
    "  file       the file of the installed font of that family and style; without STYLE,\n"
    "             its regular font\n"
    "  styles     the words the installed fonts use for bold and italic; with FAMILY, the\n"
    "             styles of the installed fonts of that family\n"
    "  install    installs the font for the user (for this process only with --temporary);\n"
    "             prints 1 installed, 2 up to date, 3 replaced at the next start\n"
    "  uninstall  removes a font that was installed (FONTFILE: its name in the font folder)\n"
    "\n"
    "FILE may be - for standard input; FONTFILE is a file of its own (a .ttf, .otf, .ttc,\n"
    ".otc or .fon). Names that are not found, files that are no fonts and failed installs\n"
    "end with status 1.";

// A path as the tool prints it: native, "/" between names.
std::string Native(const String& path) {
  return platform::NativePath(path);
}

// The folder (absolute, with its closing "/") and the file name of a path the user gave, which
// may be relative.
std::pair<std::string, std::string> SplitPath(const std::string& path) {
  const fs::path full = fs::absolute(path);
  return {full.parent_path().string() + "/", full.filename().string()};
}

bool EndsWithNoCase(const std::string& text, const char* end) {
  const size_t n = std::char_traits<char>::length(end);
  if (text.size() < n) return false;
  for (size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(text[text.size() - n + i])) != end[i]) return false;
  return true;
}

bool IsBitmapName(const std::string& path) {
  return EndsWithNoCase(path, ".fon");
}

bool IsCollectionName(const std::string& path) {
  return EndsWithNoCase(path, ".ttc") || EndsWithNoCase(path, ".otc");
}

// Whether the file at the native `path` is a bitmap font: an executable image that the
// platform loads as a font (the name reader alone takes any file with a NUL byte).
bool IsBitmapFont(const std::string& path) {
  std::string bytes;
  if (platform::Files().ReadFile(String::FromUtf8(path), bytes) != 0) return false;
  return bytes.size() > 64 && bytes.compare(0, 2, "MZ") == 0 &&
         platform::FontLoading().IsFontFile(String::FromUtf8(path));
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

// The full path of an installed font's file as the list gives it: a file without a folder is in
// the fonts folder.
class FontPaths {
 public:
  explicit FontPaths(Object& fonts) : fonts_(fonts) {}
  String Full(const String& file) {
    if (file.view().find_last_of(u"\\/") != std::u16string_view::npos) return file;
    if (folder_.empty()) folder_ = CStr(CallByName(fonts_, "GetRegFontsPath", VbMethod));
    return folder_ + file;
  }

 private:
  Object& fonts_;
  String folder_;
};

int List(Object& fonts, bool bitmap) {
  Variant list =
      CallByName(fonts, bitmap ? "GetInstalledBitmapFonts" : "GetInstalledTTFonts", VbMethod);
  const Array& a = list.ToArray();
  FontPaths paths(fonts);
  int total = a.UBound(2) + 1;
  for (int32_t i = 0; i <= a.UBound(2); ++i) {
    Progress(i + 1, total);
    String name = CStr(a.At({0, i}));
    if (name.empty()) continue;
    PrintLine(name + String("\t") + String::FromUtf8(Native(paths.Full(CStr(a.At({1, i}))))));
  }
  return 0;
}

// One installed scalable font: a file, or one font of a collection.
struct Face {
  String family, style;
  std::string path;  // native
};

// Every installed TrueType and OpenType font, each font of a collection by itself.
std::vector<Face> InstalledFaces(Object& fonts) {
  Variant list = CallByName(fonts, "GetInstalledTTFonts", VbMethod);
  const Array& a = list.ToArray();
  FontPaths paths(fonts);
  std::vector<Face> faces;
  const int total = a.UBound(2) + 1;
  platform::FontResourceWalk walk;
  for (int32_t i = 0; i <= a.UBound(2); ++i) {
    Progress(i + 1, total);
    if (CStr(a.At({0, i})).empty()) continue;
    const String path = paths.Full(CStr(a.At({1, i})));
    const std::string native = Native(path);
    if (IsCollectionName(native)) {
      uint32_t count = 0;
      platform::FontResource& resources = platform::FontResources();
      if (resources.FaceCount(path, count) != 0) continue;
      for (uint32_t face = 0; face < count; ++face) {
        std::string bytes;
        if (resources.FaceResourceBytes(path, face, bytes) != 0) continue;
        Face f{String(), String(), native};
        ScanFotNameBytes(bytes, f.family, f.style);
        faces.push_back(f);
      }
      continue;
    }
    const size_t slash = path.view().find_last_of(u"\\/");
    std::vector<Variant> call = {Variant(String(path.view().substr(0, slash + 1))),
                                 Variant(String(path.view().substr(slash + 1))), Variant()};
    if (!CBool(CallByName(fonts, "GetTTFontInfo", VbMethod, call))) continue;
    const Record* info = call[2].GetIf<Record>();
    if (!info) continue;
    faces.push_back({CStr(info->Field(u"FontFamily")), CStr(info->Field(u"FontStyle")), native});
  }
  return faces;
}

// The styles of the installed fonts of `family`, in the list's order, each once.
std::vector<String> StylesOf(const std::vector<Face>& faces, const String& family) {
  std::vector<String> styles;
  for (const Face& f : faces)
    if (f.family == family && std::find(styles.begin(), styles.end(), f.style) == styles.end())
      styles.push_back(f.style);
  return styles;
}

std::string Joined(const std::vector<String>& styles) {
  std::string out;
  for (const String& s : styles) out += (out.empty() ? "" : ", ") + s.ToUtf8();
  return out;
}

// The regular style among `styles`: one of the usual names for it, else the first that is
// neither bold nor italic, else the first.
String RegularStyle(const std::vector<String>& styles) {
  for (const char* regular : {"Regular", "Book", "Normal", "Roman", "Plain", "Medium", "Standard"})
    for (const String& s : styles)
      if (s == String(regular)) return s;
  for (const String& s : styles) {
    const std::string text = " " + s.ToUtf8() + " ";
    bool marked = false;
    for (const char* word : {" Bold ", " Italic ", " Oblique ", " Black ", " Heavy ", " Light ",
                             " Thin ", " Semibold ", " Demibold "})
      marked |= text.find(word) != std::string::npos;
    if (!marked) return s;
  }
  return styles.front();
}

int Styles(Object& fonts, const std::string& family) {
  const std::vector<String> styles = StylesOf(InstalledFaces(fonts), String::FromUtf8(family));
  if (styles.empty()) throw ToolError{"no installed font of the family '" + family + "'"};
  for (const String& s : styles) PrintLine(s);
  return 0;
}

// The file of the installed font of `family` and `style` (the regular one without a style):
// that font alone, or a failure that says which styles there are.
int File(Object& fonts, const std::string& family, const std::string* style) {
  WalkNote note("reading the installed fonts");
  const String wanted = String::FromUtf8(family);
  const std::vector<Face> faces = InstalledFaces(fonts);
  const std::vector<String> styles = StylesOf(faces, wanted);
  if (!styles.empty()) {
    const String pick = style ? String::FromUtf8(*style) : RegularStyle(styles);
    for (const Face& f : faces) {
      if (f.family == wanted && f.style == pick) {
        PrintLine(String::FromUtf8(f.path) + String("\t") + pick);
        return 0;
      }
    }
    throw ToolError{"no '" + pick.ToUtf8() + "' font of the family '" + family +
                    "' is installed; its styles: " + Joined(styles)};
  }
  // Bitmap fonts have no style: the one whose face name begins with the family.
  if (!style || style->empty()) {
    std::vector<Variant> call = {V(family), V("")};
    String file = CStr(CallByName(fonts, "FontFilename", VbMethod, call));
    if (!file.empty()) {
      PrintLine(String::FromUtf8(Native(file)));
      return 0;
    }
  }
  throw ToolError{"no installed font of the family '" + family + "'"};
}

// The names of a font file, or a failure that names the file.
int Names(Object& fonts, const std::string& path) {
  const std::string local = PathFor(path);  // "-" is copied to a file; a folder is told as such
  auto [dir, file] = SplitPath(local);
  std::vector<Variant> call = {Variant(LibraryPath(dir)), V(file), Variant()};
  auto field = [&](const char* name) {
    return CStr(call[2].GetIf<Record>()->Field(String(name).view()));
  };
  // A file name shorter than an extension is no font file of either kind.
  if (file.size() >= 4 && CBool(CallByName(fonts, "GetTTFontInfo", VbMethod, call))) {
    PrintLine(String("Font name:   ") + field("FontName"));
    PrintLine(String("Family:      ") + field("FontFamily"));
    PrintLine(String("Style:       ") + field("FontStyle"));
    uint32_t count = 0;
    platform::FontResource& resources = platform::FontResources();
    const String full = String::FromUtf8(dir + file);
    if (resources.FaceCount(full, count) == 0 && count > 1) {
      for (uint32_t face = 0; face < count; ++face) {
        std::string bytes;
        if (resources.FaceResourceBytes(full, face, bytes) != 0) continue;
        String family, style, name = ScanFotNameBytes(bytes, family, style);
        PrintLine(String::FromUtf8("Font " + std::to_string(face + 1) + ":      ") + name +
                  String(" (") + family + String(", ") + style + String(")"));
      }
    }
    return 0;
  }
  if (IsBitmapFont(dir + file) && CBool(CallByName(fonts, "GetBitmapFontInfo", VbMethod, call))) {
    PrintLine(String("Face name:   ") + field("FontName"));
    return 0;
  }
  throw ToolError{path +
                  ": not a font file (neither a TrueType or OpenType font nor a bitmap font)"};
}

int Install(Object& fonts, const std::string& path, bool temporary) {
  if (path == "-") throw UsageError{"install needs a font file of its own, not standard input"};
  PathFor(path);  // a folder is told as such
  if (!fs::exists(path)) throw ToolError{path + ": not installed: the file does not exist"};
  auto [dir, file] = SplitPath(path);
  const bool bitmap = IsBitmapName(file);
  const std::string member =
      std::string("Install") + (bitmap ? "BitmapFont" : "TTFont") + (temporary ? "Temporary" : "");
  std::vector<Variant> call = {Variant(LibraryPath(dir)), V(file), Variant(true)};
  int32_t result = 0;
  try {
    result = CLng(CallByName(fonts, String::FromUtf8(member), VbMethod, call));
  } catch (const Error& e) {
    throw ToolError{path + ": not installed: " + e.Description().ToUtf8() + " (error " +
                    std::to_string(e.Number()) + ")"};
  }
  if (result == 0) {
    // Say why, as far as the tool can tell.
    std::vector<Variant> names = {Variant(LibraryPath(dir)), V(file), Variant()};
    const bool font =
        bitmap ? IsBitmapFont(dir + file)
               : file.size() >= 4 && CBool(CallByName(fonts, "GetTTFontInfo", VbMethod, names));
    throw ToolError{path + ": not installed: " +
                    (font ? std::string("the font could not be loaded")
                          : std::string("not a ") + (bitmap ? "bitmap" : "TrueType or OpenType") +
                                " font file")};
  }
  std::printf("%d\n", result);
  return 0;
}

int Uninstall(Object& fonts, const std::string& path) {
  if (path == "-") throw UsageError{"uninstall needs the file name of an installed font"};
  const std::string folder = Native(CStr(CallByName(fonts, "GetRegFontsPath", VbMethod)));
  const fs::path given(path);
  const std::string file = given.filename().string();
  // Only an installed font is removed: a path into any other folder names the user's own file,
  // which an uninstall must never delete.
  if (given.has_parent_path()) {
    std::error_code error;
    if (!fs::equivalent(given.parent_path(), folder, error))
      throw ToolError{path + ": not in the font folder " + folder +
                      "; name an installed font by its file name"};
  }
  if (!fs::exists(fs::path(folder) / file))
    throw ToolError{path + ": not uninstalled: no font of that name in the font folder " + folder};
  std::vector<Variant> call = {V(file), Variant(String()), Variant(true)};
  bool ok = false;
  try {
    ok = CBool(CallByName(fonts, IsBitmapName(file) ? "UnInstallBitmapFont" : "UnInstallTTFont",
                          VbMethod, call));
  } catch (const Error& e) {
    throw ToolError{path + ": not uninstalled: " + e.Description().ToUtf8() + " (error " +
                    std::to_string(e.Number()) + ")"};
  }
  if (!ok) throw ToolError{path + ": not uninstalled (see the message above)"};
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
    // The style comes back changed only when a font of that name was found.
    const String unchanged = String(u"\x01");
    std::vector<Variant> call = {V(args[1]), Variant(unchanged)};
    String family = CStr(CallByName(fonts, "FontFamilyname", VbMethod, call));
    if (CStr(call[1]) == unchanged)
      throw ToolError{"no installed font of the full name '" + args[1] + "'"};
    PrintLine(family + String("\t") + CStr(call[1]));
    return 0;
  }
  if (sub == "file" && (args.size() == 2 || args.size() == 3))
    return File(fonts, args[1], args.size() == 3 ? &args[2] : nullptr);
  if (sub == "styles" && args.size() == 2) {
    WalkNote note("reading the installed fonts");
    return Styles(fonts, args[1]);
  }
  if (sub == "styles" && args.size() == 1) {
    WalkNote note("reading the installed fonts");
    std::vector<Variant> call = {V(""), V("")};
    CallByName(fonts, "GetFontStylename", VbMethod, call);
    if (CStr(call[0]).empty() && CStr(call[1]).empty())
      throw ToolError{"no installed style combines a bold and an italic word of their own"};
    PrintLine(String("Bold:   ") + CStr(call[0]));
    PrintLine(String("Italic: ") + CStr(call[1]));
    return 0;
  }
  if (sub == "install" && (args.size() == 2 || (args.size() == 3 && args[2] == "--temporary")))
    return Install(fonts, args[1], args.size() == 3);
  if (sub == "uninstall" && args.size() == 2) return Uninstall(fonts, args[1]);
  if (sub == "names" && args.size() == 2) return Names(fonts, args[1]);
  throw UsageError{kFontUsage};
}

}  // namespace borvane::tool
