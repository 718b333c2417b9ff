// The array form: positions, companion text, controls and covariance, and
// the exports built on them.
#include "DllExports/QUORB/QuorbDllVarsUtils.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "Quorb/QuorbTree.h"
#include "Services/Calendar.h"
#include "quorb/quorb.h"

namespace quorb {
namespace {

constexpr double kSentinel = -987.654;
constexpr int kHostArray = 200;

const char kLine1[] =
    "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P";
const char kLine2[] =
    "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P";

// The positions the array form names; no other may be read or written.
std::set<int> NamedPositions() {
  std::set<int> named{0, 1, 2, 3, 4, 5, 6, 7, 20, 21, 22, 23, 24, 25, 70};
  for (int i = 71; i <= 82; ++i) named.insert(i);
  for (int i = 84; i <= 88; ++i) named.insert(i);
  for (int i = 100; i <= 154; ++i) named.insert(i);
  return named;
}

std::vector<double> SentinelArray() {
  return std::vector<double>(kHostArray, kSentinel);
}

void ExpectUnnamedUntouched(const std::vector<double>& xa) {
  const std::set<int> named = NamedPositions();
  for (int i = 0; i < kHostArray; ++i) {
    if (!named.count(i)) {
      EXPECT_EQ(xa[i], kSentinel) << "position " << i;
    }
  }
}

// A valid vector in array form, with controls and a covariance.
std::vector<double> FullArray() {
  std::vector<double> xa = SentinelArray();
  xa[0] = 25544;
  xa[1] = DTG2DS50UTC("25123120000.000");
  xa[2] = 12345;
  xa[3] = 999;
  xa[4] = 0.012;
  xa[5] = 0.02;
  xa[6] = 1e-9;
  xa[7] = 2;
  for (int i = 0; i < 6; ++i) xa[20 + i] = 1000.0 * (i + 1) + 0.125;
  xa[70] = 1;
  for (int i = 71; i <= 82; ++i) xa[i] = i - 70;
  for (int i = 84; i <= 87; ++i) xa[i] = 1;
  xa[88] = 120.0;
  for (int i = 0; i < 55; ++i) xa[100 + i] = 1e-6 * (i + 1);
  return xa;
}

std::string Companion(char secClass, const char* desig) {
  std::string xs(512, ' ');
  xs[0] = secClass;
  xs.replace(1, std::strlen(desig), desig);
  return xs;
}

class ArrayFormTest : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
  void TearDown() override { Reset(); }
  static void Reset() {
    QuorbRemoveAllSats();
    ElsetKeyModeSet(0);
    DupKeyModeSet(0);
  }
};

// Arrays pass through the store position for position, with controls and
// covariance, and no export touches a position the form does not name.
TEST_F(ArrayFormTest, ArraysRoundTripThroughTheStoreAndTouchOnlyNamedPositions) {
  const std::vector<double> in = FullArray();
  const std::string xs = Companion('S', "98067A");
  const int64_t key = QuorbAddSatFrArray(in.data(), xs.c_str());
  ASSERT_GT(key, 0);

  std::vector<double> out = SentinelArray();
  char outText[512];
  ASSERT_EQ(QuorbDataToArray(key, out.data(), outText), 0);
  ExpectUnnamedUntouched(out);
  EXPECT_EQ(out[70], kSentinel);  // the controls flag is never written
  for (int i : NamedPositions()) {
    if (i != 70) {
      EXPECT_EQ(out[i], in[i]) << "position " << i;
    }
  }
  EXPECT_EQ(std::string(outText, 512), xs);

  std::vector<double> updated = out;
  updated[70] = 1;
  updated[20] = 42.0;
  ASSERT_EQ(QuorbUpdateSatFrArray(key, updated.data(), outText), 0);
  std::vector<double> again = SentinelArray();
  QuorbDataToArray(key, again.data(), outText);
  EXPECT_EQ(again[20], 42.0);
  EXPECT_EQ(again[154], in[154]);
  ExpectUnnamedUntouched(again);
}

TEST_F(ArrayFormTest, ConversionExportsTouchOnlyNamedPositions) {
  std::vector<double> xa = SentinelArray();
  char xs[512];
  ASSERT_EQ(QuorbLinesToArray(kLine1, kLine2, xa.data(), xs), 0);
  ExpectUnnamedUntouched(xa);
  for (int i = 70; i < 155; ++i) EXPECT_EQ(xa[i], kSentinel) << "position " << i;
  EXPECT_EQ(xa[0], 25544);
  EXPECT_EQ(xa[7], 2);
  EXPECT_EQ(xa[22], 253.0097);

  char line1[512];
  char line2[512];
  QuorbArrayToLines(xa.data(), xs, line1, line2);
  EXPECT_EQ(std::string(line1, 80), kLine1);
  EXPECT_EQ(std::string(line2, 80), kLine2);
  ExpectUnnamedUntouched(xa);

  std::vector<double> untouched = SentinelArray();
  EXPECT_EQ(QuorbLinesToArray(kLine2, kLine1, untouched.data(), xs), 2);
  EXPECT_EQ(untouched, SentinelArray());
  EXPECT_EQ(std::string(xs, 512), std::string(512, ' '));
}

TEST_F(ArrayFormTest, CoordinateSystemCodes) {
  QuorbRecord rec;
  std::vector<double> xa = SentinelArray();
  Line xs;
  for (const auto& [coordSys, code] : std::vector<std::pair<const char*, double>>{
           {"TMDAT", 1}, {"TMEPO", 1}, {"MMB50", 2}, {"MMJ2K", 2}, {"     ", 0}}) {
    SetText(rec.coordSys, coordSys);
    Quorb2Array(rec, xa.data(), xs);
    EXPECT_EQ(xa[7], code) << coordSys;
  }
  for (const auto& [code, coordSys] : std::vector<std::pair<double, const char*>>{
           {1, "TMDAT"}, {2, "MMJ2K"}, {1.5, "     "}, {0, "     "}, {-2, "     "}}) {
    xa[7] = code;
    EXPECT_EQ(View(Array2Quorb(xa.data(), xs).coordSys), coordSys) << code;
  }
}

TEST_F(ArrayFormTest, ControlsAndCovarianceFollowTheFlag) {
  std::vector<double> xa = FullArray();
  const Line xs = MakeText<kLineLength>("U12345678");
  xa[87] = 5;
  QuorbRecord rec = Array2Quorb(xa.data(), xs);
  ASSERT_NE(rec.card4p, nullptr);
  EXPECT_EQ(rec.card4p->stepMode, 0);
  EXPECT_EQ(rec.card4p->ctrl1, 1);
  EXPECT_EQ(rec.card4p->ctrl4, 1);
  EXPECT_EQ(rec.card4p->sEarthTidesFlag, 12);
  EXPECT_EQ(rec.card4p->stepSize, 120.0);
  EXPECT_NE(rec.covMatrix, nullptr);
  xa[87] = 2;
  EXPECT_EQ(Array2Quorb(xa.data(), xs).card4p->stepMode, 2);

  for (int i = 100; i < 155; ++i) xa[i] = 0.0;
  rec = Array2Quorb(xa.data(), xs);
  EXPECT_NE(rec.card4p, nullptr);
  EXPECT_EQ(rec.covMatrix, nullptr);
  xa[130] = 1e-20;
  EXPECT_NE(Array2Quorb(xa.data(), xs).covMatrix, nullptr);
  xa[130] = std::nan("");
  EXPECT_EQ(Array2Quorb(xa.data(), xs).covMatrix, nullptr);

  xa[70] = 0.0;
  rec = Array2Quorb(xa.data(), xs);
  EXPECT_EQ(rec.card4p, nullptr);
  EXPECT_EQ(rec.covMatrix, nullptr);
  EXPECT_EQ(View(rec.intlDesig), "12345678");
}

TEST_F(ArrayFormTest, EpochAndNumbersConvertExactly) {
  std::vector<double> xa = FullArray();
  const Line xs = BlankText<kLineLength>();
  xa[0] = 25544.9;
  xa[2] = -3.7;
  for (const char* epoch : {"25123120000.000", "57001000000.001", "56366235959.999"}) {
    xa[1] = DTG2DS50UTC(epoch);
    const QuorbRecord rec = Array2Quorb(xa.data(), xs);
    EXPECT_EQ(TrimRight(View(rec.epochDtg)), epoch);
    EXPECT_EQ(rec.satNum, 25544);
    EXPECT_EQ(rec.revNum, -3);
  }
  for (double bad : {std::nan(""), std::numeric_limits<double>::infinity(), 1e300, -3e9}) {
    xa[0] = bad;
    EXPECT_EQ(Array2Quorb(xa.data(), xs).satNum, INT32_MIN) << bad;
  }
}

TEST_F(ArrayFormTest, UpdateKeepsKeyFieldsAndDropsManeuverCards) {
  const std::vector<double> in = FullArray();
  const std::string xs = Companion('U', "98067A");
  const int64_t key = QuorbAddSatFrArray(in.data(), xs.c_str());
  QuorbModifyRec(key, [](QuorbRecord& rec) {
    rec.maneuvCards = std::make_unique<ManeuvCards>();
    rec.numManeuvCards = 1;
  });
  std::vector<double> changed = in;
  changed[0] = 11;
  changed[1] += 3.0;
  changed[70] = 0;
  ASSERT_EQ(QuorbUpdateSatFrArray(key, changed.data(), xs.c_str()), 0);
  QuorbRecord rec;
  QuorbFindRec(key, rec);
  EXPECT_EQ(rec.satNum, 25544);
  EXPECT_EQ(TrimRight(View(rec.epochDtg)), "25123120000.000");
  EXPECT_EQ(rec.maneuvCards, nullptr);
  EXPECT_EQ(rec.numManeuvCards, 0);
  EXPECT_EQ(rec.card4p, nullptr);

  changed[20] = 2e9;
  EXPECT_EQ(QuorbUpdateSatFrArray(key, changed.data(), xs.c_str()), 2);
  EXPECT_EQ(QuorbUpdateSatFrArray(key + 5, changed.data(), xs.c_str()), 2);
  QuorbFindRec(key, rec);
  EXPECT_EQ(rec.pos[0], in[20]);
}

TEST_F(ArrayFormTest, ArrayToLinesWritesInvalidArraysButNotSatelliteMinusOne) {
  std::vector<double> xa = FullArray();
  const std::string xs = Companion('U', "98067A");
  char line1[512];
  char line2[512];
  xa[2] = 5000000;  // fails validation, still written
  QuorbArrayToLines(xa.data(), xs.c_str(), line1, line2);
  EXPECT_EQ(std::string(line2, 5), "25544");
  xa[0] = -1;
  QuorbArrayToLines(xa.data(), xs.c_str(), line1, line2);
  EXPECT_EQ(std::string(line1, 512), std::string(512, ' '));
  EXPECT_EQ(std::string(line2, 512), std::string(512, ' '));
}

// Arbitrary doubles, NaN and infinities included, never crash the exports.
TEST_F(ArrayFormTest, ArbitraryDoublesAreSafe) {
  const double specials[] = {std::nan(""),
                             std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(),
                             1e308,
                             -1e308,
                             0.0,
                             -0.0,
                             5e-324,
                             2147483648.0,
                             -2147483649.0};
  std::vector<double> xa(kHostArray);
  char line1[512];
  char line2[512];
  const std::string xs = Companion('U', "X");
  for (int round = 0; round < 200; ++round) {
    for (int i = 0; i < kHostArray; ++i) xa[i] = specials[(i * 7 + round) % 10];
    xa[70] = round % 2;
    QuorbArrayToLines(xa.data(), xs.c_str(), line1, line2);
    QuorbAddSatFrArray(xa.data(), xs.c_str());
  }
  ElsetKeyModeSet(1);
  for (int round = 0; round < 20; ++round) {
    for (int i = 0; i < kHostArray; ++i) xa[i] = specials[(i + round) % 10];
    QuorbAddSatFrArray(xa.data(), xs.c_str());
  }
  SUCCEED();
}

}  // namespace
}  // namespace quorb
