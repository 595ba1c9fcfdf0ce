// The help viewer: the help control of this platform. It hands every call to the user's help
// server (help_server.h), starting it when none runs, and opens the window's page in the
// desktop's browser when the window has no page yet: BORVANE_HELP_BROWSER when set (run with
// the page's address), else xdg-open where a display is there, else nothing (the address is
// still the window's, for WindowAddress). Text popups go to the message-box service.
//
// No lock is held while a box is shown, the server is asked or a browser starts: help shown
// from a message-box handler, or on several threads at once, never waits for another call.
#ifndef BORVANE_PLATFORM_HELP_HELP_VIEWER_H_
#define BORVANE_PLATFORM_HELP_HELP_VIEWER_H_

#include <string>

#include "borvane/platform/help/help_control.h"

namespace borvane::platform {

class HelpViewer : public HelpControl {
 public:
  // Gives the handle of the help window (the same handle for later calls on the same file
  // and window name), 0 when the file is missing, not a compiled help file or damaged, or the
  // topic or keyword cannot be found. Throws the platform's error 48 when the help server
  // cannot be started or cannot read help files (chmlib missing).
  int32_t HtmlHelp(int32_t caller_window, const AnsiText& file, int32_t command,
                   const HelpData& data) override;

  std::string WindowAddress(int32_t window) override;
};

// The help server program: BORVANE_HELP_SERVER when set, else "borvane-helpd" beside the
// library's own file, else in the library's libexec folder; empty when none is there.
std::string HelpServerProgram();

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_VIEWER_H_
