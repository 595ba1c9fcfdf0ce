// The full-text search of a help file, and the associative link names of its pages: both need
// every page read once, so one pass makes both, in the reader process, and the result is kept in
// the user's cache beside nothing else of the file.
#ifndef BORVANE_PLATFORM_HELP_HELP_SEARCH_H_
#define BORVANE_PLATFORM_HELP_HELP_SEARCH_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace borvane::platform {

class ChmArchive;

// Reads every page (.htm, .html) of `archive`, at most `bound` bytes in all, and gives the
// index in its stored form. Empty when the pages passed the bound.
std::string MakeSearchIndex(ChmArchive& archive, uint64_t bound);

// The stored form of an index of `page_count` pages (`pages`: each page's PutSearchPage, in
// page order), `alink_count` associative link names (`alinks`) and the numbers of the pages
// that hold each word, in growing order.
std::string StoreSearchIndex(uint64_t page_count, std::string_view pages, uint64_t alink_count,
                             std::string_view alinks,
                             const std::map<std::string, std::vector<uint32_t>>& postings);
void PutSearchPage(std::string& pages, std::string_view path, std::string_view title);

// Text of a help file (names, titles, pages) as UTF-8: a help file written on Windows keeps it
// in its code page, read as Windows-1252 where the text is no valid UTF-8.
std::string HelpTextUtf8(std::string_view text);

// The words of a text as the index keeps them: runs of letters and digits (any byte of 0x80
// and above counts as a letter, so UTF-8 words stay whole), ASCII letters in lower case, at
// least two bytes long.
std::vector<std::string> SearchWords(std::string_view text);

// The visible text and the title of a page's HTML (tags, scripts and styles left out, character
// references decoded), as UTF-8: a page that is no valid UTF-8 is read as Windows-1252.
std::string PageText(std::string_view html, std::string* title = nullptr);

// An index in its stored form, searched where it stands: the pages, names and words are views
// into the stored bytes, so that a loaded index takes little more room than its file.
class SearchIndex {
 public:
  // Not copied or moved: its views would go on naming the bytes where they stood.
  SearchIndex() = default;
  SearchIndex(const SearchIndex&) = delete;
  SearchIndex& operator=(const SearchIndex&) = delete;

  // Takes the stored form; false when it is damaged (the index is then empty).
  bool Load(std::string stored);

  struct Page {
    std::string_view path;
    std::string_view title;
  };
  // Pages that hold every word of `query` (the last word also as the beginning of a longer
  // one, so that results come while the user types), in the file's order, at most `limit`.
  std::vector<const Page*> Find(std::string_view query, size_t limit) const;

  // The associative link names of the pages, in page order: (name, page path).
  const std::vector<std::pair<std::string_view, std::string_view>>& alinks() const {
    return alinks_;
  }
  size_t pages() const { return pages_.size(); }
  // The stored form it was loaded from.
  std::string_view stored() const { return stored_; }

 private:
  // Word `i` and its postings (page numbers as growing varint deltas).
  std::string_view WordAt(size_t i) const;
  std::vector<uint32_t> PagesOf(size_t word) const;
  void Clear();

  std::string stored_;
  std::vector<Page> pages_;
  std::vector<std::pair<std::string_view, std::string_view>> alinks_;
  std::vector<uint32_t> words_;  // where each word stands in stored_, in sorted order
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_SEARCH_H_
