// borvane ini get | set | section | dump
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/profile.h"
#include "borvane/platform/files/profile_document.h"
#include "tools/borvane/exchange.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kIniUsage =
    "usage: borvane ini get FILE SECTION KEY\n"
    "       borvane ini set FILE SECTION KEY VALUE\n"
    "       borvane ini section FILE SECTION [--keyless] [--delimiter TEXT]\n"
    "       borvane ini dump FILE [--json]\n"
    "\n"
    "FILE may be - for standard input, except for set. A file that is valid UTF-8 is read as\n"
    "UTF-8, any other as Windows-1252, and set writes it back in its own encoding; a new\n"
    "file is UTF-8 where the locale is (BORVANE_CODEPAGE=1252 or utf-8 chooses).\n"
    "  get      prints one value (an empty line when the section or key is missing), read\n"
    "           as the profile functions read the file: comments of any kind and lines\n"
    "           without \"=\" are passed over; of a repeated key the last value counts\n"
    "  set      changes one value in the file and leaves every other line as it is: only\n"
    "           the value's line changes, or one line (or a header and a line) is added;\n"
    "           the file is replaced in one step, and made if missing\n"
    "  section  prints a whole section as one text, its entries joined by the delimiter\n"
    "           (a line break by default); --keyless leaves the names out\n"
    "  dump     prints every section and key in file order; --json as one JSON object\n"
    "           of sections, each an object of its keys' text values, in file order\n"
    "section and dump read the file into an Inifile, which takes a line as a key only when\n"
    "it holds \"=\": a line without one (a \"#\" comment) stops them with error 9, told\n"
    "with the file and line; keys before the first section are passed over, and said so.";

// The number of Inifile's "File not found", which `get` gives as `dump` does.
constexpr int32_t kIniFileNotFound = 30000;

// The file as messages name it.
std::string Shown(const std::string& path) {
  return path == "-" ? std::string("standard input") : path;
}

// Tells, once, of the keys that stand before the first section, which no section holds.
void ReportKeysBeforeFirstSection(const std::string& shown, const platform::ProfileDocument& doc) {
  size_t line = 0;
  size_t count = doc.KeysBeforeFirstSection(&line);
  if (count == 0) return;
  if (count == 1) {
    std::fprintf(stderr, "borvane: %s:%zu: a key before the first section is skipped\n",
                 shown.c_str(), line);
  } else {
    std::fprintf(stderr,
                 "borvane: %s:%zu: %zu keys before the first section are skipped, the first "
                 "on this line\n",
                 shown.c_str(), line, count);
  }
}

// The line that stopped a read with error 9: the first line without "=" in the order in which
// ReadIniFile meets the lines (each section name in file order, the lines of the section that
// answers for it, within the profile functions' limits).
Error LineWithoutEquals(const std::string& shown, const platform::ProfileDocument& doc,
                        const Error& failure) {
  constexpr uint32_t kBuffer = 32767;
  std::string names(kBuffer, '\0'), lines(kBuffer, '\0');
  uint32_t n = doc.SectionNames(names.data(), kBuffer);
  std::string_view rest(names.data(), n);
  while (!rest.empty()) {
    std::string_view name = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(rest.size(), name.size() + 1));
    if (name.empty()) continue;
    uint32_t m = doc.Section(name, lines.data(), kBuffer);
    std::string_view items(lines.data(), m);
    for (size_t item = 0; !items.empty(); ++item) {
      std::string_view line = items.substr(0, items.find('\0'));
      items.remove_prefix(std::min(items.size(), line.size() + 1));
      if (line.find('=') != std::string_view::npos) continue;
      size_t number = doc.LineOfSectionItem(name, item);
      const CodePage cp = doc.code_page();
      String text = FromCodePage(line.substr(0, 60), cp) + String(line.size() > 60 ? "..." : "");
      return Error(failure.Number(), String::FromUtf8(shown + ":" + std::to_string(number)),
                   failure.Description() + String(": a line of [") + FromCodePage(name, cp) +
                       String("] without \"=\": ") + text);
    }
  }
  return Error(failure.Number(), String::FromUtf8(shown), failure.Description());
}

