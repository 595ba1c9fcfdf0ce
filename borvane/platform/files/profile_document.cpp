#include "borvane/platform/files/profile_document.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "borvane/automation/codepage.h"
#include "borvane/automation/text.h"

namespace borvane::platform {

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view TrimBlanks(std::string_view s) {
  while (!s.empty() && IsBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back())) s.remove_suffix(1);
  return s;
}

// Arguments of a write lose spaces only; tabs stay.
std::string_view TrimSpaces(std::string_view s) {
  while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
  while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
  return s;
}

// The key name of a key line: the text before the first "=", or the whole line.
std::string_view KeyNameOf(std::string_view trimmed_line) {
  size_t eq = trimmed_line.find('=');
  return eq == std::string_view::npos ? trimmed_line : TrimBlanks(trimmed_line.substr(0, eq));
}

std::string_view HeaderName(std::string_view trimmed_line) {
  std::string_view rest = trimmed_line.substr(1);
  size_t close = rest.find(']');
  if (close != std::string_view::npos) rest = rest.substr(0, close);
  return TrimBlanks(rest);
}

// Fills a reader's buffer with the Windows rules for a list that does not fit.
class ListWriter {
 public:
  ListWriter(char* buffer, uint32_t size)
      : buffer_(buffer), size_(size), limit_(size >= 2 ? size - 2 : 0) {}

  // Adds one item and its NUL; false once the buffer is full.
  bool Add(std::string_view item) {
    if (cut_) return false;
    size_t room = limit_ - used_;
    size_t n = std::min(room, item.size());
    std::memcpy(buffer_ + used_, item.data(), n);
    used_ += n;
    if (n < item.size() || used_ == limit_) {
      cut_ = true;
      return false;
    }
    buffer_[used_++] = '\0';
    return true;
  }

  uint32_t Finish() {
    if (size_ == 0) return 0;
    if (cut_) {
      buffer_[limit_] = '\0';
      if (size_ >= 2) buffer_[limit_ + 1] = '\0';
      return static_cast<uint32_t>(limit_);
    }
    buffer_[used_] = '\0';
    if (used_ == 0 && size_ >= 2) buffer_[1] = '\0';
    return static_cast<uint32_t>(used_);
  }

 private:
  char* buffer_;
  uint32_t size_;
  size_t limit_;
  size_t used_ = 0;
  bool cut_ = false;
};

constexpr std::string_view kEolText[] = {"", "\n", "\r", "\r\n"};

size_t FoldHash(std::string_view fold) {
  return std::hash<std::string_view>()(fold);
}

// The slot where a hash starts its probe in a table of `size` slots (a power of 2).
size_t HomeSlot(size_t hash, size_t size) {
  return static_cast<size_t>((static_cast<uint64_t>(hash) * 0x9E3779B97F4A7C15ull) >>
                             (64 - std::countr_zero(size)));
}

}  // namespace

std::string FoldName(std::string_view ansi, CodePage code_page) {
  std::string out(ansi);
  bool ascii = true;
  for (char& c : out) {
    if (static_cast<unsigned char>(c) >= 0x80) {
      ascii = false;
      break;
    }
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  }
  if (ascii) return out;
  return UCase(FromCodePage(ansi, code_page)).ToUtf8();
}

std::string_view ProfileDocument::Text(const Line& line) const {
  const std::string& store = line.added ? added_ : content_;
  return std::string_view(store).substr(line.offset, line.length);
}

ProfileDocument::Line ProfileDocument::AddLine(std::string_view text) {
  Line line;
  line.offset = added_.size();
  line.length = text.size();
  line.added = true;
  line.eol = eol_;
  line.content = true;
  added_.append(text);
  modified_ = true;
  return line;
}

