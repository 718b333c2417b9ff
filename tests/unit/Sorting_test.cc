#include "Services/Sorting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace quorb {
namespace {

TEST(Sorting, KeysFollowTheByteOrderOfTheirTexts) {
  std::mt19937 random(5);
  constexpr int kCount = 5000;
  std::string texts;
  std::vector<int64_t> keys(kCount);
  for (int i = 0; i < kCount; ++i) {
    // Few distinct texts so that ties occur; bytes above 127 sort last.
    std::string text(kSortTextLength, ' ');
    text[0] = "A\x80 a"[random() % 4];
    text[31] = static_cast<char>('0' + random() % 3);
    texts += text;
    keys[i] = i;
  }
  QuickSortIterative(kCount, texts.data(), keys.data());
  for (int i = 1; i < kCount; ++i) {
    const int order = texts.compare(keys[i - 1] * kSortTextLength, kSortTextLength, texts,
                                    keys[i] * kSortTextLength, kSortTextLength);
    ASSERT_TRUE(order < 0 || (order == 0 && keys[i - 1] < keys[i])) << i;
  }
  std::sort(keys.begin(), keys.end());
  for (int i = 0; i < kCount; ++i) ASSERT_EQ(keys[i], i);  // a permutation of the keys
}

}  // namespace
}  // namespace quorb
