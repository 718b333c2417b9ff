#include "Quorb/QuorbTree.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "Services/Calendar.h"
#include "Services/DmaKeys.h"
#include "quorb/quorb_services.h"

namespace quorb {
namespace {

QuorbRecord MakeRecord(int32_t satNum, std::string_view epoch, double x = 7000.0) {
  QuorbRecord rec;
  rec.satNum = satNum;
  SetText(rec.epochDtg, epoch);
  rec.pos[0] = x;
  rec.pos[1] = -1200.5;
  rec.vel[2] = 7500.25;
  SetText(rec.coordSys, "MMJ2K");
  return rec;
}

std::string LastError() {
  char line[512];
  TraceLogLastError(line, sizeof line);
  return line;
}

std::vector<int64_t> TreeKeys(int32_t order) {
  std::vector<int64_t> keys = QuorbGetTreeKeys(order);
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), static_cast<int32_t>(keys.size()));
  return keys;
}

class QuorbTreeTest : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
  static void Reset() {
    QuorbEmptyTree();
    ElsetKeyModeSet(0);
    AllKeyModeClear();
    DupKeyModeSet(0);
  }
};

TEST_F(QuorbTreeTest, DuplicatesAreRefusedOrAnsweredByDuplicateMode) {
  const QuorbRecord rec = MakeRecord(25544, "25123120000.000");
  const int64_t key = AddQuorbToMem(rec);
  EXPECT_EQ(key, CreateSatKey(25544, 4, "25123120000.000"));
  EXPECT_EQ(AddQuorbToMem(rec), 0);
  EXPECT_EQ(LastError(), "AddRecToMem: Duplicated record/key " + std::to_string(key) + " found.");
  DupKeyModeSet(1);
  bool linked = true;
  EXPECT_EQ(AddQuorbToMem(rec, &linked), key);
  EXPECT_FALSE(linked);
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 1);
}

TEST_F(QuorbTreeTest, ATakenKeyMovesToItsSuccessors) {
  const int64_t first = AddQuorbToMem(MakeRecord(7, "25123120000.000", 1.0));
  EXPECT_EQ(AddQuorbToMem(MakeRecord(7, "25123120000.000", 2.0)), first + 1);
  EXPECT_EQ(AddQuorbToMem(MakeRecord(7, "2025/123.50000000", 3.0)), first + 2);
  QuorbRecord found;
  QuorbFindRec(first + 2, found);
  EXPECT_EQ(found.pos[0], 3.0);
}

TEST_F(QuorbTreeTest, InvalidOrUnkeyableVectorsAreNotStored) {
  QuorbRecord bad = MakeRecord(1, "25123120000.000");
  bad.revNum = -1;
  EXPECT_EQ(AddQuorbToMem(bad), -1);
  EXPECT_EQ(AddQuorbToMem(MakeRecord(1, "not an epoch")), -1);
  EXPECT_TRUE(QuorbTreeIsEmpty());
}

TEST_F(QuorbTreeTest, OneStoreHoldsComposedAndDirectAddressKeys) {
  const QuorbRecord rec = MakeRecord(11, "25123120000.000");
  const int64_t composed = AddQuorbToMem(rec);
  ElsetKeyModeSet(1);
  const int64_t dmaA = AddQuorbToMem(rec);
  const int64_t dmaB = AddQuorbToMem(MakeRecord(12, "25123120000.000"));
  EXPECT_FALSE(IsDMA(composed));
  ASSERT_TRUE(IsDMA(dmaA));
  EXPECT_NE(dmaA, dmaB);
  EXPECT_EQ(dmaA % 10, 0);
  const DmaHolder* holder = KeyToCPtr(dmaA);
  ASSERT_NE(holder, nullptr);
  EXPECT_EQ(holder->self * 10, dmaA);
  EXPECT_EQ(holder->elsetType, 4);
  for (int64_t key : {composed, dmaA, dmaB}) {
    QuorbRecord found;
    QuorbFindRec(key, found);
    EXPECT_NE(found.satNum, -123) << key;
    const QuorbRecord* ptr = QuorbFindRecPtr(key);
    EXPECT_NE(ptr, nullptr);
    if (!IsDMA(key)) QuorbEndRead();
  }
  EXPECT_EQ(QuorbSatKeyGet(12), dmaB);
  // The all-types key mode overrides the element-set key mode.
  AllKeyModeSet(0);
  EXPECT_FALSE(IsDMA(AddQuorbToMem(MakeRecord(13, "25123120000.000"))));
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 4);
}

