#include "Quorb/StoreAccess.h"

namespace quorb {
namespace {

// The store's isUpdating flag and numReads count.
ReaderWriterGate gate;

}  // namespace

void QuorbBeginRead() {
  TraceLogHoldBegin();
  gate.BeginRead();
}

void QuorbEndRead() {
  gate.EndRead();
  TraceLogHoldEnd();
}

StoreWrite::StoreWrite() {
  gate.BeginWrite();
}

StoreWrite::~StoreWrite() {
  gate.EndWrite();
}

}  // namespace quorb
