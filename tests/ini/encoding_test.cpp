// Each file's own code page: how it is decided, and INI files from Debian packages of both
// kinds read and changed through the profile functions and Inifile without losing a byte.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <optional>
#include <string>

#include "borvane/ini/inifile.h"
#include "borvane/platform/files/profile.h"
#include "borvane/platform/files/text_encoding.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using platform::DetectEncoding;
using platform::NewFileCodePage;
using platform::TextEncoding;
using testing::ReadWholeFile;

constexpr TextEncoding k1252{CodePage::kWindows1252, false};
constexpr TextEncoding kUtf8{CodePage::kUtf8, false};

// Sets the variables for the scope, and takes them away again.
class Environment {
 public:
  explicit Environment(std::initializer_list<std::pair<const char*, const char*>> values) {
    for (const char* name : {"BORVANE_CODEPAGE", "LC_ALL", "LC_CTYPE", "LANG"}) {
      const char* old = getenv(name);
      saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
      unsetenv(name);
    }
    for (auto [name, value] : values) setenv(name, value, 1);
  }
  ~Environment() {
    for (const auto& [name, value] : saved_) {
      if (value) {
        setenv(name, value->c_str(), 1);
      } else {
        unsetenv(name);
      }
    }
  }

 private:
  std::vector<std::pair<const char*, std::optional<std::string>>> saved_;
};

TEST(TextEncoding, ValidUtf8IsUtf8AndAnythingElseWindows1252) {
  Environment env({{"BORVANE_CODEPAGE", "1252"}});
  EXPECT_EQ(DetectEncoding("k=caf\xC3\xA9"), kUtf8);
  EXPECT_EQ(DetectEncoding("\xEF\xBB\xBFk=v"), (TextEncoding{CodePage::kUtf8, true}));
  EXPECT_EQ(DetectEncoding("k=caf\xE9"), k1252);
  // UTF-8's own limits: no overlong forms, no surrogates, nothing beyond U+10FFFF, no
  // sequence cut by the end of the file.
  for (const char* broken : {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                             "\xF5\x80\x80\x80", "ok \xE2\x82", "\x80"})
    EXPECT_EQ(DetectEncoding(broken), k1252) << broken;
  EXPECT_EQ(DetectEncoding(std::string(40, 'a') + "\xF0\x9F\x98\x80" + std::string(9, 'b')), kUtf8);
  // ASCII alone, like no file at all, takes a new file's code page.
  EXPECT_EQ(DetectEncoding("[a]\nk=v\n"), k1252);
  EXPECT_EQ(DetectEncoding(""), k1252);
}

TEST(TextEncoding, NewFilesFollowTheVariableThenTheLocale) {
  struct Case {
    std::initializer_list<std::pair<const char*, const char*>> env;
    CodePage expected;
  };
  const Case cases[] = {
      {{}, CodePage::kWindows1252},
      {{{"LANG", "C.UTF-8"}}, CodePage::kUtf8},
      {{{"LANG", "de_DE.utf8@euro"}}, CodePage::kUtf8},
      {{{"LANG", "en_US.ISO-8859-1"}}, CodePage::kWindows1252},
      {{{"LANG", "C"}}, CodePage::kWindows1252},
      // LC_ALL before LC_CTYPE before LANG, as the C library takes them.
      {{{"LANG", "C.UTF-8"}, {"LC_CTYPE", "POSIX"}}, CodePage::kWindows1252},
      {{{"LC_CTYPE", "POSIX"}, {"LC_ALL", "en_GB.UTF-8"}}, CodePage::kUtf8},
      {{{"LANG", "C.UTF-8"}, {"BORVANE_CODEPAGE", "1252"}}, CodePage::kWindows1252},
      {{{"LANG", "C"}, {"BORVANE_CODEPAGE", "UTF-8"}}, CodePage::kUtf8},
      {{{"LANG", "C.UTF-8"}, {"BORVANE_CODEPAGE", "latin9"}}, CodePage::kUtf8},
  };
  for (const Case& c : cases) {
    Environment env(c.env);
    EXPECT_EQ(NewFileCodePage(), c.expected);
  }
}

// A file that a Debian package installs (scripts/deps), or a skip that names the package.
#define REQUIRE_FILE(var, path, package)                                            \
  const std::string var = std::filesystem::exists(path) ? ReadWholeFile(path) : ""; \
  if (var.empty()) GTEST_SKIP() << path << " is missing (package " << package << ")"

