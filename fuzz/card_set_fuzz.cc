// Card-set reading: the fuzz bytes up to the first newline are the 1P line,
// the rest the 2P line. Both go through QuorbParse, QuorbLinesToArray and
// QuorbAddSatFrLines in both key modes; a stored vector is written back as
// a card set, which must read back as the same vector.
#include <cmath>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "quorb/quorb.h"
#include "support/HostFields.h"

namespace quorb::fuzz {
namespace {

using testing::HostFields;
using testing::Parse;

// Both exports that read a card set without storing it agree.
void CheckArrayFormAgrees(const HostLine& line1, const HostLine& line2, const HostFields& parsed) {
  double xa[155];
  char xs[512];
  const int32_t status = QuorbLinesToArray(line1.data(), line2.data(), xa, xs);
  FUZZ_CHECK(status == parsed.status);
  if (status != 0) return;
  FUZZ_CHECK(xa[0] == parsed.satNum && xa[2] == parsed.revNum && xa[3] == parsed.elsetNum);
  for (int i = 0; i < 3; ++i) {
    FUZZ_CHECK(SameBits(xa[20 + i], parsed.pos[i]) && SameBits(xa[23 + i], parsed.vel[i]));
  }
  FUZZ_CHECK(xs[0] == parsed.secClass &&
             std::string_view(xs + 1, 8) == std::string_view(parsed.intlDesig, 8));
}

// A card rounds a 1P value to 4 decimals.
bool Within1PRounding(double written, double read) {
  return std::fabs(written - read) <= 0.50001e-4 + 1e-12 * std::fabs(written);
}

// A 2P real field keeps at least three significant digits of any value.
bool Within2PRounding(double written, double read) {
  return std::fabs(written - read) <= 5e-3 * std::fabs(written);
}

// The stored vector's card set reads back as the vector that was stored,
// unless a value too wide for its columns was written as asterisks.
void CheckStoredCardsReadBack(int64_t key, const HostFields& stored) {
  char line1[512];
  char line2[512];
  FUZZ_CHECK(QuorbGetLines(key, line1, line2) == 0);
  const std::string text1 = OutText(line1, sizeof line1);
  const std::string text2 = OutText(line2, sizeof line2);
  if (text1.find('*') != std::string::npos || text2.find('*') != std::string::npos) return;
  const HostFields back = Parse(line1, line2);
  FUZZ_CHECK(back.status == 0);
  FUZZ_CHECK(back.secClass == stored.secClass && back.satNum == stored.satNum &&
             back.revNum == stored.revNum && back.elsetNum == stored.elsetNum);
  FUZZ_CHECK(std::string_view(back.intlDesig, 8) == std::string_view(stored.intlDesig, 8));
  FUZZ_CHECK(std::string_view(back.coordSys, 5) == std::string_view(stored.coordSys, 5));
  FUZZ_CHECK(Trim({back.epochDtg, 17}) == Trim({stored.epochDtg, 17}));
  for (int i = 0; i < 3; ++i) {
    FUZZ_CHECK(Within1PRounding(stored.pos[i], back.pos[i]));
    FUZZ_CHECK(Within1PRounding(stored.vel[i], back.vel[i]));
  }
  FUZZ_CHECK(Within2PRounding(stored.bTerm, back.bTerm));
  FUZZ_CHECK(Within2PRounding(stored.agom, back.agom));
  FUZZ_CHECK(Within2PRounding(stored.inTrackThrust, back.inTrackThrust));
}

}  // namespace
}  // namespace quorb::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quorb::fuzz;
  const auto [first, second] =
      SplitAtNewline(std::string_view(reinterpret_cast<const char*>(data), size));
  const HostLine line1 = ToHostLine(first);
  const HostLine line2 = ToHostLine(second);

  const HostFields parsed = Parse(line1.data(), line2.data());
  CheckArrayFormAgrees(line1, line2, parsed);

  // Composed key: refused with the card set, or made when the epoch allows.
  const int64_t composed = QuorbAddSatFrLines(line1.data(), line2.data());
  FUZZ_CHECK(parsed.status == 0 ? composed == -1 || composed >= (int64_t{1} << 62)
                                : composed == -1);
  if (composed > 0) CheckStoredCardsReadBack(composed, parsed);

  // A direct-address key needs no epoch: every valid card set is stored.
  ElsetKeyModeSet(1);
  const int64_t direct = QuorbAddSatFrLines(line1.data(), line2.data());
  ElsetKeyModeSet(0);
  FUZZ_CHECK(parsed.status == 0 ? direct > 0 && direct < (int64_t{1} << 62) : direct == -1);
  if (direct > 0) {
    CheckStoredCardsReadBack(direct, parsed);
    FUZZ_CHECK(QuorbRemoveSat(direct) == 0);
  }

  QuorbRemoveAllSats();
  FUZZ_CHECK(QuorbGetCount() == 0);
  return 0;
}
