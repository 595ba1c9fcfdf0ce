#include "borvane/platform/help/help_server.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <malloc.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "borvane/platform/base/user_folders.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/help/chm_archive.h"
#include "borvane/platform/help/chm_reader.h"
#include "borvane/platform/help/help_http.h"
#include "borvane/platform/help/help_page.h"
#include "borvane/platform/help/help_search.h"
#include "borvane/platform/help/help_tables.h"

namespace borvane::platform {

std::string HelpRuntimeFolder() {
  // The runtime folder is the user's own by the XDG rules only when it is theirs and private.
  const char* run = std::getenv("XDG_RUNTIME_DIR");
  struct stat st;
  if (run && run[0] == '/' && ::stat(run, &st) == 0 && S_ISDIR(st.st_mode) &&
      st.st_uid == ::getuid() && (st.st_mode & 077) == 0)
    return std::string(run) + "/borvane";
  return XdgFolder("XDG_CACHE_HOME", "/.cache") + "/borvane/run";
}

std::string HelpCacheFolder() {
  return XdgFolder("XDG_CACHE_HOME", "/.cache") + "/borvane/help";
}

int HelpServerIdleSeconds() {
  const char* v = std::getenv("BORVANE_HELP_IDLE_SECONDS");
  int n = v ? std::atoi(v) : 0;
  return n > 0 ? n : 600;
}

namespace {

constexpr int kPendingOpenMs = 20'000;  // a page asked for and not connected yet counts as open
constexpr int kKeepAliveMs = 15'000;
constexpr size_t kMaxConnections = 256;
constexpr size_t kMaxFiles = 32;

int64_t NowMs() {
  timespec ts;
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return int64_t{ts.tv_sec} * 1000 + ts.tv_nsec / 1'000'000;
}

std::string HexOf(const unsigned char* bytes, size_t n) {
  static const char* digits = "0123456789abcdef";
  std::string out;
  for (size_t i = 0; i < n; ++i) {
    out += digits[bytes[i] >> 4];
    out += digits[bytes[i] & 15];
  }
  return out;
}

std::string NewToken() {
  unsigned char bytes[16];
  size_t got = 0;
  while (got < sizeof bytes) {
    ssize_t n = ::getrandom(bytes + got, sizeof bytes - got, 0);
    if (n > 0) got += static_cast<size_t>(n);
  }
  return HexOf(bytes, sizeof bytes);
}

std::string FileId(const std::string& identity) {
  uint64_t h = 14695981039346656037ull;
  for (unsigned char c : identity) h = (h ^ c) * 1099511628211ull;
  unsigned char bytes[8];
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(h >> (56 - 8 * i));
  return HexOf(bytes, 8);
}

std::string SelfPath() {
  char buffer[4096];
  ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

// A topic as a path inside the help file ("dir/page.htm"), with its anchor apart; false for
// one that cannot be a stored file ("..", another file's "::", a scheme).
bool TopicPath(std::string_view topic, std::string& path, std::string& anchor) {
  size_t inner = topic.find("::");
  if (inner != std::string_view::npos) topic = topic.substr(inner + 2);
  topic = TrimSpaces(topic);
  size_t hash = topic.find('#');
  anchor = hash == std::string_view::npos ? "" : std::string(topic.substr(hash));
  topic = topic.substr(0, hash);
  topic = topic.substr(0, topic.find('?'));
  path.clear();
  for (size_t at = 0; at <= topic.size();) {
    size_t slash = topic.find_first_of("/\\", at);
    if (slash == std::string_view::npos) slash = topic.size();
    std::string_view part = topic.substr(at, slash - at);
    at = slash + 1;
    if (part.empty() || part == ".") continue;
    if (part == ".." || part.find(':') != std::string_view::npos) return false;
    if (!path.empty()) path += '/';
    path += part;
  }
  return !path.empty() && path.find('\0') == std::string::npos &&
         path.find('\n') == std::string::npos;
}

std::string ContentType(std::string_view path) {
  size_t dot = path.rfind('.');
  std::string ext = dot == std::string_view::npos ? "" : std::string(path.substr(dot + 1));
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (ext == "htm" || ext == "html") return "text/html";
  if (ext == "css") return "text/css";
  if (ext == "js") return "text/javascript";
  if (ext == "gif") return "image/gif";
  if (ext == "png") return "image/png";
  if (ext == "jpg" || ext == "jpeg") return "image/jpeg";
  if (ext == "svg") return "image/svg+xml";
  if (ext == "bmp") return "image/bmp";
  if (ext == "ico") return "image/x-icon";
  if (ext == "txt") return "text/plain";
  return "application/octet-stream";
}

// A help file the server has open: its reader and the tables read once.
struct HelpFile {
  std::string id;
  std::string path;
  std::mutex reader_mutex;  // one request at a time on the reader
  std::unique_ptr<ChmReader> reader;
  std::map<std::string, bool> exists;  // by lower-case path, under reader_mutex
  HelpSystemInfo info;
  std::map<uint32_t, std::string> context;
  Sitemap contents, index;
  std::string title;

  std::mutex search_mutex;
  std::condition_variable search_done;
  enum class Search { kNone, kBuilding, kReady, kFailed };
  // What the search pane looks in: the file's own full-text index where it has one, else the
  // pass over every page.
  Search words_state = Search::kNone;
  std::shared_ptr<const SearchIndex> words;
  // The pass over every page: its words and the associative link names of the pages.
  Search pages_state = Search::kNone;
  std::shared_ptr<const SearchIndex> pages;

  int64_t last_used = 0;

  ReadStatus Read(const std::string& name, std::string& bytes) {
    std::lock_guard<std::mutex> lock(reader_mutex);
    return reader->Read(name, bytes);
  }

  // Whether the stored file `path` is there; asked of the reader once per path.
  bool Exists(const std::string& path) {
    std::string key = path;
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::lock_guard<std::mutex> lock(reader_mutex);
    auto it = exists.find(key);
    if (it != exists.end()) return it->second;
    bool there = reader->Exists(path);
    // Kept for the paths asked lately only: the answers of a long session would grow without end.
    if (exists.size() >= 4096) exists.clear();
    exists[key] = there;
    return there;
  }

  // A sitemap of the file, parsed as the reader passes it on: the text of a large index is
  // never held whole. Empty when it cannot be read.
  Sitemap ReadSitemap(const std::string& name) {
    Sitemap map;
    std::string path, anchor;
    if (!TopicPath(name, path, anchor)) return map;
    SitemapReader parser([&](SitemapEntry&& e) { map.Add(e.depth, e.name, e.local); });
    std::lock_guard<std::mutex> lock(reader_mutex);
    if (reader->ReadInPieces(path, [&](std::string_view piece) { parser.Feed(piece); }) !=
        ReadStatus::kOk)
      return Sitemap();
    parser.Finish();
    map.Seal();
    return map;
  }

  // The topic as "path#anchor" when its page is there, else empty.
  std::string ExistingTopic(std::string_view topic) {
    std::string path, anchor;
    if (!TopicPath(topic, path, anchor) || !Exists(path)) return "";
    return path + anchor;
  }

  std::string DefaultTopic() {
    std::string topic = ExistingTopic(info.default_topic);
    for (size_t i = 0; topic.empty() && i < contents.size() && i < 1000; ++i)
      topic = ExistingTopic(contents.local(i));
    return topic;
  }

  // A context number's topic: the compiler may have recorded the page's path as it stood on
  // its own disk, so the path is also tried without its leading folders.
  std::string ContextTopic(uint32_t id) {
    auto it = context.find(id);
    if (it == context.end()) return "";
    const std::string& s = it->second;
    std::string topic = ExistingTopic(s);
    for (size_t slash = s.find_first_of("/\\"); topic.empty() && slash != std::string::npos;
         slash = s.find_first_of("/\\", slash + 1))
      topic = ExistingTopic(std::string_view(s).substr(slash + 1));
    return topic;
  }

  // A sitemap as the window's page takes it ([[depth, "name", "topic"], ...]), written as it is
  // made.
  static void WriteSitemapJson(int fd, const Sitemap& entries) {
    HttpStream out(fd, 200, "application/json");
    out.Append("[");
    std::string path, anchor;
    for (size_t i = 0; i < entries.size(); ++i) {
      std::string local = TopicPath(entries.local(i), path, anchor) ? path + anchor : "";
      out.Append(i ? ",[" : "[");
      out.Append(std::to_string(std::max(0, entries.depth(i))));
      out.Append(",");
      out.Append(JsonString(HelpTextUtf8(TrimSpaces(entries.name(i)))));
      out.Append(",");
      out.Append(JsonString(HelpTextUtf8(local)));
      out.Append("]");
    }
    out.Append("]");
    out.Finish();
  }
};

struct Window {
  int id = 0;
  std::string file_id;
  std::string name;  // the window definition's name, as given (blank: the file's default)
  std::string topic;
  std::string pane = "toc";
  uint64_t seq = 1;
  int live = 0;  // pages connected to its event stream
  int64_t opened_at = -kPendingOpenMs;
  bool closed = false;
};

class Server {
 public:
  int Run();

 private:
  void Serve(int fd);
  void Route(int fd, const HttpRequest& request, const std::string& rest);
  void Api(int fd, const HttpRequest& request, const std::string& what);
  void Show(int fd, const Form& form);
  void Popup(int fd, const Form& form);
  void Events(int fd, int window);
  void Data(int fd, const std::string& file_id, const std::string& what, const std::string& query);
  void Topic(int fd, const std::string& file_id, const std::string& path);

  // The file at the native `path`, opened once per content: nullptr with the reason in `why`.
  std::shared_ptr<HelpFile> Open(const std::string& path, std::string& why);
  std::shared_ptr<HelpFile> Known(const std::string& id);
  // Starts (or waits for, when `wait`) an index of `f`: the words the search pane looks in, or
  // the pass over every page, which also gives the associative link names.
  enum class Index { kWords, kPages };
  HelpFile::Search EnsureSearch(const std::shared_ptr<HelpFile>& f, Index which, bool wait);
  // That index made (or, for the pass, read from the cache); nullptr when it cannot be.
  std::shared_ptr<const SearchIndex> BuildIndex(const HelpFile& f, Index which);
  std::string StateJson(const Window& w);
  std::string Address(const Window& w, const std::string& topic);
  void CleanCache();

  std::string token_;
  int port_ = 0;
  std::string rendezvous_;
  ReaderLimits limits_;
  std::vector<std::string> reader_argv_;

  std::mutex mutex_;  // everything below
  std::condition_variable changed_;
  std::map<std::string, std::shared_ptr<HelpFile>> files_;  // by id
  std::map<std::string, std::string> opening_;              // identity -> id being opened
  std::map<int, Window> windows_;
  int next_window_ = 0;
  size_t connections_ = 0;
  int live_ = 0;
  int64_t last_request_ = 0;
};

std::string Server::Address(const Window& w, const std::string& topic) {
  std::string path, anchor;
  if (!TopicPath(topic, path, anchor)) path.clear(), anchor.clear();
  return "http://127.0.0.1:" + std::to_string(port_) + "/" + token_ + "/w/" + std::to_string(w.id) +
         "/" + UrlEncode(path, true) + anchor;
}

std::string Server::StateJson(const Window& w) {
  std::string title;
  if (auto it = files_.find(w.file_id); it != files_.end()) title = it->second->title;
  return "{\"file\":" + JsonString(w.file_id) + ",\"title\":" + JsonString(title) +
         ",\"topic\":" + JsonString(w.topic) + ",\"pane\":" + JsonString(w.pane) +
         ",\"seq\":" + std::to_string(w.seq) + ",\"closed\":" + (w.closed ? "true" : "false") + "}";
}

std::shared_ptr<HelpFile> Server::Known(const std::string& id) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = files_.find(id);
  if (it == files_.end()) return nullptr;
  it->second->last_used = NowMs();
  return it->second;
}

std::shared_ptr<HelpFile> Server::Open(const std::string& native, std::string& why) {
  char* real = ::realpath(native.c_str(), nullptr);
  if (!real) {
    why = "missing";
    return nullptr;
  }
  std::string path = real;
  std::free(real);
  struct stat st;
  if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    why = "missing";
    return nullptr;
  }
  // A file changed on disk is another file: its identity holds its size and time.
  const std::string id =
      FileId(path + '\0' + std::to_string(st.st_size) + '\0' + std::to_string(st.st_mtim.tv_sec) +
             '.' + std::to_string(st.st_mtim.tv_nsec));
  {
    std::unique_lock<std::mutex> lock(mutex_);
    // Another request may be opening the same file: wait for it rather than start a second
    // reader.
    changed_.wait(lock, [&] { return !opening_.count(id); });
    auto it = files_.find(id);
    if (it != files_.end()) {
      it->second->last_used = NowMs();
      return it->second;
    }
    opening_[id] = path;
  }
  auto f = std::make_shared<HelpFile>();
  f->id = id;
  f->path = path;
  f->reader = ChmReader::Start(reader_argv_, path, limits_, &why);
  bool ok = f->reader != nullptr;
  if (ok) {
    std::string system, ivb, strings;
    ok = f->Read("#SYSTEM", system) == ReadStatus::kOk;
    if (!ok) why = f->reader->damaged() ? "damaged" : "not a compiled help file";
    if (ok) {
      f->info = ParseHelpSystem(system);
      f->title = HelpTextUtf8(f->info.title);
      f->Read("#IVB", ivb);
      f->Read("#STRINGS", strings);
      f->context = ParseContextMap(ivb, strings);
      f->contents = f->ReadSitemap(f->info.contents_file);
      f->index = f->ReadSitemap(f->info.index_file);
      if (f->reader->damaged()) ok = false, why = "damaged";
    }
  }
  std::lock_guard<std::mutex> lock(mutex_);
  opening_.erase(id);
  changed_.notify_all();
  if (!ok) return nullptr;
  f->last_used = NowMs();
  files_[id] = f;
  // What reading the file's lists took goes back to the system: the server lives on.
  ::malloc_trim(0);
  if (files_.size() > kMaxFiles) {
    // The file used longest ago that no window shows goes (its reader ends with it).
    std::string oldest;
    int64_t when = INT64_MAX;
    for (const auto& [fid, file] : files_) {
      bool shown = false;
      for (const auto& [wid, w] : windows_) shown |= w.file_id == fid && !w.closed;
      if (!shown && file->last_used < when) oldest = fid, when = file->last_used;
    }
    if (!oldest.empty()) files_.erase(oldest);
  }
  return f;
}

std::shared_ptr<const SearchIndex> Server::BuildIndex(const HelpFile& f, Index which) {
  auto index = std::make_shared<SearchIndex>();
  std::string why, stored;
  if (which == Index::kWords) {
    std::unique_ptr<ChmReader> reader = ChmReader::Start(reader_argv_, f.path, limits_, &why);
    return reader && reader->BuildFulltextIndex(stored) == ReadStatus::kOk &&
                   index->Load(std::move(stored))
               ? index
               : nullptr;
  }
  // Made once per file and kept in the user's cache.
  const std::string cache = HelpCacheFolder() + "/" + f.id + ".search";
  stored = ReadNativeFile(cache);
  if (!stored.empty() && index->Load(std::move(stored))) return index;
  std::unique_ptr<ChmReader> reader = ChmReader::Start(reader_argv_, f.path, limits_, &why);
  if (!reader || reader->BuildSearchIndex(stored) != ReadStatus::kOk ||
      !index->Load(std::move(stored)))
    return nullptr;
  if (MakePrivateFolders(HelpCacheFolder())) ReplaceFileContent(cache, index->stored());
  return index;
}

HelpFile::Search Server::EnsureSearch(const std::shared_ptr<HelpFile>& f, Index which, bool wait) {
  std::unique_lock<std::mutex> lock(f->search_mutex);
  HelpFile::Search& state = which == Index::kWords ? f->words_state : f->pages_state;
  if (state == HelpFile::Search::kNone) {
    state = HelpFile::Search::kBuilding;
    // A reader of its own: a pass over every page must not hold up the topics of the file.
    std::thread([this, f, which] {
      std::shared_ptr<const SearchIndex> index = BuildIndex(*f, which);
      // No index of its own: the pass over the pages gives the words.
      if (!index && which == Index::kWords &&
          EnsureSearch(f, Index::kPages, true) == HelpFile::Search::kReady) {
        std::lock_guard<std::mutex> pages(f->search_mutex);
        index = f->pages;
      }
      std::lock_guard<std::mutex> done(f->search_mutex);
      (which == Index::kWords ? f->words : f->pages) = index;
      (which == Index::kWords ? f->words_state : f->pages_state) =
          index ? HelpFile::Search::kReady : HelpFile::Search::kFailed;
      f->search_done.notify_all();
    }).detach();
  }
  if (wait) {
    f->search_done.wait_for(lock,
                            std::chrono::milliseconds(2 * (limits_.pass_ms + limits_.open_ms)),
                            [&] { return state != HelpFile::Search::kBuilding; });
  }
  return state;
}

void Server::Show(int fd, const Form& form) {
  auto field = [&](const char* name) {
    auto it = form.find(name);
    return it == form.end() ? std::string() : it->second;
  };
  std::string why;
  if (!LoadChmLibrary(&why)) {
    WriteHttpResponse(fd, 200, "application/x-www-form-urlencoded",
                      EncodeForm({{"result", "unavailable"}, {"why", why}}));
    return;
  }
  std::shared_ptr<HelpFile> f = Open(field("file"), why);
  if (!f) {
    WriteHttpResponse(fd, 200, "application/x-www-form-urlencoded",
                      EncodeForm({{"result", "nofile"}, {"why", why}}));
    return;
  }
  const int command = std::atoi(field("command").c_str());
  std::string topic, pane;
  bool lookup = false;
  switch (command) {
    case 0: {  // a topic by path, or the default one
      std::string wanted = form.count("topic") ? field("topic") : field("inner");
      topic = TrimSpaces(wanted).empty() ? f->DefaultTopic() : f->ExistingTopic(wanted);
      break;
    }
    case 15:
      topic =
          f->ContextTopic(static_cast<uint32_t>(std::strtoul(field("id").c_str(), nullptr, 10)));
      break;
    case 1:
    case 2:
    case 3:
      pane = command == 1 ? "toc" : command == 2 ? "index" : "search";
      break;
    case 13:
    case 19: {
      lookup = true;
      const std::string keywords = field("keywords");
      if (command == 19 && EnsureSearch(f, Index::kPages, true) != HelpFile::Search::kReady) break;
      for (size_t start = 0; start <= keywords.size() && topic.empty();) {
        size_t semi = keywords.find(';', start);
        if (semi == std::string::npos) semi = keywords.size();
        std::string_view keyword =
            TrimSpaces(std::string_view(keywords).substr(start, semi - start));
        start = semi + 1;
        if (keyword.empty()) continue;
        if (command == 13) {
          for (size_t i : KeywordEntries(f->index, keyword)) {
            topic = f->ExistingTopic(EntryTopic(f->index, i));
            if (!topic.empty()) break;
          }
        } else {
          std::lock_guard<std::mutex> lock(f->search_mutex);
          for (const auto& [name, page] : f->pages->alinks())
            if (EqualsNoCase(TrimSpaces(name), keyword)) {
              topic = f->ExistingTopic(page);
              if (!topic.empty()) break;
            }
        }
      }
      if (topic.empty() && !field("url").empty()) topic = f->ExistingTopic(field("url"));
      break;
    }
    default:
      break;
  }
  if (topic.empty() && pane.empty()) {
    WriteHttpResponse(fd, 200, "application/x-www-form-urlencoded",
                      EncodeForm({{"result", lookup ? "notfound" : "notopic"}}));
    return;
  }
  std::string answer;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string name(TrimSpaces(field("window")));
    Window* w = nullptr;
    for (auto& [id, window] : windows_)
      if (window.file_id == f->id && EqualsNoCase(window.name, name) && !window.closed) w = &window;
    if (!w) {
      w = &windows_[++next_window_];
      w->id = next_window_;
      w->file_id = f->id;
      w->name = name;
    }
    if (topic.empty()) topic = w->topic.empty() ? f->DefaultTopic() : w->topic;
    if (topic.empty()) {
      answer = EncodeForm({{"result", "notopic"}});
    } else {
      w->topic = topic;
      if (!pane.empty()) w->pane = pane;
      ++w->seq;
      const int64_t now = NowMs();
      bool open = w->live == 0 && now - w->opened_at >= kPendingOpenMs;
      if (open) w->opened_at = now;
      answer = EncodeForm({{"result", "ok"},
                           {"window", std::to_string(w->id)},
                           {"address", Address(*w, topic)},
                           {"open", open ? "1" : "0"}});
      changed_.notify_all();
    }
  }
  WriteHttpResponse(fd, 200, "application/x-www-form-urlencoded", answer);
}

