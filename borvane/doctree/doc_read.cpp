// The reader of the document's text form. It is no XML parser: it cuts the text at tag starts
// outside quotes and never rejects a text for being malformed.
//
// The text is read in one pass. White space outside tags and quotes is dropped while the text
// is cut at tag starts, and each tag is handled as soon as it is complete, so that no stripped
// copy of the whole text is made.
#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/text.h"
#include "borvane/automation/unit_search.h"
#include "borvane/doctree/doc.h"
#include "borvane/doctree/tag_window.h"
#include "borvane/frame/error_handling.h"

namespace borvane {

namespace {

// The characters at which the scanner stops, by where it stands. All are below 64, so one
// shift of a mask tells. Inside quotes only a quote, ">", the tag mark and code 1 matter; in a
// tag also "<"; outside both also white space, which is dropped there.
constexpr uint64_t Bits(std::initializer_list<char16_t> chars) {
  uint64_t mask = 0;
  for (char16_t ch : chars) mask |= uint64_t{1} << ch;
  return mask;
}
constexpr uint64_t kWhite = Bits({u' ', u'\r', u'\n', u'\t'});
constexpr uint64_t kStopInQuote = Bits({u'"', u'>', kTagMark, u'\x01'});
constexpr uint64_t kStopInTag = kStopInQuote | Bits({u'<'});
constexpr uint64_t kStopOutside = kStopInTag | kWhite;

inline bool Stops(char16_t ch, uint64_t mask) {
  return ch < 64 && ((mask >> ch) & 1);
}

// The scans below find the first character of a set from `p` on, or `end`. Runs between stops
// are short (a name, a number, an indentation), so a character-at-a-time loop pays a
// mispredicted exit per run; these test eight characters at a time where SSE2 is there.
#ifdef __SSE2__
inline __m128i Equal(__m128i v, char16_t ch) {
  return _mm_cmpeq_epi16(v, _mm_set1_epi16(static_cast<short>(ch)));
}
inline unsigned Lanes(__m128i hits) {
  return static_cast<unsigned>(_mm_movemask_epi8(hits));
}
#endif

// The first character at which the scanner stops under `stops`. Any stop character of any
// state (code 32 and below, a quote, "<" or ">") is found with one test, and the few of them
// that do not stop in the current state are passed over.
inline const char16_t* NextStop(const char16_t* p, const char16_t* end, uint64_t stops) {
#ifdef __SSE2__
  const __m128i k20 = _mm_set1_epi16(0x20);
  while (end - p >= 8) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i low = _mm_cmpeq_epi16(_mm_subs_epu16(v, k20), _mm_setzero_si128());
    __m128i angle = Equal(_mm_or_si128(v, _mm_set1_epi16(2)), u'>');  // "<" | 2 is ">"
    unsigned mask = Lanes(_mm_or_si128(low, _mm_or_si128(Equal(v, u'"'), angle)));
    while (mask) {
      unsigned at = static_cast<unsigned>(__builtin_ctz(mask)) >> 1;
      if (Stops(p[at], stops)) return p + at;
      mask &= ~(3u << (at * 2));
    }
    p += 8;
  }
#endif
  while (p < end && !Stops(*p, stops)) ++p;
  return p;
}

// What FindFirst looks for: a stop inside a tag and outside quotes (a quote, "<", ">", the tag
// mark or code 1), or a stop inside quotes (the same but "<").
enum class Seek { kStopInTag, kStopInQuote };

template <Seek seek>
inline const char16_t* FindFirst(const char16_t* p, const char16_t* end) {
#ifdef __SSE2__
  while (end - p >= 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i mark = _mm_or_si128(Equal(v, kTagMark), Equal(v, 1));
    const __m128i angle = seek == Seek::kStopInTag
                              ? Equal(_mm_or_si128(v, _mm_set1_epi16(2)), u'>')  // "<" | 2 is ">"
                              : Equal(v, u'>');
    const unsigned mask = Lanes(_mm_or_si128(_mm_or_si128(angle, Equal(v, u'"')), mark));
    if (mask) return p + (static_cast<unsigned>(__builtin_ctz(mask)) >> 1);
    p += 8;
  }
#endif
  constexpr uint64_t stops = seek == Seek::kStopInTag ? kStopInTag : kStopInQuote;
  while (p < end && !Stops(*p, stops)) ++p;
  return p;
}

// The first character from `p` on that is not white space, or `end`. Most runs are short (a
// line end and a few tabs) and end within the sixteen characters looked at here; a longer one,
// the indentation of a deep document, goes on with `wide`.
inline const char16_t* SkipWhite(const char16_t* p, const char16_t* end, WhiteSkipper wide) {
#ifdef __SSE2__
  if (end - p >= 16) {
    const unsigned white = WhiteOfSixteen(p);
    if (white != 0xffff) return p + __builtin_ctz(~white);
    p += 16;
  }
#endif
  return wide(p, end);
}

// Characters kept from the text, as a view into it while they stand together; copied only
// when a dropped character falls between two kept ones. Leading dropped characters cost no copy.
class KeptText {
 public:
  [[gnu::always_inline]] void Keep(const char16_t* from, const char16_t* to) {
    if (copying_) {
      buffer_.append(from, to);
    } else if (!begin_) {
      begin_ = from;
      end_ = to;
    } else if (from == end_) {
      end_ = to;
    } else {
      copying_ = true;
      buffer_.assign(begin_, end_);
      buffer_.append(from, to);
    }
  }
  void Reset() {
    begin_ = end_ = nullptr;
    copying_ = false;
  }
  size_t size() const { return copying_ ? buffer_.size() : static_cast<size_t>(end_ - begin_); }
  std::u16string_view view() const {
    return copying_ ? std::u16string_view(buffer_) : std::u16string_view(begin_, size());
  }

