// A card pass over a file larger than one batch reads ahead on a second
// thread. Nothing of that may show: these tests hold such loads against
// loads of the same cards in files small enough to be read in one go.
#include "Quorb/CardPass.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <thread>
#include <vector>

#include "LoadTestSupport.h"
#include "Quorb/CardEvents.h"

namespace quorb {
namespace {

using loadtest::Card2P;
using loadtest::CardSet;
using loadtest::k1P;
using loadtest::ManeuverCard;
using loadtest::Totals;

// Builds card files in blocks. Each block starts with a line that drops any
// pending 1P card and a vector that loads, and ends with a vector that
// loads; so a block leaves no state behind that the next one could see, and
// loading the blocks one file each must come out as loading them together.
class BlockMaker {
 public:
  explicit BlockMaker(unsigned seed) : random_(seed) {}

  std::string Block() {
    std::string block = "NOT A CARD\n" + NewSet();
    const int items = Pick(0, 8);
    for (int i = 0; i < items; ++i) block += Item();
    return block + NewSet();
  }

  int cardSets() const { return cardSets_; }

 private:
  int Pick(int low, int high) { return std::uniform_int_distribution(low, high)(random_); }

  std::string NewSet() {
    ++cardSets_;
    const int day = Pick(1, 365);
    stored_.push_back({nextSat_, day});
    return CardSet(nextSat_++, day);
  }

  std::string Item() {
    switch (Pick(0, 6)) {
      case 0:
        return NewSet();
      case 1: {  // the same vector again: a duplicate
        ++cardSets_;
        const auto [sat, day] = stored_[Pick(0, static_cast<int>(stored_.size()) - 1)];
        return CardSet(sat, day);
      }
      case 2:  // rejected, and its 1P card stays pending
        ++cardSets_;
        return k1P + "\n" + Card2P(nextSat_++, Pick(1, 365), "XXXXX") + "\n";
      case 3:  // pairs with a pending 1P card, or is missing one
        ++cardSets_;
        return Card2P(nextSat_++, Pick(1, 365)) + "\n";
      case 4:
        return k1P + "\n";
      case 5:
        return "ANOTHER KEYWORD\n";
      default: {
        const int count = Pick(0, 9) == 0 ? Pick(98, 104) : Pick(1, 4);
        std::string cards;
        for (int i = 0; i < count; ++i) cards += ManeuverCard(nextManeuver_++) + "\n";
        return cards;
      }
    }
  }

