#include "borvane/platform/fonts/font_loader.h"

#include <fontconfig/fontconfig.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mutex>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_catalog.h"
#include "borvane/platform/fonts/font_resource.h"

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
    std::lock_guard<std::mutex> lock(mutex_);
    if (!FcConfigAppFontAddFile(nullptr, reinterpret_cast<const FcChar8*>(file.c_str()))) return 0;
    files_.insert(file);
    return 1;
  }

  // A font installed for good is not loaded by a process but found in the user's font folder,
  // by this process and every other one: removing it succeeds whenever its file is there, and
  // the caller's removal of the file and the broadcast do the rest. A file anywhere else that
  // this process did not load is no loaded font, as the system's font table would say: the
  // removal fails, so an uninstall never goes on to delete a file the library did not install.
  int32_t RemoveFontResource(const String& path) override {
    std::string file = Resolve(path);
    const bool installed = !file.empty() && InUserFontFolder(file);
    std::lock_guard<std::mutex> lock(mutex_);
    if (!files_.erase(file)) return installed ? 1 : 0;
    // fontconfig drops application fonts only all at once: the others come back.
    FcConfigAppFontClear(nullptr);
    for (const std::string& f : files_)
      FcConfigAppFontAddFile(nullptr, reinterpret_cast<const FcChar8*>(f.c_str()));
    return 1;
  }

  int32_t BroadcastFontChange() override {
    // fc-cache brings the user's font folder into fontconfig's caches, which every program
    // reads; this process reads its configuration again.
    std::string folder = InstalledFonts().UserFontFolder();
    pid_t pid = ::fork();
    if (pid == 0) {
      // Forced: a folder changed within the second of its last scan looks unchanged.
      ::execlp("fc-cache", "fc-cache", "-f", folder.c_str(), static_cast<char*>(nullptr));
      ::_exit(127);
    }
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) < 0) return 0;
    FcInitReinitialize();
    std::lock_guard<std::mutex> lock(mutex_);
    for (const std::string& f : files_)
      FcConfigAppFontAddFile(nullptr, reinterpret_cast<const FcChar8*>(f.c_str()));
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 1 : 0;
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

  std::mutex mutex_;
  std::set<std::string> files_;  // the font files loaded into this process
};

}  // namespace

FontLoader& FontLoader::Real() {
  static FontconfigLoader loader;
  return loader;
}

}  // namespace borvane::platform
