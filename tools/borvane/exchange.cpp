#include "tools/borvane/exchange.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "borvane/platform/files/text_encoding.h"

namespace borvane::tool {

namespace {

void AppendUtf8(char32_t c, std::string& out) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

void AppendCodePoint(char32_t c, std::u16string& out) {
  if (c < 0x10000) {
    out.push_back(static_cast<char16_t>(c));
  } else {
    out.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
  }
}

// Walks a 16-bit text by code points; a surrogate without its partner comes alone, as
// `broken`.
template <class F>
void ForEachCodePoint(std::u16string_view s, F&& f) {
  for (size_t i = 0; i < s.size(); ++i) {
    char16_t u = s[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 &&
        s[i + 1] <= 0xDFFF) {
      f(0x10000 + ((static_cast<char32_t>(u) - 0xD800) << 10) + (s[i + 1] - 0xDC00), false);
      ++i;
    } else {
      f(static_cast<char32_t>(u), u >= 0xD800 && u <= 0xDFFF);
    }
  }
}

constexpr char kHex[] = "0123456789abcdef";

void AppendJsonString(std::u16string_view s, std::string& out) {
  out += '"';
  ForEachCodePoint(s, [&](char32_t c, bool broken) {
    switch (c) {
      case '"':
        out += "\\\"";
        return;
      case '\\':
        out += "\\\\";
        return;
      case '\n':
        out += "\\n";
        return;
      case '\r':
        out += "\\r";
        return;
      case '\t':
        out += "\\t";
        return;
      case '\b':
        out += "\\b";
        return;
      case '\f':
        out += "\\f";
        return;
      default:
        break;
    }
    if (c < 0x20 || broken) {
      out += "\\u";
      for (int shift = 12; shift >= 0; shift -= 4) out += kHex[(c >> shift) & 0xF];
      return;
    }
    AppendUtf8(c, out);
  });
  out += '"';
}

// Reads UTF-8 text into 16-bit units; false for bytes that are not UTF-8.
bool DecodeUtf8(std::string_view bytes, std::u16string& out) {
  if (!platform::IsValidUtf8(bytes)) return false;
  out += Utf8ToUtf16(bytes);
  return true;
}

// --- JSON reading -----------------------------------------------------------------------------

class JsonReader {
 public:
  explicit JsonReader(std::string_view text) : s_(text) {}

  JsonValue Document() {
    if (s_.substr(0, platform::kUtf8Bom.size()) == platform::kUtf8Bom) pos_ = 3;
    JsonValue v = Value(0);
    Space();
    if (pos_ != s_.size()) Fail("more text behind the JSON value");
    return v;
  }

 private:
  [[noreturn]] void Fail(const std::string& why) { throw ExchangeError{line_, why}; }

  void Space() {
    while (pos_ < s_.size()) {
      char c = s_[pos_];
      if (c == '\n') {
        ++line_;
      } else if (c != ' ' && c != '\t' && c != '\r') {
        return;
      }
      ++pos_;
    }
  }

  bool Word(std::string_view word) {
    if (s_.substr(pos_, word.size()) != word) return false;
    pos_ += word.size();
    return true;
  }

