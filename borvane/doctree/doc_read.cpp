// The reader of the document's text form. It is no XML parser: it cuts the text at tag starts
// outside quotes and never rejects a text for being malformed.
//
// The text is read in one pass. White space outside tags and quotes is dropped while the text
// is cut at tag starts, and each tag is handled as soon as it is complete, so that no stripped
// copy of the whole text is made.
#include <algorithm>
#include <memory>
#include <string>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/error_handling.h"

namespace borvane {

namespace {

// A character of this code in the text cuts it like a tag start.
constexpr char16_t kTagMark = u'\x1e';

// Characters that the scanner has to look at; all others are copied as they stand.
constexpr bool IsSpecial(char16_t ch) {
  switch (ch) {
    case u'<':
    case u'>':
    case u'"':
    case u' ':
    case u'\r':
    case u'\n':
    case u'\t':
    case u'\x01':
    case kTagMark:
      return true;
    default:
      return false;
  }
}

// All of them are below 64, so one shift of a mask tells.
constexpr uint64_t SpecialMask() {
  uint64_t mask = 0;
  for (int i = 0; i < 64; ++i)
    if (IsSpecial(static_cast<char16_t>(i))) mask |= uint64_t{1} << i;
  return mask;
}
constexpr uint64_t kSpecialMask = SpecialMask();

inline bool Special(char16_t ch) {
  return ch < 64 && ((kSpecialMask >> ch) & 1);
}

// Cuts a text into the pieces between tag starts, without the white space that stands outside
// tags and quotes and without characters of code 1. A "<" outside quotes and a character of
// code 30 anywhere start a new piece; what stands before the first is no piece.
class TagScanner {
 public:
  explicit TagScanner(std::u16string_view text) : p_(text.data()), end_(p_ + text.size()) {}

  // The next piece, or false at the end of the text. The view lasts until the next call.
  // `gt` is the place of the piece's first ">", and `space` that of the first space before it;
  // npos when there is none.
  bool Next(std::u16string_view& piece, size_t& gt, size_t& space) {
    // The state lives in locals while the loop runs, so that it stays in registers.
    const char16_t* p = p_;
    const char16_t* const end = end_;
    bool in_tag = in_tag_;
    bool in_quote = in_quote_;
    char16_t* out = buffer_.get();
    char16_t* limit = out + capacity_;
    // Places in the piece, kept as offsets since the buffer may move: the first ">", and the
    // first space before it.
    constexpr size_t npos = std::u16string_view::npos;
    size_t first_gt = npos;
    size_t first_space = npos;
    bool cut = false;
    auto mark = [&](size_t& at) {
      if (first_gt == npos && at == npos) at = static_cast<size_t>(out - buffer_.get()) - 1;
    };
    auto put = [&](char16_t ch) {
      if (out == limit) [[unlikely]] {
        size_t n = static_cast<size_t>(out - buffer_.get());
        Grow(n + 1);
        out = buffer_.get() + n;
        limit = buffer_.get() + capacity_;
      }
      *out++ = ch;
    };
    while (p < end) {
      char16_t ch = *p++;
      if (!Special(ch)) {
        put(ch);
        continue;
      }
      switch (ch) {
        case u'"':
          in_quote = !in_quote;
          put(ch);
          continue;
        case u'>':
          if (!in_quote) in_tag = false;
          put(ch);
          mark(first_gt);
          continue;
        case u'<':
          if (in_quote) {
            put(ch);
            continue;
          }
          in_tag = true;
          break;  // a cut
        case kTagMark:
          break;  // a cut
        case u'\x01':
          continue;
        default:  // white space stays inside a tag or quotes only
          if (in_tag || in_quote) {
            put(ch);
            if (ch == u' ') mark(first_space);
          }
          continue;
      }
      if (started_) {
        cut = true;
        break;
      }
      started_ = true;
      out = buffer_.get();
      first_gt = first_space = npos;
    }
    if (!cut) {
      if (!started_) return false;
      started_ = false;  // the last piece is given once
    }
    p_ = p;
    in_tag_ = in_tag;
    in_quote_ = in_quote;
    const char16_t* begin = buffer_.get();
    piece = std::u16string_view(begin, static_cast<size_t>(out - begin));
    gt = first_gt;
    space = first_space;
    return true;
  }

 private:
  void Grow(size_t needed) {
    size_t capacity = std::max(needed, capacity_ ? capacity_ * 2 : 256);
    std::unique_ptr<char16_t[]> bigger(new char16_t[capacity]);
    std::copy(buffer_.get(), buffer_.get() + capacity_, bigger.get());
    buffer_ = std::move(bigger);
    capacity_ = capacity;
  }

