// Arbitrary text to Doc.ReadXML, then the document written back and read again. The reader
// must build nodes or raise its guarded error; anything else is a fault. The reader also has to
// build the same document as its steps taken literally, one pass of string splitting at a time,
// on the public members (ReferenceRead).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "borvane/automation/codepage.h"
#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/doctree/doc.h"

namespace {

using borvane::Doc;
using borvane::Error;
using borvane::Ref;
using borvane::String;
using borvane::Variant;

// The first byte chooses how the rest becomes text: 16-bit units, so that every code unit can
// occur, or one character per byte.
String TextOf(const uint8_t* data, size_t size) {
  if (size == 0) return String();
  if (data[0] & 1) {
    std::u16string units;
    for (size_t i = 1; i + 1 < size; i += 2)
      units += static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    return String(std::move(units));
  }
  return borvane::FromBytesLatin1(
      std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1));
}

template <class F>
void Try(F&& body) {
  try {
    body();
  } catch (const Error&) {
    // The library's own errors are the expected outcome of bad input.
  }
}

using borvane::DocNode;

// The reader's steps as they read: strip, mark the tags outside quotes, cut, one Add per
// opening tag. Returns false when a step fails.
bool ReferenceRead(Doc& doc, String xml) {
  if (xml.empty()) return true;
  try {
    std::vector<String> parts = borvane::Split(doc.StripWhitespace(xml), u"\"");
    for (size_t i = 0; i < parts.size(); i += 2)
      parts[i] = borvane::Replace(parts[i], u"<", u"\x1e");
    std::vector<String> tags = borvane::Split(borvane::Join(parts, u"\""), u"\x1e");
    String parent_key;
    Ref<DocNode> current;
    for (size_t i = 1; i < tags.size(); ++i) {
      if (current) parent_key = current->Key();
      std::u16string_view piece = tags[i].view();
      if (!piece.empty() && piece[0] == u'/') {
        if (!current) return false;
        current = current->Parent();
        continue;
      }
      size_t gt = piece.find(u'>');
      if (gt == std::u16string_view::npos || gt == 0) continue;
      std::u16string_view head = piece.substr(0, gt), text = piece.substr(gt + 1);
      size_t space = head.find(u' ');
      String name(head.substr(0, space));
      String attrs(space == std::u16string_view::npos ? u"" : head.substr(space + 1));
      Variant value;
      if (text.empty()) {
        value = String();
      } else if (text.front() == u'"' && text.back() == u'"') {
        if (text.size() == 1) return false;
        value = borvane::Replace(String(text.substr(1, text.size() - 2)), u"{\\34}", u"\"");
      } else if (borvane::EqualsNoCase(text, u"True") || borvane::EqualsNoCase(text, u"False")) {
        value = borvane::EqualsNoCase(text, u"True");
      } else if (borvane::IsNumeric(Variant(String(text)))) {
        value = borvane::Val(String(text));
      } else {
        value = String(text);
      }
      borvane::enumRelationship how = borvane::iagChild;
      String key;
      current = doc.Add(parent_key, how, key, name, value);
      current->Attributes()->FromAttributeString(attrs);
    }
  } catch (const Error&) {
    return false;
  }
  return true;
}

[[noreturn]] void Differ(const char* what) {
  std::fprintf(stderr, "reader and its literal steps differ: %s\n", what);
  std::abort();
}

// The two documents hold the same nodes, with the same keys, names, values, parents and
// attributes.
void Compare(Doc& ours, Doc& reference) {
  if (ours.Count() != reference.Count()) Differ("count");
  for (int32_t i = 1; i <= ours.Count(); ++i) {
    Ref<DocNode> a = ours.Item(Variant(i)), b = reference.Item(Variant(i));
    if (a->Key() != b->Key() || a->Name() != b->Name()) Differ("key or name");
    Variant va = a->Value(), vb = b->Value();
    if (va.VarType() != vb.VarType() || borvane::CStr(va) != borvane::CStr(vb)) Differ("value");
    Ref<DocNode> pa = a->Parent(), pb = b->Parent();
    if (bool(pa) != bool(pb) || (pa && pa->Key() != pb->Key())) Differ("parent");
    if (a->Attributes()->ToAttributeString() != b->Attributes()->ToAttributeString())
      Differ("attributes");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  String text = TextOf(data, size);
  Ref<Doc> doc = borvane::MakeRef<Doc>();
  String no_parent;
  bool read = true;
  try {
    doc->ReadXML(text, no_parent);
  } catch (const Error&) {
    read = false;
  }
  Ref<Doc> reference = borvane::MakeRef<Doc>();
  if (ReferenceRead(*reference, text) != read) Differ("failure");
  Compare(*doc, *reference);
  reference->Clear();
  if (doc->Count() > 0) {
    // Read it again below the first node, which exercises the ParentKey path.
    String parent = "N1";
    Try([&] { doc->ReadXML(text, parent); });
    for (bool indent : {false, true}) {
      String start;
      String written;
      Try([&] { written = doc->WriteXML(indent, start); });
      Ref<Doc> again = borvane::MakeRef<Doc>();
      Try([&] { again->ReadXML(written, no_parent); });
    }
    String expression = doc->Item(Variant(int32_t{1}))->Name();
    Ref<Doc> selection = doc->SelectNodes(expression);
    Variant last = doc->Count();
    Try([&] { doc->Remove(last); });
    Try([&] { doc->Clear(); });
  }
  return 0;
}
