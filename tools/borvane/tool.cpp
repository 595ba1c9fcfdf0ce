// The tool's shared helpers: reading files and standard input, paths, printing.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "borvane/platform/files/file_system.h"
#include "tools/borvane/tool.h"

namespace borvane::tool {

namespace {

// Copies of standard input made by PathFor, removed by RemoveTemporaryFiles.
std::vector<std::string> g_temp_files;

}  // namespace

String ReadTextFile(const std::string& path, platform::TextEncoding* encoding) {
  return platform::DecodeText(ReadBytes(path), encoding);
}

namespace {

// The most the tool reads of one input: a text of the library holds at most 2^30 characters,
// so a larger file can be no document or INI file it could take, and is refused before it is
// read whole.
constexpr uint64_t kMaxInput = uint64_t{1} << 30;

[[noreturn]] void TooLarge(const std::string& path) {
  throw ToolError{(path == "-" ? std::string("standard input") : path) +
                  ": file too large (the library's texts hold at most 2^30 characters)"};
}

// All of `fd` up to the limit: a stream has no size to look at first.
std::string ReadStream(int fd, const std::string& path) {
  std::string bytes;
  char buffer[1 << 16];
  for (;;) {
    ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0)
      throw Error(kErrDeviceIO, String::FromUtf8(path), Error::StandardDescription(kErrDeviceIO));
    if (n == 0) return bytes;
    if (bytes.size() + static_cast<size_t>(n) > kMaxInput) TooLarge(path);
    bytes.append(buffer, static_cast<size_t>(n));
  }
}

}  // namespace

std::string ReadBytes(const std::string& path) {
  if (path == "-") return ReadStream(0, path);
  struct stat st;
  if (::stat(path.c_str(), &st) == 0) {
    // A device is no file to read text from: /dev/zero would never end.
    if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode) || S_ISSOCK(st.st_mode))
      throw ToolError{path + ": a device, not a file"};
    if (S_ISREG(st.st_mode) && static_cast<uint64_t>(st.st_size) > kMaxInput) TooLarge(path);
    if (S_ISFIFO(st.st_mode)) {
      int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
      if (fd >= 0) {
        std::string bytes;
        try {
          bytes = ReadStream(fd, path);
        } catch (...) {
          ::close(fd);
          throw;
        }
        ::close(fd);
        return bytes;
      }
    }
  }
  std::string bytes;
  if (int32_t e = platform::Files().ReadFile(String::FromUtf8(path), bytes)) {
    throw Error(e, String::FromUtf8(path), Error::StandardDescription(e));
  }
  return bytes;
}

std::string PathFor(const std::string& path) {
  if (path != "-") {
    // The library reads a folder as no file at all; the tool says what it is.
    struct stat st;
    if (::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
      throw Error(kErrPathFileAccess, String::FromUtf8(path),
                  Error::StandardDescription(kErrPathFileAccess));
    }
    return path;
  }
  std::string bytes = ReadBytes(path);
  const char* dir = std::getenv("TMPDIR");
  std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/borvane-stdin-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  int fd = ::mkstemp(name.data());
  if (fd < 0) throw Error(kErrBadFileName, "borvane", "Cannot create a temporary file");
  ssize_t written = ::write(fd, bytes.data(), bytes.size());
  ::close(fd);
  if (written != static_cast<ssize_t>(bytes.size()))
    throw Error(kErrDeviceIO, "borvane", "Cannot write a temporary file");
  g_temp_files.push_back(name.data());
  return name.data();
}

void Print(const String& text) {
  // Written whole: a NUL inside a value is part of it.
  const std::string bytes = text.ToUtf8();
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}
void TextPrinter::Put(std::u16string_view piece) {
  std::u16string joined;
  if (!pending_.empty()) {
    joined = pending_ + std::u16string(piece);
    piece = joined;
    pending_.clear();
  }
  if (!piece.empty() && piece.back() >= 0xD800 && piece.back() < 0xDC00) {
    pending_ = piece.back();
    piece.remove_suffix(1);
  }
  Out(piece);
}

void TextPrinter::Out(std::u16string_view text) {
  // The mark goes out once, in front of the first piece.
  const std::string bytes = platform::EncodeText(String(text), encoding_);
  encoding_.bom = false;
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

TextPrinter::~TextPrinter() {
  if (!pending_.empty()) Out(pending_);
}

void PrintLine(const String& text) {
  Print(text);
  std::fputc('\n', stdout);
}

bool WantsHelp(const Args& args) {
  for (const std::string& a : args)
    if (a == "--help" || a == "-h") return true;
  return false;
}

String LibraryPath(const std::string& path) {
  std::string p = path;
  for (char& c : p)
    if (c == '/') c = '\\';
  return String::FromUtf8(p);
}

void RemoveTemporaryFiles() {
  for (const std::string& f : g_temp_files) std::remove(f.c_str());
  g_temp_files.clear();
}

}  // namespace borvane::tool
