// The vector store at a million vectors: adding in file order, finding and
// copying in random order, counting, and resident memory per stored vector.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "Quorb/QuorbTree.h"
#include "quorb/quorb.h"
#include "quorb/quorb_services.h"

namespace quorb {
namespace {

constexpr int kVectors = 1000000;

// Satellite numbers in file order, a few epochs each.
std::vector<QuorbRecord> MakeRecords() {
  std::vector<QuorbRecord> records(kVectors);
  for (int i = 0; i < kVectors; ++i) {
    QuorbRecord& rec = records[i];
    rec.satNum = 10000 + i / 4;
    char epoch[18];
    std::snprintf(epoch, sizeof epoch, "25%03d%02d0000.000", 1 + i % 4 * 90, i % 24);
    SetText(rec.epochDtg, epoch);
    rec.pos[0] = 7000.0 + i;
    rec.vel[1] = 7500.0;
    SetText(rec.coordSys, "MMJ2K");
  }
  return records;
}

long ResidentBytes() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0;
  long resident = 0;
  statm >> pages >> resident;
  return resident * 4096;
}

void BM_AddVectors(benchmark::State& state) {
  const std::vector<QuorbRecord> records = MakeRecords();
  // Resident memory is measured on the first fill only: later fills reuse
  // what the emptied store gave back to the allocator.
  double bytesPerVector = 0;
  for (auto _ : state) {
    state.PauseTiming();
    QuorbEmptyTree();
    const long before = ResidentBytes();
    state.ResumeTiming();
    for (const QuorbRecord& rec : records) benchmark::DoNotOptimize(AddQuorbToMem(rec));
    state.PauseTiming();
    if (bytesPerVector == 0) {
      bytesPerVector = static_cast<double>(ResidentBytes() - before) / kVectors;
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kVectors);
  state.counters["rss_bytes_per_vector"] = bytesPerVector;
  QuorbEmptyTree();
}
BENCHMARK(BM_AddVectors)->Unit(benchmark::kMillisecond)->Iterations(2);

void FillStore() {
  QuorbEmptyTree();
  for (const QuorbRecord& rec : MakeRecords()) AddQuorbToMem(rec);
}

void BM_FindAndCopy(benchmark::State& state) {
  FillStore();
  std::vector<int64_t> keys = QuorbGetTreeKeys(2);
  std::shuffle(keys.begin(), keys.end(), std::mt19937_64(1));
  // Every field a host asks for, through the export hosts call.
  double pos[3], vel[3], bTerm, agom, thrust;
  char secClass, intlDesig[8], epoch[17], coordSys[5];
  int32_t satNum, revNum, elsetNum;
  std::size_t next = 0;
  for (auto _ : state) {
    QuorbGetAllFields(keys[next], pos, vel, &secClass, &satNum, intlDesig, epoch, &revNum,
                      &elsetNum, &bTerm, &agom, &thrust, coordSys);
    benchmark::DoNotOptimize(pos[0]);
    if (++next == keys.size()) next = 0;
  }
  state.SetItemsProcessed(state.iterations());
  QuorbEmptyTree();
}
BENCHMARK(BM_FindAndCopy);

void BM_Count(benchmark::State& state) {
  FillStore();
  for (auto _ : state) benchmark::DoNotOptimize(QuorbGetNumOfTreeNodes());
  state.SetItemsProcessed(state.iterations());
  QuorbEmptyTree();
}
BENCHMARK(BM_Count);

}  // namespace
}  // namespace quorb
