#include "borvane/platform/help/help_fulltext.h"

#include <algorithm>
#include <map>
#include <vector>

#include "borvane/platform/help/chm_archive.h"
#include "borvane/platform/help/help_search.h"
#include "borvane/platform/help/help_tables.h"

namespace borvane::platform {

namespace {

// The bits of a word's topic list, the first of each byte first.
class BitReader {
 public:
  explicit BitReader(std::string_view bytes) : bytes_(bytes) {}
  bool Bits(int count, uint64_t& value) {
    value = 0;
    for (int i = 0; i < count; ++i) {
      if (at_ / 8 >= bytes_.size()) return false;
      value = value << 1 | ((static_cast<unsigned char>(bytes_[at_ / 8]) >> (7 - at_ % 8)) & 1u);
      ++at_;
    }
    return true;
  }
  // A number in the scale-and-root code (scale 2): p one bits and a zero, then `root` bits
  // when p is 0, else root + p - 1 bits below an implied leading one.
  bool ScaleRoot(int root, uint64_t& value) {
    int p = 0;
    for (uint64_t bit = 1; bit;) {
      if (!Bits(1, bit)) return false;
      if (bit && ++p > 32) return false;
    }
    if (p == 0) return Bits(root, value);
    if (!Bits(root + p - 1, value)) return false;
    value |= uint64_t{1} << (root + p - 1);
    return true;
  }
  void NextByte() { at_ = (at_ + 7) / 8 * 8; }
  bool AtEnd() const { return at_ / 8 >= bytes_.size(); }

