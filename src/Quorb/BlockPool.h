// Fixed-size blocks for the store's tree nodes and records, carved from
// large slabs. Blocks carry no allocator header, vectors added one after
// another sit next to each other, and the slabs live on huge pages where the
// system offers them. Freed blocks are reused by later allocations; the slabs
// go back to the system only through ReleaseIfUnused, once every block is
// free. Safe to call from many threads at once.
#ifndef QUORB_QUORB_BLOCKPOOL_H_
#define QUORB_QUORB_BLOCKPOOL_H_

#include <cstddef>
#include <vector>

#include "Services/Locks.h"

#if defined(__SANITIZE_ADDRESS__)
#define QUORB_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUORB_ADDRESS_SANITIZER 1
#endif
#endif

namespace quorb {

class BlockPool {
 public:
  explicit BlockPool(std::size_t blockSize);
  BlockPool(const BlockPool&) = delete;
  BlockPool& operator=(const BlockPool&) = delete;
  ~BlockPool();

  // A block of blockSize bytes (contents undefined); throws std::bad_alloc
  // when no memory is left.
  void* Alloc();
  // Returns a block that Alloc gave out.
  void Free(void* block);
  // Gives every slab back to the system when no block is in use.
  void ReleaseIfUnused();
  // Has the system ready the pages of the fresh blocks that the next
  // leadBytes of allocations will take, on the calling thread, so that the
  // thread allocating them does not wait for it.
  void Prefault(std::size_t leadBytes);

  std::size_t blockSize() const { return blockSize_; }

 private:
  struct FreeBlock {
    FreeBlock* next;
  };
  struct Slab {
    void* memory;
    std::size_t bytes;
  };

  void AddSlab();

  const std::size_t blockSize_;
  BlockPoolLock lock_;
  FreeBlock* freeList_ = nullptr;
  char* nextFresh_ = nullptr;
  char* slabEnd_ = nullptr;
  char* prefaulted_ = nullptr;  // the current slab's pages are ready up to here
  std::size_t live_ = 0;
  std::vector<Slab> slabs_;
};

}  // namespace quorb

#endif  // QUORB_QUORB_BLOCKPOOL_H_