  JsonValue Value(int depth) {
    if (depth > 512) Fail("values nested too deeply");
    Space();
    JsonValue v;
    v.line = line_;
    if (pos_ >= s_.size()) Fail("the text ends where a value is expected");
    char c = s_[pos_];
    if (c == '{') {
      v.kind = JsonValue::kObject;
      ++pos_;
      Space();
      if (pos_ < s_.size() && s_[pos_] == '}') {
        ++pos_;
        return v;
      }
      for (;;) {
        Space();
        if (pos_ >= s_.size() || s_[pos_] != '"') Fail("a member name in double quotes expected");
        String name = Text();
        for (const auto& m : v.members)
          if (m.name == name) Fail("the name \"" + name.ToUtf8() + "\" twice in one object");
        Space();
        if (pos_ >= s_.size() || s_[pos_] != ':') Fail("\":\" expected after a member name");
        ++pos_;
        v.members.push_back({std::move(name), Value(depth + 1)});
        Space();
        if (pos_ < s_.size() && s_[pos_] == ',') {
          ++pos_;
          continue;
        }
        if (pos_ < s_.size() && s_[pos_] == '}') {
          ++pos_;
          return v;
        }
        Fail("\",\" or \"}\" expected in an object");
      }
    }
    if (c == '[') {
      v.kind = JsonValue::kArray;
      ++pos_;
      Space();
      if (pos_ < s_.size() && s_[pos_] == ']') {
        ++pos_;
        return v;
      }
      for (;;) {
        v.items.push_back(Value(depth + 1));
        Space();
        if (pos_ < s_.size() && s_[pos_] == ',') {
          ++pos_;
          continue;
        }
        if (pos_ < s_.size() && s_[pos_] == ']') {
          ++pos_;
          return v;
        }
        Fail("\",\" or \"]\" expected in an array");
      }
    }
    if (c == '"') {
      v.kind = JsonValue::kText;
      v.text = Text();
      return v;
    }
    if (Word("true")) {
      v.kind = JsonValue::kBoolean;
      v.boolean = true;
      return v;
    }
    if (Word("false")) {
      v.kind = JsonValue::kBoolean;
      return v;
    }
    if (Word("null")) return v;
    size_t start = pos_;
    while (pos_ < s_.size() && s_[pos_] != '\0' && std::strchr("+-0123456789.eE", s_[pos_])) ++pos_;
    v.kind = JsonValue::kNumber;
    if (start == pos_ || !ParseNumber(s_.substr(start, pos_ - start), v.number))
      Fail("not a JSON value");
    return v;
  }

  unsigned Hex4() {
    if (pos_ + 4 > s_.size()) Fail("\\u needs four hexadecimal digits");
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
      char h = s_[pos_++];
      value <<= 4;
      if (h >= '0' && h <= '9') {
        value |= static_cast<unsigned>(h - '0');
      } else if (h >= 'a' && h <= 'f') {
        value |= static_cast<unsigned>(h - 'a' + 10);
      } else if (h >= 'A' && h <= 'F') {
        value |= static_cast<unsigned>(h - 'A' + 10);
      } else {
        Fail("\\u needs four hexadecimal digits");
      }
    }
    return value;
  }

  String Text() {
    ++pos_;  // the opening quote
    std::u16string out;
    size_t run = pos_;
    auto flush = [&] {
      if (!DecodeUtf8(s_.substr(run, pos_ - run), out)) Fail("a string that is not UTF-8");
    };
    while (true) {
      if (pos_ >= s_.size()) Fail("a string without its closing quote");
      char c = s_[pos_];
      if (c == '"') {
        flush();
        ++pos_;
        return String(std::move(out));
      }
      if (static_cast<unsigned char>(c) < 0x20) Fail("a control character in a string");
      if (c != '\\') {
        ++pos_;
        continue;
      }
      flush();
      if (++pos_ >= s_.size()) Fail("a string without its closing quote");
      char e = s_[pos_++];
      switch (e) {
        case '"':
        case '\\':
        case '/':
          out.push_back(static_cast<char16_t>(e));
          break;
        case 'b':
          out.push_back(u'\b');
          break;
        case 'f':
          out.push_back(u'\f');
          break;
        case 'n':
          out.push_back(u'\n');
          break;
        case 'r':
          out.push_back(u'\r');
          break;
        case 't':
          out.push_back(u'\t');
          break;
        case 'u':
          // Each escape is one 16-bit unit, as in the String: a pair given as two escapes
          // joins there, and a lone one stays.
          out.push_back(static_cast<char16_t>(Hex4()));
          break;
        default:
          Fail(std::string("an unknown escape \\") + e);
      }
      run = pos_;
    }
  }