TEST_F(QuorbTreeTest, DmaHolderLayoutIsFixed) {
  EXPECT_EQ(offsetof(DmaHolder, self), 0u);
  EXPECT_EQ(offsetof(DmaHolder, elsetType), 8u);
  EXPECT_EQ(offsetof(DmaHolder, rec), 16u);
  EXPECT_EQ(offsetof(DmaHolder, word24), 24u);
  EXPECT_EQ(offsetof(DmaHolder, attachA), 32u);
  EXPECT_EQ(offsetof(DmaHolder, attachB), 40u);
}

TEST_F(QuorbTreeTest, FindReportsWhyNothingWasFound) {
  FindMessage msg;
  QuorbRecord rec = MakeRecord(5, "25123120000.000");
  QuorbFindRec(CreateSatKey(5, 4, "25123120000.000"), rec, &msg);
  EXPECT_EQ(rec.satNum, -123);
  EXPECT_EQ(TrimRight(View(msg)), "FindRec: Search tree is empty.");
  AddQuorbToMem(MakeRecord(5, "25123120000.000"));
  QuorbFindRec(CreateSatKey(6, 4, "25123120000.000"), rec, &msg);
  EXPECT_EQ(TrimRight(View(msg)), "FindRec: search key doens't exist.");
  EXPECT_EQ(View(msg).size(), 128u);
  QuorbFindRec(0, rec, &msg);
  EXPECT_EQ(TrimRight(View(msg)), "FindRec: Invalid DMA key (<=0).");
  EXPECT_EQ(QuorbFindRecPtr(-10, &msg), nullptr);
  EXPECT_EQ(TrimRight(View(msg)), "FindRecPtr: Invalid DMA key (<=0).");
  EXPECT_EQ(QuorbFindRecPtr(1230, &msg), nullptr);
  EXPECT_EQ(TrimRight(View(msg)), "FindRecPtr: Invalid DMA key.");
  EXPECT_EQ(QuorbFindRecPtr(CreateSatKey(6, 4, "25123120000.000"), &msg), nullptr);
  QuorbEndRead();
  EXPECT_EQ(TrimRight(View(msg)), "FindRecPtr: search key doens't exist.");
  // The read above was closed: writers go on.
  EXPECT_GT(AddQuorbToMem(MakeRecord(8, "25123120000.000")), 0);
}

TEST_F(QuorbTreeTest, UpdateKeepsTheKeyAndReportsMissingKeys) {
  const int64_t key = AddQuorbToMem(MakeRecord(9, "25123120000.000"));
  QuorbRecord changed = MakeRecord(10, "26001000000.000", 42.0);
  changed.covMatrix = std::make_unique<CovMatrix>();
  EXPECT_EQ(QuorbUpdateRec(key, changed), 0);
  QuorbRecord found;
  QuorbFindRec(key, found);
  EXPECT_EQ(found.satNum, 10);
  EXPECT_EQ(found.pos[0], 42.0);
  EXPECT_NE(found.covMatrix, nullptr);
  EXPECT_EQ(QuorbUpdateRec(key + 1, changed), 2);
  EXPECT_EQ(LastError(),
            "UpdateRec: Unable to locate key " + std::to_string(key + 1) + " in its binary tree.");
  EXPECT_EQ(QuorbUpdateRec(-5, changed), 2);
  EXPECT_EQ(LastError(), "UpdateRec: Invalid DMA key (<=0).");
  EXPECT_EQ(QuorbUpdateRec(20, changed), 2);
  EXPECT_EQ(LastError(), "UpdateRec: rec/DMA doesn't exist or was already deallocated");
}

TEST_F(QuorbTreeTest, KeyListsComeInTheFourOrders) {
  const int64_t late = AddQuorbToMem(MakeRecord(300, "25001000000.000"));
  const int64_t early = AddQuorbToMem(MakeRecord(300, "24001000000.000"));
  const int64_t low = AddQuorbToMem(MakeRecord(2, "25001000000.000"));
  ElsetKeyModeSet(1);
  const int64_t dma = AddQuorbToMem(MakeRecord(150, "25001000000.000"));
  EXPECT_EQ(TreeKeys(0), (std::vector<int64_t>{low, dma, early, late}));
  EXPECT_EQ(TreeKeys(1), (std::vector<int64_t>{late, early, dma, low}));
  EXPECT_EQ(TreeKeys(2), (std::vector<int64_t>{late, early, low, dma}));
  const std::vector<int64_t> ascending{dma, low, early, late};
  EXPECT_EQ(TreeKeys(7), ascending);
  EXPECT_EQ(TreeKeys(-1), ascending);
  ElsetKeyModeSet(0);
  ASSERT_EQ(QuorbRemoveNode(late), 0);
  EXPECT_EQ(AddQuorbToMem(MakeRecord(300, "25001000000.000")), late);
  EXPECT_EQ(TreeKeys(2), (std::vector<int64_t>{early, low, dma, late}));
}

