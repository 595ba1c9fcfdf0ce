// Every test binary runs in a home of its own: the registry store, the fonts folder, the
// caches and the configuration of the user who runs the tests are never touched, whether the
// binary runs under ctest or alone. No help page opens in the user's browser either.
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

// Each test process has its own registry store, font folder and temporary folder: ctest runs a
// binary's tests side by side, and an install writes the font's name into the fonts key, so two
// tests installing a copy of one font would overwrite each other's value; the library names its
// temporary files after the fonts and files they stand for, too. The caches and configuration
// stay shared by the binary's tests. Children share their parent's.
struct TestHome {
  std::string own;
  pid_t owner = getpid();
  TestHome() {
    const std::string home = BORVANE_TEST_HOME;
    setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 0);
    setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 0);
    setenv("BORVANE_HELP_BROWSER", "true", 1);
    // The help servers the tests start stop soon after them.
    setenv("BORVANE_HELP_IDLE_SECONDS", "20", 0);
    if (!getenv("BORVANE_TEST_KEEP_TMPDIR")) {
      own = home + "/proc/" + std::to_string(getpid());
      std::filesystem::create_directories(own + "/tmp");
      setenv("TMPDIR", (own + "/tmp").c_str(), 1);
      setenv("BORVANE_REGISTRY", (own + "/registry.db").c_str(), 0);
      setenv("XDG_DATA_HOME", (own + "/data").c_str(), 0);
      setenv("BORVANE_TEST_KEEP_TMPDIR", "1", 1);
    }
    // A process that finds the mark without its parent's stores stays out of the user's own.
    setenv("BORVANE_REGISTRY", (home + "/registry.db").c_str(), 0);
    setenv("XDG_DATA_HOME", (home + "/data").c_str(), 0);
  }
  ~TestHome() {
    std::error_code ignored;
    if (!own.empty() && getpid() == owner) std::filesystem::remove_all(own, ignored);
  }
} test_home;

}  // namespace
