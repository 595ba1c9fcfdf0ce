// Helpers for the document tree tests: typed calls with the by-reference arguments filled in.
#ifndef BORVANE_TESTS_DOCTREE_DOCTREE_TEST_UTIL_H_
#define BORVANE_TESTS_DOCTREE_DOCTREE_TEST_UTIL_H_

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "borvane/automation/error.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/error_handling.h"

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

// The error that `body` raises; fails the test when it raises none.
inline Error Raised(const std::function<void()>& body) {
  try {
    body();
  } catch (const Error& e) {
    return e;
  }
  ADD_FAILURE() << "no error raised";
  return Error(0, String(), String());
}

// Whether `e` is the guarded operation's error with that Source.
inline ::testing::AssertionResult IsGuarded(const Error& e, const char* source) {
  if (e.Number() == kGuardedErrorNumber && e.Source() == String(source) &&
      e.Description() == String(kUnknownErrorDescription))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "error " << e.Number() << " from " << e.Source().ToUtf8() << ": " << e.what();
}

inline std::string U8(const String& s) {
  return s.ToUtf8();
}

}  // namespace borvane::testing

#endif  // BORVANE_TESTS_DOCTREE_DOCTREE_TEST_UTIL_H_
