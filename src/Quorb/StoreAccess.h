// Access to the store as scoped guards: every reader and writer of the store
// holds one of these for as long as it reads or changes it.
//
// The tree (composed keys): a StoreRead lets a thread walk the tree and read
// records in place; readers never wait for one another. A change runs inside
// WithStoreWrite, one writer at a time and only while no read is open, so a
// thread must end its own read before it changes the store, or the writer
// waits for ever.
//
// The DMA rule: a DMA key's record lives in its holder, not in the tree. It
// is copied, updated and removed under its holder's lock alone
// (HolderRecordLock), outside the reader/writer protocol, so a DMA update
// never waits for reads. RecordAccess applies the rule to any key.
//
// Lines logged under a read or the writer section reach the log once it
// ends, so that a trace-log sink may call back into the store.
#ifndef QUORB_QUORB_STOREACCESS_H_
#define QUORB_QUORB_STOREACCESS_H_

#include <cstdint>
#include <mutex>
#include <optional>

#include "Services/DmaKeys.h"
#include "Services/Locks.h"
#include "Services/TraceLog.h"

namespace quorb {

// The reader steps of the protocol, with the trace log held between them.
// StoreRead pairs them; nothing else calls them.
void QuorbBeginRead();
void QuorbEndRead();

// A read of the store.
class StoreRead {
 public:
  StoreRead() { QuorbBeginRead(); }
  ~StoreRead() { QuorbEndRead(); }
  StoreRead(const StoreRead&) = delete;
  StoreRead& operator=(const StoreRead&) = delete;
};

// The writer's side of the protocol; only WithStoreWrite raises it, inside
// cs_updatenote.
class StoreWrite {
 public:
  ~StoreWrite();
  StoreWrite(const StoreWrite&) = delete;
  StoreWrite& operator=(const StoreWrite&) = delete;

 private:
  // Waits until no read is open.
  StoreWrite();

  template <class Change>
  friend void WithStoreWrite(const Change& change);
};

// Runs change with the store to itself: other writers are shut out by
// cs_updatenote, readers by the protocol. A function rather than a guard: a
// critical section is a block, which no constructor can open for a
// destructor to close.
template <class Change>
void WithStoreWrite(const Change& change) {
  TraceLogHoldBegin();
  InUpdateNoteSection([&change] {
    const StoreWrite write;
    change();
  });
  TraceLogHoldEnd();
}

// The lock of one DMA holder's record.
class HolderRecordLock {
 public:
  explicit HolderRecordLock(const DmaHolder* holder) : lock_(HolderLock(holder)) {}

 private:
  std::lock_guard<std::mutex> lock_;
};

// Access to the record of one key by the DMA rule: a DMA key's holder is
// looked up and its lock held; any other key gets a read of the store.
class RecordAccess {
 public:
  explicit RecordAccess(int64_t key) : key_(key) {
    if (IsDMA(key)) {
      holder_ = KeyToCPtr(key);
      holderLock_.emplace(holder_);
    } else {
      read_.emplace();
    }
  }
  RecordAccess(const RecordAccess&) = delete;
  RecordAccess& operator=(const RecordAccess&) = delete;

  int64_t key() const { return key_; }
  bool isDma() const { return holderLock_.has_value(); }
  // The holder a DMA key names; null when it names none, or for other keys.
  DmaHolder* holder() const { return holder_; }

 private:
  int64_t key_;
  DmaHolder* holder_ = nullptr;
  std::optional<HolderRecordLock> holderLock_;
  std::optional<StoreRead> read_;
};

}  // namespace quorb

#endif  // QUORB_QUORB_STOREACCESS_H_
