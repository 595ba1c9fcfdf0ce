// FontFunctions: the installed font lists and the lookups of names, files and style words over
// them.
#include <algorithm>
#include <string_view>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/automation/text.h"
#include "borvane/fonts/font_functions.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/fonts/font_system.h"
#include "borvane/platform/file_system.h"
#include "borvane/platform/font_resource.h"
#include "borvane/platform/registry.h"
#include "borvane/platform/registry_api.h"
#include "borvane/platform/system.h"

namespace borvane {

namespace {

// One slot of a list split into its folder and file (the row step): the two side by side, and
// where the file begins.
struct Row {
  String path;
  size_t split;
  String Dir() const { return String(path.view().substr(0, split)); }
  String File() const { return String(path.view().substr(split)); }
};

// The rows of a list whose slot is not empty, in order.
std::vector<Row> Rows(const Array& list, FontFunctions& f) {
  std::vector<Row> rows;
  String fonts_dir;  // the fonts directory, asked for once for all files without a folder
  bool asked = false;
  for (int32_t i = 0; i <= list.UBound(2); ++i) {
    // The list's elements are Strings.
    if (list.At({0, i}).StringRef().empty()) continue;
    const String& file = list.At({1, i}).StringRef();
    size_t slash = file.view().rfind(u'\\');
    if (slash != std::u16string_view::npos) {
      rows.push_back({file, slash + 1});
      continue;
    }
    if (!asked) fonts_dir = f.GetRegFontsPath(), asked = true;
    rows.push_back({fonts_dir + file, fonts_dir.size()});
  }
  return rows;
}

// Whether the last four characters of `text`, in capital letters, are `extension` (".TTF").
bool EndsWithExtension(const String& text, std::string_view extension) {
  std::u16string_view t = text.view();
  if (t.size() < 4) return false;
  std::u16string_view last = t.substr(t.size() - 4);
  for (size_t i = 0; i < 4; ++i) {
    // A character beyond ASCII takes the full capitalisation.
    if (last[i] >= 0x80) return UCase(String(last)) == String(std::string(extension).c_str());
    char16_t up = last[i] >= u'a' && last[i] <= u'z' ? last[i] - 32 : last[i];
    if (up != static_cast<char16_t>(extension[i])) return false;
  }
  return true;
}

// False when the last four bytes, each one character, cannot be `extension` in any capitals;
// bytes beyond ASCII may be, and are left to EndsWithExtension.
bool MayEndWithExtension(std::string_view bytes, std::string_view extension) {
  if (bytes.size() < 4) return false;
  std::string_view last = bytes.substr(bytes.size() - 4);
  for (size_t i = 0; i < 4; ++i) {
    const auto b = static_cast<unsigned char>(last[i]);
    if (b >= 0x80) return true;
    if ((b >= 'a' && b <= 'z' ? b - 32 : b) != static_cast<unsigned char>(extension[i]))
      return false;
  }
  return true;
}

bool StartsWith(const String& text, const String& prefix) {
  return text.view().substr(0, prefix.size()) == prefix.view();
}

}  // namespace

Array FontFunctions::InstalledFonts(const char* extension) {
  using namespace platform;
  HKEY key = OpenFontsKey();
  uint32_t longest_name = 0, longest_data = 0;
  RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longest_name,
                   &longest_data);
  Array list(vbString, {{0, 1}, {0, 10}});
  const bool one_byte_per_unit = AnsiCodePage() == CodePage::kWindows1252;
  std::vector<char> name(longest_name + 1);
  std::vector<uint8_t> data(longest_data + 1);
  int32_t index = 0;
  for (;; ++index) {
    std::fill(name.begin(), name.end(), ' ');
    uint32_t name_length = longest_name + 1, data_length = longest_data + 1, type = 0;
    int32_t r = RegEnumValueA(key, static_cast<uint32_t>(index), name.data(), &name_length, &type,
                              data.data(), &data_length);
    if (r == kRegNoMoreItems) break;
    // A value that cannot be read, or has no data, leaves its slot empty.
    if (r != 0 || data_length == 0) continue;
    const std::string_view bytes(reinterpret_cast<const char*>(data.data()), data_length - 1);
    // Where a byte is a character, a value of the other kind is passed over unconverted.
    if (one_byte_per_unit && !MayEndWithExtension(bytes, extension)) continue;
    String text = FromAnsi(bytes);
    if (!EndsWithExtension(text, extension)) continue;
    // A slot behind the last one grows the list to ten slots behind it.
    if (index > list.UBound(2)) list.RedimPreserve(index + 10);
    list.Set({0, index}, Variant(FromAnsi(std::string_view(name.data(), name_length))));
    list.Set({1, index}, Variant(std::move(text)));
  }
  RegCloseKey(key);
  list.RedimPreserve(index);
  return list;
}

Array FontFunctions::GetInstalledBitmapFonts() {
  return InstalledFonts(".FON");
}

Array FontFunctions::GetInstalledTTFonts() {
  return InstalledFonts(".TTF");
}