void Server::Popup(int fd, const Form& form) {
  auto field = [&](const char* name) {
    auto it = form.find(name);
    return it == form.end() ? std::string() : it->second;
  };
  std::string why, text;
  if (!LoadChmLibrary(&why)) {
    WriteHttpResponse(fd, 200, "application/x-www-form-urlencoded",
                      EncodeForm({{"result", "unavailable"}, {"why", why}}));
    return;
  }
  std::shared_ptr<HelpFile> f = Open(field("file"), why);
  std::string path, anchor, bytes;
  bool found = false;
  if (f && TopicPath(field("inner"), path, anchor) && f->Read(path, bytes) == ReadStatus::kOk) {
    std::map<uint32_t, std::string> topics = ParsePopupTexts(bytes);
    auto it = topics.find(static_cast<uint32_t>(std::strtoul(field("id").c_str(), nullptr, 10)));
    if (it != topics.end()) found = true, text = it->second;
  }
  WriteHttpResponse(fd, 200, "application/x-www-form-urlencoded",
                    found ? EncodeForm({{"result", "ok"}, {"text", text}})
                          : EncodeForm({{"result", f ? "notfound" : "nofile"}, {"why", why}}));
}

void Server::Api(int fd, const HttpRequest& request, const std::string& what) {
  // Only a program sends this header: a page would need the server's consent first, which it
  // never gives, so no page (not even one of a help file) can call these.
  if (request.Header("x-borvane-client") != "1") {
    WriteHttpResponse(fd, 403, "text/plain", "forbidden");
    return;
  }
  if (what == "ping") {
    WriteHttpResponse(fd, 200, "text/plain", "borvane-help");
    return;
  }
  if (request.method != "POST") {
    WriteHttpResponse(fd, 405, "text/plain", "POST only");
    return;
  }
  Form form = ParseForm(request.body);
  if (what == "show") return Show(fd, form);
  if (what == "popup") return Popup(fd, form);
  if (what == "close") {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::string& list = form["windows"];
    for (size_t at = 0; at < list.size();) {
      size_t comma = list.find(',', at);
      if (comma == std::string::npos) comma = list.size();
      auto it = windows_.find(std::atoi(list.substr(at, comma - at).c_str()));
      at = comma + 1;
      if (it == windows_.end()) continue;
      it->second.closed = true;
      ++it->second.seq;
    }
    changed_.notify_all();
    WriteHttpResponse(fd, 200, "application/x-www-form-urlencoded", "result=ok");
    return;
  }
  WriteHttpResponse(fd, 404, "text/plain", "not found");
}

