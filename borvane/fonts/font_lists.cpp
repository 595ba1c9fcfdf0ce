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

// The two kinds of font files the lists tell apart, by the extension of a value's data: bitmap
// fonts (".FON") and scalable fonts. A scalable font is a TrueType file (".TTF") on the system
// the lists were made for; on Linux OpenType fonts (".OTF") and collections of either (".TTC",
// ".OTC") are installed beside them in the same way and count as the same kind, so that every
// installed scalable font is listed and found.
enum class FontKind { kBitmap, kScalable };

bool IsKindExtension(std::u16string_view upper, FontKind kind) {
  if (kind == FontKind::kBitmap) return upper == u".FON";
  return upper == u".TTF" || upper == u".OTF" || upper == u".TTC" || upper == u".OTC";
}

// The last four characters of `text` in capital letters, or nothing for a shorter text.
std::u16string LastFourUpper(const String& text) {
  std::u16string_view t = text.view();
  if (t.size() < 4) return std::u16string();
  std::u16string last(t.substr(t.size() - 4));
  for (char16_t& c : last) {
    // A character beyond ASCII takes the full capitalisation.
    if (c >= 0x80) return std::u16string(UCase(String(t.substr(t.size() - 4))).view());
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
  }
  return last;
}

// Whether the last four characters of `text`, in capital letters, are an extension of `kind`.
bool EndsWithKind(const String& text, FontKind kind) {
  return IsKindExtension(LastFourUpper(text), kind);
}

// False when the last four bytes, each one character, cannot be an extension of `kind` in any
// capitals; bytes beyond ASCII may be, and are left to EndsWithKind.
bool MayEndWithKind(std::string_view bytes, FontKind kind) {
  if (bytes.size() < 4) return false;
  std::u16string last(4, u' ');
  for (size_t i = 0; i < 4; ++i) {
    const auto b = static_cast<unsigned char>(bytes[bytes.size() - 4 + i]);
    if (b >= 0x80) return true;
    last[i] = static_cast<char16_t>(b >= 'a' && b <= 'z' ? b - 32 : b);
  }
  return IsKindExtension(last, kind);
}

// Whether a row's file is a collection, whose fonts the walks look at one by one.
bool IsCollection(const String& file) {
  const std::u16string last = LastFourUpper(file);
  return last == u".TTC" || last == u".OTC";
}

// The fonts of the collection at `path`: `face(info)` with the names of each, read by the scan
// of a ".FOT" that describes that font alone (its full name as the font name). A font that
// cannot be read is passed over, as a row is.
template <class Face>
void ForEachFace(const String& path, Face&& face) {
  platform::FontResource& resources = platform::FontResources();
  uint32_t count = 0;
  if (resources.FaceCount(path, count) != 0) return;
  std::string bytes;
  for (uint32_t i = 0; i < count; ++i) {
    if (resources.FaceResourceBytes(path, i, bytes) != 0) continue;
    FONTINFO info;
    info.FontName = ScanFotNameBytes(bytes, info.FontFamily, info.FontStyle);
    face(info);
  }
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

// The slots of the list of the values of the fonts key whose data ends in an extension of
// `kind`, in order: `slot(index, name, text)` with the value's name in the ANSI code page and its
// data as text (which `slot` may take). Returns the count of values, the upper bound the list ends
// with.
template <class Slot>
int32_t EnumerateFonts(FontKind kind, Slot&& slot) {
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
    if (one_byte_per_unit && !MayEndWithKind(bytes, kind)) continue;
    AssignFromCodePage(bytes, code_page, text.mutable_str());
    if (!EndsWithKind(text, kind)) continue;
    slot(index, std::string_view(name.data(), name_length), text);
  }
  return index;
}

