#include "borvane/platform/folder_watch.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>

namespace borvane::platform {

namespace {

// Entries of a folder that come, go, are renamed or change their rights (a rename of the folder
// itself is an entry of the folder above it).
constexpr uint32_t kEntries =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;
// The bytes or rights of a file.
constexpr uint32_t kContent = IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_DELETE_SELF;

// File systems whose files other machines may change without a word to this one.
bool IsRemote(const std::string& path) {
  struct statfs fs;
  if (::statfs(path.c_str(), &fs) != 0) return false;
  switch (static_cast<uint64_t>(fs.f_type)) {
    case 0x6969:      // NFS
    case 0x517B:      // SMB
    case 0xFF534D42:  // CIFS
    case 0xFE534D42:  // SMB2
    case 0x65735546:  // FUSE
    case 0x01021997:  // 9P
    case 0x00C36400:  // Ceph
    case 0x5346414F:  // AFS
      return true;
    default:
      return false;
  }
}

std::string Parent(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return std::string();
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

// The OneLook scope of this thread (0 for none), numbered across the process.
std::atomic<uint64_t> next_scope{1};
thread_local uint64_t scope = 0;
thread_local int scope_depth = 0;

}  // namespace

FolderWatch::OneLook::OneLook() {
  if (scope_depth++ == 0) scope = next_scope.fetch_add(1, std::memory_order_relaxed);
}

FolderWatch::OneLook::~OneLook() {
  if (--scope_depth == 0) scope = 0;
}

FolderWatch::~FolderWatch() {
  if (fd_ >= 0) ::close(fd_);
}

int FolderWatch::Add(const std::string& path, uint32_t mask) {
  if (fd_ < 0 && !failed_) {
    fd_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    failed_ = fd_ < 0;
  }
  if (fd_ < 0) return -1;
  std::string key = std::to_string(mask) + ":" + path;
  // Adding again is harmless and gives the same descriptor; only the known ones are skipped.
  if (mask != kContent && watched_.count(key)) return 0;
  int wd = ::inotify_add_watch(fd_, path.c_str(), mask | IN_MASK_ADD);
  if (wd >= 0) watched_.insert(std::move(key));
  return wd;
}

// The folder and every folder above it, for their entries; a missing folder through the nearest
// one above it that exists.
bool FolderWatch::AddFolderChain(const std::string& folder) {
  bool all = true;
  bool missing = true;
  for (std::string f = folder; !f.empty(); f = f == "/" ? std::string() : Parent(f)) {
    if (Add(f, kEntries) >= 0) {
      missing = false;
    } else if (!missing || (errno != ENOENT && errno != ENOTDIR)) {
      all = false;
    }
  }
  return all && !missing;
}

bool FolderWatch::WatchFile(const std::string& path) {
  if (path.empty() || path[0] != '/') return false;
  std::lock_guard<std::mutex> lock(mutex_);
  bool all = true;
  std::string hop = path;
  // Each link on the way names the next file; a folder's links are followed by the watch
  // itself, and their own entries are in the folders above, which are watched.
  for (int hops = 0; hops < 40; ++hops) {
    std::string folder = Parent(hop);
    all &= AddFolderChain(folder);
    char target[PATH_MAX];
    ssize_t n = ::readlink(hop.c_str(), target, sizeof target - 1);
    if (n < 0) break;
    std::string next(target, static_cast<size_t>(n));
    if (next.empty() || next[0] != '/') {
      // A relative link counts from the real folder that holds it.
      char real[PATH_MAX];
      if (!::realpath(folder.c_str(), real)) return false;
      all &= AddFolderChain(real);
      next = std::string(real) + (std::string(real) == "/" ? "" : "/") + next;
    }
    hop = next;
  }
  struct stat st;
  if (::stat(path.c_str(), &st) == 0) {
    // The file itself, so that a write through another name of it is seen too.
    std::string key = std::to_string(kContent) + ":" + path;
    if (!watched_.count(key)) {
      int wd = Add(path, kContent);
      if (wd >= 0) files_.emplace(wd, path);
      all &= wd >= 0;
    }
    all &= !IsRemote(path);
  }
  return all;
}

bool FolderWatch::WatchFolder(const std::string& folder) {
  if (folder.empty() || folder[0] != '/') return false;
  std::lock_guard<std::mutex> lock(mutex_);
  if (IsRemote(folder)) return false;
  return AddFolderChain(folder);
}

FolderWatch::Changes FolderWatch::TakeChanges() {
  std::lock_guard<std::mutex> lock(mutex_);
  Changes changes;
  if (scope != 0 && looked_in_ == scope) return changes;
  looked_in_ = scope;
  if (fd_ < 0) return changes;
  alignas(inotify_event) char buffer[8192];
  for (;;) {
    ssize_t n = ::read(fd_, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno == EAGAIN) break;
    changes.any = true;
    if (n <= 0) {
      // A read that failed: nothing can be told.
      changes.all_files = true;
      break;
    }
    for (ssize_t at = 0; at < n;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      if (event->mask & IN_Q_OVERFLOW) changes.all_files = true;
      auto [first, last] = files_.equal_range(event->wd);
      for (auto it = first; it != last; ++it) changes.files.push_back(it->second);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
  if (!changes.any) return changes;
  std::sort(changes.files.begin(), changes.files.end());
  changes.files.erase(std::unique(changes.files.begin(), changes.files.end()), changes.files.end());
  ::close(fd_);
  fd_ = -1;
  watched_.clear();
  files_.clear();
  return changes;
}

}  // namespace borvane::platform
