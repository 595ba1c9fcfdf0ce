#include "borvane/platform/help/help_search.h"

#include <algorithm>
#include <map>
#include <set>

#include "borvane/automation/codepage.h"
#include "borvane/platform/files/text_encoding.h"
#include "borvane/platform/help/chm_archive.h"
#include "borvane/platform/help/help_tables.h"

namespace borvane::platform {

namespace {

constexpr std::string_view kMagic = "BVSX1\n";

void PutVarint(std::string& out, uint64_t n) {
  while (n >= 0x80) {
    out += static_cast<char>(0x80 | (n & 0x7F));
    n >>= 7;
  }
  out += static_cast<char>(n);
}

bool GetVarint(std::string_view in, size_t& at, uint64_t& n) {
  n = 0;
  for (int shift = 0; shift < 64; shift += 7) {
    if (at >= in.size()) return false;
    unsigned char c = static_cast<unsigned char>(in[at++]);
    n |= static_cast<uint64_t>(c & 0x7F) << shift;
    if (!(c & 0x80)) return true;
  }
  return false;
}

void PutText(std::string& out, std::string_view text) {
  PutVarint(out, text.size());
  out.append(text);
}

bool GetText(std::string_view in, size_t& at, std::string_view& text) {
  uint64_t n = 0;
  if (!GetVarint(in, at, n) || n > in.size() - at) return false;
  text = in.substr(at, n);
  at += n;
  return true;
}

bool IsPage(std::string_view name) {
  size_t dot = name.rfind('.');
  std::string_view ext = dot == std::string_view::npos ? "" : name.substr(dot);
  return EqualsNoCase(ext, ".htm") || EqualsNoCase(ext, ".html");
}

bool IsWordByte(unsigned char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c >= 0x80;
}

// The tag name at `at` (just behind "<"), in lower case.
std::string TagName(std::string_view html, size_t at) {
  std::string name;
  while (at < html.size() && name.size() < 16) {
    char c = html[at++];
    if (c == '/' && name.empty()) {
      name += c;
      continue;
    }
    if (!std::isalnum(static_cast<unsigned char>(c))) break;
    name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return name;
}

}  // namespace

std::string HelpTextUtf8(std::string_view text) {
  return IsValidUtf8(text) ? std::string(text)
                           : FromCodePage(text, CodePage::kWindows1252).ToUtf8();
}

std::vector<std::string> SearchWords(std::string_view text) {
  std::vector<std::string> words;
  for (size_t i = 0; i < text.size();) {
    if (!IsWordByte(static_cast<unsigned char>(text[i]))) {
      ++i;
      continue;
    }
    size_t start = i;
    while (i < text.size() && IsWordByte(static_cast<unsigned char>(text[i]))) ++i;
    if (i - start < 2) continue;
    std::string word(text.substr(start, i - start));
    for (char& c : word)
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    words.push_back(std::move(word));
  }
  return words;
}

std::string PageText(std::string_view html, std::string* title) {
  std::string raw;
  raw.reserve(html.size() / 2);
  std::string title_raw;
  bool in_title = false;
  for (size_t i = 0; i < html.size();) {
    if (html[i] != '<') {
      size_t next = html.find('<', i);
      if (next == std::string_view::npos) next = html.size();
      (in_title ? title_raw : raw).append(html.substr(i, next - i));
      i = next;
      continue;
    }
    std::string name = TagName(html, i + 1);
    if (html.substr(i, 4) == "<!--") {
      size_t end = html.find("-->", i + 4);
      i = end == std::string_view::npos ? html.size() : end + 3;
      continue;
    }
    if (name == "script" || name == "style") {
      // Their content is no text of the page.
      std::string close = "</" + name;
      size_t end = i + 1;
      for (;;) {
        end = html.find("</", end);
        if (end == std::string_view::npos) break;
        if (EqualsNoCase(html.substr(end, close.size()), close)) break;
        end += 2;
      }
      i = end == std::string_view::npos ? html.size() : end;
      size_t gt = html.find('>', i);
      i = gt == std::string_view::npos ? html.size() : gt + 1;
      continue;
    }
    if (name == "title") in_title = true;
    if (name == "/title") in_title = false;
    size_t gt = html.find('>', i);
    i = gt == std::string_view::npos ? html.size() : gt + 1;
    raw += ' ';
  }
  auto finish = [&](std::string_view s) { return HelpTextUtf8(DecodeHtmlText(s)); };
  if (title) *title = std::string(TrimSpaces(finish(title_raw)));
  return finish(raw);
}

std::string MakeSearchIndex(ChmArchive& archive, uint64_t bound) {
  // A listing that comes back to a name it gave is a damaged one going round in circles: it
  // ends there.
  std::set<std::string> seen;
  std::vector<std::string> names;
  archive.List([&](std::string_view name, uint64_t) {
    if (!seen.emplace(name).second) return false;
    if (IsPage(name)) names.emplace_back(name.front() == '/' ? name.substr(1) : name);
    return seen.size() < 1'000'000;
  });
  std::sort(names.begin(), names.end());
  std::map<std::string, std::vector<uint32_t>> postings;
  std::string pages, alinks;
  uint64_t read = 0, page_count = 0, alink_count = 0;
  std::string html, title;
  for (const std::string& name : names) {
    if (archive.Read(name, html, bound - read) != ChmArchive::Result::kOk) {
      if (read + html.size() >= bound) return std::string();
      continue;
    }
    read += html.size();
    const uint32_t number = static_cast<uint32_t>(page_count++);
    std::string text = PageText(html, &title);
    PutSearchPage(pages, name, title);
    std::vector<std::string> words = SearchWords(title + " " + text);
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    for (std::string& w : words) postings[std::move(w)].push_back(number);
    for (const std::string& a : ParseALinkNames(html)) {
      PutText(alinks, a);
      PutVarint(alinks, number);
      ++alink_count;
    }
  }
  return StoreSearchIndex(page_count, pages, alink_count, alinks, postings);
}

std::string StoreSearchIndex(uint64_t page_count, std::string_view pages, uint64_t alink_count,
                             std::string_view alinks,
                             const std::map<std::string, std::vector<uint32_t>>& postings) {
  std::string out(kMagic);
  PutVarint(out, page_count);
  out += pages;
  PutVarint(out, alink_count);
  out += alinks;
  PutVarint(out, postings.size());
  std::string list;
  for (const auto& [word, numbers] : postings) {
    PutText(out, word);
    list.clear();
    uint32_t last = 0;
    for (uint32_t n : numbers) {
      PutVarint(list, n - last);
      last = n;
    }
    PutText(out, list);
  }
  return out;
}

void PutSearchPage(std::string& pages, std::string_view path, std::string_view title) {
  PutText(pages, path);
  PutText(pages, title);
}

void SearchIndex::Clear() {
  stored_.clear();
  pages_.clear();
  alinks_.clear();
  words_.clear();
}

bool SearchIndex::Load(std::string stored) {
  Clear();
  stored_ = std::move(stored);
  auto fail = [this] {
    Clear();
    return false;
  };
  const std::string_view in = stored_;
  if (in.substr(0, kMagic.size()) != kMagic) return fail();
  size_t at = kMagic.size();
  uint64_t n = 0;
  if (!GetVarint(in, at, n) || n > in.size()) return fail();
  pages_.resize(n);
  for (Page& p : pages_)
    if (!GetText(in, at, p.path) || !GetText(in, at, p.title)) return fail();
  if (!GetVarint(in, at, n) || n > in.size()) return fail();
  alinks_.reserve(n);
  for (uint64_t i = 0; i < n; ++i) {
    std::string_view name;
    uint64_t page = 0;
    if (!GetText(in, at, name) || !GetVarint(in, at, page) || page >= pages_.size()) return fail();
    alinks_.emplace_back(name, pages_[page].path);
  }
  if (!GetVarint(in, at, n) || n > in.size() || in.size() > UINT32_MAX) return fail();
  words_.resize(n);
  std::string_view word, list, last;
  for (uint32_t& w : words_) {
    w = static_cast<uint32_t>(at);
    if (!GetText(in, at, word) || !GetText(in, at, list)) return fail();
    if (&w != &words_.front() && !(last < word)) return fail();
    last = word;
  }
  return true;
}

std::string_view SearchIndex::WordAt(size_t i) const {
  size_t at = words_[i];
  std::string_view word;
  GetText(stored_, at, word);
  return word;
}

std::vector<uint32_t> SearchIndex::PagesOf(size_t word) const {
  std::vector<uint32_t> out;
  size_t at = words_[word];
  std::string_view text, list;
  GetText(stored_, at, text);
  GetText(stored_, at, list);
  at = 0;
  uint64_t delta = 0, page = 0;
  while (at < list.size() && GetVarint(list, at, delta)) {
    page += delta;
    if (page < pages_.size()) out.push_back(static_cast<uint32_t>(page));
  }
  return out;
}

std::vector<const SearchIndex::Page*> SearchIndex::Find(std::string_view query,
                                                        size_t limit) const {
  std::vector<std::string> words = SearchWords(query);
  std::vector<const Page*> found;
  if (words.empty()) return found;
  std::vector<uint32_t> result;
  for (size_t i = 0; i < words.size(); ++i) {
    const bool prefix = i + 1 == words.size();
    std::vector<uint32_t> pages;
    const std::string_view wanted = words[i];
    size_t low = 0, high = words_.size();
    while (low < high) {
      const size_t mid = low + (high - low) / 2;
      if (WordAt(mid) < wanted)
        low = mid + 1;
      else
        high = mid;
    }
    for (size_t k = low; k < words_.size(); ++k) {
      const std::string_view word = WordAt(k);
      if (word != wanted && !(prefix && word.substr(0, wanted.size()) == wanted)) break;
      std::vector<uint32_t> more = PagesOf(k);
      std::vector<uint32_t> merged;
      std::set_union(pages.begin(), pages.end(), more.begin(), more.end(),
                     std::back_inserter(merged));
      pages.swap(merged);
    }
    if (i == 0) {
      result.swap(pages);
    } else {
      std::vector<uint32_t> both;
      std::set_intersection(result.begin(), result.end(), pages.begin(), pages.end(),
                            std::back_inserter(both));
      result.swap(both);
    }
    if (result.empty()) return found;
  }
  for (uint32_t p : result) {
    if (found.size() >= limit) break;
    found.push_back(&pages_[p]);
  }
  return found;
}

}  // namespace borvane::platform
