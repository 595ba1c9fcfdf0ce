#include "borvane/platform/files/version_info.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <mutex>

#include "borvane/platform/files/file_system.h"

namespace borvane::platform {

namespace {

constexpr uint16_t kVersionType = 16;     // RT_VERSION
constexpr uint32_t kMaxBlock = 1u << 20;  // a version block is a few KB
constexpr uint32_t kMaxEntries = 4096;    // per resource directory

uint16_t U16(const std::string& b, size_t at) {
  return static_cast<uint16_t>(static_cast<uint8_t>(b[at]) | static_cast<uint8_t>(b[at + 1]) << 8);
}
uint32_t U32(const std::string& b, size_t at) {
  return static_cast<uint32_t>(U16(b, at)) | static_cast<uint32_t>(U16(b, at + 2)) << 16;
}

// Reads `length` bytes at `offset` as a little-endian number source.
struct Cursor {
  const ByteReader& read;
  bool Get(uint64_t offset, size_t length, std::string& out) const {
    return read(offset, length, out) && out.size() == length;
  }
};

std::optional<std::string> PeBlock(const Cursor& c, uint32_t pe) {
  std::string h;
  if (!c.Get(pe, 24, h) || h.compare(0, 4, std::string("PE\0\0", 4)) != 0) return std::nullopt;
  uint16_t sections = U16(h, 6), optional_size = U16(h, 20);
  std::string opt;
  if (optional_size < 2 || !c.Get(pe + 24, optional_size, opt)) return std::nullopt;
  uint16_t magic = U16(opt, 0);
  size_t count_at = magic == 0x20B ? 108 : magic == 0x10B ? 92 : 0;
  if (count_at == 0 || optional_size < count_at + 4 + 3 * 8) return std::nullopt;
  if (U32(opt, count_at) < 3) return std::nullopt;  // no resource directory entry
  uint32_t root_rva = U32(opt, count_at + 4 + 2 * 8);
  if (root_rva == 0) return std::nullopt;
  std::string table;
  if (!c.Get(static_cast<uint64_t>(pe) + 24 + optional_size, static_cast<size_t>(sections) * 40,
             table))
    return std::nullopt;
  auto to_offset = [&](uint32_t rva, uint64_t& offset) {
    for (size_t s = 0; s < sections; ++s) {
      uint32_t va = U32(table, s * 40 + 12), vsize = U32(table, s * 40 + 8),
               raw_size = U32(table, s * 40 + 16), raw = U32(table, s * 40 + 20);
      uint32_t span = std::max(vsize, raw_size);
      if (rva >= va && rva - va < span) {
        offset = static_cast<uint64_t>(raw) + (rva - va);
        return true;
      }
    }
    return false;
  };
  uint64_t root = 0;
  if (!to_offset(root_rva, root)) return std::nullopt;
  // Three levels: type, name, language; the first entry of the wanted type at each.
  uint64_t dir = root;
  uint32_t leaf = 0;
  for (int level = 0; level < 3; ++level) {
    std::string d;
    if (!c.Get(dir, 16, d)) return std::nullopt;
    uint32_t n = static_cast<uint32_t>(U16(d, 12)) + U16(d, 14);
    if (n == 0 || n > kMaxEntries) return std::nullopt;
    std::string entries;
    if (!c.Get(dir + 16, static_cast<size_t>(n) * 8, entries)) return std::nullopt;
    bool found = false;
    for (uint32_t i = 0; i < n && !found; ++i) {
      uint32_t id = U32(entries, i * 8), target = U32(entries, i * 8 + 4);
      if (level == 0 && (id & 0x80000000u || id != kVersionType)) continue;
      bool subdirectory = target & 0x80000000u;
      if (subdirectory != (level < 2)) continue;
      target &= 0x7FFFFFFFu;
      if (level < 2) {
        dir = root + target;
      } else {
        leaf = target;
      }
      found = true;
    }
    if (!found) return std::nullopt;
  }
  std::string data;
  if (!c.Get(root + leaf, 16, data)) return std::nullopt;
  uint32_t rva = U32(data, 0), size = U32(data, 4);
  uint64_t offset = 0;
  if (size == 0 || size > kMaxBlock || !to_offset(rva, offset)) return std::nullopt;
  std::string block;
  if (!c.Get(offset, size, block)) return std::nullopt;
  return block;
}

std::optional<std::string> NeBlock(const Cursor& c, uint32_t ne) {
  std::string h;
  if (!c.Get(ne, 64, h) || h[0] != 'N' || h[1] != 'E') return std::nullopt;
  uint64_t table = static_cast<uint64_t>(ne) + U16(h, 0x24);
  std::string shift_bytes;
  if (!c.Get(table, 2, shift_bytes)) return std::nullopt;
  uint16_t shift = U16(shift_bytes, 0);
  if (shift > 16) return std::nullopt;
  uint64_t at = table + 2;
  for (uint32_t types = 0; types < kMaxEntries; ++types) {
    std::string t;
    if (!c.Get(at, 8, t)) return std::nullopt;
    uint16_t type = U16(t, 0), count = U16(t, 2);
    if (type == 0) return std::nullopt;
    if (type == (0x8000 | kVersionType) && count > 0) {
      std::string r;
      if (!c.Get(at + 8, 12, r)) return std::nullopt;
      uint64_t offset = static_cast<uint64_t>(U16(r, 0)) << shift;
      uint64_t length = static_cast<uint64_t>(U16(r, 2)) << shift;
      if (length == 0 || length > kMaxBlock) return std::nullopt;
      std::string block;
      if (!c.Get(offset, static_cast<size_t>(length), block)) return std::nullopt;
      // The block says how long it is; the rest is alignment.
      if (block.size() >= 2 && U16(block, 0) >= 4 && U16(block, 0) <= block.size())
        block.resize(U16(block, 0));
      return block;
    }
    at += 8 + static_cast<uint64_t>(count) * 12;
  }
  return std::nullopt;
}

std::mutex& BuiltInMutex() {
  static std::mutex m;
  return m;
}
std::map<std::string, std::string>& BuiltIn() {
  static std::map<std::string, std::string> blocks;
  return blocks;
}

class RealVersionRecords : public VersionRecords {
 public:
  uint32_t BlockSize(const String& path) override {
    std::optional<std::string> block = Read(path);
    return block ? static_cast<uint32_t>(block->size()) : 0;
  }
  bool Block(const String& path, uint32_t size, std::string& block) override {
    std::optional<std::string> b = Read(path);
    if (!b) return false;
    block = b->substr(0, size);
    return true;
  }

