#include "borvane/fonts/font_functions.h"

#include "borvane/automation/codepage.h"

#include "borvane/automation/text.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/frame/class_table.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/session/message_box.h"
#include "borvane/platform/session/system.h"

namespace borvane {

namespace {

// The text of a file name less its last four characters (its extension with the dot):
// error 5 for a name shorter than that, as taking a negative count of characters is.
String WithoutExtension(const String& name) {
  if (name.size() < 4) ThrowPlatformError(kErrInvalidCall);
  return String(name.view().substr(0, name.size() - 4));
}

// The folder as a platform call fills it into a buffer of `size` blanks: nothing when the call
// gives nothing; the blanks alone (closed to "\") when the folder does not fit, as then the
// call only reports the length it needs.
String FolderFromBuffer(const String& folder, size_t size) {
  if (folder.empty()) return String();
  if (folder.size() >= size) return AddBackslash(String(std::u16string(size, u' ')));
  return AddBackslash(TrimAtNul(folder));
}

// The ways to end the session, as the type library lists them.
const TypeDesc& ShutDownType() {
  static const std::unique_ptr<TypeDesc> t =
      TypeDesc::Enum("eShutDown", {{"shtLogOff", Variant(int32_t{shtLogOff})},
                                   {"shtForceLogOff", Variant(int32_t{shtForceLogOff})},
                                   {"shtShutDown", Variant(int32_t{shtShutDown})},
                                   {"shtForceShutDown", Variant(int32_t{shtForceShutDown})},
                                   {"shtReboot", Variant(int32_t{shtReboot})},
                                   {"shtForceReboot", Variant(int32_t{shtForceReboot})},
                                   {"shtPowerOff", Variant(int32_t{shtPowerOff})},
                                   {"shtForcePowerOff", Variant(int32_t{shtForcePowerOff})}});
  return *t;
}

}  // namespace

void FontFunctions::Describe(ClassBuilder<FontFunctions>& b) {
  const Param show = Opt("bolShowError", Variant(false));
  b.Creatable()
      .AppObject()
      .Order(kOrderFontFunctions)
      .Ids(ClassId(kOrderFontFunctions), InterfaceId(kOrderFontFunctions))
      .Method("GetBitmapFontInfo", &FontFunctions::GetBitmapFontInfo,
              {"strSourcePath", "strFontFileName", "BitmapInfo", show})
      .Method("GetFontName", &FontFunctions::GetFontName, {"strSourceName"})
      .Method("GetTTFontInfo", &FontFunctions::GetTTFontInfo,
              {"strSourcePath", "strFontFileName", "TTFInfo", show})
      .Method("GetInstalledBitmapFonts", &FontFunctions::GetInstalledBitmapFonts)
      .Method("FontFamilyname", &FontFunctions::FontFamilyname, {"sFaceName", "sStyle"})
      .Method("FontFilename", &FontFunctions::FontFilename, {"sFontName", "sFontStyle"})
      .Method("GetFontStylename", &FontFunctions::GetFontStylename, {"sBold", "sItalic"})
      .Method("GetInstalledTTFonts", &FontFunctions::GetInstalledTTFonts)
      .Method("InstallBitmapFont", &FontFunctions::InstallBitmapFont,
              {"strSourcePath", "strFontFileName", show})
      .Method("InstallBitmapFontTemporary", &FontFunctions::InstallBitmapFontTemporary,
              {"strSourcePath", "strFontFileName", show})
      .Method("InstallTTFont", &FontFunctions::InstallTTFont,
              {"strSourcePath", "strFontFileName", show})
      .Method("InstallTTFontTemporary", &FontFunctions::InstallTTFontTemporary,
              {"strSourcePath", "strFontFileName", show})
      .Method("ShutdownSystem", &FontFunctions::ShutdownSystem,
              {Param("eType").Type(TypeRef::Described(ShutDownType()))})
      .Method("UnInstallBitmapFont", &FontFunctions::UnInstallBitmapFont,
              {"strFontFileName", Opt("strSourcePath", Variant(String())), show})
      .Method("UnInstallTTFont", &FontFunctions::UnInstallTTFont,
              {"strFontFileName", Opt("strSourcePath", Variant(String())), show})
      .Method("GetRegFontsPath", &FontFunctions::GetRegFontsPath)
      .Method("GetFontFriedlyName", &FontFunctions::GetFontFriedlyName, {"FileNameTTF"});
}

bool FontFunctions::GetBitmapFontInfo(String& strSourcePath, String& strFontFileName,
                                      FONTINFO& BitmapInfo, bool&) {
  // Every failure is the result False; nothing is shown whatever bolShowError says.
  try {
    String name = ReadBitmapFaceName(strSourcePath, strFontFileName);
    BitmapInfo.FontName = name;
    BitmapInfo.FontFamily = String();
    BitmapInfo.FontStyle = String();
    return true;
  } catch (const Error&) {
    return false;
  }
}

bool FontFunctions::GetTTFontInfo(String& strSourcePath, String& strFontFileName, FONTINFO& TTFInfo,
                                  bool& bolShowError) {
  String dir = GetTempDirectory();
  if (dir.empty()) dir = GetWindowsFolder();
  String fot = dir + WithoutExtension(strFontFileName) + String(".FOT");
  std::string bytes;
  bool written = false;
  if (!FontResourceBytes(fot, strFontFileName, AddBackslash(strSourcePath), bolShowError, bytes,
                         written))
    return false;
  String family, style;
  String name = ScanFotNameBytes(bytes, family, style);
  TTFInfo.FontName = name;
  TTFInfo.FontFamily = family;
  TTFInfo.FontStyle = style;
  if (written) RemoveFontResourceFile(fot);
  return true;
}

void FontFunctions::RemoveFontResourceFile(const String& fot) {
  // The temporary folder is shared: another process reading the same font may have removed
  // the file between our look and our delete, which leaves what we wanted.
  int32_t e = platform::Files().DeleteFile(fot);
  if (e != 0 && e != kErrFileNotFound) ThrowPlatformError(e);
}

bool FontFunctions::FontResourceBytes(const String& fot, const String& file, const String& dir,
                                      bool show, std::string& bytes, bool& written) {
  // Asked first and replaced only when it answers that the target is there: a ".FOT" left in
  // the temporary folder is rare, and a look for it on every font of a walk is not.
  platform::FontResource& resources = platform::FontResources();
  platform::FontResourceResult r =
      resources.ScalableFontResourceBytes(0, fot, file, dir, bytes, written);
  if (!r.ok && r.last_error == platform::kWinFileExists && platform::Files().IsNormalFile(fot)) {
    RemoveFontResourceFile(fot);
    r = resources.ScalableFontResourceBytes(0, fot, file, dir, bytes, written);
  }
  if (!r.ok) ShowResourceError(r, file, show);
  return r.ok;
}

void FontFunctions::ShowResourceError(const platform::FontResourceResult& r, const String& file,
                                      bool show) {
  if (!show || r.last_error == 0) return;
  String text = r.last_error == 80
                    ? String("Font file ") + file + String(" already exists.")
                    : String("Error ") + NumberText(static_cast<int32_t>(r.last_error));
  platform::Boxes().Show({text, std::nullopt, platform::MB_OK});
}

bool FontFunctions::CreateFontResourceFile(const String& fot, const String& file, const String& dir,
                                           bool show) {
  platform::FileSystem& files = platform::Files();
  if (files.IsNormalFile(fot)) RemoveFontResourceFile(fot);
  platform::FontResourceResult r =
      platform::FontResources().CreateScalableFontResource(0, fot, file, dir);
  if (!r.ok) ShowResourceError(r, file, show);
  return r.ok;
}

String FontFunctions::GetTempDirectory() {
  return FolderFromBuffer(platform::System().TempFolder(), 260);
}

String FontFunctions::GetWindowsFolder() {
  return FolderFromBuffer(platform::System().WindowsFolder(), 255);
}

const Ref<FontFunctions>& GlobalFontFunctions() {
  thread_local const Ref<FontFunctions> instance = MakeRef<FontFunctions>();
  return instance;
}

BORVANE_REGISTER_CLASS(FontFunctions)

}  // namespace borvane
