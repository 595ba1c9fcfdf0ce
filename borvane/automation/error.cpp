#include "borvane/automation/error.h"

namespace borvane {

Error::Error(int32_t number, String source, String description)
    : number_(number), source_(std::move(source)), description_(std::move(description)) {
  what_ =
      source_.ToUtf8() + ": " + description_.ToUtf8() + " (error " + std::to_string(number_) + ")";
}

Error Error::Platform(int32_t number) {
  return Error(number, String(kPlatformSource), StandardDescription(number));
}

String Error::StandardDescription(int32_t number) {
  switch (number) {
    case 3:
      return "Return without GoSub";
    case 5:
      return "Invalid procedure call or argument";
    case 6:
      return "Overflow";
    case 7:
      return "Out of memory";
    case 9:
      return "Subscript out of range";
    case 10:
      return "This array is fixed or temporarily locked";
    case 11:
      return "Division by zero";
    case 13:
      return "Type mismatch";
    case 52:
      return "Bad file name or number";
    case 53:
      return "File not found";
    case 57:
      return "Device I/O error";
    case 58:
      return "File already exists";
    case 61:
      return "Disk full";
    case 70:
      return "Permission denied";
    case 75:
      return "Path/File access error";
    case 76:
      return "Path not found";
    case 91:
      return "Object variable or With block variable not set";
    case 94:
      return "Invalid use of Null";
    case 326:
      return "Resource with identifier not found";
    case 424:
      return "Object required";
    case 429:
      return "ActiveX component can't create object";
    case 438:
      return "Object doesn't support this property or method";
    case 449:
      return "Argument not optional";
    case 450:
      return "Wrong number of arguments or invalid property assignment";
    case 457:
      return "This key is already associated with an element of this collection";
    default:
      return "Application-defined or object-defined error";
  }
}

void ThrowPlatformError(int32_t number) {
  throw Error::Platform(number);
}

}  // namespace borvane
