#include "Quorb/BlockPool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <deque>
#include <set>
#include <thread>
#include <vector>

namespace quorb {
namespace {

// Enough blocks to fill several slabs, so that slab changes are crossed.
constexpr int kManyBlocks = 40000;
constexpr std::size_t kBlockSize = 176;

TEST(BlockPoolTest, BlocksAreDistinctWritableAndReused) {
  BlockPool pool(kBlockSize);
  std::vector<void*> blocks;
  std::set<std::uintptr_t> starts;
  for (int i = 0; i < kManyBlocks; ++i) {
    void* block = pool.Alloc();
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0u);
    std::memset(block, i & 0xff, kBlockSize);
    blocks.push_back(block);
    starts.insert(reinterpret_cast<std::uintptr_t>(block));
  }
  EXPECT_EQ(starts.size(), blocks.size());
  // No block overlaps the next one in address order.
  for (auto it = starts.begin(); std::next(it) != starts.end(); ++it) {
    ASSERT_GE(*std::next(it) - *it, kBlockSize);
  }
  for (int i = 0; i < kManyBlocks; ++i) {
    const auto* bytes = static_cast<const unsigned char*>(blocks[i]);
    ASSERT_EQ(bytes[0], i & 0xff);
    ASSERT_EQ(bytes[kBlockSize - 1], i & 0xff);
  }
  EXPECT_EQ(pool.live(), static_cast<std::size_t>(kManyBlocks));

  pool.Free(blocks[7]);
  EXPECT_EQ(pool.Alloc(), blocks[7]) << "a freed block is given out again";
  for (void* block : blocks) pool.Free(block);
  EXPECT_EQ(pool.live(), 0u);
}

TEST(BlockPoolTest, SlabsGoBackOnlyWhenEveryBlockIsFree) {
  BlockPool pool(kBlockSize);
  std::vector<void*> blocks;
  for (int i = 0; i < kManyBlocks; ++i) blocks.push_back(pool.Alloc());
  void* kept = blocks.back();
  blocks.pop_back();
  for (void* block : blocks) pool.Free(block);

  pool.ReleaseIfUnused();  // one block is still in use: nothing goes
  std::memset(kept, 0x5a, kBlockSize);
  EXPECT_EQ(static_cast<unsigned char*>(kept)[kBlockSize - 1], 0x5a);

  pool.Free(kept);
  pool.ReleaseIfUnused();
  EXPECT_EQ(pool.live(), 0u);
  // The pool starts over with fresh slabs.
  void* fresh = pool.Alloc();
  std::memset(fresh, 1, kBlockSize);
  pool.Free(fresh);
}

TEST(BlockPoolTest, ThreadsAllocateAndFreeAtOnce) {
  BlockPool pool(kBlockSize);
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&pool, t] {
      std::deque<void*> mine;
      for (int i = 0; i < kRounds; ++i) {
        void* block = pool.Alloc();
        std::memset(block, t, kBlockSize);
        mine.push_back(block);
        if (i % 3 == 2) {
          // Another thread's bytes in one of ours would mean a shared block.
          ASSERT_EQ(static_cast<unsigned char*>(mine.front())[kBlockSize / 2], t);
          pool.Free(mine.front());
          mine.pop_front();
        }
      }
      for (void* block : mine) pool.Free(block);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(pool.live(), 0u);
}

}  // namespace
}  // namespace quorb
