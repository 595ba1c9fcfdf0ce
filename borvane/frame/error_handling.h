// ErrorHandling: how the library numbers and raises its own errors, and the guarded operation.
#ifndef BORVANE_FRAME_ERROR_HANDLING_H_
#define BORVANE_FRAME_ERROR_HANDLING_H_

#include <cstdint>
#include <new>
#include <utility>

#include "borvane/automation/error.h"
#include "borvane/automation/string.h"

namespace borvane {

// The platform's base for object errors, and the library's base above it.
inline constexpr int32_t kObjectErrorBase = static_cast<int32_t>(0x80040000);
inline constexpr int32_t kLibraryErrorBase = kObjectErrorBase + 50000;  // 0x8004C350
// The one code that guarded operations raise: Number 0x8004C3B5 (-2147171403).
inline constexpr int32_t kUnknownErrorCode = 101;
inline constexpr int32_t kGuardedErrorNumber = kLibraryErrorBase + kUnknownErrorCode;
inline constexpr const char* kUnknownErrorDescription = "An unknown error has occurred!";

// The text of error `lngErrorCode` from the library's string resources. The library has none,
// so this is always "An unknown error has occurred!"; it never fails.
String GetErrorDescription(int32_t& lngErrorCode);

// Raises Number lngErrorCode + 0x8004C350 with the Source given and GetErrorDescription's text.
[[noreturn]] void RaiseError(int32_t& lngErrorCode, String& strSource);
[[noreturn]] void RaiseError(int32_t code, const String& source);

// Runs `body` as a guarded operation: any failure inside it, whatever its kind, leaves as
// Number 0x8004C3B5 with `source` and "An unknown error has occurred!". Nothing is rolled back.
template <class F>
decltype(auto) Guarded(const char* source, F&& body) {
  try {
    return std::forward<F>(body)();
  } catch (...) {
    RaiseError(kUnknownErrorCode, String(source));
  }
}

}  // namespace borvane

#endif  // BORVANE_FRAME_ERROR_HANDLING_H_
