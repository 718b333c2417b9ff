"""Epoch texts and days since 1950 (ds50: 1950 Jan 1 00:00:00 UTC is 1.0).

The array form carries the epoch as a ds50; these conversions read and write
the epoch texts exactly as the library does, so a vector keeps its epoch
(to the millisecond) on its way through an array.
"""
from __future__ import annotations

import datetime
import math
import re

_NANOS_PER_SECOND = 10**9
_NANOS_PER_DAY = 86_400 * _NANOS_PER_SECOND
_MILLIS_PER_DAY = 86_400_000
_DS50_LIMIT = 1.0e7
_MONTHS = ("jan", "feb", "mar", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "dec")
_DAYS_IN_MONTH = (31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31)

_TWO, _THREE, _FOUR = "([0-9]{2})", "([0-9]{3})", "([0-9]{4})"
_FRACTION = r"(?:\.([0-9]*))?"
_COMPACT = re.compile(_TWO + _THREE + _TWO * 3 + _FRACTION)
_MONTH_NAME = re.compile(_FOUR + "([A-Za-z]{3})" + _TWO * 4 + _FRACTION)
_DAY_FRACTION = re.compile(_FOUR + "/" + _THREE + _FRACTION)
# YYYY/DDD HHMM SS.SSS, its separating blanks already read as zeros.
_DAY_TIME = re.compile(_FOUR + "/" + _THREE + "0" + _TWO * 2 + "0" + _TWO + _FRACTION)


def _is_leap(year: int) -> bool:
    return year % 4 == 0 and (year % 100 != 0 or year % 400 == 0)


def _leap_years_through(year: int) -> int:
    return year // 4 - year // 100 + year // 400


def _days_from_1950(year: int) -> int:
    """Days from 1950 Jan 1 to Jan 1 of year."""
    return 365 * (year - 1950) + _leap_years_through(year - 1) - _leap_years_through(1949)


# Two-digit years name the hundred years from this one.
_FIRST_TWO_DIGIT_YEAR = 1957


def _full_year(two_digits: int) -> int:
    year = 1900 + two_digits
    return year + 100 if year < _FIRST_TWO_DIGIT_YEAR else year


def _day_of_year(year: int, month_name: str, day: int) -> int:
    """0 when the date does not exist."""
    if month_name.lower() not in _MONTHS:
        return 0
    month = _MONTHS.index(month_name.lower())
    lengths = list(_DAYS_IN_MONTH)
    lengths[1] += _is_leap(year)
    return sum(lengths[:month]) + day if 1 <= day <= lengths[month] else 0


def _second_nanos(digits: str | None) -> int:
    return int(digits[:9].ljust(9, "0")) if digits else 0


def _nanos(text: str) -> int:
    """Nanoseconds since 1950 Jan 1 00:00 of an epoch text."""
    trimmed = text.strip(" ")
    # From the third character on, a blank stands for '0'.
    normal = trimmed[:2] + trimmed[2:].replace(" ", "0")
    hour = minute = second = fraction = 0
    if match := _COMPACT.fullmatch(normal):
        yy, day, hour, minute, second = map(int, match.groups()[:5])
        year, fraction = _full_year(yy), _second_nanos(match[6])
    elif match := _MONTH_NAME.fullmatch(normal):
        year, day_of_month, hour, minute, second = (int(match[i]) for i in (1, 3, 4, 5, 6))
        day, fraction = _day_of_year(year, match[2], day_of_month), _second_nanos(match[7])
    elif match := _DAY_TIME.fullmatch(normal):
        year, day, hour, minute, second = map(int, match.groups()[:5])
        fraction = _second_nanos(match[6])
    elif match := _DAY_FRACTION.fullmatch(normal):
        year, day = int(match[1]), int(match[2])
        digits = match[3] or "0"
        fraction = int(digits) * _NANOS_PER_DAY // 10 ** len(digits)
    else:
        raise ValueError(f"unreadable epoch {text!r}")
    if not 1 <= day <= 365 + _is_leap(year) or hour > 23 or minute > 59 or second > 59:
        raise ValueError(f"epoch {text!r} names no instant")
    days = _days_from_1950(year) + day - 1
    seconds = (hour * 60 + minute) * 60 + second
    return days * _NANOS_PER_DAY + seconds * _NANOS_PER_SECOND + fraction


def epoch_to_ds50(text: str) -> float:
    """The ds50 of an epoch text (YYDDDHHMMSS.SSS, YYYY/DDD.DDDDDDDD,
    YYYYMonDDHHMMSS.SSS or YYYY/DDD HHMM SS.SSS); ValueError when unreadable."""
    whole, rest = divmod(_nanos(text), _NANOS_PER_DAY)
    return float(whole + 1) + rest / _NANOS_PER_DAY


_START_OF_1950 = datetime.datetime(1950, 1, 1, tzinfo=datetime.timezone.utc)


def epoch_to_datetime(text: str) -> datetime.datetime:
    """The instant of an epoch text as an aware datetime in UTC, to the
    microsecond (rounded down)."""
    return _START_OF_1950 + datetime.timedelta(microseconds=_nanos(text) // 1000)


def ds50_to_epoch(ds50: float) -> str:
    """The YYDDDHHMMSS.SSS text of a ds50, rounded to the millisecond
    (years 1957 to 2056, the years a two-digit year names); ValueError outside
    them."""
    if not abs(ds50) < _DS50_LIMIT:
        raise ValueError(f"ds50 {ds50} names no epoch")
    whole = math.floor(ds50)
    millis = (whole - 1) * _MILLIS_PER_DAY + math.floor((ds50 - whole) * _MILLIS_PER_DAY + 0.5)
    first, end = (_days_from_1950(year) * _MILLIS_PER_DAY
                  for year in (_FIRST_TWO_DIGIT_YEAR, _FIRST_TWO_DIGIT_YEAR + 100))
    if not first <= millis < end:
        raise ValueError(f"ds50 {ds50} lies outside the years 1957 to 2056")
    days, rest = divmod(millis, _MILLIS_PER_DAY)
    year = 1950 + days * 400 // 146_097
    while _days_from_1950(year) > days:
        year -= 1
    while _days_from_1950(year + 1) <= days:
        year += 1
    seconds, milli = divmod(rest, 1000)
    return (f"{year % 100:02d}{days - _days_from_1950(year) + 1:03d}"
            f"{seconds // 3600:02d}{seconds // 60 % 60:02d}{seconds % 60:02d}.{milli:03d}")
