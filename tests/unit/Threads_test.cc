// Host threads at once: every kind of export checked against a model of
// what each thread stored, and a card pass that reads a large file ahead on
// a second thread, held against loads of the same cards read in one go.
// Run under ThreadSanitizer in CI.

#include "Quorb/CardEvents.h"
#include "Quorb/QuorbTree.h"
#include "support/StoreTest.h"

namespace quorb {
namespace {

using test::Card2P;
using test::CardSet;
using test::FieldsIn;
using test::k1P;
using test::ManeuverCard;
using test::Out;
using test::Totals;

constexpr int kThreads = 4;
constexpr int kCallsPerThread = 1000;
constexpr std::size_t kMaxOwned = 40;  // a thread removes rather than adds beyond this
constexpr int kSatsPerThread = 10000;
constexpr int kReadAheadSets = 1200;  // several batches of the card pass

// One host thread: its own satellite numbers, files and model.
class Worker {
 public:
  Worker(int id, const std::filesystem::path& dir)
      : rng_(id), nextSat_(id * kSatsPerThread + 1), path_(dir / std::to_string(id)) {}

  void Run() {
    for (int call = 0; call < kCallsPerThread && !::testing::Test::HasFailure(); ++call) {
      const unsigned pick = rng_() % 8;
      if (model_.empty() || (pick < 2 && model_.size() < kMaxOwned)) {
        Add();
      } else if (pick < 4) {
        Update(Any());
      } else if (pick == 4 || model_.size() >= kMaxOwned) {
        const auto it = Any();
        ASSERT_EQ(QuorbRemoveSat(it->first), 0);
        model_.erase(it);
      } else if (pick == 5) {
        LoadFile();
      } else if (pick == 6) {
        ListAndSave();
      } else {
        ReadBack(Any()->first);
      }
    }
  }

  void ReadBack(int64_t key) const {
    const FieldsIn& v = model_.at(key);
    char line1[512], line2[512];
    ASSERT_EQ(QuorbGetLines(key, line1, line2), 0);
    ASSERT_EQ(Out(line1, 512) + Out(line2, 512), CardSet(v));
  }

  const std::map<int64_t, FieldsIn>& model() const { return model_; }

 private:
  std::map<int64_t, FieldsIn>::iterator Any() {
    return std::next(model_.begin(), static_cast<long>(rng_() % model_.size()));
  }

  static std::string CardSet(const FieldsIn& v) {
    char line1[512], line2[512];
    QuorbFieldsToLines(v.pos, v.vel, v.secClass, v.satNum, v.intlDesig.c_str(), v.epoch.c_str(),
                       v.revNum, v.elsetNum, v.bTerm, v.agom, v.inTrackThrust, v.coordSys.c_str(),
                       line1, line2);
    return Out(line1, 512) + Out(line2, 512);
  }

  // A new vector of this thread, with values that card sets carry exactly.
  FieldsIn Next() {
    FieldsIn v;
    v.satNum = nextSat_++;
    v.epoch = "25" + std::to_string(100 + rng_() % 265) + "120000.000";
    v.pos[0] = static_cast<double>(rng_() % 640000) / 16;
    v.revNum = static_cast<int32_t>(rng_() % 100000);
    return v;
  }

  void Add() {
    const FieldsIn v = Next();
    const int64_t key = v.Add();
    ASSERT_GT(key, 0);
    model_[key] = v;
  }

  void Update(std::map<int64_t, FieldsIn>::iterator it) {
    it->second.vel[1] = static_cast<double>(rng_() % 128000) / 16;
    it->second.coordSys = rng_() % 2 ? "MMJ2K" : "TMDAT";
    ASSERT_EQ(it->second.Update(it->first), 0);
    it->second.agom = static_cast<double>(rng_() % 64) / 64;
    ASSERT_EQ(QuorbSetField(it->first, 15, std::to_string(it->second.agom).c_str()), 0);
  }

  // A file of new vectors that includes another; the totals line is this
  // thread's own. The first file is large enough to be read ahead; its
  // vectors are removed at once.
  void LoadFile() {
    std::vector<FieldsIn> loaded(loads_++ == 0 ? kReadAheadSets : 2);
    std::string cards;
    for (FieldsIn& v : loaded) cards += CardSet(v = Next()).insert(80, "\n") + "\n";
    test::WriteFileText(path_ + ".inc", cards.substr(0, 162));
    test::WriteFileText(path_, "VECFIL = " + path_ + ".inc\n" + cards.substr(162));
    ASSERT_EQ(QuorbLoadFile(path_.c_str()), 0);
    char totals[128];
    TraceLogLastInfo(totals, sizeof totals);
    ASSERT_EQ(std::string(totals), test::Totals(static_cast<int>(loaded.size()), 0, 0));
    for (const FieldsIn& v : loaded) model_[QuorbGetSatKey(v.satNum)] = v;
    while (model_.size() > kMaxOwned) {  // the large file's vectors go again at once
      ASSERT_EQ(QuorbRemoveSat(model_.begin()->first), 0);
      model_.erase(model_.begin());
    }
  }

