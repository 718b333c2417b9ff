// Host threads calling every kind of export at once for a bounded time
// (QUORB_SOAK_SECONDS, default 3): adds from lines, fields and arrays in
// both key modes, updates by fields, by array and by field text, removes,
// loads of card-set files, saves, key listings, counts and reads.
//
// The key mode is process-wide, so the run is cut into phases: between two
// phases every thread waits at a barrier while the key mode is changed, in
// turn through the element-set and the all-types setters. Direct-address
// vectors are read without the store's lock, so each thread reads, updates
// and removes only the vectors it added; walks of the whole store (listings,
// counts, saves, look-ups by satellite number) run on everything. Each
// thread owns a range of satellite numbers and keeps a model of what it
// stored; at the end the store holds exactly the models' vectors, each with
// the values last written.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "quorb/quorb.h"
#include "support/HostFields.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kThreads = 4;
constexpr auto kPhaseLength = std::chrono::milliseconds(150);
constexpr int64_t kFirstComposedKey = int64_t{1} << 62;
// Satellite numbers of thread t are kSatsPerThread * t + 1 and up; all of
// them have an Alpha-5 form, so every vector can travel as a card set.
constexpr int32_t kSatsPerThread = 80'000;
// Vectors a thread keeps at most; it removes instead of adding beyond that.
constexpr std::size_t kMaxOwned = 120;
constexpr int kVectorsPerFile = 3;
// The most vectors the store can hold at any moment, loads in progress
// included: a key listing needs room for all of them.
constexpr std::size_t kMaxStored = kThreads * (kMaxOwned + kVectorsPerFile);
constexpr int kArraySize = 155;
// Days since 1950 of 2025 Jan 1 00:00.
constexpr double kDs50Of2025 = 27395.0;

bool IsDirectKey(int64_t key) {
  return key > 0 && key < kFirstComposedKey;
}

std::chrono::milliseconds SoakTime() {
  const char* seconds = std::getenv("QUORB_SOAK_SECONDS");
  return std::chrono::milliseconds(
      static_cast<int64_t>(1000 * (seconds != nullptr ? std::atof(seconds) : 3.0)));
}

std::string Trimmed(const char* text, std::size_t n) {
  const std::string s(text, n);
  const std::size_t end = s.find_last_not_of(' ');
  const std::size_t begin = s.find_first_not_of(' ');
  return end == std::string::npos ? std::string() : s.substr(begin, end - begin + 1);
}

// How a vector's epoch text is held: card sets carry it right-aligned in its
// 17 columns, fields and arrays left-aligned.
enum class EpochAlign { kRight, kLeft };

// What a thread knows it stored under one key.
struct Vector {
  int32_t satNum = 0;
  int day = 1;  // of 2025
  int hour = 0;
  EpochAlign align = EpochAlign::kLeft;
  double pos[3] = {};
  double vel[3] = {};
  char secClass = 'U';
  std::string intlDesig = "        ";
  int32_t revNum = 0;
  int32_t elsetNum = 0;
  double bTerm = 0;
  double agom = 0;
  double inTrackThrust = 0;
  std::string coordSys = "     ";
  int64_t addOrder = 0;

  // YYDDDHHMMSS.SSS
  std::string Epoch15() const {
    char text[16];
    std::snprintf(text, sizeof text, "25%03d%02d0000.000", day, hour);
    return text;
  }
  std::string HeldEpoch() const {
    return align == EpochAlign::kRight ? "  " + Epoch15() : Epoch15() + "  ";
  }
  double Ds50() const { return kDs50Of2025 + (day - 1) + hour / 24.0; }
  double CoordSysCode() const {
    if (coordSys == "TMDAT" || coordSys == "TMEPO") return 1;
    if (coordSys == "MMB50" || coordSys == "MMJ2K") return 2;
    return 0;
  }
};

std::string PaddedText(const char* text, std::size_t n) {
  std::string s(text);
  s.resize(n, ' ');
  return s;
}