  std::string_view s_;
  size_t pos_ = 0;
  size_t line_ = 1;
};

// --- XML reading ------------------------------------------------------------------------------

bool IsXmlSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool IsNameChar(char c) {
  return !IsXmlSpace(c) && !std::strchr("<>/=\"'&!?", c) && c != '\0';
}

class XmlReader {
 public:
  explicit XmlReader(std::string_view text) {
    if (text.substr(0, platform::kUtf8Bom.size()) == platform::kUtf8Bom) text.remove_prefix(3);
    // Line ends are normalised first, as XML wants: CR LF and CR alone become LF.
    s_.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\r') {
        s_ += '\n';
        if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
      } else {
        s_ += text[i];
      }
    }
  }

  XmlElement Document() {
    if (!platform::IsValidUtf8(s_)) Fail("the text is not UTF-8");
    if (Starts("<?xml") && pos_ + 5 < s_.size() && IsXmlSpace(s_[pos_ + 5])) Declaration();
    Misc();
    if (Starts("<!DOCTYPE")) Fail("a document type declaration is not taken");
    if (!Starts("<")) Fail("the root element is missing");
    XmlElement root = Element(0);
    Misc();
    if (pos_ != s_.size()) Fail("more behind the root element");
    return root;
  }

 private:
  [[noreturn]] void Fail(const std::string& why) { throw ExchangeError{line_, why}; }

  bool Starts(std::string_view what) const { return s_.compare(pos_, what.size(), what) == 0; }

  void Advance(size_t n) {
    for (size_t i = 0; i < n && pos_ < s_.size(); ++i)
      if (s_[pos_++] == '\n') ++line_;
  }

  void Space() {
    while (pos_ < s_.size() && IsXmlSpace(s_[pos_])) Advance(1);
  }

  // Skips to behind `end`.
  void SkipPast(std::string_view end, const char* what) {
    size_t at = s_.find(end, pos_);
    if (at == std::string::npos) Fail(std::string(what) + " without its end");
    Advance(at + end.size() - pos_);
  }

  void Declaration() {
    size_t end = s_.find("?>", pos_);
    if (end == std::string::npos) Fail("the XML declaration without its end");
    std::string_view decl = std::string_view(s_).substr(pos_, end - pos_);
    size_t enc = decl.find("encoding");
    if (enc != std::string_view::npos) {
      size_t q = decl.find_first_of("\"'", enc);
      if (q != std::string_view::npos) {
        size_t q2 = decl.find(decl[q], q + 1);
        std::string name(decl.substr(q + 1, q2 == std::string_view::npos ? 0 : q2 - q - 1));
        for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (name != "utf-8" && name != "utf8") Fail("the encoding " + name + " (UTF-8 is taken)");
      }
    }
    Advance(end + 2 - pos_);
  }

  // Comments, processing instructions and white space.
  void Misc() {
    for (;;) {
      Space();
      if (Starts("<!--")) {
        SkipPast("-->", "a comment");
      } else if (Starts("<?")) {
        SkipPast("?>", "a processing instruction");
      } else {
        return;
      }
    }
  }

  std::string Name() {
    size_t start = pos_;
    while (pos_ < s_.size() && IsNameChar(s_[pos_])) ++pos_;
    if (start == pos_) Fail("a name expected");
    return s_.substr(start, pos_ - start);
  }

  // Text with its references replaced; in an attribute value white space becomes a space.
  String Decode(std::string_view raw, bool attribute) {
    std::u16string out;
    size_t run = 0;
    auto flush = [&](size_t to) { out += Utf8ToUtf16(raw.substr(run, to - run)); };
    for (size_t i = 0; i < raw.size(); ++i) {
      char c = raw[i];
      if (attribute && (c == '\n' || c == '\t')) {
        flush(i);
        out.push_back(u' ');
        run = i + 1;
      } else if (c == '<') {
        Fail("\"<\" in an attribute value");
      } else if (c == '&') {
        flush(i);
        size_t semi = raw.find(';', i);
        if (semi == std::string_view::npos) Fail("\"&\" without \";\"");
        std::string_view ref = raw.substr(i + 1, semi - i - 1);
        if (ref == "lt") {
          out.push_back(u'<');
        } else if (ref == "gt") {
          out.push_back(u'>');
        } else if (ref == "amp") {
          out.push_back(u'&');
        } else if (ref == "quot") {
          out.push_back(u'"');
        } else if (ref == "apos") {
          out.push_back(u'\'');
        } else if (ref.size() > 1 && ref[0] == '#') {
          bool hex = ref[1] == 'x';
          std::string_view digits = ref.substr(hex ? 2 : 1);
          uint32_t value = 0;
          auto [end, ec] =
              std::from_chars(digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10);
          bool allowed =
              value == 0x9 || value == 0xA || value == 0xD || (value >= 0x20 && value <= 0xD7FF) ||
              (value >= 0xE000 && value <= 0xFFFD) || (value >= 0x10000 && value <= 0x10FFFF);
          if (digits.empty() || ec != std::errc() || end != digits.data() + digits.size() ||
              !allowed)
            Fail("the character reference &" + std::string(ref) + "; is not one XML allows");
          AppendCodePoint(value, out);
        } else {
          Fail("the entity &" + std::string(ref) + "; (only XML's five and character references)");
        }
        i = semi;
        run = i + 1;
      }
    }
    flush(raw.size());
    return String(std::move(out));
  }

  XmlElement Element(int depth) {
    if (depth > 512) Fail("elements nested too deeply");
    XmlElement e;
    e.line = line_;
    Advance(1);  // "<"
    e.name = Name();
    for (;;) {
      size_t before = pos_;
      Space();
      if (Starts("/>")) {
        Advance(2);
        return e;
      }
      if (Starts(">")) {
        Advance(1);
        break;
      }
      if (pos_ == before) Fail("white space expected between attributes");
      std::string name = Name();
      Space();
      if (!Starts("=")) Fail("\"=\" expected after the attribute " + name);
      Advance(1);
      Space();
      if (pos_ >= s_.size() || (s_[pos_] != '"' && s_[pos_] != '\''))
        Fail("a quoted value expected");
      char quote = s_[pos_];
      size_t end = s_.find(quote, pos_ + 1);
      if (end == std::string::npos) Fail("an attribute value without its closing quote");
      size_t value_line = line_;
      String value = Decode(std::string_view(s_).substr(pos_ + 1, end - pos_ - 1), true);
      Advance(end + 1 - pos_);
      if (e.Attribute(name)) {
        line_ = value_line;
        Fail("the attribute " + name + " twice in one element");
      }
      e.attributes.emplace_back(std::move(name), std::move(value));
    }
    // Content: elements, and between them white space, comments and instructions.
    for (;;) {
      while (pos_ < s_.size() && s_[pos_] != '<') {
        if (!IsXmlSpace(s_[pos_])) Fail("text inside <" + e.name + ">, where only elements stand");
        Advance(1);
      }
      if (pos_ >= s_.size()) Fail("<" + e.name + "> without its end tag");
      if (Starts("</")) {
        Advance(2);
        std::string name = Name();
        Space();
        if (!Starts(">")) Fail("\">\" expected in an end tag");
        Advance(1);
        if (name != e.name) Fail("</" + name + "> where </" + e.name + "> belongs");
        return e;
      }
      if (Starts("<!--")) {
        SkipPast("-->", "a comment");
      } else if (Starts("<![CDATA[")) {
        size_t end = s_.find("]]>", pos_);
        if (end == std::string::npos) Fail("CDATA without its end");
        for (size_t i = pos_ + 9; i < end; ++i)
          if (!IsXmlSpace(s_[i])) Fail("text inside <" + e.name + ">, where only elements stand");
        Advance(end + 3 - pos_);
      } else if (Starts("<?")) {
        SkipPast("?>", "a processing instruction");
      } else if (Starts("<!")) {
        Fail("a declaration inside an element");
      } else {
        e.children.push_back(Element(depth + 1));
      }
    }
  }

  std::string s_;
  size_t pos_ = 0;
  size_t line_ = 1;
};

