// The array form. Each input starts from a valid vector array (with controls
// and a covariance) and changes positions of it: the first bytes up to a
// newline are the companion text, the rest a list of changes, each a
// position byte, a kind byte and the value (raw double bits, a special value
// such as NaN or an infinity, or a small integer). The array then goes
// through QuorbArrayToLines and QuorbLinesToArray and is added in both key
// modes, read back with QuorbDataToArray, updated and removed.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "FuzzSupport.h"
#include "quorb/quorb.h"

namespace quorb::fuzz {
namespace {

constexpr int kArraySize = 155;
// Not a value the library writes; shows the positions it leaves alone.
constexpr double kUntouched = -7777.25;

using Array = std::array<double, kArraySize>;

constexpr double kSpecials[] = {
    std::numeric_limits<double>::quiet_NaN(),
    -std::numeric_limits<double>::quiet_NaN(),
    std::numeric_limits<double>::infinity(),
    -std::numeric_limits<double>::infinity(),
    -0.0,
    std::numeric_limits<double>::max(),
    std::numeric_limits<double>::lowest(),
    std::numeric_limits<double>::min(),
    std::numeric_limits<double>::denorm_min(),
    1e9,
    -1e9,
    1e6,
    1.0000000000000002e9,
    2147483647.0,
    2147483648.0,
    -2147483648.0,
    -2147483649.0,
    999999999.0,
    1e-21,
    -1.0,
    1.0,
    2.0,
    0.5,
    1.5,
};

Array ValidArray() {
  Array xa;
  xa.fill(kUntouched);
  const double head[] = {25544, 27517.5, 12345, 999, 0.012, 0.02, 0.0, 2};
  std::copy(std::begin(head), std::end(head), xa.begin());
  const double state[] = {6524.8346, -1876.221, 253.0097, 1983.2456, 6812.7001, -3456.1234};
  std::copy(std::begin(state), std::end(state), xa.begin() + 20);
  xa[70] = 1;
  for (int i = 71; i <= 82; ++i) xa[i] = i - 70;
  for (int i = 84; i <= 88; ++i) xa[i] = i - 83;
  for (int i = 100; i < kArraySize; ++i) xa[i] = (i - 99) * 1e-3;
  return xa;
}

// Applies the changes that the bytes describe.
void ApplyChanges(std::string_view bytes, Array& xa) {
  while (bytes.size() >= 2) {
    const int position = static_cast<uint8_t>(bytes[0]) % kArraySize;
    const int kind = static_cast<uint8_t>(bytes[1]) % 3;
    bytes.remove_prefix(2);
    if (kind == 0 && bytes.size() >= sizeof(double)) {
      std::memcpy(&xa[position], bytes.data(), sizeof(double));
      bytes.remove_prefix(sizeof(double));
    } else if (kind == 1 && !bytes.empty()) {
      xa[position] = kSpecials[static_cast<uint8_t>(bytes[0]) % std::size(kSpecials)];
      bytes.remove_prefix(1);
    } else if (kind == 2 && bytes.size() >= 2) {
      int16_t small;
      std::memcpy(&small, bytes.data(), sizeof small);
      xa[position] = small;
      bytes.remove_prefix(2);
    } else {
      return;
    }
  }
}

// An integer position comes back truncated toward zero; a value that no
// 32-bit integer holds comes back as INT32_MIN.
bool TruncatesTo(double value, double stored) {
  const double expected =
      value > -2147483649.0 && value < 2147483648.0 ? std::trunc(value) : -2147483648.0;
  return stored == expected;
}

// Days since 1950 of 1957 Jan 1 and 2057 Jan 1: the epochs whose two-digit
// years read back as the same year.
constexpr double kFirstTwoDigitYearDs50 = 2558.0;
constexpr double kEndTwoDigitYearDs50 = 39083.0;
constexpr double kMillisecondInDays = 1.0 / 86'400'000.0;

// The epoch is kept to the nearest millisecond.
bool EpochKept(double given, double stored) {
  if (!(given >= kFirstTwoDigitYearDs50 && given < kEndTwoDigitYearDs50 - kMillisecondInDays)) {
    return true;
  }
  return std::fabs(stored - given) <= 0.5 * kMillisecondInDays + 1e-11;
}

// The text the library reads from a host array: up to its first zero byte,
// blanks after it.
std::string HostText(const HostLine& host, std::size_t n) {
  std::string text(host.data(), strnlen(host.data(), n));
  text.resize(n, ' ');
  return text;
}

bool HasCovariance(const Array& xa) {
  double sum = 0.0;
  for (int i = 100; i < kArraySize; ++i) sum += std::fabs(xa[i]);
  return sum > 1e-21;
}

bool IsBlank(const char* text, std::size_t n) {
  return std::all_of(text, text + n, [](char c) { return c == ' '; });
}

// Only the listed positions are written, the rest keep what they had.
void CheckUntouchedOutside(const Array& out, bool withControls) {
  for (int i = 0; i < kArraySize; ++i) {
    const bool written =
        i <= 7 || (i >= 20 && i <= 25) ||
        (withControls && ((i >= 71 && i <= 82) || (i >= 84 && i <= 88) || i >= 100));
    if (!written) FUZZ_CHECK(SameBits(out[i], kUntouched));
  }
}

void CheckCardSet(const Array& xa, const HostLine& xs) {
  char line1[512];
  char line2[512];
  QuorbArrayToLines(xa.data(), xs.data(), line1, line2);
  const bool noSatellite = std::trunc(xa[0]) == -1.0;
  FUZZ_CHECK(IsBlank(line1, sizeof line1) == noSatellite);
  FUZZ_CHECK(IsBlank(line2, sizeof line2) == noSatellite);
  if (noSatellite) return;
  FUZZ_CHECK(std::string_view(line1 + 77, 3) == "B1P" && std::string_view(line2 + 78, 2) == "2P");

  Array back;
  back.fill(kUntouched);
  char backText[512];
  if (QuorbLinesToArray(line1, line2, back.data(), backText) != 0) {
    CheckUntouchedOutside(back, false);
    FUZZ_CHECK(IsBlank(backText, sizeof backText));
    return;
  }
  CheckUntouchedOutside(back, false);
  FUZZ_CHECK(TruncatesTo(xa[0], back[0]) && TruncatesTo(xa[2], back[2]) &&
             TruncatesTo(xa[3], back[3]));
  for (int i = 20; i <= 25; ++i) {
    FUZZ_CHECK(std::fabs(back[i] - xa[i]) <= 0.50001e-4 + 1e-12 * std::fabs(xa[i]));
  }
  FUZZ_CHECK(std::string_view(backText, 9) == HostText(xs, 9));
}

// The stored vector comes back as it went in.
void CheckStored(int64_t key, const Array& xa, const HostLine& xs) {
  Array out;
  out.fill(kUntouched);
  char outText[512];
  FUZZ_CHECK(QuorbDataToArray(key, out.data(), outText) == 0);
  const bool withControls = std::trunc(xa[70]) == 1.0;
  CheckUntouchedOutside(out, withControls);
  FUZZ_CHECK(TruncatesTo(xa[0], out[0]) && TruncatesTo(xa[2], out[2]) &&
             TruncatesTo(xa[3], out[3]));
  for (int i : {4, 5, 6, 20, 21, 22, 23, 24, 25}) FUZZ_CHECK(SameBits(out[i], xa[i]));
  FUZZ_CHECK(out[7] == (xa[7] == 1.0 || xa[7] == 2.0 ? xa[7] : 0.0));
  FUZZ_CHECK(EpochKept(xa[1], out[1]));
  if (withControls) {
    for (int i = 71; i <= 86; ++i) {
      if (i != 83) FUZZ_CHECK(TruncatesTo(xa[i], out[i]));
    }
    FUZZ_CHECK(SameBits(out[88], xa[88]));
    const bool covariance = HasCovariance(xa);
    for (int i = 100; i < kArraySize; ++i) {
      FUZZ_CHECK(SameBits(out[i], covariance ? xa[i] : kUntouched));
    }
  }
  FUZZ_CHECK(std::string_view(outText, 9) == HostText(xs, 9));

  char line1[512];
  char line2[512];
  FUZZ_CHECK(QuorbGetLines(key, line1, line2) == 0);
  // The same values passed validation when they were added.
  FUZZ_CHECK(QuorbUpdateSatFrArray(key, xa.data(), xs.data()) == 0);
}

}  // namespace
}  // namespace quorb::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quorb::fuzz;
  const auto [text, changes] =
      SplitAtNewline(std::string_view(reinterpret_cast<const char*>(data), size));
  const HostLine xs = ToHostLine(text);
  Array xa = ValidArray();
  ApplyChanges(changes, xa);

  CheckCardSet(xa, xs);

  const int64_t composed = QuorbAddSatFrArray(xa.data(), xs.data());
  FUZZ_CHECK(composed == -1 || composed >= (int64_t{1} << 62));
  if (composed > 0) {
    CheckStored(composed, xa, xs);
    FUZZ_CHECK(QuorbRemoveSat(composed) == 0);
  }

  ElsetKeyModeSet(1);
  const int64_t direct = QuorbAddSatFrArray(xa.data(), xs.data());
  ElsetKeyModeSet(0);
  // A direct-address key needs no epoch: whatever gets a composed key gets
  // one too.
  FUZZ_CHECK(direct == -1 || (direct > 0 && direct < (int64_t{1} << 62)));
  FUZZ_CHECK(composed == -1 || direct > 0);
  if (direct > 0) {
    CheckStored(direct, xa, xs);
    FUZZ_CHECK(QuorbRemoveSat(direct) == 0);
  }

  QuorbRemoveAllSats();
  FUZZ_CHECK(QuorbGetCount() == 0);
  return 0;
}