void Server::Events(int fd, int window) {
  std::unique_lock<std::mutex> lock(mutex_);
  auto it = windows_.find(window);
  if (it == windows_.end()) {
    lock.unlock();
    WriteHttpResponse(fd, 404, "text/plain", "no such window");
    return;
  }
  ++it->second.live;
  ++live_;
  uint64_t sent = 0;
  std::string head =
      "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
      "Connection: keep-alive\r\n\r\n";
  for (bool first = true;; first = false) {
    Window& w = windows_[window];
    std::string chunk = first ? head : std::string();
    if (w.seq != sent) {
      chunk += "event: state\ndata: " + StateJson(w) + "\n\n";
      sent = w.seq;
    } else {
      chunk += ": still here\n\n";
    }
    const bool closed = w.closed;
    lock.unlock();
    const bool written = WriteAllTo(fd, chunk);
    lock.lock();
    if (!written || closed) break;
    changed_.wait_for(lock, std::chrono::milliseconds(kKeepAliveMs),
                      [&] { return windows_[window].seq != sent; });
  }
  --windows_[window].live;
  --live_;
  last_request_ = NowMs();
}

void Server::Data(int fd, const std::string& file_id, const std::string& what,
                  const std::string& query) {
  std::shared_ptr<HelpFile> f = Known(file_id);
  if (!f) {
    WriteHttpResponse(fd, 404, "application/json", "null");
    return;
  }
  if (what == "toc.json" || what == "index.json") {
    // Made for each page that asks (once per window): a few tens of milliseconds for the
    // largest index, against the megabytes that keeping it would hold for the server's life.
    HelpFile::WriteSitemapJson(fd, what == "toc.json" ? f->contents : f->index);
    return;
  }
  if (what == "search") {
    const std::string q = ParseForm(query)["q"];
    HelpFile::Search state = EnsureSearch(f, Index::kWords, false);
    std::string json;
    if (state == HelpFile::Search::kReady) {
      std::shared_ptr<const SearchIndex> words;
      {
        std::lock_guard<std::mutex> lock(f->search_mutex);
        words = f->words;
      }
      json = "{\"state\":\"ready\",\"results\":[";
      bool first = true;
      for (const SearchIndex::Page* p : words->Find(q, 500)) {
        json += std::string(first ? "" : ",") + "[" + JsonString(HelpTextUtf8(p->path)) + "," +
                JsonString(p->title) + "]";
        first = false;
      }
      json += "]}";
    } else {
      json = state == HelpFile::Search::kBuilding ? "{\"state\":\"building\"}"
                                                  : "{\"state\":\"failed\"}";
    }
    WriteHttpResponse(fd, 200, "application/json", json);
    return;
  }
  WriteHttpResponse(fd, 404, "application/json", "null");
}

