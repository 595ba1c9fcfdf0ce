// The private profile functions: reading and writing INI files as the platform's single-byte
// profile operations do (GetPrivateProfileSectionNamesA, GetPrivateProfileSectionA,
// WritePrivateProfileStringA).
//
// Text crosses to the file in the file's own ANSI code page (text_encoding.h): the readers
// deliver bytes in it and the writers convert to it, so a UTF-8 file stays UTF-8 and a
// Windows-1252 file stays Windows-1252. The file rules are those of ProfileDocument
// (profile_document.h). A missing or unreadable file reads as empty.
//
// Cost: outside a batch every call reads (and a write rewrites) the whole file. Between
// BeginBatch and EndBatch the implementation keeps its current file parsed in memory, so a
// sequence of calls costs one read and one write of it; every call sees the calls before it.
// A call on another path first writes the current file out and makes that path current.
#ifndef BORVANE_PLATFORM_FILES_PROFILE_H_
#define BORVANE_PLATFORM_FILES_PROFILE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "borvane/automation/string.h"
#include "borvane/platform/base/service.h"
#include "borvane/platform/files/profile_document.h"

namespace borvane::platform {

class PrivateProfile {
 public:
  virtual ~PrivateProfile() = default;

  // Buffers follow the Windows rules: a list of NUL-ended items and one more NUL; the result
  // is the list's length without that NUL, size - 2 when the list was cut, 0 for none.
  virtual uint32_t GetSectionNames(char* buffer, uint32_t size, const String& path) = 0;
  virtual uint32_t GetSection(const String& section, char* buffer, uint32_t size,
                              const String& path) = 0;
  // The code page of the file's text, in which the readers deliver it; a file that does not
  // exist yet gives a new file's.
  virtual CodePage CodePageOf(const String& path) = 0;
  // Creates the file if needed (its folder must exist). A null `value` removes the key, a null
  // `key` the section. False when the file could not be written; inside a batch the file is
  // written by EndBatch, so this is true.
  virtual bool WriteString(const String& section, const String& key, const String& value,
                           const String& path) = 0;

  // Starts a sequence of calls on `path` (one batch at a time; a second Begin ends the first).
  // A replacing batch starts from an empty file instead of the one at `path`, which stays
  // untouched until EndBatch puts the new content in its place in one step (or removes the
  // file when the batch wrote nothing to it): a writer that dies leaves the old file whole.
  // The new content keeps the old file's code page and byte-order mark.
  virtual void BeginBatch(const String& path, bool replace = false) = 0;
  // Writes the current file if it changed and ends the batch: 0, or the file error that kept
  // the file from being written. Without a batch, 0.
  virtual int32_t EndBatch() = 0;

  // The implementation of this thread (each thread keeps its own current file).
  static PrivateProfile& Real();
};

inline PrivateProfile& Profile() {
  return Current<PrivateProfile>::Get();
}

// Ends the batch when the scope ends, unless Commit did it already. Changes made in the batch
// are written either way: nothing done is rolled back.
class ProfileBatch {
 public:
  ProfileBatch(PrivateProfile& profile, const String& path, bool replace = false)
      : profile_(profile) {
    profile_.BeginBatch(path, replace);
  }
  ~ProfileBatch() {
    if (open_) profile_.EndBatch();
  }
  ProfileBatch(const ProfileBatch&) = delete;
  ProfileBatch& operator=(const ProfileBatch&) = delete;
  int32_t Commit() {
    open_ = false;
    return profile_.EndBatch();
  }

 private:
  PrivateProfile& profile_;
  bool open_ = true;
};

// The shared logic of both implementations: where the bytes of a file come from and go to
// is left to Load and Store.
class CachingProfile : public PrivateProfile {
 public:
  uint32_t GetSectionNames(char* buffer, uint32_t size, const String& path) override;
  uint32_t GetSection(const String& section, char* buffer, uint32_t size,
                      const String& path) override;
  CodePage CodePageOf(const String& path) override;
  bool WriteString(const String& section, const String& key, const String& value,
                   const String& path) override;
  void BeginBatch(const String& path, bool replace = false) override;
  int32_t EndBatch() override;

 protected:
  // The file's bytes into `bytes`; false when there is no readable file.
  virtual bool Load(const String& path, std::string& bytes) = 0;
  // Writes the file: 0 or the file error.
  virtual int32_t Store(const String& path, const std::string& bytes) = 0;
  // Removes the file: 0 (also when there was none) or the file error.
  virtual int32_t Remove(const String& path) = 0;

 private:
  // The document of `path`: the batch's own, or `scratch` loaded for this call only.
  ProfileDocument& Open(const String& path, ProfileDocument& scratch);
  int32_t Flush();

  bool batch_ = false;
  bool replace_ = false;                // the batch's file is replaced whole at its end
  std::optional<std::string> current_;  // native path of the batch's loaded file
  String current_path_;
  ProfileDocument document_;
};

// Over real files, read and written through the current FileSystem service.
class FileProfile : public CachingProfile {
 protected:
  bool Load(const String& path, std::string& bytes) override;
  int32_t Store(const String& path, const std::string& bytes) override;
  int32_t Remove(const String& path) override;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FILES_PROFILE_H_
