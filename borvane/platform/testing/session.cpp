#include "borvane/platform/testing/session.h"

#include "borvane/automation/error.h"
#include "borvane/automation/text.h"

namespace borvane::platform {

FakeSystem::FakeSystem() {
  SetVersion(2, 5, 1, 2600);
}

bool FakeClock::GetDevCaps(TimerCaps& caps) {
  if (fail_caps_) return false;
  caps = caps_;
  return true;
}

void FakeClock::SetTickCount(uint32_t count) {
  constexpr int64_t kWrapMs = int64_t{1} << 32;
  int64_t wraps = now_ns_ / 1'000'000 / kWrapMs;
  now_ns_ = (wraps * kWrapMs + count) * 1'000'000;
}

int32_t FakeMessageLoop::SetTimer(int32_t uElapse, TIMERPROC lpTimerFunc) {
  ++set_timer_calls;
  if (refuse_set_timer) return 0;
  return MessageLoop::SetTimer(uElapse, lpTimerFunc);
}

bool FakeMessageLoop::KillTimer(int32_t uIDEvent) {
  kill_timer_calls.push_back(uIDEvent);
  if (fail_kill_timer) return false;
  return MessageLoop::KillTimer(uIDEvent);
}

void FakeMessageLoop::WaitUntil(int64_t deadline_ns) {
  if (deadline_ns > fake_clock_.MonotonicNs()) fake_clock_.SetNs(deadline_ns);
}

void FakeSystem::SetVersion(uint32_t platform, uint32_t major, uint32_t minor, uint32_t build) {
  version = OsVersionInfo{};
  version.dwPlatformId = platform;
  version.dwMajorVersion = major;
  version.dwMinorVersion = minor;
  version.dwBuildNumber = build;
}

String FakeSystem::ExpandEnvironmentStrings(const String& text) {
  return ExpandPercentVariables(text, [&](const std::u16string& name) -> std::optional<String> {
    for (const auto& [n, v] : environment)
      if (UCase(String(n)) == UCase(String(name))) return v;
    return std::nullopt;
  });
}

int32_t FakeSystem::Shell(const String& command, int32_t) {
  shell_commands.push_back(command);
  return 0;
}

int32_t FakeSystem::Privilege(PrivilegeStep step) {
  privilege_steps.push_back(step);
  auto it = privilege_errors.find(step);
  return it == privilege_errors.end() ? 0 : it->second;
}

std::optional<String> FakeSystem::ResourceString(int32_t id) {
  auto it = resources.find(id);
  if (it == resources.end()) return std::nullopt;
  return it->second;
}

}  // namespace borvane::platform