void ProfileDocument::Load(std::string bytes) {
  content_ = std::move(bytes);
  added_.clear();
  sections_.clear();
  section_slots_.clear();
  sections_indexed_ = 0;
  next_read_ = 1;
  modified_ = false;
  sections_.emplace_back();
  const char* data = content_.data();
  size_t size = content_.size();
  encoding_ = DetectEncoding(content_);
  eol_ = FirstEol(content_);
  // A byte-order mark is no part of the first line: it stands in front of the text.
  size_t pos = encoding_.bom ? kUtf8Bom.size() : 0;
  // A block's lines gather here and go to the block in one piece of the right size: a large
  // file has many blocks, and growing each one's list line by line costs more than its lines.
  std::vector<Line> lines;
  auto close_block = [&] {
    Block& s = sections_.back();
    s.lines.assign(lines.begin(), lines.end());
    lines.clear();
  };
  while (pos < size) {
    size_t end = pos;
    while (end < size && data[end] != '\n' && data[end] != '\r') ++end;
    Line line;
    line.offset = pos;
    line.length = end - pos;
    if (end < size) {
      if (data[end] == '\n') {
        line.eol = kLf;
        pos = end + 1;
      } else if (end + 1 < size && data[end + 1] == '\n') {
        line.eol = kCrLf;
        pos = end + 2;
      } else {
        line.eol = kCr;
        pos = end + 1;
      }
    } else {
      pos = end;
    }
    std::string_view trimmed = TrimBlanks(std::string_view(data + line.offset, line.length));
    if (!trimmed.empty() && trimmed.front() == '[') {
      close_block();
      Block s;
      s.name = std::string(HeaderName(trimmed));
      s.fold = FoldName(s.name, code_page());
      s.hash = FoldHash(s.fold);
      s.header = line;
      sections_.push_back(std::move(s));
      sections_.back().first = IndexSection(sections_.size() - 1);
      continue;
    }
    line.content = !trimmed.empty() && trimmed.front() != ';';
    lines.push_back(line);
    if (line.content) sections_.back().end_of_keys = lines.size();
  }
  close_block();
}

ProfileDocument::Eol ProfileDocument::FirstEol(std::string_view bytes) {
  const size_t first_break = bytes.find_first_of("\r\n");
  if (first_break == std::string_view::npos) return kCrLf;
  if (bytes[first_break] == '\n') return kLf;
  return first_break + 1 < bytes.size() && bytes[first_break + 1] == '\n' ? kCrLf : kCr;
}

void ProfileDocument::LoadEmptyLike(std::string_view like) {
  Load(std::string());
  encoding_ = DetectEncoding(like);
}

size_t ProfileDocument::LineNumberAt(size_t offset) const {
  // Counted where it is asked for, which is seldom: a pass over the file up to the line.
  size_t number = 1;
  for (size_t i = 0; i < offset; ++i) {
    char c = content_[i];
    if (c == '\n' || (c == '\r' && (i + 1 == content_.size() || content_[i + 1] != '\n'))) ++number;
  }
  return number;
}

size_t ProfileDocument::LineOfSectionItem(std::string_view section, size_t item) const {
  std::string fold = FoldName(TrimSpaces(section), code_page());
  size_t found = FindSection(fold, FoldHash(fold));
  if (found == 0) return 0;
  for (const Line& line : sections_[found].lines) {
    if (line.removed || !line.content) continue;
    if (item-- > 0) continue;
    return line.added ? 0 : LineNumberAt(line.offset);
  }
  return 0;
}

size_t ProfileDocument::KeysBeforeFirstSection(size_t* first_line) const {
  size_t count = 0;
  for (const Line& line : sections_[0].lines) {
    if (line.removed || !line.content || line.added) continue;
    if (Text(line).find('=') == std::string_view::npos) continue;
    if (count++ == 0 && first_line) *first_line = LineNumberAt(line.offset);
  }
  return count;
}

uint32_t ProfileDocument::SectionNames(char* buffer, uint32_t size) const {
  ListWriter out(buffer, size);
  for (size_t i = 1; i < sections_.size(); ++i)
    if (!sections_[i].removed && !out.Add(sections_[i].name)) break;
  return out.Finish();
}

