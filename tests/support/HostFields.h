// The twelve typed fields a host receives from QuorbGetAllFields or
// QuorbParse, held together for tests and fuzz targets.
#ifndef QUORB_TESTS_SUPPORT_HOSTFIELDS_H_
#define QUORB_TESTS_SUPPORT_HOSTFIELDS_H_

#include <cstdint>

#include "quorb/quorb.h"

namespace quorb::testing {

struct HostFields {
  int32_t status = 0;
  double pos[3], vel[3];
  char secClass;
  int32_t satNum;
  char intlDesig[8], epochDtg[17];
  int32_t revNum, elsetNum;
  double bTerm, agom, inTrackThrust;
  char coordSys[5];
};

inline HostFields GetAllFields(int64_t key) {
  HostFields f;
  f.status =
      QuorbGetAllFields(key, f.pos, f.vel, &f.secClass, &f.satNum, f.intlDesig, f.epochDtg,
                        &f.revNum, &f.elsetNum, &f.bTerm, &f.agom, &f.inTrackThrust, f.coordSys);
  return f;
}

inline HostFields Parse(const char* line1, const char* line2) {
  HostFields f;
  f.status = QuorbParse(line1, line2, f.pos, f.vel, &f.secClass, &f.satNum, f.intlDesig, f.epochDtg,
                        &f.revNum, &f.elsetNum, &f.bTerm, &f.agom, &f.inTrackThrust, f.coordSys);
  return f;
}

}  // namespace quorb::testing

#endif  // QUORB_TESTS_SUPPORT_HOSTFIELDS_H_
