// HTMLHelp over the platform's doubles: what reaches the help control, the message boxes, the
// registered help files and the version facts.
#include "borvane/htmlhelp/html_help.h"

#include <gtest/gtest.h>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/version_info.h"
#include "borvane/platform/help/help_control.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/system.h"
#include "borvane/platform/testing/files.h"
#include "borvane/platform/testing/help.h"
#include "borvane/platform/testing/registry.h"
#include "borvane/platform/testing/session.h"
#include "tests/platform/executable_images.h"
#include "tests/test_support.h"

namespace borvane {

inline void PrintTo(const String& s, std::ostream* os) {
  *os << '"' << s.ToUtf8() << '"';
}

namespace {

using namespace platform;
using testing::ErrorOf;
using testing::InUse;

const String kHelpFiles = "HKLM\\Software\\Microsoft\\Windows\\HTML Help";
const String kControlKey =
    "HKLM\\SOFTWARE\\Classes\\CLSID\\{4662DAB0-D393-11D0-9A56-00C04FB68B66}\\InprocServer32";
const String kBrowserKey =
    "HKLM\\SOFTWARE\\Classes\\CLSID\\{0A89A860-D7B1-11CE-8350-444553540000}\\InProcServer32";

class Help : public ::testing::Test {
 protected:
  Help() {
    files_.AddFolder("/help/");
    files_.Put("/help/Manual.chm", "chm");
    files_.AddFolder("/usr/lib/borvane/");
    files_.Put("/usr/lib/borvane/Local.chm", "chm");
    h_.LetCHMFile("/help\\Manual.chm");
  }
  std::vector<String> Texts() {
    std::vector<String> out;
    for (const auto& b : boxes_.boxes) out.push_back(b.text);
    boxes_.boxes.clear();
    return out;
  }
  const RecordingHelpControl::Call& Last() { return control_.calls.back(); }

