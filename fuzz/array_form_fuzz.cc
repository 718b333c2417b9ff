// The array form: the companion text up to the first newline, then changes to a valid array,
// each a position byte, a kind byte and the value (raw double, special's index or int16_t).
#include "FuzzSupport.h"

// Positions: 0-7 key and 2P fields, 20-25 state, 70 controls flag, 71-88
// controls (83 unused, 87 the clamped step mode), 100-154 covariance.
constexpr int kControlsFlag = 70, kCovariance = 100;
constexpr double kUntouched = -7777.25;  // shows the positions left alone
constexpr double kZeroSum = 1e-21;       // the largest sum of a missing covariance
// The seeds pick these by index modulo their count: keep the order and count.
constexpr double kSpecials[] = {NAN, 2147483648.0, HUGE_VAL, -HUGE_VAL,     -0.0, 1e-21, 4.9e-324,
                                1.0, -1.0,         1e9,      -2147483649.0, 0.5,  1e308};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  QuorbRemoveAllSats();
  ElsetKeyModeSet(1);  // a direct-address key needs no epoch: every valid array is stored
  auto [text, changes] = SplitAt('\n', data, size);
  const HostLine xs = ToHostLine(text);
  std::array<double, QUORB_XA_SIZE> xa{25544, 27517.5, 12345, 999, 0.012, 0.02, 0.0, 2}, out;
  std::fill(xa.begin() + 8, xa.end(), kUntouched);
  const double state[] = {6524.8346, -1876.221, 253.0097, 1983.2456, 6812.7001, -3456.1234};
  std::copy(std::begin(state), std::end(state), xa.begin() + 20);
  for (int i = kControlsFlag; i <= 88; ++i) xa[i] = i - kControlsFlag + 1;
  for (int i = kCovariance; i < QUORB_XA_SIZE; ++i) xa[i] = (i - kCovariance + 1) * 1e-3;
  for (std::size_t length = 0; changes.size() > 2; changes.remove_prefix(2 + length)) {
    const auto byte = [&bytes = changes](int i) { return static_cast<uint8_t>(bytes[i]); };
    double& value = xa[byte(0) % QUORB_XA_SIZE];
    const int kind = byte(1) % 3;
    length = kind == 0 ? sizeof(double) : kind;  // kind 2 is an int16_t
    if (changes.size() < 2 + length) break;
    if (kind == 0) std::memcpy(&value, changes.data() + 2, length);
    if (kind == 1) value = kSpecials[byte(2) % std::size(kSpecials)];
    if (kind == 2) value = static_cast<int16_t>(byte(2) | byte(3) << 8);  // little-endian
  }

  const int64_t key = QuorbAddSatFrArray(xa.data(), xs.data());
  // No epoch outside 1957 to 2056, the years of two-digit epochs, is stored.
  const double millisecond = 1 / 86'400'000.0;
  FUZZ_CHECK(key == -1 || (xa[1] >= 2558.0 - millisecond && xa[1] < 39083.0));
  if (key <= 0) return 0;
  FUZZ_CHECK(QuorbUpdateSatFrArray(key, xa.data(), xs.data()) == 0);  // valid when added, so again
  out.fill(kUntouched);
  char outText[kLineLength], arrayLines[2][kLineLength], storedLines[2][kLineLength];
  FUZZ_CHECK(QuorbDataToArray(key, out.data(), outText) == 0);
  const std::string kept = std::string(xs.data(), strnlen(xs.data(), 9)) + std::string(9, ' ');
  FUZZ_CHECK(std::string_view(outText, 9) == kept.substr(0, 9));  // secClass and intlDesig

  // Integers come back truncated, reals as they were, controls only with the
  // flag, a covariance only when not all zero, and unnamed positions untouched.
  const bool withControls = std::trunc(xa[kControlsFlag]) == 1.0;
  double sum = 0.0;
  for (int i = kCovariance; i < QUORB_XA_SIZE; ++i) sum += std::fabs(xa[i]);
  for (int i = 0; i < QUORB_XA_SIZE; ++i) {
    const bool control = withControls && i > kControlsFlag && i != 83 && (i <= 88 || i >= 100);
    if (i == 0 || i == 2 || i == 3 || (control && i < 87)) {
      FUZZ_CHECK(out[i] == Truncated(xa[i], INT32_MIN));
    } else if (i != 1 && i != 7 && !(control && i == 87)) {
      const bool real = i < 7 || (i >= 20 && i < 26) || (control && (i == 88 || sum > kZeroSum));
      FUZZ_CHECK(SameBits(out[i], real ? xa[i] : kUntouched));
    }
  }
  FUZZ_CHECK(out[7] == (xa[7] == 1.0 || xa[7] == 2.0 ? xa[7] : 0.0));
  // Kept to the millisecond.
  FUZZ_CHECK(!(xa[1] >= 2558.0 && xa[1] < 39083.0 - millisecond) ||
             std::fabs(out[1] - xa[1]) <= millisecond / 2 + 1e-11);

  // The cards of the array are those of the vector stored from it.
  QuorbArrayToLines(xa.data(), xs.data(), arrayLines[0], arrayLines[1]);
  FUZZ_CHECK(QuorbGetLines(key, storedLines[0], storedLines[1]) == 0);
  FUZZ_CHECK(std::memcmp(arrayLines, storedLines, sizeof arrayLines) == 0);
  return 0;
}