 private:
  const char16_t* begin_ = nullptr;
  const char16_t* end_ = nullptr;
  bool copying_ = false;
  std::u16string buffer_;
};

// What the scanner gives for a head's first space when it did not look for it.
constexpr size_t kSpaceUnknown = std::u16string_view::npos - 1;

// Cuts a text into the pieces between tag starts, without the white space that stands outside
// tags and quotes and without characters of code 1. A "<" outside quotes and a character of
// code 30 anywhere start a new piece; what stands before the first is no piece.
//
// A piece comes as its head, before its first ">", and its text behind that ">". Each is a
// view into the text unless a dropped character stands inside it: the white space of an
// indented text stands between the parts and at their ends, so that it costs no copy.
class TagScanner {
 public:
  explicit TagScanner(std::u16string_view text) : p_(text.data()), end_(p_ + text.size()) {}

  // The value of a `text` given to ForEachPiece's `piece`, when the scanner read it already as
  // a quoted text: its inner text with each escape as a quote, and the number of those. The view
  // lasts for that call. The text is known by its place and length: the same view holds the
  // same units, whichever way the scanner cut it.
  bool UnescapedValue(std::u16string_view text, std::u16string_view& value,
                      uint32_t& quotes) const {
    if (text.data() != unescaped_for_.data() || text.size() != unescaped_for_.size()) return false;
    value = std::u16string_view(unescaped_.data(), unescaped_size_);
    quotes = unescaped_quotes_;
    return true;
  }

  // Calls piece(head, text, has_gt, space) with each piece in turn; the views last for the
  // call. `has_gt` tells whether the piece holds a ">" at all (else `text` is empty). `space`
  // is the place of the head's first space, npos when it has none, or kSpaceUnknown when the
  // scanner did not look. Whatever `piece` throws ends the scan.
  template <class F>
  void ForEachPiece(F&& piece) {
    std::u16string_view head, text;
    bool has_gt;
    while (true) {
      if (started_ && in_tag_ && !in_quote_) {
        if (ShortPieces(piece)) continue;
        has_gt = true;
        if (!PlainPiece(head, text) && !Next(head, text, has_gt)) return;
      } else if (!Next(head, text, has_gt)) {
        return;
      }
      piece(head, text, has_gt, kSpaceUnknown);
    }
  }

