// HTMLHelp: the front end to the help control for callers that want to show help without
// knowing the control's interface. A caller fills properties (the compiled help file, a
// window definition, a topic, a keyword, the look of a popup) and calls one operation, which
// turns them into one call of the control (platform/help_control.h).
//
// An object holds its values in memory and nothing else. What goes wrong for the user is told
// in a message box titled "HTML Help Class"; no operation raises an error of the library's own
// numbering, and most of them let no error out at all.
#ifndef BORVANE_HTMLHELP_HTML_HELP_H_
#define BORVANE_HTMLHELP_HTML_HELP_H_

#include <cstdint>
#include <optional>

#include "borvane/automation/binding.h"

namespace borvane {

enum PopupType : int32_t {
  HH_CHM_POPUP = 1,       // topic HHPopupID of the text file HHPopupFile inside CHMFile
  HH_RESOURCE_POPUP = 2,  // string resource HHPopupID of the library
  HH_TEXT_POPUP = 4,      // HHPopupText itself
};

enum HHVersion : int32_t {
  HH_1_0 = 16,
  HH_1_1,
  HH_1_1A,
  HH_1_1B,
  HH_1_2,
  HH_1_21,
  HH_1_21A,
  HH_1_22,
  HH_1_3_WIN2K_BETA,
  HH_1_3_IE5_5_BETA,
  HH_1_3,
};

enum IEVersion : int32_t {
  IE_3_0 = 256,
  IE_3_0_OSR2,
  IE_3_01,
  IE_3_02,
  IE_4_0_PP2,
  IE_4_0,
  IE_4_01,
  IE_4_01_SP1,
  IE_4_01_SP2,
  IE_5_0_Beta1,
  IE_5_0_Beta2,
  IE_5_0,
  IE_5_0A,
  IE_5_0B,
  IE_5_0C,
  IE_5_0D,
  IE_5_Win2K_RC1,
  IE_5_Win2K_RC2,
  IE_5_01,
  IE_5_5_PLAT_PREV,
};

// Stands in the interface for callers; the class itself has no use for it.
enum HHWIN_NAVTAB_ : int32_t {
  HHWIN_NAVTAB_TOP = 0,
  HHWIN_NAVTAB_LEFT = 1,
  HHWIN_NAVTAB_BOTTOM = 2,
};

// A value of the registry as the class reads it: `Name` in the caller's spelling, `Value` the
// registry's name, "=", the data with its closing NUL, and a carriage return.
struct RegValueEntry {
  String Name;
  String Value;
};

class HTMLHelp : public Dispatchable<HTMLHelp> {
 public:
  static constexpr const char* kClassName = "HTMLHelp";
  static void Describe(ClassBuilder<HTMLHelp>& b);

  // Free fields for the caller.
  Object frm;
  int32_t hwnd = 0;
  int32_t lpPrevWndFunc = 0;

  // The fields as the interface reaches them.
  Object GetFrm() { return frm; }
  void SetFrm(const Object& v) { frm = v; }
  int32_t GetHwnd() { return hwnd; }
  void LetHwnd(int32_t v) { hwnd = v; }
  int32_t GetLpPrevWndFunc() { return lpPrevWndFunc; }
  void LetLpPrevWndFunc(int32_t v) { lpPrevWndFunc = v; }

  // --- Session state.
  // 1: the library's folder and "\Library.chm"; 2: "Library.txt"; else empty. Stores nothing.
  String HHSetHelpFile(int16_t intSelHelpFile);
  // Makes a bare name a full path (through the registered help files, else the library's
  // folder), then tells whether the file is there; a warning when it is not.
  bool EnsureFileExists(String& FileToFind);
  // Closes every help window of the process; HHWndHandle keeps its value.
  void HHClose();
  // Removes the "Jump to URL" item from the window's system menu.
  void HHDeleteJumpURLSysMenu(int32_t& HH_hWnd);
  // The handle of the last display call; 0 with a warning when there is none.
  int32_t GetHHWndHandle();
  // The same handle without the warning, for a host that asks the help control where the
  // window can be seen (HelpControl::WindowAddress). Not on the automation interface.
  int32_t LastWindowHandle() const { return wnd_handle_; }

  // --- Display calls. `CallingForm` is read only when HHShowOnTop is True.
  void HHDisplayTopicURL(std::optional<int32_t>& CallingForm);
  void HHDisplayTopicID(std::optional<int32_t>& CallingForm);
  void HHDisplaySearch(std::optional<int32_t>& CallingForm);
  void HHDisplayKeyword(std::optional<int32_t>& CallingForm);
  void HHDisplayIndex(std::optional<int32_t>& CallingForm);
  void HHDisplayContents(std::optional<int32_t>& CallingForm);
  void HHDisplayALink(std::optional<int32_t>& CallingForm);
  // Puts the window into the platform's context help mode.
  void HHInvokeWhatsThisHelp(int32_t& CallingForm);
  // A text popup at the mouse position; colours and font go back to their fixed values after it.
  void HHDisplayPopup(int32_t& CallingForm);

  // --- Registration of help files.
  Variant HHCheckRegistry(String& FileToCheck);
  void HHRegister(String& FileToRegister);
  void HHUnRegister(String& FileToUnRegister);

