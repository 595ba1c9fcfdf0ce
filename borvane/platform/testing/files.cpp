#include "borvane/platform/testing/files.h"

#include "borvane/automation/error.h"

namespace borvane::platform {

namespace {

std::string FolderOf(const std::string& path) {
  size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

}  // namespace

MemoryFileSystem::MemoryFileSystem() {
  folders_.insert("/tmp/");
}

void MemoryFileSystem::Fail(Op op, int call, int32_t error) {
  failures_[{op, calls_[op] + call}] = error;
}

void MemoryFileSystem::AddFolder(const std::string& folder) {
  // With every folder on its way.
  std::string f = folder.back() == '/' ? folder : folder + "/";
  for (size_t slash = f.find('/', 1); slash != std::string::npos; slash = f.find('/', slash + 1))
    folders_.insert(f.substr(0, slash + 1));
}

void MemoryFileSystem::SetReadOnly(const std::string& folder, bool read_only) {
  std::string f = folder.back() == '/' ? folder : folder + "/";
  if (read_only) {
    read_only_.insert(f);
  } else {
    read_only_.erase(f);
  }
}

void MemoryFileSystem::Put(const std::string& path, std::string bytes) {
  AddFolder(FolderOf(path));
  files_[path] = std::move(bytes);
  times_[path] = ++clock_;
}

const std::string* MemoryFileSystem::Get(const std::string& path) const {
  auto it = files_.find(path);
  return it == files_.end() ? nullptr : &it->second;
}

int32_t MemoryFileSystem::Injected(Op op) {
  int call = ++calls_[op];
  auto it = failures_.find({op, call});
  if (it == failures_.end()) return 0;
  int32_t e = it->second;
  failures_.erase(it);
  return e;
}

int32_t MemoryFileSystem::CheckFolder(const std::string& path, bool needs_folder_write) const {
  std::string folder = FolderOf(path);
  if (!folders_.count(folder)) return kErrPathNotFound;
  if (needs_folder_write && read_only_.count(folder)) return kErrPermissionDenied;
  return 0;
}

String MemoryFileSystem::CreateTempFile(const String& folder, const String& prefix) {
  if (Injected(kCreateTemp)) return String();
  std::string f = NativePath(folder);
  if (!f.empty() && f.back() != '/') f += '/';
  std::string path;
  do {
    path = f + NativePath(prefix) + std::to_string(next_temp_++) + ".tmp";
  } while (files_.count(path));
  if (CheckFolder(path, true)) return String();
  files_[path] = std::string();
  return String::FromUtf8(path);
}

bool MemoryFileSystem::IsNormalFile(const String& path) {
  std::string p = NativePath(path);
  return files_.count(p) && !IsHiddenName(p);
}

int32_t MemoryFileSystem::CopyFile(const String& from, const String& to) {
  if (int32_t e = Injected(kCopy)) return e;
  auto it = files_.find(NativePath(from));
  if (it == files_.end()) return kErrFileNotFound;
  std::string target = NativePath(to);
  if (int32_t e = CheckFolder(target, true)) return e;
  files_[target] = it->second;
  // The copy keeps the source's time of last change, as the platform's file copy does.
  auto time = times_.find(it->first);
  times_[target] = time != times_.end() ? time->second : ++clock_;
  return 0;
}

int32_t MemoryFileSystem::DeleteFile(const String& path) {
  if (int32_t e = Injected(kDelete)) return e;
  std::string p = NativePath(path);
  if (!files_.count(p)) return kErrFileNotFound;
  if (int32_t e = CheckFolder(p, true)) return e;
  files_.erase(p);
  return 0;
}

int32_t MemoryFileSystem::ReadFile(const String& path, std::string& bytes) {
  if (int32_t e = Injected(kRead)) return e;
  auto it = files_.find(NativePath(path));
  if (it == files_.end()) return kErrFileNotFound;
  bytes = it->second;
  return 0;
}

int32_t MemoryFileSystem::WriteFile(const String& path, std::string_view bytes) {
  if (int32_t e = Injected(kWrite)) return e;
  std::string p = NativePath(path);
  // A write replaces the file through a new one beside it, which a read-only folder refuses.
  if (int32_t e = CheckFolder(p, true)) return e;
  files_[p] = std::string(bytes);
  times_[p] = ++clock_;
  return 0;
}

int32_t MemoryFileSystem::FindFiles(const String& pattern, std::vector<String>& names) {
  names.clear();
  // Separators in a row count as one, as they do for the system.
  std::string p;
  for (char c : NativePath(pattern))
    if (!(c == '/' && !p.empty() && p.back() == '/')) p.push_back(c);
  std::string folder = FolderOf(p);
  if (!folders_.count(folder)) return 3;
  std::vector<String> found;
  for (const auto& [path, bytes] : files_)
    if (FolderOf(path) == folder) found.push_back(String::FromUtf8(path.substr(folder.size())));
  for (const std::string& f : folders_) {
    std::string path = f.substr(0, f.size() - 1);  // a folder is found like a file
    if (!path.empty() && FolderOf(path) == folder)
      found.push_back(String::FromUtf8(path.substr(folder.size())));
  }
  return OrderMatches(String::FromUtf8(p.substr(folder.size())), found, names);
}

int32_t MemoryFileSystem::ModifiedTime(const String& path, int64_t& seconds) {
  std::string p = NativePath(path);
  if (!files_.count(p)) return folders_.count(FolderOf(p)) ? 2 : 3;
  seconds = times_.count(p) ? times_[p] : 0;
  return 0;
}

int32_t MemoryFileSystem::RenameFile(const String& from, const String& to) {
  if (int32_t e = Injected(kRename)) return e;
  std::string f = NativePath(from), t = NativePath(to);
  if (!files_.count(f)) return folders_.count(FolderOf(f)) ? 2 : 3;
  if (files_.count(t)) return 80;
  if (CheckFolder(t, true) || CheckFolder(f, true)) return 5;
  files_[t] = std::move(files_[f]);
  times_[t] = times_[f];
  files_.erase(f);
  times_.erase(f);
  return 0;
}

int32_t MemoryFileSystem::CreateNewFile(const String& path) {
  if (int32_t e = Injected(kCreateNew)) return e;
  std::string p = NativePath(path);
  if (files_.count(p)) return 80;
  if (!folders_.count(FolderOf(p))) return 3;
  if (CheckFolder(p, true)) return 5;
  files_[p] = std::string();
  times_[p] = ++clock_;
  return 0;
}

void MemoryProfile::SetFile(const String& path, std::string bytes) {
  files_[NativePath(path)] = std::move(bytes);
}

const std::string* MemoryProfile::File(const String& path) const {
  auto it = files_.find(NativePath(path));
  return it == files_.end() ? nullptr : &it->second;
}

void MemoryProfile::RemoveFile(const String& path) {
  files_.erase(NativePath(path));
}

bool MemoryProfile::Load(const String& path, std::string& bytes) {
  const std::string* f = File(path);
  if (!f) return false;
  bytes = *f;
  return true;
}

int32_t MemoryProfile::Store(const String& path, const std::string& bytes) {
  if (store_error_) return store_error_;
  files_[NativePath(path)] = bytes;
  return 0;
}

int32_t MemoryProfile::Remove(const String& path) {
  if (store_error_) return store_error_;
  files_.erase(NativePath(path));
  return 0;
}

uint32_t MemoryVersionRecords::BlockSize(const String& path) {
  auto it = blocks.find(NativePath(path));
  return it == blocks.end() ? 0 : static_cast<uint32_t>(it->second.size());
}

bool MemoryVersionRecords::Block(const String& path, uint32_t size, std::string& block) {
  auto it = blocks.find(NativePath(path));
  if (it == blocks.end()) return false;
  block = it->second.substr(0, size);
  return true;
}

}  // namespace borvane::platform
