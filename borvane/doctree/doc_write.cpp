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

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/unit_copy.h"
#include "borvane/automation/unit_search.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/error_handling.h"
#include "borvane/frame/string_builder.h"
#include "borvane/platform/base/memory.h"

namespace borvane {

// The writer's fixed texts are views of known length: a plain literal would be measured unit by
// unit at run time, on every line.
using namespace std::string_view_literals;

namespace {

// The text being written, in storage of the size measured before: the walk that measures the
// text costs less than growing the text as it is written, which moves it and touches its
// pages more than once. The storage is made part of the text a step at a time as the writing
// reaches it, so that its pages are first touched by the writing, while they are in the cache,
// and those past the text are never touched.
class TextSink {
 public:
  explicit TextSink(size_t bound) {
    text_.reserve(bound);
    platform::AdviseWholeWrite(text_.data(), bound * sizeof(char16_t));
    begin_ = at_ = end_ = text_.data();
  }
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  // Put and Tabs stand inline in the walk: they run several times per node.
  [[gnu::always_inline]] void Put(char16_t ch) {
    if (at_ == end_) [[unlikely]]
      Extend(1);
    *at_++ = ch;
  }
  // For the writer's own texts, whose length the compiler knows: the loop unrolls.
  [[gnu::always_inline]] void Put(std::u16string_view text) {
    if (static_cast<size_t>(end_ - at_) < text.size()) [[unlikely]]
      Extend(text.size());
    char16_t* at = at_;
    for (char16_t ch : text) *at++ = ch;
    at_ = at;
  }
  // For a text of any length, a name or a value: most are a few words, which are moved without
  // a call; a longer one is copied in one.
  [[gnu::always_inline]] void PutRun(std::u16string_view text) {
    if (static_cast<size_t>(end_ - at_) < text.size()) [[unlikely]]
      Extend(text.size());
    if (text.size() <= 32) {
      CopyShort(at_, text.data(), text.size());
    } else {
      std::memcpy(at_, text.data(), text.size() * sizeof(char16_t));
    }
    at_ += text.size();
  }
  [[gnu::always_inline]] void Tabs(int32_t count) {
    // Most lines stand a few levels deep: eight tabs are stored at once, where there is room
    // for them, and those past the count are written over by what follows.
    if (count <= 8 && end_ - at_ >= 8) {
      static constexpr char16_t kEightTabs[8] = {u'\t', u'\t', u'\t', u'\t',
                                                 u'\t', u'\t', u'\t', u'\t'};
      std::memcpy(at_, kEightTabs, sizeof kEightTabs);
      at_ += count;
      return;
    }
    if (end_ - at_ < count) [[unlikely]]
      Extend(static_cast<size_t>(count));
    char16_t* at = at_;
    for (int32_t i = 0; i < count; ++i) *at++ = u'\t';
    at_ = at;
  }
  // Room for `count` characters at the end, to be written in place and then passed with
  // Advance.
  [[gnu::always_inline]] char16_t* Room(size_t count) {
    if (static_cast<size_t>(end_ - at_) < count) [[unlikely]]
      Extend(count);
    return at_;
  }
  void Advance(char16_t* to) { at_ = to; }
  size_t size() const { return static_cast<size_t>(at_ - begin_); }
  std::u16string Take() {
    text_.resize(size());
    // A short text does not keep what its measure gave beyond it.
    if (text_.size() < kShrinkBelow && text_.capacity() - text_.size() > text_.size() / 4 + 64)
      text_.shrink_to_fit();
    return std::move(text_);
  }

 private:
  // Characters made part of the text at a time: few enough to stay in the cache until written.
  static constexpr size_t kStep = 8 * 1024;
  static constexpr size_t kShrinkBelow = 256 * 1024;

  [[gnu::noinline]] void Extend(size_t more) {
    const size_t used = size();
    size_t target = used + std::max(more, kStep);
    if (target > text_.capacity()) {
      // Past the measure only when it was short of the text, which it is not meant to be.
      target = used + more <= text_.capacity() ? text_.capacity()
                                               : std::max(used + more, 2 * text_.capacity());
    }
    text_.resize(target);
    begin_ = text_.data();
    at_ = begin_ + used;
    end_ = begin_ + text_.size();
  }

