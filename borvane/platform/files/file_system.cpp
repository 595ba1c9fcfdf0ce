#include "borvane/platform/files/file_system.h"
#include "borvane/platform/base/unique_fd.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

#include "borvane/automation/error.h"

namespace borvane::platform {

std::string NativePath(const String& path) {
  std::string out = path.ToUtf8();
  for (char& c : out)
    if (c == '\\') c = '/';
  return out;
}

String BackslashPath(const std::string& native) {
  std::string p = native;
  for (char& c : p)
    if (c == '/') c = '\\';
  return String::FromUtf8(p);
}

bool IsHiddenName(const std::string& path) {
  size_t slash = path.find_last_of('/');
  std::string_view name = std::string_view(path).substr(slash == std::string::npos ? 0 : slash + 1);
  return !name.empty() && name[0] == '.';
}

namespace {

int32_t FromErrno(int e) {
  switch (e) {
    case ENOENT:
      return kErrFileNotFound;
    case ENOTDIR:
      return kErrPathNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
      return kErrPermissionDenied;
    case ENOSPC:
    case EDQUOT:
      return 61;  // Disk full
    case EISDIR:
    case EBUSY:
    case ETXTBSY:
      return kErrPathFileAccess;
    case ENAMETOOLONG:
      return kErrBadFileName;
    default:
      return kErrDeviceIO;
  }
}

// The process's umask, read from /proc so that it is never changed, not even for a moment in
// which another thread could make a file; 022 where /proc does not say.
mode_t CurrentUmask() {
  static const mode_t mask = [] {
    mode_t m = 022;
    if (FILE* f = std::fopen("/proc/self/status", "re")) {
      char line[256];
      unsigned value = 0;
      while (std::fgets(line, sizeof line, f))
        if (std::sscanf(line, "Umask: %o", &value) == 1) m = static_cast<mode_t>(value);
      std::fclose(f);
    }
    return m;
  }();
  return mask;
}

// A missing file names "file not found"; a missing folder on the way "path not found".
int32_t MissingError(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos || slash == 0) return kErrFileNotFound;
  struct stat st;
  std::string folder = path.substr(0, slash);
  if (::stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return kErrPathNotFound;
  return kErrFileNotFound;
}

int32_t ErrorFor(int e, const std::string& path) {
  return e == ENOENT ? MissingError(path) : FromErrno(e);
}

int32_t ReadAll(const std::string& path, std::string& bytes) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return ErrorFor(errno, path);
  struct stat st;
  if (::fstat(fd.get(), &st) != 0) return FromErrno(errno);
  if (S_ISDIR(st.st_mode)) return kErrPathFileAccess;
  bytes.clear();
  if (st.st_size > 0) bytes.reserve(static_cast<size_t>(st.st_size));
  char chunk[1 << 16];
  for (;;) {
    ssize_t n = ::read(fd.get(), chunk, sizeof chunk);
    if (n < 0) {
      if (errno == EINTR) continue;
      return FromErrno(errno);
    }
    if (n == 0) break;
    bytes.append(chunk, static_cast<size_t>(n));
  }
  return 0;
}

int32_t WriteFd(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return FromErrno(errno);
    }
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return 0;
}

void SyncFolder(const std::string& folder) {
  UniqueFd fd(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.get() >= 0) ::fsync(fd.get());
}

}  // namespace

namespace {

// Writes `bytes` to a new file in `folder` that has no name until it is complete: the file is
// written and synced unnamed (O_TMPFILE), then given `name`, a name that must not be taken, so
// that a process killed at any moment leaves either no file of that name or a whole one, and no
// partial file beside it. Returns 0, the error, or -1 where the file system cannot make unnamed
// files (the caller then writes a named temporary file).
int32_t LinkNewFile(const std::string& folder, const std::string& name, std::string_view bytes,
                    mode_t mode, const timespec* times) {
  UniqueFd fd(
      ::open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode));
  if (fd.get() < 0)
    return errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL
               ? -1
               : ErrorFor(errno, folder + name);
  if (::fchmod(fd.get(), mode) != 0) return FromErrno(errno);
  if (int32_t e = WriteFd(fd.get(), bytes)) return e;
  if (times && ::futimens(fd.get(), times) != 0) return FromErrno(errno);
  if (::fsync(fd.get()) != 0) return FromErrno(errno);
  // The unnamed file is named through its descriptor's entry in /proc, which needs no privilege.
  const std::string proc = "/proc/self/fd/" + std::to_string(fd.get());
  if (::linkat(AT_FDCWD, proc.c_str(), AT_FDCWD, (folder + name).c_str(), AT_SYMLINK_FOLLOW) != 0)
    return errno == ENOENT ? -1 : ErrorFor(errno, folder + name);
  return 0;
}

}  // namespace

