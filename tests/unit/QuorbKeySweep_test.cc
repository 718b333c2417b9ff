// Every export that takes a key, given keys that name no stored vector:
// random 64-bit values, the edges of the key ranges, values next to live
// direct-address holders and the keys of removed vectors. Each call must
// fail with status 2, write what a failure writes, and leave the store as
// it was: the same keys, every vector with the same fields.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "quorb/quorb.h"
#include "support/HostFields.h"

namespace {

constexpr int64_t kFirstComposedKey = int64_t{1} << 62;
constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
constexpr int kArraySize = 155;
// Holders are 48 bytes apart, so a neighbouring holder's key is 480 away.
constexpr int64_t kHolderKeyStep = 480;
constexpr int kRandomKeys = 100'000;

const double kPos[3] = {7000.0, -100.5, 12.25};
const double kVel[3] = {10.0, 7400.0, -3.5};

// n <= 512 blanks.
bool AllBlank(const char* text, std::size_t n) {
  static const std::string blanks(512, ' ');
  return std::memcmp(text, blanks.data(), n) == 0;
}

template <class T>
void AppendBytes(std::string& out, const T& value) {
  out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// Everything the readers give for a stored vector, as one byte string.
std::string Snapshot(int64_t key) {
  std::string out;
  const quorb::testing::HostFields f = quorb::testing::GetAllFields(key);
  EXPECT_EQ(f.status, 0);
  for (const auto& part : {f.pos, f.vel}) out.append(reinterpret_cast<const char*>(part), 24);
  AppendBytes(out, f.secClass);
  AppendBytes(out, f.satNum);
  AppendBytes(out, f.intlDesig);
  AppendBytes(out, f.epochDtg);
  AppendBytes(out, f.revNum);
  AppendBytes(out, f.elsetNum);
  AppendBytes(out, f.bTerm);
  AppendBytes(out, f.agom);
  AppendBytes(out, f.inTrackThrust);
  AppendBytes(out, f.coordSys);
  std::array<double, kArraySize> xa{};
  char xs[512];
  EXPECT_EQ(QuorbDataToArray(key, xa.data(), xs), 0);
  AppendBytes(out, xa);
  AppendBytes(out, xs);
  char line1[512];
  char line2[512];
  EXPECT_EQ(QuorbGetLines(key, line1, line2), 0);
  AppendBytes(out, line1);
  AppendBytes(out, line2);
  return out;
}

std::vector<int64_t> StoredKeys() {
  std::vector<int64_t> keys(QuorbGetCount());
  if (!keys.empty()) QuorbGetLoaded(3, keys.data());
  return keys;
}

// A valid array of other values than any stored vector has, so that an
// update that wrongly went through would show.
std::array<double, kArraySize> UpdateArray() {
  std::array<double, kArraySize> xa{};
  xa[0] = 77;
  xa[1] = 27500.25;
  xa[20] = 1111.0;
  xa[23] = 2222.0;
  return xa;
}

// Calls every key-taking export with key, which names no stored vector, and
// returns the names of those that did not fail as a failure must.
std::string MisbehavingCalls(int64_t key) {
  std::string wrong;
  const auto expect = [&wrong](bool ok, const char* name) {
    if (!ok) wrong.append(name).append(" ");
  };
  expect(QuorbRemoveSat(key) == 2, "QuorbRemoveSat");
  const double newPos[3] = {1.0, 2.0, 3.0};
  expect(
      QuorbUpdateSatFrFields(key, newPos, kVel, 'S', "NEWDESIG", 1, 2, 0.5, 0.6, 0.7, "TMDAT") == 2,
      "QuorbUpdateSatFrFields");
  char value[512];
  expect(QuorbGetField(key, 1, value) == 2 && AllBlank(value, sizeof value), "QuorbGetField");
  expect(QuorbSetField(key, 1, "4321.5") == 2, "QuorbSetField");

  double pos[3] = {9, 9, 9};
  double vel[3] = {9, 9, 9};
  char secClass = 'X';
  int32_t satNum = 9;
  char intlDesig[8];
  char epochDtg[17];
  int32_t revNum = 9;
  int32_t elsetNum = 9;
  double bTerm = 9;
  double agom = 9;
  double inTrackThrust = 9;
  char coordSys[5];
  const int32_t status =
      QuorbGetAllFields(key, pos, vel, &secClass, &satNum, intlDesig, epochDtg, &revNum, &elsetNum,
                        &bTerm, &agom, &inTrackThrust, coordSys);
  // A failure writes zeros and blanks.
  expect(status == 2 && pos[0] == 0 && vel[2] == 0 && secClass == ' ' && satNum == 0 &&
             AllBlank(intlDesig, 8) && AllBlank(epochDtg, 17) && revNum == 0 && elsetNum == 0 &&
             bTerm == 0 && agom == 0 && inTrackThrust == 0 && AllBlank(coordSys, 5),
         "QuorbGetAllFields");

  std::array<double, kArraySize> xa;
  xa.fill(-5.0);
  char xs[512];
  expect(QuorbDataToArray(key, xa.data(), xs) == 2 && AllBlank(xs, sizeof xs) &&
             std::all_of(xa.begin(), xa.end(), [](double x) { return x == -5.0; }),
         "QuorbDataToArray");
  static const std::array<double, kArraySize> update = UpdateArray();
  expect(QuorbUpdateSatFrArray(key, update.data(), "SNEWDESIG") == 2, "QuorbUpdateSatFrArray");
  char line1[512];
  char line2[512];
  expect(QuorbGetLines(key, line1, line2) == 2 && AllBlank(line1, sizeof line1) &&
             AllBlank(line2, sizeof line2),
         "QuorbGetLines");
  return wrong;
}

// The store of the sweep: vectors under composed and under direct-address
// keys, and the keys of vectors of both kinds that were removed.
class QuorbKeySweepTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    QuorbRemoveAllSats();
    DupKeyModeSet(0);
    AllKeyModeClear();
    std::vector<int64_t> composed;
    std::vector<int64_t> direct;
    for (int32_t sat = 1; sat <= 30; ++sat) composed.push_back(Add(sat));
    ElsetKeyModeSet(1);
    for (int32_t sat = 101; sat <= 160; ++sat) direct.push_back(Add(sat));
    ElsetKeyModeSet(0);
    // Removed only after every addition, so that no freed holder is reused.
    for (std::vector<int64_t>* keys : {&composed, &direct}) {
      for (std::size_t i = 0; i < keys->size(); i += 3) {
        ASSERT_EQ(QuorbRemoveSat((*keys)[i]), 0);
        removed_.push_back((*keys)[i]);
      }
    }
    for (const int64_t key : StoredKeys()) {
      live_.insert(key);
      if (key < kFirstComposedKey) liveDirect_.push_back(key);
      snapshots_[key] = Snapshot(key);
    }
    ASSERT_EQ(live_.size(), 60u);
    ASSERT_EQ(liveDirect_.size(), 40u);
  }