  std::u16string text_;
  char16_t* begin_;
  char16_t* at_;
  char16_t* end_;
};

// Counts what would be written, for a text whose measure passes the largest text: the exact
// length tells at once, without writing, whether it fits.
class CountingSink {
 public:
  void Put(char16_t) { ++count_; }
  void Put(std::u16string_view text) { count_ += text.size(); }
  void PutRun(std::u16string_view text) { count_ += text.size(); }
  void Tabs(int32_t count) { count_ += static_cast<size_t>(count); }
  char16_t* Room(size_t count) {
    if (scratch_.size() < count) scratch_.resize(count);
    return scratch_.data();
  }
  void Advance(char16_t* to) { count_ += static_cast<size_t>(to - scratch_.data()); }
  size_t size() const { return count_; }

 private:
  size_t count_ = 0;
  std::u16string scratch_;
};

// Passes the text on a piece at a time, for a caller that writes it out as it comes.
class StreamSink {
 public:
  explicit StreamSink(const std::function<void(std::u16string_view)>& write) : write_(write) {
    buffer_.resize(kPiece + kNumberTextMax);
  }
  void Put(char16_t ch) {
    buffer_[used_++] = ch;
    if (used_ >= kPiece) Flush();
  }
  void Put(std::u16string_view text) { PutRun(text); }
  void PutRun(std::u16string_view text) {
    while (!text.empty()) {
      const size_t n = std::min(text.size(), kPiece - used_);
      std::memcpy(buffer_.data() + used_, text.data(), n * sizeof(char16_t));
      used_ += n;
      text.remove_prefix(n);
      if (used_ >= kPiece) Flush();
    }
  }
  void Tabs(int32_t count) {
    for (int32_t i = 0; i < count; ++i) Put(u'\t');
  }
  char16_t* Room(size_t count) {
    if (used_ + count > buffer_.size()) {
      Flush();
      if (count > buffer_.size()) buffer_.resize(count);
    }
    return buffer_.data() + used_;
  }
  void Advance(char16_t* to) {
    used_ = static_cast<size_t>(to - buffer_.data());
    if (used_ >= kPiece) Flush();
  }
  void Flush() {
    if (used_ > 0) write_(std::u16string_view(buffer_.data(), used_));
    used_ = 0;
  }