  // Listings hold each own key once; a save holds each own card set.
  void ListAndSave() {
    std::vector<int64_t> keys(kThreads * (kMaxOwned + kReadAheadSets), 0);
    QuorbGetLoaded(static_cast<int32_t>(rng_() % 4), keys.data());
    ASSERT_EQ(std::count_if(keys.begin(), keys.end(),
                            [this](int64_t key) { return model_.contains(key); }),
              static_cast<long>(model_.size()));
    const std::string saved = path_ + ".saved";
    ASSERT_EQ(QuorbSaveFile(saved.c_str(), 0), 0);
    const std::string text = test::ReadFileText(saved);
    for (const auto& [key, v] : model_) {
      ASSERT_NE(text.find(CardSet(v).insert(80, "\n")), std::string::npos) << v.satNum;
    }
  }

  std::mt19937 rng_;
  int32_t nextSat_;
  std::string path_;
  int loads_ = 0;
  std::map<int64_t, FieldsIn> model_;
};

class StoreThreads : public test::StoreTest, public ::testing::WithParamInterface<int32_t> {};

TEST_P(StoreThreads, EveryKindOfCallAtOnceLosesNothing) {
  ElsetKeyModeSet(GetParam());
  std::vector<Worker> workers;
  for (int id = 0; id < kThreads; ++id) workers.emplace_back(id, dir_);
  std::vector<std::thread> threads;
  for (Worker& worker : workers) threads.emplace_back([&worker] { worker.Run(); });
  for (std::thread& thread : threads) thread.join();
  std::set<int64_t> modelled;
  for (const Worker& worker : workers) {
    for (const auto& [key, v] : worker.model()) {
      modelled.insert(key);
      worker.ReadBack(key);
    }
  }
  std::vector<int64_t> stored(QuorbGetCount());
  ASSERT_EQ(stored.size(), modelled.size());
  QuorbGetLoaded(3, stored.data());
  EXPECT_EQ(std::set<int64_t>(stored.begin(), stored.end()), modelled);
}

INSTANTIATE_TEST_SUITE_P(KeyModes, StoreThreads, ::testing::Values(0, 1));

class DmaUpdateThreads : public test::StoreTest {};

// A DMA update takes no part in the reader/writer protocol: it returns while
// another thread holds a read of the store. (That walks beside DMA updates
// see whole records, the model test checks under ThreadSanitizer.)
TEST_F(DmaUpdateThreads, UpdatesReturnWhileAReadIsHeld) {
  using namespace std::chrono_literals;
  ElsetKeyModeSet(1);
  const int64_t key = FieldsIn().Add();
  std::atomic<bool> reading{false}, updated{false}, readEnded{false};
  std::thread reader([&] {
    {
      const StoreRead read;
      reading = true;
      for (int ms = 0; ms < 5000 && !updated; ++ms) std::this_thread::sleep_for(1ms);
    }
    readEnded = true;
  });
  while (!reading) std::this_thread::yield();
  EXPECT_EQ(FieldsIn().Update(key), 0);
  EXPECT_EQ(QuorbSetField(key, 15, "0.5"), 0);
  EXPECT_FALSE(readEnded);
  updated = true;
  reader.join();
  EXPECT_EQ(quorb::testing::GetAllFields(key).agom, 0.5);
}

// Blocks of card lines. Each starts with a line that drops any pending 1P
// card and a vector that loads, and ends with a vector that loads, so it
// leaves nothing behind that the next block could see: loading the blocks
// one file each must come out as loading them together.
std::string Block(std::mt19937& random, int& lastSat) {
  const auto pick = [&random](int below) { return static_cast<int>(random() % below); };
  std::string block = "NOT A CARD\n" + CardSet(++lastSat, 1 + pick(365)), maneuvers;
  const std::string stored = block.substr(11);
  for (int n = pick(10) == 0 ? 98 + pick(7) : 1 + pick(4); n > 0; --n) {
    maneuvers += ManeuverCard(lastSat * 1000 + n) + "\n";
  }
  const std::string items[] = {CardSet(++lastSat, 1 + pick(365)),
                               stored,                                              // a duplicate
                               k1P + "\n" + Card2P(++lastSat, 10, "XXXXX") + "\n",  // rejected
                               Card2P(++lastSat, 11) + "\n",  // pairs with a pending 1P, or not
                               k1P + "\n",
                               "ANOTHER KEYWORD\n",
                               maneuvers};
  for (int n = pick(8); n > 0; --n) block += items[pick(7)];
  return block + CardSet(++lastSat, 1 + pick(365));
}

class CardPassThreads : public test::StoreTest {
 protected:
  // Loads the files one after the other into an empty store; returns the
  // summed counts, the other lines logged, the saved store and the maneuver
  // cards of every vector in load order.
  std::string LoadAll(const std::vector<std::string>& paths) {
    test::ResetStoreAndModes();
    ClearLines();
    int counts[3] = {0, 0, 0};
    std::string outcome;
    loaded_ = dup_ = bad_ = 0;
    for (const std::string& path : paths) EXPECT_EQ(Load(path), 0) << path;
    for (const auto& [level, text] : AllLines()) {
      if (std::sscanf(text.c_str(), "Total Quorbs = %*d, Loaded = %d, Dup = %d, Bad = %d",
                      &counts[0], &counts[1], &counts[2]) == 3) {
        loaded_ += counts[0], dup_ += counts[1], bad_ += counts[2];
      } else if (!text.starts_with("QuorbLoadFile: Reading")) {
        outcome += std::to_string(level) + text + "\n";
      }
    }
    const std::string saved = (dir_ / "saved.txt").string();
    EXPECT_EQ(QuorbSaveFile(saved.c_str(), 0), 0);
    outcome += test::ReadFileText(saved);
    for (const int64_t key : QuorbGetTreeKeys(QUORB_ORDER_LOAD)) {
      QuorbRecord rec;
      QuorbFindRec(key, rec);
      for (int i = 0; i < rec.numManeuvCards; ++i) outcome += View((*rec.maneuvCards())[i]);
      outcome += "\n";
    }
    return outcome + Totals(loaded_, dup_, bad_);
  }

