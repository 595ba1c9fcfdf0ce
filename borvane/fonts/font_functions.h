// FontFunctions: the library's application object for fonts. Callers may create it, and one
// implicit instance per thread serves calls made without creating it.
//
// It holds no data: each member works from its arguments, the file system and the registry,
// and reports through its result and, when the caller asks for it, message boxes.
#ifndef BORVANE_FONTS_FONT_FUNCTIONS_H_
#define BORVANE_FONTS_FONT_FUNCTIONS_H_

#include "borvane/automation/binding.h"
#include "borvane/fonts/font_info.h"
#include "borvane/platform/fonts/font_resource.h"

namespace borvane {

// How ShutdownSystem ends the session: the platform's flags, passed on unchanged.
enum eShutDown : int32_t {
  shtLogOff = 0,
  shtShutDown = 1,
  shtReboot = 2,
  shtForceLogOff = 4,
  shtForceShutDown = 5,
  shtForceReboot = 6,
  shtPowerOff = 8,
  shtForcePowerOff = 12,
};

class FontFunctions : public Dispatchable<FontFunctions> {
 public:
  static constexpr const char* kClassName = "FontFunctions";
  static void Describe(ClassBuilder<FontFunctions>& b);

  // The face name of a bitmap font file (".FON") into `BitmapInfo.FontName`, its family and
  // style emptied; False, with `BitmapInfo` as it was, when it cannot be read. Shows nothing.
  bool GetBitmapFontInfo(String& strSourcePath, String& strFontFileName, FONTINFO& BitmapInfo,
                         bool& bolShowError);
  String GetFontName(String& strSourceName);
  // The three names of a TrueType font file, read from the ".FOT" that the platform builds for
  // it in the temporary folder; False when the platform cannot build it (a message box only
  // when `bolShowError`). Errors 5 and 6 of the scan reach the caller.
  bool GetTTFontInfo(String& strSourcePath, String& strFontFileName, FONTINFO& TTFInfo,
                     bool& bolShowError);
  Array GetInstalledBitmapFonts();
  String FontFamilyname(String& sFaceName, String& sStyle);
  String FontFilename(String& sFontName, String& sFontStyle);
  void GetFontStylename(String& sBold, String& sItalic);
  Array GetInstalledTTFonts();
  int32_t InstallBitmapFont(String& strSourcePath, String& strFontFileName, bool& bolShowError);
  int32_t InstallBitmapFontTemporary(String& strSourcePath, String& strFontFileName,
                                     bool& bolShowError);
  int32_t InstallTTFont(String& strSourcePath, String& strFontFileName, bool& bolShowError);
  int32_t InstallTTFontTemporary(String& strSourcePath, String& strFontFileName,
                                 bool& bolShowError);
  void ShutdownSystem(eShutDown& eType);
  bool UnInstallBitmapFont(String& strFontFileName, String& strSourcePath, bool& bolShowError);
  bool UnInstallTTFont(String& strFontFileName, String& strSourcePath, bool& bolShowError);
  String GetRegFontsPath();
  String GetFontFriedlyName(String& FileNameTTF);

  // Library-internal operations that the members share.
  // Builds the ".FOT" `fot` for `file` in `dir`, replacing a file of that name; on failure
  // and with `show`, one message box tells why.
  static bool CreateFontResourceFile(const String& fot, const String& file, const String& dir,
                                     bool show);
  // The same for a ".FOT" that is only read back: its bytes into `bytes`, and `written` tells
  // whether a file was left at `fot` for the caller to delete. A file in the way is replaced
  // as above.
  static bool FontResourceBytes(const String& fot, const String& file, const String& dir, bool show,
                                std::string& bytes, bool& written);
  // Deletes the ".FOT" `fot`; one already gone is no failure.
  static void RemoveFontResourceFile(const String& fot);
  // The message box of a failed ".FOT", when `show`.
  static void ShowResourceError(const platform::FontResourceResult& r, const String& file,
                                bool show);
  // The temporary folder with a closing separator, or the empty String.
  static String GetTempDirectory();
  // The system's root folder with a closing separator, or the empty String.
  static String GetWindowsFolder();

 private:
  // Whether the font file at `path` may be removed as an installed font: one the library
  // installed or loaded; else the failure to remove the font `name` is told when `show`.
  bool Removable(const String& path, const String& name, bool show);
  // The end of an uninstall, after its registry value was deleted (or not): the loaded font
  // `resource` goes, then the file, then the broadcast; each failure is told when `show`.
  bool RemoveInstalled(bool key_deleted, const String& name, const String& resource,
                       const String& dir, const String& file, bool show);
  void EnableShutdownPrivilege(bool show);
  // The two lists of installed fonts: the values whose data ends in ".FON" (`bitmap`), or in the
  // extension of a scalable font file.
  Array InstalledFonts(bool bitmap);
};

// The predeclared instance of the calling thread, created on first use.
const Ref<FontFunctions>& GlobalFontFunctions();

}  // namespace borvane

#endif  // BORVANE_FONTS_FONT_FUNCTIONS_H_
