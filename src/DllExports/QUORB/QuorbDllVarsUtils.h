// The exports' conversion helpers: records from card sets, host fields and
// the array form and back, adding them to the store, and computing keys.
#ifndef QUORB_DLLEXPORTS_QUORB_QUORBDLLVARSUTILS_H_
#define QUORB_DLLEXPORTS_QUORB_QUORBDLLVARSUTILS_H_

#include <cstdint>

#include "Quorb/QuorbTypes.h"
#include "Services/FixedText.h"
#include "quorb/quorb.h"

namespace quorb {

// Reads a card set and adds its vector. Returns the store's key, or
// QUORB_KEY_NONE when the card set is invalid (the store is then not touched).
int64_t AddSatFrLines(const Line& line1, const Line& line2);

// A validated record of the fields; its satNum is -1 when validation failed.
QuorbRecord QuorbFieldsToRec(const VectorFields& fields);

// Adds the vector of the fields. Returns the store's key, or QUORB_KEY_NONE
// when a field is invalid.
int64_t AddSatFrFields(const VectorFields& fields);

// The composed key of satNum at a 20-character epoch, without the store.
int64_t FieldsToSatKey(int32_t satNum, Text<20> epoch);

// The key of a stored vector of satNum, or QUORB_KEY_NONE (logged).
int64_t GetSatKey(int32_t satNum);

// Writes the array positions of rec into xa and its character fields into
// xs (blank first). Positions the array form does not name are not touched.
void Quorb2Array(const QuorbRecord& rec, double* xa, Line& xs);

// A record from an array and its companion text; nothing is validated.
QuorbRecord Array2Quorb(const double* xa, const Line& xs);

// False, after logging why, when the array's epoch has no two-digit year, so
// that Array2Quorb wrote asterisks instead of reading it a century off.
bool ArrayEpochWritten(std::string_view function, const QuorbRecord& rec, const double* xa);

// Adds the vector of an array. Returns the store's key, or QUORB_KEY_NONE
// when the vector is invalid or its epoch has no two-digit year.
int64_t AddSatFrArray(const double* xa, const Line& xs);

}  // namespace quorb

#endif  // QUORB_DLLEXPORTS_QUORB_QUORBDLLVARSUTILS_H_
