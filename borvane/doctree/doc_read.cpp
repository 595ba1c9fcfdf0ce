// The reader of the document's text form. It is no XML parser: it cuts the text at tag starts
// outside quotes and never rejects a text for being malformed.
#include <string>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/error_handling.h"

namespace borvane {

namespace {

// What a tag start outside quotes becomes before the text is cut into tags. The character
// itself in the input cuts the text too.
constexpr char16_t kTagMark = u'\x1e';

// Drops white space (space, CR, LF, tab) that stands neither inside a tag nor inside quotes,
// and every character of code 1. With `mark`, a "<" outside quotes becomes kTagMark.
//
// The text is scanned as 16-bit code units rather than after a conversion to the ANSI code
// page: the seven characters that matter keep their meaning, and no character is lost on the
// way, where a code page conversion would turn characters it cannot hold into "?".
std::u16string Strip(std::u16string_view text, bool mark) {
  std::u16string out;
  out.reserve(text.size());
  bool in_tag = false;
  bool in_quote = false;
  for (char16_t ch : text) {
    switch (ch) {
      case u'<':
        if (!in_quote) {
          in_tag = true;
          if (mark) ch = kTagMark;
        }
        break;
      case u'>':
        if (!in_quote) in_tag = false;
        break;
      case u'"':
        in_quote = !in_quote;
        break;
      case u' ':
      case u'\r':
      case u'\n':
      case u'\t':
        if (!in_tag && !in_quote) continue;
        break;
      case u'\x01':
        continue;
      default:
        break;
    }
    out += ch;
  }
  return out;
}

// The value of an opening tag from the text behind its ">": quoted text with "{\34}" for a
// quote, then True/False in any case, then a number as a Double, else the text itself.
Variant ValueOf(std::u16string_view text) {
  if (text.empty()) return Variant(String());
  if (text.front() == u'"' && text.back() == u'"') {
    if (text.size() == 1) ThrowPlatformError(kErrInvalidCall);
    std::u16string_view inner = text.substr(1, text.size() - 2);
    constexpr std::u16string_view kEscape = u"{\\34}";
    std::u16string out;
    out.reserve(inner.size());
    for (size_t i = 0; i < inner.size();) {
      if (inner[i] == u'{' && inner.substr(i, kEscape.size()) == kEscape) {
        out += u'"';
        i += kEscape.size();
      } else {
        out += inner[i++];
      }
    }
    return Variant(String(std::move(out)));
  }
  if (EqualsNoCase(text, u"True")) return Variant(true);
  if (EqualsNoCase(text, u"False")) return Variant(false);
  Variant value{String(text)};
  if (IsNumeric(value)) return Variant(Val(value.StringRef()));
  return value;
}

}  // namespace

String Doc::StripWhitespace(String& Text) {
  if (Text.empty()) return String();
  return String(Strip(Text.view(), false));
}

void Doc::ReadXML(String& XMLText, String& ParentKey) {
  Guarded("Doc:ReadXML Method", [&] {
    if (XMLText.empty()) return;
    Ref<DocNode> current;
    if (!ParentKey.empty()) current = Item(Variant(ParentKey));
    std::u16string text = Strip(XMLText.view(), true);
    const String no_key;
    // The node whose key stands for the parent of the next node: the current node as it was at
    // the start of the last tag, so that it stays set when a closing tag leaves no current node.
    Ref<DocNode> keyed;
    // What stands before the first tag is dropped.
    size_t start = text.find(kTagMark);
    while (start != std::u16string::npos) {
      size_t end = text.find(kTagMark, start + 1);
      std::u16string_view piece(text.data() + start + 1,
                                (end == std::u16string::npos ? text.size() : end) - start - 1);
      start = end;
      if (current) keyed = current;
      if (!piece.empty() && piece.front() == u'/') {
        // Any closing tag closes the current node, whatever its name.
        if (!current) ThrowPlatformError(kErrObjectNotSet);
        current = current->Parent();
        continue;
      }
      size_t gt = piece.find(u'>');
      if (gt == std::u16string_view::npos || gt == 0) continue;
      std::u16string_view head = piece.substr(0, gt);
      size_t space = head.find(u' ');
      String name(head.substr(0, space));
      String key;
      DocNode* node = AddNode(keyed ? keyed->mstrKey : no_key, keyed.Get(), iagChild, key,
                              std::move(name), ValueOf(piece.substr(gt + 1)));
      current = Ref<DocNode>(node);
      if (space != std::u16string_view::npos && space + 1 < head.size()) {
        // A node read without attributes needs no Attributes object until one is asked for.
        String attributes(head.substr(space + 1));
        node->Attributes()->FromAttributeString(attributes);
      }
    }
  });
}

}  // namespace borvane
