// The array form: which positions hold what, what the store keeps of an
// array, and that no export touches a position the form does not name.

#include "DllExports/QUORB/QuorbDllVarsUtils.h"
#include "Quorb/QuorbTree.h"
#include "Services/Calendar.h"
#include "support/StoreTest.h"

namespace quorb {
namespace {

constexpr double kSentinel = -987.654;
constexpr int kHostArray = 200;
using Array = std::vector<double>;

// The positions the array form names, controls and covariance included.
std::set<int> NamedPositions() {
  std::set<int> named{0, 1, 2, 3, 4, 5, 6, 7, 20, 21, 22, 23, 24, 25, 70};
  for (int i = 71; i <= 154; ++i) {
    if (i != 83 && (i < 89 || i >= 100)) named.insert(i);
  }
  return named;
}

Array Sentinels() {
  return Array(kHostArray, kSentinel);
}

// Positions the form does not name still hold their sentinel; so does the
// controls flag, which is never written.
void ExpectOnlyNamedWritten(const Array& xa) {
  const std::set<int> named = NamedPositions();
  for (int i = 0; i < kHostArray; ++i) {
    if (!named.count(i) || i == 70) {
      EXPECT_EQ(xa[i], kSentinel) << "position " << i;
    }
  }
}

// A valid vector with controls and a covariance.
Array FullArray() {
  Array xa = Sentinels();
  const double head[] = {25544, DTG2DS50UTC("25123120000.000"), 12345, 999, 0.012, 0.02, 1e-9, 2};
  std::copy(std::begin(head), std::end(head), xa.begin());
  for (int i = 0; i < 6; ++i) xa[20 + i] = 1000.0 * (i + 1) + 0.125;
  xa[70] = 1;
  for (int i = 71; i <= 82; ++i) xa[i] = i - 70;
  for (int i = 84; i <= 87; ++i) xa[i] = 1;
  xa[88] = 120.0;
  for (int i = 0; i < 55; ++i) xa[100 + i] = 1e-6 * (i + 1);
  return xa;
}

const char kCompanion[] = "S98067A";

class ArrayForm : public test::StoreTest {};

TEST_F(ArrayForm, ArraysRoundTripThroughTheStore) {
  const Array in = FullArray();
  const int64_t key = QuorbAddSatFrArray(in.data(), kCompanion);
  Array out = Sentinels();
  char text[512];
  ASSERT_EQ(QuorbDataToArray(key, out.data(), text), 0);
  ExpectOnlyNamedWritten(out);
  for (const int i : NamedPositions()) EXPECT_EQ(out[i], i == 70 ? kSentinel : in[i]) << i;
  EXPECT_EQ(test::Out(text, 512), "S98067A");
  // An update keeps the satellite number and epoch, and drops maneuver cards.
  QuorbModifyRec(key, [](QuorbRecord& rec) { rec.numManeuvCards = 1; });
  Array changed = in;
  changed[0] = 11, changed[1] += 3.0, changed[20] = 42.0, changed[70] = 0;
  ASSERT_EQ(QuorbUpdateSatFrArray(key, changed.data(), "U"), 0);
  out = Sentinels();
  QuorbDataToArray(key, out.data(), text);
  EXPECT_EQ(std::vector<double>(out.begin(), out.begin() + 3),
            (std::vector<double>{in[0], in[1], in[2]}));
  EXPECT_EQ(std::make_pair(out[20], out[71]), std::make_pair(42.0, kSentinel));  // no controls
  QuorbRecord rec;
  QuorbFindRec(key, rec);
  EXPECT_EQ(rec.numManeuvCards, 0);
  changed[20] = 2e9;
  EXPECT_EQ(QuorbUpdateSatFrArray(key, changed.data(), "U"), 2);
  EXPECT_EQ(QuorbUpdateSatFrArray(key + 5, in.data(), "U"), 2);
  EXPECT_EQ(test::LastError(), "QuorbUpdateSatFrArray: Unable to locate satKey " +
                                   std::to_string(key + 5) + " in the QUORB binary tree.");
  EXPECT_EQ(quorb::testing::GetAllFields(key).pos[0], 42.0);
}

// Only epochs with a two-digit year (1957 to 2056, rounded to the
// millisecond) enter through the array form, exactly; any other would be
// stored and keyed a century off. Rows: days since 1950, and the epoch text.
TEST_F(ArrayForm, EpochsOutsideTheTwoDigitYearsAreRefused) {
  Array xa = FullArray(), out = Sentinels();
  char xs[512], lines[2][512];
  const double halfMilli = 0.5 / 86'400'000;
  const std::pair<double, std::string> cases[] = {
      {DTG2DS50UTC("57001000000.000"), "57001000000.000"},
      {DTG2DS50UTC("56366235959.999"), "56366235959.999"},
      {2558.0 - 1.2 * halfMilli, ""},
      {39083.0 - 0.8 * halfMilli, ""},
      {40178.5, ""}};
  for (const auto& [ds50, epoch] : cases) {
    xa[1] = ds50;
    for (const int32_t mode : {0, 1}) {
      ElsetKeyModeSet(mode);
      EXPECT_EQ(QuorbDataToArray(QuorbAddSatFrArray(xa.data(), kCompanion), out.data(), xs),
                epoch.empty() ? 2 : 0);
      EXPECT_EQ(out[1], epoch.empty() ? xa[0] : ds50) << epoch;
      out[1] = xa[0];
    }
    QuorbArrayToLines(xa.data(), kCompanion, lines[0], lines[1]);
    EXPECT_EQ(std::string(lines[1], 512).substr(16, 15),
              epoch.empty() ? std::string(15, ' ') : epoch);
  }
  EXPECT_EQ(test::LastError(),
            "QuorbArrayToLines: Epoch 40178.5 (days since 1950) lies outside 1957 to 2056.");
}

// Card sets to arrays and back touch only the vector's positions; a card set
// that cannot be read leaves the array alone; satellite -1 gives no lines.
TEST_F(ArrayForm, ConversionsTouchOnlyTheVectorPositions) {
  Array xa = Sentinels();
  char xs[512], line1[512], line2[512];
  ASSERT_EQ(QuorbLinesToArray(test::k1P.c_str(), test::k2P.c_str(), xa.data(), xs), 0);
  EXPECT_EQ(std::count(xa.begin(), xa.end(), kSentinel), kHostArray - 14);
  EXPECT_EQ(std::vector<double>(xa.begin(), xa.begin() + 8),
            (std::vector<double>{25544, 27517.5, 12345, 999, 0.012, 0.02, 0, 2}));
  QuorbArrayToLines(xa.data(), xs, line1, line2);
  EXPECT_EQ(test::Out(line1, 512) + test::Out(line2, 512), test::k1P + test::k2P);
  EXPECT_EQ(QuorbLinesToArray(test::k2P.c_str(), test::k1P.c_str(), xa.data(), xs), 2);
  EXPECT_EQ(std::count(xa.begin(), xa.end(), kSentinel), kHostArray - 14);
  EXPECT_EQ(test::Out(xs, 512), "");
  xa[0] = -1.5;
  QuorbArrayToLines(xa.data(), xs, line1, line2);
  EXPECT_EQ(test::Out(line1, 512) + test::Out(line2, 512), "");
}

TEST_F(ArrayForm, ControlsAndCovarianceFollowTheFlag) {
  Array xa = FullArray();
  const Line xs = MakeText<kLineLength>("U12345678");
  xa[87] = 5;  // no such step mode
  QuorbRecord rec = Array2Quorb(xa.data(), xs);
  ASSERT_NE(rec.card4p(), nullptr);
  EXPECT_EQ(std::make_tuple(rec.card4p()->ctrl1, rec.card4p()->ctrl2, rec.card4p()->ctrl3,
                            rec.card4p()->ctrl4, rec.card4p()->sEarthTidesFlag,
                            rec.card4p()->stepMode, rec.card4p()->stepSize),
            std::make_tuple(1, 1, 1, 1, 12, 0, 120.0));
  EXPECT_NE(rec.covMatrix(), nullptr);
  xa[87] = 2;
  const int32_t kept = Array2Quorb(xa.data(), xs).card4p()->stepMode;
  xa[87] = -1;
  EXPECT_EQ(kept * 10 + Array2Quorb(xa.data(), xs).card4p()->stepMode, 20);
  // A copy takes its source's parts: none when the source has none.
  xa[QUORB_XA_CONTROLS_FLAG] = 0;
  const QuorbRecord plain = Array2Quorb(xa.data(), xs);
  rec = plain;
  EXPECT_TRUE(rec.card4p() == nullptr && rec.covMatrix() == nullptr);
}

}  // namespace
}  // namespace quorb
