// The writer of the document's text form: one element per node, a value line for a leaf with
// a value, tabs by Level when indenting, and "{\34}" as the only escape.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/unit_search.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/error_handling.h"
#include "borvane/frame/string_builder.h"
#include "borvane/platform/base/memory.h"

namespace borvane {

namespace {

// How many times the text so far a writer's estimate of the whole text may be and still be
// trusted: the storage it reserves stays within 16 times the text written when it is taken.
constexpr size_t kMaxEstimateGrowth = 16;

// Storage for a text being written, which a thread keeps between calls while it is small.
struct Scratch {
  Scratch() = default;
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() { std::free(data); }
  void Swap(Scratch& other) {
    std::swap(data, other.data);
    std::swap(capacity, other.capacity);
  }

  char16_t* data = nullptr;
  size_t capacity = 0;
};
thread_local Scratch t_scratch;

// The text being written. It is collected in the thread's scratch buffer, which grows by
// doubling, and copied once into a String of its exact size at the end, unless it becomes known
// how long the whole text will be: the text so far then moves into storage of that size and
// the rest is written straight into it, which spares the copy. `bound(used, may_walk)` gives
// that size from the characters so far: past 256K characters it is asked for an estimate that
// costs no walk of the tree (0 while there is none), past 4M characters for a bound at any
// cost, as fresh pages then cost more than a walk. A bound that falls short costs a move of
// the text.
class TextSink {
 public:
  explicit TextSink(std::function<size_t(size_t, bool)> bound) : bound_(std::move(bound)) {
    // Taken out of the thread's slot while in use, so that a nested write gets a buffer of
    // its own.
    scratch_.Swap(t_scratch);
    if (!scratch_.data) Reserve(kStart);
    begin_ = at_ = scratch_.data;
    end_ = at_ + scratch_.capacity;
  }
  ~TextSink() {
    if (scratch_.capacity <= kKept && !t_scratch.data) scratch_.Swap(t_scratch);
  }
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  // Put and Tabs stand inline in the walk: they run several times per node.
  [[gnu::always_inline]] void Put(char16_t ch) {
    if (at_ == end_) [[unlikely]]
      Grow(1);
    *at_++ = ch;
  }
  [[gnu::always_inline]] void Put(std::u16string_view text) {
    if (static_cast<size_t>(end_ - at_) < text.size()) [[unlikely]]
      Grow(text.size());
    char16_t* at = at_;
    for (char16_t ch : text) *at++ = ch;
    at_ = at;
  }
  // The same for a text that may be long: copied in one, where a loop pays per unit.
  void PutRun(std::u16string_view text) {
    if (text.empty()) return;
    if (static_cast<size_t>(end_ - at_) < text.size()) [[unlikely]]
      Grow(text.size());
    std::memcpy(at_, text.data(), text.size() * sizeof(char16_t));
    at_ += text.size();
  }
  [[gnu::always_inline]] void Tabs(int32_t count) {
    if (end_ - at_ < count) [[unlikely]]
      Grow(static_cast<size_t>(count));
    char16_t* at = at_;
    for (int32_t i = 0; i < count; ++i) *at++ = u'\t';
    at_ = at;
  }
  size_t size() const { return static_cast<size_t>(at_ - begin_); }
  std::u16string Take() {
    if (direct_) {
      text_.resize(size());
      return std::move(text_);
    }
    return std::u16string(begin_, size());
  }

 private:
  static constexpr size_t kStart = 4096;
  // Characters collected in the scratch buffer at most.
  static constexpr size_t kScratchMax = size_t{4} << 20;
  // Characters in the scratch buffer from which an estimate of the whole text is asked for.
  static constexpr size_t kEstimateFrom = 256 * 1024;
  // Characters added to the text's own storage at a time, once the text has outgrown the scratch.
  static constexpr size_t kDirectStep = 256 * 1024;
  // Larger scratch buffers go back to the heap after the call.
  static constexpr size_t kKept = 32 * 1024;

