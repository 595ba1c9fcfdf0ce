// Minimal TrueType fonts made in memory, with the name records a test or benchmark asks for.
#ifndef BORVANE_TESTS_TINY_FONT_H_
#define BORVANE_TESTS_TINY_FONT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace borvane::testing {

using namespace std::string_literals;

struct NameRecord {
  uint16_t platform, encoding, language, id;
  std::string bytes;
};

inline void Be16(std::string& s, uint32_t v) {
  s += static_cast<char>(v >> 8 & 0xFF);
  s += static_cast<char>(v & 0xFF);
}
inline void Be32(std::string& s, uint32_t v) {
  Be16(s, v >> 16);
  Be16(s, v & 0xFFFF);
}
inline std::string Utf16Be(std::u16string_view text) {
  std::string s;
  for (char16_t c : text) Be16(s, c);
  return s;
}

// A minimal TrueType font: one empty glyph, the given names, and an OS/2 table unless
// `weight` is 0.
inline std::string TinyFont(const std::vector<NameRecord>& names, uint16_t weight = 400,
                            bool italic = false) {
  std::vector<std::pair<std::string, std::string>> tables;
  std::string head(54, '\0');
  head[0] = 0, head[1] = 1, head[12] = 0x5F, head[13] = 0x0F, head[14] = 0x3C, head[15] = 0xF5;
  head[18] = 0x03, head[19] = static_cast<char>(0xE8);  // 1000 units per em
  std::string hhea(36, '\0');
  hhea[1] = 1, hhea[4] = 0x03, hhea[5] = 0x20, hhea[35] = 1;  // ascender 800, 1 metric
  std::string hmtx = "\x01\xF4\0\0"s;
  std::string maxp = "\0\0\x50\0\0\x01"s;
  std::string name;
  Be16(name, 0);
  Be16(name, static_cast<uint32_t>(names.size()));
  Be16(name, static_cast<uint32_t>(6 + 12 * names.size()));
  std::string strings;
  for (const NameRecord& n : names) {
    for (uint32_t v : {n.platform, n.encoding, n.language, n.id}) Be16(name, v);
    Be16(name, static_cast<uint32_t>(n.bytes.size()));
    Be16(name, static_cast<uint32_t>(strings.size()));
    strings += n.bytes;
  }
  tables = {{"glyf", "\0\0\0\0"s}, {"head", head}, {"hhea", hhea},          {"hmtx", hmtx},
            {"loca", "\0\0\0\0"s}, {"maxp", maxp}, {"name", name + strings}};
  if (weight) {
    std::string os2(78, '\0');
    os2[4] = static_cast<char>(weight >> 8), os2[5] = static_cast<char>(weight & 0xFF);
    os2[63] = italic ? 1 : 0;
    os2[74] = 0x03, os2[75] = 0x20, os2[77] = 0xC8;  // win ascent 800, descent 200
    tables.insert(tables.begin(), {"OS/2", os2});
  }
  std::string out;
  Be32(out, 0x00010000);
  Be16(out, static_cast<uint32_t>(tables.size()));
  out.append(6, '\0');
  size_t offset = 12 + 16 * tables.size();
  std::string data;
  for (auto& [tag, table] : tables) {
    out += tag;
    Be32(out, 0);
    Be32(out, static_cast<uint32_t>(offset + data.size()));
    Be32(out, static_cast<uint32_t>(table.size()));
    data += table;
    data.resize((data.size() + 3) & ~size_t{3}, '\0');
  }
  return out + data;
}

inline NameRecord Win(uint16_t id, std::u16string_view text, uint16_t lang = 0x409,
                      uint16_t enc = 1) {
  return {3, enc, lang, id, Utf16Be(text)};
}
inline NameRecord Mac(uint16_t id, std::string text, uint16_t lang = 0) {
  return {1, 0, lang, id, std::move(text)};
}

}  // namespace borvane::testing

#endif  // BORVANE_TESTS_TINY_FONT_H_
