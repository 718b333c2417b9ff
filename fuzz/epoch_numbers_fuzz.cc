// The epoch and number readers. The first 16 fuzz bytes are a header: the
// bits of a double (8 bytes), a satellite number (4 bytes), an output width
// and a count of implied decimals (1 byte each) and 2 unused bytes; the rest
// is the text handed to every reader. Shorter inputs leave the header zero.
//
// Readers of one text must agree with each other: epochs with composed keys,
// days since 1950 and their 15-character form; StrToInt with StrToReal; the
// integer card field with the real card field; and what Fx0ToAx writes must
// read back through the card field reader.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "FuzzSupport.h"
#include "Quorb/CardFields.h"
#include "Services/Calendar.h"
#include "Services/StringUtils.h"
#include "quorb/quorb.h"

namespace quorb::fuzz {
namespace {

struct Header {
  uint64_t valueBits = 0;
  int32_t satNum = 0;
  uint8_t width = 0;
  uint8_t impliedDecimals = 0;
  uint8_t unused[2] = {0, 0};
};
static_assert(sizeof(Header) == 16);

constexpr int64_t kFirstComposedKey = int64_t{1} << 62;
constexpr int64_t kNanosPerSecond = 1'000'000'000;
constexpr double kNanosPerDay = 86'400.0 * 1e9;
constexpr int32_t kMaxWidth = 40;
constexpr int kMaxImpliedDecimals = 8;

int64_t NanosOf(std::string_view epoch) {
  const std::optional<int64_t> nanos = ParseEpoch(epoch);
  if (!nanos) std::abort();
  return *nanos;
}

// The years that the two-digit years of DS50ToDate15 stand for.
const int64_t kFirstTwoDigitYear = NanosOf("1957/001.0");
const int64_t kEndTwoDigitYear = NanosOf("2057/001.0");

void CheckEpoch(std::string_view text, int32_t satNum) {
  const std::optional<int64_t> nanos = ParseEpoch(text);
  const int64_t key = CreateSatKey(satNum, kVectorElsetType, text);
  const double ds50 = DTG2DS50UTC(text);
  const int64_t exported = QuorbFieldsToSatKey(satNum, ToHostLine(text).data());
  FUZZ_CHECK(exported == -1 || exported >= kFirstComposedKey);
  if (!nanos) {
    FUZZ_CHECK(key == -1 && ds50 == 0.0);
    return;
  }
  const int64_t seconds = *nanos / kNanosPerSecond;
  const bool keyable =
      *nanos >= 0 && seconds < (int64_t{1} << 32) && satNum >= 0 && satNum <= 999'999'999;
  FUZZ_CHECK(key == (keyable ? kFirstComposedKey + satNum * (int64_t{1} << 32) + seconds : -1));
  // ds50 is 1.0 at 1950 Jan 1 00:00; a double keeps about a microsecond.
  const double expected = 1.0 + static_cast<double>(*nanos) / kNanosPerDay;
  FUZZ_CHECK(std::fabs(ds50 - expected) <= 1e-14 * std::fabs(expected) + 1e-15);

  if (*nanos < kFirstTwoDigitYear || *nanos >= kEndTwoDigitYear - 1'000'000) return;
  const Text<15> date15 = DS50ToDate15(ds50);
  const std::optional<int64_t> back = ParseEpoch(View(date15));
  FUZZ_CHECK(back.has_value());
  // Rounded to the millisecond, after the microsecond that ds50 may lose.
  FUZZ_CHECK(std::llabs(*back - *nanos) <= 500'000 + 1'000);
  char host[20];
  std::memset(host, ' ', sizeof host);
  std::memcpy(host, date15.data(), date15.size());
  FUZZ_CHECK(QuorbFieldsToSatKey(satNum, host) == CreateSatKey(satNum, 4, View(date15)));
}

void CheckStrToNumber(std::string_view text) {
  const double real = StrToReal(text);
  const int32_t integer = StrToInt(text);
  if (real > -2147483649.0 && real < 2147483648.0) {
    FUZZ_CHECK(integer == static_cast<int32_t>(real));
  } else {
    FUZZ_CHECK(integer == kMissingInt);
  }
  Text<31> designator;
  GetInputStr(designator, text);
  Line value;
  GetInputStr(value, text);
  FUZZ_CHECK(std::memcmp(designator.data(), value.data(), designator.size()) == 0);
}

void CheckCardFields(std::string_view field, int impliedDecimals) {
  int32_t integer = 0;
  if (!ReadIntField(field, integer)) {
    double ignored = 0.0;
    ReadRealField(field, impliedDecimals, ignored);
    return;
  }
  // An integer field is a real field without a decimal point.
  double whole = 0.0;
  double scaled = 0.0;
  FUZZ_CHECK(ReadRealField(field, 0, whole) && whole == integer);
  FUZZ_CHECK(ReadRealField(field, impliedDecimals, scaled));
  const double expected = integer / std::pow(10.0, impliedDecimals);
  FUZZ_CHECK(std::fabs(scaled - expected) <= 4e-16 * std::fabs(expected));
}

// What Fx0ToAx writes is a 2P real field: it reads back and keeps the sign.
// Any finite value fits 9 columns. In the 10 columns of a card or more it
// keeps at least three significant digits, and the value read is written
// and read again unchanged, so card sets saved and loaded again keep their
// values.
void CheckWrittenReal(double value, int32_t width) {
  std::string out(width, '?');
  Fx0ToAx(value, out);
  if (out == std::string(width, '*')) {
    FUZZ_CHECK(!std::isfinite(value) || width < 9);
    return;
  }
  FUZZ_CHECK(std::isfinite(value) && out.find('?') == std::string::npos);
  double read = 0.0;
  FUZZ_CHECK(ReadRealField(out, 0, read));
  FUZZ_CHECK(std::signbit(read) == std::signbit(value));
  if (width < 10) return;
  FUZZ_CHECK(std::fabs(read - value) <= 5e-3 * std::fabs(value));
  std::string again(width, '?');
  Fx0ToAx(read, again);
  double readAgain = 0.0;
  FUZZ_CHECK(ReadRealField(again, 0, readAgain) && SameBits(readAgain, read));
}

}  // namespace
}  // namespace quorb::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quorb::fuzz;
  Header header;
  std::memcpy(&header, data, std::min(size, sizeof header));
  const std::string_view text =
      size > sizeof header ? std::string_view(reinterpret_cast<const char*>(data) + sizeof header,
                                              size - sizeof header)
                           : std::string_view();
  const int32_t width = 1 + header.width % kMaxWidth;
  const int impliedDecimals = header.impliedDecimals % (kMaxImpliedDecimals + 1);

  CheckEpoch(text, header.satNum);
  CheckStrToNumber(text);
  CheckCardFields(text, impliedDecimals);
  double bitsValue = 0.0;
  std::memcpy(&bitsValue, &header.valueBits, sizeof bitsValue);
  CheckWrittenReal(bitsValue, width);
  CheckWrittenReal(quorb::StrToReal(text), width);
  return 0;
}
