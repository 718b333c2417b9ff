// A hash index from composed keys to stored records, kept beside the tree so
// that a lookup costs one probe instead of a walk down twenty levels. The
// tree still orders the keys; the index only answers "where is this key".
// Not thread-safe: the store changes it under write access and reads it
// under read access.
#ifndef QUORB_QUORB_KEYINDEX_H_
#define QUORB_QUORB_KEYINDEX_H_

#include <cstddef>
#include <cstdint>
#include <memory>

#include "Quorb/QuorbTypes.h"

namespace quorb {

class KeyIndex {
 public:
  // The record stored under key, or nullptr.
  QuorbRecord* Find(int64_t key) const;
  // Sets the record of key, adding the key when it is new. key must not be 0.
  void Set(int64_t key, QuorbRecord* rec);
  void Erase(int64_t key);
  void Clear();

 private:
  struct Slot {
    int64_t key;  // 0 marks a free slot: no composed key is 0
    QuorbRecord* rec;
  };
  struct FreeSlots {
    void operator()(Slot* slots) const;
  };

  std::size_t Home(int64_t key) const;
  std::size_t Next(std::size_t slot) const { return (slot + 1) & mask_; }
  void Grow();

  std::unique_ptr<Slot[], FreeSlots> slots_;
  std::size_t mask_ = 0;
  int shift_ = 64;
  std::size_t used_ = 0;
};

}  // namespace quorb

#endif  // QUORB_QUORB_KEYINDEX_H_
