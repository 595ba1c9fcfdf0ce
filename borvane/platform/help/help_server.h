// The help server: one process per user that shows compiled help files in the desktop's
// browser, started on demand by the help viewer (help_viewer.h) and stopping when idle.
//
// It listens on the loopback interface only, and every address holds a secret token that only
// the user can read (from a file in the user's runtime folder), so that neither other users
// nor pages from elsewhere can reach it. A help window is one browser page: later calls for
// the same help file and window name show their topic in that page, which the server tells
// through the page's event stream. Topics come straight from the help file, read by one reader
// process per file (chm_reader.h); nothing is extracted. The contents, the index and the
// full-text search are made once per file.
//
// The program is `borvane-helpd`, installed beside the library (or in its libexec folder);
// RunHelpServer is its whole main.
#ifndef BORVANE_PLATFORM_HELP_HELP_SERVER_H_
#define BORVANE_PLATFORM_HELP_HELP_SERVER_H_

#include <string>

namespace borvane::platform {

// Where the server of this user leaves its address ("port token pid"), and the lock that
// serialises its start: $XDG_RUNTIME_DIR/borvane, else the user's cache folder; made 0700.
std::string HelpRuntimeFolder();
// The folder of what the server keeps between runs: the search indexes
// ($XDG_CACHE_HOME/borvane/help, else ~/.cache/borvane/help).
std::string HelpCacheFolder();

// Seconds without a request and without an open window after which the server stops:
// BORVANE_HELP_IDLE_SECONDS, else 600.
int HelpServerIdleSeconds();

// The main of the server program: "--serve" runs the server, "--reader FILE BOUND" a reader
// of one help file (chm_reader.h).
int RunHelpServer(int argc, char** argv);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_SERVER_H_
