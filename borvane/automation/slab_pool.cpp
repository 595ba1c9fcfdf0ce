#include "borvane/automation/slab_pool.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <set>

#include "borvane/platform/base/memory.h"

namespace borvane {

#ifdef BORVANE_POOL_OFF

void* PoolAllocate(size_t size) {
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

long PoolRegionCount() {
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

// Slabs are carved from regions of one huge page, 64 to a region, shared by the threads. A
// large tree's nodes, names and values are spread over slabs of several sizes: within few huge
// pages, making and walking them costs far fewer misses of the address cache (random documents
// of 10^5 and 10^6 nodes read 10-20% faster). Up to kMaxEmptyRegions regions are kept when their
// last slab is given back, their content given up (the system takes their memory back when it
// runs short): a tree read again after one was freed then finds them mapped, where a fresh
// region costs a page fault and 2 MiB cleared. Regions past that go back to the system. A
// region stays whole while any of its slabs is in use: a caller that keeps one object of a
// freed tree keeps up to 2 MiB.
constexpr size_t kRegionSize = platform::kHugeRegionSize;
constexpr size_t kSlabsPerRegion = kRegionSize / kSlabSize;
static_assert(kSlabsPerRegion == 64, "a region's free slabs are the bits of one word");
constexpr uint64_t kAllFree = ~uint64_t{0};

class Regions {
 public:
  Slab* Take() {
    std::lock_guard<std::mutex> hold(lock_);
    uintptr_t region;
    if (!with_room_.empty()) {
      // The lowest region first, so that slabs gather in few regions and the others empty.
      region = *with_room_.begin();
    } else {
      region = reinterpret_cast<uintptr_t>(platform::MapHugeRegion());
      if (!region) throw std::bad_alloc();
      free_[region] = kAllFree;
      with_room_.insert(region);
      ++count_;
      ++empty_;
    }
    uint64_t& free = free_[region];
    if (free == kAllFree) --empty_;
    const int slot = __builtin_ctzll(free);
    free &= free - 1;
    if (!free) with_room_.erase(region);
    return reinterpret_cast<Slab*>(region + static_cast<size_t>(slot) * kSlabSize);
  }

  void Give(Slab* slab) {
    const uintptr_t at = reinterpret_cast<uintptr_t>(slab);
    const uintptr_t region = at & ~uintptr_t{kRegionSize - 1};
    std::lock_guard<std::mutex> hold(lock_);
    uint64_t& free = free_[region];
    free |= uint64_t{1} << ((at - region) / kSlabSize);
    with_room_.insert(region);
    if (free != kAllFree) return;
    if (empty_ < kMaxEmptyRegions) {
      ++empty_;
      platform::ReleaseHugeRegionContent(reinterpret_cast<void*>(region));
      return;
    }
    free_.erase(region);
    with_room_.erase(region);
    --count_;
    platform::UnmapHugeRegion(reinterpret_cast<void*>(region));
  }

  long count() {
    std::lock_guard<std::mutex> hold(lock_);
    return count_;
  }

 private:
  std::mutex lock_;
  std::map<uintptr_t, uint64_t> free_;  // each region's free slabs, a bit each
  std::set<uintptr_t> with_room_;       // the regions with a free slab
  long count_ = 0;
  long empty_ = 0;  // regions kept with no slab in use
};

// Never destroyed: threads still running at exit give their slabs back after static
// destructors have run.
Regions& TheRegions() {
  static Regions* regions = new Regions;
  return *regions;
}

// Empty slabs a thread keeps for its next ones, linked through their first block: a tree read
// again after one was freed takes memory already in place, where a slab given back to its
// region may come back as a fresh page to fault in and clear. At most kMaxCachedSlabs per
// thread.
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
  TheRegions().Give(slab);
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
      TheRegions().Give(slab);
    }
  }
};

Slab* NewSlab() {
  static thread_local SlabsReleaser releaser;
  (void)releaser;
  Slab* slab = t_cache.first;
  if (slab) {
    t_cache.first = NextCached(slab);
    --t_cache.count;
    g_cached_count.fetch_sub(1, std::memory_order_relaxed);
  } else {
    slab = TheRegions().Take();
  }
  g_slab_count.fetch_add(1, std::memory_order_relaxed);
  slab->live = 0;
  slab->current = true;
  return slab;
}

}  // namespace

void* PoolAllocate(size_t size) {
  if (void* block = AllocateFromCurrentSlab(size)) return block;
  if (size > kMaxPooledSize) return ::operator new(size);
  // The thread's slab for the class is full, or there is none yet: the next one.
  const size_t cls = (size + kGrain - 1) / kGrain - 1;
  if (Slab* full = t_slabs.slab[cls]) {
    full->current = false;
    if (full->live == 0) FreeSlab(full);
    t_slabs.slab[cls] = nullptr;
  }
  t_slabs.slab[cls] = NewSlab();
  t_slabs.next[cls] = FirstBlock(t_slabs.slab[cls]);
  return AllocateFromCurrentSlab(size);
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
  size_t cls = (size + kGrain - 1) / kGrain - 1;
  if (t_slabs.slab[cls] == slab) t_slabs.next[cls] = FirstBlock(slab);
}

long PoolSlabCount() {
  return g_slab_count.load(std::memory_order_relaxed);
}

long PoolCachedSlabCount() {
  return g_cached_count.load(std::memory_order_relaxed);
}

long PoolRegionCount() {
  return TheRegions().count();
}

#endif

}  // namespace borvane
