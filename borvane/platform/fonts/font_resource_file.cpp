#include "borvane/platform/fonts/font_resource_file.h"

#include <algorithm>

#include "borvane/automation/codepage.h"

namespace borvane::platform {

namespace {

constexpr size_t kNeOffset = 0x80;
constexpr int kAlignShift = 4;
constexpr uint16_t kTypeFontDir = 0x8007;
constexpr uint16_t kTypeFont = 0x8008;
constexpr char kStub[] =
    "\x0E\x1F\xBA\x0E\x00\xB4\x09\xCD\x21\xB8\x01\x4C\xCD\x21"
    "This is a TrueType font, not a program.\r\r\n$";

void Put16(std::string& out, size_t at, uint16_t v) {
  out[at] = static_cast<char>(v & 0xFF);
  out[at + 1] = static_cast<char>(v >> 8);
}
void Put32(std::string& out, size_t at, uint32_t v) {
  Put16(out, at, static_cast<uint16_t>(v & 0xFFFF));
  Put16(out, at + 2, static_cast<uint16_t>(v >> 16));
}
void Add16(std::string& out, uint16_t v) {
  out.append(2, '\0');
  Put16(out, out.size() - 2, v);
}
void AlignTo16(std::string& out) {
  out.resize((out.size() + 15) & ~size_t{15}, '\0');
}

// The text in the ANSI code page, cut at its first NUL.
std::string AnsiName(const String& text) {
  std::u16string_view v = text.view();
  return ToAnsi(String(v.substr(0, v.find(u'\0'))));
}

// The 113 fixed bytes of the font directory entry, then the names.
std::string FontDirEntry(const SfntFace& in, bool hidden) {
  // Sizes below 0x800 and weights up to 1000 keep every high byte below 0x80.
  SfntFace face = in;
  for (uint16_t* v : {&face.ascent, &face.internal_leading, &face.avg_width, &face.max_width})
    *v = std::min<uint16_t>(*v, 1023);
  face.weight = std::clamp<uint16_t>(face.weight, 1, 1000);
  std::string names = std::string(1, '\0') + AnsiName(face.family) + '\0' +
                      AnsiName(face.full_name) + '\0' + AnsiName(face.style) + '\0';
  std::string e(113, '\0');
  Put16(e, 0, 0x0200);                                                   // dfVersion
  Put32(e, 2, static_cast<uint32_t>(e.size() + names.size()));           // dfSize
  constexpr std::string_view kCopyright = "Windows! Windows! Windows!";  // dfCopyright[60]
  e.replace(6, kCopyright.size(), kCopyright);
  Put16(e, 66, kFontTypeScalable | (hidden ? kFontTypeHidden : 0));  // dfType
  // A scalable font has no size of its own: nominal 12 points at 96 dots per inch.
  Put16(e, 68, 12);                     // dfPoints
  Put16(e, 70, 96);                     // dfVertRes
  Put16(e, 72, 96);                     // dfHorizRes
  Put16(e, 74, face.ascent);            // dfAscent
  Put16(e, 76, face.internal_leading);  // dfInternalLeading
  e[80] = face.italic ? 1 : 0;          // dfItalic; 81 underline, 82 strike-out: 0
  Put16(e, 83, face.weight);            // dfWeight
  e[85] = face.symbol ? 2 : 0;          // dfCharSet: SYMBOL_CHARSET or ANSI_CHARSET
  Put16(e, 88, kNominalEmPixels);       // dfPixHeight
  // Pitch and family: bit 0 variable pitch, 2 vector, 4 TrueType; the family in the high bits.
  e[90] = static_cast<char>((face.family_kind & 0x70) | (face.fixed_pitch ? 0 : 1) | 2 |
                            (face.truetype ? 4 : 0));
  Put16(e, 91, face.avg_width);     // dfAvgWidth
  Put16(e, 93, face.max_width);     // dfMaxWidth
  e[95] = 0x20;                     // dfFirstChar
  e[96] = static_cast<char>(0xFF);  // dfLastChar
  e[97] = '?' - 0x20;               // dfDefaultChar, from the first character
  Put32(e, 105, 114);               // dfFace: offset of the face name in the entry
  return e + names;
}

struct Reader {
  std::string_view bytes;
  bool Has(size_t at, size_t n) const { return at <= bytes.size() && n <= bytes.size() - at; }
  uint16_t U16(size_t at) const {
    return static_cast<uint16_t>(static_cast<unsigned char>(bytes[at]) |
                                 static_cast<unsigned char>(bytes[at + 1]) << 8);
  }
};

// Offset of the data of the first resource of `type`.
std::optional<size_t> ResourceOffset(std::string_view bytes, uint16_t type) {
  Reader r{bytes};
  if (!r.Has(0, 0x40) || bytes.substr(0, 2) != "MZ") return std::nullopt;
  size_t ne = r.U16(0x3C) | size_t{r.U16(0x3E)} << 16;
  if (!r.Has(ne, 0x40) || bytes.substr(ne, 2) != "NE") return std::nullopt;
  size_t at = ne + r.U16(ne + 0x24);
  if (!r.Has(at, 2)) return std::nullopt;
  unsigned shift = r.U16(at);
  if (shift > 16) return std::nullopt;
  at += 2;
  while (r.Has(at, 8)) {
    uint16_t t = r.U16(at);
    if (t == 0) return std::nullopt;
    size_t count = r.U16(at + 2);
    at += 8;
    if (!r.Has(at, count * 12)) return std::nullopt;
    if (t == type && count > 0) return size_t{r.U16(at)} << shift;
    at += count * 12;
  }
  return std::nullopt;
}

}  // namespace

std::string BuildFontResourceFile(const SfntFace& face, bool hidden, const String& font_file,
                                  const String* description_text) {
  std::string out(kNeOffset, '\0');
  out[0] = 'M', out[1] = 'Z';
  Put16(out, 0x02, kNeOffset);  // bytes on the last page
  Put16(out, 0x04, 1);          // pages
  Put16(out, 0x08, 4);          // header paragraphs
  Put16(out, 0x0C, 0xFFFF);     // maximum allocation
  Put16(out, 0x10, 0xB8);       // stack pointer
  Put16(out, 0x18, 0x40);       // relocation table
  Put32(out, 0x3C, kNeOffset);  // new header
  out.replace(0x40, sizeof kStub - 1, kStub, sizeof kStub - 1);

  // NE header, then its tables; offsets in the header count from its start.
  out.resize(kNeOffset + 0x40, '\0');
  auto rel = [&] { return static_cast<uint16_t>(out.size() - kNeOffset); };
  const uint16_t resources = rel();
  Add16(out, kAlignShift);
  size_t slots[2];
  for (int i = 0; i < 2; ++i) {
    Add16(out, i == 0 ? kTypeFontDir : kTypeFont);
    Add16(out, 1);
    out.append(4, '\0');
    slots[i] = out.size();
    out.append(12, '\0');
    Put16(out, slots[i] + 4, 0x0070);  // movable, pure, preloaded
    Put16(out, slots[i] + 6, 0x8001);  // integer id 1
  }
  Add16(out, 0);  // end of the types
  out += '\0';    // no resource names
  const uint16_t resident = rel();
  out += std::string(
      "\x07"
      "FONTRES\0\0\0",
      11);
  const uint16_t imported = rel();  // also the empty module reference table
  out += '\0';
  const uint16_t entries = rel();
  out += '\0';
  const size_t nonresident = out.size();
  std::string description =
      "FONTRES:" + AnsiName(description_text ? *description_text : face.full_name);
  if (description.size() > 255) {
    size_t cut = 255;
    if (AnsiCodePage() == CodePage::kUtf8)
      while (cut > 8 && (static_cast<unsigned char>(description[cut]) & 0xC0) == 0x80) --cut;
    description.resize(cut);
  }
  out += static_cast<char>(description.size());
  out += description;
  out.append(3, '\0');  // ordinal 0, end of the table

  size_t ne = kNeOffset;
  out[ne] = 'N', out[ne + 1] = 'E';
  out[ne + 2] = 5, out[ne + 3] = 10;  // linker version
  Put16(out, ne + 0x04, entries);
  Put16(out, ne + 0x06, 1);
  Put16(out, ne + 0x0C, 0x8000);  // a library module
  Put16(out, ne + 0x20, static_cast<uint16_t>(out.size() - nonresident));
  Put16(out, ne + 0x22, resources);  // no segments
  Put16(out, ne + 0x24, resources);
  Put16(out, ne + 0x26, resident);
  Put16(out, ne + 0x28, imported);
  Put16(out, ne + 0x2A, imported);
  Put32(out, ne + 0x2C, static_cast<uint32_t>(nonresident));
  Put16(out, ne + 0x32, kAlignShift);
  Put16(out, ne + 0x34, 2);  // resource segments
  out[ne + 0x36] = 2;        // Windows
  Put16(out, ne + 0x3E, 0x0300);

  std::string fontdir = std::string("\1\0\1\0", 4) + FontDirEntry(face, hidden);
  std::string font = AnsiName(font_file) + '\0';
  for (int i = 0; i < 2; ++i) {
    const std::string& data = i == 0 ? fontdir : font;
    AlignTo16(out);
    Put16(out, slots[i], static_cast<uint16_t>(out.size() >> kAlignShift));
    Put16(out, slots[i] + 2, static_cast<uint16_t>((data.size() + 15) >> kAlignShift));
    out += data;
  }
  AlignTo16(out);
  return out;
}

std::optional<String> FontResourceTarget(std::string_view bytes) {
  std::optional<size_t> at = ResourceOffset(bytes, kTypeFont);
  if (!at || *at >= bytes.size()) return std::nullopt;
  std::string_view rest = bytes.substr(*at);
  size_t nul = rest.find('\0');
  if (nul == std::string_view::npos) return std::nullopt;
  return FromAnsi(rest.substr(0, nul));
}

bool FontResourceIsTrueType(std::string_view bytes) {
  std::optional<size_t> at = FontDirectoryOffset(bytes);
  const size_t pitch = at ? *at + kFontDirEntryOffset + 90 : 0;
  return at && pitch < bytes.size() && (bytes[pitch] & 4) != 0;
}

std::optional<size_t> FontDirectoryOffset(std::string_view bytes) {
  std::optional<size_t> at = ResourceOffset(bytes, kTypeFontDir);
  if (!at || *at >= bytes.size()) return std::nullopt;
  return at;
}

}  // namespace borvane::platform