// The file read into a new Inifile. A failure names the file, and error 9 its line too.
Object LoadIni(const std::string& path) {
  const std::string file = PathFor(path);
  Object ini = CreateObject("Borvane.Inifile");
  std::vector<Variant> args = {V(file)};
  try {
    CallByName(ini, "ReadIniFile", VbMethod, args);
  } catch (const Error& e) {
    if (e.Number() != kErrSubscript)
      throw Error(e.Number(), String::FromUtf8(Shown(path)), e.Description());
    throw LineWithoutEquals(Shown(path), platform::ProfileDocument(ReadBytes(file)), e);
  }
  ReportKeysBeforeFirstSection(Shown(path), platform::ProfileDocument(ReadBytes(file)));
  return ini;
}

// One value as the profile functions read the file: the section's key lines, the last of the
// key's name (case-blind) counting, as it does in an Inifile.
String GetValue(const std::string& path, const std::string& section, const std::string& key) {
  const std::string file = PathFor(path);
  String library_path = LibraryPath(std::filesystem::absolute(file).string());
  if (!platform::Files().IsNormalFile(library_path))
    throw Error(kIniFileNotFound, String::FromUtf8(Shown(path)), "File not found");
  // The profile functions read a file they may not read as an empty one: the tool says why.
  if (::access(file.c_str(), R_OK) != 0)
    throw Error(kErrPermissionDenied, String::FromUtf8(Shown(path)),
                Error::StandardDescription(kErrPermissionDenied));
  platform::PrivateProfile& profile = platform::Profile();
  platform::ProfileBatch batch(profile, library_path);
  const CodePage cp = profile.CodePageOf(library_path);
  // The whole section, however long: its lines, each with a NUL in place of its line end, and
  // the list's closing NUL take no more room than the file and two bytes.
  std::error_code ignored;
  uint64_t room = std::max<uint64_t>(32767, std::filesystem::file_size(file, ignored) + 2);
  std::string buffer(static_cast<size_t>(std::min<uint64_t>(room, UINT32_MAX)), '\0');
  uint32_t n = profile.GetSection(String::FromUtf8(section), buffer.data(),
                                  static_cast<uint32_t>(buffer.size()), library_path);
  const String wanted = UCase(Trim(String::FromUtf8(key)));
  String value;
  std::string_view rest(buffer.data(), n);
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    size_t eq = line.find('=');
    if (eq == std::string_view::npos) continue;
    if (UCase(FromCodePage(line.substr(0, eq), cp)) == wanted)
      value = FromCodePage(line.substr(eq + 1), cp);
  }
  return value;
}

int Dump(const std::string& path, bool json) {
  Object ini = LoadIni(path);
  Object sections = CallByName(ini, "Sections", VbGet).ToObject();
  if (json) {
    JsonWriter out;
    out.BeginObject();
    ForEach(sections, [&](const Variant& s) {
      Object section = s.ToObject();
      out.Key(CStr(CallByName(section, "SectionName", VbGet)));
      out.BeginObject();
      ForEach(CallByName(section, "Keys", VbGet).ToObject(), [&](const Variant& k) {
        Object key = k.ToObject();
        out.Key(CStr(CallByName(key, "KeyName", VbGet)));
        out.Text(CStr(CallByName(key, "KeyValue", VbGet)));
      });
      out.EndObject();
    });
    out.EndObject();
    std::fputs(out.Finish().c_str(), stdout);
    return 0;
  }
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

}  // namespace

int IniCommand(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(kIniUsage);
    return 0;
  }
  if (args.empty()) throw UsageError{std::string("missing ini command\n") + kIniUsage};
  const std::string& sub = args[0];
  if (sub == "get" && args.size() == 4) {
    PrintLine(GetValue(args[1], args[2], args[3]));
    return 0;
  }
  if (sub == "set" && args.size() == 5) {
    if (args[1] == "-") throw UsageError{"ini set needs a file, not standard input"};
    PathFor(args[1]);  // a folder is told as such
    // One value through the profile functions, as a program's one-value edit does: every other
    // line of the file (comments, blank lines, order, line ends, encoding) stays as it is, and
    // the file is replaced in one step.
    const std::string path = std::filesystem::absolute(args[1]).string();
    if (!platform::Profile().WriteString(String::FromUtf8(args[2]), String::FromUtf8(args[3]),
                                         String::FromUtf8(args[4]), LibraryPath(path)))
      throw ToolError{args[1] + ": the file could not be written"};
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
  if (sub == "dump" && (args.size() == 2 || (args.size() == 3 && args[2] == "--json")))
    return Dump(args[1], args.size() == 3);
  throw UsageError{kIniUsage};
}

}  // namespace borvane::tool
