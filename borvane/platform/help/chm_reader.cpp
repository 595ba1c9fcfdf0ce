#include "borvane/platform/help/chm_reader.h"

#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "borvane/platform/help/chm_archive.h"
#include "borvane/platform/help/help_fulltext.h"
#include "borvane/platform/help/help_search.h"

// The sanitizers reserve far more address space than any limit a reader could be given.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define BORVANE_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define BORVANE_SANITIZED 1
#endif
#endif
#ifndef BORVANE_SANITIZED
#define BORVANE_SANITIZED 0
#endif

namespace borvane::platform {

namespace {

int64_t NowMs() {
  timespec ts;
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return int64_t{ts.tv_sec} * 1000 + ts.tv_nsec / 1'000'000;
}

bool WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
    if (n < 0 && errno == ENOTSOCK) n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
  return true;
}

// Reads into `out` until it holds `want` bytes, giving up at `deadline` (monotonic ms).
bool ReadUntil(int fd, std::string& out, size_t want, int64_t deadline) {
  char buffer[65536];
  while (out.size() < want) {
    int64_t left = deadline - NowMs();
    if (left <= 0) return false;
    pollfd p{fd, POLLIN, 0};
    int r = ::poll(&p, 1, static_cast<int>(std::min<int64_t>(left, 1 << 30)));
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    ssize_t n = ::read(fd, buffer, std::min(sizeof buffer, want - out.size()));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    out.append(buffer, static_cast<size_t>(n));
  }
  return true;
}

ReadStatus StatusOf(const std::string& head) {
  if (head == "ok") return ReadStatus::kOk;
  if (head == "missing") return ReadStatus::kMissing;
  if (head == "toolarge") return ReadStatus::kTooLarge;
  return ReadStatus::kDamaged;
}

const char* StatusWord(ReadStatus s) {
  switch (s) {
    case ReadStatus::kOk:
      return "ok";
    case ReadStatus::kMissing:
      return "missing";
    case ReadStatus::kTooLarge:
      return "toolarge";
    case ReadStatus::kDamaged:
      break;
  }
  return "damaged";
}

// The reader's answer: a head line "<status> <length>" and that many bytes.
bool Answer(ReadStatus status, const std::string& bytes) {
  std::string head = std::string(StatusWord(status)) + " " + std::to_string(bytes.size()) + "\n";
  return WriteAll(1, head.data(), head.size()) && WriteAll(1, bytes.data(), bytes.size());
}

ReadStatus FromArchive(ChmArchive::Result r) {
  switch (r) {
    case ChmArchive::Result::kOk:
      return ReadStatus::kOk;
    case ChmArchive::Result::kMissing:
      return ReadStatus::kMissing;
    case ChmArchive::Result::kTooLarge:
      return ReadStatus::kTooLarge;
    case ChmArchive::Result::kDamaged:
      break;
  }
  return ReadStatus::kDamaged;
}

}  // namespace

namespace {

pid_t g_parent = 0;

void WatchParent(int) {
  if (::getppid() != g_parent) ::_exit(3);
}

}  // namespace

int RunChmReader(const std::string& chm, uint64_t bound) {
  // The reader ends with the process that started it, also while chmlib is busy: a timer
  // looks at the parent every half second.
  g_parent = ::getppid();
  struct sigaction action {};
  action.sa_handler = WatchParent;
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGALRM, &action, nullptr);
  const itimerval every{{0, 500'000}, {0, 500'000}};
  ::setitimer(ITIMER_REAL, &every, nullptr);
  std::string why;
  std::unique_ptr<ChmArchive> archive = ChmArchive::Open(chm, &why);
  if (!archive) return Answer(ReadStatus::kMissing, why) ? 0 : 1;
  if (!Answer(ReadStatus::kOk, std::string())) return 1;
  std::string line, bytes;
  for (;;) {
    line.clear();
    char c;
    for (;;) {
      ssize_t n = ::read(0, &c, 1);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return 0;
      if (c == '\n') break;
      line += c;
    }
    if (line.rfind("R ", 0) == 0) {
      // Passed on as read, so that the reader never holds a whole large file: once the head
      // is out, a file that ends early can only end the reader (its parent sees the answer
      // cut, and counts the file as damaged).
      bool started = false, sent = true;
      ReadStatus s = FromArchive(archive->ReadInPieces(
          line.substr(2), bound,
          [&](uint64_t n) {
            std::string head = "ok " + std::to_string(n) + "\n";
            started = true;
            sent = WriteAll(1, head.data(), head.size());
          },
          [&](std::string_view piece) { sent = sent && WriteAll(1, piece.data(), piece.size()); }));
      if (!sent || (started && s != ReadStatus::kOk)) return 1;
      if (!started && !Answer(s, std::string())) return 1;
      ::malloc_trim(0);
    } else if (line.rfind("E ", 0) == 0) {
      if (!Answer(archive->Exists(line.substr(2)) ? ReadStatus::kOk : ReadStatus::kMissing,
                  std::string()))
        return 1;
    } else if (line == "F") {
      bytes = SearchIndexFromFulltext(*archive, bound);
      if (!Answer(bytes.empty() ? ReadStatus::kMissing : ReadStatus::kOk, bytes)) return 1;
      std::string().swap(bytes);
      ::malloc_trim(0);
    } else if (line == "S") {
      bytes = MakeSearchIndex(*archive, bound);
      if (!Answer(bytes.empty() ? ReadStatus::kTooLarge : ReadStatus::kOk, bytes)) return 1;
      std::string().swap(bytes);
      ::malloc_trim(0);
    } else {
      return 2;
    }
  }
}

ChmReader::~ChmReader() {
  Kill();
}

