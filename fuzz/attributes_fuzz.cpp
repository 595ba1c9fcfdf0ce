// Arbitrary text as the attribute part of a tag: parsed, written, and parsed again.
#include <cstddef>
#include <cstdint>
#include <string>

#include "borvane/automation/codepage.h"
#include "borvane/automation/error.h"
#include "borvane/doctree/doc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using borvane::String;
  String text =
      borvane::FromBytesLatin1(std::string_view(reinterpret_cast<const char*>(data), size));
  borvane::Ref<borvane::Doc> doc = borvane::MakeRef<borvane::Doc>();
  String rel, key, name = "n";
  borvane::enumRelationship how = borvane::iagChild;
  borvane::Variant value = borvane::Variant::Missing();
  borvane::Ref<borvane::Attributes> attrs = doc->Add(rel, how, key, name, value)->Attributes();
  try {
    attrs->FromAttributeString(text);
  } catch (const borvane::Error&) {
    // A value part of one quote fails with the platform's error: expected.
  }
  String written = attrs->ToAttributeString();
  try {
    attrs->FromAttributeString(written);
  } catch (const borvane::Error&) {
  }
  for (int32_t i = 1; i <= attrs->Count(); ++i) {
    borvane::Ref<borvane::AttributeObj> a = attrs->Item(borvane::Variant(i));
    String piece = a->ToAttributeText();
    try {
      a->FromAttributeText(piece);
    } catch (const borvane::Error&) {
    }
  }
  bool indent = true;
  String start;
  try {
    doc->WriteXML(indent, start);
  } catch (const borvane::Error&) {
  }
  return 0;
}
