#include "borvane/platform/fonts/font_catalog.h"

#include <fontconfig/fontconfig.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>

#include "borvane/automation/text.h"
#include "borvane/platform/base/folder_watch.h"
#include "borvane/platform/base/user_folders.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/fontconfig_state.h"
#include "borvane/platform/fonts/sfnt_names.h"
#include "borvane/platform/registry/registry.h"

namespace borvane::platform {

namespace {

// What a font file is listed as, read from its own tables once per change of the file.
struct ListedFile {
  dev_t dev = 0;
  ino_t ino = 0;
  off_t size = 0;
  timespec mtime{};
  bool ok = false;
  String name;
  bool truetype = true;
};

class FontconfigCatalog : public FontCatalog {
 public:
  std::vector<InstalledFont> Fonts() override {
    std::lock_guard<std::mutex> lock(mutex_);
    Refresh();
    return fonts_;
  }

  uint64_t Version() override {
    std::lock_guard<std::mutex> lock(mutex_);
    Refresh();
    return version_;
  }

  std::string UserFontFolder() override {
    // Where fontconfig's default configuration looks for the user's fonts.
    return XdgFolder("XDG_DATA_HOME", "/.local/share") + "/fonts";
  }

 private:
  void Refresh() {
    // The folders of fonts and of fontconfig's configuration are watched: while none of them
    // changed, and this process did not read the configuration anew, neither did the list, and
    // fontconfig is not asked (its own check looks at every folder). A folder that cannot be
    // watched leaves that check to be made on every read.
    const bool changed = watch_.Changed();
    if (loaded_ && !changed && generation_ == fontconfig::Generation() &&
        (watched_ || fontconfig::UpToDate()))
      return;
    // A change seen on disk: fontconfig reads its folders again. Its own up-to-date check
    // goes by whole seconds and would keep the old list for a change within the second of its
    // last look; its caches are checked against the folders' times to the nanosecond.
    if (loaded_ && (changed || !watched_)) fontconfig::Reload();
    watched_ = Watch();
    generation_ = fontconfig::Generation();
    Load();
    loaded_ = true;
    ++version_;
  }

  // Watches every folder that fontconfig reads fonts or its configuration from, and the user's
  // font folder, which an install may make.
  bool Watch() {
    bool all = watch_.WatchFolder(UserFontFolder());
    fontconfig::Read([&](FcConfig* config) {
      FcStrList* dirs = config ? FcConfigGetFontDirs(config) : nullptr;
      while (FcChar8* dir = dirs ? FcStrListNext(dirs) : nullptr)
        all &= watch_.WatchFolder(reinterpret_cast<const char*>(dir));
      if (dirs) FcStrListDone(dirs);
      FcStrList* files = config ? FcConfigGetConfigFiles(config) : nullptr;
      while (FcChar8* file = files ? FcStrListNext(files) : nullptr)
        all &= watch_.WatchFile(reinterpret_cast<const char*>(file));
      if (files) FcStrListDone(files);
    });
    return all;
  }

  // The installed scalable font files, from the fonts fontconfig found in its folders (not the
  // fonts loaded for this process), each named as the system lists it.
  void Load() {
    std::vector<std::string> files;
    fontconfig::Read([&](FcConfig* config) {
      FcFontSet* system = config ? FcConfigGetFonts(config, FcSetSystem) : nullptr;
      if (!system) return;
      FcPattern* pattern = FcPatternCreate();
      FcObjectSet* objects = FcObjectSetBuild(FC_FILE, FC_FONTFORMAT, nullptr);
      FcFontSet* set = FcFontSetList(config, &system, 1, pattern, objects);
      for (int i = 0; set && i < set->nfont; ++i) {
        FcChar8 *file = nullptr, *format = nullptr;
        if (FcPatternGetString(set->fonts[i], FC_FILE, 0, &file) != FcResultMatch) continue;
        FcPatternGetString(set->fonts[i], FC_FONTFORMAT, 0, &format);
        const std::string fmt = format ? reinterpret_cast<const char*>(format) : "";
        if (fmt == "TrueType" || fmt == "CFF") files.push_back(reinterpret_cast<const char*>(file));
      }
      if (set) FcFontSetDestroy(set);
      FcObjectSetDestroy(objects);
      FcPatternDestroy(pattern);
    });
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    fonts_.clear();
    std::map<std::string, ListedFile> listed;
    for (const std::string& file : files) {
      ListedFile entry = Listed(file);
      if (entry.ok) fonts_.push_back({entry.name, file, entry.truetype});
      listed.emplace(file, std::move(entry));
    }
    listed_ = std::move(listed);
  }

