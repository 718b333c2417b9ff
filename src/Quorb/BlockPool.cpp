#include "Quorb/BlockPool.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

#include "Quorb/LargeMappings.h"

#if defined(QUORB_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#define QUORB_POISON(address, bytes) ASAN_POISON_MEMORY_REGION(address, bytes)
#define QUORB_UNPOISON(address, bytes) ASAN_UNPOISON_MEMORY_REGION(address, bytes)
#else
#define QUORB_POISON(address, bytes) ((void)(address), (void)(bytes))
#define QUORB_UNPOISON(address, bytes) ((void)(address), (void)(bytes))
#endif

namespace quorb {
namespace {

// Slabs start small, so that a store of a few vectors stays small, and
// double up to a size where a million vectors need a handful of them.
constexpr std::size_t kFirstSlabBytes = std::size_t{256} << 10;
constexpr std::size_t kLargestSlabBytes = std::size_t{64} << 20;

}  // namespace

BlockPool::BlockPool(std::size_t blockSize) : blockSize_(std::max(blockSize, sizeof(FreeBlock))) {}

BlockPool::~BlockPool() {
  for (const Slab& slab : slabs_) UnmapLarge(slab.memory, slab.bytes);
}

void* BlockPool::Alloc() {
  std::lock_guard lock(lock_);
  void* block;
  if (freeList_ != nullptr) {
    QUORB_UNPOISON(freeList_, blockSize_);
    block = freeList_;
    freeList_ = freeList_->next;
  } else {
    if (slabEnd_ - nextFresh_ < static_cast<std::ptrdiff_t>(blockSize_)) AddSlab();
    block = nextFresh_;
    nextFresh_ += blockSize_;
    QUORB_UNPOISON(block, blockSize_);
  }
  ++live_;
  return block;
}

void BlockPool::Free(void* block) {
  if (block == nullptr) return;
  std::lock_guard lock(lock_);
  auto* freed = static_cast<FreeBlock*>(block);
  freed->next = freeList_;
  freeList_ = freed;
  QUORB_POISON(block, blockSize_);
  --live_;
}

void BlockPool::ReleaseIfUnused() {
  std::lock_guard lock(lock_);
  if (live_ != 0) return;
  for (const Slab& slab : std::exchange(slabs_, {})) UnmapLarge(slab.memory, slab.bytes);
  freeList_ = nullptr;
  nextFresh_ = slabEnd_ = prefaulted_ = nullptr;
}

void BlockPool::Prefault(std::size_t leadBytes) {
  char* from;
  std::size_t bytes;
  {
    std::lock_guard lock(lock_);
    from = std::max(prefaulted_, nextFresh_);
    const auto lead = std::min<std::size_t>(leadBytes, slabEnd_ - nextFresh_);
    if (from >= nextFresh_ + lead) return;
    bytes = nextFresh_ + lead - from;
    prefaulted_ = from + bytes;
  }
  // Outside the lock: allocations go on meanwhile. The slab stays mapped
  // while blocks of it are in use, as they are during a load.
  PrefaultForWriting(from, bytes);
}

void BlockPool::AddSlab() {
  const std::size_t doublings = std::min<std::size_t>(slabs_.size(), 8);
  const std::size_t bytes =
      std::max(std::min(kFirstSlabBytes << doublings, kLargestSlabBytes), blockSize_);
  slabs_.reserve(slabs_.size() + 1);
  void* memory = MapLarge(bytes);
  if (memory == nullptr) throw std::bad_alloc();
  slabs_.push_back({memory, bytes});
  nextFresh_ = prefaulted_ = static_cast<char*>(memory);
  slabEnd_ = nextFresh_ + bytes;
  QUORB_POISON(memory, bytes);
}

}  // namespace quorb
