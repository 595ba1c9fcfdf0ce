// Readers of the tables inside a compiled help file (.chm), as bytes or text taken out of it:
// the file's settings, the map from context numbers to topics, the contents and index sitemaps,
// the text popups and the associative link names of a topic. They read untrusted bytes: every
// length and offset is checked, and bad data gives less, never a crash.
#ifndef BORVANE_PLATFORM_HELP_HELP_TABLES_H_
#define BORVANE_PLATFORM_HELP_HELP_TABLES_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace borvane::platform {

// The entries of "#SYSTEM" that the viewer uses; empty where the file has none.
struct HelpSystemInfo {
  std::string contents_file;  // the .hhc inside the file
  std::string index_file;     // the .hhk
  std::string default_topic;
  std::string title;
};
HelpSystemInfo ParseHelpSystem(std::string_view bytes);

// "#IVB" (a length, then pairs of a context number and an offset into "#STRINGS") with
// "#STRINGS" (texts ending in NUL): context number to the text the pair names, a topic path
// or a path the compiler recorded for it.
std::map<uint32_t, std::string> ParseContextMap(std::string_view ivb, std::string_view strings);

// One entry of a sitemap (.hhc contents or .hhk index): its name, the topic it opens (may be
// empty for a heading), and its depth in the tree (0 at the top).
struct SitemapEntry {
  std::string name;
  std::string local;
  int depth = 0;
  bool operator==(const SitemapEntry&) const = default;
};
// The entries of a sitemap held compactly, as the help server keeps a file's index for as long
// as the file is open: the texts stand in one block, each once (many entries open one topic,
// and a name such as "Create" stands in the index hundreds of times). Its blocks grow in place
// where the system can, so that filling it never holds a second copy.
class Sitemap {
 public:
  Sitemap() = default;
  explicit Sitemap(const std::vector<SitemapEntry>& entries);
  Sitemap(Sitemap&& other) noexcept { *this = std::move(other); }
  Sitemap& operator=(Sitemap&& other) noexcept;
  ~Sitemap();

  void Add(int depth, std::string_view name, std::string_view local);
  // Gives back the room that filling left unused, and what finding equal texts took.
  void Seal();

  size_t size() const { return entries_size_; }
  int depth(size_t i) const { return entries_[i].depth; }
  std::string_view name(size_t i) const { return Text(entries_[i].name); }
  std::string_view local(size_t i) const { return Text(entries_[i].local); }

 private:
  struct Entry {
    uint32_t name, local;  // offsets of their texts in the block
    int32_t depth;
  };
  // A text of the block: its length as a varint, then its bytes.
  std::string_view Text(uint32_t at) const;
  uint32_t Store(std::string_view text);
  // The offset of a text equal to `text`, stored now if there is none.
  uint32_t Intern(std::string_view text);
  void Reserve(size_t text, size_t entries);

  char* text_ = nullptr;
  size_t text_size_ = 0, text_room_ = 0;
  Entry* entries_ = nullptr;
  size_t entries_size_ = 0, entries_room_ = 0;
  // The texts stored so far, by offset, while the sitemap fills; dropped by Seal.
  std::vector<uint32_t> texts_;
  size_t texts_used_ = 0;
};

// Reads a sitemap's HTML a piece at a time, as the help file gives it, so that a large index
// is never held whole: `entry` is called for each <OBJECT type="text/sitemap"> with its "Name"
// and "Local" parameters, nested by <UL>, as soon as its </OBJECT> is read. Character
// references in values are decoded. The pieces may cut the text anywhere.
class SitemapReader {
 public:
  explicit SitemapReader(std::function<void(SitemapEntry&&)> entry) : entry_(std::move(entry)) {}
  void Feed(std::string_view piece);
  // The end of the text: a tag it leaves open is read as it stands.
  void Finish();

 private:
  // Reads the tags of `html`; keeps an unfinished one unless `last`.
  void Read(std::string_view html, bool last);

  std::function<void(SitemapEntry&&)> entry_;
  std::string pending_;  // the start of a tag that the pieces so far leave unfinished
  size_t retry_at_ = 0;  // the size of pending_ at which it is read again
  int depth_ = -1;       // the first <UL> holds the top level
  bool in_object_ = false;
  SitemapEntry current_;
};

// The entries of a whole sitemap's HTML, in order (SitemapReader).
std::vector<SitemapEntry> ParseSitemap(std::string_view html);

// The index entries that `keyword` names, best first: entries of that name at the top level,
// then a sub-entry named by its path ("parent, child": the names from the top joined by ", "),
// then entries of that name further down, the shallower first. Each group in the index's
// order; names compare without regard to case and to blanks at either end.
std::vector<size_t> KeywordEntries(const Sitemap& index, std::string_view keyword);

// The topic of entry `i`: its own, else that of the first entry below it that has one (a
// heading of the index opens its first sub-entry); empty when none has.
std::string EntryTopic(const Sitemap& index, size_t i);

// A popup text file: ".topic N" lines, each followed by its text up to the next ".topic".
// Topics named by a symbol (".topic IDH_X") have no number here and are left out; the text is
// trimmed of blank lines at either end.
std::map<uint32_t, std::string> ParsePopupTexts(std::string_view text);

// The associative link names a topic's HTML declares (<param name="ALink Name" value="...">);
// several names in one value are separated by ";".
std::vector<std::string> ParseALinkNames(std::string_view html);

// The targets of a page's links and embedded files (href and src values), as written.
std::vector<std::string> ParseLinks(std::string_view html);

// The numbers and texts of a help file's binary tables, read checked: a little-endian number
// that `bytes` ends before reads as all ones (UINT32_MAX, or UINT64_MAX for ReadQword); a text
// runs to its NUL or the end, and is empty past the end.
uint32_t ReadWord(std::string_view bytes, size_t at);
uint32_t ReadDword(std::string_view bytes, size_t at);
uint64_t ReadQword(std::string_view bytes, size_t at);
std::string_view TextAt(std::string_view bytes, size_t at);
// A number of 7-bit groups, each but the last with its high bit set, the most significant group
// first (`low_first` for the other order, which some compilers write in the full-text index);
// false where `bytes` ends before it does.
bool ReadEncint(std::string_view bytes, size_t& at, uint64_t& value, bool low_first = false);

// Text helpers of these readers: ASCII case-blind equality, and the text without white space
// at either end.
bool EqualsNoCase(std::string_view a, std::string_view b);
std::string_view TrimSpaces(std::string_view s);

// Decodes the character references of an HTML attribute value (&amp; &lt; &gt; &quot; &#N;
// &#xN;); others stay as written. Characters come out as UTF-8.
std::string DecodeHtmlText(std::string_view text);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_TABLES_H_
