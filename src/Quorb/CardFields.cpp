#include "Quorb/CardFields.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "Services/CharClasses.h"
#include "Services/FixedText.h"
#include "Services/PowersOfTen.h"

namespace quorb {

namespace {

// Most significant digits a real field may hold. Card fields are at most 13
// columns wide.
constexpr int kMaxDigits = 40;

// Exponents are clamped here while they are read: far past the range of a
// double, yet far from overflowing the int that holds them.
constexpr int kExponentLimit = 100000;

// Digits that always fit a uint64_t.
constexpr int kMaxUint64Digits = 19;

// Characters are read eight, one word, at a time.
constexpr int kWordChars = sizeof(uint64_t);

constexpr uint64_t EveryByte(uint8_t byte) {
  return byte * uint64_t{0x0101010101010101};
}
constexpr uint64_t kBlankWord = EveryByte(' ');
constexpr uint64_t kZeroWord = EveryByte('0');

// The eight characters from p as a word, the first in the lowest byte.
uint64_t LoadWord(const char* p) {
  uint64_t word;
  std::memcpy(&word, p, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return word;
}

// The count characters (1 to 8) from p, NUL after them. In a field of eight
// characters or more the word that ends with them is read and shifted, so
// that nothing past the field is touched.
uint64_t LoadUpTo(const char* p, int count, const char* fieldStart) {
  if (count == kWordChars) return LoadWord(p);
  const char* const end = p + count;
  if (end - fieldStart >= kWordChars) {
    return LoadWord(end - kWordChars) >> (CHAR_BIT * (kWordChars - count));
  }
  uint64_t word = 0;
  for (int i = 0; i < count; ++i) {
    word |= uint64_t{static_cast<unsigned char>(p[i])} << (CHAR_BIT * i);
  }
  return word;
}

// Most fields are right-aligned behind a run of blanks: whole words of
// blanks are stepped over eight characters at a time.
const char* SkipBlanks(const char* p, const char* end) {
  for (; end - p >= kWordChars; p += kWordChars) {
    if (const uint64_t diff = LoadWord(p) ^ kBlankWord; diff != 0) {
      return p + std::countr_zero(diff) / CHAR_BIT;
    }
  }
  while (p != end && *p == ' ') ++p;
  return p;
}

// kPow10Int[n] is the least number of n + 1 digits.
constexpr std::array<uint64_t, 20> kPow10Int = [] {
  std::array<uint64_t, 20> powers{};
  uint64_t power = 1;
  for (uint64_t& p : powers) {
    p = power;
    power *= 10;
  }
  return powers;
}();

// The top bit of every byte of a word of digit values (characters XOR '0',
// which leaves 0 to 9 for digits) that is not a digit's.
uint64_t NonDigitBytes(uint64_t values) {
  // The low seven bits of a byte reach its top bit from 10 on, never the next byte.
  const uint64_t tooHigh = (values & EveryByte(0x7F)) + EveryByte(0x80 - 10);
  return (values | tooHigh) & EveryByte(0x80);
}

// The number that a word of eight digit values (0 to 9, the first in the
// lowest byte) spells: joined in pairs, fours, then all eight, with one
// multiplication each.
uint64_t EightDigitsValue(uint64_t digits) {
  constexpr uint64_t kJoinPairs = 10 << 8 | 1;
  constexpr uint64_t kJoinFours = 100 << 16 | 1;
  constexpr uint64_t kJoinEights = uint64_t{10000} << 32 | 1;
  digits = (digits * kJoinPairs >> 8) & 0x00FF00FF00FF00FF;
  digits = (digits * kJoinFours >> 16) & 0x0000FFFF0000FFFF;
  return digits * kJoinEights >> 32;
}

// The mantissa of a real field: its digits as a whole number, the point left
// out.
struct Mantissa {
  uint64_t digits = 0;  // exact while count <= kMaxUint64Digits
  int count = 0;        // digits, leading zeros included
  int fractionDigits = 0;
  bool hasPoint = false;
};

// Reads digits and at most one point, blanks skipped, up to the first other
// character, where p is left. Each word read adds its leading run of digits
// at once; digits past 2^64 wrap, as they would one at a time.
Mantissa ReadMantissa(const char*& p, std::string_view field) {
  const char* const end = field.data() + field.size();
  Mantissa m;
  int countAtPoint = -1;
  while (p != end) {
    const int left = static_cast<int>(std::min<std::ptrdiff_t>(end - p, kWordChars));
    const uint64_t values = LoadUpTo(p, left, field.data()) ^ kZeroWord;
    const int run = std::countr_zero(NonDigitBytes(values)) / CHAR_BIT;  // NUL ends a short word
    if (run > 0) {
      // The run moves to the top of the word, behind zeros.
      const uint64_t digits = values << (CHAR_BIT * (kWordChars - run));
      m.digits = m.digits * kPow10Int[run] + EightDigitsValue(digits);
      m.count += run;
      p += run;
    }
    if (run == kWordChars || p == end) continue;
    if (*p == '.' && countAtPoint < 0) {
      countAtPoint = m.count;
      ++p;
    } else if (*p == ' ') {
      p = SkipBlanks(p, end);
    } else {
      break;
    }
  }
  m.hasPoint = countAtPoint >= 0;
  m.fractionDigits = m.hasPoint ? m.count - countAtPoint : 0;
  return m;
}

// Reads what follows a mantissa up to the end of the field: 'E' or 'D'
// (either case) or a bare sign, then an optionally signed integer.
bool ReadExponent(const char* p, const char* end, int& exponent) {
  if (IsExponentLetter(*p)) p = SkipBlanks(p + 1, end);
  bool negative = false;
  if (p != end && IsSign(*p)) {
    negative = *p == '-';
    p = SkipBlanks(p + 1, end);
  }
  if (p == end) return false;
  int magnitude = 0;
  for (; p != end; ++p) {
    if (*p == ' ') continue;
    if (!IsDigit(*p)) return false;
    magnitude = std::min(magnitude * 10 + (*p - '0'), kExponentLimit);
  }
  exponent = negative ? -magnitude : magnitude;
  return true;
}

// Copies the significant mantissa digits of a field that ReadRealField has
// accepted; returns the end of the copy, or nullptr when there are more
// than kMaxDigits of them.
char* CopyMantissaDigits(std::string_view field, char* out) {
  char* const limit = out + kMaxDigits;
  char* const begin = out;
  bool atStart = true;
  for (const char c : field) {
    if (c == ' ' || c == '.') continue;
    const bool sign = atStart && IsSign(c);
    atStart = false;
    if (sign) continue;
    if (!IsDigit(c)) break;
    if (c == '0' && out == begin) continue;
    if (out == limit) return nullptr;
    *out++ = c;
  }
  return out;
}

// The mantissa's digits times 10^scale: exactly scaled when it can be, by
// from_chars otherwise.
std::optional<double> ScaleDigits(std::string_view field, const Mantissa& m, int scale) {
  if (m.count <= kMaxUint64Digits) {
    if (const std::optional<double> scaled = ExactlyScaled(m.digits, scale)) return scaled;
  }
  char text[kMaxDigits + 16];
  char* const end = CopyMantissaDigits(field, text);
  if (end == nullptr) return std::nullopt;
  if (end == text) return 0.0;  // zeros only, however many
  *end = 'e';
  const auto exponentEnd = std::to_chars(end + 1, text + sizeof text, scale).ptr;
  double value = 0.0;
  const auto [ptr, ec] = std::from_chars(text, exponentEnd, value);
  // Out of the range of a double: the field cannot be held.
  if (ec != std::errc{} || ptr != exponentEnd) return std::nullopt;
  return value;
}

}  // namespace

bool ReadRealField(std::string_view field, int impliedDecimals, double& value) {
  const char* const end = field.data() + field.size();
  const char* p = SkipBlanks(field.data(), end);
  if (p == end) {
    value = 0.0;
    return true;
  }
  const bool negative = *p == '-';
  if (IsSign(*p)) ++p;
  const Mantissa m = ReadMantissa(p, field);
  int exponent = 0;
  if (m.count == 0 || (p != end && !ReadExponent(p, end, exponent))) return false;
  const int scale = exponent - (m.hasPoint ? m.fractionDigits : impliedDecimals);
  const std::optional<double> magnitude = ScaleDigits(field, m, scale);
  if (!magnitude) return false;
  value = negative ? -*magnitude : *magnitude;
  return true;
}

bool ReadIntField(std::string_view field, int32_t& value) {
  constexpr int64_t kMaxMagnitude = int64_t{1} << 31;
  const char* const end = field.data() + field.size();
  const char* p = SkipBlanks(field.data(), end);
  if (p == end) {
    value = 0;
    return true;
  }
  const bool negative = *p == '-';
  if (IsSign(*p)) p = SkipBlanks(p + 1, end);
  if (p == end) return false;
  int64_t magnitude = 0;
  for (; p != end; ++p) {
    const auto digit = static_cast<unsigned>(*p - '0');
    if (digit >= 10) {
      if (*p == ' ') continue;
      return false;
    }
    magnitude = magnitude * 10 + digit;
    if (magnitude > kMaxMagnitude) return false;
  }
  const int64_t signedValue = negative ? -magnitude : magnitude;
  if (signedValue > std::numeric_limits<int32_t>::max()) return false;
  value = static_cast<int32_t>(signedValue);
  return true;
}

namespace {

// Places text at the right end of out, blanks before it, or fills out with
// '*' when it does not fit.
void RightAlign(std::span<char> out, std::string_view text) {
  if (text.size() > out.size()) {
    std::fill(out.begin(), out.end(), '*');
    return;
  }
  const auto start = std::fill_n(out.begin(), out.size() - text.size(), ' ');
  std::copy(text.begin(), text.end(), start);
}

// magnitude (>= 0) in whole units of 10^-decimals, rounded to nearest with
// halves to even as to_chars rounds; nothing when the count of units is not
// exact in a double.
std::optional<uint64_t> RoundToUnits(double magnitude, int decimals) {
  if (decimals < 0 || decimals > kMaxExactPower) return std::nullopt;
  const double scale = kExactPow10[decimals];
  const double product = magnitude * scale;
  if (!(product < static_cast<double>(kMaxExactInteger / 2))) return std::nullopt;
  // product >= 0: the cast floors. Conversions to and from a signed type are
  // single instructions.
  const auto whole = static_cast<int64_t>(product);
  const double fraction = product - static_cast<double>(whole);
  const auto units = static_cast<uint64_t>(whole);
  if (fraction > 0.5) return units + 1;
  if (fraction < 0.5) return units;
  // The exact product is product + error. Below 2^52 a half is a whole
  // number of product's ulps, so only a product of exactly a half needs the
  // error to tell which way it goes.
  const double error = std::fma(magnitude, scale, -product);
  const bool up = error > 0 || (error == 0 && units % 2 == 1);
  return up ? units + 1 : units;
}

// "00", "01", ... "99": digits go out two at a time, halving the divisions.
constexpr std::array<char, 200> kDigitPairs = [] {
  std::array<char, 200> pairs{};
  for (int i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

// The digit writers take the narrowest type that holds the value: 32-bit
// divisions by constants are cheaper, and most counts of a card fit.
template <typename Unsigned>
char* PutPair(char* p, Unsigned pair) {
  p -= 2;
  std::memcpy(p, &kDigitPairs[2 * pair], 2);
  return p;
}

// Writes the count lowest digits of value so that they end at p; returns
// their start and leaves the higher digits in value.
template <typename Unsigned>
char* PutLowDigits(char* p, Unsigned& value, int count) {
  for (; count >= 2; count -= 2, value /= 100) p = PutPair(p, value % 100);
  if (count == 1) {
    *--p = static_cast<char>('0' + value % 10);
    value /= 10;
  }
  return p;
}

// Writes all digits of value, at least one, so that they end at p; returns
// their start.
template <typename Unsigned>
char* PutAllDigits(char* p, Unsigned value) {
  for (; value >= 100; value /= 100) p = PutPair(p, value % 100);
  if (value >= 10) return PutPair(p, value);
  *--p = static_cast<char>('0' + value);
  return p;
}

// Writes magnitude, a '-' before it when negative, so that it ends at end;
// the columns from begin are blank already. Returns false, having written
// nothing, when it does not fit.
template <typename Unsigned>
bool PutWhole(char* begin, char* end, Unsigned magnitude, bool negative) {
  const std::ptrdiff_t room = end - begin - (negative ? 1 : 0);
  const bool fits = room >= std::ssize(kPow10Int) || (room > 0 && magnitude < kPow10Int[room]);
  if (!fits) return false;
  char* p = PutAllDigits(end, magnitude);
  if (negative) p[-1] = '-';
  return true;
}

// Blanks out, then writes units (in 10^-decimals) in fixed point at its right
// end; the zero before the point of a value below 1 goes when only that makes
// it fit. Returns false when it does not fit.
template <typename Unsigned>
bool PutUnits(std::span<char> out, Unsigned units, int decimals, bool negative) {
  FillBlanks(out.data(), out.size());
  char* const begin = out.data();
  char* const end = begin + out.size();
  if (decimals == 0) return PutWhole(begin, end, units, negative);
  if (static_cast<std::size_t>(decimals) + (negative ? 2 : 1) > out.size()) return false;
  char* p = PutLowDigits(end, units, decimals);
  *--p = '.';
  if (units == 0 && p - begin == (negative ? 1 : 0)) {
    if (negative) *--p = '-';
    return true;
  }
  return PutWhole(begin, p, units, negative);
}

// "0.5" becomes ".5" and "-0.5" becomes "-.5"; other texts stay as they are.
std::string_view DropLeadingZero(std::span<char> text) {
  const std::size_t sign = text[0] == '-' ? 1 : 0;
  if (text.size() < sign + 2 || text[sign] != '0' || text[sign + 1] != '.') {
    return {text.data(), text.size()};
  }
  if (sign == 1) text[1] = '-';
  return {text.data() + 1, text.size() - 1};
}

// Writes value through to_chars: for counts of units that a double does not
// hold exactly.
void WriteWideFixed(std::span<char> out, double value, int decimals) {
  // Room for any value that could fit a card column; a longer text could
  // not fit anyway and is written as asterisks.
  char buf[96];
  const auto [ptr, ec] =
      std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, decimals);
  if (ec != std::errc{}) {
    std::fill(out.begin(), out.end(), '*');
    return;
  }
  std::span<char> text(buf, ptr);
  RightAlign(out, text.size() == out.size() + 1 ? DropLeadingZero(text)
                                                : std::string_view(text.data(), text.size()));
}

}  // namespace

void WriteFixedField(std::span<char> out, double value, int decimals) {
  if (!std::isfinite(value)) {
    std::fill(out.begin(), out.end(), '*');
    return;
  }
  const std::optional<uint64_t> units = RoundToUnits(std::abs(value), decimals);
  if (!units) {
    WriteWideFixed(out, value, decimals);
    return;
  }
  const bool negative = std::signbit(value);
  const bool fits = *units <= std::numeric_limits<uint32_t>::max()
                        ? PutUnits(out, static_cast<uint32_t>(*units), decimals, negative)
                        : PutUnits(out, *units, decimals, negative);
  if (!fits) std::fill(out.begin(), out.end(), '*');
}

void WriteIntField(std::span<char> out, int64_t value) {
  // The magnitude of the most negative value only fits the unsigned type.
  const uint64_t magnitude =
      value < 0 ? uint64_t{0} - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  FillBlanks(out.data(), out.size());
  if (!PutWhole(out.data(), out.data() + out.size(), magnitude, value < 0)) {
    std::fill(out.begin(), out.end(), '*');
  }
}

}  // namespace quorb
