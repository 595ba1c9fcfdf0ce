// HTMLHelp: its interface, the session's own operations and the checks of file names.
#include "borvane/htmlhelp/html_help.h"

#include <memory>

#include "borvane/automation/text.h"
#include "borvane/frame/class_table.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/help/help_control.h"
#include "borvane/platform/session/system.h"

namespace borvane {

namespace {

const TypeDesc& EnumType(const char* name, std::vector<ConstantInfo> constants) {
  // One description per enumeration, kept for the life of the process.
  static std::vector<std::unique_ptr<TypeDesc>> kept;
  kept.push_back(TypeDesc::Enum(name, std::move(constants)));
  return *kept.back();
}

ConstantInfo C(const char* name, int32_t value) {
  return {name, Variant(value), ""};
}

const TypeDesc& PopupTypeType() {
  static const TypeDesc& t = EnumType(
      "PopupType", {C("HH_CHM_POPUP", HH_CHM_POPUP), C("HH_RESOURCE_POPUP", HH_RESOURCE_POPUP),
                    C("HH_TEXT_POPUP", HH_TEXT_POPUP)});
  return t;
}

const TypeDesc& HHVersionType() {
  static const TypeDesc& t =
      EnumType("HHVersion", {C("HH_1_0", HH_1_0), C("HH_1_1", HH_1_1), C("HH_1_1A", HH_1_1A),
                             C("HH_1_1B", HH_1_1B), C("HH_1_2", HH_1_2), C("HH_1_21", HH_1_21),
                             C("HH_1_21A", HH_1_21A), C("HH_1_22", HH_1_22),
                             C("HH_1_3_WIN2K_BETA", HH_1_3_WIN2K_BETA),
                             C("HH_1_3_IE5_5_BETA", HH_1_3_IE5_5_BETA), C("HH_1_3", HH_1_3)});
  return t;
}

const TypeDesc& IEVersionType() {
  static const TypeDesc& t = EnumType("IEVersion", {C("IE_3_0", IE_3_0),
                                                    C("IE_3_0_OSR2", IE_3_0_OSR2),
                                                    C("IE_3_01", IE_3_01),
                                                    C("IE_3_02", IE_3_02),
                                                    C("IE_4_0_PP2", IE_4_0_PP2),
                                                    C("IE_4_0", IE_4_0),
                                                    C("IE_4_01", IE_4_01),
                                                    C("IE_4_01_SP1", IE_4_01_SP1),
                                                    C("IE_4_01_SP2", IE_4_01_SP2),
                                                    C("IE_5_0_Beta1", IE_5_0_Beta1),
                                                    C("IE_5_0_Beta2", IE_5_0_Beta2),
                                                    C("IE_5_0", IE_5_0),
                                                    C("IE_5_0A", IE_5_0A),
                                                    C("IE_5_0B", IE_5_0B),
                                                    C("IE_5_0C", IE_5_0C),
                                                    C("IE_5_0D", IE_5_0D),
                                                    C("IE_5_Win2K_RC1", IE_5_Win2K_RC1),
                                                    C("IE_5_Win2K_RC2", IE_5_Win2K_RC2),
                                                    C("IE_5_01", IE_5_01),
                                                    C("IE_5_5_PLAT_PREV", IE_5_5_PLAT_PREV)});
  return t;
}

// Stands in the interface for callers; no member of the library takes it.
const TypeDesc& NavTabType() {
  static const TypeDesc& t =
      EnumType("HHWIN_NAVTAB_",
               {C("HHWIN_NAVTAB_TOP", HHWIN_NAVTAB_TOP), C("HHWIN_NAVTAB_LEFT", HHWIN_NAVTAB_LEFT),
                C("HHWIN_NAVTAB_BOTTOM", HHWIN_NAVTAB_BOTTOM)});
  return t;
}

// The last three characters of `name` (the whole of a shorter name), in capitals.
String LastThree(const String& name) {
  std::u16string_view v = name.view();
  return UCase(String(v.substr(v.size() < 3 ? 0 : v.size() - 3)));
}

}  // namespace

void HTMLHelp::Describe(ClassBuilder<HTMLHelp>& b) {
  using H = HTMLHelp;
  const TypeRef color = TypeRef::Described(OleColorType());
  const TypeRef popup = TypeRef::Described(PopupTypeType());
  const Param form = Opt("CallingForm");
  b.Creatable()
      .Order(kOrderHTMLHelp)
      .Ids(ClassId(kOrderHTMLHelp), InterfaceId(kOrderHTMLHelp))
      .Enumeration(NavTabType())
      .Get("frm", &H::GetFrm)
      .Set("frm", &H::SetFrm, {"frm"})
      .Get("hwnd", &H::GetHwnd)
      .Let("hwnd", &H::LetHwnd, {"hwnd"})
      .Get("lpPrevWndFunc", &H::GetLpPrevWndFunc)
      .Let("lpPrevWndFunc", &H::LetLpPrevWndFunc, {"lpPrevWndFunc"})
      .Method("HHDeleteJumpURLSysMenu", &H::HHDeleteJumpURLSysMenu, {"HH_hWnd"})
      .Method("HHDisplayTopicURL", &H::HHDisplayTopicURL, {form})
      .Method("HHDisplayTopicID", &H::HHDisplayTopicID, {form})
      .Method("HHDisplaySearch", &H::HHDisplaySearch, {form})
      .Method("HHDisplayKeyword", &H::HHDisplayKeyword, {form})
      .Method("HHDisplayIndex", &H::HHDisplayIndex, {form})
      .Method("HHDisplayContents", &H::HHDisplayContents, {form})
      .Method("HHDisplayALink", &H::HHDisplayALink, {form})
      .Method("HHRegister", &H::HHRegister, {"FileToRegister"})
      .Method("HHUnRegister", &H::HHUnRegister, {"FileToUnRegister"})
      .Method("HHCheckRegistry", &H::HHCheckRegistry, {"FileToCheck"})
      .Method("HHClose", &H::HHClose)
      .Method("HHDisplayPopup", &H::HHDisplayPopup, {"CallingForm"})
      .Method("HHInvokeWhatsThisHelp", &H::HHInvokeWhatsThisHelp, {"CallingForm"})
      .Method("HHVerifyMinConfig", &H::HHVerifyMinConfig,
              {Param("MinHHVersion").Type(TypeRef::Described(HHVersionType())),
               Param("MinIEVersion").Type(TypeRef::Described(IEVersionType()))})
      .Method("EnsureFileExists", &H::EnsureFileExists, {"FileToFind"})
      .Method("HHSetHelpFile", &H::HHSetHelpFile, {"intSelHelpFile"})
      .Let("HHWindow", &H::LetHHWindow, {"Value"})
      .Get("HHWindow", &H::GetHHWindow)
      .Let("HHTopicURL", &H::LetHHTopicURL, {"Value"})
      .Get("HHTopicURL", &H::GetHHTopicURL)
      .Let("HHTopicID", &H::LetHHTopicID, {"Value"})
      .Get("HHTopicID", &H::GetHHTopicID)
      .Let("HHMsgTitle", &H::LetHHMsgTitle, {"Value"})
      .Get("HHMsgTitle", &H::GetHHMsgTitle)
      .Let("HHMsgText", &H::LetHHMsgText, {"Value"})
      .Get("HHMsgText", &H::GetHHMsgText)
      .Let("HHKeyword", &H::LetHHKeyword, {"Value"})
      .Get("HHKeyword", &H::GetHHKeyword)
      .Let("HHDefaultURL", &H::LetHHDefaultURL, {"Value"})
      .Get("HHDefaultURL", &H::GetHHDefaultURL)
      .Let("HHALink", &H::LetHHALink, {"Value"})
      .Get("HHALink", &H::GetHHALink)
      .Let("CHMFile", &H::LetCHMFile, {"Value"})
      .Get("CHMFile", &H::GetCHMFile)
      .Let("HHShowOnTop", &H::LetHHShowOnTop, {"Value"})
      .Get("HHShowOnTop", &H::GetHHShowOnTop)
      .Get("HHRegFileName", &H::GetHHRegFileName)
      .Get("HHRegFilePath", &H::GetHHRegFilePath)
      .Get("HHRegFileExists", &H::GetHHRegFileExists)
      .Let("HHPopupFile", &H::LetHHPopupFile, {"Value"})
      .Let("HHPopupID", &H::LetHHPopupID, {"Value"})
      .Let("HHPopupText", &H::LetHHPopupText, {"Value"})
      .Let("HHPopupType", &H::LetHHPopupType, {Param("Value").Type(popup)})
      .Let("HHPopupTextColor", &H::LetHHPopupTextColor, {Param("Value").Type(color)})
      .Let("HHPopupBackColor", &H::LetHHPopupBackColor, {Param("Value").Type(color)})
      .Let("HHPopupCustomTextColor", &H::LetHHPopupCustomTextColor, {"Value"})
      .Let("HHPopupCustomBackColor", &H::LetHHPopupCustomBackColor, {"Value"})
      .Let("HHPopupCustomColors", &H::LetHHPopupCustomColors, {"Value"})
      .Get("HHPopupCustomColors", &H::GetHHPopupCustomColors)
      .Let("HHPopupTextFont", &H::LetHHPopupTextFont, {"Value"})
      .Let("HHPopupTextSize", &H::LetHHPopupTextSize, {"Value"})
      .Let("HHPopupTextBold", &H::LetHHPopupTextBold, {"Value"})
      .Let("HHPopupTextItalic", &H::LetHHPopupTextItalic, {"Value"})
      .Let("HHPopupTextUnderline", &H::LetHHPopupTextUnderline, {"Value"})
      .Get("HHInstalled", &H::GetHHInstalled)
      .Get("HHVersion", &H::GetHHVersion)
      .Get("IEVersion", &H::GetIEVersion)
      .Get("HHFriendlyName", &H::GetHHFriendlyName)
      .Get("IEFriendlyName", &H::GetIEFriendlyName)
      .Get("HHWndHandle", &H::GetHHWndHandle, {},
           {.help = "Returns the handle of the HTML Help window opened by one of the Display* "
                    "methods except HHDisplayPopup"});
}

String HTMLHelp::HHSetHelpFile(int16_t intSelHelpFile) {
  switch (intSelHelpFile) {
    case 1:
      return platform::System().LibraryFolder() + String("\\Library.chm");
    case 2:
      return String("Library.txt");
    default:
      return String();
  }
}

bool HTMLHelp::IsValidHelpFile(const String& name) {
  if (LastThree(name) == String("CHM")) return true;
  ShowWarningMessage(name + String(" is not a valid HTML Help file."));
  return false;
}

bool HTMLHelp::IsValidPopupFile(const String& name) {
  if (LastThree(name) == String("TXT")) return true;
  ShowWarningMessage(String("The file specified as the text popup source, '") + name +
                     String("', is not a valid popup file."));
  return false;
}

bool HTMLHelp::EnsureFileExists(String& FileToFind) {
  // "/" separates names as "\" does: a name with either is a path, taken as it stands.
  const std::u16string_view v = FileToFind.view();
  if (v.find(u'\\') == std::u16string_view::npos && v.find(u'/') == std::u16string_view::npos) {
    // A bare name is first looked for in the current folder, as every Linux program takes a
    // relative name; then among the registered help files and in the library's folder.
    const String here = platform::System().CurrentFolder() + String("\\") + FileToFind;
    if (!platform::FindFirstFile(here).empty()) {
      FileToFind = here;
      return true;
    }
    String name = FileToFind;
    HHCheckRegistry(name);
    FileToFind = reg_file_name_.empty()
                     ? platform::System().LibraryFolder() + String("\\") + FileToFind
                     : reg_file_path_ + reg_file_name_;
  }
  if (!platform::FindFirstFile(FileToFind).empty()) return true;
  ShowWarningMessage(
      String("The file ") + String::FromUtf8(platform::NativePath(FileToFind)) +
      String(" does not exist.") + String(u"\n") +
      String("Please make sure the correct path and file name have been specified."));
  return false;
}

void HTMLHelp::HHClose() {
  try {
    platform::HelpControls().HtmlHelp(0, std::string(), platform::HH_CLOSE_ALL, int32_t{0});
  } catch (...) {
    // A control that cannot be reached closes nothing, and the caller hears nothing of it.
  }
}

void HTMLHelp::HHDeleteJumpURLSysMenu(int32_t& HH_hWnd) {
  platform::System().DeleteSystemMenuItem(HH_hWnd, 0xEFFF);
}

int32_t HTMLHelp::GetHHWndHandle() {
  if (wnd_handle_ == 0) {
    ShowWarningMessage(String("No HTML Help window handle to retrieve."));
    return 0;
  }
  return wnd_handle_;
}

BORVANE_REGISTER_CLASS(HTMLHelp)

}  // namespace borvane
