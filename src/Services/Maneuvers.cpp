#include "Services/Maneuvers.h"

namespace quorb {

bool IsManeuvCardType(std::string_view line) {
  constexpr std::size_t kCardTypeColumn = 79;  // 0-based column 80
  if (line.size() <= kCardTypeColumn) return false;
  const char number = line[kCardTypeColumn - 1];
  return line[kCardTypeColumn] == 'M' && number >= '1' && number <= '9';
}

}  // namespace quorb