String FontFunctions::GetRegFontsPath() {
  String dir = FindFontsDirectory();
  return dir.empty() ? GetWindowsFolder() + String("FONTS\\") : dir;
}

String FontFunctions::GetFontName(String& strSourceName) {
  std::u16string_view v = strSourceName.view();
  size_t slash = v.rfind(u'\\');
  String dir = slash == std::u16string_view::npos ? String() : String(v.substr(0, slash + 1));
  String file = slash == std::u16string_view::npos ? strSourceName : String(v.substr(slash + 1));
  FONTINFO info;
  bool quiet = false;
  if (GetTTFontInfo(dir, file, info, quiet)) return info.FontName;
  if (GetBitmapFontInfo(dir, file, info, quiet)) return info.FontName;
  return String();
}

String FontFunctions::GetFontFriedlyName(String& FileNameTTF) {
  // A fixed name beside the library's own file: two callers at one moment collide, and the
  // second takes the fallback, as does a caller whose library folder is not writable.
  // The name, made once for each folder the library is asked to be in.
  thread_local String folder, fot;
  if (String now = platform::System().LibraryFolder(); !(now == folder) || fot.empty()) {
    fot = now + String(u"\\~TEMP.FOT");
    folder = std::move(now);
  }
  String name;
  // Kept from call to call: a walk asks for one ".FOT" a font, and its storage is reused.
  thread_local std::string bytes;
  bool written = false;
  if (platform::FontResources()
          .ScalableFontResourceBytes(1, fot, FileNameTTF, String(), bytes, written)
          .ok) {
    name = FotFaceName(bytes);
  }
  if (written) platform::Files().DeleteFile(fot);
  return name.empty() ? GetFontName(FileNameTTF) : name;
}

String FontFunctions::FontFamilyname(String& sFaceName, String& sStyle) {
  platform::FontResourceWalk walk;
  String family;
  bool found = false, quiet = false;
  for (Row& row : Rows(GetInstalledTTFonts(), *this)) {
    if (!(GetFontFriedlyName(row.path) == sFaceName)) continue;
    FONTINFO info;
    String dir = row.Dir(), file = row.File();
    if (GetTTFontInfo(dir, file, info, quiet)) {
      sStyle = info.FontStyle;
      family = info.FontFamily;
      found = true;
    }
  }
  for (Row& row : Rows(GetInstalledBitmapFonts(), *this)) {
    FONTINFO info;
    String dir = row.Dir(), file = row.File();
    if (GetBitmapFontInfo(dir, file, info, quiet) && StartsWith(info.FontName, sFaceName)) {
      family = info.FontName;
      sStyle = info.FontStyle;
      found = true;
    }
  }
  return found ? family : sFaceName;
}

String FontFunctions::FontFilename(String& sFontName, String& sFontStyle) {
  platform::FontResourceWalk walk;
  String last, exact;
  bool found = false, quiet = false;
  for (Row& row : Rows(GetInstalledTTFonts(), *this)) {
    FONTINFO info;
    String dir = row.Dir(), file = row.File();
    if (!GetTTFontInfo(dir, file, info, quiet) || !(info.FontFamily == sFontName)) continue;
    last = row.path;
    if (sFontStyle.empty()) sFontStyle = info.FontStyle;
    if (sFontStyle == info.FontStyle) {
      exact = row.path;
      found = true;
    }
  }
  for (Row& row : Rows(GetInstalledBitmapFonts(), *this)) {
    FONTINFO info;
    String dir = row.Dir(), file = row.File();
    if (!GetBitmapFontInfo(dir, file, info, quiet) || !StartsWith(info.FontName, sFontName))
      continue;
    last = row.path;
    if (sFontStyle == info.FontStyle) {
      exact = row.path;
      found = true;
    }
  }
  return found ? exact : last;
}

void FontFunctions::GetFontStylename(String& sBold, String& sItalic) {
  platform::FontResourceWalk walk;
  std::vector<String> styles;
  bool quiet = false;
  for (Row& row : Rows(GetInstalledTTFonts(), *this)) {
    FONTINFO info;
    String dir = row.Dir(), file = row.File();
    if (!GetTTFontInfo(dir, file, info, quiet)) continue;
    bool known = false;
    for (const String& s : styles) known |= s == info.FontStyle;
    if (!known) styles.push_back(info.FontStyle);
  }
  auto is_style = [&](const String& word) {
    for (const String& s : styles)
      if (s == word) return true;
    return false;
  };
  for (const String& style : styles) {
    std::vector<String> words;
    const String trimmed = Trim(style);
    std::u16string_view t = trimmed.view();
    for (size_t start = 0;;) {
      size_t blank = t.find(u' ', start);
      words.push_back(String(t.substr(start, blank - start)));
      if (blank == std::u16string_view::npos) break;
      start = blank + 1;
    }
    if (words.size() >= 2 && is_style(words[0]) && is_style(words[1])) {
      sBold = words[0];
      sItalic = words[1];
    }
  }
}

}  // namespace borvane
