// Shared pieces of the borvane command-line tool.
#ifndef BORVANE_TOOLS_BORVANE_TOOL_H_
#define BORVANE_TOOLS_BORVANE_TOOL_H_

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "borvane/borvane.h"
#include "borvane/platform/files/text_encoding.h"

namespace borvane::tool {

using Args = std::vector<std::string>;

// A wrong use of the tool: printed with the usage of the subcommand, exit status 2.
struct UsageError {
  std::string message;
};

// A failure the tool finds itself, printed as "borvane: <message>", exit status 1.
struct ToolError {
  std::string message;
};

// Reads a whole text file ("-" is standard input) in its own encoding, as the platform decides
// it (valid UTF-8 is UTF-8, else Windows-1252), which `encoding` receives when given. Raises
// the platform's file error (53 for a missing file, 70 for one that may not be read, 75 for a
// folder) with the path as its Source.
String ReadTextFile(const std::string& path, platform::TextEncoding* encoding = nullptr);
// Reads a whole file as bytes ("-" is standard input), raising as ReadTextFile does.
std::string ReadBytes(const std::string& path);
// A path the library can open: "-" is copied to a temporary file first (removed by
// RemoveTemporaryFiles, which main calls at exit).
// A folder raises error 75 with the path as its Source.
std::string PathFor(const std::string& path);

void Print(const String& text);  // UTF-8, no line end added

// Prints a text that comes in pieces (UTF-16, as the library makes it) as it comes, in the
// encoding of a file (UTF-8 unless told otherwise, its byte-order mark first where it has one),
// a character cut between two pieces included.
class TextPrinter {
 public:
  explicit TextPrinter(platform::TextEncoding encoding = {CodePage::kUtf8, false})
      : encoding_(encoding) {}
  const std::function<void(std::u16string_view)>& Sink() { return sink_; }
  ~TextPrinter();

 private:
  void Put(std::u16string_view piece);
  void Out(std::u16string_view text);
  platform::TextEncoding encoding_;
  std::u16string pending_;  // a first half of a character that the next piece ends
  std::function<void(std::u16string_view)> sink_ = [this](std::u16string_view p) { Put(p); };
};
void PrintLine(const String& text = "");  // UTF-8 and a line feed
inline Variant V(const char* utf8) {
  return Variant(String(utf8));
}
inline Variant V(const std::string& utf8) {
  return Variant(String::FromUtf8(utf8));
}

void RemoveTemporaryFiles();

// A path as the library's members take it: "\" between names.
String LibraryPath(const std::string& path);

// True when `args` asks for help.
bool WantsHelp(const Args& args);

int Classes(const Args& args);
int Inspect(const Args& args);
int DocCommand(const Args& args);
int IniCommand(const Args& args);
int FontSettings(const Args& args);
int TimerCommand(const Args& args);
int Call(const Args& args);
int PendingCommand(const Args& args);
int FontCommand(const Args& args);
int HelpCommand(const Args& args);

}  // namespace borvane::tool

#endif  // BORVANE_TOOLS_BORVANE_TOOL_H_