void Server::Topic(int fd, const std::string& file_id, const std::string& wanted) {
  std::shared_ptr<HelpFile> f = Known(file_id);
  std::string path, anchor, bytes;
  if (!f || !TopicPath(wanted, path, anchor) || f->Read(path, bytes) != ReadStatus::kOk) {
    WriteHttpResponse(fd, 404, "text/html",
                      "<!DOCTYPE html><p>This help file holds no such page.</p>");
    return;
  }
  // The help file's pages run in a sandbox of their own: they can show themselves and what
  // the file holds, but reach neither the help window around them nor anything outside this
  // machine.
  WriteHttpResponse(fd, 200, ContentType(path), bytes,
                    {{"Content-Security-Policy",
                      "sandbox allow-scripts allow-popups allow-forms allow-modals; "
                      "default-src 'self' 'unsafe-inline' 'unsafe-eval' data: blob:"}});
}

void Server::Route(int fd, const HttpRequest& request, const std::string& rest) {
  auto split = [](const std::string& s, size_t from) {
    size_t slash = s.find('/', from);
    return std::make_pair(
        s.substr(from, slash == std::string::npos ? std::string::npos : slash - from),
        slash == std::string::npos ? std::string() : s.substr(slash + 1));
  };
  if (rest.rfind("api/", 0) == 0) return Api(fd, request, rest.substr(4));
  if (request.method != "GET") {
    WriteHttpResponse(fd, 405, "text/plain", "GET only");
    return;
  }
  const std::string kind = rest.substr(0, 2);
  if (kind == "s/") {
    const std::string name = rest.substr(2);
    if (name == "app.js")
      return (void)WriteHttpResponse(fd, 200, "text/javascript", HelpPageScript());
    if (name == "app.css") return (void)WriteHttpResponse(fd, 200, "text/css", HelpPageStyle());
  } else if (kind == "w/") {
    auto [id_text, what] = split(rest, 2);
    const int id = std::atoi(id_text.c_str());
    std::unique_lock<std::mutex> lock(mutex_);
    auto it = windows_.find(id);
    if (it != windows_.end()) {
      if (what == "events") {
        lock.unlock();
        return Events(fd, id);
      }
      if (what == "state") {
        std::string json = StateJson(it->second);
        lock.unlock();
        return (void)WriteHttpResponse(fd, 200, "application/json", json);
      }
      std::string title;
      const std::string file_id = it->second.file_id;
      if (auto f = files_.find(file_id); f != files_.end()) title = f->second->title;
      lock.unlock();
      return (void)WriteHttpResponse(
          fd, 200, "text/html; charset=utf-8", HelpPageHtml(token_, title, file_id),
          {{"Content-Security-Policy",
            "default-src 'self'; img-src 'self' data:; frame-src 'self'; "
            "object-src 'none'; base-uri 'none'"}});
    }
  } else if (kind == "d/") {
    auto [file, what] = split(rest, 2);
    return Data(fd, file, what, request.query);
  } else if (kind == "t/") {
    auto [file, path] = split(rest, 2);
    return Topic(fd, file, path);
  }
  WriteHttpResponse(fd, 404, "text/plain", "not found");
}

