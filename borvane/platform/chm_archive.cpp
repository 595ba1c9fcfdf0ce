#include "borvane/platform/chm_archive.h"

#include <chm_lib.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <vector>

#include "borvane/platform/process.h"

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

struct Extraction {
  std::string folder;
  bool ok = true;
  std::vector<unsigned char> buffer;
};

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

int ExtractOne(struct chmFile* h, struct chmUnitInfo* ui, void* context) {
  auto& x = *static_cast<Extraction*>(context);
  std::string_view stored(ui->path);
  if (stored.empty() || stored.back() == '/' || stored.rfind("::", 0) == 0)
    return CHM_ENUMERATOR_CONTINUE;
  std::string relative = SafeRelativePath(stored);
  if (relative.empty()) return CHM_ENUMERATOR_CONTINUE;
  std::string path = x.folder + "/" + relative;
  size_t slash = path.rfind('/');
  MakeFolders(path.substr(0, slash));
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    x.ok = false;
    return CHM_ENUMERATOR_FAILURE;
  }
  // In pieces: a stored length is the file's word, not a size to allocate at once.
  constexpr LONGUINT64 kPiece = 1 << 20;
  x.buffer.resize(kPiece);
  for (LONGUINT64 at = 0; at < ui->length;) {
    LONGUINT64 want = std::min(kPiece, ui->length - at);
    LONGINT64 got = chm_retrieve_object(h, ui, x.buffer.data(), at, static_cast<LONGINT64>(want));
    if (got <= 0 || !WriteAll(fd, x.buffer.data(), static_cast<size_t>(got))) {
      x.ok = false;
      break;
    }
    at += static_cast<LONGUINT64>(got);
  }
  ::close(fd);
  return x.ok ? CHM_ENUMERATOR_CONTINUE : CHM_ENUMERATOR_FAILURE;
}

}  // namespace

bool ExtractHelpFile(const std::string& chm, const std::string& folder) {
  struct chmFile* h = chm_open(chm.c_str());
  if (!h) return false;
  Extraction x{folder, true, {}};
  struct chmUnitInfo system;
  // A file without its settings table is not a compiled help file.
  bool is_help = chm_resolve_object(h, "/#SYSTEM", &system) == CHM_RESOLVE_SUCCESS;
  if (is_help) chm_enumerate(h, CHM_ENUMERATE_NORMAL | CHM_ENUMERATE_SPECIAL, ExtractOne, &x);
  chm_close(h);
  return is_help && x.ok;
}

}  // namespace borvane::platform
