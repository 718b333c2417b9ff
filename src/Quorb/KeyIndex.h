// A hash index from composed keys to stored records, kept beside the tree so
// that a lookup costs one probe instead of a walk down twenty levels. The
// tree still orders the keys; the index only answers "where is this key".
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
  // Sets the record of key, adding the key when it is new. key must not be 0.
  void Set(int64_t key, QuorbRecord* rec);
  void Erase(int64_t key);
  void Clear();

  // Starts fetching the memory where key would be set, so that a Set a
  // little later does not wait for it. Only a hint: safe from any thread,
  // also while the index changes.
  void Prefetch(int64_t key) const;

 private:
  struct Slot {
    int64_t key;  // 0 marks a free slot: no composed key is 0
    QuorbRecord* rec;
  };

  static std::size_t Home(int64_t key, int shift);
  std::size_t Next(std::size_t slot) const { return (slot + 1) & mask_; }
  void Insert(const Slot& entry);
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
