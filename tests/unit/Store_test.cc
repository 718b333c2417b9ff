// The vector store as hosts use it: validation, keys of both kinds,
// duplicates, listings, removal, and keys that name nothing.

#include "Quorb/BlockPool.h"  // QUORB_ADDRESS_SANITIZER
#include "Quorb/QuorbTree.h"
#include "Services/DmaKeys.h"
#include "Templates/TreeTemplate.h"
#include "support/StoreTest.h"

namespace quorb {
namespace {

using test::FieldsIn;
using test::LastError;
using Change = std::function<void(FieldsIn&)>;

class Store : public test::StoreTest {};

// The height of a subtree, or -1 when one of its balance factors is wrong.
int CheckedHeight(const QuorbBinTree* node) {
  if (node == nullptr) return 0;
  const int left = CheckedHeight(node->left), right = CheckedHeight(node->right);
  if (left < 0 || right < 0 || node->balance != right - left || std::abs(right - left) > 1)
    return -1;
  return 1 + std::max(left, right);
}

// Each insertion says whether the tree grew a level, and leaves it an AVL
// tree with its balance factors right.
TEST(StoreTree, InsertionsTellWhetherTheTreeGrewAndKeepItBalanced) {
  std::vector<std::unique_ptr<QuorbBinTree>> nodes;
  QuorbBinTree* root = nullptr;
  std::mt19937_64 rng(5);
  const auto never = [](const QuorbBinTree&, const QuorbBinTree&) { return false; };
  for (int i = 0; i < 3000; ++i) {
    nodes.push_back(std::make_unique<QuorbBinTree>());
    nodes.back()->key = i < 1000 ? i : static_cast<int64_t>(rng() % 1'000'000);
    const int before = CheckedHeight(root);
    int32_t status = -1;
    AddNodeRecursive(root, nodes.back().get(), status, never);
    if (status == kTreeKeyTaken) continue;
    const int after = CheckedHeight(root);
    ASSERT_GE(after, 0) << i;
    ASSERT_EQ(status, after > before ? kTreeLinkedGrew : kTreeLinked) << i;
  }
}

// Every bound at its edge is stored; one step past it the vector is refused
// and each failing check logs its message.
TEST_F(Store, ValidationBounds) {
  FieldsIn edge;
  edge.pos[0] = -1e9, edge.pos[1] = std::nan(""), edge.vel[0] = 1e6, edge.vel[2] = -1e6;
  edge.satNum = 999'999'999, edge.revNum = 999'999, edge.elsetNum = 9999, edge.coordSys = "TMEPO";
  EXPECT_GT(edge.Add(), 0);
  edge.satNum = 0, edge.coordSys = "MMB50";
  EXPECT_GT(edge.Add(), 0);
  const std::pair<Change, std::vector<std::string>> past[] = {
      {[](FieldsIn& f) { f.pos[0] = 1000000001; }, {"PosX = 1000000001 (valid=-1E9 to 1E9)"}},
      {[](FieldsIn& f) { f.pos[1] = -2e9, f.vel[2] = 1e7; },
       {"PosY = -2e+09 (valid=-1E9 to 1E9)", "VelZ = 1e+07 (valid=-1E6 to 1E6)"}},
      {[](FieldsIn& f) { f.pos[2] = 1.5e9, f.vel[0] = 2e6; },
       {"PosZ = 1.5e+09 (valid=-1E9 to 1E9)", "VelX = 2e+06 (valid=-1E6 to 1E6)"}},
      {[](FieldsIn& f) { f.satNum = 1'000'000'000; },
       {"satellite number = 1000000000 (valid=1-999999999)"}},
      {[](FieldsIn& f) { f.revNum = 1'000'000; }, {"Epoch Revolution = 1000000 (valid=0-99999)"}},
      {[](FieldsIn& f) { f.revNum = -1; }, {"Epoch Revolution = -1 (valid=0-99999)"}},
      {[](FieldsIn& f) { f.elsetNum = 10000; }, {"Element Set Number = 10000 (valid=0-9999)"}},
      {[](FieldsIn& f) { f.coordSys = "mmj2k"; },
       {"vector coordinate system = mmj2k (valid=TMDAT/TMEPO/MMB50/MMJ2K or blanks)"}}};
  for (const auto& [change, messages] : past) {
    FieldsIn fields;
    change(fields);
    ClearLines();
    EXPECT_EQ(fields.Add(), -1) << messages[0];
    std::vector<std::string> expected;
    for (const std::string& m : messages) expected.push_back(" ValidateQuorbValues: Invalid " + m);
    EXPECT_EQ(Errors(), expected);
  }
}

// A vector whose composed key is taken: a duplicate when it is the same
// vector (satellite, epoch instant, coordinate system, position, velocity and
// force-model terms), otherwise stored under the next free key, of at most
// 100 tried.
TEST_F(Store, SameVectorIsADuplicateAnOtherTakesTheNextKey) {
  const int64_t key = FieldsIn().Add();
  const std::pair<Change, bool> cases[] = {
      {[](FieldsIn& f) { f.intlDesig = "OTHER", f.secClass = 'S', f.revNum = 9; }, true},
      {[](FieldsIn& f) { f.elsetNum = 9, f.epoch = "2025/123.50000000"; }, true},
      {[](FieldsIn& f) { f.epoch = "25123120000.9"; }, false},
      {[](FieldsIn& f) { f.pos[2] = 1.0; }, false},
      {[](FieldsIn& f) { f.vel[2] = 1.0; }, false},
      {[](FieldsIn& f) { f.bTerm = 1.0; }, false},
      {[](FieldsIn& f) { f.agom = 1.0; }, false},
      {[](FieldsIn& f) { f.inTrackThrust = 1.0; }, false},
      {[](FieldsIn& f) { f.coordSys = "TMDAT"; }, false}};
  for (const auto& [change, duplicate] : cases) {
    FieldsIn fields;
    change(fields);
    const int64_t added = fields.Add();
    EXPECT_EQ(added, duplicate ? 0 : key + 1) << fields.epoch;
    if (added > 0) QuorbRemoveSat(added);
  }
  EXPECT_EQ(LastError(), "AddRecToMem: Duplicated record/key " + std::to_string(key) + " found.");
  FieldsIn fields;
  for (int i = 1; i < 100; ++i) {
    fields.pos[0] = i;
    ASSERT_EQ(fields.Add(), key + i);
  }
  fields.pos[0] = 100;
  EXPECT_EQ(fields.Add(), 0);  // no free key
  fields.pos[0] = 42;
  EXPECT_EQ(fields.Add(), 0);  // found equal at its moved key
  // Accepted silently in any other duplicate mode, answered with the key.
  DupKeyModeSet(-7);
  EXPECT_EQ(FieldsIn().Add(), key);
  EXPECT_EQ(QuorbGetCount(), 100);
}

// The all-types key mode, while on, rules over the element-set key mode; a
// mode other than 0 or 1 is refused and changes nothing.
TEST_F(Store, KeyModesChooseTheKindOfKey) {
  ElsetKeyModeSet(1);
  AllKeyModeSet(0);
  ElsetKeyModeSet(2);
  AllKeyModeSet(7);
  EXPECT_EQ(LastError(), "AllKeyModeSet: Invalid key mode 7 (valid=0 or 1).");
  const int64_t composed = FieldsIn().Add();
  AllKeyModeClear();
  const DmaHolder* holder = KeyToCPtr(FieldsIn().Add());
  ASSERT_TRUE(holder != nullptr && !IsDMA(composed));
  EXPECT_EQ(holder->elsetType, 4);
}

TEST_F(Store, RemovalAndItsMessages) {
  const int64_t composed = FieldsIn().Add();
  ElsetKeyModeSet(1);
  const int64_t dma = FieldsIn().Add();
  const std::pair<int64_t, std::string> missing[] = {
      {0, "RemoveNode: Invalid DMA key (<=0)."},
      {1, "RemoveDMA: /DMA doesn't exist or was already deallocated"},
      {dma + 10, "RemoveDMA: /DMA doesn't exist or was already deallocated"},
      {composed + 1, "RemoveNode: Unable to locate this key " + std::to_string(composed + 1) +
                         " in its binary tree."}};
  for (const auto& [key, message] : missing) {
    EXPECT_EQ(QuorbRemoveSat(key), 2);
    EXPECT_EQ(LastError(), message);
  }
  // A holder that another component attached data to stays, without its vector.
  DmaHolder* holder = KeyToCPtr(dma);
  int attached = 0;
  holder->attachA = &attached;
  EXPECT_EQ(QuorbRemoveSat(dma), 0);
  EXPECT_EQ(std::make_tuple(KeyToCPtr(dma), holder->self * 10, holder->rec),
            std::make_tuple(holder, dma, nullptr));
  holder->attachA = nullptr;
  // A removed vector's memory goes to the next vector added (but under
  // AddressSanitizer, which gives each record memory of its own).
  const QuorbRecord *memory = nullptr, *nextMemory = nullptr;
  QuorbReadRec(composed, [&](const QuorbRecord& rec) { memory = &rec; });
  EXPECT_EQ(QuorbRemoveSat(composed) + QuorbRemoveSat(composed), 2);
  ElsetKeyModeSet(0);
  const int64_t next = FieldsIn().Add();
  QuorbReadRec(next, [&](const QuorbRecord& rec) { nextMemory = &rec; });
  [[maybe_unused]] const bool reused = nextMemory == memory;
#if !defined(QUORB_ADDRESS_SANITIZER)
  EXPECT_TRUE(reused);
#endif
  // Emptied, the store gives the memory of its nodes back to the system.
  std::uintptr_t node = 0;
  QuorbVisitInOrder([&](const QuorbBinTree& n) { node = reinterpret_cast<std::uintptr_t>(&n); });
  QuorbRemoveAllSats();
  unsigned char resident = 0;
  [[maybe_unused]] const int unmapped =
      mincore(reinterpret_cast<void*>(node & -4096), 1, &resident);
#if !defined(QUORB_ADDRESS_SANITIZER)
  EXPECT_EQ(unmapped, -1);
#endif
  // Removals leave nothing in the key index that later adds step over.
  for (int cycle = 0; cycle < 4096; ++cycle) ASSERT_EQ(QuorbRemoveSat(FieldsIn().Add()), 0);
  EXPECT_EQ(QuorbGetCount(), 0);
  // A removed vector's key names none of the next thousand vectors added.
  ElsetKeyModeSet(1);
  const int64_t gone = FieldsIn().Add();
  QuorbRemoveSat(gone);
  for (int i = 0; i < 1000; ++i) ASSERT_NE(FieldsIn().Add(), gone);
}

// The count kept with the tree agrees with a walk of it after every add
// (composed and DMA keys, duplicates refused and accepted, taken keys moved
// on), removal of a stored or a missing key, and removal of all.
TEST_F(Store, KeptCountAgreesWithAWalk) {
  std::mt19937 rng(11);
  std::vector<int64_t> added = {1};  // 1 names nothing; 0 and -1 join it
  for (int step = 0; step < 4000; ++step) {
    const unsigned action = rng() % 32;
    if (action < 16) {
      ElsetKeyModeSet(action % 3 == 0 ? 1 : 0);
      DupKeyModeSet(action % 2);
      FieldsIn fields;  // few vectors, so that most keys come again
      fields.satNum = 1 + static_cast<int32_t>(rng() % 16);
      fields.pos[0] += rng() % 2;
      added.push_back(fields.Add());
    } else if (action < 31) {
      QuorbRemoveSat(added[rng() % added.size()] + (action % 4 == 0 ? 1 : 0));
    } else {
      const std::string before = LastError();
      QuorbRemoveAllSats();  // with no complaint about any kind of key
      ASSERT_EQ(LastError(), before) << "step " << step;
    }
    int32_t walked = 0;
    QuorbVisitInOrder([&](const QuorbBinTree&) { ++walked; });
    ASSERT_EQ(QuorbGetCount(), walked) << "step " << step << ", action " << action;
  }
}

// The internal find and update report why nothing was found.
TEST_F(Store, FindAndUpdateMessages) {
  FindMessage msg;
  QuorbRecord rec;
  const RecordReader nothing = [](const QuorbRecord&) {};
  const int64_t absent = QuorbFieldsToSatKey(6, "25123120000.000");
  const std::pair<std::function<void()>, std::string> finds[] = {
      {[&] { QuorbFindRec(absent, rec, &msg); }, "FindRec: Search tree is empty."},
      {[&] { QuorbReadRec(absent, nothing, &msg); }, "FindRecPtr: Search tree is empty."},
      {[&] { FieldsIn().Add(), QuorbFindRec(absent, rec, &msg); },
       "FindRec: search key doens't exist."},
      {[&] { QuorbFindRec(0, rec, &msg); }, "FindRec: Invalid DMA key (<=0)."},
      {[&] { QuorbFindRec(1, rec, &msg); }, ""},  // a holder that is not there: no message
      {[&] { QuorbReadRec(-10, nothing, &msg); }, "FindRecPtr: Invalid DMA key (<=0)."},
      {[&] { QuorbReadRec(1, nothing, &msg); }, "FindRecPtr: Invalid DMA key."},
      {[&] { QuorbReadRec(absent, nothing, &msg); }, "FindRecPtr: search key doens't exist."},
      {[&] { QuorbFindRec(QuorbGetSatKey(25544), rec, &msg); }, ""},
      {[&] {
         QuorbReadRec(1230, nothing, &msg), QuorbReadRec(QuorbGetSatKey(25544), nothing, &msg);
       },
       ""}};
  for (const auto& [find, message] : finds) {
    find();
    EXPECT_EQ(TrimRight(View(msg)), message);
  }
  const int64_t key = QuorbGetSatKey(25544);
  const std::pair<int64_t, std::string> updates[] = {
      {key + 1,
       "UpdateRec: Unable to locate key " + std::to_string(key + 1) + " in its binary tree."},
      {-5, "UpdateRec: Invalid DMA key (<=0)."},
      {1, "UpdateRec: rec/DMA doesn't exist or was already deallocated"},
      {20, "UpdateRec: rec/DMA doesn't exist or was already deallocated"}};
  for (const auto& [missing, message] : updates) {
    EXPECT_EQ(QuorbUpdateRec(missing, rec), 2);
    EXPECT_EQ(LastError(), message);
  }
}

// Every export that takes a key, given keys that name no stored vector:
// each fails and the store stays as it was.
TEST_F(Store, KeysThatNameNothingFailCleanly) {
  FieldsIn fields;
  double xa[155] = {};
  char text[512], text2[512];
  const auto everyCallFails = [&](int64_t key) {
    return QuorbGetField(key, 1, text) + quorb::testing::GetAllFields(key).status +
               QuorbGetLines(key, text, text2) + QuorbDataToArray(key, xa, text) +
               QuorbSetField(key, 1, "4321.5") + fields.Update(key) +
               QuorbUpdateSatFrArray(key, xa, "S") + QuorbRemoveSat(key) ==
           8 * 2;
  };
  // An empty store, whose index has no table yet.
  EXPECT_TRUE(everyCallFails(QuorbFieldsToSatKey(fields.satNum, fields.epoch.c_str())));
  std::vector<int64_t> live = {fields.Add()};
  ElsetKeyModeSet(1);
  for (int i = 0; i < 19; ++i, ++fields.satNum) live.push_back(fields.Add());
  const int64_t removed = fields.Add();
  QuorbRemoveSat(removed);
  std::vector<int64_t> keys = {0, -1, 10, removed, INT64_MIN, INT64_MAX};
  for (const int64_t key : live) {  // next to it, and the same bits in the other kind
    keys.insert(keys.end(), {key + 1, key - 1, key + 10, key - 10, key + 480, key - 480});
    keys.push_back(key ^ (int64_t{1} << 62));
  }
  std::mt19937_64 rng(7);
  for (int i = 0; i < 20000; ++i) keys.push_back(static_cast<int64_t>(rng()) / 10 * (i % 2 + 9));
  for (const int64_t key : keys) {
    if (std::find(live.begin(), live.end(), key) != live.end()) continue;
    ASSERT_TRUE(everyCallFails(key)) << key;
  }
  EXPECT_EQ(QuorbGetCount(), 20);
  for (const int64_t key : live) EXPECT_EQ(quorb::testing::GetAllFields(key).pos[0], 7000.0);
  QuorbRemoveAllSats();  // DMA keys too go with the store
  for (const int64_t key : live) EXPECT_TRUE(everyCallFails(key)) << key;
}

}  // namespace
}  // namespace quorb
