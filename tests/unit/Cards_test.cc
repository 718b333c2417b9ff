// Card sets: the columns of each field, the number forms a field may take,
// what is refused and why, and how values are written; and the epoch texts
// they carry, days since 1950 and the keys made of them.

#include <bit>
#include <optional>
#include <sstream>

#include "Quorb/CardFields.h"
#include "Quorb/QuorbCardReading.h"
#include "Services/Calendar.h"
#include "Services/CharClasses.h"
#include "Services/Maneuvers.h"
#include "support/StoreTest.h"

namespace quorb {
namespace {

using test::k1P;
using test::k2P;
using test::WithColumns;

Line L(std::string_view text) {
  return MakeText<kLineLength>(text);
}

TEST(CardSet, ExampleIsWrittenColumnForColumn) {
  const double pos[3] = {6524.8346, -1876.2210, 253.0097};
  const double vel[3] = {1983.2456, 6812.7001, -3456.1234};
  char line1[512], line2[512];
  std::fill_n(line1, 512, '#');
  QuorbFieldsToLines(pos, vel, 'U', 25544, "98067A", "25123120000.000", 12345, 999, 0.012, 0.02,
                     0.0, "MMJ2K", line1, line2);
  EXPECT_EQ(std::string(line1, 512) + std::string(line2, 512),
            std::string(View(L(k1P))) + std::string(View(L(k2P))));
}

// Every column of both cards holds a character of a field, so a field read
// one column off or one column wider shows.
TEST(CardSet, EachFieldIsReadFromItsOwnColumns) {
  QuorbRecord r;
  ASSERT_EQ(
      ReadCardSetFields(
          L("111111111111222222222222333333333333444444444444455555555555556666666666666 SB1P"),
          L("Z9999xABCDEFGH25123120000.00012123456712345123456789023456789013456789012TMEPO2P"), r),
      0);
  EXPECT_EQ(std::vector<double>(r.pos, r.pos + 3),
            (std::vector<double>{11111111.1111, 22222222.2222, 33333333.3333}));
  EXPECT_EQ(std::vector<double>(r.vel, r.vel + 3),
            (std::vector<double>{444444444.4444, 555555555.5555, 666666666.6666}));
  EXPECT_EQ(
      std::make_tuple(r.secClass, r.satNum, r.revNum, r.elsetNum, r.bTerm, r.agom, r.inTrackThrust),
      std::make_tuple('S', 339999, 1234567, 12345, 1234567890.0, 2345678901.0, 3456789012.0));
  EXPECT_EQ(std::string(View(r.intlDesig)) + std::string(View(r.epochDtg)) +
                std::string(View(r.coordSys)),
            "ABCDEFGH25123120000.00012TMEPO");
}

TEST(CardSet, RefusedCardSetsAndTheirMessages) {
  const std::string badLevel = WithColumns(k1P, 77, "u");
  const std::string bad1P = WithColumns(k1P, 50, "   6812,7001");
  const std::string bad2P = WithColumns(k2P, 39, "  9:9");  // the character after 9
  const std::string invalid = " ValidateQuorbValues: Invalid ";
  const struct {
    std::string line1, line2;
    std::vector<std::string> messages;
  } cases[] = {
      {k1P, "", {"Lines2Quorb: Invalid 2P card set."}},
      {badLevel,
       k2P,
       {"Lines2Quorb: Line1 = '" + std::string(View(L(badLevel))) + "'.",
        "Lines2Quorb: Unknown Quorb's classify level 'u'."}},
      {bad1P, k2P, {"Lines2Quorb: Error reading 1P: " + bad1P}},
      {k1P, bad2P, {"Lines2Quorb: Error reading 2P: " + bad2P}},
      {k1P,
       WithColumns(k2P, 32, "1000000"),
       {invalid + "Epoch Revolution = 1000000 (valid=0-99999)"}},
      {k1P, WithColumns(k2P, 1, "I0000"), {invalid + "satellite number = -1 (valid=1-999999999)"}}};
  for (const auto& c : cases) {
    test::LogCapture capture;
    const quorb::testing::HostFields f = quorb::testing::Parse(c.line1.c_str(), c.line2.c_str());
    EXPECT_EQ(std::make_pair(f.status, f.satNum), std::make_pair(2, 0)) << c.line1 << c.line2;
    EXPECT_EQ(capture.Errors(), c.messages) << c.line1 << "\n" << c.line2;
  }
  for (const char* level : {" ", "C"}) {  // levels too
    EXPECT_EQ(quorb::testing::Parse(WithColumns(k1P, 77, level).c_str(), k2P.c_str()).secClass,
              *level);
  }
}

TEST(CardSet, ValuesTooWideForTheirColumnsAreAsterisks) {
  QuorbRecord rec;
  rec.pos[0] = 1.0e9;
  rec.vel[2] = std::nan("");
  rec.satNum = 340000;
  rec.revNum = 1234567;
  rec.elsetNum = -1000;
  Line line1, line2;
  Quorb2Lines(rec, line1, line2);
  EXPECT_EQ(std::string(View(line1).substr(0, 12)) + std::string(View(line1).substr(62, 13)) +
                std::string(View(line2).substr(0, 5)) + std::string(View(line2).substr(31, 12)),
            std::string(30, '*') + " ****** ****");
}

// The card tests come first and look only at columns 78-80; keywords are
// compared from column 1; columns past the end of a line are blanks. The
// loaders' classifier reads the line upper-cased.
TEST(CardType, CardsThenKeywords) {
  const std::string blanks(77, ' ');
  const std::pair<std::string, int32_t> cases[] = {{k1P, kCard1P},
                                                   {k2P, kCard2P},
                                                   {WithColumns("VECFIL", 79, "2P"), kCard2P},
                                                   {WithColumns("KT_DMA_ON", 78, "B1P"), kCard1P},
                                                   {blanks + "A1P", kCardOther},
                                                   {blanks + "B1", kCardOther},
                                                   {"POS_VEL_ECI_STATE", kCardZyrVecData},
                                                   {"RUN_OPTION_DC_ONLY", kCardZyrCtrlData},
                                                   {"VECFIL", kCardFileKeyword},
                                                   {"VECTORFILE vectors.txt", kCardFileKeyword},
                                                   {"SATFIL=a", kCardFileKeyword},
                                                   {"ZYRVECFILE=z.txt", kCardZyrVecFile},
                                                   {"ZYRCTRLFILE=c.txt", kCardZyrCtrlFile},
                                                   {"KT_DMA_ON", kCardDmaOn},
                                                   {" VECFIL=a", kCardOther},
                                                   {"VECFI", kCardOther},
                                                   {std::string(80, ' ') + "VECFIL", kCardOther}};
  for (const auto& [line, code] : cases) {
    EXPECT_EQ(QuorbCardType(line), code) << "'" << line << "'";
    EXPECT_EQ(QuorbCardType(View(L(line))), code) << "'" << line << "' padded";
    std::string lower = line;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_EQ(QuorbCardTypeAnyCase(lower), code) << "'" << lower << "'";
    EXPECT_EQ(QuorbCardType(lower), lower == line ? code : kCardOther) << "'" << lower << "'";
  }
  // A maneuver card has its number in column 79 and 'M' in column 80, within the line.
  const std::string maneuver = test::ManeuverCard(7, '9');
  EXPECT_TRUE(IsManeuvCardType(maneuver) && !IsManeuvCardType(test::ManeuverCard(7, '0')));
  EXPECT_FALSE(IsManeuvCardType(std::string_view(maneuver.data(), 79)));
}

// Fields of up to 40 columns: no more significant digits than a field holds.
constexpr int kWidest = 40;
constexpr int kCardColumns = 80;
constexpr double kUntouched = -1.5;

// The rules of a real field put another way: blanks dropped, an optional
// sign, then what from_chars reads whole once the exponent letter (or a bare
// sign) is its 'e' and the point is placed.
std::optional<double> ReadByFromChars(std::string_view field, int implied) {
  std::string text(field);
  std::erase(text, ' ');
  if (text.empty()) return 0.0;
  const bool negative = text[0] == '-';
  if (IsSign(text[0])) text.erase(0, 1);
  // A digit or the point first: from_chars would take "inf", "nan" or a sign.
  if (!IsDigit(text[0]) && text[0] != '.') return std::nullopt;
  const std::size_t exponentAt = std::min(text.find_first_of("EeDd+-"), text.size());
  if (exponentAt < text.size()) text.replace(exponentAt, IsSign(text[exponentAt]) ? 0 : 1, "e");
  if (text.find('.') >= exponentAt) {  // zeros either side keep the implied point in the text
    text.insert(exponentAt, kWidest, '0').insert(0, kWidest, '0');
    text.insert(kWidest + exponentAt - implied, ".");
  }
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size() || error != std::errc{}) return std::nullopt;
  return negative ? -value : value;
}

// Every field of up to kWidest columns in line, with each implied decimals,
// counted: the readers read it to the same bits, or all refuse it and leave
// the value as it was. The card reader reads its fields from a copy of the
// line that holds no more than its reach past the last column.
void ExpectFieldsReadAsByFromChars(std::string_view line, std::initializer_list<int> implied,
                                   int64_t& fields) {
  std::vector<char> card(line.begin(), line.end());
  card.resize(line.size() + kCardFieldReach - 1, '7');
  for (std::size_t start = 0; start < line.size(); ++start) {
    for (std::size_t width = 1; width <= kWidest && start + width <= line.size(); ++width) {
      const std::string_view field = line.substr(start, width);
      for (const int decimals : implied) {
        const std::optional<double> want = ReadByFromChars(field, decimals);
        const auto expected =
            std::pair(want.has_value(), std::bit_cast<uint64_t>(want.value_or(kUntouched)));
        double value = kUntouched;
        const bool read = ReadRealField(field, decimals, value);
        ASSERT_EQ(std::pair(read, std::bit_cast<uint64_t>(value)), expected)
            << ::testing::PrintToString(std::string(field)) << ", implied decimals " << decimals;
        value = kUntouched;
        const bool cardRead = ReadCardRealField({card.data() + start, width}, decimals, value);
        ASSERT_EQ(std::pair(cardRead, std::bit_cast<uint64_t>(value)), expected)
            << ::testing::PrintToString(std::string(field)) << " in a card, implied " << decimals;
        ++fields;
      }
    }
  }
}

// The fuzz corpora's lines, padded to a card's columns; then random lines of
// numbers (blanks, sign, digits, point, digits, exponent letter, sign, digits,
// each there or not), one column replaced, each line in a buffer of its own
// for AddressSanitizer to see a read past either end.
TEST(CardFields, RealFieldsReadAsByFromChars) {
  int64_t fields = 0;
  for (const auto& file : std::filesystem::recursive_directory_iterator(QUORB_FUZZ_CORPUS_DIR)) {
    std::istringstream in(file.is_regular_file() ? test::ReadFileText(file.path()) : "");
    for (std::string line; std::getline(in, line);) {
      line.resize(std::max<std::size_t>(line.size(), kCardColumns), ' ');
      ASSERT_NO_FATAL_FAILURE(ExpectFieldsReadAsByFromChars(line, {0, 4}, fields));
    }
  }
  EXPECT_GT(fields, 100'000);
  // Plain fields of more digits than a double holds exactly.
  ASSERT_NO_FATAL_FAILURE(ExpectFieldsReadAsByFromChars(
      " 99999999999999999999 -9999999999999.999 +.9999999999999999 ", {0, 4}, fields));
  // A 64-bit linear congruential generator: one multiplication a number.
  std::linear_congruential_engine<uint64_t, 6364136223846793005, 1442695040888963407, 0> rng;
  const auto pick = [&rng](std::size_t n) { return static_cast<int>((rng() >> 32) * n >> 32); };
  const auto run = [&](std::string_view chars, int most) {
    std::string text;
    for (int n = pick(most + 1); n > 0; --n) text += chars[pick(chars.size())];
    return text;
  };
  for (fields = 0; fields < QUORB_RANDOM_FIELDS;) {  // fewer in slow builds: tests/CMakeLists.txt
    std::string text;
    while (text.size() < kCardColumns) {
      const char* const digits = std::array{"0", "9", "0123456789", "0123456789"}[pick(4)];
      text += run(" ", 12) + run("+-", 1) + run(digits, 12) + run(".", 1) + run(digits, 12) +
              run("EeDd", 1) + run("+-", 1) + run("0123456789", 7);
    }
    text[pick(kCardColumns)] = pick(4) != 0 ? " .+-E"[pick(5)] : static_cast<char>(pick(256));
    const std::vector<char> line(text.begin(), text.begin() + kCardColumns);
    const int implied = pick(4) != 0 ? 4 * pick(2) : pick(32) - 3;
    ASSERT_NO_FATAL_FAILURE(
        ExpectFieldsReadAsByFromChars({line.data(), line.size()}, {implied}, fields));
  }
}

// What to_chars writes, right-aligned in width columns; the zero before the
// point goes when only that makes the text fit.
std::string ToCharsFixed(double value, int width, int decimals) {
  char buf[400];
  std::string text(
      buf, std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, decimals).ptr);
  const std::size_t zero = text[0] == '-' ? 1 : 0;
  if (static_cast<int>(text.size()) == width + 1 && text.compare(zero, 2, "0.") == 0) {
    text.erase(zero, 1);
  }
  if (!std::isfinite(value) || static_cast<int>(text.size()) > width)
    return std::string(width, '*');
  return std::string(width - text.size(), ' ') + text;
}

// Fixed-point fields round as to_chars does, halves to even, in any width;
// integer fields fill their columns exactly or turn to asterisks.
TEST(CardFields, WrittenFieldsFitTheirColumnsOrAreAsterisks) {
  std::mt19937_64 rng(99);
  std::vector<double> values = {-0.0,   -0.00004, 0.00005,     0.99995,      -0.999951,
                                1.0e9,  -1.0e20,  2.5e-22,     NAN,          -INFINITY,
                                4.5e11, 1.23456,  429496.7295, -429496.7296, 9999999.99996};
  for (int i = 0; i < 20000; ++i) {
    double value = (static_cast<double>(rng() % 2000001) - 1e6) * std::pow(10.0, rng() % 20 - 12.0);
    if (i % 3 == 0) value = static_cast<double>(rng() % 19999999) + (rng() % 16 * 2 + 1) / 32.0;
    values.push_back(i % 3 == 1 ? std::nextafter(value, i % 2 ? 1e300 : -1e300) : -value);
  }
  for (const double value : values) {
    for (const int decimals : {0, 4, 9, 15, 22}) {
      // Around the text's own width, where it fits, loses its zero or not.
      const int length =
          static_cast<int>(ToCharsFixed(value, 400, decimals).find_first_not_of(' '));
      for (const int width : {1, 6, 12, 13, 400 - length - 1, 400 - length, 400 - length + 1}) {
        std::string out(width, '?');
        WriteFixedField(out, value, decimals);
        ASSERT_EQ(out, ToCharsFixed(value, width, decimals))
            << std::hexfloat << value << " with " << decimals << " decimals in " << width;
      }
    }
  }
  for (int64_t power = 1; power <= INT64_MAX / 10; power *= 10) {
    for (const int64_t value : {power, power - 1, -power, 1 - power, power * 10 - 1, INT64_MIN}) {
      const std::string text = std::to_string(value);
      std::string out(text.size() + 1, '?');
      WriteIntField(out, value);
      EXPECT_EQ(out, " " + text);
      out.resize(text.size() - 1);
      WriteIntField(out, value);
      EXPECT_EQ(out, std::string(text.size() - 1, '*'));
    }
  }
}

constexpr int64_t kNanosPerSecond = 1'000'000'000;
constexpr int64_t kNanosPerDay = 86'400 * kNanosPerSecond;
constexpr int64_t kMillisPerDay = 86'400'000;
constexpr int64_t kKeyBase = int64_t{1} << 62;
// 1950 to 2025: 75 years, 19 of them leap (1952..2024).
constexpr int64_t kDaysTo2025 = 75 * 365 + 19;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string Date15Text(double ds50) {
  const Text<15> text = DS50ToDate15(ds50);
  return {text.begin(), text.end()};
}

TEST(Epochs, EveryFormOfOneInstantReadsAlike) {
  // 2025 day 123 (May 3) 18:45:00.675: day fraction .7812578125.
  const int64_t nanos = ((kDaysTo2025 + 122) * 86'400 + 67'500) * kNanosPerSecond + 675'000'000;
  for (const char* text :
       {"25123184500.675", "2025/123.7812578125", "2025May03184500.675", "2025/123 1845 00.675",
        "2025mAY03184500.675", "   2025/123 1845 00.675 ", "2025/12301845000.675",
        "2025/123 1845  0.675", "251231845  .675", "25123184500.6750000009",
        "2025/123.7812578125000000000000000000"}) {
    EXPECT_EQ(ParseEpoch(text), nanos) << text;
    EXPECT_EQ(DTG2DS50UTC(text), kDaysTo2025 + 123.7812578125) << text;
  }
}

TEST(Epochs, YearsDaysAndTheirEdges) {
  const std::pair<const char*, double> ds50s[] = {
      {"1950/001", 1.0},
      {"50001000000.000", 36526.0},  // two-digit 50 is 2050
      {"00001000000.000", 18263.0},  // 2000: 50 years, 12 leap
      {"57001000000.000", 2558.0},   // 57 is 1957
      {"00060000000", 18263.0 + 59},
      {"1949/365.5", 0.5},
      {"2024/366.5", kDaysTo2025 + 0.5},
      {"25123120000.", kDaysTo2025 + 123.5},
      {"2200Dec31235959.999", 91677.0 - 0.001 / 86400}};
  for (const auto& [text, ds50] : ds50s) EXPECT_DOUBLE_EQ(DTG2DS50UTC(text), ds50) << text;
  const int64_t day123 = (kDaysTo2025 + 122) * kNanosPerDay;
  // Fraction digits past the nanosecond are floored, however many.
  const std::pair<const char*, int64_t> nanos[] = {
      {"25123000000.1234567899999", day123 + 123'456'789},
      {"25123000000.1234567", day123 + 123'456'700},
      {"2025/123.0000000000000116", day123 + 1},
      {"2025/123.333333333333333333333333334", day123 + kNanosPerDay / 3},
      {"2025/123.333333333333333333333333333", day123 + kNanosPerDay / 3 - 1},
      {"1949/365 2359 59.999", -1'000'000}};
  for (const auto& [text, want] : nanos) EXPECT_EQ(ParseEpoch(text), want) << text;
}

TEST(Epochs, TextsOfNoFormOrOutOfRangeAreUnreadable) {
  const std::string unreadable[] = {
      "2 123120000.000", "2512312000",       "x5123120000",      "25123120000,000",
      "25123120000.1a",  "25123120000.00 x", "2025/123 1200",    "2025/123x1200 00",
      "2025-123.5",      "2025/123.5x",      "2025Abc01000000",  "25366000000.000",
      "25000120000.000", "25123240000.000",  "25123126000.000",  "25123120060.000",
      "2100/366",        "2025/000.5",       "1900Feb29000000",  "2025Apr31000000",
      "2025Apr00000000", "2025/123 2400 00", "2025/123 1260 00", "2025/123 1200 60",
      "1600/001",        "2300/001",         "9999Dec31235959",  "251231200",
      "2512312.000",     "251231200.0000"};  // the point where the seconds' digits go
  for (const std::string& text : unreadable) {
    EXPECT_FALSE(ParseEpoch(text)) << text;
    EXPECT_EQ(DTG2DS50UTC(text), 0.0) << text;
    EXPECT_EQ(CreateSatKey(1, kVectorElsetType, text), -1) << text;
  }
}

TEST(Epochs, KeysComposeNumberAndWholeSecondsWithinTheirRanges) {
  const struct {
    int32_t satNum;
    int32_t elsetType;
    const char* epoch;
    int64_t key;
  } cases[] = {{25544, 4, "1950/001 0000 01.999", kKeyBase + (int64_t{25544} << 32) + 1},
               {0, 4, "1950/001.0", kKeyBase},
               // 2^32 seconds after 1950 is 2086 day 37, 06:28:16.
               {999'999'999, 4, "2086/037 0628 15.999999999",
                kKeyBase + (int64_t{999'999'999} << 32) + 0xFFFF'FFFF},
               {1, 4, "2086/037 0628 16", -1},
               {1, 4, "1949/365 2359 59.999", -1},
               {1'000'000'000, 4, "25123120000", -1},
               {-1, 4, "25123120000", -1},
               {1, 3, "25123120000", -1},
               {1, 5, "25123120000", -1}};
  for (const auto& c : cases) EXPECT_EQ(CreateSatKey(c.satNum, c.elsetType, c.epoch), c.key);
}

TEST(Epochs, WrittenToTheMillisecondWithCarryOrAsAsterisks) {
  const double halfMilli = 0.5 / kMillisPerDay;
  const std::pair<double, const char*> cases[] = {
      {DTG2DS50UTC("25123235959.9994"), "25123235959.999"},
      {DTG2DS50UTC("99365235959.9996"), "00001000000.000"},
      {DTG2DS50UTC("2024/366 2359 59.9996"), "25001000000.000"},
      // Only 1957 to 2056 have a two-digit year; others would read back a
      // century off.
      {YrDays2DS50(1957, 1.0) - 0.8 * halfMilli, "57001000000.000"},
      {YrDays2DS50(1957, 1.0) - 1.2 * halfMilli, "***************"},
      {YrDays2DS50(2057, 1.0) - 1.2 * halfMilli, "56366235959.999"},
      {YrDays2DS50(2057, 1.0) - 0.8 * halfMilli, "***************"},
      {40178.5, "***************"},  // 2060 Jan 1 12:00
      {kNaN, "***************"},
      {-9.3e18, "***************"}};
  for (const auto& [ds50, text] : cases) EXPECT_EQ(Date15Text(ds50), text) << ds50;
  // Two-digit years of days of the year, the day counted from 1.0.
  EXPECT_EQ(YrDays2DS50(25, 123.5) + YrDays2DS50(2025, 1.0), 2 * kDaysTo2025 + 124.5);
  EXPECT_EQ(YrDays2DS50(56, 1.0) + YrDays2DS50(57, 1.0), 38717.0 + 2558.0);
  char narrow[12] = "..........!";  // only as much as it has room for
  Date15(kDaysTo2025 + 1.0, std::span<char>(narrow, 10));
  EXPECT_STREQ(narrow, "2500100000!");
}

}  // namespace
}  // namespace quorb
