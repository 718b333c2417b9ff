#include "Templates/TreeTemplate.h"

#include <atomic>

#include "Services/MessageText.h"
#include "Services/TraceLog.h"

namespace quorb {
namespace {

std::atomic<int32_t> insertionCounter{0};

}  // namespace

int32_t RaiseInsertionCounter() {
  const int32_t previous = insertionCounter.fetch_add(1, std::memory_order_relaxed);
  return static_cast<int32_t>(static_cast<uint32_t>(previous) + 1u);
}

void ReportMissingKey(int64_t key) {
  MessageText msg;
  msg.Add("RemoveNode: Unable to locate this key ").AddRight(key, 19).Add(" in its binary tree.");
  TraceLogError(msg.View());
}

}  // namespace quorb
