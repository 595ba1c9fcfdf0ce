// SlabPool: small objects of one size carved from 32 KiB slabs, for classes made and freed by
// the hundred thousand (the nodes of a large document).
//
// A slab is handed to the thread that allocates from it; blocks are handed out in order and are
// not reused one by one: a slab goes back to the heap when its last block is freed, or is
// started over when it is still the thread's current one. So objects made together stay
// together in memory, and a tree freed as a whole gives its memory back as a whole. A caller
// that keeps one object of a freed tree keeps its slab.
//
// Like the objects themselves, blocks are freed on the thread that made them. Under the
// sanitizers every block is a heap block of its own, so that their checks still see each
// object.
#ifndef BORVANE_AUTOMATION_SLAB_POOL_H_
#define BORVANE_AUTOMATION_SLAB_POOL_H_

#include <cstddef>

namespace borvane {

// A block of `size` bytes, aligned to 16 bytes; one larger than kMaxPooledSize is a plain heap
// block.
void* PoolAllocate(size_t size);
// Frees a block of PoolAllocate; `size` is the size it was asked for.
void PoolFree(void* block, size_t size) noexcept;

inline constexpr size_t kMaxPooledSize = 512;

// Slabs of this process that are not back on the heap: those holding live blocks and the
// threads' current ones. -1 when blocks are plain heap blocks (under the sanitizers).
long PoolSlabCount();

// Class-specific allocation through the pool, for a class derived from this one.
struct Pooled {
  static void* operator new(size_t size) { return PoolAllocate(size); }
  static void operator delete(void* block, size_t size) noexcept { PoolFree(block, size); }
};

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_SLAB_POOL_H_
