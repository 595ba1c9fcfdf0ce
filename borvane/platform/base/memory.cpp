#include "borvane/platform/base/memory.h"

#include <sys/mman.h>

#include <cstdint>

namespace borvane::platform {

void AdviseWholeWrite(void* data, size_t bytes) noexcept {
  constexpr uintptr_t kHugePage = uintptr_t{2} << 20;
  // Below this the heap's own pages are cheap enough, and the block may share huge pages
  // with other data.
  constexpr size_t kWorthIt = 4 * kHugePage;
  if (bytes < kWorthIt) return;
  const uintptr_t begin = reinterpret_cast<uintptr_t>(data);
  const uintptr_t first = (begin + kHugePage - 1) & ~(kHugePage - 1);
  const uintptr_t last = (begin + bytes) & ~(kHugePage - 1);
  // Only a hint: a kernel without transparent huge pages refuses it, and nothing changes.
  if (last > first) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

void* MapHugeRegion() noexcept {
  // Mapped with a region's worth to spare, so that an aligned region lies within; the spare
  // ends are given back at once.
  const size_t span = 2 * kHugeRegionSize;
  void* mapped = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return nullptr;
  const uintptr_t begin = reinterpret_cast<uintptr_t>(mapped);
  const uintptr_t region = (begin + kHugeRegionSize - 1) & ~uintptr_t{kHugeRegionSize - 1};
  if (region > begin) munmap(mapped, region - begin);
  const uintptr_t end = region + kHugeRegionSize;
  if (begin + span > end) munmap(reinterpret_cast<void*>(end), begin + span - end);
  // Only a hint, as above.
  madvise(reinterpret_cast<void*>(region), kHugeRegionSize, MADV_HUGEPAGE);
  return reinterpret_cast<void*>(region);
}

void UnmapHugeRegion(void* region) noexcept {
  munmap(region, kHugeRegionSize);
}

void ReleaseHugeRegionContent(void* region) noexcept {
  // A kernel older than MADV_FREE refuses it: the region then stays as it is.
  madvise(region, kHugeRegionSize, MADV_FREE);
}

}  // namespace borvane::platform
