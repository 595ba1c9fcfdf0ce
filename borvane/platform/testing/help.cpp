#include "borvane/platform/testing/help.h"

#include "borvane/automation/error.h"

namespace borvane::platform {

int32_t RecordingHelpControl::HtmlHelp(int32_t caller_window, const AnsiText& file, int32_t command,
                                       const HelpData& data) {
  if (unavailable) throw Error::Platform(*unavailable);
  calls.push_back(Call{caller_window, file, command, data});
  if (results.empty()) return 0;
  int32_t result = results.front();
  results.erase(results.begin());
  return result;
}

}  // namespace borvane::platform