 private:
  // The next piece by the general rules, or false at the end of the text.
  bool Next(std::u16string_view& head, std::u16string_view& text, bool& has_gt) {
    // The state lives in locals while the loop runs, so that it stays in registers.
    const char16_t* p = p_;
    const char16_t* const end = end_;
    bool in_tag = in_tag_;
    bool in_quote = in_quote_;
    head_.Reset();
    text_.Reset();
    KeptText* part = &head_;
    bool gt = false;
    bool cut = false;
    while (true) {
      const uint64_t stops = in_quote ? kStopInQuote : in_tag ? kStopInTag : kStopOutside;
      const char16_t* run = p;
      p = NextStop(p, end, stops);
      if (p != run) part->Keep(run, p);
      if (p == end) break;
      char16_t ch = *p++;
      switch (ch) {
        case u'"':
          in_quote = !in_quote;
          part->Keep(p - 1, p);
          continue;
        case u'>':
          if (!in_quote) in_tag = false;
          if (gt) {
            part->Keep(p - 1, p);
          } else {
            gt = true;
            part = &text_;
          }
          continue;
        case u'<':  // outside quotes
          in_tag = true;
          break;  // a cut
        case kTagMark:
          break;  // a cut
        case u'\x01':
          continue;
        default:  // white space outside tags and quotes: dropped, with the rest of its run
          p = SkipWhite(p, end, skip_white_);
          continue;
      }
      if (started_) {
        cut = true;
        break;
      }
      // The first tag start: what stood before it is no piece.
      started_ = true;
      head_.Reset();
      text_.Reset();
      part = &head_;
      gt = false;
    }
    p_ = p;
    if (!cut) {
      if (!started_) return false;
      started_ = false;  // the last piece is given once
    }
    in_tag_ = in_tag;
    in_quote_ = in_quote;
    head = head_.view();
    text = text_.view();
    has_gt = gt;
    return true;
  }

  // ShortPieces and PlainPiece read pieces as the writer makes them, without leaving the text:
  // a tag whose quoted values hold no ">", then ">", white space, a value that is either quoted
  // or free of white space, white space and the next "<". Any other piece, and the last one, is
  // left to the general loop, which then reads it from the same place: neither changes the
  // scanner's state unless it takes the piece.
  //
  // ShortPieces takes the run of such pieces that end within the next 64 characters, found
  // from one look at them (TagWindow): each step is a bit search, where a scan of the text would
  // wait for the one before. It then looks at the 64 characters behind the last piece it took,
  // until a piece does not end within them. False when it took none.
  template <class F>
  bool ShortPieces(F& piece) {
    // In locals, which `piece` cannot reach: they stay in registers across its calls.
    const char16_t* p = p_;
    if (p == long_piece_) return false;
    const char16_t* const end = end_;
    const TagClassifier classify = classify_;
    while (static_cast<size_t>(end - p) >= TagWindow::kSize) {
      TagWindow w;
      classify(p, w);
      unsigned at = 0;
      Found f;
      const char16_t* resume = nullptr;
      while (at < TagWindow::kSize) {
        // Without a "<" further on in the window no piece can end there.
        if ((w.lt & TagWindow::From(at)) && PieceAt(w, at, f)) {
          piece(std::u16string_view(p + at, f.head_end - at),
                std::u16string_view(p + f.text_begin, f.text_end - f.text_begin), true,
                HeadSpace(w, p, at, f.head_end));
          at = f.next;
          continue;
        }
        // A head that ends in the window, with a text that goes on past it (a long value): the
        // rest is read from the text itself, and the next window starts behind it.
        unsigned head_end;
        std::u16string_view text;
        if (HeadAt(w, at, head_end) && TextBehind(p + head_end, text, resume))
          piece(std::u16string_view(p + at, head_end - at), text, true,
                HeadSpace(w, p, at, head_end));
        break;
      }
      if (resume) {
        p = resume;
        continue;
      }
      if (at == 0) {
        // The piece here is not one of these: the next call goes straight to the others
        // instead of looking at the same window again.
        long_piece_ = p;
        break;
      }
      p += at;  // the state stays: in a tag, outside quotes
    }
    if (p == p_) return false;
    p_ = p;
    return true;
  }