  std::mt19937 random_;
  int nextSat_ = 1;
  int nextManeuver_ = 1;
  int cardSets_ = 0;
  std::vector<std::pair<int, int>> stored_;
};

// What a load left: the log without its per-file lines, the totals and the
// store, maneuver cards included.
struct LoadOutcome {
  std::vector<std::pair<int32_t, std::string>> log;
  int loaded = 0;
  int dup = 0;
  int bad = 0;
  std::string saved;
  std::vector<std::vector<std::string>> maneuvers;
};

class CardPassTest : public loadtest::LoadTest {
 protected:
  // Loads the files one after the other into an empty store.
  LoadOutcome LoadAll(const std::vector<std::string>& paths) {
    loadtest::ResetStoreAndModes();
    ClearLines();
    LoadOutcome outcome;
    for (const std::string& path : paths) EXPECT_EQ(Load(path), 0) << path;
    const std::regex totals(R"(Total Quorbs = \d+, Loaded = (\d+), Dup = (\d+), Bad = (\d+))");
    for (const auto& line : AllLines()) {
      std::smatch counts;
      if (std::regex_match(line.second, counts, totals)) {
        outcome.loaded += std::stoi(counts[1]);
        outcome.dup += std::stoi(counts[2]);
        outcome.bad += std::stoi(counts[3]);
      } else if (!line.second.starts_with("QuorbLoadFile: Reading")) {
        outcome.log.push_back(line);
      }
    }
    const std::string savePath = (dir_ / "saved.txt").string();
    EXPECT_EQ(Save(savePath), 0);
    outcome.saved = ReadFile(savePath);
    for (const int64_t key : QuorbGetTreeKeys(kOrderByLoad)) {
      QuorbRecord rec;
      QuorbFindRec(key, rec);
      std::vector<std::string>& cards = outcome.maneuvers.emplace_back();
      for (int i = 0; i < rec.numManeuvCards; ++i) {
        cards.emplace_back(TrimRight(View((*rec.maneuvCards)[i])));
      }
    }
    return outcome;
  }
};

void ExpectSameOutcome(const LoadOutcome& together, const LoadOutcome& apart) {
  EXPECT_EQ(together.loaded, apart.loaded);
  EXPECT_EQ(together.dup, apart.dup);
  EXPECT_EQ(together.bad, apart.bad);
  ASSERT_EQ(together.log.size(), apart.log.size());
  for (std::size_t i = 0; i < together.log.size(); ++i) {
    ASSERT_EQ(together.log[i], apart.log[i]) << "log line " << i;
  }
  EXPECT_EQ(together.saved, apart.saved);
  EXPECT_EQ(together.maneuvers, apart.maneuvers);
}

TEST_F(CardPassTest, FileReadAheadLoadsAsItsBlocksLoadedOneByOne) {
  for (const unsigned seed : {1u, 2u, 3u}) {
    SCOPED_TRACE(seed);
    BlockMaker maker(seed);
    std::string whole;
    std::vector<std::string> blockPaths;
    for (int i = 0; i < 600; ++i) {
      const std::string block = maker.Block();
      whole += block;
      blockPaths.push_back(WriteFile("block" + std::to_string(i) + ".txt", block));
    }
    ASSERT_GT(maker.cardSets(), 4 * static_cast<int>(CardEventBatch::kCapacity));
    // Keyed vector data after the cards are read by the loading thread.
    const std::string keyed =
        "POS_VEL_ECI_STATE\n"
        "pos_vel_eci_satellite_number = 99999\n"
        "pos_vel_eci_epoch_iyear = 2025\n"
        "pos_vel_eci_epoch_day = 10.5\n";
    whole += keyed;
    blockPaths.push_back(WriteFile("keyed.txt", "NOT A CARD\n" + keyed));

    const LoadOutcome together = LoadAll({WriteFile("whole.txt", whole)});
    const LoadOutcome apart = LoadAll(blockPaths);
    ExpectSameOutcome(together, apart);
    EXPECT_GT(together.dup, 0);
    EXPECT_GT(together.bad, 0);
  }
}

TEST_F(CardPassTest, LastSetRejectedAfterManyBatchesGivesStatusTwo) {
  std::string content;
  for (int sat = 1; sat <= 3000; ++sat) content += CardSet(sat, 10);
  content += k1P + "\n" + Card2P(3001, 10, "XXXXX") + "\n" + ManeuverCard(1) + "\n";
  EXPECT_EQ(Load(WriteFile("cards.txt", content)), 2);
  EXPECT_EQ(LastTotals(), Totals(3000, 0, 1));
  QuorbRecord last;
  QuorbFindRec(QuorbGetTreeKeys(kOrderBySatEpoch).back(), last);
  EXPECT_EQ(last.numManeuvCards, 0);  // a rejected last set keeps the cards back
  // The rejection was read on the other thread but is this thread's message.
  const std::string rejected =
      " ValidateQuorbValues: Invalid vector coordinate system = XXXXX"
      " (valid=TMDAT/TMEPO/MMB50/MMJ2K or blanks)";
  EXPECT_EQ(ErrorLines(), std::vector<std::string>{rejected});
  char lastError[256];
  TraceLogLastError(lastError, sizeof lastError);
  EXPECT_EQ(lastError, rejected);
}

// Loads on four threads at once, each with its own satellites and an
// included file, both large enough to be read ahead; every thread's totals
// line reaches that thread alone.
TEST_F(CardPassTest, LoadsOnSeveralThreadsKeepTheirOwnCounts) {
  constexpr int kThreads = 4;
  constexpr int kSetsPerFile = 1500;
  std::vector<std::string> tops;
  for (int t = 0; t < kThreads; ++t) {
    std::string own;
    std::string included;
    for (int i = 0; i < kSetsPerFile; ++i) {
      own += CardSet(t * 10000 + i, 10);
      included += CardSet(t * 10000 + i, 11);
    }
    const std::string name = "t" + std::to_string(t);
    WriteFile(name + "/inc.txt", included);
    tops.push_back(WriteFile(name + "/top.txt", "VECFIL = inc.txt\n" + own + k1P + "\n" +
                                                    Card2P(t, 12, "XXXXX") + "\n" +
                                                    CardSet(t * 10000 + 9999, 12)));
  }
  std::vector<int32_t> statuses(kThreads, -1);
  std::vector<std::string> totals(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      statuses[t] = Load(tops[t]);
      char line[128];
      TraceLogLastInfo(line, sizeof line);
      totals[t] = line;
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(statuses[t], 0);
    EXPECT_EQ(totals[t], Totals(2 * kSetsPerFile + 1, 0, 1));
  }
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), kThreads * (2 * kSetsPerFile + 1));
}

}  // namespace
}  // namespace quorb
