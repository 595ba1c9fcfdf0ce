// The reader's steps taken literally, one pass of string splitting at a time, on the public
// members: what Doc.ReadXML must build from any text. The tests and the reader's fuzz target
// hold the reader to it.
#ifndef BORVANE_TESTS_DOCTREE_REFERENCE_READER_H_
#define BORVANE_TESTS_DOCTREE_REFERENCE_READER_H_

#include <string>
#include <string_view>
#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/doctree/doc.h"

namespace borvane::reference {

// Strip, mark the tags outside quotes, cut, one Add per opening tag. False when a step fails.
inline bool ReferenceRead(Doc& doc, String xml) {
  if (xml.empty()) return true;
  try {
    std::vector<String> parts = Split(doc.StripWhitespace(xml), u"\"");
    for (size_t i = 0; i < parts.size(); i += 2) parts[i] = Replace(parts[i], u"<", u"\x1e");
    std::vector<String> tags = Split(Join(parts, u"\""), u"\x1e");
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
        value = Replace(String(text.substr(1, text.size() - 2)), u"{\\34}", u"\"");
      } else if (EqualsNoCase(text, u"True") || EqualsNoCase(text, u"False")) {
        value = EqualsNoCase(text, u"True");
      } else if (IsNumeric(Variant(String(text)))) {
        value = Val(String(text));
      } else {
        value = String(text);
      }
      enumRelationship how = iagChild;
      String key;
      current = doc.Add(parent_key, how, key, name, value);
      current->Attributes()->FromAttributeString(attrs);
    }
  } catch (const Error&) {
    return false;
  }
  return true;
}

// What first differs between the nodes of two documents (count, key or name, value, parent,
// attributes), or nullptr when they hold the same.
inline const char* FirstDifference(Doc& ours, Doc& reference) {
  if (ours.Count() != reference.Count()) return "count";
  for (int32_t i = 1; i <= ours.Count(); ++i) {
    Ref<DocNode> a = ours.Item(Variant(i)), b = reference.Item(Variant(i));
    if (a->Key() != b->Key() || a->Name() != b->Name()) return "key or name";
    Variant va = a->Value(), vb = b->Value();
    if (va.VarType() != vb.VarType() || CStr(va) != CStr(vb)) return "value";
    Ref<DocNode> pa = a->Parent(), pb = b->Parent();
    if (bool(pa) != bool(pb) || (pa && pa->Key() != pb->Key())) return "parent";
    if (a->Attributes()->ToAttributeString() != b->Attributes()->ToAttributeString())
      return "attributes";
  }
  return nullptr;
}

// Reads `text` into `doc` and into a Doc of its own by the literal steps; what first differs
// between the two (the outcome "failure", or as FirstDifference tells), or nullptr.
inline const char* DifferenceFromSteps(Doc& doc, const String& text) {
  String xml = text, no_parent;
  bool read = true;
  try {
    doc.ReadXML(xml, no_parent);
  } catch (const Error&) {
    read = false;
  }
  Ref<Doc> reference = MakeRef<Doc>();
  if (ReferenceRead(*reference, text) != read) return "failure";
  return FirstDifference(doc, *reference);
}

}  // namespace borvane::reference

#endif  // BORVANE_TESTS_DOCTREE_REFERENCE_READER_H_