 private:
  std::string_view bytes_;
  size_t at_ = 0;
};

// Where a topic's page and title stand: "#TOPICS" gives its title in "#STRINGS" and its entry
// in "#URLTBL", which gives its path in "#URLSTR" (behind two numbers).
void PutTopics(const FulltextTables& t, size_t count, std::string& pages) {
  for (size_t i = 0; i < count; ++i) {
    const uint32_t title_at = ReadDword(t.topics, 16 * i + 4);
    const uint32_t url_at = ReadDword(t.topics, 16 * i + 8);
    PutSearchPage(pages, TopicPathAt(t.urltbl, t.urlstr, url_at),
                  HelpTextUtf8(TextAt(t.strings, title_at)));
  }
}

// The words of the index and the topics of each, read with numbers in one order; false when the
// index does not read whole that way.
bool ReadWords(std::string_view f, size_t topics, bool low_first,
               std::map<std::string, std::vector<uint32_t>>& postings) {
  postings.clear();
  const uint32_t root = ReadDword(f, 8);
  const uint32_t depth = ReadWord(f, 0x18);
  const int doc_root = static_cast<unsigned char>(f[0x1F]);
  const int count_root = static_cast<unsigned char>(f[0x21]);
  const int place_root = static_cast<unsigned char>(f[0x23]);
  const uint32_t node_size = ReadDword(f, 0x2E);
  // Only the codes this reader knows (scale 2, roots that fit a number).
  if (f[0x1E] != 2 || f[0x20] != 2 || f[0x22] != 2 || doc_root < 1 || doc_root > 32 ||
      count_root < 1 || count_root > 32 || place_root < 1 || place_root > 32 || topics == 0 ||
      depth < 1 || depth > 16 || node_size < 8 || node_size > f.size())
    return false;
  // Down the first entries of the index nodes to the first leaf; the leaves are chained.
  uint32_t node = root;
  for (uint32_t level = depth; level > 1; --level) {
    size_t at = size_t{node} + 2;
    if (node == UINT32_MAX || at + 2 > f.size()) return false;
    const size_t length = static_cast<unsigned char>(f[at]);
    node = ReadDword(f, at + 1 + length);
  }
  // A damaged index can point many words at one long list: the decoding is bounded.
  uint64_t budget = uint64_t{64} * f.size();
  std::string word;
  for (size_t leaves = 0; node != 0; ++leaves) {
    if (node == UINT32_MAX || node >= f.size() || leaves > f.size() / node_size) return false;
    const std::string_view leaf = f.substr(node, node_size);
    const uint32_t free = ReadWord(leaf, 6);
    if (free == UINT32_MAX || free > leaf.size() - 8) return false;
    const size_t end = leaf.size() - free;
    for (size_t at = 8; at < end;) {
      if (at + 2 > end) return false;
      const size_t length = static_cast<unsigned char>(leaf[at]);
      const size_t shared = static_cast<unsigned char>(leaf[at + 1]);
      if (length == 0 || at + 1 + length > end || shared > word.size()) return false;
      word.resize(shared);
      word.append(leaf.substr(at + 2, length - 1));
      at += 1 + length;
      uint64_t docs = 0, list_size = 0;
      at += 1;  // whether the word stands in the text or the title: both count
      if (!ReadEncint(leaf, at, docs, low_first) || docs > topics) return false;
      const uint32_t list_at = ReadDword(leaf, at);
      if (list_at == UINT32_MAX) return false;
      at += 6;
      if (!ReadEncint(leaf, at, list_size, low_first) || at > end) return false;
      if (list_at > f.size() || list_size > f.size() - list_at || list_size > budget) return false;
      budget -= list_size;
      std::vector<uint32_t>& pages = postings[HelpTextUtf8(word)];
      BitReader bits(f.substr(list_at, list_size));
      uint64_t doc = 0;
      for (uint64_t d = 0; d < docs && !bits.AtEnd(); ++d) {
        uint64_t delta = 0, places = 0, place = 0;
        if (!bits.ScaleRoot(doc_root, delta) || !bits.ScaleRoot(count_root, places)) return false;
        for (uint64_t p = 0; p < places; ++p)
          if (!bits.ScaleRoot(place_root, place)) return false;
        bits.NextByte();
        doc += delta;
        if (doc < topics) pages.push_back(static_cast<uint32_t>(doc));
      }
    }
    node = ReadDword(f, node);
  }
  for (auto& [w, pages] : postings) {
    std::sort(pages.begin(), pages.end());
    pages.erase(std::unique(pages.begin(), pages.end()), pages.end());
  }
  std::erase_if(postings, [](const auto& entry) { return entry.second.empty(); });
  return true;
}

}  // namespace

std::string TopicPathAt(std::string_view urltbl, std::string_view urlstr, uint32_t at) {
  const uint32_t str_at = ReadDword(urltbl, size_t{at} + 8);
  std::string path;
  if (str_at != UINT32_MAX) path = HelpTextUtf8(TextAt(urlstr, size_t{str_at} + 8));
  std::replace(path.begin(), path.end(), '\\', '/');
  path.erase(0, path.find_first_not_of('/'));
  return path;
}

std::string SearchIndexFromFulltext(const FulltextTables& t) {
  const std::string_view f = t.fiftimain;
  if (f.size() < 0x4A) return std::string();
  const size_t topics = std::min<size_t>(ReadDword(f, 4), t.topics.size() / 16);
  std::map<std::string, std::vector<uint32_t>> postings;
  // Compilers differ in the order of the numbers' 7-bit groups (Microsoft's puts the most
  // significant first, chmcmd the least): the order in which the whole index reads is taken.
  if (!ReadWords(f, topics, false, postings) && !ReadWords(f, topics, true, postings))
    return std::string();
  if (postings.empty()) return std::string();
  std::string pages;
  PutTopics(t, topics, pages);
  return StoreSearchIndex(topics, pages, 0, "", postings);
}

std::string SearchIndexFromFulltext(ChmArchive& archive, uint64_t bound) {
  std::string fiftimain, topics, urltbl, urlstr, strings;
  if (archive.Read("$FIftiMain", fiftimain, bound) != ChmArchive::Result::kOk ||
      archive.Read("#TOPICS", topics, bound) != ChmArchive::Result::kOk ||
      archive.Read("#URLTBL", urltbl, bound) != ChmArchive::Result::kOk ||
      archive.Read("#URLSTR", urlstr, bound) != ChmArchive::Result::kOk)
    return std::string();
  archive.Read("#STRINGS", strings, bound);
  return SearchIndexFromFulltext({fiftimain, topics, urltbl, urlstr, strings});
}

}  // namespace borvane::platform