  const char16_t* p_;
  const char16_t* end_;
  bool in_tag_ = false;
  bool in_quote_ = false;
  bool started_ = false;  // a tag start has been seen
  std::unique_ptr<char16_t[]> buffer_;
  size_t capacity_ = 0;
};

// A number of the plain form -ddd or -ddd.ddd, with at most 15 digits: such a text passes the
// numeric test of any locale whose decimal point is ".", and its value is exact as the quotient
// of two exact doubles, as the leading-number conversion gives it. False for any other text.
bool PlainNumber(std::u16string_view text, double& out) {
  static constexpr double kPow10[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                      1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  size_t i = 0;
  bool negative = false;
  if (i < text.size() && text[i] == u'-') {
    negative = true;
    ++i;
  }
  uint64_t mantissa = 0;
  int digits = 0;
  int fraction = -1;  // digits behind the point, -1 without a point
  for (; i < text.size(); ++i) {
    char16_t ch = text[i];
    if (ch >= u'0' && ch <= u'9') {
      mantissa = mantissa * 10 + (ch - u'0');
      if (++digits > 15) return false;
      if (fraction >= 0) ++fraction;
    } else if (ch == u'.' && fraction < 0 && digits > 0) {
      fraction = 0;
    } else {
      return false;
    }
  }
  if (digits == 0 || fraction == 0) return false;
  if (fraction > 0 && ThreadLocale().decimal != u'.') return false;
  double value = static_cast<double>(mantissa);
  if (fraction > 0) value /= kPow10[fraction];
  out = (negative && value != 0) ? -value : value;
  return true;
}

// The value of an opening tag from the text behind its ">": quoted text with "{\34}" for a
// quote, then True/False in any case, then a number as a Double, else the text itself.
Variant ValueOf(std::u16string_view text) {
  if (text.empty()) return Variant(String());
  if (text.front() == u'"' && text.back() == u'"') {
    if (text.size() == 1) ThrowPlatformError(kErrInvalidCall);
    std::u16string_view inner = text.substr(1, text.size() - 2);
    constexpr std::u16string_view kEscape = u"{\\34}";
    size_t brace = inner.find(u'{');
    if (brace == std::u16string_view::npos) return Variant(String(inner));
    std::u16string out(inner.substr(0, brace));
    for (size_t i = brace; i < inner.size();) {
      if (inner[i] == u'{' && inner.substr(i, kEscape.size()) == kEscape) {
        out += u'"';
        i += kEscape.size();
      } else {
        out += inner[i++];
      }
    }
    return Variant(String(std::move(out)));
  }
  char16_t first = text.front() | 0x20;
  if (first == u't' && EqualsNoCase(text, u"True")) return Variant(true);
  if (first == u'f' && EqualsNoCase(text, u"False")) return Variant(false);
  double number;
  if (PlainNumber(text, number)) return Variant(number);
  Variant value{String(text)};
  if (IsNumeric(value)) return Variant(Val(value.StringRef()));
  return value;
}

}  // namespace

// The text is scanned as 16-bit code units rather than after a conversion to the ANSI code page:
// the seven characters that matter keep their meaning, and no character is lost on the way,
// where a code page conversion would turn characters it cannot hold into "?". The reader scans
// the same way (TagScanner).
String Doc::StripWhitespace(String& Text) {
  if (Text.empty()) return String();
  std::u16string out;
  out.reserve(Text.size());
  bool in_tag = false;
  bool in_quote = false;
  for (char16_t ch : Text.view()) {
    switch (ch) {
      case u'<':
        if (!in_quote) in_tag = true;
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
  return String(std::move(out));
}

void Doc::ReadXML(String& XMLText, String& ParentKey) {
  Guarded("Doc:ReadXML Method", [&] {
    if (XMLText.empty()) return;
    // Nodes read stay in this Doc's list until the end of the call, and nothing frees a node
    // while the call runs, so plain pointers to them and to their parents stay valid; the node
    // named by ParentKey is held here.
    Ref<DocNode> start_node;
    if (!ParentKey.empty()) start_node = Item(Variant(ParentKey));
    DocNode* current = start_node.Get();
    // The node whose key stands for the parent of the next node: the current node as it was at
    // the start of the last tag, so that it stays set when a closing tag leaves no current node.
    DocNode* keyed = nullptr;
    TagScanner scanner(XMLText.view());
    std::u16string_view piece;
    size_t gt, space;
    NodeName last_name;
    while (scanner.Next(piece, gt, space)) {
      if (current) keyed = current;
      if (!piece.empty() && piece.front() == u'/') {
        // Any closing tag closes the current node, whatever its name.
        if (!current) ThrowPlatformError(kErrObjectNotSet);
        current = current->mobjParent;
        continue;
      }
      if (gt == std::u16string_view::npos || gt == 0) continue;
      std::u16string_view head = piece.substr(0, gt);
      std::u16string_view name = head.substr(0, space);
      // Names repeat: the nodes of one text share the last name while it stays the same.
      if (name != last_name.view()) last_name = NodeName(name);
      DocNode* node = AddReadNode(keyed, last_name, ValueOf(piece.substr(gt + 1)));
      current = node;
      if (space != std::u16string_view::npos && space + 1 < head.size())
        node->Attributes()->ReadAttributeString(head.substr(space + 1));
    }
  });
}

}  // namespace borvane