// The card set of v, made by the library's own writer.
std::pair<std::string, std::string> CardSet(const Vector& v) {
  char line1[512];
  char line2[512];
  QuorbFieldsToLines(v.pos, v.vel, v.secClass, v.satNum, v.intlDesig.c_str(), v.Epoch15().c_str(),
                     v.revNum, v.elsetNum, v.bTerm, v.agom, v.inTrackThrust, v.coordSys.c_str(),
                     line1, line2);
  return {std::string(line1, 80), std::string(line2, 80)};
}

std::array<double, kArraySize> ArrayOf(const Vector& v) {
  std::array<double, kArraySize> xa{};
  xa[0] = v.satNum;
  xa[1] = v.Ds50();
  xa[2] = v.revNum;
  xa[3] = v.elsetNum;
  xa[4] = v.bTerm;
  xa[5] = v.agom;
  xa[6] = v.inTrackThrust;
  xa[7] = v.CoordSysCode();
  std::copy(v.pos, v.pos + 3, xa.begin() + 20);
  std::copy(v.vel, v.vel + 3, xa.begin() + 23);
  return xa;
}

std::string CompanionText(const Vector& v) {
  return v.secClass + v.intlDesig;
}

// The kinds of call a thread makes, and how often each is picked.
enum Call {
  kAddByLines,
  kAddByFields,
  kAddByArray,
  kLoadFile,
  kRemove,
  kUpdateByFields,
  kUpdateByArray,
  kSetField,
  kSave,
  kListKeys,
  kRead,
  kCallKinds
};
constexpr double kCallWeights[kCallKinds] = {2, 2, 2, 1, 3, 2, 2, 2, 1, 1, 2};
using CallCounts = std::array<int, kCallKinds>;

bool IsAdd(Call call) {
  return call <= kLoadFile;
}

// The phase state every thread reads after the barrier.
struct Phases {
  std::atomic<int> number{0};
  std::atomic<bool> direct{false};
  std::atomic<bool> finished{false};
  std::atomic<Clock::time_point> deadline{};
  Clock::time_point end;

  // Sets the key mode of the next phase, in turn: composed keys by the
  // element-set mode, direct keys by it, direct keys by the all-types mode
  // over a composed element-set mode, composed keys by the all-types mode
  // over a direct element-set mode.
  void Next() {
    const int phase = number.fetch_add(1) + 1;
    switch (phase % 4) {
      case 0:
        AllKeyModeClear();
        ElsetKeyModeSet(0);
        break;
      case 1:
        ElsetKeyModeSet(1);
        break;
      case 2:
        ElsetKeyModeSet(0);
        AllKeyModeSet(1);
        break;
      default:
        ElsetKeyModeSet(1);
        AllKeyModeSet(0);
    }
    direct = phase % 4 == 1 || phase % 4 == 2;
    const Clock::time_point now = Clock::now();
    deadline = now + kPhaseLength;
    // Every way of setting the key mode gets at least one phase.
    finished = now >= end && phase > 4;
  }
};

class SoakWorker {
 public:
  SoakWorker(int id, std::filesystem::path dir)
      : id_(id),
        rng_(1000 + id),
        nextSat_(kSatsPerThread * id + 1),
        loadPath_(dir / ("load" + std::to_string(id) + ".txt")),
        savePath_(dir / ("save" + std::to_string(id) + ".txt")) {}

  const std::map<int64_t, Vector>& model() const { return model_; }
  bool failed() const { return failed_; }
  const CallCounts& calls() const { return calls_; }
  int directAdds() const { return directAdds_; }
  int composedAdds() const { return composedAdds_; }

  // Runs random calls until the deadline, adding with the given key kind.
  void RunPhase(Clock::time_point deadline, bool direct) {
    direct_ = direct;
    while (!failed_ && Clock::now() < deadline) RunOneCall();
  }

