// Every lock of the library, each with what it guards. A lock that belongs to
// one object is a member of it, of a type named here; the store's scoped
// guards, built on the critical section cs_updatenote and the reader/writer
// protocol, are in Quorb/StoreAccess.h.
//
// Nesting, outermost first: cs_readonlyquorbs; the sink's lock (a sink may
// call into the store); cs_updatenote or a read of the store; a DMA holder's
// lock; the innermost (a BlockPool's, the holder pool's, a BatchQueue's, the
// log file's), under which no other is taken.
#ifndef QUORB_SERVICES_LOCKS_H_
#define QUORB_SERVICES_LOCKS_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <thread>

#include "Services/DmaKeys.h"

#if defined(QUORB_TSAN)
extern "C" void __tsan_acquire(void* addr);
extern "C" void __tsan_release(void* addr);
#endif

namespace quorb {

// Happens-before edges for ThreadSanitizer around the OpenMP critical
// sections: the OpenMP runtime is not instrumented, so without these the
// sanitizer cannot see that the sections serialize their bodies.
inline void AnnotateAcquire([[maybe_unused]] void* addr) {
#if defined(QUORB_TSAN)
  __tsan_acquire(addr);
#endif
}

inline void AnnotateRelease([[maybe_unused]] void* addr) {
#if defined(QUORB_TSAN)
  __tsan_release(addr);
#endif
}

// Stand for the critical sections in the sanitizer's view.
inline char updateNoteToken;
inline char readOnlyQuorbsToken;

// cs_updatenote: the store's writers, one at a time (the reader/writer
// protocol below keeps readers out while one writes).
template <class Body>
void InUpdateNoteSection(const Body& body) {
#pragma omp critical(cs_updatenote)
  {
    AnnotateAcquire(&updateNoteToken);
    body();
    AnnotateRelease(&updateNoteToken);
  }
}

// cs_readonlyquorbs: card passes, one at a time across threads, so that
// loads on different threads store their card sets file by file.
template <class Body>
void InReadOnlyQuorbsSection(const Body& body) {
#pragma omp critical(cs_readonlyquorbs)
  {
    AnnotateAcquire(&readOnlyQuorbsToken);
    body();
    AnnotateRelease(&readOnlyQuorbsToken);
  }
}

// Spins briefly, then yields, then sleeps, until done() holds: the wait of
// every lock here that does not sleep in the system.
template <class Done>
void WaitUntil(const Done& done) {
  for (int round = 0; !done(); ++round) {
    if (round < 64) continue;
    if (round < 1024) {
      std::this_thread::yield();
    } else {
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  }
}

// The store's reader/writer protocol, over its tree, key index and node
// count: readers count themselves in and never wait for one another; a
// writer, alone inside cs_updatenote, raises its flag and waits until no
// read is counted. A reader that finds the flag raised steps back out, so
// that the writer can finish, and tries again.
class ReaderWriterGate {
 public:
  void BeginRead() {
    for (;;) {
      numReads_.fetch_add(1, std::memory_order_seq_cst);
      if (isUpdating_.load(std::memory_order_seq_cst) == 0) return;
      numReads_.fetch_sub(1, std::memory_order_seq_cst);
      WaitUntil([this] { return isUpdating_.load(std::memory_order_seq_cst) == 0; });
    }
  }
  void EndRead() { numReads_.fetch_sub(1, std::memory_order_seq_cst); }

  // Inside cs_updatenote only.
  void BeginWrite() {
    isUpdating_.store(1, std::memory_order_seq_cst);
    WaitUntil([this] { return numReads_.load(std::memory_order_seq_cst) <= 0; });
  }
  void EndWrite() { isUpdating_.store(0, std::memory_order_seq_cst); }

 private:
  std::atomic<int32_t> isUpdating_{0};
  std::atomic<int32_t> numReads_{0};
};

// A lock held for a few instructions at a time: cheaper than a mutex while
// free; a thread that finds it held waits with WaitUntil.
class SpinLock {
 public:
  void lock() {
    while (held_.exchange(true, std::memory_order_acquire)) WaitWhileHeld();
  }
  void unlock() { held_.store(false, std::memory_order_release); }

 private:
  [[gnu::noinline]] void WaitWhileHeld() const {
    WaitUntil([this] { return !held_.load(std::memory_order_relaxed); });
  }

  std::atomic<bool> held_{false};
};

// A BlockPool's free list, unused blocks and slabs.
using BlockPoolLock = SpinLock;

// The DMA holder pool's unused holders and its queue of freed ones.
using HolderPoolLock = std::mutex;

// A BatchQueue's lists of empty and filled batches (its condition variables
// wait on it).
using BatchQueueLock = std::mutex;

// One DMA holder's record, from a fixed table chosen by the holder's address
// (any address, null included): every copy the library makes of a DMA record,
// its update and its removal hold it, for that one record only.
inline std::mutex& HolderLock(const DmaHolder* holder) {
  // Enough locks that updates of different vectors seldom share one, each on
  // a cache line of its own.
  constexpr std::size_t kHolderLocks = 256;
  struct alignas(64) PaddedMutex {
    std::mutex mutex;
  };
  static PaddedMutex locks[kHolderLocks];
  const std::uintptr_t index = reinterpret_cast<std::uintptr_t>(holder) / sizeof(DmaHolder);
  return locks[index % kHolderLocks].mutex;
}

// The trace log's open file: each line is written whole under it, so that
// lines of different threads never interleave. Never destroyed, like the
// sink's: lines may still come from static destructors at exit.
inline std::mutex& LogFileLock() {
  static auto* lock = new std::mutex;
  return *lock;
}

// The trace log's sink: held shared while the sink runs, so that once
// TraceLogSetSink returns the previous sink is never called again.
inline std::shared_mutex& SinkLock() {
  static auto* lock = new std::shared_mutex;
  return *lock;
}

}  // namespace quorb

#endif  // QUORB_SERVICES_LOCKS_H_
