// Compiled help files made byte by byte, for tests of what a damaged or hostile file does:
// one uncompressed content section, one directory chunk, every field settable.
#ifndef BORVANE_TESTS_CHM_BUILDER_H_
#define BORVANE_TESTS_CHM_BUILDER_H_

#include <cstdint>
#include <string>
#include <vector>

namespace borvane::testing {

class ChmBuilder {
 public:
  struct Entry {
    std::string name;  // as stored: "/#SYSTEM", "/topics/a.htm"
    std::string bytes;
    int64_t length = -1;  // the length the directory tells; -1 for the real one
  };

  // A "#SYSTEM" table with the default topic, the title and the contents and index files.
  static std::string System(const std::string& topic, const std::string& title,
                            const std::string& contents = "", const std::string& index = "") {
    std::string out;
    Put32(out, 3);
    auto record = [&](uint16_t code, const std::string& text) {
      if (text.empty()) return;
      Put16(out, code);
      Put16(out, static_cast<uint16_t>(text.size() + 1));
      out += text;
      out += '\0';
    };
    record(0, contents);
    record(1, index);
    record(2, topic);
    record(3, title);
    return out;
  }

  ChmBuilder& Add(const std::string& name, const std::string& bytes, int64_t length = -1) {
    entries.push_back({name, bytes, length});
    return *this;
  }

  std::string Build() const {
    const uint32_t chunk = 4096;
    std::string content, listing;
    for (const Entry& e : entries) {
      PutEncInt(listing, e.name.size());
      listing += e.name;
      PutEncInt(listing, 0);  // the uncompressed section
      PutEncInt(listing, content.size());
      PutEncInt(listing, e.length < 0 ? e.bytes.size() : static_cast<uint64_t>(e.length));
      content += e.bytes;
    }
    std::string pmgl = "PMGL";
    Put32(pmgl, static_cast<uint32_t>(chunk - 20 - listing.size()));  // free space at the end
    Put32(pmgl, 0);
    Put32(pmgl, static_cast<uint32_t>(-1));  // previous chunk
    Put32(pmgl, static_cast<uint32_t>(next_chunk));
    pmgl += listing;
    pmgl.resize(chunk, '\0');
    std::string itsp = "ITSP";
    Put32(itsp, 1);
    Put32(itsp, 0x54);
    Put32(itsp, 0x0a);
    Put32(itsp, chunk);
    Put32(itsp, 2);
    Put32(itsp, 1);                          // depth: no index chunks
    Put32(itsp, static_cast<uint32_t>(-1));  // index root: none
    Put32(itsp, 0);                          // first listing chunk
    Put32(itsp, static_cast<uint32_t>(-1));
    Put32(itsp, 1);  // chunks
    Put32(itsp, static_cast<uint32_t>(-1));
    Put32(itsp, 0x409);
    itsp += std::string(32, '\x11');
    const uint64_t dir_offset = 0x60;
    const uint64_t dir_length = itsp.size() + pmgl.size();
    std::string itsf = "ITSF";
    Put32(itsf, 3);
    Put32(itsf, 0x60);
    Put32(itsf, 1);
    Put32(itsf, 0);
    Put32(itsf, 0x409);
    itsf += std::string(32, '\x22');
    Put64(itsf, 0);
    Put64(itsf, 0);
    Put64(itsf, dir_offset);
    Put64(itsf, dir_length);
    Put64(itsf, dir_offset + dir_length);  // the content section
    return itsf + itsp + pmgl + content;
  }

  std::vector<Entry> entries;
  int32_t next_chunk = -1;  // the listing's next chunk: 0 names the chunk itself

 private:
  static void Put16(std::string& out, uint16_t v) {
    out += static_cast<char>(v & 0xFF);
    out += static_cast<char>(v >> 8);
  }
  static void Put32(std::string& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out += static_cast<char>(v >> (8 * i) & 0xFF);
  }
  static void Put64(std::string& out, uint64_t v) {
    for (int i = 0; i < 8; ++i) out += static_cast<char>(v >> (8 * i) & 0xFF);
  }
  // The directory's numbers: seven bits a byte, the high ones first, all but the last byte
  // marked.
  static void PutEncInt(std::string& out, uint64_t v) {
    std::string bytes(1, static_cast<char>(v & 0x7F));
    while (v >>= 7) bytes.insert(bytes.begin(), static_cast<char>(0x80 | (v & 0x7F)));
    out += bytes;
  }
};

}  // namespace borvane::testing

#endif  // BORVANE_TESTS_CHM_BUILDER_H_
