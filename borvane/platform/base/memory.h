// Memory from the system beside the heap, and hints about memory the library is about to fill.
// They change how fast memory is reached and nothing else that a caller can see, so that,
// unlike the other services, they need no double for tests. This file stands on nothing of the
// library, so that the slab pool below every object may use it.
#ifndef BORVANE_PLATFORM_BASE_MEMORY_H_
#define BORVANE_PLATFORM_BASE_MEMORY_H_

#include <cstddef>

namespace borvane::platform {

// Tells the system that the `bytes` at `data`, not touched yet, are about to be written from
// end to end. On Linux the part of a block of several megabytes that spans whole 2 MiB pages is
// offered to transparent huge pages, so that a large text costs a few hundred page faults
// rather than tens of thousands; smaller blocks are left alone. Never fails.
void AdviseWholeWrite(void* data, size_t bytes) noexcept;

// The size and the alignment of the regions MapHugeRegion gives: one huge page.
inline constexpr size_t kHugeRegionSize = size_t{2} << 20;

// A region of kHugeRegionSize zeroed bytes aligned to its size, mapped for the caller alone
// and offered to transparent huge pages, or nullptr when the system has no memory to give.
// Memory that many small objects share is then reached through one address translation per
// 2 MiB rather than one per 4 KiB page. Where the system gives huge pages only to programs
// that ask (its "madvise" setting), this asks; where it gives none, the region is plain pages.
void* MapHugeRegion() noexcept;
// Gives a region of MapHugeRegion back to the system.
void UnmapHugeRegion(void* region) noexcept;
// Tells the system that the content of a region of MapHugeRegion is no longer needed: it may
// take the region's memory back when it runs short, and until then the region is there to
// write again without a page fault. A page taken back reads as zeros.
void ReleaseHugeRegionContent(void* region) noexcept;

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_BASE_MEMORY_H_