  // The first space of the head from place `at` to `head_end` of the window at `p`: the window
  // tells where its first white space stands, which is most often a space.
  [[gnu::always_inline]] static size_t HeadSpace(const TagWindow& w, const char16_t* p, unsigned at,
                                                 unsigned head_end) {
    const uint64_t white = w.white & TagWindow::From(at) & ~TagWindow::From(head_end);
    if (!white) return std::u16string_view::npos;
    const unsigned first = static_cast<unsigned>(__builtin_ctzll(white));
    return p[first] == u' ' ? first - at : kSpaceUnknown;
  }

  // Places in a window: where a piece's head ends (its ">"), where its text begins and ends,
  // and the place behind the "<" that cuts it.
  struct Found {
    unsigned head_end, text_begin, text_end, next;
  };
  // The piece of the writer's form that starts at place `at` (below 64) of the window, if it
  // ends there.
  [[gnu::always_inline]] static bool PieceAt(const TagWindow& w, unsigned at, Found& f) {
    if (!HeadAt(w, at, f.head_end)) return false;
    const uint64_t head_stops = w.lt | w.gt | w.quote | w.mark;
    uint64_t stops;
    const uint64_t text_starts = ~w.white & TagWindow::Behind(f.head_end);
    if (!text_starts) return false;
    f.text_begin = __builtin_ctzll(text_starts);
    f.text_end = f.text_begin;
    if (TagWindow::Has(w.quote, f.text_begin)) {
      stops = (w.quote | w.gt | w.mark) & TagWindow::Behind(f.text_begin);
      if (!stops) return false;
      const unsigned close = __builtin_ctzll(stops);
      if (!TagWindow::Has(w.quote, close)) return false;
      f.text_end = close + 1;
    } else if (!TagWindow::Has(w.lt, f.text_begin)) {
      stops = (head_stops | w.white) & TagWindow::From(f.text_begin);
      if (!stops) return false;
      f.text_end = __builtin_ctzll(stops);
    }
    // The text ends at a place up to 64, so the places from there on are those behind the
    // one before it.
    const uint64_t cuts = ~w.white & TagWindow::Behind(f.text_end - 1);
    if (!cuts) return false;
    const unsigned cut = __builtin_ctzll(cuts);
    if (!TagWindow::Has(w.lt, cut)) return false;
    f.next = cut + 1;
    return true;
  }

  // The ">" that ends the head of the writer's form starting at place `at` of the window, if
  // it stands in the window.
  [[gnu::always_inline]] static bool HeadAt(const TagWindow& w, unsigned at, unsigned& head_end) {
    const uint64_t head_stops = w.lt | w.gt | w.quote | w.mark;
    uint64_t stops = head_stops & TagWindow::From(at);
    if (!stops) return false;
    head_end = __builtin_ctzll(stops);
    // A quoted attribute value: passed over up to its closing quote, when no ">" stands inside.
    while (TagWindow::Has(w.quote, head_end)) {
      stops = (w.quote | w.gt | w.mark) & TagWindow::Behind(head_end);
      if (!stops) return false;
      const unsigned close = __builtin_ctzll(stops);
      if (!TagWindow::Has(w.quote, close)) return false;
      stops = head_stops & TagWindow::Behind(close);
      if (!stops) return false;
      head_end = __builtin_ctzll(stops);
    }
    return TagWindow::Has(w.gt, head_end);
  }