  // Every reader gives the values last written.
  void ReadBack(int64_t key);

 private:
  void RunOneCall() {
    Call call = static_cast<Call>(pickCall_(rng_));
    if (model_.empty() && !IsAdd(call)) call = kAddByLines;
    if (IsAdd(call) && !CanAdd()) {
      if (model_.empty()) return;
      call = kRemove;
    }
    ++calls_[call];
    switch (call) {
      case kAddByLines:
        AddByLines();
        break;
      case kAddByFields:
        AddByFields();
        break;
      case kAddByArray:
        AddByArray();
        break;
      case kLoadFile:
        LoadFile();
        break;
      case kRemove:
        Remove();
        break;
      case kUpdateByFields:
        UpdateByFields();
        break;
      case kUpdateByArray:
        UpdateByArray();
        break;
      case kSetField:
        SetOneField();
        break;
      case kSave:
        Save();
        break;
      case kListKeys:
        ListKeys();
        break;
      default:
        ReadBack(RandomKey());
    }
  }

  bool CanAdd() const {
    return model_.size() < kMaxOwned && nextSat_ + kVectorsPerFile <= kSatsPerThread * (id_ + 1);
  }

  bool Check(bool ok, const std::string& what) {
    if (!ok) {
      ADD_FAILURE() << "thread " << id_ << ": " << what;
      failed_ = true;
    }
    return ok;
  }

  int64_t RandomKey() {
    auto it = model_.begin();
    std::advance(it, rng_() % model_.size());
    return it->first;
  }

  // Values that every path stores exactly: positions and velocities in
  // sixteenths (4 decimals on the cards), force-model terms in 64ths (a few
  // digits in 10 columns).
  double Sixteenths(int range) {
    return static_cast<int>(rng_() % (2 * range)) - range + (rng_() % 16) / 16.0;
  }
  double Sixty4ths() { return static_cast<int>(rng_() % 64) / 64.0; }

  void RandomState(Vector& v, bool arrayCoordSys) {
    for (double& x : v.pos) x = Sixteenths(40000);
    for (double& x : v.vel) x = Sixteenths(8000);
    v.secClass = " CSU"[rng_() % 4];
    char designator[9];
    std::snprintf(designator, sizeof designator, "%02u%03u%c", static_cast<unsigned>(rng_() % 100),
                  static_cast<unsigned>(rng_() % 1000), static_cast<char>('A' + rng_() % 26));
    v.intlDesig = PaddedText(designator, 8);
    v.revNum = static_cast<int32_t>(rng_() % 100000);
    v.elsetNum = static_cast<int32_t>(rng_() % 10000);
    v.bTerm = Sixty4ths();
    v.agom = Sixty4ths();
    v.inTrackThrust = Sixty4ths();
    // The array form knows only TMDAT, MMJ2K and blanks.
    static const char* const kAll[] = {"MMJ2K", "TMDAT", "TMEPO", "MMB50", "     "};
    static const char* const kArray[] = {"MMJ2K", "TMDAT", "     "};
    v.coordSys = arrayCoordSys ? kArray[rng_() % 3] : kAll[rng_() % 5];
  }

  Vector NewVector(EpochAlign align, bool arrayCoordSys) {
    Vector v;
    v.satNum = nextSat_++;
    v.day = 1 + static_cast<int>(rng_() % 365);
    v.hour = static_cast<int>(rng_() % 24);
    v.align = align;
    RandomState(v, arrayCoordSys);
    return v;
  }

  void Keep(int64_t key, Vector v) {
    if (!Check(key > 0, "add failed for satellite " + std::to_string(v.satNum))) return;
    Check(IsDirectKey(key) == direct_, "key " + std::to_string(key) + " of the wrong kind");
    v.addOrder = addOrder_++;
    model_[key] = v;
    ++(IsDirectKey(key) ? directAdds_ : composedAdds_);
  }

