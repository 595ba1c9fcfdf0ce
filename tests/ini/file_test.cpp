// Reading and writing INI files: round trips, what they drop, and the old file's safety when
// any step of a write fails.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "borvane/automation/codepage.h"
#include "borvane/ini/inifile.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/profile.h"
#include "borvane/platform/testing/files.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using platform::MemoryFileSystem;

// Inifile over files held in memory, through the real profile implementation.
class IniFiles : public ::testing::Test {
 protected:
  IniFiles() { fs_.AddFolder("/data/"); }
  String Dump(Inifile& ini) {
    String out;
    Ref<IniFileSections> s = ini.Sections();
    for (int32_t i = 1; i <= s->Count(); ++i) {
      out += String("[") + s->At(i).SectionName() + String("]");
      Ref<IniFileKeys> k = s->At(i).Keys();
      for (int32_t j = 1; j <= k->Count(); ++j)
        out += k->At(j).KeyName() + String("=") + k->At(j).KeyValue() + String(";");
    }
    return out;
  }
  std::string File(const char* path) {
    const std::string* f = fs_.Get(path);
    return f ? *f : "<missing>";
  }
  int TempFiles() {
    int n = 0;
    for (const auto& [path, bytes] : fs_.AllFiles()) n += path.rfind("/tmp/tmp", 0) == 0;
    return n;
  }
  testing::InUse<MemoryFileSystem, platform::FileSystem> fs_;
};

TEST_F(IniFiles, RoundTripKeepsOrderAndDropsWhatTheTreeDoesNotHold) {
  fs_.Put("/data/a.ini",
          "; comment\n[Zeta]\nb=2\nA=1=x\n\n[empty]\n[alpha]\nk=\nK=again\n[ZETA]\nc=3\n");
  Inifile ini;
  String path = "/data/a.ini";
  ini.ReadIniFile(path);
  // The repeated section reads as its first copy; the last of repeated keys stands.
  EXPECT_EQ(Dump(ini), String("[Zeta]b=2;A=1=x;[empty][alpha]k=again;"));
  ini.ReadIniFile(path);  // a second read merges into the same tree
  EXPECT_EQ(Dump(ini), String("[Zeta]b=2;A=1=x;[empty][alpha]k=again;"));
  ini.WriteIniFile(path);
  EXPECT_EQ(File("/data/a.ini"), "[Zeta]\r\nb=2\r\nA=1=x\r\n[alpha]\r\nk=again\r\n");
  EXPECT_EQ(TempFiles(), 0);
  // A null value gets no line, an empty one a line ending in "=".
  String s = "alpha", k1 = "nul", k2 = "emp", nul = String::Null(), emp = "";
  ini.WriteKey(s, k1, nul);
  ini.WriteKey(s, k2, emp);
  ini.WriteIniFile(path);
  EXPECT_EQ(File("/data/a.ini"), "[Zeta]\r\nb=2\r\nA=1=x\r\n[alpha]\r\nk=again\r\nemp=\r\n");
}

TEST_F(IniFiles, EmptyTreesAndFilesWithoutSections) {
  fs_.Put("/data/a.ini", "no sections here\n=\n");
  Inifile ini;
  String path = "/data/a.ini", sec = "s";
  ini.ReadIniFile(path);
  EXPECT_EQ(ini.Sections()->Count(), 0);
  ini.Sections()->Add(sec);
  ini.WriteIniFile(path);  // a tree without keys deletes the file and writes nothing
  EXPECT_EQ(File("/data/a.ini"), "<missing>");
  EXPECT_EQ(TempFiles(), 0);
  // Hidden files and folders are not found.
  fs_.Put("/data/.hidden.ini", "[s]\nk=v\n");
  String hidden = "/data/.hidden.ini", missing = "/data/none.ini";
  for (String* p : {&hidden, &missing}) {
    Error e = testing::CaughtError([&] { ini.ReadIniFile(*p); });
    EXPECT_EQ(e.Number(), 30000);
    EXPECT_EQ(e.Source(), String("IniFile:ReadIniFile"));
  }
}

