#include "borvane/platform/fonts/fontconfig_state.h"

#include <fontconfig/fontconfig.h>

#include <atomic>
#include <mutex>
#include <set>

namespace borvane::platform::fontconfig {

namespace {

struct State {
  std::mutex mutex;
  std::set<std::string> app_fonts;  // the font files loaded for this process
  std::atomic<uint64_t> generation{1};
};

State& Shared() {
  static State state;
  return state;
}

const FcChar8* Bytes(const std::string& s) {
  return reinterpret_cast<const FcChar8*>(s.c_str());
}

// Reads the configuration anew and makes it current, with this process's fonts loaded into it
// first. The caller holds the lock.
bool ReloadLocked(State& state) {
  FcConfig* config = FcInitLoadConfigAndFonts();
  if (!config) return false;
  for (const std::string& file : state.app_fonts) FcConfigAppFontAddFile(config, Bytes(file));
  const bool ok = FcConfigSetCurrent(config);
  FcConfigDestroy(config);  // the current configuration holds its own reference
  state.generation.fetch_add(1, std::memory_order_acq_rel);
  return ok;
}

}  // namespace

void Read(const std::function<void(_FcConfig*)>& read) {
  State& state = Shared();
  std::lock_guard<std::mutex> lock(state.mutex);
  FcConfig* config = FcConfigReference(nullptr);
  read(config);
  if (config) FcConfigDestroy(config);
}

bool AddAppFont(const std::string& file) {
  State& state = Shared();
  std::lock_guard<std::mutex> lock(state.mutex);
  if (!FcConfigAppFontAddFile(nullptr, Bytes(file))) return false;
  state.app_fonts.insert(file);
  return true;
}

bool RemoveAppFont(const std::string& file) {
  State& state = Shared();
  std::lock_guard<std::mutex> lock(state.mutex);
  if (!state.app_fonts.erase(file)) return false;
  // fontconfig drops application fonts only all at once: the others come back.
  FcConfigAppFontClear(nullptr);
  for (const std::string& f : state.app_fonts) FcConfigAppFontAddFile(nullptr, Bytes(f));
  return true;
}

bool IsAppFont(const std::string& file) {
  State& state = Shared();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.app_fonts.count(file) != 0;
}

bool RescanFolder(const std::string& folder) {
  State& state = Shared();
  std::lock_guard<std::mutex> lock(state.mutex);
  FcConfig* config = FcConfigReference(nullptr);
  // A forced read scans the folder and writes its cache (under fontconfig's own lock of the
  // cache file, which other processes respect). fc-cache would wait two seconds after it, so
  // that a later change falls into a later second; the cache's check of the folder's time goes
  // by nanoseconds, and the next change made here scans the folder again anyway.
  FcCache* cache = config ? FcDirCacheRead(Bytes(folder), FcTrue, config) : nullptr;
  if (cache) FcDirCacheUnload(cache);
  if (config) FcConfigDestroy(config);
  const bool reloaded = ReloadLocked(state);
  return cache != nullptr && reloaded;
}

bool Reload() {
  State& state = Shared();
  std::lock_guard<std::mutex> lock(state.mutex);
  return ReloadLocked(state);
}

bool UpToDate() {
  State& state = Shared();
  std::lock_guard<std::mutex> lock(state.mutex);
  return FcConfigUptoDate(nullptr);
}

bool IsFontFile(const std::string& file) {
  int count = 0;
  FcPattern* font = FcFreeTypeQuery(Bytes(file), 0, nullptr, &count);
  if (!font) return false;
  FcPatternDestroy(font);
  return true;
}

uint64_t Generation() {
  return Shared().generation.load(std::memory_order_acquire);
}

}  // namespace borvane::platform::fontconfig
