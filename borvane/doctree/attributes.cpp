#include "borvane/doctree/attributes.h"

#include "borvane/automation/text.h"
#include "borvane/frame/class_table.h"
#include "borvane/frame/error_handling.h"

namespace borvane {

void Attributes::Describe(ClassBuilder<Attributes>& b) {
  b.Order(kOrderAttributes)
      .Ids(ClassId(kOrderAttributes), InterfaceId(kOrderAttributes))
      .Method("Add", &Attributes::Add, {Opt("Name"), Opt("Value")})
      .Get("Item", static_cast<Ref<AttributeObj> (Attributes::*)(Variant&)>(&Attributes::Item),
           {"vntIndexKey"}, {.id = DISPID_VALUE})
      .Get("Count", &Attributes::Count)
      .Method("Remove", &Attributes::Remove, {"vntIndexKey"})
      .Get("NewEnum", &Attributes::NewEnum, {}, {.id = DISPID_NEWENUM, .attributes = {"Hidden"}})
      .Method("Clear", &Attributes::Clear);
}

Attributes::Attributes() : mcolAttributes(MakeRef<Collection>()) {}

Ref<AttributeObj> Attributes::Add(String& Name, Variant& Value) {
  return Guarded("Attributes:Add Method", [&] {
    Ref<AttributeObj> attribute = MakeRef<AttributeObj>();
    attribute->SetName(Name);
    attribute->SetValue(Value);
    mcolAttributes->Add(Variant(attribute));
    return attribute;
  });
}

Ref<AttributeObj> Attributes::Item(Variant& vntIndexKey) {
  const Variant& key = vntIndexKey;
  return Item(key);
}

Ref<AttributeObj> Attributes::Item(const Variant& vntIndexKey) {
  return mcolAttributes->Item(vntIndexKey).ToObject().As<AttributeObj>();
}

void Attributes::Remove(Variant& vntIndexKey) {
  mcolAttributes->Remove(vntIndexKey);
}

void Attributes::Clear() {
  // One step instead of removing position 1 until none is left: the same end, and an
  // enumeration under way ends the same way.
  mcolAttributes->Clear();
}

void Attributes::AppendAttributeString(std::u16string& out) const {
  int32_t count = mcolAttributes->Count();
  for (int32_t i = 1; i <= count; ++i) {
    if (i > 1) out += u' ';
    static_cast<const AttributeObj*>(mcolAttributes->At(i).ToObject().Get())
        ->AppendAttributeText(out);
  }
}

String Attributes::ToAttributeString() const {
  std::u16string out;
  AppendAttributeString(out);
  return String(std::move(out));
}

void Attributes::FromAttributeString(String& Text) {
  // Spaces inside quotes become "|_" for the time of the split at spaces.
  std::vector<String> pieces = Split(Trim(Text), u"\"");
  if (pieces.size() > 2) {
    for (size_t i = 1; i < pieces.size(); i += 2) pieces[i] = Replace(pieces[i], u" ", u"|_");
  }
  Text = Join(pieces, u"\"");
  Clear();
  for (String& piece : Split(Trim(Text), u" ")) {
    String text = Replace(piece, u"|_", u" ");
    String no_name;
    Variant missing = Variant::Missing();
    Add(no_name, missing)->FromAttributeText(text);
  }
}

BORVANE_REGISTER_CLASS(Attributes)

}  // namespace borvane