  // Behind the quoted text that opens at `quote`, or nullptr when a stop other than the
  // closing quote comes first.
  const char16_t* PastQuoted(const char16_t* quote) const {
    // Most quoted texts end within a few words, which are looked at here; a long one goes on
    // with the widest finder.
    const char16_t* p = quote + 1;
    const char16_t* const near = end_ - p > 16 ? p + 16 : end_;
    p = FindFirst<Seek::kStopInQuote>(p, near);
    if (p == near && near != end_) p = find_quote_end_(p, end_);
    return p != end_ && *p == u'"' ? p + 1 : nullptr;
  }

  // As PastQuoted, and the text's value, its inner text with each escape as a quote, is copied
  // on the way into `unescaped_`, so that a long value is read from the text once.
  const char16_t* ReadQuoted(const char16_t* quote) {
    const char16_t* p = quote + 1;
    size_t used = 0;
    uint32_t escapes = 0;
    while (true) {
      // The room left bounds how far this round reads, as the copy never grows.
      const size_t room = unescaped_.size() - used;
      const char16_t* const limit = static_cast<size_t>(end_ - p) > room ? p + room : end_;
      char16_t* to = unescaped_.data() + used;
      p = copy_quoted_(p, limit, end_, to, escapes);
      used = static_cast<size_t>(to - unescaped_.data());
      if (p < limit || limit == end_) break;
      unescaped_.resize(std::max<size_t>(unescaped_.size() * 2, 256));
    }
    if (p == end_ || *p != u'"') return nullptr;
    unescaped_for_ = std::u16string_view(quote, static_cast<size_t>(p + 1 - quote));
    unescaped_size_ = used;
    unescaped_quotes_ = escapes;
    return p + 1;
  }

  bool PlainPiece(std::u16string_view& head, std::u16string_view& text) {
    const char16_t* const end = end_;
    const char16_t* const head_begin = p_;
    const char16_t* p = head_begin;
    // A long head (an attribute list of many quoted values) is looked at 64 characters at a
    // time, its quotes paired by bits, rather than searched value by value.
    bool in_quote = false, found = false;
    while (static_cast<size_t>(end - p) >= TagWindow::kSize) {
      TagWindow w;
      classify_(p, w);
      // Bit i set: character i stands inside quotes (an opening quote counts as inside, a
      // closing one as outside).
      uint64_t inside = w.quote;
      for (int shift = 1; shift < 64; shift *= 2) inside ^= inside << shift;
      if (in_quote) inside = ~inside;
      const uint64_t ends = w.gt & ~inside;
      const uint64_t leaves = w.mark | (w.gt & inside) | (w.lt & ~inside);
      if (const uint64_t stop = ends | leaves) {
        if (!(ends & stop & (0 - stop))) return false;  // the first stop leaves the form
        p += __builtin_ctzll(stop);
        found = true;
        break;
      }
      in_quote = inside >> 63;
      p += TagWindow::kSize;
    }
    if (!found) {  // the rest, shorter than a window
      if (in_quote && !(p = PastQuoted(p - 1))) return false;
      p = FindFirst<Seek::kStopInTag>(p, end);
      while (p != end && *p == u'"') {  // a quoted attribute value
        if (!(p = PastQuoted(p))) return false;
        p = FindFirst<Seek::kStopInTag>(p, end);
      }
    }
    if (p == end || *p != u'>') return false;
    const char16_t* next;
    if (!TextBehind(p, text, next)) return false;
    head = std::u16string_view(head_begin, static_cast<size_t>(p - head_begin));
    p_ = next;  // the state stays: in a tag, outside quotes
    return true;
  }

