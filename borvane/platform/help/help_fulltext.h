// The full-text index a help compiler may store in a compiled help file ("$FIftiMain"), read
// into the search index's stored form (help_search.h): a file that has one is searched by its
// own words, without a pass over its pages. The tables are untrusted bytes: every offset and
// length is checked, and a damaged index gives none, never a crash.
#ifndef BORVANE_PLATFORM_HELP_HELP_FULLTEXT_H_
#define BORVANE_PLATFORM_HELP_HELP_FULLTEXT_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace borvane::platform {

class ChmArchive;

// The tables the index needs: the index itself, and the topic table with the texts that give
// each topic's path and title.
struct FulltextTables {
  std::string_view fiftimain;  // "$FIftiMain"
  std::string_view topics;     // "#TOPICS": per topic, its title and its "#URLTBL" entry
  std::string_view urltbl;     // "#URLTBL": per entry, its path in "#URLSTR"
  std::string_view urlstr;     // "#URLSTR"
  std::string_view strings;    // "#STRINGS": the titles
};

// The path of the topic whose "#URLTBL" entry stands at `at` ("dir/page.htm", "/" between
// names); empty when the tables do not give one.
std::string TopicPathAt(std::string_view urltbl, std::string_view urlstr, uint32_t at);

// The stored search index of the file's own full-text index: its words, each with the topics
// that hold it in their text or title; no associative link names. Empty when the tables hold
// no index this reader knows, or a damaged one.
std::string SearchIndexFromFulltext(const FulltextTables& tables);

// The same, read from the file; empty also when the file has no full-text index.
std::string SearchIndexFromFulltext(ChmArchive& archive, uint64_t bound);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_FULLTEXT_H_
