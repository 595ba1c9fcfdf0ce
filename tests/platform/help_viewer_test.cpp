// The help viewer over a help file compiled here from tests/data/help, and the readers of the
// file's tables over hand-made bytes.
#include "borvane/platform/help/help_viewer.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "borvane/automation/codepage.h"
#include "borvane/htmlhelp/html_help.h"
#include "borvane/platform/help/help_tables.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/testing/session.h"
#include "tests/test_support.h"

namespace borvane::platform {
namespace {

namespace fs = std::filesystem;
using testing::ReadWholeFile;
using testing::ScratchFolder;

// The test manual compiled into a scratch folder, with a cache of its own; no browser opens.
class Viewer : public ::testing::Test {
 protected:
  void SetUp() override {
    chm_ = testing::CompileTestHelp(dir_.path());
    if (chm_.empty()) GTEST_SKIP() << "chmcmd (Debian fp-utils) compiles the test help file";
    ::setenv("XDG_CACHE_HOME", (dir_.path() / "cache").c_str(), 1);
    ::unsetenv("DISPLAY");
    ::unsetenv("WAYLAND_DISPLAY");
    ::unsetenv("BORVANE_HELP_BROWSER");
  }
  // The topic the last page shows, or "" when the call opened nothing.
  std::string Shown(int32_t handle) {
    if (handle == 0) return "";
    std::string page = ReadWholeFile(viewer_.WindowAddress(handle));
    size_t src = page.find("<iframe name=\"topic\" src=\"");
    return src == std::string::npos ? "?"
                                    : page.substr(src + 26, page.find('"', src + 26) - src - 26);
  }
  int32_t Call(const std::string& file, int32_t command, const HelpData& data) {
    int32_t handle = viewer_.HtmlHelp(0, file, command, data);
    if (handle != 0) last_ = handle;
    return handle;
  }
  // The page of the last window opened.
  std::string LastPage() { return viewer_.WindowAddress(last_); }
  HH_AKLINK Link(const char* keywords) {
    HH_AKLINK link;
    link.cbStruct = 28;
    link.pszKeywords = keywords;
    return link;
  }

  ScratchFolder dir_;
  std::string chm_;
  HelpViewer viewer_;
  int32_t last_ = 0;
  testing::InUse<RecordingMessageBoxes, MessageBoxes> boxes_;
};

TEST_F(Viewer, TopicsResolveByEveryRoute) {
  EXPECT_EQ(Shown(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0})), "topics/welcome.htm");
  EXPECT_EQ(Shown(Call(chm_ + ">main", HH_DISPLAY_TOPIC, std::string("/topics/install.htm"))),
            "topics/install.htm");
  EXPECT_EQ(Shown(Call(chm_ + "::/topics/options.htm", HH_DISPLAY_TOPIC, int32_t{0})),
            "topics/options.htm");
  EXPECT_EQ(Shown(Call(chm_, HH_HELP_CONTEXT, int32_t{1001})), "topics/install.htm");
  EXPECT_EQ(Shown(Call(chm_, HH_KEYWORD_LOOKUP, Link("nothing; FONTS"))),
            "topics/options.htm#fonts");
  EXPECT_EQ(Shown(Call(chm_, HH_ALINK_LOOKUP, Link("Setup"))), "topics/install.htm");
  // Paths as the library passes them, "\" between names.
  EXPECT_EQ(Shown(Call(testing::WindowsPath(chm_), HH_DISPLAY_INDEX, int32_t{0})),
            "topics/welcome.htm");
  // The page lists the contents, nested, and the index, with working relative links.
  std::string page = ReadWholeFile(LastPage());
  EXPECT_NE(page.find("Using &amp; setting up<ul><li><a href=\"topics/install.htm\""),
            std::string::npos);
  EXPECT_LT(page.find("<h2>Index</h2>"), page.find("<h2>Contents</h2>"));  // index first
  EXPECT_TRUE(fs::exists(fs::path(LastPage()).parent_path() / "topics/images/logo.png"));
  // Nothing to show: 0, and nothing opened.
  int32_t handles = Call(chm_, HH_DISPLAY_TOPIC, int32_t{0});
  EXPECT_EQ(Call(chm_, HH_DISPLAY_TOPIC, std::string("topics/none.htm")), 0);
  EXPECT_EQ(Call(chm_, HH_DISPLAY_TOPIC, std::string("../../etc/passwd")), 0);
  EXPECT_EQ(Call(chm_, HH_HELP_CONTEXT, int32_t{4242}), 0);
  EXPECT_EQ(Call(chm_ + ".missing", HH_DISPLAY_TOPIC, int32_t{0}), 0);
  EXPECT_EQ(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0}), handles + 1);  // a handle per window
  EXPECT_EQ(Call(chm_, HH_CLOSE_ALL, int32_t{0}), 0);
}

