#include "Services/StringUtils.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "Services/CharClasses.h"
#include "Services/PowersOfTen.h"

namespace quorb {
namespace {

// Drops what separates a key name from its value.
std::string_view SkipSeparators(std::string_view s) {
  const std::size_t start = s.find_first_not_of(" =:,");
  return start == std::string_view::npos ? std::string_view{} : s.substr(start);
}

// A number's leading significant digit is one of these.
constexpr std::string_view kNonZeroDigits = "123456789";

std::size_t CountDigits(std::string_view s, std::size_t from) {
  std::size_t end = from;
  while (end < s.size() && IsDigit(s[end])) ++end;
  return end - from;
}

// The longest prefix of s that reads as a number, spelt the way from_chars
// takes it: no '+' sign and 'e' as the exponent letter. Empty when s does not
// start with a number.
std::string NumberPrefix(std::string_view s) {
  std::size_t end = !s.empty() && IsSign(s[0]) ? 1 : 0;
  const std::size_t intDigits = CountDigits(s, end);
  end += intDigits;
  std::size_t fracDigits = 0;
  if (end < s.size() && s[end] == '.') {
    fracDigits = CountDigits(s, end + 1);
    end += 1 + fracDigits;
  }
  if (intDigits + fracDigits == 0) return {};
  const std::size_t mantissaEnd = end;
  if (end < s.size() && IsExponentLetter(s[end])) {
    const std::size_t signLength = end + 1 < s.size() && IsSign(s[end + 1]) ? 1 : 0;
    const std::size_t expDigits = CountDigits(s, end + 1 + signLength);
    if (expDigits > 0) end += 1 + signLength + expDigits;
  }
  std::string number(s.substr(0, end));
  if (end > mantissaEnd) number[mantissaEnd] = 'e';
  if (number[0] == '+') number.erase(0, 1);
  return number;
}

// An exponent's value, held within +-10^9 so that absurd exponents cannot
// overflow.
int64_t SaturatedExponent(std::string_view s) {
  if (s.empty()) return 0;
  int64_t value = 0;
  for (const char c : s.substr(IsSign(s[0]) ? 1 : 0)) {
    value = std::min<int64_t>(value * 10 + (c - '0'), 1'000'000'000);
  }
  return s[0] == '-' ? -value : value;
}

// The value of a number beyond the range of double: infinity when its
// magnitude is above 1, zero when below.
double OutOfRangeValue(std::string_view number) {
  const std::size_t exponentStart = number.find('e');
  const std::string_view mantissa = number.substr(0, exponentStart);
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const std::size_t lead = mantissa.find_first_of(kNonZeroDigits);
  // The leading digit has the place value 10^(place - 1).
  const auto place =
      lead < point ? static_cast<int64_t>(point - lead) : -static_cast<int64_t>(lead - point - 1);
  const int64_t exponent = exponentStart == std::string_view::npos
                               ? 0
                               : SaturatedExponent(number.substr(exponentStart + 1));
  const double magnitude = place + exponent > 0 ? HUGE_VAL : 0.0;
  return number[0] == '-' ? -magnitude : magnitude;
}

std::optional<double> ReadNumber(std::string_view text) {
  const std::string number = NumberPrefix(SkipSeparators(text));
  if (number.empty()) return std::nullopt;
  double value = 0.0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec == std::errc::result_out_of_range) return OutOfRangeValue(number);
  return value;
}

// to_chars into a string; a negative precision asks for the shortest digits
// that read back exactly.
std::string ToChars(double value, std::chars_format format, int precision = -1) {
  // Room for the longest shortest form (a subnormal in fixed point) and for
  // 309 integer digits plus the decimals asked for.
  std::string text(400 + std::max(precision, 0), '\0');
  char* first = text.data();
  char* last = first + text.size();
  const auto result = precision < 0 ? std::to_chars(first, last, value, format)
                                    : std::to_chars(first, last, value, format, precision);
  text.resize(result.ptr - first);
  return text;
}

std::string FixedForm(double value, int decimals) {
  std::string text = ToChars(value, std::chars_format::fixed, decimals);
  if (decimals == 0) text += '.';  // the cards need the point
  return text;
}

// The fixed-point form with the most decimals within width columns, or an
// empty text when not even the integer part fits.
std::string WidestFixed(double value, int width) {
  const int integerLength = static_cast<int>(ToChars(value, std::chars_format::fixed, 0).size());
  // d decimals take d + 1 columns beside the integer part, which rounding at
  // 0 decimals may have lengthened by one: at most width - integerLength fit.
  for (int decimals = std::max(width - integerLength, 0); decimals >= 0; --decimals) {
    std::string text = FixedForm(value, decimals);
    if (static_cast<int>(text.size()) <= width) return text;
  }
  return {};
}

// The exponent form with the most mantissa digits within width columns, or an
// empty text when none fits.
std::string WidestExponent(double value, int width) {
  const int shortLength = static_cast<int>(ToChars(value, std::chars_format::scientific, 0).size());
  // d fraction digits take d + 1 columns, and rounding at 0 digits may have
  // lengthened the exponent by one: at most width - shortLength fit.
  for (int digits = std::max(width - shortLength, 0); digits >= 0; --digits) {
    std::string text = ToChars(value, std::chars_format::scientific, digits);
    if (static_cast<int>(text.size()) > width) continue;
    // Near the largest double, rounding up leaves the range: cut the
    // mantissa instead, so that the text still reads as a number.
    if (const std::optional<double> back = ReadNumber(text); !back || !std::isfinite(*back)) {
      const std::string full = ToChars(value, std::chars_format::scientific, 16);
      const std::size_t kept = (value < 0 ? 1 : 0) + 2 + static_cast<std::size_t>(digits);
      text = full.substr(0, kept) + full.substr(full.find('e'));
      if (static_cast<int>(text.size()) > width) continue;
    }
    return text;
  }
  return {};
}

int SignificantDigits(std::string_view text) {
  const std::string_view mantissa = text.substr(0, text.find('e'));
  const std::size_t lead = mantissa.find_first_of(kNonZeroDigits);
  if (lead == std::string_view::npos) return 0;
  return static_cast<int>(std::count_if(mantissa.begin() + lead, mantissa.end(), IsDigit));
}

// Drops zeros that end the fraction, keeping one decimal digit, and writes
// the exponent letter as 'E'.
void Tidy(std::string& text) {
  const std::size_t exponentStart = std::min(text.find('e'), text.size());
  const std::size_t point = text.find('.');
  if (point != std::string::npos) {
    std::size_t end = exponentStart;
    while (end > point + 2 && text[end - 1] == '0') --end;
    text.erase(end, exponentStart - end);
  }
  std::replace(text.begin(), text.end(), 'e', 'E');
}

// The text of value within width columns: its shortest exact fixed form when
// that fits, else the form that keeps the most significant digits.
std::string RealText(double value, int width) {
  std::string shortest = ToChars(value, std::chars_format::fixed);
  if (shortest.find('.') == std::string::npos) shortest += ".0";
  if (static_cast<int>(shortest.size()) <= width) return shortest;
  std::string fixed = WidestFixed(value, width);
  std::string exponent = WidestExponent(value, width);
  const bool fixedKeepsMore =
      !fixed.empty() &&
      (exponent.empty() || SignificantDigits(fixed) >= SignificantDigits(exponent));
  std::string best = fixedKeepsMore ? fixed : exponent;
  Tidy(best);
  return best;
}

// Counts of units below this fit 32 bits, and a value's rounding interval
// spans far less than a unit of them: at most one whole count reads back as
// the value, the nearest. Ten columns show at most nine digits, which stay
// below it.
constexpr double kMaxShortUnits = std::numeric_limits<uint32_t>::max();

// Writes units (in 10^-decimals) in fixed point, right-aligned in out,
// blanks before it; a whole value keeps one zero decimal, as the cards need
// the point. False when it does not fit.
bool PutFixed(std::span<char> out, uint32_t units, int decimals, bool negative) {
  const std::size_t sign = negative ? 1 : 0;
  const auto shown = static_cast<std::size_t>(std::max(decimals, 1));
  if (out.size() < sign + 2 + shown) return false;
  char* const begin = out.data();
  char* p = begin + out.size();
  if (decimals == 0) *--p = '0';
  for (int i = 0; i < decimals; ++i, units /= 10) *--p = static_cast<char>('0' + units % 10);
  *--p = '.';
  do {
    if (p - begin == static_cast<std::ptrdiff_t>(sign)) return false;
    *--p = static_cast<char>('0' + units % 10);
    units /= 10;
  } while (units != 0);
  if (negative) *--p = '-';
  std::fill(begin, p, ' ');
  return true;
}

// Writes the shortest exact fixed form of value (finite) when it fits out
// and has few digits, as to_chars would, without its search. At the most
// decimals out could show, one whole count of units at most reads back as
// value; any shorter text that does is that count less its trailing zeros.
// False, with out in any state, otherwise.
bool PutShortestFixed(double value, std::span<char> out) {
  const double magnitude = std::abs(value);
  const bool negative = std::signbit(value);
  const std::size_t sign = negative ? 1 : 0;
  if (out.size() < sign + 3) return false;
  // Beside one whole digit; fewer while the count would not fit 32 bits.
  auto decimals = static_cast<int>(std::min<std::size_t>(out.size() - sign - 2, kMaxExactPower));
  double scaled = magnitude * kExactPow10[decimals];
  while (!(scaled < kMaxShortUnits)) {
    if (decimals == 0) return false;
    scaled = magnitude * kExactPow10[--decimals];
  }
  // The nearest count, through a signed conversion: one instruction.
  auto units = static_cast<uint32_t>(static_cast<int64_t>(scaled + 0.5));
  // Both operands are exact: the quotient is the double nearest units /
  // 10^decimals, which is what reading that text gives.
  if (static_cast<double>(units) / kExactPow10[decimals] != magnitude) return false;
  // Trailing zeros go two at a time, then the last one.
  for (; decimals >= 2 && units % 100 == 0; decimals -= 2) units /= 100;
  if (decimals > 0 && units % 10 == 0) {
    units /= 10;
    --decimals;
  }
  return PutFixed(out, units, decimals, negative);
}

bool FileExists(const std::string& path) {
  struct stat info;
  return path.find('\0') == std::string::npos && ::stat(path.c_str(), &info) == 0;
}

// The value part of a file keyword line, blanks and quotes removed.
std::string_view FileNameOfLine(std::string_view line) {
  std::string_view name;
  if (const std::size_t equals = line.find('='); equals != std::string_view::npos) {
    name = line.substr(equals + 1);
  } else {
    const std::string_view keyword = TrimLeft(line);
    const std::size_t blank = keyword.find(' ');
    if (blank != std::string_view::npos) name = keyword.substr(blank);  // trimmed below
  }
  name = Trim(name);
  if (name.size() >= 2 && name.front() == '"' && name.back() == '"') {
    name = name.substr(1, name.size() - 2);
  }
  return name;
}

}  // namespace

void CharArrToStr(std::span<char> out, const char* hostArray) {
  const std::size_t n = hostArray != nullptr ? ::strnlen(hostArray, out.size()) : 0;
  std::copy_n(hostArray, n, out.begin());
  std::fill(out.begin() + n, out.end(), ' ');
}

void StrToCharArr(char* hostArray, std::string_view text, std::size_t n) {
  if (hostArray == nullptr) return;
  const std::size_t copied = std::min(text.size(), n);
  std::copy_n(text.data(), copied, hostArray);
  std::fill(hostArray + copied, hostArray + n, ' ');
}

void BlankToZeroChar(std::span<char> text) {
  std::replace(text.begin(), text.end(), ' ', '0');
}

void ToUpperCase(std::span<char> out, std::string_view src) {
  const std::size_t n = std::min(out.size(), src.size());
  std::transform(src.begin(), src.begin() + n, out.begin(), UpperCase);
  std::fill(out.begin() + n, out.end(), ' ');
}

Line GetInputFileName(std::string_view line, std::string_view namingFile) {
  const std::string_view name = FileNameOfLine(line);
  const std::string_view naming = Trim(namingFile);
  const std::size_t slash = naming.rfind('/');
  if (name.empty() || name.front() == '/' || slash == std::string_view::npos ||
      FileExists(std::string(name))) {
    return MakeText<kLineLength>(name);
  }
  const std::string beside = std::string(naming.substr(0, slash + 1)).append(name);
  return MakeText<kLineLength>(beside.size() <= kLineLength && FileExists(beside) ? beside : name);
}

void GetInputStr(std::span<char> out, std::string_view src) {
  const std::string_view value = TrimRight(SkipSeparators(src));
  const std::size_t n = std::min(value.size(), out.size());
  std::copy_n(value.begin(), n, out.begin());
  std::fill(out.begin() + n, out.end(), ' ');
}

int32_t StrToInt(std::string_view text) {
  const std::optional<double> value = ReadNumber(text);
  return value ? TruncToInt32(*value).value_or(kMissingInt) : kMissingInt;
}

double StrToReal(std::string_view text) {
  return ReadNumber(text).value_or(kMissingReal);
}

void Fx0ToAx(double value, std::span<char> out) {
  if (!std::isfinite(value)) {
    std::fill(out.begin(), out.end(), '*');
    return;
  }
  if (PutShortestFixed(value, out)) return;
  const std::string text = RealText(value, static_cast<int>(out.size()));
  if (text.empty() || text.size() > out.size()) {
    std::fill(out.begin(), out.end(), '*');
    return;
  }
  const auto pad = std::fill_n(out.begin(), out.size() - text.size(), ' ');
  std::copy(text.begin(), text.end(), pad);
}

}  // namespace quorb
