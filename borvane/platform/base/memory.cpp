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

}  // namespace borvane::platform
