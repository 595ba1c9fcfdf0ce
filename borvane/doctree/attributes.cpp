#include "borvane/doctree/attributes.h"

#include <algorithm>

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

namespace {

std::u16string_view TrimSpaces(std::u16string_view text) {
  size_t first = text.find_first_not_of(u' ');
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

// Calls `piece` with each piece of a trimmed attribute list, cut at the spaces. Spaces inside
// quotes do not cut when the text holds two quotes or more; "|_" reads as a space in a piece,
// which is how such a space travels through the cut.
template <class F>
void ForEachPiece(std::u16string_view text, F&& piece) {
  if (text.empty()) return;
  const bool protect = std::count(text.begin(), text.end(), u'"') >= 2;
  std::u16string spaced;
  bool quoted = false;
  size_t start = 0;
  for (size_t i = 0;; ++i) {
    if (i < text.size()) {
      if (text[i] == u'"') quoted = !quoted;
      if (text[i] != u' ' || (protect && quoted)) continue;
    }
    std::u16string_view cut = text.substr(start, i - start);
    if (cut.find(u"|_") == std::u16string_view::npos) {
      piece(cut);
    } else {
      spaced.assign(cut);
      for (size_t at = 0; (at = spaced.find(u"|_", at)) != std::u16string::npos; ++at)
        spaced.replace(at, 2, u" ");
      piece(std::u16string_view(spaced));
    }
    if (i == text.size()) return;
    start = i + 1;
  }
}

}  // namespace

void Attributes::AddPiece(std::u16string_view piece) {
  Ref<AttributeObj> attribute = MakeRef<AttributeObj>();
  attribute->SetValue(Variant::Missing());
  mcolAttributes->Add(Variant(attribute));
  attribute->FromAttributeText(piece);
}

void Attributes::FromAttributeString(String& Text) {
  // The text is stored back with each space inside quotes marked as "|_".
  const std::u16string text(TrimSpaces(Text.view()));
  std::u16string marked;
  marked.reserve(text.size());
  const bool protect = std::count(text.begin(), text.end(), u'"') >= 2;
  bool quoted = false;
  for (char16_t ch : text) {
    if (ch == u'"') quoted = !quoted;
    if (ch == u' ' && protect && quoted) {
      marked += u"|_";
    } else {
      marked += ch;
    }
  }
  Text = String(std::move(marked));
  Clear();
  ForEachPiece(text, [this](std::u16string_view piece) { AddPiece(piece); });
}

void Attributes::ReadAttributeString(std::u16string_view text) {
  Clear();
  ForEachPiece(TrimSpaces(text), [this](std::u16string_view piece) { AddPiece(piece); });
}

BORVANE_REGISTER_CLASS(Attributes)

}  // namespace borvane
