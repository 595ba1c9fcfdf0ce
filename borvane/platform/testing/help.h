// A help control that records its calls and answers from a script. For tests and benchmarks only:
// built as the borvane_testing library, never part of libborvane or its installed headers.
#ifndef BORVANE_PLATFORM_TESTING_HELP_H_
#define BORVANE_PLATFORM_TESTING_HELP_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "borvane/platform/help/help_control.h"

namespace borvane::platform {

// Keeps every call with a copy of its records, and answers with scripted results (then 0). When
// `unavailable` is set, every call throws the platform's Error with that number instead.
class RecordingHelpControl : public HelpControl {
 public:
  struct Call {
    int32_t caller_window = 0;
    AnsiText file;
    int32_t command = 0;
    HelpData data;
  };

  int32_t HtmlHelp(int32_t caller_window, const AnsiText& file, int32_t command,
                   const HelpData& data) override;

  std::vector<Call> calls;
  std::vector<int32_t> results;
  std::optional<int32_t> unavailable;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_TESTING_HELP_H_
