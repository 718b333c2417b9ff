// The epoch and number readers: a 16-byte header (value to write, satellite number, width,
// implied decimals), then a text all readers must agree on; Fx0ToAx must write what they read.
#include "FuzzSupport.h"
#include "Quorb/CardFields.h"
#include "Services/Calendar.h"
#include "Services/StringUtils.h"

using namespace quorb;

static void CheckEpoch(std::string_view text, int32_t satNum) {
  const std::optional<int64_t> nanos = ParseEpoch(text);
  const int64_t key = CreateSatKey(satNum, kVectorElsetType, text);
  const double ds50 = DTG2DS50UTC(text);
  FUZZ_CHECK(nanos || (key == -1 && ds50 == 0.0));
  if (!nanos) return;
  const int64_t seconds = *nanos / 1'000'000'000;  // the key: 2^62 + satNum * 2^32 + seconds
  const bool keyable = *nanos >= 0 && seconds >> 32 == 0 && satNum >= 0 && satNum <= 999'999'999;
  FUZZ_CHECK(key == (keyable ? (int64_t{1} << 62) + (int64_t{satNum} << 32) + seconds : -1));
  // ds50 is 1.0 at 1950 Jan 1 00:00; a double keeps about a microsecond.
  const double expected = 1.0 + *nanos / 86'400e9;
  FUZZ_CHECK(std::fabs(ds50 - expected) <= 1e-14 * std::fabs(expected) + 1e-15);

  // DS50ToDate15 writes two-digit years, 1957 to 2056, rounded to the
  // millisecond after the microsecond that ds50 may lose; asterisks outside.
  const std::optional<int64_t> back = ParseEpoch(View(DS50ToDate15(ds50)));
  const double millisecond = 1 / 86'400'000.0;
  if (ds50 < 2558.0 - millisecond || ds50 >= 39083.0) FUZZ_CHECK(!back);
  if (ds50 < 2558.0 || ds50 >= 39083.0 - millisecond) return;
  FUZZ_CHECK(back && std::llabs(*back - *nanos) <= 501'000);
}

// An integer card field is a real field without a decimal point.
static void CheckNumbers(std::string_view text, int impliedDecimals) {
  FUZZ_CHECK(StrToInt(text) == Truncated(StrToReal(text), kMissingInt));
  int32_t integer = 0;
  double whole = 0.0, scaled = 0.0;
  const bool readsAsReal = ReadRealField(text, impliedDecimals, scaled);
  if (!ReadIntField(text, integer)) return;
  FUZZ_CHECK(readsAsReal && ReadRealField(text, 0, whole) && whole == integer);
}

// What Fx0ToAx writes reads back with the same sign; in a card's 10 columns it keeps three
// significant digits and writes what it read unchanged, so saved card sets load back the same.
static void CheckWrittenReal(double value, int32_t width) {
  std::string out(width, '?');
  Fx0ToAx(value, out);
  const bool stars = out == std::string(width, '*');
  FUZZ_CHECK(!stars || !std::isfinite(value) || width < 9);  // 9 columns hold every finite value
  if (stars) return;
  double read = 0.0, readAgain = 0.0;
  FUZZ_CHECK(std::isfinite(value) && out.find('?') == std::string::npos);
  FUZZ_CHECK(ReadRealField(out, 0, read) && std::signbit(read) == std::signbit(value));
  if (width < 10) return;
  FUZZ_CHECK(std::fabs(read - value) <= 5e-3 * std::fabs(value));
  Fx0ToAx(read, out);
  FUZZ_CHECK(ReadRealField(out, 0, readAgain) && SameBits(readAgain, read));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  struct {  // zero where the input is shorter
    double value = 0.0;
    int32_t satNum = 0;
    uint8_t width = 0, impliedDecimals = 0;
  } header;
  const std::size_t headerSize = std::min(size, sizeof header);
  std::memcpy(&header, data, headerSize);
  const std::string_view text(reinterpret_cast<const char*>(data) + headerSize, size - headerSize);
  CheckEpoch(text, header.satNum);
  CheckNumbers(text, header.impliedDecimals % 9);
  for (double real : {header.value, StrToReal(text)}) CheckWrittenReal(real, 1 + header.width % 40);
  return 0;
}
