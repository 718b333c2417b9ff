// The epoch and number readers: the first 16 bytes are a Header, the rest a
// text on which all readers must agree. Fx0ToAx must write what they read.
#include "FuzzSupport.h"
#include "Quorb/CardFields.h"
#include "Services/Calendar.h"
#include "Services/StringUtils.h"

using namespace quorb;
using namespace quorb::fuzz;

namespace {

struct Header {  // zero where the input is shorter
  double value = 0.0;
  int32_t satNum = 0;
  uint8_t width = 0, impliedDecimals = 0;
};
static_assert(sizeof(Header) == 16);

constexpr int64_t kFirstComposedKey = int64_t{1} << 62;
constexpr int64_t kSecondsPerSatNum = int64_t{1} << 32;
constexpr int64_t kNanosPerSecond = 1'000'000'000;
constexpr int64_t kNanosPerMillisecond = 1'000'000;
constexpr int32_t kMaxWidth = 40;
constexpr int kMaxImpliedDecimals = 8;
constexpr int32_t kCardFieldWidth = 10;  // one fewer holds every finite value
// The epochs that the two-digit years of DS50ToDate15 stand for.
const int64_t kFirstTwoDigitYear = ParseEpoch("1957/001.0").value();
const int64_t kEndTwoDigitYear = ParseEpoch("2057/001.0").value();

void CheckEpoch(std::string_view text, int32_t satNum) {
  const std::optional<int64_t> nanos = ParseEpoch(text);
  const int64_t key = CreateSatKey(satNum, kVectorElsetType, text);
  const double ds50 = DTG2DS50UTC(text);
  FUZZ_CHECK(nanos || (key == -1 && ds50 == 0.0));
  if (!nanos) return;
  const int64_t seconds = *nanos / kNanosPerSecond;
  const bool keyable =
      *nanos >= 0 && seconds < kSecondsPerSatNum && satNum >= 0 && satNum <= 999'999'999;
  FUZZ_CHECK(key == (keyable ? kFirstComposedKey + satNum * kSecondsPerSatNum + seconds : -1));
  // ds50 is 1.0 at 1950 Jan 1 00:00; a double keeps about a microsecond.
  const double expected = 1.0 + static_cast<double>(*nanos) / (86'400.0 * kNanosPerSecond);
  FUZZ_CHECK(std::fabs(ds50 - expected) <= 1e-14 * std::fabs(expected) + 1e-15);

  if (*nanos < kFirstTwoDigitYear || *nanos >= kEndTwoDigitYear - kNanosPerMillisecond) return;
  const Text<15> date15 = DS50ToDate15(ds50);
  const std::optional<int64_t> back = ParseEpoch(View(date15));
  // Rounded to the millisecond, after the microsecond that ds50 may lose.
  FUZZ_CHECK(back && std::llabs(*back - *nanos) <= kNanosPerMillisecond / 2 + 1'000);
  FUZZ_CHECK(QuorbFieldsToSatKey(satNum, ToHostLine(View(date15)).data()) ==
             CreateSatKey(satNum, kVectorElsetType, View(date15)));
}

// StrToInt is StrToReal truncated, or missing when no 32-bit integer holds it;
// an integer card field is a real field without a decimal point.
void CheckNumbers(std::string_view text, int impliedDecimals) {
  const double real = StrToReal(text);
  const bool fits = real > -2147483649.0 && real < 2147483648.0;
  FUZZ_CHECK(StrToInt(text) == (fits ? static_cast<int32_t>(real) : kMissingInt));

  int32_t integer = 0;
  double whole = 0.0, scaled = 0.0;
  const bool readsAsReal = ReadRealField(text, impliedDecimals, scaled);
  if (!ReadIntField(text, integer)) return;
  FUZZ_CHECK(readsAsReal && ReadRealField(text, 0, whole) && whole == integer);
  const double expected = integer / std::pow(10.0, impliedDecimals);
  FUZZ_CHECK(std::fabs(scaled - expected) <= 4e-16 * std::fabs(expected));
}

// What Fx0ToAx writes reads back with the same sign. In a card's columns it
// keeps three significant digits, and the value read is written and read
// again unchanged, so saved card sets load back the same.
void CheckWrittenReal(double value, int32_t width) {
  std::string out(width, '?');
  Fx0ToAx(value, out);
  const bool stars = out == std::string(width, '*');
  FUZZ_CHECK(!stars || !std::isfinite(value) || width < kCardFieldWidth - 1);
  if (stars) return;
  double read = 0.0;
  FUZZ_CHECK(std::isfinite(value) && out.find('?') == std::string::npos);
  FUZZ_CHECK(ReadRealField(out, 0, read) && std::signbit(read) == std::signbit(value));
  if (width < kCardFieldWidth) return;
  FUZZ_CHECK(std::fabs(read - value) <= 5e-3 * std::fabs(value));
  double readAgain = 0.0;
  Fx0ToAx(read, out);
  FUZZ_CHECK(ReadRealField(out, 0, readAgain) && SameBits(readAgain, read));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Header header;
  std::memcpy(&header, data, std::min(size, sizeof header));
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::string_view text = bytes.substr(std::min(size, sizeof header));
  const int32_t width = 1 + header.width % kMaxWidth;
  CheckEpoch(text, header.satNum);
  CheckNumbers(text, header.impliedDecimals % (kMaxImpliedDecimals + 1));
  CheckWrittenReal(header.value, width);
  CheckWrittenReal(StrToReal(text), width);
  return 0;
}