  int loaded_ = 0, dup_ = 0, bad_ = 0;
};

TEST_F(CardPassThreads, FileReadAheadLoadsAsItsBlocksLoadedOneByOne) {
  for (const unsigned seed : {1u, 2u, 3u}) {
    std::mt19937 random(seed);
    int lastSat = 0;
    std::string whole;
    std::vector<std::string> blockPaths;
    for (int i = 0; i < 600; ++i) {
      const std::string block = Block(random, lastSat);
      whole += block;
      blockPaths.push_back(WriteFile("block" + std::to_string(i) + ".txt", block));
    }
    // Keyed vector data after the cards are read by the loading thread.
    const std::string keyed =
        "POS_VEL_ECI_STATE\npos_vel_eci_satellite_number = 99999\n"
        "pos_vel_eci_epoch_iyear = 2025\npos_vel_eci_epoch_day = 10.5\n";
    blockPaths.push_back(WriteFile("keyed.txt", "NOT A CARD\n" + keyed));
    EXPECT_EQ(LoadAll({WriteFile("whole.txt", whole + keyed)}), LoadAll(blockPaths)) << seed;
    EXPECT_GT(loaded_, 2 * static_cast<int>(CardEventBatch::kCapacity));  // many batches
    EXPECT_TRUE(dup_ > 0 && bad_ > 0);
  }
}

// A last card set that the other thread could not read is the loading
// thread's own status, line and last error; the cards after it stay back.
TEST_F(CardPassThreads, LastSetRejectedAfterManyBatchesGivesStatusTwo) {
  std::string content;
  for (int sat = 1; sat <= 3000; ++sat) content += CardSet(sat, 10);
  const std::string bad2P = test::WithColumns(Card2P(3001, 10), 39, "  9x9");
  content += k1P + "\n" + bad2P + "\n" + ManeuverCard(1) + "\n";
  EXPECT_EQ(Load(WriteFile("cards.txt", content)), 2);
  EXPECT_EQ(LastTotals(), Totals(3000, 0, 1));
  QuorbRecord last;
  QuorbFindRec(QuorbGetSatKey(3000), last);
  EXPECT_EQ(last.numManeuvCards, 0);
  const std::string rejected = "Lines2Quorb: Error reading 2P: " + bad2P;
  EXPECT_EQ(Errors(), std::vector<std::string>{rejected});
  EXPECT_EQ(test::LastError(), rejected);
}

// Loads on several threads at once, each long enough to be read ahead, each
// report only their own dropped lines.
TEST_F(CardPassThreads, EachThreadReceivesTheReportOfItsOwnLoads) {
  std::vector<std::string> paths;
  for (int t = 0; t < kThreads; ++t) {
    std::string content;
    for (int i = 0; i < kReadAheadSets; ++i) content += CardSet(t * kSatsPerThread + i + 1, 10);
    paths.push_back(WriteFile(std::to_string(t) + ".txt", content + "LINE OF THREAD\n"));
  }
  std::vector<std::vector<std::string>> reports(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      test::ReportCapture report;
      Load(paths[t]);
      reports[t] = report.entries;
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string end =
      "end " + std::to_string(kReadAheadSets) + "/" + std::to_string(kReadAheadSets) + "/0/0 0";
  for (int t = 0; t < kThreads; ++t) {
    const std::string dropped =
        std::to_string(t) + ".txt:" + std::to_string(2 * kReadAheadSets + 1) + " unrecognised";
    EXPECT_EQ(reports[t], (std::vector<std::string>{dropped, end}));
  }
}

}  // namespace
}  // namespace quorb
