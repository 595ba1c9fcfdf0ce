// The help viewer and its server over a help file compiled here from tests/data/help, the
// reader process over hand-made hostile files, and the readers of the file's tables.
#include "borvane/platform/help/help_viewer.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <thread>

#include "borvane/automation/codepage.h"
#include "borvane/htmlhelp/html_help.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/help/chm_reader.h"
#include "borvane/platform/help/help_fulltext.h"
#include "borvane/platform/help/help_http.h"
#include "borvane/platform/help/help_keys.h"
#include "borvane/platform/help/help_search.h"
#include "borvane/platform/help/help_server.h"
#include "borvane/platform/help/help_tables.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/testing/registry.h"
#include "borvane/platform/testing/session.h"
#include "tests/chm_builder.h"
#include "tests/test_support.h"

namespace borvane::platform {
namespace {

namespace fs = std::filesystem;
using testing::ChmBuilder;
using testing::ReadWholeFile;
using testing::ScratchFolder;

// The test manual compiled into a scratch folder; the help server of the test has a cache and
// a runtime folder of its own there, and no browser opens.
class Viewer : public ::testing::Test {
 protected:
  void SetUp() override {
    chm_ = testing::CompileTestHelp(dir_.path());
    if (chm_.empty()) GTEST_SKIP() << "chmcmd (Debian fp-utils) compiles the test help file";
    ::setenv("XDG_CACHE_HOME", (dir_.path() / "cache").c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", "", 1);
    ::setenv("BORVANE_HELP_BROWSER", "true", 1);
  }
  // The topic a window shows, as its address names it, or "" when the call opened nothing.
  std::string Shown(int32_t handle) {
    if (handle == 0) return "";
    std::string address = viewer_.WindowAddress(handle);
    size_t window = address.find("/w/");
    if (window == std::string::npos) return "?";
    return UrlDecode(address.substr(address.find('/', window + 3) + 1));
  }
  int32_t Call(const std::string& file, int32_t command, const HelpData& data) {
    return viewer_.HtmlHelp(0, file, command, data);
  }
  HH_AKLINK Link(const char* keywords) {
    HH_AKLINK link;
    link.cbStruct = 28;
    link.pszKeywords = keywords;
    return link;
  }

  ScratchFolder dir_;
  std::string chm_;
  HelpViewer viewer_;
};

TEST_F(Viewer, TopicsByPathNumberKeywordAndLink) {
  testing::InUse<RecordingMessageBoxes, MessageBoxes> boxes;
  EXPECT_EQ(Shown(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0})), "topics/welcome.htm");
  EXPECT_EQ(Shown(Call(chm_ + ">main", HH_DISPLAY_TOPIC, std::string("/topics/install.htm"))),
            "topics/install.htm");
  EXPECT_EQ(Shown(Call(chm_ + "::/topics/options.htm", HH_DISPLAY_TOPIC, int32_t{0})),
            "topics/options.htm");
  // Another spelling of a stored name finds it: the file compares names without case.
  EXPECT_EQ(Shown(Call(chm_, HH_DISPLAY_TOPIC, std::string("Topics/OPTIONS.htm"))),
            "Topics/OPTIONS.htm");
  EXPECT_EQ(Shown(Call(chm_, HH_HELP_CONTEXT, int32_t{1001})), "topics/install.htm");
  EXPECT_EQ(Shown(Call(chm_, HH_KEYWORD_LOOKUP, Link("nothing; FONTS"))),
            "topics/options.htm#fonts");
  EXPECT_EQ(Shown(Call(chm_, HH_ALINK_LOOKUP, Link("Setup"))), "topics/install.htm");
  // Paths as the library passes them, "\" between names; a relative one is the current
  // folder's.
  EXPECT_EQ(Shown(Call(testing::WindowsPath(chm_), HH_DISPLAY_INDEX, int32_t{0})),
            "topics/install.htm");  // the window keeps its topic and shows its index
  const fs::path here = fs::current_path();
  fs::current_path(fs::path(chm_).parent_path());
  EXPECT_NE(Call("manual.chm", HH_DISPLAY_TOPIC, int32_t{0}), 0);
  fs::current_path(here);
  EXPECT_TRUE(boxes.boxes.empty());
}

TEST_F(Viewer, KeywordsFollowTheLevelsOfTheIndex) {
  // "fonts" is a keyword of its own and also a sub-entry of "install" that comes first in the
  // index: the keyword wins, and the sub-entry answers to its full name.
  EXPECT_EQ(Shown(Call(chm_, HH_KEYWORD_LOOKUP, Link("fonts"))), "topics/options.htm#fonts");
  EXPECT_EQ(Shown(Call(chm_, HH_KEYWORD_LOOKUP, Link("Install, Fonts"))), "topics/install.htm");
  const Sitemap index({{"Heading", "", 0},
                       {"a", "a.htm", 1},
                       {"b", "b.htm", 1},
                       {"a", "top.htm", 0},
                       {"x", "x.htm", 0},
                       {"deep", "d2.htm", 2},
                       {"Heading", "h2.htm", 0}});
  EXPECT_EQ(KeywordEntries(index, " A "), (std::vector<size_t>{3, 1}));
  EXPECT_EQ(KeywordEntries(index, "heading, b"), (std::vector<size_t>{2}));
  EXPECT_EQ(KeywordEntries(index, "deep"), (std::vector<size_t>{5}));
  EXPECT_EQ(KeywordEntries(index, "Heading"), (std::vector<size_t>{0, 6}));
  EXPECT_EQ(EntryTopic(index, 0), "a.htm");  // a heading opens its first sub-entry
  EXPECT_EQ(EntryTopic(index, 4), "x.htm");
}

TEST_F(Viewer, OneWindowPerFileAndWindowName) {
  // A keyword display's two calls (open the file, then the lookup) show in one window.
  const int32_t window = Call(chm_, HH_DISPLAY_TOPIC, int32_t{0});
  ASSERT_NE(window, 0);
  EXPECT_EQ(Call(chm_, HH_KEYWORD_LOOKUP, Link("welcome")), window);
  EXPECT_EQ(Call(chm_, HH_DISPLAY_TOC, int32_t{0}), window);
  const int32_t other = Call(chm_ + ">second", HH_DISPLAY_TOPIC, int32_t{0});
  EXPECT_NE(other, window);
  HH_AKLINK in_second = Link("install");
  in_second.pszWindow = "second";
  EXPECT_EQ(Call(chm_, HH_KEYWORD_LOOKUP, in_second), other);
  // The window's page serves the topic straight from the file.
  const std::string address = viewer_.WindowAddress(window);
  const int port = std::atoi(address.c_str() + address.find(':', 6) + 1);
  const std::string token = address.substr(address.find('/', 8) + 1, 32);
  int status = 0;
  std::string state;
  ASSERT_TRUE(HttpCall(port, "GET", "/" + token + "/w/" + std::to_string(window) + "/state", "",
                       5000, status, state));
  EXPECT_NE(state.find("\"topic\":\"topics/welcome.htm\""), std::string::npos) << state;
  const std::string file = state.substr(state.find("\"file\":\"") + 8, 16);
  std::string page;
  ASSERT_TRUE(HttpCall(port, "GET", "/" + token + "/t/" + file + "/TOPICS/Install.HTM", "", 5000,
                       status, page));
  EXPECT_NE(page.find("Copy the files"), std::string::npos);
  // Without the token, or from a page (no client header), nothing answers.
  HttpCall(port, "GET", "/" + std::string(32, '0') + "/w/1/state", "", 5000, status, page);
  EXPECT_EQ(status, 404);
  // The windows of this process close with HH_CLOSE_ALL; the next call opens a new one.
  EXPECT_EQ(Call("", HH_CLOSE_ALL, int32_t{0}), 0);
  EXPECT_EQ(viewer_.WindowAddress(window), "");
  EXPECT_NE(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0}), window);
}