 private:
  static constexpr size_t kPiece = 64 * 1024;
  const std::function<void(std::u16string_view)>& write_;
  std::u16string buffer_;
  size_t used_ = 0;
};

// Texts of at most this many units are measured by their length alone. The measure then
// reserves up to 128 characters per value line that the text does not take: address space only,
// as pages past the text are never touched.
constexpr size_t kUnreadTextMax = 32;

// Characters of a String value's text as written: its quotes around it, and "{\34}" for each
// of the `quotes` it holds.
inline size_t QuotedTextSize(size_t units, size_t quotes) {
  return units + 2 + 4 * quotes;
}

// Characters of a Single's or Double's text at most: fifteen significant digits, a sign, a
// point and "E-308" around them.
constexpr size_t kDoubleTextMax = 24;

// Characters of a value line's text at most. `quotes` points at the quotes of a String value
// when they were counted as it was set, else it is nullptr.
size_t ValueTextBound(const Variant& value, const uint32_t* quotes) {
  if (const String* string = value.GetIf<String>()) {
    if (quotes) return QuotedTextSize(string->size(), *quotes);
    // A short text is measured as if every unit were a quote ("{\34}"), without reading it:
    // its units lie elsewhere in memory, and the writing reads them soon enough.
    if (string->size() <= kUnreadTextMax) return QuotedTextSize(string->size(), string->size());
    return QuotedTextSize(string->size(), CountUnit(string->view(), u'"'));
  }
  if (value.GetIf<double>()) return kDoubleTextMax;
  switch (value.VarType()) {
    case vbBoolean:
      return 5;
    case vbEmpty:
    case vbNull:
      return 0;
    case vbInteger:
    case vbLong:
      return 11;
    case vbSingle:
    case vbDouble:
      return kDoubleTextMax;
    default:
      return kNumberTextMax;  // a date or currency in its text form
  }
}

// A String value's text in quotes, with "{\34}" for each quote it holds.
template <class Sink>
void AppendQuotedText(Sink& out, std::u16string_view text) {
  out.Put(u'"');
  for (size_t quote; (quote = FindUnit(text, u'"')) != std::u16string_view::npos;) {
    out.PutRun(text.substr(0, quote));
    out.Put(u"{\\34}"sv);
    text.remove_prefix(quote + 1);
  }
  out.PutRun(text);
  out.Put(u'"');
}

template <class Sink>
void AppendValueText(Sink& out, const Variant& value) {
  // The usual types first, without the call that VarType costs.
  if (const String* string = value.GetIf<String>()) {
    AppendQuotedText(out, string->view());
  } else if (const double* number = value.GetIf<double>()) {
    char16_t* const at = out.Room(kNumberTextMax);
    out.Advance(at + FormatDoubleInto(*number, at));
  } else if (const bool* boolean = value.GetIf<bool>()) {
    out.Put(*boolean ? u"True"sv : u"False"sv);
  } else if (!value.IsEmpty() && !value.IsNull()) {
    out.PutRun(CStr(value).view());  // objects and arrays fail here
  }
  // Empty and Null: a line with only the indentation.
}

// The same for a node's value, with the kinds the reader gives handled in place.
template <class Sink>
void AppendNodeValue(Sink& out, const NodeValue& value) {
  double number;
  bool boolean;
  if (value.IsText()) {
    AppendQuotedText(out, value.Text());
  } else if (value.GetDouble(number)) {
    char16_t* const at = out.Room(kNumberTextMax);
    out.Advance(at + FormatDoubleInto(number, at));
  } else if (value.GetBoolean(boolean)) {
    out.Put(boolean ? u"True"sv : u"False"sv);
  } else if (const Variant* boxed = value.Boxed()) {
    AppendValueText(out, *boxed);
  } else {
    AppendValueText(out, value.Get());
  }
}

// How far ahead of a node the walk asks for memory: some fourteen nodes, far enough to cover a
// load's wait in a large tree and near enough that the lines are still there when reached.
constexpr size_t kWalkPrefetch = 2048;
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
      // Nodes read or added together stand together in memory, in document order (their lane
      // of the slab pool): the ones a few places on are asked for now, as each link is only
      // known once its node is loaded. A node's length of lines is asked for per node, which
      // reaches every line as the nodes stand side by side: one line alone left the walk
      // waiting on the next sibling in half the nodes.
      const char* ahead = reinterpret_cast<const char*>(child) + kWalkPrefetch;
      for (size_t line = 0; line < sizeof(DocNode); line += 64) __builtin_prefetch(ahead + line);
      top.next_child = child->mobjNextSibling.Get();
      int32_t level = 0;
      if (indent) level = child->mobjParent == top.node ? top.level + 1 : child->Level();
      open(child, level);
      // A leaf closes at once, without a frame of its own: most nodes are leaves.
      if (DocNode* grandchild = child->mobjChild.Get()) {
        stack.push_back({child, grandchild, level});
      } else {
        close(child, level);
      }
      continue;
    }
    close(top.node, top.level);
    stack.pop_back();
  }
}

template <class Sink>
void DocNode::WriteInto(Sink& out, bool indent) {
  auto put = [&out](std::u16string_view text) { out.Put(text); };
  const char16_t decimal = ThreadLocale().decimal;
  auto open = [&](DocNode* n, int32_t level) {
    // A value's text stands in a block of its own, away from its node: the next sibling's is
    // asked for now, so that its load is under way by the time it is written.
    if (const DocNode* next = n->mobjNextSibling.Get()) {
      if (next->mvntValue.IsText()) __builtin_prefetch(next->mvntValue.Text().data());
    }
    if (indent) out.Tabs(level);
    out.Put(u'<');
    out.PutRun(n->mstrName.view());
    // Pairs the reader packed are written as they stand, without making their objects; a node
    // whose Attributes was never read and that read none has none.
    if (const AttributesSlot& slot = n->mobjAttributes; slot.has_packed()) {
      out.Put(u' ');
      if (slot.verbatim()) {
        out.PutRun(slot.packed());
      } else if (slot.regular()) {
        const std::u16string_view list = slot.packed();
        char16_t* const at = out.Room(2 * list.size());
        out.Advance(borvane::Attributes::QuoteRegularNumbers(list, at));
      } else {
        borvane::Attributes::ForEachPackedText(slot, put);
      }
    } else if (const borvane::Attributes* list = n->mobjAttributes.object();
               list && list->Count() > 0) {
      out.Put(u' ');
      if (std::u16string_view text; list->FreshText(decimal, text)) {
        out.PutRun(text);
      } else {
        list->PutAttributeString(put);
      }
    }
    out.Put(u">\n"sv);
    if (!n->mobjChild && !n->mvntValue.IsMissing()) {
      if (indent) out.Tabs(level);
      AppendNodeValue(out, n->mvntValue);
      out.Put(u'\n');
    }
  };
  auto close = [&](DocNode* n, int32_t level) {
    if (indent) out.Tabs(level);
    out.Put(u"</"sv);
    out.PutRun(n->mstrName.view());
    out.Put(u">\n"sv);
  };
  Walk(indent, open, close);
}

