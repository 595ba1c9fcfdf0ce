// The version record reader over arbitrary bytes: an answer or none, never a crash or a read
// outside the bytes.
#include <cstddef>
#include <cstdint>
#include <string>

#include "borvane/platform/files/version_info.h"

using namespace borvane::platform;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  ByteReader read = [&](uint64_t offset, size_t length, std::string& out) {
    if (offset > bytes.size() || length > bytes.size() - offset) return false;
    out.assign(bytes, static_cast<size_t>(offset), length);
    return true;
  };
  if (auto block = ReadVersionBlock(read)) {
    VS_FIXEDFILEINFO r;
    QueryFixedRecord(*block, r);
  }
  VS_FIXEDFILEINFO r;
  QueryFixedRecord(bytes, r);
  return 0;
}
