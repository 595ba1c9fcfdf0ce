// Runs the built borvane executable on the examples and on bad input.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/test_support.h"

namespace {

struct Result {
  int status = -1;
  std::string out, err;
};

std::string Example(const std::string& name) {
  return std::string(BORVANE_SOURCE_DIR) + "/examples/" + name;
}

using borvane::testing::ReadWholeFile;

class ToolTest : public ::testing::Test {
 protected:
  // `args` is shell text; `input` goes to standard input; `cwd` is the folder it runs in.
  Result Run(const std::string& args, const std::string& input = "", const std::string& cwd = "") {
    std::string in = (dir_ / "in").string(), out = (dir_ / "out").string(),
                err = (dir_ / "err").string();
    std::ofstream(in, std::ios::binary) << input;
    std::string cmd = (cwd.empty() ? "" : "cd '" + cwd + "' && ") + std::string(BORVANE_TOOL) +
                      " " + args + " <" + in + " >" + out + " 2>" + err;
    int raw = std::system(cmd.c_str());
    Result r;
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = ReadWholeFile(out);
    r.err = ReadWholeFile(err);
    return r;
  }
  borvane::testing::ScratchFolder scratch_;
  const std::filesystem::path& dir_ = scratch_.path();
};

TEST_F(ToolTest, HelpAndUsage) {
  Result r = Run("--help");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("usage: borvane"), std::string::npos);
  for (const char* sub : {"classes", "inspect", "doc", "ini", "font-settings", "timer", "call"}) {
    r = Run(std::string(sub) + " --help");
    EXPECT_EQ(r.status, 0) << sub;
    EXPECT_NE(r.out.find("usage: borvane"), std::string::npos) << sub;
  }
  r = Run("frobnicate");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("unknown command"), std::string::npos);
  EXPECT_EQ(Run("").status, 2);
  EXPECT_EQ(Run("timer --interval x --count 2").status, 2);
  EXPECT_EQ(Run("doc format").status, 2);
}

TEST_F(ToolTest, ClassesAndLateBoundCalls) {
  Result r = Run("classes");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("Borvane.Doc"), std::string::npos);
  EXPECT_NE(r.out.find("IniFileKey         No"), std::string::npos);
  r = Run("call Borvane.CStringBuilder EnsureCapacity 5000");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "6144\nTypeName: Long\n");
  r = Run("call Borvane.CStringBuilder BufferBump 7");  // no such method: a property let
  EXPECT_EQ(r.status, 0);
  r = Run("call Borvane.Nothing X");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "borvane: Borvane: ActiveX component can't create object (error 429)\n");
  r = Run("call Borvane.Doc Frobnicate");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("(error 438)"), std::string::npos);
  r = Run("call Borvane.CStringBuilder EnsureCapacity abc");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Type mismatch (error 13)"), std::string::npos);
}

TEST_F(ToolTest, DocumentCommands) {
  Result r = Run("doc format " + Example("settings.xml"));
  EXPECT_EQ(r.status, 0) << r.err;
  // Numbers in attributes read back as text, and an element without a value line reads back
  // with the empty text as its value; after that the form is stable.
  EXPECT_EQ(r.out.rfind("<Settings Version=\"2\" Title=\"Editor settings\" Active=TRUE>\n", 0), 0u);
  EXPECT_NE(r.out.find("\t\t<Output Dock=\"bottom\" Visible=TRUE>\n\t\t\"\"\n"), std::string::npos);
  EXPECT_EQ(Run("doc format -", r.out).out, r.out);
  r = Run("doc select " + Example("settings.xml") + " Font");
  EXPECT_EQ(r.out,
            "Settings//Editor//Font\nSettings//Editor//Font//Size\n"
            "Settings//Editor//Font//Name\nSettings//Windows//MyFonts\n");
  r = Run("doc find " + Example("settings.xml") + " OUTPUT");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "\t\t<Output Dock=\"bottom\" Visible=TRUE>\n\t\t\"\"\n\t\t</Output>\n");
  r = Run("doc find " + Example("settings.xml") + " Nowhere");
  EXPECT_EQ(r.status, 1);
  r = Run("doc format " + (dir_ / "missing.xml").string());
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("File not found (error 53)"), std::string::npos);
  EXPECT_NE(Run("doc format /nonexistent/file.xml").err.find("Path not found (error 76)"),
            std::string::npos);
}

