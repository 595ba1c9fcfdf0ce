// FontFunctions: the library's application object. Callers may create it, and one implicit
// instance per thread serves calls made without creating it.
//
// Its font members (name readers, installation, font lists, shutdown) are not part of this
// library yet; the class is here so that the class table, the factory and the global object
// are complete.
#ifndef BORVANE_FONTS_FONT_FUNCTIONS_H_
#define BORVANE_FONTS_FONT_FUNCTIONS_H_

#include "borvane/automation/binding.h"

namespace borvane {

class FontFunctions : public Dispatchable<FontFunctions> {
 public:
  static constexpr const char* kClassName = "FontFunctions";
  static void Describe(ClassBuilder<FontFunctions>& b);
};

// The predeclared instance of the calling thread, created on first use.
const Ref<FontFunctions>& GlobalFontFunctions();

}  // namespace borvane

#endif  // BORVANE_FONTS_FONT_FUNCTIONS_H_
