// Conversions between host character arrays and texts, and the small text
// readers used on input lines.
#ifndef QUORB_SERVICES_STRINGUTILS_H_
#define QUORB_SERVICES_STRINGUTILS_H_

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

#include "Services/FixedText.h"

namespace quorb {

// What StrToInt and StrToReal yield for a text that holds no number; keyed
// data treat it as a missing value.
inline constexpr int32_t kMissingInt = 123456789;
inline constexpr double kMissingReal = kMissingInt;

// Fills out from a host array of out.size() bytes: reading stops at the first
// zero byte and every position from there on is a blank. A null host array
// reads as all blanks.
void CharArrToStr(std::span<char> out, const char* hostArray);

template <std::size_t N>
Text<N> CharArrToStr(const char* hostArray) {
  Text<N> text;
  CharArrToStr(text, hostArray);
  return text;
}

// Writes exactly n bytes into the host array: text, cut or blank-padded; no
// terminator. A null host array is ignored.
void StrToCharArr(char* hostArray, std::string_view text, std::size_t n);

// Replaces every blank of text by '0', in place.
void BlankToZeroChar(std::span<char> text);

// out receives src with a..z turned into A..Z (out.size() == src.size()).
void ToUpperCase(std::span<char> out, std::string_view src);

// The file name a keyword line names: what follows the first '=', or without
// '=' what follows the first blank after the keyword; surrounding blanks and
// one pair of double quotes removed. A relative name that does not exist from
// the current directory but does beside namingFile is given with namingFile's
// directory in front.
Line GetInputFileName(std::string_view line, std::string_view namingFile = {});

// The value text of src: leading blanks, '=', ':' and ',' skipped, trailing
// blanks removed, blank-padded into out.
void GetInputStr(std::span<char> out, std::string_view src);

// value truncated toward zero, or nothing when that is no 32-bit integer
// (NaN, an infinity or a value out of range). The one rule by which the
// library makes integers of reals: StrToInt's, the array form's and the
// keyed controls'.
inline std::optional<int32_t> TruncToInt32(double value) {
  // Exactly the reals whose truncation fits; NaN fails both tests.
  constexpr double kBelowMin = std::numeric_limits<int32_t>::min() - 1.0;
  constexpr double kAboveMax = std::numeric_limits<int32_t>::max() + 1.0;
  if (!(value > kBelowMin && value < kAboveMax)) return std::nullopt;
  return static_cast<int32_t>(value);
}

// The longest numeric prefix after the skipped separators (sign, digits,
// decimal point, exponent with E, e, D or d); kMissingInt / kMissingReal when
// there is none. StrToInt gives TruncToInt32 of that number, kMissingInt when
// it has none.
int32_t StrToInt(std::string_view text);
double StrToReal(std::string_view text);

// The value as a text of out.size() columns (10 on the cards), right-aligned:
// the shortest exact form when it fits, else the fixed or exponent form that
// keeps the most significant digits; asterisks for NaN and infinities.
void Fx0ToAx(double value, std::span<char> out);

}  // namespace quorb

#endif  // QUORB_SERVICES_STRINGUTILS_H_
