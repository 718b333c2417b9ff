#include "Services/DmaKeys.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <mutex>

#include "Services/Locks.h"

namespace quorb {
namespace {

constexpr int64_t kFirstComposedKey = int64_t{1} << 62;
constexpr int64_t kKeysPerAddress = 10;

// Slabs start near 1 MiB and double up to 256 MiB, so even a few hundred
// million holders need few slabs and a key is checked against all of them in
// a short scan.
constexpr std::size_t kFirstSlabHolders = (std::size_t{1} << 20) / sizeof(DmaHolder);
constexpr int kSlabDoublings = 8;
constexpr int kMaxSlabs = 64;

struct Slab {
  DmaHolder* holders = nullptr;
  std::size_t count = 0;
};

// Freed holders wait in a queue (chained through attachA) until this many
// have gathered, so a removed vector's key names no vector added soon after.
constexpr std::size_t kFreedHoldersKeptBack = 1024;

// Holders are handed out from the newest slab's unused blocks first, then
// from the queue of freed ones, oldest first, then from a new slab. A slab
// entry is written once, before slabCount_ publishes it, so Find reads the
// registry without taking the lock.
class HolderPool {
 public:
  DmaHolder* Alloc() {
    DmaHolder* holder = nullptr;
    {
      std::lock_guard lock(mutex_);
      holder = Take();
    }
    if (holder == nullptr) return nullptr;
    // self is already 0: fresh slabs are zeroed and Free clears it. It is left
    // alone because stale keys may be checking it from other threads.
    holder->elsetType = 0;
    holder->padding0 = 0;
    holder->rec = nullptr;
    holder->word24 = 0;
    holder->padding1 = 0;
    holder->attachA = nullptr;
    holder->attachB = nullptr;
    return holder;
  }

  void Free(DmaHolder* holder) {
    if (holder == nullptr || Find(reinterpret_cast<std::uintptr_t>(holder)) != holder) return;
    std::atomic_ref<int64_t>(holder->self).store(0, std::memory_order_release);
    std::lock_guard lock(mutex_);
    if (newestFreed_ != nullptr) {
      newestFreed_->attachA = holder;
    } else {
      oldestFreed_ = holder;
    }
    newestFreed_ = holder;
    ++freedCount_;
  }

  // The holder that starts at address, or nullptr.
  DmaHolder* Find(std::uintptr_t address) const {
    for (int i = slabCount_.load(std::memory_order_acquire) - 1; i >= 0; --i) {
      const Slab& slab = slabs_[i];
      // Unsigned: an address below the slab wraps to a huge offset.
      const std::uintptr_t offset = address - reinterpret_cast<std::uintptr_t>(slab.holders);
      if (offset < slab.count * sizeof(DmaHolder)) {
        return offset % sizeof(DmaHolder) == 0 ? slab.holders + offset / sizeof(DmaHolder)
                                               : nullptr;
      }
    }
    return nullptr;
  }

 private:
  bool AddSlab() {
    const int n = slabCount_.load(std::memory_order_relaxed);
    if (n == kMaxSlabs) return false;
    const std::size_t count = kFirstSlabHolders << std::min(n, kSlabDoublings);
    // calloc leaves the zeroing of large slabs to the system, page by page.
    auto* holders = static_cast<DmaHolder*>(std::calloc(count, sizeof(DmaHolder)));
    if (holders == nullptr) return false;
    slabs_[n] = {holders, count};
    slabCount_.store(n + 1, std::memory_order_release);
    nextFresh_ = holders;
    slabEnd_ = holders + count;
    return true;
  }

  DmaHolder* Take() {
    if (nextFresh_ != slabEnd_) return nextFresh_++;
    if (freedCount_ > kFreedHoldersKeptBack) return TakeOldestFreed();
    if (AddSlab()) return nextFresh_++;
    // Out of memory: a freed holder is better than none.
    return freedCount_ > 0 ? TakeOldestFreed() : nullptr;
  }

  DmaHolder* TakeOldestFreed() {
    DmaHolder* holder = oldestFreed_;
    oldestFreed_ = static_cast<DmaHolder*>(holder->attachA);
    if (oldestFreed_ == nullptr) newestFreed_ = nullptr;
    --freedCount_;
    return holder;
  }

  HolderPoolLock mutex_;
  DmaHolder* oldestFreed_ = nullptr;
  DmaHolder* newestFreed_ = nullptr;
  std::size_t freedCount_ = 0;
  DmaHolder* nextFresh_ = nullptr;
  DmaHolder* slabEnd_ = nullptr;
  std::array<Slab, kMaxSlabs> slabs_{};
  std::atomic<int> slabCount_{0};
};

// Never destroyed: holders may be freed by static destructors at exit.
HolderPool& Pool() {
  static auto* pool = new HolderPool;
  return *pool;
}

}  // namespace

bool IsDMA(int64_t key) {
  return key < kFirstComposedKey;
}

DmaHolder* KeyToCPtr(int64_t key) {
  if (key <= 0 || key % kKeysPerAddress != 0) return nullptr;
  return Pool().Find(static_cast<std::uintptr_t>(key / kKeysPerAddress));
}

int64_t SatKeyToAddr(int64_t key) {
  return key / kKeysPerAddress;
}

// Keys below the composed range restart it, so the result is always a
// composed key.
int64_t NextSatKey(int64_t key) {
  if (key < kFirstComposedKey - 1 || key == std::numeric_limits<int64_t>::max()) {
    return kFirstComposedKey;
  }
  return key + 1;
}

DmaHolder* AllocDmaHolder() {
  return Pool().Alloc();
}

void FreeDmaHolder(DmaHolder* holder) {
  Pool().Free(holder);
}

int64_t HolderSelf(const DmaHolder& holder) {
  // The pool's holders are never const objects; the cast only serves
  // atomic_ref, which needs a mutable reference.
  return std::atomic_ref<int64_t>(const_cast<int64_t&>(holder.self))
      .load(std::memory_order_acquire);
}

}  // namespace quorb
