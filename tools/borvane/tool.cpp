// The tool's shared helpers: reading files and standard input, paths, printing.
#include <sys/stat.h>
#include <unistd.h>

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

std::string ReadBytes(const std::string& path) {
  if (path == "-") {
    std::ostringstream ss;
    ss << std::cin.rdbuf();
    return ss.str();
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
  std::fputs(text.ToUtf8().c_str(), stdout);
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
