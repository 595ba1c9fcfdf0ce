// Doubles of the file services: files, folders, profile files and version records held in memory.
// For tests and benchmarks only: built as the borvane_testing library, never part of libborvane or
// its installed headers.
#ifndef BORVANE_PLATFORM_TESTING_FILES_H_
#define BORVANE_PLATFORM_TESTING_FILES_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/profile.h"
#include "borvane/platform/files/version_info.h"

namespace borvane::platform {

// Files and folders held in memory, for tests. Every operation can be made to fail: Fail(op,
// n, error) makes the n-th call of `op` from now on (1 = the next) return `error` without
// doing anything. A read-only folder refuses new files, deletions, writes and copies in it,
// since a write replaces its file through a new one beside it.
class MemoryFileSystem : public FileSystem {
 public:
  enum Op { kCreateTemp, kCopy, kDelete, kRead, kWrite, kRename, kCreateNew, kOpCount };

  // Starts with the folder "/tmp/" as temporary folder.
  MemoryFileSystem();

  String TempFolder() override { return temp_folder_; }
  String CreateTempFile(const String& folder, const String& prefix) override;
  bool IsNormalFile(const String& path) override;
  int32_t CopyFile(const String& from, const String& to) override;
  int32_t DeleteFile(const String& path) override;
  int32_t ReadFile(const String& path, std::string& bytes) override;
  int32_t WriteFile(const String& path, std::string_view bytes) override;

  int32_t FindFiles(const String& pattern, std::vector<String>& names) override;
  int32_t ModifiedTime(const String& path, int64_t& seconds) override;
  int32_t RenameFile(const String& from, const String& to) override;
  int32_t CreateNewFile(const String& path) override;

  void Fail(Op op, int call, int32_t error);
  // The time a file was last written; every write sets it to the next tick of a clock that
  // starts at 1,000,000,000.
  void SetModifiedTime(const std::string& path, int64_t seconds) { times_[path] = seconds; }
  void AddFolder(const std::string& folder);
  void SetReadOnly(const std::string& folder, bool read_only = true);
  void SetTempFolder(const String& folder) { temp_folder_ = folder; }
  // Direct access to the content, by native path.
  void Put(const std::string& path, std::string bytes);
  const std::string* Get(const std::string& path) const;
  const std::map<std::string, std::string>& AllFiles() const { return files_; }
  int Calls(Op op) const { return calls_[op]; }

 private:
  // The injected error of this call of `op`, or 0.
  int32_t Injected(Op op);
  // 0 when a new file may be made or an existing one changed at `path`.
  int32_t CheckFolder(const std::string& path, bool needs_folder_write) const;

  String temp_folder_ = "/tmp/";
  std::map<std::string, std::string> files_;
  std::set<std::string> folders_;
  std::set<std::string> read_only_;
  int calls_[kOpCount] = {};
  std::map<std::pair<int, int>, int32_t> failures_;  // (op, call number) -> error
  int next_temp_ = 1;
  std::map<std::string, int64_t> times_;
  int64_t clock_ = 1000000000;
};

// Files held in memory by native path, for tests.
class MemoryProfile : public CachingProfile {
 public:
  void SetFile(const String& path, std::string bytes);
  // The content of the file, or nullptr when there is none.
  const std::string* File(const String& path) const;
  void RemoveFile(const String& path);
  // Makes every Store fail with `error` (0: stores work again).
  void FailStores(int32_t error) { store_error_ = error; }

 protected:
  bool Load(const String& path, std::string& bytes) override;
  int32_t Store(const String& path, const std::string& bytes) override;
  int32_t Remove(const String& path) override;

 private:
  std::map<std::string, std::string> files_;
  int32_t store_error_ = 0;
};

// Records held in memory by native path, for tests.
class MemoryVersionRecords : public VersionRecords {
 public:
  uint32_t BlockSize(const String& path) override;
  bool Block(const String& path, uint32_t size, std::string& block) override;
  void Put(const std::string& native_path, uint32_t file_ms, uint32_t file_ls) {
    blocks[native_path] = MakeVersionBlock(file_ms, file_ls);
  }
  std::map<std::string, std::string> blocks;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_TESTING_FILES_H_
