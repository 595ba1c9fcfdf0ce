#include "borvane/platform/files/profile.h"

#include <utility>

#include "borvane/automation/codepage.h"
#include "borvane/automation/error.h"
#include "borvane/platform/files/file_system.h"

namespace borvane::platform {

ProfileDocument& CachingProfile::Open(const String& path, ProfileDocument& scratch) {
  std::string native = NativePath(path);
  if (batch_) {
    if (current_ && *current_ == native) return document_;
    // The batch moves to another file: the current one goes to disk first.
    Flush();
    std::string bytes;
    if (!Load(path, bytes)) bytes.clear();
    document_.Load(std::move(bytes));
    current_ = native;
    current_path_ = path;
    return document_;
  }
  std::string bytes;
  if (!Load(path, bytes)) bytes.clear();
  scratch.Load(std::move(bytes));
  return scratch;
}

int32_t CachingProfile::Flush() {
  int32_t error = 0;
  if (current_ && document_.Modified()) {
    error = Store(current_path_, document_.Serialize());
  } else if (current_ && replace_) {
    error = Remove(current_path_);  // replaced by nothing
  }
  replace_ = false;
  current_.reset();
  current_path_ = String();
  // Let go of the file and its parse. Loading an empty file instead would keep their memory (a
  // string emptied by assignment keeps its capacity): 10 MB after a 10 MB file, until the next.
  ProfileDocument empty{std::string()};
  std::swap(document_, empty);
  return error;
}

uint32_t CachingProfile::GetSectionNames(char* buffer, uint32_t size, const String& path) {
  ProfileDocument scratch;
  return Open(path, scratch).SectionNames(buffer, size);
}

uint32_t CachingProfile::GetSection(const String& section, char* buffer, uint32_t size,
                                    const String& path) {
  ProfileDocument scratch;
  ProfileDocument& doc = Open(path, scratch);
  return doc.Section(ToCodePage(section, doc.code_page()), buffer, size);
}

CodePage CachingProfile::CodePageOf(const String& path) {
  ProfileDocument scratch;
  return Open(path, scratch).code_page();
}

bool CachingProfile::WriteString(const String& section, const String& key, const String& value,
                                 const String& path) {
  // A null section asks nothing of the file, as the platform's call that only flushes.
  if (section.IsNull()) return !batch_ || Flush() == 0;
  ProfileDocument scratch;
  ProfileDocument& doc = Open(path, scratch);
  const CodePage cp = doc.code_page();
  std::string k = key.IsNull() ? std::string() : ToCodePage(key, cp);
  std::string v = value.IsNull() ? std::string() : ToCodePage(value, cp);
  doc.Write(ToCodePage(section, cp), key.IsNull() ? nullptr : &k, value.IsNull() ? nullptr : &v);
  if (batch_ || !doc.Modified()) return true;
  return Store(path, doc.Serialize()) == 0;
}

void CachingProfile::BeginBatch(const String& path, bool replace) {
  if (batch_) Flush();
  batch_ = true;
  if (!replace) return;  // the file is loaded by the batch's first call
  current_ = NativePath(path);
  current_path_ = path;
  std::string old;
  if (!Load(path, old)) old.clear();
  document_.LoadEmptyLike(old);
  replace_ = true;
}

int32_t CachingProfile::EndBatch() {
  if (!batch_) return 0;
  int32_t error = Flush();
  batch_ = false;
  return error;
}

bool FileProfile::Load(const String& path, std::string& bytes) {
  return Files().ReadFile(path, bytes) == 0;
}

int32_t FileProfile::Store(const String& path, const std::string& bytes) {
  return Files().WriteFile(path, bytes);
}

int32_t FileProfile::Remove(const String& path) {
  int32_t error = Files().DeleteFile(path);
  return error == kErrFileNotFound ? 0 : error;
}

PrivateProfile& PrivateProfile::Real() {
  thread_local FileProfile real;
  return real;
}

}  // namespace borvane::platform
