#include "borvane/platform/help/help_viewer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/platform/base/process.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/help/chm_archive.h"
#include "borvane/platform/help/help_tables.h"
#include "borvane/platform/session/message_box.h"

namespace borvane::platform {

namespace {

namespace fs = std::filesystem;

// A help file as extracted, with the tables the viewer reads.
struct HelpFile {
  std::string chm;  // the help file itself, for what its extraction did not reach
  std::string folder;
  std::set<std::string> absent;  // paths the help file was asked for and does not hold
  HelpSystemInfo info;
  std::map<uint32_t, std::string> context;
  std::vector<SitemapEntry> contents;
  std::vector<SitemapEntry> index;
  std::string contents_html, index_html;  // the page's two lists, made once
  bool alinks_read = false;
  std::vector<std::pair<std::string, std::string>> alinks;  // name, topic
};

std::mutex g_mutex;
int32_t g_next_handle = 0;
std::map<int32_t, std::string> g_windows;  // by handle, the page each window shows
// By the file's identity (path, size, time); nullptr for a file that is no help file.
std::map<std::string, std::shared_ptr<HelpFile>> g_files;

uint64_t Fnv(std::string_view text, uint64_t hash = 14695981039346656037ull) {
  for (unsigned char c : text) hash = (hash ^ c) * 1099511628211ull;
  return hash;
}

std::string Hex(uint64_t n) {
  char buffer[17];
  std::snprintf(buffer, sizeof buffer, "%016llx", static_cast<unsigned long long>(n));
  return buffer;
}

bool IsFile(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Text the caller passed (ANSI) as UTF-8, with "\" as "/".
std::string Utf8Path(const std::string& ansi) {
  std::string text = FromAnsi(ansi).ToUtf8();
  for (char& c : text)
    if (c == '\\') c = '/';
  return text;
}

// The parts of a file argument: "file.chm", "file.chm>window" or "file.chm::/inner/path".
struct FileArgument {
  std::string chm;
  std::string inner;
};

FileArgument ParseFile(const AnsiText& file) {
  FileArgument a;
  if (!file) return a;
  std::string text = Utf8Path(*file);
  size_t inner = text.find("::");
  if (inner != std::string::npos) {
    a.inner = text.substr(inner + 2);
    text.resize(inner);
  }
  size_t window = text.find('>');
  if (window != std::string::npos) text.resize(window);
  a.chm = std::string(TrimSpaces(text));
  return a;
}

// The topic as a path inside the file ("dir/page.htm#anchor") when its page is there, else
// empty. A path that would leave the file's folder is never one.
std::string ExistingTopic(HelpFile& f, std::string_view topic) {
  size_t inner = topic.find("::");
  if (inner != std::string_view::npos) topic = topic.substr(inner + 2);
  topic = TrimSpaces(topic);
  while (!topic.empty() && topic.front() == '/') topic.remove_prefix(1);
  size_t hash = topic.find('#');
  std::string path(topic.substr(0, hash));
  if (path.empty()) return "";
  for (size_t at = 0; at <= path.size();) {
    size_t slash = path.find('/', at);
    if (slash == std::string::npos) slash = path.size();
    std::string_view part = std::string_view(path).substr(at, slash - at);
    if (part == "." || part == "..") return "";
    at = slash + 1;
  }
  if (!IsFile(f.folder + "/" + path)) {
    // Taken from the help file when the extraction did not reach it (a file no page links
    // to, such as a popup text file); asked once.
    if (f.absent.count(path)) return "";
    if (!RunInChild([&] { return ExtractHelpFileEntry(f.chm, f.folder, path); })) {
      f.absent.insert(path);
      return "";
    }
  }
  return std::string(topic);
}

std::string DefaultTopic(HelpFile& f) {
  std::string topic = ExistingTopic(f, f.info.default_topic);
  for (const SitemapEntry& e : f.contents)
    if (topic.empty()) topic = ExistingTopic(f, e.local);
  return topic;
}

// A context number's topic: the compiler may have recorded the page's path as it stood on its
// own disk, so the path is also tried without its leading folders.
std::string ContextTopic(HelpFile& f, uint32_t id) {
  auto it = f.context.find(id);
  if (it == f.context.end()) return "";
  const std::string& s = it->second;
  std::string topic = ExistingTopic(f, s);
  for (size_t slash = s.find('/'); topic.empty() && slash != std::string::npos;
       slash = s.find('/', slash + 1))
    topic = ExistingTopic(f, std::string_view(s).substr(slash + 1));
  return topic;
}

// The associative link names of every page, read once.
void ReadALinks(HelpFile& f) {
  if (f.alinks_read) return;
  f.alinks_read = true;
  std::vector<std::string> pages;
  std::error_code ec;
  for (auto it = fs::recursive_directory_iterator(f.folder, ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    std::string ext = it->path().extension().string();
    if (it->is_regular_file(ec) && (EqualsNoCase(ext, ".htm") || EqualsNoCase(ext, ".html")))
      pages.push_back(it->path().lexically_relative(f.folder).generic_string());
  }
  std::sort(pages.begin(), pages.end());
  for (const std::string& page : pages)
    for (std::string& name : ParseALinkNames(ReadNativeFile(f.folder + "/" + page)))
      f.alinks.emplace_back(std::move(name), page);
}

std::string LinkTopic(HelpFile& f, const HH_AKLINK& link, bool alink) {
  std::string keywords = link.pszKeywords ? FromAnsi(*link.pszKeywords).ToUtf8() : "";
  if (alink) ReadALinks(f);
  for (size_t start = 0; start <= keywords.size();) {
    size_t semi = keywords.find(';', start);
    if (semi == std::string::npos) semi = keywords.size();
    std::string_view keyword = TrimSpaces(std::string_view(keywords).substr(start, semi - start));
    start = semi + 1;
    if (keyword.empty()) continue;
    if (alink) {
      for (const auto& [name, page] : f.alinks)
        if (EqualsNoCase(name, keyword)) return page;
    } else {
      for (const SitemapEntry& e : f.index)
        if (EqualsNoCase(TrimSpaces(e.name), keyword)) {
          std::string topic = ExistingTopic(f, e.local);
          if (!topic.empty()) return topic;
        }
    }
  }
  if (link.pszUrl) {
    std::string topic = ExistingTopic(f, Utf8Path(*link.pszUrl));
    if (!topic.empty()) return topic;
  }
  if (link.pszMsgText) {
    std::optional<String> title;
    if (link.pszMsgTitle) title = FromAnsi(*link.pszMsgTitle);
    Boxes().Show({FromAnsi(*link.pszMsgText), title, MB_OK});
  }
  return "";
}

std::shared_ptr<HelpFile> LoadTables(const std::string& chm, const std::string& folder) {
  auto f = std::make_shared<HelpFile>();
  f->chm = chm;
  f->folder = folder;
  f->info = ParseHelpSystem(ReadNativeFile(folder + "/#SYSTEM"));
  f->context =
      ParseContextMap(ReadNativeFile(folder + "/#IVB"), ReadNativeFile(folder + "/#STRINGS"));
  auto sitemap = [&](const std::string& name) {
    const std::string topic = ExistingTopic(*f, name);
    return topic.empty() ? std::vector<SitemapEntry>()
                         : ParseSitemap(ReadNativeFile(folder + "/" + topic));
  };
  f->contents = sitemap(f->info.contents_file);
  f->index = sitemap(f->info.index_file);
  return f;
}

// The help file, extracted into the cache once per content: a file changed on disk has
// another identity and is extracted anew. nullptr for a file that is missing or no help file.
std::shared_ptr<HelpFile> OpenHelpFile(const std::string& chm) {
  char* real = ::realpath(chm.c_str(), nullptr);
  if (!real) return nullptr;
  std::string path = real;
  std::free(real);
  struct stat st;
  if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return nullptr;
  std::string key =
      Hex(Fnv(path + '\0' + std::to_string(st.st_size) + '\0' + std::to_string(st.st_mtim.tv_sec) +
              '.' + std::to_string(st.st_mtim.tv_nsec)));
  auto known = g_files.find(key);
  if (known != g_files.end()) return known->second;
  std::string cache = HelpViewer::CacheFolder();
  std::string folder = cache + "/" + key;
  if (!IsFile(folder + "/.extracted")) {
    // Into a folder of its own beside, which gets its name only when complete: a process
    // that dies midway leaves no half-extracted file under that name. chmlib runs in a child,
    // so that a damaged file cannot take the caller down.
    static std::atomic<unsigned> counter{0};
    std::string partial = cache + "/.partial-" + key + "-" + std::to_string(::getpid()) + "-" +
                          std::to_string(counter++);
    MakeFolders(partial);
    bool ok = RunInChild([&] { return ExtractHelpFile(path, partial); }) &&
              ReplaceFileContent(partial + "/.extracted", "") == 0;
    std::error_code ec;
    if (ok && ::rename(partial.c_str(), folder.c_str()) != 0) ok = IsFile(folder + "/.extracted");
    fs::remove_all(partial, ec);
    if (!ok) {
      g_files[key] = nullptr;
      return nullptr;
    }
  }
  return g_files[key] = LoadTables(path, folder);
}

std::string HtmlEscape(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// A topic path as a relative URL: reserved characters escaped, the anchor kept.
std::string UrlOf(std::string_view topic) {
  std::string out;
  for (unsigned char c : topic) {
    if (std::isalnum(c) ||
        std::string_view("/#.-_~").find(static_cast<char>(c)) != std::string_view::npos) {
      out += static_cast<char>(c);
    } else {
      char buffer[4];
      std::snprintf(buffer, sizeof buffer, "%%%02X", c);
      out += buffer;
    }
  }
  return out;
}

// A sitemap as nested lists, each deeper list inside the item above it.
void AppendTree(std::string& html, HelpFile& f, const std::vector<SitemapEntry>& entries) {
  int depth = -1;
  for (const SitemapEntry& e : entries) {
    int d = std::max(0, std::min(e.depth, depth + 1));
    if (d > depth) {
      html += "<ul>";
      depth = d;
    } else {
      for (; depth > d; --depth) html += "</li></ul>";
      html += "</li>";
    }
    std::string topic = ExistingTopic(f, e.local);
    html += topic.empty() ? "<li>" + HtmlEscape(e.name)
                          : "<li><a href=\"" + HtmlEscape(UrlOf(topic)) + "\" target=\"topic\">" +
                                HtmlEscape(e.name) + "</a>";
  }
  for (; depth >= 0; --depth) html += "</li></ul>";
}

// The page of one topic: the contents and the index beside it (the index first when asked).
// A page depends on the extracted file and the topic alone, so one written is used again.
std::string WritePage(HelpFile& f, const std::string& topic, bool index_first) {
  std::string page =
      f.folder + "/.view-" + Hex(Fnv(topic + (index_first ? "\nindex" : "\ncontents"))) + ".html";
  if (IsFile(page)) return page;
  if (f.contents_html.empty()) {
    f.contents_html = "<section><h2>Contents</h2>";
    AppendTree(f.contents_html, f, f.contents);
    f.contents_html += "</section>";
    f.index_html = "<section><h2>Index</h2>";
    AppendTree(f.index_html, f, f.index);
    f.index_html += "</section>";
  }
  std::string title = f.info.title.empty() ? "Help" : f.info.title;
  std::string html =
      "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + HtmlEscape(title) +
      "</title><style>body{margin:0;display:flex;height:100vh;font-family:sans-serif}"
      "nav{width:18em;overflow:auto;padding:0 1em;border-right:1px solid #ccc;font-size:90%}"
      "nav ul{padding-left:1.2em}iframe{flex:1;border:0}</style></head>\n<body><nav>" +
      (index_first ? f.index_html + f.contents_html : f.contents_html + f.index_html) +
      "</nav>\n<iframe name=\"topic\" src=\"" + HtmlEscape(UrlOf(topic)) +
      "\"></iframe></body></html>\n";
  if (ReplaceFileContent(page, html) != 0) return "";
  return page;
}

int32_t OpenWindow(const std::string& page) {
  if (page.empty()) return 0;
  const char* browser = std::getenv("BORVANE_HELP_BROWSER");
  if (browser && *browser) {
    SpawnDetached({browser, page});
  } else if (HasDisplay()) {
    SpawnDetached({"xdg-open", page});
  }
  g_windows[++g_next_handle] = page;
  return g_next_handle;
}

int32_t ShowPopup(const AnsiText& file, const HH_POPUP& popup) {
  String text;
  if (popup.idString != 0) {
    FileArgument a = ParseFile(file);
    std::shared_ptr<HelpFile> f = OpenHelpFile(a.chm);
    if (!f) return 0;
    std::string inner = ExistingTopic(*f, a.inner);
    if (inner.empty()) return 0;
    std::map<uint32_t, std::string> topics =
        ParsePopupTexts(ReadNativeFile(f->folder + "/" + inner));
    auto it = topics.find(popup.idString);
    if (it == topics.end()) return 0;
    text = FromAnsi(it->second);
  } else if (popup.pszText) {
    text = FromAnsi(*popup.pszText);
  } else {
    return 0;
  }
  Boxes().Show({text, std::nullopt, MB_OK});
  return 1;
}

}  // namespace

std::string HelpViewer::CacheFolder() {
  const char* cache = std::getenv("XDG_CACHE_HOME");
  if (cache && *cache == '/') return std::string(cache) + "/borvane/help";
  const char* home = std::getenv("HOME");
  return std::string(home && *home ? home : "/tmp") + "/.cache/borvane/help";
}

std::string HelpViewer::WindowAddress(int32_t window) {
  std::lock_guard<std::mutex> lock(g_mutex);
  auto it = g_windows.find(window);
  return it == g_windows.end() ? std::string() : it->second;
}

int32_t HelpViewer::HtmlHelp(int32_t, const AnsiText& file, int32_t command, const HelpData& data) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (command == HH_CLOSE_ALL) {
    // The browser's windows are the user's: the viewer forgets its own, and closes nothing.
    g_windows.clear();
    return 0;
  }
  if (command == HH_DISPLAY_TEXT_POPUP) {
    const auto* popup = std::get_if<HH_POPUP>(&data);
    return popup ? ShowPopup(file, *popup) : 0;
  }
  FileArgument a = ParseFile(file);
  std::shared_ptr<HelpFile> f = OpenHelpFile(a.chm);
  if (!f) return 0;
  std::string topic;
  bool index_first = false;
  switch (command) {
    case HH_DISPLAY_TOPIC: {
      const auto* text = std::get_if<std::string>(&data);
      std::string wanted = text ? Utf8Path(*text) : a.inner;
      topic = TrimSpaces(wanted).empty() ? DefaultTopic(*f) : ExistingTopic(*f, wanted);
      break;
    }
    case HH_HELP_CONTEXT: {
      const auto* id = std::get_if<int32_t>(&data);
      if (id) topic = ContextTopic(*f, static_cast<uint32_t>(*id));
      break;
    }
    case HH_DISPLAY_INDEX:
      index_first = true;
      topic = DefaultTopic(*f);
      break;
    case HH_DISPLAY_TOC:
    case HH_DISPLAY_SEARCH:
      topic = DefaultTopic(*f);
      break;
    case HH_KEYWORD_LOOKUP:
    case HH_ALINK_LOOKUP: {
      const auto* link = std::get_if<HH_AKLINK>(&data);
      if (link) topic = LinkTopic(*f, *link, command == HH_ALINK_LOOKUP);
      break;
    }
    default:
      return 0;
  }
  if (topic.empty()) return 0;
  return OpenWindow(WritePage(*f, topic, index_first));
}

}  // namespace borvane::platform
