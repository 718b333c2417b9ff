#include "Quorb/KeyIndex.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace quorb {
namespace {

constexpr std::size_t kFirstCapacity = 1024;
constexpr uint64_t kGoldenRatio = 0x9E3779B97F4A7C15ull;

}  // namespace

void KeyIndex::FreeSlots::operator()(Slot* slots) const { std::free(slots); }

std::size_t KeyIndex::Home(int64_t key) const {
  return static_cast<std::size_t>((static_cast<uint64_t>(key) * kGoldenRatio) >> shift_);
}

QuorbRecord* KeyIndex::Find(int64_t key) const {
  if (!slots_) return nullptr;
  for (std::size_t slot = Home(key);; slot = Next(slot)) {
    if (slots_[slot].key == key) return slots_[slot].rec;
    if (slots_[slot].key == 0) return nullptr;
  }
}

void KeyIndex::Set(int64_t key, QuorbRecord* rec) {
  if ((used_ + 1) * 2 > mask_ + 1) Grow();
  std::size_t slot = Home(key);
  while (slots_[slot].key != 0 && slots_[slot].key != key) slot = Next(slot);
  if (slots_[slot].key == 0) ++used_;
  slots_[slot] = {key, rec};
}

// Linear probing without tombstones: later slots of the run shift back into
// the gap when their home allows it.
void KeyIndex::Erase(int64_t key) {
  if (!slots_) return;
  std::size_t gap = Home(key);
  while (slots_[gap].key != key) {
    if (slots_[gap].key == 0) return;
    gap = Next(gap);
  }
  --used_;
  for (std::size_t slot = Next(gap); slots_[slot].key != 0; slot = Next(slot)) {
    const std::size_t home = Home(slots_[slot].key);
    // The entry may move back when its home does not lie in (gap, slot].
    if (((slot - home) & mask_) >= ((slot - gap) & mask_)) {
      slots_[gap] = slots_[slot];
      gap = slot;
    }
  }
  slots_[gap] = {0, nullptr};
}

void KeyIndex::Clear() {
  slots_.reset();
  mask_ = 0;
  shift_ = 64;
  used_ = 0;
}

void KeyIndex::Grow() {
  const std::size_t capacity = slots_ ? (mask_ + 1) * 2 : kFirstCapacity;
  std::unique_ptr<Slot[], FreeSlots> old(std::move(slots_));
  const std::size_t oldCapacity = old ? mask_ + 1 : 0;
  slots_.reset(static_cast<Slot*>(std::calloc(capacity, sizeof(Slot))));
  if (!slots_) throw std::bad_alloc();
  mask_ = capacity - 1;
  shift_ = 64 - __builtin_ctzll(capacity);
  used_ = 0;
  for (std::size_t i = 0; i < oldCapacity; ++i) {
    if (old[i].key != 0) Set(old[i].key, old[i].rec);
  }
}

}  // namespace quorb
