// Internal side of the trace log: every message of the library goes here.
#ifndef QUORB_SERVICES_TRACELOG_H_
#define QUORB_SERVICES_TRACELOG_H_

#include <string>
#include <string_view>
#include <vector>

#include "quorb/quorb_services.h"

namespace quorb {

// Records an error line (level 1). Trailing blanks are removed on delivery.
void TraceLogError(std::string_view msg);
// Records an information or warning line (level 0).
void TraceLogInfo(std::string_view msg);

// A message held back by a TraceLogCapture.
struct HeldLogLine {
  bool error = false;
  std::string text;
};

// While a capture lives, the messages of the thread that made it are held
// in its list instead of being delivered. A thread that reads ahead for
// another uses it, so that the other can deliver them later in their place
// (TraceLogDeliverHeld), as its own lines and in the order of the input.
class TraceLogCapture {
 public:
  explicit TraceLogCapture(std::vector<HeldLogLine>& into);
  ~TraceLogCapture();
  TraceLogCapture(const TraceLogCapture&) = delete;
  TraceLogCapture& operator=(const TraceLogCapture&) = delete;

 private:
  std::vector<HeldLogLine>* previous_;
};

// Delivers a held message on the calling thread.
void TraceLogDeliverHeld(const HeldLogLine& line);

// While a tap lives, the calling thread's lines are also appended to its
// list as they are made (held or not), so that a caller can tell what the
// library said about a step. Lines made for another thread under a
// TraceLogCapture reach the tap of the thread that delivers them.
class TraceLogTap {
 public:
  explicit TraceLogTap(std::vector<std::string>& into);
  ~TraceLogTap();
  TraceLogTap(const TraceLogTap&) = delete;
  TraceLogTap& operator=(const TraceLogTap&) = delete;

 private:
  std::vector<std::string>* previous_;
};

// Between these, the calling thread's lines are held back, and delivered in
// order when the outermost span ends. The store brackets its reads and its
// writer section with them, so that a sink may call back into the store.
void TraceLogHoldBegin();
void TraceLogHoldEnd();

}  // namespace quorb

#endif  // QUORB_SERVICES_TRACELOG_H_
