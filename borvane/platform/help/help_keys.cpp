#include "borvane/platform/help/help_keys.h"

#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/version_info.h"
#include "borvane/platform/help/help_viewer.h"
#include "borvane/platform/session/system.h"

namespace borvane::platform {

namespace {

constexpr std::u16string_view kClasses = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes";
constexpr std::u16string_view kControlServer =
    u"CLSID\\{4662DAB0-D393-11D0-9A56-00C04FB68B66}\\InprocServer32";
constexpr std::u16string_view kBrowserServer =
    u"CLSID\\{0A89A860-D7B1-11CE-8350-444553540000}\\InProcServer32";
constexpr std::u16string_view kTypeLib = u"TypeLib\\{ADB880A2-D8FF-11CF-9377-00AA003B7A11}";

class HelpKeys : public ComputedKeys {
 public:
  HelpKeys() {
    std::string library = System().LibraryPath().ToUtf8();
    if (!library.empty()) {
      RegisterBuiltInVersion(library, 4u << 16 | 74u, 8702u << 16);
      servers_.push_back({Full(kControlServer), BackslashPath(library)});
    }
    // The browser component is the help server, which shows the pages whatever browser
    // opens them: 5.50.3825.1300, the release the help control of this version came with.
    std::string server = HelpServerProgram();
    if (server.empty() && !library.empty())
      server = library.substr(0, library.rfind('/') + 1) + "borvane-helpd";  // told as missing
    if (!server.empty()) {
      RegisterBuiltInVersion(server, 5u << 16 | 50u, 3825u << 16 | 1300u);
      servers_.push_back({Full(kBrowserServer), BackslashPath(server)});
    }
    keys_ = {Full(kTypeLib)};
    for (const Server& s : servers_) keys_.push_back(s.key);
  }

  // Made once, when the store is made.
  uint64_t Version(const String&) override { return 1; }

  std::vector<RegistryValue> Values(const String& key) override {
    for (const Server& s : servers_)
      if (Same(key, s.key)) return {RegistryValue::Text(String(), s.file)};
    return {};
  }

  std::vector<String> SubKeys(const String& key) override {
    std::vector<String> out;
    std::u16string folded = FoldRegistryName(key) + u"\\";
    for (const String& k : keys_) {
      std::u16string full = FoldRegistryName(k);
      if (full.size() <= folded.size() || full.compare(0, folded.size(), folded) != 0) continue;
      std::u16string_view below = std::u16string_view(k.view()).substr(folded.size());
      String name(below.substr(0, below.find(u'\\')));
      bool known = false;
      for (const String& o : out) known |= FoldRegistryName(o) == FoldRegistryName(name);
      if (!known) out.push_back(name);
    }
    return out;
  }

  // The keys and every key on their way.
  bool HasKey(const String& key) override {
    std::u16string folded = FoldRegistryName(key);
    for (const String& k : keys_) {
      std::u16string full = FoldRegistryName(k);
      if (full == folded ||
          (full.size() > folded.size() && full.compare(0, folded.size(), folded) == 0 &&
           full[folded.size()] == u'\\'))
        return true;
    }
    return false;
  }

 private:
  struct Server {
    String key;
    String file;
  };
  static String Full(std::u16string_view below) {
    return String(std::u16string(kClasses) + u"\\" + std::u16string(below));
  }
  static bool Same(const String& a, const String& b) {
    return FoldRegistryName(a) == FoldRegistryName(b);
  }
  std::vector<Server> servers_;
  std::vector<String> keys_;
};

}  // namespace

void AddHelpComputedKeys(RegistryStore& store) {
  store.AddComputedKeys(std::make_shared<HelpKeys>());
}

}  // namespace borvane::platform
