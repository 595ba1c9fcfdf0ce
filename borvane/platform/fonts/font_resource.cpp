#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/base/unique_fd.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "borvane/automation/codepage.h"
#include "borvane/platform/base/folder_watch.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_resource_file.h"

namespace borvane::platform {

uint32_t FromFileError(int32_t e) {
  switch (e) {
    case 53:
      return kWinFileNotFound;
    case 76:
      return kWinPathNotFound;
    case 61:
      return kWinDiskFull;
    default:
      return kWinAccessDenied;
  }
}

namespace {

// A missing file is 2, unless a folder on its way is missing too: 3.
uint32_t MissingError(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos || slash == 0) return kWinFileNotFound;
  struct stat st;
  std::string folder = path.substr(0, slash);
  return ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) ? kWinFileNotFound
                                                                 : kWinPathNotFound;
}

uint32_t ErrorFor(int e, const std::string& path) {
  switch (e) {
    case ENOENT:
      return MissingError(path);
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
      return kWinPathNotFound;
    case ENOSPC:
    case EDQUOT:
      return kWinDiskFull;
    default:
      return kWinAccessDenied;
  }
}

// The font file mapped into memory for as long as this lives.
class MappedFile {
 public:
  // 0 or the error.
  uint32_t Open(const std::string& path) {
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) return ErrorFor(errno, path);
    struct stat st;
    if (::fstat(fd.get(), &st) != 0) return ErrorFor(errno, path);
    if (S_ISDIR(st.st_mode)) return kWinAccessDenied;
    if (st.st_size <= 0) return 0;
    void* p = ::mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_PRIVATE, fd.get(), 0);
    if (p == MAP_FAILED) return kWinAccessDenied;
    data_ = p;
    size_ = static_cast<size_t>(st.st_size);
    return 0;
  }
  ~MappedFile() {
    if (data_) ::munmap(data_, size_);
  }
  std::string_view bytes() const { return {static_cast<const char*>(data_), size_}; }

 private:
  void* data_ = nullptr;
  size_t size_ = 0;
};

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

// Puts `bytes` under `target` only if nothing is there. The bytes go to a new file under a
// hidden name beside the target, which gets the target's name when complete, so that no one
// ever sees the target half-written. The file is not synced: a ".FOT" is made again from its
// font whenever it is needed and lives only for the one call that reads it, and a sync would
// cost a disk write on every reading of a font's names.
uint32_t WriteNewFile(const std::string& target, std::string_view bytes) {
  static std::atomic<unsigned> counter{0};
  size_t slash = target.find_last_of('/');
  std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
  std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
  std::string temp;
  int raw = -1;
  for (int attempt = 0; raw < 0 && attempt < 100; ++attempt) {
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%d.%u.tmp", static_cast<int>(::getpid()),
                  counter.fetch_add(1));
    temp = folder + "." + name.substr(0, 200) + suffix;
    // The mode is filtered by the umask like that of any new file of the user.
    raw = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (raw < 0 && errno != EEXIST) return ErrorFor(errno, target);
  }
  if (raw < 0) return kWinAccessDenied;
  UniqueFd fd(raw);
  uint32_t error = WriteAll(fd.get(), bytes) ? 0 : ErrorFor(errno, target);
  if (fd.Close() != 0 && !error) error = ErrorFor(errno, target);
  if (!error &&
      ::renameat2(AT_FDCWD, temp.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) != 0) {
    // A file system that cannot rename without replacing: a link fails as well on a taken
    // name.
    int r = errno == EINVAL || errno == ENOSYS ? ::link(temp.c_str(), target.c_str()) : -1;
    if (r != 0) error = errno == EEXIST ? kWinFileExists : ErrorFor(errno, target);
    ::unlink(temp.c_str());
  } else if (error) {
    ::unlink(temp.c_str());
  }
  return error;
}

// Lookups by a String's text without a copy of it.
struct TextHash {
  using is_transparent = void;
  // Eight bytes at a time, multiplied and folded: several times quicker than the standard
  // library's hash over bytes, and spread enough for paths, which differ mostly near their end.
  size_t operator()(std::u16string_view text) const {
    const char* p = reinterpret_cast<const char*>(text.data());
    size_t n = text.size() * sizeof(char16_t);
    uint64_t h = 0x9E3779B97F4A7C15ull ^ n;
    for (; n >= 8; p += 8, n -= 8) {
      uint64_t w;
      std::memcpy(&w, p, 8);
      h = (h ^ w) * 0xFF51AFD7ED558CCDull;
      h ^= h >> 32;
    }
    uint64_t w = 0;
    std::memcpy(&w, p, n);
    h = (h ^ w) * 0xC4CEB9FE1A85EC53ull;
    return static_cast<size_t>(h ^ (h >> 29));
  }
};

