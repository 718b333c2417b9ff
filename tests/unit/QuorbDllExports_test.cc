// The exported interface as a host sees it: keys, field access, statuses,
// messages and read access closed on every path.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <future>
#include <string>
#include <thread>

#include "Quorb/QuorbTree.h"
#include "quorb/quorb.h"

namespace {

const char kLine1[] =
    "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P";
const char kLine2[] =
    "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P";
const double kPos[3] = {7000.0, -100.5, 12.25};
const double kVel[3] = {10.0, 7400.0, -3.5};

std::string Trimmed(const char* out, std::size_t n) {
  std::string text(out, n);
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string LastError() {
  char line[512];
  TraceLogLastError(line, sizeof line);
  return line;
}

std::string Field(int64_t key, int32_t index) {
  char value[512];
  EXPECT_EQ(QuorbGetField(key, index, value), 0);
  return Trimmed(value, sizeof value);
}

int64_t AddFields(int32_t satNum, const char* epoch, const char* coordSys = "MMJ2K") {
  return QuorbAddSatFrFields(kPos, kVel, 'U', satNum, "98067A", epoch, 7, 8, 0.01, 0.02, 0.0,
                             coordSys);
}

class QuorbDllExportsTest : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
  static void Reset() {
    QuorbRemoveAllSats();
    ElsetKeyModeSet(0);
    AllKeyModeClear();
    DupKeyModeSet(0);
  }
};

TEST_F(QuorbDllExportsTest, FieldsToSatKeyGivesTheStoredKeyForEveryEpochForm) {
  const int64_t key = AddFields(25544, "25123120000.000");
  ASSERT_GT(key, 0);
  for (const char* epoch :
       {"25123120000.000", "   25123120000.000", "2025/123.50000000", "2025May03120000.000",
        "2025may03120000.000", "2025/123 1200 00.000", "25123120000.00000"}) {
    EXPECT_EQ(QuorbFieldsToSatKey(25544, epoch), key) << epoch;
  }
  EXPECT_EQ(QuorbFieldsToSatKey(25544, "yesterday"), -1);
  EXPECT_EQ(QuorbGetCount(), 1);
}

TEST_F(QuorbDllExportsTest, MlTwinsWriteWhatTheirPlainTwinsReturn) {
  int64_t ml = 0;
  const int64_t added = QuorbAddSatFrLines(kLine1, kLine2);
  QuorbRemoveAllSats();
  QuorbAddSatFrLinesML(kLine1, kLine2, &ml);
  EXPECT_EQ(ml, added);
  QuorbAddSatFrLinesML(kLine1, kLine2, &ml);
  EXPECT_EQ(ml, QuorbAddSatFrLines(kLine1, kLine2));  // both refused duplicates: 0
  QuorbAddSatFrLinesML(kLine2, kLine1, &ml);
  EXPECT_EQ(ml, -1);

  const int64_t fields = AddFields(5, "25001000000.000");
  QuorbRemoveSat(fields);
  QuorbAddSatFrFieldsML(kPos, kVel, 'U', 5, "98067A", "25001000000.000", 7, 8, 0.01, 0.02, 0.0,
                        "MMJ2K", &ml);
  EXPECT_EQ(ml, fields);

  QuorbFieldsToSatKeyML(5, "25001000000.000", &ml);
  EXPECT_EQ(ml, QuorbFieldsToSatKey(5, "25001000000.000"));
  QuorbGetSatKeyML(5, &ml);
  EXPECT_EQ(ml, QuorbGetSatKey(5));
  QuorbGetSatKeyML(6, &ml);
  EXPECT_EQ(ml, -1);
}

TEST_F(QuorbDllExportsTest, GetFieldWritesEachFieldLeftJustified) {
  const int64_t key = QuorbAddSatFrFields(kPos, kVel, 'S', 5, "  98067A", "25001000000.000", 7, 8,
                                          1e25, 0.02, -0.5, "TMEPO");
  ASSERT_GT(key, 0);
  EXPECT_EQ(Field(key, 9), "5");
  EXPECT_EQ(Field(key, 16), "-0.500000000000000");
  EXPECT_EQ(Field(key, 14), std::string(35, '*'));
  EXPECT_EQ(Field(key, 10), "98067A");
  EXPECT_EQ(Field(key, 7), "S");
  EXPECT_EQ(Field(key, 11), "25001000000.000");
  EXPECT_EQ(Field(key, 12), "7");
  EXPECT_EQ(Field(key, 17), "TMEPO");
  for (int32_t index : {0, 8, -1, 18}) EXPECT_EQ(Field(key, index), "") << index;
}

TEST_F(QuorbDllExportsTest, SetFieldValidatesAndKeepsKeyFields) {
  const int64_t key = AddFields(5, "25001000000.000");
  EXPECT_EQ(QuorbSetField(key, 1, "   7000.5"), 0);
  EXPECT_EQ(Field(key, 1), "7000.500000000000000");
  EXPECT_EQ(QuorbSetField(key, 1, "2E9"), 2);
  EXPECT_EQ(Field(key, 1), "7000.500000000000000");
  EXPECT_EQ(QuorbSetField(key, 17, "XYZ"), 2);
  EXPECT_EQ(QuorbSetField(key, 17, "MMJ2K and more words"), 0);
  EXPECT_EQ(Field(key, 17), "MMJ2K");
  EXPECT_EQ(QuorbSetField(key, 17, ""), 0);
  EXPECT_EQ(Field(key, 17), "");
  EXPECT_EQ(QuorbSetField(key, 10, "ABCDEFGHIJK"), 0);
  EXPECT_EQ(Field(key, 10), "ABCDEFGH");
  EXPECT_EQ(QuorbSetField(key, 9, "77"), 0);
  EXPECT_EQ(QuorbSetField(key, 11, "26001000000.000"), 0);
  EXPECT_EQ(Field(key, 9), "5");
  EXPECT_EQ(Field(key, 11), "25001000000.000");
  EXPECT_EQ(QuorbSetField(key, 42, "1"), 0);
  EXPECT_EQ(QuorbSetField(key + 1, 1, "1"), 2);
  EXPECT_EQ(LastError(), "QuorbSetField: Unable to locate satKey " + std::to_string(key + 1) +
                             " in the QUORB binary tree.");
}

// Covariance, controls and maneuver cards are carried over by every update
// that works on fields.
TEST_F(QuorbDllExportsTest, FieldUpdatesKeepTheOptionalParts) {
  const int64_t key = AddFields(5, "25001000000.000");
  ASSERT_TRUE(quorb::QuorbModifyRec(key, [](quorb::QuorbRecord& rec) {
    rec.covMatrix = std::make_unique<quorb::CovMatrix>();
    (*rec.covMatrix)[3] = 0.5;
    rec.card4p = std::make_unique<quorb::Card4pInput>();
    rec.card4p->geopotFlag = 1;
    rec.maneuvCards = std::make_unique<quorb::ManeuvCards>();
    rec.numManeuvCards = 2;
  }));
  EXPECT_EQ(QuorbSetField(key, 2, "11.0"), 0);
  EXPECT_EQ(QuorbUpdateSatFrFields(key, kPos, kVel, 'C', "X", 1, 2, 0.1, 0.2, 0.3, "TMDAT"), 0);
  EXPECT_EQ(QuorbUpdateSatFrFields(key, kPos, kVel, 'C', "X", -1, 2, 0.1, 0.2, 0.3, "TMDAT"), 2);
  quorb::QuorbRecord rec;
  quorb::QuorbFindRec(key, rec);
  ASSERT_NE(rec.covMatrix, nullptr);
  EXPECT_EQ((*rec.covMatrix)[3], 0.5);
  ASSERT_NE(rec.card4p, nullptr);
  EXPECT_EQ(rec.card4p->geopotFlag, 1);
  EXPECT_NE(rec.maneuvCards, nullptr);
  EXPECT_EQ(rec.numManeuvCards, 2);
  EXPECT_EQ(rec.revNum, 1);
  EXPECT_EQ(rec.satNum, 5);
}

TEST_F(QuorbDllExportsTest, FailedAddsLeaveTheStoreAlone) {
  AddFields(5, "25001000000.000");
  EXPECT_EQ(AddFields(-1, "25001000000.000"), -1);
  EXPECT_EQ(LastError(), " ValidateQuorbValues: Invalid satellite number = -1 (valid=1-999999999)");
  EXPECT_EQ(AddFields(6, "25001000000.000", "mmj2k"), -1);
  EXPECT_EQ(AddFields(6, "garbage"), -1);
  EXPECT_EQ(QuorbAddSatFrLines(kLine2, kLine1), -1);
  EXPECT_EQ(LastError(), "Lines2Quorb: Invalid 1P card set.");
  EXPECT_EQ(AddFields(0, "25001000000.000") > 0, true);
  EXPECT_EQ(QuorbGetCount(), 2);
}

TEST_F(QuorbDllExportsTest, NotFoundMessagesCarryTheKeyIn19Columns) {
  char line1[512];
  char line2[512];
  EXPECT_EQ(QuorbGetLines(42, line1, line2), 2);
  EXPECT_EQ(LastError(),
            "QuorbGetLines: Unable to locate satKey                  42 in the QUORB "
            "binary tree.");
  EXPECT_EQ(QuorbRemoveSat(-3), 2);
  EXPECT_EQ(LastError(), "RemoveNode: Invalid DMA key (<=0).");
  EXPECT_EQ(QuorbGetSatKey(1234567890), -1);
  EXPECT_EQ(LastError(),
            "GetSatKey: Unable to locate satellite number ********* in the QUORB "
            "binary tree.");
}

// After any failing read, a writer on another thread still gets through.
TEST_F(QuorbDllExportsTest, FailedReadsCloseTheirReadAccess) {
  const int64_t key = AddFields(5, "25001000000.000");
  ElsetKeyModeSet(1);
  const int64_t dmaKey = AddFields(6, "25001000000.000");
  ElsetKeyModeSet(0);
  char text[512];
  char text2[512];
  double xa[160];
  double pos[3], vel[3], bTerm, agom, thrust;
  char cls, desig[8], epoch[17], coord[5];
  int32_t sat, rev, elset;
  for (int64_t missing : {key + 1, int64_t{-1}, int64_t{0}, dmaKey + 10, key}) {
    QuorbGetField(missing, 1, text);
    QuorbGetAllFields(missing, pos, vel, &cls, &sat, desig, epoch, &rev, &elset, &bTerm, &agom,
                      &thrust, coord);
    QuorbGetLines(missing, text, text2);
    QuorbDataToArray(missing, xa, text);
  }
  auto writer = std::async(std::launch::async, [] { return AddFields(7, "25001000000.000"); });
  ASSERT_EQ(writer.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_GT(writer.get(), 0);
}

TEST_F(QuorbDllExportsTest, GetLoadedListsKeysInEachOrder) {
  int64_t keys[3] = {-9, -9, -9};
  QuorbGetLoaded(0, keys);
  EXPECT_EQ(keys[0], -9);
  char info[256];
  TraceLogLastInfo(info, sizeof info);
  EXPECT_STREQ(info, "Warning-QuorbGetLoaded: The binary tree is empty. No satKey returns.");
  const int64_t b = AddFields(9, "25001000000.000");
  const int64_t a = AddFields(3, "25002000000.000");
  const int64_t c = AddFields(9, "24001000000.000");
  QuorbGetLoaded(0, keys);
  EXPECT_EQ(std::vector<int64_t>(keys, keys + 3), (std::vector<int64_t>{a, c, b}));
  QuorbGetLoaded(1, keys);
  EXPECT_EQ(std::vector<int64_t>(keys, keys + 3), (std::vector<int64_t>{b, c, a}));
  QuorbGetLoaded(2, keys);
  EXPECT_EQ(std::vector<int64_t>(keys, keys + 3), (std::vector<int64_t>{b, a, c}));
  QuorbGetLoaded(-1, keys);
  EXPECT_EQ(std::vector<int64_t>(keys, keys + 3), (std::vector<int64_t>{a, c, b}));
  EXPECT_EQ(QuorbRemoveSat(a), 0);
  EXPECT_EQ(QuorbGetCount(), 2);
}

TEST_F(QuorbDllExportsTest, ParseAndFieldsToLinesRoundTrip) {
  char line1[512];
  char line2[512];
  QuorbFieldsToLines(kPos, kVel, 'U', 25544, "  98067A", "  25123120000.000", 12345, 999, 0.012,
                     0.02, 0.0, "MMJ2K", line1, line2);
  double pos[3], vel[3], bTerm, agom, thrust;
  char cls, desig[8], epoch[17], coord[5];
  int32_t sat, rev, elset;
  ASSERT_EQ(QuorbParse(line1, line2, pos, vel, &cls, &sat, desig, epoch, &rev, &elset, &bTerm,
                       &agom, &thrust, coord),
            0);
  EXPECT_EQ(pos[1], kPos[1]);
  EXPECT_EQ(vel[2], kVel[2]);
  EXPECT_EQ(sat, 25544);
  EXPECT_EQ(std::string(desig, 8), "98067A  ");
  EXPECT_EQ(std::string(epoch, 17), "  25123120000.000");
  EXPECT_EQ(bTerm, 0.012);
  const double farPos[3] = {2e9, 0, 0};
  QuorbFieldsToLines(farPos, kVel, 'U', 1, "", "25123120000.000", 1, 1, 0, 0, 0, "", line1, line2);
  EXPECT_EQ(Trimmed(line1, 512), "");
  EXPECT_EQ(LastError(), " ValidateQuorbValues: Invalid PosX = 2e+09 (valid=-1E9 to 1E9)");
  EXPECT_EQ(QuorbGetCount(), 0);
}

}  // namespace
