// HTMLHelp: the display calls and popups, each one or two calls of the help control.
#include "borvane/automation/codepage.h"
#include "borvane/automation/text.h"
#include "borvane/htmlhelp/html_help.h"
#include "borvane/platform/help/help_control.h"
#include "borvane/platform/session/system.h"

namespace borvane {

namespace {

using platform::AnsiText;

// A text that goes as a null pointer when it is empty.
AnsiText OrNull(const String& text) {
  if (text.empty()) return std::nullopt;
  return ToAnsi(text);
}

bool IsBlank(const String& text) {
  return Trim(text).empty();
}

// The stand-in for the platform's "object not set", which a missing calling window raises.
struct NoCallingForm {};

}  // namespace

String HTMLHelp::Target() const {
  return IsBlank(window_) ? chm_file_ : chm_file_ + String(">") + window_;
}

void HTMLHelp::Display(Show what, std::optional<int32_t>& calling_form) {
  if (!IsValidHelpFile(chm_file_)) return;
  if (!EnsureFileExists(chm_file_)) return;
  auto caller = [&]() -> int32_t {
    if (!show_on_top_) return 0;
    if (!calling_form) throw NoCallingForm{};
    return *calling_form;
  };
  // A control that cannot be reached makes its call a skipped statement: the handle stays.
  auto call = [&](const String& file, int32_t command, const platform::HelpData& data) {
    int32_t window = caller();
    try {
      wnd_handle_ = platform::HelpControls().HtmlHelp(window, ToAnsi(file), command, data);
    } catch (const Error&) {
    }
  };
  try {
    switch (what) {
      case Show::kTopic:
        call(Target(), platform::HH_DISPLAY_TOPIC, ToAnsi(topic_url_));
        break;
      case Show::kContext:
        call(Target(), platform::HH_HELP_CONTEXT, topic_id_);
        break;
      case Show::kSearch: {
        platform::HH_FTS_QUERY query;
        query.cbStruct = 32;
        query.pszSearchQuery = std::string();
        query.fExecute = 1;
        query.pszWindow = std::string();
        call(Target(), platform::HH_DISPLAY_SEARCH, query);
        break;
      }
      case Show::kIndex:
        call(Target(), platform::HH_DISPLAY_INDEX, int32_t{0});
        break;
      case Show::kContents:
        call(Target(), platform::HH_DISPLAY_TOC, int32_t{0});
        break;
      case Show::kKeyword:
      case Show::kALink: {
        if (what == Show::kKeyword) call(chm_file_, platform::HH_DISPLAY_TOPIC, int32_t{0});
        // Empty texts become null ones, which read as empty and go as null pointers.
        for (String* text : {&default_url_, &msg_text_, &msg_title_})
          if (text->empty()) *text = String::Null();
        platform::HH_AKLINK link;
        link.cbStruct = 28;
        link.pszKeywords = ToAnsi(what == Show::kKeyword ? keyword_ : alink_);
        link.pszUrl = OrNull(default_url_);
        link.pszMsgText = OrNull(msg_text_);
        link.pszMsgTitle = OrNull(msg_title_);
        link.pszWindow = IsBlank(window_) ? std::nullopt : AnsiText(ToAnsi(window_));
        call(chm_file_,
             what == Show::kKeyword ? platform::HH_KEYWORD_LOOKUP : platform::HH_ALINK_LOOKUP,
             link);
        break;
      }
    }
  } catch (const NoCallingForm&) {
    ShowWarningMessage(String(what == Show::kKeyword ? "The HHDisplayKeyword method was called "
                                                     : "The HHDisplayContents method was called ") +
                       String("without a form being specified, while HHShowOnTop ") +
                       String("was set to True."));
  }
}

void HTMLHelp::HHDisplayTopicURL(std::optional<int32_t>& CallingForm) {
  Display(Show::kTopic, CallingForm);
}
void HTMLHelp::HHDisplayTopicID(std::optional<int32_t>& CallingForm) {
  Display(Show::kContext, CallingForm);
}
void HTMLHelp::HHDisplaySearch(std::optional<int32_t>& CallingForm) {
  Display(Show::kSearch, CallingForm);
}
void HTMLHelp::HHDisplayKeyword(std::optional<int32_t>& CallingForm) {
  Display(Show::kKeyword, CallingForm);
}
void HTMLHelp::HHDisplayIndex(std::optional<int32_t>& CallingForm) {
  Display(Show::kIndex, CallingForm);
}
void HTMLHelp::HHDisplayContents(std::optional<int32_t>& CallingForm) {
  Display(Show::kContents, CallingForm);
}
void HTMLHelp::HHDisplayALink(std::optional<int32_t>& CallingForm) {
  Display(Show::kALink, CallingForm);
}

void HTMLHelp::HHInvokeWhatsThisHelp(int32_t& CallingForm) {
  constexpr uint32_t WM_SYSCOMMAND = 0x112;
  constexpr int32_t SC_CONTEXTHELP = 0xF180;
  platform::System().DefWindowProc(CallingForm, WM_SYSCOMMAND, SC_CONTEXTHELP, 0);
}

void HTMLHelp::HHDisplayPopup(int32_t& CallingForm) {
  if (popup_type_ == 0) return;
  if (popup_type_ == HH_CHM_POPUP) {
    if (!IsValidHelpFile(chm_file_)) return;
    if (!EnsureFileExists(chm_file_)) return;
  }
  platform::HH_POPUP popup;
  auto [x, y] = platform::System().CursorPos();
  popup.pt = {x, y};
  if (popup_type_ == HH_RESOURCE_POPUP) {
    popup.pszText = ToAnsi(platform::LoadResString(popup_id_));
  } else if (popup_type_ == HH_TEXT_POPUP) {
    if (popup_text_.empty()) return;
    popup.pszText = ToAnsi(popup_text_);
  } else {
    popup.idString = static_cast<uint32_t>(popup_id_);
  }
  popup.cbStruct = 50;
  popup.clrForeground = popup_custom_colors_ ? popup_custom_text_color_ : popup_text_color_;
  popup.clrBackground = popup_custom_colors_ ? popup_custom_back_color_ : popup_back_color_;
  popup.rcMargins = {-1, -1, -1, -1};
  if (popup_font_.empty()) popup_font_ = String("Arial");
  if (popup_size_.empty()) popup_size_ = String("10");
  popup.pszFont =
      ToAnsi(popup_font_ + String(", ") + popup_size_ + String(", ascii, ") +
             String(popup_bold_ ? "Bold " : "") + String(popup_italic_ ? "Italic " : "") +
             String(popup_underline_ ? "Underline" : ""));
  if (popup_type_ == HH_CHM_POPUP) {
    if (!IsValidPopupFile(popup_file_)) return;
    platform::HelpControls().HtmlHelp(CallingForm, ToAnsi(chm_file_ + String("::/") + popup_file_),
                                      platform::HH_DISPLAY_TEXT_POPUP, popup);
  } else if (popup_type_ == HH_RESOURCE_POPUP || popup_type_ == HH_TEXT_POPUP) {
    platform::HelpControls().HtmlHelp(CallingForm, std::nullopt, platform::HH_DISPLAY_TEXT_POPUP,
                                      popup);
  } else {
    return;
  }
  popup_custom_text_color_ = popup_custom_back_color_ = 0;
  popup_text_color_ = popup_back_color_ = 0;
  popup_font_ = String("Arial");
  popup_size_ = String("10");
  popup_bold_ = popup_italic_ = popup_underline_ = false;
}

}  // namespace borvane