TEST(DebianIniFiles, OneValueEditsKeepEveryOtherByteAndTheFilesCodePage) {
  REQUIRE_FILE(desktop, "/usr/share/applications/vim.desktop", "vim-common");
  REQUIRE_FILE(scite, "/etc/scite/SciTEGlobal.properties", "scite");
  REQUIRE_FILE(skin, "/usr/share/mc/skins/double-lines.ini", "mc-data");
  REQUIRE_FILE(php, "/usr/lib/php/8.2/php.ini-production", "php8.2-common");
  ASSERT_EQ(DetectEncoding(desktop), kUtf8);
  ASSERT_EQ(DetectEncoding(scite), k1252);  // "chars.accented" holds bytes such as 0x8A and 0x9F
  Environment env({{"BORVANE_CODEPAGE", "utf-8"}});
  testing::ScratchFolder scratch;
  struct Sample {
    const std::string& bytes;
    const char* name;
    const char* added;  // the bytes of the value written below, as the file holds them
  };
  const Sample samples[] = {
      {desktop, "vim.desktop", "\xC5\x92uvre \xE2\x98\xBA \xED\x95\x9C"},
      {scite, "SciTEGlobal.properties", "\x8Cuvre ? ?"},
      {skin, "double-lines.ini", "\xC5\x92uvre \xE2\x98\xBA \xED\x95\x9C"},
      {php, "php.ini", "\xC5\x92uvre \xE2\x98\xBA \xED\x95\x9C"},  // ASCII: a new file's
  };
  platform::PrivateProfile& profile = platform::Profile();
  for (const Sample& s : samples) {
    SCOPED_TRACE(s.name);
    String path = scratch.Put(s.name, s.bytes);
    ASSERT_TRUE(profile.WriteString("Borvane", "Note", String(u"\u0152uvre \u263A \uD55C"), path));
    const std::string eol = s.bytes.find("\r\n") != std::string::npos ? "\r\n" : "\n";
    EXPECT_EQ(ReadWholeFile(scratch / s.name),
              s.bytes + "[Borvane]" + eol + "Note=" + s.added + eol);
    // What was written reads back through the file's code page.
    char buffer[256];
    uint32_t n = profile.GetSection("borvane", buffer, sizeof buffer, path);
    EXPECT_EQ(FromCodePage(std::string_view(buffer, n - 1), profile.CodePageOf(path)),
              FromCodePage(std::string("Note=") + s.added, DetectEncoding(s.added).code_page));
    ASSERT_TRUE(profile.WriteString("Borvane", String::Null(), String::Null(), path));
    EXPECT_EQ(ReadWholeFile(scratch / s.name), s.bytes);
  }
  // A value of the desktop entry's own, in Korean, set to itself: not a byte changes.
  String path = scratch.Put("vim.desktop", desktop);
  char buffer[32767];
  uint32_t n = profile.GetSection("Desktop Entry", buffer, sizeof buffer, path);
  std::string lines(buffer, n);
  size_t at = lines.find("Comment[ko]=");
  ASSERT_NE(at, std::string::npos);
  String korean = String::FromUtf8(lines.substr(at + 12, lines.find('\0', at) - at - 12));
  EXPECT_EQ(korean,
            String(u"\uD14D\uC2A4\uD2B8 \uD30C\uC77C\uC744 \uD3B8\uC9D1\uD569\uB2C8\uB2E4"));
  ASSERT_TRUE(profile.WriteString("Desktop Entry", "Comment[ko]", korean, path));
  EXPECT_EQ(ReadWholeFile(scratch / "vim.desktop"), desktop);
}

TEST(DebianIniFiles, InifileReadsAndWritesAUtf8FileAsUtf8) {
  REQUIRE_FILE(skin, "/usr/share/mc/skins/double-lines.ini", "mc-data");
  Environment env({{"BORVANE_CODEPAGE", "1252"}});  // the file's own code page counts
  testing::ScratchFolder scratch;
  String path = scratch.Put("skin.ini", skin);
  Inifile ini;
  ini.ReadIniFile(path);
  String lines = "Lines", horiz = "horiz", dvert = "dvert";
  EXPECT_EQ(ini.GetKeyValue(lines, horiz), String(u"\u2500"));
  EXPECT_EQ(ini.GetKeyValue(lines, dvert), String(u"\u2551"));
  ini.WriteIniFile(path);
  // The tree's form of the file (no blanks around "=", CR LF), in UTF-8 still.
  std::string written = ReadWholeFile(scratch / "skin.ini");
  EXPECT_EQ(DetectEncoding(written), kUtf8);
  EXPECT_NE(written.find("[Lines]\r\nhoriz=\xE2\x94\x80\r\n"), std::string::npos);
  // Read and written again, the tree's form comes back byte for byte.
  Inifile again;
  again.ReadIniFile(path);
  again.WriteIniFile(path);
  EXPECT_EQ(ReadWholeFile(scratch / "skin.ini"), written);
}

}  // namespace
}  // namespace borvane
