#include "borvane/platform/help/chm_archive.h"

#include <chm_lib.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <fstream>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

#include "borvane/platform/base/process.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/help/help_tables.h"

namespace borvane::platform {

namespace {

// The stored name as a path below the folder, or empty when it may not be one: every part
// must be a plain name (no "..", no "."), so that nothing is written outside the folder.
std::string SafeRelativePath(std::string_view stored) {
  std::string out;
  while (!stored.empty()) {
    size_t slash = stored.find('/');
    std::string_view part = stored.substr(0, slash);
    stored = slash == std::string_view::npos ? std::string_view() : stored.substr(slash + 1);
    if (part.empty()) continue;
    if (part == "." || part == ".." || part.find('\0') != std::string_view::npos) return "";
    if (!out.empty()) out += '/';
    out += part;
  }
  return out;
}

bool WriteAll(int fd, const unsigned char* data, size_t size) {
  while (size > 0) {
    ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

// "a/b/../c" as "a/c"; a path that climbs out of the file gives "" (and is refused).
std::string Normalize(const std::string& path) {
  std::vector<std::string> parts;
  for (size_t at = 0; at <= path.size();) {
    size_t slash = path.find('/', at);
    if (slash == std::string::npos) slash = path.size();
    std::string part = path.substr(at, slash - at);
    at = slash + 1;
    if (part.empty() || part == ".") continue;
    if (part == "..") {
      if (parts.empty()) return "";
      parts.pop_back();
    } else {
      parts.push_back(part);
    }
  }
  std::string out;
  for (const std::string& p : parts) out += (out.empty() ? "" : "/") + p;
  return out;
}

class Extraction {
 public:
  Extraction(struct chmFile* h, std::string folder) : h_(h), folder_(std::move(folder)) {}

  // Writes the stored file at the relative `stored` path, once; false when the help file has
  // none or a write fails (then `failed` is set).
  bool Fetch(const std::string& stored) {
    std::string relative = SafeRelativePath(stored);
    if (relative.empty()) return false;
    if (done_.count(relative)) return true;
    struct chmUnitInfo ui;
    std::string name = "/" + relative;
    if (chm_resolve_object(h_, name.c_str(), &ui) != CHM_RESOLVE_SUCCESS) return false;
    return Write(ui, relative);
  }

  bool Write(struct chmUnitInfo& ui, const std::string& relative) {
    if (!done_.insert(relative).second) return true;
    std::string path = folder_ + "/" + relative;
    MakeFolders(path.substr(0, path.rfind('/')));
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return failed = true, false;
    // In pieces: a stored length is the file's word, not a size to allocate at once.
    constexpr LONGUINT64 kPiece = 1 << 20;
    buffer_.resize(kPiece);
    for (LONGUINT64 at = 0; at < ui.length;) {
      LONGUINT64 want = std::min(kPiece, ui.length - at);
      LONGINT64 got =
          chm_retrieve_object(h_, &ui, buffer_.data(), at, static_cast<LONGINT64>(want));
      if (got <= 0 || !WriteAll(fd, buffer_.data(), static_cast<size_t>(got))) {
        failed = true;
        break;
      }
      at += static_cast<LONGUINT64>(got);
    }
    ::close(fd);
    if (IsPage(relative)) pages_.push_back(relative);
    return !failed;
  }

  // Follows every page's relative links within the file until none is new: the listing of
  // some compilers' files leaves entries out, and a page must find what it shows.
  void Crawl() {
    while (!pages_.empty()) {
      std::string page = pages_.back();
      pages_.pop_back();
      size_t slash = page.rfind('/');
      std::string base = slash == std::string::npos ? "" : page.substr(0, slash + 1);
      for (std::string link : ParseLinks(ReadNativeFile(folder_ + "/" + page))) {
        link = link.substr(0, link.find_first_of("#?"));
        if (link.empty() || link.find(':') != std::string::npos) continue;
        std::string target = Normalize(link.front() == '/' ? link : base + link);
        if (!target.empty()) Fetch(target);
      }
    }
  }

  std::string Read(const std::string& relative) {
    return relative.empty() ? "" : ReadNativeFile(folder_ + "/" + relative);
  }

  bool failed = false;

 private:
  static bool IsPage(const std::string& path) {
    size_t dot = path.rfind('.');
    std::string_view ext = dot == std::string::npos ? "" : std::string_view(path).substr(dot);
    return EqualsNoCase(ext, ".htm") || EqualsNoCase(ext, ".html");
  }

  struct chmFile* h_;
  std::string folder_;
  std::set<std::string> done_;
  std::vector<std::string> pages_;
  std::vector<unsigned char> buffer_;
};

int ExtractOne(struct chmFile*, struct chmUnitInfo* ui, void* context) {
  auto& x = *static_cast<Extraction*>(context);
  std::string_view stored(ui->path);
  if (stored.empty() || stored.back() == '/' || stored.rfind("::", 0) == 0)
    return CHM_ENUMERATOR_CONTINUE;
  std::string relative = SafeRelativePath(stored);
  if (!relative.empty()) x.Write(*ui, relative);
  return x.failed ? CHM_ENUMERATOR_FAILURE : CHM_ENUMERATOR_CONTINUE;
}

}  // namespace

bool ExtractHelpFile(const std::string& chm, const std::string& folder) {
  struct chmFile* h = chm_open(chm.c_str());
  if (!h) return false;
  Extraction x(h, folder);
  // A file without its settings table is not a compiled help file.
  bool is_help = x.Fetch("#SYSTEM");
  if (is_help) {
    chm_enumerate(h, CHM_ENUMERATE_NORMAL | CHM_ENUMERATE_SPECIAL, ExtractOne, &x);
    // What the listing may have left out: the tables, the files the settings name, and every
    // page that the contents, the index and the context map lead to.
    for (const char* table : {"#IVB", "#STRINGS", "#TOPICS", "#URLTBL", "#URLSTR", "#IDXHDR"})
      x.Fetch(table);
    HelpSystemInfo info = ParseHelpSystem(x.Read("#SYSTEM"));
    for (const std::string& file : {info.default_topic, info.contents_file, info.index_file})
      x.Fetch(file.substr(0, file.find('#')));
    for (const std::string& sitemap : {info.contents_file, info.index_file})
      for (const SitemapEntry& e : ParseSitemap(x.Read(SafeRelativePath(sitemap))))
        x.Fetch(e.local.substr(0, e.local.find('#')));
    for (const auto& [id, path] : ParseContextMap(x.Read("#IVB"), x.Read("#STRINGS"))) {
      // The compiler may have recorded the page's path on its own disk: each tail is tried.
      for (size_t at = 0; at != std::string::npos; at = path.find('/', at + 1))
        if (x.Fetch(path.substr(at == 0 ? 0 : at + 1))) break;
    }
    x.Crawl();
  }
  chm_close(h);
  return is_help && !x.failed;
}

bool ExtractHelpFileEntry(const std::string& chm, const std::string& folder,
                          const std::string& path) {
  struct chmFile* h = chm_open(chm.c_str());
  if (!h) return false;
  Extraction x(h, folder);
  bool ok = x.Fetch(path) && !x.failed;
  chm_close(h);
  return ok;
}

}  // namespace borvane::platform
