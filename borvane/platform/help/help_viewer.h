// The help viewer: the help control of this platform. It opens a compiled help file (.chm),
// extracts it once into the user's cache, resolves the topic that a command asks for (a path,
// a context number, a keyword of the index, an associative link, the contents or the index),
// writes a help page that shows the file's contents and index beside the topic, and opens
// that page in the desktop's browser.
//
// The browser is the command in BORVANE_HELP_BROWSER when set (run with the page's path),
// else xdg-open where a display is there. Without a display the page is made and nothing is
// opened; the call still succeeds. Text popups go to the message-box service.
#ifndef BORVANE_PLATFORM_HELP_HELP_VIEWER_H_
#define BORVANE_PLATFORM_HELP_HELP_VIEWER_H_

#include <string>

#include "borvane/platform/help/help_control.h"

namespace borvane::platform {

class HelpViewer : public HelpControl {
 public:
  // Gives a new handle (1, 2, ...) for each page opened, 0 when the file is missing, not a
  // compiled help file or damaged, or the topic cannot be found.
  int32_t HtmlHelp(int32_t caller_window, const AnsiText& file, int32_t command,
                   const HelpData& data) override;

  std::string WindowAddress(int32_t window) override;
  // Where extracted help files are kept: $XDG_CACHE_HOME/borvane/help (else
  // ~/.cache/borvane/help).
  static std::string CacheFolder();
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_VIEWER_H_