// Equal texts, compared as memory (char16_t's character traits compare a unit at a time).
struct TextEqual {
  using is_transparent = void;
  bool operator()(std::u16string_view a, std::u16string_view b) const { return SameText(a, b); }
};

// The faces of the fonts read so far, by path, and the ".FOT" bytes last made of each:
// the font lists read every installed font's names on every lookup, and a font file is read and
// parsed once per change instead. An entry is trusted without a look at its file while the folder
// watch has seen nothing change since the entry was checked; a file that cannot be watched is
// checked by its identity, size and modification time on each use.
class FaceCache {
 public:
  struct Entry {
    std::vector<SfntFace> faces;  // every font of the file, the first of a collection first
    String description;           // the names of all of them, as the file is listed
    uint32_t error = 0;
    // The bytes last built of the face, and what they were built with, for a shown and a
    // hidden font (the lists' two readers ask for one each).
    struct Built {
      uint32_t hidden = 0;
      std::u16string font_file;
      CodePage code_page = CodePage::kWindows1252;
      std::string bytes;
      bool done = false;
    } built[2];
  };

  // Asks the watch what changed: a font whose bytes changed is read again; after any other
  // change no entry is trusted until its identity, size and time are checked again.
  void Look() {
    FolderWatch::Changes changes = watch_.TakeChanges();
    if (!changes.any) return;
    std::lock_guard<std::mutex> lock(mutex_);
    ++generation_;
    if (changes.all_files) {
      entries_.clear();
    } else if (!changes.files.empty()) {
      std::erase_if(entries_, [&](const auto& e) {
        return std::binary_search(changes.files.begin(), changes.files.end(), e.second.native);
      });
    }
  }

  // 0 and the entry of the font at `path` (as the caller writes it), or the error of opening or
  // reading it.
  //
  // With `bytes`, a trusted entry's ".FOT" bytes for `hidden` and `font_file` come with it, under
  // the same lock (see Bytes), and `*bytes_done` tells so.
  uint32_t Get(const String& path, std::shared_ptr<Entry>& out, uint32_t hidden = 0,
               const String* font_file = nullptr, std::string* bytes = nullptr,
               bool* bytes_done = nullptr) {
    uint64_t generation;
    const std::u16string_view key = path.view();
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = entries_.find(key);
      if (it != entries_.end() && it->second.trusted == generation_) {
        out = it->second.entry;
        if (bytes && !out->error) {
          BytesLocked(*out, hidden, *font_file, *bytes);
          *bytes_done = true;
        }
        return out->error;
      }
      generation = generation_;
    }
    const std::string native = NativePath(path);
    // The watch goes first: a change from here on is seen at the next look.
    bool watched = watch_.WatchFile(native);
    struct stat st;
    if (::stat(native.c_str(), &st) != 0) return ErrorFor(errno, native);
    Stamp stamp{st.st_dev, st.st_ino, st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
    const uint64_t trusted = watched ? generation : 0;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = entries_.find(key);
      if (it != entries_.end() && it->second.stamp == stamp) {
        it->second.trusted = trusted;
        out = it->second.entry;
        return out->error;
      }
    }
    auto entry = std::make_shared<Entry>();
    MappedFile font;
    // Errors of reading the file (rights, a folder in its place) may pass; only the answer
    // about its bytes is kept.
    if (uint32_t e = font.Open(native)) return e;
    entry->error = ReadSfntFaces(font.bytes(), entry->faces);
    if (!entry->error) entry->description = SfntListName(entry->faces);
    std::lock_guard<std::mutex> lock(mutex_);
    if (entries_.size() >= kLimit) entries_.clear();
    entries_.insert_or_assign(std::u16string(key), Slot{native, stamp, trusted, entry});
    out = std::move(entry);
    return out->error;
  }

  // The ".FOT" bytes of `entry`'s face, made anew only when what they are made with changed.
  void Bytes(Entry& entry, uint32_t hidden, const String& font_file, std::string& bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    BytesLocked(entry, hidden, font_file, bytes);
  }

 private:
  void BytesLocked(Entry& entry, uint32_t hidden, const String& font_file, std::string& bytes) {
    const CodePage code_page = AnsiCodePage();
    Entry::Built& b = entry.built[hidden != 0];
    if (!b.done || b.hidden != hidden || b.code_page != code_page ||
        !SameText(b.font_file, font_file.view())) {
      b.bytes = BuildFontResourceFile(entry.faces[0], hidden != 0, font_file, &entry.description);
      b.hidden = hidden;
      b.font_file = std::u16string(font_file.view());
      b.code_page = code_page;
      b.done = true;
    }
    bytes = b.bytes;
  }

  static constexpr size_t kLimit = 8192;
  struct Stamp {
    dev_t dev;
    ino_t ino;
    off_t size;
    time_t sec;
    long nsec;
    bool operator==(const Stamp&) const = default;
  };
  struct Slot {
    std::string native;  // the path the file was read and watched by
    Stamp stamp;
    uint64_t trusted;  // the generation in which the entry was last checked, 0 for none
    std::shared_ptr<Entry> entry;
  };
  std::mutex mutex_;
  uint64_t generation_ = 1;
  FolderWatch watch_;
  // By the caller's text of the path, so that a font read before is found without converting it.
  std::unordered_map<std::u16string, Slot, TextHash, TextEqual> entries_;
};

