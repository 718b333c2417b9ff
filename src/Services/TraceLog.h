// Internal side of the trace log: every message of the library goes here.
#ifndef QUORB_SERVICES_TRACELOG_H_
#define QUORB_SERVICES_TRACELOG_H_

#include <string_view>

#include "quorb/quorb_services.h"

namespace quorb {

// Records an error line (level 1). Trailing blanks are removed on delivery.
void TraceLogError(std::string_view msg);
// Records an information or warning line (level 0).
void TraceLogInfo(std::string_view msg);

}  // namespace quorb

#endif  // QUORB_SERVICES_TRACELOG_H_