TEST_F(QuorbTreeTest, SatKeyLookupFindsOnlyStoredSatellites) {
  EXPECT_EQ(QuorbSatKeyGet(1), -1);
  const int64_t key = AddQuorbToMem(MakeRecord(1, "25001000000.000"));
  EXPECT_EQ(QuorbSatKeyGet(1), key);
  EXPECT_EQ(QuorbSatKeyGet(2), -1);
}

TEST_F(QuorbTreeTest, RemovingAnAttachedDmaVectorKeepsItsHolder) {
  ElsetKeyModeSet(1);
  const int64_t key = AddQuorbToMem(MakeRecord(1, "25001000000.000"));
  DmaHolder* holder = KeyToCPtr(key);
  int attached = 0;
  holder->attachA = &attached;
  EXPECT_EQ(QuorbRemoveNode(key), 0);
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 0);
  EXPECT_EQ(KeyToCPtr(key), holder);
  EXPECT_EQ(holder->self * 10, key);
  EXPECT_EQ(holder->rec, nullptr);
  FindMessage msg;
  EXPECT_EQ(QuorbFindRecPtr(key, &msg), nullptr);
  EXPECT_EQ(TrimRight(View(msg)), "FindRecPtr: Prop data doesn't exist.");
  holder->attachA = nullptr;
}

TEST_F(QuorbTreeTest, RemovedDmaKeysAreStale) {
  ElsetKeyModeSet(1);
  const int64_t key = AddQuorbToMem(MakeRecord(1, "25001000000.000"));
  EXPECT_EQ(QuorbRemoveNode(key), 0);
  EXPECT_EQ(QuorbRemoveNode(key), 2);
  EXPECT_EQ(LastError(), "RemoveDMA: /DMA doesn't exist or was already deallocated");
  QuorbRecord rec;
  QuorbFindRec(key, rec);
  EXPECT_EQ(rec.satNum, -123);
  EXPECT_EQ(QuorbRemoveNode(0), 2);
  EXPECT_EQ(LastError(), "RemoveNode: Invalid DMA key (<=0).");
}

TEST_F(QuorbTreeTest, EmptyingKeepsSequenceNumbersRising) {
  EXPECT_EQ(QuorbEmptyTree(), 0);
  AddQuorbToMem(MakeRecord(1, "25001000000.000"));
  ElsetKeyModeSet(1);
  AddQuorbToMem(MakeRecord(2, "25001000000.000"));
  int32_t before = 0;
  QuorbVisitInOrder([&](const QuorbBinTree& node) { before = std::max(before, node.seqNum); });
  EXPECT_EQ(QuorbEmptyTree(), 0);
  EXPECT_TRUE(QuorbTreeIsEmpty());
  AddQuorbToMem(MakeRecord(1, "25001000000.000"));
  QuorbVisitInOrder([&](const QuorbBinTree& node) { EXPECT_GT(node.seqNum, before); });
}

// Whatever the key, find, update and remove answer with a failure.
TEST_F(QuorbTreeTest, AnyKeyValueFailsCleanly) {
  AddQuorbToMem(MakeRecord(1, "25001000000.000"));
  ElsetKeyModeSet(1);
  const int64_t live = AddQuorbToMem(MakeRecord(2, "25001000000.000"));
  std::vector<int64_t> keys = {
      0,         -1,        INT64_MIN, INT64_MAX, 1LL << 62, (1LL << 62) - 1,
      live + 10, live - 10, live + 1,  live + 480};
  std::mt19937_64 rng(7);
  for (int i = 0; i < 20000; ++i) keys.push_back(static_cast<int64_t>(rng()));
  const QuorbRecord rec = MakeRecord(3, "25001000000.000");
  for (int64_t key : keys) {
    QuorbRecord found;
    QuorbFindRec(key, found);
    EXPECT_EQ(found.satNum, -123) << key;
    EXPECT_EQ(QuorbFindRecPtr(key), nullptr) << key;
    if (!IsDMA(key)) QuorbEndRead();
    EXPECT_EQ(QuorbUpdateRec(key, rec), 2) << key;
    EXPECT_EQ(QuorbRemoveNode(key), 2) << key;
  }
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 2);
}

}  // namespace
}  // namespace quorb