int32_t ReplaceFileContent(const std::string& path, std::string_view bytes) {
  return ReplaceFileContent(path, bytes, nullptr);
}

int32_t ReplaceFileContent(const std::string& path, std::string_view bytes, const timespec* times) {
  // A link is followed, so that the file it names gets the new content, not the link.
  std::string target = path;
  struct stat st;
  bool exists = ::lstat(path.c_str(), &st) == 0;
  if (exists && S_ISLNK(st.st_mode)) {
    if (char* real = ::realpath(path.c_str(), nullptr)) {
      target = real;
      std::free(real);
    }
    exists = ::stat(target.c_str(), &st) == 0;
  }
  if (exists && S_ISDIR(st.st_mode)) return kErrPathFileAccess;
  // A file without write permission is read-only, as on Windows: it is not replaced.
  if (exists && (st.st_mode & 0222) == 0) return kErrPermissionDenied;
  size_t slash = target.find_last_of('/');
  std::string folder = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
  const std::string name = target.substr(slash == std::string::npos ? 0 : slash + 1);
  // The new file keeps the old one's permissions; a new file gets the usual ones.
  mode_t mode = exists ? (st.st_mode & 07777) : (0666 & ~CurrentUmask());
  // A new file is written unnamed and then named: nothing partial is ever seen or left behind.
  if (!exists) {
    int32_t e = LinkNewFile(folder, name, bytes, mode, times);
    if (e == 0) {
      SyncFolder(folder);
      return 0;
    }
    // Taken meanwhile, or no unnamed files here: the named temporary file below.
    if (e > 0 && ::lstat(target.c_str(), &st) != 0) return e;
  }
  std::string temp_name = folder + "." + name + ".XXXXXX";
  std::vector<char> temp(temp_name.begin(), temp_name.end());
  temp.push_back('\0');
  UniqueFd fd(::mkostemp(temp.data(), O_CLOEXEC));
  // A folder that refuses new files refuses the replacement too: writing in place instead
  // would lose the file to a crash in the middle.
  if (fd.get() < 0) return ErrorFor(errno, target);
  auto fail = [&](int32_t error) {
    ::unlink(temp.data());
    return error;
  };
  if (::fchmod(fd.get(), mode) != 0 && exists) return fail(FromErrno(errno));
  if (int32_t e = WriteFd(fd.get(), bytes)) return fail(e);
  if (times && ::futimens(fd.get(), times) != 0) return fail(FromErrno(errno));
  if (::fsync(fd.get()) != 0) return fail(FromErrno(errno));
  if (fd.Close() != 0) return fail(FromErrno(errno));
  if (::rename(temp.data(), target.c_str()) != 0) return fail(ErrorFor(errno, target));
  SyncFolder(folder);
  return 0;
}

int32_t OrderMatches(const String& pattern, std::vector<String>& found,
                     std::vector<String>& names) {
  std::sort(found.begin(), found.end(),
            [](const String& a, const String& b) { return a.view() < b.view(); });
  for (const String& name : found)
    if (name == pattern) names.push_back(name);
  for (const String& name : found)
    if (!(name == pattern) && MatchesWildcard(name.view(), pattern.view())) names.push_back(name);
  return names.empty() ? 2 : 0;
}

namespace {

class RealFileSystem : public FileSystem {
 public:
  String TempFolder() override {
    const char* dir = std::getenv("TMPDIR");
    std::string folder = (dir && *dir) ? dir : "/tmp";
    if (folder.back() != '/') folder += '/';
    return String::FromUtf8(folder);
  }

  String CreateTempFile(const String& folder, const String& prefix) override {
    std::string name = NativePath(folder);
    if (!name.empty() && name.back() != '/') name += '/';
    name += NativePath(prefix) + "XXXXXX.tmp";
    std::vector<char> buffer(name.begin(), name.end());
    buffer.push_back('\0');
    int fd = ::mkstemps(buffer.data(), 4);
    if (fd < 0) return String();
    ::close(fd);
    return String::FromUtf8(buffer.data());
  }