uint32_t ProfileDocument::Section(std::string_view section, char* buffer, uint32_t size) const {
  ListWriter out(buffer, size);
  std::string fold = FoldName(TrimSpaces(section), code_page());
  size_t found = 0;  // no section: [0] holds the lines before the first header
  if (next_read_ < sections_.size() && sections_[next_read_].first &&
      sections_[next_read_].fold == fold) {
    found = next_read_;
  } else {
    found = FindSection(fold, FoldHash(fold));
  }
  if (found != 0) {
    next_read_ = found + 1;
    std::string item;
    for (const Line& line : sections_[found].lines) {
      if (line.removed || !line.content) continue;
      std::string_view text = TrimBlanks(Text(line));
      size_t eq = text.find('=');
      bool more;
      if (eq == std::string_view::npos) {
        more = out.Add(text);
      } else {
        item.assign(TrimBlanks(text.substr(0, eq)));
        item += '=';
        item.append(TrimBlanks(text.substr(eq + 1)));
        more = out.Add(item);
      }
      if (!more) break;
    }
  }
  return out.Finish();
}

size_t ProfileDocument::FindSection(std::string_view fold, size_t hash) const {
  if (section_slots_.empty()) return 0;
  size_t mask = section_slots_.size() - 1;
  for (size_t s = HomeSlot(hash, section_slots_.size());; s = (s + 1) & mask) {
    uint32_t block = section_slots_[s];
    if (block == 0) return 0;
    if (sections_[block].hash == hash && sections_[block].fold == fold) return block;
  }
}

bool ProfileDocument::IndexSection(size_t block) {
  const Block& b = sections_[block];
  if (FindSection(b.fold, b.hash) != 0) return false;
  // At most half the slots in use keeps the probes short.
  if ((sections_indexed_ + 1) * 2 > section_slots_.size())
    ReindexSections(std::bit_ceil(std::max<size_t>(16, (sections_indexed_ + 1) * 4)));
  size_t mask = section_slots_.size() - 1;
  size_t s = HomeSlot(b.hash, section_slots_.size());
  while (section_slots_[s] != 0) s = (s + 1) & mask;
  section_slots_[s] = static_cast<uint32_t>(block);
  ++sections_indexed_;
  return true;
}

void ProfileDocument::ReindexSections(size_t slots) {
  section_slots_.assign(slots, 0);
  sections_indexed_ = 0;
  size_t mask = slots - 1;
  for (size_t i = 1; i < sections_.size(); ++i) {
    if (!sections_[i].first) continue;
    size_t s = HomeSlot(sections_[i].hash, slots);
    while (section_slots_[s] != 0) s = (s + 1) & mask;
    section_slots_[s] = static_cast<uint32_t>(i);
    ++sections_indexed_;
  }
}

void ProfileDocument::Index(Block& s) {
  if (s.keys) return;
  s.keys = std::make_unique<std::unordered_map<std::string, size_t>>();
  for (size_t i = 0; i < s.lines.size(); ++i) {
    const Line& line = s.lines[i];
    if (line.content && !line.removed)
      s.keys->emplace(FoldName(KeyNameOf(TrimBlanks(Text(line))), code_page()), i);
  }
}

void ProfileDocument::UpdateEndOfKeys(Block& s) {
  s.end_of_keys = 0;
  for (size_t i = s.lines.size(); i > 0; --i) {
    if (s.lines[i - 1].content && !s.lines[i - 1].removed) {
      s.end_of_keys = i;
      break;
    }
  }
}

void ProfileDocument::RemoveSection(size_t index, const std::string& fold) {
  Block& s = sections_[index];
  s.removed = true;
  s.first = false;
  s.lines.clear();
  s.keys.reset();
  s.end_of_keys = 0;
  // A later copy of the same name now answers for it.
  for (size_t i = index + 1; i < sections_.size(); ++i) {
    if (!sections_[i].removed && sections_[i].fold == fold) {
      sections_[i].first = true;
      break;
    }
  }
  ReindexSections(std::max<size_t>(16, section_slots_.size()));
  modified_ = true;
}

