#include "borvane/fonts/font_functions.h"

#include "borvane/frame/class_table.h"

namespace borvane {

void FontFunctions::Describe(ClassBuilder<FontFunctions>& b) {
  b.Creatable()
      .AppObject()
      .Order(kOrderFontFunctions)
      .Ids(ClassId(kOrderFontFunctions), InterfaceId(kOrderFontFunctions));
}

const Ref<FontFunctions>& GlobalFontFunctions() {
  thread_local const Ref<FontFunctions> instance = MakeRef<FontFunctions>();
  return instance;
}

BORVANE_REGISTER_CLASS(FontFunctions)

}  // namespace borvane
