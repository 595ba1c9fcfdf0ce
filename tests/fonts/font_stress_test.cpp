// A multi-threaded host: one thread installs and uninstalls a font over and over while others
// list and name fonts, for real through fontconfig. No call fails, every answer is right, and
// each change is seen by every later lookup on every thread. BORVANE_FONT_STRESS_SECONDS sets the
// length of the run (2 s by default).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "borvane/fonts/font_functions.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_catalog.h"
#include "tests/fonts/fonts_test_support.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kReaders = 3;
const char* const kDejaVu = "/usr/share/fonts/truetype/dejavu/";

class Stress {
 public:
  explicit Stress(std::string installed) : installed_(std::move(installed)) {}

  // A problem: counted, and the first few told.
  void Wrong(const std::string& what) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (++wrong_ <= 10) problems_.push_back(what);
  }
  void Failed(const std::string& what) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (++errors_ <= 10) problems_.push_back(what);
  }

  // The installer: each change is made between an odd (changing) and an even (settled) epoch,
  // and the next waits until every reader has made a whole round of lookups in the settled one.
  void Install(const String& source_dir, Clock::time_point end) {
    FontFunctions f;
    const String file = String::FromUtf8(fs::path(installed_).filename().string());
    for (int n = 1; Clock::now() < end; ++n) {
      epoch_.store(2 * n - 1);
      try {
        String dir = source_dir, name = file, fonts;
        bool quiet = false;
        if (n % 2 == 1) {
          if (f.InstallTTFont(dir, name, quiet) != 1) Wrong("the install did not give 1");
        } else if (!f.UnInstallTTFont(name, fonts, quiet)) {
          Wrong("the uninstall failed");
        }
      } catch (const Error& e) {
        Failed("install: " + e.Description().ToUtf8());
      }
      ++changes_;
      // Another process sees the change as soon as the call returns.
      const bool listed = testing::FcList().find(installed_) != std::string::npos;
      if (listed != (n % 2 == 1)) Wrong("fc-list after change " + std::to_string(n));
      epoch_.store(2 * n);
      const auto deadline = Clock::now() + std::chrono::seconds(20);
      for (int k = 0; k < kReaders; ++k)
        while (confirmed_[k].load() < 2 * n && Clock::now() < deadline)
          std::this_thread::sleep_for(std::chrono::microseconds(200));
      if (Clock::now() >= deadline) Wrong("the readers did not finish a round");
    }
    stop_.store(true);
  }

  // A reader: names of fixed fonts must stay right, and in a settled epoch the installed font
  // must be listed exactly when it is installed.
  void Read(int k) {
    FontFunctions f;
    const String sans = String::FromUtf8(std::string(kDejaVu) + "DejaVuSans.ttf");
    for (int round = 0; !stop_.load(); ++round) {
      const int epoch = epoch_.load();
      try {
        String path = sans;
        if (!(f.GetFontName(path) == String("DejaVu Sans")))
          Wrong("GetFontName gave '" + f.GetFontName(path).ToUtf8() + "'");
        String dir = kDejaVu, file = "DejaVuSans-Bold.ttf";
        FONTINFO info;
        bool quiet = false;
        if (!f.GetTTFontInfo(dir, file, info, quiet) || !(info.FontStyle == String("Bold")))
          Wrong("GetTTFontInfo of DejaVuSans-Bold.ttf");
        bool listed = false;
        Array list = f.GetInstalledTTFonts();
        for (int32_t i = 0; i <= list.UBound(2); ++i) {
          const std::string data = CStr(list.At({1, i})).ToUtf8();
          listed |= data.find(fs::path(installed_).filename().string()) != std::string::npos;
        }
        bool known = false;
        for (const platform::InstalledFont& font : platform::InstalledFonts().Fonts())
          known |= font.path == installed_;
        if (round % 8 == 0) {
          String face = "DejaVu Sans Bold", style;
          if (!(f.FontFamilyname(face, style) == String("DejaVu Sans")) ||
              !(style == String("Bold")))
            Wrong("FontFamilyname of DejaVu Sans Bold");
        }
        if (epoch % 2 == 0 && epoch == epoch_.load()) {
          const bool installed = (epoch / 2) % 2 == 1;
          if (listed != installed || known != installed)
            Wrong("epoch " + std::to_string(epoch) + ": listed " + std::to_string(listed) +
                  ", known to the catalog " + std::to_string(known));
        }
      } catch (const Error& e) {
        Failed("lookup: " + e.Description().ToUtf8());
      }
      ++lookups_;
      if (epoch % 2 == 0) confirmed_[k].store(epoch);
    }
  }

  void Report(double seconds) {
    std::printf("%.1f s: %ld changes, %ld lookup rounds on %d threads, %ld errors, %ld wrong\n",
                seconds, changes_.load(), lookups_.load(), kReaders, errors_, wrong_);
    for (const std::string& p : problems_) std::printf("  %s\n", p.c_str());
    EXPECT_EQ(errors_, 0);
    EXPECT_EQ(wrong_, 0);
    EXPECT_GE(changes_.load(), 1);
  }

 private:
  const std::string installed_;  // the installed font's path
  std::atomic<int> epoch_{0};
  std::atomic<bool> stop_{false};
  std::atomic<int> confirmed_[kReaders] = {};
  std::atomic<long> changes_{0}, lookups_{0};
  std::mutex mutex_;
  long errors_ = 0, wrong_ = 0;
  std::vector<std::string> problems_;
};

TEST(FontStress, OneThreadInstallsWhileOthersListAndName) {
  // A scalable font of a family that no font of the system has.
  const char* wine = "/usr/share/wine/fonts/tahoma.ttf";
  if (!fs::exists(wine) || !fs::exists(std::string(kDejaVu) + "DejaVuSans.ttf"))
    GTEST_SKIP() << "fonts-wine or fonts-dejavu-core is missing";
  const char* env = std::getenv("BORVANE_FONT_STRESS_SECONDS");
  const double seconds = env ? std::atof(env) : 2.0;
  testing::ScratchFolder source;
  fs::copy_file(wine, source / "BvStress.ttf");
  FontFunctions f;
  const std::string fonts = platform::NativePath(f.GetRegFontsPath());
  Stress stress(fonts + "BvStress.ttf");
  const auto start = Clock::now();
  const auto end = start + std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
  std::vector<std::thread> threads;
  for (int k = 0; k < kReaders; ++k) threads.emplace_back([&stress, k] { stress.Read(k); });
  threads.emplace_back(
      [&] { stress.Install(String::FromUtf8(source.path().string() + "/"), end); });
  for (std::thread& t : threads) t.join();
  stress.Report(std::chrono::duration<double>(Clock::now() - start).count());
  // The run ends installed after an odd count of changes: the font goes again.
  if (fs::exists(fonts + "BvStress.ttf")) {
    String file = "BvStress.ttf", none;
    bool quiet = false;
    EXPECT_TRUE(f.UnInstallTTFont(file, none, quiet));
  }
}

}  // namespace
}  // namespace borvane
