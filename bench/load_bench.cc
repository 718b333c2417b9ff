// Loading and saving a file of 1,000,000 card sets, set against the time it
// takes merely to read the file's lines.
//
//   load_bench --benchmark_counters_tabular=true
//
// load_over_read is the load time divided by the line-reading time of the
// same file. Loads are timed one per repetition and reported as their median
// and best (the lowest of each column): on a virtual machine a load now and
// then waits for the host to back fresh memory, and a mean would carry those
// stalls. items_per_second, where shown, is card sets per second.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Quorb/QuorbFileLoading.h"
#include "Quorb/QuorbTree.h"
#include "Services/FileUnits.h"
#include "card_file_generator.h"

namespace quorb::bench {
namespace {

constexpr int64_t kCardSets = 1'000'000;
constexpr int32_t kReadUnit = 3;
constexpr int kLoadRepetitions = 7;

using Clock = std::chrono::steady_clock;

// The generated files, made once per run in a directory of their own and
// removed at exit.
class BenchFiles {
 public:
  static const BenchFiles& Get() {
    static const BenchFiles files;
    return files;
  }

  std::string Path(const char* name) const { return (dir_ / name).string(); }
  const std::string& catalog() const { return catalog_; }
  const std::string& shuffled() const { return shuffled_; }
  bool ok() const { return ok_; }

  ~BenchFiles() { std::filesystem::remove_all(dir_); }

 private:
  BenchFiles() {
    std::string pattern = (std::filesystem::temp_directory_path() / "quorb-bench-XXXXXX").string();
    ok_ = mkdtemp(pattern.data()) != nullptr;
    dir_ = pattern;
    catalog_ = Path("catalog.txt");
    shuffled_ = Path("shuffled.txt");
    ok_ = ok_ && WriteCardFile(catalog_, kCardSets, CardOrder::kCatalog) &&
          WriteCardFile(shuffled_, kCardSets, CardOrder::kShuffled);
    // Written back now, so that the system's writeback does not take a core
    // from the timed loads.
    sync();
  }

  std::filesystem::path dir_;
  std::string catalog_;
  std::string shuffled_;
  bool ok_ = false;
};

// Mean seconds of one pass, per file, from the benchmarks run so far.
double readSeconds = 0.0;

double Seconds(Clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

int64_t ReadAllLines(const std::string& path) {
  if (FileOpen(kReadUnit, path, kFileModeRead) != 0) return -1;
  Line line;
  int64_t lines = 0;
  while (UnitReadLine(kReadUnit, line)) ++lines;
  UnitClose(kReadUnit);
  return lines;
}

void BM_ReadLines(benchmark::State& state) {
  const BenchFiles& files = BenchFiles::Get();
  if (!files.ok()) return state.SkipWithError("cannot write the card file");
  Clock::duration total{};
  for (auto _ : state) {
    const auto start = Clock::now();
    benchmark::DoNotOptimize(ReadAllLines(files.catalog()));
    total += Clock::now() - start;
  }
  readSeconds = Seconds(total) / static_cast<double>(state.iterations());
  state.SetItemsProcessed(state.iterations() * kCardSets);
}

// Loads path once per iteration into an empty store. One load before the
// timing: on a virtual machine, the first touch of memory that the host
// took back while the guest was idle costs several times a normal page
// fault, and that is the host's time, not the load's.
void RunLoad(benchmark::State& state, const std::string& path) {
  QuorbEmptyTree();
  QuorbLoadFileText(MakeText<kLineLength>(path));
  QuorbEmptyTree();
  Clock::duration total{};
  for (auto _ : state) {
    const auto start = Clock::now();
    const int32_t status = QuorbLoadFileText(MakeText<kLineLength>(path));
    total += Clock::now() - start;
    state.PauseTiming();
    const int32_t stored = QuorbGetNumOfTreeNodes();
    QuorbEmptyTree();
    state.ResumeTiming();
    if (status != 0 || stored != kCardSets) return state.SkipWithError("the load lost vectors");
  }
  if (readSeconds > 0.0) {
    state.counters["load_over_read"] =
        Seconds(total) / static_cast<double>(state.iterations()) / readSeconds;
  }
}

void BM_LoadCatalogOrder(benchmark::State& state) {
  const BenchFiles& files = BenchFiles::Get();
  if (!files.ok()) return state.SkipWithError("cannot write the card file");
  RunLoad(state, files.catalog());
}

void BM_LoadShuffled(benchmark::State& state) {
  const BenchFiles& files = BenchFiles::Get();
  if (!files.ok()) return state.SkipWithError("cannot write the card file");
  RunLoad(state, files.shuffled());
}

void BM_Save(benchmark::State& state) {
  const BenchFiles& files = BenchFiles::Get();
  if (!files.ok()) return state.SkipWithError("cannot write the card file");
  QuorbEmptyTree();
  if (QuorbLoadFileText(MakeText<kLineLength>(files.catalog())) != 0) {
    return state.SkipWithError("cannot load the card file");
  }
  const std::string savePath = files.Path("saved.txt");
  const Line saveFile = MakeText<kLineLength>(savePath);
  for (auto _ : state) {
    // A new file each time: truncating the last one would wait for its
    // pages to reach the disk, which no single save has to do.
    state.PauseTiming();
    std::filesystem::remove(savePath);
    state.ResumeTiming();
    if (QuorbSaveFileText(saveFile, 0) != 0) return state.SkipWithError("cannot save");
  }
  state.SetItemsProcessed(state.iterations() * kCardSets);
  QuorbEmptyTree();
}

// The "best" statistic: the lowest of a column over the repetitions.
double Best(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

// A load a repetition, reported as the repetitions' statistics only.
void LoadRuns(benchmark::internal::Benchmark* run) {
  run->Unit(benchmark::kMillisecond)
      ->UseRealTime()
      ->Iterations(1)
      ->Repetitions(kLoadRepetitions)
      ->ComputeStatistics("best", Best)
      ->ReportAggregatesOnly(true);
}

BENCHMARK(BM_ReadLines)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_LoadCatalogOrder)->Apply(LoadRuns);
BENCHMARK(BM_LoadShuffled)->Apply(LoadRuns);
BENCHMARK(BM_Save)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace
}  // namespace quorb::bench
