// Small PE and NE images with a version resource, built in memory for tests, benchmarks and
// fuzz seeds (no executable file is kept in the repository).
#ifndef BORVANE_TESTS_PLATFORM_EXECUTABLE_IMAGES_H_
#define BORVANE_TESTS_PLATFORM_EXECUTABLE_IMAGES_H_

#include <cstdint>
#include <cstring>
#include <string>

namespace borvane::testing_images {

inline void Put16(std::string& b, size_t at, uint32_t v) {
  if (b.size() < at + 2) b.resize(at + 2, '\0');
  b[at] = static_cast<char>(v & 0xFF);
  b[at + 1] = static_cast<char>((v >> 8) & 0xFF);
}
inline void Put32(std::string& b, size_t at, uint32_t v) {
  Put16(b, at, v & 0xFFFF);
  Put16(b, at + 2, v >> 16);
}

// A PE image (64-bit when `wide`) whose one section holds a resource directory with `block` as
// its version resource; `padding` bytes of zeros follow it.
inline std::string PeImage(bool wide, const std::string& block, size_t padding = 0) {
  std::string b(0x200, '\0');
  b[0] = 'M';
  b[1] = 'Z';
  Put32(b, 0x3C, 0x40);
  std::memcpy(&b[0x40], "PE\0\0", 4);
  Put16(b, 0x44, wide ? 0x8664 : 0x14C);
  Put16(b, 0x46, 1);  // one section
  const uint32_t optional_size = wide ? 240 : 224;
  Put16(b, 0x54, optional_size);
  const size_t opt = 0x58;
  Put16(b, opt, wide ? 0x20B : 0x10B);
  const size_t count_at = opt + (wide ? 108 : 92);
  Put32(b, count_at, 16);
  const uint32_t rsrc_rva = 0x1000, rsrc_size = 0x58 + static_cast<uint32_t>(block.size());
  Put32(b, count_at + 4 + 16, rsrc_rva);
  Put32(b, count_at + 4 + 20, rsrc_size);
  const size_t section = opt + optional_size;
  std::memcpy(&b[section], ".rsrc\0\0\0", 8);
  Put32(b, section + 8, rsrc_size);
  Put32(b, section + 12, rsrc_rva);
  Put32(b, section + 16, rsrc_size);
  Put32(b, section + 20, 0x200);
  // Type 16 -> name 1 -> language 0x409 -> data entry -> the block.
  std::string r(0x58, '\0');
  Put16(r, 14, 1);
  Put32(r, 16, 16);
  Put32(r, 20, 0x80000000u | 0x18);
  Put16(r, 0x18 + 14, 1);
  Put32(r, 0x18 + 16, 1);
  Put32(r, 0x18 + 20, 0x80000000u | 0x30);
  Put16(r, 0x30 + 14, 1);
  Put32(r, 0x30 + 16, 0x409);
  Put32(r, 0x30 + 20, 0x48);
  Put32(r, 0x48, rsrc_rva + 0x58);
  Put32(r, 0x48 + 4, static_cast<uint32_t>(block.size()));
  b += r + block + std::string(padding, '\0');
  return b;
}

// An NE image with a 16-bit version block of the given file version.
inline std::string NeImage(uint32_t file_ms, uint32_t file_ls) {
  std::string b(0x100, '\0');
  b[0] = 'M';
  b[1] = 'Z';
  Put32(b, 0x3C, 0x40);
  b[0x40] = 'N';
  b[0x41] = 'E';
  Put16(b, 0x40 + 0x24, 0x40);  // resource table at 0x80
  Put16(b, 0x80, 4);            // alignment shift
  Put16(b, 0x82, 0x8010);       // version resources
  Put16(b, 0x84, 1);
  Put16(b, 0x8A, 0x100 >> 4);      // at 0x100
  Put16(b, 0x8C, (72 + 15) >> 4);  // length in 16-byte units
  Put16(b, 0x90, 0x8001);
  std::string block(72, '\0');
  Put16(block, 0, 72);
  Put16(block, 2, 52);
  std::memcpy(&block[4], "VS_VERSION_INFO", 15);
  Put32(block, 20, 0xFEEF04BD);
  Put32(block, 28, file_ms);
  Put32(block, 32, file_ls);
  b += block + std::string(8, '\0');
  return b;
}

}  // namespace borvane::testing_images

#endif  // BORVANE_TESTS_PLATFORM_EXECUTABLE_IMAGES_H_