// Whether XML 1.0 can hold the character at all.
bool XmlAllows(char32_t c, bool broken) {
  if (broken) return false;
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c != 0xFFFE && c != 0xFFFF;
}

void AppendXmlAttribute(std::u16string_view s, std::string& out, const std::string& what) {
  ForEachCodePoint(s, [&](char32_t c, bool broken) {
    if (!XmlAllows(c, broken)) {
      char code[16];
      std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(c));
      throw ExchangeError{
          0, what + " holds the character " + code + ", which XML cannot hold (the JSON form can)"};
    }
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\t':
        out += "&#9;";
        break;
      case '\n':
        out += "&#10;";
        break;
      case '\r':
        out += "&#13;";
        break;
      default:
        AppendUtf8(c, out);
    }
  });
}

}  // namespace

std::string NumberText(double value) {
  char buffer[64];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, ec == std::errc() ? end : buffer);
}

bool ParseNumber(std::string_view text, double& value) {
  // JSON's form: -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
  size_t i = 0;
  auto digits = [&] {
    size_t start = i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
    return i - start;
  };
  if (i < text.size() && text[i] == '-') ++i;
  size_t first = i;
  size_t whole = digits();
  if (whole == 0 || (whole > 1 && text[first] == '0')) return false;
  if (i < text.size() && text[i] == '.') {
    ++i;
    if (digits() == 0) return false;
  }
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    if (digits() == 0) return false;
  }
  if (i != text.size()) return false;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  return ec == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

