// ProfileDocument: one INI file parsed for the private profile functions, editable in place.
//
// The file is bytes in its own ANSI code page (text_encoding.h), which the document keeps: the
// names it is given and the lines it delivers are in that code page, and a byte-order mark in
// front of a UTF-8 file stays there. Reading rules: a line ends at CR LF, CR or LF;
// blanks (space, tab) at both ends of a line do not count; a line whose first character is "["
// is a header, its name running to the first "]" (or the end of the line) without surrounding
// blanks; ";" first makes a comment; lines before the first header belong to no section.
// Editing keeps every line it does not touch byte for byte, line ends included; a replaced line
// keeps its line end, and an added line takes the file's own (its first line's; CR LF for a
// file without one), so that a Linux file stays LF throughout.
#ifndef BORVANE_PLATFORM_FILES_PROFILE_DOCUMENT_H_
#define BORVANE_PLATFORM_FILES_PROFILE_DOCUMENT_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "borvane/platform/files/text_encoding.h"

namespace borvane::platform {

class ProfileDocument {
 public:
  ProfileDocument() = default;
  explicit ProfileDocument(std::string bytes) { Load(std::move(bytes)); }

  // Replaces the document by the file content `bytes`.
  void Load(std::string bytes);
  // Replaces the document by an empty file in the code page of the file `like`, with its
  // byte-order mark; its lines end as a new file's do.
  void LoadEmptyLike(std::string_view like);

  // The code page of the file's text; whether it has a byte-order mark.
  CodePage code_page() const { return encoding_.code_page; }
  const TextEncoding& encoding() const { return encoding_; }

  // Where the `item`-th line (from 0) that Section(section) delivers stands in the file: its
  // line number, from 1; 0 when there is no such line.
  size_t LineOfSectionItem(std::string_view section, size_t item) const;
  // The key lines (lines with "=") before the first header, which no section holds: how many,
  // and the line number of the first.
  size_t KeysBeforeFirstSection(size_t* first_line) const;

  // The readers fill `buffer` with a list of NUL-ended items followed by one more NUL and
  // return the list's length without that last NUL. A list longer than size - 2 is cut there
  // and followed by two NULs, and the result is size - 2. An empty list gives 0.
  // Every header's name in file order, repeated names included.
  uint32_t SectionNames(char* buffer, uint32_t size) const;
  // The lines of the first section named `section` (case-blind): "name=value" for a line with
  // "=" (blanks around both removed), any other line as it stands; no comments, no blank lines.
  uint32_t Section(std::string_view section, char* buffer, uint32_t size) const;

  // Sets `key` in `section` to `value`: replaces the first line of that key, else adds one
  // behind the section's last line that is not blank or a comment, else appends the section
  // at the end. Section and key lose surrounding spaces; the value is written as it stands.
  // A null `value` removes the key's line; a null `key` removes the whole section.
  void Write(std::string_view section, const std::string* key, const std::string* value);

  // The file content, with the edits made so far.
  std::string Serialize() const;
  bool Modified() const { return modified_; }

 private:
  enum Eol : uint8_t { kNone, kLf, kCr, kCrLf };
  static Eol FirstEol(std::string_view bytes);
  struct Line {
    size_t offset = 0;  // in content_ or, when `added`, in added_
    size_t length = 0;
    Eol eol = kNone;
    bool added = false;
    bool removed = false;
    bool content = false;  // not blank, not a comment (a key line)
  };
  struct Block {
    std::string name;    // as in the file, blanks removed
    std::string fold;    // the name folded for matching
    size_t hash = 0;     // of `fold`
    bool first = false;  // the copy that answers for its name (the first one left)
    bool removed = false;
    Line header;  // unused for the lines before the first header
    std::vector<Line> lines;
    size_t end_of_keys = 0;  // the place behind the last key line
    // Folded key name -> first line; made by the first write into the block.
    std::unique_ptr<std::unordered_map<std::string, size_t>> keys;
  };

  std::string_view Text(const Line& line) const;
  size_t LineNumberAt(size_t offset) const;
  Line AddLine(std::string_view text);
  void Index(Block& s);
  void UpdateEndOfKeys(Block& s);
  // The block that answers for the folded name, or 0.
  size_t FindSection(std::string_view fold, size_t hash) const;
  // Enters `block` in the index unless an earlier copy of its name answers: true if it does.
  bool IndexSection(size_t block);
  void ReindexSections(size_t slots);
  void RemoveSection(size_t index, const std::string& fold);
  void RemoveKey(Block& s, size_t line, const std::string& fold);
  void AppendSection(std::string_view name, std::string_view key, std::string_view value);

  std::string content_;
  std::string added_;
  std::vector<Block> sections_;  // [0]: the lines before the first header
  // The blocks that answer for their names (positions in sections_) by the hash of the folded
  // name, open addressing; 0 marks a free slot.
  std::vector<uint32_t> section_slots_;
  size_t sections_indexed_ = 0;
  // Where a read of the sections in file order finds the next one, so that such a read does
  // not look each name up in a large index.
  mutable size_t next_read_ = 1;
  bool modified_ = false;
  Eol eol_ = kCrLf;  // what written lines end in: the file's first line end, else CR LF
  TextEncoding encoding_;
};

// A name folded for case-blind matching, by the platform's upper-casing of its characters.
std::string FoldName(std::string_view ansi, CodePage code_page);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_FILES_PROFILE_DOCUMENT_H_
