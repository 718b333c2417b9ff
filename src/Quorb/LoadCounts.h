// The counts of one file load, shared by its keyword pass, its card passes,
// every included file and the keyed vector reader.
#ifndef QUORB_QUORB_LOADCOUNTS_H_
#define QUORB_QUORB_LOADCOUNTS_H_

#include <cstdint>

namespace quorb {

struct LoadCounts {
  int32_t loaded = 0;  // vectors that entered the store (or were answered with a stored key)
  int32_t dup = 0;     // duplicates the store refused
  int32_t bad = 0;     // card sets or keyed data rejected before reaching the store

  int64_t total() const { return int64_t{loaded} + dup + bad; }
};

}  // namespace quorb

#endif  // QUORB_QUORB_LOADCOUNTS_H_
