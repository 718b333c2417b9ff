#include "Services/DmaKeys.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <limits>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

namespace quorb {
namespace {

constexpr int64_t kComposedBase = int64_t{1} << 62;
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();

int64_t Key(const DmaHolder* holder) {
  return static_cast<int64_t>(reinterpret_cast<std::uintptr_t>(holder)) * 10;
}

void SetSelf(DmaHolder* holder) {
  std::atomic_ref<int64_t>(holder->self).store(Key(holder) / 10);
}

TEST(DmaKeys, KindsAndNextKeys) {
  EXPECT_TRUE(IsDMA(kMin) && IsDMA(0) && IsDMA(kComposedBase - 1));
  EXPECT_FALSE(IsDMA(kComposedBase));
  EXPECT_EQ(NextSatKey(kComposedBase + 5), kComposedBase + 6);
  for (const int64_t key : {kMax, kMin, int64_t{-1}, int64_t{0}, kComposedBase - 2}) {
    EXPECT_EQ(NextSatKey(key), kComposedBase) << key;  // never a DMA key, -1 or 0
  }
  EXPECT_EQ(SatKeyToAddr(kMin), kMin / 10);
}

TEST(DmaKeys, KeysFindOnlyTheStartOfAHolder) {
  DmaHolder* holder = AllocDmaHolder();
  ASSERT_NE(holder, nullptr);
  const int64_t key = Key(holder);
  EXPECT_EQ(KeyToCPtr(key), holder);
  EXPECT_EQ(SatKeyToAddr(key), key / 10);
  for (const int64_t wrong :
       {key + 1, key - 1, key + 10, key + 470, -key, kMin, int64_t{-1}, int64_t{0}, kMax,
        kComposedBase, kMax - kMax % 10, kMin - kMin % 10}) {
    EXPECT_EQ(KeyToCPtr(wrong), nullptr) << wrong;
  }
  std::mt19937_64 random(11);
  for (int i = 0; i < 1'000'000; ++i) {
    const auto value = static_cast<int64_t>(random());
    for (const int64_t k : {value, value - value % 10}) {
      const DmaHolder* found = KeyToCPtr(k);
      ASSERT_TRUE(found == nullptr || Key(found) == k) << k;
    }
  }
  FreeDmaHolder(holder);
}

TEST(DmaKeys, FreeingClearsSelfAndTheBlockComesBackClean) {
  DmaHolder* holder = AllocDmaHolder();
  SetSelf(holder);
  *holder = {holder->self, 4, 0, nullptr, 9, 0, holder, holder};
  FreeDmaHolder(holder);
  EXPECT_EQ(HolderSelf(*holder), 0);
  EXPECT_EQ(KeyToCPtr(Key(holder)), holder);  // still a block, but no longer valid
  FreeDmaHolder(nullptr);
  DmaHolder* again = AllocDmaHolder();
  ASSERT_EQ(again, holder);
  EXPECT_EQ(std::make_tuple(again->elsetType, again->word24, again->attachA, again->attachB),
            std::make_tuple(0, 0, nullptr, nullptr));
  FreeDmaHolder(again);
}

TEST(DmaKeys, ConcurrentAllocFreeAndLookups) {
  std::atomic<bool> done{false};
  std::atomic<int64_t> recentKey{0};
  std::atomic<int> failures{0};
  std::thread checker([&] {  // keys near live holders, some of them being freed
    for (std::mt19937_64 random(3); !done.load();) {
      const int64_t near = recentKey.load() + 10 * static_cast<int64_t>(random() % 200) - 1000;
      const DmaHolder* found = KeyToCPtr(near);
      if (found != nullptr && (Key(found) != near || HolderSelf(*found) % 8 != 0)) ++failures;
    }
  });
  std::vector<std::thread> workers;
  for (int t = 0; t < 4; ++t) {
    workers.emplace_back([&] {
      std::deque<DmaHolder*> live;
      for (int i = 0; i < 50'000; ++i) {  // several slabs' worth of holders
        DmaHolder* holder = AllocDmaHolder();
        if (HolderSelf(*holder) != 0 || KeyToCPtr(Key(holder)) != holder) ++failures;
        SetSelf(holder);
        recentKey.store(Key(holder));
        live.push_back(holder);
        if (i % 3 == 2) {
          FreeDmaHolder(live.front());
          live.pop_front();
        }
      }
      for (DmaHolder* holder : live) {
        if (HolderSelf(*holder) != Key(holder) / 10) ++failures;  // handed out twice
        FreeDmaHolder(holder);
      }
    });
  }
  for (auto& worker : workers) worker.join();
  done.store(true);
  checker.join();
  EXPECT_EQ(failures.load(), 0);
}

}  // namespace
}  // namespace quorb
