// Error: the one exception type of the library, as the automation runtime's error object.
#ifndef BORVANE_AUTOMATION_ERROR_H_
#define BORVANE_AUTOMATION_ERROR_H_

#include <cstdint>
#include <exception>
#include <string>

#include "borvane/automation/string.h"

namespace borvane {

// Numbers of the platform's own errors that the library raises or lets through.
enum PlatformError : int32_t {
  kErrInvalidCall = 5,         // "Invalid procedure call or argument"
  kErrOverflow = 6,            // "Overflow"
  kErrOutOfMemory = 7,         // "Out of memory"
  kErrSubscript = 9,           // "Subscript out of range"
  kErrDivisionByZero = 11,     // "Division by zero"
  kErrTypeMismatch = 13,       // "Type mismatch"
  kErrBadFileName = 52,        // "Bad file name or number"
  kErrFileNotFound = 53,       // "File not found"
  kErrPathNotFound = 76,       // "Path not found"
  kErrPermissionDenied = 70,   // "Permission denied"
  kErrPathFileAccess = 75,     // "Path/File access error"
  kErrFileAlreadyExists = 58,  // "File already exists"
  kErrDeviceIO = 57,           // "Device I/O error"
  kErrObjectNotSet = 91,       // "Object variable or With block variable not set"
  kErrCantCreateObject = 429,  // "ActiveX component can't create object"
  kErrNoSuchMember = 438,      // "Object doesn't support this property or method"
  kErrArgNotOptional = 449,    // "Argument not optional"
  kErrWrongArgCount = 450,     // "Wrong number of arguments or invalid property assignment"
  kErrKeyAlreadyUsed = 457,  // "This key is already associated with an element of this collection"
};

// The Source that errors raised by the runtime itself carry.
inline constexpr const char* kPlatformSource = "Borvane";

class Error : public std::exception {
 public:
  Error(int32_t number, String source, String description);

  // A platform error with its standard description and the runtime's Source.
  static Error Platform(int32_t number);
  // The platform's standard description of `number`; "Application-defined or object-defined
  // error" for a number it does not know.
  static String StandardDescription(int32_t number);

  int32_t Number() const { return number_; }
  String Source() const { return source_; }
  String Description() const { return description_; }
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  int32_t number_;
  String source_;
  String description_;
  std::string what_;
};

// Raises the platform error `number` with its standard description.
[[noreturn]] void ThrowPlatformError(int32_t number);

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_ERROR_H_