// The row step over each slot of the list of `kind` whose name is not empty, in order, without
// the list being made: `row(path, split)` with the slot's folder and file side by side in
// `path` (a file without a folder is in the fonts directory) and where the file begins. A "/"
// separates folders as "\" does.
template <class Row>
void ForEachRow(FontFunctions& f, FontKind kind, Row&& row) {
  String fonts_dir;  // asked for once for all files without a folder
  bool asked = false;
  String path;  // one storage for every row
  EnumerateFonts(kind, [&](int32_t, std::string_view name, const String& file) {
    // Bytes of a name in the code page are never an empty String.
    if (name.empty()) return;
    const std::u16string_view v = file.view();
    size_t slash = v.find_last_of(u"\\/");
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

Array FontFunctions::InstalledFonts(bool bitmap) {
  Array list(vbString, {{0, 1}, {0, 10}});
  const int32_t count = EnumerateFonts(bitmap ? FontKind::kBitmap : FontKind::kScalable,
                                       [&](int32_t index, std::string_view name, String& text) {
                                         // A slot behind the last one grows the list to ten slots
                                         // behind it.
                                         if (index > list.UBound(2)) list.RedimPreserve(index + 10);
                                         list.Set({0, index}, Variant(FromAnsi(name)));
                                         list.Set({1, index}, Variant(std::move(text)));
                                       });
  list.RedimPreserve(count);
  return list;
}

Array FontFunctions::GetInstalledBitmapFonts() {
  return InstalledFonts(true);
}

Array FontFunctions::GetInstalledTTFonts() {
  return InstalledFonts(false);
}

String FontFunctions::GetRegFontsPath() {
  String dir = FindFontsDirectory();
  return dir.empty() ? GetWindowsFolder() + String("FONTS\\") : dir;
}

String FontFunctions::GetFontName(String& strSourceName) {
  // A "/" separates the folder as "\" does.
  std::u16string_view v = strSourceName.view();
  size_t slash = v.find_last_of(u"\\/");
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
  ForEachRow(*this, FontKind::kScalable, [&](String& path, size_t split) {
    if (IsCollection(path)) {
      ForEachFace(path, [&](const FONTINFO& info) {
        if (!(info.FontName == sFaceName)) return;
        sStyle = info.FontStyle;
        family = info.FontFamily;
        found = true;
      });
      return;
    }
    if (!(GetFontFriedlyName(path) == sFaceName)) return;
    FONTINFO info;
    String dir = Before(path, split), file = From(path, split);
    if (GetTTFontInfo(dir, file, info, quiet)) {
      sStyle = info.FontStyle;
      family = info.FontFamily;
      found = true;
    }
  });
  ForEachRow(*this, FontKind::kBitmap, [&](String& path, size_t split) {
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
  auto match = [&](const String& path, const FONTINFO& info) {
    if (!(info.FontFamily == sFontName)) return;
    last = path;
    if (sFontStyle.empty()) sFontStyle = info.FontStyle;
    if (sFontStyle == info.FontStyle) {
      exact = path;
      found = true;
    }
  };
  ForEachRow(*this, FontKind::kScalable, [&](String& path, size_t split) {
    if (IsCollection(path)) {
      ForEachFace(path, [&](const FONTINFO& info) { match(path, info); });
      return;
    }
    FONTINFO info;
    String dir = Before(path, split), file = From(path, split);
    if (GetTTFontInfo(dir, file, info, quiet)) match(path, info);
  });
  ForEachRow(*this, FontKind::kBitmap, [&](String& path, size_t split) {
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
  auto add = [&](const FONTINFO& info) {
    bool known = false;
    for (const String& s : styles) known |= s == info.FontStyle;
    if (!known) styles.push_back(info.FontStyle);
  };
  ForEachRow(*this, FontKind::kScalable, [&](String& path, size_t split) {
    if (IsCollection(path)) {
      ForEachFace(path, add);
      return;
    }
    FONTINFO info;
    String dir = Before(path, split), file = From(path, split);
    if (GetTTFontInfo(dir, file, info, quiet)) add(info);
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
