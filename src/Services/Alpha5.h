// Alpha-5 satellite numbers: 0..99999 in digits, 100000..339999 as a letter
// (A..Z without I and O standing for 10..33) and four digits.
#ifndef QUORB_SERVICES_ALPHA5_H_
#define QUORB_SERVICES_ALPHA5_H_

#include <cstdint>
#include <string_view>

#include "Services/FixedText.h"

namespace quorb {

// Reads the first 5 characters of text (missing ones count as blanks):
// 5 blanks read as 0, leading blanks as zeros; -1 for text it cannot read.
int32_t Alpha5ToNum(std::string_view text);
// The 5-character form of num: leading zeros below 10000, "*****" outside
// 0..339999.
Text<5> NumToAlpha5(int32_t num);

}  // namespace quorb

#endif  // QUORB_SERVICES_ALPHA5_H_
