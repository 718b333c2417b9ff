#ifndef QUORB_SERVICES_MANEUVERS_H_
#define QUORB_SERVICES_MANEUVERS_H_

#include <string_view>

namespace quorb {

// True for a maneuver card (1M, 2M, ...): column 80 holds 'M' and column 79
// a digit 1..9.
bool IsManeuvCardType(std::string_view line);

}  // namespace quorb

#endif  // QUORB_SERVICES_MANEUVERS_H_
