// borvane-help-reader: the process in which the help server reads one compiled help file (see
// borvane/platform/help/chm_reader.h). It is built from the reading code alone, not linked to
// the library, so that each open help file costs the reader's own few pages and chmlib's.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "borvane/platform/help/chm_reader.h"

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--reader") == 0)
    return borvane::platform::RunChmReader(argv[2], std::strtoull(argv[3], nullptr, 10));
  std::fprintf(stderr,
               "usage: borvane-help-reader --reader FILE BOUND\n"
               "The help server of the borvane library starts it for each help file it opens.\n");
  return 2;
}