namespace {

// The largest text: the builder counts its bytes in a Long.
constexpr size_t kMaxText = static_cast<size_t>(INT32_MAX / 2);

}  // namespace

size_t DocNode::CheckedTextSize(bool indent) {
  size_t bound = TextBound(indent);
  if (bound > kMaxText) {
    // The measure is above the exact length: count that before refusing, and refuse before
    // writing anything (a deep tree written with indentation grows with its depth squared).
    CountingSink count;
    WriteInto(count, indent);
    if (count.size() > kMaxText) ThrowPlatformError(kErrOverflow);
    bound = count.size();
  }
  return bound;
}

void DocNode::WriteNode(std::u16string& result, bool indent) {
  Ref<DocNode> keep(this);
  TextSink out(CheckedTextSize(indent));
  WriteInto(out, indent);
  if (out.size() > kMaxText) ThrowPlatformError(kErrOverflow);
  result = out.Take();
}

void DocNode::WriteNode(const std::function<void(std::u16string_view)>& write, bool indent) {
  Ref<DocNode> keep(this);
  CheckedTextSize(indent);
  StreamSink out(write);
  WriteInto(out, indent);
  out.Flush();
}

size_t DocNode::TextBound(bool indent) {
  size_t total = 0;
  const char16_t decimal = ThreadLocale().decimal;
  auto open = [&](DocNode* n, int32_t level) {
    // Opening and closing line, and the value line a leaf may have.
    size_t lines = n->mobjChild || n->mvntValue.IsMissing() ? 2 : 3;
    total += (indent ? static_cast<size_t>(level) * lines : 0) + 2 * n->mstrName.size() + 7;
    if (n->mobjAttributes.has_packed()) {
      total += 1 + borvane::Attributes::PackedTextBound(n->mobjAttributes);
    } else if (const borvane::Attributes* list = n->mobjAttributes.object();
               list && list->Count() > 0) {
      total += 1 + list->TextBound(decimal);
    }
    if (lines == 3) {
      if (const NodeValue& value = n->mvntValue; value.IsText()) {
        // A text's quotes are counted as it is read or set, in 32 bits: they cannot pass
        // that count in a shorter text, and a longer one is counted again.
        const std::u16string_view text = value.Text();
        const size_t quotes =
            text.size() < kQuotesUncounted ? n->value_quotes_ : CountUnit(text, u'"');
        total += QuotedTextSize(text.size(), quotes) + 1;
      } else if (double number; value.GetDouble(number)) {
        total += kDoubleTextMax + 1;
      } else if (const Variant* boxed = value.Boxed()) {
        const bool counted = n->value_quotes_ != kQuotesUncounted;
        total += ValueTextBound(*boxed, counted ? &n->value_quotes_ : nullptr) + 1;
      } else {
        total += ValueTextBound(value.Get(), nullptr) + 1;
      }
    }
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

void Doc::WriteXMLTo(const std::function<void(std::u16string_view)>& write, bool indent,
                     const String& StartNodeKey) {
  Guarded("Doc:WriteXML Method", [&] {
    Ref<DocNode> start = Item(Variant(int32_t{1}));
    if (!StartNodeKey.empty()) start = Item(Variant(StartNodeKey));
    start->WriteNode(write, indent);
  });
}

String Doc::WriteXML(bool& indent, String& StartNodeKey) {
  return Guarded("Doc:WriteXML Method", [&] {
    Ref<DocNode> start = Item(Variant(int32_t{1}));
    if (!StartNodeKey.empty()) start = Item(Variant(StartNodeKey));
    // The text is written into storage of its measured size, rather than into a
    // CStringBuilder, whose fixed growth steps would make writing a large tree quadratic; the
    // text is the same.
    std::u16string out;
    start->WriteNode(out, indent);
    return String(std::move(out));
  });
}

}  // namespace borvane
