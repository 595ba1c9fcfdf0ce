// Programs started for the user: detached from the caller in every way that would tie them.
#include "borvane/platform/base/process.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/test_support.h"

namespace borvane::platform {
namespace {

TEST(SpawnDetached, TheProgramOutlivesTheCallInASessionOfItsOwnWithNothingOfTheCallers) {
  testing::ScratchFolder dir;
  const std::string out = (dir / "spawned").string();
  // The program writes its pid, session and standard output, then waits a little.
  ASSERT_TRUE(SpawnDetached({"sh", "-c",
                             "echo $$ $(cut -d' ' -f6 /proc/$$/stat) $(readlink /proc/$$/fd/1) "
                             "> '" +
                                 out + ".tmp' && mv '" + out + ".tmp' '" + out + "'"}));
  for (int i = 0; i < 200 && !std::filesystem::exists(out); ++i) ::usleep(10'000);
  std::ifstream in(out);
  pid_t pid = 0, session = 0;
  std::string stdout_target;
  ASSERT_TRUE(in >> pid >> session >> stdout_target) << "the program did not run";
  EXPECT_NE(session, ::getsid(0));
  EXPECT_EQ(stdout_target, "/dev/null");
  // No child of the caller is left to reap: the program was never one.
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  // A program that cannot be run is started all the same; nothing is there to start is not.
  EXPECT_TRUE(SpawnDetached({"/nonexistent/program"}));
  EXPECT_FALSE(SpawnDetached({}));
}

TEST(MakeFolders, MakesEveryFolderOnTheWayAndLeavesOthersAlone) {
  testing::ScratchFolder dir;
  const std::string deep = (dir / "a/b/c").string();
  MakeFolders(deep, 0700);
  EXPECT_TRUE(std::filesystem::is_directory(deep));
  EXPECT_EQ(std::filesystem::status(deep).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_all);
  MakeFolders(deep);  // there already
  EXPECT_TRUE(std::filesystem::is_directory(deep));
}

}  // namespace
}  // namespace borvane::platform