  bool IsNormalFile(const String& path) override {
    std::string p = NativePath(path);
    struct stat st;
    return ::stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode) && !IsHiddenName(p);
  }

  int32_t CopyFile(const String& from, const String& to) override {
    std::string bytes;
    const std::string source = NativePath(from);
    if (int32_t e = ReadAll(source, bytes)) return e;
    // The copy keeps the source's time of last change, as the platform's file copy does.
    struct stat st;
    if (::stat(source.c_str(), &st) != 0) return ErrorFor(errno, source);
    const timespec times[2] = {{0, UTIME_OMIT}, st.st_mtim};
    return ReplaceFileContent(NativePath(to), bytes, times);
  }

  int32_t DeleteFile(const String& path) override {
    std::string p = NativePath(path);
    struct stat st;
    if (::lstat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return kErrFileNotFound;
    if (::unlink(p.c_str()) != 0) return ErrorFor(errno, p);
    return 0;
  }

  int32_t ReadFile(const String& path, std::string& bytes) override {
    return ReadAll(NativePath(path), bytes);
  }

  int32_t WriteFile(const String& path, std::string_view bytes) override {
    return ReplaceFileContent(NativePath(path), bytes);
  }

  int32_t FindFiles(const String& pattern, std::vector<String>& names) override {
    names.clear();
    std::string p = NativePath(pattern);
    size_t slash = p.find_last_of('/');
    std::string folder = slash == std::string::npos ? "." : p.substr(0, slash + 1);
    DIR* dir = ::opendir(folder.c_str());
    if (!dir) return errno == ENOENT || errno == ENOTDIR ? 3 : 5;
    std::vector<String> found;
    while (dirent* e = ::readdir(dir)) {
      std::string name = e->d_name;
      if (name == "." || name == "..") continue;
      found.push_back(String::FromUtf8(name));
    }
    ::closedir(dir);
    return OrderMatches(String::FromUtf8(p.substr(slash == std::string::npos ? 0 : slash + 1)),
                        found, names);
  }

  int32_t ModifiedTime(const String& path, int64_t& seconds) override {
    struct stat st;
    std::string p = NativePath(path);
    if (::stat(p.c_str(), &st) != 0) return errno == ENOENT ? MissingLastError(p) : 5;
    seconds = st.st_mtim.tv_sec;
    return 0;
  }

  int32_t RenameFile(const String& from, const String& to) override {
    std::string f = NativePath(from), t = NativePath(to);
    struct stat st;
    if (::lstat(f.c_str(), &st) != 0) return MissingLastError(f);
    // rename() replaces a file silently; the platform's rename refuses.
    if (::lstat(t.c_str(), &st) == 0) return 80;
    if (::rename(f.c_str(), t.c_str()) != 0) return errno == ENOENT ? MissingLastError(t) : 5;
    return 0;
  }

  int32_t CreateNewFile(const String& path) override {
    std::string p = NativePath(path);
    int fd = ::open(p.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) return errno == EEXIST ? 80 : errno == ENOENT ? 3 : 5;
    ::close(fd);
    return 0;
  }

 private:
  // 2 when the folder is there and the file is not, else 3.
  static int32_t MissingLastError(const std::string& path) {
    return MissingError(path) == kErrFileNotFound ? 2 : 3;
  }
};

}  // namespace

bool MatchesWildcard(std::u16string_view name, std::u16string_view pattern) {
  auto fold = [](char16_t c) -> char16_t { return c >= u'a' && c <= u'z' ? c - 32 : c; };
  // "*.*" is every name, with or without a dot, as on Windows.
  if (pattern == u"*.*") return true;
  size_t n = 0, p = 0, star = std::u16string_view::npos, resume = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == u'?' || fold(pattern[p]) == fold(name[n]))) {
      ++n, ++p;
    } else if (p < pattern.size() && pattern[p] == u'*') {
      star = p++;
      resume = n;
    } else if (star != std::u16string_view::npos) {
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

std::string ReadNativeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

String FindFirstFile(const String& path) {
  std::vector<String> names;
  if (Files().FindFiles(path, names) != 0 || names.empty()) return String();
  return names.front();
}

FileSystem& FileSystem::Real() {
  static RealFileSystem real;
  return real;
}

}  // namespace borvane::platform
