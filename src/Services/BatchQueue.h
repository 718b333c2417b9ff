// Hands filled batches from one thread to another in order and hands the
// emptied ones back, so that a fixed set of batches goes round.
#ifndef QUORB_SERVICES_BATCHQUEUE_H_
#define QUORB_SERVICES_BATCHQUEUE_H_

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

#include "Services/Locks.h"

namespace quorb {

template <class Batch>
class BatchQueue {
 public:
  explicit BatchQueue(int batches) {
    for (int i = 0; i < batches; ++i) empty_.push_back(std::make_unique<Batch>());
  }

  // The filling side: waits for an empty batch.
  std::unique_ptr<Batch> TakeEmpty() { return Take(empty_, emptyReady_); }
  void PutFilled(std::unique_ptr<Batch> batch) { Put(filled_, filledReady_, std::move(batch)); }
  // Filled batches waiting for the emptying side.
  std::size_t FilledCount() {
    std::lock_guard lock(mutex_);
    return filled_.size();
  }

  // The emptying side: waits for the next filled batch.
  std::unique_ptr<Batch> TakeFilled() { return Take(filled_, filledReady_); }
  void PutEmpty(std::unique_ptr<Batch> batch) { Put(empty_, emptyReady_, std::move(batch)); }

 private:
  using List = std::deque<std::unique_ptr<Batch>>;

  std::unique_ptr<Batch> Take(List& list, std::condition_variable& ready) {
    std::unique_lock lock(mutex_);
    ready.wait(lock, [&list] { return !list.empty(); });
    std::unique_ptr<Batch> batch = std::move(list.front());
    list.pop_front();
    return batch;
  }

  void Put(List& list, std::condition_variable& ready, std::unique_ptr<Batch> batch) {
    {
      std::lock_guard lock(mutex_);
      list.push_back(std::move(batch));
    }
    ready.notify_one();
  }

  BatchQueueLock mutex_;
  std::condition_variable emptyReady_;
  std::condition_variable filledReady_;
  List empty_;
  List filled_;
};

}  // namespace quorb

#endif  // QUORB_SERVICES_BATCHQUEUE_H_
