#include "Quorb/QuorbTypes.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "Quorb/BlockPool.h"
#include "Services/Calendar.h"
#include "Services/MessageText.h"
#include "Services/TraceLog.h"

namespace quorb {
namespace {

template <typename T>
std::unique_ptr<T> CopyPart(const T* part) {
  return part ? std::make_unique<T>(*part) : nullptr;
}

constexpr double kMaxPos = 1.0e9;
constexpr double kMaxVel = 1.0e6;
constexpr uint32_t kMaxSatNum = 999999999;
constexpr uint32_t kMaxRevNum = 999999;
constexpr uint32_t kMaxElsetNum = 9999;

// Every stored vector is validated, so the checks themselves stay small
// enough to inline and the messages are built apart, only for a failure.
[[gnu::cold, gnu::noinline]] void ReportReal(double value, std::string_view name,
                                             std::string_view after) {
  MessageText msg;
  msg.Add(" ValidateQuorbValues: Invalid ").Add(name).Add(" = ").AddReal(value).Add(after);
  TraceLogError(msg.View());
}

[[gnu::cold, gnu::noinline]] void ReportCount(int32_t value, std::string_view before,
                                              std::string_view after) {
  MessageText msg;
  msg.Add(" ").Add(before).AddInt(value).Add(after);
  TraceLogError(msg.View());
}

// A NaN is not greater than the bound and passes, as the checks compare
// only magnitudes.
bool CheckReal(double value, double bound, std::string_view name, std::string_view after) {
  if (!(std::fabs(value) > bound)) return true;
  ReportReal(value, name, after);
  return false;
}

// Negative values fail as well: the comparison is unsigned.
bool CheckCount(int32_t value, uint32_t bound, std::string_view before, std::string_view after) {
  if (static_cast<uint32_t>(value) <= bound) return true;
  ReportCount(value, before, after);
  return false;
}

// Never destroyed: records and nodes may be freed by static destructors at
// exit.
BlockPool& RecordPool() {
  static auto* pool = new BlockPool(sizeof(QuorbRecord));
  return *pool;
}

BlockPool& NodePool() {
  static auto* pool = new BlockPool(sizeof(QuorbBinTree));
  return *pool;
}

// Under AddressSanitizer every block comes from the system allocator, so
// that leaks and uses after free are reported object by object.
void* PoolAlloc([[maybe_unused]] BlockPool& pool, std::size_t size) {
#if defined(QUORB_ADDRESS_SANITIZER)
  return ::operator new(size);
#else
  return size == pool.blockSize() ? pool.Alloc() : ::operator new(size);
#endif
}

void PoolFree([[maybe_unused]] BlockPool& pool, void* block, [[maybe_unused]] std::size_t size) {
#if defined(QUORB_ADDRESS_SANITIZER)
  ::operator delete(block);
#else
  if (size == pool.blockSize()) {
    pool.Free(block);
  } else {
    ::operator delete(block);
  }
#endif
}

// The five characters as one number, so that a code is checked against the
// valid ones in a few compares.
constexpr uint64_t CodeValue(std::string_view code) {
  uint64_t value = 0;
  for (const char c : code) value = value << CHAR_BIT | static_cast<unsigned char>(c);
  return value;
}

// Blanks, then the codes in the order they are most common.
constexpr uint64_t kValidCoordSys[] = {CodeValue("     "), CodeValue("MMJ2K"), CodeValue("TMDAT"),
                                       CodeValue("TMEPO"), CodeValue("MMB50")};

bool IsValidCoordSys(const Text<5>& coordSys) {
  const uint64_t value = CodeValue(View(coordSys));
  return std::find(std::begin(kValidCoordSys), std::end(kValidCoordSys), value) !=
         std::end(kValidCoordSys);
}

}  // namespace

QuorbRecord::QuorbRecord(const QuorbRecord& other) : QuorbRecordValues(other) {
  *this = other;
}

QuorbRecord& QuorbRecord::operator=(const QuorbRecord& other) {
  if (this == &other) return *this;
  QuorbRecordValues::operator=(other);
  if (!other.parts_) {
    parts_.reset();
    return *this;
  }
  // Copied apart first: other's parts may be the ones this record gives up.
  auto copies = std::make_unique<RecordParts>(RecordParts{
      CopyPart(other.covMatrix()), CopyPart(other.card4p()), CopyPart(other.maneuvCards())});
  parts_ = std::move(copies);
  return *this;
}

QuorbRecord::QuorbRecord(QuorbRecord&& other) noexcept
    : QuorbRecordValues(other), parts_(std::move(other.parts_)) {}

QuorbRecord& QuorbRecord::operator=(QuorbRecord&& other) noexcept {
  QuorbRecordValues::operator=(other);
  parts_ = std::move(other.parts_);
  return *this;
}

QuorbRecord::~QuorbRecord() = default;

void* QuorbRecord::operator new(std::size_t size) {
  return PoolAlloc(RecordPool(), size);
}

void QuorbRecord::operator delete(void* block, std::size_t size) {
  PoolFree(RecordPool(), block, size);
}

void* QuorbBinTree::operator new(std::size_t size) {
  return PoolAlloc(NodePool(), size);
}

void QuorbBinTree::operator delete(void* block, std::size_t size) {
  PoolFree(NodePool(), block, size);
}

void ReleaseUnusedStoreMemory() {
  RecordPool().ReleaseIfUnused();
  NodePool().ReleaseIfUnused();
}

void PrefaultStoreMemory() {
  // Two huge pages ahead: the storing thread never reaches a page being cleared.
  constexpr std::size_t kLeadBytes = std::size_t{4} << 20;
  RecordPool().Prefault(kLeadBytes);
  NodePool().Prefault(kLeadBytes);
}

void FreeQuorbRecord(QuorbRecord& rec) {
  rec.FreeParts();
}

int32_t ValidateQuorbValues(const QuorbRecord& rec) {
  static constexpr std::string_view kPosNames[] = {"PosX", "PosY", "PosZ"};
  static constexpr std::string_view kVelNames[] = {"VelX", "VelY", "VelZ"};
  bool ok = true;
  for (int i = 0; i < 3; ++i) {
    ok &= CheckReal(rec.pos[i], kMaxPos, kPosNames[i], " (valid=-1E9 to 1E9)");
  }
  for (int i = 0; i < 3; ++i) {
    ok &= CheckReal(rec.vel[i], kMaxVel, kVelNames[i], " (valid=-1E6 to 1E6)");
  }
  ok &= CheckCount(rec.satNum, kMaxSatNum,
                   "ValidateQuorbValues: Invalid satellite number = ", " (valid=1-999999999)");
  ok &= CheckCount(rec.revNum, kMaxRevNum,
                   "ValidateQuorbValues: Invalid Epoch Revolution = ", " (valid=0-99999)");
  ok &= CheckCount(rec.elsetNum, kMaxElsetNum,
                   "ValidateQuorbValues: Invalid Element Set Number = ", " (valid=0-9999)");
  if (!IsValidCoordSys(rec.coordSys)) {
    MessageText msg;
    msg.Add(" ValidateQuorbValues: Invalid vector coordinate system = ")
        .Add(View(rec.coordSys))
        .Add(" (valid=TMDAT/TMEPO/MMB50/MMJ2K or blanks)");
    TraceLogError(msg.View());
    ok = false;
  }
  return ok ? 0 : 2;
}

bool Equal(const QuorbRecord& a, const QuorbRecord& b) {
  if (a.satNum != b.satNum) return false;
  if (DTG2DS50UTC(View(a.epochDtg)) != DTG2DS50UTC(View(b.epochDtg))) return false;
  if (a.coordSys != b.coordSys) return false;
  for (int i = 0; i < 3; ++i) {
    if (a.pos[i] != b.pos[i]) return false;
  }
  for (int i = 0; i < 3; ++i) {
    if (a.vel[i] != b.vel[i]) return false;
  }
  return a.bTerm == b.bTerm && a.agom == b.agom && a.inTrackThrust == b.inTrackThrust;
}

bool QuorbElsetType(int32_t elsetType) {
  return elsetType == kVectorElsetType;
}

}  // namespace quorb
