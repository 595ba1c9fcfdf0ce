#include "borvane/doctree/attributes.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "borvane/automation/text.h"
#include "borvane/automation/unit_copy.h"
#include "borvane/frame/class_table.h"
#include "borvane/frame/error_handling.h"

namespace borvane {

void Attributes::Describe(ClassBuilder<Attributes>& b) {
  b.Order(kOrderAttributes)
      .Ids(ClassId(kOrderAttributes), InterfaceId(kOrderAttributes))
      .Method("Add", &Attributes::Add, {Opt("Name"), Opt("Value")})
      .Get("Item", static_cast<Ref<AttributeObj> (Attributes::*)(Variant&)>(&Attributes::Item),
           {"vntIndexKey"}, {.id = DISPID_VALUE})
      .Get("Count", &Attributes::Count)
      .Method("Remove", &Attributes::Remove, {"vntIndexKey"})
      .Get("NewEnum", &Attributes::NewEnum, {}, {.id = DISPID_NEWENUM, .attributes = {"Hidden"}})
      .Method("Clear", &Attributes::Clear);
}

Attributes::Attributes() : mcolAttributes(MakeRef<Collection>()) {}

Attributes::~Attributes() {
  // Pairs that callers still hold outlive the list.
  SetOwners(nullptr);
}

void Attributes::SetOwners(Attributes* owner) {
  for (int32_t i = 0; i < pairs_.size(); ++i) pairs_.at(i)->owner_ = owner;
}

Ref<AttributeObj> Attributes::Add(String& Name, Variant& Value) {
  return Guarded("Attributes:Add Method", [&] {
    Ref<AttributeObj> attribute = MakeRef<AttributeObj>();
    attribute->SetName(Name);
    attribute->SetValue(Value);
    Append(attribute, true);
    return attribute;
  });
}

Ref<AttributeObj> Attributes::Item(Variant& vntIndexKey) {
  const Variant& key = vntIndexKey;
  return Item(key);
}

Ref<AttributeObj> Attributes::Item(const Variant& vntIndexKey) {
  return mcolAttributes->Item(vntIndexKey).ToObject().As<AttributeObj>();
}

void Attributes::Remove(Variant& vntIndexKey) {
  // The pair removed may go with its last reference, so no pair names the list meanwhile.
  SetOwners(nullptr);
  PairChanged();
  try {
    mcolAttributes->Remove(vntIndexKey);
  } catch (...) {
    SetOwners(this);
    throw;
  }
  // The collection reads the index by its own rules; the list is read back from it, into the
  // room it had for one pair more.
  pairs_.clear();
  const int32_t count = mcolAttributes->Count();
  for (int32_t i = 1; i <= count; ++i)
    pairs_.push_back(static_cast<AttributeObj*>(mcolAttributes->At(i).GetIf<Object>()->Get()));
  SetOwners(this);
}

void Attributes::Clear() {
  SetOwners(nullptr);
  PairChanged();
  // One step instead of removing position 1 until none is left: the same end, and an
  // enumeration under way ends the same way.
  try {
    mcolAttributes->Clear();
  } catch (...) {
    SetOwners(this);
    throw;
  }
  pairs_.clear();
  text_.clear();
}

void Attributes::Append(Ref<AttributeObj> pair, bool with_text) {
  // The list first: its growing is what may fail, and it is taken back when the collection's
  // adding fails, so the two never differ.
  pairs_.push_back(pair.Get());
  try {
    mcolAttributes->Add(Variant(pair));
  } catch (...) {
    pairs_.pop_back();
    throw;
  }
  pair->owner_ = this;
  if (with_text) {
    AppendText(*pair);
  } else {
    PairChanged();
  }
}

void Attributes::AppendText(const AttributeObj& pair) noexcept {
  const char16_t decimal = ThreadLocale().decimal;
  const bool first = pairs_.size() == 1;
  if (!first && text_decimal_ != decimal) return PairChanged();
  PairChanged();
  try {
    if (first) {
      text_.clear();
    } else {
      text_.append(u" ");
    }
    pair.PutAttributeText([this](std::u16string_view text) { text_.append(text); });
    text_decimal_ = decimal;
  } catch (...) {
    // Stale: made again when the list is measured.
  }
}

void Attributes::RemakeText() const noexcept {
  PairChanged();
  try {
    text_.clear();
    PutAttributeString([this](std::u16string_view text) { text_.append(text); });
    text_decimal_ = ThreadLocale().decimal;
  } catch (...) {
    // Stale: the writer reads the pairs themselves.
  }
}

void PooledText::Grow(size_t needed) {
  // Twice the room, or what is needed, rounded up to the pool's grain; a first block of 64
  // bytes, which holds the text of two or three usual pairs.
  size_t bytes =
      sizeof(Block) + sizeof(char16_t) * std::max(needed, block_ ? 2 * block_->capacity : 0);
  bytes = std::max<size_t>((bytes + 15) & ~size_t{15}, 64);
  const size_t capacity = (bytes - sizeof(Block)) / sizeof(char16_t);
  if (capacity > UINT32_MAX) throw std::bad_alloc();
  auto* grown = static_cast<Block*>(PoolAllocate(bytes));
  grown->capacity = capacity;
  if (block_) std::copy(Units(block_), Units(block_) + size_, Units(grown));
  const uint32_t size = size_;
  Free();
  block_ = grown;
  size_ = size;
}

void PooledText::Free() noexcept {
  if (block_) PoolFree(block_, sizeof(Block) + sizeof(char16_t) * block_->capacity);
  block_ = nullptr;
  size_ = 0;
}

void AttributePairList::Grow() {
  AttributeObj** const grown = new AttributeObj*[2 * static_cast<size_t>(capacity_)];
  std::copy(data_, data_ + size_, grown);
  if (data_ != inline_) delete[] data_;
  data_ = grown;
  capacity_ *= 2;
}

void Attributes::AppendAttributeString(std::u16string& out) const {
  PutAttributeString([&out](std::u16string_view text) { out += text; });
}

size_t Attributes::StaleTextBound(char16_t decimal) const {
  RemakeText();
  if (text_decimal_ == decimal) return text_.size();
  size_t total = 0;
  for (int32_t i = 0; i < pairs_.size(); ++i) total += 1 + pairs_[i].TextBound();
  return total;
}

String Attributes::ToAttributeString() const {
  std::u16string out;
  AppendAttributeString(out);
  return String(std::move(out));
}

namespace {

std::u16string_view TrimSpaces(std::u16string_view text) {
  size_t first = text.find_first_not_of(u' ');
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

// The trimmed text with each space inside quotes marked as "|_", when it holds two quotes or
// more; with fewer, no space counts as quoted.
std::u16string MarkQuotedSpaces(std::u16string_view text) {
  std::u16string marked;
  marked.reserve(text.size());
  const bool protect = std::count(text.begin(), text.end(), u'"') >= 2;
  bool quoted = false;
  for (char16_t ch : text) {
    if (ch == u'"') quoted = !quoted;
    if (ch == u' ' && protect && quoted) {
      marked += u"|_";
    } else {
      marked += ch;
    }
  }
  return marked;
}

// Calls `piece` with each piece of a marked attribute list, cut at each space, with "|_" read
// as a space again, until it returns false. An empty text has no pieces.
template <class F>
void ForEachPiece(std::u16string_view marked, F&& piece) {
  if (marked.empty()) return;
  std::u16string spaced;
  while (true) {
    size_t space = marked.find(u' ');
    std::u16string_view cut = marked.substr(0, space);
    if (cut.find(u"|_") == std::u16string_view::npos) {
      if (!piece(cut)) return;
    } else {
      spaced.assign(cut);
      for (size_t at = 0; (at = spaced.find(u"|_", at)) != std::u16string::npos; ++at)
        spaced.replace(at, 2, u" ");
      if (!piece(std::u16string_view(spaced))) return;
    }
    if (space == std::u16string_view::npos) return;
    marked.remove_prefix(space + 1);
  }
}

// ForEachPiece over a list as it stands in a tag, in one pass and without a copy: the text is
// trimmed and cut at each space that is not inside quotes (when it holds two quotes or more),
// which gives the pieces that marking the quoted spaces and cutting would give. A piece that
// holds "|_" has it read as a space, as the marked form's reading does.
template <class F>
void ForEachListPiece(std::u16string_view text, F&& piece) {
  text = TrimSpaces(text);
  if (text.empty()) return;
  size_t quotes = 0;
  bool bar = false;
  for (char16_t ch : text) {
    quotes += ch == u'"';
    bar |= ch == u'|';
  }
  const bool protect = quotes >= 2;
  std::u16string spaced;
  auto emit = [&](std::u16string_view cut) {
    if (!bar || cut.find(u"|_") == std::u16string_view::npos) return piece(cut);
    spaced.assign(cut);
    for (size_t at = 0; (at = spaced.find(u"|_", at)) != std::u16string::npos; ++at)
      spaced.replace(at, 2, u" ");
    return piece(std::u16string_view(spaced));
  };
  bool quoted = false;
  size_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t ch = text[i];
    // Most units are neither: one test passes them.
    if (ch != u' ' && ch != u'"') continue;
    if (ch == u'"') {
      quoted = !quoted;
    } else if (!(protect && quoted)) {
      if (!emit(text.substr(start, i - start))) return;
      start = i + 1;
    }
  }
  emit(text.substr(start));
}

}  // namespace

void Attributes::AddPiece(std::u16string_view piece) {
  Ref<AttributeObj> attribute = MakeRef<AttributeObj>();
  attribute->SetValue(Variant::Missing());
  Append(attribute, false);
  attribute->FromAttributeText(piece);
}

void Attributes::FromAttributeString(String& Text) {
  Text = String(MarkQuotedSpaces(TrimSpaces(Text.view())));
  Clear();
  ForEachPiece(Text.view(), [this](std::u16string_view piece) {
    AddPiece(piece);
    return true;
  });
}

void Attributes::ReadAttributeString(std::u16string_view text) {
  Clear();
  ForEachListPiece(text, [this](std::u16string_view piece) {
    AddPiece(piece);
    return true;
  });
}

namespace {

// The packed form: per pair its kind (AttributePiece::Kind), the name's length in two units
// and the name, and for a String value its length and text the same way. Returns the place
// behind what it wrote.
char16_t* PutText(char16_t* out, std::u16string_view text) {
  *out++ = static_cast<char16_t>(text.size() & 0xffff);
  *out++ = static_cast<char16_t>(text.size() >> 16);
  return std::copy(text.begin(), text.end(), out);
}

std::u16string_view TakeText(std::u16string_view& in) {
  size_t size = in[0] | (static_cast<size_t>(in[1]) << 16);
  std::u16string_view text = in.substr(2, size);
  in.remove_prefix(2 + size);
  return text;
}

}  // namespace

namespace {

enum class ListForm { kOther, kRegular, kVerbatim };

// Whether `text` is `word`, unit for unit, compared in place: the lists' "TRUE" and "FALSE".
// The word's length is known when compiling, so the test unrolls to a few compares; SameText,
// made for texts of any length, took 5% more of a read of many such lists.
template <size_t n>
inline bool IsWord(std::u16string_view text, const char16_t (&word)[n]) {
  if (text.size() != n - 1) return false;
  for (size_t i = 0; i + 1 < n; ++i)
    if (text[i] != word[i]) return false;
  return true;
}

// Whether `text` is a regular list (ForEachRegularPair), as the writer gives one: its pieces
// are then those that the general rules cut, and no test of theirs depends on the locale once
// the numbers are known to be numbers. kVerbatim when the writer writes it as it stands: it
// quotes the unquoted numbers.
ListForm RegularList(std::u16string_view text, char16_t decimal) {
  const char16_t* p = text.data();
  const char16_t* const end = p + text.size();
  if (p == end) return ListForm::kOther;
  bool verbatim = true;
  while (true) {
    // The name, to its "=". Names are a few units of any length: eight are looked at in one
    // step, so that where a name ends costs no guess.
    bool named = false;
#ifdef __SSE2__
    if (end - p >= 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      const auto is = [&v](char16_t unit) {
        return _mm_cmpeq_epi16(v, _mm_set1_epi16(static_cast<short>(unit)));
      };
      const unsigned eq = static_cast<unsigned>(_mm_movemask_epi8(is(u'=')));
      const unsigned stops = eq | static_cast<unsigned>(_mm_movemask_epi8(
                                      _mm_or_si128(_mm_or_si128(is(u' '), is(u'"')), is(u'|'))));
      if (stops) {
        if (!(eq & stops & (0u - stops))) return ListForm::kOther;  // the first stop is not "="
        p += static_cast<unsigned>(__builtin_ctz(stops)) >> 1;
        named = true;
      } else {
        p += 8;
      }
    }
#endif
    if (!named) {
      for (; p != end && *p != u'='; ++p)
        if (*p == u' ' || *p == u'"' || *p == u'|') return ListForm::kOther;
      if (p == end) return ListForm::kOther;
    }
    ++p;
    if (p != end && *p == u'"') {
      for (++p; p != end && *p != u'"'; ++p)
        if (*p == u'|') return ListForm::kOther;
      if (p == end) return ListForm::kOther;
      ++p;
    } else {
      const char16_t* const value = p;
      for (; p != end && *p != u' '; ++p)
        if (*p == u'"' || *p == u'|') return ListForm::kOther;
      const std::u16string_view v(value, static_cast<size_t>(p - value));
      // The words are told by their length and units; the number test takes the decimal given.
      if (!(v.empty() || IsWord(v, u"TRUE") || IsWord(v, u"FALSE"))) {
        double ignored;
        if (!PlainNumber(v, decimal, ignored)) return ListForm::kOther;
        verbatim = false;
      }
    }
    if (p == end) return verbatim ? ListForm::kVerbatim : ListForm::kRegular;
    // One space, and a piece behind it.
    if (*p != u' ' || ++p == end || *p == u' ') return ListForm::kOther;
  }
}

}  // namespace

namespace {

// The general packing, for the lists that the one pass below leaves: those with a "|", whose
// "|_" reads as a space, and those with one quote alone, whose spaces all cut.
bool PackByPieces(std::u16string_view text, AttributesSlot& slot) {
  // A piece packs to at most its own length and four units (kind and two lengths) when it holds
  // "=", else to one unit; a list has at most one piece more than it has spaces.
  std::u16string packed;
  packed.resize(text.size() + 4 * (std::count(text.begin(), text.end(), u' ') + 1));
  char16_t* const begin = packed.data();
  char16_t* out = begin;
  bool ok = true;
  ForEachListPiece(text, [&](std::u16string_view text_piece) {
    AttributePiece piece = ReadAttributePiece(text_piece);
    ok = piece.kind != AttributePiece::kLoneQuote;
    if (!ok) return false;
    *out++ = piece.kind;
    if (piece.kind == AttributePiece::kNoEquals) return true;
    out = PutText(out, piece.name);
    if (piece.kind == AttributePiece::kText) out = PutText(out, piece.value);
    return true;
  });
  if (!ok) return false;
  if (out == begin) {
    slot.Reset();
  } else {
    slot.SetPacked(std::u16string_view(begin, static_cast<size_t>(out - begin)));
  }
  return true;
}

}  // namespace

bool Attributes::PackAttributeString(std::u16string_view text, AttributesSlot& slot) {
  return PackAttributeString(text, slot, ThreadLocale().decimal);
}

bool Attributes::PackAttributeString(std::u16string_view text, AttributesSlot& slot,
                                     char16_t decimal) {
  // Most lists are in the writer's form, which is kept as it stands: one tight look tells.
  if (const ListForm form = RegularList(text, decimal); form != ListForm::kOther) {
    slot.SetRegular(text, form == ListForm::kVerbatim);
    return true;
  }
  // Any other list: one pass cuts it and reads each piece as it ends. It takes the spaces
  // between quotes as inside them, as the rules do once the list holds two quotes or more;
  // with none no space is inside quotes either way.
  size_t first = 0, last = text.size();
  while (first < last && text[first] == u' ') ++first;
  while (last > first && text[last - 1] == u' ') --last;
  const std::u16string_view list = text.substr(first, last - first);
  if (list.empty()) {
    slot.Reset();
    return true;
  }
  // Room for the packed form: see PackByPieces. Short lists, the usual ones, are packed on the
  // stack.
  char16_t local[1024];
  std::u16string heap;
  const size_t bound = 5 * list.size() + 4;
  char16_t* const begin = bound <= std::size(local) ? local : (heap.resize(bound), heap.data());
  char16_t* out = begin;
  size_t quotes = 0;
  bool quoted = false;
  const char16_t* const data = list.data();
  const size_t size = list.size();
  size_t start = 0, eq = std::u16string_view::npos;
  // The units that end a run of the pass below, besides "|".
  constexpr uint64_t kListStops = uint64_t{1} << u' ' | uint64_t{1} << u'"' | uint64_t{1} << u'=';
  for (size_t i = 0;; ++i) {
    if (i < size) {
      const char16_t ch = data[i];
      // Most units are none of these: one test passes them.
      if (ch < 64 ? !((kListStops >> ch) & 1) : ch != u'|') continue;
      if (ch == u'"') {
        quoted = !quoted;
        ++quotes;
        continue;
      }
      if (ch == u'=') {
        if (eq == std::u16string_view::npos) eq = i;
        continue;
      }
      if (ch == u'|') return PackByPieces(text, slot);
      if (ch != u' ' || quoted) continue;
    }
    // The piece from `start` to `i`.
    if (eq == std::u16string_view::npos) {
      *out++ = AttributePiece::kNoEquals;
    } else {
      const std::u16string_view name(data + start, eq - start);
      const std::u16string_view value(data + eq + 1, i - eq - 1);
      AttributePiece::Kind kind;
      std::u16string_view text_value;
      double ignored;
      if (IsWord(value, u"TRUE")) {
        kind = AttributePiece::kTrue;
      } else if (IsWord(value, u"FALSE")) {
        kind = AttributePiece::kFalse;
      } else if (!value.empty() && value.front() == u'"' && value.back() == u'"') {
        // A lone quote asks for the text between the first and the last character.
        if (value.size() == 1) {
          if (quotes == 1) break;  // read by the rules for one quote below
          return false;
        }
        kind = AttributePiece::kText;
        text_value = value.substr(1, value.size() - 2);
      } else if (PlainNumber(value, decimal, ignored)) {
        kind = AttributePiece::kText;  // a number stays text: it does not come back as one
        text_value = value;
      } else if (IsNumericText(value)) {
        kind = AttributePiece::kText;
        text_value = value;
      } else {
        kind = AttributePiece::kMissing;
      }
      *out++ = kind;
      out = PutText(out, name);
      if (kind == AttributePiece::kText) out = PutText(out, text_value);
    }
    if (i >= size) break;
    start = i + 1;
    eq = std::u16string_view::npos;
  }
  // With one quote alone the rules take no space as quoted.
  if (quotes == 1) return PackByPieces(text, slot);
  slot.SetPacked(std::u16string_view(begin, static_cast<size_t>(out - begin)));
  return true;
}

void AttributesSlot::SetBlock(std::u16string_view units, uintptr_t tags) {
  auto* block = static_cast<uint64_t*>(
      PoolAllocateInline(sizeof(uint64_t) + units.size() * sizeof(char16_t)));
  *block = units.size();
  // Most lists are a few dozen units: fixed moves cost less than the call a block copy makes.
  CopyUnits(reinterpret_cast<char16_t*>(block + 1), units.data(), units.size());
  if (bits_) Reset();  // a read node's slot is empty: no call
  bits_ = reinterpret_cast<uintptr_t>(block) | tags;
}

void AttributesSlot::Reset() {
  if (uint64_t* block = PackedBlock()) {
    PoolFree(block, sizeof(uint64_t) + *block * sizeof(char16_t));
  } else if (Attributes* attributes = object()) {
    attributes->Release();
  }
  bits_ = 0;
}

Attributes::PackedPair Attributes::TakePackedPair(std::u16string_view& packed) {
  PackedPair pair{static_cast<AttributePiece::Kind>(packed[0]), {}, {}};
  packed.remove_prefix(1);
  if (pair.kind != AttributePiece::kNoEquals) pair.name = TakeText(packed);
  if (pair.kind == AttributePiece::kText) pair.value = TakeText(packed);
  return pair;
}

char16_t* Attributes::QuoteRegularNumbers(std::u16string_view list, char16_t* out) {
  const char16_t* p = list.data();
  const char16_t* const end = p + list.size();
  while (p != end) {
    // The name and its "=": every piece of a regular list has one.
    while (*p != u'=') *out++ = *p++;
    *out++ = *p++;
    if (p != end && *p == u'"') {
      // A quoted value, without a quote inside.
      *out++ = *p++;
      while (*p != u'"') *out++ = *p++;
      *out++ = *p++;
    } else {
      const char16_t* const value = p;
      while (p != end && *p != u' ') ++p;
      const std::u16string_view v(value, static_cast<size_t>(p - value));
      // TRUE, FALSE and nothing stand as they are; anything else is a number, which comes
      // back as a text.
      const bool number = !(v.empty() || v == u"TRUE" || v == u"FALSE");
      if (number) *out++ = u'"';
      out = std::copy(value, p, out);
      if (number) *out++ = u'"';
    }
    if (p != end) *out++ = *p++;  // the one space between pieces
  }
  return out;
}

void Attributes::Unpack(const AttributesSlot& slot) {
  ForEachPackedPair(slot, [this](const PackedPair& pair) {
    Ref<AttributeObj> attribute = MakeRef<AttributeObj>();
    attribute->SetValue(Variant::Missing());
    if (pair.kind != AttributePiece::kNoEquals) {
      attribute->SetName(String(pair.name));
      if (pair.kind == AttributePiece::kTrue || pair.kind == AttributePiece::kFalse)
        attribute->SetValue(Variant(pair.kind == AttributePiece::kTrue));
      if (pair.kind == AttributePiece::kText) attribute->SetValue(Variant(String(pair.value)));
    }
    Append(std::move(attribute), false);
  });
}

BORVANE_REGISTER_CLASS(Attributes)

}  // namespace borvane
