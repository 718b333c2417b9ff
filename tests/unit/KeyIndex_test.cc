#include "Quorb/KeyIndex.h"

#include <gtest/gtest.h>

#include <random>
#include <unordered_map>
#include <vector>

namespace quorb {
namespace {

// Mixed sets and erases against std::unordered_map, with keys crowded into
// few home slots so that probe runs wrap and shift back on erase.
TEST(KeyIndexTest, MatchesAMapUnderSetsAndErases) {
  std::vector<QuorbRecord> records(64);
  std::unordered_map<int64_t, QuorbRecord*> model;
  KeyIndex index;
  std::mt19937_64 rng(3);
  const int64_t base = int64_t{1} << 62;
  for (int step = 0; step < 200000; ++step) {
    // Two key families: consecutive seconds, and multiples of 2^32.
    const int64_t key = base + (rng() % 2 ? rng() % 3000 : (rng() % 3000) << 32);
    if (rng() % 3 == 0) {
      index.Erase(key);
      model.erase(key);
    } else {
      QuorbRecord* rec = &records[rng() % records.size()];
      index.Prefetch(key);
      index.Set(key, rec);
      model[key] = rec;
    }
    if (step % 1000 == 0) {
      for (const auto& [k, rec] : model) ASSERT_EQ(index.Find(k), rec) << "step " << step;
    }
    const int64_t probe = base + static_cast<int64_t>(rng() % 3000);
    const auto found = model.find(probe);
    ASSERT_EQ(index.Find(probe), found == model.end() ? nullptr : found->second);
  }
  index.Clear();
  for (const auto& [k, rec] : model) EXPECT_EQ(index.Find(k), nullptr);
}

}  // namespace
}  // namespace quorb
