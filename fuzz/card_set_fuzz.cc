// Card-set reading: the bytes up to the first newline are the 1P line, the
// rest the 2P line. Both readers must agree; stored cards must read back.
#include "FuzzSupport.h"
#include "Services/Calendar.h"
#include "support/HostFields.h"

using namespace quorb::fuzz;
using quorb::testing::HostFields;

namespace {

enum ArrayPosition { kSatNum = 0, kRevNum = 2, kElsetNum = 3, kPosition = 20, kVelocity = 23 };
constexpr double k1PRounding = 0.50001e-4;  // 4 decimals
constexpr double k2PRounding = 5e-3;        // three significant digits

void CheckArrayFormAgrees(const HostLine& line1, const HostLine& line2, const HostFields& parsed) {
  double xa[kArraySize];
  char xs[kLineLength];
  FUZZ_CHECK(QuorbLinesToArray(line1.data(), line2.data(), xa, xs) == parsed.status);
  if (parsed.status != 0) return;
  FUZZ_CHECK(xa[kSatNum] == parsed.satNum && xa[kRevNum] == parsed.revNum &&
             xa[kElsetNum] == parsed.elsetNum);
  for (int i = 0; i < 3; ++i) {
    FUZZ_CHECK(SameBits(xa[kPosition + i], parsed.pos[i]));
    FUZZ_CHECK(SameBits(xa[kVelocity + i], parsed.vel[i]));
  }
  FUZZ_CHECK(xs[0] == parsed.secClass &&
             std::memcmp(xs + 1, parsed.intlDesig, sizeof parsed.intlDesig) == 0);
}

bool Near(double written, double read, double absolute, double relative) {
  return std::fabs(written - read) <= absolute + relative * std::fabs(written);
}

void CheckStoredCardsReadBack(int64_t key, const HostFields& stored) {
  char line1[kLineLength], line2[kLineLength];
  FUZZ_CHECK(QuorbGetLines(key, line1, line2) == 0);
  // A value too wide for its columns is written as asterisks: it cannot come back.
  if (std::memchr(line1, '*', sizeof line1) || std::memchr(line2, '*', sizeof line2)) return;
  const HostFields back = quorb::testing::Parse(line1, line2);
  FUZZ_CHECK(back.status == 0 && back.secClass == stored.secClass && back.satNum == stored.satNum &&
             back.revNum == stored.revNum && back.elsetNum == stored.elsetNum);
  FUZZ_CHECK(std::memcmp(back.intlDesig, stored.intlDesig, sizeof back.intlDesig) == 0 &&
             std::memcmp(back.coordSys, stored.coordSys, sizeof back.coordSys) == 0);
  FUZZ_CHECK(quorb::ParseEpoch({back.epochDtg, 17}) == quorb::ParseEpoch({stored.epochDtg, 17}));
  for (int i = 0; i < 3; ++i) {
    FUZZ_CHECK(Near(stored.pos[i], back.pos[i], k1PRounding, 1e-12));
    FUZZ_CHECK(Near(stored.vel[i], back.vel[i], k1PRounding, 1e-12));
  }
  FUZZ_CHECK(Near(stored.bTerm, back.bTerm, 0.0, k2PRounding) &&
             Near(stored.agom, back.agom, 0.0, k2PRounding) &&
             Near(stored.inTrackThrust, back.inTrackThrust, 0.0, k2PRounding));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto [first, second] = SplitAt('\n', data, size);
  const HostLine line1 = ToHostLine(first);
  const HostLine line2 = ToHostLine(second);
  const HostFields parsed = quorb::testing::Parse(line1.data(), line2.data());
  CheckArrayFormAgrees(line1, line2, parsed);

  // A direct-address key needs no epoch: every valid card set is stored.
  ElsetKeyModeSet(1);
  const int64_t key = QuorbAddSatFrLines(line1.data(), line2.data());
  ElsetKeyModeSet(0);
  FUZZ_CHECK(parsed.status == 0 ? key > 0 : key == -1);
  if (key > 0) CheckStoredCardsReadBack(key, parsed);
  QuorbRemoveAllSats();
  return 0;
}
