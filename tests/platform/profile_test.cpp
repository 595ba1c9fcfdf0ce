// The private profile functions' rules, on real files in a temporary folder and in memory.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/profile.h"
#include "borvane/platform/testing/files.h"

namespace borvane::platform {
namespace {

// A profile implementation with a way to put and fetch file bytes.
struct Harness {
  virtual ~Harness() = default;
  virtual PrivateProfile& profile() = 0;
  virtual String Path(const std::string& name) = 0;
  virtual void Put(const String& path, const std::string& bytes) = 0;
  virtual std::string Get(const String& path) = 0;
};

struct RealHarness : Harness {
  RealHarness() {
    char pattern[] = "/tmp/profile_testXXXXXX";
    folder = mkdtemp(pattern);
  }
  ~RealHarness() override { std::filesystem::remove_all(folder); }
  PrivateProfile& profile() override { return impl; }
  String Path(const std::string& name) override { return String(folder + "/" + name); }
  void Put(const String& path, const std::string& bytes) override {
    ASSERT_EQ(FileSystem::Real().WriteFile(path, bytes), 0);
  }
  std::string Get(const String& path) override {
    std::string bytes;
    return FileSystem::Real().ReadFile(path, bytes) == 0 ? bytes : "<missing>";
  }
  std::string folder;
  FileProfile impl;
};

struct MemoryHarness : Harness {
  PrivateProfile& profile() override { return impl; }
  String Path(const std::string& name) override { return String("/mem/" + name); }
  void Put(const String& path, const std::string& bytes) override { impl.SetFile(path, bytes); }
  std::string Get(const String& path) override {
    const std::string* f = impl.File(path);
    return f ? *f : "<missing>";
  }
  MemoryProfile impl;
};

class ProfileRules : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (GetParam()) {
      h = std::make_unique<RealHarness>();
    } else {
      h = std::make_unique<MemoryHarness>();
    }
    path = h->Path("a.ini");
  }
  // The list a reader delivers, items joined by "|".
  std::string Names(uint32_t size = 32767) {
    std::string buffer(size, 'x');
    uint32_t n = h->profile().GetSectionNames(buffer.data(), size, path);
    return Flatten(buffer, n);
  }
  std::string SectionOf(const char* name, uint32_t size = 32767) {
    std::string buffer(size, 'x');
    uint32_t n = h->profile().GetSection(String(name), buffer.data(), size, path);
    return Flatten(buffer, n);
  }
  static std::string Flatten(const std::string& buffer, uint32_t n) {
    std::string out(buffer.data(), n);
    for (char& c : out)
      if (c == '\0') c = '|';
    return out;
  }
  void Write(const String& section, const String& key, const String& value) {
    h->profile().WriteString(section, key, value, path);
  }
  std::unique_ptr<Harness> h;
  String path;
};

TEST_P(ProfileRules, ReadingRules) {
  h->Put(path,
         "pre=1\r\n"
         "  [ a ]  trailing\r\n"
         "  k1  =  v 1  \t\n"
         "; comment\r"
         "# hash=x\r\n"
         "\r\n"
         "k2=v ;x\n"
         "q=\"quoted\"\n"
         "bare line\n"
         "k1=dup\n"
         "[b\n"
         "x=1\n"
         "[A]\n"
         "y=2");
  EXPECT_EQ(Names(), "a|b|A|");
  // Duplicate sections are not merged; the first answers. Duplicate keys are all delivered.
  EXPECT_EQ(SectionOf("A"), "k1=v 1|# hash=x|k2=v ;x|q=\"quoted\"|bare line|k1=dup|");
  EXPECT_EQ(SectionOf("b"), "x=1|");
  EXPECT_EQ(SectionOf("missing"), "");
  // A byte-order mark stands in front of the first line; NUL bytes and binary do not crash.
  h->Put(path, "\xEF\xBB\xBF[s]\nk=\x01\x02\xFF\n");
  EXPECT_EQ(Names(), "s|");
  h->Put(path, std::string("[s]\nk=a\0b\n", 10));
  EXPECT_EQ(SectionOf("s"), "k=a|b|");
}

TEST_P(ProfileRules, BuffersCutAtSizeMinusTwo) {
  h->Put(path, "[abc]\r\nk=12345\r\n[de]\r\n");
  // Whole list "abc|de|" is 7 long: complete in 9, cut in 8 and below.
  EXPECT_EQ(Names(9), "abc|de|");
  std::string buffer(8, 'x');
  EXPECT_EQ(h->profile().GetSectionNames(buffer.data(), 8, path), 6u);
  EXPECT_EQ(buffer, std::string("abc\0de\0\0", 8));
  EXPECT_EQ(SectionOf("abc", 5), "k=1");
  // A missing file gives 0 with an empty list.
  path = h->Path("none.ini");
  EXPECT_EQ(Names(), "");
  EXPECT_EQ(SectionOf("abc"), "");
}

