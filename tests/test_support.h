// Helpers shared by the test suites.
#ifndef BORVANE_TESTS_TEST_SUPPORT_H_
#define BORVANE_TESTS_TEST_SUPPORT_H_

#include <cstdint>

#include "borvane/automation/error.h"

namespace borvane::testing {

// The error Number that `f` raises, or 0 when it raises none.
template <class F>
int32_t ErrorOf(F&& f) {
  try {
    f();
  } catch (const Error& e) {
    return e.Number();
  }
  return 0;
}

}  // namespace borvane::testing

#endif  // BORVANE_TESTS_TEST_SUPPORT_H_