  // --- Versions.
  bool HHVerifyMinConfig(HHVersion& MinHHVersion, IEVersion& MinIEVersion);
  bool GetHHInstalled();
  String GetHHVersion();
  String GetIEVersion();
  String GetHHFriendlyName();
  String GetIEFriendlyName();

  // --- Plain properties (the Let of a write-only one has no Get).
  // clang-format off
  void LetHHWindow(const String& v) { window_ = v; }
  String GetHHWindow() { return window_; }
  void LetHHTopicURL(const String& v) { topic_url_ = v; }
  String GetHHTopicURL() { return topic_url_; }
  void LetHHTopicID(int32_t v) { topic_id_ = v; }
  int32_t GetHHTopicID() { return topic_id_; }
  void LetHHMsgTitle(const String& v) { msg_title_ = v; }
  String GetHHMsgTitle() { return msg_title_; }
  void LetHHMsgText(const String& v) { msg_text_ = v; }
  String GetHHMsgText() { return msg_text_; }
  void LetHHKeyword(const String& v) { keyword_ = v; }
  String GetHHKeyword() { return keyword_; }
  void LetHHDefaultURL(const String& v) { default_url_ = v; }
  String GetHHDefaultURL() { return default_url_; }
  void LetHHALink(const String& v) { alink_ = v; }
  String GetHHALink() { return alink_; }
  void LetCHMFile(const String& v) { chm_file_ = v; }
  String GetCHMFile() { return chm_file_; }
  void LetHHShowOnTop(bool v) { show_on_top_ = v; }
  bool GetHHShowOnTop() { return show_on_top_; }
  String GetHHRegFileName() { return reg_file_name_; }
  String GetHHRegFilePath() { return reg_file_path_; }
  bool GetHHRegFileExists() { return reg_file_exists_; }
  void LetHHPopupFile(const String& v) { popup_file_ = v; }
  void LetHHPopupID(int32_t v) { popup_id_ = v; }
  void LetHHPopupText(const String& v) { popup_text_ = v; }
  void LetHHPopupType(PopupType v) { popup_type_ = v; }
  void LetHHPopupTextColor(int32_t v) { popup_text_color_ = v; }
  void LetHHPopupBackColor(int32_t v) { popup_back_color_ = v; }
  void LetHHPopupCustomTextColor(int32_t v) { popup_custom_text_color_ = v; }
  void LetHHPopupCustomBackColor(int32_t v) { popup_custom_back_color_ = v; }
  void LetHHPopupCustomColors(bool v) { popup_custom_colors_ = v; }
  bool GetHHPopupCustomColors() { return popup_custom_colors_; }
  void LetHHPopupTextFont(const String& v) { popup_font_ = v; }
  void LetHHPopupTextSize(const String& v) { popup_size_ = v; }
  void LetHHPopupTextBold(bool v) { popup_bold_ = v; }
  void LetHHPopupTextItalic(bool v) { popup_italic_ = v; }
  void LetHHPopupTextUnderline(bool v) { popup_underline_ = v; }
  // clang-format on

  // --- Library-internal operations that the members share (and tests reach).
  bool IsValidHelpFile(const String& name);
  bool IsValidPopupFile(const String& name);
  static RegValueEntry QueryRegValue(const String& root, const String& key, const String& name);
  static bool RegKeyExists(const String& key);
  static int32_t GetRegRootKey(const String& name);
  static String GetLongFileName(const String& path);
  static int32_t GetWindowsVersionCode();
  static String StripNulls(String& text);
  static int32_t ShowErrorMessage(const String& text);
  static int32_t ShowWarningMessage(const String& text);
  static int32_t ShowInfoMessage(const String& text);
  // The version text of a file's version record ("4.72.7290.00"); empty when it has none.
  static String GetFileVersionString(const String& path);

 private:
  enum class Show { kTopic, kContext, kSearch, kKeyword, kIndex, kContents, kALink };
  void Display(Show what, std::optional<int32_t>& calling_form);
  String Target() const;
  void ReadHHVersion();
  void ReadIEVersion();
  void ResolveHHFriendlyName();
  void ResolveIEFriendlyName();

  String window_, topic_url_, msg_title_, msg_text_, keyword_, default_url_, alink_, chm_file_;
  int32_t topic_id_ = 0;
  bool show_on_top_ = false;
  String reg_file_name_, reg_file_path_;
  bool reg_file_exists_ = false;
  String popup_file_, popup_text_, popup_font_, popup_size_;
  int32_t popup_id_ = 0, popup_type_ = 0;
  int32_t popup_text_color_ = 0, popup_back_color_ = 0;
  int32_t popup_custom_text_color_ = 0, popup_custom_back_color_ = 0;
  bool popup_custom_colors_ = false, popup_bold_ = false, popup_italic_ = false,
       popup_underline_ = false;
  bool installed_ = false;
  String hh_version_, ie_version_, hh_friendly_, ie_friendly_;
  int32_t wnd_handle_ = 0;
};

}  // namespace borvane

#endif  // BORVANE_HTMLHELP_HTML_HELP_H_