void Server::Serve(int fd) {
  HttpRequest request;
  if (ReadHttpRequest(fd, request, 10'000)) {
    const std::string prefix = "/" + token_ + "/";
    if (request.path.rfind(prefix, 0) == 0) {
      {
        std::lock_guard<std::mutex> lock(mutex_);
        last_request_ = NowMs();
      }
      Route(fd, request, request.path.substr(prefix.size()));
    } else {
      WriteHttpResponse(fd, 404, "text/plain", "not found");
    }
  }
  ::close(fd);
  std::lock_guard<std::mutex> lock(mutex_);
  --connections_;
  last_request_ = NowMs();
}

void Server::CleanCache() {
  // What earlier versions and killed runs left: extracted help files (a folder per file) and
  // their half-made folders. Only the search indexes are kept now.
  const std::string cache = HelpCacheFolder();
  DIR* dir = ::opendir(cache.c_str());
  if (!dir) return;
  std::vector<std::string> gone;
  while (dirent* e = ::readdir(dir)) {
    std::string name = e->d_name;
    if (name == "." || name == "..") continue;
    struct stat st;
    std::string path = cache + "/" + name;
    if (::lstat(path.c_str(), &st) != 0) continue;
    if (S_ISDIR(st.st_mode) &&
        (name.rfind(".partial-", 0) == 0 || ::access((path + "/.extracted").c_str(), F_OK) == 0))
      gone.push_back(path);
  }
  ::closedir(dir);
  for (const std::string& path : gone) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
}

int Server::Run() {
  ::signal(SIGPIPE, SIG_IGN);
  // The server holds no folder of its caller's: every path it gets is absolute.
  if (::chdir("/") != 0) return 1;
  // One heap for all its threads, which lives on between pages: what a large list took goes
  // back to the system when the answer is out (see Serve).
  ::mallopt(M_ARENA_MAX, 1);
  // Large blocks (a file's index) always in mappings of their own: they grow by remapping, not
  // by a copy beside the old block, and go back to the system as soon as they are freed.
  ::mallopt(M_MMAP_THRESHOLD, 256 << 10);
  const std::string self = SelfPath();
  if (self.empty()) return 1;
  // The lean reader beside the server where it is installed; the server itself reads as well.
  const std::string reader = self.substr(0, self.rfind('/') + 1) + "borvane-help-reader";
  reader_argv_ = {::access(reader.c_str(), X_OK) == 0 ? reader : self};
  const std::string folder = HelpRuntimeFolder();
  if (!MakePrivateFolders(folder)) return 1;
  int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener < 0) return 1;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof addr;
  if (::bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      ::listen(listener, 64) != 0 ||
      ::getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &len) != 0)
    return 1;
  port_ = ntohs(addr.sin_port);
  token_ = NewToken();
  CleanCache();
  // The address goes out last, once the server can answer.
  rendezvous_ = folder + "/help-server";
  const std::string me =
      std::to_string(port_) + " " + token_ + " " + std::to_string(::getpid()) + "\n";
  if (ReplaceFileContent(rendezvous_, me) != 0) return 1;
  ::chmod(rendezvous_.c_str(), 0600);
  last_request_ = NowMs();
  const int64_t idle_ms = int64_t{HelpServerIdleSeconds()} * 1000;
  for (;;) {
    pollfd p{listener, POLLIN, 0};
    int r = ::poll(&p, 1, 1000);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (live_ == 0 && connections_ == 0 && NowMs() - last_request_ > idle_ms) break;
    }
    // Another server took over the address: this one is no longer found, so it ends.
    if (ReadNativeFile(rendezvous_) != me) break;
    if (r <= 0) continue;
    int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (connections_ >= kMaxConnections) {
        ::close(fd);
        continue;
      }
      ++connections_;
    }
    std::thread([this, fd] { Serve(fd); }).detach();
  }
  if (ReadNativeFile(rendezvous_) == me) ::unlink(rendezvous_.c_str());
  ::close(listener);
  // Threads still serving are let go with the process.
  std::fflush(nullptr);
  ::_exit(0);
}

}  // namespace

int RunHelpServer(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "--reader")
    return RunChmReader(argv[2], std::strtoull(argv[3], nullptr, 10));
  if (argc == 2 && std::string(argv[1]) == "--serve") {
    static Server server;
    return server.Run();
  }
  std::fprintf(stderr,
               "usage: borvane-helpd --serve\n"
               "The help server of the borvane library; the library starts it when it shows "
               "help.\n");
  return 2;
}

}  // namespace borvane::platform