TEST_F(Viewer, FailedLookupsFallBackAndPopupsSpeak) {
  HH_AKLINK link = Link("absent");
  link.pszUrl = "topics/options.htm";
  EXPECT_EQ(Shown(Call(chm_, HH_KEYWORD_LOOKUP, link)), "topics/options.htm");
  link.pszUrl.reset();
  link.pszMsgText = "No such keyword";
  link.pszMsgTitle = "Lookup";
  EXPECT_EQ(Call(chm_, HH_ALINK_LOOKUP, link), 0);
  ASSERT_EQ(boxes_.boxes.size(), 1u);
  EXPECT_EQ(boxes_.boxes[0].text, String("No such keyword"));
  EXPECT_EQ(boxes_.boxes[0].caption, std::optional<String>(String("Lookup")));
  HH_POPUP popup;
  popup.idString = 3;
  EXPECT_NE(Call(chm_ + "::/popups.txt", HH_DISPLAY_TEXT_POPUP, popup), 0);
  popup.idString = 0;
  popup.pszText = "Caf\xE9";  // ANSI text
  EXPECT_NE(viewer_.HtmlHelp(0, std::nullopt, HH_DISPLAY_TEXT_POPUP, popup), 0);
  popup.idString = 77;  // no such topic
  EXPECT_EQ(Call(chm_ + "::/popups.txt", HH_DISPLAY_TEXT_POPUP, popup), 0);
  ASSERT_EQ(boxes_.boxes.size(), 3u);
  EXPECT_EQ(boxes_.boxes[1].text, String("Closes the window,\nand asks first when something is "
                                         "unsaved."));
  EXPECT_EQ(boxes_.boxes[2].text, String(u"Caf\u00E9"));
}

TEST_F(Viewer, BadFilesGiveZeroAndAChangedFileIsReadAnew) {
  std::string bytes = ReadWholeFile(chm_);
  for (size_t cut : {size_t{0}, size_t{100}, bytes.size() / 2}) {
    std::string damaged = (dir_.path() / ("cut" + std::to_string(cut) + ".chm")).string();
    std::ofstream(damaged, std::ios::binary) << bytes.substr(0, cut);
    EXPECT_EQ(Call(damaged, HH_DISPLAY_TOPIC, int32_t{0}), 0) << cut;
  }
  std::string text = (dir_.path() / "text.chm").string();
  std::ofstream(text) << "<html>not compiled</html>";
  EXPECT_EQ(Call(text, HH_DISPLAY_TOPIC, int32_t{0}), 0);
  EXPECT_EQ(Call(dir_.path().string(), HH_DISPLAY_TOPIC, int32_t{0}), 0);  // a folder
  // The file compiled again with another default topic: extracted anew.
  ASSERT_NE(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0}), 0);
  std::string first = LastPage();
  std::string project = ReadWholeFile(dir_.path() / "src/manual.hhp");
  project.replace(project.find("topics/welcome.htm"), 18, "topics/options.htm");
  std::ofstream(dir_.path() / "src/manual.hhp", std::ios::binary) << project;
  ASSERT_EQ(std::system(("cd '" + (dir_.path() / "src").string() +
                         "' && chmcmd --verbosity 0 manual.hhp >/dev/null 2>&1")
                            .c_str()),
            0);
  fs::last_write_time(chm_, fs::last_write_time(chm_) + std::chrono::seconds(2));
  EXPECT_EQ(Shown(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0})), "topics/options.htm");
  EXPECT_NE(fs::path(first).parent_path(), fs::path(LastPage()).parent_path());
}