TEST_P(ProfileRules, WritingEditsInPlace) {
  h->Put(path, "; top\n[Main]\n  Key = old \n;tail\n\n[Other]\tx\nz=1");
  Write(" main ", " KEY ", "new value ");  // names trimmed and matched case-blind
  Write("MAIN", "added", " v ");           // behind the last key line, ahead of the comment
  Write("other", "w", "2");                // last line had no line end
  Write("New", "n", "");                   // appended with no blank line before it
  Write("Main", "gone", String::Null());   // removing a missing key changes nothing
  EXPECT_EQ(h->Get(path),
            "; top\n[Main]\nKey=new value \nadded= v \n;tail\n\n[Other]\tx\nz=1\nw=2\n"
            "[New]\nn=\n");
  Write("main", "key", String::Null());
  Write("other", String::Null(), "x");  // a null key removes the section
  EXPECT_EQ(h->Get(path), "; top\n[Main]\nadded= v \n;tail\n\n[New]\nn=\n");
  // Written lines end as the file's first line does; a new file starts directly with its
  // header and ends its lines in CR LF; tabs around arguments stay.
  path = h->Path("new.ini");
  Write("s", "\tk", "v\r\nw");
  EXPECT_EQ(h->Get(path), "[s]\r\n\tk=v\r\nw\r\n");
  // A missing folder makes the write fail without a file.
  path = h->Path("no/such/folder.ini");
  EXPECT_FALSE(h->profile().WriteString("s", "k", "v", path) && GetParam());
  EXPECT_EQ(h->Get(path), GetParam() ? "<missing>" : "[s]\r\nk=v\r\n");
}

TEST_P(ProfileRules, LineEndsOfEveryKindAndAnsiText) {
  // "\xB3" is no UTF-8: the file is Windows-1252.
  h->Put(path, "[a]\rk=1\r[b]\nk=2\n[c]\r\nk=\xB3\r\n");
  EXPECT_EQ(Names(), "a|b|c|");
  EXPECT_EQ(SectionOf("b"), "k=2|");
  Write("b", "k", "\xC3\xA9");  // é as UTF-8 text becomes one Windows-1252 byte
  EXPECT_EQ(h->Get(path), "[a]\rk=1\r[b]\nk=\xE9\n[c]\r\nk=\xB3\r\n");  // its own line end
  Write("\xC3\x89", "k", "1");  // É matches nothing yet, and is written as 0xC9
  Write("\xC3\xA9", "j", "2");  // é matches É case-blind
  EXPECT_EQ(SectionOf("\xC3\x89"), "k=1|j=2|");
}

TEST_P(ProfileRules, BatchSeesItsOwnWritesAndWritesOnce) {
  h->Put(path, "[a]\nk=1\n");
  PrivateProfile& p = h->profile();
  {
    ProfileBatch batch(p, path);
    Write("a", "k", "2");
    Write("b", "j", "3");
    EXPECT_EQ(SectionOf("a"), "k=2|");
    EXPECT_EQ(Names(), "a|b|");
    EXPECT_EQ(h->Get(path), "[a]\nk=1\n");  // nothing on disk yet
    EXPECT_EQ(batch.Commit(), 0);
  }
  EXPECT_EQ(h->Get(path), "[a]\nk=2\n[b]\nj=3\n");
  // A call on another path writes the current file out first.
  String other = h->Path("b.ini");
  {
    ProfileBatch batch(p, path);
    Write("a", "k", "4");
    p.WriteString("x", "y", "z", other);
    EXPECT_EQ(h->Get(path), "[a]\nk=4\n[b]\nj=3\n");
  }
  EXPECT_EQ(h->Get(other), "[x]\r\ny=z\r\n");
}