TEST_F(Viewer, FailuresGiveZero) {
  testing::InUse<RecordingMessageBoxes, MessageBoxes> boxes;
  EXPECT_EQ(Call(chm_, HH_DISPLAY_TOPIC, std::string("topics/none.htm")), 0);
  EXPECT_EQ(Call(chm_, HH_DISPLAY_TOPIC, std::string("../../etc/passwd")), 0);
  EXPECT_EQ(Call(chm_, HH_HELP_CONTEXT, int32_t{4242}), 0);
  EXPECT_EQ(Call(chm_ + ".missing", HH_DISPLAY_TOPIC, int32_t{0}), 0);
  EXPECT_EQ(Call(dir_.path().string(), HH_DISPLAY_TOPIC, int32_t{0}), 0);  // a folder
  const std::string bytes = ReadWholeFile(chm_);
  for (size_t cut : {size_t{0}, size_t{100}, bytes.size() / 2}) {
    std::string damaged = (dir_.path() / ("cut" + std::to_string(cut) + ".chm")).string();
    std::ofstream(damaged, std::ios::binary) << bytes.substr(0, cut);
    EXPECT_EQ(Call(damaged, HH_DISPLAY_TOPIC, int32_t{0}), 0) << cut;
  }
  std::ofstream(dir_.path() / "text.chm") << "<html>not compiled</html>";
  EXPECT_EQ(Call((dir_.path() / "text.chm").string(), HH_DISPLAY_TOPIC, int32_t{0}), 0);
  // A failed lookup: the caller's fallback topic, else its message and 0.
  HH_AKLINK link = Link("absent");
  link.pszUrl = "topics/options.htm";
  EXPECT_EQ(Shown(Call(chm_, HH_KEYWORD_LOOKUP, link)), "topics/options.htm");
  link.pszUrl.reset();
  link.pszMsgText = "No such keyword";
  link.pszMsgTitle = "Lookup";
  EXPECT_EQ(Call(chm_, HH_ALINK_LOOKUP, link), 0);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].text, String("No such keyword"));
  EXPECT_EQ(boxes.boxes[0].caption, std::optional<String>(String("Lookup")));
}

