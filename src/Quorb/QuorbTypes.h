// The state-vector record, its controls and the tree node that owns it.
#ifndef QUORB_QUORB_QUORBTYPES_H_
#define QUORB_QUORB_QUORBTYPES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "Services/FixedText.h"

namespace quorb {

// Perturbation and integrator controls for propagating one vector. A plain
// value: it owns nothing. The ctrlN fields mean something to a propagator
// only; the library sets and carries them.
struct Card4pInput {
  int32_t ctrl1 = 0;
  int32_t ctrl2 = 0;
  int32_t ctrl3 = 0;
  int32_t ctrl4 = 12;
  int32_t geopotFlag = 0;
  int32_t dragModel = 0;  // 2, 3 or 4; 0 for none
  int32_t radPresFlag = 0;
  int32_t lunarSolarFlag = 0;
  int32_t f10 = 0;
  int32_t f10Bar = 0;
  int32_t ap = 0;
  int32_t geopotZonalDeg = 0;
  int32_t errCtrlExp = 10;
  int32_t intrkThrustFlag = 0;
  int32_t sEarthTidesFlag = 0;
  int32_t ctrl16 = 0;
  double ctrl17 = 0.0;
  double ctrl18 = 0.0;
  double ctrl19 = 0.0;
  int32_t nutTerms = 0;
  int32_t ctrl21 = 0;
  int32_t integVar = 0;
  int32_t ctrl23 = 0;
  int32_t stepMode = 0;
  double stepSize = 0.0;
  Line ctrlText1 = BlankText<kLineLength>();
  Line ctrlText2 = BlankText<kLineLength>();
  Line ctrlText3 = BlankText<kLineLength>();

  bool operator==(const Card4pInput&) const = default;
};

// A second control type, carried whole; the library never reads its text.
struct JplInput {
  Text<672> text = BlankText<672>();
};

inline constexpr int kCovSize = 55;
inline constexpr int kManeuvSlots = 100;
using CovMatrix = std::array<double, kCovSize>;
using ManeuvCards = std::array<Line, kManeuvSlots>;

// The twelve fields of a vector that a host passes one by one, widest
// first so that a million stored records carry no padding between them.
struct VectorFields {
  double pos[3] = {0.0, 0.0, 0.0};  // km, earth-centred inertial
  double vel[3] = {0.0, 0.0, 0.0};  // m/s
  double bTerm = 0.0;
  double agom = 0.0;
  double inTrackThrust = 0.0;  // km/s^2
  int32_t satNum = 0;
  int32_t revNum = 0;
  int32_t elsetNum = 0;
  Text<8> intlDesig = BlankText<8>();
  Text<17> epochDtg = BlankText<17>();
  Text<5> coordSys = BlankText<5>();
  char secClass = 'U';
};

// The plain values of a record: everything but the parts it owns.
struct QuorbRecordValues : VectorFields {
  int32_t reserved = 0;  // carried with the record, never set or read
  // Kept beside reserved, where it fills what would be padding.
  int32_t numManeuvCards = 0;  // slots of maneuvCards that hold a card
  double weightedRms = 0.0;
};

// The parts a record may own. Most records own none, so they share one
// pointer that stays null until a part is set: a stored vector without them
// costs that one pointer.
struct RecordParts {
  std::unique_ptr<CovMatrix> covMatrix;
  std::unique_ptr<Card4pInput> card4p;
  std::unique_ptr<ManeuvCards> maneuvCards;
};

// One satellite state vector at one epoch. A value type: copying gives the
// target its own copies of the covariance, controls and maneuver cards.
struct QuorbRecord : QuorbRecordValues {
  // The key the store's index files this record under (0 outside the
  // index): a find confirms its slot here, in memory it reads anyway. It
  // belongs to the record's place, not its values, so copies and moves leave
  // it where it is.
  int64_t indexKey = 0;

  QuorbRecord() = default;
  QuorbRecord(const QuorbRecord& other);
  QuorbRecord& operator=(const QuorbRecord& other);
  QuorbRecord(QuorbRecord&& other) noexcept;
  QuorbRecord& operator=(QuorbRecord&& other) noexcept;
  ~QuorbRecord();

  // The optional parts, null when absent; setting null removes one.
  CovMatrix* covMatrix() const { return Part(&RecordParts::covMatrix); }
  Card4pInput* card4p() const { return Part(&RecordParts::card4p); }
  ManeuvCards* maneuvCards() const { return Part(&RecordParts::maneuvCards); }
  void SetCovMatrix(std::unique_ptr<CovMatrix> cov) { SetPart(&RecordParts::covMatrix, cov); }
  void SetCard4p(std::unique_ptr<Card4pInput> ctrl) { SetPart(&RecordParts::card4p, ctrl); }
  void SetManeuvCards(std::unique_ptr<ManeuvCards> cards) {
    SetPart(&RecordParts::maneuvCards, cards);
  }
  // Releases every optional part.
  void FreeParts() { parts_.reset(); }

  // Records on the heap (those of the store above all) come from a pool of
  // their own; see ReleaseUnusedStoreMemory.
  static void* operator new(std::size_t size);
  static void operator delete(void* block, std::size_t size);

 private:
  template <typename T>
  T* Part(std::unique_ptr<T> RecordParts::*slot) const {
    return parts_ ? ((*parts_).*slot).get() : nullptr;
  }
  template <typename T>
  void SetPart(std::unique_ptr<T> RecordParts::*slot, std::unique_ptr<T>& part) {
    if (!parts_ && !part) return;
    if (!parts_) parts_ = std::make_unique<RecordParts>();
    (*parts_).*slot = std::move(part);
  }

  std::unique_ptr<RecordParts> parts_;
};

// Releases the record's optional parts; the scalar fields stay as they are.
void FreeQuorbRecord(QuorbRecord& rec);

// Range checks before a record is stored; every failing check logs its own
// message. Returns 0 when all pass, 2 otherwise. The record is not changed.
int32_t ValidateQuorbValues(const QuorbRecord& rec);

// True when two records describe the same vector: satellite number, epoch
// instant, coordinate system, position, velocity and force-model terms.
bool Equal(const QuorbRecord& a, const QuorbRecord& b);

// True for the element-set type code of these vectors (4).
bool QuorbElsetType(int32_t elsetType);

// One node of the store's tree (a node, despite its name). The node owns its
// record; a node whose vector lives in a DMA holder has none.
struct QuorbBinTree {
  int64_t key = 0;
  int32_t seqNum = 0;
  int32_t balance = 0;
  QuorbBinTree* left = nullptr;
  QuorbBinTree* right = nullptr;
  std::unique_ptr<QuorbRecord> rec;

  static void* operator new(std::size_t size);
  static void operator delete(void* block, std::size_t size);
};

// Gives the memory of the record and node pools back to the system when no
// record or node is left on the heap; otherwise it stays for reuse.
void ReleaseUnusedStoreMemory();

// Readies the pages that the next records and nodes of the store will take,
// so that the thread storing them does not wait for the system to clear
// them: called by a thread that reads ahead of it.
void PrefaultStoreMemory();

}  // namespace quorb

#endif  // QUORB_QUORB_QUORBTYPES_H_
