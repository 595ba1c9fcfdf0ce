// Message boxes and the system service: what the classes rely on, and what must never happen
// by accident (a shut-down machine, a box that waits).
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "borvane/platform/fonts/font_catalog.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/system.h"
#include "borvane/platform/testing/fonts.h"
#include "borvane/platform/testing/registry.h"
#include "borvane/platform/testing/session.h"
#include "tests/test_support.h"

namespace borvane::platform {
namespace {

namespace fs = std::filesystem;
using testing::ErrorOf;

TEST(MessageBoxTest, DefaultIsOneLineAnsweredAtOnceAndAHandlerReplacesIt) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(Boxes().Show({"Font file a.ttf\r\nalready exists.", std::nullopt, MB_OK}), IDOK);
  EXPECT_EQ(Boxes().Show({"Sure?", String(), MB_YESNO | MB_ICONQUESTION}), IDYES);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "borvane: message: Font file a.ttf / already exists.\n"
            "borvane: question: : Sure?\n");
  std::vector<MessageBoxRequest> seen;
  SetMessageBoxHandler([&](const MessageBoxRequest& box) {
    seen.push_back(box);
    return IDCANCEL;
  });
  EXPECT_EQ(Boxes().Show({"x", String("HTML Help Class"), MB_ICONEXCLAMATION}), IDCANCEL);
  SetMessageBoxHandler(nullptr);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(*seen[0].caption, String("HTML Help Class"));
}

TEST(SystemTest, FoldersVersionAndEnvironment) {
  testing::ScratchFolder scratch;
  const fs::path& home = scratch.path();
  const std::string saved = std::getenv("XDG_DATA_HOME") ? std::getenv("XDG_DATA_HOME") : "";
  setenv("XDG_DATA_HOME", home.c_str(), 1);
  SystemService& s = System();
  EXPECT_EQ(s.WindowsFolder().ToUtf8(), (home / "borvane/windows").string());
  EXPECT_TRUE(fs::is_directory(home / "borvane/windows"));
  OsVersionInfo v = s.Version();
  EXPECT_EQ(v.dwPlatformId * 100 + v.dwMajorVersion * 10 + v.dwMinorVersion, 251u);
  EXPECT_NE(s.LibraryPath().ToUtf8().find("libborvane"), std::string::npos);
  EXPECT_EQ(s.LibraryFolder().ToUtf8() + "/",
            s.LibraryPath().ToUtf8().substr(0, s.LibraryFolder().size() + 1));
  setenv("BORVANE_TEST_NAME", "v", 1);
  EXPECT_EQ(s.ExpandEnvironmentStrings("%BORVANE_TEST_NAME%\\%NO_SUCH%%BORVANE_TEST_NAME%%"),
            String("v\\%NO_SUCH%v%"));
  EXPECT_EQ(s.ExpandEnvironmentStrings("50% of %"), String("50% of %"));
  EXPECT_EQ(s.LongPathName(String::FromUtf8(home.string())).ToUtf8(), home.string());
  EXPECT_TRUE(s.LongPathName("/no/such/path").empty());
  EXPECT_EQ(ErrorOf([] { LoadResString(101); }), 326);
  setenv("XDG_DATA_HOME", saved.c_str(), 1);
}

TEST(SystemTest, TheFontsFolderCallMakesTheFolderAndItsShellFolderValue) {
  testing::ScratchFolder scratch;
  const fs::path& home = scratch.path();
  testing::InUse<MemoryRegistry, RegistryStore> registry;
  AddSystemComputedKeys(registry);
  testing::InUse<MemoryFontCatalog, FontCatalog> catalog;
  catalog.user_folder = (home / "fonts").string();
  const char* key = "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
  EXPECT_FALSE(registry.GetValue(key, "Fonts").has_value());
  std::string display = std::getenv("DISPLAY") ? std::getenv("DISPLAY") : "";
  unsetenv("DISPLAY");  // no file manager opens in a test
  EXPECT_EQ(System().Shell(" rundll32.exe shell32.dll,SHHelpShortcuts_RunDLL FontsFolder", 0), 0);
  if (!display.empty()) setenv("DISPLAY", display.c_str(), 1);
  EXPECT_TRUE(fs::is_directory(home / "fonts"));
  EXPECT_EQ(registry.GetValue(key, "fonts"), BackslashPath(catalog.user_folder));
  // The value follows the folder: gone with it, so that the next install makes it again.
  fs::remove(home / "fonts");
  EXPECT_FALSE(registry.GetValue(key, "Fonts").has_value());
  EXPECT_EQ(System().Shell("notepad.exe", 1), 53);
}

TEST(SystemTest, EndingTheSessionMapsTheFlagsAndTheDoubleOnlyRecords) {
  using V = std::vector<std::string>;
  EXPECT_EQ(ExitCommand(EWX_REBOOT), (V{"systemctl", "reboot"}));
  EXPECT_EQ(ExitCommand(EWX_REBOOT | EWX_FORCE), (V{"systemctl", "reboot", "-i"}));
  EXPECT_EQ(ExitCommand(EWX_SHUTDOWN), (V{"systemctl", "poweroff"}));
  EXPECT_EQ(ExitCommand(EWX_POWEROFF | EWX_FORCE), (V{"systemctl", "poweroff", "-i"}));
  // A logoff ends this session alone: politely through the desktop where it has a logout
  // request, else through logind; forced, through logind at once.
  setenv("XDG_SESSION_ID", "c7", 1);
  unsetenv("XDG_CURRENT_DESKTOP");
  EXPECT_EQ(ExitCommand(EWX_LOGOFF), (V{"loginctl", "terminate-session", "c7"}));
  setenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME", 1);
  EXPECT_EQ(ExitCommand(EWX_LOGOFF), (V{"gnome-session-quit", "--logout", "--no-prompt"}));
  EXPECT_EQ(ExitCommand(EWX_FORCE), (V{"loginctl", "terminate-session", "c7"}));
  setenv("XDG_CURRENT_DESKTOP", "KDE", 1);
  EXPECT_EQ(ExitCommand(EWX_LOGOFF)[0], "qdbus");
  unsetenv("XDG_CURRENT_DESKTOP");
  unsetenv("XDG_SESSION_ID");
  EXPECT_EQ(ExitCommand(EWX_FORCE), (V{"loginctl", "terminate-session", "self"}));
  testing::InUse<FakeSystem, SystemService> fake;
  System().ExitWindows(EWX_REBOOT);
  EXPECT_EQ(fake.exits, std::vector<uint32_t>{EWX_REBOOT});
  fake.resources[7] = "seven";
  EXPECT_EQ(LoadResString(7), String("seven"));
}

}  // namespace
}  // namespace borvane::platform
