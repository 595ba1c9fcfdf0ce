#include "borvane/platform/base/folder_watch.h"

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
  Watched& w = watched_[path];
  int& slot = mask == kContent ? w.content : w.entries;
  if (slot >= 0) return slot;
  slot = ::inotify_add_watch(fd_, path.c_str(), mask | IN_MASK_ADD);
  if (slot >= 0) {
    std::vector<std::string>& paths = paths_[slot];
    if (std::find(paths.begin(), paths.end(), path) == paths.end()) paths.push_back(path);
  }
  return slot;
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
  if (files_.count(path)) return true;
  bool all = true;
  std::vector<std::string> walked;
  std::string hop = path;
  // Each link on the way names the next file; a folder's links are followed by the watch
  // itself, and their own entries are in the folders above, which are watched.
  for (int hops = 0; hops < 40; ++hops) {
    walked.push_back(hop);
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
    all &= Add(path, kContent) >= 0 && !IsRemote(path);
  }
  if (all) {
    for (const std::string& w : walked) walked_.emplace(w, path);
    files_.emplace(path, std::move(walked));
  }
  return all;
}

bool FolderWatch::WatchFolder(const std::string& folder) {
  if (folder.empty() || folder[0] != '/') return false;
  std::lock_guard<std::mutex> lock(mutex_);
  if (folders_.count(folder)) return true;
  if (IsRemote(folder) || !AddFolderChain(folder)) return false;
  folders_.insert(folder);
  return true;
}

void FolderWatch::DropAll() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  watched_.clear();
  paths_.clear();
  files_.clear();
  walked_.clear();
  folders_.clear();
}

namespace {

// Whether `path` is `prefix` or lies below it.
bool Under(std::string_view path, std::string_view prefix) {
  if (prefix == "/") return true;
  return path.size() >= prefix.size() && path.compare(0, prefix.size(), prefix) == 0 &&
         (path.size() == prefix.size() || path[prefix.size()] == '/');
}

// Whether `path`, or a folder on its way, is among the sorted `changed`.
bool Touched(const std::string& path, const std::vector<std::string>& changed) {
  for (size_t end = path.size(); end > 0; end = path.rfind('/', end - 1)) {
    if (std::binary_search(changed.begin(), changed.end(), std::string_view(path).substr(0, end)))
      return true;
  }
  return std::binary_search(changed.begin(), changed.end(), std::string_view("/"));
}

// Calls `f` for each element of the ordered `map` whose key is `prefix` or lies below it.
template <class Map, class F>
void ForEachUnder(Map& map, const std::string& prefix, F&& f) {
  for (auto it = map.lower_bound(prefix);
       it != map.end() && it->first.compare(0, prefix.size(), prefix) == 0;) {
    auto next = std::next(it);
    if (Under(it->first, prefix)) f(it);
    it = next;
  }
}

}  // namespace

FolderWatch::Changes FolderWatch::TakeChanges() {
  std::lock_guard<std::mutex> lock(mutex_);
  Changes changes;
  if (scope != 0 && looked_in_ == scope) return changes;
  looked_in_ = scope;
  if (fd_ < 0) return changes;
  // The paths that changed: an entry of a watched folder, a watched folder or file itself.
  std::vector<std::string> changed;
  std::vector<int> gone;
  bool lost = false;
  alignas(inotify_event) char buffer[8192];
  for (;;) {
    ssize_t n = ::read(fd_, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno == EAGAIN) break;
    if (n <= 0) {
      // A read that failed: nothing can be told.
      lost = true;
      break;
    }
    for (ssize_t at = 0; at < n;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      if (event->mask & IN_Q_OVERFLOW) lost = true;
      auto it = paths_.find(event->wd);
      if (it == paths_.end()) continue;
      const std::string name = event->len ? std::string(event->name) : std::string();
      for (const std::string& p : it->second)
        changed.push_back(name.empty() ? p : p + (p == "/" ? "" : "/") + name);
      if (event->mask & IN_IGNORED) gone.push_back(event->wd);
    }
  }
  if (lost) {
    DropAll();
    changes.any = changes.all_files = true;
    return changes;
  }
  if (changed.empty()) return changes;
  std::sort(changed.begin(), changed.end());
  changed.erase(std::unique(changed.begin(), changed.end()), changed.end());
  // The files with a path of their reading at or below a changed one.
  for (const std::string& c : changed) {
    ForEachUnder(walked_, c, [&](auto it) { changes.files.push_back(it->second); });
  }
  std::sort(changes.files.begin(), changes.files.end());
  changes.files.erase(std::unique(changes.files.begin(), changes.files.end()), changes.files.end());
  for (const std::string& file : changes.files) {
    auto f = files_.find(file);
    if (f == files_.end()) continue;
    for (const std::string& w : f->second) {
      auto [first, last] = walked_.equal_range(w);
      for (auto it = first; it != last; ++it) {
        if (it->second == file) {
          walked_.erase(it);
          break;
        }
      }
    }
    files_.erase(f);
  }
  // The folders watched whole that hold a changed entry, or are one, or lie below one.
  std::vector<std::string> holders;
  for (const std::string& c : changed) holders.push_back(Parent(c));
  std::sort(holders.begin(), holders.end());
  for (auto it = folders_.begin(); it != folders_.end();) {
    if (Touched(*it, changed) || std::binary_search(holders.begin(), holders.end(), *it)) {
      changes.any = true;
      it = folders_.erase(it);
    } else {
      ++it;
    }
  }
  changes.any |= !changes.files.empty();
  // A path that changed, or one below it, may now be another file: it is watched anew when next
  // asked for. Descriptors the system dropped go too.
  for (const std::string& c : changed)
    ForEachUnder(watched_, c, [&](auto it) { watched_.erase(it); });
  for (int wd : gone) {
    for (const std::string& p : paths_[wd]) {
      auto w = watched_.find(p);
      if (w == watched_.end()) continue;
      if (w->second.entries == wd) w->second.entries = -1;
      if (w->second.content == wd) w->second.content = -1;
    }
    paths_.erase(wd);
  }
  return changes;
}

}  // namespace borvane::platform
