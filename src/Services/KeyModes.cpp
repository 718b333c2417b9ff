// Key modes: process-wide settings read on every insertion, so they are
// plain atomics that any thread may read or set.
#include <atomic>
#include <string_view>

#include "Services/MessageText.h"
#include "Services/TraceLog.h"

namespace quorb {
namespace {

std::atomic<int32_t> elsetKeyMode{0};
std::atomic<int32_t> allKeyMode{0};
std::atomic<bool> allKeyModeOn{false};
std::atomic<int32_t> dupKeyMode{0};

bool IsValidKeyMode(int32_t mode, std::string_view setter) {
  if (mode == 0 || mode == 1) return true;
  TraceLogError(MessageText()
                    .Add(setter)
                    .Add(": Invalid key mode ")
                    .AddInt(mode)
                    .Add(" (valid=0 or 1).")
                    .View());
  return false;
}

}  // namespace
}  // namespace quorb

extern "C" {

void ElsetKeyModeSet(int32_t mode) {
  if (quorb::IsValidKeyMode(mode, "ElsetKeyModeSet")) quorb::elsetKeyMode.store(mode);
}

int32_t ElsetKeyModeGet(void) {
  return quorb::elsetKeyMode.load();
}

void AllKeyModeSet(int32_t mode) {
  if (!quorb::IsValidKeyMode(mode, "AllKeyModeSet")) return;
  quorb::allKeyMode.store(mode);
  quorb::allKeyModeOn.store(true);
}

void AllKeyModeClear(void) {
  quorb::allKeyModeOn.store(false);
}

int32_t UseAllKeyMode(void) {
  return quorb::allKeyModeOn.load() ? 1 : 0;
}

int32_t AllKeyModeGet(void) {
  return quorb::allKeyMode.load();
}

void DupKeyModeSet(int32_t mode) {
  quorb::dupKeyMode.store(mode);
}

int32_t DupKeyModeGet(void) {
  return quorb::dupKeyMode.load();
}

}  // extern "C"
