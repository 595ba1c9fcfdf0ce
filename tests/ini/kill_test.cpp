// A writer killed at any moment leaves the old or the new file whole: writer processes are
// killed with SIGKILL at random moments of a write of a large INI file, and the file at the
// path is then compared with both contents.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include "borvane/ini/inifile.h"
#include "borvane/platform/files/profile.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

namespace fs = std::filesystem;

using testing::ReadWholeFile;

void Put(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// About 300 KB: sections of 100 keys with values of 64 characters.
std::string LargeIni(char fill) {
  std::string text;
  for (int s = 0; s < 40; ++s) {
    text += "[section" + std::to_string(s) + "]\r\n";
    for (int k = 0; k < 100; ++k)
      text += "key" + std::to_string(k) + "=" + std::string(64, fill) + "\r\n";
  }
  return text;
}

class KillTest : public ::testing::Test {
 protected:
  KillTest() : path_(folder_ / "settings.ini") { fs::create_directory(folder_ / "tmp"); }

  // Runs `write` in a child process to its end: the time it takes.
  std::chrono::nanoseconds TimeWriter(const std::function<void()>& write) {
    auto start = std::chrono::steady_clock::now();
    pid_t pid = Spawn(write);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    return std::chrono::steady_clock::now() - start;
  }

  // Kills `write` at `trials` random moments of its run, each time from the old content, and
  // expects the old content or what a whole run writes at the path afterwards.
  void KillAtRandomMoments(const std::function<void()>& write, const std::string& old_text,
                           const std::string& changed, int trials) {
    Put(path_, old_text);
    auto span = TimeWriter(write);
    const std::string new_text = ReadWholeFile(path_);
    ASSERT_NE(new_text.find(changed), std::string::npos);
    std::mt19937 rng(20261124);
    std::uniform_int_distribution<int64_t> moment(0, span.count() * 6 / 5);
    int old_count = 0, new_count = 0;
    for (int i = 0; i < trials; ++i) {
      Put(path_, old_text);
      pid_t pid = Spawn(write);
      int64_t ns = moment(rng);
      timespec delay{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
      nanosleep(&delay, nullptr);
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
      std::string now = ReadWholeFile(path_);
      ASSERT_TRUE(now == old_text || now == new_text)
          << "trial " << i << " after " << ns << " ns: " << now.size() << " bytes";
      (now == old_text ? old_count : new_count)++;
    }
    std::printf("%d trials over %lld us: %d old, %d new\n", trials,
                static_cast<long long>(span.count() / 1000), old_count, new_count);
  }

  pid_t Spawn(const std::function<void()>& write) {
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
      setenv("TMPDIR", (folder_ / "tmp").c_str(), 1);
      write();
      _exit(0);
    }
    return pid;
  }

  testing::ScratchFolder folder_;
  fs::path path_;
};

TEST_F(KillTest, WriteIniFileLeavesTheOldOrTheNewFile) {
  const std::string old_text = LargeIni('o');
  Inifile ini;
  String path = String::FromUtf8(path_.string());
  Put(path_, LargeIni('n'));
  ini.ReadIniFile(path);
  KillAtRandomMoments([&] { ini.WriteIniFile(path); }, old_text, "key99=nnnn", 200);
}

TEST_F(KillTest, ProfileWriteLeavesTheOldOrTheNewFile) {
  const std::string old_text = LargeIni('o');
  String path = String::FromUtf8(path_.string());
  KillAtRandomMoments(
      [&] { platform::Profile().WriteString("section39", "key99", "changed", path); }, old_text,
      "key99=changed", 200);
}

}  // namespace
}  // namespace borvane
