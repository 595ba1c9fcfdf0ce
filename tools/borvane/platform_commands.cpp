// borvane pending list | apply
#include <cstdio>

#include "borvane/platform/files/pending_moves.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kPendingUsage =
    "usage: borvane pending list\n"
    "       borvane pending apply\n"
    "\n"
    "File replacements that wait for the next start of the system (a font that was in use\n"
    "when it was installed, for example).\n"
    "  list     prints each waiting move as 'FROM -> TO' with the boot that recorded it\n"
    "  apply    carries out the moves recorded before the running boot and forgets them;\n"
    "           run it once after each start (a move that fails stays, and is printed)";

}  // namespace

int PendingCommand(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(kPendingUsage);
    return 0;
  }
  if (args.size() == 1 && args[0] == "list") {
    std::string boot = platform::CurrentBootId();
    for (const platform::PendingMove& m : platform::PendingMoves()) {
      std::printf("%s -> %s (%s)\n", m.from.ToUtf8().c_str(),
                  m.to.empty() ? "(deleted)" : m.to.ToUtf8().c_str(),
                  m.boot == boot ? "waits for the next start" : "due");
    }
    return 0;
  }
  if (args.size() == 1 && args[0] == "apply") {
    std::vector<std::string> failures;
    int done = platform::ApplyPendingMoves(platform::CurrentBootId(), &failures);
    std::printf("%d moved\n", done);
    for (const std::string& f : failures) std::fprintf(stderr, "borvane: %s\n", f.c_str());
    return failures.empty() ? 0 : 1;
  }
  throw UsageError{kPendingUsage};
}

}  // namespace borvane::tool