  static void TearDownTestSuite() {
    QuorbRemoveAllSats();
    ElsetKeyModeSet(0);
  }

  // The store is as it was before the test.
  void TearDown() override {
    const std::vector<int64_t> keys = StoredKeys();
    ASSERT_EQ(std::set<int64_t>(keys.begin(), keys.end()), live_);
    for (const int64_t key : keys) EXPECT_EQ(Snapshot(key), snapshots_.at(key)) << key;
  }

  static int64_t Add(int32_t satNum) {
    char epoch[18];
    std::snprintf(epoch, sizeof epoch, "25%03d120000.000", 1 + satNum % 300);
    const int64_t key = QuorbAddSatFrFields(kPos, kVel, 'U', satNum, "98067A", epoch, satNum,
                                            satNum % 1000, 0.01, 0.02, 0.0, "MMJ2K");
    EXPECT_GT(key, 0) << satNum;
    return key;
  }

  // Sweeps keys (those of live vectors skipped) and reports the first few
  // that any export mishandled.
  static void Sweep(const std::vector<int64_t>& keys) {
    std::vector<std::string> failures;
    int swept = 0;
    for (const int64_t key : keys) {
      if (live_.contains(key)) continue;
      ++swept;
      const std::string wrong = MisbehavingCalls(key);
      if (!wrong.empty() && failures.size() < 10) {
        failures.push_back("key " + std::to_string(key) + ": " + wrong);
      }
    }
    EXPECT_GT(swept, 0);
    for (const std::string& failure : failures) ADD_FAILURE() << failure;
  }

