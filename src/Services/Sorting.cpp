#include "Services/Sorting.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

namespace quorb {

// Sorts an index permutation rather than moving the texts; equal texts keep
// their given order, so the result does not depend on the sort's internals.
void QuickSortIterative(int32_t n, const char* texts, int64_t* keys) {
  if (n < 2 || texts == nullptr || keys == nullptr) return;
  const auto count = static_cast<std::size_t>(n);
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [texts](std::size_t a, std::size_t b) {
    const int c =
        std::memcmp(texts + a * kSortTextLength, texts + b * kSortTextLength, kSortTextLength);
    return c != 0 ? c < 0 : a < b;
  });
  const std::vector<int64_t> given(keys, keys + count);
  for (std::size_t i = 0; i < count; ++i) keys[i] = given[order[i]];
}

}  // namespace quorb
