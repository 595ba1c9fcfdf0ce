// Readers of the tables inside a compiled help file (.chm), as bytes or text taken out of it:
// the file's settings, the map from context numbers to topics, the contents and index sitemaps,
// the text popups and the associative link names of a topic. They read untrusted bytes: every
// length and offset is checked, and bad data gives less, never a crash.
#ifndef BORVANE_PLATFORM_HELP_HELP_TABLES_H_
#define BORVANE_PLATFORM_HELP_HELP_TABLES_H_

#include <cstdint>
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
// The entries of a sitemap's HTML in order: each <OBJECT type="text/sitemap"> with its "Name"
// and "Local" parameters, nested by <UL>. Character references in values are decoded.
std::vector<SitemapEntry> ParseSitemap(std::string_view html);

// The index entries that `keyword` names, best first: entries of that name at the top level,
// then a sub-entry named by its path ("parent, child": the names from the top joined by ", "),
// then entries of that name further down, the shallower first. Each group in the index's
// order; names compare without regard to case and to blanks at either end.
std::vector<size_t> KeywordEntries(const std::vector<SitemapEntry>& index,
                                   std::string_view keyword);

// The topic of entry `i`: its own, else that of the first entry below it that has one (a
// heading of the index opens its first sub-entry); empty when none has.
std::string EntryTopic(const std::vector<SitemapEntry>& index, size_t i);

// A popup text file: ".topic N" lines, each followed by its text up to the next ".topic".
// Topics named by a symbol (".topic IDH_X") have no number here and are left out; the text is
// trimmed of blank lines at either end.
std::map<uint32_t, std::string> ParsePopupTexts(std::string_view text);

// The associative link names a topic's HTML declares (<param name="ALink Name" value="...">);
// several names in one value are separated by ";".
std::vector<std::string> ParseALinkNames(std::string_view html);

// The targets of a page's links and embedded files (href and src values), as written.
std::vector<std::string> ParseLinks(std::string_view html);

// Text helpers of these readers: ASCII case-blind equality, and the text without white space
// at either end.
bool EqualsNoCase(std::string_view a, std::string_view b);
std::string_view TrimSpaces(std::string_view s);

// Decodes the character references of an HTML attribute value (&amp; &lt; &gt; &quot; &#N;
// &#xN;); others stay as written. Characters come out as UTF-8.
std::string DecodeHtmlText(std::string_view text);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_TABLES_H_
