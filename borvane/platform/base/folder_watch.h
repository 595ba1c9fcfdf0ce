// Whether anything that decides what a set of files holds has changed since the last look, told
// by inotify: a cache of what many files hold is then checked with one read, not a call per file.
#ifndef BORVANE_PLATFORM_BASE_FOLDER_WATCH_H_
#define BORVANE_PLATFORM_BASE_FOLDER_WATCH_H_

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace borvane::platform {

// Thread-safe. A watch that cannot be set (no inotify, the user's watch limit reached, a file
// system whose changes may come from other machines) is reported to the caller, which then
// checks that file for itself as before. Watches stay set from look to look: what changes beside
// the watched files, such as other files coming and going in a busy folder on their way, is not
// told.
class FolderWatch {
 public:
  FolderWatch() = default;
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Watches the file at the absolute native `path` (which need not exist): every folder on the
  // way to it and to each link it goes through, for the entries on that way that come, go or
  // change their rights, and the file it ends at for changes of its bytes or rights, whatever
  // name they are written through. Returns whether all of that is watched. Set the watch before
  // reading what the file holds, so that a change while reading is seen at the next look.
  bool WatchFile(const std::string& path);

  // Watches the folder `folder` for entries that come, go or change their rights, and the
  // folders on the way to it for the entries on that way. A folder that is missing is watched
  // through the nearest one that exists, whose new entry tells when it appears.
  bool WatchFolder(const std::string& folder);

  // What changed since the last look. A file or folder told here is no longer watched: the
  // caller checks again what it cached of it, and watches it again as it reads anew.
  struct Changes {
    bool any = false;
    // The files given to WatchFile that changed, and whether events were lost so that any
    // watched file may have (every watch is then dropped).
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
  void DropAll();

  std::mutex mutex_;
  int fd_ = -1;
  bool failed_ = false;  // inotify is not there at all
  // The paths watched, with their descriptors for entries and for bytes, in order so that what
  // lies below a changed path is found at once; and the paths of each descriptor.
  struct Watched {
    int entries = -1, content = -1;
  };
  std::map<std::string, Watched> watched_;
  std::unordered_map<int, std::vector<std::string>> paths_;
  // The files watched whole, with every path their reading went through (the file's and each
  // link's), the same by those paths in order, and the folders watched whole.
  std::unordered_map<std::string, std::vector<std::string>> files_;
  std::multimap<std::string, std::string> walked_;
  std::unordered_set<std::string> folders_;
  uint64_t looked_in_ = 0;  // the OneLook scope of the last look
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_BASE_FOLDER_WATCH_H_
