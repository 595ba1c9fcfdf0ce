// StdFont: the standard font object, which holds a font's settings behind the dispatch
// interface "Font" (Name, Size, Bold, Italic, Underline, Strikethrough, Weight, Charset).
//
// A new font is "Sans", 10 points, weight 400, charset 0, neither italic, underlined nor struck
// out. "Sans" is fontconfig's generic family, which resolves to an installed face on every Linux
// system, and 10 points is the usual desktop text size there; charset 0 (ANSI) matches the
// platform's ANSI code page.
#ifndef BORVANE_FONTS_STD_FONT_H_
#define BORVANE_FONTS_STD_FONT_H_

#include <cstdint>

#include "borvane/automation/binding.h"
#include "borvane/automation/dispatch.h"

namespace borvane {

// Position of StdFont among the classes known by name: behind the library's own class table,
// which it is not part of.
inline constexpr int32_t kOrderStdFont = 100;

class StdFont : public ObjectBase {
 public:
  static constexpr const char* kClassName = "StdFont";
  static void Describe(ClassBuilder<StdFont>& b);
  // The class, whose default interface is named "Font": a member typed Ref<StdFont> is thus
  // described as the dispatch interface "Font".
  static const ClassInfo& StaticClassInfo();
  // The description while its members may still be missing; its name and type are there.
  static const ClassInfo& ClassStorage();
  const ClassInfo& GetClassInfo() const override { return StaticClassInfo(); }

  String Name() const { return name_; }
  void LetName(const String& value) { name_ = value; }
  Currency Size() const { return size_; }
  // Error 5 for a negative size.
  void LetSize(Currency value);
  // True for a weight of 550 and above.
  bool Bold() const { return weight_ >= 550; }
  // Sets the weight to 700 (True) or 400 (False).
  void LetBold(bool value) { weight_ = value ? 700 : 400; }
  bool Italic() const { return italic_; }
  void LetItalic(bool value) { italic_ = value; }
  bool Underline() const { return underline_; }
  void LetUnderline(bool value) { underline_ = value; }
  bool Strikethrough() const { return strikethrough_; }
  void LetStrikethrough(bool value) { strikethrough_ = value; }
  // Stored as given; Bold follows it.
  int16_t Weight() const { return weight_; }
  void LetWeight(int16_t value) { weight_ = value; }
  int16_t Charset() const { return charset_; }
  void LetCharset(int16_t value) { charset_ = value; }

 private:
  static ClassInfo& Storage();

  String name_ = "Sans";
  Currency size_ = Currency::FromRaw(10 * Currency::kScale);
  int16_t weight_ = 400;
  int16_t charset_ = 0;
  bool italic_ = false;
  bool underline_ = false;
  bool strikethrough_ = false;
};

}  // namespace borvane

#endif  // BORVANE_FONTS_STD_FONT_H_