TEST_F(IniFiles, LineWithoutEqualsStopsReadingWithError9) {
  fs_.Put("/data/a.ini", "[a]\nk=1\n[b]\nx=1\nbare\ny=2\n[c]\nz=1\n");
  Inifile ini;
  String path = "/data/a.ini";
  {
    Error e = testing::CaughtError([&] { ini.ReadIniFile(path); });
    EXPECT_EQ(e.Number(), 9);
  }
  EXPECT_EQ(Dump(ini), String("[a]k=1;[b]x=1;"));
}

TEST_F(IniFiles, NamesAndValuesComeBackInTheFilesOwnCodePage) {
  // Windows-1252: its undefined bytes stay the code units of their value, and a file that is
  // not valid UTF-8 is Windows-1252 whatever the thread's code page.
  SetAnsiCodePage(CodePage::kUtf8);
  fs_.Put("/data/a.ini", "[\x80]\n\x81=\x9F\n[s]\nk\xE2\x82=\xC3v\n");
  Inifile ini;
  String path = "/data/a.ini";
  ini.ReadIniFile(path);
  SetAnsiCodePage(CodePage::kWindows1252);
  EXPECT_EQ(Dump(ini).ToUtf8(),
            String(u"[\u20AC]\u0081=\u0178;[s]k\u00E2\u201A=\u00C3v;").ToUtf8());
  // UTF-8 with its byte-order mark, which is no part of the first header.
  fs_.Put("/data/a.ini", "\xEF\xBB\xBF[\xED\x95\x9C]\n\xE2\x82\xAC=\xF0\x9F\x98\x80\n");
  Inifile utf8;
  utf8.ReadIniFile(path);
  EXPECT_EQ(Dump(utf8).ToUtf8(), "[\xED\x95\x9C]\xE2\x82\xAC=\xF0\x9F\x98\x80;");
  // Written back, each file keeps its code page and its mark; line ends are a new file's.
  utf8.WriteIniFile(path);
  EXPECT_EQ(File("/data/a.ini"), "\xEF\xBB\xBF[\xED\x95\x9C]\r\n\xE2\x82\xAC=\xF0\x9F\x98\x80\r\n");
  fs_.Put("/data/b.ini", "[old]\nk=\xE9\n");
  String b = "/data/b.ini";
  ini.WriteIniFile(b);
  EXPECT_EQ(File("/data/b.ini"), "[\x80]\r\n\x81=\x9F\r\n[s]\r\nk\xE2\x82=\xC3v\r\n");
}

TEST_F(IniFiles, NamesBeyondTheFixedBufferAreNotRead) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += "[section" + std::to_string(10000 + i) + "]\nk=v\n";
  fs_.Put("/data/a.ini", text);
  Inifile ini;
  String path = "/data/a.ini";
  ini.ReadIniFile(path);
  // 13 bytes a name with its NUL: 32765 / 13 whole names, and a cut last one.
  EXPECT_EQ(ini.Sections()->Count(), 32765 / 13 + 1);
}

// Each step of a write that can fail, and where the old content must be afterwards.
struct Step {
  const char* name;
  MemoryFileSystem::Op op;
  int call;
  int32_t error;
};

TEST_F(IniFiles, AnyFailedStepOfWriteKeepsTheOldFile) {
  const std::string old = "[old]\nk=v\n";
  const Step steps[] = {
      {"copy to temp", MemoryFileSystem::kCopy, 1, 61},
      {"write new", MemoryFileSystem::kWrite, 1, 57},
      {"final delete", MemoryFileSystem::kDelete, 1, 70},
  };
  for (const Step& step : steps) {
    fs_.Put("/data/a.ini", old);
    Inifile ini;
    String path = "/data/a.ini", s = "new", k = "k", v = "1";
    ini.WriteKey(s, k, v);
    fs_.Fail(step.op, step.call, step.error);
    {
      Error e = testing::CaughtError([&] { ini.WriteIniFile(path); });
      EXPECT_EQ(e.Number(), step.error) << step.name;
      EXPECT_EQ(e.Source(), String("Inifile:WriteInifile")) << step.name;
      EXPECT_EQ(e.Description(), Error::StandardDescription(step.error)) << step.name;
    }
    EXPECT_EQ(File("/data/a.ini"), old) << step.name;
  }
}

