#include "borvane/doctree/node_key.h"

#include <memory>

namespace borvane {

void NodeKey::Set(const String& key) {
  std::u16string_view text = key.view();
  if (text.empty()) {
    SetNumber(0);
    return;
  }
  if (text.size() >= 2 && text.size() <= 11 && text[0] == u'N' && text[1] != u'0') {
    uint64_t number = 0;
    size_t i = 1;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i)
      number = number * 10 + (text[i] - u'0');
    if (i == text.size() && number <= UINT32_MAX) {
      SetNumber(static_cast<uint32_t>(number));
      return;
    }
  }
  auto text_key = std::make_unique<String>(key);
  Reset();
  bits_ = reinterpret_cast<uintptr_t>(text_key.release());
}

KeyText NodeKey::Text() const {
  KeyText out;
  if (const String* key = text()) {
    out.text_ = key;
    return out;
  }
  if (bits_ == 0) return out;
  char16_t digits[10];
  int count = 0;
  for (uint32_t n = Number(); n; n /= 10) digits[count++] = static_cast<char16_t>(u'0' + n % 10);
  out.buf_[out.size_++] = u'N';
  while (count) out.buf_[out.size_++] = digits[--count];
  return out;
}

String NodeKey::ToString() const {
  return String(Text().view());
}

}  // namespace borvane