void JsonWriter::BeforeValue() {
  if (after_key_) {
    after_key_ = false;
    return;
  }
  if (levels_.empty()) return;
  Level& level = levels_.back();
  if (level.has_items) out_ += ',';
  level.has_items = true;
  if (level.one_line) {
    if (out_.back() == ',') out_ += ' ';
    return;
  }
  out_ += '\n';
  out_.append(levels_.size() * 2, ' ');
}

void JsonWriter::Open(char bracket, bool one_line) {
  BeforeValue();
  out_ += bracket;
  levels_.push_back({false, one_line || (!levels_.empty() && levels_.back().one_line)});
}

void JsonWriter::Close(char bracket) {
  Level level = levels_.back();
  levels_.pop_back();
  if (level.has_items && !level.one_line) {
    out_ += '\n';
    out_.append(levels_.size() * 2, ' ');
  }
  out_ += bracket;
}

void JsonWriter::Key(const String& name) {
  BeforeValue();
  AppendJsonString(name.view(), out_);
  out_ += ": ";
  after_key_ = true;
}

void JsonWriter::Text(const String& text) {
  BeforeValue();
  AppendJsonString(text.view(), out_);
}

void JsonWriter::Number(double value) {
  BeforeValue();
  out_ += NumberText(value);
}

void JsonWriter::Boolean(bool value) {
  BeforeValue();
  out_ += value ? "true" : "false";
}

void JsonWriter::Null() {
  BeforeValue();
  out_ += "null";
}

std::string JsonWriter::Finish() {
  out_ += '\n';
  return std::move(out_);
}

const JsonValue* JsonValue::Find(std::u16string_view name) const {
  for (const auto& m : members)
    if (m.name.view() == name) return &m.value;
  return nullptr;
}

JsonValue ParseJson(std::string_view utf8) {
  return JsonReader(utf8).Document();
}

const String* XmlElement::Attribute(std::string_view attribute) const {
  for (const auto& a : attributes)
    if (a.first == attribute) return &a.second;
  return nullptr;
}

XmlWriter::XmlWriter() : out_("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n") {}

void XmlWriter::Open(std::string_view name,
                     const std::vector<std::pair<std::string_view, String>>& attributes, bool empty,
                     const std::string& what) {
  out_.append(static_cast<size_t>(depth_) * 2, ' ');
  out_ += '<';
  out_ += name;
  for (const auto& [attribute, value] : attributes) {
    out_ += ' ';
    out_ += attribute;
    out_ += "=\"";
    AppendXmlAttribute(value.view(), out_, what);
    out_ += '"';
  }
  out_ += empty ? "/>\n" : ">\n";
  if (!empty) ++depth_;
}

void XmlWriter::Close(std::string_view name) {
  --depth_;
  out_.append(static_cast<size_t>(depth_) * 2, ' ');
  out_ += "</";
  out_ += name;
  out_ += ">\n";
}

XmlElement ParseXml(std::string_view utf8) {
  return XmlReader(utf8).Document();
}

}  // namespace borvane::tool