TEST_F(Viewer, PopupsSpeak) {
  testing::InUse<RecordingMessageBoxes, MessageBoxes> boxes;
  HH_POPUP popup;
  popup.idString = 3;
  EXPECT_NE(Call(chm_ + "::/popups.txt", HH_DISPLAY_TEXT_POPUP, popup), 0);
  popup.idString = 0;
  popup.pszText = "Caf\xE9";  // ANSI text
  EXPECT_NE(viewer_.HtmlHelp(0, std::nullopt, HH_DISPLAY_TEXT_POPUP, popup), 0);
  popup.idString = 77;  // no such topic
  EXPECT_EQ(Call(chm_ + "::/popups.txt", HH_DISPLAY_TEXT_POPUP, popup), 0);
  ASSERT_EQ(boxes.boxes.size(), 2u);
  EXPECT_EQ(boxes.boxes[0].text, String("Closes the window,\nand asks first when something is "
                                        "unsaved."));
  EXPECT_EQ(boxes.boxes[1].text, String(u"Caf\u00E9"));
}

TEST_F(Viewer, AChangedFileIsReadAnew) {
  ASSERT_EQ(Shown(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0})), "topics/welcome.htm");
  std::string project = ReadWholeFile(dir_.path() / "src/manual.hhp");
  project.replace(project.find("topics/welcome.htm"), 18, "topics/options.htm");
  std::ofstream(dir_.path() / "src/manual.hhp", std::ios::binary) << project;
  ASSERT_EQ(std::system(("cd '" + (dir_.path() / "src").string() +
                         "' && chmcmd --verbosity 0 manual.hhp >/dev/null 2>&1")
                            .c_str()),
            0);
  fs::last_write_time(chm_, fs::last_write_time(chm_) + std::chrono::seconds(2));
  EXPECT_EQ(Shown(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0})), "topics/options.htm");
}

