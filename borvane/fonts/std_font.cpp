#include "borvane/fonts/std_font.h"

#include <memory>

#include "borvane/automation/error.h"

namespace borvane {

void StdFont::Describe(ClassBuilder<StdFont>& b) {
  // The platform's identities of the standard font and its dispatch interface.
  b.Creatable()
      .Order(kOrderStdFont)
      .Ids("{0BE35203-8F91-11CE-9DE3-00AA004BB851}", "{BEF6E003-A874-101A-8BBA-00AA00300CAB}")
      .ProgId("Borvane.StdFont")
      .Get("Name", &StdFont::Name, {}, {.id = DISPID_VALUE})
      .Let("Name", &StdFont::LetName, {"Value"}, {.id = DISPID_VALUE})
      .Get("Size", &StdFont::Size, {}, {.id = 2})
      .Let("Size", &StdFont::LetSize, {"Value"}, {.id = 2})
      .Get("Bold", &StdFont::Bold, {}, {.id = 3})
      .Let("Bold", &StdFont::LetBold, {"Value"}, {.id = 3})
      .Get("Italic", &StdFont::Italic, {}, {.id = 4})
      .Let("Italic", &StdFont::LetItalic, {"Value"}, {.id = 4})
      .Get("Underline", &StdFont::Underline, {}, {.id = 5})
      .Let("Underline", &StdFont::LetUnderline, {"Value"}, {.id = 5})
      .Get("Strikethrough", &StdFont::Strikethrough, {}, {.id = 6})
      .Let("Strikethrough", &StdFont::LetStrikethrough, {"Value"}, {.id = 6})
      .Get("Weight", &StdFont::Weight, {}, {.id = 7})
      .Let("Weight", &StdFont::LetWeight, {"Value"}, {.id = 7})
      .Get("Charset", &StdFont::Charset, {}, {.id = 8})
      .Let("Charset", &StdFont::LetCharset, {"Value"}, {.id = 8});
}

// The class is described by hand rather than through Dispatchable, so that its default
// interface can bear the platform's name "Font" from the start.
const ClassInfo& StdFont::ClassStorage() {
  return Storage();
}

ClassInfo& StdFont::Storage() {
  static ClassInfo& info = []() -> ClassInfo& {
    static ClassInfo ci;
    ci.name = kClassName;
    ci.default_interface.name = "Font";
    ci.prog_id = "Borvane.StdFont";
    ci.AsType();
    return ci;
  }();
  return info;
}

const ClassInfo& StdFont::StaticClassInfo() {
  static const ClassInfo& info = []() -> const ClassInfo& {
    ClassInfo& ci = Storage();
    ClassBuilder<StdFont> builder(ci);
    Describe(builder);
    ci.default_interface.Seal();
    ci.factory = [] { return Object(MakeRef<StdFont>()); };
    return ci;
  }();
  return info;
}

void StdFont::LetSize(Currency value) {
  if (value.raw < 0) ThrowPlatformError(kErrInvalidCall);
  size_ = value;
}

BORVANE_REGISTER_CLASS(StdFont)

}  // namespace borvane
