// The folder watch: what it sees of a file reached through links, and of a folder yet to come.
#include "borvane/platform/base/folder_watch.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/test_support.h"

namespace borvane::platform {
namespace {

namespace fs = std::filesystem;

TEST(FolderWatch, SeesWhatDecidesAFile) {
  testing::ScratchFolder dir;
  fs::create_directories(dir / "real");
  fs::create_directories(dir / "else");
  std::ofstream(dir / "real/a.ttf") << "a";
  std::ofstream(dir / "real/b.ttf") << "b";
  fs::create_hard_link(dir / "real/a.ttf", dir / "else/same.ttf");
  fs::create_symlink("real/a.ttf", dir / "link.ttf");
  const std::string link = (dir / "link.ttf").string();
  FolderWatch watch;
  if (!watch.WatchFile(link)) GTEST_SKIP() << "files cannot be watched here";
  // A new entry beside the file the link ends at is no change of the file.
  std::ofstream(dir / "real/other.txt") << "x";
  EXPECT_TRUE(watch.TakeChanges().files.empty());
  // The file's bytes written through another name of it; told once, until it is watched again.
  std::ofstream(dir / "else/same.ttf", std::ios::app) << "more";
  EXPECT_EQ(watch.TakeChanges().files, std::vector<std::string>{link});
  std::ofstream(dir / "else/same.ttf", std::ios::app) << "more";
  EXPECT_TRUE(watch.TakeChanges().files.empty());
  // The link pointed elsewhere; then the bytes of the file it ends at now.
  ASSERT_TRUE(watch.WatchFile(link));
  fs::remove(dir / "link.ttf");
  fs::create_symlink("real/b.ttf", dir / "link.ttf");
  EXPECT_EQ(watch.TakeChanges().files, std::vector<std::string>{link});
  ASSERT_TRUE(watch.WatchFile(link));
  std::ofstream(dir / "real/b.ttf", std::ios::app) << "b";
  EXPECT_EQ(watch.TakeChanges().files, std::vector<std::string>{link});
  // A folder that does not exist yet is watched through the one above it.
  ASSERT_TRUE(watch.WatchFolder((dir / "later/fonts").string()));
  fs::create_directories(dir / "later");
  EXPECT_TRUE(watch.Changed());
  EXPECT_FALSE(watch.WatchFile("relative/path.ttf"));
  // Within a OneLook scope the watch is read by the first look alone; what changes after it is
  // told once the scope is over.
  {
    FolderWatch::OneLook one_look;
    watch.Changed();
    ASSERT_TRUE(watch.WatchFolder((dir / "later").string()));
    std::ofstream(dir / "later/new.ttf") << "n";
    EXPECT_FALSE(watch.Changed());
  }
  EXPECT_TRUE(watch.Changed());
}

}  // namespace
}  // namespace borvane::platform
