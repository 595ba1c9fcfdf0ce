// Runs the built borvane executable on the examples and on bad input.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
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
  // `args` is shell text; `input` goes to standard input; `folder` is the current one.
  Result Run(const std::string& args, const std::string& input = "",
             const std::string& folder = "") {
    return Shell(
        (folder.empty() ? "" : "cd '" + folder + "' && ") + std::string(BORVANE_TOOL) + " " + args,
        input);
  }
  // Any command line, the tool as $B.
  Result Shell(const std::string& command, const std::string& input = "") {
    std::string in = (dir_ / "in").string(), out = (dir_ / "out").string(),
                err = (dir_ / "err").string();
    std::ofstream(in, std::ios::binary) << input;
    std::string cmd = "B=" + std::string(BORVANE_TOOL) + "; { " + command + "; } <" + in + " >" +
                      out + " 2>" + err;
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

// A settings document with the values that are easy to get wrong in another form: quotes,
// line breaks and tabs, "<" and "&", the empty text beside no value, a number beside a numeric
// text, Booleans, nesting, characters beyond Latin-1.
const char* const kAwkward =
    "<Root Empty=\"\" None= Flag=TRUE Off=FALSE Text=\"a b\" Sign=\"x&y<z\">\n"
    "<Quote>\"He said {\\34}hi{\\34} & left <now>\"</Quote>\n"
    "<Lines>\"one\r\ntwo\tthree\"</Lines>\n"
    "<EmptyText>\"\"</EmptyText>\n"
    "<NumericText>\"12\"</NumericText>\n"
    "<Number>12</Number>\n"
    "<Fraction>-0.5</Fraction>\n"
    "<Big>1E+20</Big>\n"
    "<Yes>true</Yes>\n"
    "<Korean>\"\xED\x95\x9C \xF0\x9F\x98\x80\"</Korean>\n"
    "<Deep><Deeper Level=\"3\"><Deepest>\"x\"</Deepest></Deeper></Deep>\n"
    "</Root>\n";

TEST_F(ToolTest, DocumentExportAndImportAreExactBothWays) {
  std::string doc = (dir_ / "settings.txt").string();
  std::ofstream(doc, std::ios::binary) << kAwkward;
  const std::string formatted = Run("doc format " + doc).out;
  for (const char* form : {"json", "xml"}) {
    SCOPED_TRACE(form);
    Result exported = Run("doc export " + doc + " --" + form);
    ASSERT_EQ(exported.status, 0) << exported.err;
    std::string file = (dir_ / (std::string("doc.") + form)).string();
    std::ofstream(file, std::ios::binary) << exported.out;
    // Back in the dialect it is what the library writes; exported again, the same text.
    Result imported = Run("doc import " + file);
    ASSERT_EQ(imported.status, 0) << imported.err;
    EXPECT_EQ(imported.out, formatted);
    std::ofstream(doc + ".again", std::ios::binary) << imported.out;
    EXPECT_EQ(Run("doc export " + doc + ".again --" + form).out, exported.out);
  }
  // Standard tools read the values with their types.
  Result r = Shell("$B doc export " + doc +
                   " --json | jq -c '[.attributes[] | .value], [.children[] | .value]'");
  EXPECT_EQ(r.out,
            "[\"\",null,true,false,\"a b\",\"x&y<z\"]\n"
            "[\"He said \\\"hi\\\" & left <now>\",\"one\\r\\ntwo\\tthree\",\"\",\"12\",12,-0.5,"
            "1e+20,true,\"\xED\x95\x9C \xF0\x9F\x98\x80\",null]\n")
      << r.err;
  r = Shell("$B doc export " + doc + " --xml > " + doc + ".x && xmllint --noout " + doc +
            ".x && xmllint --xpath 'string(//node[@name=\"Lines\"]/@value)' " + doc + ".x");
  EXPECT_EQ(r.out.substr(0, r.out.find_last_not_of('\n') + 1), "one\r\ntwo\tthree") << r.err;
  // A Windows-1252 document: format keeps its bytes, the export is UTF-8, and the import
  // gives the bytes back where a new file is Windows-1252.
  std::string latin = (dir_ / "latin.xml").string();
  std::ofstream(latin, std::ios::binary) << "<Caf\xE9 Note=\"\x80 5\">\n\"na\xEFve\"\n</Caf\xE9>\n";
  EXPECT_EQ(Run("doc format " + latin).out, ReadWholeFile(latin));
  r = Run("doc export " + latin + " --json");
  EXPECT_NE(r.out.find("\"Caf\xC3\xA9\""), std::string::npos);
  EXPECT_NE(r.out.find("\"\xE2\x82\xAC 5\""), std::string::npos);
  std::ofstream(dir_ / "latin.json", std::ios::binary) << r.out;
  r = Shell("BORVANE_CODEPAGE=1252 $B doc import " + (dir_ / "latin.json").string());
  EXPECT_EQ(r.out, ReadWholeFile(latin)) << r.err;
}

TEST_F(ToolTest, ImportRefusesWhatTheDialectCannotKeepAndNamesWhere) {
  struct Case {
    const char* input;
    const char* error;
  };
  const Case cases[] = {
      {R"({"name": "a", "value": "x{\\34}y"})",
       "the dialect cannot keep this: node a: its value, the text \"x{\\\\34}y\", reads back as "
       "the text \"x\\\"y\""},
      {R"({"name": "a", "value": 0.30000000000000004})",
       "node a: its value, 0.30000000000000004, reads back as 0.3"},
      {R"({"name": "a", "attributes": [{"name": "n", "value": 2}]})",
       "attribute 1 (\"n\"): its value, 2, reads back as the text \"2\""},
      {R"({"name": "a", "children": [{"name": "b c"}]})",
       "node a//b c: a node's name cannot hold a space"},
      {"{\"name\": \"a\",\n \"value\": null}", ":2: a node's value cannot be null"},
      {"{\"name\": \"a\",\n\n \"colour\": 1}", ":3: a node has no \"colour\""},
      {"{\"name\": \"a\", \"name\": \"b\"}", ":1: the name \"name\" twice in one object"},
      {"{\"name\": \"a\"", ":1: \",\" or \"}\" expected in an object"},
      {"<document><node name=\"a\" type=\"number\" value=\"1,5\"/></document>",
       ":1: \"1,5\" is no finite number"},
      {"<!DOCTYPE x>\n<document/>", ":1: a document type declaration is not taken"},
      {"<document>\n<node name=\"a\">text</node></document>", ":2: text inside <node>"},
  };
  for (const Case& c : cases) {
    bool json = c.input[0] == '{';
    std::string file = (dir_ / (json ? "in.json" : "in.xml")).string();
    std::ofstream(file, std::ios::binary) << c.input;
    Result r = Run("doc import " + file);
    EXPECT_EQ(r.status, 1) << c.input;
    EXPECT_EQ(r.out, "") << c.input;
    EXPECT_NE(r.err.find(c.error), std::string::npos) << c.input << "\n" << r.err;
  }
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
  // A font cut short in its table directory or before its names is no font either; one cut
  // later may still name itself, but never crashes the tool.
  const std::string font = ReadWholeFile("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
  std::vector<std::string> files = {Example("options.ini"), (dir_ / "x.fon").string()};
  for (size_t cut : {size_t{12}, size_t{300}, size_t{3000}, font.size() / 2, font.size() - 1}) {
    std::string file = (dir_ / ("cut" + std::to_string(cut) + ".ttf")).string();
    std::ofstream(file, std::ios::binary) << font.substr(0, cut);
    if (cut <= 3000)
      files.push_back(file);
    else
      EXPECT_LE(Run("font names " + file).status, 1) << file;
  }
  for (const std::string& file : files) {
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
  // A device is refused at once, not read until memory runs out.
  r = Run("doc format /dev/zero");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "borvane: /dev/zero: a device, not a file\n");
  // A NUL inside a value is written out with the rest of the value, not cut there.
  r = Run("doc format -", std::string("<a>\nx\0y\n</a>\n", 14));
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string("<a>\n\"x\0y\"\n</a>\n", 15));
}

// A file its reader may not read is told as such by every command, not read as an empty one.
// Run as another user, which needs root (the test's own user reads its files).
TEST_F(ToolTest, AFileThatMayNotBeReadIsPermissionDenied) {
  if (::getuid() != 0 || std::system("command -v setpriv >/dev/null") != 0)
    GTEST_SKIP() << "needs root and setpriv to run the tool as another user";
  const std::string as_nobody =
      "setpriv --reuid=65534 --regid=65534 --clear-groups env HOME=/nonexistent "
      "XDG_CONFIG_HOME=/nonexistent XDG_CACHE_HOME=/nonexistent XDG_DATA_HOME=/nonexistent $B ";
  if (Shell(as_nobody + "--help").status != 0)
    GTEST_SKIP() << "the tool cannot be run as another user from where it is built";
  std::filesystem::permissions(dir_, std::filesystem::perms::all);  // the folder, not the file
  const std::string secret = (dir_ / "secret.ini").string();
  std::filesystem::copy_file(Example("options.ini"), secret);
  std::filesystem::permissions(
      secret, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  for (const std::string& command : {"ini get " + secret + " Editor TabWidth", "ini dump " + secret,
                                     "doc format " + secret, "font-settings --load " + secret}) {
    Result r = Shell(as_nobody + command);
    EXPECT_EQ(r.status, 1) << command;
    EXPECT_EQ(r.err, "borvane: " + secret + ": Permission denied (error 70)\n") << command;
  }
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
  EXPECT_EQ(r.err, "borvane: /nonexistent/options.ini: File not found (error 30000)\n");
  EXPECT_EQ(Run("ini dump /nonexistent/options.ini").err, r.err);
}

// The line number (from 1) of the first line of `text` for which `is` holds, or 0.
template <class Pred>
size_t FirstLine(const std::string& text, Pred is) {
  size_t number = 1;
  for (size_t at = 0; at < text.size(); ++number) {
    size_t end = text.find('\n', at);
    std::string line = text.substr(at, end - at);
    line.erase(0, line.find_first_not_of(" \t"));
    if (is(line)) return number;
    if (end == std::string::npos) break;
    at = end + 1;
  }
  return 0;
}

TEST_F(ToolTest, IniOnDebianFilesOfBothEncodings) {
  const std::string smb = "/usr/share/samba/smb.conf",
                    desktop = "/usr/share/applications/vim.desktop",
                    php = "/usr/lib/php/8.2/php.ini-production",
                    scite = "/etc/scite/SciTEGlobal.properties",
                    skin = "/usr/share/mc/skins/double-lines.ini";
  for (const std::string& f : {smb, desktop, php, scite, skin})
    if (!std::filesystem::exists(f)) GTEST_SKIP() << f << " is missing (scripts/deps installs it)";
  // get reads as the profile functions do: "#" comments are no keys, the Korean comment is UTF-8.
  EXPECT_EQ(Run("ini get " + smb + " global workgroup").out, "WORKGROUP\n");
  EXPECT_EQ(Run("ini get " + desktop + " 'Desktop Entry' 'Comment[ko]'").out,
            "\xED\x85\x8D\xEC\x8A\xA4\xED\x8A\xB8 \xED\x8C\x8C\xEC\x9D\xBC\xEC\x9D\x84 "
            "\xED\x8E\xB8\xEC\xA7\x91\xED\x95\xA9\xEB\x8B\x88\xEB\x8B\xA4\n");
  EXPECT_EQ(Run("ini get " + php + " php memory_limit").out, "128M\n");
  // dump stops at the first "#" line of a section, and says which.
  const std::string text = ReadWholeFile(smb);
  size_t global = FirstLine(text, [](const std::string& l) { return l.rfind("[global]", 0) == 0; });
  size_t hash = global +
                FirstLine(text.substr(text.find("[global]")),
                          [](const std::string& l) { return l.rfind("#", 0) == 0; }) -
                1;
  Result r = Run("ini dump " + smb);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("borvane: " + smb + ":" + std::to_string(hash) +
                            ": Subscript out of range: a line of [global] without \"=\": #",
                        0),
            0u)
      << r.err;
  // The Windows-1252 file's keys all stand before its first section: said once.
  const std::string properties = ReadWholeFile(scite);
  size_t first_key = FirstLine(properties, [](const std::string& l) {
    return !l.empty() && l[0] != ';' && l.find('=') != std::string::npos;
  });
  r = Run("ini dump " + scite);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err.rfind("borvane: " + scite + ":" + std::to_string(first_key) + ": ", 0), 0u);
  EXPECT_NE(r.err.find(" keys before the first section are skipped"), std::string::npos);
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1);
  // set changes one line of php.ini and keeps all else, LF line ends included.
  std::string copy = (dir_ / "php.ini").string();
  std::filesystem::copy_file(php, copy);
  ASSERT_EQ(Run("ini set " + copy + " PHP memory_limit 256M").status, 0);
  std::string before = ReadWholeFile(php), after = ReadWholeFile(copy);
  size_t at = before.find("\nmemory_limit = 128M\n");
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(after, before.substr(0, at) + "\nmemory_limit=256M\n" + before.substr(at + 21));
  // set keeps each file's encoding: Windows-1252 stays so, UTF-8 too.
  for (const auto& [file, bytes] :
       {std::pair{scite, std::string("\x8Cuvre")}, std::pair{skin, std::string("\xC5\x92uvre")}}) {
    copy = (dir_ / "copy").string();
    std::filesystem::remove(copy);
    std::filesystem::copy_file(file, copy);
    ASSERT_EQ(Run("ini set " + copy + " Borvane Note \xC5\x92uvre").status, 0);
    EXPECT_EQ(ReadWholeFile(copy), ReadWholeFile(file) + "[Borvane]\nNote=" + bytes + "\n");
    EXPECT_EQ(Run("ini get " + copy + " borvane note").out, "\xC5\x92uvre\n");
  }
  // dump --json, read by jq.
  r = Shell("$B ini dump " + skin +
            " --json | jq -r '.Lines.horiz, .Lines.dvert, (keys_unsorted | .[0])'");
  EXPECT_EQ(r.out, "\xE2\x94\x80\n\xE2\x95\x91\nskin\n") << r.err;
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
  // The address names the window and its topic; a later show of the file goes to the same
  // window, also from another process.
  Result shown = Run("help show " + chm + " --id 1001");
  ASSERT_EQ(shown.status, 0) << shown.err;
  EXPECT_EQ(shown.out.rfind("http://127.0.0.1:", 0), 0u) << shown.out;
  EXPECT_NE(shown.out.find("/w/"), std::string::npos);
  EXPECT_NE(shown.out.find("/topics/install.htm\n"), std::string::npos) << shown.out;
  Result again = Run("help show " + chm + " --keyword fonts");
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.out.substr(0, again.out.find("/topics/")),
            shown.out.substr(0, shown.out.find("/topics/")));
  EXPECT_NE(again.out.find("/topics/options.htm#fonts"), std::string::npos);
  // What was not found is told, and the status says so.
  Result missing = Run("help show " + chm + " topics/none.htm");
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("no such topic"), std::string::npos) << missing.err;
  missing = Run("help show " + chm + " --keyword nothing");
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "borvane: " + chm + ": no topic for the keyword 'nothing'\n");
  EXPECT_EQ(Run("help show " + chm + " --id x").status, 2);
  // A relative name is the current folder's.
  Result relative = Run("help show manual.chm --id 1001", "", chm.substr(0, chm.rfind('/')));
  EXPECT_EQ(relative.status, 0) << relative.err;
  // Registration: each command's status says whether it did what it was asked.
  EXPECT_EQ(Run("help check " + chm).status, 1);
  EXPECT_EQ(Run("help unregister " + chm).status, 1);
  EXPECT_EQ(Run("help register " + chm).status, 0);
  EXPECT_EQ(Run("help check manual.chm").status, 0);
  EXPECT_EQ(Run("help unregister " + chm).status, 0);
  Result usage = Run("help");
  EXPECT_EQ(usage.status, 0);
  EXPECT_EQ(usage.out.rfind("usage: borvane help show", 0), 0u);
  Result version = Run("help version");
  EXPECT_EQ(version.status, 0);
  EXPECT_NE(version.out.find("help viewer: 4.74.8702.00 (1.3)"), std::string::npos);
}
