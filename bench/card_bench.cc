// Reading and writing one card set: the cost of every vector that enters or
// leaves the store as text. Each benchmark cycles through a batch of
// different vectors so that no single card's branches are learnt by heart.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "Quorb/QuorbCardReading.h"

namespace quorb {
namespace {

constexpr std::size_t kBatch = 64;

const Line kLine1 = MakeText<kLineLength>(
    "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P");
const Line kLine2 = MakeText<kLineLength>(
    "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P");

// Vectors around the sample card set, each with its own values.
std::vector<QuorbRecord> SampleRecords() {
  QuorbRecord base;
  if (Lines2Quorb(kLine1, kLine2, base) != 0) return {};
  std::mt19937_64 rng(1);
  std::uniform_real_distribution<double> factor(-1.5, 1.5);
  std::uniform_int_distribution<int> count(0, 9999);
  std::vector<QuorbRecord> records(kBatch, base);
  for (QuorbRecord& rec : records) {
    for (int i = 0; i < 3; ++i) {
      rec.pos[i] *= factor(rng);
      rec.vel[i] *= factor(rng);
    }
    rec.satNum = count(rng) * 30;
    rec.revNum = count(rng) * 90;
    rec.elsetNum = count(rng);
    rec.bTerm = count(rng) / 1e5;
    rec.agom = count(rng) / 1e4;
  }
  return records;
}

void BM_Lines2Quorb(benchmark::State& state) {
  const std::vector<QuorbRecord> records = SampleRecords();
  std::vector<Line> lines1(kBatch), lines2(kBatch);
  QuorbRecord rec;
  for (std::size_t i = 0; i < records.size(); ++i) {
    Quorb2Lines(records[i], lines1[i], lines2[i]);
    if (Lines2Quorb(lines1[i], lines2[i], rec) != 0) {
      state.SkipWithError("a sample card set does not read back");
      return;
    }
  }
  if (records.empty()) {
    state.SkipWithError("the sample card set does not read");
    return;
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Lines2Quorb(lines1[i], lines2[i], rec));
    benchmark::ClobberMemory();
    i = (i + 1) % kBatch;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Lines2Quorb);

void BM_Quorb2Lines(benchmark::State& state) {
  const std::vector<QuorbRecord> records = SampleRecords();
  if (records.empty()) {
    state.SkipWithError("the sample card set does not read");
    return;
  }
  Line line1, line2;
  std::size_t i = 0;
  for (auto _ : state) {
    Quorb2Lines(records[i], line1, line2);
    benchmark::DoNotOptimize(line1);
    benchmark::DoNotOptimize(line2);
    i = (i + 1) % kBatch;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Quorb2Lines);

}  // namespace
}  // namespace quorb