// Whether a new file could be made at `target`, which does not exist: 0, 3 when its folder is
// missing, 5 when the folder cannot be written.
uint32_t FolderError(const std::string& target) {
  size_t slash = target.find_last_of('/');
  std::string folder = slash == std::string::npos ? "." : target.substr(0, slash + 1);
  if (::access(folder.c_str(), W_OK | X_OK) == 0) return 0;
  return errno == ENOENT || errno == ENOTDIR ? kWinPathNotFound : kWinAccessDenied;
}

class RealFontResource : public FontResource {
 public:
  void BeginWalk() override {
    Walk& walk = walk_;
    if (walk.depth++ > 0) return;
    faces_.Look();
    walk.last = nullptr;
    // What earlier walks found of their targets holds while nothing on their way has changed.
    const uint64_t generation = TargetGeneration();
    // A bound on what a thread keeps: a walk over many folders of targets does not fill memory.
    if (walk.generation != generation || walk.targets.size() > 8192) {
      walk.targets.clear();
      walk.folders.clear();
      walk.generation = generation;
    }
  }
  void EndWalk() override {
    if (walk_.depth > 0 && --walk_.depth == 0) walk_.last = nullptr;
  }

  // The file a caller would only read back and delete is never made: the checks on the target
  // stand in for its writing. A disk that is full is not seen here, where the file would have
  // failed with 112; the names are what the file would have held.
  FontResourceResult ScalableFontResourceBytes(uint32_t hidden, const String& fot_path,
                                               const String& font_file, const String& directory,
                                               std::string& bytes, bool& written) override {
    written = false;
    Walk& walk = walk_;
    if (walk.depth == 0) faces_.Look();
    // The checks in the order in which the writing call meets them.
    if (fot_path.empty()) return {false, kWinPathNotFound};
    const TargetChecks checks = Checks(walk, fot_path);
    if (checks.exists) return {false, kWinFileExists};
    std::shared_ptr<FaceCache::Entry> face;
    bool done = false;
    const uint32_t e = directory.empty()
                           ? faces_.Get(font_file, face, hidden, &font_file, &bytes, &done)
                           : faces_.Get(FontFilePath(font_file, directory), face, hidden,
                                        &font_file, &bytes, &done);
    if (e) return {false, e};
    // Bytes made before this check are the caller's only when it passes.
    if (checks.folder_error) return {false, checks.folder_error};
    if (!done) faces_.Bytes(*face, hidden, font_file, bytes);
    return {true, 0};
  }

  FontResourceResult CreateScalableFontResource(uint32_t hidden, const String& fot_path,
                                                const String& font_file,
                                                const String& directory) override {
    std::string target = NativePath(fot_path);
    struct stat st;
    if (target.empty()) return {false, kWinPathNotFound};
    if (::lstat(target.c_str(), &st) == 0) return {false, kWinFileExists};
    MappedFile font;
    if (uint32_t e = font.Open(NativePath(FontFilePath(font_file, directory)))) return {false, e};
    std::vector<SfntFace> faces;
    if (uint32_t e = ReadSfntFaces(font.bytes(), faces)) return {false, e};
    const String description = SfntListName(faces);
    std::string bytes = BuildFontResourceFile(faces[0], hidden != 0, font_file, &description);
    if (uint32_t e = WriteNewFile(target, bytes)) return {false, e};
    return {true, 0};
  }

  uint32_t FaceCount(const String& font_path, uint32_t& count) override {
    if (walk_.depth == 0) faces_.Look();
    std::shared_ptr<FaceCache::Entry> entry;
    if (uint32_t e = faces_.Get(font_path, entry)) return e;
    count = static_cast<uint32_t>(entry->faces.size());
    return 0;
  }

  uint32_t FaceResourceBytes(const String& font_path, uint32_t face, std::string& bytes) override {
    if (walk_.depth == 0) faces_.Look();
    std::shared_ptr<FaceCache::Entry> entry;
    if (uint32_t e = faces_.Get(font_path, entry)) return e;
    if (face >= entry->faces.size()) return kWinInvalidData;
    bytes = BuildFontResourceFile(entry->faces[face], false, font_path);
    return 0;
  }

