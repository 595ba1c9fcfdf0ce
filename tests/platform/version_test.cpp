// Version records of PE and NE files that the tests build themselves, and the file search.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/version_info.h"
#include "borvane/platform/testing/files.h"
#include "tests/platform/executable_images.h"
#include "tests/test_support.h"

namespace borvane::platform {
namespace {

namespace fs = std::filesystem;

class ScratchFiles : public ::testing::Test {
 protected:
  String Put(const char* name, const std::string& bytes) { return folder_.Put(name, bytes); }
  testing::ScratchFolder folder_;
};

VS_FIXEDFILEINFO RecordOf(const String& path) {
  VS_FIXEDFILEINFO r;
  uint32_t size = Versions().BlockSize(path);
  std::string block;
  if (size == 0 || !Versions().Block(path, size, block) || !QueryFixedRecord(block, r)) return {};
  return r;
}

TEST_F(ScratchFiles, VersionRecordsOfPeAndNeFiles) {
  const uint32_t ms = (4u << 16) | 74, ls = (8702u << 16) | 0;
  for (bool wide : {false, true}) {
    String pe = Put("x.dll", testing_images::PeImage(wide, MakeVersionBlock(ms, ls)));
    VS_FIXEDFILEINFO r = RecordOf(pe);
    EXPECT_EQ(r.dwFileVersionMS, ms) << wide;
    EXPECT_EQ(r.dwFileVersionLS, ls) << wide;
  }
  String ne = Put("x.fon", testing_images::NeImage(5, 0x00020001));
  EXPECT_EQ(RecordOf(ne).dwFileVersionMS, 5u);
  EXPECT_EQ(RecordOf(ne).dwFileVersionLS, 0x00020001u);
  EXPECT_EQ(Versions().BlockSize(Put("x.ttf", std::string(4096, '\0'))), 0u);
  EXPECT_EQ(Versions().BlockSize("/no/such/file.dll"), 0u);
}

TEST_F(ScratchFiles, TruncatedAndHostileImagesHaveNoRecord) {
  std::string pe = testing_images::PeImage(true, MakeVersionBlock(1, 2));
  for (size_t cut = 0; cut < pe.size(); cut += 7)
    EXPECT_EQ(Versions().BlockSize(Put("t.dll", pe.substr(0, cut))), 0u) << cut;
  // Every byte of the headers and the resource directory turned to 0xFF in turn: an answer or
  // none, never a crash or a hang.
  for (size_t at = 0; at < 0x260 && at < pe.size(); ++at) {
    std::string bad = pe;
    bad[at] = '\xFF';
    String path = Put("h.dll", bad);
    std::string block;
    Versions().Block(path, Versions().BlockSize(path), block);
  }
  std::string ne = testing_images::NeImage(1, 2);
  for (size_t cut = 0; cut < ne.size(); cut += 5)
    EXPECT_EQ(Versions().BlockSize(Put("t.fon", ne.substr(0, cut))), 0u) << cut;
}

TEST_F(ScratchFiles, SearchIsCaseBlindWithTheExactSpellingFirst) {
  Put("Arial.TTF", "a");
  Put("arial.ttf", "b");
  Put("Verdana.ttf", "c");
  std::string folder = folder_.path().string() + "\\";
  std::vector<String> names;
  ASSERT_EQ(Files().FindFiles(String::FromUtf8(folder + "arial.ttf"), names), 0);
  EXPECT_EQ(names, (std::vector<String>{"arial.ttf", "Arial.TTF"}));
  ASSERT_EQ(Files().FindFiles(String::FromUtf8(folder + "ARIAL.ttf"), names), 0);
  EXPECT_EQ(names, (std::vector<String>{"Arial.TTF", "arial.ttf"}));
  ASSERT_EQ(Files().FindFiles(String::FromUtf8(folder + "?ERDANA.*"), names), 0);
  EXPECT_EQ(names, std::vector<String>{"Verdana.ttf"});
  EXPECT_EQ(Files().FindFiles(String::FromUtf8(folder + "*.fon"), names), 2);
  EXPECT_EQ(Files().FindFiles("/no/such/folder/*.*", names), 3);
  EXPECT_EQ(FindFirstFile(String::FromUtf8(folder + "VERDANA.TTF")), String("Verdana.ttf"));
  EXPECT_TRUE(MatchesWildcard(u"a.b.c", u"*.c"));
  EXPECT_FALSE(MatchesWildcard(u"abc", u"a?"));
  EXPECT_TRUE(MatchesWildcard(u"noext", u"*.*"));
}

TEST_F(ScratchFiles, CreateNewRenameAndTimesReportTheLastError) {
  String a = Put("a.txt", "a");
  String b = String::FromUtf8((folder_ / "b.txt").string());
  EXPECT_EQ(Files().CreateNewFile(a), 80);
  EXPECT_EQ(Files().CreateNewFile(b), 0);
  EXPECT_EQ(Files().RenameFile(a, b), 80);
  EXPECT_EQ(Files().CreateNewFile("/no/such/folder/x"), 3);
  int64_t seconds = 0;
  EXPECT_EQ(Files().ModifiedTime(a, seconds), 0);
  EXPECT_GT(seconds, 1600000000);
  EXPECT_EQ(Files().ModifiedTime(String::FromUtf8((folder_ / "gone").string()), seconds), 2);
  fs::remove(folder_ / "b.txt");
  EXPECT_EQ(Files().RenameFile(a, b), 0);
  EXPECT_TRUE(fs::exists(folder_ / "b.txt"));
  // The double follows the same rules.
  MemoryFileSystem memory;
  memory.Put("/f/x.TTF", "1");
  memory.Put("/f/y.ttf", "2");
  std::vector<String> names;
  EXPECT_EQ(memory.FindFiles("\\f\\X.ttf", names), 0);
  EXPECT_EQ(names, std::vector<String>{"x.TTF"});
  EXPECT_EQ(memory.CreateNewFile("/f/y.ttf"), 80);
  int64_t tx = 0, ty = 0;
  memory.ModifiedTime("/f/x.TTF", tx);
  memory.ModifiedTime("/f/y.ttf", ty);
  EXPECT_LT(tx, ty);
}

}  // namespace
}  // namespace borvane::platform
