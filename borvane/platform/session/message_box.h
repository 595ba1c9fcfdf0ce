// Message boxes: a text, a caption or none, a style of buttons and icon, and the button the user
// pressed.
//
// A library has no window of its own, so the host decides how a box reaches the user: it
// installs a handler. Without one, a box is one line on standard error and is answered with
// its first button at once, so that a process without a display never waits.
#ifndef BORVANE_PLATFORM_SESSION_MESSAGE_BOX_H_
#define BORVANE_PLATFORM_SESSION_MESSAGE_BOX_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/platform/base/service.h"

namespace borvane::platform {

// Style bits, as the platform numbers them.
inline constexpr uint32_t MB_OK = 0x00;
inline constexpr uint32_t MB_OKCANCEL = 0x01;
inline constexpr uint32_t MB_YESNO = 0x04;
inline constexpr uint32_t MB_ICONSTOP = 0x10;
inline constexpr uint32_t MB_ICONQUESTION = 0x20;
inline constexpr uint32_t MB_ICONEXCLAMATION = 0x30;
inline constexpr uint32_t MB_ICONINFORMATION = 0x40;

// Buttons.
inline constexpr int32_t IDOK = 1;
inline constexpr int32_t IDCANCEL = 2;
inline constexpr int32_t IDYES = 6;
inline constexpr int32_t IDNO = 7;

struct MessageBoxRequest {
  String text;
  // No caption: the box has no title of its own (the platform then shows its default one),
  // which is not the same as an empty caption.
  std::optional<String> caption;
  uint32_t style = MB_OK;
};

class MessageBoxes {
 public:
  virtual ~MessageBoxes() = default;
  // Shows the box and gives the button pressed.
  virtual int32_t Show(const MessageBoxRequest& box) = 0;

  static MessageBoxes& Real();
};

inline MessageBoxes& Boxes() {
  return Current<MessageBoxes>::Get();
}

// How the real service shows a box; an empty handler restores the default (one line on standard
// error, answered with the first button). Process-wide.
using MessageBoxHandler = std::function<int32_t(const MessageBoxRequest&)>;
void SetMessageBoxHandler(MessageBoxHandler handler);

// The default's answer: the first button of the style (OK, or Yes for the yes/no styles).
int32_t FirstButton(uint32_t style);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_SESSION_MESSAGE_BOX_H_