TEST_F(Viewer, TheHelpClassReachesTheViewer) {
  ScopedService<HelpControl> real(HelpControl::Real());
  Ref<HTMLHelp> help = MakeRef<HTMLHelp>();
  help->LetCHMFile(String::FromUtf8(testing::WindowsPath(chm_)));
  help->LetHHTopicID(1002);
  std::optional<int32_t> no_form;
  help->HHDisplayTopicID(no_form);
  EXPECT_NE(help->GetHHWndHandle(), 0);
  EXPECT_EQ(Shown(help->GetHHWndHandle()), "topics/options.htm");
}

TEST(HelpTables, ReadersOfHandMadeBytes) {
  using namespace std::string_literals;
  // #SYSTEM: entries past the end are not read.
  std::string system = "\3\0\0\0"s + "\2\0\5\0a.htm"s + "\3\0\3\0T\0\0"s + "\0\0\xFF\0x"s;
  HelpSystemInfo info = ParseHelpSystem(system);
  EXPECT_EQ(info.default_topic, "a.htm");
  EXPECT_EQ(info.title, "T");
  EXPECT_EQ(info.contents_file, "");
  // #IVB: a length beyond the data, an offset beyond the strings, a text without its NUL.
  std::string ivb =
      "\x20\0\0\0"s + "\1\0\0\0\0\0\0\0"s + "\2\0\0\0\x50\0\0\0"s + "\3\0\0\0\6\0\0\0"s;
  auto map = ParseContextMap(ivb, "a.htm\0b"s);
  EXPECT_EQ(map, (std::map<uint32_t, std::string>{{1, "a.htm"}, {3, "b"}}));
  EXPECT_TRUE(ParseContextMap("\x10\0"s, "").empty());
  // A sitemap: nesting by lists, entities, a heading without a topic, unquoted values.
  auto entries = ParseSitemap(
      "<ul><li><object type=\"text/sitemap\"><param name=\"Name\" value=\"A &amp; B\">"
      "<param name=Local value=a.htm></object><UL><LI><OBJECT type='text/sitemap'>"
      "<param name='name' value='Sub &#233;'></OBJECT></UL><!-- <ul> --></ul>"
      "<object type=\"text/site properties\"><param name=\"Name\" value=\"skip\"></object>"
      "<object type=\"text/sitemap\"><param name=\"Name\" value=\"Top");
  EXPECT_EQ(entries, (std::vector<SitemapEntry>{{"A & B", "a.htm", 0}, {"Sub \xC3\xA9", "", 1}}));
  // Popups: numbered topics only, with their lines; a symbolic one is left out.
  auto popups = ParsePopupTexts(
      ".topic 1\r\nOne\r\n\r\n.Topic IDH_X\nx\n.topic 99999999999\ny\n"
      ".topic 2 extra\n  two\n  lines  \n");
  EXPECT_EQ(popups, (std::map<uint32_t, std::string>{{1, "One"}, {2, "two\n  lines"}}));
  EXPECT_EQ(ParseALinkNames("<param name=\"ALink Name\" value=\"a; b ;\"><param name=x value=y>"),
            (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(DecodeHtmlText("&lt;&#x41;&#65;&bogus;&#xFFFFFFFFF;&"), "<AA&bogus;&#xFFFFFFFFF;&");
}

}  // namespace
}  // namespace borvane::platform
