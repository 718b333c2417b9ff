// A hash index from composed keys to stored records, kept beside the tree so
// that a lookup costs one probe instead of a walk down twenty levels. The
// tree still orders the keys; the index only answers "where is this key".
// Each record it holds carries its key (QuorbRecord::indexKey), set here.
// Not thread-safe: the store changes it under write access and reads it
// under read access. Prefetch alone may be called at any time.
#ifndef QUORB_QUORB_KEYINDEX_H_
#define QUORB_QUORB_KEYINDEX_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Quorb/QuorbTypes.h"

namespace quorb {

class KeyIndex {
 public:
  KeyIndex() = default;
  KeyIndex(const KeyIndex&) = delete;
  KeyIndex& operator=(const KeyIndex&) = delete;
  ~KeyIndex() { Clear(); }

  // The record stored under key, or nullptr.
  QuorbRecord* Find(int64_t key) const;
  // Sets the record of key, adding the key when it is new, and files the
  // record under key. key must not be 0.
  void Set(int64_t key, QuorbRecord* rec);
  void Erase(int64_t key);
  // Makes room for count keys in all, so that adding them rehashes nothing.
  void Reserve(std::size_t count);
  void Clear();

  // Starts fetching the memory where key would be set, so that a Set a
  // little later does not wait for it. Only a hint: safe from any thread,
  // also while the index changes.
  void Prefetch(int64_t key) const;

 private:
  // A slot holds a record's address in its low 48 bits (where user-space
  // addresses lie) and 16 bits of its key's hash above them, so that a probe
  // reads a record only when they match; 0 marks a free slot. Eight bytes a
  // slot keep the whole table of a million keys within the processor's last
  // cache level, so a find waits for the record alone.
  using Slot = uint64_t;

  static uint64_t Hash(int64_t key);
  std::size_t Home(uint64_t hash) const;
  std::size_t Next(std::size_t slot) const { return (slot + 1) & mask_; }
  static QuorbRecord* RecordIn(Slot slot);
  static Slot SlotOf(QuorbRecord* rec, uint64_t hash);
  static bool Holds(Slot slot, uint64_t hash, int64_t key);
  void Insert(QuorbRecord* rec, uint64_t hash);
  void Grow();

  // Atomic only for Prefetch, which reads them outside the store's access
  // protocol; everything else runs under it.
  std::atomic<Slot*> slots_{nullptr};
  std::atomic<int> shift_{64};
  std::size_t mask_ = 0;
  std::size_t used_ = 0;
};

}  // namespace quorb

#endif  // QUORB_QUORB_KEYINDEX_H_