  void Reserve(size_t capacity) {
    void* grown = std::realloc(scratch_.data, capacity * sizeof(char16_t));
    if (!grown) throw std::bad_alloc();
    scratch_.data = static_cast<char16_t*>(grown);
    scratch_.capacity = capacity;
  }
  [[gnu::noinline]] void Grow(size_t more) {
    const size_t used = size();
    const size_t wanted = used + more;
    size_t capacity = 0;
    if (!direct_ && wanted > kEstimateFrom) capacity = bound_(used, wanted > kScratchMax);
    if (!direct_ && capacity == 0) {
      Reserve(std::max(scratch_.capacity * 2, wanted));
      begin_ = scratch_.data;
    } else {
      if (!direct_) {
        direct_ = true;
        capacity = std::max(capacity, wanted);
        text_.reserve(capacity);
        platform::AdviseWholeWrite(text_.data(), capacity * sizeof(char16_t));
        text_.assign(begin_, used);
      }
      // The storage is made part of the text a step at a time, as the writing reaches it: the
      // bound is above the text, and what lies past the text is then never touched.
      size_t target = used + std::max(more, kDirectStep);
      if (target > text_.capacity()) {
        // Past the bound only when it was short of the text, which it is not meant to be.
        target = wanted <= text_.capacity() ? text_.capacity() : std::max(wanted, 2 * used);
      }
      text_.resize(target);
      begin_ = text_.data();
    }
    at_ = begin_ + used;
    end_ = begin_ + (direct_ ? text_.size() : scratch_.capacity);
  }

  std::function<size_t(size_t, bool)> bound_;
  Scratch scratch_;
  bool direct_ = false;
  std::u16string text_;
  char16_t* begin_;
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
      for (size_t quote; (quote = FindUnit(text, u'"')) != std::u16string_view::npos;) {
        out.PutRun(text.substr(0, quote));
        out.Put(u"{\\34}");
        text.remove_prefix(quote + 1);
      }
      out.PutRun(text);
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

void DocNode::WriteNode(std::u16string& result, bool indent, size_t nodes_at_most) {
  Ref<DocNode> keep(this);
  size_t opened = 0;
  TextSink out([&](size_t used, bool may_walk) -> size_t {
    // The text so far per node written, for the nodes there can be, with a quarter more: no
    // second walk of the tree, whose cache misses cost as much as writing it. An estimate far
    // above the text so far is not trusted, as it may only say that the Doc holds more than
    // this subtree; the walk then gives the bound, when it may.
    size_t bound = 0;
    if (nodes_at_most > 0 && opened > 0) {
      const size_t estimate = used * nodes_at_most / opened;
      if (estimate <= kMaxEstimateGrowth * used) bound = estimate + estimate / 4;
    }
    if (bound == 0) {
      if (!may_walk) return 0;
      bound = TextBound(indent);
    }
    return std::min(bound, static_cast<size_t>(INT32_MAX / 2) + 1);
  });
  std::u16string attributes;
  auto open = [&](DocNode* n, int32_t level) {
    ++opened;
    if (indent) out.Tabs(level);
    out.Put(u'<');
    out.Put(n->mstrName.view());
    // Pairs the reader packed are written as they stand, without making their objects; a node
    // whose Attributes was never read and that read none has none.
    if (n->mobjAttributes.has_packed()) {
      out.Put(u' ');
      borvane::Attributes::ForEachPackedText(n->mobjAttributes,
                                             [&](std::u16string_view text) { out.Put(text); });
    } else if (const borvane::Attributes* list = n->mobjAttributes.object();
               list && list->Count() > 0) {
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
    if (n->mobjAttributes.has_packed()) {
      total += 1 + borvane::Attributes::PackedTextBound(n->mobjAttributes);
    } else if (const borvane::Attributes* list = n->mobjAttributes.object();
               list && list->Count() > 0) {
      total += 1 + list->TextBound();
    }
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
    start->WriteNode(out, indent, static_cast<size_t>(Count()));
    return String(std::move(out));
  });
}

}  // namespace borvane
