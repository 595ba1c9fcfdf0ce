#include "borvane/platform/help/chm_archive.h"

#include <chm_lib.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

namespace borvane::platform {

namespace {

// chmlib's entry points, found by name in the library once it is loaded.
struct ChmLib {
  decltype(&chm_open) open = nullptr;
  decltype(&chm_close) close = nullptr;
  decltype(&chm_resolve_object) resolve = nullptr;
  decltype(&chm_retrieve_object) retrieve = nullptr;
  decltype(&chm_enumerate) enumerate = nullptr;
  std::string error;
};

const ChmLib& Lib() {
  static const ChmLib lib = [] {
    ChmLib l;
    void* handle = ::dlopen("libchm.so.1", RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
      l.error = std::string("the compiled help file reader is missing (install the Debian ") +
                "package " + kChmLibraryPackage + ")";
      return l;
    }
    l.open = reinterpret_cast<decltype(l.open)>(::dlsym(handle, "chm_open"));
    l.close = reinterpret_cast<decltype(l.close)>(::dlsym(handle, "chm_close"));
    l.resolve = reinterpret_cast<decltype(l.resolve)>(::dlsym(handle, "chm_resolve_object"));
    l.retrieve = reinterpret_cast<decltype(l.retrieve)>(::dlsym(handle, "chm_retrieve_object"));
    l.enumerate = reinterpret_cast<decltype(l.enumerate)>(::dlsym(handle, "chm_enumerate"));
    if (!l.open || !l.close || !l.resolve || !l.retrieve || !l.enumerate)
      l.error = std::string("libchm.so.1 lacks the calls of chmlib (reinstall the Debian ") +
                "package " + kChmLibraryPackage + ")";
    return l;
  }();
  return lib;
}

}  // namespace

bool LoadChmLibrary(std::string* why) {
  const ChmLib& lib = Lib();
  if (why) *why = lib.error;
  return lib.error.empty();
}

ChmArchive::~ChmArchive() {
  Lib().close(handle_);
}

std::unique_ptr<ChmArchive> ChmArchive::Open(const std::string& path, std::string* why) {
  if (!LoadChmLibrary(why)) return nullptr;
  struct chmFile* h = Lib().open(path.c_str());
  if (!h) {
    if (why) *why = "not a compiled help file";
    return nullptr;
  }
  std::unique_ptr<ChmArchive> archive(new ChmArchive(h, path));
  // A file without its settings table is not a compiled help file.
  struct chmUnitInfo ui;
  if (Lib().resolve(h, "/#SYSTEM", &ui) != CHM_RESOLVE_SUCCESS) {
    if (why) *why = "not a compiled help file";
    return nullptr;
  }
  return archive;
}

namespace {

// The stored file `name` in `ui`: false when the archive has none.
bool Resolve(struct chmFile* h, std::string_view name, struct chmUnitInfo& ui) {
  std::string path =
      name.empty() || name.front() != '/' ? "/" + std::string(name) : std::string(name);
  if (path.size() > CHM_MAX_PATHLEN || path.find('\0') != std::string::npos) return false;
  return Lib().resolve(h, path.c_str(), &ui) == CHM_RESOLVE_SUCCESS;
}

}  // namespace

bool ChmArchive::Exists(std::string_view name) {
  struct chmUnitInfo ui;
  return Resolve(handle_, name, ui);
}

ChmArchive::Result ChmArchive::ReadInPieces(std::string_view name, uint64_t limit,
                                            const std::function<void(uint64_t)>& length,
                                            const std::function<void(std::string_view)>& piece) {
  struct chmUnitInfo ui;
  if (!Resolve(handle_, name, ui)) return Result::kMissing;
  if (ui.length > limit) return Result::kTooLarge;
  length(ui.length);
  // In pieces: a stored length is the file's word, and the reads show whether it holds.
  constexpr LONGUINT64 kPiece = 1 << 20;
  std::string buffer(static_cast<size_t>(std::min<LONGUINT64>(ui.length, kPiece)), '\0');
  for (LONGUINT64 at = 0; at < ui.length;) {
    LONGUINT64 want = std::min<LONGUINT64>(buffer.size(), ui.length - at);
    LONGINT64 got = Lib().retrieve(handle_, &ui, reinterpret_cast<unsigned char*>(buffer.data()),
                                   at, static_cast<LONGINT64>(want));
    if (got <= 0) return Result::kDamaged;
    piece(std::string_view(buffer.data(), static_cast<size_t>(got)));
    at += static_cast<LONGUINT64>(got);
  }
  return Result::kOk;
}

ChmArchive::Result ChmArchive::Read(std::string_view name, std::string& bytes, uint64_t limit) {
  bytes.clear();
  return ReadInPieces(
      name, limit, [&](uint64_t n) { bytes.reserve(static_cast<size_t>(n)); },
      [&](std::string_view p) { bytes.append(p); });
}

namespace {

uint64_t Little(const unsigned char* p, int bytes) {
  uint64_t v = 0;
  for (int i = bytes - 1; i >= 0; --i) v = v << 8 | p[i];
  return v;
}

// A directory entry's number: 7-bit groups, the most significant first.
bool Encint(const unsigned char*& p, const unsigned char* end, uint64_t& value) {
  value = 0;
  for (int i = 0; i < 9 && p < end; ++i) {
    value = value << 7 | (*p & 0x7Fu);
    if (!(*p++ & 0x80)) return true;
  }
  return false;
}

bool ReadAt(int fd, uint64_t at, unsigned char* into, size_t size) {
  while (size > 0) {
    ssize_t n = ::pread(fd, into, size, static_cast<off_t>(at));
    if (n <= 0) return false;
    into += n, at += static_cast<uint64_t>(n), size -= static_cast<size_t>(n);
  }
  return true;
}

bool Listed(std::string_view name) {
  return !name.empty() && name.back() != '/' && name.rfind("::", 0) != 0;
}

}  // namespace

bool ChmArchive::ListChunks(const std::function<bool(std::string_view, uint64_t)>& visit) {
  const int fd = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  struct Close {
    int fd;
    ~Close() { ::close(fd); }
  } closer{fd};
  struct stat st;
  unsigned char head[0x60], itsp[0x54];
  if (::fstat(fd, &st) != 0 || !ReadAt(fd, 0, head, sizeof head) ||
      std::memcmp(head, "ITSF", 4) != 0)
    return false;
  const uint64_t size = static_cast<uint64_t>(st.st_size);
  const uint64_t dir = Little(head + 0x48, 8), dir_length = Little(head + 0x50, 8);
  if (dir > size || dir_length > size - dir || dir_length < sizeof itsp ||
      !ReadAt(fd, dir, itsp, sizeof itsp) || std::memcmp(itsp, "ITSP", 4) != 0)
    return false;
  const uint64_t header = Little(itsp + 8, 4), chunk = Little(itsp + 0x10, 4);
  const uint64_t blocks = Little(itsp + 0x2C, 4);
  if (header < sizeof itsp || header > dir_length || chunk < 0x20 || chunk > (1 << 20) ||
      blocks > (dir_length - header) / chunk)
    return false;
  std::vector<unsigned char> bytes(chunk);
  for (uint64_t k = 0; k < blocks; ++k) {
    if (!ReadAt(fd, dir + header + k * chunk, bytes.data(), bytes.size())) return false;
    if (std::memcmp(bytes.data(), "PMGL", 4) != 0) continue;
    const uint64_t free = Little(bytes.data() + 4, 4);
    const unsigned char* p = bytes.data() + 0x14;
    const unsigned char* end = bytes.data() + chunk - std::min<uint64_t>(free, chunk - 0x14);
    while (p < end) {
      uint64_t name_size = 0, section = 0, offset = 0, length = 0;
      if (!Encint(p, end, name_size) || name_size > static_cast<uint64_t>(end - p)) break;
      std::string_view name(reinterpret_cast<const char*>(p), static_cast<size_t>(name_size));
      p += name_size;
      if (!Encint(p, end, section) || !Encint(p, end, offset) || !Encint(p, end, length)) break;
      if (Listed(name) && !visit(name, length)) return true;
    }
  }
  return true;
}

void ChmArchive::List(const std::function<bool(std::string_view, uint64_t)>& visit) {
  if (ListChunks(visit)) return;
  struct Context {
    const std::function<bool(std::string_view, uint64_t)>* visit;
  } context{&visit};
  auto each = [](struct chmFile*, struct chmUnitInfo* ui, void* c) -> int {
    std::string_view name(ui->path);
    if (!Listed(name)) return CHM_ENUMERATOR_CONTINUE;
    return (*static_cast<Context*>(c)->visit)(name, ui->length) ? CHM_ENUMERATOR_CONTINUE
                                                                : CHM_ENUMERATOR_SUCCESS;
  };
  Lib().enumerate(handle_, CHM_ENUMERATE_NORMAL | CHM_ENUMERATE_SPECIAL, each, &context);
}

}  // namespace borvane::platform
