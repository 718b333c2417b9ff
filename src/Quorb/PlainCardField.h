// The vector reader of the real fields most cards hold: blanks, an optional
// sign, then digits with at most one point to the field's end. Sixteen
// columns are told apart and joined at once, without a branch per column.
// Inline, so that a card's fixed widths fold into it where it is called.
#ifndef QUORB_QUORB_PLAINCARDFIELD_H_
#define QUORB_QUORB_PLAINCARDFIELD_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "Services/PowersOfTen.h"

namespace quorb {

// Characters from a field's start that a card field reader may read, past
// the field's end when it is narrower: a card's line always holds them.
inline constexpr std::size_t kCardFieldReach = 16;

#if defined(__SSE2__)
#define QUORB_HAS_PLAIN_CARD_FIELD 1

namespace plain_card_field {

constexpr int kColumns = sizeof(__m128i);
static_assert(kColumns == kCardFieldReach);

// Sixteen digit values (0 to 9, the first in the lowest byte) as the number
// they spell: joined in pairs, fours, eights, then the two eights.
inline uint64_t SixteenDigitsValue(__m128i digits) {
  constexpr uint64_t kEightDigits = 100'000'000;
  const __m128i zero = _mm_setzero_si128();
  const __m128i joinPairs = _mm_set1_epi32(1 << 16 | 10);
  const __m128i pairs = _mm_packs_epi32(_mm_madd_epi16(_mm_unpacklo_epi8(digits, zero), joinPairs),
                                        _mm_madd_epi16(_mm_unpackhi_epi8(digits, zero), joinPairs));
  const __m128i fours = _mm_madd_epi16(pairs, _mm_set1_epi32(1 << 16 | 100));
  const __m128i eights =
      _mm_madd_epi16(_mm_packs_epi32(fours, fours), _mm_set1_epi32(1 << 16 | 10000));
  const auto high = static_cast<uint32_t>(_mm_cvtsi128_si32(eights));
  const auto low = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(eights, 4)));
  return high * kEightDigits + low;
}

// The bit of each byte of a comparison's result, the first byte's lowest.
inline uint32_t Bits(__m128i comparison) {
  return static_cast<uint32_t>(_mm_movemask_epi8(comparison));
}

// The columns of the vector, from 0.
inline __m128i Columns() {
  return _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
}

}  // namespace plain_card_field

// Reads a field of at most kCardFieldReach columns in the plain form from
// the kCardFieldReach characters at its start. The digits are read as
// sixteen, the columns past the field as trailing zeros that the scale takes
// back. Nothing for a field in any other form, or whose value this cannot
// scale exactly.
[[gnu::always_inline]] inline std::optional<double> ReadPlainCardField(std::string_view field,
                                                                       int impliedDecimals) {
  using namespace plain_card_field;
  const int width = static_cast<int>(field.size());
  const __m128i chars = _mm_loadu_si128(reinterpret_cast<const __m128i*>(field.data()));
  const __m128i values = _mm_sub_epi8(chars, _mm_set1_epi8('0'));
  const __m128i digitBytes =
      _mm_cmpeq_epi8(_mm_subs_epu8(values, _mm_set1_epi8(9)), _mm_setzero_si128());
  const uint32_t inField = (uint32_t{1} << width) - 1;
  const uint32_t blanks = Bits(_mm_cmpeq_epi8(chars, _mm_set1_epi8(' '))) & inField;
  const uint32_t signs = Bits(_mm_or_si128(_mm_cmpeq_epi8(chars, _mm_set1_epi8('-')),
                                           _mm_cmpeq_epi8(chars, _mm_set1_epi8('+'))));
  const uint32_t digits = Bits(digitBytes) & inField;
  const uint32_t points = Bits(_mm_cmpeq_epi8(chars, _mm_set1_epi8('.'))) & inField;
  // The blanks lead; the sign, if any, follows them; the rest is digits and one point.
  const int start = std::countr_one(blanks);
  const int numberStart = start + static_cast<int>(signs >> start & 1);
  if ((blanks & (blanks + 1)) != 0 ||
      (digits | points) != (inField >> numberStart << numberStart) || digits == 0 ||
      (points & (points - 1)) != 0) {
    return std::nullopt;
  }
  const __m128i fieldBytes = _mm_cmplt_epi8(Columns(), _mm_set1_epi8(static_cast<char>(width)));
  __m128i digitValues = _mm_and_si128(values, _mm_and_si128(digitBytes, fieldBytes));
  // The digits after the point move down one column, into its place.
  const int point = std::countr_zero(points | uint32_t{1} << kColumns);
  const __m128i afterPoint = _mm_cmpgt_epi8(Columns(), _mm_set1_epi8(static_cast<char>(point - 1)));
  digitValues = _mm_or_si128(_mm_and_si128(afterPoint, _mm_srli_si128(digitValues, 1)),
                             _mm_andnot_si128(afterPoint, digitValues));
  const int trailingZeros = kColumns - width + (points != 0 ? 1 : 0);
  const int fractionDigits = points != 0 ? width - 1 - point : impliedDecimals;
  const std::optional<double> magnitude =
      ExactlyScaled(SixteenDigitsValue(digitValues), -fractionDigits - trailingZeros);
  if (!magnitude) return std::nullopt;
  return field[start] == '-' ? -*magnitude : *magnitude;
}

#endif  // __SSE2__

}  // namespace quorb

#endif  // QUORB_QUORB_PLAINCARDFIELD_H_
