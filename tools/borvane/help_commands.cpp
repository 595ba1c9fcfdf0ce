// borvane help show | check | register | unregister | version
#include <climits>
#include <cstdlib>

#include "borvane/htmlhelp/html_help.h"
#include "borvane/platform/help/help_control.h"
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
    "  show        opens a topic of a compiled help file (.chm) in the desktop's browser, with\n"
    "              the file's contents and index beside it, and prints the page's path;\n"
    "              without TOPIC the file's default topic\n"
    "  check       whether the file's name is registered, where, and whether it is there\n"
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
  if (page.empty()) throw ToolError{"the help file or the topic was not found"};
  PrintLine(String::FromUtf8(page));
  return 0;
}

}  // namespace

int HelpCommand(const Args& args) {
  if (args.empty() || WantsHelp(args)) {
    std::puts(kHelpUsage);
    return args.empty() ? 2 : 0;
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
  if (what == "check") {
    help->HHCheckRegistry(file);
  } else if (what == "register") {
    help->HHRegister(file);
    help->HHCheckRegistry(file);
  } else if (what == "unregister") {
    help->HHUnRegister(file);
  } else {
    throw UsageError{"unknown help command '" + what + "'\n" + kHelpUsage};
  }
  PrintRegistration(*help);
  return 0;
}

}  // namespace borvane::tool
