// Column-bound numeric fields of the cards: read by their columns alone,
// blanks ignored anywhere, written right-aligned with asterisks when too wide.
// Their rules differ from those of StrToInt and StrToReal (which read the
// number a free-form value text begins with and ignore the rest): a field is
// read whole, may imply its decimal point and refuses what it cannot hold.
#ifndef QUORB_QUORB_CARDFIELDS_H_
#define QUORB_QUORB_CARDFIELDS_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "Quorb/PlainCardField.h"

namespace quorb {

// Reads a real field: optional sign, digits with an optional decimal point,
// optional exponent ('E' or 'D' in either case then an optionally signed
// integer, or a sign directly followed by digits). Without a decimal point
// the last impliedDecimals digits before the exponent are the fraction. A
// blank field reads as 0. Returns false for anything else.
bool ReadRealField(std::string_view field, int impliedDecimals, double& value);

// ReadRealField, for a field with kCardFieldReach readable characters from
// its start, as in a card's line; plain fields are read by vector.
inline bool ReadCardRealField(std::string_view field, int impliedDecimals, double& value) {
#if defined(QUORB_HAS_PLAIN_CARD_FIELD)
  if (field.size() <= kCardFieldReach) {
    if (const std::optional<double> read = ReadPlainCardField(field, impliedDecimals)) {
      value = *read;
      return true;
    }
  }
#endif
  return ReadRealField(field, impliedDecimals, value);
}

// Reads an integer field: optional sign and digits; blank reads as 0.
// Returns false for anything else, or when the value does not fit 32 bits.
bool ReadIntField(std::string_view field, int32_t& value);

// Writes value in fixed point with the given decimals, right-aligned in out;
// out is filled with '*' when the text does not fit or value is not finite.
void WriteFixedField(std::span<char> out, double value, int decimals);

// Writes an integer right-aligned in out, or '*' characters when too wide.
void WriteIntField(std::span<char> out, int64_t value);

}  // namespace quorb

#endif  // QUORB_QUORB_CARDFIELDS_H_
