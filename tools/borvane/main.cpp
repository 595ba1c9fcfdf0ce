// borvane: a thin command-line client of the library, to look into settings documents, read
// or change INI values, and see what an object exposes.
#include <cstdio>
#include <exception>

#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kUsage =
    "usage: borvane COMMAND [ARGS...]\n"
    "\n"
    "commands:\n"
    "  classes                              the class table\n"
    "  inspect PROGID                       property descriptors of a new object\n"
    "  doc format FILE                      a document written back indented\n"
    "  doc select FILE EXPRESSION           paths of the nodes whose path holds EXPRESSION\n"
    "  doc find FILE NAME                   the subtree of the first node named NAME\n"
    "  doc export FILE --xml|--json         a document as standard XML or JSON\n"
    "  doc import FILE [--xml|--json]       such XML or JSON back in the dialect\n"
    "  ini get FILE SECTION KEY             one value\n"
    "  ini set FILE SECTION KEY VALUE       change one value and write the file\n"
    "  ini section FILE SECTION [--keyless] [--delimiter TEXT]\n"
    "                                       a whole section as one text\n"
    "  ini dump FILE [--json]               every section and key\n"
    "  font-settings [--load FILE]          a font settings object as XML\n"
    "  font names|list|family|file|styles|install|uninstall ...\n"
    "                                       font files, the installed fonts, installation\n"
    "  timer --interval MS --count N        run a periodic timer and print each tick\n"
    "  call PROGID MEMBER [ARG...]          call one member late-bound\n"
    "  help show|check|register|unregister|version ...\n"
    "                                       compiled help files: show a topic, registration\n"
    "  pending list | apply                 file replacements waiting for a restart\n"
    "\n"
    "FILE may be - for standard input where a command only reads it (doc, ini get, section\n"
    "and dump, font-settings --load, font names); not where it writes or keeps the file (ini\n"
    "set, font install and uninstall, help). 'borvane COMMAND --help' tells more.\n";

}  // namespace

}  // namespace borvane::tool

int main(int argc, char** argv) {
  using namespace borvane::tool;
  Args args(argv + 1, argv + argc);
  if (args.empty() || args[0] == "--help" || args[0] == "-h") {
    std::fputs(kUsage, args.empty() ? stderr : stdout);
    return args.empty() ? 2 : 0;
  }
  std::string command = args[0];
  Args rest(args.begin() + 1, args.end());
  int status = 0;
  try {
    if (command == "classes") {
      status = Classes(rest);
    } else if (command == "inspect") {
      status = Inspect(rest);
    } else if (command == "doc") {
      status = DocCommand(rest);
    } else if (command == "ini") {
      status = IniCommand(rest);
    } else if (command == "font-settings") {
      status = FontSettings(rest);
    } else if (command == "timer") {
      status = TimerCommand(rest);
    } else if (command == "call") {
      status = Call(rest);
    } else if (command == "font") {
      status = FontCommand(rest);
    } else if (command == "help") {
      status = HelpCommand(rest);
    } else if (command == "pending") {
      status = PendingCommand(rest);
    } else {
      std::fprintf(stderr, "borvane: unknown command '%s'\n%s", command.c_str(), kUsage);
      status = 2;
    }
  } catch (const ToolError& e) {
    std::fprintf(stderr, "borvane: %s\n", e.message.c_str());
    status = 1;
  } catch (const UsageError& e) {
    std::fprintf(stderr, "borvane: %s\n", e.message.c_str());
    status = 2;
  } catch (const borvane::Error& e) {
    std::fprintf(stderr, "borvane: %s: %s (error %d)\n", e.Source().ToUtf8().c_str(),
                 e.Description().ToUtf8().c_str(), e.Number());
    status = 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "borvane: %s\n", e.what());
    status = 1;
  }
  std::fflush(stdout);
  RemoveTemporaryFiles();
  return status;
}
