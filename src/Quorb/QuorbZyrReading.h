// Keyed vector and control data ("Zyr" in the names): one lower-case key and
// its value per line, read from an open unit to its end.
//
// Vector data ("pos_vel_eci_..." and "covariance_..." keys) describe one
// vector, which is added under a composed key whatever the key modes say.
// Control data ("perturbation_..." and "integrator_..." keys) describe the
// propagation controls of a vector already stored.
//
// Choices made here:
// - Vector data without "pos_vel_eci_epoch_iyear" or "pos_vel_eci_epoch_day"
//   have no epoch, so no key can be made: they count as bad.
// - A value that holds no number (kMissingReal, the missing value) leaves
//   its field as it was, in both kinds of data.
// - "integrator_error_control" with a value of zero or less, or one whose
//   logarithm is not finite, leaves errCtrlExp unchanged. A value that must
//   become an integer and lies outside the 32-bit range has no effect, so
//   no conversion can overflow.
// - A covariance index written as one digit followed by ')' in column 20
//   reads as that digit.
// - Maneuver cards past the 100th of one vector are ignored without a
//   message (neither reader writes messages).
#ifndef QUORB_QUORB_QUORBZYRREADING_H_
#define QUORB_QUORB_QUORBZYRREADING_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "Quorb/LoadCounts.h"
#include "Quorb/QuorbTypes.h"
#include "Services/FixedText.h"

namespace quorb {

// Comment lines (a '*' in column 1) and blank lines carry nothing in any
// input file.
bool IsSkippedLine(std::string_view line);

// Reads keyed vector data from the unit's current line to its end and adds
// the vector: counted loaded, dup when an equal vector holds its key, or bad
// when no key can be made. The vector is not validated.
void ReadZyrQuorbs(int32_t unit, LoadCounts& counts);

// Reads keyed control data from the unit's current line to its end. The
// perturbation switch ("perturbation_controls") is process-wide and lasts
// from one call to the next: data without that key inherit the setting of
// the last data that had it (off at first).
Card4pInput ReadZyrCtrls(int32_t unit);

// Reads control data from the unit into the controls of the stored vector of
// satNum (the first one found) and stores it back. Returns the status of the
// update, or nothing when no vector of satNum is stored; the unit is then
// left unread.
std::optional<int32_t> AttachZyrCtrls(int32_t satNum, int32_t unit);

// The value that follows key on line (up to column 128), or the missing
// value kMissingReal when line does not begin with key.
double CheckFieldNum(std::string_view line, std::string_view key);

// The value text that follows key on line (up to column 128), or blanks when
// line does not begin with key.
Line CheckFieldStr(std::string_view line, std::string_view key);

}  // namespace quorb

#endif  // QUORB_QUORB_QUORBZYRREADING_H_
