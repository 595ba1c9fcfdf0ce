// Inifile's file operations: the tree to and from the private profile functions.
#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/automation/text.h"
#include "borvane/ini/inifile.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/profile.h"

namespace borvane {

namespace {

// Both profile readers get a fixed buffer of this size; what does not fit is not read.
constexpr uint32_t kProfileBuffer = 32767;

// A path handed by reference to a single-byte platform function comes back as the code page
// of file names holds it: UTF-8, which the file system takes, so that no character is lost.
void PassFileName(String& path) {
  if (!path.IsNull()) path = FromCodePage(ToCodePage(path, CodePage::kUtf8), CodePage::kUtf8);
}

// Calls `item` with the bytes of each piece of the first n - 1 characters of a profile buffer
// (dropping the NUL behind the last item), split at NUL. Neither NUL nor "=" is ever a byte of a
// longer character of the code page, nor swallowed by a broken one, so converting the pieces one
// by one gives what splitting the converted text would.
template <class F>
void ForEachProfileItem(const std::string& buffer, uint32_t n, F&& item) {
  std::string_view rest(buffer.data(), n - 1);
  if (rest.empty()) return;  // an empty text has no pieces, not one empty piece
  while (true) {
    size_t end = rest.find('\0');
    item(rest.substr(0, end));
    if (end == std::string_view::npos) return;
    rest.remove_prefix(end + 1);
  }
}

Error AsError(std::exception_ptr failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const Error& e) {
    return e;
  } catch (const std::bad_alloc&) {
    return Error::Platform(kErrOutOfMemory);
  } catch (...) {
    return Error::Platform(kErrInvalidCall);
  }
}

}  // namespace

String Inifile::GetTempFolderPath() {
  return platform::Files().TempFolder();
}

String Inifile::GetTempFilePath() {
  return platform::Files().CreateTempFile(GetTempFolderPath(), "tmp");
}

void Inifile::ReadIniFile(String& strPath) {
  if (!platform::Files().IsNormalFile(strPath))
    throw Error(kIniErrorNumber, "IniFile:ReadIniFile", "File not found");
  platform::PrivateProfile& profile = platform::Profile();
  // One parse of the file serves every call below.
  platform::ProfileBatch batch(profile, strPath);
  std::string buffer(kProfileBuffer, '\0');
  PassFileName(strPath);
  uint32_t n = profile.GetSectionNames(buffer.data(), kProfileBuffer, strPath);
  if (n == 0) return;
  // The readers deliver the file's text in the file's own code page.
  const CodePage cp = profile.CodePageOf(strPath);
  std::vector<String> names;
  ForEachProfileItem(buffer, n,
                     [&](std::string_view name) { names.push_back(FromCodePage(name, cp)); });
  Ref<IniFileSections> sections = Sections();
  for (String& name : names) {
    if (name.empty()) continue;
    // Adding keys does not change Sections, so the section Add gives is the one Item would.
    Ref<IniFileSection> section = sections->Add(name);
    n = profile.GetSection(name, buffer.data(), kProfileBuffer, strPath);
    if (n == 0) continue;
    Ref<IniFileKeys> keys = section->Keys();
    // Room for all of the section's keys at once: a large file has many sections, and growing
    // each one's list key by key costs more than the keys.
    size_t lines = 0, name_bytes = 0;
    ForEachProfileItem(buffer, n, [&](std::string_view line) {
      ++lines;
      name_bytes += std::min(line.find('='), line.size());
    });
    keys->Reserve(lines, name_bytes);
    ForEachProfileItem(buffer, n, [&](std::string_view line) {
      // The line split at its first "=" into two pieces; a line without one has no second.
      size_t eq = line.find('=');
      if (eq == std::string_view::npos) ThrowPlatformError(kErrSubscript);
      keys->Add(FromCodePage(line.substr(0, eq), cp), FromCodePage(line.substr(eq + 1), cp));
    });
  }
}

void Inifile::WriteIniFile(String& strPath) {
  String temp_path;
  bool remembered = false;
  try {
    platform::FileSystem& files = platform::Files();
    if (files.IsNormalFile(strPath)) {
      String temp = GetTempFilePath();
      if (int32_t e = files.CopyFile(strPath, temp)) ThrowPlatformError(e);
      temp_path = temp;
      remembered = true;
    }
    {
      platform::PrivateProfile& profile = platform::Profile();
      // The writes start from an empty file, as after deleting the old one, and reach the disk
      // once: the new content replaces the old in one step (or the file goes, when the tree
      // writes nothing), so that the path never holds a part of either.
      platform::ProfileBatch batch(profile, strPath, /*replace=*/true);
      PassFileName(strPath);
      Ref<IniFileSections> sections = Sections();
      for (int32_t s = 1; s <= sections->Count(); ++s) {
        IniFileSection& section = sections->At(s);
        Ref<IniFileKeys> keys = section.Keys();
        String name = section.SectionName();
        for (int32_t k = 1; k <= keys->Count(); ++k) {
          const IniFileKey& key = keys->At(k);
          profile.WriteString(name, key.KeyName(), key.KeyValue(), strPath);
        }
      }
      // The result of a write is not looked at, as the platform's callers do not: a write that
      // fails where there was no file loses nothing. Where there was one, a failed write is a
      // failure, so that the caller hears of the old content staying.
      int32_t written = batch.Commit();
      if (written && remembered) ThrowPlatformError(written);
    }
    if (remembered) {
      if (int32_t e = files.DeleteFile(temp_path)) ThrowPlatformError(e);
    }
  } catch (...) {
    Error failure = AsError(std::current_exception());
    if (remembered) {
      if (int32_t e = platform::Files().CopyFile(temp_path, strPath)) ThrowPlatformError(e);
    }
    throw Error(failure.Number(), "Inifile:WriteInifile", failure.Description());
  }
}

}  // namespace borvane