TEST_F(ToolTest, FontNames) {
  Result r = Run("font names /usr/share/fonts/truetype/dejavu/DejaVuSans-Oblique.ttf");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "Font name:   DejaVu Sans Oblique\nFamily:      DejaVu Sans\n"
            "Style:       Oblique\n");
  // A bare relative name, and standard input.
  EXPECT_EQ(Run("font names DejaVuSans-Oblique.ttf", "", "/usr/share/fonts/truetype/dejavu").out,
            r.out);
  EXPECT_EQ(
      Run("font names -", ReadWholeFile("/usr/share/fonts/truetype/dejavu/DejaVuSans-Oblique.ttf"))
          .out,
      r.out);
  // Each font of a collection.
  r = Run("font names /usr/share/fonts/truetype/wqy/wqy-microhei.ttc");
  EXPECT_NE(r.out.find("Font 2:      WenQuanYi Micro Hei Mono (WenQuanYi Micro Hei Mono, Regular)"),
            std::string::npos)
      << r.out << r.err;
  // Files that are no fonts, whatever their bytes or names, fail and are named.
  std::ofstream(dir_ / "x.fon", std::ios::binary) << std::string("MZ\0FONTRES 1,1,1:junk\0", 22);
  for (const std::string& file : {Example("options.ini"), (dir_ / "x.fon").string()}) {
    r = Run("font names " + file);
    EXPECT_EQ(r.status, 1) << file;
    EXPECT_NE(r.err.find(file + ": not a font file"), std::string::npos) << r.err;
    EXPECT_TRUE(r.out.empty()) << r.out;
  }
}

TEST_F(ToolTest, FontLookupsAnswerWhatWasAskedOrFail) {
  Result r = Run("font file 'DejaVu Sans' Bold");
  EXPECT_EQ(r.out, "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf\tBold\n") << r.err;
  // Without a style, the regular font; a style the family lacks is no other style's file.
  EXPECT_EQ(Run("font file 'DejaVu Sans'").out,
            "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf\tBook\n");
  r = Run("font file 'DejaVu Sans' Italic");
  EXPECT_EQ(r.status, 1);
  EXPECT_TRUE(r.out.empty());
  EXPECT_NE(r.err.find("its styles: "), std::string::npos) << r.err;
  // The styles of one family, each once, in the list's order.
  r = Run("font styles 'DejaVu Sans'");
  EXPECT_NE(r.out.find("Book\n"), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("Bold Oblique\n"), std::string::npos);
  EXPECT_EQ(r.out.find("Bold\nBold\n"), std::string::npos);
  for (const char* missing : {"font styles 'No Such Family'", "font file 'No Such Family'",
                              "font family 'No Such Font'"}) {
    r = Run(missing);
    EXPECT_EQ(r.status, 1) << missing;
    EXPECT_NE(r.err.find("No Such"), std::string::npos) << r.err;
  }
  EXPECT_EQ(Run("font family 'DejaVu Sans Bold'").out, "DejaVu Sans\tBold\n");
  // The list shows native paths.
  r = Run("font list");
  EXPECT_NE(r.out.find("\t/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf\n"), std::string::npos);
  EXPECT_EQ(r.out.find('\\'), std::string::npos);
}

TEST_F(ToolTest, FontInstallFailuresNameTheFileAndKeepTheUsersFiles) {
  std::ofstream(dir_ / "BvToolText.ttf") << "not a font\n";
  Result r = Run("font install BvToolText.ttf", "", dir_.string());
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("BvToolText.ttf: not installed: not a TrueType or OpenType font file"),
            std::string::npos)
      << r.err;
  EXPECT_EQ(Run("font install -").status, 2);
  r = Run("font uninstall NoSuchFont.ttf");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("NoSuchFont.ttf: not uninstalled: no font of that name"), std::string::npos)
      << r.err;
  // Uninstalling a path outside the font folder names the user's own file: refused, kept.
  const std::filesystem::path own = dir_ / "DejaVuSans.ttf";
  std::filesystem::copy_file("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", own);
  r = Run("font uninstall " + own.string());
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("not in the font folder"), std::string::npos) << r.err;
  EXPECT_TRUE(std::filesystem::exists(own));
  // A relative path installs, and the installed font is uninstalled by its name (a font of a
  // family no other test looks up).
  const char* wine = "/usr/share/wine/fonts/ms_sans_serif.ttf";
  if (!std::filesystem::exists(wine)) GTEST_SKIP() << "fonts-wine is missing";
  std::filesystem::copy_file(wine, dir_ / "BvToolSans.ttf");
  r = Run("font install BvToolSans.ttf", "", dir_.string());
  EXPECT_EQ(r.out, "1\n") << r.err;
  EXPECT_EQ(Run("font uninstall BvToolSans.ttf").status, 0);
  EXPECT_TRUE(std::filesystem::exists(dir_ / "BvToolSans.ttf"));
}

