#include "borvane/fonts/fontobj.h"

#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/class_table.h"
#include "borvane/frame/error_handling.h"

namespace borvane {

void Fontobj::Describe(ClassBuilder<Fontobj>& b) {
  b.Creatable()
      .Order(kOrderFontobj)
      .Ids(ClassId(kOrderFontobj), InterfaceId(kOrderFontobj))
      .Method("SetXML", &Fontobj::SetXML, {"RHS"})
      .Method("GetXML", &Fontobj::GetXML)
      .Set("FontObject", &Fontobj::SetFontObject, {"Value"})
      .Get("FontObject", &Fontobj::FontObject)
      .Let("FontName", &Fontobj::LetFontName, {"Value"})
      .Get("FontName", &Fontobj::FontName)
      .Let("FontSize", &Fontobj::LetFontSize, {"Value"})
      .Get("FontSize", &Fontobj::FontSize)
      .Let("FontItalic", &Fontobj::LetFontItalic, {"Value"})
      .Get("FontItalic", &Fontobj::FontItalic)
      .Let("FontBold", &Fontobj::LetFontBold, {"Value"})
      .Get("FontBold", &Fontobj::FontBold)
      .Let("FontStrikethrough", &Fontobj::LetFontStrikethrough, {"Value"})
      .Get("FontStrikethrough", &Fontobj::FontStrikethrough)
      .Let("FontUnderline", &Fontobj::LetFontUnderline, {"Value"})
      .Get("FontUnderline", &Fontobj::FontUnderline)
      .Let("FontWeight", &Fontobj::LetFontWeight, {"Value"})
      .Get("FontWeight", &Fontobj::FontWeight)
      .Let("FontCharset", &Fontobj::LetFontCharset, {"Value"})
      .Get("FontCharset", &Fontobj::FontCharset);
}

StdFont& Fontobj::Font() const {
  if (!mobjFont) ThrowPlatformError(kErrObjectNotSet);
  return *mobjFont;
}

Ref<Properties> Fontobj::GetFontProperties() {
  if (!mobjProperties) {
    mobjProperties = MakeRef<Properties>();
    Object self(this);
    mobjProperties->Refresh(self);
  }
  return mobjProperties;
}

String Fontobj::GetXML() {
  return Guarded("CodeMaxSettings:GetXML prperty", [&] {
    Ref<Properties> props = GetFontProperties();
    auto doc = MakeRef<Doc>();
    String relative("Root"), key, name("Font");
    enumRelationship relationship = iagChild;
    Variant no_value = Variant::Missing();
    Ref<DocNode> root = doc->Add(relative, relationship, key, name, no_value);
    String type("Type");
    Variant font_type("Font");
    root->Attributes()->Add(type, font_type);
    for (int32_t i = 1; i <= props->Count(); ++i) {
      Property& prop = props->At(i);
      if (prop.ReadOnly()) continue;
      String parent_key = root->Key(), child_key, child_name = prop.Name();
      Variant value = prop.Value();
      Ref<DocNode> node = doc->Add(parent_key, relationship, child_key, child_name, value);
      Variant type_name(prop.TypeName());
      node->Attributes()->Add(type, type_name);
    }
    bool indent = true;
    String start_key;
    String text = doc->WriteXML(indent, start_key);
    doc->Clear();
    return text;
  });
}

namespace {

// Numbers in a font's text are read with the en-US rules, whatever the thread's locale.
class ScopedEnUsLocale {
 public:
  ScopedEnUsLocale() : saved_(ThreadLocale()) { SetThreadLocale(LocaleInfo{}); }
  ~ScopedEnUsLocale() { SetThreadLocale(saved_); }

 private:
  LocaleInfo saved_;
};

// A property that takes objects only (a set and no let), such as FontObject. GetXML writes it
// as the font's Name, which FontName carries as well; a text cannot become a font object, so
// SetXML passes such a node over and goes on with the settings behind it. That way a text
// from GetXML reads back into equal settings. Names of no member at all still fail.
bool TakesObjectsOnly(const InterfaceInfo& iface, const String& name) {
  bool set = false, let = false;
  for (const MemberInfo* m : iface.Find(name.view())) {
    set = set || m->invoke_kind == INVOKE_PROPERTYPUTREF;
    let = let || m->invoke_kind == INVOKE_PROPERTYPUT;
  }
  return set && !let;
}

}  // namespace

void Fontobj::SetXML(String& RHS) {
  Guarded("CodeMaxSettings:SetXML prperty", [&] {
    auto doc = MakeRef<Doc>();
    String parent_key;
    doc->ReadXML(RHS, parent_key);
    ScopedEnUsLocale en_us;
    Object self(this);
    const InterfaceInfo& iface = StaticClassInfo().default_interface;
    std::vector<Variant> args(1);
    for (int32_t i = 1; i <= doc->Count(); ++i) {
      Ref<DocNode> node = doc->Item(Variant(i));
      Ref<DocNode> parent = node->Parent();
      if (!parent || !EqualsNoCase(parent->Name().view(), u"Font")) continue;
      String name = node->Name();
      if (TakesObjectsOnly(iface, name)) continue;
      args.assign(1, node->Value());
      CallByName(self, name, VbLet, args);
    }
  });
}

BORVANE_REGISTER_CLASS(Fontobj)

}  // namespace borvane
