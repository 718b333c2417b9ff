// Epoch texts, days since 1950 and composed keys.
//
// Days since 1950 (ds50): 1950 Jan 1 00:00:00 UTC is 1.0. Epoch texts are
// read after removing leading and trailing blanks, in four forms:
//   YYDDDHHMMSS.SSS        25123120000.000
//   YYYY/DDD.DDDDDDDD      2025/123.50000000
//   YYYYMonDDHHMMSS.SSS    2025May03120000.000   (month name in any case)
//   YYYY/DDD HHMM SS.SSS   2025/123 1200 00.000
// From the third character on, '0' may stand for a blank and a blank for '0';
// the last fraction may have any number of digits. Two-digit years 57..99 are
// 1957..1999, 00..56 are 2000..2056.
#ifndef QUORB_SERVICES_CALENDAR_H_
#define QUORB_SERVICES_CALENDAR_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "Services/FixedText.h"

namespace quorb {

inline constexpr int32_t kVectorElsetType = 4;

// The epoch as whole nanoseconds since 1950 Jan 1 00:00:00 UTC (digits past
// the nanosecond are dropped), or nothing when the text is none of the forms.
std::optional<int64_t> ParseEpoch(std::string_view epoch);

// 2^62 + satNum * 2^32 + whole seconds since 1950, for element-set type 4.
// QUORB_KEY_NONE when the epoch is unreadable or outside 0 <= s < 2^32,
// satNum is outside 0..999,999,999 or the element-set type is not 4.
int64_t CreateSatKey(int32_t satNum, int32_t elsetType, std::string_view epoch);

// Days since 1950 of an epoch text; 0.0 when it is unreadable.
double DTG2DS50UTC(std::string_view epoch);
double DateStr2DS50(std::string_view epoch);

// YYDDDHHMMSS.SSS of ds50, rounded to the nearest millisecond; 15 asterisks,
// which no epoch reader accepts, when ds50 is not finite or the rounded
// instant lies outside 1957..2056, the years a two-digit year names.
Text<15> DS50ToDate15(double ds50);
// Writes DS50ToDate15(ds50) into the first 15 characters of out.
void Date15(double ds50, std::span<char> out);

// Days since 1950 of day-of-year dayOfYear (1.0 is Jan 1 00:00) of year.
// A year below 100 is a two-digit year.
double YrDays2DS50(int32_t year, double dayOfYear);

}  // namespace quorb

#endif  // QUORB_SERVICES_CALENDAR_H_