  static inline std::set<int64_t> live_;
  static inline std::vector<int64_t> liveDirect_;
  static inline std::vector<int64_t> removed_;
  static inline std::map<int64_t, std::string> snapshots_;
};

TEST_F(QuorbKeySweepTest, EdgesOfTheKeyRangesFail) {
  std::vector<int64_t> keys = {0,
                               -1,
                               1,
                               10,
                               -10,
                               kMin,
                               kMin + 1,
                               kMin + 8,  // a multiple of 10
                               kMax,
                               kMax - 7,  // a multiple of 10
                               kFirstComposedKey - 1,
                               kFirstComposedKey,
                               kFirstComposedKey + 1,
                               kFirstComposedKey - 4,  // a multiple of 10
                               kFirstComposedKey + 6};
  // Ten times addresses that are mapped but hold no holder.
  const auto heapBlock = std::make_unique<std::array<char, 64>>();
  int onStack = 0;
  for (const void* address :
       {static_cast<const void*>(heapBlock.get()), static_cast<const void*>(&onStack),
        reinterpret_cast<const void*>(&MisbehavingCalls)}) {
    keys.push_back(10 * static_cast<int64_t>(reinterpret_cast<intptr_t>(address)));
  }
  Sweep(keys);
}

TEST_F(QuorbKeySweepTest, KeysNextToLiveHoldersFail) {
  std::vector<int64_t> keys;
  for (const int64_t key : liveDirect_) {
    for (int64_t k = 1; k <= 9; ++k) keys.insert(keys.end(), {key + k, key - k});
    // Every other address inside the holder and just around it.
    for (int64_t k = 1; k <= 48; ++k) keys.insert(keys.end(), {key + 10 * k, key - 10 * k});
    // The neighbouring holders: removed, never used, or another live one.
    for (int64_t k = 1; k <= 64; ++k) {
      keys.insert(keys.end(), {key + kHolderKeyStep * k, key - kHolderKeyStep * k});
    }
    keys.insert(keys.end(), {-key, key | kMin, key + kFirstComposedKey, key * 2});
  }
  Sweep(keys);
}

TEST_F(QuorbKeySweepTest, KeysOfRemovedVectorsFail) {
  Sweep(removed_);
  // A key that was removed twice is still no key.
  Sweep(removed_);
}

TEST_F(QuorbKeySweepTest, RandomKeysFail) {
  std::mt19937_64 rng(20250503);
  std::vector<int64_t> keys;
  std::vector<int64_t> liveSatNums;
  for (const int64_t key : live_) {
    if (key >= kFirstComposedKey) liveSatNums.push_back((key - kFirstComposedKey) >> 32);
  }
  std::uniform_int_distribution<int64_t> nearHolder(-(int64_t{1} << 20), int64_t{1} << 20);
  for (int i = 0; i < kRandomKeys; ++i) {
    switch (i % 4) {
      case 0:  // anywhere
        keys.push_back(static_cast<int64_t>(rng()));
        break;
      case 1:  // a multiple of 10 in the direct-address range
        keys.push_back(10 * static_cast<int64_t>(rng() % (kFirstComposedKey / 10)));
        break;
      case 2: {  // an address within a megabyte of a live holder, 8-aligned
        const int64_t holder = liveDirect_[rng() % liveDirect_.size()] / 10;
        keys.push_back(10 * (holder + 8 * nearHolder(rng)));
        break;
      }
      default:  // a stored satellite at another second
        keys.push_back(kFirstComposedKey + (liveSatNums[rng() % liveSatNums.size()] << 32) +
                       static_cast<int64_t>(rng() % (int64_t{1} << 32)));
    }
  }
  Sweep(keys);
}

}  // namespace
