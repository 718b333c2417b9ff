// The array form: the bytes up to the first newline are the companion text,
// the rest changes to a valid array, each a position byte, a kind byte and the
// value (raw double, index of a special value or small integer).
#include "FuzzSupport.h"

using namespace quorb::fuzz;

namespace {

enum Position { kEpoch = 1, kCoordSys = 7, kState = 20, kStateEnd = 26, kControlsFlag = 70 };
enum ControlPosition { kControlsGap = 83, kStepMode = 87, kStepSize = 88, kCovariance = 100 };
constexpr int kIntegerFields[] = {0, 2, 3};                       // satNum, revNum, elsetNum
constexpr int kRealFields[] = {4, 5, 6, 20, 21, 22, 23, 24, 25};  // 2P reals, state
constexpr std::size_t kTextSize = 9;                              // secClass and intlDesig
constexpr double kNoCovariance = 1e-21;  // the largest sum of a missing one
constexpr double kMillisecondInDays = 1.0 / 86'400'000.0;
constexpr double kUntouched = -7777.25;  // shows the positions left alone
// The seeds pick these by index modulo their count: keep the order.
constexpr double kSpecials[] = {NAN, 1e9, HUGE_VAL, -HUGE_VAL, 1.0, -0.0, 2147483648.0, 4.9e-324};

using Array = std::array<double, kArraySize>;

Array ValidArray() {
  Array xa;
  xa.fill(kUntouched);
  const double head[] = {25544, 27517.5, 12345, 999, 0.012, 0.02, 0.0, 2};
  std::copy(std::begin(head), std::end(head), xa.begin());
  const double state[] = {6524.8346, -1876.221, 253.0097, 1983.2456, 6812.7001, -3456.1234};
  std::copy(std::begin(state), std::end(state), xa.begin() + kState);
  for (int i = kControlsFlag; i <= kStepSize; ++i) xa[i] = i - kControlsFlag + 1;
  for (int i = kCovariance; i < kArraySize; ++i) xa[i] = (i - kCovariance + 1) * 1e-3;
  return xa;
}

void ApplyChanges(std::string_view bytes, Array& xa) {
  const auto byte = [&bytes](int i) { return static_cast<uint8_t>(bytes[i]); };
  while (bytes.size() > 2) {
    double& value = xa[byte(0) % kArraySize];
    const int kind = byte(1) % 3;
    const std::size_t length = kind == 0 ? sizeof(double) : kind == 1 ? 1 : sizeof(int16_t);
    bytes.remove_prefix(2);
    if (bytes.size() < length) return;
    if (kind == 0) std::memcpy(&value, bytes.data(), length);
    if (kind == 1) value = kSpecials[byte(0) % std::size(kSpecials)];
    if (kind == 2) value = static_cast<int16_t>(byte(0) | byte(1) << 8);  // little-endian
    bytes.remove_prefix(length);
  }
}

// Integers come back truncated toward zero, INT32_MIN when none holds them.
bool TruncatesTo(double value, double stored) {
  const bool fits = value > -2147483649.0 && value < 2147483648.0;
  return stored == (fits ? std::trunc(value) : -2147483648.0);
}

void CheckStored(int64_t key, const Array& xa, const HostLine& xs) {
  // The values passed validation when they were added: they pass it again.
  FUZZ_CHECK(QuorbUpdateSatFrArray(key, xa.data(), xs.data()) == 0);
  Array out;
  out.fill(kUntouched);
  char outText[kLineLength];
  FUZZ_CHECK(QuorbDataToArray(key, out.data(), outText) == 0);
  std::string text(xs.data(), strnlen(xs.data(), kTextSize));
  FUZZ_CHECK(std::string_view(outText, kTextSize) == text.append(kTextSize - text.size(), ' '));
  const bool withControls = std::trunc(xa[kControlsFlag]) == 1.0;
  for (int i = 0; i < kArraySize; ++i) {
    const bool control =
        i > kControlsFlag && i != kControlsGap && (i <= kStepSize || i >= kCovariance);
    const bool named =
        i <= kCoordSys || (i >= kState && i < kStateEnd) || (withControls && control);
    FUZZ_CHECK(named || out[i] == kUntouched);
  }
  for (int i : kIntegerFields) FUZZ_CHECK(TruncatesTo(xa[i], out[i]));
  for (int i : kRealFields) FUZZ_CHECK(SameBits(out[i], xa[i]));
  const double coordSys = xa[kCoordSys];
  FUZZ_CHECK(out[kCoordSys] == (coordSys == 1.0 || coordSys == 2.0 ? coordSys : 0.0));
  // Kept to the millisecond from 1957 to 2056, the years of two-digit epochs.
  FUZZ_CHECK(!(xa[kEpoch] >= 2558.0 && xa[kEpoch] < 39083.0 - kMillisecondInDays) ||
             std::fabs(out[kEpoch] - xa[kEpoch]) <= 0.5 * kMillisecondInDays + 1e-11);

  // The cards of the array are those of the vector stored from it.
  char arrayLines[2][kLineLength], storedLines[2][kLineLength];
  QuorbArrayToLines(xa.data(), xs.data(), arrayLines[0], arrayLines[1]);
  FUZZ_CHECK(QuorbGetLines(key, storedLines[0], storedLines[1]) == 0);
  FUZZ_CHECK(std::memcmp(arrayLines, storedLines, sizeof arrayLines) == 0);

  if (!withControls) return;
  for (int i = kControlsFlag + 1; i < kStepMode; ++i) {  // the step mode is clamped
    FUZZ_CHECK(i == kControlsGap || TruncatesTo(xa[i], out[i]));
  }
  FUZZ_CHECK(SameBits(out[kStepSize], xa[kStepSize]));
  double sum = 0.0;
  for (int i = kCovariance; i < kArraySize; ++i) sum += std::fabs(xa[i]);
  for (int i = kCovariance; i < kArraySize; ++i) {
    FUZZ_CHECK(SameBits(out[i], sum > kNoCovariance ? xa[i] : kUntouched));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto [text, changes] = SplitAt('\n', data, size);
  const HostLine xs = ToHostLine(text);
  Array xa = ValidArray();
  ApplyChanges(changes, xa);
  // A direct-address key needs no epoch, so every valid array is stored.
  ElsetKeyModeSet(1);
  const int64_t key = QuorbAddSatFrArray(xa.data(), xs.data());
  ElsetKeyModeSet(0);
  if (key > 0) CheckStored(key, xa, xs);
  QuorbRemoveAllSats();
  return 0;
}