  void AddByLines() {
    const Vector v = NewVector(EpochAlign::kRight, false);
    const auto [line1, line2] = CardSet(v);
    Keep(QuorbAddSatFrLines(line1.c_str(), line2.c_str()), v);
  }

  void AddByFields() {
    const Vector v = NewVector(EpochAlign::kLeft, false);
    Keep(QuorbAddSatFrFields(v.pos, v.vel, v.secClass, v.satNum, v.intlDesig.c_str(),
                             v.Epoch15().c_str(), v.revNum, v.elsetNum, v.bTerm, v.agom,
                             v.inTrackThrust, v.coordSys.c_str()),
         v);
  }

  void AddByArray() {
    const Vector v = NewVector(EpochAlign::kLeft, true);
    Keep(QuorbAddSatFrArray(ArrayOf(v).data(), CompanionText(v).c_str()), v);
  }

  // A file of new card sets, a maneuver card after the first; the keys are
  // found by satellite number.
  void LoadFile() {
    std::vector<Vector> vectors;
    std::string content = "* card sets of thread " + std::to_string(id_) + "\n";
    for (int i = 0; i < kVectorsPerFile; ++i) {
      vectors.push_back(NewVector(EpochAlign::kRight, false));
      const auto [line1, line2] = CardSet(vectors.back());
      content += line1 + "\n" + line2 + "\n";
      if (i == 0) content += std::string(78, ' ') + "1M\n";
    }
    std::ofstream(loadPath_) << content;
    if (!Check(QuorbLoadFile(loadPath_.c_str()) == 0, "load failed")) return;
    char totals[128];
    TraceLogLastInfo(totals, sizeof totals);
    Check(std::string(totals) == "Total Quorbs = 3, Loaded = 3, Dup = 0, Bad = 0",
          std::string("load totals: ") + totals);
    for (const Vector& v : vectors) Keep(QuorbGetSatKey(v.satNum), v);
  }

  void Remove() {
    const int64_t key = RandomKey();
    if (!Check(QuorbRemoveSat(key) == 0, "remove of " + std::to_string(key))) return;
    model_.erase(key);
    // A removed holder may go at once to another thread's vector, so only a
    // composed key is sure to be gone for good.
    if (!IsDirectKey(key)) {
      char value[512];
      Check(QuorbGetField(key, 1, value) == 2, "removed key still found");
    }
  }

  void UpdateByFields() {
    const int64_t key = RandomKey();
    Vector& v = model_[key];
    RandomState(v, false);
    Check(QuorbUpdateSatFrFields(key, v.pos, v.vel, v.secClass, v.intlDesig.c_str(), v.revNum,
                                 v.elsetNum, v.bTerm, v.agom, v.inTrackThrust,
                                 v.coordSys.c_str()) == 0,
          "update by fields");
  }

  void UpdateByArray() {
    const int64_t key = RandomKey();
    Vector& v = model_[key];
    RandomState(v, true);
    std::array<double, kArraySize> xa = ArrayOf(v);
    // The key fields of an update are ignored.
    xa[0] = 1;
    xa[1] = 0;
    Check(QuorbUpdateSatFrArray(key, xa.data(), CompanionText(v).c_str()) == 0, "update by array");
  }

  void SetOneField() {
    const int64_t key = RandomKey();
    Vector& v = model_[key];
    char text[64];
    int32_t index = 0;
    switch (rng_() % 6) {
      case 0:
        index = 1 + static_cast<int32_t>(rng_() % 3);
        v.pos[index - 1] = Sixteenths(40000);
        std::snprintf(text, sizeof text, "%.4f", v.pos[index - 1]);
        break;
      case 1:
        index = 4 + static_cast<int32_t>(rng_() % 3);
        v.vel[index - 4] = Sixteenths(8000);
        std::snprintf(text, sizeof text, "  %.4f", v.vel[index - 4]);
        break;
      case 2:
        index = 12;
        v.revNum = static_cast<int32_t>(rng_() % 100000);
        std::snprintf(text, sizeof text, "%d", v.revNum);
        break;
      case 3:
        index = 15;
        v.agom = Sixty4ths();
        std::snprintf(text, sizeof text, "%.6f", v.agom);
        break;
      case 4:
        index = 10;
        v.intlDesig = "12345B  ";
        std::snprintf(text, sizeof text, "  12345B");
        break;
      default:
        index = 17;
        v.coordSys = "TMEPO";
        std::snprintf(text, sizeof text, "TMEPO");
    }
    Check(QuorbSetField(key, index, text) == 0, "set field " + std::to_string(index));
  }

