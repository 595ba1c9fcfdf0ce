// An install killed at any moment leaves no installed font or a complete one: processes that
// install a large font collection are killed with SIGKILL at random moments, and the user's font
// folder then holds either nothing or the whole font, and no partial file of any name.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "borvane/fonts/font_functions.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

namespace fs = std::filesystem;
using testing::ReadWholeFile;

TEST(FontKill, AKilledInstallLeavesNoFontOrAWholeOne) {
  const fs::path font = "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc";
  if (!fs::exists(font)) GTEST_SKIP() << "fonts-wqy-microhei is missing: scripts/deps installs it";
  testing::ScratchFolder home;
  fs::create_directories(home / "src");
  fs::create_directories(home / "tmp");
  fs::copy_file(font, home / "src/BvKill.ttc");
  const std::string whole = ReadWholeFile(font);
  const fs::path fonts = home / "data/fonts";
  // The child installs in folders of its own: the font folder, caches, registry and temporary
  // folder of this test alone.
  auto spawn = [&] {
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
      setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
      setenv("XDG_CACHE_HOME", (home / "cache").c_str(), 1);
      setenv("BORVANE_REGISTRY", (home / "registry.db").c_str(), 1);
      setenv("TMPDIR", (home / "tmp").c_str(), 1);
      FontFunctions f;
      String dir = String::FromUtf8((home / "src").string()), file = "BvKill.ttc";
      bool quiet = false;
      _exit(f.InstallTTFont(dir, file, quiet) == 1 ? 0 : 1);
    }
    return pid;
  };
  // A whole run, watched for the moment the font appears: the kills fall before, during and
  // after the copy, up to half as long again behind it (what comes later only tells fontconfig).
  auto start = std::chrono::steady_clock::now();
  std::chrono::nanoseconds copied{0};
  int status = 0;
  const pid_t first = spawn();
  while (waitpid(first, &status, WNOHANG) == 0) {
    if (copied.count() == 0 && fs::exists(fonts / "BvKill.ttc"))
      copied = std::chrono::steady_clock::now() - start;
    usleep(200);
  }
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  const auto span = std::chrono::steady_clock::now() - start;
  if (copied.count() == 0) copied = span;
  ASSERT_EQ(ReadWholeFile(fonts / "BvKill.ttc"), whole);

  std::mt19937 rng(20261125);
  std::uniform_int_distribution<int64_t> moment(0, copied.count() * 3 / 2);
  int none = 0, complete = 0;
  for (int i = 0; i < 100; ++i) {
    fs::remove_all(fonts);
    pid_t pid = spawn();
    int64_t ns = moment(rng);
    timespec delay{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
    nanosleep(&delay, nullptr);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(fonts, missing)) {
      ASSERT_EQ(entry.path().filename(), "BvKill.ttc")
          << "trial " << i << " after " << ns << " ns left " << entry.path();
      ASSERT_TRUE(ReadWholeFile(entry.path()) == whole)
          << "trial " << i << " after " << ns << " ns: a partial font of "
          << fs::file_size(entry.path()) << " bytes";
    }
    (fs::exists(fonts / "BvKill.ttc") ? complete : none)++;
  }
  std::printf("100 trials over %lld of %lld ms: %d without the font, %d with the whole font\n",
              static_cast<long long>(copied.count() * 3 / 2000000),
              static_cast<long long>(span.count() / 1000000), none, complete);
}

}  // namespace
}  // namespace borvane
