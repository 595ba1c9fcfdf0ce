// Fontobj: one font's settings, kept in a standard font object, saved to and loaded from the
// library's XML dialect by asking a Properties collection what the object itself has.
#ifndef BORVANE_FONTS_FONTOBJ_H_
#define BORVANE_FONTS_FONTOBJ_H_

#include <cstdint>

#include "borvane/automation/binding.h"
#include "borvane/fonts/std_font.h"
#include "borvane/properties/properties.h"

namespace borvane {

class Fontobj : public Dispatchable<Fontobj> {
 public:
  static constexpr const char* kClassName = "Fontobj";
  static void Describe(ClassBuilder<Fontobj>& b);

  Fontobj() : mobjFont(MakeRef<StdFont>()) {}

  // Assigns, by name and as a property let, the value of every node whose parent is named
  // "Font" (case-blind), in document order, converting under the en-US locale. Fails as
  // "CodeMaxSettings:SetXML prperty" (0x8004C3B5); settings assigned before a failure stay.
  void SetXML(String& RHS);
  // The settings as XML: a root "Font" with one child per writable property, each with the
  // attribute "Type". Fails as "CodeMaxSettings:GetXML prperty" (0x8004C3B5).
  String GetXML();

  // The font object itself, not a copy; setting it makes every property act on the given one.
  Ref<StdFont> FontObject() const { return mobjFont; }
  void SetFontObject(const Ref<StdFont>& value) { mobjFont = value; }

  // Each setting forwards to the font object: error 91 after FontObject was set to Nothing.
  // The value arguments are never written to.
  String FontName() const { return Font().Name(); }
  void LetFontName(const String& value) { Font().LetName(value); }
  Currency FontSize() const { return Font().Size(); }
  void LetFontSize(Currency value) { Font().LetSize(value); }
  bool FontItalic() const { return Font().Italic(); }
  void LetFontItalic(bool value) { Font().LetItalic(value); }
  bool FontBold() const { return Font().Bold(); }
  void LetFontBold(bool value) { Font().LetBold(value); }
  bool FontStrikethrough() const { return Font().Strikethrough(); }
  void LetFontStrikethrough(bool value) { Font().LetStrikethrough(value); }
  bool FontUnderline() const { return Font().Underline(); }
  void LetFontUnderline(bool value) { Font().LetUnderline(value); }
  int16_t FontWeight() const { return Font().Weight(); }
  void LetFontWeight(int16_t value) { Font().LetWeight(value); }
  int16_t FontCharset() const { return Font().Charset(); }
  void LetFontCharset(int16_t value) { Font().LetCharset(value); }

  // Library-internal: the descriptors of this object, made by the first call and kept. They do
  // not hold this object, so that keeping them makes no reference cycle.
  Ref<Properties> GetFontProperties();

 private:
  StdFont& Font() const;

  Ref<StdFont> mobjFont;
  Ref<Properties> mobjProperties;
};

}  // namespace borvane

#endif  // BORVANE_FONTS_FONTOBJ_H_