TEST_F(ToolTest, FoldersAndEmptyFilesAreToldAsSuch) {
  const std::string folder = dir_.string();
  for (const char* command : {"doc format ", "ini dump ", "font-settings --load "}) {
    Result r = Run(command + folder);
    EXPECT_EQ(r.status, 1) << command;
    EXPECT_EQ(r.err, "borvane: " + folder + ": Path/File access error (error 75)\n") << command;
  }
  std::ofstream(dir_ / "empty.xml").flush();
  Result r = Run("doc format " + (dir_ / "empty.xml").string());
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "borvane: " + (dir_ / "empty.xml").string() + ": the file holds no document\n");
  EXPECT_EQ(Run("doc select - Font", "").err,
            "borvane: standard input: the file holds no document\n");
}

TEST_F(ToolTest, IniCommands) {
  Result r = Run("ini get " + Example("options.ini") + " \"recent files\" file2");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "C:\\Projects\\Tools.vbp\n");
  r = Run("ini section " + Example("options.ini") + " Debug --delimiter ';'");
  EXPECT_EQ(r.out, "BreakOnErrors=All;WatchWindow=Docked\n");
  r = Run("ini section " + Example("options.ini") + " Debug --keyless --delimiter ,");
  EXPECT_EQ(r.out, "All,Docked\n");
  std::string copy = (dir_ / "copy.ini").string();
  std::filesystem::copy_file(Example("options.ini"), copy);
  EXPECT_EQ(Run("ini set " + copy + " Editor TabWidth 8").status, 0);
  EXPECT_EQ(Run("ini get " + copy + " editor tabwidth").out, "8\n");
  EXPECT_EQ(Run("ini get " + copy + " Debug WatchWindow").out, "Docked\n");
  r = Run("ini dump -", "[A]\r\nx=1\r\n");
  EXPECT_EQ(r.out, "[A]\nx=1\n");
  // A one-value edit leaves every other line alone: comments, blank lines, keyless sections,
  // a line before the first header and the file's own LF line ends.
  std::string kept = (dir_ / "kept.ini").string();
  const std::string text =
      "; top comment\ntop=1\n\n[PHP]\n; memory\nmemory_limit = 128M\nengine=On\n\n"
      "[Empty]\n\n[Last]\nx=1";
  std::ofstream(kept, std::ios::binary) << text;
  EXPECT_EQ(Run("ini set " + kept + " php MEMORY_LIMIT 256M").status, 0);
  EXPECT_EQ(ReadWholeFile(kept),
            "; top comment\ntop=1\n\n[PHP]\n; memory\nmemory_limit=256M\n"
            "engine=On\n\n[Empty]\n\n[Last]\nx=1");
  EXPECT_EQ(Run("ini set " + kept + " Last y 2").status, 0);
  EXPECT_EQ(Run("ini set " + kept + " New z 3").status, 0);
  EXPECT_EQ(ReadWholeFile(kept),
            "; top comment\ntop=1\n\n[PHP]\n; memory\nmemory_limit=256M\n"
            "engine=On\n\n[Empty]\n\n[Last]\nx=1\ny=2\n[New]\nz=3\n");
  r = Run("ini get /nonexistent/options.ini A B");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "borvane: IniFile:ReadIniFile: File not found (error 30000)\n");
}

TEST_F(ToolTest, FontSettingsAndInspection) {
  Result r = Run("font-settings");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("<Font Type=\"Font\">\n", 0), 0u) << r.out;
  Result loaded = Run("font-settings --load -", r.out);
  EXPECT_EQ(loaded.status, 0) << loaded.err;
  EXPECT_EQ(loaded.out, r.out);
  r = Run("font-settings --load -", "<Font>\n<FontBold>\nnot a boolean\n</FontBold>\n</Font>\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("CodeMaxSettings:SetXML prperty"), std::string::npos);
  r = Run("inspect Borvane.Fontobj");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("FontName"), std::string::npos);
  EXPECT_NE(r.out.find("Font "), std::string::npos);
}

TEST_F(ToolTest, TimerTicks) {
  Result r = Run("timer --interval 20 --count 3");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("tick 3:"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("tick 4:"), std::string::npos);
}

}  // namespace

TEST_F(ToolTest, HelpShowsATopicPageOrSaysWhyNot) {
  std::string chm = borvane::testing::CompileTestHelp(dir_);
  if (chm.empty()) GTEST_SKIP() << "needs chmcmd";
  Result shown = Run("help show " + chm + " --id 1001");
  ASSERT_EQ(shown.status, 0) << shown.err;
  ASSERT_FALSE(shown.out.empty());
  std::string page = ReadWholeFile(shown.out.substr(0, shown.out.size() - 1));
  EXPECT_NE(page.find("src=\"topics/install.htm\""), std::string::npos);
  Result missing = Run("help show " + chm + " topics/none.htm");
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "borvane: the help file or the topic was not found\n");
  EXPECT_EQ(Run("help show " + chm + " --id x").status, 2);
  Result version = Run("help version");
  EXPECT_EQ(version.status, 0);
  EXPECT_NE(version.out.find("help viewer: 4.74.8702.00 (1.3)"), std::string::npos);
}
