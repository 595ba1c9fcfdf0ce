// borvane font-settings | timer
#include <cstdio>
#include <cstdlib>

#include "borvane/platform/session/message_loop.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

int FontSettings(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(
        "usage: borvane font-settings [--load FILE]\n\nPrints the XML text of a font "
        "settings object (Fontobj.GetXML), after loading settings from FILE\n(a text "
        "that GetXML wrote; - for standard input) if given.");
    return 0;
  }
  Object font = CreateObject("Borvane.Fontobj");
  if (args.size() == 2 && args[0] == "--load") {
    std::vector<Variant> load = {Variant(ReadTextFile(args[1]))};
    CallByName(font, "SetXML", VbMethod, load);
  } else if (!args.empty()) {
    throw UsageError{"usage: borvane font-settings [--load FILE]"};
  }
  Print(CStr(CallByName(font, "GetXML", VbMethod)));
  return 0;
}

int TimerCommand(const Args& args) {
  if (WantsHelp(args)) {
    std::puts(
        "usage: borvane timer --interval MS --count N\n\nRuns a TimerEvent in the "
        "thread's message loop and prints, at each of N ticks, the\nmilliseconds since "
        "the start as a Timer measures them.");
    return 0;
  }
  long interval = -1, count = -1;
  for (size_t i = 0; i + 1 < args.size(); i += 2) {
    char* end = nullptr;
    long value = std::strtol(args[i + 1].c_str(), &end, 10);
    if (*end != '\0' || args[i + 1].empty()) throw UsageError{"not a number: " + args[i + 1]};
    if (args[i] == "--interval") {
      interval = value;
    } else if (args[i] == "--count") {
      count = value;
    } else {
      throw UsageError{"unknown option '" + args[i] + "'"};
    }
  }
  if (args.size() % 2 != 0 || interval <= 0 || count <= 0 || interval > 3600000 || count > 1000000)
    throw UsageError{"usage: borvane timer --interval MS --count N (both above 0)"};

  Object stopwatch = CreateObject("Borvane.Timer");
  Object timer = CreateObject("Borvane.TimerEvent");
  long ticks = 0;
  ConnectEvents(timer, "Timer", [&](std::vector<Variant>&) {
    ++ticks;
    std::printf("tick %ld: %s ms\n", ticks,
                CStr(CallByName(stopwatch, "Elapsed", VbGet)).ToUtf8().c_str());
    std::fflush(stdout);
    if (ticks >= count) CallByName(timer, "Enabled", VbLet, {Variant(false)});
  });
  CallByName(stopwatch, "Reset", VbMethod);
  CallByName(timer, "Interval", VbLet, {Variant(static_cast<int32_t>(interval))});
  CallByName(timer, "Enabled", VbLet, {Variant(true)});
  // Generous deadline: every tick late by a whole interval still finishes.
  platform::MessageLoop::ForThread().RunUntil([&] { return ticks >= count; },
                                              2 * interval * count + 1000);
  return ticks >= count ? 0 : 1;
}

}  // namespace borvane::tool
