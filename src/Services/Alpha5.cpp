#include "Services/Alpha5.h"

#include <algorithm>
#include <cstring>

#include "Services/CharClasses.h"

namespace quorb {
namespace {

// The letter for each leading pair of digits 10..33; I and O are left out
// because they read like 1 and 0.
constexpr std::string_view kLetters = "ABCDEFGHJKLMNPQRSTUVWXYZ";
constexpr int32_t kFirstLetterValue = 10;
constexpr int32_t kMaxAlpha5 = 339999;

// Value of the first character: a digit, a letter (10..33) or a blank (0).
int32_t LeadValue(char c) {
  if (c == ' ') return 0;
  if (IsDigit(c)) return c - '0';
  if (c < 'A' || c > 'Z' || c == 'I' || c == 'O') return -1;
  // Counted from A, less the I and O skipped before c.
  return kFirstLetterValue + (c - 'A') - (c > 'I' ? 1 : 0) - (c > 'O' ? 1 : 0);
}

}  // namespace

int32_t Alpha5ToNum(std::string_view text) {
  char chars[5] = {' ', ' ', ' ', ' ', ' '};
  // The card's five columns are one fixed-size copy; shorter texts are padded.
  if (text.size() >= sizeof chars) {
    std::memcpy(chars, text.data(), sizeof chars);
  } else {
    text.copy(chars, sizeof chars);
  }
  int32_t num = LeadValue(chars[0]);
  if (num < 0) return -1;
  bool leadingBlanks = chars[0] == ' ';
  for (int i = 1; i < 5; ++i) {
    const char c = chars[i];
    if (c == ' ' && leadingBlanks) continue;
    if (!IsDigit(c)) return -1;
    leadingBlanks = false;
    num = num * 10 + (c - '0');
  }
  return num;
}

Text<5> NumToAlpha5(int32_t num) {
  Text<5> text;
  text.fill('*');
  if (num < 0 || num > kMaxAlpha5) return text;
  int32_t rest = num;
  for (int i = 4; i >= 1; --i, rest /= 10) text[i] = static_cast<char>('0' + rest % 10);
  text[0] =
      rest < kFirstLetterValue ? static_cast<char>('0' + rest) : kLetters[rest - kFirstLetterValue];
  return text;
}

}  // namespace quorb