  // The listing of `file`, read again only when the file is not the one read before.
  ListedFile Listed(const std::string& file) {
    struct stat st;
    if (::stat(file.c_str(), &st) != 0) return {};
    auto it = listed_.find(file);
    if (it != listed_.end() && it->second.dev == st.st_dev && it->second.ino == st.st_ino &&
        it->second.size == st.st_size && it->second.mtime.tv_sec == st.st_mtim.tv_sec &&
        it->second.mtime.tv_nsec == st.st_mtim.tv_nsec)
      return it->second;
    ListedFile entry;
    entry.dev = st.st_dev;
    entry.ino = st.st_ino;
    entry.size = st.st_size;
    entry.mtime = st.st_mtim;
    std::string bytes = ReadNativeFile(file);
    std::vector<SfntFace> faces;
    if (ReadSfntFaces(bytes, faces) == 0) {
      entry.ok = true;
      entry.name = SfntListName(faces);
      entry.truetype = faces[0].truetype;
    }
    return entry;
  }

  std::mutex mutex_;
  FolderWatch watch_;
  bool watched_ = false;
  bool loaded_ = false;
  uint64_t generation_ = 0;  // of fontconfig's configuration that the list was read from
  uint64_t version_ = 0;
  std::vector<InstalledFont> fonts_;
  std::map<std::string, ListedFile> listed_;
};

constexpr std::u16string_view kFontsKeys[] = {
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts",
    u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Fonts",
};
constexpr std::u16string_view kShellFolders =
    u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";

// The keys' names folded once, as every read of the registry asks about them.
const std::u16string& Folded(size_t which) {
  static const std::u16string folded[] = {FoldRegistryName(String(kFontsKeys[0])),
                                          FoldRegistryName(String(kFontsKeys[1])),
                                          FoldRegistryName(String(kShellFolders))};
  return folded[which];
}

// Whether `key` is the key whose folded name is `folded`, folded a unit at a time as the names
// are, without a folded copy of it.
bool IsKey(std::u16string_view key, const std::u16string& folded) {
  if (key.size() != folded.size()) return false;
  for (size_t i = 0; i < key.size(); ++i)
    if (key[i] != folded[i] && UpperChar(key[i]) != folded[i]) return false;
  return true;
}

bool IsFontsKey(std::u16string_view key) {
  return IsKey(key, Folded(0)) || IsKey(key, Folded(1));
}

class SystemKeys : public ComputedKeys {
 public:
  std::vector<RegistryValue> Values(const String& key) override {
    std::vector<RegistryValue> out;
    if (IsFontsKey(key.view())) return FontValues();
    if (IsKey(key.view(), Folded(2))) {
      // As the desktop would, once the folder is there.
      std::string folder = InstalledFonts().UserFontFolder();
      struct stat st;
      if (::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        out.push_back(RegistryValue::Text("Fonts", BackslashPath(folder)));
    }
    return out;
  }
  std::vector<String> SubKeys(const String&) override { return {}; }
  // The shell folders key is there as on the desktop, whether or not the font folder is yet.
  bool HasKey(const String& key) override {
    return IsFontsKey(key.view()) || IsKey(key.view(), Folded(2));
  }
  uint64_t Version(const String& key) override {
    if (IsFontsKey(key.view())) return InstalledFonts().Version();
    // The shell folder follows the folder itself; other keys have nothing from here.
    return IsKey(key.view(), Folded(2)) ? 0 : 1;
  }

 private:
  // The fonts keys' values, made again only when the catalog's list changed.
  std::vector<RegistryValue> FontValues() {
    FontCatalog& catalog = InstalledFonts();
    const uint64_t version = catalog.Version();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (version != 0 && &catalog == catalog_ && version == version_) return values_;
    }
    std::vector<RegistryValue> values;
    for (const InstalledFont& f : catalog.Fonts())
      values.push_back(RegistryValue::Text(
          f.full_name + String(f.truetype ? " (TrueType)" : " (OpenType)"), BackslashPath(f.path)));
    std::lock_guard<std::mutex> lock(mutex_);
    catalog_ = &catalog;
    version_ = version;
    values_ = values;
    return values;
  }

  std::mutex mutex_;
  const FontCatalog* catalog_ = nullptr;
  uint64_t version_ = 0;
  std::vector<RegistryValue> values_;
};

}  // namespace

FontCatalog& FontCatalog::Real() {
  static FontconfigCatalog catalog;
  return catalog;
}

void AddSystemComputedKeys(RegistryStore& store) {
  store.AddComputedKeys(std::make_shared<SystemKeys>());
}

}  // namespace borvane::platform

// fontconfig loses a few hundred bytes while it parses its configuration files, once per
// process; in builds that look for leaks, that one is fontconfig's, not the caller's. (Only a
// stack inside libfontconfig can be named: the library has no frame pointers to unwind.)
#if defined(__SANITIZE_ADDRESS__)
#define BORVANE_LEAK_CHECKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BORVANE_LEAK_CHECKS 1
#endif
#endif
#ifdef BORVANE_LEAK_CHECKS
extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}
#endif
