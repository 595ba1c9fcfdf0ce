#include "borvane/platform/help/help_tables.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace borvane::platform {

namespace {

void AppendUtf8(std::string& out, uint32_t c) {
  if (c == 0 || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) c = 0xFFFD;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | c >> 12);
    out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | c >> 18);
    out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// One tag: its name and its attributes, names in lower case.
struct Tag {
  std::string name;  // "ul", "/ul", "object", "param", ...
  std::vector<std::pair<std::string, std::string>> attributes;
  std::string Attribute(std::string_view wanted) const {
    for (const auto& [n, v] : attributes)
      if (n == wanted) return v;
    return std::string();
  }
};

// Reads the tag that starts at `at` (at a "<"); moves `at` behind it. Comments are skipped
// whole and give a tag without a name. `complete` tells whether the tag ended within `html`.
Tag ReadTag(std::string_view html, size_t& at, bool* complete = nullptr) {
  Tag tag;
  if (html.substr(at, 4) == "<!--") {
    size_t end = html.find("-->", at + 4);
    if (complete) *complete = end != std::string_view::npos;
    at = end == std::string_view::npos ? html.size() : end + 3;
    return tag;
  }
  size_t i = at + 1;
  auto lower = [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  };
  while (i < html.size() && !std::isspace(static_cast<unsigned char>(html[i])) && html[i] != '>')
    tag.name += lower(html[i++]);
  while (i < html.size() && html[i] != '>') {
    if (std::isspace(static_cast<unsigned char>(html[i])) || html[i] == '/') {
      ++i;
      continue;
    }
    std::string name;
    while (i < html.size() && html[i] != '=' && html[i] != '>' &&
           !std::isspace(static_cast<unsigned char>(html[i])))
      name += lower(html[i++]);
    while (i < html.size() && std::isspace(static_cast<unsigned char>(html[i]))) ++i;
    std::string value;
    if (i < html.size() && html[i] == '=') {
      ++i;
      while (i < html.size() && std::isspace(static_cast<unsigned char>(html[i]))) ++i;
      if (i < html.size() && (html[i] == '"' || html[i] == '\'')) {
        char quote = html[i++];
        size_t end = html.find(quote, i);
        if (end == std::string_view::npos) end = html.size();
        value = std::string(html.substr(i, end - i));
        i = end + 1;
      } else {
        while (i < html.size() && html[i] != '>' &&
               !std::isspace(static_cast<unsigned char>(html[i])))
          value += html[i++];
      }
    }
    if (!name.empty()) tag.attributes.emplace_back(std::move(name), DecodeHtmlText(value));
  }
  if (complete) *complete = i < html.size();
  at = i < html.size() ? i + 1 : html.size();
  return tag;
}

}  // namespace

uint32_t ReadWord(std::string_view b, size_t at) {
  if (at > b.size() || b.size() - at < 2) return UINT32_MAX;
  return static_cast<uint32_t>(static_cast<unsigned char>(b[at]) |
                               static_cast<unsigned char>(b[at + 1]) << 8);
}

uint32_t ReadDword(std::string_view b, size_t at) {
  if (at > b.size() || b.size() - at < 4) return UINT32_MAX;
  return static_cast<uint32_t>(static_cast<unsigned char>(b[at])) |
         static_cast<uint32_t>(static_cast<unsigned char>(b[at + 1])) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(b[at + 2])) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(b[at + 3])) << 24;
}

uint64_t ReadQword(std::string_view b, size_t at) {
  if (at > b.size() || b.size() - at < 8) return UINT64_MAX;
  return ReadDword(b, at) | uint64_t{ReadDword(b, at + 4)} << 32;
}

std::string_view TextAt(std::string_view b, size_t at) {
  if (at >= b.size()) return {};
  std::string_view rest = b.substr(at);
  return rest.substr(0, rest.find('\0'));
}

bool ReadEncint(std::string_view b, size_t& at, uint64_t& value, bool low_first) {
  value = 0;
  for (int i = 0; i < 9; ++i) {
    if (at >= b.size()) return false;
    unsigned char c = static_cast<unsigned char>(b[at++]);
    value = low_first ? value | uint64_t{c & 0x7Fu} << (7 * i) : value << 7 | (c & 0x7Fu);
    if (!(c & 0x80)) return true;
  }
  return false;
}

