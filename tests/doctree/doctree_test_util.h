// Helpers for the document tree tests: typed calls with the by-reference arguments filled in.
#ifndef BORVANE_TESTS_DOCTREE_DOCTREE_TEST_UTIL_H_
#define BORVANE_TESTS_DOCTREE_DOCTREE_TEST_UTIL_H_

#include "borvane/doctree/doc.h"
#include "tests/test_support.h"

namespace borvane::testing {

// Adds a node; with a relative it becomes that node's last child.
inline Ref<DocNode> AddNode(Doc& doc, const String& relative, const String& name,
                            Variant value = Variant::Missing(), String key = String()) {
  String rel = relative, nm = name;
  enumRelationship how = relative.empty() ? enumRelationship(2) : iagChild;
  return doc.Add(rel, how, key, nm, value);
}

inline String Write(Doc& doc, bool indent = false, const String& start = String()) {
  String s = start;
  return doc.WriteXML(indent, s);
}

inline void Read(Doc& doc, const String& text, const String& parent = String()) {
  String t = text, p = parent;
  doc.ReadXML(t, p);
}

inline Ref<DocNode> At(Doc& doc, const Variant& index) {
  return doc.Item(index);
}

// Removes the node with that key or position.
inline void Remove(Doc& doc, const Variant& index) {
  Variant i = index;
  doc.Remove(i);
}

inline Ref<Doc> Select(Doc& doc, const String& expression) {
  String e = expression;
  return doc.SelectNodes(e);
}

inline Ref<DocNode> Single(DocNode& node, const String& name, bool deep) {
  String n = name;
  return node.SelectSingleNode(n, deep);
}

// Adds an attribute to the node's list.
inline void AddAttribute(DocNode& node, const String& name, Variant value) {
  String n = name;
  node.Attributes()->Add(n, value);
}

}  // namespace borvane::testing

#endif  // BORVANE_TESTS_DOCTREE_DOCTREE_TEST_UTIL_H_
