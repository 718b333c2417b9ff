#include "Services/Calendar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace quorb {
namespace {

constexpr int64_t kNanosPerSecond = 1'000'000'000;
constexpr int64_t kNanosPerDay = 86'400 * kNanosPerSecond;
constexpr int64_t kMillisPerDay = 86'400'000;
constexpr int64_t kKeyBase = int64_t{1} << 62;
// 1950 to 2025: 75 years, 19 of them leap (1952..2024).
constexpr int64_t kDaysTo2025 = 75 * 365 + 19;

std::string Str(const Text<15>& text) {
  return {text.begin(), text.end()};
}

std::string Compact(int year, int day, int64_t millisOfDay) {
  char text[32];
  std::snprintf(text, sizeof text, "%02d%03d%02d%02d%02d.%03d", year % 100, day,
                static_cast<int>(millisOfDay / 3'600'000),
                static_cast<int>(millisOfDay / 60'000 % 60),
                static_cast<int>(millisOfDay / 1000 % 60), static_cast<int>(millisOfDay % 1000));
  return text;
}

// 2025 day 123 (May 3) 18:45:00.675, which is day fraction .7812578125.
const std::vector<std::string> kOneInstant = {
    "25123184500.675",
    "2025/123.7812578125",
    "2025May03184500.675",
    "2025/123 1845 00.675",
    "2025mAY03184500.675",
    "   2025/123 1845 00.675   ",
    "2025/12301845000.675",
    "2025/123 1845  0.675",
    "25123184500.67500000000000",
    "25123184500.6750000009",
    "2025/123.78125781250000000000000000000000000000000000000000000",
    "251231845  .675",
};

TEST(ParseEpoch, EveryFormOfOneInstantGivesTheSameNanosKeyAndDays) {
  const int64_t expected = ((kDaysTo2025 + 122) * 86'400 + 67'500) * kNanosPerSecond + 675'000'000;
  for (const std::string& text : kOneInstant) {
    SCOPED_TRACE(text);
    EXPECT_EQ(ParseEpoch(text), expected);
    EXPECT_EQ(CreateSatKey(25544, 4, text), CreateSatKey(25544, 4, kOneInstant[0]));
    EXPECT_EQ(DTG2DS50UTC(text), DTG2DS50UTC(kOneInstant[0]));
    EXPECT_EQ(DateStr2DS50(text), DTG2DS50UTC(kOneInstant[0]));
  }
  EXPECT_EQ(DTG2DS50UTC(kOneInstant[0]), kDaysTo2025 + 123.7812578125);
}

TEST(ParseEpoch, AnchorsAndTwoDigitYears) {
  EXPECT_EQ(ParseEpoch("1950Jan01000000.000"), 0);
  EXPECT_EQ(DTG2DS50UTC("1950/001"), 1.0);
  EXPECT_EQ(DTG2DS50UTC("50001000000.000"), 36526.0);  // 2050
  EXPECT_EQ(DTG2DS50UTC("00001000000.000"), 18263.0);  // 50 years, 12 leap
  EXPECT_EQ(ParseEpoch("1949/365 2359 59.999"), -1'000'000);
  EXPECT_EQ(ParseEpoch("25123120000"), ParseEpoch("2025/123.5"));
  EXPECT_EQ(ParseEpoch("25123120000."), ParseEpoch("2025/123 1200 00"));
  EXPECT_EQ(ParseEpoch("56366235959.999"), ParseEpoch("2056Dec31235959.999"));
  EXPECT_EQ(ParseEpoch("57001000000.000"), ParseEpoch("1957Jan01000000.000"));
  EXPECT_EQ(ParseEpoch("99365000000"), ParseEpoch("1999/365"));
  EXPECT_EQ(ParseEpoch("00060000000"), ParseEpoch("2000Feb29000000"));
}

TEST(ParseEpoch, FractionDigitsPastTheNanosecondAreFloored) {
  const int64_t day123 = (kDaysTo2025 + 122) * kNanosPerDay;
  EXPECT_EQ(ParseEpoch("25123000000.1234567899999"), day123 + 123'456'789);
  EXPECT_EQ(ParseEpoch("2025/123.00000000000001"), day123);  // 0.864 ns
  EXPECT_EQ(ParseEpoch("2025/123.0000000000000116"), day123 + 1);
  // Just above and just below a third of a day (8 hours).
  EXPECT_EQ(ParseEpoch("2025/123.333333333333333333333333334"), day123 + kNanosPerDay / 3);
  EXPECT_EQ(ParseEpoch("2025/123.333333333333333333333333333"), day123 + kNanosPerDay / 3 - 1);
}

void ExpectUnreadable(const char* text) {
  EXPECT_FALSE(ParseEpoch(text)) << text;
  EXPECT_EQ(DTG2DS50UTC(text), 0.0) << text;
  EXPECT_EQ(CreateSatKey(1, 4, text), -1) << text;
}

TEST(ParseEpoch, RejectsFieldsOutOfRange) {
  EXPECT_TRUE(ParseEpoch("24366000000.000"));
  EXPECT_TRUE(ParseEpoch("2000/366.5"));
  EXPECT_TRUE(ParseEpoch("2024FEB29235959.999"));
  EXPECT_TRUE(ParseEpoch("1700/001"));
  EXPECT_TRUE(ParseEpoch("2200Dec31235959.999"));
  for (const char* text :
       {"25366000000.000", "25000120000.000", "25123240000.000", "25123126000.000",
        "25123120060.000", "2100/366", "2025/000.5", "1900Feb29000000", "2025Apr31000000",
        "2025Apr00000000", "2025/123 2400 00", "2025/123 1260 00", "2025/123 1200 60"}) {
    ExpectUnreadable(text);
  }
  // Years whose nanoseconds since 1950 do not fit 64 bits.
  for (const char* text : {"1600/001", "2300/001", "0000/001", "9999Dec31235959.999"}) {
    ExpectUnreadable(text);
  }
}

TEST(ParseEpoch, RejectsTextsOfNoForm) {
  for (const char* text :
       {"", "   ", "2 123120000.000", "2512312000", "x5123120000", "25123120000,000",
        "25123120000.1a", "25123120000.000 x", "2025/123 1200", "2025/123x1200 00", "2025-123.5",
        "2025/123.5x", "2025Abc01000000"}) {
    ExpectUnreadable(text);
  }
}

TEST(CreateSatKey, ComposesNumberAndWholeSecondsWithinTheirRanges) {
  EXPECT_EQ(CreateSatKey(25544, 4, "1950/001 0000 01.999"), kKeyBase + (int64_t{25544} << 32) + 1);
  EXPECT_EQ(CreateSatKey(0, 4, "1950/001.0"), kKeyBase);
  // 2^32 seconds after 1950 is 2086 day 37, 06:28:16.
  EXPECT_EQ(CreateSatKey(999'999'999, 4, "2086/037 0628 15.999999999"),
            kKeyBase + (int64_t{999'999'999} << 32) + 0xFFFF'FFFF);
  EXPECT_EQ(CreateSatKey(1, 4, "2086/037 0628 16"), -1);
  EXPECT_EQ(CreateSatKey(1, 4, "1949/365 2359 59.999"), -1);
  EXPECT_EQ(CreateSatKey(1'000'000'000, 4, "25123120000"), -1);
  EXPECT_EQ(CreateSatKey(-1, 4, "25123120000"), -1);
  EXPECT_EQ(CreateSatKey(1, 3, "25123120000"), -1);
  EXPECT_EQ(CreateSatKey(1, 5, "25123120000"), -1);
}

TEST(CreateSatKey, KeysAscendBySatelliteNumberThenEpoch) {
  const std::vector<std::pair<int32_t, std::string>> ordered = {
      {5, "57001000000.000"}, {5, "99365235959.999"}, {5, "00001000000.000"},
      {5, "00001000001.000"}, {6, "57001000000.000"}, {99'999, "56366235959.999"},
      {100'000, "1950/001"}};
  for (std::size_t i = 1; i < ordered.size(); ++i) {
    EXPECT_LT(CreateSatKey(ordered[i - 1].first, 4, ordered[i - 1].second),
              CreateSatKey(ordered[i].first, 4, ordered[i].second))
        << ordered[i].second;
  }
}

TEST(DS50ToDate15, ReadsBackEveryMillisecondEpochFrom1957To2056) {
  std::mt19937_64 random(1957);
  std::uniform_int_distribution<int64_t> anyMillis(0, kMillisPerDay - 1);
  double midnight = 2558.0;  // 1957 Jan 1: 7 years, 2 leap
  for (int year = 1957; year <= 2056; ++year) {
    const int daysInYear = year % 4 == 0 ? 366 : 365;  // 2000 is the span's only century
    for (int day = 1; day <= daysInYear; ++day, midnight += 1.0) {
      std::vector<int64_t> millis = {0, 1, 999, 43'200'000, kMillisPerDay - 1};
      for (int i = 0; i < 32; ++i) millis.push_back(anyMillis(random));
      for (int64_t ms : millis) {
        const std::string text = Compact(year, day, ms);
        const double ds50 = DTG2DS50UTC(text);
        ASSERT_GE(ds50, midnight) << text;
        ASSERT_LT(ds50, midnight + 1.0) << text;
        ASSERT_EQ(Str(DS50ToDate15(ds50)), text);
      }
    }
  }
}

TEST(DS50ToDate15, RoundsToTheMillisecondWithCarryIntoTheNextYear) {
  EXPECT_EQ(Str(DS50ToDate15(DTG2DS50UTC("25123235959.9994"))), "25123235959.999");
  EXPECT_EQ(Str(DS50ToDate15(DTG2DS50UTC("99365235959.9996"))), "00001000000.000");
  EXPECT_EQ(Str(DS50ToDate15(DTG2DS50UTC("2024/366 2359 59.9996"))), "25001000000.000");
  EXPECT_EQ(Str(DS50ToDate15(YrDays2DS50(1900, 1.0))), "00001000000.000");
  EXPECT_EQ(Str(DS50ToDate15(YrDays2DS50(2100, 1.0) - 0.6 / kMillisPerDay)), "99365235959.999");
}

TEST(DS50ToDate15, WritesAsterisksOutsideTheCenturiesAndForNonFiniteDays) {
  const double stars[] = {std::numeric_limits<double>::quiet_NaN(),
                          std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(),
                          std::numeric_limits<double>::max(),
                          std::numeric_limits<double>::lowest(),
                          1e300,
                          -9.3e18,
                          YrDays2DS50(1900, 1.0) - 0.6 / kMillisPerDay,
                          YrDays2DS50(2100, 1.0),
                          YrDays2DS50(2100, 1.0) - 0.4 / kMillisPerDay};
  for (double ds50 : stars) EXPECT_EQ(Str(DS50ToDate15(ds50)), "***************") << ds50;
}

TEST(Date15, FillsOnlyTheFirstFifteenCharacters) {
  Text<17> epoch = BlankText<17>();
  Date15(DTG2DS50UTC("2025/123.5"), epoch);
  EXPECT_EQ(std::string(epoch.begin(), epoch.end()), "25123120000.000  ");
  char shortText[12] = "..........!";
  Date15(1.0, std::span<char>(shortText, 10));
  EXPECT_STREQ(shortText, "5000100000!");
}

TEST(YrDays2DS50, DayOneIsJanuaryFirstAndShortYearsFollowTheEpochRule) {
  EXPECT_EQ(YrDays2DS50(1950, 1.0), 1.0);
  EXPECT_EQ(YrDays2DS50(2025, 123.7812578125), DTG2DS50UTC(kOneInstant[0]));
  EXPECT_EQ(YrDays2DS50(25, 123.7812578125), DTG2DS50UTC(kOneInstant[0]));
  EXPECT_EQ(YrDays2DS50(0, 1.0), 18263.0);
  EXPECT_EQ(YrDays2DS50(56, 1.0), DTG2DS50UTC("2056/001"));
  EXPECT_EQ(YrDays2DS50(57, 1.0), 2558.0);
  EXPECT_EQ(YrDays2DS50(1949, 365.5), 0.5);
}

// A prefix of an epoch text that still reads can only drop fraction digits,
// so it never names a later instant; any other change must not crash.
TEST(EpochFuzz, TruncatedAndMutatedEpochsNeverCrash) {
  std::mt19937 random(17);
  for (const std::string& full : kOneInstant) {
    const int64_t instant = *ParseEpoch(full);
    for (std::size_t n = 0; n <= full.size(); ++n) {
      const std::string prefix = full.substr(0, n);
      if (const auto nanos = ParseEpoch(prefix)) {
        EXPECT_LE(*nanos, instant) << prefix;
      }
      for (int i = 0; i < 200 && n > 0; ++i) {
        std::string mutated = prefix;
        mutated[random() % n] = static_cast<char>(random() % 256);
        const int64_t key = CreateSatKey(7, 4, mutated);
        EXPECT_TRUE(key == -1 || key >= kKeyBase);
        if (!ParseEpoch(mutated)) {
          EXPECT_EQ(DTG2DS50UTC(mutated), 0.0) << mutated;
        }
      }
    }
  }
}

TEST(EpochFuzz, RandomBytesAndDoublesNeverCrash) {
  std::mt19937_64 random(42);
  const std::string alphabet = "0123456789    ./JanMAYdec\x80\xff";
  for (int i = 0; i < 100'000; ++i) {
    std::string text(random() % 40, ' ');
    for (char& c : text) {
      c = (i % 2) ? static_cast<char>(random()) : alphabet[random() % alphabet.size()];
    }
    const int64_t key = CreateSatKey(static_cast<int32_t>(random()), 4, text);
    EXPECT_TRUE(key == -1 || key >= kKeyBase);
    const uint64_t bits = random();
    double ds50;
    std::memcpy(&ds50, &bits, sizeof ds50);
    const std::string date = Str(DS50ToDate15(i % 3 ? ds50 : DTG2DS50UTC(text)));
    EXPECT_TRUE(date == "***************" || date[11] == '.') << date;
  }
}

}  // namespace
}  // namespace quorb