HelpSystemInfo ParseHelpSystem(std::string_view bytes) {
  HelpSystemInfo info;
  // A version, then entries of a code, a length and that many bytes of data.
  for (size_t at = 4; at + 4 <= bytes.size();) {
    uint32_t code = ReadWord(bytes, at);
    size_t length = ReadWord(bytes, at + 2);
    at += 4;
    if (length > bytes.size() - at) break;
    std::string_view data = bytes.substr(at, length);
    at += length;
    std::string text(data.substr(0, data.find('\0')));
    switch (code) {
      case 0:
        info.contents_file = text;
        break;
      case 1:
        info.index_file = text;
        break;
      case 2:
        info.default_topic = text;
        break;
      case 3:
        info.title = text;
        break;
      default:
        break;
    }
  }
  return info;
}

std::map<uint32_t, std::string> ParseContextMap(std::string_view ivb, std::string_view strings) {
  std::map<uint32_t, std::string> map;
  if (ivb.size() < 4) return map;
  size_t length = ReadDword(ivb, 0);
  size_t end = 4 + std::min(length, ivb.size() - 4);
  for (size_t at = 4; at + 8 <= end; at += 8) {
    uint32_t id = ReadDword(ivb, at);
    std::string text(TextAt(strings, ReadDword(ivb, at + 4)));
    if (!text.empty()) map.emplace(id, std::move(text));
  }
  return map;
}

Sitemap::Sitemap(const std::vector<SitemapEntry>& entries) {
  for (const SitemapEntry& e : entries) Add(e.depth, e.name, e.local);
  Seal();
}

Sitemap& Sitemap::operator=(Sitemap&& other) noexcept {
  if (this == &other) return *this;
  std::free(text_);
  std::free(entries_);
  text_ = std::exchange(other.text_, nullptr);
  text_size_ = std::exchange(other.text_size_, 0);
  text_room_ = std::exchange(other.text_room_, 0);
  entries_ = std::exchange(other.entries_, nullptr);
  entries_size_ = std::exchange(other.entries_size_, 0);
  entries_room_ = std::exchange(other.entries_room_, 0);
  texts_ = std::move(other.texts_);
  texts_used_ = std::exchange(other.texts_used_, 0);
  return *this;
}

Sitemap::~Sitemap() {
  std::free(text_);
  std::free(entries_);
}

std::string_view Sitemap::Text(uint32_t at) const {
  size_t length = 0;
  for (int shift = 0;; shift += 7) {
    unsigned char c = static_cast<unsigned char>(text_[at++]);
    length |= size_t{c & 0x7Fu} << shift;
    if (!(c & 0x80)) break;
  }
  return std::string_view(text_ + at, length);
}

void Sitemap::Reserve(size_t text, size_t entries) {
  // realloc, not a vector: a large block grows by remapping its pages, without a copy.
  if (text > text_room_) {
    size_t room = std::max(text, text_room_ * 2 + 4096);
    char* grown = static_cast<char*>(std::realloc(text_, room));
    if (!grown) throw std::bad_alloc();
    text_ = grown, text_room_ = room;
  }
  if (entries > entries_room_) {
    size_t room = std::max(entries, entries_room_ * 2 + 256);
    Entry* grown = static_cast<Entry*>(std::realloc(entries_, room * sizeof(Entry)));
    if (!grown) throw std::bad_alloc();
    entries_ = grown, entries_room_ = room;
  }
}

uint32_t Sitemap::Store(std::string_view text) {
  Reserve(text_size_ + text.size() + 10, 0);
  const uint32_t at = static_cast<uint32_t>(text_size_);
  for (size_t n = text.size();; n >>= 7) {
    text_[text_size_++] = static_cast<char>((n & 0x7F) | (n >= 0x80 ? 0x80 : 0));
    if (n < 0x80) break;
  }
  std::memcpy(text_ + text_size_, text.data(), text.size());
  text_size_ += text.size();
  return at;
}

uint32_t Sitemap::Intern(std::string_view text) {
  // Texts by a table of offsets with open addressing, half full at most.
  if (texts_used_ * 2 >= texts_.size()) {
    std::vector<uint32_t> grown(std::max<size_t>(1024, texts_.size() * 2), UINT32_MAX);
    for (uint32_t at : texts_) {
      if (at == UINT32_MAX) continue;
      size_t slot = std::hash<std::string_view>()(Text(at)) & (grown.size() - 1);
      while (grown[slot] != UINT32_MAX) slot = (slot + 1) & (grown.size() - 1);
      grown[slot] = at;
    }
    texts_.swap(grown);
  }
  size_t slot = std::hash<std::string_view>()(text) & (texts_.size() - 1);
  while (texts_[slot] != UINT32_MAX && Text(texts_[slot]) != text)
    slot = (slot + 1) & (texts_.size() - 1);
  if (texts_[slot] == UINT32_MAX) {
    texts_[slot] = Store(text);
    ++texts_used_;
  }
  return texts_[slot];
}

