#include "Quorb/QuorbCardReading.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "quorb/quorb_services.h"

namespace quorb {
namespace {

// Collects the error lines logged while it lives.
class ErrorCapture {
 public:
  ErrorCapture() { TraceLogSetSink(&Collect, this); }
  ~ErrorCapture() { TraceLogSetSink(nullptr, nullptr); }
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  static void Collect(int32_t level, const char* msg, int32_t len, void* user) {
    if (level == 1) static_cast<ErrorCapture*>(user)->lines_.emplace_back(msg, len);
  }
  std::vector<std::string> lines_;
};

const std::string kExample1P =
    "   6524.8346  -1876.2210    253.0097    1983.2456    6812.7001   -3456.1234 UB1P";
const std::string kExample2P =
    "25544 98067A    25123120000.000  12345  999     0.012      0.02       0.0MMJ2K2P";

Line L(std::string_view text) {
  return MakeText<kLineLength>(text);
}

// text with its columns from first (1-based) on replaced by part.
std::string WithColumns(std::string text, std::size_t first, std::string_view part) {
  text.replace(first - 1, part.size(), part);
  return text;
}

std::string Quoted(std::string_view prefix, const Line& line, std::string_view suffix = "") {
  std::string s = std::string(prefix) + std::string(View(line)) + std::string(suffix);
  return s.substr(0, s.find_last_not_of(' ') + 1);
}

QuorbRecord ExampleRecord() {
  QuorbRecord rec;
  rec.pos[0] = 6524.8346;
  rec.pos[1] = -1876.2210;
  rec.pos[2] = 253.0097;
  rec.vel[0] = 1983.2456;
  rec.vel[1] = 6812.7001;
  rec.vel[2] = -3456.1234;
  rec.secClass = 'U';
  rec.satNum = 25544;
  rec.intlDesig = MakeText<8>("98067A");
  rec.epochDtg = MakeText<17>("25123120000.000");
  rec.revNum = 12345;
  rec.elsetNum = 999;
  rec.bTerm = 0.012;
  rec.agom = 0.02;
  rec.inTrackThrust = 0.0;
  rec.coordSys = MakeText<5>("MMJ2K");
  return rec;
}

int32_t Read(std::string_view line1, std::string_view line2, QuorbRecord& rec) {
  return Lines2Quorb(L(line1), L(line2), rec);
}

TEST(Quorb2Lines, WritesTheExampleColumnForColumn) {
  // Every column is written, the blanks past the cards too, whatever the
  // lines held.
  Line line1, line2;
  line1.fill('#');
  line2.fill('#');
  ASSERT_TRUE(Quorb2Lines(ExampleRecord(), line1, line2));
  EXPECT_EQ(View(line1), View(L(kExample1P)));
  EXPECT_EQ(View(line2), View(L(kExample2P)));
}

TEST(Quorb2Lines, WideValuesFillTheirColumnsWithAsterisks) {
  QuorbRecord rec = ExampleRecord();
  rec.pos[1] = 1.0e9;
  rec.vel[2] = std::nan("");
  rec.revNum = 1234567;
  rec.elsetNum = -1000;
  rec.satNum = 340000;
  Line line1, line2;
  ASSERT_TRUE(Quorb2Lines(rec, line1, line2));
  EXPECT_EQ(View(line1).substr(12, 12), "************");
  EXPECT_EQ(View(line1).substr(62, 13), "*************");
  EXPECT_EQ(View(line2).substr(0, 5), "*****");
  EXPECT_EQ(View(line2).substr(31, 12), " ****** ****");
}

// What a card set written from rec reads back as: the card fields, positions
// and velocities to 4 decimals, and the epoch right-aligned.
void ExpectReadBack(const QuorbRecord& back, const QuorbRecord& rec) {
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(back.pos[k], rec.pos[k], 0.50001e-4);
    EXPECT_NEAR(back.vel[k], rec.vel[k], 0.50001e-4);
  }
  EXPECT_EQ(back.secClass, rec.secClass);
  EXPECT_EQ(back.satNum, rec.satNum);
  EXPECT_EQ(View(back.intlDesig), View(rec.intlDesig));
  const std::string_view epoch = TrimRight(View(rec.epochDtg));
  EXPECT_EQ(View(back.epochDtg), std::string(17 - epoch.size(), ' ') + std::string(epoch));
  EXPECT_EQ(back.revNum, rec.revNum);
  EXPECT_EQ(back.elsetNum, rec.elsetNum);
  EXPECT_EQ(back.bTerm, rec.bTerm);
  EXPECT_EQ(back.agom, rec.agom);
  EXPECT_EQ(back.inTrackThrust, rec.inTrackThrust);
  EXPECT_EQ(View(back.coordSys), View(rec.coordSys));
}

TEST(Lines2Quorb, ReadsTheExample) {
  QuorbRecord rec;
  rec.secClass = 'S';
  ASSERT_EQ(Read(kExample1P, kExample2P, rec), 0);
  ExpectReadBack(rec, ExampleRecord());
  EXPECT_EQ(View(rec.epochDtg), "  25123120000.000");
}

TEST(Lines2Quorb, NumericFieldsFollowTheCardRules) {
  QuorbRecord rec;
  std::string line1 = WithColumns(kExample1P, 1, "  12345     ");
  line1 = WithColumns(line1, 13, " 1 2 3 4 5  ");
  line1 = WithColumns(line1, 25, "    1.2345E3");
  line1 = WithColumns(line1, 37, "             ");
  std::string line2 = WithColumns(kExample2P, 32, "1234567");
  line2 = WithColumns(line2, 44, "  0.1234-3");
  line2 = WithColumns(line2, 54, "     12345");
  line2 = WithColumns(line2, 64, "   1.5D-10");
  ErrorCapture capture;
  // revNum 1234567 is read whole; validation then refuses it.
  EXPECT_EQ(Read(line1, line2, rec), 2);
  EXPECT_EQ(rec.pos[0], 1.2345);
  EXPECT_EQ(rec.pos[1], 1.2345);
  EXPECT_EQ(rec.pos[2], 1234.5);
  EXPECT_EQ(rec.vel[0], 0.0);
  EXPECT_EQ(rec.revNum, 1234567);
  EXPECT_EQ(rec.bTerm, 0.0001234);
  EXPECT_EQ(rec.agom, 12345.0);
  EXPECT_EQ(rec.inTrackThrust, 1.5e-10);
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_NE(capture.lines()[0].find("Revolution"), std::string::npos);
}

TEST(Lines2Quorb, EachFailureLogsItsMessages) {
  struct Case {
    std::string line1, line2;
    std::vector<std::string> messages;
  };
  const std::string lowerTag = WithColumns(kExample1P, 78, "b1p");
  const std::string badLevel = WithColumns(kExample1P, 77, "u");
  const std::string bad1P = WithColumns(kExample1P, 50, "   6812,7001");
  const std::string bad2P = WithColumns(kExample2P, 39, "  9x9");
  const std::vector<Case> cases = {
      {lowerTag, kExample2P, {"Lines2Quorb: Invalid 1P card set."}},
      {kExample2P, kExample2P, {"Lines2Quorb: Invalid 1P card set."}},
      {kExample1P, kExample1P, {"Lines2Quorb: Invalid 2P card set."}},
      {kExample1P, "", {"Lines2Quorb: Invalid 2P card set."}},
      {badLevel,
       kExample2P,
       {Quoted("Lines2Quorb: Line1 = '", L(badLevel), "'."),
        "Lines2Quorb: Unknown Quorb's classify level 'u'."}},
      {bad1P, kExample2P, {Quoted("Lines2Quorb: Error reading 1P: ", L(bad1P))}},
      {kExample1P, bad2P, {Quoted("Lines2Quorb: Error reading 2P: ", L(bad2P))}},
  };
  for (const Case& c : cases) {
    QuorbRecord rec;
    ErrorCapture capture;
    EXPECT_EQ(Read(c.line1, c.line2, rec), 2) << c.line1 << "\n" << c.line2;
    EXPECT_EQ(capture.lines(), c.messages);
  }
}

TEST(Lines2Quorb, EveryClassifyLevelItAllows) {
  for (const char level : {' ', 'C', 'S', 'U'}) {
    QuorbRecord rec;
    EXPECT_EQ(Read(WithColumns(kExample1P, 77, std::string(1, level)), kExample2P, rec), 0);
    EXPECT_EQ(rec.secClass, level);
  }
}

TEST(Lines2Quorb, ReleasesOptionalPartsEvenWhenItFails) {
  for (const std::string& line1 : {kExample1P, kExample2P}) {
    QuorbRecord rec;
    rec.covMatrix = std::make_unique<CovMatrix>();
    rec.card4p = std::make_unique<Card4pInput>();
    rec.maneuvCards = std::make_unique<ManeuvCards>();
    rec.numManeuvCards = 1;
    ErrorCapture quiet;
    Read(line1, kExample2P, rec);
    EXPECT_EQ(rec.covMatrix, nullptr);
    EXPECT_EQ(rec.card4p, nullptr);
    EXPECT_EQ(rec.maneuvCards, nullptr);
  }
}

TEST(CardSet, PositionOfOneBillionKmIsWrittenButCannotBeReadBack) {
  QuorbRecord rec = ExampleRecord();
  rec.pos[0] = 1.0e9;
  Line line1, line2;
  ASSERT_TRUE(Quorb2Lines(rec, line1, line2));
  EXPECT_EQ(View(line1).substr(0, 12), "************");
  ErrorCapture capture;
  QuorbRecord back;
  EXPECT_EQ(Lines2Quorb(line1, line2, back), 2);
  EXPECT_EQ(capture.lines(),
            std::vector<std::string>{Quoted("Lines2Quorb: Error reading 1P: ", line1)});
}

// A random record that validation accepts, with force-model terms that the
// 10-column fields hold exactly.
QuorbRecord RandomRecord(std::mt19937_64& rng) {
  auto uniform = [&rng](double lo, double hi) {
    return std::uniform_real_distribution<double>(lo, hi)(rng);
  };
  auto integer = [&rng](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
  auto pick = [&](std::initializer_list<const char*> options) {
    return *(options.begin() + integer(0, static_cast<int>(options.size()) - 1));
  };
  QuorbRecord rec;
  for (int i = 0; i < 3; ++i) {
    rec.pos[i] = uniform(-1, 1) * std::pow(10.0, integer(-3, 6));
    rec.vel[i] = uniform(-1, 1) * std::pow(10.0, integer(-3, 6));
  }
  rec.secClass = pick({" ", "C", "S", "U"})[0];
  rec.satNum = integer(0, 339999);
  rec.intlDesig = MakeText<8>(pick({"98067A", "", "2024-001", "57001B  "}));
  rec.epochDtg = MakeText<17>(
      pick({"25123120000.000", "2025/123.50000000", "  25123120000.000", "99001000000.5"}));
  rec.revNum = integer(0, 999999);
  rec.elsetNum = integer(0, 9999);
  // Divided by an exact power of ten, so each is the double nearest its
  // short decimal text.
  rec.bTerm = integer(-9999999, 9999999) / std::pow(10.0, integer(0, 7));
  rec.agom = integer(0, 9999) / 1e4;
  rec.inTrackThrust = integer(-999, 999) / 1e12;
  rec.coordSys = MakeText<5>(pick({"TMDAT", "TMEPO", "MMB50", "MMJ2K", ""}));
  return rec;
}

TEST(CardSet, RandomRecordsSurviveWriteAndRead) {
  std::mt19937_64 rng(1950);
  for (int i = 0; i < 5000; ++i) {
    const QuorbRecord rec = RandomRecord(rng);
    Line line1, line2;
    ASSERT_TRUE(Quorb2Lines(rec, line1, line2));
    EXPECT_TRUE(IsBlank(View(line1).substr(80)) && IsBlank(View(line2).substr(80)));
    SCOPED_TRACE(std::string(View(line1).substr(0, 80)) + "\n" +
                 std::string(View(line2).substr(0, 80)));
    QuorbRecord back;
    ASSERT_EQ(Lines2Quorb(line1, line2, back), 0);
    ExpectReadBack(back, rec);
  }
}

// The card tests come first and look only at the last columns; keywords are
// compared byte for byte from column 1; columns past the end are blanks.
TEST(QuorbCardType, TestsRunInOrder) {
  const std::string blank80(80, ' ');
  const std::vector<std::pair<std::string, int32_t>> cases = {
      {kExample1P, kCard1P},
      {kExample2P, kCard2P},
      {WithColumns(WithColumns(blank80, 1, "VECFIL"), 79, "2P"), kCard2P},
      {WithColumns(WithColumns(blank80, 1, "KT_DMA_ON"), 78, "B1P"), kCard1P},
      {WithColumns(blank80, 78, "b1p"), kCardOther},
      {WithColumns(blank80, 78, "A1P"), kCardOther},
      {WithColumns(blank80, 79, "2p"), kCardOther},
      {"POS_VEL_ECI_STATE", kCardZyrVecData},
      {"RUN_OPTION_DC_ONLY", kCardZyrCtrlData},
      {"VECFIL", kCardFileKeyword},
      {"VECFILE=vectors.txt", kCardFileKeyword},
      {"VECTORFILE vectors.txt", kCardFileKeyword},
      {"ELTFIL=a", kCardFileKeyword},
      {"ELSETFILE=a", kCardFileKeyword},
      {"SATFIL=a", kCardFileKeyword},
      {"ZYRVECFILE=z.txt", kCardZyrVecFile},
      {"ZYRCTRLFILE=c.txt", kCardZyrCtrlFile},
      {"KT_DMA_ON", kCardDmaOn},
      {"vecfil=a", kCardOther},
      {" VECFIL=a", kCardOther},
      {"VECFI", kCardOther},
      {"", kCardOther},
      {std::string(77, ' ') + "B1", kCardOther},
      {std::string(78, ' ') + "2", kCardOther},
  };
  for (const auto& [line, code] : cases) {
    EXPECT_EQ(QuorbCardType(line), code) << "'" << line << "'";
    EXPECT_EQ(QuorbCardType(View(L(line))), code) << "'" << line << "' padded";
  }
}

TEST(FieldsToStr, SatelliteNumberThenDaysSince1950) {
  QuorbRecord rec = ExampleRecord();
  EXPECT_EQ(View(FieldsToStr(rec)), "000025544 27517.500000000       ");
  rec.satNum = 0;
  rec.epochDtg = MakeText<17>("not an epoch");
  EXPECT_EQ(View(FieldsToStr(rec)), "000000000     0.000000000       ");
}

TEST(FieldsToStr, LabelsSortBySatelliteThenEpoch) {
  QuorbRecord a = ExampleRecord(), b = ExampleRecord(), c = ExampleRecord();
  a.satNum = 999;
  b.epochDtg = MakeText<17>("25123120000.001");
  c.satNum = 100000;
  c.epochDtg = MakeText<17>("57001000000.000");
  EXPECT_LT(View(FieldsToStr(a)), View(FieldsToStr(ExampleRecord())));
  EXPECT_LT(View(FieldsToStr(ExampleRecord())), View(FieldsToStr(b)));
  EXPECT_LT(View(FieldsToStr(b)), View(FieldsToStr(c)));
}

// The loaders' classifier must answer as QuorbCardType does on the line
// upper-cased in its first 80 columns, for cards, keywords in any case and
// lines that only look like either.
TEST(QuorbCardTypeAnyCase, AnswersAsTheUpperCasedLine) {
  const std::vector<std::string> pieces = {"vecfil",
                                           "VectorFile",
                                           "eltfil",
                                           "elsetfile",
                                           "satfil",
                                           "zyrvecfile",
                                           "ZyrCtrlFile",
                                           "kt_dma_on",
                                           "pos_vel_eci_state",
                                           "run_option_dc_only",
                                           "Ve",
                                           "=x",
                                           " ",
                                           "b1p",
                                           "B1P",
                                           "2p",
                                           "1P",
                                           "*",
                                           "q",
                                           "9"};
  std::mt19937 rng(11);
  for (int i = 0; i < 20000; ++i) {
    std::string line;
    for (int n = rng() % 4; n >= 0; --n) line += pieces[rng() % pieces.size()];
    if (rng() % 2)
      line = WithColumns(line + std::string(90, ' '), 78 + rng() % 2, pieces[rng() % 18]);
    if (rng() % 3 == 0) line.resize(rng() % 100, ' ');
    std::string upper = line.substr(0, 80);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    ASSERT_EQ(QuorbCardTypeAnyCase(line), QuorbCardType(upper)) << "'" << line << "'";
  }
  EXPECT_EQ(QuorbCardTypeAnyCase(WithColumns(std::string(80, ' '), 78, "b1p")), kCard1P);
  EXPECT_EQ(QuorbCardTypeAnyCase("Satfil = a.txt"), kCardFileKeyword);
  EXPECT_EQ(QuorbCardTypeAnyCase(std::string(80, ' ') + "VECFIL"), kCardOther);
}

// Random bytes, short lines and valid cards with a few columns spoiled: the
// reader must answer 0 or 2 and never misbehave.
TEST(CardSetFuzz, GarbageNeverCrashes) {
  std::mt19937 rng(2025);
  std::uniform_int_distribution<int> byte(0, 255);
  std::uniform_int_distribution<int> column(0, 79);
  std::uniform_int_distribution<int> length(0, 100);
  ErrorCapture quiet;
  int read = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string line1 = kExample1P, line2 = kExample2P;
    for (int n = i % 4; n > 0; --n) {
      line1[column(rng)] = static_cast<char>(byte(rng));
      line2[column(rng)] = static_cast<char>(byte(rng));
    }
    if (i % 7 == 0) line2.resize(length(rng));
    QuorbRecord rec;
    const int32_t status = Read(line1, line2, rec);
    ASSERT_TRUE(status == 0 || status == 2);
    read += status == 0;

    std::string noise(length(rng), ' ');
    for (char& c : noise) c = static_cast<char>(byte(rng));
    EXPECT_EQ(QuorbCardType(noise), QuorbCardType(View(L(noise))));
    EXPECT_EQ(Read(noise, noise, rec), 2);
  }
  EXPECT_GT(read, 1000) << "spoiled cards should often still be readable";
}

}  // namespace
}  // namespace quorb