TEST_P(ProfileRules, BatchReadsInAnyOrderFindTheFirstCopy) {
  h->Put(path, "[a]\nk=1\n[b]\nk=2\n[A]\nk=3\n[c]\nk=4\n[a]\nk=5\n");
  ProfileBatch batch(h->profile(), path);
  // Read in file order, a repeated name still gives its first copy.
  EXPECT_EQ(SectionOf("a"), "k=1|");
  EXPECT_EQ(SectionOf("b"), "k=2|");
  EXPECT_EQ(SectionOf("A"), "k=1|");
  EXPECT_EQ(SectionOf("c"), "k=4|");
  EXPECT_EQ(SectionOf("b"), "k=2|");
  // With the first copy gone the next one answers, also as the one behind the last read.
  Write("a", String::Null(), String::Null());
  EXPECT_EQ(SectionOf("a"), "k=3|");
  EXPECT_EQ(SectionOf("b"), "k=2|");
  Write("a", String::Null(), String::Null());
  EXPECT_EQ(SectionOf("a"), "k=5|");
  Write("a", String::Null(), String::Null());
  EXPECT_EQ(SectionOf("a"), "");
  Write("a", "n", "6");  // appended behind the last section
  EXPECT_EQ(SectionOf("c"), "k=4|");
  EXPECT_EQ(SectionOf("a"), "n=6|");
  EXPECT_EQ(Names(), "b|c|a|");
}

TEST_P(ProfileRules, ManySectionsWithRepeatedNames) {
  // Enough sections that the index grows several times; every seventh repeats the name of the
  // one three before it in another case, and only the first copy answers until it goes.
  std::string text;
  for (int i = 0; i < 300; ++i) {
    std::string name = i % 7 == 6 ? "S" + std::to_string(i - 3) : "s" + std::to_string(i);
    text += "[" + name + "]\nk=" + std::to_string(i) + "\n";
  }
  h->Put(path, text);
  ProfileBatch batch(h->profile(), path);
  for (int i = 0; i < 300; i += 11) {
    std::string name = "S" + std::to_string(i);
    EXPECT_EQ(SectionOf(name.c_str()), i % 7 == 6 ? "" : "k=" + std::to_string(i) + "|") << i;
  }
  Write("s3", String::Null(), String::Null());
  Write("s290", String::Null(), String::Null());
  EXPECT_EQ(SectionOf("s3"), "k=6|");
  EXPECT_EQ(SectionOf("s290"), "k=293|");
  EXPECT_EQ(SectionOf("s10"), "k=10|");
  EXPECT_EQ(SectionOf("s297"), "k=297|");
}

INSTANTIATE_TEST_SUITE_P(Both, ProfileRules, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "RealFiles" : "Memory"; });

TEST(ProfileBadInput, HugeLinesAndBinaryReadWithoutCrash) {
  MemoryProfile p;
  std::string big = "[s]\n" + std::string(100u << 20, 'a') + "=" + "\n[t]\nk=v\n";
  p.SetFile("/m", std::move(big));
  std::string buffer(32767, 0);
  EXPECT_EQ(p.GetSection("s", buffer.data(), 32767, "/m"), 32765u);
  EXPECT_EQ(p.GetSectionNames(buffer.data(), 32767, "/m"), 4u);
  std::string noise;
  for (int i = 0; i < 100000; ++i) noise += static_cast<char>((i * 7919) % 256);
  p.SetFile("/n", noise);
  p.GetSectionNames(buffer.data(), 32767, "/n");
  p.WriteString("s", "k", "v", "/n");
  EXPECT_GT(p.File("/n")->size(), noise.size());
}

TEST(FileSystemService, TempFilesAndPathsOnTheRealSystem) {
  FileSystem& fs = FileSystem::Real();
  const char* old = std::getenv("TMPDIR");
  std::string saved = old ? old : "";
  setenv("TMPDIR", "/tmp", 1);
  EXPECT_EQ(fs.TempFolder(), String("/tmp/"));
  String temp = fs.CreateTempFile(fs.TempFolder(), "tmp");
  ASSERT_FALSE(temp.empty());
  EXPECT_EQ(temp.ToUtf8().rfind("/tmp/tmp", 0), 0u);
  EXPECT_TRUE(fs.IsNormalFile(temp));
  // "\" is a separator once it reaches the file system.
  String backslashed = String("\\tmp\\") + String(temp.ToUtf8().substr(5));
  EXPECT_TRUE(fs.IsNormalFile(backslashed));
  EXPECT_FALSE(fs.IsNormalFile("/tmp"));
  EXPECT_EQ(fs.DeleteFile(backslashed), 0);
  EXPECT_EQ(fs.DeleteFile(temp), 53);
  EXPECT_EQ(fs.CopyFile(temp, "/tmp/x"), 53);
  EXPECT_EQ(fs.WriteFile("/no/such/folder/f", "x"), 76);
  if (old) {
    setenv("TMPDIR", saved.c_str(), 1);
  } else {
    unsetenv("TMPDIR");
  }
}

}  // namespace
}  // namespace borvane::platform
