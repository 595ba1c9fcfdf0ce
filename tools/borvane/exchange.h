// Standard JSON and XML for the tool's exchange forms (doc export and import, ini dump --json):
// a writer of each, and readers of as much of each as those forms need, which is all of JSON
// and the element, attribute and reference parts of XML 1.0.
#ifndef BORVANE_TOOLS_BORVANE_EXCHANGE_H_
#define BORVANE_TOOLS_BORVANE_EXCHANGE_H_

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "borvane/borvane.h"

namespace borvane::tool {

// Input that is not what a reader takes: the line (from 1) where it was found, and why.
struct ExchangeError {
  size_t line = 0;
  std::string message;
};

// The shortest text of a finite number that reads back as the same Double ("12.5", "2",
// "1e+20").
std::string NumberText(double value);
// A number read from the whole of `text`, as JSON writes one; false when it is none.
bool ParseNumber(std::string_view text, double& value);

// JSON written as it goes: two spaces of indentation, keys in the order given, strings as
// UTF-8 with the escapes JSON needs (a code unit of a broken surrogate pair as \uXXXX). An
// object begun `on_one_line` keeps its members on one line.
class JsonWriter {
 public:
  void BeginObject(bool on_one_line = false) { Open('{', on_one_line); }
  void EndObject() { Close('}'); }
  void BeginArray() { Open('[', false); }
  void EndArray() { Close(']'); }
  void Key(const String& name);
  void Text(const String& text);
  void Number(double value);
  void Boolean(bool value);
  void Null();
  // The text, ended by a line feed.
  std::string Finish();

 private:
  struct Level {
    bool has_items = false;
    bool one_line = false;
  };
  void Open(char bracket, bool one_line);
  void Close(char bracket);
  void BeforeValue();
  std::string out_;
  std::vector<Level> levels_;  // per open bracket
  bool after_key_ = false;
};

struct JsonMember;

struct JsonValue {
  enum Kind { kNull, kBoolean, kNumber, kText, kArray, kObject };
  Kind kind = kNull;
  bool boolean = false;
  double number = 0;
  String text;
  std::vector<JsonValue> items;     // an array's
  std::vector<JsonMember> members;  // an object's, in order
  size_t line = 0;                  // where the value begins

  // The member of that name, or nullptr.
  const JsonValue* Find(std::u16string_view name) const;
};

// A member of a JSON object (a struct of its own: a std::pair of a type still being defined is
// refused by some standard libraries).
struct JsonMember {
  String name;
  JsonValue value;
};

// Reads one JSON text (RFC 8259, UTF-8, a byte-order mark allowed); raises ExchangeError.
// A name used twice in one object is refused.
JsonValue ParseJson(std::string_view utf8);

struct XmlElement {
  std::string name;
  std::vector<std::pair<std::string, String>> attributes;  // in order, values decoded
  std::vector<XmlElement> children;
  size_t line = 0;

  const String* Attribute(std::string_view attribute) const;
};

// XML written as it goes, in UTF-8 behind its declaration, one element a line, indented by
// two spaces; attribute values escaped so that any parser gives them back exactly (line
// breaks and tabs as character references). Raises ExchangeError for a text that XML cannot
// hold (control characters other than tab and line breaks, broken surrogate pairs, U+FFFE,
// U+FFFF), naming `what`.
class XmlWriter {
 public:
  XmlWriter();
  // Opens an element; `attributes` are written in the order given.
  void Open(std::string_view name,
            const std::vector<std::pair<std::string_view, String>>& attributes, bool empty,
            const std::string& what);
  void Close(std::string_view name);
  std::string Finish() { return std::move(out_); }

 private:
  std::string out_;
  int depth_ = 0;
};

// Reads an XML 1.0 document in UTF-8 (a byte-order mark and a declaration allowed): its root
// element with the elements below it. Comments and processing instructions are passed over;
// text between elements must be white space; a document type declaration is refused. Raises
// ExchangeError.
XmlElement ParseXml(std::string_view utf8);

}  // namespace borvane::tool

#endif  // BORVANE_TOOLS_BORVANE_EXCHANGE_H_