void ChmReader::Kill() {
  if (to_ >= 0) ::close(to_);
  if (from_ >= 0 && from_ != to_) ::close(from_);
  to_ = from_ = -1;
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  pid_ = -1;
}

std::unique_ptr<ChmReader> ChmReader::Start(const std::vector<std::string>& argv_prefix,
                                            const std::string& chm, const ReaderLimits& limits,
                                            std::string* why) {
  auto fail = [&](const std::string& text) -> std::unique_ptr<ChmReader> {
    if (why) *why = text;
    return nullptr;
  };
  struct stat st;
  if (::stat(chm.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return fail("no such file");
  const uint64_t bound =
      std::max<uint64_t>(limits.floor, static_cast<uint64_t>(st.st_size) * limits.expansion);
  int fds[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0)
    return fail("cannot start a reader");
  std::vector<std::string> args = argv_prefix;
  args.insert(args.end(), {"--reader", chm, std::to_string(bound)});
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  const pid_t parent = ::getpid();
  pid_t pid = ::fork();
  if (pid < 0) {
    ::close(fds[0]);
    ::close(fds[1]);
    return fail("cannot start a reader");
  }
  if (pid == 0) {
    // In a group of its own, so that a signal meant for a terminal's foreground does not reach
    // it. (It watches for the end of its parent itself: the kernel's parent-death signal
    // follows the thread that forked, and the server forks on threads that come and go.)
    if (::getppid() != parent) ::_exit(127);
    ::setpgid(0, 0);
#if !BORVANE_SANITIZED
    // Memory too: chmlib allocates what a file's headers ask for. (Sanitizer builds go
    // without the limit.)
    const rlim_t memory = static_cast<rlim_t>(bound) + (rlim_t{2} << 30);
    const rlimit limit{memory, memory};
    ::setrlimit(RLIMIT_AS, &limit);
#endif
    ::dup2(fds[1], 0);
    ::dup2(fds[1], 1);
    int null = ::open("/dev/null", O_WRONLY);
    if (null >= 0) ::dup2(null, 2);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(fds[1]);
  std::unique_ptr<ChmReader> reader(new ChmReader(pid, fds[0], fds[0], bound, limits));
  std::string head, bytes;
  if (!reader->ReadAnswer(head, bytes, limits.open_ms)) return fail("damaged");
  if (head != "ok") return fail(bytes.empty() ? "not a compiled help file" : bytes);
  return reader;
}

bool ChmReader::ReadHead(std::string& head, uint64_t& length, int64_t deadline) {
  std::string line;
  while (line.empty() || line.back() != '\n') {
    if (line.size() > 64 || !ReadUntil(from_, line, line.size() + 1, deadline)) {
      Kill();
      return false;
    }
  }
  size_t space = line.find(' ');
  char* end = nullptr;
  length = space == std::string::npos ? 0 : std::strtoull(line.c_str() + space + 1, &end, 10);
  if (space == std::string::npos || !end || *end != '\n' || length > bound_) {
    Kill();
    return false;
  }
  head = line.substr(0, space);
  return true;
}

bool ChmReader::ReadAnswer(std::string& head, std::string& bytes, int timeout_ms) {
  head.clear();
  bytes.clear();
  const int64_t deadline = NowMs() + timeout_ms;
  uint64_t length = 0;
  if (!ReadHead(head, length, deadline)) return false;
  // Made to size once (the length is within the bound): a growing string would hold up to
  // twice a large file for a moment.
  bytes.reserve(static_cast<size_t>(length));
  if (!ReadUntil(from_, bytes, length, deadline)) {
    Kill();
    return false;
  }
  return true;
}

ReadStatus ChmReader::Request(const std::string& line, std::string& bytes, int timeout_ms) {
  bytes.clear();
  if (damaged()) return ReadStatus::kDamaged;
  std::string text = line + "\n";
  std::string head;
  if (!WriteAll(to_, text.data(), text.size()) || !ReadAnswer(head, bytes, timeout_ms)) {
    Kill();
    return ReadStatus::kDamaged;
  }
  return StatusOf(head);
}

ReadStatus ChmReader::ReadInPieces(const std::string& name,
                                   const std::function<void(std::string_view)>& piece) {
  if (name.empty() || name.find_first_of("\n\r") != std::string::npos) return ReadStatus::kMissing;
  if (damaged()) return ReadStatus::kDamaged;
  const std::string text = "R " + name + "\n";
  const int64_t deadline = NowMs() + limits_.request_ms;
  std::string head, bytes;
  uint64_t length = 0;
  if (!WriteAll(to_, text.data(), text.size()) || !ReadHead(head, length, deadline)) {
    Kill();
    return ReadStatus::kDamaged;
  }
  for (uint64_t left = length; left > 0;) {
    bytes.clear();
    if (!ReadUntil(from_, bytes, static_cast<size_t>(std::min<uint64_t>(left, 65536)), deadline)) {
      Kill();
      return ReadStatus::kDamaged;
    }
    left -= bytes.size();
    piece(bytes);
  }
  return StatusOf(head);
}

ReadStatus ChmReader::Read(const std::string& name, std::string& bytes) {
  if (name.empty() || name.find_first_of("\n\r") != std::string::npos) return ReadStatus::kMissing;
  return Request("R " + name, bytes, limits_.request_ms);
}

bool ChmReader::Exists(const std::string& name) {
  if (name.empty() || name.find_first_of("\n\r") != std::string::npos) return false;
  std::string bytes;
  return Request("E " + name, bytes, limits_.request_ms) == ReadStatus::kOk;
}

ReadStatus ChmReader::BuildSearchIndex(std::string& bytes) {
  return Request("S", bytes, limits_.pass_ms);
}

ReadStatus ChmReader::BuildFulltextIndex(std::string& bytes) {
  return Request("F", bytes, limits_.pass_ms);
}

}  // namespace borvane::platform
