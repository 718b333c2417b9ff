// Card-set reading: the bytes up to the first newline are the 1P line, the
// rest the 2P line. Both readers must agree; stored cards must read back.
#include "FuzzSupport.h"
#include "Services/Calendar.h"
#include "support/HostFields.h"

using quorb::testing::HostFields;

static bool Near(double written, double read, double absolute, double relative) {
  return std::fabs(written - read) <= absolute + relative * std::fabs(written);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  QuorbRemoveAllSats();
  ElsetKeyModeSet(1);  // a direct-address key needs no epoch: every valid card set is stored
  const auto [first, second] = SplitAt('\n', data, size);
  const HostLine line1 = ToHostLine(first), line2 = ToHostLine(second);
  const HostFields parsed = quorb::testing::Parse(line1.data(), line2.data());
  double xa[QUORB_XA_SIZE];
  char xs[kLineLength], out1[kLineLength], out2[kLineLength];
  FUZZ_CHECK(QuorbLinesToArray(line1.data(), line2.data(), xa, xs) == parsed.status);
  if (parsed.status == 0) {  // the array form holds what the fields hold
    FUZZ_CHECK(xa[0] == parsed.satNum && xa[2] == parsed.revNum && xa[3] == parsed.elsetNum);
    FUZZ_CHECK(std::memcmp(xa + 20, parsed.pos, sizeof parsed.pos) == 0 &&
               std::memcmp(xa + 23, parsed.vel, sizeof parsed.vel) == 0);
    FUZZ_CHECK(xs[0] == parsed.secClass && std::memcmp(xs + 1, parsed.intlDesig, 8) == 0);
  }

  const int64_t key = QuorbAddSatFrLines(line1.data(), line2.data());
  FUZZ_CHECK(parsed.status == 0 ? key > 0 : key == -1);
  if (key <= 0) return 0;
  FUZZ_CHECK(QuorbGetLines(key, out1, out2) == 0);
  // A value too wide for its columns is written as asterisks: it cannot come back.
  if (std::memchr(out1, '*', sizeof out1) || std::memchr(out2, '*', sizeof out2)) return 0;
  // The cards keep state vectors to 4 decimals and the 2P reals to three digits.
  const HostFields back = quorb::testing::Parse(out1, out2);
  FUZZ_CHECK(back.status == 0 && back.secClass == parsed.secClass && back.satNum == parsed.satNum &&
             back.revNum == parsed.revNum && back.elsetNum == parsed.elsetNum);
  FUZZ_CHECK(std::memcmp(back.intlDesig, parsed.intlDesig, sizeof back.intlDesig) == 0 &&
             std::memcmp(back.coordSys, parsed.coordSys, sizeof back.coordSys) == 0);
  FUZZ_CHECK(quorb::ParseEpoch({back.epochDtg, 17}) == quorb::ParseEpoch({parsed.epochDtg, 17}));
  for (int i = 0; i < 3; ++i) {
    FUZZ_CHECK(Near(parsed.pos[i], back.pos[i], 0.50001e-4, 1e-12) &&
               Near(parsed.vel[i], back.vel[i], 0.50001e-4, 1e-12));
  }
  for (auto real : {&HostFields::bTerm, &HostFields::agom, &HostFields::inTrackThrust})
    FUZZ_CHECK(Near(parsed.*real, back.*real, 0.0, 5e-3));
  return 0;
}
