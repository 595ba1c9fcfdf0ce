// SlabPool: small objects of one size carved from 32 KiB slabs, for classes made and freed by
// the hundred thousand (the nodes of a large document).
//
// A slab is handed to the thread that allocates from it; blocks are handed out in order and are
// not reused one by one: a slab is let go when its last block is freed, or is started over when
// it is still the thread's current one. So objects made together stay together in memory, and a
// tree freed as a whole lets its memory go as a whole. A caller that keeps one object of a freed
// tree keeps its slab. The thread keeps up to kMaxCachedSlabs slabs let go for its next objects
// (a tree read after one was freed finds its memory in place, where fresh pages from the system
// would have to be faulted in and cleared); the others go back to the heap.
//
// A lane other than the first keeps its blocks, of any size, on slabs of their own: objects
// walked in the order they were made (the nodes of a tree) take one, so that blocks of the
// same size made between them for other uses (their attributes, their texts) do not stand
// among them.
//
// Like the objects themselves, blocks are freed on the thread that made them. Under the
// sanitizers every block is a heap block of its own, so that their checks still see each
// object.
#ifndef BORVANE_AUTOMATION_SLAB_POOL_H_
#define BORVANE_AUTOMATION_SLAB_POOL_H_

#include <cstddef>
#include <cstdint>

// Under the sanitizers every block is a heap block of its own.
#if defined(__SANITIZE_ADDRESS__)
#define BORVANE_POOL_OFF 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BORVANE_POOL_OFF 1
#endif
#endif

namespace borvane {

inline constexpr size_t kMaxPooledSize = 512;
// Lane 0 is everyone's; lane 1 is the nodes of documents.
inline constexpr size_t kPoolLanes = 2;

// A block of `size` bytes from `lane`, aligned to 16 bytes; one larger than kMaxPooledSize is
// a plain heap block.
void* PoolAllocate(size_t size, size_t lane = 0);
// Frees a block of PoolAllocate; `size` is the size it was asked for.
void PoolFree(void* block, size_t size) noexcept;

namespace slab_internal {

// Small enough that an aligned slab (the heap sets aside twice its size to align it) stays
// below the heap's threshold for memory mapped on its own: a mapped slab would cost a system
// call and fresh pages each time.
inline constexpr size_t kSlabSize = 32 * 1024;
inline constexpr size_t kGrain = 16;
inline constexpr size_t kClasses = kMaxPooledSize / kGrain;
// The slabs a thread allocates from at once: one per size class of lane 0, one per other lane.
// Few, as the initial TLS block that holds them is small for a library loaded late (a Python
// caller's).
inline constexpr size_t kStreams = kClasses + kPoolLanes - 1;

// Stands at the start of each slab; slabs are aligned to their size, so a block finds it by
// masking its address.
struct alignas(kGrain) Slab {
  uint32_t live;    // blocks handed out and not yet freed
  uint16_t stream;  // the size class or lane it serves
  bool current;     // still some thread's slab to allocate from
};

// The slab each stream of this thread allocates from, and where its free space begins.
// Plain data in the initial TLS block, so that reaching it costs no call.
struct ThreadSlabs {
  Slab* slab[kStreams];
  char* next[kStreams];
};
extern constinit thread_local ThreadSlabs t_slabs __attribute__((tls_model("initial-exec")));

inline size_t StreamOf(size_t size, size_t lane) {
  return lane ? kClasses + lane - 1 : (size + kGrain - 1) / kGrain - 1;
}

// The block of PoolAllocate from the thread's slab for its stream while it has room, else
// nullptr (and PoolAllocate takes a new slab, or the heap).
inline void* AllocateFromCurrentSlab(size_t size, size_t lane) {
  if (size > kMaxPooledSize) return nullptr;
  const size_t stream = StreamOf(size, lane);
  const size_t rounded = (size + kGrain - 1) / kGrain * kGrain;
  Slab* slab = t_slabs.slab[stream];
  char* at = t_slabs.next[stream];
  if (!slab || at + rounded > reinterpret_cast<char*>(slab) + kSlabSize) return nullptr;
  ++slab->live;
  t_slabs.next[stream] = at + rounded;
  return at;
}

}  // namespace slab_internal

// Slabs of this process that are not back on the heap: those holding live blocks and the
// threads' current ones. -1 when blocks are plain heap blocks (under the sanitizers).
long PoolSlabCount();
// Empty slabs the threads keep for their next ones, not counted above: at most
// kMaxCachedSlabs per thread, given back to the heap when the thread ends.
long PoolCachedSlabCount();
inline constexpr size_t kMaxCachedSlabs = 1024;  // 32 MiB

// PoolAllocate with the thread's current slab tried inline, for blocks made by the hundred
// thousand (nodes, their packed attributes).
inline void* PoolAllocateInline(size_t size, size_t lane = 0) {
#ifndef BORVANE_POOL_OFF
  if (void* block = slab_internal::AllocateFromCurrentSlab(size, lane)) return block;
#endif
  return PoolAllocate(size, lane);
}

// Class-specific allocation through the pool's `Lane`, for a class derived from this one.
template <size_t Lane>
struct PooledIn {
  static_assert(Lane < kPoolLanes);
  static void* operator new(size_t size) { return PoolAllocateInline(size, Lane); }
  static void operator delete(void* block, size_t size) noexcept { PoolFree(block, size); }
};
using Pooled = PooledIn<0>;

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_SLAB_POOL_H_
