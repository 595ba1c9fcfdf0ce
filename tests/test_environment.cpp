// Every test binary runs in a home of its own: the registry store, the fonts folder, the
// caches and the configuration of the user who runs the tests are never touched, whether the
// binary runs under ctest or alone. No help page opens in the user's browser either.
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

const bool kTestHome = [] {
  const std::string home = BORVANE_TEST_HOME;
  setenv("BORVANE_REGISTRY", (home + "/registry.db").c_str(), 0);
  setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 0);
  setenv("XDG_DATA_HOME", (home + "/data").c_str(), 0);
  setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 0);
  setenv("BORVANE_HELP_BROWSER", "true", 1);
  // The help servers the tests start stop soon after them.
  setenv("BORVANE_HELP_IDLE_SECONDS", "20", 0);
  return true;
}();

// A temporary folder per process: the library names its temporary files after the fonts and
// files they stand for, so tests running side by side must not share one.
struct TemporaryFolder {
  std::string path;
  pid_t owner = getpid();
  TemporaryFolder() {
    if (getenv("BORVANE_TEST_KEEP_TMPDIR")) return;
    path = std::string(BORVANE_TEST_HOME) + "/tmp/" + std::to_string(getpid());
    std::filesystem::create_directories(path);
    setenv("TMPDIR", path.c_str(), 1);
    setenv("BORVANE_TEST_KEEP_TMPDIR", "1", 1);  // children share their parent's
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path.empty() && getpid() == owner) std::filesystem::remove_all(path, ignored);
  }
} temporary_folder;

}  // namespace
