// Every conversion goes through whole nanoseconds since 1950, in integers, so
// that texts of different forms naming one instant give exactly one key and
// one ds50.
#include "Services/Calendar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>

#include "quorb/quorb.h"

namespace quorb {
namespace {

constexpr int64_t kNanosPerSecond = 1'000'000'000;
constexpr int64_t kNanosPerDay = 86'400 * kNanosPerSecond;
constexpr int64_t kMillisPerDay = 86'400'000;
constexpr std::size_t kNanoDigits = 9;
constexpr std::array<int64_t, kNanoDigits + 1> kPowersOfTen = {
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};
constexpr int64_t kElsetKeyBase = int64_t{1} << 62;
constexpr int64_t kMaxSatNum = 999'999'999;
constexpr int64_t kKeySecondsLimit = int64_t{1} << 32;

constexpr std::array<std::string_view, 12> kMonthNames = {"jan", "feb", "mar", "apr", "may", "jun",
                                                          "jul", "aug", "sep", "oct", "nov", "dec"};
constexpr std::array<int64_t, 12> kDaysInMonth = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

struct Quotient {
  int64_t whole;
  int64_t rest;  // 0 <= rest < unit
};

// Floor division; safe over the whole int64 range (unit > 0).
constexpr Quotient DivideFloor(int64_t value, int64_t unit) {
  Quotient q{value / unit, value % unit};
  if (q.rest < 0) {
    --q.whole;
    q.rest += unit;
  }
  return q;
}

constexpr bool IsLeapYear(int64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

constexpr int64_t DaysInYear(int64_t year) {
  return IsLeapYear(year) ? 366 : 365;
}

// Leap years from year 1 through year, counted backwards past year 0 for
// earlier years so that the difference below holds for every year.
constexpr int64_t LeapYearsThrough(int64_t year) {
  return DivideFloor(year, 4).whole - DivideFloor(year, 100).whole + DivideFloor(year, 400).whole;
}

// Days from 1950 Jan 1 to Jan 1 of year.
constexpr int64_t DaysFrom1950(int64_t year) {
  return 365 * (year - 1950) + LeapYearsThrough(year - 1) - LeapYearsThrough(1949);
}

// Two-digit years name the hundred years from this one.
constexpr int64_t kFirstTwoDigitYear = 1957;

constexpr int64_t FullYear(int64_t twoDigitYear) {
  const int64_t year = 1900 + twoDigitYear;
  return year < kFirstTwoDigitYear ? year + 100 : year;
}

constexpr bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr char LowerCase(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

// An instant as an epoch text gives it, before its ranges are checked.
// fraction holds the nanoseconds past the second (or, for a day fraction,
// past midnight).
struct EpochFields {
  int64_t year = 0;
  int64_t dayOfYear = 0;
  int64_t hour = 0;
  int64_t minute = 0;
  int64_t second = 0;
  int64_t fraction = 0;
};

// Reads the fields of one form from left to right over the trimmed text;
// the first mismatch makes the whole text unreadable. Reading through a view
// rather than a copy keeps fractions of any length free of allocation.
class EpochReader {
 public:
  explicit EpochReader(std::string_view epoch) : text_(Trim(epoch)) {}

  // The character at index, or '\0' past the end.
  char CharAt(std::size_t index) const { return index < text_.size() ? At(index) : '\0'; }
  char Next() const { return CharAt(pos_); }

  int64_t Digits(std::size_t count) {
    if (failed_ || text_.size() - pos_ < count) {
      failed_ = true;
      return 0;
    }
    int64_t value = 0;
    for (std::size_t i = pos_; i < pos_ + count; ++i) {
      const int digit = DigitAt(i);
      if (digit < 0) {
        failed_ = true;
        return 0;
      }
      value = value * 10 + digit;
    }
    pos_ += count;
    return value;
  }

  void Expect(char c) {
    if (Next() == c) {
      ++pos_;
    } else {
      failed_ = true;
    }
  }

  // 1..12 for a three-letter month name in any case.
  int64_t Month() {
    const std::string_view next = text_.substr(pos_, 3);
    const auto* found = std::find_if(kMonthNames.begin(), kMonthNames.end(), [next](auto name) {
      return next.size() == name.size() &&
             std::equal(name.begin(), name.end(), next.begin(),
                        [](char lower, char c) { return lower == LowerCase(c); });
    });
    if (failed_ || found == kMonthNames.end()) {
      failed_ = true;
      return 0;
    }
    pos_ += next.size();
    return found - kMonthNames.begin() + 1;
  }

  // Nanoseconds of an optional ".ddd..." that ends the text; digits past the
  // nanosecond are dropped. A stop before the end is caught by Finish.
  int64_t SecondFraction() {
    if (!StartFraction()) return 0;
    const std::size_t first = pos_;
    SkipDigits();
    const std::size_t kept = std::min<std::size_t>(pos_ - first, kNanoDigits);
    int64_t nanos = 0;
    for (std::size_t i = first; i < first + kept; ++i) nanos = nanos * 10 + DigitAt(i);
    return nanos * kPowersOfTen[kNanoDigits - kept];
  }

  // Nanoseconds of an optional day fraction ".ddd..." that ends the text,
  // floored exactly: the digits are multiplied by the day's length from the
  // right, so no digit, however far out, is lost before the floor.
  int64_t DayFraction() {
    if (!StartFraction()) return 0;
    const std::size_t first = pos_;
    SkipDigits();
    int64_t carry = 0;
    for (std::size_t i = pos_; i > first; --i) {
      carry = (DigitAt(i - 1) * kNanosPerDay + carry) / 10;
    }
    return carry;
  }

  // True when every field matched and the whole text was read.
  bool Finish() const { return !failed_ && pos_ == text_.size(); }

 private:
  // From the third character on, a blank stands for '0'.
  char At(std::size_t index) const {
    const char c = text_[index];
    return (index >= 2 && c == ' ') ? '0' : c;
  }

  // The value of the digit at index, or -1 when it is none.
  int DigitAt(std::size_t index) const {
    const int digit = text_[index] - '0';
    if (digit >= 0 && digit <= 9) return digit;
    return (index >= 2 && text_[index] == ' ') ? 0 : -1;
  }

  void SkipDigits() {
    while (pos_ < text_.size() && DigitAt(pos_) >= 0) ++pos_;
  }

  bool StartFraction() {
    if (failed_ || pos_ == text_.size()) return false;
    Expect('.');
    return !failed_;
  }

  std::string_view text_;
  std::size_t pos_ = 0;
  bool failed_ = false;
};

// The day of the year of a date (month 1..12), or 0 when the month has no
// such day.
int64_t DayOfYear(int64_t year, int64_t month, int64_t dayOfMonth) {
  const int64_t leapDay = IsLeapYear(year) ? 1 : 0;
  const int64_t daysInMonth = kDaysInMonth[month - 1] + (month == 2 ? leapDay : 0);
  if (dayOfMonth < 1 || dayOfMonth > daysInMonth) return 0;
  const int64_t daysBefore =
      std::accumulate(kDaysInMonth.begin(), kDaysInMonth.begin() + month - 1, int64_t{0});
  return daysBefore + (month > 2 ? leapDay : 0) + dayOfMonth;
}

void ReadSeconds(EpochReader& reader, EpochFields& fields) {
  fields.second = reader.Digits(2);
  fields.fraction = reader.SecondFraction();
}

// YYDDDHHMMSS.SSS
bool ReadCompactForm(EpochReader& reader, EpochFields& fields) {
  fields.year = FullYear(reader.Digits(2));
  fields.dayOfYear = reader.Digits(3);
  fields.hour = reader.Digits(2);
  fields.minute = reader.Digits(2);
  ReadSeconds(reader, fields);
  return reader.Finish();
}

// YYYYMonDDHHMMSS.SSS
bool ReadMonthForm(EpochReader& reader, EpochFields& fields) {
  fields.year = reader.Digits(4);
  const int64_t month = reader.Month();
  const int64_t dayOfMonth = reader.Digits(2);
  fields.hour = reader.Digits(2);
  fields.minute = reader.Digits(2);
  ReadSeconds(reader, fields);
  if (!reader.Finish()) return false;
  fields.dayOfYear = DayOfYear(fields.year, month, dayOfMonth);
  return true;
}

// YYYY/DDD.DDDDDDDD or YYYY/DDD HHMM SS.SSS, whose separators read as '0'.
bool ReadOrdinalForm(EpochReader& reader, EpochFields& fields) {
  fields.year = reader.Digits(4);
  reader.Expect('/');
  fields.dayOfYear = reader.Digits(3);
  if (reader.Next() != '0') {
    fields.fraction = reader.DayFraction();
    return reader.Finish();
  }
  reader.Expect('0');
  fields.hour = reader.Digits(2);
  fields.minute = reader.Digits(2);
  reader.Expect('0');
  ReadSeconds(reader, fields);
  return reader.Finish();
}

// YYDDDHHMMSS.SSS in plain digits, the form nearly every card carries, read
// without the general reader's per-character rules (which give it the same
// fields). False for any other text.
bool ReadPlainCompactForm(std::string_view text, EpochFields& fields) {
  constexpr std::size_t kLength = 15;
  constexpr std::size_t kPoint = 11;
  constexpr int64_t kNanosPerMilli = 1'000'000;
  if (text.size() != kLength || text[kPoint] != '.') return false;
  const auto digit = [text](std::size_t i) {
    return static_cast<uint32_t>(static_cast<unsigned char>(text[i])) - '0';
  };
  bool plain = true;
#pragma GCC unroll 16
  for (std::size_t i = 0; i < kLength; ++i) plain &= i == kPoint || digit(i) <= 9;
  if (!plain) return false;
  const auto two = [&digit](std::size_t i) { return int64_t{digit(i) * 10 + digit(i + 1)}; };
  fields.year = FullYear(two(0));
  fields.dayOfYear = digit(2) * 100 + two(3);
  fields.hour = two(5);
  fields.minute = two(7);
  fields.second = two(9);
  fields.fraction = (digit(12) * 100 + two(13)) * kNanosPerMilli;
  return true;
}

bool ReadFields(std::string_view epoch, EpochFields& fields) {
  if (ReadPlainCompactForm(Trim(epoch), fields)) return true;
  EpochReader reader(epoch);
  const char fifth = reader.CharAt(4);
  if (fifth == '/') return ReadOrdinalForm(reader, fields);
  if (IsLetter(fifth)) return ReadMonthForm(reader, fields);
  return ReadCompactForm(reader, fields);
}

// The first day of a year, counted from 1950 Jan 1, and its length.
struct YearSpan {
  int64_t firstDay;
  int64_t days;
};

// The hundred years that two-digit years name, where nearly every epoch
// lies, looked up rather than worked out.
constexpr std::array<YearSpan, 100> kTwoDigitYears = [] {
  std::array<YearSpan, 100> years{};
  for (std::size_t i = 0; i < years.size(); ++i) {
    const int64_t year = kFirstTwoDigitYear + static_cast<int64_t>(i);
    years[i] = {DaysFrom1950(year), DaysInYear(year)};
  }
  return years;
}();

YearSpan SpanOfYear(int64_t year) {
  const int64_t index = year - kFirstTwoDigitYear;
  if (index >= 0 && index < static_cast<int64_t>(kTwoDigitYears.size())) {
    return kTwoDigitYears[index];
  }
  return {DaysFrom1950(year), DaysInYear(year)};
}

// Nothing when a field is out of range or the instant does not fit 64 bits
// of nanoseconds (about 292 years either side of 1950).
std::optional<int64_t> ToNanos(const EpochFields& f) {
  const YearSpan year = SpanOfYear(f.year);
  if (f.dayOfYear < 1 || f.dayOfYear > year.days || f.hour > 23 || f.minute > 59 || f.second > 59) {
    return std::nullopt;
  }
  const int64_t days = year.firstDay + f.dayOfYear - 1;
  const int64_t seconds = (f.hour * 60 + f.minute) * 60 + f.second;
  const __int128 nanos =
      static_cast<__int128>(days) * kNanosPerDay + seconds * kNanosPerSecond + f.fraction;
  if (nanos < std::numeric_limits<int64_t>::min() || nanos > std::numeric_limits<int64_t>::max()) {
    return std::nullopt;
  }
  return static_cast<int64_t>(nanos);
}

// The years a two-digit year names: 1957 to 2056. An instant outside them
// would be read back a century off.
constexpr int64_t kFirstDate15Millis = DaysFrom1950(kFirstTwoDigitYear) * kMillisPerDay;
constexpr int64_t kEndDate15Millis = DaysFrom1950(kFirstTwoDigitYear + 100) * kMillisPerDay;
// Far wider than the years DS50ToDate15 writes, and small enough that the
// milliseconds of any ds50 inside it fit 64 bits.
constexpr double kDs50Limit = 1.0e7;

// ds50 as whole milliseconds since 1950, rounded to the nearest; nothing when
// ds50 is not finite or far out of range.
std::optional<int64_t> RoundToMillis(double ds50) {
  if (!(std::fabs(ds50) < kDs50Limit)) return std::nullopt;
  const double whole = std::floor(ds50);
  const int64_t millis = std::llround((ds50 - whole) * static_cast<double>(kMillisPerDay));
  return (static_cast<int64_t>(whole) - 1) * kMillisPerDay + millis;
}

int64_t YearOfDay(int64_t daysFrom1950) {
  int64_t year = 1950 + DivideFloor(daysFrom1950 * 400, 146'097).whole;
  while (DaysFrom1950(year) > daysFrom1950) --year;
  while (DaysFrom1950(year + 1) <= daysFrom1950) ++year;
  return year;
}

char* PutDigits(char* out, int64_t value, int width) {
  for (int i = width - 1; i >= 0; --i, value /= 10) out[i] = static_cast<char>('0' + value % 10);
  return out + width;
}

}  // namespace

std::optional<int64_t> ParseEpoch(std::string_view epoch) {
  EpochFields fields;
  return ReadFields(epoch, fields) ? ToNanos(fields) : std::nullopt;
}

int64_t CreateSatKey(int32_t satNum, int32_t elsetType, std::string_view epoch) {
  if (elsetType != kVectorElsetType || satNum < 0 || satNum > kMaxSatNum) return QUORB_KEY_NONE;
  const std::optional<int64_t> nanos = ParseEpoch(epoch);
  if (!nanos || *nanos < 0) return QUORB_KEY_NONE;
  const int64_t seconds = *nanos / kNanosPerSecond;
  if (seconds >= kKeySecondsLimit) return QUORB_KEY_NONE;
  return kElsetKeyBase + int64_t{satNum} * kKeySecondsLimit + seconds;
}

double DTG2DS50UTC(std::string_view epoch) {
  const std::optional<int64_t> nanos = ParseEpoch(epoch);
  if (!nanos) return 0.0;
  // Whole days and the fraction apart, so the sum rounds only once.
  const Quotient days = DivideFloor(*nanos, kNanosPerDay);
  return static_cast<double>(days.whole + 1) +
         static_cast<double>(days.rest) / static_cast<double>(kNanosPerDay);
}

double DateStr2DS50(std::string_view epoch) {
  return DTG2DS50UTC(epoch);
}

Text<15> DS50ToDate15(double ds50) {
  const std::optional<int64_t> millis = RoundToMillis(ds50);
  if (!millis || *millis < kFirstDate15Millis || *millis >= kEndDate15Millis) {
    Text<15> stars;
    stars.fill('*');
    return stars;
  }
  const Quotient days = DivideFloor(*millis, kMillisPerDay);
  const int64_t year = YearOfDay(days.whole);
  const Quotient seconds = DivideFloor(days.rest, 1000);
  Text<15> text;
  char* out = PutDigits(text.data(), year % 100, 2);
  out = PutDigits(out, days.whole - DaysFrom1950(year) + 1, 3);
  out = PutDigits(out, seconds.whole / 3600, 2);
  out = PutDigits(out, seconds.whole / 60 % 60, 2);
  out = PutDigits(out, seconds.whole % 60, 2);
  *out++ = '.';
  PutDigits(out, seconds.rest, 3);
  return text;
}

void Date15(double ds50, std::span<char> out) {
  const Text<15> text = DS50ToDate15(ds50);
  std::copy_n(text.begin(), std::min(out.size(), text.size()), out.begin());
}

double YrDays2DS50(int32_t year, double dayOfYear) {
  const int64_t fullYear = (year >= 0 && year < 100) ? FullYear(year) : year;
  return static_cast<double>(DaysFrom1950(fullYear)) + dayOfYear;
}

}  // namespace quorb
