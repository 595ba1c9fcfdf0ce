// Arbitrary text to Doc.ReadXML, then the document written back and read again. The reader
// must build nodes or raise its guarded error; anything else is a fault. The reader also has to
// build the same document as its steps taken literally, one pass of string splitting at a time,
// on the public members (reference::ReferenceRead).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "borvane/automation/codepage.h"
#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/doctree/doc.h"
#include "tests/doctree/reference_reader.h"

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

[[noreturn]] void Differ(const char* what) {
  std::fprintf(stderr, "reader and its literal steps differ: %s\n", what);
  std::abort();
}

// Reads `text` into a new Doc, held to the literal steps on the same text; `what` names a
// differing outcome. Returns the Doc.
Ref<Doc> ReadAsTheSteps(const String& text, const char* what) {
  Ref<Doc> doc = borvane::MakeRef<Doc>();
  if (const char* difference = borvane::reference::DifferenceFromSteps(*doc, text))
    Differ(std::string_view(difference) == "failure" ? what : difference);
  return doc;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  String text = TextOf(data, size);
  Ref<Doc> doc = ReadAsTheSteps(text, "failure");
  if (doc->Count() > 0) {
    // Read it again below the first node, which exercises the ParentKey path.
    String parent = "N1";
    Try([&] { doc->ReadXML(text, parent); });
    for (bool indent : {false, true}) {
      String start;
      String written;
      Try([&] { written = doc->WriteXML(indent, start); });
      // The writer fills storage of the size it measured first: the text stays within it.
      if (written.size() > doc->Item(Variant(int32_t{1}))->TextBound(indent)) {
        std::fprintf(stderr, "the written text is longer than the writer's measure\n");
        std::abort();
      }
      // The written form is what the reader's fast paths take: they too must keep to the steps.
      ReadAsTheSteps(written, "failure on the written text");
    }
    // Pairs the reader packed are written as their objects write them.
    Ref<Doc> packed = borvane::MakeRef<Doc>();
    String packed_text, unpacked_text, none, start;
    bool indent = false;
    Try([&] { packed->ReadXML(text, none); });
    Try([&] { packed_text = packed->WriteXML(indent, start); });
    for (int32_t i = 1; i <= packed->Count(); ++i) packed->Item(Variant(i))->Attributes();
    Try([&] { unpacked_text = packed->WriteXML(indent, start); });
    if (!(packed_text == unpacked_text)) Differ("the writing of packed pairs");
    String expression = doc->Item(Variant(int32_t{1}))->Name();
    Ref<Doc> selection = doc->SelectNodes(expression);
    Variant last = doc->Count();
    Try([&] { doc->Remove(last); });
    Try([&] { doc->Clear(); });
  }
  return 0;
}