TEST_F(Viewer, HelpFromAMessageBoxHandlerDoesNotWait) {
  // The handler of a lookup's message shows help itself, and waits until help shown on
  // another thread meanwhile is through: no lock of the viewer is held across the box.
  std::mutex m;
  std::condition_variable cv;
  bool other_done = false;
  int32_t from_handler = 0;
  SetMessageBoxHandler([&](const MessageBoxRequest&) {
    from_handler = Call(chm_, HH_DISPLAY_TOPIC, std::string("topics/install.htm"));
    std::unique_lock<std::mutex> lock(m);
    cv.wait_for(lock, std::chrono::seconds(60), [&] { return other_done; });
    return IDOK;
  });
  std::thread box([&] {
    HH_AKLINK link = Link("absent");
    link.pszMsgText = "Not found";
    Call(chm_, HH_KEYWORD_LOOKUP, link);
  });
  std::thread other([&] {
    int32_t window = 0;
    for (int tries = 0; window == 0 && tries < 100; ++tries)
      window = Call(chm_ + ">other", HH_DISPLAY_TOPIC, int32_t{0});
    EXPECT_NE(window, 0);
    std::lock_guard<std::mutex> lock(m);
    other_done = true;
    cv.notify_all();
  });
  other.join();
  box.join();
  SetMessageBoxHandler(nullptr);
  EXPECT_TRUE(other_done);
  EXPECT_EQ(Shown(from_handler), "topics/install.htm");
}

TEST_F(Viewer, TheHelpClassReachesTheViewer) {
  ScopedService<HelpControl> real(HelpControl::Real());
  Ref<HTMLHelp> help = MakeRef<HTMLHelp>();
  help->LetCHMFile(String::FromUtf8(chm_));  // a Linux path, "/" between names
  help->LetHHTopicID(1002);
  std::optional<int32_t> no_form;
  help->HHDisplayTopicID(no_form);
  EXPECT_NE(help->GetHHWndHandle(), 0);
  EXPECT_EQ(Shown(help->GetHHWndHandle()), "topics/options.htm");
  // The browser component is the help server, whatever opens its pages.
  EXPECT_EQ(help->GetIEVersion(), String("5.50.3825.1300"));
  EXPECT_EQ(help->GetIEFriendlyName(), String("5.5 Platform Preview"));
}

TEST(HelpKeys, TheControlIsTheLibraryAndTheBrowserComponentTheServer) {
  testing::InUse<MemoryRegistry, RegistryStore> registry;
  testing::InUse<FakeSystem, SystemService> system;
  AddHelpComputedKeys(registry);
  const String classes = "HKEY_CLASSES_ROOT\\CLSID\\";
  EXPECT_EQ(registry.GetValue(classes + String("{4662DAB0-D393-11D0-9A56-00C04FB68B66}\\"
                                               "InprocServer32"),
                              String()),
            std::optional<String>(String("\\usr\\lib\\borvane\\libborvane.so.1")));
  std::optional<String> browser =
      registry.GetValue(classes + String("{0A89A860-D7B1-11CE-8350-444553540000}\\"
                                         "InProcServer32"),
                        String());
  ASSERT_TRUE(browser);
  EXPECT_EQ(NativePath(*browser), HelpServerProgram());
  EXPECT_TRUE(registry.KeyExists(
      "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\TypeLib\\{ADB880A2-D8FF-11CF-9377-00AA003B7A11}"));
  // The keys on their way are there too, and list what is below them once.
  std::vector<String> below = registry.SubKeys("HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID");
  EXPECT_EQ(below.size(), 2u);
}

// A reader over a hand-made file, with short limits.
std::unique_ptr<ChmReader> Reader(const std::string& path, std::string* why = nullptr) {
  ReaderLimits limits;
  limits.open_ms = limits.request_ms = limits.pass_ms = 2000;
  return ChmReader::Start({HelpServerProgram()}, path, limits, why);
}

