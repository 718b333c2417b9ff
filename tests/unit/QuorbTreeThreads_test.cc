// Store access from many threads at once; run under ThreadSanitizer in CI.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <thread>
#include <vector>

#include "Quorb/QuorbTree.h"
#include "Services/DmaKeys.h"
#include "quorb/quorb_services.h"

namespace quorb {
namespace {

constexpr int kWriters = 3;
constexpr int kReaders = 3;
constexpr auto kRunTime = std::chrono::milliseconds(1500);

QuorbRecord MakeRecord(int32_t satNum, int day, double x) {
  QuorbRecord rec;
  rec.satNum = satNum;
  char epoch[18];
  std::snprintf(epoch, sizeof epoch, "25%03d120000.000", day);
  SetText(rec.epochDtg, epoch);
  rec.pos[0] = x;
  return rec;
}

// Each writer owns its satellites and keeps a model of what it stored.
void Writer(int id, std::atomic<bool>& stop, std::map<int64_t, double>& model) {
  std::mt19937 rng(id);
  int32_t nextSat = id * 100000;
  while (!stop.load()) {
    const unsigned action = rng() % 10;
    if (action < 5 || model.empty()) {
      const double x = rng() % 100000;
      const int64_t key = AddQuorbToMem(MakeRecord(nextSat++, 1 + rng() % 300, x));
      ASSERT_GT(key, 0);
      model[key] = x;
      continue;
    }
    auto it = model.begin();
    std::advance(it, rng() % model.size());
    if (action < 8) {
      QuorbRecord rec;
      QuorbFindRec(it->first, rec);
      ASSERT_EQ(rec.pos[0], it->second);
      rec.pos[0] += 1.0;
      ASSERT_EQ(QuorbUpdateRec(it->first, rec), 0);
      it->second = rec.pos[0];
    } else {
      ASSERT_EQ(QuorbRemoveNode(it->first), 0);
      model.erase(it);
    }
  }
}

void Reader(std::atomic<bool>& stop, bool findByKey) {
  std::mt19937 rng(99);
  while (!stop.load()) {
    const int32_t order = static_cast<int32_t>(rng() % 4);
    const std::vector<int64_t> keys = QuorbGetTreeKeys(order);
    const auto count = keys.size();
    // A list taken under one read is whole: in key order it has no gaps
    // or repeats a concurrent change could have left.
    if (order == 3) {
      ASSERT_EQ(std::adjacent_find(keys.begin(), keys.end(), std::greater_equal<>()), keys.end());
    }
    QuorbSatKeyGet(static_cast<int32_t>(rng() % (kWriters * 100000)));
    if (findByKey && count > 0) {
      QuorbRecord rec;
      QuorbFindRec(keys[rng() % count], rec);
      if (const QuorbRecord* ptr = QuorbFindRecPtr(keys[rng() % count])) {
        volatile double x = ptr->pos[0];
        (void)x;
      }
      QuorbEndRead();
    }
  }
}

class QuorbTreeThreadsTest : public ::testing::TestWithParam<int32_t> {
 protected:
  void SetUp() override {
    QuorbEmptyTree();
    DupKeyModeSet(0);
    ElsetKeyModeSet(GetParam());
  }
  void TearDown() override {
    QuorbEmptyTree();
    ElsetKeyModeSet(0);
  }
};

TEST_P(QuorbTreeThreadsTest, ConcurrentWritersAndReadersLoseNothing) {
  // Direct-address vectors are read without the store's protocol, so only
  // their owners read them; readers then stick to walks and counts.
  const bool dma = GetParam() == 1;
  std::atomic<bool> stop{false};
  std::vector<std::map<int64_t, double>> models(kWriters);
  std::vector<std::thread> threads;
  for (int i = 0; i < kWriters; ++i) {
    threads.emplace_back(Writer, i, std::ref(stop), std::ref(models[i]));
  }
  for (int i = 0; i < kReaders; ++i) threads.emplace_back(Reader, std::ref(stop), !dma);
  std::this_thread::sleep_for(kRunTime);
  stop = true;
  for (std::thread& thread : threads) thread.join();

  std::size_t total = 0;
  for (const auto& model : models) {
    total += model.size();
    for (const auto& [key, x] : model) {
      EXPECT_EQ(IsDMA(key), dma);
      QuorbRecord rec;
      QuorbFindRec(key, rec);
      EXPECT_EQ(rec.pos[0], x) << key;
    }
  }
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), static_cast<int32_t>(total));
  EXPECT_GT(total, 0u);
}

INSTANTIATE_TEST_SUITE_P(KeyModes, QuorbTreeThreadsTest, ::testing::Values(0, 1));

}  // namespace
}  // namespace quorb