void Sitemap::Add(int depth, std::string_view name, std::string_view local) {
  // Offsets are 32 bits: entries past 4 GB of text are left out (no sitemap comes near).
  if (text_size_ + name.size() + local.size() + 20 > UINT32_MAX) return;
  Reserve(0, entries_size_ + 1);
  entries_[entries_size_++] = Entry{Intern(name), Intern(local), depth};
}

void Sitemap::Seal() {
  std::vector<uint32_t>().swap(texts_);
  texts_used_ = 0;
  if (text_size_ < text_room_ && text_size_ > 0) {
    if (char* fit = static_cast<char*>(std::realloc(text_, text_size_))) {
      text_ = fit, text_room_ = text_size_;
    }
  }
  if (entries_size_ < entries_room_ && entries_size_ > 0) {
    if (Entry* fit = static_cast<Entry*>(std::realloc(entries_, entries_size_ * sizeof(Entry)))) {
      entries_ = fit, entries_room_ = entries_size_;
    }
  }
}

void SitemapReader::Feed(std::string_view piece) {
  if (pending_.empty()) return Read(piece, false);
  pending_.append(piece);
  // A tag that stays open (an unended comment or quote) is read again only once its text has
  // doubled, so that a hostile one costs linear time, not a scan per piece.
  if (pending_.size() < retry_at_) return;
  std::string html;
  html.swap(pending_);
  Read(html, false);
}

void SitemapReader::Finish() {
  std::string html;
  html.swap(pending_);
  Read(html, true);
}

void SitemapReader::Read(std::string_view html, bool last) {
  for (size_t at = html.find('<'); at != std::string_view::npos; at = html.find('<', at)) {
    const size_t start = at;
    bool complete = false;
    Tag tag = ReadTag(html, at, &complete);
    if (!complete && !last) {
      // Read again once the next piece completes it.
      pending_.assign(html.substr(start));
      retry_at_ = pending_.size() * 2;
      return;
    }
    if (tag.name == "ul") {
      ++depth_;
    } else if (tag.name == "/ul") {
      if (depth_ >= 0) --depth_;
    } else if (tag.name == "object") {
      in_object_ = EqualsNoCase(tag.Attribute("type"), "text/sitemap");
      current_ = SitemapEntry{};
      current_.depth = depth_ < 0 ? 0 : depth_;
    } else if (tag.name == "param" && in_object_) {
      std::string name = tag.Attribute("name");
      // The first of each: an entry may name several topics, and the first is the one shown.
      if (EqualsNoCase(name, "Name") && current_.name.empty())
        current_.name = tag.Attribute("value");
      if (EqualsNoCase(name, "Local") && current_.local.empty())
        current_.local = tag.Attribute("value");
    } else if (tag.name == "/object" && in_object_) {
      in_object_ = false;
      if (!current_.name.empty() || !current_.local.empty()) entry_(std::move(current_));
    }
  }
}

std::vector<SitemapEntry> ParseSitemap(std::string_view html) {
  std::vector<SitemapEntry> entries;
  SitemapReader reader([&](SitemapEntry&& e) { entries.push_back(std::move(e)); });
  reader.Feed(html);
  reader.Finish();
  return entries;
}

std::vector<size_t> KeywordEntries(const Sitemap& index, std::string_view keyword) {
  const std::string_view wanted = TrimSpaces(keyword);
  std::vector<size_t> top, by_path, deeper;
  std::vector<std::string_view> path;  // the names from the top down to the current entry
  int deepest = 0;
  for (size_t i = 0; i < index.size(); ++i) {
    const int depth = std::max(0, index.depth(i));
    path.resize(std::min<size_t>(path.size(), static_cast<size_t>(depth)));
    path.resize(static_cast<size_t>(depth));
    path.push_back(TrimSpaces(index.name(i)));
    deepest = std::max(deepest, depth);
    if (!EqualsNoCase(path.back(), wanted)) {
      if (depth == 0) continue;
      std::string joined;
      for (std::string_view part : path) {
        if (!joined.empty()) joined += ", ";
        joined += part;
      }
      if (EqualsNoCase(joined, wanted)) by_path.push_back(i);
      continue;
    }
    (depth == 0 ? top : deeper).push_back(i);
  }
  std::vector<size_t> out = top;
  out.insert(out.end(), by_path.begin(), by_path.end());
  for (int d = 1; d <= deepest; ++d)
    for (size_t i : deeper)
      if (index.depth(i) == d) out.push_back(i);
  return out;
}

