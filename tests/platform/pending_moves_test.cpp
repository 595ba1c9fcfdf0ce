// Moves that wait for the next start of the system.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "borvane/platform/files/pending_moves.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/testing/registry.h"
#include "tests/test_support.h"

namespace borvane::platform {
namespace {

namespace fs = std::filesystem;

TEST(PendingMovesTest, DelayedMovesWaitForAnotherBootThenReplaceTheTarget) {
  testing::InUse<MemoryRegistry, RegistryStore> registry;
  testing::ScratchFolder folder;
  std::ofstream(folder / "new.ttf") << "new";
  std::ofstream(folder / "font.ttf") << "old";
  std::ofstream(folder / "gone.tmp") << "x";
  auto win = [&](const char* name) { return folder.Windows(name); };
  ASSERT_EQ(MoveFileEx(win("new.ttf"), win("font.ttf"),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_DELAY_UNTIL_REBOOT),
            0);
  ASSERT_EQ(MoveFileEx(win("gone.tmp"), String(), MOVEFILE_DELAY_UNTIL_REBOOT), 0);
  ASSERT_EQ(MoveFileEx(win("missing"), win("font.ttf"), MOVEFILE_DELAY_UNTIL_REBOOT), 0);
  ASSERT_EQ(PendingMoves().size(), 3u);

  // The boot that recorded them does nothing.
  EXPECT_EQ(ApplyPendingMoves(CurrentBootId(), nullptr), 0);
  EXPECT_EQ(testing::ReadWholeFile(folder / "font.ttf"), "old");

  std::vector<std::string> failures;
  EXPECT_EQ(ApplyPendingMoves("a later boot", &failures), 2);
  EXPECT_EQ(testing::ReadWholeFile(folder / "font.ttf"), "new");
  EXPECT_FALSE(fs::exists(folder / "gone.tmp"));
  ASSERT_EQ(failures.size(), 1u);  // the missing source stays recorded
  EXPECT_EQ(PendingMoves().size(), 1u);

  // An immediate move does not replace a target unless asked to.
  std::ofstream(folder / "a") << "a";
  EXPECT_EQ(MoveFileEx(win("a"), win("font.ttf"), 0), 183);
  EXPECT_EQ(MoveFileEx(win("a"), win("font.ttf"), MOVEFILE_REPLACE_EXISTING), 0);
}

}  // namespace
}  // namespace borvane::platform
