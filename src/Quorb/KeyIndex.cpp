#include "Quorb/KeyIndex.h"

#include <new>

#include "Quorb/LargeMappings.h"

namespace quorb {
namespace {

constexpr std::size_t kFirstCapacity = 1024;
constexpr uint64_t kGoldenRatio = 0x9E3779B97F4A7C15ull;
// While the table is rehashed, the slots of entries this far ahead are
// fetched, so that several misses are in flight at once.
constexpr std::size_t kRehashLookahead = 16;

}  // namespace

std::size_t KeyIndex::Home(int64_t key, int shift) {
  return static_cast<std::size_t>((static_cast<uint64_t>(key) * kGoldenRatio) >> shift);
}

QuorbRecord* KeyIndex::Find(int64_t key) const {
  const Slot* slots = slots_.load(std::memory_order_relaxed);
  if (slots == nullptr) return nullptr;
  for (std::size_t slot = Home(key, shift_.load(std::memory_order_relaxed));; slot = Next(slot)) {
    if (slots[slot].key == key) return slots[slot].rec;
    if (slots[slot].key == 0) return nullptr;
  }
}

void KeyIndex::Prefetch(int64_t key) const {
  const Slot* slots = slots_.load(std::memory_order_relaxed);
  const int shift = shift_.load(std::memory_order_relaxed);
  // A table and shift from two different sizes give a wrong address, and
  // a prefetch of any address is harmless; the address is formed as an
  // integer so that it never counts as pointer arithmetic.
  if (slots != nullptr && shift < 64) {
    const auto address = reinterpret_cast<std::uintptr_t>(slots) + Home(key, shift) * sizeof(Slot);
    __builtin_prefetch(reinterpret_cast<const void*>(address), 1);
  }
}

void KeyIndex::Set(int64_t key, QuorbRecord* rec) {
  if ((used_ + 1) * 2 > mask_ + 1) Grow();
  Insert({key, rec});
}

void KeyIndex::Insert(const Slot& entry) {
  Slot* slots = slots_.load(std::memory_order_relaxed);
  std::size_t slot = Home(entry.key, shift_.load(std::memory_order_relaxed));
  while (slots[slot].key != 0 && slots[slot].key != entry.key) slot = Next(slot);
  if (slots[slot].key == 0) ++used_;
  slots[slot] = entry;
}

// Linear probing without tombstones: later slots of the run shift back into
// the gap when their home allows it.
void KeyIndex::Erase(int64_t key) {
  Slot* slots = slots_.load(std::memory_order_relaxed);
  if (slots == nullptr) return;
  const int shift = shift_.load(std::memory_order_relaxed);
  std::size_t gap = Home(key, shift);
  while (slots[gap].key != key) {
    if (slots[gap].key == 0) return;
    gap = Next(gap);
  }
  --used_;
  for (std::size_t slot = Next(gap); slots[slot].key != 0; slot = Next(slot)) {
    const std::size_t home = Home(slots[slot].key, shift);
    // The entry may move back when its home does not lie in (gap, slot].
    if (((slot - home) & mask_) >= ((slot - gap) & mask_)) {
      slots[gap] = slots[slot];
      gap = slot;
    }
  }
  slots[gap] = {0, nullptr};
}

void KeyIndex::Clear() {
  if (Slot* slots = slots_.load(std::memory_order_relaxed)) {
    UnmapLarge(slots, (mask_ + 1) * sizeof(Slot));
  }
  slots_.store(nullptr, std::memory_order_relaxed);
  shift_.store(64, std::memory_order_relaxed);
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
    if (i + kRehashLookahead < oldCapacity && old[i + kRehashLookahead].key != 0) {
      __builtin_prefetch(&slots[Home(old[i + kRehashLookahead].key, shift)], 1);
    }
    if (old[i].key != 0) Insert(old[i]);
  }
  UnmapLarge(const_cast<Slot*>(old), oldCapacity * sizeof(Slot));
}

}  // namespace quorb
