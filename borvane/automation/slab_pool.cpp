#include "borvane/automation/slab_pool.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace borvane {

#ifdef BORVANE_POOL_OFF

void* PoolAllocate(size_t size, size_t) {
  return ::operator new(size);
}

void PoolFree(void* block, size_t) noexcept {
  ::operator delete(block);
}

long PoolSlabCount() {
  return -1;
}

long PoolCachedSlabCount() {
  return 0;
}

#else

namespace slab_internal {

constinit thread_local ThreadSlabs t_slabs = {};

}  // namespace slab_internal

namespace {

using namespace slab_internal;

std::atomic<long> g_slab_count{0};
std::atomic<long> g_cached_count{0};

// Empty slabs a thread keeps for its next ones, linked through their first block: a tree read
// again after one was freed takes memory already in place, where slabs given back to the heap
// come back as fresh pages to fault in and clear. At most kMaxCachedSlabs per thread.
struct SlabCache {
  Slab* first;
  size_t count;
  bool open;  // the thread has a SlabsReleaser that will empty the cache; false once it has
};
__attribute__((tls_model("initial-exec"))) constinit thread_local SlabCache t_cache = {};

Slab*& NextCached(Slab* slab) {
  return *reinterpret_cast<Slab**>(reinterpret_cast<char*>(slab) + sizeof(Slab));
}

void FreeSlab(Slab* slab) {
  g_slab_count.fetch_sub(1, std::memory_order_relaxed);
  if (t_cache.open && t_cache.count < kMaxCachedSlabs) {
    NextCached(slab) = t_cache.first;
    t_cache.first = slab;
    ++t_cache.count;
    g_cached_count.fetch_add(1, std::memory_order_relaxed);
    return;
  }
  std::free(slab);
}

Slab* SlabOf(void* block) {
  return reinterpret_cast<Slab*>(reinterpret_cast<uintptr_t>(block) & ~(kSlabSize - 1));
}

char* FirstBlock(Slab* slab) {
  return reinterpret_cast<char*>(slab) + sizeof(Slab);
}

// Hands the thread's slabs back when the thread ends; made with the thread's first slab.
struct SlabsReleaser {
  SlabsReleaser() { t_cache.open = true; }
  ~SlabsReleaser() {
    // Blocks still alive free their slab when the last of them goes.
    for (Slab*& s : t_slabs.slab) {
      if (!s) continue;
      s->current = false;
      if (s->live == 0) FreeSlab(s);
      s = nullptr;
    }
    t_cache.open = false;
    while (Slab* slab = t_cache.first) {
      t_cache.first = NextCached(slab);
      --t_cache.count;
      g_cached_count.fetch_sub(1, std::memory_order_relaxed);
      std::free(slab);
    }
  }
};

Slab* NewSlab(size_t stream) {
  static thread_local SlabsReleaser releaser;
  (void)releaser;
  Slab* slab = t_cache.first;
  if (slab) {
    t_cache.first = NextCached(slab);
    --t_cache.count;
    g_cached_count.fetch_sub(1, std::memory_order_relaxed);
  } else {
    slab = static_cast<Slab*>(std::aligned_alloc(kSlabSize, kSlabSize));
    if (!slab) throw std::bad_alloc();
  }
  g_slab_count.fetch_add(1, std::memory_order_relaxed);
  slab->live = 0;
  slab->stream = static_cast<uint16_t>(stream);
  slab->current = true;
  return slab;
}

}  // namespace

void* PoolAllocate(size_t size, size_t lane) {
  if (void* block = AllocateFromCurrentSlab(size, lane)) return block;
  if (size > kMaxPooledSize) return ::operator new(size);
  // The thread's slab for the class is full, or there is none yet: the next one.
  const size_t stream = StreamOf(size, lane);
  if (Slab* full = t_slabs.slab[stream]) {
    full->current = false;
    if (full->live == 0) FreeSlab(full);
    t_slabs.slab[stream] = nullptr;
  }
  t_slabs.slab[stream] = NewSlab(stream);
  t_slabs.next[stream] = FirstBlock(t_slabs.slab[stream]);
  return AllocateFromCurrentSlab(size, lane);
}

void PoolFree(void* block, size_t size) noexcept {
  if (size > kMaxPooledSize) {
    ::operator delete(block);
    return;
  }
  Slab* slab = SlabOf(block);
  if (--slab->live != 0) return;
  if (!slab->current) {
    FreeSlab(slab);
    return;
  }
  // A current slab, empty again: when it is this thread's, allocation starts over at its
  // beginning; else its own thread frees it when it moves on.
  if (t_slabs.slab[slab->stream] == slab) t_slabs.next[slab->stream] = FirstBlock(slab);
}

long PoolSlabCount() {
  return g_slab_count.load(std::memory_order_relaxed);
}

long PoolCachedSlabCount() {
  return g_cached_count.load(std::memory_order_relaxed);
}

#endif

}  // namespace borvane