std::string EntryTopic(const Sitemap& index, size_t i) {
  for (size_t k = i; k < index.size() && (k == i || index.depth(k) > index.depth(i)); ++k)
    if (!TrimSpaces(index.local(k)).empty()) return std::string(index.local(k));
  return std::string();
}

std::map<uint32_t, std::string> ParsePopupTexts(std::string_view text) {
  std::map<uint32_t, std::string> topics;
  bool numbered = false;
  uint32_t id = 0;
  std::string body;
  auto finish = [&] {
    if (numbered) topics[id] = std::string(TrimSpaces(body));
    body.clear();
  };
  size_t at = 0;
  while (at < text.size()) {
    size_t end = text.find('\n', at);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    std::string_view trimmed = TrimSpaces(line);
    if (trimmed.size() >= 6 && EqualsNoCase(trimmed.substr(0, 6), ".topic")) {
      finish();
      std::string_view name = TrimSpaces(trimmed.substr(6));
      name = name.substr(0, name.find_first_of(" \t"));
      numbered = !name.empty() && name.size() <= 10 &&
                 name.find_first_not_of("0123456789") == std::string_view::npos;
      uint64_t n = 0;
      for (char c : name) n = n * 10 + static_cast<uint64_t>(c - '0');
      numbered = numbered && n <= UINT32_MAX;
      id = static_cast<uint32_t>(n);
      continue;
    }
    if (!body.empty()) body += '\n';
    body += line;
  }
  finish();
  return topics;
}

std::vector<std::string> ParseALinkNames(std::string_view html) {
  std::vector<std::string> names;
  for (size_t at = html.find('<'); at != std::string_view::npos; at = html.find('<', at)) {
    Tag tag = ReadTag(html, at);
    if (tag.name != "param" || !EqualsNoCase(tag.Attribute("name"), "ALink Name")) continue;
    std::string value = tag.Attribute("value");
    for (size_t start = 0; start <= value.size();) {
      size_t semi = value.find(';', start);
      if (semi == std::string::npos) semi = value.size();
      std::string_view one = TrimSpaces(std::string_view(value).substr(start, semi - start));
      if (!one.empty()) names.emplace_back(one);
      start = semi + 1;
    }
  }
  return names;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

std::string_view TrimSpaces(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

std::vector<std::string> ParseLinks(std::string_view html) {
  std::vector<std::string> links;
  for (size_t at = html.find('<'); at != std::string_view::npos; at = html.find('<', at)) {
    Tag tag = ReadTag(html, at);
    for (const auto& [name, value] : tag.attributes)
      if ((name == "href" || name == "src") && !value.empty()) links.push_back(value);
  }
  return links;
}

std::string DecodeHtmlText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '&') {
      out += text[i];
      continue;
    }
    size_t semi = text.find(';', i);
    if (semi == std::string_view::npos || semi - i > 10) {
      out += '&';
      continue;
    }
    std::string_view name = text.substr(i + 1, semi - i - 1);
    static constexpr std::pair<const char*, char> kNamed[] = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    bool done = false;
    for (auto [n, c] : kNamed)
      if (name == n) out += c, done = true;
    if (!done && name.size() > 1 && name[0] == '#') {
      bool hex = name[1] == 'x' || name[1] == 'X';
      std::string_view digits = name.substr(hex ? 2 : 1);
      uint32_t c = 0;
      bool ok = !digits.empty();
      for (char d : digits) {
        int v = std::isdigit(static_cast<unsigned char>(d)) ? d - '0'
                : hex && std::isxdigit(static_cast<unsigned char>(d))
                    ? std::tolower(static_cast<unsigned char>(d)) - 'a' + 10
                    : -1;
        if (v < 0 || c > 0x10FFFF) {
          ok = false;
          break;
        }
        c = c * (hex ? 16 : 10) + static_cast<uint32_t>(v);
      }
      if (ok) AppendUtf8(out, c), done = true;
    }
    if (done) {
      i = semi;
    } else {
      out += '&';
    }
  }
  return out;
}

}  // namespace borvane::platform
