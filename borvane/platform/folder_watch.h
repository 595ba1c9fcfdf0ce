// Whether anything that decides what a set of files holds has changed since the last look, told
// by inotify: a cache of what many files hold is then checked with one read, not a call per file.
#ifndef BORVANE_PLATFORM_FOLDER_WATCH_H_
#define BORVANE_PLATFORM_FOLDER_WATCH_H_

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace borvane::platform {

// Thread-safe. A watch that cannot be set (no inotify, the user's watch limit reached, a file
// system whose changes may come from other machines) is reported to the caller, which then
// checks that file for itself as before.
class FolderWatch {
 public:
  FolderWatch() = default;
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Watches the file at the absolute native `path` (which need not exist): every folder on the
  // way to it and to each link it goes through, for entries that come, go or change their
  // rights, and the file it ends at for changes of its bytes or rights, whatever name they are
  // written through. Returns whether all of that is watched. Set the watch before reading what
  // the file holds, so that a change while reading is seen at the next look.
  bool WatchFile(const std::string& path);

  // Watches the folder `folder` and the folders on the way to it for entries that come, go or
  // change their rights. A folder that is missing is watched through the nearest one that
  // exists, whose new entry tells when it appears.
  bool WatchFolder(const std::string& folder);

  // What changed since the last look. Every watch is dropped when anything did: the caller
  // checks again what it cached and watches again as it reads anew.
  struct Changes {
    bool any = false;
    // The files given to WatchFile whose bytes or rights changed, and whether events were lost
    // so that any watched file may have.
    std::vector<std::string> files;
    bool all_files = false;
  };
  Changes TakeChanges();
  bool Changed() { return TakeChanges().any; }

  // While one lives on this thread, each watch is read by the first look of the thread and
  // answers the later ones that nothing changed: a walk over many files reads them as they stood
  // when it began, and does not pay a read of every watch for each of them. Scopes nest.
  class OneLook {
   public:
    OneLook();
    ~OneLook();
    OneLook(const OneLook&) = delete;
    OneLook& operator=(const OneLook&) = delete;
  };

 private:
  // The watch descriptor, or -1.
  int Add(const std::string& path, uint32_t mask);
  bool AddFolderChain(const std::string& folder);

  std::mutex mutex_;
  int fd_ = -1;
  bool failed_ = false;                              // inotify is not there at all
  std::unordered_set<std::string> watched_;          // paths with their mask, as "mask:path"
  std::unordered_multimap<int, std::string> files_;  // the watches of files, by descriptor
  uint64_t looked_in_ = 0;                           // the OneLook scope of the last look
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FOLDER_WATCH_H_
