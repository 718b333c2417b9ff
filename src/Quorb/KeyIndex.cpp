#include "Quorb/KeyIndex.h"

#include <new>

#include "Quorb/LargeMappings.h"

namespace quorb {
namespace {

constexpr std::size_t kFirstCapacity = 1024;
constexpr uint64_t kGoldenRatio = 0x9E3779B97F4A7C15ull;
constexpr int kAddressBits = 48;
constexpr uint64_t kAddressMask = (uint64_t{1} << kAddressBits) - 1;
// The tag takes hash bits that no table's home uses (homes take the top).
constexpr int kTagShift = 16;
constexpr uint64_t kTagMask = 0xFFFF;
// While the table is rehashed, the records of entries this far ahead are
// fetched (their keys give the new homes), and the new slots of entries
// half as far ahead, so that many misses are in flight at once.
constexpr std::size_t kRehashLookahead = 16;

}  // namespace

uint64_t KeyIndex::Hash(int64_t key) {
  return static_cast<uint64_t>(key) * kGoldenRatio;
}

std::size_t KeyIndex::Home(uint64_t hash) const {
  return static_cast<std::size_t>(hash >> shift_.load(std::memory_order_relaxed));
}

QuorbRecord* KeyIndex::RecordIn(Slot slot) {
  return reinterpret_cast<QuorbRecord*>(slot & kAddressMask);
}

KeyIndex::Slot KeyIndex::SlotOf(QuorbRecord* rec, uint64_t hash) {
  return reinterpret_cast<uintptr_t>(rec) | ((hash >> kTagShift & kTagMask) << kAddressBits);
}

bool KeyIndex::Holds(Slot slot, uint64_t hash, int64_t key) {
  return slot >> kAddressBits == (hash >> kTagShift & kTagMask) && RecordIn(slot)->indexKey == key;
}

QuorbRecord* KeyIndex::Find(int64_t key) const {
  const Slot* slots = slots_.load(std::memory_order_relaxed);
  if (slots == nullptr) return nullptr;
  const uint64_t hash = Hash(key);
  for (std::size_t slot = Home(hash);; slot = Next(slot)) {
    if (slots[slot] == 0) return nullptr;
    if (Holds(slots[slot], hash, key)) return RecordIn(slots[slot]);
  }
}

void KeyIndex::Prefetch(int64_t key) const {
  const Slot* slots = slots_.load(std::memory_order_relaxed);
  const int shift = shift_.load(std::memory_order_relaxed);
  // A table and shift from two different sizes give a wrong address, and
  // a prefetch of any address is harmless; the address is formed as an
  // integer so that it never counts as pointer arithmetic.
  if (slots != nullptr && shift < 64) {
    const auto address =
        reinterpret_cast<std::uintptr_t>(slots) + (Hash(key) >> shift) * sizeof(Slot);
    __builtin_prefetch(reinterpret_cast<const void*>(address), 1);
  }
}

void KeyIndex::Reserve(std::size_t count) {
  while (count * 2 > mask_ + 1) Grow();
}

void KeyIndex::Set(int64_t key, QuorbRecord* rec) {
  if ((used_ + 1) * 2 > mask_ + 1) Grow();
  rec->indexKey = key;
  Insert(rec, Hash(key));
}

void KeyIndex::Insert(QuorbRecord* rec, uint64_t hash) {
  Slot* slots = slots_.load(std::memory_order_relaxed);
  std::size_t slot = Home(hash);
  while (slots[slot] != 0 && !Holds(slots[slot], hash, rec->indexKey)) slot = Next(slot);
  if (slots[slot] == 0) ++used_;
  slots[slot] = SlotOf(rec, hash);
}

// Linear probing without tombstones: later slots of the run shift back into
// the gap when their home allows it.
void KeyIndex::Erase(int64_t key) {
  Slot* slots = slots_.load(std::memory_order_relaxed);
  if (slots == nullptr) return;
  const uint64_t hash = Hash(key);
  std::size_t gap = Home(hash);
  while (!Holds(slots[gap], hash, key)) {
    if (slots[gap] == 0) return;
    gap = Next(gap);
  }
  --used_;
  for (std::size_t slot = Next(gap); slots[slot] != 0; slot = Next(slot)) {
    const std::size_t home = Home(Hash(RecordIn(slots[slot])->indexKey));
    // The entry may move back when its home does not lie in (gap, slot].
    if (((slot - home) & mask_) >= ((slot - gap) & mask_)) {
      slots[gap] = slots[slot];
      gap = slot;
    }
  }
  slots[gap] = 0;
}

void KeyIndex::Clear() {
  if (Slot* slots = slots_.load(std::memory_order_relaxed)) {
    UnmapLarge(slots, (mask_ + 1) * sizeof(Slot));
  }
  slots_.store(nullptr, std::memory_order_relaxed);
  mask_ = 0;
  used_ = 0;
}

void KeyIndex::Grow() {
  const Slot* old = slots_.load(std::memory_order_relaxed);
  const std::size_t oldCapacity = old ? mask_ + 1 : 0;
  const std::size_t capacity = old ? oldCapacity * 2 : kFirstCapacity;
  auto* slots = static_cast<Slot*>(MapLarge(capacity * sizeof(Slot)));
  if (slots == nullptr) throw std::bad_alloc();
  const int shift = 64 - __builtin_ctzll(capacity);
  slots_.store(slots, std::memory_order_relaxed);
  shift_.store(shift, std::memory_order_relaxed);
  mask_ = capacity - 1;
  used_ = 0;
  for (std::size_t i = 0; i < oldCapacity; ++i) {
    if (i + kRehashLookahead < oldCapacity && old[i + kRehashLookahead] != 0) {
      __builtin_prefetch(RecordIn(old[i + kRehashLookahead]));
    }
    const std::size_t near = i + kRehashLookahead / 2;
    if (near < oldCapacity && old[near] != 0) {
      __builtin_prefetch(&slots[Hash(RecordIn(old[near])->indexKey) >> shift], 1);
    }
    if (old[i] != 0) Insert(RecordIn(old[i]), Hash(RecordIn(old[i])->indexKey));
  }
  UnmapLarge(const_cast<Slot*>(old), oldCapacity * sizeof(Slot));
}

}  // namespace quorb