  // The text of the writer's form behind the ">" at `head_end`, and in `next` the place behind
  // the "<" that cuts it; false when the piece leaves that form.
  bool TextBehind(const char16_t* head_end, std::u16string_view& text, const char16_t*& next) {
    const char16_t* const end = end_;
    const char16_t* p = SkipWhite(head_end + 1, end, skip_white_);
    const char16_t* const text_begin = p;
    if (p == end) return false;
    if (*p == u'"') {
      if (!(p = ReadQuoted(p))) return false;
    } else if (*p != u'<') {
      p = NextStop(p, end, kStopOutside);
    }
    const char16_t* const text_end = p;
    p = SkipWhite(p, end, skip_white_);
    if (p == end || *p != u'<') return false;
    next = p + 1;
    text = std::u16string_view(text_begin, static_cast<size_t>(text_end - text_begin));
    return true;
  }

  const char16_t* p_;
  const char16_t* end_;
  bool in_tag_ = false;
  bool in_quote_ = false;
  bool started_ = false;                  // a tag start has been seen
  const char16_t* long_piece_ = nullptr;  // where ShortPieces last found no piece
  const TagClassifier classify_ = PickTagClassifier();
  const WhiteSkipper skip_white_ = PickWhiteSkipper();
  const QuoteEndFinder find_quote_end_ = PickQuoteEndFinder();
  const QuotedTextCopier copy_quoted_ = PickQuotedTextCopier();
  // The value of the quoted text last read by ReadQuoted, and that text.
  std::u16string unescaped_;
  size_t unescaped_size_ = 0;
  uint32_t unescaped_quotes_ = 0;
  std::u16string_view unescaped_for_;
  KeptText head_;
  KeptText text_;
};

// Whether `text` is the word `lower` (lower-case ASCII letters) in any case, as EqualsNoCase
// tells. An ASCII character matches a letter only as one of its two cases, which differ in bit
// 5 alone; another character may still match under the wider rules of EqualsNoCase.
inline bool IsWordNoCase(std::u16string_view text, std::u16string_view lower) {
  if (text.size() != lower.size()) return false;
  for (size_t i = 0; i < text.size(); ++i)
    if ((text[i] | 0x20) != lower[i]) return text[i] >= 0x80 && EqualsNoCase(text, lower);
  return true;
}

// A value text that is one quote alone, which has no text between its first and last
// character: reading it fails.
bool IsLoneQuote(std::u16string_view text) {
  return text.size() == 1 && text.front() == u'"';
}

// The inner text of a quoted value with "{\34}" turned into a quote, from `from` on, the first
// brace or quote of `inner`, written into `room`, which the reader reuses from value to value;
// the quotes it holds are added to `quotes`.
std::u16string_view Unescape(std::u16string_view inner, size_t from, QuotedTextCopier copy,
                             uint32_t& quotes, std::u16string& room) {
  // Never longer than `inner`, so that the copy, which runs behind the reading, stays within
  // it.
  if (room.size() < inner.size()) room.resize(inner.size());
  char16_t* const out = room.data();
  char16_t* to = out;
  std::memcpy(to, inner.data(), from * sizeof(char16_t));
  to += from;
  const char16_t* p = inner.data() + from;
  const char16_t* const end = inner.data() + inner.size();
  uint32_t escapes = 0;
  while (p < end) {
    p = copy(p, end, end, to, escapes);
    // A character that ends a quoted text stands in this one as it is.
    if (p < end) {
      if (*p == u'"') ++quotes;
      *to++ = *p++;
    }
  }
  quotes += escapes;
  return std::u16string_view(out, static_cast<size_t>(to - out));
}

// The value of an opening tag from the text behind its ">": quoted text with "{\34}" for a
// quote, then True/False in any case, then a number as a Double, else the text itself. The
// text is not a lone quote. `decimal` is the thread's decimal point. The quotes of a text
// kept as the value are counted into `quotes`, which is left alone for any other value.
// Inlined at the reader's call, as a call would cost more than most values take to read.
[[gnu::always_inline]] inline void ValueOf(std::u16string_view text, char16_t decimal,
                                           QuotedTextCopier copy, NodeValue& out, uint32_t& quotes,
                                           std::u16string& room) {
  if (text.empty()) {
    out.SetReadText({});
    quotes = 0;
    return;
  }
  if (text.front() == u'"' && text.back() == u'"') {
    std::u16string_view inner = text.substr(1, text.size() - 2);
    quotes = 0;
    const size_t first = FindEitherUnit(inner, u'{', u'"');
    if (first != std::u16string_view::npos) inner = Unescape(inner, first, copy, quotes, room);
    out.SetReadText(inner);
    return;
  }
  const char16_t first = text.front() | 0x20;
  if (first == u't' && IsWordNoCase(text, u"true")) {
    out.SetBoolean(true);
    return;
  }
  if (first == u'f' && IsWordNoCase(text, u"false")) {
    out.SetBoolean(false);
    return;
  }
  double number;
  if (PlainNumber(text, decimal, number)) {
    out.SetDouble(number);
    return;
  }
  if (IsNumericText(text)) {
    out.SetDouble(Val(String(text)));
    return;
  }
  quotes = static_cast<uint32_t>(std::min<size_t>(CountUnit(text, u'"'), UINT32_MAX));
  out.SetReadText(text);
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
    // The written form takes some 30 characters or more per node. Room the read leaves unused
    // is given back at the end, also when the read fails.
    mcolNodes.Reserve(XMLText.size() / 32);
    struct ReleaseRoom {
      NodeList& list;
      ~ReleaseRoom() { list.ReleaseUnusedRoom(); }
    } release_room{mcolNodes};
    // The last name, kept in `names`: its place there changes only when Share gives a new one.
    const NodeName no_name;
    const NodeName* last_name = &no_name;
    RecentNames names;
    DocNode::Anchor* root = nullptr;
    const char16_t decimal = ThreadLocale().decimal;
    const QuotedTextCopier copy_quoted = PickQuotedTextCopier();
    std::u16string unescape_room;
    // Inlined at both of the scanner's calls, the fast one and the general one.
    auto read_piece = [&](std::u16string_view head, std::u16string_view text, bool has_gt,
                          size_t space) __attribute__((always_inline)) {
      if (current) keyed = current;
      if (!head.empty() && head.front() == u'/') {
        // Any closing tag closes the current node, whatever its name.
        if (!current) ThrowPlatformError(kErrObjectNotSet);
        current = current->mobjParent;
        return;
      }
      if (!has_gt || head.empty()) return;
      // The first space of the piece before its ">" is the first of the head. Names repeat:
      // the nodes of one text share the last name while it stays the same, and a head that is
      // that name alone holds no space.
      if (SameText(head, last_name->view())) {
        space = std::u16string_view::npos;
      } else {
        if (space == kSpaceUnknown) space = FindUnit(head, u' ');
        std::u16string_view name = head.substr(0, space);
        if (!SameText(name, last_name->view())) {
          // A document repeats a few names, in any order: those seen lately are kept by a
          // short hash of their text, so that their nodes share them too.
          last_name = &names.Share(name);
        }
      }
      if (IsLoneQuote(text)) ThrowPlatformError(kErrInvalidCall);
      DocNode* node = AddReadNode(keyed, *last_name, root);
      // Built in the node itself: once the lone quote is ruled out the value cannot fail, as
      // the numeric test accepts no text whose leading number overflows.
      std::u16string_view unescaped;
      if (scanner.UnescapedValue(text, unescaped, node->value_quotes_))
        node->mvntValue.SetReadText(unescaped);
      else
        ValueOf(text, decimal, copy_quoted, node->mvntValue, node->value_quotes_, unescape_room);
      current = node;
      if (space != std::u16string_view::npos && space + 1 < head.size()) {
        // The pairs wait packed until a caller or the writer asks for them: most read
        // documents are walked for their values. A list that would fail is read at once, so
        // that it fails here, with the pairs before the failing one in place.
        std::u16string_view list = head.substr(space + 1);
        if (!Attributes::PackAttributeString(list, node->mobjAttributes, decimal))
          node->Attributes()->ReadAttributeString(list);
      }
    };
    scanner.ForEachPiece(read_piece);
  });
}

}  // namespace borvane
