// Doubles of the session services: a clock and a message loop that move only when told, a system
// that records, and message boxes that answer from a script. For tests and benchmarks only: built
// as the borvane_testing library, never part of libborvane or its installed headers.
#ifndef BORVANE_PLATFORM_TESTING_SESSION_H_
#define BORVANE_PLATFORM_TESTING_SESSION_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "borvane/platform/session/clock.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/message_loop.h"
#include "borvane/platform/session/system.h"

namespace borvane::platform {

// A clock that moves only when told to, for tests. It starts at one hour of uptime.
class FakeClock : public Clock {
 public:
  int64_t MonotonicNs() override { return now_ns_; }
  bool GetDevCaps(TimerCaps& caps) override;

  void AdvanceMs(int64_t ms) { now_ns_ += ms * 1'000'000; }
  void AdvanceNs(int64_t ns) { now_ns_ += ns; }
  // Sets the time so that TickCount() reads `count` (keeping whole wraps already counted).
  void SetTickCount(uint32_t count);
  void SetNs(int64_t ns) { now_ns_ = ns; }
  void SetCaps(uint32_t min_ms, uint32_t max_ms) { caps_ = {min_ms, max_ms}; }
  // Makes GetDevCaps fail.
  void FailCaps(bool fail = true) { fail_caps_ = fail; }

 private:
  int64_t now_ns_ = int64_t{3'600'000} * 1'000'000;
  TimerCaps caps_{1, 1'000'000};
  bool fail_caps_ = false;
};

// A loop over a fake clock for tests: waiting moves the clock instead of sleeping, and the
// service can be told to refuse timers or fail to stop them.
class FakeMessageLoop : public MessageLoop {
 public:
  explicit FakeMessageLoop(FakeClock& clock) : MessageLoop(clock), fake_clock_(clock) {}

  int32_t SetTimer(int32_t uElapse, TIMERPROC lpTimerFunc) override;
  bool KillTimer(int32_t uIDEvent) override;

  bool refuse_set_timer = false;  // SetTimer gives 0
  bool fail_kill_timer = false;   // KillTimer gives false and stops nothing
  int32_t set_timer_calls = 0;
  std::vector<int32_t> kill_timer_calls;  // the ids passed to KillTimer, in order

 protected:
  void WaitUntil(int64_t deadline_ns) override;

 private:
  FakeClock& fake_clock_;
};

// A system whose every answer is set by the test, and which records what it was asked to do.
class FakeSystem : public SystemService {
 public:
  FakeSystem();
  OsVersionInfo Version() override { return version; }
  String WindowsFolder() override { return windows_folder; }
  String TempFolder() override { return temp_folder; }
  String LibraryPath() override { return library_folder + String("/libborvane.so.1"); }
  String LibraryFolder() override { return library_folder; }
  String CurrentFolder() override { return current_folder; }
  String ExpandEnvironmentStrings(const String& text) override;
  String LongPathName(const String& path) override { return path; }
  std::pair<int32_t, int32_t> CursorPos() override { return cursor; }
  int32_t Shell(const String& command, int32_t window_style) override;
  void DeleteSystemMenuItem(int32_t window, int32_t command) override {
    menu_deletions.push_back({window, command});
  }
  void DefWindowProc(int32_t window, uint32_t message, int32_t wparam, int32_t lparam) override {
    window_messages.push_back({window, message, wparam, lparam});
  }
  int32_t Privilege(PrivilegeStep step) override;
  bool ExitWindows(uint32_t flags) override { return exits.push_back(flags), true; }
  std::optional<String> ResourceString(int32_t id) override;

  // Sets the version record of a release: platform, major, minor, build.
  void SetVersion(uint32_t platform, uint32_t major, uint32_t minor, uint32_t build);

  OsVersionInfo version;
  String windows_folder = "/windows";
  String temp_folder = "/tmp/";
  String library_folder = "/usr/lib/borvane";
  String current_folder = "/home/user";
  std::map<std::u16string, String> environment;
  std::pair<int32_t, int32_t> cursor{0, 0};
  std::map<int32_t, String> resources;
  std::map<PrivilegeStep, int32_t> privilege_errors;
  // What the library asked for.
  std::vector<String> shell_commands;
  std::vector<std::pair<int32_t, int32_t>> menu_deletions;
  struct WindowMessage {
    int32_t window;
    uint32_t message;
    int32_t wparam, lparam;
    bool operator==(const WindowMessage&) const = default;
  };
  std::vector<WindowMessage> window_messages;
  std::vector<PrivilegeStep> privilege_steps;
  std::vector<uint32_t> exits;
};

// Keeps every box, for tests, and answers with scripted buttons (then the first button).
class RecordingMessageBoxes : public MessageBoxes {
 public:
  int32_t Show(const MessageBoxRequest& box) override {
    boxes.push_back(box);
    if (answers.empty()) return FirstButton(box.style);
    int32_t a = answers.front();
    answers.erase(answers.begin());
    return a;
  }
  std::vector<MessageBoxRequest> boxes;
  std::vector<int32_t> answers;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_TESTING_SESSION_H_
