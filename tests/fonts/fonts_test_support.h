// Helpers of the font tests: texts in messages, the folders of a real install, fc-list.
#ifndef BORVANE_TESTS_FONTS_FONTS_TEST_SUPPORT_H_
#define BORVANE_TESTS_FONTS_FONTS_TEST_SUPPORT_H_

#include <stdio.h>

#include <filesystem>
#include <ostream>
#include <string>

#include "borvane/automation/string.h"

namespace borvane {

// Strings in test messages as their text.
inline void PrintTo(const String& s, std::ostream* os) {
  *os << '"' << s.ToUtf8() << '"';
}

namespace testing {

// What another process's `fc-list` prints for `format`.
inline std::string FcList(const std::string& format = "%{file}\\n") {
  FILE* p = popen(("fc-list --format '" + format + "'").c_str(), "r");
  std::string out;
  char buffer[4096];
  while (size_t n = fread(buffer, 1, sizeof buffer, p)) out.append(buffer, n);
  pclose(p);
  return out;
}

}  // namespace testing
}  // namespace borvane

#endif  // BORVANE_TESTS_FONTS_FONTS_TEST_SUPPORT_H_