void ProfileDocument::RemoveKey(Block& s, size_t line, const std::string& fold) {
  s.lines[line].removed = true;
  s.keys->erase(fold);
  for (size_t i = line + 1; i < s.lines.size(); ++i) {
    const Line& l = s.lines[i];
    if (l.content && !l.removed && FoldName(KeyNameOf(TrimBlanks(Text(l))), code_page()) == fold) {
      s.keys->emplace(fold, i);
      break;
    }
  }
  if (line + 1 == s.end_of_keys) UpdateEndOfKeys(s);
  modified_ = true;
}

void ProfileDocument::AppendSection(std::string_view name, std::string_view key,
                                    std::string_view value) {
  // The new header follows the last line directly; a last line without its end gets CR LF.
  for (size_t i = sections_.size(); i > 0; --i) {
    Block& s = sections_[i - 1];
    auto last =
        std::find_if(s.lines.rbegin(), s.lines.rend(), [](const Line& l) { return !l.removed; });
    Line* line = last != s.lines.rend() ? &*last : nullptr;
    if (!line && i > 1 && !s.removed) line = &s.header;
    if (!line) continue;
    if (line->eol == kNone) line->eol = eol_;
    break;
  }
  Block s;
  s.name = std::string(name);
  std::string header = "[" + s.name + "]";
  s.header = AddLine(header);
  std::string text = std::string(key) + "=" + std::string(value);
  s.lines.push_back(AddLine(text));
  s.end_of_keys = 1;
  s.keys = std::make_unique<std::unordered_map<std::string, size_t>>();
  s.keys->emplace(FoldName(key, code_page()), 0);
  s.fold = FoldName(s.name, code_page());
  s.hash = FoldHash(s.fold);
  sections_.push_back(std::move(s));
  sections_.back().first = IndexSection(sections_.size() - 1);
}

void ProfileDocument::Write(std::string_view section, const std::string* key,
                            const std::string* value) {
  std::string_view name = TrimSpaces(section);
  std::string section_fold = FoldName(name, code_page());
  size_t found = FindSection(section_fold, FoldHash(section_fold));
  if (!key) {
    if (found != 0) RemoveSection(found, section_fold);
    return;
  }
  std::string_view key_name = TrimSpaces(*key);
  if (found == 0) {
    if (value) AppendSection(name, key_name, *value);
    return;
  }
  Block& s = sections_[found];
  Index(s);
  std::string key_fold = FoldName(key_name, code_page());
  auto k = s.keys->find(key_fold);
  if (k != s.keys->end()) {
    size_t index = k->second;
    if (!value) {
      RemoveKey(s, index, key_fold);
      return;
    }
    // The file keeps its own spelling of the name.
    std::string text(KeyNameOf(TrimBlanks(Text(s.lines[index]))));
    text += '=';
    text += *value;
    Eol eol = s.lines[index].eol;
    s.lines[index] = AddLine(text);
    s.lines[index].eol = eol;
    return;
  }
  if (!value) return;
  std::string text = std::string(key_name) + "=" + *value;
  size_t at = s.end_of_keys;
  Line& before = at > 0 ? s.lines[at - 1] : s.header;
  if (before.eol == kNone) before.eol = eol_;  // the file's last line, ended by no break
  s.lines.insert(s.lines.begin() + static_cast<std::ptrdiff_t>(at), AddLine(text));
  // Only blank and comment lines stand behind `at`, so no indexed line moved.
  s.keys->emplace(std::move(key_fold), at);
  s.end_of_keys = at + 1;
}

std::string ProfileDocument::Serialize() const {
  std::string out;
  out.reserve(content_.size() + added_.size() + 64);
  if (encoding_.bom) out = kUtf8Bom;
  auto put = [&](const Line& line) {
    out.append(Text(line));
    out.append(kEolText[line.eol]);
  };
  for (size_t i = 0; i < sections_.size(); ++i) {
    const Block& s = sections_[i];
    if (s.removed) continue;
    if (i > 0) put(s.header);
    for (const Line& line : s.lines)
      if (!line.removed) put(line);
  }
  return out;
}

}  // namespace borvane::platform
