// The help control: the one entry point (HtmlHelpA) through which help windows are opened and
// closed, with its commands and the three records that travel with them.
//
// Text goes to the control as ANSI bytes (the code page of files). A text that the caller passes
// as a null pointer is std::nullopt, kept apart from an empty text, since the control treats the
// two differently.
#ifndef BORVANE_PLATFORM_HELP_HELP_CONTROL_H_
#define BORVANE_PLATFORM_HELP_HELP_CONTROL_H_

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "borvane/platform/base/service.h"

namespace borvane::platform {

// Commands, under their published names.
inline constexpr int32_t HH_DISPLAY_TOPIC = 0;
inline constexpr int32_t HH_DISPLAY_TOC = 1;
inline constexpr int32_t HH_DISPLAY_INDEX = 2;
inline constexpr int32_t HH_DISPLAY_SEARCH = 3;
inline constexpr int32_t HH_KEYWORD_LOOKUP = 13;
inline constexpr int32_t HH_DISPLAY_TEXT_POPUP = 14;
inline constexpr int32_t HH_HELP_CONTEXT = 15;
inline constexpr int32_t HH_CLOSE_ALL = 18;
inline constexpr int32_t HH_ALINK_LOOKUP = 19;

using AnsiText = std::optional<std::string>;

struct HH_FTS_QUERY {
  int32_t cbStruct = 0;
  int32_t fUniCodeStrings = 0;
  AnsiText pszSearchQuery;
  int32_t iProximity = 0;
  int32_t fStemmedSearch = 0;
  int32_t fTitleOnly = 0;
  int32_t fExecute = 0;
  AnsiText pszWindow;
  bool operator==(const HH_FTS_QUERY&) const = default;
};

struct HH_AKLINK {
  int32_t cbStruct = 0;
  bool fReserved = false;
  AnsiText pszKeywords;  // several keywords are separated by ";"
  AnsiText pszUrl;       // topic to show when no keyword is found
  AnsiText pszMsgText;   // else a message box with this text...
  AnsiText pszMsgTitle;  // ...and this title
  AnsiText pszWindow;
  bool fIndexOnFail = false;
  bool operator==(const HH_AKLINK&) const = default;
};

struct HelpPoint {
  int32_t x = 0;
  int32_t y = 0;
  bool operator==(const HelpPoint&) const = default;
};

struct HelpRect {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;
  bool operator==(const HelpRect&) const = default;
};

struct HH_POPUP {
  int32_t cbStruct = 0;
  int32_t hinst = 0;
  uint32_t idString = 0;  // topic number in the popup text file named by the file argument
  AnsiText pszText;       // the text itself when idString is 0
  HelpPoint pt;
  int32_t clrForeground = 0;
  int32_t clrBackground = 0;
  HelpRect rcMargins;
  AnsiText pszFont;  // "face, size, charset, styles"
  bool operator==(const HH_POPUP&) const = default;
};

// The data argument: a number, a text, or one of the records.
using HelpData = std::variant<int32_t, std::string, HH_FTS_QUERY, HH_AKLINK, HH_POPUP>;

class HelpControl {
 public:
  virtual ~HelpControl() = default;

  // HtmlHelpA. `file` is the help file, with ">window" behind it or "::/path" for a file inside
  // it; nullopt is the null pointer. Gives the handle of the help window, or 0 when the control
  // reports failure. Throws the platform's Error when the control cannot be reached at all.
  virtual int32_t HtmlHelp(int32_t caller_window, const AnsiText& file, int32_t command,
                           const HelpData& data) = 0;
  // Where the help window with the handle `window` (as HtmlHelp gave it) can be seen: the
  // address of its page, for a host that opens or shows it itself; empty when the control has
  // no such window or its windows have no address.
  virtual std::string WindowAddress(int32_t window) {
    (void)window;
    return std::string();
  }

  static HelpControl& Real();
};

inline HelpControl& HelpControls() {
  return Current<HelpControl>::Get();
}

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_CONTROL_H_
