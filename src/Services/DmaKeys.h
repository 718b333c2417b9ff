// Direct-address (DMA) keys and the holder pool behind them.
//
// A DMA key is ten times the address of a 48-byte holder. Holders are carved
// from slabs that are never returned to the system, so any key value can be
// checked against the pool without touching unmapped memory.
#ifndef QUORB_SERVICES_DMAKEYS_H_
#define QUORB_SERVICES_DMAKEYS_H_

#include <cstddef>
#include <cstdint>

namespace quorb {

struct QuorbRecord;

// The holder layout is shared with other components that receive DMA keys;
// its offsets must not change.
struct DmaHolder {
  int64_t self;       // the holder's own address; 0 once freed
  int32_t elsetType;  // 4 for vectors of this library
  int32_t padding0;
  QuorbRecord* rec;  // owned by the holder
  int32_t word24;    // 0; kept for other components
  int32_t padding1;
  void* attachA;  // data other components attach to the vector
  void* attachB;
};
static_assert(sizeof(DmaHolder) == 48, "the DMA holder is 48 bytes");
static_assert(offsetof(DmaHolder, self) == 0 && offsetof(DmaHolder, elsetType) == 8 &&
                  offsetof(DmaHolder, rec) == 16 && offsetof(DmaHolder, word24) == 24 &&
                  offsetof(DmaHolder, attachA) == 32 && offsetof(DmaHolder, attachB) == 40,
              "other components read the holder's fields at these offsets");

// True for every key below 2^62 (composed keys start at 2^62).
bool IsDMA(int64_t key);
// The holder a key names, or nullptr unless the key is a multiple of 10 and
// key/10 is the start of a holder block inside the pool. Safe for any value.
DmaHolder* KeyToCPtr(int64_t key);
// The holder address a key names, as an integer (key / 10).
int64_t SatKeyToAddr(int64_t key);
// The next candidate composed key: key + 1, wrapping from 2^63-1 to 2^62.
int64_t NextSatKey(int64_t key);

// A zero-filled holder from the pool, or nullptr when memory runs out.
// Unused holders come first; freed ones come back oldest first, and only
// while more than 1024 wait, so a removed vector's key does not name the
// vectors added next.
DmaHolder* AllocDmaHolder();
// Returns a holder that nothing is attached to (attachA and attachB null,
// attachA then chaining the freed holders) to the pool; its self field is
// zeroed at once.
void FreeDmaHolder(DmaHolder* holder);
// Reads a holder's self field; safe while another thread frees the holder.
int64_t HolderSelf(const DmaHolder& holder);

}  // namespace quorb

#endif  // QUORB_SERVICES_DMAKEYS_H_
