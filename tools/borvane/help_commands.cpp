// borvane help show | check | register | unregister | version
#include <climits>
#include <cstdlib>

#include "borvane/htmlhelp/html_help.h"
#include "borvane/platform/base/process.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/help/chm_archive.h"
#include "borvane/platform/help/help_control.h"
#include "borvane/platform/help/help_viewer.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

constexpr const char* kHelpUsage =
    "usage: borvane help show FILE [TOPIC | --id N | --keyword K | --index | --contents]\n"
    "       borvane help check FILE\n"
    "       borvane help register FILE\n"
    "       borvane help unregister FILE\n"
    "       borvane help version\n"
    "\n"
    "  show        shows a topic of a compiled help file (.chm) in a help window of the\n"
    "              desktop's browser, with the file's contents, index and search beside it,\n"
    "              and prints the window's address; without TOPIC the file's default topic.\n"
    "              A later show of the same file goes to the same window. FILE may be a\n"
    "              registered help file's bare name\n"
    "  check       whether the file's name is registered, where, and whether it is there\n"
    "              (exit status 1 unless it is registered and there)\n"
    "  register    registers the file under its name, so that the name alone finds it\n"
    "  unregister  removes that registration\n"
    "  version     the versions and names of the help viewer and the browser component";

// The path as the help members take it: absolute, with "\" between names. A bare name stays
// bare, since that is how a registered help file is asked for.
String HelpPath(const std::string& path) {
  char resolved[PATH_MAX];
  if (path.find('/') != std::string::npos && ::realpath(path.c_str(), resolved))
    return LibraryPath(resolved);
  return LibraryPath(path);
}

void PrintRegistration(HTMLHelp& help) {
  if (help.GetHHRegFileName().empty()) {
    PrintLine("not registered");
    return;
  }
  PrintLine(String("registered: ") + help.GetHHRegFilePath() + help.GetHHRegFileName());
  PrintLine(help.GetHHRegFileExists() ? "the file is there" : "the file is missing");
}

int Show(HTMLHelp& help, const Args& args) {
  help.LetCHMFile(HelpPath(args[1]));
  std::optional<int32_t> no_form;
  std::string how = args.size() > 2 ? args[2] : std::string();
  auto value = [&]() -> const std::string& {
    if (args.size() < 4) throw UsageError{how + " needs a value"};
    return args[3];
  };
  if (how.empty()) {
    help.HHDisplayTopicURL(no_form);
  } else if (how == "--id") {
    char* end = nullptr;
    long id = std::strtol(value().c_str(), &end, 10);
    if (*end || id < INT32_MIN || id > INT32_MAX) throw UsageError{"--id needs a number"};
    help.LetHHTopicID(static_cast<int32_t>(id));
    help.HHDisplayTopicID(no_form);
  } else if (how == "--keyword") {
    help.LetHHKeyword(String::FromUtf8(value()));
    help.HHDisplayKeyword(no_form);
  } else if (how == "--index") {
    help.HHDisplayIndex(no_form);
  } else if (how == "--contents") {
    help.HHDisplayContents(no_form);
  } else if (how.rfind("--", 0) == 0) {
    throw UsageError{"unknown option " + how};
  } else {
    help.LetHHTopicURL(String::FromUtf8(how));
    help.HHDisplayTopicURL(no_form);
  }
  std::string page = platform::HelpControls().WindowAddress(help.LastWindowHandle());
  if (page.empty()) {
    // The display calls are silent when the help control cannot run: say why.
    std::string why;
    if (platform::HelpServerProgram().empty())
      throw ToolError{"the help server (borvane-helpd) is not installed beside the library"};
    if (!platform::LoadChmLibrary(&why)) throw ToolError{why};
    const std::string file = platform::NativePath(help.GetCHMFile());
    if (how == "--keyword") throw ToolError{file + ": no topic for the keyword '" + args[3] + "'"};
    if (how == "--id") throw ToolError{file + ": no topic with the context number " + args[3]};
    throw ToolError{file + ": no such topic, or no compiled help file that can be read"};
  }
  PrintLine(String::FromUtf8(page));
  const char* browser = std::getenv("BORVANE_HELP_BROWSER");
  std::fflush(stdout);  // the address comes "above" the note, also where both go to one file
  if (!(browser && *browser) && !platform::HasDisplay())
    std::fputs(
        "borvane: no display to show it on: open the address above in a browser (or set "
        "BORVANE_HELP_BROWSER to the browser to run)\n",
        stderr);
  return 0;
}

}  // namespace

int HelpCommand(const Args& args) {
  if (args.empty() || WantsHelp(args)) {
    std::puts(kHelpUsage);
    return 0;
  }
  const std::string& what = args[0];
  Ref<HTMLHelp> help = MakeRef<HTMLHelp>();
  if (what == "version" && args.size() == 1) {
    PrintLine(String("help viewer: ") + help->GetHHVersion() + String(" (") +
              help->GetHHFriendlyName() + String(")"));
    PrintLine(String("browser:     ") + help->GetIEVersion() + String(" (") +
              help->GetIEFriendlyName() + String(")"));
    PrintLine(help->GetHHInstalled() ? "installed" : "not installed");
    return 0;
  }
  if (args.size() < 2) throw UsageError{std::string(kHelpUsage)};
  if (what == "show" && args.size() <= 4) return Show(*help, args);
  if (args.size() != 2) throw UsageError{std::string(kHelpUsage)};
  String file = HelpPath(args[1]);
  // Each fails when it leaves the file otherwise than asked: check, unless registered and
  // there; register, unless registered afterwards; unregister, unless it was registered and no
  // longer is.
  bool done = false;
  if (what == "check") {
    help->HHCheckRegistry(file);
    done = !help->GetHHRegFileName().empty() && help->GetHHRegFileExists();
  } else if (what == "register") {
    help->HHRegister(file);
    help->HHCheckRegistry(file);
    done = !help->GetHHRegFileName().empty();
  } else if (what == "unregister") {
    String name = file;
    help->HHCheckRegistry(name);
    const bool was = !help->GetHHRegFileName().empty();
    help->HHUnRegister(file);
    done = was && help->GetHHRegFileName().empty();
  } else {
    throw UsageError{"unknown help command '" + what + "'\n" + kHelpUsage};
  }
  PrintRegistration(*help);
  return done ? 0 : 1;
}

}  // namespace borvane::tool
