// The card pass over one unit: its card sets go to the store, its maneuver
// cards to the vectors before them, and keyed data that end the unit are
// read. A unit with more lines than one batch of events is read ahead on a
// second thread while the calling thread stores; everything that shows
// (the store's contents, counts, messages and their order, the status) is
// as if one thread had done it all.
#ifndef QUORB_QUORB_CARDPASS_H_
#define QUORB_QUORB_CARDPASS_H_

#include <cstdint>
#include <string_view>

#include "Quorb/LoadCounts.h"

namespace quorb {

struct CardPassFiles {
  // The file named to the load: keyed control data take their satellite
  // number from it.
  std::string_view top;
  // The file the unit reads, named in the load report.
  std::string_view unit;
};

// Runs the pass over an open unit of the calling thread, adding to counts.
// Returns the status of the last card set read (0, or 2 when it was
// rejected), or that of the keyed data that end the unit.
int32_t RunCardPass(CardPassFiles files, int32_t unit, LoadCounts& counts);

}  // namespace quorb

#endif  // QUORB_QUORB_CARDPASS_H_