  // The saved file holds the card set of every vector of this thread.
  void Save() {
    if (!Check(QuorbSaveFile(savePath_.c_str(), 0) == 0, "save failed")) return;
    std::set<std::string> lines;
    std::ifstream in(savePath_);
    for (std::string line; std::getline(in, line);) lines.insert(line);
    for (const auto& [key, v] : model_) {
      char line1[512];
      char line2[512];
      if (!Check(QuorbGetLines(key, line1, line2) == 0, "lines of a stored vector")) return;
      const std::string card1 = std::string(line1, 80);
      const std::string card2 = std::string(line2, 80);
      Check(lines.contains(card1.substr(0, card1.find_last_not_of(' ') + 1)) &&
                lines.contains(card2.substr(0, card2.find_last_not_of(' ') + 1)),
            "saved file lacks satellite " + std::to_string(v.satNum));
    }
  }

  // Every listing holds this thread's keys once each, in the order asked.
  void ListKeys() {
    const int32_t order = static_cast<int32_t>(rng_() % 4);
    Check(QuorbGetCount() >= static_cast<int32_t>(model_.size()), "count below own vectors");
    std::vector<int64_t> keys(kMaxStored, 0);
    QuorbGetLoaded(order, keys.data());
    std::vector<int64_t> own;
    for (const int64_t key : keys) {
      if (model_.contains(key)) own.push_back(key);
    }
    if (!Check(own.size() == model_.size() &&
                   std::set<int64_t>(own.begin(), own.end()).size() == own.size(),
               "listing " + std::to_string(order) + " lacks or repeats own keys")) {
      return;
    }
    // Own satellite numbers grow with each addition, so orders 0 and 2
    // (satellite, load) both follow the order of addition.
    const auto added = [this](int64_t a, int64_t b) {
      return model_.at(a).addOrder < model_.at(b).addOrder;
    };
    bool ordered = false;
    if (order == 0 || order == 2) ordered = std::is_sorted(own.begin(), own.end(), added);
    if (order == 1) ordered = std::is_sorted(own.rbegin(), own.rend(), added);
    if (order == 3) ordered = std::is_sorted(own.begin(), own.end());
    Check(ordered, "listing " + std::to_string(order) + " out of order");
    const auto some = model_.begin();
    Check(QuorbGetSatKey(some->second.satNum) == some->first, "key by satellite number");
  }

 private:
  int id_;
  std::mt19937 rng_;
  int32_t nextSat_;
  std::filesystem::path loadPath_;
  std::filesystem::path savePath_;
  bool direct_ = false;
  bool failed_ = false;
  int64_t addOrder_ = 0;
  std::map<int64_t, Vector> model_;
  std::discrete_distribution<int> pickCall_{std::begin(kCallWeights), std::end(kCallWeights)};
  CallCounts calls_{};
  int directAdds_ = 0;
  int composedAdds_ = 0;
};

