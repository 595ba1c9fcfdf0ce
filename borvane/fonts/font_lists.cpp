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
#include "borvane/platform/base/folder_watch.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/registry/registry_api.h"
#include "borvane/platform/session/system.h"

namespace borvane {

namespace {

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

// The fonts key, open for as long as this lives.
class FontsKey {
 public:
  FontsKey() : key_(OpenFontsKey()) {}
  ~FontsKey() { platform::RegCloseKey(key_); }
  FontsKey(const FontsKey&) = delete;
  FontsKey& operator=(const FontsKey&) = delete;
  platform::HKEY get() const { return key_; }

 private:
  platform::HKEY key_;
};

// The slots of the list of the values of the fonts key whose data ends in `extension`, in
// order: `slot(index, name, text)` with the value's name in the ANSI code page and its data as
// text (which `slot` may take). Returns the count of values, the upper bound the list ends with.
template <class Slot>
int32_t EnumerateFonts(const char* extension, Slot&& slot) {
  using namespace platform;
  // The store's and the catalog's watches are read once for the whole list.
  FolderWatch::OneLook one_look;
  FontsKey key;
  uint32_t longest_name = 0, longest_data = 0;
  RegQueryInfoKeyA(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &longest_name,
                   &longest_data);
  const CodePage code_page = AnsiCodePage();
  const bool one_byte_per_unit = code_page == CodePage::kWindows1252;
  std::vector<char> name(longest_name + 1);
  std::vector<uint8_t> data(longest_data + 1);
  String text;
  int32_t index = 0;
  for (;; ++index) {
    std::fill(name.begin(), name.end(), ' ');
    uint32_t name_length = longest_name + 1, data_length = longest_data + 1, type = 0;
    int32_t r = RegEnumValueA(key.get(), static_cast<uint32_t>(index), name.data(), &name_length,
                              &type, data.data(), &data_length);
    if (r == kRegNoMoreItems) break;
    // A value that cannot be read, or has no data, leaves its slot empty.
    if (r != 0 || data_length == 0) continue;
    const std::string_view bytes(reinterpret_cast<const char*>(data.data()), data_length - 1);
    // Where a byte is a character, a value of the other kind is passed over unconverted.
    if (one_byte_per_unit && !MayEndWithExtension(bytes, extension)) continue;
    AssignFromCodePage(bytes, code_page, text.mutable_str());
    if (!EndsWithExtension(text, extension)) continue;
    slot(index, std::string_view(name.data(), name_length), text);
  }
  return index;
}

// The row step over each slot of the list of `extension` whose name is not empty, in order,
// without the list being made: `row(path, split)` with the slot's folder and file side by side
// in `path` (a file without a folder is in the fonts directory) and where the file begins.
template <class Row>
void ForEachRow(FontFunctions& f, const char* extension, Row&& row) {
  String fonts_dir;  // asked for once for all files without a folder
  bool asked = false;
  String path;  // one storage for every row
  EnumerateFonts(extension, [&](int32_t, std::string_view name, const String& file) {
    // Bytes of a name in the code page are never an empty String.
    if (name.empty()) return;
    const std::u16string_view v = file.view();
    size_t slash = v.rfind(u'\\');
    if (slash != std::u16string_view::npos) {
      path.mutable_str().assign(v);
      row(path, slash + 1);
      return;
    }
    if (!asked) fonts_dir = f.GetRegFontsPath(), asked = true;
    path.mutable_str().assign(fonts_dir.view()).append(v);
    row(path, fonts_dir.size());
  });
}

String Before(const String& path, size_t split) {
  return String(path.view().substr(0, split));
}
String From(const String& path, size_t split) {
  return String(path.view().substr(split));
}

}  // namespace

Array FontFunctions::InstalledFonts(const char* extension) {
  Array list(vbString, {{0, 1}, {0, 10}});
  const int32_t count =
      EnumerateFonts(extension, [&](int32_t index, std::string_view name, String& text) {
        // A slot behind the last one grows the list to ten slots behind it.
        if (index > list.UBound(2)) list.RedimPreserve(index + 10);
        list.Set({0, index}, Variant(FromAnsi(name)));
        list.Set({1, index}, Variant(std::move(text)));
      });
  list.RedimPreserve(count);
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
  ForEachRow(*this, ".TTF", [&](String& path, size_t split) {
    if (!(GetFontFriedlyName(path) == sFaceName)) return;
    FONTINFO info;
    String dir = Before(path, split), file = From(path, split);
    if (GetTTFontInfo(dir, file, info, quiet)) {
      sStyle = info.FontStyle;
      family = info.FontFamily;
      found = true;
    }
  });
  ForEachRow(*this, ".FON", [&](String& path, size_t split) {
    FONTINFO info;
    String dir = Before(path, split), file = From(path, split);
    if (GetBitmapFontInfo(dir, file, info, quiet) && StartsWith(info.FontName, sFaceName)) {
      family = info.FontName;
      sStyle = info.FontStyle;
      found = true;
    }
  });
  return found ? family : sFaceName;
}

String FontFunctions::FontFilename(String& sFontName, String& sFontStyle) {
  platform::FontResourceWalk walk;
  String last, exact;
  bool found = false, quiet = false;
  ForEachRow(*this, ".TTF", [&](String& path, size_t split) {
    FONTINFO info;
    String dir = Before(path, split), file = From(path, split);
    if (!GetTTFontInfo(dir, file, info, quiet) || !(info.FontFamily == sFontName)) return;
    last = path;
    if (sFontStyle.empty()) sFontStyle = info.FontStyle;
    if (sFontStyle == info.FontStyle) {
      exact = path;
      found = true;
    }
  });
  ForEachRow(*this, ".FON", [&](String& path, size_t split) {
    FONTINFO info;
    String dir = Before(path, split), file = From(path, split);
    if (!GetBitmapFontInfo(dir, file, info, quiet) || !StartsWith(info.FontName, sFontName)) return;
    last = path;
    if (sFontStyle == info.FontStyle) {
      exact = path;
      found = true;
    }
  });
  return found ? exact : last;
}

void FontFunctions::GetFontStylename(String& sBold, String& sItalic) {
  platform::FontResourceWalk walk;
  std::vector<String> styles;
  bool quiet = false;
  ForEachRow(*this, ".TTF", [&](String& path, size_t split) {
    FONTINFO info;
    String dir = Before(path, split), file = From(path, split);
    if (!GetTTFontInfo(dir, file, info, quiet)) return;
    bool known = false;
    for (const String& s : styles) known |= s == info.FontStyle;
    if (!known) styles.push_back(info.FontStyle);
  });
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
