#include "borvane/frame/error_handling.h"

namespace borvane {

namespace {

// The platform's global object offers LoadResString over the library's string resources. This
// library ships none, so every lookup fails and the fixed text stands in.
bool LoadResString(int32_t /*id*/, String& /*text*/) {
  return false;
}

}  // namespace

String GetErrorDescription(int32_t& lngErrorCode) {
  String text;
  if (LoadResString(lngErrorCode, text)) return text;
  return kUnknownErrorDescription;
}

void RaiseError(int32_t& lngErrorCode, String& strSource) {
  String description = GetErrorDescription(lngErrorCode);
  // Unsigned arithmetic: the sum wraps into the negative Long that the platform reports.
  int32_t number = static_cast<int32_t>(static_cast<uint32_t>(lngErrorCode) +
                                        static_cast<uint32_t>(kLibraryErrorBase));
  throw Error(number, strSource, description);
}

void RaiseError(int32_t code, const String& source) {
  String s = source;
  RaiseError(code, s);
}

}  // namespace borvane
