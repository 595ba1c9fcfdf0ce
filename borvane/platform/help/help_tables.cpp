#include "borvane/platform/help/help_tables.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace borvane::platform {

namespace {

uint32_t Dword(std::string_view b, size_t at) {
  return static_cast<uint32_t>(static_cast<unsigned char>(b[at])) |
         static_cast<uint32_t>(static_cast<unsigned char>(b[at + 1])) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(b[at + 2])) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(b[at + 3])) << 24;
}

uint16_t Word(std::string_view b, size_t at) {
  return static_cast<uint16_t>(static_cast<unsigned char>(b[at]) |
                               static_cast<unsigned char>(b[at + 1]) << 8);
}

// The text at `at` up to its NUL (or the end).
std::string UpToNul(std::string_view b, size_t at) {
  if (at >= b.size()) return std::string();
  std::string_view rest = b.substr(at);
  return std::string(rest.substr(0, rest.find('\0')));
}

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
// whole and give a tag without a name.
Tag ReadTag(std::string_view html, size_t& at) {
  Tag tag;
  if (html.substr(at, 4) == "<!--") {
    size_t end = html.find("-->", at + 4);
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
  at = i < html.size() ? i + 1 : html.size();
  return tag;
}

}  // namespace

HelpSystemInfo ParseHelpSystem(std::string_view bytes) {
  HelpSystemInfo info;
  // A version, then entries of a code, a length and that many bytes of data.
  for (size_t at = 4; at + 4 <= bytes.size();) {
    uint16_t code = Word(bytes, at);
    size_t length = Word(bytes, at + 2);
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
  size_t length = Dword(ivb, 0);
  size_t end = 4 + std::min(length, ivb.size() - 4);
  for (size_t at = 4; at + 8 <= end; at += 8) {
    uint32_t id = Dword(ivb, at);
    std::string text = UpToNul(strings, Dword(ivb, at + 4));
    if (!text.empty()) map.emplace(id, std::move(text));
  }
  return map;
}

std::vector<SitemapEntry> ParseSitemap(std::string_view html) {
  std::vector<SitemapEntry> entries;
  // Sized once: an index has tens of thousands of entries, and a growing list would hold twice
  // their room for a moment.
  size_t objects = 0;
  for (size_t at = html.find("sitemap"); at != std::string_view::npos;
       at = html.find("sitemap", at + 7))
    ++objects;
  entries.reserve(objects);
  int depth = -1;  // the first <UL> holds the top level
  bool in_object = false;
  SitemapEntry entry;
  for (size_t at = html.find('<'); at != std::string_view::npos; at = html.find('<', at)) {
    Tag tag = ReadTag(html, at);
    if (tag.name == "ul") {
      ++depth;
    } else if (tag.name == "/ul") {
      if (depth >= 0) --depth;
    } else if (tag.name == "object") {
      in_object = EqualsNoCase(tag.Attribute("type"), "text/sitemap");
      entry = SitemapEntry{};
      entry.depth = depth < 0 ? 0 : depth;
    } else if (tag.name == "param" && in_object) {
      std::string name = tag.Attribute("name");
      // The first of each: an entry may name several topics, and the first is the one shown.
      if (EqualsNoCase(name, "Name") && entry.name.empty()) entry.name = tag.Attribute("value");
      if (EqualsNoCase(name, "Local") && entry.local.empty()) entry.local = tag.Attribute("value");
    } else if (tag.name == "/object" && in_object) {
      in_object = false;
      if (!entry.name.empty() || !entry.local.empty()) entries.push_back(std::move(entry));
    }
  }
  return entries;
}

std::vector<size_t> KeywordEntries(const std::vector<SitemapEntry>& index,
                                   std::string_view keyword) {
  const std::string_view wanted = TrimSpaces(keyword);
  std::vector<size_t> top, by_path, deeper;
  std::vector<std::string_view> path;  // the names from the top down to the current entry
  int deepest = 0;
  for (size_t i = 0; i < index.size(); ++i) {
    const int depth = std::max(0, index[i].depth);
    path.resize(std::min<size_t>(path.size(), static_cast<size_t>(depth)));
    path.resize(static_cast<size_t>(depth));
    path.push_back(TrimSpaces(index[i].name));
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
      if (index[i].depth == d) out.push_back(i);
  return out;
}

std::string EntryTopic(const std::vector<SitemapEntry>& index, size_t i) {
  for (size_t k = i; k < index.size() && (k == i || index[k].depth > index[i].depth); ++k)
    if (!TrimSpaces(index[k].local).empty()) return index[k].local;
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
