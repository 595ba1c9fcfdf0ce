#include "borvane/platform/session/message_box.h"

#include <cstdio>
#include <mutex>
#include <string>

namespace borvane::platform {

namespace {

std::mutex& HandlerMutex() {
  static std::mutex m;
  return m;
}
MessageBoxHandler& Handler() {
  static MessageBoxHandler handler;
  return handler;
}

const char* IconWord(uint32_t style) {
  switch (style & 0x70) {
    case MB_ICONSTOP:
      return "error";
    case MB_ICONQUESTION:
      return "question";
    case MB_ICONEXCLAMATION:
      return "warning";
    case MB_ICONINFORMATION:
      return "information";
    default:
      return "message";
  }
}

class RealMessageBoxes : public MessageBoxes {
 public:
  int32_t Show(const MessageBoxRequest& box) override {
    MessageBoxHandler handler;
    {
      std::lock_guard<std::mutex> lock(HandlerMutex());
      handler = Handler();
    }
    if (handler) return handler(box);
    // One line: line breaks of the text become " / ".
    std::string text = box.text.ToUtf8();
    std::string line;
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\r' || text[i] == '\n') {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        line += " / ";
      } else {
        line += text[i];
      }
    }
    std::string caption = box.caption ? box.caption->ToUtf8() + ": " : std::string();
    std::fprintf(stderr, "borvane: %s: %s%s\n", IconWord(box.style), caption.c_str(), line.c_str());
    return FirstButton(box.style);
  }
};

}  // namespace

int32_t FirstButton(uint32_t style) {
  switch (style & 0x0F) {
    case 3:  // yes, no, cancel
    case MB_YESNO:
      return IDYES;
    case 2:  // abort, retry, ignore
      return 3;
    case 5:  // retry, cancel
      return 4;
    default:
      return IDOK;
  }
}

void SetMessageBoxHandler(MessageBoxHandler handler) {
  std::lock_guard<std::mutex> lock(HandlerMutex());
  Handler() = std::move(handler);
}

MessageBoxes& MessageBoxes::Real() {
  static RealMessageBoxes boxes;
  return boxes;
}

}  // namespace borvane::platform