 private:
  static std::optional<std::string> Read(const String& path) {
    std::string native = NativePath(path);
    {
      std::lock_guard<std::mutex> lock(BuiltInMutex());
      auto it = BuiltIn().find(native);
      if (it != BuiltIn().end()) return it->second;
    }
    int fd = ::open(native.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    struct stat st;
    uint64_t file_size = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) ? st.st_size : 0;
    ByteReader read = [&](uint64_t offset, size_t length, std::string& out) {
      if (offset > file_size || length > file_size - offset) return false;
      out.resize(length);
      return ::pread(fd, out.data(), length, static_cast<off_t>(offset)) ==
             static_cast<ssize_t>(length);
    };
    std::optional<std::string> block = file_size ? ReadVersionBlock(read) : std::nullopt;
    ::close(fd);
    return block;
  }
};

}  // namespace

std::optional<std::string> ReadVersionBlock(const ByteReader& read) {
  Cursor c{read};
  std::string dos;
  if (!c.Get(0, 64, dos) || dos[0] != 'M' || dos[1] != 'Z') return std::nullopt;
  uint32_t header = U32(dos, 0x3C);
  std::string sig;
  if (!c.Get(header, 2, sig)) return std::nullopt;
  if (sig == "PE") return PeBlock(c, header);
  if (sig == "NE") return NeBlock(c, header);
  return std::nullopt;
}

bool QueryFixedRecord(std::string_view block, VS_FIXEDFILEINFO& record) {
  std::string b(block);
  if (b.size() < 6) return false;
  uint16_t length = U16(b, 0), value_length = U16(b, 2);
  if (length > b.size()) length = static_cast<uint16_t>(b.size());
  // A 32-bit block has a type word and its key in UTF-16; a 16-bit one its key in bytes.
  static const std::string kWide("V\0S\0_\0V\0E\0R\0S\0I\0O\0N\0_\0I\0N\0F\0O\0\0\0", 32);
  static const std::string kNarrow("VS_VERSION_INFO\0", 16);
  size_t value;
  if (b.compare(6, kWide.size(), kWide) == 0) {
    value = 6 + kWide.size();
  } else if (b.compare(4, kNarrow.size(), kNarrow) == 0) {
    value = 4 + kNarrow.size();
  } else {
    return false;
  }
  value = (value + 3) & ~size_t{3};
  if (value_length < sizeof(VS_FIXEDFILEINFO) || value + sizeof(VS_FIXEDFILEINFO) > length)
    return false;
  VS_FIXEDFILEINFO r;
  std::memcpy(&r, b.data() + value, sizeof r);
  if (r.dwSignature != kFixedFileInfoSignature) return false;
  record = r;
  return true;
}

std::string MakeVersionBlock(uint32_t file_ms, uint32_t file_ls) {
  VS_FIXEDFILEINFO r;
  r.dwSignature = kFixedFileInfoSignature;
  r.dwStrucVersion = 0x00010000;
  r.dwFileVersionMS = r.dwProductVersionMS = file_ms;
  r.dwFileVersionLS = r.dwProductVersionLS = file_ls;
  std::string b(6, '\0');
  b += std::string("V\0S\0_\0V\0E\0R\0S\0I\0O\0N\0_\0I\0N\0F\0O\0\0\0", 32);
  b.resize((b.size() + 3) & ~size_t{3}, '\0');
  b.append(reinterpret_cast<const char*>(&r), sizeof r);
  uint16_t length = static_cast<uint16_t>(b.size()), value_length = sizeof r;
  std::memcpy(b.data(), &length, 2);
  std::memcpy(b.data() + 2, &value_length, 2);
  return b;
}

void RegisterBuiltInVersion(const std::string& native_path, uint32_t file_ms, uint32_t file_ls) {
  std::lock_guard<std::mutex> lock(BuiltInMutex());
  BuiltIn()[native_path] = MakeVersionBlock(file_ms, file_ls);
}

VersionRecords& VersionRecords::Real() {
  static RealVersionRecords records;
  return records;
}

}  // namespace borvane::platform
