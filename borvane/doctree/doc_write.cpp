// The writer of the document's text form: one element per node, a value line for a leaf with
// a value, tabs by Level when indenting, and "{\34}" as the only escape.
#include <algorithm>
#include <climits>
#include <memory>
#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/error_handling.h"
#include "borvane/frame/string_builder.h"
#include "borvane/platform/memory.h"

namespace borvane {

namespace {

// The text being written, straight into the String's own storage. It starts at the size that
// the tree's text can reach at most (see TextBound), so that a large text is written once and
// is neither copied on growth nor collected in pieces first. The storage is fresh memory that
// is written from end to end, which the system is told before the first touch.
class TextSink {
 public:
  explicit TextSink(size_t capacity) {
    text_.reserve(capacity);
    platform::AdviseWholeWrite(text_.data(), capacity * sizeof(char16_t));
    text_.resize(capacity);
    at_ = text_.data();
    end_ = at_ + text_.size();
  }
  void Put(char16_t ch) {
    if (at_ == end_) [[unlikely]]
      Grow(1);
    *at_++ = ch;
  }
  void Put(std::u16string_view text) {
    if (static_cast<size_t>(end_ - at_) < text.size()) [[unlikely]]
      Grow(text.size());
    for (char16_t ch : text) *at_++ = ch;
  }
  void Tabs(int32_t count) {
    for (int32_t i = 0; i < count; ++i) Put(u'\t');
  }
  size_t size() const { return static_cast<size_t>(at_ - text_.data()); }
  std::u16string Take() {
    text_.resize(size());
    return std::move(text_);
  }

 private:
  // Only when the bound was short of the text, which it is not meant to be.
  void Grow(size_t more) {
    size_t used = size();
    text_.resize(std::max(text_.size() * 2, used + more));
    at_ = text_.data() + used;
    end_ = text_.data() + text_.size();
  }

  std::u16string text_;
  char16_t* at_;
  char16_t* end_;
};

// Characters of a value line's text at most.
size_t ValueTextBound(const Variant& value) {
  switch (value.VarType()) {
    case vbString: {
      std::u16string_view text = value.StringRef().view();
      return text.size() + 2 + 4 * static_cast<size_t>(std::count(text.begin(), text.end(), u'"'));
    }
    case vbBoolean:
      return 5;
    case vbEmpty:
    case vbNull:
      return 0;
    default:
      return kNumberTextMax;  // any number, date or currency in its text form
  }
}

void AppendValueText(TextSink& out, const Variant& value) {
  switch (value.VarType()) {
    case vbString: {
      out.Put(u'"');
      std::u16string_view text = value.StringRef().view();
      for (size_t quote; (quote = text.find(u'"')) != std::u16string_view::npos;) {
        out.Put(text.substr(0, quote));
        out.Put(u"{\\34}");
        text.remove_prefix(quote + 1);
      }
      out.Put(text);
      out.Put(u'"');
      break;
    }
    case vbBoolean:
      out.Put(*value.GetIf<bool>() ? u"True" : u"False");
      break;
    case vbEmpty:
    case vbNull:
      break;  // a line with only the indentation
    case vbDouble: {
      char16_t text[kNumberTextMax];
      out.Put(std::u16string_view(text, FormatDoubleInto(*value.GetIf<double>(), text)));
      break;
    }
    default:
      out.Put(CStr(value).view());  // objects and arrays fail here
      break;
  }
}

}  // namespace

template <class Open, class Close>
void DocNode::Walk(bool indent, Open&& open, Close&& close) {
  struct Frame {
    DocNode* node;
    DocNode* next_child;
    int32_t level;
  };
  std::vector<Frame> stack;
  // Level counts from the top of the tree; below the first node it goes up by one per step.
  const int32_t first_level = indent ? Level() : 0;
  open(this, first_level);
  stack.push_back({this, mobjChild.Get(), first_level});
  while (!stack.empty()) {
    Frame& top = stack.back();
    if (DocNode* child = top.next_child) {
      top.next_child = child->mobjNextSibling.Get();
      int32_t level = 0;
      if (indent) level = child->mobjParent == top.node ? top.level + 1 : child->Level();
      open(child, level);
      stack.push_back({child, child->mobjChild.Get(), level});
      continue;
    }
    close(top.node, top.level);
    stack.pop_back();
  }
}

void DocNode::WriteNode(std::u16string& result, bool indent) {
  Ref<DocNode> keep(this);
  TextSink out(std::min(TextBound(indent), static_cast<size_t>(INT32_MAX / 2) + 1));
  std::u16string attributes;
  auto open = [&](DocNode* n, int32_t level) {
    if (indent) out.Tabs(level);
    out.Put(u'<');
    out.Put(n->mstrName.view());
    // A node whose Attributes was never read has none; the writer need not make it.
    const borvane::Attributes* list = n->AttributesIfAny();
    if (list && list->Count() > 0) {
      out.Put(u' ');
      attributes.clear();
      list->AppendAttributeString(attributes);
      out.Put(attributes);
    }
    out.Put(u">\n");
    if (!n->mobjChild && !n->mvntValue.IsMissing()) {
      if (indent) out.Tabs(level);
      AppendValueText(out, n->mvntValue);
      out.Put(u'\n');
    }
  };
  auto close = [&](DocNode* n, int32_t level) {
    if (indent) out.Tabs(level);
    out.Put(u"</");
    out.Put(n->mstrName.view());
    out.Put(u">\n");
  };
  Walk(indent, open, close);
  // The builder counts its bytes in a Long.
  if (out.size() > static_cast<size_t>(INT32_MAX / 2)) ThrowPlatformError(kErrOverflow);
  result = out.Take();
}

size_t DocNode::TextBound(bool indent) {
  size_t total = 0;
  auto open = [&](DocNode* n, int32_t level) {
    // Opening and closing line, and the value line a leaf may have.
    size_t lines = n->mobjChild || n->mvntValue.IsMissing() ? 2 : 3;
    total += (indent ? static_cast<size_t>(level) * lines : 0) + 2 * n->mstrName.size() + 7;
    const borvane::Attributes* list = n->AttributesIfAny();
    if (list && list->Count() > 0) total += 1 + list->TextBound();
    if (lines == 3) total += ValueTextBound(n->mvntValue) + 1;
  };
  Walk(indent, open, [](DocNode*, int32_t) {});
  return total;
}

void DocNode::WriteNode(CStringBuilder& builder, bool& indent) {
  std::u16string out;
  WriteNode(out, indent);
  builder.AppendText(out);
}

void DocNode::WriteXMLNode(String& XMLText, bool& indent) {
  std::u16string out;
  WriteNode(out, indent);
  XMLText = String(std::move(out));
}

String Doc::WriteXML(bool& indent, String& StartNodeKey) {
  return Guarded("Doc:WriteXML Method", [&] {
    Ref<DocNode> start = Item(Variant(int32_t{1}));
    if (!StartNodeKey.empty()) start = Item(Variant(StartNodeKey));
    // The text is collected in a buffer that grows by doubling, rather than in a CStringBuilder,
    // whose fixed growth steps would make writing a large tree quadratic; the text is the same.
    std::u16string out;
    start->WriteNode(out, indent);
    return String(std::move(out));
  });
}

}  // namespace borvane
