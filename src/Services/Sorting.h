#ifndef QUORB_SERVICES_SORTING_H_
#define QUORB_SERVICES_SORTING_H_

#include <cstdint>

namespace quorb {

inline constexpr int kSortTextLength = 32;

// Reorders keys[0..n) into the ascending order of their 32-character sort
// texts (texts[32*i .. 32*i+31] belongs to keys[i]), compared byte by byte:
// a stable sort of an index, whatever the name says. The texts themselves
// are left as they are.
void QuickSortIterative(int32_t n, const char* texts, int64_t* keys);

}  // namespace quorb

#endif  // QUORB_SERVICES_SORTING_H_
