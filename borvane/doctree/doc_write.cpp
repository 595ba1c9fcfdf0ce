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

namespace borvane {

namespace {

// The text being written, in chunks that are joined once at the end. Chunks grow to a fixed
// size small enough to be reused from the heap, so that a large text is neither copied on each
// growth nor written into fresh pages twice.
class TextSink {
 public:
  void Put(char16_t ch) {
    if (at_ == end_) NextChunk();
    *at_++ = ch;
  }
  void Put(std::u16string_view text) {
    while (true) {
      size_t room = static_cast<size_t>(end_ - at_);
      size_t count = std::min(room, text.size());
      for (size_t i = 0; i < count; ++i) at_[i] = text[i];
      at_ += count;
      if (count == text.size()) return;
      text.remove_prefix(count);
      NextChunk();
    }
  }
  void Tabs(int32_t count) {
    for (int32_t i = 0; i < count; ++i) Put(u'\t');
  }
  size_t size() const { return done_ + static_cast<size_t>(at_ - start_); }
  std::u16string Take() {
    std::u16string text;
    text.reserve(size());
    for (size_t i = 0; i < chunks_.size(); ++i) {
      const char16_t* begin = chunks_[i].text.get();
      text.append(begin, i + 1 == chunks_.size() ? at_ : begin + chunks_[i].size);
    }
    return text;
  }

 private:
  static constexpr size_t kFirstChunk = 256;
  static constexpr size_t kMaxChunk = 16384;

  void NextChunk() {
    size_t size = chunks_.empty() ? kFirstChunk : std::min(chunks_.back().size * 2, kMaxChunk);
    done_ += static_cast<size_t>(at_ - start_);
    chunks_.push_back({std::unique_ptr<char16_t[]>(new char16_t[size]), size});
    start_ = at_ = chunks_.back().text.get();
    end_ = start_ + size;
  }

  struct Chunk {
    std::unique_ptr<char16_t[]> text;
    size_t size;
  };
  std::vector<Chunk> chunks_;
  char16_t* start_ = nullptr;
  char16_t* at_ = nullptr;
  char16_t* end_ = nullptr;
  size_t done_ = 0;  // characters in the chunks before the current one
};

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
    default:
      out.Put(CStr(value).view());  // objects and arrays fail here
      break;
  }
}

}  // namespace

void DocNode::WriteNode(std::u16string& result, bool indent) {
  struct Frame {
    DocNode* node;
    DocNode* next_child;
    int32_t level;
  };
  Ref<DocNode> keep(this);
  std::vector<Frame> stack;
  TextSink out;
  std::u16string attributes;
  auto open = [&](DocNode* n, int32_t level) {
    if (indent) out.Tabs(level);
    out.Put(u'<');
    out.Put(n->mstrName.view());
    // A node whose Attributes was never read has none; the writer need not make it.
    if (n->mobjAttributes && n->mobjAttributes->Count() > 0) {
      out.Put(u' ');
      attributes.clear();
      n->mobjAttributes->AppendAttributeString(attributes);
      out.Put(attributes);
    }
    out.Put(u">\n");
    if (!n->mobjChild && !n->mvntValue.IsMissing()) {
      if (indent) out.Tabs(level);
      AppendValueText(out, n->mvntValue);
      out.Put(u'\n');
    }
    stack.push_back({n, n->mobjChild.Get(), level});
  };
  // Level counts from the top of the tree; below the first node it goes up by one per step.
  open(this, indent ? Level() : 0);
  while (!stack.empty()) {
    Frame& top = stack.back();
    if (DocNode* child = top.next_child) {
      top.next_child = child->mobjNextSibling.Get();
      int32_t level = 0;
      if (indent) level = child->mobjParent == top.node ? top.level + 1 : child->Level();
      open(child, level);
      continue;
    }
    if (indent) out.Tabs(top.level);
    out.Put(u"</");
    out.Put(top.node->mstrName.view());
    out.Put(u">\n");
    stack.pop_back();
  }
  // The builder counts its bytes in a Long.
  if (out.size() > static_cast<size_t>(INT32_MAX / 2)) ThrowPlatformError(kErrOverflow);
  result = out.Take();
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
