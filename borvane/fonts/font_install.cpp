// FontFunctions: installing and removing fonts, the fonts folder and key by release of the
// system, and the end of the session.
#include "borvane/automation/codepage.h"
#include "borvane/automation/text.h"
#include "borvane/fonts/font_functions.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/fonts/font_system.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/pending_moves.h"
#include "borvane/platform/files/profile.h"
#include "borvane/platform/files/version_info.h"
#include "borvane/platform/fonts/font_loader.h"
#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/fonts/font_resource_file.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/registry/registry_api.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/system.h"

namespace borvane {

namespace {

using platform::HKEY;

void Show(bool show, const String& text) {
  if (show) platform::Boxes().Show({text, std::nullopt, platform::MB_OK});
}

String DllError(int32_t code) {
  return String("DLL-Error ") + NumberText(code);
}

String Upper4(const String& name) {
  std::u16string_view v = name.view();
  return UCase(String(v.substr(v.size() < 4 ? 0 : v.size() - 4)));
}

// The runtime's FileCopy: the platform's file error when it fails.
void FileCopy(const String& from, const String& to) {
  if (int32_t e = platform::Files().CopyFile(from, to)) ThrowPlatformError(e);
}

// The runtime's FileDateTime, as seconds: error 53 for a missing file.
int64_t FileDateTime(const String& path) {
  int64_t seconds = 0;
  if (platform::Files().ModifiedTime(path, seconds) != 0) ThrowPlatformError(kErrFileNotFound);
  return seconds;
}

void Kill(const String& path) {
  if (int32_t e = platform::Files().DeleteFile(path)) ThrowPlatformError(e);
}

// The value of an installed font: its file name, without NUL, as REG_SZ.
void WriteFontValue(const String& name, const String& file) {
  HKEY key = OpenFontsKey();
  std::string data = ToAnsi(file);
  platform::RegSetValueExA(key, ToAnsi(name), platform::REG_SZ,
                           reinterpret_cast<const uint8_t*>(data.data()),
                           static_cast<uint32_t>(data.size()));
  platform::RegCloseKey(key);
}

bool DeleteBitmapFontKey(const String& name) {
  HKEY key = OpenFontsKey();
  int32_t r = platform::RegDeleteValueA(key, ToAnsi(name));
  platform::RegCloseKey(key);
  return r == 0 || r == 2;
}

bool DeleteTTFontKey(const String& name, const String& family, const String& style,
                     const String& suffix) {
  HKEY key = OpenFontsKey();
  int32_t r = platform::RegDeleteValueA(key, ToAnsi(name + suffix));
  if (r != 0) r = platform::RegDeleteValueA(key, ToAnsi(family + String(" ") + style + suffix));
  platform::RegCloseKey(key);
  return r == 0 || r == 2;
}

String FileNameOfPath(const String& path) {
  // A "/" separates the folder as "\\" does.
  std::u16string_view v = path.view();
  size_t slash = v.find_last_of(u"\\/");
  return slash == std::u16string_view::npos ? path : String(v.substr(slash + 1));
}

// The waiting copy stays in the temporary folder: the next start of the system moves it.
void RenameFileAtReboot(const String& source, const String& target) {
  String waiting = FontFunctions::GetTempDirectory() + FileNameOfPath(source);
  if (!(waiting == source)) FileCopy(source, waiting);
  int32_t id = GetOsId();
  if (id >= 1 && id <= 3) {
    platform::Profile().WriteString("Rename", target, waiting,
                                    FontFunctions::GetWindowsFolder() + String("WININIT.INI"));
  } else {
    platform::MoveFileEx(
        waiting, target,
        platform::MOVEFILE_REPLACE_EXISTING | platform::MOVEFILE_DELAY_UNTIL_REBOOT);
  }
}

// True when the library itself installed `file`: the fonts key holds a stored value naming it.
// On Linux the fonts folder is the user's own, where other programs put fonts too, and those
// are never removed to make room.
bool InstalledByLibrary(const String& file) {
  std::vector<platform::RegistryValue> values;
  platform::Registry().Values(String("HKEY_LOCAL_MACHINE\\") + String(FontsKeyPath()), values);
  for (const platform::RegistryValue& v : values)
    if (UCase(v.AsText()) == UCase(file)) return true;
  return false;
}

// Every failing statement is passed over.
void RemoveInstalledFont(FontFunctions& f, const String& fonts, const String& file) {
  if (!InstalledByLibrary(file)) return;
  String ext = Upper4(file), none, empty;
  bool quiet = false;
  String name = file;
  try {
    if (ext == String(".TTF")) {
      if (f.UnInstallTTFont(name, empty, quiet)) platform::Files().DeleteFile(fonts + file);
    } else if (ext == String(".FON")) {
      if (f.UnInstallBitmapFont(name, none, quiet)) platform::Files().DeleteFile(fonts + file);
    }
  } catch (const Error&) {
  }
}

// The copy into the fonts folder, tried twice; the second failure schedules the replacement
// for the next start of the system. True when the file was copied.
bool GuardedCopy(FontFunctions& f, const String& source, const String& target, const String& fonts,
                 const String& file) {
  for (int attempt = 1;; ++attempt) {
    try {
      FileCopy(source, target);
      return true;
    } catch (const Error&) {
      if (attempt > 1) {
        RenameFileAtReboot(source, target);
        return false;
      }
      RemoveInstalledFont(f, fonts, file);
    }
  }
}

int32_t InUse(bool show) {
  if (show) {
    platform::Boxes().Show(
        {String("The font you try to install is currently in use.\r\nYour computer must be "
                "rebooted in order to install it..."),
         String("Font installation"), platform::MB_ICONEXCLAMATION});
  }
  return 3;
}

bool GetFileVersionRecord(const String& path, platform::VS_FIXEDFILEINFO& record) {
  uint32_t size = platform::Versions().BlockSize(path);
  if (size == 0) return false;
  std::string block;
  if (!platform::Versions().Block(path, size, block)) return false;
  return platform::QueryFixedRecord(block, record);
}

bool IsVersionNewer(const platform::VS_FIXEDFILEINFO& a, const platform::VS_FIXEDFILEINFO& b) {
  const uint32_t pa[] = {a.dwFileVersionMS >> 16, a.dwFileVersionMS & 0xFFFF,
                         a.dwFileVersionLS >> 16, a.dwFileVersionLS & 0xFFFF};
  const uint32_t pb[] = {b.dwFileVersionMS >> 16, b.dwFileVersionMS & 0xFFFF,
                         b.dwFileVersionLS >> 16, b.dwFileVersionLS & 0xFFFF};
  for (int i = 0; i < 4; ++i)
    if (pa[i] != pb[i]) return pa[i] > pb[i];
  return false;
}

bool IsSourceNewer(const String& source_dir, const String& source_file, const String& target_dir,
                   const String& target_file) {
  String source = AddBackslash(source_dir) + source_file;
  String target = AddBackslash(target_dir) + target_file;
  if (!platform::Files().IsNormalFile(target)) return true;
  platform::VS_FIXEDFILEINFO s, t;
  bool has_source = GetFileVersionRecord(source, s), has_target = GetFileVersionRecord(target, t);
  if (has_source && has_target) return IsVersionNewer(s, t);
  if (has_source) return true;
  if (has_target) return false;
  return FileDateTime(source) > FileDateTime(target);
}

// The temporary folder, or the Windows folder without one, closed with a separator.
String TempFolder() {
  String temp = FontFunctions::GetTempDirectory();
  return AddBackslash(temp.empty() ? FontFunctions::GetWindowsFolder() : temp);
}

// The ".FOT" of a font file in the temporary folder: `shared` is the name the font gives it
// there (the file's name with ".FOT"), which every caller reading or installing that font would
// use at once; `own` the name this call writes and reads, which no other thread or process uses.
struct CallFot {
  String shared, own;
};

// Error 5 for a name shorter than an extension.
CallFot FotFor(const String& file) {
  if (file.size() < 4) ThrowPlatformError(kErrInvalidCall);
  String shared = TempFolder() + String(file.view().substr(0, file.size() - 4)) + String(".FOT");
  String own = platform::UniqueFontResourcePath(shared);
  return {std::move(shared), std::move(own)};
}

// Where a ".FOT" stays after the call (an uninstall's, a temporary install's, that of a font
// the platform would not load), the call's own file takes the font's name in the temporary
// folder: one such file per font stays there, replaced by the next, and nowhere else.
void KeepFot(const CallFot& fot) {
  platform::FileSystem& files = platform::Files();
  if (!files.IsNormalFile(fot.own)) return;
  files.DeleteFile(fot.shared);
  if (files.RenameFile(fot.own, fot.shared) != 0) files.DeleteFile(fot.own);
}

// Runs `read` over the call's ".FOT"; a scan that fails leaves the file behind, under the
// font's name as the system leaves it.
template <class Read>
void ReadKeepingFot(const CallFot& fot, Read&& read) {
  try {
    read();
  } catch (const Error&) {
    KeepFot(fot);
    throw;
  }
}

// " (TrueType)" or, for the PostScript outlines of an OpenType font, " (OpenType)": how the
// fonts key names the font that the ".FOT" at `fot` describes.
String KindSuffix(const String& fot) {
  std::string bytes;
  platform::Files().ReadFile(fot, bytes);
  return String(platform::FontResourceIsTrueType(bytes) ? " (TrueType)" : " (OpenType)");
}

// Whether the scalable font `file` in `dir` is refused as no font at all (13), with the message
// that the ".FOT" of such a file gives. Asked before the file is copied anywhere, so that such
// a file never is; any other failure is left to the step that meets it.
bool RefusedAsNoFont(const String& dir, const String& file, const CallFot& fot, bool show) {
  std::string bytes;
  bool written = false;
  platform::FontResourceResult r = platform::FontResources().ScalableFontResourceBytes(
      0, fot.own, file, AddBackslash(dir), bytes, written);
  if (written) platform::Files().DeleteFile(fot.own);
  if (r.ok || r.last_error != platform::kWinInvalidData) return false;
  FontFunctions::ShowResourceError(r, file, show);
  return true;
}

// Whether the bitmap font `file` in `dir` is refused before it is copied anywhere: a file
// without a description raises the reader's error 5, one that the platform would not load
// gives true, with the DLL error message of a font that cannot be loaded.
bool RefusedAsNoBitmapFont(const String& dir, const String& file, bool show) {
  ReadBitmapFaceName(dir, file);
  if (platform::FontLoading().IsFontFile(AddBackslash(dir) + file)) return false;
  Show(show, DllError(static_cast<int32_t>(platform::kWinInvalidData)));
  return true;
}

// The copy of a font for a temporary install; a copy that fails is passed over. The folder.
String CopyToTemp(const String& source_dir, const String& file) {
  String temp = TempFolder();
  platform::Files().CopyFile(AddBackslash(source_dir) + file, temp + file);
  return temp;
}

}  // namespace

int32_t FontFunctions::InstallBitmapFont(String& strSourcePath, String& strFontFileName,
                                         bool& bolShowError) {
  String fonts = FontsDirectoryOrDefault(bolShowError);
  String source = AddBackslash(strSourcePath) + strFontFileName;
  int64_t source_time = FileDateTime(source);
  String target = fonts + strFontFileName;
  if (platform::Files().IsNormalFile(target) && FileDateTime(target) >= source_time) return 2;
  if (RefusedAsNoBitmapFont(strSourcePath, strFontFileName, bolShowError)) return 0;
  if (!GuardedCopy(*this, source, target, fonts, strFontFileName)) return InUse(bolShowError);
  String name = ReadBitmapFaceName(fonts, strFontFileName);
  if (platform::FontLoading().AddFontResource(strFontFileName) == 0) {
    Show(bolShowError, DllError(0));
    return 0;
  }
  WriteFontValue(name, strFontFileName);
  if (platform::FontLoading().BroadcastFontChange() == 0) Show(bolShowError, DllError(0));
  return 1;
}

int32_t FontFunctions::InstallTTFont(String& strSourcePath, String& strFontFileName,
                                     bool& bolShowError) {
  String fonts = FontsDirectoryOrDefault(bolShowError);
  CallFot fot = FotFor(strFontFileName);
  if (!IsSourceNewer(strSourcePath, strFontFileName, fonts, strFontFileName)) return 2;
  if (RefusedAsNoFont(strSourcePath, strFontFileName, fot, bolShowError)) return 0;
  String source = AddBackslash(strSourcePath) + strFontFileName;
  if (!GuardedCopy(*this, source, fonts + strFontFileName, fonts, strFontFileName)) {
    if (platform::Files().IsNormalFile(fot.shared)) platform::Files().DeleteFile(fot.shared);
    return InUse(bolShowError);
  }
  if (!CreateFontResourceFile(fot.own, strFontFileName, fonts, bolShowError)) return 0;
  String family, style, name, suffix;
  ReadKeepingFot(fot, [&] {
    name = ReadFotNames(fot.own, family, style);
    suffix = KindSuffix(fot.own);
  });
  if (platform::FontLoading().AddFontResource(fot.own) == 0) {
    Show(bolShowError, DllError(0));
    KeepFot(fot);  // the ".FOT" of a font that was not loaded stays
    return 0;
  }
  WriteFontValue(name + suffix, strFontFileName);
  if (platform::FontLoading().BroadcastFontChange() == 0) Show(bolShowError, DllError(0));
  Kill(fot.own);
  return 1;
}

int32_t FontFunctions::InstallBitmapFontTemporary(String& strSourcePath, String& strFontFileName,
                                                  bool& bolShowError) {
  String fonts = FontsDirectoryOrDefault(bolShowError);
  if (platform::FindFirstFile(fonts + strFontFileName) == strFontFileName) {
    InstallBitmapFont(strSourcePath, strFontFileName, bolShowError);
    return 2;
  }
  if (RefusedAsNoBitmapFont(strSourcePath, strFontFileName, bolShowError)) return 0;
  // The copy stays in the temporary folder: it is the font that is loaded.
  String temp = CopyToTemp(strSourcePath, strFontFileName);
  ReadBitmapFaceName(temp, strFontFileName);
  // The copy in the temporary folder is what is loaded: on Linux a bare name would be looked
  // for in the user's font folder, where a temporary font does not go.
  if (platform::FontLoading().AddFontResource(temp + strFontFileName) != 0) return 1;
  Show(bolShowError, DllError(0));
  return 0;
}

int32_t FontFunctions::InstallTTFontTemporary(String& strSourcePath, String& strFontFileName,
                                              bool& bolShowError) {
  String fonts = FontsDirectoryOrDefault(bolShowError);
  if (platform::FindFirstFile(fonts + strFontFileName) == strFontFileName) {
    InstallTTFont(strSourcePath, strFontFileName, bolShowError);
    return 2;
  }
  CallFot fot = FotFor(strFontFileName);
  if (RefusedAsNoFont(strSourcePath, strFontFileName, fot, bolShowError)) return 0;
  // The copy stays in the temporary folder: it is the font that is loaded.
  String temp = CopyToTemp(strSourcePath, strFontFileName);
  if (!CreateFontResourceFile(fot.own, strFontFileName, temp, bolShowError)) return 0;
  String family, style;
  ReadKeepingFot(fot, [&] { ReadFotNames(fot.own, family, style); });
  const bool loaded = platform::FontLoading().AddFontResource(temp + strFontFileName) != 0;
  KeepFot(fot);  // a temporary install keeps its ".FOT"
  if (loaded) return 1;
  Show(bolShowError, DllError(0));
  return 0;
}

bool FontFunctions::UnInstallBitmapFont(String& strFontFileName, String& strSourcePath,
                                        bool& bolShowError) {
  String fonts = FontsDirectoryOrDefault(bolShowError);
  strSourcePath = strSourcePath.empty() ? fonts : AddBackslash(strSourcePath);
  String name = ReadBitmapFaceName(strSourcePath, strFontFileName);
  if (!Removable(strSourcePath + strFontFileName, name, bolShowError)) return false;
  return RemoveInstalled(DeleteBitmapFontKey(name), name, strFontFileName, strSourcePath,
                         strFontFileName, bolShowError);
}

bool FontFunctions::UnInstallTTFont(String& strFontFileName, String& strSourcePath,
                                    bool& bolShowError) {
  String fonts = FontsDirectoryOrDefault(bolShowError);
  strSourcePath = strSourcePath.empty() ? fonts : AddBackslash(strSourcePath);
  CallFot fot = FotFor(strFontFileName);
  if (!CreateFontResourceFile(fot.own, strFontFileName, strSourcePath, bolShowError)) return false;
  String family, style;
  String name, suffix;
  ReadKeepingFot(fot, [&] {
    name = ReadFotNames(fot.own, family, style);
    suffix = KindSuffix(fot.own);
  });
  KeepFot(fot);  // an uninstall keeps its ".FOT"
  if (!Removable(strSourcePath + strFontFileName, name, bolShowError)) return false;
  return RemoveInstalled(DeleteTTFontKey(name, family, style, suffix), name,
                         strSourcePath + strFontFileName, strSourcePath, strFontFileName,
                         bolShowError);
}

bool FontFunctions::Removable(const String& path, const String& name, bool show) {
  // Only a font the library installed or loaded is removed: a file anywhere else is the user's
  // own (the source of an install, say), and neither it nor the installed font's registration
  // is touched.
  if (platform::FontLoading().CanRemoveFontResource(path)) return true;
  Show(show, String("Error removing font resource : ") + name);
  return false;
}

bool FontFunctions::RemoveInstalled(bool key_deleted, const String& name, const String& resource,
                                    const String& dir, const String& file, bool show) {
  if (!key_deleted) {
    Show(show, String("Error deleting the key : ") + name);
    return false;
  }
  if (platform::FontLoading().RemoveFontResource(resource) == 0) {
    Show(show, String("Error removing font resource : ") + name);
    return false;
  }
  if (platform::Files().DeleteFile(dir + file) != 0) {
    Show(show, String("Error deleting font file : ") + dir + file);
    return false;
  }
  if (platform::FontLoading().BroadcastFontChange() == 0) Show(show, DllError(0));
  return true;
}

void FontFunctions::ShutdownSystem(eShutDown& eType) {
  uint32_t flags = static_cast<uint32_t>(eType);
  if (flags != shtLogOff && flags != shtForceLogOff) {
    int32_t id = GetOsId();
    if (id >= 4 && id <= 6) EnableShutdownPrivilege(false);
  }
  platform::System().ExitWindows(flags);
}

void FontFunctions::EnableShutdownPrivilege(bool show) {
  using platform::PrivilegeStep;
  const std::pair<PrivilegeStep, const char*> steps[] = {
      {PrivilegeStep::kGetCurrentProcess, "GetCurrentProcess error = "},
      {PrivilegeStep::kOpenProcessToken, "OpenProcessToken error = "},
      {PrivilegeStep::kLookupPrivilegeValue, "LookupPrivilegeValue error = "},
      {PrivilegeStep::kAdjustTokenPrivileges, "AdjustTokenPrivileges error = "},
  };
  for (const auto& [step, text] : steps) {
    int32_t code = platform::System().Privilege(step);
    if (code != 0) Show(show, String(text) + NumberText(code));
  }
}

}  // namespace borvane
