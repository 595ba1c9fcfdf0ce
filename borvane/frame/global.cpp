#include "borvane/frame/global.h"

namespace borvane {

String& gstrPathSeparator() {
  thread_local String separator = "//";
  return separator;
}

}  // namespace borvane
