// Helpers shared by the test suites.
#ifndef BORVANE_TESTS_TEST_SUPPORT_H_
#define BORVANE_TESTS_TEST_SUPPORT_H_

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "borvane/automation/error.h"
#include "borvane/automation/string.h"

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

// The error Number that `f` raises, or 0 when it raises none.
template <class F>
int32_t ErrorOf(F&& f) {
  return CaughtError(f).Number();
}

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

}  // namespace borvane::testing

#endif  // BORVANE_TESTS_TEST_SUPPORT_H_
