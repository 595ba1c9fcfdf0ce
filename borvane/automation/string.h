// String: counted text of 16-bit code units, as the automation runtime passes it.
//
// A String is either null or holds text (possibly empty). A null String reads as empty and
// compares equal to "", but stays null when copied, stored and passed on, so that callers that
// care (an INI key whose value is null writes no line) can tell.
#ifndef BORVANE_AUTOMATION_STRING_H_
#define BORVANE_AUTOMATION_STRING_H_

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "borvane/automation/unit_copy.h"

namespace borvane {

// Whether two texts hold the same units. The standard comparison of 16-bit texts goes a unit at
// a time: short texts (names, keys) are compared here by a few loads without a call, longer
// ones as memory.
inline bool SameText(std::u16string_view a, std::u16string_view b) {
  const size_t n = a.size();
  if (n != b.size()) return false;
  if (n <= 16) return SameShortUnits(a.data(), b.data(), n);
  if (n <= 32)
    return SameShortUnits(a.data(), b.data(), 16) &&
           SameShortUnits(a.data() + 16, b.data() + 16, n - 16);
  return std::memcmp(a.data(), b.data(), n * sizeof(char16_t)) == 0;
}

class String {
 public:
  // The empty (not null) text.
  String() = default;
  // nullptr gives the null String.
  String(const char16_t* text) : null_(text == nullptr), text_(text ? text : u"") {}
  String(std::u16string_view text) : text_(text) {}
  String(std::u16string&& text) : text_(std::move(text)) {}
  String(const std::u16string& text) : text_(text) {}
  // UTF-8 text, for literals in code and tests. Invalid sequences become U+FFFD.
  String(const char* utf8);
  String(const std::string& utf8);

  static String Null() {
    String s;
    s.null_ = true;
    return s;
  }
  static String FromUtf8(std::string_view utf8);
  // Text of `count` copies of `ch`.
  static String Repeat(char16_t ch, size_t count) { return String(std::u16string(count, ch)); }

  bool IsNull() const { return null_; }
  // UTF-8 form; unpaired surrogates become U+FFFD.
  std::string ToUtf8() const;

  const std::u16string& str() const { return text_; }
  std::u16string_view view() const { return text_; }
  operator std::u16string_view() const { return text_; }
  const char16_t* data() const { return text_.c_str(); }
  size_t size() const { return text_.size(); }
  // Length in characters (code units), as the platform's Len gives it.
  int32_t Len() const { return static_cast<int32_t>(text_.size()); }
  bool empty() const { return text_.empty(); }
  char16_t operator[](size_t i) const { return text_[i]; }

  String& operator+=(const String& other) {
    text_ += other.text_;
    null_ = false;
    return *this;
  }
  String& operator+=(char16_t ch) {
    text_ += ch;
    null_ = false;
    return *this;
  }
  // Mutable access to the text; the String stops being null.
  std::u16string& mutable_str() {
    null_ = false;
    return text_;
  }

  friend String operator+(const String& a, const String& b) {
    String r(a.text_ + b.text_);
    return r;
  }
  // Binary comparison; null compares as "".
  friend bool operator==(const String& a, const String& b) { return SameText(a.text_, b.text_); }
  friend std::strong_ordering operator<=>(const String& a, const String& b) {
    return a.text_.compare(b.text_) <=> 0;
  }

 private:
  bool null_ = false;
  std::u16string text_;
};

// UTF-8 helpers shared by String and the platform layer.
std::u16string Utf8ToUtf16(std::string_view utf8);
std::string Utf16ToUtf8(std::u16string_view utf16);

}  // namespace borvane

template <>
struct std::hash<borvane::String> {
  size_t operator()(const borvane::String& s) const noexcept {
    return std::hash<std::u16string>()(s.str());
  }
};

#endif  // BORVANE_AUTOMATION_STRING_H_
