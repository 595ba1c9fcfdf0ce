#include "borvane/platform/help/chm_archive.h"

#include <chm_lib.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <string>

#include "borvane/platform/help/help_tables.h"

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

// `size` bytes of the file from `at`; empty where the file ends before.
std::string ReadAt(int fd, uint64_t at, size_t size) {
  std::string bytes(size, '\0');
  for (size_t got = 0; got < size;) {
    ssize_t n = ::pread(fd, bytes.data() + got, size - got, static_cast<off_t>(at + got));
    if (n <= 0) return std::string();
    got += static_cast<size_t>(n);
  }
  return bytes;
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
  if (::fstat(fd, &st) != 0) return false;
  const uint64_t size = static_cast<uint64_t>(st.st_size);
  const std::string head = ReadAt(fd, 0, 0x60);
  const uint64_t dir = ReadQword(head, 0x48), dir_length = ReadQword(head, 0x50);
  if (head.rfind("ITSF", 0) != 0 || dir > size || dir_length > size - dir || dir_length < 0x54)
    return false;
  const std::string itsp = ReadAt(fd, dir, 0x54);
  const uint64_t header = ReadDword(itsp, 8), chunk = ReadDword(itsp, 0x10);
  const uint64_t blocks = ReadDword(itsp, 0x2C);
  if (itsp.rfind("ITSP", 0) != 0 || header < 0x54 || header > dir_length || chunk < 0x20 ||
      chunk > (1 << 20) || blocks > (dir_length - header) / chunk)
    return false;
  for (uint64_t k = 0; k < blocks; ++k) {
    const std::string bytes = ReadAt(fd, dir + header + k * chunk, static_cast<size_t>(chunk));
    if (bytes.empty()) return false;
    if (bytes.rfind("PMGL", 0) != 0) continue;
    // Entries from behind the chunk's head up to its free space at the end.
    const std::string_view entries = std::string_view(bytes).substr(
        0, chunk - std::min<uint64_t>(ReadDword(bytes, 4), chunk - 0x14));
    for (size_t at = 0x14; at < entries.size();) {
      uint64_t name_size = 0, section = 0, offset = 0, length = 0;
      if (!ReadEncint(entries, at, name_size) || name_size > entries.size() - at) break;
      const std::string_view name = entries.substr(at, static_cast<size_t>(name_size));
      at += static_cast<size_t>(name_size);
      if (!ReadEncint(entries, at, section) || !ReadEncint(entries, at, offset) ||
          !ReadEncint(entries, at, length))
        break;
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