  InUse<MemoryFileSystem, FileSystem> files_;
  InUse<RecordingMessageBoxes, MessageBoxes> boxes_;
  InUse<RecordingHelpControl, HelpControl> control_;
  InUse<MemoryRegistry, RegistryStore> registry_;
  InUse<FakeSystem, SystemService> system_;
  InUse<MemoryVersionRecords, VersionRecords> versions_;
  HTMLHelp h_;
  std::optional<int32_t> no_form_;
};

TEST_F(Help, SessionDefaultsFileNamesAndChecks) {
  HTMLHelp fresh;
  EXPECT_EQ(fresh.GetHHWndHandle(), 0);
  EXPECT_EQ(Texts(), std::vector<String>{"No HTML Help window handle to retrieve."});
  EXPECT_EQ(fresh.HHSetHelpFile(1), String("/usr/lib/borvane\\Library.chm"));
  EXPECT_EQ(fresh.HHSetHelpFile(2), String("Library.txt"));
  EXPECT_EQ(fresh.HHSetHelpFile(3), String());
  EXPECT_TRUE(fresh.IsValidHelpFile("X.CHM"));
  EXPECT_FALSE(fresh.IsValidHelpFile("x.chm.bak"));
  EXPECT_FALSE(fresh.IsValidHelpFile(""));
  EXPECT_EQ(Texts(), (std::vector<String>{"x.chm.bak is not a valid HTML Help file.",
                                          " is not a valid HTML Help file."}));
  // A bare name is looked for in the current folder first; unknown there and to the registry,
  // in the library's folder, and it keeps that path also when it is not there. The message
  // shows the path as the system writes it.
  String name = "Local.chm";
  EXPECT_TRUE(fresh.EnsureFileExists(name));
  EXPECT_EQ(name, String("/usr/lib/borvane\\Local.chm"));
  files_.AddFolder("/home/user/");
  files_.Put("/home/user/Local.chm", "chm");
  name = "Local.chm";
  EXPECT_TRUE(fresh.EnsureFileExists(name));
  EXPECT_EQ(name, String("/home/user\\Local.chm"));
  name = "Gone.chm";
  EXPECT_FALSE(fresh.EnsureFileExists(name));
  EXPECT_EQ(Texts(), std::vector<String>{"The file /usr/lib/borvane/Gone.chm does not exist.\n"
                                         "Please make sure the correct path and file name have "
                                         "been specified."});
  // A path with "/" is a path, as one with "\\" is.
  name = "/help/Manual.chm";
  EXPECT_TRUE(fresh.EnsureFileExists(name));
  EXPECT_EQ(name, String("/help/Manual.chm"));
}

TEST_F(Help, TargetsCarryTheWindowNameAsStoredAndTheHandleEvenWhenZero) {
  control_.results = {7, 0};
  h_.LetHHWindow("  ");  // blank: no window name
  h_.LetHHTopicURL("a/b.htm");
  h_.HHDisplayTopicURL(no_form_);
  EXPECT_EQ(Last().file, AnsiText("/help\\Manual.chm"));
  EXPECT_EQ(std::get<std::string>(Last().data), "a/b.htm");
  EXPECT_EQ(h_.GetHHWndHandle(), 7);
  h_.LetHHWindow(" main ");  // goes with its spaces
  h_.LetHHTopicID(42);
  h_.HHDisplayTopicID(no_form_);
  EXPECT_EQ(Last().file, AnsiText("/help\\Manual.chm> main "));
  EXPECT_EQ(std::get<int32_t>(Last().data), 42);
  EXPECT_EQ(h_.GetHHWndHandle(), 0);  // a failing control's 0 is stored
  h_.HHDisplaySearch(no_form_);
  auto query = std::get<HH_FTS_QUERY>(Last().data);
  EXPECT_EQ(query.cbStruct, 32);
  EXPECT_EQ(query.fExecute, 1);
  EXPECT_EQ(query.pszWindow, AnsiText(""));  // the window travels in the target alone
}

TEST_F(Help, OnTopTheCallingFormIsTheCallerAndNoneIsAWarning) {
  h_.LetHHShowOnTop(true);
  std::optional<int32_t> form = 0;
  h_.HHDisplayIndex(form);
  EXPECT_EQ(Last().command, HH_DISPLAY_INDEX);
  EXPECT_EQ(Last().caller_window, 0);
  h_.HHDisplayContents(no_form_);
  h_.HHDisplayKeyword(no_form_);
  EXPECT_EQ(control_.calls.size(), 1u);
  EXPECT_EQ(Texts(),
            (std::vector<String>{"The HHDisplayContents method was called without a form being "
                                 "specified, while HHShowOnTop was set to True.",
                                 "The HHDisplayKeyword method was called without a form being "
                                 "specified, while HHShowOnTop was set to True."}));
}

TEST_F(Help, AnUnreachableControlIsSilentAndABadFileNameStopsBeforeIt) {
  control_.results = {9};
  std::optional<int32_t> form = 5;
  h_.HHDisplayContents(form);
  control_.unavailable = kErrCantCreateObject;
  h_.HHDisplayContents(form);
  EXPECT_EQ(h_.GetHHWndHandle(), 9);  // kept
  EXPECT_TRUE(Texts().empty());
  h_.HHClose();  // lets nothing out either
  control_.unavailable.reset();
  h_.LetCHMFile("manual.hlp");
  h_.HHDisplayContents(form);
  EXPECT_EQ(control_.calls.size(), 1u);
  EXPECT_EQ(Texts(), std::vector<String>{"manual.hlp is not a valid HTML Help file."});
}

TEST_F(Help, KeywordAndLinkLookups) {
  control_.results = {3, 4, 5};
  h_.LetHHKeyword("open;save");
  h_.LetHHMsgText("Not found");
  h_.LetHHWindow("main");
  h_.HHDisplayKeyword(no_form_);
  ASSERT_EQ(control_.calls.size(), 2u);
  EXPECT_EQ(control_.calls[0].command, HH_DISPLAY_TOPIC);
  EXPECT_EQ(std::get<int32_t>(control_.calls[0].data), 0);
  EXPECT_EQ(control_.calls[1].file, AnsiText("/help\\Manual.chm"));  // no window name here
  EXPECT_EQ(control_.calls[1].command, HH_KEYWORD_LOOKUP);
  HH_AKLINK expected;
  expected.cbStruct = 28;
  expected.pszKeywords = "open;save";
  expected.pszMsgText = "Not found";  // the empty URL and title go as null pointers
  expected.pszWindow = "main";
  EXPECT_TRUE(std::get<HH_AKLINK>(control_.calls[1].data) == expected);
  EXPECT_EQ(h_.GetHHWndHandle(), 4);
  EXPECT_TRUE(h_.GetHHDefaultURL().IsNull());
  h_.LetHHALink("Linked");
  h_.LetHHWindow("");
  h_.HHDisplayALink(no_form_);
  ASSERT_EQ(control_.calls.size(), 3u);  // the lookup alone
  EXPECT_EQ(Last().command, HH_ALINK_LOOKUP);
  EXPECT_EQ(std::get<HH_AKLINK>(Last().data).pszKeywords, AnsiText("Linked"));
  EXPECT_EQ(std::get<HH_AKLINK>(Last().data).pszWindow, std::nullopt);
}

TEST_F(Help, PopupsAndTheirOneTimeLook) {
  int32_t form = 11;
  system_.cursor = {30, 40};
  h_.HHDisplayPopup(form);  // no type: nothing
  h_.LetHHPopupType(HH_TEXT_POPUP);
  h_.LetHHPopupTextColor(0xFF);
  h_.HHDisplayPopup(form);  // no text: nothing, and the look stays
  EXPECT_TRUE(control_.calls.empty());
  h_.LetHHPopupText("Hello");
  h_.LetHHPopupTextSize("12");
  h_.LetHHPopupTextBold(true);
  h_.LetHHPopupTextUnderline(true);
  h_.HHDisplayPopup(form);
  HH_POPUP expected{
      50, 0, 0, "Hello", {30, 40}, 0xFF, 0, {-1, -1, -1, -1}, "Arial, 12, ascii, Bold Underline"};
  EXPECT_TRUE(std::get<HH_POPUP>(Last().data) == expected);
  EXPECT_EQ(Last().file, std::nullopt);
  EXPECT_EQ(Last().caller_window, 11);
  HH_POPUP p;
  h_.LetHHPopupCustomColors(true);
  h_.LetHHPopupCustomBackColor(0x80);
  h_.HHDisplayPopup(form);
  p = std::get<HH_POPUP>(Last().data);
  EXPECT_EQ(p.pszFont, AnsiText("Arial, 10, ascii, "));  // the look was reset
  EXPECT_EQ(p.clrBackground, 0x80);
  h_.HHDisplayPopup(form);
  EXPECT_EQ(std::get<HH_POPUP>(Last().data).clrBackground,
            0);  // custom mode stays, its colours do not
  EXPECT_TRUE(h_.GetHHPopupCustomColors());
  // A popup of a help file's text file, and a file that is not one.
  h_.LetHHPopupType(HH_CHM_POPUP);
  h_.LetHHPopupID(1001);
  h_.LetHHPopupFile("POPUPS.TXT");
  h_.HHDisplayPopup(form);
  EXPECT_EQ(Last().file, AnsiText("/help\\Manual.chm::/POPUPS.TXT"));
  EXPECT_EQ(std::get<HH_POPUP>(Last().data).idString, 1001u);
  EXPECT_EQ(std::get<HH_POPUP>(Last().data).pszText, std::nullopt);
  size_t calls = control_.calls.size();
  h_.LetHHPopupFile("popups.htm");
  h_.HHDisplayPopup(form);
  h_.LetHHPopupType(static_cast<PopupType>(3));  // outside the enumeration: no call
  h_.HHDisplayPopup(form);
  EXPECT_EQ(control_.calls.size(), calls);
  EXPECT_EQ(Texts(), std::vector<String>{"The file specified as the text popup source, "
                                         "'popups.htm', is not a valid popup file."});
  // The library has no string resources: the platform's error reaches the caller.
  h_.LetHHPopupType(HH_RESOURCE_POPUP);
  EXPECT_EQ(ErrorOf([&] { h_.HHDisplayPopup(form); }), 326);
  int32_t window = 77;
  h_.HHInvokeWhatsThisHelp(window);
  h_.HHDeleteJumpURLSysMenu(window);
  EXPECT_EQ(system_.window_messages,
            (std::vector<FakeSystem::WindowMessage>{{77, 0x112, 0xF180, 0}}));
  EXPECT_EQ(system_.menu_deletions, (std::vector<std::pair<int32_t, int32_t>>{{77, 0xEFFF}}));
}

TEST_F(Help, RegisteredHelpFiles) {
  String empty;
  EXPECT_TRUE(h_.HHCheckRegistry(empty).IsEmpty());
  String file = "/help\\Manual.chm";
  h_.HHRegister(file);
  EXPECT_EQ(file, String("Manual.chm"));
  EXPECT_EQ(registry_.GetValue(kHelpFiles, "Manual.chm"), String("/help\\"));
  // Found by its bare name in any case; the folder keeps its backslash, so no second one comes.
  String other = "C:\\elsewhere\\MANUAL.CHM";
  EXPECT_EQ(h_.HHCheckRegistry(other), Variant(false));
  EXPECT_EQ(h_.GetHHRegFileName(), String("MANUAL.CHM"));
  EXPECT_EQ(h_.GetHHRegFilePath(), String("/help\\"));
  EXPECT_TRUE(h_.GetHHRegFileExists());
  String bare = "manual.chm";
  EXPECT_TRUE(h_.EnsureFileExists(bare));
  EXPECT_EQ(bare, String("/help\\manual.chm"));
  file = "/help\\Manual.chm";
  h_.HHRegister(file);
  EXPECT_EQ(Texts(), std::vector<String>{"The file /help\\Manual.chm is already registered.  "
                                         "HHRegister will not be run as no action need be taken."});
  h_.HHUnRegister(file);
  EXPECT_FALSE(registry_.GetValue(kHelpFiles, "Manual.chm").has_value());
  EXPECT_EQ(h_.GetHHRegFileName(), String());
  String local = "Local.chm";  // a bare name is never registered
  h_.HHRegister(local);
  EXPECT_EQ(Texts(),
            std::vector<String>{"Cannot register Local.chm without having a supplied path.\""});
  // Another program's folder without its backslash; a value of another type; a name with "=".
  registry_.SetValue(kHelpFiles, "Local.chm", "/usr/lib/borvane");
  registry_.SetValue(kHelpFiles, "a=b.chm", "/help\\");
  local = "Local.chm";
  EXPECT_FALSE(h_.EnsureFileExists(local));
  EXPECT_TRUE(h_.GetHHRegFileExists());  // its check joined the two with a "\\"
  EXPECT_EQ(Texts(), std::vector<String>{"The file /usr/lib/borvaneLocal.chm does not exist.\n"
                                         "Please make sure the correct path and file name have "
                                         "been specified."});
  String eq = "a=b.chm";
  h_.HHCheckRegistry(eq);
  EXPECT_EQ(h_.GetHHRegFilePath(), String("b.chm=/help\\"));  // the first "=" counts
  EXPECT_EQ(HTMLHelp::QueryRegValue("HKLM", kHelpFiles.view().substr(5), "A=B.CHM").Value,
            String(std::u16string(u"a=b.chm=/help\\\0\r", 16)));
  EXPECT_EQ(HTMLHelp::QueryRegValue("HKXX", "x", "y").Name, String());
}

TEST_F(Help, VersionsNamesAndMinimum) {
  registry_.SetValue(kControlKey, "", "/sys\\hhctrl.ocx");
  registry_.SetValue(kBrowserKey, "", "/sys\\shdocvw.dll");
  files_.AddFolder("/sys/");
  files_.Put("/sys/hhctrl.ocx", "x");
  files_.Put("/sys/shdocvw.dll", "x");
  versions_.Put("/sys/hhctrl.ocx", 4 << 16 | 72, 7290 << 16);
  versions_.Put("/sys/shdocvw.dll", 5 << 16, 2919 << 16 | 6307);
  EXPECT_EQ(h_.GetHHVersion(), String("4.72.7290.00"));
  EXPECT_EQ(h_.GetHHFriendlyName(), String("1.0"));
  EXPECT_EQ(h_.GetIEFriendlyName(), String("5.01"));
  HHVersion hh = HH_1_0;
  IEVersion ie = IE_5_0C;  // "5.0." sorts below every "5.00."
  EXPECT_TRUE(h_.HHVerifyMinConfig(hh, ie));
  hh = HH_1_1;
  EXPECT_FALSE(h_.HHVerifyMinConfig(hh, ie));
  hh = static_cast<HHVersion>(99);
  EXPECT_FALSE(h_.HHVerifyMinConfig(hh, ie));
  EXPECT_EQ(h_.GetHHFriendlyName(), String("unknown"));  // until the version is read again
  // The version text of the fixed record's numbers.
  struct Row {
    uint32_t ms, ls;
    const char* text;
  } rows[] = {{4 << 16 | 70, 1155, "4.70.1155"},
              {5 << 16, 2919 << 16 | 800, "5.00.2919.800"},
              {5 << 16, 518 << 16 | 5000, "5.00.518.5000"},
              {10 << 16, 0, "10.00.0000"}};
  for (const Row& r : rows) {
    versions_.Put("/sys/x.dll", r.ms, r.ls);
    EXPECT_EQ(HTMLHelp::GetFileVersionString("/sys\\x.dll"), String(r.text));
  }
  // Not registered, then registered at a file that is gone.
  registry_.DeleteValue(kControlKey, "");
  EXPECT_EQ(h_.GetHHVersion(), String("unknown"));  // what the minimum check left
  registry_.SetValue(kControlKey, "", "/sys\\gone.ocx");
  h_.GetHHVersion();
  EXPECT_EQ(Texts(),
            (std::vector<String>{"Hhctrl.ocx is not registered.  Please install HTML Help.",
                                 "Hhctrl.ocx is not in its registered location.  "
                                 "Please reinstall HTML Help."}));
  EXPECT_FALSE(h_.GetHHInstalled());
  registry_.SetValue("HKLM\\SOFTWARE\\Classes\\TypeLib\\{ADB880A2-D8FF-11CF-9377-00AA003B7A11}", "",
                     "");
  EXPECT_TRUE(h_.GetHHInstalled());
}

// The version texts of real files on disk: a generated hhctrl.ocx (32-bit PE) and shdocvw.dll
// (64-bit PE), read by the platform's version reader.
TEST(HelpVersions, FromGeneratedExecutables) {
  testing::ScratchFolder dir;
  using testing_images::PeImage;
  dir.Put("hhctrl.ocx", PeImage(false, MakeVersionBlock(4 << 16 | 73, 8561 << 16)));
  dir.Put("shdocvw.dll", PeImage(true, MakeVersionBlock(5 << 16 | 50, 3825 << 16 | 1300)));
  InUse<MemoryRegistry, RegistryStore> registry;
  InUse<RecordingMessageBoxes, MessageBoxes> boxes;
  registry.SetValue(kControlKey, "", dir.Windows("hhctrl.ocx"));
  registry.SetValue(kBrowserKey, "", dir.Windows("shdocvw.dll"));
  HTMLHelp h;
  EXPECT_EQ(h.GetHHVersion(), String("4.73.8561.00"));
  EXPECT_EQ(h.GetHHFriendlyName(), String("1.22"));
  EXPECT_EQ(h.GetIEFriendlyName(), String("5.5 Platform Preview"));
  HHVersion hh = HH_1_3;
  IEVersion ie = IE_5_5_PLAT_PREV;
  EXPECT_FALSE(h.HHVerifyMinConfig(hh, ie));
  hh = HH_1_22;
  EXPECT_TRUE(h.HHVerifyMinConfig(hh, ie));
  EXPECT_TRUE(boxes.boxes.empty());
}

TEST_F(Help, LongNamesByTheWalk) {
  system_.SetVersion(2, 4, 0, 1381);  // code 3: the walk by hand
  files_.AddFolder("/h/Program Files/Help Files/");
  EXPECT_EQ(HTMLHelp::GetLongFileName("\"C:\\x\""), String("\"C:\\x\""));  // no "~"
  // The folders are found (a pattern stands for the short name); the last part goes unchanged.
  EXPECT_EQ(HTMLHelp::GetLongFileName("\"/h\\Prog*\\Help*\\A~1.CHM\""),
            String("/h\\Program Files\\Help Files\\A~1.CHM"));
  EXPECT_EQ(HTMLHelp::GetLongFileName("/h\\None*\\A~1.CHM"), String());
}

}  // namespace
}  // namespace borvane