TEST(ChmReaderTest, HostileFilesAreRefusedOrContained) {
  ScratchFolder dir;
  ASSERT_FALSE(HelpServerProgram().empty());
  const std::string system = ChmBuilder::System("a.htm", "T");
  ChmBuilder good;
  good.Add("/#SYSTEM", system).Add("/a.htm", "<title>A</title>alpha").Add("/../../up.htm", "x");
  good.Add("/etc/passwd", "not yours").Add("/long.htm", "short", 1'000'000);
  good.Add("/huge.htm", "", int64_t{1} << 40);
  std::unique_ptr<ChmReader> reader = Reader(dir.Put("good.chm", good.Build()).ToUtf8());
  ASSERT_TRUE(reader);
  std::string bytes;
  EXPECT_EQ(reader->Read("A.HTM", bytes), ReadStatus::kOk);
  EXPECT_EQ(bytes, "<title>A</title>alpha");
  // Stored names are only keys: nothing is written, a climbing name reads as any other.
  EXPECT_EQ(reader->Read("../../up.htm", bytes), ReadStatus::kOk);
  EXPECT_EQ(reader->Read("etc/passwd", bytes), ReadStatus::kOk);
  EXPECT_EQ(bytes, "not yours");
  EXPECT_EQ(reader->Read("huge.htm", bytes), ReadStatus::kTooLarge);
  EXPECT_EQ(reader->Read("none.htm", bytes), ReadStatus::kMissing);
  EXPECT_FALSE(reader->damaged());
  // A length past the end: the answer is cut, and the file counts as damaged from then on.
  EXPECT_EQ(reader->Read("long.htm", bytes), ReadStatus::kDamaged);
  EXPECT_TRUE(reader->damaged());
  // A listing whose chunk names itself as the next one goes round in circles: the pass ends
  // where a name comes again, with each page once.
  ChmBuilder loop;
  loop.Add("/#SYSTEM", system).Add("/a.htm", "<title>A</title>alpha").Add("/b.htm", "beta");
  loop.next_chunk = 0;
  reader = Reader(dir.Put("loop.chm", loop.Build()).ToUtf8());
  ASSERT_TRUE(reader);
  ASSERT_EQ(reader->BuildSearchIndex(bytes), ReadStatus::kOk);
  SearchIndex index;
  ASSERT_TRUE(index.Load(bytes));
  EXPECT_EQ(index.Find("alpha", 10).size(), 1u);
  // A reader that takes longer than its limit is killed, and answers no more.
  ReaderLimits limits;
  limits.request_ms = 300;
  reader = ChmReader::Start({"/bin/sh", "-c", "echo 'ok 0'; exec sleep 60"},
                            dir.Put("slow.chm", good.Build()).ToUtf8(), limits, nullptr);
  ASSERT_TRUE(reader);
  EXPECT_EQ(reader->Read("a.htm", bytes), ReadStatus::kDamaged);
  EXPECT_TRUE(reader->damaged());
  EXPECT_EQ(reader->Read("a.htm", bytes), ReadStatus::kDamaged);
  // Not a help file at all, or one without its settings.
  std::string why;
  EXPECT_FALSE(Reader(dir.Put("text.chm", "ITSF but no more").ToUtf8(), &why));
  ChmBuilder bare;
  bare.Add("/a.htm", "x");
  EXPECT_FALSE(Reader(dir.Put("bare.chm", bare.Build()).ToUtf8(), &why));
  EXPECT_EQ(why, "not a compiled help file");
}

TEST_F(Viewer, TheFilesOwnFullTextIndexFindsWhatThePagesHold) {
  // chmcmd stores a full-text index in the manual: read, it finds the pages that the pass over
  // every page finds, with their paths and titles. A file without one has none to give.
  std::unique_ptr<ChmReader> reader = Reader(chm_);
  ASSERT_TRUE(reader);
  std::string own, pass;
  ASSERT_EQ(reader->BuildFulltextIndex(own), ReadStatus::kOk);
  ASSERT_EQ(reader->BuildSearchIndex(pass), ReadStatus::kOk);
  SearchIndex by_own, by_pass;
  ASSERT_TRUE(by_own.Load(own));
  ASSERT_TRUE(by_pass.Load(pass));
  auto found = [](const SearchIndex& index, const char* query) {
    std::vector<std::string> pages;
    for (const SearchIndex::Page* p : index.Find(query, 10))
      pages.push_back(std::string(p->path) + "|" + std::string(p->title));
    std::sort(pages.begin(), pages.end());
    return pages;
  };
  for (const char* query : {"font", "pick", "copy files", "welcome", "installing", "opt"}) {
    EXPECT_FALSE(found(by_own, query).empty()) << query;
    EXPECT_EQ(found(by_own, query), found(by_pass, query)) << query;
  }
  EXPECT_TRUE(found(by_own, "nowhere").empty());
  ScratchFolder dir;
  ChmBuilder bare;
  bare.Add("/#SYSTEM", ChmBuilder::System("a.htm", "T")).Add("/a.htm", "alpha");
  reader = Reader(dir.Put("bare.chm", bare.Build()).ToUtf8());
  ASSERT_TRUE(reader);
  EXPECT_EQ(reader->BuildFulltextIndex(own), ReadStatus::kMissing);
  // Damaged: every cut of the index gives a whole index or none, never a crash.
  std::string fiftimain;
  ASSERT_EQ(Reader(chm_)->Read("$FIftiMain", fiftimain), ReadStatus::kOk);
  for (size_t cut = 0; cut < fiftimain.size(); cut += 7) {
    std::string stored =
        SearchIndexFromFulltext({std::string_view(fiftimain).substr(0, cut), "", "", "", ""});
    SearchIndex index;
    EXPECT_TRUE(stored.empty() || index.Load(stored));
  }
}