  uint32_t ReadFontResourceTarget(const String& fot_path, String& target) override {
    MappedFile file;
    if (uint32_t e = file.Open(NativePath(fot_path))) return e;
    std::optional<String> t = FontResourceTarget(file.bytes());
    if (!t) return kWinInvalidData;
    target = *t;
    return 0;
  }

 private:
  struct TargetChecks {
    bool exists = false;
    uint32_t folder_error = 0;
  };
  // A walk looks at each target and each folder once: it reads the fonts as things stood when
  // it began. A target found missing stays so for later walks on this thread while the watch has
  // seen nothing of that name, or of a folder on its way, come, go or change its rights; one
  // found there is looked at again, as the caller replaces it.
  struct Walk {
    int depth = 0;
    uint64_t generation = 0;  // of the target watch the entries hold for; 0 for this walk only
    std::unordered_map<std::u16string, TargetChecks, TextHash, TextEqual> targets;
    const std::pair<const std::u16string, TargetChecks>* last = nullptr;  // the last asked
    std::unordered_map<std::string, uint32_t> folders;                    // FolderError by folder
  };

  // The watch's count of changes; the watches set under an older one may be gone.
  uint64_t TargetGeneration() {
    std::lock_guard<std::mutex> lock(targets_mutex_);
    if (targets_watch_.Changed()) ++targets_generation_;
    return targets_generation_;
  }

  TargetChecks Checks(Walk& walk, const String& fot_path) {
    if (walk.depth > 0) {
      // Most walks ask for one target again and again.
      if (walk.last && SameText(walk.last->first, fot_path.view())) return walk.last->second;
      auto it = walk.targets.find(fot_path.view());
      if (it != walk.targets.end()) {
        walk.last = &*it;
        return it->second;
      }
    }
    const std::string target = NativePath(fot_path);
    size_t slash = target.find_last_of('/');
    std::string folder = slash == std::string::npos ? std::string() : target.substr(0, slash);
    const uint32_t* folder_error = nullptr;
    if (walk.depth > 0) {
      // Watched before it is looked at, so that a change from then on is seen; the watch tells
      // of this name and its way alone, not of the other files of a busy temporary folder.
      if (!targets_watch_.WatchFile(target)) walk.generation = 0;
      auto f = walk.folders.find(folder);
      if (f == walk.folders.end()) f = walk.folders.emplace(folder, FolderError(target)).first;
      folder_error = &f->second;
    }
    struct stat st;
    TargetChecks c;
    c.exists = ::lstat(target.c_str(), &st) == 0;
    if (c.exists) return c;
    c.folder_error = folder_error ? *folder_error : FolderError(target);
    if (walk.depth > 0)
      walk.last = &*walk.targets.emplace(std::u16string(fot_path.view()), c).first;
    return c;
  }

  std::mutex targets_mutex_;
  uint64_t targets_generation_ = 1;
  FolderWatch targets_watch_;
  FaceCache faces_;
  static thread_local Walk walk_;
};

thread_local RealFontResource::Walk RealFontResource::walk_;

}  // namespace

FontResourceResult FontResource::ScalableFontResourceBytes(uint32_t hidden, const String& fot_path,
                                                           const String& font_file,
                                                           const String& directory,
                                                           std::string& bytes, bool& written) {
  written = false;
  FontResourceResult r = CreateScalableFontResource(hidden, fot_path, font_file, directory);
  if (!r.ok) return r;
  written = true;
  if (int32_t e = Files().ReadFile(fot_path, bytes)) return {false, FromFileError(e)};
  return r;
}

FontResource& FontResource::Real() {
  static RealFontResource real;
  return real;
}

String UniqueFontResourcePath(const String& fot) {
  static std::atomic<uint64_t> count{0};
  std::u16string_view v = fot.view();
  const size_t dot = v.rfind(u'.');
  const size_t slash = v.find_last_of(u"\\/");
  const bool has_extension =
      dot != std::u16string_view::npos && (slash == std::u16string_view::npos || dot > slash);
  const std::string mark = "." + std::to_string(::getpid()) + "-" +
                           std::to_string(count.fetch_add(1, std::memory_order_relaxed) + 1);
  if (!has_extension) return fot + String(mark.c_str());
  return String(v.substr(0, dot)) + String(mark.c_str()) + String(v.substr(dot));
}

String FontFilePath(const String& font_file, const String& directory) {
  if (directory.empty()) return font_file;
  char16_t last = directory.view().back();
  return last == u'\\' || last == u'/' ? directory + font_file : directory + "\\" + font_file;
}

}  // namespace borvane::platform
