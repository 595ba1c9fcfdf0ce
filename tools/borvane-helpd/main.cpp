// borvane-helpd: the help server of the borvane library, which the library starts on demand
// to show compiled help files in the browser (see borvane/platform/help/help_server.h).
#include "borvane/platform/help/help_server.h"

int main(int argc, char** argv) {
  return borvane::platform::RunHelpServer(argc, argv);
}