TEST(ChmReaderTest, ALargeFileIsSearchedWholeWithOrWithoutItsOwnIndex) {
  // 600 pages, each with its own words: chmcmd writes several directory chunks (chmlib's
  // listing misses some) and a full-text index of many leaves with numbers of two bytes.
  if (std::system("command -v chmcmd >/dev/null 2>&1") != 0) GTEST_SKIP() << "needs chmcmd";
  ScratchFolder dir;
  std::string project = "[OPTIONS]\nCompiled file=big.chm\nDefault topic=p0.htm\n";
  std::string files = "\n[FILES]\n";
  for (int i = 0; i < 600; ++i) {
    dir.Put("p" + std::to_string(i) + ".htm",
            "<html><head><title>T" + std::to_string(i) + "</title></head><body>every word" +
                std::to_string(i) + " w" + std::to_string(i % 7) + "</body></html>");
    files += "p" + std::to_string(i) + ".htm\n";
  }
  for (const char* fulltext : {"No", "Yes"}) {
    dir.Put("big.hhp", project + "Full-text search=" + fulltext + "\n" + files);
    ASSERT_EQ(std::system(("cd '" + dir.path().string() +
                           "' && chmcmd --verbosity 0 big.hhp >/dev/null 2>&1")
                              .c_str()),
              0);
    std::unique_ptr<ChmReader> reader = Reader((dir / "big.chm").string());
    ASSERT_TRUE(reader);
    std::string pass, own;
    ASSERT_EQ(reader->BuildSearchIndex(pass), ReadStatus::kOk);
    SearchIndex index;
    ASSERT_TRUE(index.Load(pass));
    EXPECT_EQ(index.pages(), 600u) << fulltext;
    EXPECT_EQ(index.Find("every", 1000).size(), 600u);
    if (std::string(fulltext) == "No") {
      EXPECT_EQ(reader->BuildFulltextIndex(own), ReadStatus::kMissing);
      continue;
    }
    ASSERT_EQ(reader->BuildFulltextIndex(own), ReadStatus::kOk);
    SearchIndex by_own;
    ASSERT_TRUE(by_own.Load(own));
    EXPECT_EQ(by_own.Find("every", 1000).size(), 600u);
    EXPECT_EQ(by_own.Find("w3", 1000).size(), 86u);
    ASSERT_EQ(by_own.Find("word599", 10).size(), 1u);
    EXPECT_EQ(by_own.Find("word599", 10)[0]->path, "p599.htm");
    EXPECT_EQ(by_own.Find("word599", 10)[0]->title, "T599");
  }
}