TEST_F(IniFiles, FailedCopyBackKeepsTheOldFileInPlaceAndInTheTemporaryFile) {
  fs_.Put("/data/a.ini", "[old]\nk=v\n");
  Inifile ini;
  String path = "/data/a.ini", s = "new", k = "k", v = "1";
  ini.WriteKey(s, k, v);
  fs_.Fail(MemoryFileSystem::kWrite, 1, 57);
  fs_.Fail(MemoryFileSystem::kCopy, 2, 70);  // the copy back
  {
    Error e = testing::CaughtError([&] { ini.WriteIniFile(path); });
    EXPECT_EQ(e.Number(), 70);
    EXPECT_NE(e.Source(), String("Inifile:WriteInifile"));
  }
  // The new content never reached the path, so the old one never left it.
  EXPECT_EQ(File("/data/a.ini"), "[old]\nk=v\n");
  ASSERT_EQ(TempFiles(), 1);
  for (const auto& [p, bytes] : fs_.AllFiles()) {
    if (p.rfind("/tmp/tmp", 0) == 0) {
      EXPECT_EQ(bytes, "[old]\nk=v\n");
    }
  }
}

TEST_F(IniFiles, ReadOnlyFolderAndMissingFolder) {
  fs_.Put("/data/a.ini", "[old]\nk=v\n");
  fs_.SetReadOnly("/data/");
  Inifile ini;
  String path = "/data/a.ini", s = "new", k = "k", v = "1";
  ini.WriteKey(s, k, v);
  {
    Error e = testing::CaughtError([&] { ini.WriteIniFile(path); });
    EXPECT_EQ(e.Number(), 70);
  }
  EXPECT_EQ(File("/data/a.ini"), "[old]\nk=v\n");
  // With no old file there is nothing to lose, and the failed write is not looked at.
  String nowhere = "/nowhere/a.ini";
  ini.WriteIniFile(nowhere);
  EXPECT_EQ(File("/nowhere/a.ini"), "<missing>");
}

TEST(IniRealFiles, RoundTripInATemporaryFolder) {
  char pattern[] = "/tmp/ini_testXXXXXX";
  std::string folder = mkdtemp(pattern);
  setenv("TMPDIR", folder.c_str(), 1);
  String path = String(folder) + String("\\a.ini");  // "\" is a separator on the disk
  // A new file takes the code page that BORVANE_CODEPAGE names, whatever the locale.
  for (const char* code_page : {"1252", "utf-8"}) {
    setenv("BORVANE_CODEPAGE", code_page, 1);
    std::filesystem::remove(folder + "/a.ini");
    {
      Inifile ini;
      String s = "S", k = "K", v = "caf\xC3\xA9";
      ini.WriteKey(s, k, v);
      ini.WriteIniFile(path);
      setenv("BORVANE_CODEPAGE", "1252", 1);
      ini.WriteIniFile(path);  // over an existing file, which keeps its own
    }
    std::string bytes;
    ASSERT_EQ(platform::FileSystem::Real().ReadFile(path, bytes), 0);
    EXPECT_EQ(bytes, code_page == std::string("1252") ? "[S]\r\nK=caf\xE9\r\n"
                                                      : "[S]\r\nK=caf\xC3\xA9\r\n");
    Inifile back;
    back.ReadIniFile(path);
    String s = "s", k = "k";
    EXPECT_EQ(back.GetKeyValue(s, k), String("caf\xC3\xA9"));
  }
  unsetenv("BORVANE_CODEPAGE");
  int entries = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    (void)entry;
    ++entries;
  }
  EXPECT_EQ(entries, 1);  // no temporary file stays behind
  std::filesystem::remove_all(folder);
  unsetenv("TMPDIR");
}

}  // namespace
}  // namespace borvane
