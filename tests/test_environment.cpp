// Every test binary runs in a home of its own: the registry store, the fonts folder, the
// caches and the configuration of the user who runs the tests are never touched, whether the
// binary runs under ctest or alone. No help page opens in the user's browser either.
#include <stdlib.h>

#include <string>

namespace {

const bool kTestHome = [] {
  const std::string home = BORVANE_TEST_HOME;
  setenv("BORVANE_REGISTRY", (home + "/registry.db").c_str(), 0);
  setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 0);
  setenv("XDG_DATA_HOME", (home + "/data").c_str(), 0);
  setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 0);
  setenv("BORVANE_HELP_BROWSER", "true", 1);
  return true;
}();

}  // namespace