// Files on which chmlib divides by zero or asks for gigabytes, found by the fuzz target: the
// reader process takes the fault, and the caller gets 0 at once.
TEST_F(Viewer, FilesThatCrashTheReaderGiveZero) {
  for (const char* name :
       {"fpe-in-open.chm", "fpe-in-open-2.chm", "fpe-in-retrieve.chm", "huge-allocation.chm"}) {
    const std::string file = std::string(BORVANE_SOURCE_DIR) + "/tests/data/chm-crashes/" + name;
    EXPECT_EQ(Call(file, HH_HELP_CONTEXT, int32_t{1001}), 0) << name;
    EXPECT_EQ(Call(file, HH_KEYWORD_LOOKUP, Link("fonts")), 0) << name;
  }
  // The server lives on.
  EXPECT_NE(Call(chm_, HH_DISPLAY_TOPIC, int32_t{0}), 0);
}

TEST(ChmReaderTest, AReaderEndsWithItsParent) {
  ScratchFolder dir;
  ChmBuilder loop;
  loop.Add("/#SYSTEM", ChmBuilder::System("a.htm", "T")).Add("/a.htm", "x");
  loop.next_chunk = 0;
  const std::string path = dir.Put("orphan-test.chm", loop.Build()).ToUtf8();
  const std::string program = HelpServerProgram();
  // A process starts a reader and is killed; another one still holds the reader's line, so
  // that the reader learns of its parent's end only by looking.
  pid_t parent = ::fork();
  if (parent == 0) {
    ::setpgid(0, 0);
    std::unique_ptr<ChmReader> reader = ChmReader::Start({program}, path, ReaderLimits(), nullptr);
    if (::fork() == 0) ::sleep(30);
    ::pause();
    ::_exit(0);
  }
  auto readers = [&] {
    int n = 0;
    for (const auto& e : fs::directory_iterator("/proc")) {
      std::string cmdline = ReadWholeFile(e.path() / "cmdline");
      if (cmdline.find("--reader") != std::string::npos && cmdline.find(path) != std::string::npos)
        ++n;
    }
    return n;
  };
  for (int i = 0; i < 100 && readers() == 0; ++i) ::usleep(50'000);
  ASSERT_EQ(readers(), 1);
  ::kill(-parent, SIGKILL);
  ::waitpid(parent, nullptr, 0);
  for (int i = 0; i < 100 && readers() > 0; ++i) ::usleep(50'000);
  EXPECT_EQ(readers(), 0);
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
  const std::string sitemap =
      "<ul><li><object type=\"text/sitemap\"><param name=\"Name\" value=\"A &amp; B\">"
      "<param name=Local value=a.htm></object><UL><LI><OBJECT type='text/sitemap'>"
      "<param name='name' value='Sub &#233;'></OBJECT></UL><!-- <ul> --></ul>"
      "<object type=\"text/site properties\"><param name=\"Name\" value=\"skip\"></object>"
      "<object type=\"text/sitemap\"><param name=\"Name\" value=\"Top";
  const std::vector<SitemapEntry> entries = ParseSitemap(sitemap);
  EXPECT_EQ(entries, (std::vector<SitemapEntry>{{"A & B", "a.htm", 0}, {"Sub \xC3\xA9", "", 1}}));
  // Read in pieces cut anywhere (inside a tag, a quote, a comment), it gives the same.
  for (size_t cut = 0; cut <= sitemap.size(); ++cut) {
    std::vector<SitemapEntry> pieces;
    SitemapReader reader([&](SitemapEntry&& e) { pieces.push_back(std::move(e)); });
    for (size_t at = 0; at < sitemap.size(); at += cut ? cut : 1)
      reader.Feed(std::string_view(sitemap).substr(at, cut ? cut : 1));
    reader.Finish();
    EXPECT_EQ(pieces, entries) << "pieces of " << cut;
  }
  // Kept compactly, each text once, a long one whole.
  const std::string long_name(300, 'n');
  const Sitemap kept({{long_name, "t.htm", 0}, {"t.htm", "t.htm", 1}, {"", "", 2}});
  ASSERT_EQ(kept.size(), 3u);
  EXPECT_EQ(kept.name(0), long_name);
  EXPECT_EQ(kept.name(1), "t.htm");
  EXPECT_EQ(kept.local(1), "t.htm");
  EXPECT_EQ(kept.name(1).data(), kept.local(0).data());
  EXPECT_EQ(kept.depth(2), 2);
  EXPECT_EQ(kept.local(2), "");
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
