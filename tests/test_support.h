// Helpers shared by the test suites: errors, scratch folders, late-bound calls.
#ifndef BORVANE_TESTS_TEST_SUPPORT_H_
#define BORVANE_TESTS_TEST_SUPPORT_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "borvane/automation/dispatch.h"
#include "borvane/automation/error.h"
#include "borvane/automation/string.h"
#include "borvane/frame/error_handling.h"
#include "borvane/platform/base/service.h"

namespace borvane::testing {

// The Error that `f` raises; one with Number 0 when it raises none.
template <class F>
Error CaughtError(F&& f) {
  try {
    f();
  } catch (const Error& e) {
    return e;
  }
  return Error(0, String(), String());
}

template <class F>
Error Raised(F&& f) {
  return CaughtError(f);
}

// The error Number that `f` raises, or 0 when it raises none.
template <class F>
int32_t ErrorOf(F&& f) {
  return CaughtError(f).Number();
}

// Whether `e` has this Number and Source, and, when given, this Description (else the
// platform's own text for the number).
inline ::testing::AssertionResult IsError(const Error& e, int32_t number, const char* source,
                                          const char* description = nullptr) {
  String text = description ? String(description) : Error::StandardDescription(number);
  if (e.Number() == number && e.Source() == String(source) && e.Description() == text)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "error " << e.Number() << " from '" << e.Source().ToUtf8() << "': " << e.what();
}

// Whether `e` is the guarded operation's fixed error with that Source.
inline ::testing::AssertionResult IsGuarded(const Error& e, const char* source) {
  return IsError(e, kGuardedErrorNumber, source, kUnknownErrorDescription);
}

inline std::string U8(const String& s) {
  return s.ToUtf8();
}

// Late-bound calls as a script writes them.
inline Variant Get(const Object& o, const char* name, std::vector<Variant> args = {}) {
  return CallByName(o, name, VbGet, args);
}
inline Variant Call(const Object& o, const char* name, std::vector<Variant> args = {}) {
  return CallByName(o, name, VbMethod, args);
}
inline void Let(const Object& o, const char* name, const Variant& value) {
  CallByName(o, name, VbLet, {value});
}

// A double of a platform service, installed as the thread's `Service` while it lives.
template <class Double, class Service>
struct InUse : Double {
  platform::ScopedService<Service> scope{*this};
};

// The whole content of a file, or "<missing>".
inline std::string ReadWholeFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return "<missing>";
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

// A folder of its own under /tmp, removed with all it holds when the scope ends.
class ScratchFolder {
 public:
  ScratchFolder() {
    char pattern[] = "/tmp/borvane-test-XXXXXX";
    path_ = ::mkdtemp(pattern);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  // Writes a file into the folder; its path as a String.
  String Put(const std::string& name, const std::string& bytes) const {
    std::ofstream(path_ / name, std::ios::binary) << bytes;
    return String::FromUtf8((path_ / name).string());
  }
  // The path of `name` in the folder, as the library writes paths ("\" between names).
  String Windows(const std::string& name) const {
    std::string p = (path_ / name).string();
    for (char& c : p)
      if (c == '/') c = '\\';
    return String::FromUtf8(p);
  }

 private:
  std::filesystem::path path_;
};

// Copies the test help project (tests/data/help) into `folder`/src and compiles it with
// chmcmd; the path of the .chm, or "" when chmcmd is missing or fails.
inline std::string CompileTestHelp(const std::filesystem::path& folder) {
  if (std::system("command -v chmcmd >/dev/null 2>&1") != 0) return "";
  std::filesystem::copy(
      std::filesystem::path(BORVANE_SOURCE_DIR) / "tests/data/help", folder / "src",
      std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);
  std::string compile =
      "cd '" + (folder / "src").string() + "' && chmcmd --verbosity 0 manual.hhp >/dev/null 2>&1";
  if (std::system(compile.c_str()) != 0) return "";
  return (folder / "src/manual.chm").string();
}

// A native path as the library's callers write it, "\" between names.
inline std::string WindowsPath(std::string path) {
  for (char& c : path)
    if (c == '/') c = '\\';
  return path;
}

}  // namespace borvane::testing

#endif  // BORVANE_TESTS_TEST_SUPPORT_H_
