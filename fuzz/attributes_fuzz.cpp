// Arbitrary text as the attribute part of a tag: parsed, written, and parsed again. The parse
// has to give what its steps taken literally give (ReferenceParse), and so has the packed form
// in which the reader keeps the pairs until they are asked for.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "borvane/automation/codepage.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/doctree/doc.h"

namespace {

using borvane::String;

// FromAttributeString's steps as they read, on the public members: mark the spaces inside
// quotes, cut at the spaces, one attribute per piece. Returns the text as stored back.
String ReferenceParse(borvane::Attributes& attrs, const String& input, bool& failed) {
  std::vector<String> parts = borvane::Split(borvane::Trim(input), u"\"");
  if (parts.size() > 2)
    for (size_t i = 1; i < parts.size(); i += 2) parts[i] = borvane::Replace(parts[i], u" ", u"|_");
  String text = borvane::Join(parts, u"\"");
  attrs.Clear();
  failed = false;
  try {
    for (const String& piece : borvane::Split(borvane::Trim(text), u" ")) {
      String no_name;
      borvane::Variant missing = borvane::Variant::Missing();
      String spaced = borvane::Replace(piece, u"|_", u" ");
      attrs.Add(no_name, missing)->FromAttributeText(spaced);
    }
  } catch (const borvane::Error&) {
    failed = true;
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  String text =
      borvane::FromBytesLatin1(std::string_view(reinterpret_cast<const char*>(data), size));
  borvane::Ref<borvane::Doc> doc = borvane::MakeRef<borvane::Doc>();
  String rel, key, name = "n";
  borvane::enumRelationship how = borvane::iagChild;
  borvane::Variant value = borvane::Variant::Missing();
  borvane::Ref<borvane::Attributes> attrs = doc->Add(rel, how, key, name, value)->Attributes();
  borvane::Ref<borvane::Attributes> reference = borvane::MakeRef<borvane::Attributes>();
  bool reference_failed = false;
  String reference_text = ReferenceParse(*reference, text, reference_failed);
  borvane::AttributesSlot packed;
  bool packed_ok = borvane::Attributes::PackAttributeString(text.view(), packed);
  if (packed_ok == reference_failed) {
    std::fprintf(stderr, "PackAttributeString and the literal steps differ on failing\n");
    std::abort();
  }
  if (packed_ok) {
    borvane::Ref<borvane::Attributes> unpacked = borvane::MakeRef<borvane::Attributes>();
    unpacked->Unpack(packed);
    std::u16string written;
    borvane::Attributes::ForEachPackedText(packed, [&](std::u16string_view t) { written += t; });
    if (unpacked->Count() != reference->Count() ||
        unpacked->ToAttributeString() != reference->ToAttributeString() ||
        String(written) != reference->ToAttributeString() ||
        written.size() > borvane::Attributes::PackedTextBound(packed)) {
      std::fprintf(stderr, "The packed pairs and the literal steps differ\n");
      std::abort();
    }
  }
  bool failed = false;
  try {
    attrs->FromAttributeString(text);
  } catch (const borvane::Error&) {
    // A value part of one quote fails with the platform's error: expected.
    failed = true;
  }
  if (failed != reference_failed || attrs->Count() != reference->Count() ||
      attrs->ToAttributeString() != reference->ToAttributeString() || text != reference_text) {
    std::fprintf(stderr, "FromAttributeString and its literal steps differ\n");
    std::abort();
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
