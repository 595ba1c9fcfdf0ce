#include "borvane/platform/fonts/font_loader.h"

#include <sys/stat.h>

#include <cctype>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_catalog.h"
#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/fonts/fontconfig_state.h"

namespace borvane::platform {

namespace {

bool IsFile(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool EndsWithFot(const std::string& path) {
  if (path.size() < 4) return false;
  std::string ext = path.substr(path.size() - 4);
  for (char& c : ext) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return ext == ".FOT";
}

// True when `file` (a resolved path) lies directly in the user's font folder, compared as the
// same folder on disk so that a link or another spelling of the folder still counts.
bool InUserFontFolder(const std::string& file) {
  size_t slash = file.find_last_of('/');
  if (slash == std::string::npos) return false;
  struct stat folder, fonts;
  const std::string user = InstalledFonts().UserFontFolder();
  return ::stat(file.substr(0, slash + 1).c_str(), &folder) == 0 &&
         ::stat(user.c_str(), &fonts) == 0 && folder.st_dev == fonts.st_dev &&
         folder.st_ino == fonts.st_ino;
}

class FontconfigLoader : public FontLoader {
 public:
  int32_t AddFontResource(const String& path) override {
    std::string file = Resolve(path);
    if (file.empty()) return 0;
    return fontconfig::AddAppFont(file) ? 1 : 0;
  }

  // A font installed for good is not loaded by a process but found in the user's font folder,
  // by this process and every other one: removing it succeeds whenever its file is there, and
  // the caller's removal of the file and the broadcast do the rest. A file anywhere else that
  // this process did not load is no loaded font, as the system's font table would say: the
  // removal fails, so an uninstall never goes on to delete a file the library did not install.
  int32_t RemoveFontResource(const String& path) override {
    std::string file = Resolve(path);
    if (file.empty()) return 0;
    if (fontconfig::RemoveAppFont(file)) return 1;
    return InUserFontFolder(file) ? 1 : 0;
  }

  bool CanRemoveFontResource(const String& path) override {
    std::string file = Resolve(path);
    return !file.empty() && (fontconfig::IsAppFont(file) || InUserFontFolder(file));
  }

  // The user's font folder is scanned into fontconfig's caches, which every program reads, and
  // this process reads its configuration anew, keeping the fonts it loaded.
  int32_t BroadcastFontChange() override {
    return fontconfig::RescanFolder(InstalledFonts().UserFontFolder()) ? 1 : 0;
  }

  bool IsFontFile(const String& path) override {
    std::string file = Resolve(path);
    return !file.empty() && !EndsWithFot(file) && fontconfig::IsFontFile(file);
  }

 private:
  // The font file that `path` stands for, or "" when there is none.
  static std::string Resolve(const String& path) {
    std::string native = NativePath(path);
    if (native.find('/') == std::string::npos)
      native = InstalledFonts().UserFontFolder() + "/" + native;
    if (!IsFile(native)) return std::string();
    if (!EndsWithFot(native)) return native;
    String target;
    if (FontResources().ReadFontResourceTarget(String::FromUtf8(native), target) != 0)
      return std::string();
    std::string t = NativePath(target);
    if (t.find('/') == std::string::npos) {
      // A bare name: beside the ".FOT", else in the user's font folder.
      std::string beside = native.substr(0, native.find_last_of('/') + 1) + t;
      t = IsFile(beside) ? beside : InstalledFonts().UserFontFolder() + "/" + t;
    }
    return IsFile(t) ? t : std::string();
  }
};

}  // namespace

FontLoader& FontLoader::Real() {
  static FontconfigLoader loader;
  return loader;
}

}  // namespace borvane::platform
