// Large anonymous mappings for the store's bulk memory (node and record
// slabs, the key index). Mappings of 2 MiB and more are aligned to 2 MiB and
// offered huge pages: a million stored vectors then take few page faults and
// few address-translation misses, which dominate random lookups otherwise.
#ifndef QUORB_QUORB_LARGEMAPPINGS_H_
#define QUORB_QUORB_LARGEMAPPINGS_H_

#include <cstddef>

namespace quorb {

// A zero-filled, page-aligned mapping of at least bytes, or nullptr.
void* MapLarge(std::size_t bytes);

// Returns a mapping made by MapLarge with the same bytes.
void UnmapLarge(void* mapping, std::size_t bytes);

// Has the system clear and map the pages of bytes from start now, rather
// than at their first write. Only a hint: nothing happens where the system
// cannot, or where the range is no longer mapped.
void PrefaultForWriting(void* start, std::size_t bytes);

}  // namespace quorb

#endif  // QUORB_QUORB_LARGEMAPPINGS_H_