void SoakWorker::ReadBack(int64_t key) {
  const Vector& v = model_.at(key);
  const std::string name = "satellite " + std::to_string(v.satNum) + ": ";
  const quorb::testing::HostFields f = quorb::testing::GetAllFields(key);
  if (!Check(f.status == 0, name + "fields")) return;
  Check(std::equal(f.pos, f.pos + 3, v.pos) && std::equal(f.vel, f.vel + 3, v.vel) &&
            f.secClass == v.secClass && f.satNum == v.satNum &&
            std::string(f.intlDesig, 8) == v.intlDesig &&
            std::string(f.epochDtg, 17) == v.HeldEpoch() && f.revNum == v.revNum &&
            f.elsetNum == v.elsetNum && f.bTerm == v.bTerm && f.agom == v.agom &&
            f.inTrackThrust == v.inTrackThrust && std::string(f.coordSys, 5) == v.coordSys,
        name + "fields differ");

  std::array<double, kArraySize> xa{};
  char xs[512];
  if (!Check(QuorbDataToArray(key, xa.data(), xs) == 0, name + "array")) return;
  std::array<double, kArraySize> expected = ArrayOf(v);
  Check(std::equal(expected.begin(), expected.begin() + 26, xa.begin()) &&
            std::string(xs, 9) == CompanionText(v),
        name + "array differs");

  char line1[512];
  char line2[512];
  if (!Check(QuorbGetLines(key, line1, line2) == 0, name + "lines")) return;
  Check(std::make_pair(std::string(line1, 80), std::string(line2, 80)) == CardSet(v),
        name + "lines differ");

  char value[512];
  Check(QuorbGetField(key, 11, value) == 0 && Trimmed(value, 512) == v.Epoch15(),
        name + "epoch field");
}

class QuorbSoakThreadsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetStoreAndModes();
    std::string pattern = (std::filesystem::temp_directory_path() / "quorb-soak-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }

  void TearDown() override {
    ResetStoreAndModes();
    std::filesystem::remove_all(dir_);
  }

  static void ResetStoreAndModes() {
    QuorbRemoveAllSats();
    AllKeyModeClear();
    ElsetKeyModeSet(0);
    DupKeyModeSet(0);
  }

  std::filesystem::path dir_;
};

TEST_F(QuorbSoakThreadsTest, EveryKindOfCallAtOnceLosesNothing) {
  std::vector<SoakWorker> workers;
  for (int id = 0; id < kThreads; ++id) workers.emplace_back(id, dir_);
  Phases phases;
  phases.end = Clock::now() + SoakTime();
  phases.Next();
  std::barrier barrier(kThreads, [&phases]() noexcept { phases.Next(); });
  std::vector<std::thread> threads;
  for (SoakWorker& worker : workers) {
    threads.emplace_back([&worker, &phases, &barrier] {
      while (!phases.finished) {
        worker.RunPhase(phases.deadline, phases.direct);
        barrier.arrive_and_wait();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  CallCounts calls{};
  int directAdds = 0;
  int composedAdds = 0;
  std::set<int64_t> modelled;
  for (SoakWorker& worker : workers) {
    ASSERT_FALSE(worker.failed());
    for (int kind = 0; kind < kCallKinds; ++kind) calls[kind] += worker.calls()[kind];
    directAdds += worker.directAdds();
    composedAdds += worker.composedAdds();
    for (const auto& [key, v] : worker.model()) {
      modelled.insert(key);
      worker.ReadBack(key);
    }
  }
  for (int kind = 0; kind < kCallKinds; ++kind) EXPECT_GT(calls[kind], 0) << "call kind " << kind;
  EXPECT_GT(directAdds, 0);
  EXPECT_GT(composedAdds, 0);
  std::printf("soak: %d calls, %d vectors added under direct keys, %d under composed keys\n",
              std::accumulate(calls.begin(), calls.end(), 0), directAdds, composedAdds);
  std::vector<int64_t> stored(QuorbGetCount());
  ASSERT_EQ(stored.size(), modelled.size());
  if (!stored.empty()) QuorbGetLoaded(3, stored.data());
  EXPECT_EQ(std::set<int64_t>(stored.begin(), stored.end()), modelled);
}

}  // namespace
